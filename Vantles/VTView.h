// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QDir>
#include <QList>
#include <QQmlError>
#include <QQuickWidget>
#include <QString>

#include <Vantles/VTContext.h>
#include <Vantles/VTXmlElement.h>
#include <Vantles/vantlesview_export.h>

#include <memory>

class QQuickItem;

namespace Vantles {

class VTManager;
class VTViewPrivate;

/**
 * The QML view inside a tooltip window, and the object through which the QML
 * interface of a vantle reaches back into the library (as "vantleView").
 *
 * Before each load the window sets three root-context properties: "vantle"
 * (the content element), "dataLocation" (the package root) and "vantleView"
 * (this view). The QML root item's "state" is reset to "" whenever the window
 * hides.
 *
 * The view owns its content element: it deletes it when destroyed, together
 * with the parsed document it belongs to (its parent element, if any).
 * Replacing the content with setContent() does not delete the previous
 * element; the caller does that.
 *
 * Problems reach the host through VTManager::report() with the position of
 * their cause: QML errors and warnings with the QML file's line and column, a
 * missing interface file or resource with the vantle's place in its control
 * file. The short forms "Can't find :%1", "Error %1:%2:%3" and
 * "QML Warning %1:%2:%3" are also sent at the DEBUG level (VTMessageDebug).
 *
 * Every interface runs under a watchdog (VTContextScriptTimeLimit,
 * VTContextInterfaceMemoryBudget) that stops it and closes the vantle; an
 * interface the host does not trust (VTManager::isTrusted()) runs with the
 * limits of untrusted content besides: a few QML modules, no windows of its
 * own, no changes to the application, pinning only on the user's click.
 */
class VANTLESVIEW_EXPORT VTView : public QQuickWidget {
    Q_OBJECT
    /// True keeps the window open when the pointer leaves it; the interface
    /// sets it, with reserved, to pin the vantle.
    Q_PROPERTY(bool stayOpen READ stayOpen WRITE setStayOpen NOTIFY stayOpenChanged)
    /// True makes the window leave the tooltip role: it is handed to a host
    /// window (VTInterface::createWindow()) or becomes a tool window.
    Q_PROPERTY(bool reserved READ reserved WRITE setReserved NOTIFY reservedChanged)
    /// The content element shown, the same as the context property "vantle".
    Q_PROPERTY(Vantles::VTXmlElement* content READ content WRITE setContent NOTIFY contentChanged)
    /// Whether the host opens documentation topics.
    Q_PROPERTY(bool documentationAvailable READ documentationAvailable NOTIFY documentationAvailableChanged)
    /// The content's resource folder name ("Resources" by default).
    Q_PROPERTY(QString resourceDirectory READ resourceDirectoryPath)
    /// The corner radius for the interface's panel, 0 where windows are square.
    Q_PROPERTY(int cornerRadius READ cornerRadius CONSTANT)
public:
    /// The settings key type, for the lookups below.
    using contextKey = VTContextKey;

    /// A view for the windows of @p manager, which reads its settings and
    /// receives its problems.
    VTView(VTManager* manager, QWidget* parent);
    /// Deletes the content's document.
    ~VTView() override;

    /// The manager the view reports to; null once it is gone.
    VTManager* manager() const;

    /// True while the window stays open when the pointer leaves it.
    bool stayOpen() const;
    /// Emits stayOpenChanged() on every call.
    void setStayOpen(bool stayOpen);
    /// True once the window left the tooltip role.
    bool reserved() const;
    /// Emits reservedChanged() only when the value changes.
    void setReserved(bool reserved);

    /// The content element shown, null before the first.
    ///@{
    VTXmlElement* content();
    const VTXmlElement* content() const;
    ///@}
    /// Only stores the pointer: the previous element is neither deleted nor
    /// notified about.
    void setContent(VTXmlElement* content);
    /// Deletes the tree of the current content, from its root, unless it is
    /// @p content, and stores @p content.
    void replaceContent(VTXmlElement* content);

    /// The package folder of the content, the context property "dataLocation".
    QDir packageRoot() const;
    /// Sets the package folder of the next content.
    void setPackageRoot(const QDir& root);

    /// Whether documentation topics can be opened (VTContextDocumentationEnabled,
    /// true when unset).
    bool documentationAvailable() const;

    /// The corner radius for the interface: setting VTContextCornerRadius
    /// (default 4), scaled, where windows can be translucent; else 0.
    int cornerRadius() const;

    /// The content's (or, one level up, its parent's) non-empty @p attribute,
    /// else the setting @p key with @p defaultValue.
    QString categoryPath(const QString& attribute, const QString& defaultValue, contextKey key) const;
    /// The first existing @p relativePath in the content's component folders
    /// for the category categoryPath(@p attribute, @p defaultValue, @p key);
    /// the category itself when none exists.
    QString findComponent(
        const QString& attribute, contextKey key, const QString& defaultValue, const QString& relativePath) const;
    /// The paths findComponent() tries, in order.
    QStringList componentCandidates(
        const QString& attribute, contextKey key, const QString& defaultValue, const QString& relativePath) const;
    /// The QML root file for the current content: the package's, else the
    /// library's built-in one.
    QString uiRootFilePath() const;
    /// Loads the QML root file for the current content unless it is loaded
    /// already. A package without an interface file gets the library's
    /// built-in one; a content or setting that names a file that is missing
    /// gets it too, with a warning. False, with the problem reported, when
    /// the only file found lies outside the package or does not compile.
    bool loadInterface();
    /// Whether the interface loaded last runs as trusted content (see
    /// VTManager::isTrusted()).
    bool isTrusted() const;
    /// The resource path (":/...") of the library's full or simple interface.
    static QString builtInInterfacePath(bool simple);
    /// The resource category of the content ("Resources" by default).
    QString resourceDirectoryPath() const;

    /// Gives @p object the cursor named @p shape ("PointingHandCursor",
    /// "IBeamCursor", "BlankCursor"; anything else is the arrow), or none
    /// for an empty name. @p tag is not used.
    Q_INVOKABLE void setItemCursor(QQuickItem* object, const QString& shape, const QString& tag);
    /// Sends @p msg to the host at VTMessageDebug.
    Q_INVOKABLE void debugLog(const QString& msg);
    /// Passes @p resourceLocator to the manager while the user clicks or
    /// presses a key in this view, or while assistive technology asks for an
    /// action (on Linux, through the AT-SPI bus); refuses and reports it at
    /// any other time.
    Q_INVOKABLE void openExternalResource(const QString& resourceLocator);
    /// @p string with its "%(name)s" placeholders filled from the host's
    /// global properties (VTInterface::setGlobalProperty()).
    Q_INVOKABLE QString interpolate(const QString& string);
    /// Sets the application's override cursor to the one named @p shape (as
    /// setItemCursor()); restoreOverrideCursor() undoes it. Override cursors
    /// the interface pushes are popped when the vantle hides or its
    /// interface goes, at the latest.
    Q_INVOKABLE void setOverrideCursor(const QString& shape);
    /// Undoes the last setOverrideCursor().
    Q_INVOKABLE void restoreOverrideCursor();
    /// @p string translated in @p context through the host
    /// (VTInterface::translateString(): the package's translation file by
    /// default); @p string itself when there is none.
    Q_INVOKABLE QString translate(const QString& string, const QString& context);
    /// The absolute path of a resource file of the content's package; empty
    /// when the path leads outside the package's folders.
    Q_INVOKABLE QString findResource(const QString& relativePath);
    /// @p size in pixels scaled by the setting VTContextInterfaceScale.
    Q_INVOKABLE int getScaledSize(int size);
    /// @p text without its markup (when it is rich text) and with its white
    /// space simplified: what assistive technology reads of it.
    Q_INVOKABLE QString plainText(const QString& text) const;

Q_SIGNALS:
    /// setStayOpen() was called.
    void stayOpenChanged();
    /// reserved changed.
    void reservedChanged();
    /// The notify signal of content; setContent() does not emit it.
    void contentChanged();
    /// The view was resized while an interface is loaded: the window fits
    /// itself to it.
    void contentSizeChanged();
    /// The setting VTContextDocumentationEnabled changed.
    void documentationAvailableChanged();
    /// Declared for the resource folder; not emitted.
    void resourceDirectoryChanged();

public Q_SLOTS:
    /// Reports the errors of a failed load; connect statusChanged() to it.
    void statusHasChanged(QQuickWidget::Status s);
    /// Loads @p path unless it is the current source already.
    void loadQML(const QString& path);
    /// Reports QML warnings of the interface to the host with their file,
    /// line and column; the engine's warnings() arrive here.
    void handleWarnings(const QList<QQmlError>& warnings);
    /// Returns the QML root item to its base state.
    void resetState();
    /// For VTContext::settingDidChange(): refreshes documentationAvailable.
    void managerContextSettingDidChange(VTContextKey key);

protected:
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;

private:
    friend class VTWidget;
    // Lays the interface out for the content it was just given and sizes
    // the view to its root item now, rather than when the next frame comes:
    // the window can then be sized and placed once, before it shows, and
    // its first frame shows the new content at its size.
    void settle();
    // Loads @p path under the watchdog and, unless @p trusted, the limits of
    // untrusted content; false when it was stopped or stopped before.
    bool loadGuarded(const QString& path, bool trusted);
    // Builds and shows the interface at @p url; deletes a root the view
    // does not take.
    void build(const QUrl& url);
    // Tears down an interface the watchdog interrupted and reports why.
    void stopInterface();
    void releaseWorkerScripts();

    std::unique_ptr<VTViewPrivate> const d;
};

} // namespace Vantles
