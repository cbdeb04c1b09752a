// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTTestHelpers.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTIndex.h>
#include <Vantles/VTInterface.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTView.h>
#include <Vantles/VTWidget.h>
#include <Vantles/VTXmlElement.h>

#include <QCursor>
#include <QDir>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QLabel>
#include <QPointer>
#include <QPropertyAnimation>
#include <QQuickItem>
#include <QQuickWindow>
#include <QScreen>
#include <QTest>
#include <QVBoxLayout>

#include <memory>

using namespace Vantles;

namespace {

const QByteArray rootQml = R"(import QtQuick 2.15
Item {
    width: 200
    height: 100
    states: [ State { name: "open" } ]
}
)";

// Vantles show at showAt plus the default offset; farAway is over nothing.
const QPoint showAt(100, 100);
const QPoint windowAt(135, 130);
const QRect referenceGeometry(600, 450, 60, 40);
const QPoint farAway(20, 560);
const QSize fixedSize(201, 101);
const Qt::WindowFlags titleFlags = Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint;

QPropertyAnimation* animationOf(VTWidget* window)
{
    return window->findChild<QPropertyAnimation*>(QString(), Qt::FindDirectChildrenOnly);
}

// Puts a layout with one label into every host window it hands out.
class LayoutHost : public VTTest::RecordingHost {
public:
    using VTTest::RecordingHost::RecordingHost;
    QWidget* createWindow(VTWindowType type) override
    {
        QWidget* window = RecordingHost::createWindow(type);
        if (window) {
            auto layout = new QVBoxLayout(window);
            layout->setContentsMargins(7, 7, 7, 7);
            layout->addWidget(new QLabel(QStringLiteral("host's own"), window));
        }
        return window;
    }
};

} // namespace

class TestVTWidget : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void fadesEndOpaqueOrHiddenWithBaseState_data();
    void fadesEndOpaqueOrHiddenWithBaseState();
    void timerHidesAfterPointerLeft_data();
    void timerHidesAfterPointerLeft();
    void countdownRunsOnlyOutsideSafeArea_data();
    void countdownRunsOnlyOutsideSafeArea();
    void safeAreaReachesMarginAroundWindow_data();
    void safeAreaReachesMarginAroundWindow();
    void visibleGeometryClampsIntoAvailableArea_data();
    void visibleGeometryClampsIntoAvailableArea();
    void windowNeverCoversPointerOrControl_data();
    void windowNeverCoversPointerOrControl();

    void managerTeardownFreesShownDocument();
    void reservedWindowLeavesTooltipRole_data();
    void reservedWindowLeavesTooltipRole();
    void stackingSkipsClosedWindows();
    void tooltipPositionAddsOffset();

private:
    void makeHost(VTContext settings = VTContext(), bool layoutHost = false);
    VTWidget* show(const QString& key, QObject* reference);
    VTWidget* tooltipWindow();
    void cleanupHost();

    QTemporaryDir m_dir;
    std::unique_ptr<VTTest::RecordingHost> m_host;
    std::unique_ptr<QWidget> m_reference;
};

void TestVTWidget::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QVERIFY(!VTTest::makeUiPackage(m_dir, QStringLiteral("data"), QStringLiteral("Win.vantles"), QString(),
        { { QStringLiteral("k"), "<title>First</title>" }, { QStringLiteral("k2"), "<title>Second</title>" } }, rootQml)
                 .isEmpty());
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    QVERIFY2(area.contains(referenceGeometry) && area.contains(farAway), "the screen is too small for the tests");
}

void TestVTWidget::init()
{
    m_reference.reset(new QWidget);
    m_reference->setGeometry(referenceGeometry);
    m_reference->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_reference.get()));
    // Start with the pointer over the place where vantles appear.
    QCursor::setPos(windowAt + QPoint(10, 10));
    makeHost();
}

void TestVTWidget::makeHost(VTContext settings, bool layoutHost)
{
    if (m_host)
        cleanupHost();
    const QStringList dataPath { m_dir.filePath(QStringLiteral("data")) };
    m_host.reset(layoutHost ? new LayoutHost(settings, dataPath) : new VTTest::RecordingHost(settings, dataPath));
}

void TestVTWidget::cleanupHost()
{
    // Reserved windows first: host windows would take them along.
    qDeleteAll(m_host->manager()->reservedWindows());
    for (const QPointer<QWidget>& window : qAsConst(m_host->hostWindows))
        delete window;
    m_host.reset();
}

void TestVTWidget::cleanup()
{
    cleanupHost();
    m_reference.reset();
}

VTWidget* TestVTWidget::show(const QString& key, QObject* reference)
{
    return m_host->manager()->show(key, showAt, reference) ? m_host->manager()->widget() : nullptr;
}

VTWidget* TestVTWidget::tooltipWindow()
{
    m_host->manager()->initializeTooltipWindow(nullptr);
    return m_host->manager()->widget();
}

void TestVTWidget::fadesEndOpaqueOrHiddenWithBaseState_data()
{
    QTest::addColumn<int>("fadeIn");
    QTest::addColumn<int>("fadeOut");
    QTest::newRow("no fades") << 0 << 0;
    QTest::newRow("fades") << 150 << 80;
}

void TestVTWidget::fadesEndOpaqueOrHiddenWithBaseState()
{
    QFETCH(int, fadeIn);
    QFETCH(int, fadeOut);
    m_host->context()->set(VTContextFadeInDuration, fadeIn);
    m_host->context()->set(VTContextFadeOutDuration, fadeOut);
    VTWidget* window = show(QStringLiteral("k"), m_reference.get());
    QVERIFY(window);
    QVERIFY(window->isVisible());
    QCOMPARE(window->windowType(), Qt::ToolTip);
    QCOMPARE(window->pos(), windowAt);
    // The window is sized before any fade-in starts, one pixel over the view.
    QCOMPARE(window->size(), fixedSize);
    QCOMPARE(window->view()->size(), QSize(200, 100));
    // Offscreen has no window opacity: the fades animate the scene.
    QQuickItem* scene = window->view()->quickWindow()->contentItem();
    if (fadeIn) {
        QVERIFY2(window->fadeLevel() < 0.5, qPrintable(QString::number(window->fadeLevel())));
        QCOMPARE(scene->opacity(), window->fadeLevel());
        window->hideAnimated(); // ignored while fading in
        QVERIFY(window->isVisible());
        QTRY_COMPARE(animationOf(window)->state(), QAbstractAnimation::Stopped);
    }
    QVERIFY(window->isVisible());
    QCOMPARE(window->fadeLevel(), 1.0);
    QCOMPARE(scene->opacity(), 1.0);
    QCOMPARE(window->windowOpacity(), 1.0);

    // Another vantle during the fade-out brings the window back for it.
    if (fadeOut) {
        window->hideAnimated();
        QTRY_VERIFY(window->fadeLevel() < 1.0);
        QCOMPARE(show(QStringLiteral("k2"), m_reference.get()), window);
        QTest::qWait(fadeOut + 50);
        QVERIFY(window->isVisible());
        QCOMPARE(window->fadeLevel(), 1.0);
    }

    QQuickItem* root = window->view()->rootObject();
    QVERIFY(root);
    root->setState(QStringLiteral("open"));
    window->hideAnimated();
    QCOMPARE(window->isVisible(), fadeOut != 0);
    if (fadeOut)
        QCOMPARE(root->state(), QStringLiteral("open"));
    QTRY_VERIFY(!window->isVisible());
    QCOMPARE(root->state(), QString());

    // The fade-out's end must not hide the next fade-in.
    m_host->context()->set(VTContextFadeInDuration, 60);
    QCOMPARE(show(QStringLiteral("k"), m_reference.get()), window);
    QTRY_COMPARE(animationOf(window)->state(), QAbstractAnimation::Stopped);
    QVERIFY(window->isVisible());
    QCOMPARE(window->fadeLevel(), 1.0);
}

void TestVTWidget::timerHidesAfterPointerLeft_data()
{
    QTest::addColumn<QVariant>("interval");
    QTest::addColumn<bool>("stayOpen");
    QTest::addColumn<bool>("hides");

    QTest::newRow("short delay") << QVariant(60.0) << false << true;
    QTest::newRow("fraction of a millisecond") << QVariant(0.5) << false << true;
    QTest::newRow("zero never hides") << QVariant(0) << false << false;
    QTest::newRow("negative never hides") << QVariant(-50) << false << false;
    QTest::newRow("staying open never hides") << QVariant(60) << true << false;
}

void TestVTWidget::timerHidesAfterPointerLeft()
{
    QFETCH(QVariant, interval);
    QFETCH(bool, stayOpen);
    QFETCH(bool, hides);

    m_host->context()->set(VTContextFadeOutDuration, 0);
    m_host->context()->set(VTContextTimerInterval, interval);
    tooltipWindow()->view()->setStayOpen(stayOpen);
    // The pointer is outside at the show: the countdown starts with it.
    QCursor::setPos(farAway);
    VTWidget* window = show(QStringLiteral("k"), m_reference.get());
    QVERIFY(window);
    QVERIFY(window->isVisible());
    if (hides) {
        QTRY_VERIFY(!window->isVisible());
    } else {
        window->checkMousePosition(farAway);
        QTest::qWait(300);
        QVERIFY(window->isVisible());
    }
}

void TestVTWidget::countdownRunsOnlyOutsideSafeArea_data()
{
    QTest::addColumn<bool>("withReference");
    QTest::addColumn<QPoint>("pointer");
    QTest::addColumn<bool>("hides");
    QTest::newRow("over the control") << true << referenceGeometry.center() << false;
    QTest::newRow("away from the control") << true << farAway << true;
    // Without a reference control, a point over no widget counts as over it.
    QTest::newRow("no control, over a widget") << false << referenceGeometry.center() << true;
    QTest::newRow("no control, over nothing") << false << farAway << false;
}

void TestVTWidget::countdownRunsOnlyOutsideSafeArea()
{
    QFETCH(bool, withReference);
    QFETCH(QPoint, pointer);
    QFETCH(bool, hides);
    const int interval = 150;
    m_host->context()->set(VTContextFadeOutDuration, 0);
    m_host->context()->set(VTContextTimerInterval, interval);
    QObject notAWidget;
    VTWidget* window = show(QStringLiteral("k"), withReference ? m_reference.get() : &notAWidget);
    QVERIFY(window);
    // Out and back in before the countdown ends: it is called off.
    window->checkMousePosition(pointer);
    window->checkMousePosition(window->mapToGlobal(QPoint(5, 5)));
    QTest::qWait(2 * interval);
    QVERIFY(window->isVisible());

    // A countdown begun before the window hid is not the next vantle's.
    window->checkMousePosition(pointer);
    window->hide();
    QCursor::setPos(window->mapToGlobal(QPoint(5, 5)));
    QCOMPARE(show(QStringLiteral("k2"), withReference ? m_reference.get() : &notAWidget), window);
    QTest::qWait(2 * interval);
    QVERIFY(window->isVisible());

    // Moving on where it is not safe leaves the countdown running: the
    // vantle goes while the pointer still moves.
    QElapsedTimer moving;
    moving.start();
    for (int step = 0; window->isVisible() && moving.elapsed() < 2000; ++step) {
        window->checkMousePosition(pointer + QPoint(step % 2, 0));
        QTest::qWait(10);
    }
    QCOMPARE(!window->isVisible(), hides);
}

void TestVTWidget::safeAreaReachesMarginAroundWindow_data()
{
    QTest::addColumn<QString>("side");
    QTest::addColumn<int>("distance");
    QTest::addColumn<QSize>("margin");
    QTest::addColumn<bool>("safe");

    const QSize defaultMargin;
    QTest::newRow("19 right of the right edge") << "right" << 19 << defaultMargin << true;
    QTest::newRow("20 right of the right edge") << "right" << 20 << defaultMargin << false;
    QTest::newRow("20 above the top") << "top" << 20 << defaultMargin << true;
    QTest::newRow("21 above the top") << "top" << 21 << defaultMargin << false;
    QTest::newRow("narrow margin, right") << "right" << 4 << QSize(5, 40) << true;
    QTest::newRow("narrow margin, beyond right") << "right" << 5 << QSize(5, 40) << false;
    QTest::newRow("tall margin, below") << "bottom" << 39 << QSize(5, 40) << true;
    QTest::newRow("tall margin, beyond bottom") << "bottom" << 40 << QSize(5, 40) << false;
}

void TestVTWidget::safeAreaReachesMarginAroundWindow()
{
    QFETCH(QString, side);
    QFETCH(int, distance);
    QFETCH(QSize, margin);
    QFETCH(bool, safe);

    if (margin.isValid())
        m_host->context()->set(VTContextSafeAreaSize, margin);
    VTWidget* window = show(QStringLiteral("k"), m_reference.get());
    QVERIFY(window);
    QTRY_COMPARE(window->size(), fixedSize);

    const QRect frame(window->mapToGlobal(QPoint(0, 0)), window->frameSize());
    const QPoint c = frame.center();
    const QMap<QString, QPoint> points { { QStringLiteral("right"), { frame.x() + frame.width() + distance, c.y() } },
        { QStringLiteral("top"), { c.x(), frame.y() - distance } },
        { QStringLiteral("bottom"), { c.x(), frame.y() + frame.height() + distance } } };
    QCOMPARE(window->isSafe(points.value(side)), safe);
}

void TestVTWidget::visibleGeometryClampsIntoAvailableArea_data()
{
    QTest::addColumn<QRect>("geometry");
    QTest::addColumn<QRect>("expected");
    QTest::addColumn<bool>("moved");

    const QRect a = QGuiApplication::primaryScreen()->availableGeometry();
    auto at = [&a](int x, int y, int width, int height) { return QRect(a.x() + x, a.y() + y, width, height); };
    QTest::newRow("inside") << at(10, 10, 100, 50) << at(10, 10, 100, 50) << false;
    QTest::newRow("30 above the top") << at(10, -30, 100, 400) << at(10, 0, 100, 400) << true;
    QTest::newRow("left of the area") << at(-15, 10, 100, 50) << at(0, 10, 100, 50) << true;
    QTest::newRow("past two corners") << at(a.width() - 10, a.height() - 10, 100, 50)
                                      << at(a.width() - 100, a.height() - 50, 100, 50) << true;
    QTest::newRow("taller than the area ends at its bottom")
        << at(10, -5, 100, a.height() + 100) << at(10, -100, 100, a.height() + 100) << true;
}

void TestVTWidget::visibleGeometryClampsIntoAvailableArea()
{
    QFETCH(QRect, geometry);
    QFETCH(QRect, expected);
    QFETCH(bool, moved);

    VTWidget* window = tooltipWindow();
    bool move = !moved;
    QCOMPARE(window->findVisibleGeometry(geometry, &move), expected);
    QCOMPARE(move, moved);
    QCOMPARE(window->findVisibleGeometry(geometry), expected);
}

void TestVTWidget::windowNeverCoversPointerOrControl_data()
{
    // The pointer at a corner of a screen's available area (as fractions of
    // it), over a control of 120x90 around it or over none.
    QTest::addColumn<int>("screen");
    QTest::addColumn<QPointF>("where");
    QTest::addColumn<bool>("overControl");
    QTest::addColumn<QPoint>("side"); // expected direction from the pointer: +1 right/below, -1 left/above
    QTest::newRow("middle") << 0 << QPointF(0.3, 0.3) << false << QPoint(1, 1);
    QTest::newRow("right edge") << 0 << QPointF(0.97, 0.3) << false << QPoint(-1, 1);
    QTest::newRow("bottom edge") << 0 << QPointF(0.3, 0.97) << false << QPoint(1, -1);
    QTest::newRow("bottom-right corner") << 0 << QPointF(0.97, 0.97) << false << QPoint(-1, -1);
    QTest::newRow("top-left corner") << 0 << QPointF(0.01, 0.01) << false << QPoint(1, 1);
    QTest::newRow("control in the middle") << 0 << QPointF(0.3, 0.3) << true << QPoint(1, 1);
    QTest::newRow("control at the bottom-right") << 0 << QPointF(0.95, 0.95) << true << QPoint(-1, -1);
    // The test runs with a second screen right of the first, larger and
    // reaching further down: the control's screen is the one clamped to.
    QTest::newRow("second screen, control at the left") << 1 << QPointF(0.02, 0.85) << true << QPoint(1, -1);
    QTest::newRow("second screen, control at the bottom-right") << 1 << QPointF(0.95, 0.95) << true << QPoint(-1, -1);
}

void TestVTWidget::windowNeverCoversPointerOrControl()
{
    QFETCH(int, screen);
    QFETCH(QPointF, where);
    QFETCH(bool, overControl);
    QFETCH(QPoint, side);
    if (screen >= QGuiApplication::screens().size())
        QSKIP("Needs a second screen: run with QT_QPA_PLATFORM=offscreen:configfile=two-screens.json");
    const QRect area = QGuiApplication::screens().at(screen)->availableGeometry();
    const QPoint pointer(area.x() + int(where.x() * area.width()), area.y() + int(where.y() * area.height()));
    // A control much larger than the offset, so that the offset alone cannot clear it.
    const QRect control = QRect(0, 0, 120, 90).translated(pointer - QPoint(60, 45));
    m_reference->setGeometry(control);
    QTRY_COMPARE(m_reference->geometry(), control);
    QTRY_COMPARE(m_reference->screen(), QGuiApplication::screens().at(screen));
    QVERIFY(m_host->manager()->show(QStringLiteral("k"), pointer, overControl ? m_reference.get() : nullptr));
    VTWidget* window = m_host->manager()->widget();
    QTRY_COMPARE(window->size(), fixedSize);
    const QRect frame = window->frameGeometry();
    QVERIFY2(area.contains(frame), qPrintable(QStringLiteral("%1,%2").arg(frame.x()).arg(frame.y())));
    QVERIFY(!frame.contains(pointer));
    if (overControl)
        QVERIFY2(!frame.intersects(control), qPrintable(QStringLiteral("%1,%2").arg(frame.x()).arg(frame.y())));
    QCOMPARE(frame.center().x() > pointer.x() ? 1 : -1, side.x());
    QCOMPARE(frame.center().y() > pointer.y() ? 1 : -1, side.y());
}

void TestVTWidget::managerTeardownFreesShownDocument()
{
    QPointer<VTWidget> window = show(QStringLiteral("k"), nullptr);
    QVERIFY(window);
    QPointer<QObject> document = window->view()->content()->parent();
    QVERIFY(document);
    cleanupHost();
    QVERIFY(!window);
    QVERIFY(!document);
    makeHost();
}

void TestVTWidget::reservedWindowLeavesTooltipRole_data()
{
    QTest::addColumn<bool>("provideHostWindow");
    QTest::addColumn<bool>("hostHasLayout");
    QTest::newRow("tool window of its own") << false << false;
    QTest::newRow("host window without layout") << true << false;
    QTest::newRow("host window with its own layout") << true << true;
}

void TestVTWidget::reservedWindowLeavesTooltipRole()
{
    QFETCH(bool, provideHostWindow);
    QFETCH(bool, hostHasLayout);

    makeHost(VTContext(), hostHasLayout);
    m_host->provideHostWindow = provideHostWindow;
    VTManager* manager = m_host->manager();
    // Shows share one window until it is reserved.
    QPointer<VTWidget> window = show(QStringLiteral("k2"), m_reference.get());
    QVERIFY(window);
    QCOMPARE(show(QStringLiteral("k"), m_reference.get()), window.data());
    QCOMPARE(window->findChildren<VTView*>().size(), 1);
    QTRY_COMPARE(window->size(), fixedSize);
    // Host windows take the title attribute, own windows the property.
    VTXmlElement* content = window->view()->content();
    content->setAttribute(QStringLiteral("title"), QStringLiteral("Attribute"));
    content->setProperty("title", QStringLiteral("Property"));
    const QPoint position = window->pos();

    QWidget* host = nullptr;
    QVERIFY(!manager->reserve(nullptr, host));
    QVERIFY(m_host->windowRequests.isEmpty());
    window->view()->setReserved(true);
    QCOMPARE(m_host->windowRequests, QList<int> { VTWindowReserved });
    QCOMPARE(manager->reservedWindows(), QList<VTWidget*> { window.data() });
    // Only the current tooltip window can be reserved.
    QVERIFY(!manager->reserve(window, host));
    QVERIFY(!host);
    QCOMPARE(m_host->windowRequests.size(), 1);
    VTWidget* next = manager->widget();
    QVERIFY(next && next != window);
    QVERIFY(!next->view()->content());
    QVERIFY(!next->isVisible());
    QCOMPARE(show(QStringLiteral("k2"), nullptr), next);
    QCOMPARE(next->view()->content()->attribute(QStringLiteral("key")), QStringLiteral("k2"));
    QVERIFY(window->isVisible());
    QCOMPARE(window->view()->content(), content);
    QVERIFY(window->view()->rootObject());
    QCOMPARE(window->size(), fixedSize);

    if (provideHostWindow) {
        host = m_host->hostWindows.value(0);
        QVERIFY(host);
        QCOMPARE(window->parentWidget(), host);
        QVERIFY(!window->isWindow());
        auto layout = qobject_cast<QVBoxLayout*>(host->layout());
        QVERIFY(layout);
        QCOMPARE(layout->indexOf(window), hostHasLayout ? 1 : 0);
        QCOMPARE(layout->contentsMargins(), hostHasLayout ? QMargins(7, 7, 7, 7) : QMargins());
        QCOMPARE(host->windowTitle(), QStringLiteral("Attribute"));
        QCOMPARE(host->windowFlags() & titleFlags, titleFlags);
        QVERIFY(host->isVisible());
        QCOMPARE(host->pos(), position);
        if (!hostHasLayout)
            QCOMPARE(host->size(), fixedSize);
        return;
    }
    QVERIFY(window->testAttribute(Qt::WA_DeleteOnClose));
    QCOMPARE(window->windowType(), Qt::Tool);
    QCOMPARE(window->windowFlags() & titleFlags, titleFlags);
    QCOMPARE(window->parentWidget(), m_reference->window());
    QCOMPARE(window->windowTitle(), QStringLiteral("Property"));
    QCOMPARE(window->pos(), position);

    // Leaving the tooltip role is one-way: nothing is handed over twice.
    window->view()->setReserved(false);
    window->view()->setReserved(true);
    QCOMPARE(m_host->windowRequests.size(), 1);
    window->close();
    QTRY_VERIFY(!window);
    QVERIFY(manager->reservedWindows().isEmpty());
}

void TestVTWidget::stackingSkipsClosedWindows()
{
    VTManager* manager = m_host->manager();
    QList<QPointer<VTWidget>> windows;
    for (int i = 0; i < 3; ++i) {
        VTWidget* window = tooltipWindow();
        QWidget* host = nullptr;
        QVERIFY(manager->reserve(window, host));
        window->setAttribute(Qt::WA_DeleteOnClose);
        window->setWindowFlags(Qt::Tool);
        window->show();
        windows.append(window);
    }
    const Qt::WindowFlags before = windows.at(0)->windowFlags();
    windows.at(1)->close();
    QTRY_VERIFY(!windows.at(1));
    manager->raise();
    QCOMPARE(manager->reservedWindows(), (QList<VTWidget*> { windows.at(0), windows.at(2) }));

    windows.at(0)->hide();
    manager->setStayOnTop(true);
    for (const QPointer<VTWidget>& window : { windows.at(0), windows.at(2) }) {
        QVERIFY(window->windowFlags() & Qt::WindowStaysOnTopHint);
        QVERIFY(window->isVisible());
    }
    manager->setStayOnTop(false);
    QCOMPARE(windows.at(0)->windowFlags(), before);
    QCOMPARE(windows.at(2)->windowFlags(), before);

    // The current window is none of their business.
    QVERIFY(!(manager->widget()->windowFlags() & Qt::WindowStaysOnTopHint));
    QVERIFY(!manager->widget()->isVisible());
}

void TestVTWidget::tooltipPositionAddsOffset()
{
    // The default offset is checked by every show at windowAt.
    m_host->context()->set(VTContextTooltipOffset, QSize(5, -10));
    QCOMPARE(m_host->manager()->tooltipPosition(QPoint(100, 200), m_reference.get()), QPoint(105, 190));
    QCOMPARE(m_host->manager()->tooltipPosition(QPoint(-4, 7), nullptr), QPoint(1, -3));
}

QTEST_MAIN(TestVTWidget)
#include "tst_vtwidget.moc"
