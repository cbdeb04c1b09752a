// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QPoint>
#include <QString>
#include <QStringList>

#include <Vantles/VTContext.h>

class QObject;
class QWidget;

namespace Vantles {

class VTManager;
class VTWidget;
class VTXmlElement;

/**
 * What the view library (VantlesView: the tooltip window and all of Qt
 * Quick) does for this one. This library links no Qt Quick, so that a host
 * linking it starts as quickly as without it; it opens the view library
 * beside its own file when it first needs a window, and reaches the windows
 * through this table only.
 *
 * A window is handed around as the QWidget it is (a VTWidget with its
 * VTView); the view library is the only one that knows the classes.
 */
class VTViewLibrary {
public:
    /// The view library, opened the first time; null, with @p reason, when
    /// it cannot be.
    static VTViewLibrary* load(QString* reason);
    /// The view library if opened, else null.
    static VTViewLibrary* loaded();
    /// Where load() opens it from: VANTLES_VIEW_LIBRARY_PATH, else beside
    /// this library's own file.
    static QString path();
    /// Whether Qt Quick was in the process before the view library was
    /// opened (the host links it, or loaded it, for scenes of its own);
    /// found the first time, which is before the view library opens.
    static bool hostUsesQtQuick();

    /// A new tooltip window with its view, child of @p parent.
    virtual QWidget* createWindow(VTManager* manager, QWidget* parent) = 0;
    /// Makes the window ready while the application is idle (its native
    /// window, the interface, the graphics); the object does it in steps
    /// from the event loop and deletes itself when done or when @p manager
    /// goes.
    virtual void prepare(VTManager* manager) = 0;
    /// Picks Qt Quick's software renderer for the process; false when its
    /// first Qt Quick window has picked another already.
    virtual bool useSoftwareRenderer() = 0;
    /// Says whether the host uses Qt Quick of its own (hostUsesQtQuick()),
    /// once, right after the view library opened.
    virtual void setHostUsesQtQuick(bool uses) = 0;

    virtual VTWidget* widget(QWidget* window) = 0;
    virtual QWidget* window(VTWidget* widget) = 0;

    virtual QWidget* referenceWidget(const QWidget* window) = 0;
    virtual void showWithContent(
        QWidget* window, QObject* reference, const QPoint& pos, VTXmlElement* content, const QString& rootPath)
        = 0;
    virtual void hideAnimated(QWidget* window) = 0;
    virtual void hideAnimationFinished(QWidget* window) = 0;
    virtual qreal fadeLevel(const QWidget* window) = 0;
    virtual bool isSafe(const QWidget* window, const QPoint& pos) = 0;
    virtual void checkMousePosition(QWidget* window, const QPoint& pos) = 0;
    virtual void setShownByKeyboard(QWidget* window, bool byKeyboard) = 0;
    virtual bool isShownByKeyboard(const QWidget* window) = 0;

    /// The content of the window's view; null when it has none (or no view).
    virtual VTXmlElement* content(const QWidget* window) = 0;
    virtual void replaceContent(QWidget* window, VTXmlElement* content) = 0;
    virtual bool reserved(const QWidget* window) = 0;
    virtual void setReserved(QWidget* window, bool reserved) = 0;
    virtual bool stayOpen(const QWidget* window) = 0;
    virtual void setStayOpen(QWidget* window, bool stayOpen) = 0;
    virtual QString findComponent(const QWidget* window, const QString& attribute, VTContextKey key,
        const QString& defaultValue, const QString& relativePath)
        = 0;
    virtual QStringList componentCandidates(const QWidget* window, const QString& attribute, VTContextKey key,
        const QString& defaultValue, const QString& relativePath)
        = 0;

protected:
    ~VTViewLibrary() = default;
};

// The view library's one exported function, which returns its table for a
// caller built with @p abi, or null for another.
using VTViewLibraryEntry = VTViewLibrary* (*)(int abi);
constexpr int VTViewLibraryAbi = 2;

} // namespace Vantles
