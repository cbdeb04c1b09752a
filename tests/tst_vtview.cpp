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
#include <QPointer>
#include <QQuickItem>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace Vantles;

Q_DECLARE_METATYPE(Qt::CursorShape)

namespace {

// The QML interface of package "Main": it calls into the view the way a
// package's own interface does and keeps what it got in properties.
const QByteArray apiQml = R"(import QtQuick 2.15
import com.zelvane.vantles.qml 1.0
Item {
    width: 60
    height: 40
    readonly property string interpolated: vantleView.interpolate("%(app)s %(none)s")
    readonly property string translated: vantleView.translate("Pin", "VantleUI")
    readonly property string resource: vantleView.findResource("own.png")
    readonly property string missingResource: vantleView.findResource("none.png")
    readonly property int scaled: vantleView.getScaledSize(10)
    readonly property string title: vantle.childElement("title").content
    readonly property string key: vantle.attribute("key")
    readonly property string location: dataLocation
    readonly property var viewObject: vantleView
    Component.onCompleted: vantleView.debugLog("loaded " + key)
}
)";

const QByteArray plainQml = "import QtQuick 2.15\nItem { width: 10; height: 10 }\n";

// Elements as the index hands them out: a "vantle" of package "Main" below a
// "vantles" root that also searches "Extra", below one more level that the
// view must never consult. The top element owns the tree.
struct ContentTree {
    ContentTree()
    {
        root->setTagName(QStringLiteral("vantles"));
        root->setAttribute(QStringLiteral("search"), QStringLiteral("Extra"));
        content->setTagName(QStringLiteral("vantle"));
        content->setAttribute(QStringLiteral("VTPackagName"), QStringLiteral("Main"));
    }
    std::unique_ptr<VTXmlElement> top { new VTXmlElement };
    VTXmlElement* root = new VTXmlElement(top.get());
    VTXmlElement* content = new VTXmlElement(root);
};

void setIfNotNull(VTXmlElement* element, const QString& name, const QString& value)
{
    if (!value.isNull())
        element->setAttribute(name, value);
}

} // namespace

class TestVTView : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void categoryPathLooksOneLevelUpThenAtSetting_data();
    void categoryPathLooksOneLevelUpThenAtSetting();
    void findComponentTakesFirstExistingCandidate_data();
    void findComponentTakesFirstExistingCandidate();
    void uiRootFileFollowsSimpleSwitch_data();
    void uiRootFileFollowsSimpleSwitch();
    void resourceDirectoryAndFindResourceReadDifferentAttributes_data();
    void resourceDirectoryAndFindResourceReadDifferentAttributes();

    void loadKeepsQmlForUnchangedOrMissingFile_data();
    void loadKeepsQmlForUnchangedOrMissingFile();
    void loadErrorsAreReportedOnlyWhenStatusIsConnected();
    void runtimeWarningsAreReportedWithoutFileName();

    void itemCursorFollowsName_data();
    void itemCursorFollowsName();
    void overrideCursorsStackUntilRestored();
    void stayOpenEmitsOnEverySetReservedOnlyOnChange();
    void setContentNeitherEmitsNorDeletes();
    void documentationAvailableFollowsSetting();

    void qmlReachesViewThroughContextProperties();

private:
    QString mainPath(const QString& relative) const { return m_base + QLatin1String("/Main.vantles/") + relative; }
    QString extraPath(const QString& relative) const { return m_base + QLatin1String("/Extra.vantles/") + relative; }
    // "@Main/x" and "@Extra/x" stand for files of the two packages.
    QString expand(const QString& expected) const;
    QString writeQml(const QString& name, const QByteArray& qml) const;

    QTemporaryDir m_dir;
    QString m_base;
    std::unique_ptr<VTTest::RecordingHost> m_host;
};

void TestVTView::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QVERIFY(!VTTest::makeUiPackage(m_dir, QStringLiteral("data"), QStringLiteral("Main.vantles"),
        QStringLiteral("Extra"), { { QStringLiteral("k"), "<title>Hello</title>" } }, apiQml)
                 .isEmpty());
    QVERIFY(!VTTest::makeUiPackage(m_dir, QStringLiteral("data"), QStringLiteral("Extra.vantles"), QString(),
        { { QStringLiteral("e"), "<title>Extra</title>" } }, plainQml)
                 .isEmpty());
    for (const char* file : { "data/Main.vantles/ui/SimpleTooltip.qml", "data/Main.vantles/Resources/own.png",
             "data/Main.vantles/Media/x.png", "data/Extra.vantles/ui/Other.qml", "data/Extra.vantles/Resources/own.png",
             "data/Extra.vantles/Resources/shared.png" }) {
        QVERIFY(!VTTest::writeFile(m_dir, QLatin1String(file), plainQml).isEmpty());
    }
    // The index records canonical package folders.
    m_base = QDir(m_dir.filePath(QStringLiteral("data"))).canonicalPath();
}

void TestVTView::init()
{
    VTContext context;
    m_host.reset(new VTTest::RecordingHost(context, { m_dir.filePath(QStringLiteral("data")) }));
    m_host->context()->set(VTContextMessageThreshold, int(VTMessageDebug));
}

void TestVTView::cleanup()
{
    VTIndex* index = m_host->manager()->index();
    m_host.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    delete index;
}

QString TestVTView::expand(const QString& expected) const
{
    if (expected.startsWith(QLatin1String("@Main/")))
        return mainPath(expected.mid(6));
    if (expected.startsWith(QLatin1String("@Extra/")))
        return extraPath(expected.mid(7));
    return expected;
}

QString TestVTView::writeQml(const QString& name, const QByteArray& qml) const
{
    return VTTest::writeFile(m_dir, QLatin1String("qml/") + name, qml);
}

void TestVTView::categoryPathLooksOneLevelUpThenAtSetting_data()
{
    QTest::addColumn<QString>("own");
    QTest::addColumn<QString>("parent");
    QTest::addColumn<QString>("grandparent");
    QTest::addColumn<QVariant>("setting");
    QTest::addColumn<QString>("expected");

    const QString null;
    const QVariant unset;
    const QString fallback = QStringLiteral("ui/VantleUI.qml");
    QTest::newRow("own attribute first") << "c.qml"
                                         << "p.qml"
                                         << "g.qml" << unset << "c.qml";
    QTest::newRow("parent attribute next") << null << "p.qml"
                                           << "g.qml" << unset << "p.qml";
    QTest::newRow("grandparent ignored") << null << null << "g.qml" << unset << fallback;
    QTest::newRow("attribute beats setting") << "c.qml" << null << null << QVariant("s.qml") << "c.qml";
    QTest::newRow("empty own attribute counts as absent") << "" << null << null << QVariant("s.qml") << "s.qml";
    // The own attribute is there, so the parent is not asked.
    QTest::newRow("empty own attribute hides parent") << ""
                                                      << "p.qml" << null << unset << fallback;
    QTest::newRow("empty parent attribute counts as absent") << null << "" << null << unset << fallback;
    QTest::newRow("setting read as string") << null << null << null << QVariant(42) << "42";
}

void TestVTView::categoryPathLooksOneLevelUpThenAtSetting()
{
    QFETCH(QString, own);
    QFETCH(QString, parent);
    QFETCH(QString, grandparent);
    QFETCH(QVariant, setting);
    QFETCH(QString, expected);

    ContentTree tree;
    setIfNotNull(tree.content, QStringLiteral("ui"), own);
    setIfNotNull(tree.root, QStringLiteral("ui"), parent);
    setIfNotNull(tree.top.get(), QStringLiteral("ui"), grandparent);
    if (setting.isValid())
        m_host->context()->set(VTContextFullInterfaceFile, setting);

    VTView view(m_host->manager(), nullptr);
    // Without content only the setting counts.
    QCOMPARE(view.categoryPath(QStringLiteral("ui"), QStringLiteral("ui/VantleUI.qml"), VTContextFullInterfaceFile),
        setting.isValid() ? setting.toString() : QStringLiteral("ui/VantleUI.qml"));
    view.setContent(tree.content);
    QCOMPARE(view.categoryPath(QStringLiteral("ui"), QStringLiteral("ui/VantleUI.qml"), VTContextFullInterfaceFile),
        expected);
    view.setContent(nullptr);
}

void TestVTView::findComponentTakesFirstExistingCandidate_data()
{
    QTest::addColumn<QString>("attribute");
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("key");
    QTest::addColumn<QString>("defaultValue");
    QTest::addColumn<QString>("relativePath");
    QTest::addColumn<QString>("expected");

    const QString null;
    const int ui = VTContextFullInterfaceFile;
    const int resources = VTContextResourceFolder;
    QTest::newRow("own package before search package")
        << "ui" << null << ui << "ui/VantleUI.qml" << QString() << "@Main/ui/VantleUI.qml";
    QTest::newRow("search package when own lacks it")
        << "ui"
        << "ui/Other.qml" << ui << "ui/VantleUI.qml" << QString() << "@Extra/ui/Other.qml";
    QTest::newRow("category when none exists")
        << "ui"
        << "ui/Missing.qml" << ui << "ui/VantleUI.qml" << QString() << "ui/Missing.qml";
    QTest::newRow("file in own category folder") << "resources" << null << resources << "Resources"
                                                 << "own.png"
                                                 << "@Main/Resources/own.png";
    QTest::newRow("file in search package's folder") << "resources" << null << resources << "Resources"
                                                     << "shared.png"
                                                     << "@Extra/Resources/shared.png";
    QTest::newRow("category when file missing everywhere") << "resources" << null << resources << "Resources"
                                                           << "none.png"
                                                           << "Resources";
    QTest::newRow("folder itself without relative path")
        << "resources" << null << resources << "Resources" << QString() << "@Main/Resources";
    QTest::newRow("attribute names the folder") << "resources"
                                                << "Media" << resources << "Resources"
                                                << "x.png"
                                                << "@Main/Media/x.png";
}

void TestVTView::findComponentTakesFirstExistingCandidate()
{
    QFETCH(QString, attribute);
    QFETCH(QString, value);
    QFETCH(int, key);
    QFETCH(QString, defaultValue);
    QFETCH(QString, relativePath);
    QFETCH(QString, expected);

    ContentTree tree;
    setIfNotNull(tree.content, attribute, value);
    VTView view(m_host->manager(), nullptr);
    view.setContent(tree.content);
    QCOMPARE(view.findComponent(attribute, VTContextKey(key), defaultValue, relativePath), expand(expected));

    // Without content there are no component folders: the category comes back.
    view.setContent(nullptr);
    QCOMPARE(view.findComponent(attribute, VTContextKey(key), defaultValue, relativePath), defaultValue);
}

void TestVTView::uiRootFileFollowsSimpleSwitch_data()
{
    QTest::addColumn<QVariant>("simple");
    QTest::addColumn<QString>("uiAttribute");
    QTest::addColumn<QString>("simpleAttribute");
    QTest::addColumn<QVariant>("fullSetting");
    QTest::addColumn<QVariant>("simpleSetting");
    QTest::addColumn<QString>("expected");

    const QString null;
    const QVariant unset;
    const QString other = QStringLiteral("ui/Other.qml");
    QTest::newRow("full interface by default") << unset << null << null << unset << unset << "@Main/ui/VantleUI.qml";
    QTest::newRow("simple interface") << QVariant(true) << null << null << unset << unset
                                      << "@Main/ui/SimpleTooltip.qml";
    QTest::newRow("ui attribute") << unset << other << null << unset << unset << "@Extra/ui/Other.qml";
    QTest::newRow("simple attribute ignored in full mode")
        << unset << null << other << unset << unset << "@Main/ui/VantleUI.qml";
    QTest::newRow("simple attribute in simple mode")
        << QVariant(true) << null << other << unset << unset << "@Extra/ui/Other.qml";
    QTest::newRow("ui attribute ignored in simple mode")
        << QVariant(true) << other << null << unset << unset << "@Main/ui/SimpleTooltip.qml";
    QTest::newRow("full file setting") << unset << null << null << QVariant(other) << unset << "@Extra/ui/Other.qml";
    QTest::newRow("simple file setting") << QVariant(true) << null << null << unset << QVariant(other)
                                         << "@Extra/ui/Other.qml";
    QTest::newRow("missing simple file") << QVariant(true) << null << "ui/Gone.qml" << unset << unset << "ui/Gone.qml";
}

void TestVTView::uiRootFileFollowsSimpleSwitch()
{
    QFETCH(QVariant, simple);
    QFETCH(QString, uiAttribute);
    QFETCH(QString, simpleAttribute);
    QFETCH(QVariant, fullSetting);
    QFETCH(QVariant, simpleSetting);
    QFETCH(QString, expected);

    VTContext* context = m_host->context();
    if (simple.isValid())
        context->set(VTContextUseSimpleInterface, simple);
    if (fullSetting.isValid())
        context->set(VTContextFullInterfaceFile, fullSetting);
    if (simpleSetting.isValid())
        context->set(VTContextSimpleInterfaceFile, simpleSetting);
    ContentTree tree;
    setIfNotNull(tree.content, QStringLiteral("ui"), uiAttribute);
    setIfNotNull(tree.content, QStringLiteral("simple"), simpleAttribute);

    VTView view(m_host->manager(), nullptr);
    view.setContent(tree.content);
    QCOMPARE(view.uiRootFilePath(), expand(expected));
    view.setContent(nullptr);
}

void TestVTView::resourceDirectoryAndFindResourceReadDifferentAttributes_data()
{
    QTest::addColumn<QString>("resource");
    QTest::addColumn<QString>("resources");
    QTest::addColumn<QVariant>("setting");
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QString>("file");

    const QString null;
    QTest::newRow("defaults") << null << null << QVariant() << "Resources"
                              << "Resources";
    QTest::newRow("singular names the directory only") << "Media" << null << QVariant() << "Media"
                                                       << "Resources";
    QTest::newRow("plural names the lookup only") << null << "Media" << QVariant() << "Resources"
                                                  << "@Main/Media/x.png";
    QTest::newRow("setting serves both") << null << null << QVariant("Media") << "Media"
                                         << "@Main/Media/x.png";
}

void TestVTView::resourceDirectoryAndFindResourceReadDifferentAttributes()
{
    QFETCH(QString, resource);
    QFETCH(QString, resources);
    QFETCH(QVariant, setting);
    QFETCH(QString, directory);
    QFETCH(QString, file);

    if (setting.isValid())
        m_host->context()->set(VTContextResourceFolder, setting);
    ContentTree tree;
    setIfNotNull(tree.content, QStringLiteral("resource"), resource);
    setIfNotNull(tree.content, QStringLiteral("resources"), resources);

    VTView view(m_host->manager(), nullptr);
    view.setContent(tree.content);
    QCOMPARE(view.resourceDirectoryPath(), directory);
    QCOMPARE(view.findResource(QStringLiteral("x.png")), expand(file));
    view.setContent(nullptr);
}

void TestVTView::loadKeepsQmlForUnchangedOrMissingFile_data()
{
    QTest::addColumn<int>("threshold");
    QTest::addColumn<bool>("reported");
    QTest::newRow("debug threshold") << int(VTMessageDebug) << true;
    QTest::newRow("default threshold") << int(VTMessageWarning) << false;
}

void TestVTView::loadKeepsQmlForUnchangedOrMissingFile()
{
    QFETCH(int, threshold);
    QFETCH(bool, reported);

    m_host->context()->set(VTContextMessageThreshold, threshold);
    const QString first = writeQml(QStringLiteral("first.qml"), plainQml);
    const QString second = writeQml(QStringLiteral("second.qml"), plainQml);
    const QString missing = m_dir.filePath(QStringLiteral("qml/missing.qml"));
    VTView view(m_host->manager(), nullptr);
    view.resetState(); // nothing loaded: nothing to reset
    QSignalSpy status(&view, &QQuickWidget::statusChanged);
    view.loadQML(first);
    QCOMPARE(view.status(), QQuickWidget::Ready);
    QPointer<QQuickItem> root = view.rootObject();
    QVERIFY(root);
    status.clear();

    view.loadQML(first);
    QCOMPARE(status.count(), 0);
    QCOMPARE(view.rootObject(), root.data());
    view.loadQML(missing);
    QCOMPARE(m_host->messages, reported ? QStringList { QStringLiteral("400:Can't find :") + missing } : QStringList());
    QCOMPARE(view.source(), QUrl::fromLocalFile(first));
    QCOMPARE(view.rootObject(), root.data());

    view.loadQML(second);
    QCOMPARE(view.source(), QUrl::fromLocalFile(second));
    QVERIFY(view.rootObject() && view.rootObject() != root.data());
}

void TestVTView::loadErrorsAreReportedOnlyWhenStatusIsConnected()
{
    const QString broken
        = writeQml(QStringLiteral("broken.qml"), "import QtQuick 2.15\nItem {\n    width: 10\n    height: : 5\n}\n");
    const QString good = writeQml(QStringLiteral("good.qml"), plainQml);
    VTView view(m_host->manager(), nullptr);

    // The view reports nothing on its own. (The log keeps the widget's own
    // printout of the error off the test output.)
    auto log = std::make_unique<VTTest::MessageLog>();
    view.loadQML(broken);
    QCOMPARE(view.status(), QQuickWidget::Error);
    QVERIFY(m_host->messages.isEmpty());

    connect(&view, &QQuickWidget::statusChanged, &view, &VTView::statusHasChanged);
    view.loadQML(good);
    QCOMPARE(view.status(), QQuickWidget::Ready);
    QVERIFY(m_host->messages.isEmpty());

    view.loadQML(broken);
    log.reset();
    QCOMPARE(view.status(), QQuickWidget::Error);
    const QList<QQmlError> errors = view.errors();
    QVERIFY(!errors.isEmpty());
    QStringList expected;
    for (const QQmlError& error : errors)
        expected << QStringLiteral("400:Error %1:%2:%3").arg(error.line()).arg(error.column()).arg(error.description());
    QCOMPARE(m_host->messages, expected);
    QVERIFY2(m_host->messages.first().startsWith(QLatin1String("400:Error 4:")), qPrintable(m_host->messages.first()));
    QVERIFY(!m_host->messages.first().contains(QLatin1String("broken.qml")));
}

void TestVTView::runtimeWarningsAreReportedWithoutFileName()
{
    const QString path = writeQml(QStringLiteral("warning.qml"),
        "import QtQuick 2.15\nItem {\n    width: 10; height: 10\n    Component.onCompleted: missingFunction()\n}\n");
    VTView view(m_host->manager(), nullptr);
    view.loadQML(path);
    QCOMPARE(view.status(), QQuickWidget::Ready);

    QCOMPARE(m_host->messages.size(), 1);
    const QString message = m_host->messages.first();
    const QRegularExpression expected(
        QStringLiteral("^400:QML Warning 4:-?\\d+:ReferenceError: missingFunction is not defined$"));
    QVERIFY2(expected.match(message).hasMatch(), qPrintable(message));
    QVERIFY(!message.contains(QLatin1String("warning.qml")));
}

void TestVTView::itemCursorFollowsName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<Qt::CursorShape>("shape");

    QTest::newRow("pointing hand") << "PointingHandCursor" << Qt::PointingHandCursor;
    QTest::newRow("I-beam") << "IBeamCursor" << Qt::IBeamCursor;
    QTest::newRow("unknown name") << "WaitCursor" << Qt::ArrowCursor;
    QTest::newRow("names are case-sensitive") << "ibeamcursor" << Qt::ArrowCursor;
}

void TestVTView::itemCursorFollowsName()
{
    QFETCH(QString, name);
    QFETCH(Qt::CursorShape, shape);

    VTView view(m_host->manager(), nullptr);
    QQuickItem item;
    item.setCursor(QCursor(Qt::SizeAllCursor));
    view.setItemCursor(&item, name, QStringLiteral("ignored tag"));
    QCOMPARE(item.cursor().shape(), shape);

    // An empty name removes the item's own cursor.
    item.setCursor(QCursor(Qt::SizeAllCursor));
    view.setItemCursor(&item, QString(), QString());
    QCOMPARE(item.cursor().shape(), Qt::ArrowCursor);

    view.setItemCursor(nullptr, name, QString());
}

void TestVTView::overrideCursorsStackUntilRestored()
{
    VTView view(m_host->manager(), nullptr);
    QVERIFY(!QGuiApplication::overrideCursor());

    view.setOverrideCursor(QStringLiteral("IBeamCursor"));
    QCOMPARE(QGuiApplication::overrideCursor()->shape(), Qt::IBeamCursor);
    // The empty name pushes an arrow as well.
    view.setOverrideCursor(QString());
    QCOMPARE(QGuiApplication::overrideCursor()->shape(), Qt::ArrowCursor);

    view.restoreOverrideCursor();
    QCOMPARE(QGuiApplication::overrideCursor()->shape(), Qt::IBeamCursor);
    view.restoreOverrideCursor();
    QVERIFY(!QGuiApplication::overrideCursor());
}

void TestVTView::stayOpenEmitsOnEverySetReservedOnlyOnChange()
{
    VTView view(m_host->manager(), nullptr);
    QSignalSpy stayOpen(&view, &VTView::stayOpenChanged);
    QSignalSpy reserved(&view, &VTView::reservedChanged);

    view.setStayOpen(false);
    view.setStayOpen(true);
    view.setStayOpen(true);
    QCOMPARE(stayOpen.count(), 3);

    view.setReserved(false);
    QCOMPARE(reserved.count(), 0);
    view.setReserved(true);
    view.setReserved(true);
    QCOMPARE(reserved.count(), 1);
    view.setReserved(false);
    QCOMPARE(reserved.count(), 2);
}

void TestVTView::setContentNeitherEmitsNorDeletes()
{
    QPointer<VTXmlElement> first = new VTXmlElement;
    QPointer<VTXmlElement> second = new VTXmlElement;
    {
        VTView view(m_host->manager(), nullptr);
        QSignalSpy changed(&view, &VTView::contentChanged);
        view.setContent(first);
        view.setContent(second);
        QCOMPARE(changed.count(), 0);
        QVERIFY(first);
        QCOMPARE(view.content(), second.data());
    }
    // The view owns the element it holds when it goes, and only that one.
    QVERIFY(first);
    QVERIFY(!second);
    delete first;
}

void TestVTView::documentationAvailableFollowsSetting()
{
    VTView view(m_host->manager(), nullptr);
    QSignalSpy changed(&view, &VTView::documentationAvailableChanged);
    VTContext* context = m_host->context();
    QVERIFY(!view.documentationAvailable());

    context->set(VTContextDocumentationEnabled, true);
    QVERIFY(view.documentationAvailable());
    QCOMPARE(changed.count(), 0);

    connect(context, &VTContext::settingDidChange, &view, &VTView::managerContextSettingDidChange);
    context->set(VTContextDocumentationEnabled, false);
    QCOMPARE(changed.count(), 1);
    QVERIFY(!view.documentationAvailable());
    context->set(VTContextLinksEnabled, false);
    QCOMPARE(changed.count(), 1);
    view.managerContextSettingDidChange(VTContextDocumentationEnabled);
    QCOMPARE(changed.count(), 2);
}

void TestVTView::qmlReachesViewThroughContextProperties()
{
    cleanup();
    VTContext context;
    context.set(VTContextInterfaceScale, 1.5);
    m_host.reset(new VTTest::RecordingHost(context, { m_dir.filePath(QStringLiteral("data")) }));
    m_host->context()->set(VTContextMessageThreshold, int(VTMessageDebug));
    VTManager* manager = m_host->manager();
    manager->setGlobalProperty(QStringLiteral("app"), QStringLiteral("Demo"));

    QVERIFY(manager->show(QStringLiteral("k"), QPoint(10, 10), nullptr));
    VTView* view = manager->widget()->view();
    QQuickItem* root = view->rootObject();
    QVERIFY(root);

    QCOMPARE(root->property("interpolated").toString(), QStringLiteral("Demo %(none)s"));
    QCOMPARE(root->property("translated").toString(), QStringLiteral("Pin"));
    QCOMPARE(root->property("resource").toString(), mainPath(QStringLiteral("Resources/own.png")));
    QCOMPARE(root->property("missingResource").toString(), QStringLiteral("Resources"));
    QCOMPARE(root->property("scaled").toInt(), 15);
    QCOMPARE(root->property("title").toString(), QStringLiteral("Hello"));
    QCOMPARE(root->property("key").toString(), QStringLiteral("k"));
    QCOMPARE(root->property("location").toString(), mainPath(QString()).chopped(1));
    QCOMPARE(root->property("viewObject").value<QObject*>(), view);
    QVERIFY(m_host->messages.contains(QStringLiteral("400:loaded k")));
}

QTEST_MAIN(TestVTView)
#include "tst_vtview.moc"
