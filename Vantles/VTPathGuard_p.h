// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>
#include <QStringList>

#include <Vantles/vantles_export.h>

namespace Vantles {

/**
 * Where files are: the check behind the manager's trusted folders and the
 * view's content folders (symlinks resolved), and the library's own folder.
 */
class VANTLES_EXPORT VTPathGuard {
public:
    /// Whether @p path, symlinks resolved, is @p folders' or below one of
    /// them; @p folders must be canonical.
    static bool isInside(const QString& path, const QStringList& folders);
    /// The canonical form of each existing folder.
    static QStringList canonicalFolders(const QStringList& folders);
    /// The folder of this library's own file, whether installed or in a
    /// build, where its plug-ins and the view library are.
    static QString libraryFolder();
};

} // namespace Vantles
