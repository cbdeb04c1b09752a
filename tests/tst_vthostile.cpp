// Content from outside the host: packages built to crash, hang or escape.

#include "VTTestHelpers.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTView.h>
#include <Vantles/VTWidget.h>
#include <Vantles/VTXmlElement.h>

#include <QFile>
#include <QPointer>
#include <QQuickItem>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTest>

using namespace Vantles;

class TestVTHostile : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void hostileContent_data();
    void hostileContent();
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
