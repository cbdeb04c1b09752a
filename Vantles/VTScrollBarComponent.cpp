// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTScrollBarComponent.h"

#include <QCoreApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QWheelEvent>

VTScrollBarComponent::VTScrollBarComponent(QQuickItem* parent)
    : QQuickPaintedItem(parent)
    , m_host(new QWidget)
    , m_scrollBar(new QScrollBar(m_host.get()))
{
    // Painted into the item and fed its events; never a window of its own.
    m_host->setAttribute(Qt::WA_DontShowOnScreen);
    m_scrollBar->ensurePolished();
    setAcceptedMouseButtons(Qt::LeftButton | Qt::MiddleButton);
    connect(m_scrollBar, &QScrollBar::valueChanged, this, &VTScrollBarComponent::scrollBarPositionChanged);
    // Presses in the groove step the bar on a timer: repaint whatever moved it.
    connect(m_scrollBar, &QScrollBar::valueChanged, this, [this] { update(); });
    connect(m_scrollBar, &QScrollBar::sliderPressed, this, [this] { update(); });
    connect(m_scrollBar, &QScrollBar::sliderReleased, this, [this] { update(); });
}

VTScrollBarComponent::~VTScrollBarComponent() = default;

QScrollBar* VTScrollBarComponent::scrollBar() const
{
    return m_scrollBar;
}

float VTScrollBarComponent::start() const
{
    return float(m_scrollBar->minimum() / 100.0);
}

void VTScrollBarComponent::setStart(float start)
{
    m_scrollBar->setMinimum(int(start * 100));
    Q_EMIT startChanged();
    update();
}

float VTScrollBarComponent::end() const
{
    return float(m_scrollBar->maximum() / 100.0);
}

void VTScrollBarComponent::setEnd(float end)
{
    m_scrollBar->setMaximum(int(end * 100));
    Q_EMIT endChanged();
    update();
}

float VTScrollBarComponent::position() const
{
    return float(m_scrollBar->value() / 100.0);
}

void VTScrollBarComponent::setPosition(float position)
{
    setPositionExternal(position);
    Q_EMIT positionChanged();
}

void VTScrollBarComponent::setPositionExternal(float value)
{
    m_scrollBar->setValue(int(value * 100));
}

bool VTScrollBarComponent::orientHorizontal() const
{
    return m_scrollBar->orientation() == Qt::Horizontal;
}

void VTScrollBarComponent::setOrientHorizontal(bool horizontal)
{
    m_scrollBar->setOrientation(horizontal ? Qt::Horizontal : Qt::Vertical);
    Q_EMIT orientHorizontalChanged();
    update();
}

float VTScrollBarComponent::scrollBarWidth() const
{
    return float(orientHorizontal() ? m_scrollBar->height() : m_scrollBar->width());
}

void VTScrollBarComponent::updateDimensions()
{
    m_scrollBar->setFixedSize(int(width()), int(height()));
    update();
}

void VTScrollBarComponent::scrollBarPositionChanged(int value)
{
    Q_UNUSED(value)
    Q_EMIT positionChanged();
}

void VTScrollBarComponent::paint(QPainter* painter)
{
    if (m_scrollBar->width() <= 0 || m_scrollBar->height() <= 0)
        return;
    m_scrollBar->render(painter, QPoint(), QRegion(), QWidget::DrawChildren);
}

void VTScrollBarComponent::itemChange(ItemChange change, const ItemChangeData& value)
{
    // The bar lives in a widget that is never shown, so its visibility
    // follows the item without a window of its own ever being shown: Qt
    // closes an open menu when another top-level window appears. The item's
    // opacity applies to what it paints.
    if (m_scrollBar && change == ItemVisibleHasChanged)
        m_scrollBar->setVisible(value.boolValue);
    QQuickPaintedItem::itemChange(change, value);
}

void VTScrollBarComponent::forwardMouseEvent(QMouseEvent* event)
{
    const QPointF local = event->position();
    QMouseEvent forwarded(event->type(), local, local, event->globalPosition(), event->button(), event->buttons(),
        event->modifiers(), event->pointingDevice());
    QCoreApplication::sendEvent(m_scrollBar, &forwarded);
    event->setAccepted(forwarded.isAccepted());
    update();
}

void VTScrollBarComponent::mousePressEvent(QMouseEvent* event)
{
    forwardMouseEvent(event);
    // Keep the grab so the drag goes on outside the item.
    event->accept();
}

void VTScrollBarComponent::mouseMoveEvent(QMouseEvent* event)
{
    forwardMouseEvent(event);
}

void VTScrollBarComponent::mouseReleaseEvent(QMouseEvent* event)
{
    forwardMouseEvent(event);
}

void VTScrollBarComponent::wheelEvent(QWheelEvent* event)
{
    QWheelEvent forwarded(event->position(), event->globalPosition(), event->pixelDelta(), event->angleDelta(),
        event->buttons(), event->modifiers(), event->phase(), event->inverted(), event->source(),
        event->pointingDevice());
    QCoreApplication::sendEvent(m_scrollBar, &forwarded);
    event->setAccepted(forwarded.isAccepted());
    update();
}
