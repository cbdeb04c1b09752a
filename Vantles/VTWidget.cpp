// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTWidget.h"

#include "VTContext.h"
#include "VTLogging_p.h"
#include "VTManager.h"
#include "VTView.h"
#include "VTXmlElement.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QApplication>
#include <QCursor>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QPropertyAnimation>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSGImageNode>
#include <QScreen>
#include <QSize>
#include <QTimer>
#include <QVBoxLayout>
#include <QWindow>

#if VANTLES_HAVE_XCB
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#endif

namespace Vantles {

namespace {

// The drop shadow: how far it spreads and how far down it falls.
constexpr int shadowBlur = 10;
constexpr int shadowDrop = 3;

// Whether the platform changes a window's opacity; elsewhere (Wayland,
// offscreen) it prints a warning for every try, and the fades animate the
// content instead.
bool platformHasWindowOpacity()
{
    const QString platform = QGuiApplication::platformName();
    return platform == QLatin1String("xcb") || platform == QLatin1String("windows")
        || platform == QLatin1String("cocoa");
}

// Wayland tells a client neither where its windows are nor where the pointer
// is on the screen: positions are known only relative to a window, and the
// compositor places a popup relative to its parent window.
bool windowPositionsKnown()
{
    return !QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
}

#if VANTLES_HAVE_XCB
// An X11 desktop composites windows while some client owns the selection
// _NET_WM_CM_S<screen>: every X11 compositing manager takes it when it starts.
bool x11Composites()
{
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    xcb_connection_t* connection = x11 ? x11->connection() : nullptr;
    if (!connection)
        return false;
    int screen = 0;
    const QByteArray display = qgetenv("DISPLAY");
    const int dot = display.lastIndexOf('.');
    if (dot > display.lastIndexOf(':'))
        screen = display.mid(dot + 1).toInt();
    const QByteArray name = "_NET_WM_CM_S" + QByteArray::number(screen);
    xcb_intern_atom_reply_t* atom = xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 1, uint16_t(name.size()), name.constData()), nullptr);
    if (!atom)
        return false;
    bool owned = false;
    if (atom->atom != XCB_ATOM_NONE) {
        xcb_get_selection_owner_reply_t* owner
            = xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, atom->atom), nullptr);
        owned = owner && owner->owner != XCB_NONE;
        std::free(owner);
    }
    std::free(atom);
    return owned;
}
#endif

// Assistive technology sees a vantle as a tooltip, named with its title and
// described with its text; a pinned one as the window it has become, a
// child of the application as the application lists it (not of the window
// it stays above).
class VTWidgetAccessible : public QAccessibleWidget {
public:
    explicit VTWidgetAccessible(VTWidget* widget)
        : QAccessibleWidget(widget, QAccessible::ToolTip)
    {
    }
    QAccessible::Role role() const override
    {
        const auto widget = static_cast<const VTWidget*>(object());
        if (!widget->view() || !widget->view()->reserved())
            return QAccessible::ToolTip;
        return widget->isWindow() ? QAccessible::Window : QAccessible::Client;
    }
    QAccessibleInterface* parent() const override
    {
        return widget()->isWindow() ? QAccessible::queryAccessibleInterface(qApp) : QAccessibleWidget::parent();
    }
};

QAccessibleInterface* accessibleFactory(const QString& className, QObject* object)
{
    if (className == QLatin1String("Vantles::VTWidget") && object && object->isWidgetType())
        return new VTWidgetAccessible(static_cast<VTWidget*>(object));
    return nullptr;
}

// The element's text without its markup and placeholders filled.
QString plainText(VTManager* manager, const VTView* view, const VTXmlElement* content, const char* name)
{
    const VTXmlElement* element = content ? content->childElement(QLatin1String(name)) : nullptr;
    if (!element || !view)
        return QString();
    return view->plainText(manager ? manager->interpolate(element->content()) : element->content());
}

// Two pixels of picture, one opaque and one with an alpha channel, as a
// vantle's images are drawn: rendered ahead with the interface, they have
// the renderer prepare the shaders of pictures as well.
class PictureSample : public QQuickItem {
public:
    explicit PictureSample(QQuickItem* parent)
        : QQuickItem(parent)
    {
        setFlag(ItemHasContents);
        setSize(QSizeF(2, 1));
    }

protected:
    QSGNode* updatePaintNode(QSGNode* node, UpdatePaintNodeData*) override
    {
        if (node || !window())
            return node;
        node = new QSGNode;
        for (const QImage::Format format : { QImage::Format_RGB32, QImage::Format_ARGB32_Premultiplied }) {
            QImage image(1, 1, format);
            image.fill(Qt::transparent);
            // In the texture atlas and smooth, as Qt Quick's Image has them.
            QSGImageNode* picture = window()->createImageNode();
            picture->setTexture(window()->createTextureFromImage(image, QQuickWindow::TextureCanUseAtlas));
            picture->setOwnsTexture(true);
            picture->setFiltering(QSGTexture::Linear);
            picture->setRect(QRectF(node->childCount(), 0, 1, 1));
            node->appendChildNode(picture);
        }
        return node;
    }
};

} // namespace

// The fades' target where the platform has no window opacity: the view's
// scene and the shadow around it.
class VTContentFade : public QObject {
    Q_OBJECT
    Q_PROPERTY(qreal level READ level WRITE setLevel)
public:
    explicit VTContentFade(VTWidget* window)
        : QObject(window)
        , m_window(window)
    {
    }
    qreal level() const { return m_level; }
    void setLevel(qreal level)
    {
        m_level = level;
        apply();
    }
    // Also for a scene that was made after the level was set.
    void apply()
    {
        if (VTView* view = m_window->view())
            view->quickWindow()->contentItem()->setOpacity(m_level);
        m_window->update();
    }

private:
    VTWidget* m_window;
    qreal m_level = 1.0;
};

class VTWidgetPrivate {
public:
    VTView* view = nullptr;
    QPointer<QWidget> reference;
    // The window the vantle belongs to: the control's, or the one under the
    // pointer; its transient parent and, once pinned, its parent.
    QPointer<QWidget> hostWindow;
    QPropertyAnimation* animation = nullptr;
    VTContentFade* contentFade = nullptr; // where there is no window opacity
    QTimer* timer = nullptr;
    QPointer<VTManager> manager; // outlived by the window the manager deletes later

    // The pointer position of the last show, while the window follows it.
    QPoint anchor;
    bool anchored = false;
    // Whether the window draws a drop shadow around the view.
    bool shadow = false;
    // Whether the keyboard brought the vantle: it then has no countdown.
    bool byKeyboard = false;
    // Inside renderUnshown(): shown to Qt, never to the user.
    bool unshown = false;

    QVariant setting(VTContextKey key, const QVariant& defaultValue) const
    {
        return manager ? manager->context()->get(key, defaultValue) : defaultValue;
    }

    QRect placement(const QSize& size) const;
    void setFadeLevel(VTWidget* q, qreal level)
    {
        if (contentFade)
            contentFade->setLevel(level);
        else
            q->setWindowOpacity(level);
    }
    void belongTo(VTWidget* q, QWidget* host);
    void forgetTooltipAccessible(VTWidget* q) const;
    void announcePinned(QWidget* window) const;
};

// The window becomes a transient child of @p host, so that a compositor that
// places popups relative to their parents (Wayland) places it beside the
// control and not beside some other window it guesses.
void VTWidgetPrivate::belongTo(VTWidget* q, QWidget* host)
{
    host = host ? host->window() : nullptr;
    if (host == q)
        host = nullptr;
    hostWindow = host;
    if (!q->windowHandle())
        q->winId(); // makes the platform window
    QWindow* parent = host ? host->windowHandle() : nullptr;
    QWindow* window = q->windowHandle();
    if (!window || window->transientParent() == parent)
        return;
    window->setTransientParent(parent);
    // Wayland fixes a popup's parent when it maps it.
    if (q->isVisible() && !windowPositionsKnown()) {
        q->hide();
        q->show();
    }
}

// Beside the pointer at the offset; on the other side of it (left, above or
// both) where that side leaves the screen's available area; and off the
// reference control's rectangle while the screen leaves room for that.
// The clamp of findVisibleGeometry() still comes after.
QRect VTWidgetPrivate::placement(const QSize& size) const
{
    const QSize offset = setting(VTContextTooltipOffset, QSize(35, 30)).toSize();
    QRect area;
    if (windowPositionsKnown()) {
        QScreen* screen = QGuiApplication::screenAt(anchor);
        if (!screen)
            screen = reference ? reference->screen() : QGuiApplication::primaryScreen();
        area = screen ? screen->availableGeometry() : QRect(anchor, size);
    } else {
        // Where the window is on the screen is unknown: the side with the
        // most room inside the window, so that a maximised window never puts
        // a vantle beyond the screen's edge. The compositor slides what
        // still does not fit.
        area = hostWindow ? QRect(hostWindow->mapToGlobal(QPoint(0, 0)), hostWindow->size()) : QRect(anchor, size);
    }
    const bool known = windowPositionsKnown();

    QRect candidate(anchor + QPoint(offset.width(), offset.height()), size);
    if (candidate.right() > area.right() && (known || anchor.x() - area.left() > area.right() - anchor.x()))
        candidate.moveRight(anchor.x() - offset.width());
    if (candidate.bottom() > area.bottom() && (known || anchor.y() - area.top() > area.bottom() - anchor.y()))
        candidate.moveBottom(anchor.y() - offset.height());

    if (!reference || !reference->isVisible())
        return candidate;
    const QRect control(reference->mapToGlobal(QPoint(0, 0)), reference->size());
    if (!candidate.intersects(control))
        return candidate;
    // Below, above, right of, left of the control, keeping the other
    // coordinate: the first that fits.
    const int gap = 2;
    QRect below = candidate, above = candidate, right = candidate, left = candidate;
    below.moveTop(control.bottom() + 1 + gap);
    above.moveBottom(control.top() - 1 - gap);
    right.moveLeft(control.right() + 1 + gap);
    left.moveRight(control.left() - 1 - gap);
    for (const QRect& place : { below, above, right, left }) {
        if (area.contains(place))
            return place;
    }
    return candidate;
}

VTWidget::VTWidget(VTManager* manager, QWidget* parent, QWidget* reference)
    : QWidget(parent)
    , d(new VTWidgetPrivate)
{
    d->reference = reference;
    d->manager = manager;
    if (platformHasWindowOpacity()) {
        d->animation = new QPropertyAnimation(this, "windowOpacity", this);
    } else {
        d->contentFade = new VTContentFade(this);
        d->animation = new QPropertyAnimation(d->contentFade, "level", this);
    }
    d->timer = new QTimer(this);
    d->timer->setSingleShot(true);
    static const bool factoryInstalled = (QAccessible::installFactory(accessibleFactory), true);
    Q_UNUSED(factoryInstalled)
    if (!d->setting(VTContextNotToolTipWindow, false).toBool())
        setWindowFlags(Qt::ToolTip);
    // The interface paints the whole window, rounded corners included; the
    // window paints the shadow around it where the desktop composites it.
    if (windowsCanBeTranslucent()) {
        setAttribute(Qt::WA_TranslucentBackground);
        d->shadow = windowType() == Qt::ToolTip && QGuiApplication::platformName() != QLatin1String("offscreen");
    } else {
        // The view covers all but the window's last column and row: only
        // they are filled (paintEvent()), not the whole window on every show.
        setAttribute(Qt::WA_OpaquePaintEvent);
    }
    connect(d->timer, &QTimer::timeout, this, &VTWidget::hideAnimated);
    d->timer->stop();
}

VTWidget::~VTWidget()
{
    setView(nullptr);
}

bool VTWidget::windowsCanBeTranslucent()
{
    const QString platform = QGuiApplication::platformName();
    if (platform.startsWith(QLatin1String("wayland")) || platform == QLatin1String("windows")
        || platform == QLatin1String("cocoa") || platform == QLatin1String("offscreen"))
        return true;
#if VANTLES_HAVE_XCB
    if (platform == QLatin1String("xcb"))
        return x11Composites();
#endif
    return false;
}

QMargins VTWidget::shadowMargins() const
{
    if (!d->shadow)
        return QMargins();
    return QMargins(shadowBlur, shadowBlur - shadowDrop, shadowBlur, shadowBlur + shadowDrop);
}

VTManager* VTWidget::manager() const
{
    return d->manager;
}

VTView* VTWidget::view() const
{
    return d->view;
}

void VTWidget::setView(VTView* view)
{
    delete d->view;
    d->view = view;
    if (!view)
        return;
    connect(view, &VTView::reservedChanged, this, &VTWidget::contentReservedChanged);
    connect(view, &VTView::contentSizeChanged, this, &VTWidget::contentResized);
    view->move(shadowMargins().left(), shadowMargins().top());
    if (testAttribute(Qt::WA_TranslucentBackground))
        view->setClearColor(Qt::transparent);
}

QWidget* VTWidget::referenceWidget() const
{
    return d->reference;
}

qreal VTWidget::fadeLevel() const
{
    return d->contentFade ? d->contentFade->level() : windowOpacity();
}

void VTWidget::showWithContent(QObject* reference, QPoint pos, VTXmlElement* content, QString rootPath)
{
    if (!content || !d->view)
        return;
    d->reference = reference && reference->isWidgetType() ? static_cast<QWidget*>(reference) : nullptr;
    QWidget* host = d->reference;
    if (!host) {
        const QSize offset = d->setting(VTContextTooltipOffset, QSize(35, 30)).toSize();
        host = QApplication::topLevelAt(pos - QPoint(offset.width(), offset.height()));
        if (!host)
            host = QApplication::activeWindow();
    }
    if (!d->view->reserved())
        d->belongTo(this, host);
    d->byKeyboard = false;
    d->view->setPackageRoot(QDir(rootPath));

    d->view->replaceContent(content);
    // A vantle fading out comes back for its new content.
    if (isVisible() && d->animation->state() != QAbstractAnimation::Stopped && d->animation->endValue() == 0.0) {
        d->animation->stop();
        disconnect(d->animation, &QPropertyAnimation::finished, this, &VTWidget::hideAnimationFinished);
        d->setFadeLevel(this, 1.0);
    }

    // The view's replaceContent() has set the content already when it
    // replaced an earlier one: set again, every binding that reads it would
    // run a second time for nothing.
    QQmlContext* rootContext = d->view->engine()->rootContext();
    if (rootContext->contextProperty(QStringLiteral("vantle")).value<QObject*>() != content)
        rootContext->setContextProperty(QStringLiteral("vantle"), content);
    rootContext->setContextProperty(QStringLiteral("dataLocation"), rootPath);
    // Set on every show, also when unchanged: that re-evaluates the bindings
    // that call the view (translations, interpolated text, scaled sizes), so
    // they follow the current locale and global properties.
    rootContext->setContextProperty(QStringLiteral("vantleView"), d->view);

    // Never an empty box: without its interface the vantle is not shown.
    if (!d->view->loadInterface()) {
        hide();
        return;
    }
    d->view->settle();
    if (d->contentFade)
        d->contentFade->apply();
    // Setting them tells a screen reader of a change while it is up.
    setAccessibleName(plainText(d->manager, d->view, content, "title"));
    setAccessibleDescription(plainText(d->manager, d->view, content, "text"));
    // Moved only now, with the new content in place: a visible window never
    // shows the old content at the new place.
    const QSize offset = d->setting(VTContextTooltipOffset, QSize(35, 30)).toSize();
    d->anchor = pos - QPoint(offset.width(), offset.height());
    d->anchored = !d->view->reserved();
    move(pos);
    // Sized and placed for the new content now, hidden or not: content of
    // the size of the last brings no resize that would place it later.
    contentResized();
    if (isVisible()) {
        reposition();
        // Moving on from another control: the countdown that began when the
        // pointer left it is not this vantle's.
        if (isSafe(QCursor::pos()))
            d->timer->stop();
        else
            setTimer();
    }
    // For the host (a message) and for a developer (the logging category).
    const QUrl source = d->view->source();
    const QString shown
        = QStringLiteral("Showing the vantle \"%1\" of %2 with %3")
              .arg(content->attribute(QStringLiteral("key")), content->attribute(QStringLiteral("VTLocation")),
                  source.isLocalFile() ? source.toLocalFile() : source.toString());
    qCDebug(lcVantlesWindow).noquote() << shown;
    if (d->manager)
        d->manager->handleMessage(VTMessageInformation, shown);
    showAnimated();
}

void VTWidget::reposition()
{
    bool moved = false;
    const QRect geometry = findVisibleGeometry(window()->frameGeometry(), &moved);
    if (moved)
        window()->move(geometry.topLeft());
}

void VTWidget::hideAnimated()
{
    if (!isVisible() || d->animation->state() != QAbstractAnimation::Stopped)
        return;
    const int duration = d->setting(VTContextFadeOutDuration, 300).toInt();
    if (duration == 0) {
        hideAnimationFinished();
        return;
    }
    d->animation->setDuration(duration);
    d->animation->setStartValue(fadeLevel());
    d->animation->setEndValue(0.0);
    connect(d->animation, &QPropertyAnimation::finished, this, &VTWidget::hideAnimationFinished, Qt::UniqueConnection);
    d->animation->start();
    d->timer->stop();
}

void VTWidget::hideAnimationFinished()
{
    if (d->view)
        d->view->resetState();
    hide();
}

void VTWidget::showAnimated()
{
    if (isVisible())
        return;
    const int duration = d->setting(VTContextFadeInDuration, 0).toInt();
    if (duration == 0) {
        d->setFadeLevel(this, 1.0);
        show();
        return;
    }
    d->setFadeLevel(this, 0.1);
    show();
    contentResized();
    d->animation->setDuration(duration);
    d->animation->setStartValue(0.1);
    d->animation->setEndValue(1.0);
    d->animation->start();
}

void VTWidget::setTimer()
{
    d->timer->stop();
    if ((d->view && d->view->stayOpen()) || d->byKeyboard)
        return;
    const float interval = d->setting(VTContextTimerInterval, 3000.0f).toFloat();
    if (interval > 0)
        d->timer->start(int(interval));
}

void VTWidget::setShownByKeyboard(bool byKeyboard)
{
    d->byKeyboard = byKeyboard;
    if (byKeyboard)
        d->timer->stop();
}

bool VTWidget::isShownByKeyboard() const
{
    return d->byKeyboard;
}

void VTWidget::checkMousePosition(const QPoint& p)
{
    const bool safe = isSafe(p);
    if (safe && d->timer->isActive())
        d->timer->stop();
    else if (!safe && !d->timer->isActive())
        setTimer();
}

bool VTWidget::isSafe(const QPoint& p) const
{
    // No null test on purpose: without a reference control, a point over no
    // widget of the application (the desktop, another program) is safe too.
    // A widget inside the control (a scroll area's viewport) is the control.
    QWidget* under = QApplication::widgetAt(p);
    if (under == d->reference.data() || (d->reference && d->reference->isAncestorOf(under)))
        return true;
    const QSize margin = d->setting(VTContextSafeAreaSize, QSize(20, 20)).toSize();
    const QRect area = QRect(mapToGlobal(QPoint(0, 0)), frameSize())
                           .adjusted(-margin.width(), -margin.height(), margin.width(), margin.height());
    return area.contains(p);
}

QRect VTWidget::findVisibleGeometry(QRect geometry, bool* move)
{
    if (!windowPositionsKnown()) {
        // The screen's area in this window's coordinates is unknown; the
        // compositor keeps the window on the screen.
        if (move)
            *move = false;
        return geometry;
    }
    QScreen* screen = d->reference ? d->reference->screen() : QGuiApplication::primaryScreen();
    const QRect area = screen ? screen->availableGeometry() : geometry;
    bool moved = false;
    if (geometry.top() < area.top()) {
        geometry.moveTop(area.top());
        moved = true;
    }
    if (geometry.left() < area.left()) {
        geometry.moveLeft(area.left());
        moved = true;
    }
    if (geometry.bottom() > area.bottom()) {
        geometry.moveBottom(area.bottom());
        moved = true;
    }
    if (geometry.right() > area.right()) {
        geometry.moveRight(area.right());
        moved = true;
    }
    if (move)
        *move = moved;
    return geometry;
}

QRect VTWidget::findVisibleGeometry(QRect geometry)
{
    return findVisibleGeometry(geometry, nullptr);
}

void VTWidget::contentResized()
{
    if (!d->view)
        return;
    const QSize size = d->view->size().grownBy(shadowMargins());
    QWidget* top = window();
    // A window of its own takes the size below at once: sizing it to the
    // content first would move its edges twice, each a resize the window
    // system carries out for a visible window.
    if (top != this) {
        setMinimumSize(size);
        setMaximumSize(size);
        if (parentWidget()) {
            parentWidget()->setMinimumSize(size);
            parentWidget()->setMaximumSize(size);
        }
    }

    const QRect geometry = top->geometry();
    const QRect frame = top->frameGeometry();
    const bool follows = d->anchored && top == this && !d->view->reserved();
    const QRect wanted = follows ? d->placement(size + (frame.size() - geometry.size())) : QRect(frame.topLeft(), size);
    bool moved = false;
    QRect visible = findVisibleGeometry(wanted, &moved);
    if (moved || visible.topLeft() != frame.topLeft())
        top->move(visible.left(), visible.top() + (frame.top() - geometry.top()));

    // One pixel more than the content in each direction, as the window has
    // always been sized; content sized to the pixel relies on it.
    const QSize fixed = (top == this ? size : top->geometry().size()) + QSize(1, 1);
    setFixedSize(fixed);
    if (top != this)
        top->setFixedSize(fixed);
}

void VTWidget::contentReservedChanged()
{
    QWidget* hostWindow = nullptr;
    if (!d->view || !d->view->reserved() || !d->manager || !d->manager->reserve(this, hostWindow))
        return;

    const QPoint position = pos();
    VTXmlElement* content = d->view->content();
    d->forgetTooltipAccessible(this);
    // A pinned vantle is an ordinary window, without a tooltip's shadow.
    if (d->shadow) {
        d->shadow = false;
        d->view->move(0, 0);
        update();
    }
    if (hostWindow) {
        setParent(hostWindow);
        auto layout = hostWindow->layout();
        if (!layout) {
            layout = new QVBoxLayout(hostWindow);
            layout->setContentsMargins(0, 0, 0, 0);
        }
        const QString title = content ? content->attribute(QStringLiteral("title")) : QString();
        hostWindow->setWindowTitle(title.isEmpty() ? accessibleName() : title);
        layout->addWidget(this);
        hostWindow->setWindowFlags(
            hostWindow->windowFlags() | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint);
        contentResized();
        hostWindow->move(position);
        hostWindow->show();
        d->announcePinned(hostWindow);
        return;
    }

    setAttribute(Qt::WA_DeleteOnClose);
    setParent(d->reference ? d->reference->window() : d->hostWindow.data(),
        Qt::Tool | Qt::WindowTitleHint | Qt::CustomizeWindowHint | Qt::WindowCloseButtonHint);
    if (d->contentFade)
        d->contentFade->setLevel(1.0);
    setWindowModality(Qt::NonModal);
    const QString title = content ? content->property("title").toString() : QString();
    setWindowTitle(title.isEmpty() ? accessibleName() : title);
    move(position);
    show();
    d->announcePinned(this);
}

// The tooltip's accessible object ends with the tooltip: the window a pinned
// vantle becomes is a new object to assistive technology, so that no client
// keeps the tooltip's role for it.
void VTWidgetPrivate::forgetTooltipAccessible(VTWidget* q) const
{
    if (!QAccessible::isActive())
        return;
    QAccessibleEvent gone(q, QAccessible::ObjectDestroyed);
    QAccessible::updateAccessibility(&gone);
    if (QAccessibleInterface* tooltip = QAccessible::queryAccessibleInterface(q))
        QAccessible::deleteAccessibleInterface(QAccessible::uniqueId(tooltip));
}

// A pinned vantle's window is created, then activated with the focus on its
// first link or button: a screen reader says its title and that control.
void VTWidgetPrivate::announcePinned(QWidget* window) const
{
    if (QAccessible::isActive()) {
        QAccessibleEvent created(window, QAccessible::ObjectCreated);
        QAccessible::updateAccessibility(&created);
    }
    window->activateWindow();
    view->setFocus(Qt::ActiveWindowFocusReason);
    QQuickItem* root = view->rootObject();
    QQuickItem* first = root ? root->nextItemInFocusChain(true) : nullptr;
    if (first && first != root)
        first->forceActiveFocus(Qt::TabFocusReason);
}

// Escape closes a pinned vantle's own window (a host's window stays the
// host's) and gives the focus back to the vantle's control.
void VTWidget::keyPressEvent(QKeyEvent* event)
{
    if (event->key() != Qt::Key_Escape || event->modifiers() != Qt::NoModifier || !d->view || !d->view->reserved()) {
        QWidget::keyPressEvent(event);
        return;
    }
    const QPointer<QWidget> control = d->reference;
    if (isWindow())
        close();
    if (control) {
        control->activateWindow();
        control->setFocus(Qt::OtherFocusReason);
    }
}

void VTWidget::showEvent(QShowEvent* event)
{
    Q_UNUSED(event)
    if (d->unshown)
        return;
    if (!isSafe(QCursor::pos()))
        setTimer();
    reposition();
    // Qt tells assistive technology of shown windows but tooltips: a screen
    // reader announces a vantle because of this event.
    if (windowType() == Qt::ToolTip) {
        QAccessibleEvent shown(this, QAccessible::ObjectShow);
        QAccessible::updateAccessibility(&shown);
    }
}

void VTWidget::renderUnshown()
{
    if (isVisible() || !d->view)
        return;
    // Qt Quick sets a view's scene graph up, its graphics resources and the
    // shaders of what it draws, when the view is first shown, and keeps them
    // when it is hidden. Shown with WA_DontShowOnScreen, the window is never
    // mapped and never composed; the frame is rendered on request, at once.
    d->unshown = true;
    setAttribute(Qt::WA_DontShowOnScreen);
    QWidget::setVisible(true);
    std::unique_ptr<PictureSample> pictures;
    if (QQuickItem* scene = d->view->quickWindow()->contentItem())
        pictures = std::make_unique<PictureSample>(scene);
    d->view->grabFramebuffer();
    pictures.reset();
    QWidget::setVisible(false);
    setAttribute(Qt::WA_DontShowOnScreen, false);
    d->unshown = false;
}

// An opaque window fills what the view leaves uncovered. Around a panel on
// a translucent window: layers of translucent black, each a little larger
// than the panel, that add up to a shadow darkest at the panel's edge.
void VTWidget::paintEvent(QPaintEvent* event)
{
    if (testAttribute(Qt::WA_OpaquePaintEvent)) {
        const QRegion uncovered = event->region() - (d->view ? d->view->geometry() : QRect());
        if (!uncovered.isEmpty()) {
            QPainter painter(this);
            for (const QRect& rect : uncovered)
                painter.fillRect(rect, palette().window());
        }
        return;
    }
    if (!d->shadow || !d->view)
        return;
    const QRectF panel = QRectF(d->view->geometry()).translated(0, shadowDrop);
    const qreal radius = d->view->cornerRadius();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    for (int layer = shadowBlur; layer > 0; --layer) {
        QPainterPath path;
        path.addRoundedRect(panel.adjusted(-layer, -layer, layer, layer), radius + layer, radius + layer);
        painter.fillPath(path, QColor(0, 0, 0, qRound((4 + 3 * (shadowBlur - layer) / 2) * fadeLevel())));
    }
}

void VTWidget::hideEvent(QHideEvent* event)
{
    Q_UNUSED(event)
    // A window hidden during a fade leaves it, and its countdown: neither
    // may reach the next vantle.
    d->animation->stop();
    d->timer->stop();
    disconnect(d->animation, &QPropertyAnimation::finished, this, &VTWidget::hideAnimationFinished);
}

} // namespace Vantles

#include "VTWidget.moc"
