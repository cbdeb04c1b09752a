// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QColor>
#include <QQuickPaintedItem>
#include <QString>

#include <QtQml/qqmlregistration.h>

#include <Vantles/vantlesview_export.h>

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
class VANTLESVIEW_EXPORT VTStyledRectangleComponent : public QQuickPaintedItem {
    Q_OBJECT
    QML_NAMED_ELEMENT(VTStyledRectangle)
    /// The style element, "PE_Widget" (the default) or "PE_Frame"; painting
    /// does not depend on it.
    Q_PROPERTY(QString element READ element WRITE setElement NOTIFY elementChanged)
    /// The colour for text on the panel.
    Q_PROPERTY(QColor textColor READ textColor NOTIFY textColorChanged)
    /// The colour for links on the panel.
    Q_PROPERTY(QColor linkColor READ linkColor NOTIFY textColorChanged)
    /// A quieter colour for text on the panel (shortcuts, captions).
    Q_PROPERTY(QColor secondaryTextColor READ secondaryTextColor NOTIFY textColorChanged)
    /// True paints the tooltip background, false the window's.
    Q_PROPERTY(bool toolTipStyle READ toolTipStyle WRITE setToolTipStyle NOTIFY toolTipStyleChanged)
    /// The corner radius of a tooltip-style panel in pixels.
    Q_PROPERTY(qreal radius READ radius WRITE setRadius NOTIFY radiusChanged)
public:
    /// A window-coloured panel of element "PE_Widget".
    explicit VTStyledRectangleComponent(QQuickItem* parent = nullptr);
    ~VTStyledRectangleComponent() override;

    /// The style element, "PE_Widget" (the default) or "PE_Frame".
    QString element() const;
    /// Names outside the two known ones are ignored.
    void setElement(const QString& element);
    /// The QStyle::PrimitiveElement of element().
    int elementIdentifier() const;

    /// The colour for text on the panel.
    QColor textColor() const;
    /// The colour for links on the panel.
    QColor linkColor() const;
    /// A quieter colour for text on the panel.
    QColor secondaryTextColor() const;
    /// The colour the panel is filled with.
    QColor backgroundColor() const;

    /// True for the tooltip background.
    bool toolTipStyle() const;
    /// Emits toolTipStyleChanged() and textColorChanged() on every call.
    void setToolTipStyle(bool toolTipStyle);

    /// Corner radius of a tooltip-style panel, 0 (square) by default.
    qreal radius() const;
    /// Emits radiusChanged() only when the value changes.
    void setRadius(qreal radius);

    /// Paints the panel as the scene draws it, for callers that paint it
    /// themselves; in a scene the panel is made of the scene graph's own
    /// rectangles instead, so that resizing it paints nothing.
    void paint(QPainter* painter) override;
    /// The panel's layer when it has one; the panel is no texture itself.
    bool isTextureProvider() const override;
    /// The panel's layer when it has one, else null.
    QSGTextureProvider* textureProvider() const override;
    /// Emits textColorChanged() and repaints; called when the application's
    /// palette changes.
    void paletteChanged();

Q_SIGNALS:
    /// The element changed.
    void elementChanged();
    /// The text colours changed: the style or the palette did.
    void textColorChanged();
    /// setToolTipStyle() was called.
    void toolTipStyleChanged();
    /// The radius changed.
    void radiusChanged();

protected:
    QSGNode* updatePaintNode(QSGNode* oldNode, UpdatePaintNodeData* data) override;

private:
    QColor borderColor() const;
    bool isSceneRoot() const;

    int m_elementIdentifier;
    QString m_element;
    bool m_toolTipStyle = false;
    qreal m_radius = 0;
};

} // namespace Vantles
