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

// Package "Main"'s interface: calls into the view and keeps the answers.
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

// A "vantle" of package "Main" below a root that also searches "Extra", below
// a level the view must never consult. The top element owns the tree.
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

} // namespace

class TestVTView : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void pathsFollowAttributesSettingsAndPackages_data();
    void pathsFollowAttributesSettingsAndPackages();

    void loadKeepsQmlForUnchangedOrMissingFile();
    void destroyingAShownViewIsQuiet();

    void cursorsFollowNames_data();
    void cursorsFollowNames();
    void stayOpenEmitsOnEverySetOthersOnlyOnChange();
    void setContentNeitherEmitsNorDeletes();

    void qmlReachesViewThroughContextProperties();

private:
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
    context.set(VTContextInterfaceScale, 1.5); // for getScaledSize() in the QML
    m_host.reset(new VTTest::RecordingHost(context, { m_dir.filePath(QStringLiteral("data")) }));
    m_host->context()->set(VTContextMessageThreshold, int(VTMessageDebug));
}

void TestVTView::cleanup()
{
    m_host.reset();
}

QString TestVTView::expand(const QString& expected) const
{
    const int slash = expected.indexOf(QLatin1Char('/'));
    return expected.startsWith(QLatin1Char('@'))
        ? m_base + QLatin1Char('/') + expected.mid(1, slash - 1) + QLatin1String(".vantles") + expected.mid(slash)
        : expected;
}

QString TestVTView::writeQml(const QString& name, const QByteArray& qml) const
{
    return VTTest::writeFile(m_dir, QLatin1String("qml/") + name, qml);
}

void TestVTView::pathsFollowAttributesSettingsAndPackages_data()
{
    QTest::addColumn<QString>("query");
    QTest::addColumn<QString>("attributes");
    QTest::addColumn<QString>("settings");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QString>("bare"); // without content; null: not checked
    auto row = [](const char* name, const char* query, const char* attributes, const char* settings,
                   const char* expected, const char* bare = nullptr) {
        QTest::newRow(name) << QString::fromLatin1(query) << QString::fromLatin1(attributes)
                            << QString::fromLatin1(settings) << QString::fromLatin1(expected)
                            << QString::fromLatin1(bare);
    };
    // categoryPath() for "ui": "^" marks the parent's attributes, "^^" the grandparent's.
    const char* full = "ui/VantleUI.qml";
    row("own attribute first", "category", "ui=c.qml ^ui=p.qml ^^ui=g.qml", "", "c.qml", full);
    row("parent attribute next", "category", "^ui=p.qml ^^ui=g.qml", "", "p.qml");
    row("grandparent ignored", "category", "^^ui=g.qml", "", full);
    row("attribute beats setting", "category", "ui=c.qml", "full=s.qml", "c.qml", "s.qml");
    row("empty own attribute counts as absent", "category", "ui=", "full=s.qml", "s.qml");
    // The own attribute is there, so the parent is not asked.
    row("empty own attribute hides parent", "category", "ui= ^ui=p.qml", "", full);
    row("empty parent attribute counts as absent", "category", "^ui=", "", full);
    // findComponent() for "ui", and findResource(): the first file that exists.
    row("own package before search package", "component", "", "", "@Main/ui/VantleUI.qml", full);
    row("search package when own lacks it", "component", "ui=ui/Other.qml", "", "@Extra/ui/Other.qml");
    row("category when none exists", "component", "ui=ui/Missing.qml", "", "ui/Missing.qml");
    row("file in own category folder", "resource own.png", "", "", "@Main/Resources/own.png", "Resources");
    row("file in search package's folder", "resource shared.png", "", "", "@Extra/Resources/shared.png");
    row("category when file missing everywhere", "resource none.png", "", "", "Resources");
    row("folder itself without relative path", "resource", "", "", "@Main/Resources", "Resources");
    // resourceDirectoryPath() reads "resource", findResource() "resources".
    row("default directory", "directory", "", "", "Resources", "Resources");
    row("singular names the directory", "directory", "resource=Media", "", "Media");
    row("singular ignored by the lookup", "resource x.png", "resource=Media", "", "Resources");
    row("plural ignored by the directory", "directory", "resources=Media", "", "Resources");
    row("plural names the lookup's folder", "resource x.png", "resources=Media", "", "@Main/Media/x.png");
    row("setting names the directory", "directory", "", "resources=Media", "Media", "Media");
    row("setting names the lookup's folder", "resource x.png", "", "resources=Media", "@Main/Media/x.png", "Media");
    // uiRootFilePath(): the simple switch picks attribute, setting and default.
    row("full interface by default", "root", "", "", "@Main/ui/VantleUI.qml");
    row("simple interface", "root", "", "simple", "@Main/ui/SimpleTooltip.qml");
    row("ui attribute", "root", "ui=ui/Other.qml", "", "@Extra/ui/Other.qml");
    row("simple attribute ignored in full mode", "root", "simple=ui/Other.qml", "", "@Main/ui/VantleUI.qml");
    row("simple attribute in simple mode", "root", "simple=ui/Other.qml", "simple", "@Extra/ui/Other.qml");
    row("ui attribute ignored in simple mode", "root", "ui=ui/Other.qml", "simple", "@Main/ui/SimpleTooltip.qml");
    row("full file setting", "root", "", "full=ui/Other.qml", "@Extra/ui/Other.qml");
    row("simple file setting", "root", "", "simple simpleFile=ui/Other.qml", "@Extra/ui/Other.qml");
    row("missing simple file gives the built-in one", "root", "simple=ui/Gone.qml", "simple",
        ":/com/zelvane/vantles/qml/ui/SimpleTooltip.qml");
}

void TestVTView::pathsFollowAttributesSettingsAndPackages()
{
    QFETCH(QString, query);
    QFETCH(QString, attributes);
    QFETCH(QString, settings);
    QFETCH(QString, expected);
    QFETCH(QString, bare);
    const QMap<QString, VTContextKey> keys { { QStringLiteral("full"), VTContextFullInterfaceFile },
        { QStringLiteral("simple"), VTContextUseSimpleInterface },
        { QStringLiteral("simpleFile"), VTContextSimpleInterfaceFile },
        { QStringLiteral("resources"), VTContextResourceFolder } };
    for (const QString& setting : settings.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        const QString name = setting.section(QLatin1Char('='), 0, 0);
        QVERIFY(keys.contains(name));
        m_host->context()->set(
            keys.value(name), name == setting ? QVariant(true) : setting.section(QLatin1Char('='), 1));
    }
    ContentTree tree;
    VTXmlElement* const levels[] = { tree.content, tree.root, tree.top.get() };
    for (QString attribute : attributes.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        const int up = attribute.lastIndexOf(QLatin1Char('^')) + 1;
        attribute.remove(0, up);
        levels[up]->setAttribute(attribute.section(QLatin1Char('='), 0, 0), attribute.section(QLatin1Char('='), 1));
    }

    VTView view(m_host->manager(), nullptr);
    auto resolve = [&] {
        const QString kind = query.section(QLatin1Char(' '), 0, 0);
        if (kind == QLatin1String("category"))
            return view.categoryPath(
                QStringLiteral("ui"), QStringLiteral("ui/VantleUI.qml"), VTContextFullInterfaceFile);
        if (kind == QLatin1String("component"))
            return view.findComponent(
                QStringLiteral("ui"), VTContextFullInterfaceFile, QStringLiteral("ui/VantleUI.qml"), QString());
        if (kind == QLatin1String("directory"))
            return view.resourceDirectoryPath();
        if (kind == QLatin1String("resource"))
            return view.findResource(query.section(QLatin1Char(' '), 1));
        return view.uiRootFilePath();
    };
    if (!bare.isNull())
        QCOMPARE(resolve(), bare);
    view.setContent(tree.content);
    QCOMPARE(resolve(), expand(expected));
    view.setContent(nullptr);
}

void TestVTView::loadKeepsQmlForUnchangedOrMissingFile()
{
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
    QCOMPARE(m_host->messages, QStringList { QStringLiteral("400:Can't find :") + missing });
    QCOMPARE(view.source(), QUrl::fromLocalFile(first));
    QCOMPARE(view.rootObject(), root.data());

    view.loadQML(second);
    QCOMPARE(view.source(), QUrl::fromLocalFile(second));
    QVERIFY(view.rootObject() && view.rootObject() != root.data());
}

void TestVTView::destroyingAShownViewIsQuiet()
{
    // Bindings without null checks: a teardown that let them run against a
    // deleted or null vantle would warn.
    VTTest::MessageLog log;
    for (const char* key : { "k", "e", "k" }) {
        QVERIFY(m_host->show(QLatin1String(key), QPoint(10, 10), nullptr));
        m_host->manager()->widget()->hide();
    }
    QCOMPARE(m_host->manager()->widget()->view()->rootObject()->property("title").toString(), QStringLiteral("Hello"));
    QCOMPARE(m_host->messages.filter(QStringLiteral("TypeError")), QStringList());
    m_host.reset();
    QCOMPARE(log.debugMessages().filter(QStringLiteral("TypeError")), QStringList());
    QCOMPARE(log.debugMessages().filter(QStringLiteral("Warning")), QStringList());
}

void TestVTView::cursorsFollowNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<Qt::CursorShape>("shape");

    QTest::newRow("pointing hand") << "PointingHandCursor" << Qt::PointingHandCursor;
    QTest::newRow("arrow") << "ArrowCursor" << Qt::ArrowCursor;
    QTest::newRow("I-beam") << "IBeamCursor" << Qt::IBeamCursor;
    QTest::newRow("blank") << "BlankCursor" << Qt::BlankCursor;
    QTest::newRow("unknown name") << "WaitCursor" << Qt::ArrowCursor;
    QTest::newRow("names are case-sensitive") << "ibeamcursor" << Qt::ArrowCursor;
}

void TestVTView::cursorsFollowNames()
{
    QFETCH(QString, name);
    QFETCH(Qt::CursorShape, shape);

    VTView view(m_host->manager(), nullptr);
    QQuickItem item;
    item.setCursor(QCursor(Qt::SizeAllCursor));
    view.setItemCursor(&item, name, QStringLiteral("ignored tag"));
    QCOMPARE(item.cursor().shape(), shape);
    // An empty name removes the item's own cursor.
    view.setItemCursor(&item, QString(), QString());
    QCOMPARE(item.cursor().shape(), Qt::ArrowCursor);
    view.setItemCursor(nullptr, name, QString());

    // Override cursors stack, the empty name pushing an arrow, until each is restored.
    QVERIFY(!QGuiApplication::overrideCursor());
    view.setOverrideCursor(name);
    view.setOverrideCursor(QString());
    QCOMPARE(QGuiApplication::overrideCursor()->shape(), Qt::ArrowCursor);
    view.restoreOverrideCursor();
    QCOMPARE(QGuiApplication::overrideCursor()->shape(), shape);
    view.restoreOverrideCursor();
    QVERIFY(!QGuiApplication::overrideCursor());
}

void TestVTView::stayOpenEmitsOnEverySetOthersOnlyOnChange()
{
    VTView view(m_host->manager(), nullptr);
    QSignalSpy stayOpen(&view, &VTView::stayOpenChanged);
    QSignalSpy reserved(&view, &VTView::reservedChanged);
    QSignalSpy documentation(&view, &VTView::documentationAvailableChanged);
    for (bool value : { false, true, true, false }) {
        view.setStayOpen(value);
        view.setReserved(value);
    }
    QCOMPARE(stayOpen.count(), 4);
    QCOMPARE(reserved.count(), 2);

    // Documentation follows the setting (true when unset, as the manager's
    // gate reads it), but signals only through the slot.
    VTContext* context = m_host->context();
    QVERIFY(view.documentationAvailable());
    context->set(VTContextDocumentationEnabled, false);
    QVERIFY(!view.documentationAvailable());
    QCOMPARE(documentation.count(), 0);
    connect(context, &VTContext::settingDidChange, &view, &VTView::managerContextSettingDidChange);
    context->set(VTContextDocumentationEnabled, true);
    QCOMPARE(documentation.count(), 1);
    QVERIFY(view.documentationAvailable());
    context->set(VTContextLinksEnabled, false);
    QCOMPARE(documentation.count(), 1);
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
    }
    // The view owns the element it holds when it goes, and only that one.
    QVERIFY(first && !second);
    delete first;
}

void TestVTView::qmlReachesViewThroughContextProperties()
{
    VTManager* manager = m_host->manager();
    manager->setGlobalProperty(QStringLiteral("app"), QStringLiteral("Demo"));
    QVERIFY(manager->show(QStringLiteral("k"), QPoint(10, 10), nullptr));
    VTView* view = manager->widget()->view();
    QQuickItem* root = view->rootObject();
    QVERIFY(root);

    QCOMPARE(root->property("interpolated").toString(), QStringLiteral("Demo %(none)s"));
    QCOMPARE(root->property("translated").toString(), QStringLiteral("Pin"));
    QCOMPARE(root->property("resource").toString(), expand(QStringLiteral("@Main/Resources/own.png")));
    QCOMPARE(root->property("missingResource").toString(), QStringLiteral("Resources"));
    QVERIFY(m_host->messages.contains(QStringLiteral("200:%1/Main.vantles/Control/Vantles.xml:3:3: Can't find the "
                                                     "resource \"none.png\": looked in %1/Main.vantles/Resources or "
                                                     "%1/Extra.vantles/Resources.")
                                          .arg(m_base)));
    QCOMPARE(root->property("scaled").toInt(), 15);
    QCOMPARE(root->property("title").toString(), QStringLiteral("Hello"));
    QCOMPARE(root->property("key").toString(), QStringLiteral("k"));
    QCOMPARE(root->property("location").toString(), m_base + QLatin1String("/Main.vantles"));
    QCOMPARE(root->property("viewObject").value<QObject*>(), view);
    QVERIFY(m_host->messages.contains(QStringLiteral("400:loaded k")));
}

QTEST_MAIN(TestVTView)
#include "tst_vtview.moc"
