// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QFileInfo>
#include <QLocale>
#include <QMap>
#include <QObject>
#include <QPoint>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QXmlStreamAttributes>

#include <Vantles/VTInterface.h>
#include <Vantles/VTProblem.h>
#include <Vantles/vantles_export.h>

#include <memory>

class QEvent;
class QMouseEvent;
class QWidget;
class VTContext;

namespace Vantles {

class VTIndex;
class VTManagerPrivate;
class VTWidget;
class VTXmlElement;

/**
 * Owns everything the library does for one host interface: the settings
 * copy, the index and the packages loaded into it, the message gate and, as
 * they are needed, the tooltip windows.
 *
 * Made by VTInterface, which owns it; a host reaches it through
 * VTInterface::manager(). All of it runs on the GUI thread.
 */
class VANTLES_EXPORT VTManager : public QObject {
    Q_OBJECT
public:
    /// Copies @p context, makes or adopts the index, loads every package on
    /// @p dataPath and, when setting VTContextInstallEventFilter is true,
    /// filters the application's events. (The QML types register themselves
    /// when an interface first imports com.zelvane.vantles.qml.)
    VTManager(VTInterface* interface, VTContext& context, const QStringList& dataPath, VTIndex* index);
    /// Removes the event filter and clears Qt::WA_AlwaysShowToolTips on every
    /// top-level widget. Deletes the index if it made it; an index the host
    /// gave stays the host's.
    ~VTManager() override;

    /// The manager's own copy of the settings.
    ///@{
    VTContext* context();
    const VTContext* context() const;
    ///@}
    /// The host's interface that made the manager.
    VTInterface* interface() const;
    /// The index in use: the host's or the one the manager made.
    VTIndex* index() const;
    /// The data path as given to the constructor.
    QStringList searchPaths() const;
    /// Canonical paths of the data folders that were scanned, each once.
    QStringList loadedDirectories() const;
    /// Every control key in the index.
    QStringList keys() const;
    /// The current tooltip window, or null before it is made (while the
    /// application is idle after its first window appeared, or at the first
    /// show). Its class is the view library's (link Vantles::View to use it).
    VTWidget* widget() const;
    /// The windows pinned open so far that still exist, in the order they
    /// were pinned.
    QList<VTWidget*> reservedWindows() const;

    /// Indexes one control file of @p package (the name keeps its spelling).
    void indexControFile(const QString& controlFile, const QString& package);
    /// Loads the packages of every folder in @p paths; entries that are not
    /// folders are skipped.
    void loadDataPath(const QStringList& paths);
    /// Indexes the control files directly inside the package's control folder.
    void loadPackage(const QFileInfo& package);

    /// Passes @p message to the host when @p type is not greater than
    /// setting VTContextMessageThreshold (default 200: errors and warnings).
    void handleMessage(VTMessageType type, const QString& message);
    /// Sends @p problem to handleMessage() as "PATH:LINE:COLUMN: text",
    /// once for each version of its file (once in all when it is in no file).
    void report(const VTProblem& problem);
    /// The errors and warnings reported so far, each once, in order.
    QList<VTProblem> problems() const;
    /// The host's key for @p object.
    QString keyForObject(QObject* object);

    /**
     * Shows the vantle for @p key near the global position @p globalPos for
     * the control @p object (may be null). Falls back to the fallback locale
     * and then to the fallback key (VTContextFallbackKey). Returns whether a
     * vantle is (or stays) on screen for this request.
     */
    bool show(const QString& key, const QPoint& globalPos, QObject* object);
    /// The content for @p key in the current locale, else in the fallback
    /// locale; null when there is none. The caller owns @p root.
    VTXmlElement* retrieve(const QString& key, QString& location, int& depth, VTXmlElement*& root);
    /// Hides the tooltip on a click outside it; never consumes the event.
    bool mouseButtonEventFilter(QObject* object, QMouseEvent* event);
    /// Starts or stops the hide countdown; never consumes the event.
    bool mouseMoveEventFilter(QObject* object, QMouseEvent* event);
    bool eventFilter(QObject* watched, QEvent* event) override;

    /// Makes sure a current tooltip window exists; an existing one is only
    /// reparented to @p parent. The first opens the view library; when that
    /// fails, the problem is reported and there is no window.
    void initializeTooltipWindow(QWidget* parent);
    /// Hands the current window @p window over to the reserved windows and
    /// makes a fresh current window. @p hostWindow receives the host's
    /// window for it, or null. False when @p window is not the current one.
    bool reserve(VTWidget* window, QWidget*& hostWindow);
    /// Raises every reserved window; the first one pinned ends on top.
    void raise();
    /// Sets or clears Qt::WindowStaysOnTopHint on every reserved window.
    void setStayOnTop(bool on);
    /// @p pos plus the offset of setting VTContextTooltipOffset.
    QPoint tooltipPosition(const QPoint& pos, QWidget* widget) const;
    /// @p size times the interface scale, truncated; unchanged for scale 0.
    int getScaledSize(int size) const;
    /// The user-interface scale factor (setting VTContextInterfaceScale).
    float realScaleValue() const;

    /// Expands every "%(name)s" in @p text with @p values, recursively;
    /// unknown names stay as written.
    QString interpolate(const QString& text, const QMap<QString, QVariant>& values) const;
    /// Expands with the global properties.
    QString interpolate(const QString& text) const;
    /// Sets the value that fills "%(name)s" placeholders in content text.
    void setGlobalProperty(const QString& name, const QVariant& value);
    /// @p string translated with the translation file of the current locale
    /// in the package of the vantle on screen; unchanged when there is none.
    QString translateString(const QString& string, const QString& context);
    /// VTContextCurrentLocale, else VTContextFallbackLocale, else the system locale.
    QLocale currentLocale() const;
    /// @p attribute of @p key's content: from a window showing it, else
    /// looked up; @p defaultValue when absent.
    QString vantleAttribute(const QString& key, const QString& attribute, const QString& defaultValue);
    /// Asks the host to open a URL, a path or a documentation topic, when
    /// the settings allow that kind.
    bool openExternalResource(const QString& resource);

    /// Whether the file or folder @p path belongs to content the host
    /// trusts: the library's own resources (":/..."), anything below a
    /// folder of VTContextTrustedDataFolders or VTContextExtraComponentFolder
    /// (symlinks resolved). An interface from anywhere else runs as untrusted:
    /// it may import only a few QML modules, open no window, and open
    /// links, pin itself or change the application only as the README says.
    bool isTrusted(const QString& path) const;

private:
    std::unique_ptr<VTManagerPrivate> const d;
};

/// A parser filter that builds only "vantles" and "vantle" elements.
VANTLES_EXPORT int loadDataShouldGenerateElement(
    const QString& tagName, const QXmlStreamAttributes& attributes, void* userData);

} // namespace Vantles
