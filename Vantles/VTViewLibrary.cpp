// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTViewLibrary_p.h"

#include "VTPathGuard_p.h"

#include <QDir>
#include <QFileInfo>
#include <QLibrary>

#include <optional>

#ifdef Q_OS_LINUX
#include <link.h>
#endif

namespace Vantles {

// Opened once for the process and never closed: its windows and QML types
// outlive any one manager.
static VTViewLibrary* s_library = nullptr;

QString VTViewLibrary::path()
{
    const QString path = qEnvironmentVariable("VANTLES_VIEW_LIBRARY_PATH");
    if (!path.isEmpty())
        return path;
    return QDir(VTPathGuard::libraryFolder()).filePath(QStringLiteral(VANTLES_VIEW_LIBRARY));
}

bool VTViewLibrary::hostUsesQtQuick()
{
    // Asked on the GUI thread only.
    static std::optional<bool> uses;
    if (uses)
        return *uses;
#ifdef Q_OS_LINUX
    // Whether the process has loaded Qt Quick's library.
    bool found = false;
    dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* data) {
            const QByteArray path(info->dlpi_name);
            const QByteArray name = path.mid(path.lastIndexOf('/') + 1);
            if (name.startsWith("libQt" QT_STRINGIFY(QT_VERSION_MAJOR) "Quick.so")) {
                *static_cast<bool*>(data) = true;
                return 1;
            }
            return 0;
        },
        &found);
    uses = found;
#else
    // No way to tell: as if it did, which leaves the renderer to Qt.
    uses = true;
#endif
    return *uses;
}

VTViewLibrary* VTViewLibrary::loaded()
{
    return s_library;
}

VTViewLibrary* VTViewLibrary::load(QString* reason)
{
    if (s_library)
        return s_library;
    const QString file = path();
    if (!QFileInfo::exists(file)) {
        *reason = QStringLiteral("the view library is missing (looked for %1)").arg(file);
        return nullptr;
    }
    const bool hostQuick = hostUsesQtQuick();
    QLibrary library(file);
    if (!library.load()) {
        *reason = QStringLiteral("the view library %1 could not be loaded (%2)").arg(file, library.errorString());
        return nullptr;
    }
    auto entry = reinterpret_cast<VTViewLibraryEntry>(library.resolve("vantlesViewLibrary"));
    if (!entry) {
        *reason = QStringLiteral("%1 is not the view library of Vantles").arg(file);
        return nullptr;
    }
    s_library = entry(VTViewLibraryAbi);
    if (!s_library) {
        *reason = QStringLiteral("the view library %1 belongs to another version of the library").arg(file);
        return nullptr;
    }
    s_library->setHostUsesQtQuick(hostQuick);
    return s_library;
}

} // namespace Vantles
