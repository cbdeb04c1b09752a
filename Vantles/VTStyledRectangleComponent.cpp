// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTStyledRectangleComponent.h"

#include <QApplication>
#include <QPainter>
#include <QPointer>
#include <QQuickWindow>
#include <QStyle>
#include <QToolTip>

#include <algorithm>
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

double luminance(const QColor& color)
{
    auto channel = [](double c) { return c <= 0.03928 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4); };
    return 0.2126 * channel(color.redF()) + 0.7152 * channel(color.greenF()) + 0.0722 * channel(color.blueF());
}

double contrast(const QColor& a, const QColor& b)
{
    const double la = luminance(a), lb = luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

// @p from moved toward @p to by @p amount (0 to 1).
QColor mix(const QColor& from, const QColor& to, double amount)
{
    return QColor::fromRgbF(float(from.redF() + (to.redF() - from.redF()) * amount),
        float(from.greenF() + (to.greenF() - from.greenF()) * amount),
        float(from.blueF() + (to.blueF() - from.blueF()) * amount));
}

// @p color, moved toward @p text only as far as it takes to be readable on
// @p background.
QColor readable(const QColor& color, const QColor& text, const QColor& background)
{
    for (int step = 0; step <= 10; ++step) {
        const QColor candidate = mix(color, text, step / 10.0);
        if (contrast(candidate, background) >= 4.5)
            return candidate;
    }
    return text;
}

// Tells every panel when the application's palette changes, so that a host
// that switches to a dark palette gets readable colours at once. One filter
// for all panels: it sees every event of the application.
class PaletteWatcher : public QObject {
public:
    // Null without an application, and once it is gone.
    static PaletteWatcher* instance()
    {
        static QPointer<PaletteWatcher> watcher;
        if (!watcher && qApp && !QCoreApplication::closingDown()) {
            watcher = new PaletteWatcher;
            watcher->setParent(qApp);
            qApp->installEventFilter(watcher);
        }
        return watcher;
    }

    QList<VTStyledRectangleComponent*> panels;

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::ApplicationPaletteChange && watched == qApp) {
            for (VTStyledRectangleComponent* panel : qAsConst(panels))
                panel->paletteChanged();
        }
        return false;
    }
};

} // namespace

VTStyledRectangleComponent::VTStyledRectangleComponent(QQuickItem* parent)
    : QQuickPaintedItem(parent)
    , m_elementIdentifier(QStyle::PE_Widget)
    , m_element(QStringLiteral("PE_Widget"))
{
    if (PaletteWatcher* watcher = PaletteWatcher::instance())
        watcher->panels.append(this);
}

VTStyledRectangleComponent::~VTStyledRectangleComponent()
{
    if (PaletteWatcher* watcher = PaletteWatcher::instance())
        watcher->panels.removeOne(this);
}

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

QColor VTStyledRectangleComponent::backgroundColor() const
{
    if (m_toolTipStyle)
        return QToolTip::palette().color(QPalette::Active, QPalette::ToolTipBase);
    return QApplication::palette().color(QPalette::Active, QPalette::Window);
}

QColor VTStyledRectangleComponent::linkColor() const
{
    const QPalette palette = m_toolTipStyle ? QToolTip::palette() : QApplication::palette();
    return readable(palette.color(QPalette::Active, QPalette::Link), textColor(), backgroundColor());
}

QColor VTStyledRectangleComponent::secondaryTextColor() const
{
    return readable(mix(textColor(), backgroundColor(), 0.35), textColor(), backgroundColor());
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

void VTStyledRectangleComponent::paletteChanged()
{
    Q_EMIT textColorChanged();
    update();
}

qreal VTStyledRectangleComponent::radius() const
{
    return m_radius;
}

void VTStyledRectangleComponent::setRadius(qreal radius)
{
    if (qFuzzyCompare(m_radius, radius))
        return;
    m_radius = radius;
    Q_EMIT radiusChanged();
    update();
}

void VTStyledRectangleComponent::paint(QPainter* painter)
{
    const QRectF r = boundingRect();
    if (m_toolTipStyle) {
        // A quiet border that shows on a light panel and on a dark one.
        painter->setPen(mix(backgroundColor(), textColor(), 0.3));
        painter->setBrush(backgroundColor());
        if (m_radius > 0) {
            painter->setRenderHint(QPainter::Antialiasing);
            painter->drawRoundedRect(QRectF(toPixels(r)).adjusted(0.5, 0.5, -0.5, -0.5), m_radius, m_radius);
            return;
        }
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
