#pragma once

#include <QQuickPaintedItem>

#include <QtQml/qqmlregistration.h>

#include <Vantles/vantles_export.h>

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
class VANTLES_EXPORT VTScrollBarComponent : public QQuickPaintedItem {
    Q_OBJECT
    QML_NAMED_ELEMENT(VTScrollBar)
    Q_PROPERTY(float start READ start WRITE setStart NOTIFY startChanged)
    Q_PROPERTY(float end READ end WRITE setEnd NOTIFY endChanged)
    Q_PROPERTY(float position READ position WRITE setPosition NOTIFY positionChanged)
    Q_PROPERTY(bool orientHorizontal READ orientHorizontal WRITE setOrientHorizontal NOTIFY orientHorizontalChanged)
    Q_PROPERTY(float scrollBarWidth READ scrollBarWidth NOTIFY scrollBarWidthChanged)
public:
    explicit VTScrollBarComponent(QQuickItem* parent = nullptr);
    ~VTScrollBarComponent() override;

    float start() const;
    /// Emits startChanged() on every call.
    void setStart(float start);
    float end() const;
    /// Emits endChanged() on every call.
    void setEnd(float end);
    float position() const;
    /// Moves the bar and emits positionChanged() (twice when the value changed).
    void setPosition(float position);
    /// Moves the bar; positionChanged() follows only when the value changed.
    Q_INVOKABLE void setPositionExternal(float value);
    bool orientHorizontal() const;
    void setOrientHorizontal(bool horizontal);
    /// The bar's thickness in pixels.
    float scrollBarWidth() const;
    /// Fixes the bar's size to the item's.
    Q_INVOKABLE void updateDimensions();

    /// The scroll bar itself, owned by the item.
    QScrollBar* scrollBar() const;

    void paint(QPainter* painter) override;

Q_SIGNALS:
    void startChanged();
    void endChanged();
    void positionChanged();
    void orientHorizontalChanged();
    void scrollBarWidthChanged();

public Q_SLOTS:
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
