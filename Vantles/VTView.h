#pragma once

#include <QDir>
#include <QList>
#include <QQmlError>
#include <QQuickWidget>
#include <QString>

#include <Vantles/VTContext.h>
#include <Vantles/VTXmlElement.h>
#include <Vantles/vantles_export.h>

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
class VANTLES_EXPORT VTView : public QQuickWidget {
    Q_OBJECT
    Q_PROPERTY(bool stayOpen READ stayOpen WRITE setStayOpen NOTIFY stayOpenChanged)
    Q_PROPERTY(bool reserved READ reserved WRITE setReserved NOTIFY reservedChanged)
    Q_PROPERTY(Vantles::VTXmlElement* content READ content WRITE setContent NOTIFY contentChanged)
    Q_PROPERTY(bool documentationAvailable READ documentationAvailable NOTIFY documentationAvailableChanged)
    Q_PROPERTY(QString resourceDirectory READ resourceDirectoryPath)
    Q_PROPERTY(int cornerRadius READ cornerRadius CONSTANT)
public:
    using contextKey = VTContextKey;

    VTView(VTManager* manager, QWidget* parent);
    ~VTView() override;

    VTManager* manager() const;

    bool stayOpen() const;
    /// Emits stayOpenChanged() on every call.
    void setStayOpen(bool stayOpen);
    bool reserved() const;
    /// Emits reservedChanged() only when the value changes.
    void setReserved(bool reserved);

    VTXmlElement* content();
    const VTXmlElement* content() const;
    /// Only stores the pointer: the previous element is neither deleted nor
    /// notified about.
    void setContent(VTXmlElement* content);
    /// Deletes the tree of the current content, from its root, unless it is
    /// @p content, and stores @p content.
    void replaceContent(VTXmlElement* content);

    QDir packageRoot() const;
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

    /// Invokables for the QML interface.
    Q_INVOKABLE void setItemCursor(QQuickItem* object, const QString& shape, const QString& tag);
    Q_INVOKABLE void debugLog(const QString& msg);
    /// Passes @p resourceLocator to the manager while the user clicks or
    /// presses a key in this view; refuses and reports it at any other time.
    Q_INVOKABLE void openExternalResource(const QString& resourceLocator);
    Q_INVOKABLE QString interpolate(const QString& string);
    /// Override cursors the interface pushes are popped when the vantle
    /// hides or its interface goes, at the latest.
    Q_INVOKABLE void setOverrideCursor(const QString& shape);
    Q_INVOKABLE void restoreOverrideCursor();
    Q_INVOKABLE QString translate(const QString& string, const QString& context);
    /// The absolute path of a resource file of the content's package; empty
    /// when the path leads outside the package's folders.
    Q_INVOKABLE QString findResource(const QString& relativePath);
    Q_INVOKABLE int getScaledSize(int size);

Q_SIGNALS:
    void stayOpenChanged();
    void reservedChanged();
    void contentChanged();
    void contentSizeChanged();
    void documentationAvailableChanged();
    void resourceDirectoryChanged();

public Q_SLOTS:
    /// Reports the errors of a failed load; connect statusChanged() to it.
    void statusHasChanged(QQuickWidget::Status s);
    /// Loads @p path unless it is the current source already.
    void loadQML(const QString& path);
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

private:
    // Loads @p path under the watchdog and, unless @p trusted, the limits of
    // untrusted content; false when it was stopped or stopped before.
    bool loadGuarded(const QString& path, bool trusted);
    // Tears down an interface the watchdog interrupted and reports why.
    void stopInterface();
    void releaseWorkerScripts();

    std::unique_ptr<VTViewPrivate> const d;
};

} // namespace Vantles
