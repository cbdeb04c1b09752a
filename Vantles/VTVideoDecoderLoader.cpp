// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTVideoDecoderLoader_p.h"

#include "VTPathGuard_p.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLibrary>
#include <QMutex>
#include <QMutexLocker>

#include <map>

namespace Vantles {

QString VTVideoDecoderLoader::pluginPath()
{
    QString folder = qEnvironmentVariable("VANTLES_PLUGIN_PATH");
    if (folder.isEmpty())
        folder = QDir(VTPathGuard::libraryFolder()).filePath(QStringLiteral(VANTLES_PLUGIN_FOLDER));
    return QDir(folder).filePath(QStringLiteral(VANTLES_VIDEO_PLUGIN));
}

VTVideoDecoder* VTVideoDecoderLoader::create(VTVideoDecoderHost* host, QString* reason)
{
    static QMutex mutex;
    // The factories of the plug-ins loaded, by path; none is ever unloaded,
    // as frames made by one may outlive every decoder.
    static std::map<QString, VTCreateVideoDecoder> factories;

    const QString path = pluginPath();
    QMutexLocker locker(&mutex);
    auto factory = factories.find(path);
    if (factory == factories.end()) {
        if (!QFileInfo::exists(path)) {
            *reason = QStringLiteral("the video plug-in of the library is missing (looked for %1)").arg(path);
            return nullptr;
        }
        QLibrary library(path);
        if (!library.load()) {
            *reason = QStringLiteral("the video plug-in %1 could not be loaded (%2)").arg(path, library.errorString());
            return nullptr;
        }
        auto create = reinterpret_cast<VTCreateVideoDecoder>(library.resolve("vantlesCreateVideoDecoder"));
        if (!create) {
            *reason = QStringLiteral("%1 is not a video plug-in of the library").arg(path);
            return nullptr;
        }
        factory = factories.emplace(path, create).first;
    }
    VTVideoDecoder* decoder = factory->second(host, VTVideoDecoderAbi);
    if (!decoder)
        *reason = QStringLiteral("the video plug-in %1 belongs to another version of the library").arg(path);
    return decoder;
}

} // namespace Vantles
