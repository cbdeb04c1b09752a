// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTContentUrlInterceptor_p.h"

#include "VTPathGuard_p.h"

#include <QDir>
#include <QFileInfo>
#include <QImageReader>
#include <QMutexLocker>
#include <QRegularExpression>
#include <QUrl>

namespace Vantles {

VTContentUrlInterceptor::VTContentUrlInterceptor(const QStringList& systemFolders, RefusalHandler refused)
    : m_systemFolders(VTPathGuard::canonicalFolders(systemFolders))
    , m_refused(std::move(refused))
{
}

void VTContentUrlInterceptor::setFolders(const QStringList& folders)
{
    const QStringList canonical = VTPathGuard::canonicalFolders(folders);
    const QMutexLocker locker(&m_mutex);
    m_folders = canonical;
}

void VTContentUrlInterceptor::setNetworkAllowed(bool allowed)
{
    const QMutexLocker locker(&m_mutex);
    m_networkAllowed = allowed;
}

void VTContentUrlInterceptor::setAllowedModules(const QStringList& modules)
{
    const QMutexLocker locker(&m_mutex);
    m_allowedModules = modules;
}

QString VTContentUrlInterceptor::moduleOf(const QUrl& qmldir) const
{
    static const QLatin1String qrcImports(":/qt-project.org/imports/");
    QString folder;
    const QString resource = QLatin1Char(':') + qmldir.path();
    if (qmldir.scheme() == QLatin1String("qrc") && resource.startsWith(qrcImports)) {
        folder = resource.mid(qrcImports.size());
    } else if (qmldir.isLocalFile()) {
        const QString path = QDir::cleanPath(qmldir.toLocalFile());
        for (const QString& system : m_systemFolders) {
            if (path.startsWith(system + QLatin1Char('/')))
                folder = path.mid(system.size() + 1);
        }
    }
    if (!folder.endsWith(QLatin1String("/qmldir")))
        return QString();
    // Each folder may carry a version: QtQuick.2.15/Layouts, QtQml/Models.2
    static const QRegularExpression version(QStringLiteral("(\\.\\d+)+$"));
    QStringList parts = folder.chopped(7).split(QLatin1Char('/'));
    for (QString& part : parts)
        part.remove(version);
    return parts.join(QLatin1Char('.'));
}

QUrl VTContentUrlInterceptor::intercept(const QUrl& url, DataType type)
{
    const QString scheme = url.scheme().toLower();
    {
        const QMutexLocker locker(&m_mutex);
        if (!m_allowedModules.isEmpty()) {
            const QString module = type == QmldirFile ? moduleOf(url) : QString();
            const QString path = url.path();
            const bool worker = type == UrlString
                && (path.endsWith(QLatin1String(".js")) || path.endsWith(QLatin1String(".mjs")));
            if ((!module.isEmpty() && !m_allowedModules.contains(module)) || worker) {
                if (m_refused)
                    m_refused(url, worker ? WorkerScript : Module, 0);
                return QUrl();
            }
        }
    }
    if (url.isRelative() || scheme == QLatin1String("qrc") || scheme == QLatin1String("data")
        || scheme == QLatin1String("image"))
        return url;

    bool allowed = false;
    if (url.isLocalFile()) {
        const QString path = url.toLocalFile();
        const QMutexLocker locker(&m_mutex);
        allowed = VTPathGuard::isInside(path, m_systemFolders) || VTPathGuard::isInside(path, m_folders);
        qint64 bytes = 0;
        if (allowed && type == UrlString && exceedsImageBudget(path, &bytes)) {
            if (m_refused)
                m_refused(url, LargeImage, bytes);
            return QUrl();
        }
    } else if (scheme == QLatin1String("http") || scheme == QLatin1String("https")) {
        const QMutexLocker locker(&m_mutex);
        allowed = m_networkAllowed && type == UrlString;
    }
    if (allowed)
        return url;
    if (m_refused)
        m_refused(url, Outside, 0);
    return QUrl();
}

void VTContentUrlInterceptor::setImageBudget(qint64 bytes)
{
    const QMutexLocker locker(&m_mutex);
    m_imageBudget = bytes;
    m_imageBytes = 0;
    m_countedImages.clear();
}

bool VTContentUrlInterceptor::exceedsImageBudget(const QString& path, qint64* bytes)
{
    if (m_imageBudget <= 0 || m_countedImages.contains(path))
        return false;
    QImageReader reader(path);
    const QSize size = reader.canRead() ? reader.size() : QSize();
    if (!size.isValid())
        return false;
    // An animation keeps its frames: all of them count.
    const qint64 frames = qMax(1, reader.imageCount());
    *bytes = qint64(size.width()) * size.height() * 4 * frames;
    if (m_imageBytes + *bytes > m_imageBudget)
        return true;
    m_imageBytes += *bytes;
    m_countedImages.insert(path);
    return false;
}

} // namespace Vantles
