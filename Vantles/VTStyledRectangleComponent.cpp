// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTStyledRectangleComponent.h"

#include <QApplication>
#include <QPainter>
#include <QPointer>
#include <QQuickWindow>
#include <QSGImageNode>
#include <QSGRectangleNode>
#include <QSGTexture>
#include <QStyle>
#include <QToolTip>

#include <algorithm>
#include <cmath>
#include <memory>

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

// A tooltip panel's background and its one-pixel border, as paint() draws
// it over @p r.
void paintToolTipPanel(QPainter* painter, const QRect& r, qreal radius, const QColor& border, const QColor& background)
{
    painter->setPen(border);
    painter->setBrush(background);
    if (radius > 0) {
        painter->setRenderHint(QPainter::Antialiasing);
        painter->drawRoundedRect(QRectF(r).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
        return;
    }
    painter->drawRect(r);
}

// What a panel draws in the scene.
enum class PanelShape {
    None,
    Fill, // the window colour, square
    Square, // a tooltip panel without rounded corners
    Rounded, // a tooltip panel with rounded corners
    Small, // a tooltip panel at a fractional pixel ratio, square above a
           // ratio of 1, or rounded and too small for its corners: one picture
};

// A panel in the scene graph: opaque rectangles for its edges and inside,
// and for rounded corners four pieces of one small picture, painted once
// for the radius, the colours and the pixel ratio. So a panel that only
// changes its size, as a vantle's does on every show, paints nothing and
// uploads nothing; a painted item would paint and upload all its pixels.
class PanelNode : public QSGNode {
public:
    PanelShape shape = PanelShape::None;
    QList<QSGRectangleNode*> rectangles;
    QList<QSGImageNode*> pieces;
    // Deleted before the base class deletes the pieces, which only use it.
    std::unique_ptr<QSGTexture> picture;
    // What the picture was painted for.
    struct Key {
        QSize size;
        qreal radius = 0;
        qreal ratio = 0;
        QRgb border = 0;
        QRgb background = 0;
        bool operator==(const Key& other) const
        {
            return size == other.size && radius == other.radius && ratio == other.ratio && border == other.border
                && background == other.background;
        }
    } pictureKey;
};

// The side of a rounded panel's corner piece, in logical pixels: past the
// corner's curve and its antialiasing by a whole pixel.
int cornerSide(qreal radius)
{
    return int(std::ceil(radius)) + 1;
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

QColor VTStyledRectangleComponent::borderColor() const
{
    // A quiet border that shows on a light panel and on a dark one.
    return mix(backgroundColor(), textColor(), 0.3);
}

bool VTStyledRectangleComponent::isSceneRoot() const
{
    // A scene's root item hangs below the window's content item, which
    // counts as no parent here.
    return !parentItem() || (window() && parentItem() == window()->contentItem());
}

void VTStyledRectangleComponent::paint(QPainter* painter)
{
    const QRectF r = boundingRect();
    if (m_toolTipStyle) {
        paintToolTipPanel(painter, toPixels(r), m_radius, borderColor(), backgroundColor());
        return;
    }
    if (!isSceneRoot())
        return;
    painter->setBrush(QBrush(QApplication::palette().brush(QPalette::Active, QPalette::Window).color()));
    painter->drawRect(toPixels(r.adjusted(-1, -1, 1, 1)));
}

bool VTStyledRectangleComponent::isTextureProvider() const
{
    return QQuickItem::isTextureProvider();
}

QSGTextureProvider* VTStyledRectangleComponent::textureProvider() const
{
    return QQuickItem::textureProvider();
}

QSGNode* VTStyledRectangleComponent::updatePaintNode(QSGNode* oldNode, UpdatePaintNodeData*)
{
    auto node = static_cast<PanelNode*>(oldNode);
    QQuickWindow* scene = window();
    const QRect r = toPixels(boundingRect());
    const int side = cornerSide(m_radius);
    // At a pixel ratio such as 1.5 the rectangles' edges, the border and
    // the corners' curves round to device pixels apart from how a painter
    // draws them, and above 1 a painter draws a square panel's border one
    // device pixel wide: the panel is one picture then.
    const qreal ratio = scene ? scene->effectiveDevicePixelRatio() : 1.0;
    const bool wholeRatio = qFuzzyCompare(ratio, std::round(ratio));
    PanelShape shape = PanelShape::None;
    if (m_toolTipStyle && !r.isEmpty()) {
        if (!wholeRatio || (m_radius <= 0 && ratio != 1.0))
            shape = PanelShape::Small;
        else if (m_radius <= 0)
            shape = PanelShape::Square;
        else if (r.width() > 2 * side && r.height() > 2 * side)
            shape = PanelShape::Rounded;
        else
            shape = PanelShape::Small;
    } else if (!m_toolTipStyle && isSceneRoot()) {
        shape = PanelShape::Fill;
    }
    if (shape == PanelShape::None || !scene) {
        delete node;
        return nullptr;
    }

    // A new shape is a new node, made whole before the scene sees it: the
    // software renderer draws a node as soon as it is added to the scene,
    // and places it wrongly when added below a node that is not the item's.
    if (node && node->shape != shape) {
        delete node;
        node = nullptr;
    }
    if (!node) {
        node = new PanelNode;
        node->shape = shape;
        const int rectangles = shape == PanelShape::Rounded ? 7
            : shape == PanelShape::Square                   ? 2
            : shape == PanelShape::Fill                     ? 1
                                                            : 0;
        for (int i = 0; i < rectangles; ++i) {
            node->rectangles.append(scene->createRectangleNode());
            node->appendChildNode(node->rectangles.last());
        }
        const int pieces = shape == PanelShape::Rounded ? 4 : shape == PanelShape::Small ? 1 : 0;
        for (int i = 0; i < pieces; ++i) {
            // Drawn pixel for pixel: nothing is scaled.
            node->pieces.append(scene->createImageNode());
            node->pieces.last()->setFiltering(QSGTexture::Nearest);
            node->appendChildNode(node->pieces.last());
        }
    }

    const QColor background = backgroundColor();
    const QColor border = borderColor();
    auto fill = [node](int index, const QRectF& rect, const QColor& color) {
        node->rectangles.at(index)->setRect(rect);
        node->rectangles.at(index)->setColor(color);
    };
    switch (shape) {
    case PanelShape::Fill:
        fill(0, QRectF(toPixels(boundingRect().adjusted(-1, -1, 1, 1))),
            QApplication::palette().brush(QPalette::Active, QPalette::Window).color());
        break;
    case PanelShape::Square:
        // As paint() draws it: the outline's right and bottom lines fall
        // just outside the panel.
        fill(0, QRectF(r), border);
        fill(1, QRectF(r).adjusted(1, 1, 0, 0), background);
        break;
    case PanelShape::Rounded: {
        const qreal x = r.x(), y = r.y(), w = r.width(), h = r.height();
        fill(0, QRectF(x + side, y, w - 2 * side, 1), border);
        fill(1, QRectF(x + side, y + h - 1, w - 2 * side, 1), border);
        fill(2, QRectF(x, y + side, 1, h - 2 * side), border);
        fill(3, QRectF(x + w - 1, y + side, 1, h - 2 * side), border);
        fill(4, QRectF(x + side, y + 1, w - 2 * side, h - 2), background);
        fill(5, QRectF(x + 1, y + side, side - 1, h - 2 * side), background);
        fill(6, QRectF(x + w - side, y + side, side - 1, h - 2 * side), background);
        break;
    }
    default:
        break;
    }

    if (!node->pieces.isEmpty()) {
        // Rounded: a panel of 2 * side + 1 pixels, cut into its corners;
        // too small for that: the whole panel.
        const QSize pictured = shape == PanelShape::Rounded ? QSize(2 * side + 1, 2 * side + 1) : r.size();
        const PanelNode::Key key { pictured, m_radius, ratio, border.rgba(), background.rgba() };
        if (!node->picture || !(key == node->pictureKey)) {
            QImage picture(pictured * ratio, QImage::Format_ARGB32_Premultiplied);
            picture.setDevicePixelRatio(ratio);
            picture.fill(Qt::transparent);
            {
                QPainter painter(&picture);
                paintToolTipPanel(&painter, QRect(QPoint(0, 0), pictured), m_radius, border, background);
            }
            // The old picture goes once no piece uses it: the renderer
            // compares a piece that changed with the others.
            std::unique_ptr<QSGTexture> old = std::move(node->picture);
            node->picture.reset(scene->createTextureFromImage(picture));
            node->pictureKey = key;
            for (QSGImageNode* piece : qAsConst(node->pieces))
                piece->setTexture(node->picture.get());
        }
        if (shape == PanelShape::Small) {
            node->pieces.at(0)->setRect(QRectF(r));
            node->pieces.at(0)->setSourceRect(QRectF(QPointF(0, 0), QSizeF(pictured) * ratio));
        } else {
            const int far = side + 1; // where the far corners start in the picture
            const QPoint corners[] = { { 0, 0 }, { far, 0 }, { 0, far }, { far, far } };
            for (int i = 0; i < 4; ++i) {
                const QPoint& corner = corners[i];
                const QPointF at(
                    corner.x() ? r.x() + r.width() - side : r.x(), corner.y() ? r.y() + r.height() - side : r.y());
                node->pieces.at(i)->setRect(QRectF(at, QSizeF(side, side)));
                node->pieces.at(i)->setSourceRect(QRectF(QPointF(corner) * ratio, QSizeF(side, side) * ratio));
            }
        }
    }
    return node;
}

} // namespace Vantles
