#include "VTStyledRectangleComponent.h"

#include <QApplication>
#include <QPainter>
#include <QQuickWindow>
#include <QStyle>
#include <QToolTip>

#include <cmath>

namespace Vantles {

namespace {

struct StyleElement {
    const char* name;
    QStyle::PrimitiveElement identifier;
};

const StyleElement styleElements[] = {
    { "PE_Widget", QStyle::PE_Widget },
    { "PE_Frame", QStyle::PE_Frame },
};

// Each of x, y, width and height to the nearest whole pixel, halves away from zero.
QRect toPixels(const QRectF& r)
{
    return QRect(
        int(std::round(r.x())), int(std::round(r.y())), int(std::round(r.width())), int(std::round(r.height())));
}

} // namespace

VTStyledRectangleComponent::VTStyledRectangleComponent(QQuickItem* parent)
    : QQuickPaintedItem(parent)
    , m_elementIdentifier(QStyle::PE_Widget)
    , m_element(QStringLiteral("PE_Widget"))
{
}

VTStyledRectangleComponent::~VTStyledRectangleComponent() = default;

QString VTStyledRectangleComponent::element() const
{
    return m_element;
}

void VTStyledRectangleComponent::setElement(const QString& element)
{
    for (const StyleElement& known : styleElements) {
        if (element == QLatin1String(known.name)) {
            m_elementIdentifier = known.identifier;
            m_element = element;
            Q_EMIT elementChanged();
            return;
        }
    }
}

int VTStyledRectangleComponent::elementIdentifier() const
{
    return m_elementIdentifier;
}

QColor VTStyledRectangleComponent::textColor() const
{
    // The panel's own palette: readable in a dark palette as in a light one.
    if (m_toolTipStyle)
        return QToolTip::palette().color(QPalette::Active, QPalette::ToolTipText);
    return QApplication::palette().brush(QPalette::Active, QPalette::WindowText).color();
}

bool VTStyledRectangleComponent::toolTipStyle() const
{
    return m_toolTipStyle;
}

void VTStyledRectangleComponent::setToolTipStyle(bool toolTipStyle)
{
    m_toolTipStyle = toolTipStyle;
    Q_EMIT toolTipStyleChanged();
    Q_EMIT textColorChanged();
    update();
}

void VTStyledRectangleComponent::paint(QPainter* painter)
{
    const QRectF r = boundingRect();
    if (m_toolTipStyle) {
        painter->setBrush(QToolTip::palette().brush(QPalette::Current, QPalette::ToolTipBase));
        painter->drawRect(toPixels(r));
        return;
    }
    // A scene's root item hangs below the window's content item, which
    // counts as no parent here.
    const bool isRoot = !parentItem() || (window() && parentItem() == window()->contentItem());
    if (!isRoot)
        return;
    painter->setBrush(QBrush(QApplication::palette().brush(QPalette::Active, QPalette::Window).color()));
    painter->drawRect(toPixels(r.adjusted(-1, -1, 1, 1)));
}

} // namespace Vantles
