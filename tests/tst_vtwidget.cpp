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
#include <QGuiApplication>
#include <QLabel>
#include <QPointer>
#include <QPropertyAnimation>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
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

// Where the tests point at: the vantle shows at this point plus the default
// offset, the reference control sits far from it, and the far point is over
// nothing at all.
const QPoint showAt(100, 100);
const QPoint windowAt(135, 130);
const QRect referenceGeometry(600, 450, 60, 40);
const QPoint farAway(20, 560);

QPropertyAnimation* animationOf(VTWidget* window)
{
    return window->findChild<QPropertyAnimation*>(QString(), Qt::FindDirectChildrenOnly);
}

QTimer* timerOf(VTWidget* window)
{
    return window->findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
}

QString contentKey(VTWidget* window)
{
    return window->view()->content() ? window->view()->content()->attribute(QStringLiteral("key")) : QString();
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

    void zeroFadeInShowsOpaqueAtOnce();
    void fadeInAnimatesToOpaque();
    void hideDuringFadeInIsIgnored();
    void zeroFadeOutHidesAtOnceAndResetsState();
    void fadeOutHidesAtItsEndOnly();
    void timerHidesAfterPointerLeft_data();
    void timerHidesAfterPointerLeft();
    void countdownStartsOutsideAndStopsInside();
    void withoutReferenceControlNothingIsSafe();
    void safeAreaReachesMarginAroundWindow_data();
    void safeAreaReachesMarginAroundWindow();
    void visibleGeometryClampsIntoAvailableArea_data();
    void visibleGeometryClampsIntoAvailableArea();
    void windowIsFixedOnePixelLargerThanView();
    void windowNearScreenEdgeIsMovedInside();

    void nullContentDoesNothing();
    void replacedContentIsDeleted();
    void managerTeardownFreesShownDocument();
    void reservedWindowMovesIntoHostWindow_data();
    void reservedWindowMovesIntoHostWindow();
    void reservedWindowBecomesToolWindow();

    void showsShareOneWindowUntilReserved();
    void reserveAnswersOnlyForCurrentWindow_data();
    void reserveAnswersOnlyForCurrentWindow();
    void stackingSkipsClosedWindows();
    void tooltipPositionAddsOffset_data();
    void tooltipPositionAddsOffset();
    void scaledSizeTruncatesProduct_data();
    void scaledSizeTruncatesProduct();

private:
    void makeHost(VTTest::RecordingHost* host);
    VTWidget* show(const QString& key, QObject* reference);
    void cleanupHost();

    QTemporaryDir m_dir;
    QString m_packageRoot;
    std::unique_ptr<VTTest::RecordingHost> m_host;
    std::unique_ptr<QWidget> m_reference;
    std::unique_ptr<QWidget> m_other;
};

void TestVTWidget::initTestCase()
{
    QVERIFY(m_dir.isValid());
    const QString package
        = VTTest::makeUiPackage(m_dir, QStringLiteral("data"), QStringLiteral("Win.vantles"), QString(),
            { { QStringLiteral("k"), "<title>First</title>" }, { QStringLiteral("k2"), "<title>Second</title>" } },
            rootQml);
    QVERIFY(!package.isEmpty());
    m_packageRoot = QDir(package).canonicalPath();
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
    VTContext context;
    makeHost(new VTTest::RecordingHost(context, { m_dir.filePath(QStringLiteral("data")) }));
}

void TestVTWidget::makeHost(VTTest::RecordingHost* host)
{
    if (m_host)
        cleanupHost();
    m_host.reset(host);
}

void TestVTWidget::cleanupHost()
{
    // Host windows take their reserved windows with them.
    QList<QPointer<VTWidget>> reserved;
    for (VTWidget* window : m_host->manager()->reservedWindows())
        reserved.append(window);
    for (const QPointer<QWidget>& window : qAsConst(m_host->hostWindows))
        delete window;
    for (const QPointer<VTWidget>& window : qAsConst(reserved))
        delete window;
    VTIndex* index = m_host->manager()->index();
    m_host.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    delete index;
}

void TestVTWidget::cleanup()
{
    cleanupHost();
    m_other.reset();
    m_reference.reset();
}

VTWidget* TestVTWidget::show(const QString& key, QObject* reference)
{
    if (!m_host->manager()->show(key, showAt, reference))
        return nullptr;
    return m_host->manager()->widget();
}

void TestVTWidget::zeroFadeInShowsOpaqueAtOnce()
{
    m_host->context()->set(VTContextFadeInDuration, 0);
    VTWidget* window = show(QStringLiteral("k"), m_reference.get());
    QVERIFY(window);
    QVERIFY(window->isVisible());
    QCOMPARE(window->windowOpacity(), 1.0);
    QCOMPARE(animationOf(window)->state(), QAbstractAnimation::Stopped);
    QCOMPARE(window->pos(), windowAt);
    QCOMPARE(window->windowType(), Qt::ToolTip);
}

void TestVTWidget::fadeInAnimatesToOpaque()
{
    m_host->context()->set(VTContextFadeInDuration, 150);
    VTWidget* window = show(QStringLiteral("k"), m_reference.get());
    QVERIFY(window);
    QVERIFY(window->isVisible());
    QVERIFY2(window->windowOpacity() < 0.5, qPrintable(QString::number(window->windowOpacity())));
    QCOMPARE(animationOf(window)->state(), QAbstractAnimation::Running);
    // The fade-in sizes the window before it starts.
    QCOMPARE(window->size(), QSize(201, 101));
    QTRY_COMPARE(window->windowOpacity(), 1.0);
    QVERIFY(window->isVisible());
}

void TestVTWidget::hideDuringFadeInIsIgnored()
{
    m_host->context()->set(VTContextFadeInDuration, 150);
    m_host->context()->set(VTContextFadeOutDuration, 0);
    VTWidget* window = show(QStringLiteral("k"), m_reference.get());
    QVERIFY(window);
    window->hideAnimated();
    QVERIFY(window->isVisible());
    QTRY_COMPARE(animationOf(window)->state(), QAbstractAnimation::Stopped);
    QVERIFY(window->isVisible());
    QCOMPARE(window->windowOpacity(), 1.0);

    // Once shown, the same call hides.
    window->hideAnimated();
    QVERIFY(!window->isVisible());
}

void TestVTWidget::zeroFadeOutHidesAtOnceAndResetsState()
{
    m_host->context()->set(VTContextFadeOutDuration, 0);
    VTWidget* window = show(QStringLiteral("k"), m_reference.get());
    QVERIFY(window);
    QQuickItem* root = window->view()->rootObject();
    QVERIFY(root);
    root->setState(QStringLiteral("open"));

    window->hideAnimated();
    QVERIFY(!window->isVisible());
    QCOMPARE(root->state(), QString());
    window->hideAnimated(); // hidden already: nothing to do
    QVERIFY(!window->isVisible());
}

void TestVTWidget::fadeOutHidesAtItsEndOnly()
{
    m_host->context()->set(VTContextFadeOutDuration, 80);
    VTWidget* window = show(QStringLiteral("k"), m_reference.get());
    QVERIFY(window);
    QQuickItem* root = window->view()->rootObject();
    root->setState(QStringLiteral("open"));

    window->hideAnimated();
    QVERIFY(window->isVisible());
    QCOMPARE(root->state(), QStringLiteral("open"));
    QCOMPARE(animationOf(window)->state(), QAbstractAnimation::Running);
    QTRY_VERIFY(!window->isVisible());
    QCOMPARE(root->state(), QString());

    // The next fade-in ends with the window still up.
    m_host->context()->set(VTContextFadeInDuration, 60);
    QCOMPARE(show(QStringLiteral("k"), m_reference.get()), window);
    QVERIFY(window->isVisible());
    QTRY_COMPARE(animationOf(window)->state(), QAbstractAnimation::Stopped);
    QVERIFY(window->isVisible());
    QCOMPARE(window->windowOpacity(), 1.0);
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
    m_host->manager()->initializeTooltipWindow(nullptr);
    m_host->manager()->widget()->view()->setStayOpen(stayOpen);
    // The pointer is outside when the window appears: the countdown starts
    // with the show.
    QCursor::setPos(farAway);
    VTWidget* window = show(QStringLiteral("k"), m_reference.get());
    QVERIFY(window);
    QVERIFY(window->isVisible());
    if (hides) {
        QTRY_VERIFY(!window->isVisible());
    } else {
        window->checkMousePosition(farAway);
        QVERIFY(!timerOf(window)->isActive());
        QVERIFY(window->isVisible());
    }
}

void TestVTWidget::countdownStartsOutsideAndStopsInside()
{
    m_host->context()->set(VTContextTimerInterval, 10000);
    VTWidget* window = show(QStringLiteral("k"), m_reference.get());
    QVERIFY(window);
    QTimer* timer = timerOf(window);
    QVERIFY(!timer->isActive());
    const QPoint inside = window->mapToGlobal(QPoint(5, 5));

    window->checkMousePosition(farAway);
    QVERIFY(timer->isActive());
    window->checkMousePosition(inside);
    QVERIFY(!timer->isActive());
    window->checkMousePosition(referenceGeometry.center());
    QVERIFY(!timer->isActive());

    window->checkMousePosition(farAway);
    QVERIFY(timer->isActive());
    QTRY_VERIFY(timer->remainingTime() < 9950);
    // Further moves outside leave the running countdown alone.
    window->checkMousePosition(farAway + QPoint(5, 0));
    QVERIFY(timer->isActive());
    QVERIFY(timer->remainingTime() < 9950);

    // A new interval applies from the next start.
    m_host->context()->set(VTContextTimerInterval, 500000);
    window->checkMousePosition(inside);
    window->checkMousePosition(farAway);
    QVERIFY(timer->remainingTime() > 10000);
}

void TestVTWidget::withoutReferenceControlNothingIsSafe()
{
    m_host->context()->set(VTContextTimerInterval, 10000);
    QObject notAWidget;
    VTWidget* window = show(QStringLiteral("k"), &notAWidget);
    QVERIFY(window);
    QVERIFY(!window->referenceWidget());

    // Off the application's widgets, the pointer counts as over the missing
    // control; over one of them it does not.
    QVERIFY(window->isSafe(farAway));
    window->checkMousePosition(farAway);
    QVERIFY(!timerOf(window)->isActive());
    QVERIFY(!window->isSafe(referenceGeometry.center()));
    window->checkMousePosition(referenceGeometry.center());
    QVERIFY(timerOf(window)->isActive());
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
    QTest::newRow("21 right of the right edge") << "right" << 21 << defaultMargin << false;
    QTest::newRow("20 left of the left edge") << "left" << 20 << defaultMargin << true;
    QTest::newRow("21 left of the left edge") << "left" << 21 << defaultMargin << false;
    QTest::newRow("20 above the top") << "top" << 20 << defaultMargin << true;
    QTest::newRow("21 above the top") << "top" << 21 << defaultMargin << false;
    QTest::newRow("19 below the bottom") << "bottom" << 19 << defaultMargin << true;
    QTest::newRow("20 below the bottom") << "bottom" << 20 << defaultMargin << false;
    QTest::newRow("inside") << "inside" << 0 << defaultMargin << true;
    QTest::newRow("narrow margin, right") << "right" << 4 << QSize(5, 40) << true;
    QTest::newRow("narrow margin, beyond right") << "right" << 5 << QSize(5, 40) << false;
    QTest::newRow("tall margin, below") << "bottom" << 39 << QSize(5, 40) << true;
    QTest::newRow("tall margin, beyond bottom") << "bottom" << 40 << QSize(5, 40) << false;
    QTest::newRow("over the reference control") << "reference" << 0 << defaultMargin << true;
    QTest::newRow("over another control") << "other" << 0 << defaultMargin << false;
    QTest::newRow("over nothing") << "nothing" << 0 << defaultMargin << false;
}

void TestVTWidget::safeAreaReachesMarginAroundWindow()
{
    QFETCH(QString, side);
    QFETCH(int, distance);
    QFETCH(QSize, margin);
    QFETCH(bool, safe);

    if (margin.isValid())
        m_host->context()->set(VTContextSafeAreaSize, margin);
    m_other.reset(new QWidget);
    m_other->setGeometry(450, 300, 40, 40);
    m_other->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_other.get()));
    VTWidget* window = show(QStringLiteral("k"), m_reference.get());
    QVERIFY(window);
    QTRY_COMPARE(window->size(), QSize(201, 101));

    const QRect frame(window->mapToGlobal(QPoint(0, 0)), window->frameSize());
    QPoint p = frame.center();
    if (side == QLatin1String("right"))
        p.setX(frame.x() + frame.width() + distance);
    else if (side == QLatin1String("left"))
        p.setX(frame.x() - distance);
    else if (side == QLatin1String("top"))
        p.setY(frame.y() - distance);
    else if (side == QLatin1String("bottom"))
        p.setY(frame.y() + frame.height() + distance);
    else if (side == QLatin1String("reference"))
        p = referenceGeometry.center();
    else if (side == QLatin1String("other"))
        p = m_other->geometry().center();
    else if (side == QLatin1String("nothing"))
        p = farAway;
    QCOMPARE(window->isSafe(p), safe);
}

void TestVTWidget::visibleGeometryClampsIntoAvailableArea_data()
{
    QTest::addColumn<QRect>("geometry");
    QTest::addColumn<QRect>("expected");
    QTest::addColumn<bool>("moved");

    const QRect a = QGuiApplication::primaryScreen()->availableGeometry();
    const QRect inside(a.x() + 10, a.y() + 10, 100, 50);
    QTest::newRow("inside") << inside << inside << false;
    QTest::newRow("the area itself") << a << a << false;
    QTest::newRow("30 above the top") << QRect(a.x() + 10, a.y() - 30, 100, 400) << QRect(a.x() + 10, a.y(), 100, 400)
                                      << true;
    QTest::newRow("left of the area") << QRect(a.x() - 15, a.y() + 10, 100, 50) << QRect(a.x(), a.y() + 10, 100, 50)
                                      << true;
    QTest::newRow("below the bottom") << QRect(a.x() + 10, a.bottom() - 24, 100, 50)
                                      << QRect(a.x() + 10, a.bottom() - 49, 100, 50) << true;
    QTest::newRow("beyond the right") << QRect(a.right() - 9, a.y() + 10, 100, 50)
                                      << QRect(a.right() - 99, a.y() + 10, 100, 50) << true;
    QTest::newRow("past two corners") << QRect(a.right() - 9, a.y() - 9, 100, 50)
                                      << QRect(a.right() - 99, a.y(), 100, 50) << true;
    QTest::newRow("taller than the area ends at its bottom")
        << QRect(a.x() + 10, a.y() - 5, 100, a.height() + 100)
        << QRect(a.x() + 10, a.bottom() - a.height() - 99, 100, a.height() + 100) << true;
    QTest::newRow("wider than the area ends at its right")
        << QRect(a.x() + 30, a.y() + 10, a.width() + 40, 50)
        << QRect(a.right() - a.width() - 39, a.y() + 10, a.width() + 40, 50) << true;
}

void TestVTWidget::visibleGeometryClampsIntoAvailableArea()
{
    QFETCH(QRect, geometry);
    QFETCH(QRect, expected);
    QFETCH(bool, moved);

    m_host->manager()->initializeTooltipWindow(nullptr);
    VTWidget* window = m_host->manager()->widget();
    QVERIFY(window);
    bool move = !moved;
    QCOMPARE(window->findVisibleGeometry(geometry, &move), expected);
    QCOMPARE(move, moved);
    QCOMPARE(window->findVisibleGeometry(geometry), expected);

    // With a reference control its screen's area counts (the same one here).
    QCOMPARE(show(QStringLiteral("k"), m_reference.get()), window);
    QCOMPARE(window->referenceWidget(), m_reference.get());
    QCOMPARE(window->findVisibleGeometry(geometry, nullptr), expected);
}

void TestVTWidget::windowIsFixedOnePixelLargerThanView()
{
    VTWidget* window = show(QStringLiteral("k"), m_reference.get());
    QVERIFY(window);
    QTRY_COMPARE(window->size(), QSize(201, 101));
    QCOMPARE(window->view()->size(), QSize(200, 100));
    QCOMPARE(window->minimumSize(), QSize(201, 101));
    QCOMPARE(window->maximumSize(), QSize(201, 101));
    QCOMPARE(window->view()->pos(), QPoint(0, 0));
}

void TestVTWidget::windowNearScreenEdgeIsMovedInside()
{
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    QVERIFY(m_host->manager()->show(QStringLiteral("k"), area.bottomRight() - QPoint(50, 40), nullptr));
    VTWidget* window = m_host->manager()->widget();
    QTRY_COMPARE(window->size(), QSize(201, 101));
    QTRY_VERIFY2(
        area.contains(window->frameGeometry()), qPrintable(QStringLiteral("%1,%2").arg(window->x()).arg(window->y())));
    QCOMPARE(window->frameGeometry().bottomRight(), area.bottomRight());
}

void TestVTWidget::nullContentDoesNothing()
{
    m_host->manager()->initializeTooltipWindow(nullptr);
    VTWidget* window = m_host->manager()->widget();
    window->showWithContent(m_reference.get(), windowAt, nullptr, m_packageRoot);
    QVERIFY(!window->isVisible());
    QVERIFY(!window->view()->content());
    QVERIFY(!window->referenceWidget());
    QVERIFY(window->view()->source().isEmpty());
}

void TestVTWidget::replacedContentIsDeleted()
{
    m_host->manager()->initializeTooltipWindow(nullptr);
    VTWidget* window = m_host->manager()->widget();
    auto makeContent = [](const QString& key) {
        auto element = new VTXmlElement;
        element->setAttribute(QStringLiteral("key"), key);
        element->setAttribute(QStringLiteral("VTPackagName"), QStringLiteral("Win"));
        return element;
    };
    QPointer<VTXmlElement> first = makeContent(QStringLiteral("first"));
    QSignalSpy firstDestroyed(first.data(), &QObject::destroyed);

    window->showWithContent(m_reference.get(), windowAt, first, m_packageRoot);
    QVERIFY(window->isVisible());
    QCOMPARE(window->view()->content(), first.data());
    QCOMPARE(window->referenceWidget(), m_reference.get());
    QCOMPARE(window->view()->packageRoot(), QDir(m_packageRoot));
    QCOMPARE(window->view()->source(), QUrl::fromLocalFile(m_packageRoot + QStringLiteral("/ui/VantleUI.qml")));
    QQmlContext* context = window->view()->engine()->rootContext();
    QCOMPARE(context->contextProperty(QStringLiteral("vantle")).value<QObject*>(), first.data());
    QCOMPARE(context->contextProperty(QStringLiteral("dataLocation")).toString(), m_packageRoot);
    QCOMPARE(context->contextProperty(QStringLiteral("vantleView")).value<QObject*>(), window->view());

    // The element on show already is kept.
    QObject notAWidget;
    window->showWithContent(&notAWidget, windowAt, first, m_packageRoot);
    QCOMPARE(firstDestroyed.count(), 0);
    QVERIFY(!window->referenceWidget());

    VTXmlElement* second = makeContent(QStringLiteral("second"));
    window->showWithContent(m_reference.get(), windowAt + QPoint(20, 10), second, m_packageRoot);
    QCOMPARE(firstDestroyed.count(), 1);
    QVERIFY(!first);
    QCOMPARE(window->view()->content(), second);
    QCOMPARE(context->contextProperty(QStringLiteral("vantle")).value<QObject*>(), second);
    QCOMPARE(window->pos(), windowAt + QPoint(20, 10));
}

void TestVTWidget::managerTeardownFreesShownDocument()
{
    QPointer<VTWidget> window = show(QStringLiteral("k"), nullptr);
    QVERIFY(window);
    QPointer<QObject> document = window->view()->content()->parent();
    QVERIFY(document);
    QPointer<VTXmlElement> replaced = window->view()->content();
    // A second vantle replaces the whole first document.
    QVERIFY(show(QStringLiteral("k2"), nullptr));
    QVERIFY(!document);
    QVERIFY(!replaced);
    document = window->view()->content()->parent();
    QVERIFY(document);

    cleanupHost();
    QVERIFY(!window);
    QVERIFY(!document);
    VTContext settings;
    makeHost(new VTTest::RecordingHost(settings, { m_dir.filePath(QStringLiteral("data")) }));
}

void TestVTWidget::reservedWindowMovesIntoHostWindow_data()
{
    QTest::addColumn<bool>("hostHasLayout");
    QTest::newRow("host without layout") << false;
    QTest::newRow("host with its own layout") << true;
}

void TestVTWidget::reservedWindowMovesIntoHostWindow()
{
    QFETCH(bool, hostHasLayout);

    VTContext settings;
    const QStringList dataPath { m_dir.filePath(QStringLiteral("data")) };
    makeHost(hostHasLayout ? new LayoutHost(settings, dataPath) : new VTTest::RecordingHost(settings, dataPath));
    m_host->provideHostWindow = true;
    VTManager* manager = m_host->manager();
    VTWidget* window = show(QStringLiteral("k"), m_reference.get());
    QVERIFY(window);
    QTRY_COMPARE(window->size(), QSize(201, 101));
    window->view()->content()->setAttribute(QStringLiteral("title"), QStringLiteral("Pinned"));
    window->view()->content()->setProperty("title", QStringLiteral("not this one"));
    const QPoint position = window->pos();

    window->view()->setReserved(true);
    QCOMPARE(m_host->windowRequests, QList<int> { VTWindowReserved });
    QCOMPARE(m_host->hostWindows.size(), 1);
    QWidget* host = m_host->hostWindows.first();
    QVERIFY(host);
    QCOMPARE(window->parentWidget(), host);
    QVERIFY(!window->isWindow());
    auto layout = qobject_cast<QVBoxLayout*>(host->layout());
    QVERIFY(layout);
    QCOMPARE(layout->indexOf(window), hostHasLayout ? 1 : 0);
    QCOMPARE(layout->contentsMargins(), hostHasLayout ? QMargins(7, 7, 7, 7) : QMargins());
    QCOMPARE(host->windowTitle(), QStringLiteral("Pinned"));
    const Qt::WindowFlags wanted = Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint;
    QCOMPARE(host->windowFlags() & wanted, wanted);
    QVERIFY(host->isVisible());
    QVERIFY(window->isVisible());
    QCOMPARE(host->pos(), position);
    QCOMPARE(window->size(), QSize(201, 101));
    if (!hostHasLayout)
        QCOMPARE(host->size(), QSize(201, 101));

    QCOMPARE(manager->reservedWindows(), QList<VTWidget*> { window });
    QVERIFY(manager->widget());
    QVERIFY(manager->widget() != window);
}

void TestVTWidget::reservedWindowBecomesToolWindow()
{
    VTManager* manager = m_host->manager();
    QPointer<VTWidget> window = show(QStringLiteral("k"), m_reference.get());
    QVERIFY(window);
    VTXmlElement* content = window->view()->content();
    content->setAttribute(QStringLiteral("title"), QStringLiteral("not this one"));
    content->setProperty("title", QStringLiteral("Pinned"));
    const QPoint position = window->pos();

    window->view()->setReserved(true);
    QCOMPARE(m_host->windowRequests, QList<int> { VTWindowReserved });
    QVERIFY(window->testAttribute(Qt::WA_DeleteOnClose));
    QCOMPARE(window->windowType(), Qt::Tool);
    const Qt::WindowFlags wanted = Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint;
    QCOMPARE(window->windowFlags() & wanted, wanted);
    QCOMPARE(window->parentWidget(), m_reference->window());
    QCOMPARE(window->windowModality(), Qt::NonModal);
    QCOMPARE(window->windowTitle(), QStringLiteral("Pinned"));
    QVERIFY(window->isVisible());
    QCOMPARE(window->pos(), position);
    QCOMPARE(window->view()->content(), content);
    QCOMPARE(manager->reservedWindows(), QList<VTWidget*> { window.data() });

    // Leaving the tooltip role is one-way: clearing and setting it again
    // hands nothing over a second time.
    window->view()->setReserved(false);
    window->view()->setReserved(true);
    QCOMPARE(m_host->windowRequests.size(), 1);

    window->close();
    QTRY_VERIFY(!window);
    QVERIFY(manager->reservedWindows().isEmpty());
}

void TestVTWidget::showsShareOneWindowUntilReserved()
{
    VTManager* manager = m_host->manager();
    QPointer<VTWidget> first = show(QStringLiteral("k"), nullptr);
    QVERIFY(first);
    VTView* view = first->view();
    QCOMPARE(show(QStringLiteral("k2"), nullptr), first.data());
    QCOMPARE(first->view(), view);
    QCOMPARE(first->findChildren<VTView*>().size(), 1);
    QCOMPARE(contentKey(first), QStringLiteral("k2"));
    manager->initializeTooltipWindow(nullptr);
    QCOMPARE(manager->widget(), first.data());

    VTXmlElement* pinned = first->view()->content();
    first->view()->setReserved(true);
    VTWidget* second = manager->widget();
    QVERIFY(second);
    QVERIFY(second != first);
    QVERIFY(second->view());
    QVERIFY(!second->view()->content());
    QVERIFY(!second->isVisible());

    QCOMPARE(show(QStringLiteral("k"), nullptr), second);
    QVERIFY(second->isVisible());
    QCOMPARE(contentKey(second), QStringLiteral("k"));
    QVERIFY(first->isVisible());
    QCOMPARE(first->view()->content(), pinned);
    QCOMPARE(contentKey(first), QStringLiteral("k2"));
    QVERIFY(first->view()->rootObject());
    QCOMPARE(manager->reservedWindows(), QList<VTWidget*> { first.data() });
}

void TestVTWidget::reserveAnswersOnlyForCurrentWindow_data()
{
    QTest::addColumn<bool>("provideHostWindow");
    QTest::newRow("no host window") << false;
    QTest::newRow("host window") << true;
}

void TestVTWidget::reserveAnswersOnlyForCurrentWindow()
{
    QFETCH(bool, provideHostWindow);

    m_host->provideHostWindow = provideHostWindow;
    VTManager* manager = m_host->manager();
    manager->initializeTooltipWindow(nullptr);
    VTWidget* window = manager->widget();
    QWidget* host = nullptr;
    QVERIFY(!manager->reserve(nullptr, host));
    QVERIFY(m_host->windowRequests.isEmpty());

    QVERIFY(manager->reserve(window, host));
    QCOMPARE(host, provideHostWindow ? m_host->hostWindows.value(0).data() : nullptr);
    QVERIFY(manager->widget() != window);
    QCOMPARE(manager->reservedWindows(), QList<VTWidget*> { window });

    QWidget* again = nullptr;
    QVERIFY(!manager->reserve(window, again));
    QCOMPARE(again, nullptr);
    QCOMPARE(m_host->windowRequests.size(), 1);
    QCOMPARE(manager->reservedWindows(), QList<VTWidget*> { window });
}

void TestVTWidget::stackingSkipsClosedWindows()
{
    VTManager* manager = m_host->manager();
    QList<QPointer<VTWidget>> windows;
    for (int i = 0; i < 3; ++i) {
        manager->initializeTooltipWindow(nullptr);
        VTWidget* window = manager->widget();
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
    QCOMPARE(manager->reservedWindows(), (QList<VTWidget*> { windows.at(0), windows.at(2) }));

    manager->raise();
    QCOMPARE(manager->reservedWindows().size(), 2);

    windows.at(0)->hide();
    manager->setStayOnTop(true);
    for (const QPointer<VTWidget>& window : { windows.at(0), windows.at(2) }) {
        QVERIFY(window->windowFlags() & Qt::WindowStaysOnTopHint);
        QVERIFY(window->isVisible());
    }
    manager->setStayOnTop(false);
    QCOMPARE(windows.at(0)->windowFlags(), before);
    windows.at(2)->hide();
    manager->setStayOnTop(false);
    QCOMPARE(windows.at(2)->windowFlags(), before);
    QVERIFY(windows.at(2)->isVisible());

    // The current window is none of their business.
    QVERIFY(!(manager->widget()->windowFlags() & Qt::WindowStaysOnTopHint));
    QVERIFY(!manager->widget()->isVisible());
}

void TestVTWidget::tooltipPositionAddsOffset_data()
{
    QTest::addColumn<QVariant>("offset");
    QTest::addColumn<QPoint>("pos");
    QTest::addColumn<QPoint>("expected");

    QTest::newRow("default offset") << QVariant() << QPoint(100, 200) << QPoint(135, 230);
    QTest::newRow("offset setting") << QVariant(QSize(5, -10)) << QPoint(100, 200) << QPoint(105, 190);
    QTest::newRow("no offset") << QVariant(QSize(0, 0)) << QPoint(-4, 7) << QPoint(-4, 7);
}

void TestVTWidget::tooltipPositionAddsOffset()
{
    QFETCH(QVariant, offset);
    QFETCH(QPoint, pos);
    QFETCH(QPoint, expected);

    if (offset.isValid())
        m_host->context()->set(VTContextTooltipOffset, offset);
    QCOMPARE(m_host->manager()->tooltipPosition(pos, m_reference.get()), expected);
    QCOMPARE(m_host->manager()->tooltipPosition(pos, nullptr), expected);
}

void TestVTWidget::scaledSizeTruncatesProduct_data()
{
    QTest::addColumn<QVariant>("scale");
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("expected");

    QTest::newRow("no setting") << QVariant() << 10 << 10;
    QTest::newRow("scale 0 leaves size") << QVariant(0.0) << 10 << 10;
    QTest::newRow("scale 1") << QVariant(1.0) << 10 << 10;
    QTest::newRow("scale 1.25") << QVariant(1.25) << 10 << 12;
    QTest::newRow("scale 0.99") << QVariant(0.99) << 10 << 9;
    QTest::newRow("scale 1.5 of 11") << QVariant(1.5) << 11 << 16;
    QTest::newRow("negative scale truncates toward zero") << QVariant(-1.5) << 11 << -16;
    QTest::newRow("scale as string") << QVariant("2") << 7 << 14;
}

void TestVTWidget::scaledSizeTruncatesProduct()
{
    QFETCH(QVariant, scale);
    QFETCH(int, size);
    QFETCH(int, expected);

    VTContext settings;
    if (scale.isValid())
        settings.set(VTContextInterfaceScale, scale);
    makeHost(new VTTest::RecordingHost(settings, { m_dir.filePath(QStringLiteral("data")) }));
    VTManager* manager = m_host->manager();
    QCOMPARE(manager->getScaledSize(size), expected);
    QCOMPARE(manager->realScaleValue(), scale.isValid() ? scale.toFloat() : 1.0f);

    // The scale is read once, at construction.
    manager->context()->set(VTContextInterfaceScale, 3.0);
    QCOMPARE(manager->getScaledSize(size), expected);
}

QTEST_MAIN(TestVTWidget)
#include "tst_vtwidget.moc"
