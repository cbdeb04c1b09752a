#pragma once

#include <QColor>
#include <QQuickPaintedItem>
#include <QString>

#include <QtQml/qqmlregistration.h>

#include <Vantles/vantles_export.h>

namespace Vantles {

/**
 * QML type "VTStyledRectangle": a panel painted in the colours of the
 * desktop style. With toolTipStyle it fills its area with the tooltip
 * background; otherwise, as the root item of a vantle, it fills the window
 * colour one pixel beyond its edges, and nested inside another item it
 * paints nothing. textColor is the matching text colour: the tooltip
 * palette's ToolTipText in tooltip style, the WindowText colour otherwise;
 * linkColor the palette's link colour and secondaryTextColor a quieter text
 * colour, both made readable on the panel (WCAG contrast 4.5:1) where the
 * palette's own would not be. A tooltip-style panel has a one-pixel border
 * between the two.
 */
class VANTLES_EXPORT VTStyledRectangleComponent : public QQuickPaintedItem {
    Q_OBJECT
    QML_NAMED_ELEMENT(VTStyledRectangle)
    Q_PROPERTY(QString element READ element WRITE setElement NOTIFY elementChanged)
    Q_PROPERTY(QColor textColor READ textColor NOTIFY textColorChanged)
    Q_PROPERTY(QColor linkColor READ linkColor NOTIFY textColorChanged)
    Q_PROPERTY(QColor secondaryTextColor READ secondaryTextColor NOTIFY textColorChanged)
    Q_PROPERTY(bool toolTipStyle READ toolTipStyle WRITE setToolTipStyle NOTIFY toolTipStyleChanged)
    Q_PROPERTY(qreal radius READ radius WRITE setRadius NOTIFY radiusChanged)
public:
    explicit VTStyledRectangleComponent(QQuickItem* parent = nullptr);
    ~VTStyledRectangleComponent() override;

    /// The style element, "PE_Widget" (the default) or "PE_Frame".
    QString element() const;
    /// Names outside the two known ones are ignored.
    void setElement(const QString& element);
    /// The QStyle::PrimitiveElement of element().
    int elementIdentifier() const;

    QColor textColor() const;
    QColor linkColor() const;
    QColor secondaryTextColor() const;
    /// The colour the panel is filled with.
    QColor backgroundColor() const;

    bool toolTipStyle() const;
    /// Emits toolTipStyleChanged() and textColorChanged() on every call.
    void setToolTipStyle(bool toolTipStyle);

    /// Corner radius of a tooltip-style panel, 0 (square) by default.
    qreal radius() const;
    /// Emits radiusChanged() only when the value changes.
    void setRadius(qreal radius);

    void paint(QPainter* painter) override;
    /// Emits textColorChanged() and repaints; called when the application's
    /// palette changes.
    void paletteChanged();

Q_SIGNALS:
    void elementChanged();
    void textColorChanged();
    void toolTipStyleChanged();
    void radiusChanged();

private:
    int m_elementIdentifier;
    QString m_element;
    bool m_toolTipStyle = false;
    qreal m_radius = 0;
};

} // namespace Vantles
