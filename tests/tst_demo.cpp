// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// The demo application driven end to end in a real X server: tooltip events
// on its controls, clicks, pinning, the French locale and documentation links.
#include "DemoVantles.h"
#include "DemoWindow.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTIndex.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTView.h>
#include <Vantles/VTWidget.h>

#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QDockWidget>
#include <QHelpEvent>
#include <QQuickItem>
#include <QScreen>
#include <QStyle>
#include <QTest>

#include <memory>

using namespace Vantles;

class TestDemo : public QObject {
    Q_OBJECT
public:
    static void initMain();

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void controlsShowTheirVantles();
    void pinnedVantleStaysInDockWhenClickingElsewhere();
    void frenchVantleLinksToHelp();
    void keyboardAndScreenReaderReachVantles();

private:
    // Rests the pointer on the widget of @p key and asks for its tooltip as
    // Qt does; whether the event was taken by the library.
    bool hover(const QString& key);
    VTWidget* vantle() const { return m_vantles->manager()->widget(); }
    static QString itemText(VTWidget* window, const QString& objectName);

    std::unique_ptr<DemoWindow> m_window;
    std::unique_ptr<DemoVantles> m_vantles;
};

void TestDemo::initMain()
{

    if (!qEnvironmentVariableIsSet("QT_QUICK_BACKEND"))
        qputenv("QT_QUICK_BACKEND", "software");
}

void TestDemo::initTestCase()
{
    const QString data = QStringLiteral(VANTLES_SAMPLE_DATA_DIR);
    QVERIFY2(QFileInfo::exists(data + QStringLiteral("/Sample.vantles/l10n/Vantles_fr_FR.qm")), qPrintable(data));
    QApplication::setApplicationName(QStringLiteral("Vantles demo"));

    // The settings of the demo's main().
    m_window = std::make_unique<DemoWindow>();
    VTContext settings;
    DemoVantles::configure(settings, data);
    m_vantles = std::make_unique<DemoVantles>(settings, QStringList { data }, m_window.get());
    m_window->setVantles(m_vantles.get());
    m_vantles->setGlobalProperties();

    m_window->move(40, 40);
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
}

void TestDemo::cleanupTestCase()
{
    m_vantles.reset();
    m_window.reset();
}

bool TestDemo::hover(const QString& key)
{
    QWidget* control = m_window->widgetForKey(key);
    if (!control)
        return false;
    const QPoint local = control->rect().center();
    const QPoint global = control->mapToGlobal(local);
    // The pointer over the control keeps the vantle from timing out.
    QCursor::setPos(global);
    QHelpEvent event(QEvent::ToolTip, local, global);
    return QApplication::sendEvent(control, &event);
}

QString TestDemo::itemText(VTWidget* window, const QString& objectName)
{
    QQuickItem* root = window ? window->view()->rootObject() : nullptr;
    QQuickItem* item = root ? root->findChild<QQuickItem*>(objectName) : nullptr;
    return item ? item->property("text").toString() : QStringLiteral("<no item %1>").arg(objectName);
}

void TestDemo::controlsShowTheirVantles()
{
    QWidget* button = m_window->widgetForKey(QStringLiteral("actionOpen"));
    QVERIFY(hover(QStringLiteral("actionOpen")));
    VTWidget* window = vantle();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    QTRY_COMPARE(itemText(window, QStringLiteral("title")), QStringLiteral("Open a document"));
    const QString shortcut
        = m_window->actionForKey(QStringLiteral("actionOpen"))->shortcut().toString(QKeySequence::NativeText);
    QVERIFY(!shortcut.isEmpty());
    QCOMPARE(itemText(window, QStringLiteral("shortcut")), shortcut);
    QCOMPARE(itemText(window, QStringLiteral("pin")), QStringLiteral("Pin"));
    // The key-data file added its attributes.
    QCOMPARE(window->view()->content()->attribute(QStringLiteral("helpTopic")), QStringLiteral("opening-documents"));
    // Next to the pointer, as the offset puts it, and on the screen.
    QTRY_VERIFY(window->windowOpacity() == 1.0);
    QCOMPARE(window->pos(), button->mapToGlobal(button->rect().center()) + QPoint(35, 30));
    QVERIFY(button->screen()->availableGeometry().contains(window->frameGeometry()));

    // A form widget: no action, so no shortcut; the text has the host's
    // global properties.
    QVERIFY(hover(QStringLiteral("documentTitle")));
    QTRY_COMPARE(itemText(window, QStringLiteral("title")), QStringLiteral("Document title"));
    QVERIFY(window->isVisible());
    QCOMPARE(itemText(window, QStringLiteral("shortcut")), QString());
    QVERIFY2(itemText(window, QStringLiteral("text")).contains(QStringLiteral("of Vantles demo.")),
        qPrintable(itemText(window, QStringLiteral("text"))));

    // A control with a plain Qt tooltip and no vantle: the fallback key
    // answers for it.
    QVERIFY(hover(QStringLiteral("printButton")));
    QCOMPARE(window->view()->content()->attribute(QStringLiteral("key")), QStringLiteral("unknownControl"));
    QTRY_COMPARE(itemText(window, QStringLiteral("title")), QStringLiteral("No help yet"));
}

void TestDemo::pinnedVantleStaysInDockWhenClickingElsewhere()
{
    VTManager* manager = m_vantles->manager();
    QVERIFY(hover(QStringLiteral("actionUndo")));
    QPointer<VTWidget> pinned = vantle();
    QTRY_COMPARE(itemText(pinned, QStringLiteral("title")), QStringLiteral("Undo"));
    QTRY_VERIFY(pinned->windowOpacity() == 1.0);

    // Click the pin link the way the user does.
    QQuickItem* pin = pinned->view()->rootObject()->findChild<QQuickItem*>(QStringLiteral("pin"));
    QVERIFY(pin);
    const QPoint pinCentre = pin->mapToScene(QPointF(pin->width() / 2, pin->height() / 2)).toPoint();
    QTest::mouseClick(pinned->view(), Qt::LeftButton, {}, pinCentre);
    QTRY_COMPARE(manager->reservedWindows(), QList<VTWidget*>({ pinned.data() }));
    QVERIFY(pinned->view()->stayOpen());

    // It lives in a dock of the main window now.
    QWidget* dock = pinned;
    while (dock && !qobject_cast<QDockWidget*>(dock))
        dock = dock->parentWidget();
    QVERIFY(dock && m_window->isAncestorOf(dock));
    QCOMPARE(dock->windowTitle(), QStringLiteral("Undo"));
    QTRY_VERIFY(pinned->isVisible());
    QCOMPARE(itemText(pinned, QStringLiteral("pin")), QString());

    // The next vantle comes in a new current window, and the pinned one stays.
    QVERIFY(hover(QStringLiteral("zoomSlider")));
    VTWidget* current = vantle();
    QVERIFY(current != pinned);
    QTRY_COMPARE(itemText(current, QStringLiteral("title")), QStringLiteral("Zoom"));
    QCOMPARE(itemText(pinned, QStringLiteral("title")), QStringLiteral("Undo"));

    // A click in the main window hides the current vantle, not the pinned one.
    QWidget* central = m_window->centralWidget();
    QTest::mouseClick(central, Qt::LeftButton, {}, central->rect().bottomLeft() + QPoint(10, -10));
    QVERIFY(!current->isVisible());
    QVERIFY(pinned->isVisible());
}

void TestDemo::frenchVantleLinksToHelp()
{
    m_window->setFrench(true);
    QVERIFY(hover(QStringLiteral("actionOpen")));
    VTWidget* window = vantle();
    QTRY_COMPARE(itemText(window, QStringLiteral("title")), QStringLiteral("Ouvrir un document"));
    QTRY_COMPARE(itemText(window, QStringLiteral("pin")), QStringLiteral("Épingler"));
    QTRY_VERIFY(window->windowOpacity() == 1.0);
    QTest::qWait(200);

    // The whole screen, for a person to look at.
    const QString path = QDir(QStringLiteral(VANTLES_TEST_OUTPUT_DIR)).filePath(QStringLiteral("tst_demo-screen.png"));
    const QImage screen = QGuiApplication::primaryScreen()->grabWindow(0).toImage();
    QVERIFY(!screen.isNull() && screen.save(path));
    qInfo("Screenshot: %s", qPrintable(path));

    // A click on the documentation link opens the demo's help.
    QVERIFY(!m_window->helpDialog()->isVisible());
    // Repeater items are the repeater's children as items only.
    QQuickItem* link = nullptr;
    QList<QQuickItem*> items { window->view()->rootObject() };
    while (!link && !items.isEmpty()) {
        QQuickItem* item = items.takeFirst();
        if (item->objectName() == QLatin1String("link"))
            link = item;
        items += item->childItems();
    }
    QVERIFY(link);
    const QPointF centre = link->mapToScene(QPointF(link->width() / 2, link->height() / 2));
    QTest::mouseClick(window->view(), Qt::LeftButton, {}, centre.toPoint());
    QTRY_VERIFY(m_window->helpDialog()->isVisible());
}

void TestDemo::keyboardAndScreenReaderReachVantles()
{
    m_window->setFrench(false);
    VTManager* manager = m_vantles->manager();
    manager->context()->set(VTContextShowOnFocus, true);
    if (vantle())
        vantle()->hide();

    QWidget* title = m_window->widgetForKey(QStringLiteral("documentTitle"));
    QWidget* format = m_window->widgetForKey(QStringLiteral("exportFormat"));
    m_window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    // A click's focus shows nothing; Tab shows the vantle of the control it
    // reaches, below it, as a tooltip with the vantle's words.
    title->setFocus(Qt::MouseFocusReason);
    QTest::qWait(QApplication::style()->styleHint(QStyle::SH_ToolTip_WakeUpDelay) + 200);
    QVERIFY(!vantle() || !vantle()->isVisible());
    QTest::keyClick(title, Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), format);
    QTRY_VERIFY(vantle() && vantle()->isVisible() && vantle()->referenceWidget() == format);
    VTWidget* window = vantle();
    const QRect control(format->mapToGlobal(QPoint(0, 0)), format->size());
    QVERIFY(window->frameGeometry().top() > control.bottom());
    QCOMPARE(window->frameGeometry().left(), control.left());
    QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(window);
    QVERIFY(accessible);
    QCOMPARE(accessible->role(), QAccessible::ToolTip);
    QCOMPARE(accessible->text(QAccessible::Name), QStringLiteral("Export format"));
    QVERIFY(accessible->text(QAccessible::Description).startsWith(QLatin1String("The format the Export command writes.")));

    // Ctrl+F1 hides and shows it again, Escape closes it, also while the
    // vantle still fades in; keys that do nothing here stay the control's.
    QTest::keyClick(format, Qt::Key_F1, Qt::ControlModifier);
    QTRY_VERIFY(!window->isVisible());
    QTest::keyClick(format, Qt::Key_F1, Qt::ControlModifier);
    QTRY_VERIFY(window->isVisible());
    QTest::keyClick(format, Qt::Key_Escape);
    QTRY_VERIFY(!window->isVisible());
    manager->context()->set(VTContextShowOnFocus, false);
}

QTEST_MAIN(TestDemo)
#include "tst_demo.moc"
