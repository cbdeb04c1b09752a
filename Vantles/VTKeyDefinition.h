// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>

namespace Vantles {

/**
 * Where a control key is defined: the "vantle" element that carries it in a
 * control file, and the locale that file serves.
 */
struct VTKeyDefinition {
    /// The control key.
    QString key;
    /// The control file, as it was indexed; empty when there is no definition.
    QString file;
    /// The file's "locale" attribute; empty when the file serves every locale.
    QString locale;
    /// 1-based position of the element's start tag.
    ///@{
    qint64 line = 0;
    qint64 column = 0;
    ///@}

    /// True when there is no definition.
    bool isNull() const { return file.isEmpty(); }
};

} // namespace Vantles
