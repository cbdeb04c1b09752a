// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QQuickPaintedItem>

#include <QtQml/qqmlregistration.h>

#include <Vantles/vantlesview_export.h>

#include <memory>

class QScrollBar;
class QWidget;

/**
 * QML type "VTScrollBar": a native scroll bar inside the QML scene.
 *
 * The item owns a QScrollBar that is never shown as a window: it is painted
 * into the item and receives the item's mouse and wheel events, so it looks
 * and drags like the desktop's own. The range and position are the scroll
 * bar's integers in hundredths, seen from QML as reals. QML calls
 * updateDimensions() after sizing the item.
 */
class VANTLESVIEW_EXPORT VTScrollBarComponent : public QQuickPaintedItem {
    Q_OBJECT
    QML_NAMED_ELEMENT(VTScrollBar)
    /// The smallest position (the bar's minimum), in steps of 0.01.
    Q_PROPERTY(float start READ start WRITE setStart NOTIFY startChanged)
    /// The largest position (the bar's maximum), in steps of 0.01.
    Q_PROPERTY(float end READ end WRITE setEnd NOTIFY endChanged)
    /// Where the handle is, from start to end, in steps of 0.01; it follows
    /// the user's drags, clicks and wheel.
    Q_PROPERTY(float position READ position WRITE setPosition NOTIFY positionChanged)
    /// True for a horizontal bar, false (the default) for a vertical one.
    Q_PROPERTY(bool orientHorizontal READ orientHorizontal WRITE setOrientHorizontal NOTIFY orientHorizontalChanged)
    /// The bar's thickness in pixels.
    Q_PROPERTY(float scrollBarWidth READ scrollBarWidth NOTIFY scrollBarWidthChanged)
public:
    /// A vertical bar from 0 to 0.99 at 0.
    explicit VTScrollBarComponent(QQuickItem* parent = nullptr);
    ~VTScrollBarComponent() override;

    /// The smallest position.
    float start() const;
    /// Emits startChanged() on every call.
    void setStart(float start);
    /// The largest position.
    float end() const;
    /// Emits endChanged() on every call.
    void setEnd(float end);
    /// Where the handle is.
    float position() const;
    /// Moves the bar and emits positionChanged() (twice when the value changed).
    void setPosition(float position);
    /// Moves the bar; positionChanged() follows only when the value changed.
    Q_INVOKABLE void setPositionExternal(float value);
    /// True for a horizontal bar.
    bool orientHorizontal() const;
    /// Turns the bar and emits orientHorizontalChanged() on every call.
    void setOrientHorizontal(bool horizontal);
    /// The bar's thickness in pixels.
    float scrollBarWidth() const;
    /// Fixes the bar's size to the item's.
    Q_INVOKABLE void updateDimensions();

    /// The scroll bar itself, owned by the item.
    QScrollBar* scrollBar() const;

    void paint(QPainter* painter) override;

Q_SIGNALS:
    /// setStart() was called.
    void startChanged();
    /// setEnd() was called.
    void endChanged();
    /// The handle moved, or setPosition() was called.
    void positionChanged();
    /// setOrientHorizontal() was called.
    void orientHorizontalChanged();
    /// The notify signal of scrollBarWidth; not emitted.
    void scrollBarWidthChanged();

public Q_SLOTS:
    /// Emits positionChanged(); the bar's valueChanged() arrives here.
    void scrollBarPositionChanged(int value);

protected:
    void itemChange(ItemChange change, const ItemChangeData& value) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    void forwardMouseEvent(QMouseEvent* event);

    // The bar's parent, never shown: the bar is no window of its own.
    std::unique_ptr<QWidget> m_host;
    QScrollBar* m_scrollBar; // owned by m_host
};
