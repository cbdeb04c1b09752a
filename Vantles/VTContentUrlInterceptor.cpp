// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTContentUrlInterceptor_p.h"

#include <QDir>
#include <QFileInfo>
#include <QMutexLocker>
#include <QUrl>

namespace Vantles {

VTContentUrlInterceptor::VTContentUrlInterceptor(const QStringList& systemFolders, RefusalHandler refused)
    : m_systemFolders(canonicalFolders(systemFolders))
    , m_refused(std::move(refused))
{
}

void VTContentUrlInterceptor::setFolders(const QStringList& folders)
{
    const QStringList canonical = canonicalFolders(folders);
    const QMutexLocker locker(&m_mutex);
    m_folders = canonical;
}

void VTContentUrlInterceptor::setNetworkAllowed(bool allowed)
{
    const QMutexLocker locker(&m_mutex);
    m_networkAllowed = allowed;
}

QUrl VTContentUrlInterceptor::intercept(const QUrl& url, DataType type)
{
    const QString scheme = url.scheme().toLower();
    if (url.isRelative() || scheme == QLatin1String("qrc") || scheme == QLatin1String("data")
        || scheme == QLatin1String("image"))
        return url;

    bool allowed = false;
    if (url.isLocalFile()) {
        const QString path = url.toLocalFile();
        const QMutexLocker locker(&m_mutex);
        allowed = isInside(path, m_systemFolders) || isInside(path, m_folders);
    } else if (scheme == QLatin1String("http") || scheme == QLatin1String("https")) {
        const QMutexLocker locker(&m_mutex);
        allowed = m_networkAllowed && type == UrlString;
    }
    if (allowed)
        return url;
    if (m_refused)
        m_refused(url);
    return QUrl();
}

bool VTContentUrlInterceptor::isInside(const QString& path, const QStringList& folders)
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

QStringList VTContentUrlInterceptor::canonicalFolders(const QStringList& folders)
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

} // namespace Vantles
