// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// Content from outside the host: packages built to crash, hang or escape.

#include "VTTestHelpers.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTView.h>
#include <Vantles/VTWidget.h>
#include <Vantles/VTXmlElement.h>

#include <QClipboard>
#include <QCursor>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QPointer>
#include <QScreen>
#include <QWindow>
#include <QQuickItem>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <algorithm>

using namespace Vantles;

class TestVTHostile : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void hostileContent_data();
    void hostileContent();
    void hostileInterfaces_data();
    void hostileInterfaces();
    void workerScriptsDoNotHoldTheHostAtExit();
    void aBusyHostIsNotTakenForTheInterface();
    void networkImagesOnlyWhenTheHostAllowsThem_data();
    void networkImagesOnlyWhenTheHostAllowsThem();
    void linksOpenOnlyOnAClickAndOnlyForTheWebAndMail();
    void deepTreesAreSearchedAndDeletedWithoutRecursion();
    void contentTheHostOwnsKeepsItsParent();
    void interpolationEndsOnAnyProperties();

private:
    QTemporaryDir m_outside; // files a package must not reach
};

namespace {

using Files = QMap<QString, QByteArray>;

// Shows what QML makes of the content: the title, the text's length and the
// width of the image its "source" names.
const QByteArray qml = R"(import QtQuick 2.15
import com.zelvane.vantles.qml 1.0
Rectangle { width: 200; height: 100
    function child(name) { return vantle ? vantle.childElement(name) : null }
    Text { objectName: "title"; text: child("title") ? child("title").content : "" }
    Text { objectName: "text"; textFormat: Text.RichText; text: child("text") ? child("text").content : "" }
    Image { objectName: "image"; source: child("image") ? "file://" + vantleView.findResource(child("image").attribute("source")) : "" }
    VTVideoComponent { objectName: "video"; width: 20; height: 20; source: child("video") ? child("video").attribute("source") : "" }
})";

QQuickItem* item(VTInterface& host, const char* name)
{
    VTWidget* window = host.manager()->widget();
    QQuickItem* root = window ? window->view()->rootObject() : nullptr;
    return root ? root->findChild<QQuickItem*>(QLatin1String(name)) : nullptr;
}

QByteArray vantle(const QByteArray& attributes, const QByteArray& body)
{
    return "<vantles>\n<vantle key=\"k\"" + attributes + "><title>T</title>" + body + "</vantle>\n</vantles>\n";
}

} // namespace

void TestVTHostile::initTestCase()
{
    QVERIFY(m_outside.isValid());
    QImage picture(7, 5, QImage::Format_RGB32);
    picture.fill(Qt::red);
    QVERIFY(picture.save(m_outside.filePath(QStringLiteral("outside.png"))));
    QVERIFY(!VTTest::writeFile(m_outside, QStringLiteral("evil.qml"), "import QtQuick 2.15\nItem {}\n").isEmpty());
}

void TestVTHostile::hostileContent_data()
{
    // Each row writes the files of package P (a null text makes a symlink to
    // the file of that name outside), shows key "k" and checks the report,
    // whether it showed, its title, the text's length and the image's width.
    QTest::addColumn<Files>("files");
    QTest::addColumn<QString>("expected"); // "<level>:<file>:<line>: <text>" pattern
    QTest::addColumn<bool>("shown");
    QTest::addColumn<int>("textLength"); // -1: not checked
    QTest::addColumn<int>("imageWidth");

    const QByteArray control = "Control/a.xml";
    const QByteArray outside = m_outside.path().toUtf8();
    QByteArray deep;
    for (int i = 0; i < 50000; ++i)
        deep += "<g>";
    deep += "<title>deep</title>";
    for (int i = 0; i < 50000; ++i)
        deep += "</g>";

    QTest::newRow("image inside the package")
        << Files { { control, vantle("", "<image source=\"pic.png\"/>") } } << QString() << true << 0 << 7;
    QTest::newRow("deep nesting") << Files { { control, vantle("", deep) } }
                                  << "200:Control/a.xml:2:\\d+: Elements are nested more than 66 deep" << true << 0 << 0;
    QTest::newRow("NUL byte") << Files { { control, vantle("", "<text>a\0b</text>") } }
                              << "100:Control/a.xml:2:\\d+: " << false << -1 << 0;
    QTest::newRow("truncated") << Files { { control, vantle("", "").left(30) } }
                               << "100:Control/a.xml:2:\\d+: .*The rest of the file is ignored" << false << -1 << 0;
    QTest::newRow("unknown encoding")
        << Files { { control, "<?xml version=\"1.0\" encoding=\"no-such-code\"?>\n" + vantle("", "") } }
        << "100:Control/a.xml:1:\\d+: .*The file is not read" << false << -1 << 0;
    QTest::newRow("absolute image path") << Files { { control, vantle("", "<image source=\"" + outside + "/outside.png\"/>") } }
                                         << "200:Control/a.xml:2:1: \".*/outside.png\" leads outside" << true << 0 << 0;
    QTest::newRow("../ in image path")
        << Files { { control, vantle("", "<image source=\"../../../../../../../../.." + outside + "/outside.png\"/>") } }
        << "200:Control/a.xml:2:1: \".*outside.png\" leads outside" << true << 0 << 0;
    QTest::newRow("sibling folder named like the package")
        << Files { { control, vantle("", "<image source=\"../../P.vantles-x/pic.png\"/>") },
               { "../P.vantles-x/pic.png", "x" } }
        << "200:Control/a.xml:2:1: \".*/P.vantles-x/pic.png\" leads outside" << true << 0 << 0;
    QTest::newRow("resources folder outside")
        << Files { { control, vantle(" resources=\"" + outside + "\"", "<image source=\"outside.png\"/>") } }
        << "200:Control/a.xml:2:1: \".*outside.png\" leads outside" << true << 0 << 0;
    QTest::newRow("symlinked image") << Files { { control, vantle("", "<image source=\"outside.png\"/>") },
                                            { "Resources/outside.png", QByteArray() } }
                                     << "200:Control/a.xml:2:1: \".*outside.png\" leads outside" << true << 0 << 0;
    QTest::newRow("interface outside") << Files { { control, vantle(" ui=\"" + outside + "/evil.qml\"", "") } }
                                       << "200:Control/a.xml:2:1: \".*/evil.qml\" leads outside" << false << -1 << 0;
    QTest::newRow("symlinked interface") << Files { { "ui/evil.qml", QByteArray() }, { control, vantle(" ui=\"ui/evil.qml\"", "") } }
                                         << "200:Control/a.xml:2:1: \".*/evil.qml\" leads outside" << false << -1 << 0;
    QTest::newRow("clip that cannot be played")
        << Files { { control, vantle("", "<video source=\"notes.mp4\"/>") }, { "Resources/notes.mp4", "Not a clip." } }
        << "200:Resources/notes.mp4: This clip cannot be played: could not open media \\(.+\\)\\.$" << true << -1 << 0;
    QTest::newRow("QML reading a file outside")
        << Files { { "ui/VantleUI.qml",
               "import QtQuick 2.15\nImage { width: 9; height: 9; source: \"file://" + outside + "/outside.png\" }\n" } }
        << "200:Control/a.xml:2:1: The interface asked for file://.*outside.png, outside" << true << -1 << 0;
    QTest::newRow("QML opening a URL on load")
        << Files { { "ui/VantleUI.qml",
               "import QtQuick 2.15\nItem { Component.onCompleted: vantleView.openExternalResource(\"file:///usr/bin/xterm\") }\n" } }
        << "200:Control/a.xml:2:1: The interface asked to open \"file:///usr/bin/xterm\" without a click" << true << -1
        << 0;
}

void TestVTHostile::hostileContent()
{
    QFETCH(Files, files);
    QFETCH(QString, expected);
    QFETCH(bool, shown);
    QFETCH(int, textLength);
    QFETCH(int, imageWidth);

    QTemporaryDir dir;
    Files package { { "Control/a.xml", vantle("", QByteArray()) }, { "ui/VantleUI.qml", qml } };
    package.insert(files);
    QImage picture(7, 5, QImage::Format_RGB32);
    picture.fill(Qt::blue);
    QVERIFY(QDir().mkpath(dir.filePath(QStringLiteral("data/P.vantles/Resources"))));
    QVERIFY(picture.save(dir.filePath(QStringLiteral("data/P.vantles/Resources/pic.png"))));
    for (auto it = package.cbegin(); it != package.cend(); ++it) {
        const QString path = QStringLiteral("data/P.vantles/") + it.key();
        if (it.value().isNull()) {
            QVERIFY(QDir().mkpath(QFileInfo(dir.filePath(path)).absolutePath()));
            QVERIFY(QFile::link(m_outside.filePath(QFileInfo(path).fileName()), dir.filePath(path)));
        } else {
            QVERIFY(!VTTest::writeFile(dir, path, it.value()).isEmpty());
        }
    }
    const QString data = QFileInfo(dir.filePath(QStringLiteral("data"))).canonicalFilePath();

    QGuiApplication::clipboard()->setText(QStringLiteral("the user's"));
    VTContext context;
    context.set(VTContextTimerInterval, 0);
    VTTest::MessageLog log; // the default handler hears what loading finds
    VTTest::RecordingHost host(context, { data });
    QCOMPARE(host.manager()->show(QStringLiteral("k"), QPoint(10, 10), nullptr), shown);
    QTest::qWait(50); // refusals of the QML engine arrive through the event loop
    // A clip's failure is reported from its decoder's thread.
    if (QQuickItem* video = item(host, "video"); video && !video->property("source").toString().isEmpty())
        QTRY_VERIFY(!host.messages.filter(QStringLiteral("cannot be played")).isEmpty());

    const QStringList reported
        = VTTest::problems(log.debugMessages() + host.messages, data + QStringLiteral("/P.vantles/"));
    if (expected.isEmpty())
        QCOMPARE(reported, QStringList());
    else
        QVERIFY2(!reported.filter(QRegularExpression(QLatin1Char('^') + expected)).isEmpty(),
            qPrintable(reported.join(QLatin1Char('\n'))));
    if (!shown)
        return;
    if (QQuickItem* title = item(host, "title"))
        QCOMPARE(title->property("text").toString(), QStringLiteral("T"));
    if (textLength >= 0)
        QCOMPARE(item(host, "text")->property("text").toString().size(), textLength);
    if (QQuickItem* image = item(host, "image"))
        QCOMPARE(image->implicitWidth(), imageWidth);
}

namespace {

// Package P's interface for key "k" beside package B's harmless one for "b".
// Returns the data folder.
QString hostileData(const QTemporaryDir& dir, const QByteArray& qml, const QByteArray& worker = QByteArray())
{
    const QString data = dir.filePath(QStringLiteral("data"));
    VTTest::makeUiPackage(dir, QStringLiteral("data"), QStringLiteral("P.vantles"), QString(),
        { { QStringLiteral("k"), "<title>T</title>" } }, qml);
    VTTest::makeUiPackage(dir, QStringLiteral("data"), QStringLiteral("B.vantles"), QString(),
        { { QStringLiteral("b"), "<title>B</title>" } },
        "import QtQuick 2.15\nItem { width: 20; height: 20\n"
        "Text { objectName: \"title\"; text: vantle.childElement(\"title\").content } }\n");
    if (!worker.isNull())
        VTTest::writeFile(dir, QStringLiteral("data/P.vantles/ui/worker.mjs"), worker);
    return QFileInfo(data).canonicalFilePath();
}

int visibleWindows()
{
    int count = 0;
    for (QWindow* window : QGuiApplication::allWindows())
        count += window->isVisible() ? 1 : 0;
    return count;
}

constexpr int limit = 400; // the watchdog's limit in these tests, in ms

} // namespace

void TestVTHostile::hostileInterfaces_data()
{
    // Each row shows key "k" of package P with the interface "qml", then the
    // harmless vantle of package B, which must still show. "expected" is a
    // pattern of the problem reported ("" for none), "check" what else must
    // hold afterwards.
    QTest::addColumn<QByteArray>("qml");
    QTest::addColumn<bool>("trusted");
    QTest::addColumn<bool>("shown");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QString>("check");

    const QByteArray item = "import QtQuick 2.15\nItem { width: 10; height: 10\n";
    const QString stopped = QStringLiteral("Its JavaScript \\(expression for %1\\) held the application for more than 400 ms");
    QTest::newRow("loop in Component.onCompleted") << item + "Component.onCompleted: { while (true) {} } }\n" << false
                                                   << false << "ui/VantleUI.qml:3: " + stopped.arg(QStringLiteral("onCompleted"))
                                                   << QString();
    QTest::newRow("loop in Component.onCompleted, trusted")
        << item + "Component.onCompleted: { while (true) {} } }\n" << true << false
        << "ui/VantleUI.qml:3: " + stopped.arg(QStringLiteral("onCompleted")) << QString();
    QTest::newRow("loop in a binding") << item + "property int n: { var i = 0; while (true) { i = Math.max(i, 1) } return i } }\n"
                                       << false << false << "ui/VantleUI.qml:3: " + stopped.arg(QStringLiteral("n"))
                                       << QString();
    QTest::newRow("loop in a Timer after the show")
        << item + "Timer { interval: 100; running: true; onTriggered: { var i = 0; while (true) { i = Math.max(i, 1) } } } }\n"
        << false << true << "ui/VantleUI.qml:3: " + stopped.arg(QStringLiteral("onTriggered")) << QStringLiteral("hidden");
    QTest::newRow("growing memory") << item + "Component.onCompleted: { var a = []; while (true) { var b = new Uint8Array(1 << 22); b.fill(1); a.push(b) } } }\n"
                                    << false << false
                                    << QStringLiteral("ui/VantleUI.qml(:3)?: The interface made the application grow by \\d+ MiB, "
                                                      "more than the 64 MiB")
                                    << QStringLiteral("memory");
    QTest::newRow("doubling string") << item + "Component.onCompleted: { var s = \"x\"; while (true) s = s + s } }\n"
                                     << false << false
                                     << QStringLiteral("ui/VantleUI.qml(:3)?: The interface made the application grow by \\d+ MiB, "
                                                       "more than the 64 MiB")
                                     << QStringLiteral("memory");
    QTest::newRow("animation of 160 MB")
        << item + "AnimatedImage { source: \"bomb.gif\" } }\n" << false << true
        << "Control/Vantles.xml:\\d+:\\d+: The image .*bomb.gif would take 152 MiB of memory, past what is left" << "gif";
    QTest::newRow("two pictures of 34 MiB")
        << item + "Image { objectName: \"a\"; source: \"a.png\" }\nImage { objectName: \"b\"; source: \"b.png\" } }\n"
        << true << true << "Control/Vantles.xml:\\d+:\\d+: The image .*[ab].png would take 34 MiB of memory, past what is left"
        << "png";
    QTest::newRow("Window element") << item + "Window { visible: true; width: 50; height: 50 } }\n" << false << true
                                    << "ui/VantleUI.qml:3:1: QML Window: An untrusted interface may not open windows" << "noWindow";
    QTest::newRow("Window element, trusted") << item + "Window { visible: true; width: 50; height: 50 } }\n" << true << true
                                             << QString() << "window";
    QTest::newRow("Window made by Qt.createQmlObject")
        << item + "Component.onCompleted: Qt.createQmlObject('import QtQuick; Window { visible: true; "
                  "flags: Qt.FramelessWindowHint | Qt.WindowStaysOnTopHint; visibility: Window.FullScreen }', this) }\n"
        << false << true << ".*inline:1:\\d+: QML Window: An untrusted interface may not open windows" << "noWindow";
    QTest::newRow("Window as the root") << QByteArray("import QtQuick 2.15\nWindow { visible: true; width: 50; height: 50 }\n")
                                        << false << false << "ui/VantleUI.qml:2:1: QML VantleUI: An untrusted interface may not open windows"
                                        << "noWindow";
    QTest::newRow("opening a package file on load")
        << item + "Component.onCompleted: Qt.openUrlExternally(\"evil.desktop\") }\n" << false << true
        << "ui/VantleUI.qml:3: An untrusted interface asked to open file:.*/evil.desktop on the desktop: refused"
        << QString();
    QTest::newRow("pinning on load") << item + "Component.onCompleted: { vantleView.stayOpen = true; vantleView.reserved = true } }\n"
                                     << false << true
                                     << "ui/VantleUI.qml:3: An untrusted interface asked to keep the vantle open without a click"
                                     << "notPinned";
    QTest::newRow("pinning on load, trusted")
        << item + "Component.onCompleted: { vantleView.stayOpen = true; vantleView.reserved = true } }\n" << true << true
        << QString() << "pinned";
    QTest::newRow("renaming the application")
        << item + "Component.onCompleted: { Qt.application.name = \"pwned\"; Qt.application.organization = \"evil\" } }\n"
        << false << true << "ui/VantleUI.qml:3: An untrusted interface may not change the application's name.* \\(it set \"pwned\"\\): refused"
        << "name";
    // 64 MiB of budget at 8 KiB a delegate: 8192 delegates at once; the
    // refusal at the creator's line.
    const auto tooMany = [](int line, const char* creator, const char* asked) {
        return QStringLiteral("ui/VantleUI.qml:%1:\\d+: QML %2: It asks for %3 delegates, more than the 8192 that "
                              "the interface's memory budget allows: it makes none.")
            .arg(line)
            .arg(QLatin1String(creator), QLatin1String(asked));
    };
    QTest::newRow("Repeater at the limit") << item + "Repeater { objectName: \"r\"; model: 8192; Item {} } }\n" << false
                                           << true << QString() << "count:8192";
    QTest::newRow("Repeater one past the limit")
        << item + "Repeater { objectName: \"r\"; model: 8193; Item {} } }\n" << false << true
        << tooMany(3, "Repeater", "8193") << "count:0";
    QTest::newRow("Repeater of 5,000,000, trusted")
        << item + "Repeater { objectName: \"r\"; model: 5000000; Rectangle { width: 1; height: 1 } } }\n" << true << true
        << tooMany(3, "Repeater", "5000000") << "count:0";
    QTest::newRow("Repeater of a bound number")
        << item + "Repeater { objectName: \"r\"; property int n: 5000000; model: n + 0; Item {} } }\n" << false
        << true << tooMany(3, "Repeater", "5000000") << "count:0";
    QTest::newRow("Repeater in a Repeater's delegate")
        << item + "Repeater { objectName: \"r\"; model: 3; Item { Repeater { model: 100000; Item {} } } } }\n" << false << true
        << tooMany(3, "Repeater", "100000") << "count:3";
    QTest::newRow("Instantiator of 5,000,000")
        << QByteArray("import QtQuick 2.15\nimport QtQml.Models 2.15\nItem { width: 10; height: 10\n"
                      "Instantiator { objectName: \"r\"; model: 5000000; QtObject {} } }\n")
        << false << true << tooMany(4, "Instantiator", "5000000")
        << "count:0";
    // Models that grow after their creator completed: stopped before a
    // delegate is made, refused as the event loop runs again. "count:C:M":
    // C delegates now, M made in all.
    const QByteArray later = "Timer { running: true; interval: 50; onTriggered: ";
    const QByteArray three = "Repeater { id: r; objectName: \"r\"; property int made; model: 3; onItemAdded: ++made; Item {} }\n";
    QTest::newRow("Repeater enlarged by JavaScript to the limit")
        << item + three + later + "r.model = 8192 } }\n" << false
        << true << QString() << "count:8192:8195";
    QTest::newRow("Repeater enlarged by JavaScript one past the limit")
        << item + three + later + "r.model = 8193 } }\n" << false
        << true << tooMany(3, "Repeater", "8193") << "count:0:3";
    QTest::newRow("Repeater enlarged past the limit and back")
        << item + three + later
            + "{ r.model = 5000000; r.model = 5 } } }\n"
        << false << true << tooMany(3, "Repeater", "5000000") << "count:5:8";
    const QByteArray listModel = "ListModel { id: m; ListElement { v: 1 } }\n"
                                 "Repeater { id: r; objectName: \"r\"; property int made; model: m; onItemAdded: ++made; Item {} }\n";
    // Rows appended at once: n rows onto the one there is.
    const auto append = [](int n) {
        return "{ var rows = []; for (var i = 0; i < " + QByteArray::number(n) + "; ++i) rows.push({ v: i }); m.append(rows)";
    };
    QTest::newRow("ListModel grown to the limit")
        << item + listModel + later + append(8191) + " } } }\n" << false << true << QString() << "count:8192:8192";
    QTest::newRow("ListModel grown one past the limit")
        << item + listModel + later + append(8192) + " } } }\n" << false << true << tooMany(4, "Repeater", "8193")
        << "count:0:1";
    QTest::newRow("ListModel grown past the limit and back")
        << item + listModel + later + append(8192) + "; m.clear(); m.append([{ v: 1 }, { v: 2 }]) } }\n"
            + "Timer { running: true; interval: 300; onTriggered: m.append({ v: 3 }) } }\n"
        << false << true << QString() << "count:3:4";
    QTest::newRow("Instantiator of a bound number")
        << QByteArray("import QtQuick 2.15\nimport QtQml.Models 2.15\nItem { width: 10; height: 10\n"
                      "Instantiator { objectName: \"r\"; property int n: 5000000; model: n + 0; QtObject {} } }\n")
        << false << true << tooMany(4, "Instantiator", "5000000")
        << "count:0";
    QTest::newRow("Instantiator enlarged by JavaScript")
        << QByteArray("import QtQuick 2.15\nimport QtQml.Models 2.15\nItem { width: 10; height: 10\n"
                      "Instantiator { id: r; objectName: \"r\"; property int made; model: 3; QtObject { Component.onCompleted: ++r.made } }\n") + later + "r.model = 5000000 } }\n"
        << false << true << tooMany(4, "Instantiator", "5000000")
        << "count:0:3";
    QTest::newRow("writing the clipboard")
        << item + "TextEdit { id: edit; text: \"rm -rf ~\"; Component.onCompleted: { edit.selectAll(); edit.copy() } } }\n"
        << false << true << "ui/VantleUI.qml:3: An untrusted interface asked to write to the clipboard without a click"
        << "clipboard";
    QTest::newRow("writing the clipboard, trusted")
        << item + "TextEdit { id: edit; text: \"rm -rf ~\"; Component.onCompleted: { edit.selectAll(); edit.copy() } } }\n"
        << true << true << QString() << "clipboard";
    QTest::newRow("blank cursor left behind") << item + "Component.onCompleted: vantleView.setOverrideCursor(\"BlankCursor\") }\n"
                                              << false << true << QString() << "cursor";
    QTest::newRow("oversized root") << QByteArray("import QtQuick 2.15\nRectangle { width: 100000; height: 100000 }\n")
                                    << false << true << QString() << "size";
    QTest::newRow("Settings") << QByteArray("import QtQuick 2.15\nimport Qt.labs.settings 1.0\nItem { width: 10; height: 10\n"
                                            "Settings { fileName: \"/tmp/vantles-evil.conf\"; property int a: 1 } }\n")
                              << false << true << "Control/Vantles.xml:\\d+:\\d+: An untrusted interface may not import the "
                                                  "QML module Qt.labs.settings"
                              << "builtIn";
    QTest::newRow("LocalStorage") << QByteArray("import QtQuick 2.15\nimport QtQuick.LocalStorage 2.15\nItem { width: 10; height: 10 }\n")
                                  << false << true << "Control/Vantles.xml:\\d+:\\d+: An untrusted interface may not import the "
                                                      "QML module QtQuick.LocalStorage"
                                  << "builtIn";
    QTest::newRow("Settings, trusted") << QByteArray("import QtQuick 2.15\nimport Qt.labs.settings 1.0\nItem { width: 10; height: 10\n"
                                                     "Settings { category: \"vantles-test\"; property int a: 1 } }\n")
                                       << true << true << QString() << QString();
}

void TestVTHostile::hostileInterfaces()
{
    QFETCH(QByteArray, qml);
    QFETCH(bool, trusted);
    QFETCH(bool, shown);
    QFETCH(QString, expected);
    QFETCH(QString, check);

#ifdef __SANITIZE_ADDRESS__
    // AddressSanitizer's shadow memory and red zones triple the resident size
    // that the memory budget reads: 8192 delegates, a third of the budget in
    // a plain build, reach it here.
    if (check.startsWith(QLatin1String("count:8192")))
        QSKIP("the memory budget cannot hold 8192 delegates under AddressSanitizer");
#endif
    QTemporaryDir dir;
    const QString data = hostileData(dir, qml);
    if (check == QLatin1String("gif")) {
        QVERIFY(!VTTest::makeClip(dir, QStringLiteral("data/P.vantles/ui/bomb.gif"),
            { QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                QStringLiteral("color=c=red:s=2000x2000:d=1:r=10") })
                     .isEmpty());
    } else if (check == QLatin1String("png")) {
        QImage picture(3000, 3000, QImage::Format_RGB32);
        picture.fill(Qt::red);
        QVERIFY(picture.save(data + QStringLiteral("/P.vantles/ui/a.png")));
        QVERIFY(QFile::copy(data + QStringLiteral("/P.vantles/ui/a.png"), data + QStringLiteral("/P.vantles/ui/b.png")));
    }
    QGuiApplication::clipboard()->setText(QStringLiteral("the user's"));
    VTContext context;
    context.set(VTContextTimerInterval, 0);
    context.set(VTContextFadeOutDuration, 0);
    // The memory row and the rows that make thousands of delegates, without
    // the time limit that a slow machine would reach first.
    const bool untimed = check == QLatin1String("memory") || check.startsWith(QLatin1String("count:"));
    context.set(VTContextScriptTimeLimit, untimed ? 0 : limit);
    context.set(VTContextInterfaceMemoryBudget, qint64(64) << 20);
    if (trusted)
        context.set(VTContextTrustedDataFolders, QStringList { data });
    const QString name = QCoreApplication::applicationName();
    const int windowsBefore = visibleWindows();
    VTTest::RecordingHost host(context, { data });
    QCOMPARE(host.manager()->isTrusted(data + QStringLiteral("/P.vantles/ui/VantleUI.qml")), trusted);

    QElapsedTimer timer;
    timer.start();
    QCOMPARE(host.manager()->show(QStringLiteral("k"), QPoint(10, 10), nullptr), shown);
    // The GUI thread is free again within a second of the limit.
    QVERIFY2(timer.elapsed() < limit + 1000 + 2000, qPrintable(QString::number(timer.elapsed())));
    VTWidget* window = host.manager()->widget();

    // A timer after the show, refusals reported through the event loop.
    const auto reported = [&host, &data] {
        return VTTest::problems(host.messages, data + QStringLiteral("/P.vantles/"));
    };
    if (expected.isEmpty()) {
        QTest::qWait(2 * limit);
        QCOMPARE(reported().filter(QRegularExpression(QStringLiteral("untrusted|held the application|grow by"))),
            QStringList());
    } else {
        QTRY_VERIFY2_WITH_TIMEOUT(!reported().filter(QRegularExpression(QStringLiteral("^200:") + expected)).isEmpty(),
            qPrintable(reported().join(QLatin1Char('\n'))), 5000);
    }

    if (check == QLatin1String("hidden"))
        QVERIFY(!window->isVisible());
    if (check == QLatin1String("noWindow")) {
        QCOMPARE(visibleWindows(), windowsBefore + (shown ? 1 : 0));
        // Refused windows are gone, not just hidden: a window as the root too.
        const auto interfaceWindows = [] {
            const QWindowList windows = QGuiApplication::allWindows();
            return std::count_if(windows.cbegin(), windows.cend(),
                [](const QWindow* window) { return window->inherits("QQuickWindowQmlImpl"); });
        };
        QTRY_COMPARE(interfaceWindows(), shown ? 1 : 0);
    }
    if (check == QLatin1String("window"))
        QCOMPARE(visibleWindows(), windowsBefore + 2);
    if (check == QLatin1String("pinned") || check == QLatin1String("notPinned")) {
        const bool pinned = check == QLatin1String("pinned");
        const QList<VTWidget*> reserved = host.manager()->reservedWindows();
        QCOMPARE(reserved.size(), pinned ? 1 : 0);
        QCOMPARE(window->view()->stayOpen(), false); // a fresh current window, or the refused one
        qDeleteAll(reserved); // the user's to close
    }
    if (check.startsWith(QLatin1String("count:"))) {
        QQuickItem* root = window->view()->rootObject();
        QObject* creator = root ? root->findChild<QObject*>(QStringLiteral("r")) : nullptr;
        QVERIFY(creator);
        const QStringList counts = check.mid(6).split(QLatin1Char(':'));
        const int count = counts.at(0).toInt();
        // Timers of the interface may still be due on a slow machine.
        QTRY_COMPARE(creator->property("count").toInt(), count);
        if (counts.size() > 1)
            QTRY_COMPARE(creator->property("made").toInt(), counts.at(1).toInt());
        // Every delegate is made, the last one too, and the creator is back
        // where it was once the event loop has run.
        QObject* last = nullptr;
        if (auto repeater = qobject_cast<QQuickItem*>(creator)) {
            QTRY_COMPARE(repeater->parentItem(), root);
            QQuickItem* lastItem = nullptr;
            QVERIFY(QMetaObject::invokeMethod(repeater, "itemAt", Q_RETURN_ARG(QQuickItem*, lastItem), Q_ARG(int, count - 1)));
            last = lastItem;
        } else {
            QTRY_COMPARE(creator->property("active").toBool(), true);
            QVERIFY(QMetaObject::invokeMethod(creator, "objectAt", Q_RETURN_ARG(QObject*, last), Q_ARG(int, count - 1)));
        }
        QCOMPARE(last != nullptr, count > 0);
    }
    if (check == QLatin1String("clipboard"))
        QCOMPARE(QGuiApplication::clipboard()->text(), trusted ? QStringLiteral("rm -rf ~") : QString());
    if (check == QLatin1String("name"))
        QCOMPARE(QCoreApplication::applicationName(), name);
    if (check == QLatin1String("cursor")) {
        QVERIFY(QGuiApplication::overrideCursor());
        window->hideAnimated();
        QCOMPARE(QGuiApplication::overrideCursor(), nullptr);
    }
    if (check == QLatin1String("size")) {
        const QSize area = QGuiApplication::primaryScreen()->availableGeometry().size();
        QVERIFY(window->width() <= area.width() + 1 && window->height() <= area.height() + 1);
        QVERIFY(window->view()->width() <= area.width());
    }
    if (check == QLatin1String("png")) { // one of them fits: Image.Ready is 1
        const int ready = int(item(host, "a")->property("status").toInt() == 1)
            + int(item(host, "b")->property("status").toInt() == 1);
        QCOMPARE(ready, 1);
    }
    if (check == QLatin1String("builtIn"))
        QCOMPARE(window->view()->source(), QUrl(QLatin1String("qrc") + VTView::builtInInterfacePath(false)));

    // The harmless package next door still shows, and the GUI thread answers.
    QVERIFY(host.manager()->show(QStringLiteral("b"), QPoint(10, 10), nullptr));
    QCOMPARE(item(host, "title")->property("text").toString(), QStringLiteral("B"));
    bool answered = false;
    QTimer::singleShot(0, this, [&answered] { answered = true; });
    QTRY_VERIFY_WITH_TIMEOUT(answered, 1000);
}

void TestVTHostile::workerScriptsDoNotHoldTheHostAtExit()
{
    // Trusted, so the worker runs; untrusted, it is refused.
    for (const bool trusted : { true, false }) {
        QTemporaryDir dir;
        const QString data = hostileData(dir,
            "import QtQuick 2.15\nItem { width: 10; height: 10; WorkerScript { source: \"worker.mjs\" } }\n",
            "while (true) {}\n");
        VTContext context;
        context.set(VTContextScriptTimeLimit, limit);
        if (trusted)
            context.set(VTContextTrustedDataFolders, QStringList { data });
        QElapsedTimer timer;
        {
            VTTest::RecordingHost host(context, { data });
            QVERIFY(host.manager()->show(QStringLiteral("k"), QPoint(10, 10), nullptr));
            QTest::qWait(200);
            const QStringList refused = host.messages.filter(QStringLiteral("may not run the worker script"));
            QCOMPARE(refused.size(), trusted ? 0 : 1);
            timer.start();
        } // the window, its view and engine go with the host
        QVERIFY2(timer.elapsed() < 3000, qPrintable(QString::number(timer.elapsed())));
    }
}

void TestVTHostile::aBusyHostIsNotTakenForTheInterface()
{
    // The host's own work holds the GUI thread well past the limit while an
    // interface with a running timer is up: the interface stays.
    QTemporaryDir dir;
    const QString data = hostileData(dir,
        "import QtQuick 2.15\nItem { width: 10; height: 10; property int ticks: 0\n"
        "Timer { interval: 10; repeat: true; running: true; onTriggered: ++parent.ticks } }\n");
    QGuiApplication::clipboard()->setText(QStringLiteral("the user's"));
    VTContext context;
    context.set(VTContextTimerInterval, 0);
    context.set(VTContextScriptTimeLimit, limit);
    VTTest::RecordingHost host(context, { data });
    QVERIFY(host.manager()->show(QStringLiteral("k"), QPoint(10, 10), nullptr));
    QThread::msleep(4 * limit);
    QTest::qWait(2 * limit);
    QVERIFY(host.manager()->widget()->isVisible());
    QVERIFY(host.manager()->widget()->view()->rootObject()->property("ticks").toInt() > 0);
    QCOMPARE(host.messages.filter(QStringLiteral("held the application")), QStringList());
}

void TestVTHostile::networkImagesOnlyWhenTheHostAllowsThem_data()
{
    QTest::addColumn<bool>("allowed");
    QTest::addColumn<QByteArray>("where"); // how the image is named
    QTest::newRow("rich text, refused") << false << QByteArray("<text>&lt;img src=\"URL\"/&gt;</text>");
    QTest::newRow("rich text, allowed") << true << QByteArray("<text>&lt;img src=\"URL\"/&gt;</text>");
    QTest::newRow("title, refused") << false << QByteArray("<title>&lt;img src=\"URL\"/&gt;</title>");
}

void TestVTHostile::networkImagesOnlyWhenTheHostAllowsThem()
{
    QFETCH(bool, allowed);
    QFETCH(QByteArray, where);
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    where.replace("URL", QStringLiteral("http://127.0.0.1:%1/x.png").arg(server.serverPort()).toUtf8());
    const QByteArray richQml = R"(import QtQuick 2.15
Column { width: 200
    Text { textFormat: Text.RichText; text: vantle.childElement("title") ? vantle.childElement("title").content : "" }
    Text { textFormat: Text.RichText; text: vantle.childElement("text") ? vantle.childElement("text").content : "" }
})";
    QTemporaryDir dir;
    const QString package = VTTest::makeUiPackage(dir, QStringLiteral("data"), QStringLiteral("P.vantles"), QString(),
        { { QStringLiteral("k"), where } }, richQml);
    QVERIFY(!package.isEmpty());
    VTContext context;
    context.set(VTContextAllowNetworkImages, allowed);
    VTTest::RecordingHost host(context, { dir.filePath(QStringLiteral("data")) });
    QVERIFY(host.manager()->show(QStringLiteral("k"), QPoint(10, 10), nullptr));
    // A refused request never connects; an allowed one does at once.
    QCOMPARE(server.waitForNewConnection(allowed ? 5000 : 300), allowed);
}

void TestVTHostile::linksOpenOnlyOnAClickAndOnlyForTheWebAndMail()
{
    QTemporaryDir dir;
    QVERIFY(!VTTest::makeUiPackage(dir, QStringLiteral("data"), QStringLiteral("P.vantles"), QString(),
        { { QStringLiteral("k"), "<title>T</title>" } },
        "import QtQuick 2.15\nRectangle { width: 50; height: 50\n"
        "    MouseArea { anchors.fill: parent; onClicked: vantleView.openExternalResource(\"https://example.org\") }\n}\n")
                 .isEmpty());
    VTContext context;
    VTTest::RecordingHost host(context, { dir.filePath(QStringLiteral("data")) });
    QVERIFY(host.manager()->show(QStringLiteral("k"), QPoint(10, 10), nullptr));
    QTest::mouseClick(host.manager()->widget()->view(), Qt::LeftButton, {}, QPoint(25, 25));
    QCOMPARE(host.opened, QStringList { QStringLiteral("2:https://example.org") });

    // The default hook hands the web and mail to the desktop, nothing else.
    VTTest::RecordingHost plain(context, QStringList());
    for (const char* url : { "file:///usr/bin/xterm", "smb://server/share", "javascript:alert(1)", "x-foo:bar" }) {
        QVERIFY(!plain.VTInterface::openExternalResource(VTExternalResourceUrl, QLatin1String(url)));
        QCOMPARE(plain.messages.last(),
            QStringLiteral("200:\"%1\" is not an http, https or mailto URL: not opened.").arg(QLatin1String(url)));
    }
}

void TestVTHostile::deepTreesAreSearchedAndDeletedWithoutRecursion()
{
    // Deeper than any thread's stack could follow one frame per level.
    auto root = new VTXmlElement;
    VTXmlElement* parent = root;
    for (int i = 0; i < 200000; ++i) {
        parent = new VTXmlElement(parent);
        parent->setTagName(i % 2 ? QStringLiteral("a") : QStringLiteral("b"));
    }
    parent->setTagName(QStringLiteral("leaf"));
    QCOMPARE(root->childElement(QStringLiteral("leaf")), parent);
    QCOMPARE(root->childElement(QStringLiteral("none")), nullptr);
    QCOMPARE(root->childElementList(QStringLiteral("a")).size(), 99999);
    QPointer<VTXmlElement> leaf(parent);
    delete root;
    QVERIFY(leaf.isNull());
}

void TestVTHostile::contentTheHostOwnsKeepsItsParent()
{
    VTContext context;
    VTTest::RecordingHost host(context, QStringList());
    VTView view(host.manager(), nullptr);
    QObject parent;
    QPointer<VTXmlElement> given(new VTXmlElement(&parent));
    QPointer<VTXmlElement> sibling(new VTXmlElement(&parent));
    view.replaceContent(given);
    view.replaceContent(nullptr);
    QVERIFY(given.isNull());
    QVERIFY(!sibling.isNull());
}

void TestVTHostile::interpolationEndsOnAnyProperties()
{
    VTContext context;
    VTTest::RecordingHost host(context, QStringList());
    host.setGlobalProperty(QStringLiteral("appName"), QStringLiteral("x%(appName)s"));
    const QString text = host.manager()->interpolate(QStringLiteral("About %(appName)s"));
    QVERIFY(text.startsWith(QLatin1String("About xxx")));
    QVERIFY(text.size() < 2000);
    QVERIFY(!host.messages.filter(QStringLiteral("does not end")).isEmpty());
}

QTEST_MAIN(TestVTHostile)
#include "tst_vthostile.moc"
