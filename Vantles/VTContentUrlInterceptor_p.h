// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QMutex>
#include <QQmlAbstractUrlInterceptor>
#include <QSet>
#include <QStringList>

#include <functional>

namespace Vantles {

/**
 * Keeps a view's QML inside its content: local files load only from the
 * package folders the view names and from the QML engine's own import
 * folders; remote URLs only when network images are allowed, and then only
 * where a URL string is used (images); every other scheme but qrc:, data:
 * and image: is refused. A refused URL becomes an empty one and is handed to
 * the refusal callback, which may run on the QML loader's thread.
 *
 * For untrusted content it also refuses the modules outside an allow-list
 * (their qmldir files) and worker scripts (.js and .mjs files named by a URL
 * string, as WorkerScript.source is; imported scripts are not). For all
 * content it refuses images whose decoded frames would take the rest of an
 * image budget, read from the files' headers before anything is decoded.
 */
class VTContentUrlInterceptor : public QQmlAbstractUrlInterceptor {
public:
    enum Refusal { Outside, Module, WorkerScript, LargeImage };
    /// @p bytes: the decoded size of a LargeImage.
    using RefusalHandler = std::function<void(const QUrl& url, Refusal refusal, qint64 bytes)>;

    VTContentUrlInterceptor(const QStringList& systemFolders, RefusalHandler refused);

    /// Folders whose files the content may use; symlinks resolved here.
    void setFolders(const QStringList& folders);
    void setNetworkAllowed(bool allowed);
    /// Limits the content to the QML modules @p modules ("QtQuick.Layouts")
    /// and refuses its worker scripts; an empty list lifts both limits.
    void setAllowedModules(const QStringList& modules);
    /// The module a qmldir URL of the system folders describes
    /// ("QtQuick.Layouts" for .../QtQuick/Layouts.2/qmldir), or an empty
    /// string for one outside them.
    QString moduleOf(const QUrl& qmldir) const;
    /// Starts counting images anew with @p bytes for all their decoded
    /// frames together (0: no limit).
    void setImageBudget(qint64 bytes);

    QUrl intercept(const QUrl& url, DataType type) override;

private:
    mutable QMutex m_mutex;
    const QStringList m_systemFolders;
    QStringList m_folders;
    bool m_networkAllowed = false;
    QStringList m_allowedModules;
    qint64 m_imageBudget = 0;
    qint64 m_imageBytes = 0;
    QSet<QString> m_countedImages;

    // Whether the image file @p path would pass the budget; counts it.
    bool exceedsImageBudget(const QString& path, qint64* bytes);
    const RefusalHandler m_refused;
};

} // namespace Vantles
