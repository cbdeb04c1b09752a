// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QMetaType>
#include <QString>

#include <Vantles/VTInterface.h>
#include <Vantles/vantles_export.h>

namespace Vantles {

/**
 * One mistake found in content or settings: where it is and what is wrong.
 *
 * The library reports each problem once per version of the file it is in,
 * through VTManager::report(), which hands toString() to the host's
 * VTInterface::handleMessage(); VTManager::problems() keeps the errors and
 * warnings found so far.
 */
struct VANTLES_EXPORT VTProblem {
    /// How severe: an error, a warning or information.
    VTMessageType type = VTMessageWarning;
    /// The file the problem is in, absolute; empty when it is in no file.
    QString file;
    /// 1-based line and column in the file; 0 when not known.
    ///@{
    qint64 line = 0;
    qint64 column = 0;
    ///@}
    /// What is wrong, as a sentence.
    QString text;

    /// "PATH:LINE:COLUMN: text" as compilers print it, leaving out the parts
    /// that are not known, so that editors and terminals can jump to it.
    QString toString() const;
    /// The "PATH:LINE:COLUMN" part alone.
    QString place() const;

    /// Equal when every field is.
    bool operator==(const VTProblem& other) const;
    /// Unequal when a field differs.
    bool operator!=(const VTProblem& other) const { return !(*this == other); }
};

} // namespace Vantles

Q_DECLARE_METATYPE(Vantles::VTProblem)
