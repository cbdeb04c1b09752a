// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTPathGuard_p.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#ifdef Q_OS_UNIX
#include <dlfcn.h>
#endif

namespace Vantles {

bool VTPathGuard::isInside(const QString& path, const QStringList& folders)
{
    const QFileInfo info(path);
    // A file that does not exist cannot be read through a symlink either.
    QString resolved = info.exists() ? info.canonicalFilePath() : QDir::cleanPath(info.absoluteFilePath());
    if (resolved.isEmpty())
        return false;
    for (const QString& folder : folders) {
        if (resolved == folder
            || (resolved.startsWith(folder) && resolved.at(folder.size()) == QLatin1Char('/')))
            return true;
        if (folder == QLatin1String("/"))
            return true;
    }
    return false;
}

QStringList VTPathGuard::canonicalFolders(const QStringList& folders)
{
    QStringList result;
    for (const QString& folder : folders) {
        if (folder.startsWith(QLatin1Char(':')) || folder.startsWith(QLatin1String("qrc:")))
            continue;
        const QString canonical = QFileInfo(folder).canonicalFilePath();
        if (!canonical.isEmpty() && !result.contains(canonical))
            result.append(canonical);
    }
    return result;
}

QString VTPathGuard::libraryFolder()
{
#ifdef Q_OS_UNIX
    Dl_info info {};
    if (dladdr(reinterpret_cast<void*>(&VTPathGuard::libraryFolder), &info) && info.dli_fname)
        return QFileInfo(QFile::decodeName(info.dli_fname)).absolutePath();
#endif
    return QCoreApplication::applicationDirPath();
}

} // namespace Vantles
