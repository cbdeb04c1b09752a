// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QObject>
#include <QPoint>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <Vantles/vantles_export.h>

#include <memory>

class QAction;
class QMouseEvent;
class QWidget;
class VTContext;

/// The library's classes and the values its host hooks receive. (The
/// settings, VTContext and VTContextKey, are outside it.)
namespace Vantles {

class VTIndex;
class VTInterfacePrivate;
class VTManager;

/// Severity of a message to the host; a smaller number is more severe.
enum VTMessageType : int {
    VTMessageError = 100, ///< content that cannot be shown as written
    VTMessageWarning = 200, ///< content shown, but not as its author meant
    VTMessageInformation = 300, ///< progress and timing; not passed on by default
    VTMessageDebug = 400, ///< QML problems in short form; not passed on by default
};

/// What the library asks the host to open.
enum VTExternalResourceType : int {
    VTExternalResourceDocumentation = 1, ///< a bare name without a slash: a documentation topic
    VTExternalResourceUrl = 2, ///< a valid URL that has a scheme
    VTExternalResourcePath = 3, ///< a path (contains "/") that is not such a URL
};

/// The kind of window the library asks the host for in createWindow().
enum VTWindowType : int {
    VTWindowReserved = 1, ///< holds a vantle the user has pinned open
};

/**
 * The class a host application creates to use the library, and subclasses to
 * take part in it.
 *
 * The constructor builds the manager and loads every package on the data
 * path, synchronously. The virtual hooks are how the library asks the host
 * for what only the host knows; each has a working default. Overrides are not
 * in force while the constructor runs, so messages sent during package
 * loading reach the default handleMessage().
 */
class VANTLES_EXPORT VTInterface : public QObject {
    Q_OBJECT
public:
    /// @p context is copied; later changes go to context(). @p index, when
    /// given, is used instead of a new one and stays the caller's: delete it
    /// after the interface is gone. An index the library makes itself is
    /// deleted with the interface.
    VTInterface(VTContext& context, const QStringList& dataPath, VTIndex* index = nullptr);
    ~VTInterface() override;

    /// A widget to hold a vantle the user pinned open, or null to let the
    /// vantle become a tool window of its own. The default returns null.
    virtual QWidget* createWindow(VTWindowType type);
    /**
     * The control key of @p object. The default finds it as a Qt Widgets
     * application names its controls:
     * - a control that stands for an action (actionForObject(): a tool
     *   button, the entry under the pointer in a menu or menu bar) has the
     *   action's object name; an entry that opens a submenu has its menu's
     *   object name, else its action's;
     * - any other object has its object name;
     * - a widget without one (or with one of Qt's own, beginning "qt_") has
     *   the name of its nearest named ancestor, a slash and its class name,
     *   such as "settingsPage/ColorSwatch"; with no named ancestor, none.
     * An empty key means the object is no control of its own: its tooltip
     * event goes on to its parent widget, as Qt's tooltips do.
     */
    virtual QString keyForObject(QObject* object);
    /// Opens a link, path or documentation topic; the default opens http,
    /// https and mailto URLs with QDesktopServices, refuses and reports
    /// other schemes, and returns false for the other types.
    virtual bool openExternalResource(VTExternalResourceType type, const QString& resource);
    /// Receives the messages that pass the threshold (setting
    /// VTContextMessageThreshold); the default prints "Level:message" on the
    /// debug channel.
    virtual void handleMessage(VTMessageType type, const QString& message);
    /// Translates an interface string; the default uses the packages' own
    /// translation files.
    virtual QString translateString(const QString& string, const QString& context);
    /// The shortcut text shown for @p key's control; @p shortcut is the
    /// content's own "shortcut" attribute. The default gives the current
    /// shortcut of the control's action (actionForObject()), or of a button,
    /// in the platform's native text, and @p shortcut where there is none.
    virtual QString shortCutForObject(const QString& key, QObject* object, const QString& shortcut);

    /// The action @p object stands for: itself when it is a QAction, a tool
    /// button's default action, the entry under the pointer (QCursor::pos())
    /// of a menu or menu bar; null for anything else.
    static QAction* actionForObject(QObject* object);

    /// Shows the vantle for @p key near the global position @p globalPos for
    /// the control @p object (may be null); see VTManager::show().
    bool show(const QString& key, const QPoint& globalPos, QObject* object);
    /// For hosts that filter events themselves instead of setting
    /// VTContextInstallEventFilter: pass every mouse press and release, and
    /// every mouse move. Neither consumes the event.
    ///@{
    bool mouseButtonEventFilter(QObject* object, QMouseEvent* event);
    bool mouseMoveEventFilter(QObject* object, QMouseEvent* event);
    ///@}
    /// Every control key in the index.
    QStringList keys() const;
    /// The library's own copy of the settings.
    ///@{
    VTContext* context();
    const VTContext* context() const;
    ///@}
    /// @p attribute of @p key's content, or @p defaultValue.
    QString vantleAttribute(const QString& key, const QString& attribute, const QString& defaultValue);
    /// Sets the value that fills "%(name)s" placeholders in content text.
    void setGlobalProperty(const QString& name, const QVariant& value);

    /// The manager behind this interface.
    VTManager* manager() const;

private:
    std::unique_ptr<VTInterfacePrivate> const d;
};

} // namespace Vantles
