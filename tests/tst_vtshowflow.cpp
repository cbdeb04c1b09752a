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

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QHelpEvent>
#include <QMouseEvent>
#include <QPointer>
#include <QProcess>
#include <QQuickItem>
#include <QRegularExpression>
#include <QTest>
#include <QToolTip>

#include <memory>

using namespace Vantles;

class TestVTShowFlow : public QObject {
    Q_OBJECT
public:
    static void initMain();

private Q_SLOTS:
    void initTestCase();

    void showIsGatedByDisabledAndModifiers_data();
    void showIsGatedByDisabledAndModifiers();
    void sameContentStaysOtherContentDeletesOldTreeAndTakesHostShortcut();
    void contentAndLocaleFollowSettings_data();
    void contentAndLocaleFollowSettings();
    void unknownKeyWithoutFallback_data();
    void unknownKeyWithoutFallback();
    void rootPathIsPackageFolder();
    void eventFilterShowsOnToolTipAndHidesAwayFromWindow();
    void clickOutsideOrDeactivationHidesAtOnce_data();
    void clickOutsideOrDeactivationHidesAtOnce();

    void interpolateExpandsPlaceholders_data();
    void interpolateExpandsPlaceholders();
    void managerQueriesUseShownPackageAndContent();
    void openExternalResourceRoutesByKind_data();
    void openExternalResourceRoutesByKind();

    void contentMistakesAreReportedWithFileAndLine_data();
    void contentMistakesAreReportedWithFileAndLine();
    void aProblemIsReportedAgainOnlyForANewVersionOfItsFile();

private:
    QTemporaryDir m_dir;
    QString m_data;
};

namespace {

using Files = QMap<QString, QByteArray>;

const QByteArray qml = R"(import QtQuick 2.15
Rectangle { width: 100; height: 40
    Text { objectName: "title"; text: vantle && vantle.childElement("title") ? vantle.childElement("title").content : "" }
})";

// The interface copies the settings it is given: one object serves all.
VTContext& settingsWith(const QMap<VTContextKey, QVariant>& values)
{
    static VTContext settings;
    settings = VTContext();
    // Nothing hides by itself unless a test asks for it.
    settings.set(VTContextTimerInterval, 0);
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        if (it.value().isValid())
            settings.set(it.key(), it.value());
    }
    return settings;
}

// The recording host, with every message and a few shorthands.
class Host : public VTTest::RecordingHost {
public:
    Host(const QString& data, const QMap<VTContextKey, QVariant>& values)
        : RecordingHost(settingsWith(values), QStringList { data })
    {
        // Only now: the loading messages would reach the default handler.
        manager()->context()->set(VTContextMessageThreshold, 300);
    }
    QStringList retrievals() const { return messages.filter(QStringLiteral("300:Retrieved ")); }
    bool show(const QString& key, const QPoint& pos = QPoint(10, 10), QObject* object = nullptr)
    {
        return manager()->show(key, pos, object);
    }
    VTWidget* window() const { return manager()->widget(); }
    QPoint insideWindow() const { return window()->mapToGlobal(QPoint(5, 5)); }
    QPoint farFromWindow() const { return window()->frameGeometry().bottomRight() + QPoint(300, 300); }
    VTXmlElement* content() const { return window() ? window()->view()->content() : nullptr; }
    QString shownKey() const { return content() ? content()->attribute(QStringLiteral("key")) : QString(); }
    QString shownTitle() const
    {
        QQuickItem* root = window() ? window()->view()->rootObject() : nullptr;
        QQuickItem* title = root ? root->findChild<QQuickItem*>(QStringLiteral("title")) : nullptr;
        return title ? title->property("text").toString() : QString();
    }
};

} // namespace

void TestVTShowFlow::initMain()
{
    if (!qEnvironmentVariableIsSet("QT_QUICK_BACKEND"))
        qputenv("QT_QUICK_BACKEND", "software");
}

void TestVTShowFlow::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QByteArray all = VTTest::controlFileXml(QString(), QString(),
        { { QStringLiteral("plain"), "<title>Plain</title>" }, { QStringLiteral("other"), "<title>Other</title>" },
            { QStringLiteral("fallback"), "<title>No help yet</title>" } });
    QVERIFY(!VTTest::makePackage(m_dir, QStringLiteral("data"), QStringLiteral("Test.vantles"),
        {
            // The helper gives a vantle element only its key.
            { "All.xml",
                all.replace("<vantle key=\"plain\">", "<vantle key=\"plain\" shortcut=\"Alt+P\" category=\"Tools\">")
                    .replace("<vantle key=\"other\">", "<vantle key=\"other\" l10n_name=\"elsewhere\">") },
            { "English.xml",
                VTTest::controlFileXml(QStringLiteral("en_US"), QString(),
                    { { QStringLiteral("greeting"), "<title>Hello</title>" },
                        { QStringLiteral("onlyEnglish"), "<title>English only</title>" } }) },
            { "French.xml",
                VTTest::controlFileXml(
                    QStringLiteral("fr_FR"), QString(), { { QStringLiteral("greeting"), "<title>Bonjour</title>" } }) },
        })
                 .isEmpty());
    QVERIFY(!VTTest::writeFile(m_dir, QStringLiteral("data/Test.vantles/ui/VantleUI.qml"), qml).isEmpty());
    m_data = QFileInfo(m_dir.filePath(QStringLiteral("data"))).absoluteFilePath();

    // Two translations with different words, compiled as the sample data is.
    const QList<QPair<QByteArray, QByteArray>> translations { { "fr_FR", "Épingler" }, { "de_DE", "Anheften" } };
    for (const auto& [language, pin] : translations) {
        const QString name = QString::fromLatin1(language);
        const QString ts = VTTest::writeFile(m_dir, QStringLiteral("ts/Vantles_%1.ts").arg(name),
            "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<!DOCTYPE TS>\n<TS version=\"2.1\" language=\"" + language
                + "\">\n<context><name>VantleUI</name><message><source>Pin</source><translation>" + pin
                + "</translation></message></context>\n</TS>\n");
        const QString qm = m_dir.filePath(QStringLiteral("data/Test.vantles/l10n/Vantles_%1.qm").arg(name));
        QVERIFY(QDir().mkpath(QFileInfo(qm).absolutePath()));
        QProcess lrelease;
        lrelease.start(QStringLiteral(VANTLES_LRELEASE), { QStringLiteral("-silent"), ts, QStringLiteral("-qm"), qm });
        QVERIFY(lrelease.waitForFinished(30000));
        QCOMPARE(lrelease.exitCode(), 0);
    }
}

void TestVTShowFlow::showIsGatedByDisabledAndModifiers_data()
{
    QTest::addColumn<bool>("disabled");
    QTest::addColumn<int>("required");
    QTest::addColumn<int>("held");
    QTest::addColumn<bool>("shown");
    const int ctrl = Qt::ControlModifier;
    QTest::newRow("disabled") << true << 0 << 0 << false;
    QTest::newRow("none required, shift held") << false << 0 << int(Qt::ShiftModifier) << true;
    QTest::newRow("ctrl required, ctrl held") << false << ctrl << ctrl << true;
    QTest::newRow("ctrl required, ctrl and shift held") << false << ctrl << int(ctrl | Qt::ShiftModifier) << false;
    QTest::newRow("ctrl required, none held") << false << ctrl << 0 << false;
    QTest::newRow("ctrl required, alt held") << false << ctrl << int(Qt::AltModifier) << false;
}

void TestVTShowFlow::showIsGatedByDisabledAndModifiers()
{
    QFETCH(bool, disabled);
    QFETCH(int, required);
    QFETCH(int, held);
    QFETCH(bool, shown);
    Host host(m_data, { { VTContextDisabled, disabled }, { VTContextRequiredModifiers, required } });
    // A key event delivered by QTest sets the application's modifier state.
    QWidget control;
    QTest::keyPress(&control, Qt::Key_Shift, Qt::KeyboardModifiers(held));

    QCOMPARE(host.show(QStringLiteral("plain"), QPoint(10, 10), &control), shown);
    QTest::keyRelease(&control, Qt::Key_Shift, Qt::NoModifier);
    QCOMPARE(host.messages.first(), QStringLiteral("300:looking for Vantle for key:plain"));
    if (shown) {
        QVERIFY(host.window()->isVisible());
    } else {
        // Turned away before anything was looked up or made.
        QCOMPARE(host.messages.size(), 1);
        QCOMPARE(host.window(), nullptr);
    }
}

void TestVTShowFlow::sameContentStaysOtherContentDeletesOldTreeAndTakesHostShortcut()
{
    Host host(m_data, { { VTContextFallbackKey, QStringLiteral("fallback") } });
    auto shortcut = [&host] { return host.content()->attribute(QStringLiteral("shortcut")); };
    QVERIFY(host.show(QStringLiteral("plain"), QPoint(100, 100)));
    const QPoint pos = host.window()->pos();
    QCOMPARE(pos, QPoint(135, 130));
    // The host offered the attribute; an empty answer keeps it.
    QCOMPARE(shortcut(), QStringLiteral("Alt+P"));
    // Guarded: a replaced element is deleted, and must not be printed.
    QPointer<VTXmlElement> content = host.content();

    // Already on screen: not looked up, moved or asked for a shortcut again.
    QVERIFY(host.show(QStringLiteral("plain"), QPoint(300, 250)));
    QCOMPARE(host.window()->pos(), pos);
    QVERIFY(content && host.content() == content);
    QCOMPARE(host.retrievals().size(), 1);
    QCOMPARE(host.shortcutCalls.size(), 1);

    // Another key: the old tree goes, its root with it.
    QPointer<QObject> oldRoot = content->parent();
    QVERIFY(oldRoot);
    host.shortcutAnswer = QStringLiteral("F5");
    QVERIFY(host.show(QStringLiteral("other")));
    QVERIFY(!oldRoot);
    QVERIFY(!content);
    QCOMPARE(host.shownKey(), QStringLiteral("other"));
    QTRY_COMPARE(host.shownTitle(), QStringLiteral("Other"));
    QCOMPARE(shortcut(), QStringLiteral("F5"));

    // Once hidden, the same key is looked up and placed anew; the hidden
    // tree is deleted all the same.
    QPointer<QObject> otherRoot = host.content()->parent();
    host.window()->hide();
    host.shortcutAnswer.clear();
    QVERIFY(host.show(QStringLiteral("other"), QPoint(300, 250)));
    QCOMPARE(host.window()->pos(), QPoint(335, 280));
    QCOMPARE(host.retrievals().size(), 3);
    QVERIFY(!otherRoot);
    QVERIFY(!host.content()->hasAttribute(QStringLiteral("shortcut")));

    // Unknown keys share the fallback vantle, fetched from the index directly
    // (no timing message) and shown once; the host is asked about the key.
    host.shortcutAnswer = QStringLiteral("F1");
    QVERIFY(host.show(QStringLiteral("missing1"), QPoint(50, 50)));
    QCOMPARE(host.shownKey(), QStringLiteral("fallback"));
    QTRY_COMPARE(host.shownTitle(), QStringLiteral("No help yet"));
    QCOMPARE(shortcut(), QStringLiteral("F1"));
    content = host.content();
    QVERIFY(host.show(QStringLiteral("missing2"), QPoint(400, 300)));
    QVERIFY(content && host.content() == content);
    QCOMPARE(host.window()->pos(), QPoint(85, 80));
    QCOMPARE(host.retrievals().size(), 3);

    // An answer replaces the attribute; the host is told the control.
    QWidget control;
    host.shortcutAnswer = QStringLiteral("Ctrl+K");
    QVERIFY(host.show(QStringLiteral("plain"), QPoint(10, 10), &control));
    QCOMPARE(shortcut(), QStringLiteral("Ctrl+K"));
    QCOMPARE(host.shortcutObject, &control);
    QCOMPARE(host.shortcutCalls,
        QStringList({ QStringLiteral("plain|Alt+P"), QStringLiteral("other|"), QStringLiteral("other|"),
            QStringLiteral("missing1|"), QStringLiteral("plain|Alt+P") }));
}

void TestVTShowFlow::contentAndLocaleFollowSettings_data()
{
    QTest::addColumn<QVariant>("current");
    QTest::addColumn<QVariant>("fallback");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QLocale>("locale");
    auto row = [](const char* name, const QVariant& current, const QVariant& fallback, const char* key,
                   const char* title, const QLocale& locale) {
        QTest::newRow(name) << current << fallback << QString::fromLatin1(key) << QString::fromUtf8(title) << locale;
    };
    const QVariant unset;
    const QLocale fr(QStringLiteral("fr_FR"));
    row("current locale", QStringLiteral("fr_FR"), QStringLiteral("en_US"), "greeting", "Bonjour", fr);
    row("fallback locale", QStringLiteral("de_DE"), QStringLiteral("fr_FR"), "greeting", "Bonjour",
        QLocale(QStringLiteral("de_DE")));
    row("neither has it", QStringLiteral("fr_FR"), QStringLiteral("de_DE"), "onlyEnglish", nullptr, fr);
    row("file without locale", QStringLiteral("de_DE"), QStringLiteral("it_IT"), "plain", "Plain",
        QLocale(QStringLiteral("de_DE")));
    // Content lookup follows neither the system nor the fallback: there an
    // unset current locale is en_US.
    row("neither set", unset, unset, "greeting", "Hello", QLocale::system());
    row("only fallback", unset, QStringLiteral("fr_FR"), "greeting", "Hello", fr);
    row("empty current", QStringLiteral(""), QStringLiteral("it_IT"), "plain", "Plain",
        QLocale(QStringLiteral("it_IT")));
}

void TestVTShowFlow::contentAndLocaleFollowSettings()
{
    QFETCH(QVariant, current);
    QFETCH(QVariant, fallback);
    QFETCH(QString, key);
    QFETCH(QString, title);
    QFETCH(QLocale, locale);
    Host host(m_data, { { VTContextCurrentLocale, current }, { VTContextFallbackLocale, fallback } });
    QCOMPARE(host.manager()->currentLocale(), locale);

    QCOMPARE(host.show(key), !title.isNull());
    const QStringList retrievals = host.retrievals();
    if (title.isNull()) {
        QCOMPARE(retrievals, QStringList());
        QVERIFY(!host.window()->isVisible());
        return;
    }
    QTRY_COMPARE(host.shownTitle(), title);
    QCOMPARE(retrievals.size(), 1);
    const QRegularExpression timing(QStringLiteral("^300:Retrieved %1 in \\d+(\\.\\d+)?(e-?\\d+)? seconds$").arg(key));
    QVERIFY2(timing.match(retrievals.first()).hasMatch(), qPrintable(retrievals.first()));
}

void TestVTShowFlow::unknownKeyWithoutFallback_data()
{
    QTest::addColumn<bool>("pointerSafe");
    QTest::addColumn<bool>("withControl");
    QTest::addColumn<bool>("controlToolTip");
    QTest::addColumn<bool>("result");
    QTest::newRow("safe, no control") << true << false << false << true;
    QTest::newRow("safe, control without Qt tooltip") << true << true << false << true;
    QTest::newRow("safe, control with Qt tooltip") << true << true << true << false;
    QTest::newRow("outside safe area") << false << true << false << false;
}

void TestVTShowFlow::unknownKeyWithoutFallback()
{
    QFETCH(bool, pointerSafe);
    QFETCH(bool, withControl);
    QFETCH(bool, controlToolTip);
    QFETCH(bool, result);
    Host host(m_data, { { VTContextFadeOutDuration, 100 } });
    QWidget control;
    if (controlToolTip)
        control.setToolTip(QStringLiteral("A plain tooltip"));
    // Shown for a control, so that a pointer away from it and the window is
    // not safe.
    QWidget anchor;
    QVERIFY(host.show(QStringLiteral("plain"), QPoint(10, 10), &anchor));
    VTWidget* window = host.window();
    const QPoint pointer = pointerSafe ? host.insideWindow() : host.farFromWindow();
    QCOMPARE(window->isSafe(pointer), pointerSafe);

    QCOMPARE(host.show(QStringLiteral("missing"), pointer, withControl ? &control : nullptr), result);
    QCOMPARE(host.shownKey(), QStringLiteral("plain"));
    // Hiding is animated: the window is still up right after the call.
    QVERIFY(window->isVisible());
    if (!result) {
        QTRY_VERIFY(!window->isVisible());
    } else {
        QTest::qWait(200);
        QVERIFY(window->isVisible());
    }
}

void TestVTShowFlow::rootPathIsPackageFolder()
{
    for (const QString& controlFolder : { QStringLiteral("Control"), QStringLiteral("Content/Control") }) {
        QTemporaryDir dir;
        QVERIFY(!VTTest::writeFile(dir, QStringLiteral("data/Rooted.vantles/%1/Rooted.xml").arg(controlFolder),
            VTTest::controlFileXml(QString(), QString(), { { QStringLiteral("rooted"), "<title>Rooted</title>" } }))
                     .isEmpty());
        QVERIFY(!VTTest::writeFile(dir, QStringLiteral("data/Rooted.vantles/ui/VantleUI.qml"), qml).isEmpty());
        Host host(dir.filePath(QStringLiteral("data")), { { VTContextControlFolder, controlFolder } });
        QVERIFY2(host.show(QStringLiteral("rooted")), qPrintable(controlFolder));
        VTView* view = host.window()->view();
        const QString package = QFileInfo(dir.filePath(QStringLiteral("data/Rooted.vantles"))).canonicalFilePath();
        QCOMPARE(view->packageRoot().absolutePath(), package);
        // The package's own interface file was found from there.
        QTRY_COMPARE(host.shownTitle(), QStringLiteral("Rooted"));
    }
}

void TestVTShowFlow::eventFilterShowsOnToolTipAndHidesAwayFromWindow()
{
    Host host(m_data, { { VTContextInstallEventFilter, true }, { VTContextFadeOutDuration, 0 } });
    QWidget control;
    auto moveTo = [&](const QPoint& global) {
        QMouseEvent move(QEvent::MouseMove, QPointF(1, 1), QPointF(global), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(&control, &move);
    };
    // Before anything was shown there is no window to follow or hide.
    moveTo(QPoint(500, 500));
    QEvent deactivate(QEvent::ApplicationDeactivate);
    QApplication::sendEvent(qApp, &deactivate);
    QCOMPARE(host.window(), nullptr);

    // A named control without a vantle or a plain tooltip shows nothing: the
    // event ends there, and no parent shows its own instead.
    control.setObjectName(QStringLiteral("nothing"));
    QHelpEvent missed(QEvent::ToolTip, QPoint(5, 5), QPoint(200, 150));
    QApplication::sendEvent(&control, &missed);
    QVERIFY(missed.isAccepted());
    QVERIFY(!host.window()->isVisible());
    // One with a plain tooltip and an unnamed widget pass it on to Qt.
    for (const char* tip : { "A plain tip", "" }) {
        control.setObjectName(*tip ? QStringLiteral("nothing") : QString());
        control.setToolTip(QString::fromLatin1(tip));
        QHelpEvent passed(QEvent::ToolTip, QPoint(5, 5), QPoint(200, 150));
        QApplication::sendEvent(&control, &passed);
        QCOMPARE(passed.isAccepted(), *tip != 0);
        QCOMPARE(QToolTip::isVisible(), *tip != 0);
        QToolTip::hideText();
        QTRY_VERIFY(!QToolTip::isVisible());
    }
    control.setToolTip(QString());

    control.setObjectName(QStringLiteral("plain"));
    QHelpEvent event(QEvent::ToolTip, QPoint(5, 5), QPoint(200, 150));
    QApplication::sendEvent(&control, &event);
    QVERIFY(event.isAccepted());
    VTWidget* window = host.window();
    QVERIFY(window->isVisible());
    QCOMPARE(host.shownKey(), QStringLiteral("plain"));
    QCOMPARE(window->pos(), QPoint(235, 180));
    QCOMPARE(window->referenceWidget(), &control);

    // The moves reach the window: it goes once the pointer is away from it.
    host.manager()->context()->set(VTContextTimerInterval, 50);
    moveTo(host.insideWindow());
    QTest::qWait(100);
    QVERIFY(window->isVisible());
    moveTo(host.farFromWindow());
    QTRY_VERIFY(!window->isVisible());

    // Escape closes a vantle, then is the host's again; a pinned one stays.
    auto escape = [&] {
        QKeyEvent key(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
        QApplication::sendEvent(&control, &key);
        return key.isAccepted();
    };
    QApplication::sendEvent(&control, &event);
    QVERIFY(window->isVisible());
    QVERIFY(escape());
    QVERIFY(!window->isVisible());
    QVERIFY(!escape());
    QApplication::sendEvent(&control, &event);
    window->view()->setReserved(true);
    QVERIFY(!escape());
    QVERIFY(window->isVisible());
    delete window;
}

void TestVTShowFlow::clickOutsideOrDeactivationHidesAtOnce_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QEvent::Type>("type");
    QTest::addColumn<bool>("stayOpen");
    QTest::addColumn<bool>("hides");
    QTest::newRow("press outside") << "outside" << QEvent::MouseButtonPress << false << true;
    QTest::newRow("release outside") << "outside" << QEvent::MouseButtonRelease << false << true;
    QTest::newRow("press on the window") << "window" << QEvent::MouseButtonPress << false << false;
    QTest::newRow("press on the view") << "view" << QEvent::MouseButtonPress << false << false;
    QTest::newRow("press on a non-widget") << "object" << QEvent::MouseButtonPress << false << false;
    QTest::newRow("press outside, staying open") << "outside" << QEvent::MouseButtonPress << true << false;
    QTest::newRow("application deactivated") << "app" << QEvent::ApplicationDeactivate << false << true;
}

void TestVTShowFlow::clickOutsideOrDeactivationHidesAtOnce()
{
    QFETCH(QString, target);
    QFETCH(QEvent::Type, type);
    QFETCH(bool, stayOpen);
    QFETCH(bool, hides);
    Host host(m_data, { { VTContextInstallEventFilter, true } });
    QWidget other;
    other.resize(50, 50);
    other.show();
    QVERIFY(host.show(QStringLiteral("plain"), QPoint(100, 100)));
    VTWidget* window = host.window();
    QTRY_VERIFY(window->view()->rootObject());
    window->view()->setStayOpen(stayOpen);
    other.activateWindow();
    QTRY_VERIFY(other.isActiveWindow());
    QVERIFY(!window->isActiveWindow());

    QObject object;
    QObject* receiver = target == QLatin1String("outside") ? static_cast<QObject*>(&other)
        : target == QLatin1String("window")                ? window
        : target == QLatin1String("view")                  ? window->view()
                                                           : &object;
    QMouseEvent event(type, QPointF(2, 2), QPointF(2, 2), Qt::LeftButton,
        type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier);
    QEvent deactivate(QEvent::ApplicationDeactivate);
    if (type == deactivate.type())
        QApplication::sendEvent(qApp, &deactivate);
    else
        QApplication::sendEvent(receiver, &event);
    // No animation: the decision is visible at once.
    QCOMPARE(window->isVisible(), !hides);
    if (type != deactivate.type())
        QVERIFY(!host.manager()->mouseButtonEventFilter(receiver, &event));
    if (stayOpen)
        QTRY_VERIFY(window->isActiveWindow());
}

void TestVTShowFlow::interpolateExpandsPlaceholders_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QVariantMap>("values");
    QTest::addColumn<QString>("expected");
    QTest::newRow("known name") << "Hello %(name)s!" << QVariantMap { { "name", "World" } } << "Hello World!";
    QTest::newRow("unknown name stays") << "a %(x)s b" << QVariantMap() << "a %(x)s b";
    QTest::newRow("empty value removes") << "a%(x)sb" << QVariantMap { { "x", "" } } << "ab";
    QTest::newRow("null value is missing") << "a%(x)sb" << QVariantMap { { "x", QVariant() } } << "a%(x)sb";
    QTest::newRow("number, twice") << "%(n)s of %(n)s" << QVariantMap { { "n", 3 } } << "3 of 3";
    QTest::newRow("recursive") << "<%(a)s>" << QVariantMap { { "a", "%(b)s" }, { "b", "x" } } << "<x>";
    QTest::newRow("unknown inside a value stays") << "%(a)s" << QVariantMap { { "a", "[%(z)s]" } } << "[%(z)s]";
    QTest::newRow("unknown before known") << "%(u)s %(k)s" << QVariantMap { { "k", "v" } } << "%(u)s v";
    QTest::newRow("hyphen, underscore, digits") << "%(a-b_9)s" << QVariantMap { { "a-b_9", "ok" } } << "ok";
    QTest::newRow("blank or empty name") << "%(a b)s%()s" << QVariantMap { { "a b", "x" }, { "", "x" } }
                                         << "%(a b)s%()s";
    QTest::newRow("missing s") << "%(a) and %(a)x" << QVariantMap { { "a", "x" } } << "%(a) and %(a)x";
    // The search resumes where the value was put, so a value can complete
    // the placeholder that follows it.
    QTest::newRow("value joins following text") << "%(a)s(b)s" << QVariantMap { { "a", "%" }, { "b", "x" } } << "x";
}

void TestVTShowFlow::interpolateExpandsPlaceholders()
{
    QFETCH(QString, text);
    QFETCH(QVariantMap, values);
    QFETCH(QString, expected);
    Host host(m_data, {});
    QCOMPARE(host.manager()->interpolate(text, values), expected);

    // The global properties feed the one-argument form; a later value wins.
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        host.manager()->setGlobalProperty(it.key(), QStringLiteral("stale"));
        host.manager()->setGlobalProperty(it.key(), it.value());
    }
    QCOMPARE(host.manager()->interpolate(text), expected);
}

void TestVTShowFlow::managerQueriesUseShownPackageAndContent()
{
    Host host(m_data, { { VTContextCurrentLocale, QStringLiteral("fr_FR") } });
    VTManager* manager = host.manager();
    auto pin = [manager](const QString& context = QStringLiteral("VantleUI")) {
        return manager->translateString(QStringLiteral("Pin"), context);
    };
    auto attribute = [manager](const QString& key, const QString& name) {
        return manager->vantleAttribute(key, name, QStringLiteral("d"));
    };
    // Without a window there is no package to take the translation from;
    // attributes are looked up, the parsed document deleted again each time.
    QCOMPARE(pin(), QStringLiteral("Pin"));
    VTTest::LiveObjects live;
    QVERIFY(live.isCounting());
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(attribute(QStringLiteral("plain"), QStringLiteral("category")), QStringLiteral("Tools"));
        QCOMPARE(attribute(QStringLiteral("plain"), QStringLiteral("colour")), QStringLiteral("d"));
        QCOMPARE(attribute(QStringLiteral("unknown"), QStringLiteral("category")), QStringLiteral("d"));
    }
    QCOMPARE(live.count(), 0);
    QCOMPARE(manager->widget(), nullptr);

    host.shortcutAnswer = QStringLiteral("Ctrl+K");
    QVERIFY(host.show(QStringLiteral("plain")));
    QCOMPARE(pin(), QStringLiteral("Épingler"));
    // The view's invokable goes through the host interface's default.
    QCOMPARE(host.window()->view()->translate(QStringLiteral("Pin"), QStringLiteral("VantleUI")),
        QStringLiteral("Épingler"));
    // As Qt's translator answers: nothing for what the file does not hold.
    QCOMPARE(pin(QStringLiteral("OtherContext")), QString());
    // Each vantle has the translation of its own folder: "other" names one
    // without files.
    QVERIFY(host.show(QStringLiteral("other")));
    QCOMPARE(pin(), QStringLiteral("Pin"));
    QVERIFY(host.show(QStringLiteral("plain")));
    QCOMPARE(pin(), QStringLiteral("Épingler"));
    // The shown element answers, with the host's shortcut.
    host.content()->setAttribute(QStringLiteral("category"), QStringLiteral("shown"));
    QCOMPARE(attribute(QStringLiteral("plain"), QStringLiteral("shortcut")), QStringLiteral("Ctrl+K"));
    QCOMPARE(attribute(QStringLiteral("plain"), QStringLiteral("category")), QStringLiteral("shown"));
    QCOMPARE(attribute(QStringLiteral("plain"), QStringLiteral("colour")), QStringLiteral("d"));

    manager->context()->set(VTContextCurrentLocale, QStringLiteral("de_DE"));
    QCOMPARE(pin(), QStringLiteral("Anheften"));
    // No file for the locale: the string comes back as it is, and the
    // translator is loaded again once the locale has a file.
    manager->context()->set(VTContextCurrentLocale, QStringLiteral("it_IT"));
    QCOMPARE(pin(), QStringLiteral("Pin"));
    manager->context()->set(VTContextCurrentLocale, QStringLiteral("fr_FR"));
    QCOMPARE(pin(), QStringLiteral("Épingler"));
    // The prefix names the file.
    manager->context()->set(VTContextTranslationPrefix, QStringLiteral("Other"));
    QCOMPARE(pin(), QStringLiteral("Pin"));

    // Pinned windows are searched after the current one.
    QPointer<VTWidget> pinned = host.window();
    pinned->view()->setReserved(true);
    QCOMPARE(manager->reservedWindows(), QList<VTWidget*>({ pinned.data() }));
    QVERIFY(host.show(QStringLiteral("other")));
    QCOMPARE(attribute(QStringLiteral("plain"), QStringLiteral("category")), QStringLiteral("shown"));
    delete pinned.data();
    QCOMPARE(attribute(QStringLiteral("plain"), QStringLiteral("category")), QStringLiteral("Tools"));
}

void TestVTShowFlow::openExternalResourceRoutesByKind_data()
{
    QTest::addColumn<QString>("resource");
    QTest::addColumn<QList<int>>("types"); // all on, links off, documentation off; 0: not passed on
    QTest::newRow("URL") << "https://example.org/help" << QList<int> { 2, 0, 2 };
    QTest::newRow("mail URL") << "mailto:someone@example.org" << QList<int> { 2, 0, 2 };
    QTest::newRow("relative path") << "docs/page.html" << QList<int> { 3, 0, 3 };
    QTest::newRow("single word") << "saving-documents" << QList<int> { 1, 1, 0 };
}

void TestVTShowFlow::openExternalResourceRoutesByKind()
{
    QFETCH(QString, resource);
    QFETCH(QList<int>, types);
    const QList<QPair<bool, bool>> switches { { true, true }, { true, false }, { false, true } };
    for (int i = 0; i < switches.size(); ++i) {
        const auto [documentation, links] = switches.at(i);
        Host host(m_data, { { VTContextDocumentationEnabled, documentation }, { VTContextLinksEnabled, links } });
        const int type = types.at(i);
        QCOMPARE(host.manager()->openExternalResource(resource), type != 0);
        const QStringList expected
            = type ? QStringList(QStringLiteral("%1:%2").arg(type).arg(resource)) : QStringList();
        QCOMPARE(host.opened, expected);
    }
}

void TestVTShowFlow::contentMistakesAreReportedWithFileAndLine_data()
{
    // A good package "P" (searching "Q") is copied for each row and broken as
    // the row says: files replaced (a null text deletes), settings set. Then
    // key "k" is shown twice; every problem must be reported once.
    QTest::addColumn<Files>("files");
    QTest::addColumn<QVariantMap>("settings"); // setting number -> value
    QTest::addColumn<QString>("key");
    QTest::addColumn<bool>("shown");
    QTest::addColumn<QString>("expected"); // pattern of "<level>:<file>:<line>:<column>: <text>"; empty: none

    const QByteArray control = "P.vantles/Control/a.xml";
    auto vantles = [](const QByteArray& attributes, const QByteArray& body) {
        return "<vantles search=\"Q\"" + attributes + ">\n" + body + "</vantles>\n";
    };
    const QByteArray good = "<vantle key=\"k\"><title>Title</title></vantle>\n";
    const QByteArray qmlHead = "import QtQuick 2.15\nRectangle {\n    width: 80\n";
    QTest::newRow("no mistake") << Files() << QVariantMap() << "k" << true << QString();
    QTest::newRow("undeclared entity") << Files {
        { control, vantles("", "<vantle key=\"k\"><text>a&nbsp;b</text></vantle>\n") }
    } << QVariantMap() << "k" << false << "100:P.vantles/Control/a.xml:2:29: Entity 'nbsp' not declared\\.";
    QTest::newRow("misspelt root") << Files { { control, "<vantels>\n" + good + "</vantels>\n" } } << QVariantMap()
                                   << "k" << false
                                   << "200:P.vantles/Control/a.xml:1: The first element is <vantels>, not <vantles>";
    QTest::newRow("misspelt vantle") << Files { { control, vantles("", "<vantel key=\"k\"/>\n") } } << QVariantMap()
                                     << "k" << false << "200:P.vantles/Control/a.xml:2:1: <vantel> is not a <vantle>";
    QTest::newRow("vantle without key") << Files { { control, vantles("", good + "<vantle/>\n") } } << QVariantMap()
                                        << "k" << true
                                        << "200:P.vantles/Control/a.xml:3:1: This <vantle> has no \"key\" attribute\\.";
    QTest::newRow("key twice in a file")
        << Files { { control, vantles("", good + good) } } << QVariantMap() << "k" << false
        << "200:P.vantles/Control/a.xml:3:1: The key \"k\" is defined twice in this file \\(also at line 2\\)";
    // Columns count characters: two, three and four bytes of UTF-8 make one each.
    QTest::newRow("tag after non-ASCII text") << Files {
        { control, vantles("", good + "<!-- \xC3\xA9\xE2\x82\xAC\xE4\xB8\xAD\xF0\x9F\x98\x80 --><vantle/>\n") }
    } << QVariantMap() << "k" << true << "200:P.vantles/Control/a.xml:3:14: This <vantle> has no \"key\" attribute\\.";
    QTest::newRow("key in two files")
        << Files { { "P.vantles/Control/b.xml", vantles("", "\n  " + good) } } << QVariantMap() << "k" << true
        << "200:P.vantles/Control/b.xml:3:3: The key \"k\" is also defined for every locale at "
           "P.vantles/Control/a.xml:2:1, which is searched first\\.$";
    QTest::newRow("invalid locale") << Files { { control, vantles(" locale=\"english\"", good) } } << QVariantMap()
                                    << "k" << false
                                    << "200:P.vantles/Control/a.xml:1:1: \"english\" is not a valid locale name";
    QTest::newRow("data folder missing") << Files() << QVariantMap { { "extraData", "nowhere" } } << "k" << true
                                         << "200:nowhere: This data folder does not exist\\.";
    QTest::newRow("data folder without packages")
        << Files { { "empty/readme.txt", "x" } } << QVariantMap { { "extraData", "empty" } } << "k" << true
        << "200:empty: This data folder holds no package";
    QTest::newRow("package folder misnamed")
        << Files { { "P.vantle/Control/c.xml", vantles("", good) } } << QVariantMap() << "k" << true
        << "200:P.vantle: This folder holds a Control folder but is not named";
    QTest::newRow("invalid locale setting")
        << Files() << QVariantMap { { QString::number(VTContextCurrentLocale), "en-us" } } << "k" << true
        << "200:The setting VTContextCurrentLocale holds \"en-us\", which is not a valid locale name";
    // Without an interface of its own the package gets the library's; a file
    // the settings name and no package has is reported.
    QTest::newRow("no interface of its own")
        << Files { { "P.vantles/ui/VantleUI.qml", QByteArray() } } << QVariantMap() << "k" << true << "";
    QTest::newRow("named interface file missing")
        << Files() << QVariantMap { { QString::number(VTContextFullInterfaceFile), "ui/Gone.qml" } } << "k" << true
        << "200:P.vantles/Control/a.xml:2:1: Can't find the interface file of this vantle: looked for "
           "P.vantles/ui/Gone.qml or Q.vantles/ui/Gone.qml\\. The library's own interface is shown instead\\.";
    QTest::newRow("interface does not compile")
        << Files { { "P.vantles/ui/VantleUI.qml", qmlHead + "    Text { text: ) }\n}\n" } } << QVariantMap() << "k"
        << false << "100:P.vantles/ui/VantleUI.qml:4:";
    QTest::newRow("interface warns while running")
        << Files { { "P.vantles/ui/VantleUI.qml", qmlHead + "    height: vantle.childElement(\"none\").content\n}\n" } }
        << QVariantMap() << "k" << true
        << "200:P.vantles/ui/VantleUI.qml:4:5: TypeError: Cannot read property 'content' of null";
    QTest::newRow("key in no package") << Files() << QVariantMap { { QString::number(VTContextMessageThreshold), 300 } }
                                       << "nokey" << false
                                       << "300:No package has a vantle for the key \"nokey\" in en_US\\.";
    QTest::newRow("no translation") << Files()
                                    << QVariantMap { { QString::number(VTContextMessageThreshold), 300 },
                                           { QString::number(VTContextCurrentLocale), "en_US" } }
                                    << "k" << true
                                    << "300:P.vantles/l10n/Vantles_en_US.qm: There is no translation file for en_US";
}

void TestVTShowFlow::contentMistakesAreReportedWithFileAndLine()
{
    QFETCH(Files, files);
    QFETCH(QVariantMap, settings);
    QFETCH(QString, key);
    QFETCH(bool, shown);
    QFETCH(QString, expected);

    QTemporaryDir dir;
    const QByteArray qml = "import QtQuick 2.15\nRectangle {\n    width: 80; height: 20\n"
                           "    Text { text: vantleView.translate(\"Pin\", \"UI\") }\n}\n";
    QMap<QString, QByteArray> package {
        { "P.vantles/Control/a.xml",
            "<vantles search=\"Q\">\n<vantle key=\"k\"><title>Title</title></vantle>\n</vantles>\n" },
        { "P.vantles/ui/VantleUI.qml", qml },
        { "Q.vantles/Control/q.xml", "<vantles>\n<vantle key=\"q\"/>\n</vantles>\n" },
    };
    package.insert(files);
    for (auto it = package.cbegin(); it != package.cend(); ++it) {
        if (!it.value().isNull())
            QVERIFY(!VTTest::writeFile(dir, QLatin1String("data/") + it.key(), it.value()).isEmpty());
    }
    const QString data = QFileInfo(dir.filePath(QStringLiteral("data"))).canonicalFilePath();
    QStringList dataPath { data };
    VTContext context;
    context.set(VTContextTimerInterval, 0);
    for (auto it = settings.cbegin(); it != settings.cend(); ++it) {
        if (it.key() == QLatin1String("extraData"))
            dataPath.append(dir.filePath(QLatin1String("data/") + it.value().toString()));
        else
            context.set(VTContextKey(it.key().toInt()), it.value());
    }

    // Problems found while loading reach the default handler: the host's
    // override is not in force inside the constructor.
    VTTest::MessageLog log;
    VTTest::RecordingHost host(context, dataPath);
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(host.show(key, QPoint(10, 10), nullptr), shown);
        QTest::qWait(20); // bindings that warn run when the scene is first rendered
        if (host.manager()->widget())
            host.manager()->widget()->hide();
    }
    QStringList reported = VTTest::problems(log.debugMessages() + host.messages, data + QLatin1Char('/'));
    // Information is looked for among all that the host heard.
    if (expected.startsWith(QLatin1String("300:")))
        reported = QStringList(host.messages).replaceInStrings(data + QLatin1Char('/'), QString());
    if (expected.isEmpty()) {
        QCOMPARE(reported, QStringList());
        return;
    }
    const QStringList matching = reported.filter(QRegularExpression(QLatin1Char('^') + expected));
    QVERIFY2(matching.size() == 1, qPrintable(reported.join(QLatin1Char('\n'))));
    // Errors and warnings are also kept for the host to list.
    if (expected.startsWith(QLatin1String("100:")) || expected.startsWith(QLatin1String("200:")))
        QCOMPARE(host.manager()->problems().size(), reported.size());
}

void TestVTShowFlow::aProblemIsReportedAgainOnlyForANewVersionOfItsFile()
{
    QTemporaryDir dir;
    const QString file = VTTest::writeFile(dir, QStringLiteral("data/P.vantles/Control/a.xml"),
        "<vantles>\n<vantle key=\"k\"/>\n<vantle key=\"k\"/>\n</vantles>\n");
    VTContext context;
    VTTest::RecordingHost host(context, { dir.filePath(QStringLiteral("data")) });
    auto reports = [&] {
        host.messages.clear();
        host.show(QStringLiteral("k"), QPoint(), nullptr);
        host.keys();
        return host.messages.filter(QStringLiteral("defined twice")).size();
    };
    // Found while loading, so only the default handler heard it.
    QCOMPARE(reports(), 0);
    QFile edited(file);
    QVERIFY(edited.open(QIODevice::Append));
    edited.write("<!-- edited -->\n");
    edited.close();
    QCOMPARE(reports(), 1);
    QCOMPARE(reports(), 0);
}

QTEST_MAIN(TestVTShowFlow)
#include "tst_vtshowflow.moc"
