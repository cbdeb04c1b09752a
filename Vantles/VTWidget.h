// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QPoint>
#include <QRect>
#include <QString>
#include <QWidget>

#include <Vantles/vantlesview_export.h>

#include <memory>

namespace Vantles {

class VTManager;
class VTView;
class VTWidgetPrivate;
class VTXmlElement;

/**
 * The frameless top-level window that shows one vantle.
 *
 * It holds a VTView, fades in and out (settings VTContextFadeInDuration and
 * VTContextFadeOutDuration; by window opacity where the platform has it, else
 * by the content's), is a transient child of the window of the control it
 * was shown for, keeps inside the available area of that control's screen
 * (where the platform tells where windows are), and hides a
 * while (VTContextTimerInterval) after the pointer has left a safe area
 * around it (VTContextSafeAreaSize). When the QML marks the view reserved,
 * the window leaves the tooltip role: it moves into a host window from
 * VTInterface::createWindow() or becomes a tool window of its own, deleted
 * when the user closes it or presses Escape in it. Assistive technology is
 * told of a pinned vantle as of a new window, which takes the focus.
 */
class VANTLESVIEW_EXPORT VTWidget : public QWidget {
    Q_OBJECT
public:
    /// @p reference is the control the vantle belongs to; not owned.
    VTWidget(VTManager* manager, QWidget* parent, QWidget* reference);
    ~VTWidget() override;

    /// The manager that made the window.
    VTManager* manager() const;
    /// The view that shows the vantle, owned by the window.
    VTView* view() const;
    /// Whether tooltip windows can be translucent here (rounded corners):
    /// on platforms that composite windows (Wayland, Windows, macOS), on X11
    /// while a compositing manager runs, and offscreen.
    static bool windowsCanBeTranslucent();
    /// The room around the vantle that its drop shadow takes: none where
    /// the desktop does not composite windows, offscreen, or once pinned.
    QMargins shadowMargins() const;
    /// Takes ownership of @p view, deleting the previous one.
    void setView(VTView* view);
    /// The control the vantle is shown for, or null.
    QWidget* referenceWidget() const;
    /// How opaque the fades have left the vantle, from 0 to 1: the window's
    /// opacity where the platform has window opacity (X11, Windows, macOS),
    /// else that of the content, which the fades animate there (Wayland).
    qreal fadeLevel() const;

    /// Whether the global point @p p is over the reference control or within
    /// the margin around the window.
    bool isSafe(const QPoint& p) const;
    /// Starts or stops the hide countdown for a pointer at @p p.
    void checkMousePosition(const QPoint& p);
    /// A vantle the keyboard brought (focus or the toggle key) has no hide
    /// countdown: it stays until Escape, a focus change or another vantle.
    /// Every show resets it.
    void setShownByKeyboard(bool byKeyboard);
    /// Whether the keyboard brought the vantle (see setShownByKeyboard()).
    bool isShownByKeyboard() const;

public Q_SLOTS:
    /// Shows @p content (which the view then owns) at @p pos. The element it
    /// replaces is deleted. A null @p content does nothing.
    void showWithContent(QObject* reference, QPoint pos, Vantles::VTXmlElement* content, QString rootPath);
    /// Moves the window back into the available area of its screen, if it
    /// left it.
    void reposition();
    /// Fades out, unless hidden already or a fade is running.
    void hideAnimated();
    /// Hides the window at the end of the fade and returns the interface to
    /// its base state.
    void hideAnimationFinished();
    /// Shows the window, fading in over VTContextFadeInDuration (at once
    /// when 0, the default); nothing when it is shown already.
    void showAnimated();
    /// (Re)starts the hide countdown unless the view stays open.
    void setTimer();
    /// Follows the view's reserved property: once it is set (and the manager
    /// agrees), the window moves into the host's window or becomes a tool
    /// window deleted when closed.
    void contentReservedChanged();
    /// Fits the window to the view, placed again beside its control and
    /// inside the screen.
    void contentResized();
    /// @p geometry moved (never resized) into the available area of the
    /// reference control's screen; @p move tells whether it had to move.
    QRect findVisibleGeometry(QRect geometry, bool* move);
    /// findVisibleGeometry() without telling whether it moved.
    QRect findVisibleGeometry(QRect geometry);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    friend class VTWindowPreparation;
    // Sets the view's scene graph up and renders it once while the window
    // stays off the screen.
    void renderUnshown();

    std::unique_ptr<VTWidgetPrivate> const d;
};

} // namespace Vantles
