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
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <memory>

using namespace Vantles;

class TestVTShowFlow : public QObject {
    Q_OBJECT
public:
    static void initMain();

private Q_SLOTS:
    void initTestCase();

    void disabledShowStillSendsItsFirstMessage();
    void requiredModifiersMustMatchExactly_data();
    void requiredModifiersMustMatchExactly();
    void sameKeyOnScreenIsNotShownAgain();
    void contentFallsBackFromCurrentToFallbackLocale_data();
    void contentFallsBackFromCurrentToFallbackLocale();
    void fallbackKeyIsShownOnceForUnknownKeys();
    void unknownKeyWithoutFallback_data();
    void unknownKeyWithoutFallback();
    void replacingContentDeletesOldTree();
    void hostShortcutIsStoredInContent_data();
    void hostShortcutIsStoredInContent();
    void rootPathIsPackageFolder_data();
    void rootPathIsPackageFolder();
    void toolTipEventShowsVantleOfNamedWidget_data();
    void toolTipEventShowsVantleOfNamedWidget();
    void mouseButtonOutsideHidesAtOnce_data();
    void mouseButtonOutsideHidesAtOnce();
    void applicationDeactivationHidesAtOnce();
    void mouseMovesDriveHideCountdown();

    void interpolateExpandsPlaceholders_data();
    void interpolateExpandsPlaceholders();
    void globalPropertiesFeedInterpolation();
    void currentLocaleFollowsSettings_data();
    void currentLocaleFollowsSettings();
    void translateStringUsesPackageTranslation();
    void vantleAttributePrefersShownContent();
    void openExternalResourceRoutesByKind_data();
    void openExternalResourceRoutesByKind();

private:
    QTemporaryDir m_dir;
    QString m_data;
    QString m_package;
};

namespace {

const QByteArray qml
    = "import QtQuick 2.15\n"
      "Rectangle {\n"
      "    width: 100; height: 40\n"
      "    Text {\n"
      "        objectName: \"title\"\n"
      "        text: vantle && vantle.childElement(\"title\") ? vantle.childElement(\"title\").content "
      ": \"\"\n"
      "    }\n"
      "}\n";

QByteArray translationSource(const QByteArray& language, const QByteArray& pin)
{
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<!DOCTYPE TS>\n<TS version=\"2.1\" language=\"" + language
        + "\">\n<context>\n    <name>VantleUI</name>\n    <message>\n        <source>Pin</source>\n"
          "        <translation>"
        + pin + "</translation>\n    </message>\n</context>\n</TS>\n";
}

struct ShortcutCall {
    QString key;
    QObject* object;
    QString shortcut;
};

// Records what the library hands to the host; never opens anything.
class HostInterface : public VTInterface {
public:
    using VTInterface::VTInterface;
    void handleMessage(VTMessageType type, const QString& message) override
    {
        messages.append(QStringLiteral("%1:%2").arg(int(type)).arg(message));
    }
    QString shortCutForObject(const QString& key, QObject* object, const QString& shortcut) override
    {
        shortcutCalls.append({ key, object, shortcut });
        return shortcutAnswer;
    }
    bool openExternalResource(VTExternalResourceType type, const QString& resource) override
    {
        opened.append(QStringLiteral("%1:%2").arg(int(type)).arg(resource));
        return true;
    }
    QStringList retrievals() const { return messages.filter(QStringLiteral("300:Retrieved ")); }

    QStringList messages;
    QList<ShortcutCall> shortcutCalls;
    QString shortcutAnswer;
    QStringList opened;
};

// The interface together with the index its manager made, which the library
// leaves to the host.
struct Host {
    Host(const QString& data, const QMap<VTContextKey, QVariant>& settings)
    {
        VTContext context;
        // Nothing hides by itself unless a test asks for it.
        context.set(VTContextTimerInterval, 0);
        for (auto it = settings.cbegin(); it != settings.cend(); ++it)
            context.set(it.key(), it.value());
        iface = std::make_unique<HostInterface>(context, QStringList { data });
        // Only now: the loading messages would reach the default handler.
        iface->context()->set(VTContextMessageThreshold, 300);
    }
    ~Host()
    {
        VTIndex* index = iface->manager()->index();
        iface.reset();
        delete index;
    }
    VTManager* manager() const { return iface->manager(); }
    VTWidget* window() const { return manager()->widget(); }
    VTXmlElement* content() const { return window() ? window()->view()->content() : nullptr; }
    QString shownKey() const { return content() ? content()->attribute(QStringLiteral("key")) : QString(); }
    QString shownTitle() const
    {
        QQuickItem* root = window() ? window()->view()->rootObject() : nullptr;
        QQuickItem* title = root ? root->findChild<QQuickItem*>(QStringLiteral("title")) : nullptr;
        return title ? title->property("text").toString() : QString();
    }

    std::unique_ptr<HostInterface> iface;
};

// Counts the tooltip events that get past the application's event filters.
class ToolTipProbe : public QWidget {
public:
    bool event(QEvent* event) override
    {
        if (event->type() == QEvent::ToolTip)
            ++toolTips;
        return QWidget::event(event);
    }
    int toolTips = 0;
};

QTimer* hideTimer(VTWidget* window)
{
    return window->findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
}

QPoint insideWindow(VTWidget* window)
{
    return window->mapToGlobal(QPoint(5, 5));
}

QPoint farFromWindow(VTWidget* window)
{
    return window->frameGeometry().bottomRight() + QPoint(300, 300);
}

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
        {
            { QStringLiteral("plain"), "<title>Plain</title>" },
            { QStringLiteral("other"), "<title>Other</title>" },
            { QStringLiteral("fallback"), "<title>No help yet</title>" },
        });
    m_package = VTTest::makePackage(m_dir, QStringLiteral("data"), QStringLiteral("Test.vantles"),
        {
            // Attributes of a vantle element are written by hand: the helper
            // gives it only its key.
            { "All.xml",
                all.replace("<vantle key=\"plain\">", "<vantle key=\"plain\" shortcut=\"Alt+P\" category=\"Tools\">") },
            { "English.xml",
                VTTest::controlFileXml(QStringLiteral("en_US"), QString(),
                    {
                        { QStringLiteral("greeting"), "<title>Hello</title>" },
                        { QStringLiteral("onlyEnglish"), "<title>English only</title>" },
                    }) },
            { "French.xml",
                VTTest::controlFileXml(
                    QStringLiteral("fr_FR"), QString(), { { QStringLiteral("greeting"), "<title>Bonjour</title>" } }) },
        });
    QVERIFY(!m_package.isEmpty());
    QVERIFY(!VTTest::writeFile(m_dir, QStringLiteral("data/Test.vantles/ui/VantleUI.qml"), qml).isEmpty());
    m_data = QFileInfo(m_dir.filePath(QStringLiteral("data"))).absoluteFilePath();

    // Two translations with different words, compiled as the sample data is.
    const QList<QPair<QByteArray, QByteArray>> translations { { "fr_FR", "Épingler" }, { "de_DE", "Anheften" } };
    for (const auto& translation : translations) {
        const QString name = QString::fromLatin1(translation.first);
        const QString ts = VTTest::writeFile(m_dir, QStringLiteral("ts/Vantles_%1.ts").arg(name),
            translationSource(translation.first, translation.second));
        const QString qm = m_dir.filePath(QStringLiteral("data/Test.vantles/l10n/Vantles_%1.qm").arg(name));
        QVERIFY(QDir().mkpath(QFileInfo(qm).absolutePath()));
        QProcess lrelease;
        lrelease.start(QStringLiteral(VANTLES_LRELEASE), { QStringLiteral("-silent"), ts, QStringLiteral("-qm"), qm });
        QVERIFY(lrelease.waitForFinished(30000));
        QCOMPARE(lrelease.exitCode(), 0);
        QVERIFY(QFileInfo::exists(qm));
    }
}

void TestVTShowFlow::disabledShowStillSendsItsFirstMessage()
{
    Host host(m_data, { { VTContextDisabled, true } });
    QVERIFY(!host.manager()->show(QStringLiteral("plain"), QPoint(10, 10), nullptr));
    QCOMPARE(host.iface->messages, QStringList(QStringLiteral("300:looking for Vantle for key:plain")));
    QCOMPARE(host.window(), nullptr);

    host.manager()->context()->set(VTContextDisabled, false);
    QVERIFY(host.manager()->show(QStringLiteral("plain"), QPoint(10, 10), nullptr));
    QCOMPARE(host.shownKey(), QStringLiteral("plain"));
}

void TestVTShowFlow::requiredModifiersMustMatchExactly_data()
{
    QTest::addColumn<int>("required");
    QTest::addColumn<int>("held");
    QTest::addColumn<bool>("shown");
    const int ctrl = Qt::ControlModifier;
    QTest::newRow("none required, none held") << 0 << 0 << true;
    QTest::newRow("none required, shift held") << 0 << int(Qt::ShiftModifier) << true;
    QTest::newRow("ctrl required, ctrl held") << ctrl << ctrl << true;
    QTest::newRow("ctrl required, ctrl and shift held")
        << ctrl << int(Qt::ControlModifier | Qt::ShiftModifier) << false;
    QTest::newRow("ctrl required, none held") << ctrl << 0 << false;
    QTest::newRow("ctrl required, alt held") << ctrl << int(Qt::AltModifier) << false;
}

void TestVTShowFlow::requiredModifiersMustMatchExactly()
{
    QFETCH(int, required);
    QFETCH(int, held);
    QFETCH(bool, shown);
    Host host(m_data, { { VTContextRequiredModifiers, required } });

    // A key event delivered by QTest sets the application's modifier state
    // to the event's modifiers, as a real one does.
    QWidget control;
    const auto modifiers = Qt::KeyboardModifiers(held);
    QTest::keyPress(&control, Qt::Key_Shift, modifiers);
    QCOMPARE(QApplication::keyboardModifiers(), modifiers);

    QCOMPARE(host.manager()->show(QStringLiteral("plain"), QPoint(10, 10), &control), shown);
    QCOMPARE(host.window() && host.window()->isVisible(), shown);

    QTest::keyRelease(&control, Qt::Key_Shift, Qt::NoModifier);
    QCOMPARE(QApplication::keyboardModifiers(), Qt::NoModifier);
}

void TestVTShowFlow::sameKeyOnScreenIsNotShownAgain()
{
    Host host(m_data, {});
    host.iface->shortcutAnswer = QStringLiteral("Ctrl+P");
    QVERIFY(host.manager()->show(QStringLiteral("plain"), QPoint(100, 100), nullptr));
    const QPoint pos = host.window()->pos();
    QCOMPARE(pos, QPoint(135, 130));
    // Guarded: a replaced element is deleted, and must not be printed.
    QPointer<VTXmlElement> content = host.content();
    QCOMPARE(host.iface->retrievals().size(), 1);

    QVERIFY(host.manager()->show(QStringLiteral("plain"), QPoint(300, 250), nullptr));
    QCOMPARE(host.window()->pos(), pos);
    QVERIFY(content);
    QVERIFY(host.content() == content);
    QCOMPARE(host.iface->retrievals().size(), 1);
    QCOMPARE(host.iface->shortcutCalls.size(), 1);

    // Once hidden, the same key is looked up and placed anew.
    host.window()->hide();
    QVERIFY(host.manager()->show(QStringLiteral("plain"), QPoint(300, 250), nullptr));
    QCOMPARE(host.window()->pos(), QPoint(335, 280));
    QCOMPARE(host.iface->retrievals().size(), 2);
}

void TestVTShowFlow::contentFallsBackFromCurrentToFallbackLocale_data()
{
    QTest::addColumn<QVariant>("current");
    QTest::addColumn<QVariant>("fallback");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("title");
    QTest::newRow("current locale") << QVariant("fr_FR") << QVariant("en_US") << "greeting"
                                    << "Bonjour";
    QTest::newRow("fallback locale") << QVariant("de_DE") << QVariant("fr_FR") << "greeting"
                                     << "Bonjour";
    QTest::newRow("key missing in current") << QVariant("fr_FR") << QVariant("en_US") << "onlyEnglish"
                                            << "English only";
    QTest::newRow("neither has it") << QVariant("fr_FR") << QVariant("de_DE") << "onlyEnglish" << QString();
    QTest::newRow("unset means en_US") << QVariant() << QVariant() << "greeting"
                                       << "Hello";
    QTest::newRow("file without locale") << QVariant("de_DE") << QVariant("it_IT") << "plain"
                                         << "Plain";
}

void TestVTShowFlow::contentFallsBackFromCurrentToFallbackLocale()
{
    QFETCH(QVariant, current);
    QFETCH(QVariant, fallback);
    QFETCH(QString, key);
    QFETCH(QString, title);
    QMap<VTContextKey, QVariant> settings;
    if (current.isValid())
        settings.insert(VTContextCurrentLocale, current);
    if (fallback.isValid())
        settings.insert(VTContextFallbackLocale, fallback);
    Host host(m_data, settings);

    QCOMPARE(host.manager()->show(key, QPoint(10, 10), nullptr), !title.isNull());
    const QStringList retrievals = host.iface->retrievals();
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

void TestVTShowFlow::fallbackKeyIsShownOnceForUnknownKeys()
{
    Host host(m_data, { { VTContextFallbackKey, QStringLiteral("fallback") } });
    QObject object;
    QVERIFY(host.manager()->show(QStringLiteral("missing1"), QPoint(50, 50), &object));
    QCOMPARE(host.shownKey(), QStringLiteral("fallback"));
    QTRY_COMPARE(host.shownTitle(), QStringLiteral("No help yet"));
    // The fallback is fetched from the index directly: no timing message.
    QCOMPARE(host.iface->retrievals(), QStringList());
    QCOMPARE(host.iface->shortcutCalls.size(), 1);
    QCOMPARE(host.iface->shortcutCalls.first().key, QStringLiteral("missing1"));
    QCOMPARE(host.iface->shortcutCalls.first().object, &object);

    QPointer<VTXmlElement> content = host.content();
    const QPoint pos = host.window()->pos();
    QVERIFY(host.manager()->show(QStringLiteral("missing2"), QPoint(400, 300), nullptr));
    QVERIFY(content);
    QVERIFY(host.content() == content);
    QCOMPARE(host.window()->pos(), pos);
    QCOMPARE(host.iface->shortcutCalls.size(), 1);

    // A known key replaces the fallback.
    QVERIFY(host.manager()->show(QStringLiteral("other"), QPoint(50, 50), nullptr));
    QCOMPARE(host.shownKey(), QStringLiteral("other"));
}

void TestVTShowFlow::unknownKeyWithoutFallback_data()
{
    QTest::addColumn<bool>("shownBefore");
    QTest::addColumn<bool>("pointerSafe");
    QTest::addColumn<bool>("withControl");
    QTest::addColumn<bool>("controlToolTip");
    QTest::addColumn<bool>("result");
    QTest::addColumn<bool>("hides");
    QTest::newRow("window never shown") << false << true << false << false << false << false;
    QTest::newRow("safe, no control") << true << true << false << false << true << false;
    QTest::newRow("safe, control without Qt tooltip") << true << true << true << false << true << false;
    QTest::newRow("safe, control with Qt tooltip") << true << true << true << true << false << true;
    QTest::newRow("outside safe area") << true << false << true << false << false << true;
    QTest::newRow("outside safe area, no control") << true << false << false << false << false << true;
}

void TestVTShowFlow::unknownKeyWithoutFallback()
{
    QFETCH(bool, shownBefore);
    QFETCH(bool, pointerSafe);
    QFETCH(bool, withControl);
    QFETCH(bool, controlToolTip);
    QFETCH(bool, result);
    QFETCH(bool, hides);
    Host host(m_data, { { VTContextFadeOutDuration, 100 } });
    QWidget control;
    control.setObjectName(QStringLiteral("missing"));
    if (controlToolTip)
        control.setToolTip(QStringLiteral("A plain tooltip"));

    if (!shownBefore) {
        QCOMPARE(host.manager()->show(QStringLiteral("missing"), QPoint(10, 10), &control), result);
        QVERIFY(!host.window()->isVisible());
        QCOMPARE(host.content(), nullptr);
        return;
    }
    // Shown for a control, so that a pointer away from it and from the window
    // is not safe.
    QWidget anchor;
    QVERIFY(host.manager()->show(QStringLiteral("plain"), QPoint(10, 10), &anchor));
    VTWidget* window = host.window();
    QVERIFY(window->isVisible());
    const QPoint pointer = pointerSafe ? insideWindow(window) : farFromWindow(window);
    QCOMPARE(window->isSafe(pointer), pointerSafe);

    QCOMPARE(host.manager()->show(QStringLiteral("missing"), pointer, withControl ? &control : nullptr), result);
    QCOMPARE(host.shownKey(), QStringLiteral("plain"));
    // Hiding is animated: the window is still up right after the call.
    QVERIFY(window->isVisible());
    if (hides) {
        QTRY_VERIFY(!window->isVisible());
    } else {
        QTest::qWait(200);
        QVERIFY(window->isVisible());
    }
}

void TestVTShowFlow::replacingContentDeletesOldTree()
{
    Host host(m_data, {});
    QVERIFY(host.manager()->show(QStringLiteral("plain"), QPoint(10, 10), nullptr));
    QPointer<VTXmlElement> old = host.content();
    QPointer<QObject> oldRoot = old->parent();
    QVERIFY(oldRoot);
    QSignalSpy rootDestroyed(oldRoot.data(), &QObject::destroyed);

    QVERIFY(host.manager()->show(QStringLiteral("other"), QPoint(10, 10), nullptr));
    QCOMPARE(rootDestroyed.count(), 1);
    QVERIFY(!old);
    QCOMPARE(host.shownKey(), QStringLiteral("other"));
    QTRY_COMPARE(host.shownTitle(), QStringLiteral("Other"));

    // Also when the old vantle is no longer on screen.
    QPointer<QObject> otherRoot = host.content()->parent();
    host.window()->hide();
    QVERIFY(host.manager()->show(QStringLiteral("plain"), QPoint(10, 10), nullptr));
    QVERIFY(!otherRoot);
}

void TestVTShowFlow::hostShortcutIsStoredInContent_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QString>("shownKey");
    QTest::addColumn<QString>("offered");
    QTest::addColumn<QString>("stored");
    QTest::newRow("answer replaces attribute") << "plain"
                                               << "Ctrl+K"
                                               << "plain"
                                               << "Alt+P"
                                               << "Ctrl+K";
    QTest::newRow("empty answer keeps attribute") << "plain" << QString() << "plain"
                                                  << "Alt+P"
                                                  << "Alt+P";
    QTest::newRow("answer without attribute") << "other"
                                              << "F5"
                                              << "other" << QString() << "F5";
    QTest::newRow("no attribute, empty answer") << "other" << QString() << "other" << QString() << QString();
    QTest::newRow("fallback content, requested key") << "missing"
                                                     << "F1"
                                                     << "fallback" << QString() << "F1";
}

void TestVTShowFlow::hostShortcutIsStoredInContent()
{
    QFETCH(QString, key);
    QFETCH(QString, answer);
    QFETCH(QString, shownKey);
    QFETCH(QString, offered);
    QFETCH(QString, stored);
    Host host(m_data, { { VTContextFallbackKey, QStringLiteral("fallback") } });
    host.iface->shortcutAnswer = answer;
    QWidget control;

    QVERIFY(host.manager()->show(key, QPoint(10, 10), &control));
    QCOMPARE(host.shownKey(), shownKey);
    QCOMPARE(host.iface->shortcutCalls.size(), 1);
    const ShortcutCall call = host.iface->shortcutCalls.first();
    QCOMPARE(call.key, key);
    QCOMPARE(call.object, &control);
    QCOMPARE(call.shortcut, offered);
    QCOMPARE(host.content()->attribute(QStringLiteral("shortcut")), stored);
    QCOMPARE(host.content()->hasAttribute(QStringLiteral("shortcut")), !stored.isNull());
}

void TestVTShowFlow::rootPathIsPackageFolder_data()
{
    QTest::addColumn<QString>("controlFolder");
    QTest::newRow("Control, depth 2") << "Control";
    QTest::newRow("nested folder, depth 3") << "Content/Control";
}

void TestVTShowFlow::rootPathIsPackageFolder()
{
    QFETCH(QString, controlFolder);
    QTemporaryDir dir;
    const QString package = QFileInfo(dir.filePath(QStringLiteral("data/Rooted.vantles"))).absoluteFilePath();
    QVERIFY(!VTTest::writeFile(dir, QStringLiteral("data/Rooted.vantles/%1/Rooted.xml").arg(controlFolder),
        VTTest::controlFileXml(QString(), QString(), { { QStringLiteral("rooted"), "<title>Rooted</title>" } }))
                 .isEmpty());
    QVERIFY(!VTTest::writeFile(dir, QStringLiteral("data/Rooted.vantles/ui/VantleUI.qml"), qml).isEmpty());

    Host host(dir.filePath(QStringLiteral("data")), { { VTContextControlFolder, controlFolder } });
    QVERIFY(host.manager()->show(QStringLiteral("rooted"), QPoint(10, 10), nullptr));
    VTView* view = host.window()->view();
    const QString canonicalPackage = QFileInfo(package).canonicalFilePath();
    QCOMPARE(view->engine()->rootContext()->contextProperty("dataLocation").toString(), canonicalPackage);
    QCOMPARE(view->packageRoot().absolutePath(), canonicalPackage);
    // The package's own interface file was found from there.
    QTRY_COMPARE(host.shownTitle(), QStringLiteral("Rooted"));
}

void TestVTShowFlow::toolTipEventShowsVantleOfNamedWidget_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("consumed");
    QTest::newRow("key with content") << "plain" << true;
    QTest::newRow("key without content") << "nothing" << false;
}

void TestVTShowFlow::toolTipEventShowsVantleOfNamedWidget()
{
    QFETCH(QString, name);
    QFETCH(bool, consumed);
    Host host(m_data, { { VTContextInstallEventFilter, true } });
    ToolTipProbe control;
    control.setObjectName(name);
    control.resize(50, 20);
    control.show();

    QHelpEvent event(QEvent::ToolTip, QPoint(5, 5), QPoint(200, 150));
    QApplication::sendEvent(&control, &event);
    QCOMPARE(control.toolTips, consumed ? 0 : 1);
    QCOMPARE(host.window() && host.window()->isVisible(), consumed);
    if (consumed) {
        QCOMPARE(host.shownKey(), name);
        QCOMPARE(host.window()->pos(), QPoint(235, 180));
        QCOMPARE(host.window()->referenceWidget(), &control);
    }
}

void TestVTShowFlow::mouseButtonOutsideHidesAtOnce_data()
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
}

void TestVTShowFlow::mouseButtonOutsideHidesAtOnce()
{
    QFETCH(QString, target);
    QFETCH(QEvent::Type, type);
    QFETCH(bool, stayOpen);
    QFETCH(bool, hides);
    Host host(m_data, { { VTContextInstallEventFilter, true } });
    QWidget other;
    other.resize(50, 50);
    other.show();
    QVERIFY(host.manager()->show(QStringLiteral("plain"), QPoint(100, 100), nullptr));
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
    QApplication::sendEvent(receiver, &event);
    // No animation: the decision is visible at once.
    QCOMPARE(window->isVisible(), !hides);
    QVERIFY(!host.manager()->mouseButtonEventFilter(receiver, &event));
    if (stayOpen)
        QTRY_VERIFY(window->isActiveWindow());
}

void TestVTShowFlow::applicationDeactivationHidesAtOnce()
{
    Host host(m_data, { { VTContextInstallEventFilter, true } });
    QEvent deactivate(QEvent::ApplicationDeactivate);
    // Before anything was shown there is no window to hide.
    QApplication::sendEvent(qApp, &deactivate);
    QCOMPARE(host.window(), nullptr);

    QVERIFY(host.manager()->show(QStringLiteral("plain"), QPoint(100, 100), nullptr));
    QVERIFY(host.window()->isVisible());
    QApplication::sendEvent(qApp, &deactivate);
    QVERIFY(!host.window()->isVisible());
}

void TestVTShowFlow::mouseMovesDriveHideCountdown()
{
    Host host(m_data, { { VTContextInstallEventFilter, true }, { VTContextFadeOutDuration, 0 } });
    QWidget other;
    other.setGeometry(0, 0, 20, 20);
    other.show();
    QVERIFY(host.manager()->show(QStringLiteral("plain"), QPoint(100, 100), &other));
    VTWidget* window = host.window();
    QTimer* timer = hideTimer(window);
    QVERIFY(timer);
    QVERIFY(!timer->isActive());

    auto moveTo = [&](const QPoint& global) {
        QMouseEvent move(QEvent::MouseMove, QPointF(1, 1), QPointF(global), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(&other, &move);
    };
    host.manager()->context()->set(VTContextTimerInterval, 60000);
    moveTo(insideWindow(window));
    QVERIFY(!timer->isActive());
    moveTo(farFromWindow(window));
    QVERIFY(timer->isActive());
    QCOMPARE(timer->interval(), 60000);
    moveTo(insideWindow(window));
    QVERIFY(!timer->isActive());

    host.manager()->context()->set(VTContextTimerInterval, 50);
    moveTo(farFromWindow(window));
    QTRY_VERIFY(!window->isVisible());
    // A hidden window no longer follows the pointer.
    moveTo(farFromWindow(window));
    QVERIFY(!timer->isActive());
}

void TestVTShowFlow::interpolateExpandsPlaceholders_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QVariantMap>("values");
    QTest::addColumn<QString>("expected");
    QTest::newRow("known name") << "Hello %(name)s!" << QVariantMap { { "name", "World" } } << "Hello World!";
    QTest::newRow("unknown name stays") << "a %(x)s b" << QVariantMap() << "a %(x)s b";
    QTest::newRow("empty value removes") << "a%(x)sb" << QVariantMap { { "x", "" } } << "ab";
    QTest::newRow("null variant is missing") << "a%(x)sb" << QVariantMap { { "x", QVariant() } } << "a%(x)sb";
    QTest::newRow("null string is missing") << "a%(x)sb" << QVariantMap { { "x", QString() } } << "a%(x)sb";
    QTest::newRow("number") << "%(n)s of %(n)s" << QVariantMap { { "n", 3 } } << "3 of 3";
    QTest::newRow("recursive") << "<%(a)s>" << QVariantMap { { "a", "%(b)s" }, { "b", "x" } } << "<x>";
    QTest::newRow("unknown inside a value stays") << "%(a)s" << QVariantMap { { "a", "[%(z)s]" } } << "[%(z)s]";
    QTest::newRow("unknown before known") << "%(u)s %(k)s" << QVariantMap { { "k", "v" } } << "%(u)s v";
    QTest::newRow("hyphen, underscore, digits") << "%(a-b_9)s" << QVariantMap { { "a-b_9", "ok" } } << "ok";
    QTest::newRow("blank in name") << "%(a b)s" << QVariantMap { { "a b", "x" } } << "%(a b)s";
    QTest::newRow("empty name") << "%()s" << QVariantMap { { "", "x" } } << "%()s";
    QTest::newRow("missing s") << "%(a) and %(a)x" << QVariantMap { { "a", "x" } } << "%(a) and %(a)x";
    QTest::newRow("names are case-sensitive") << "%(Name)s" << QVariantMap { { "name", "x" } } << "%(Name)s";
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
}

void TestVTShowFlow::globalPropertiesFeedInterpolation()
{
    Host host(m_data, {});
    const QString text = QStringLiteral("%(appName)s keeps %(undoLimit)s steps");
    QCOMPARE(host.manager()->interpolate(text), text);
    host.manager()->setGlobalProperty(QStringLiteral("appName"), QStringLiteral("Editor"));
    host.manager()->setGlobalProperty(QStringLiteral("undoLimit"), 100);
    QCOMPARE(host.manager()->interpolate(text), QStringLiteral("Editor keeps 100 steps"));
    host.manager()->setGlobalProperty(QStringLiteral("appName"), QStringLiteral("Writer"));
    QCOMPARE(host.manager()->interpolate(text), QStringLiteral("Writer keeps 100 steps"));
    host.manager()->setGlobalProperty(QStringLiteral("undoLimit"), QStringLiteral(""));
    QCOMPARE(host.manager()->interpolate(text), QStringLiteral("Writer keeps  steps"));

    // The QML reaches the same values through the view.
    QVERIFY(host.manager()->show(QStringLiteral("plain"), QPoint(10, 10), nullptr));
    QCOMPARE(host.window()->view()->interpolate(QStringLiteral("%(appName)s")), QStringLiteral("Writer"));
}

void TestVTShowFlow::currentLocaleFollowsSettings_data()
{
    QTest::addColumn<QVariant>("current");
    QTest::addColumn<QVariant>("fallback");
    QTest::addColumn<QLocale>("expected");
    QTest::newRow("both set") << QVariant("de_DE") << QVariant("fr_FR") << QLocale(QStringLiteral("de_DE"));
    QTest::newRow("only fallback") << QVariant() << QVariant("fr_FR") << QLocale(QStringLiteral("fr_FR"));
    QTest::newRow("empty current") << QVariant("") << QVariant("it_IT") << QLocale(QStringLiteral("it_IT"));
    QTest::newRow("neither") << QVariant() << QVariant() << QLocale::system();
}

void TestVTShowFlow::currentLocaleFollowsSettings()
{
    QFETCH(QVariant, current);
    QFETCH(QVariant, fallback);
    QFETCH(QLocale, expected);
    QMap<VTContextKey, QVariant> settings;
    if (current.isValid())
        settings.insert(VTContextCurrentLocale, current);
    if (fallback.isValid())
        settings.insert(VTContextFallbackLocale, fallback);
    Host host(m_data, settings);
    QCOMPARE(host.manager()->currentLocale(), expected);

    if (!current.isValid() && !fallback.isValid()) {
        // Content lookup does not follow the system: it asks for en_US.
        QVERIFY(host.manager()->show(QStringLiteral("onlyEnglish"), QPoint(10, 10), nullptr));
        QTRY_COMPARE(host.shownTitle(), QStringLiteral("English only"));
    }
}

void TestVTShowFlow::translateStringUsesPackageTranslation()
{
    Host host(m_data, { { VTContextCurrentLocale, QStringLiteral("fr_FR") } });
    VTManager* manager = host.manager();
    // Without a window there is no package to take the translation from.
    QCOMPARE(manager->translateString(QStringLiteral("Pin"), QStringLiteral("VantleUI")), QStringLiteral("Pin"));

    QVERIFY(manager->show(QStringLiteral("plain"), QPoint(10, 10), nullptr));
    QCOMPARE(manager->translateString(QStringLiteral("Pin"), QStringLiteral("VantleUI")), QStringLiteral("Épingler"));
    // The view's invokable goes through the host interface's default.
    QCOMPARE(host.window()->view()->translate(QStringLiteral("Pin"), QStringLiteral("VantleUI")),
        QStringLiteral("Épingler"));
    // As Qt's translator answers: nothing for what the file does not hold.
    QCOMPARE(manager->translateString(QStringLiteral("Pin"), QStringLiteral("OtherContext")), QString());
    QCOMPARE(manager->translateString(QStringLiteral("Unpin"), QStringLiteral("VantleUI")), QString());

    manager->context()->set(VTContextCurrentLocale, QStringLiteral("de_DE"));
    QCOMPARE(manager->translateString(QStringLiteral("Pin"), QStringLiteral("VantleUI")), QStringLiteral("Anheften"));
    // No file for the locale: the string comes back as it is, and the
    // translator is loaded again once the locale has a file.
    manager->context()->set(VTContextCurrentLocale, QStringLiteral("it_IT"));
    QCOMPARE(manager->translateString(QStringLiteral("Pin"), QStringLiteral("VantleUI")), QStringLiteral("Pin"));
    manager->context()->set(VTContextCurrentLocale, QStringLiteral("fr_FR"));
    QCOMPARE(manager->translateString(QStringLiteral("Pin"), QStringLiteral("VantleUI")), QStringLiteral("Épingler"));
    // The prefix names the file.
    manager->context()->set(VTContextTranslationPrefix, QStringLiteral("Other"));
    QCOMPARE(manager->translateString(QStringLiteral("Pin"), QStringLiteral("VantleUI")), QStringLiteral("Pin"));
}

void TestVTShowFlow::vantleAttributePrefersShownContent()
{
    Host host(m_data, {});
    VTManager* manager = host.manager();
    // Looked up: the parsed document is dropped again, every time.
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(manager->vantleAttribute(QStringLiteral("plain"), QStringLiteral("category"), QStringLiteral("d")),
            QStringLiteral("Tools"));
        QCOMPARE(manager->vantleAttribute(QStringLiteral("plain"), QStringLiteral("colour"), QStringLiteral("d")),
            QStringLiteral("d"));
        QCOMPARE(manager->vantleAttribute(QStringLiteral("unknown"), QStringLiteral("category"), QStringLiteral("d")),
            QStringLiteral("d"));
    }
    QCOMPARE(manager->widget(), nullptr);

    // On screen: the shown element answers, with the host's shortcut.
    host.iface->shortcutAnswer = QStringLiteral("Ctrl+K");
    QVERIFY(manager->show(QStringLiteral("plain"), QPoint(10, 10), nullptr));
    host.content()->setAttribute(QStringLiteral("category"), QStringLiteral("shown"));
    QCOMPARE(manager->vantleAttribute(QStringLiteral("plain"), QStringLiteral("shortcut"), QStringLiteral("d")),
        QStringLiteral("Ctrl+K"));
    QCOMPARE(manager->vantleAttribute(QStringLiteral("plain"), QStringLiteral("category"), QStringLiteral("d")),
        QStringLiteral("shown"));
    QCOMPARE(manager->vantleAttribute(QStringLiteral("plain"), QStringLiteral("colour"), QStringLiteral("d")),
        QStringLiteral("d"));

    // Pinned windows are searched after the current one.
    QPointer<VTWidget> pinned = host.window();
    pinned->view()->setReserved(true);
    QCOMPARE(manager->reservedWindows(), QList<VTWidget*>({ pinned.data() }));
    QVERIFY(manager->widget() != pinned);
    QCOMPARE(manager->vantleAttribute(QStringLiteral("plain"), QStringLiteral("category"), QStringLiteral("d")),
        QStringLiteral("shown"));
    QVERIFY(manager->show(QStringLiteral("other"), QPoint(10, 10), nullptr));
    QCOMPARE(manager->vantleAttribute(QStringLiteral("plain"), QStringLiteral("category"), QStringLiteral("d")),
        QStringLiteral("shown"));
    delete pinned.data();
    QCOMPARE(manager->vantleAttribute(QStringLiteral("plain"), QStringLiteral("category"), QStringLiteral("d")),
        QStringLiteral("Tools"));
}

void TestVTShowFlow::openExternalResourceRoutesByKind_data()
{
    QTest::addColumn<QString>("resource");
    QTest::addColumn<bool>("documentation");
    QTest::addColumn<bool>("links");
    QTest::addColumn<int>("type"); // 0: not passed to the host
    QTest::newRow("URL") << "https://example.org/help" << true << true << 2;
    QTest::newRow("file URL") << "file:///tmp/notes.txt" << true << true << 2;
    QTest::newRow("mail URL") << "mailto:someone@example.org" << true << true << 2;
    QTest::newRow("relative path") << "docs/page.html" << true << true << 3;
    QTest::newRow("absolute path") << "/usr/share/doc" << true << true << 3;
    QTest::newRow("single word") << "saving-documents" << true << true << 1;
    QTest::newRow("URL, links off") << "https://example.org/help" << true << false << 0;
    QTest::newRow("path, links off") << "docs/page.html" << true << false << 0;
    QTest::newRow("word, links off") << "saving-documents" << true << false << 1;
    QTest::newRow("word, documentation off") << "saving-documents" << false << true << 0;
    QTest::newRow("URL, documentation off") << "https://example.org/help" << false << true << 2;
    QTest::newRow("path, documentation off") << "docs/page.html" << false << true << 3;
}

void TestVTShowFlow::openExternalResourceRoutesByKind()
{
    QFETCH(QString, resource);
    QFETCH(bool, documentation);
    QFETCH(bool, links);
    QFETCH(int, type);
    Host host(m_data, { { VTContextDocumentationEnabled, documentation }, { VTContextLinksEnabled, links } });

    QCOMPARE(host.manager()->openExternalResource(resource), type != 0);
    const QStringList expected = type ? QStringList(QStringLiteral("%1:%2").arg(type).arg(resource)) : QStringList();
    QCOMPARE(host.iface->opened, expected);

    // The QML's way in ends at the same place.
    host.iface->opened.clear();
    QVERIFY(host.manager()->show(QStringLiteral("plain"), QPoint(10, 10), nullptr));
    QVERIFY(QMetaObject::invokeMethod(host.window()->view(), "openExternalResource", Q_ARG(QString, resource)));
    QCOMPARE(host.iface->opened, expected);
}

QTEST_MAIN(TestVTShowFlow)
#include "tst_vtshowflow.moc"
