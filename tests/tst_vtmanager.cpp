#include "VTTestHelpers.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTIndex.h>
#include <Vantles/VTInterface.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTXmlElement.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QWidget>

#include <memory>
#include <unistd.h>

using namespace Vantles;

class TestVTManager : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void qmlTypeIsRegisteredByConstruction();
    void defaultHandlerPrintsLevelAndText_data();
    void defaultHandlerPrintsLevelAndText();
    void gatePassesTypesUpToThreshold_data();
    void gatePassesTypesUpToThreshold();
    void loadingMessagesFollowThePackageWalk_data();
    void loadingMessagesFollowThePackageWalk();
    void overridesTakeOverOnlyAfterConstruction();
    void defaultHooksAnswerWithoutTheHost();

    void entriesThatAreNotFoldersAreSkipped();
    void sameFolderIsScannedEachTimeButRecordedOnce();
    void packageWithoutControlFolderSendsTwoMessages();
    void onlyFilesDirectlyInControlFolderAreIndexed();
    void symbolicLinksAreNotFollowed();
    void unreadableEntriesAreSkipped_data();
    void unreadableEntriesAreSkipped();

    void givenIndexIsOpenedAndOutlivesInterface();
    void madeIndexOutlivesInterface();
    void contextIsCopiedAtConstruction();
    void alwaysShowToolTipsIsClearedOnDestruction_data();
    void alwaysShowToolTipsIsClearedOnDestruction();
    void eventFilterFollowsSetting_data();
    void eventFilterFollowsSetting();
    void scaleIsReadFromSetting_data();
    void scaleIsReadFromSetting();
    void loadDataFilterBuildsOnlyVantleElements_data();
    void loadDataFilterBuildsOnlyVantleElements();
};

namespace {

const QString information = QStringLiteral("Information:");

QByteArray oneVantle(const QString& key)
{
    return VTTest::controlFileXml(QString(), QString(), { { key, "<title>t</title>" } });
}

class RecordingInterface : public VTInterface {
public:
    using VTInterface::VTInterface;
    void handleMessage(VTMessageType type, const QString& message) override
    {
        types.append(type);
        messages.append(message);
    }
    QString keyForObject(QObject* object) override { return QStringLiteral("host:") + object->objectName(); }
    QList<int> types;
    QStringList messages;
};

class CountingIndex : public VTIndex {
public:
    using VTIndex::VTIndex;
    bool open() override
    {
        ++opens;
        return VTIndex::open();
    }
    void indexControlFile(const QString& file, const QString& location) override
    {
        ++indexed;
        VTIndex::indexControlFile(file, location);
    }
    int opens = 0;
    int indexed = 0;
};

// An interface with an empty data path that passes every message to its
// override; loadDataPath() is then called by the test.
std::unique_ptr<RecordingInterface> recordingInterface()
{
    VTContext context;
    auto iface = std::make_unique<RecordingInterface>(context, QStringList());
    iface->context()->set(VTContextMessageThreshold, 300);
    return iface;
}

QStringList informationOnly(const QStringList& messages)
{
    QStringList result;
    for (const QString& message : messages) {
        if (message.startsWith(information))
            result.append(message.mid(information.size()));
    }
    return result;
}

QString canonical(const QString& path)
{
    return QFileInfo(path).canonicalFilePath();
}

} // namespace

void TestVTManager::qmlTypeIsRegisteredByConstruction()
{
    // Runs first: before any manager exists the module is unknown.
    const QByteArray qml = "import QtQuick\nimport com.zelvane.vantles.qml 1.0\nVTXmlElement {}\n";
    {
        QQmlEngine engine;
        QQmlComponent component(&engine);
        component.setData(qml, QUrl());
        QCOMPARE(component.status(), QQmlComponent::Error);
    }
    VTContext context;
    VTInterface iface(context, {});
    std::unique_ptr<VTIndex> index(iface.manager()->index());
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData(qml, QUrl());
    QVERIFY2(component.isReady(), qPrintable(component.errorString()));
    std::unique_ptr<QObject> object(component.create());
    QVERIFY(qobject_cast<VTXmlElement*>(object.get()));
}

void TestVTManager::defaultHandlerPrintsLevelAndText_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("printed");
    QTest::newRow("warning") << 200 << QStringLiteral("M") << QStringLiteral("Warning:M");
    QTest::newRow("error") << 100 << QStringLiteral("M") << QStringLiteral("ERROR:M");
    QTest::newRow("information") << 300 << QStringLiteral("M") << QStringLiteral("Information:M");
    QTest::newRow("debug") << 400 << QStringLiteral("M") << QStringLiteral("DEBUG:M");
    QTest::newRow("other number") << 250 << QStringLiteral("M") << QStringLiteral("250:M");
    QTest::newRow("negative number") << -5 << QStringLiteral("M") << QStringLiteral("-5:M");
    QTest::newRow("text with quotes and umlauts")
        << 200 << QStringLiteral("\"Größe\" %1") << QStringLiteral("Warning:\"Größe\" %1");
    QTest::newRow("empty text") << 100 << QStringLiteral("") << QStringLiteral("ERROR:");
}

void TestVTManager::defaultHandlerPrintsLevelAndText()
{
    QFETCH(int, type);
    QFETCH(QString, message);
    QFETCH(QString, printed);
    VTContext context;
    VTInterface iface(context, {});
    std::unique_ptr<VTIndex> index(iface.manager()->index());
    iface.context()->set(VTContextMessageThreshold, 1000);

    QTest::ignoreMessage(QtDebugMsg, qPrintable(printed));
    iface.handleMessage(VTMessageType(type), message);
    // Through the gate the same handler is called.
    QTest::ignoreMessage(QtDebugMsg, qPrintable(printed));
    iface.manager()->handleMessage(VTMessageType(type), message);
}

void TestVTManager::gatePassesTypesUpToThreshold_data()
{
    QTest::addColumn<QVariant>("threshold"); // invalid: absent
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("passes");
    QTest::newRow("default, error") << QVariant() << 100 << true;
    QTest::newRow("default, warning") << QVariant() << 200 << true;
    QTest::newRow("default, 201") << QVariant() << 201 << false;
    QTest::newRow("default, information") << QVariant() << 300 << false;
    QTest::newRow("default, debug") << QVariant() << 400 << false;
    QTest::newRow("250, equal passes") << QVariant(250) << 250 << true;
    QTest::newRow("250, one more dropped") << QVariant(250) << 251 << false;
    QTest::newRow("400, debug") << QVariant(400) << 400 << true;
    QTest::newRow("0, error dropped") << QVariant(0) << 100 << false;
}

void TestVTManager::gatePassesTypesUpToThreshold()
{
    QFETCH(QVariant, threshold);
    QFETCH(int, type);
    QFETCH(bool, passes);
    VTContext context;
    RecordingInterface iface(context, {});
    std::unique_ptr<VTIndex> index(iface.manager()->index());
    if (threshold.isValid())
        iface.context()->set(VTContextMessageThreshold, threshold);

    iface.manager()->handleMessage(VTMessageType(type), QStringLiteral("gate"));
    QCOMPARE(iface.messages, passes ? QStringList(QStringLiteral("gate")) : QStringList());
    QCOMPARE(iface.types, passes ? QList<int>({ type }) : QList<int>());
}

void TestVTManager::loadingMessagesFollowThePackageWalk_data()
{
    QTest::addColumn<QVariant>("threshold");
    QTest::addColumn<bool>("shown");
    QTest::newRow("default threshold") << QVariant() << false;
    QTest::newRow("299") << QVariant(299) << false;
    QTest::newRow("300") << QVariant(300) << true;
    QTest::newRow("400") << QVariant(400) << true;
}

void TestVTManager::loadingMessagesFollowThePackageWalk()
{
    QFETCH(QVariant, threshold);
    QFETCH(bool, shown);

    QTemporaryDir dir;
    const QString data = dir.filePath(QStringLiteral("data"));
    const QString package = VTTest::makePackage(dir, QStringLiteral("data"), QStringLiteral("Shapes.vantles"),
        { { "a.xml", oneVantle(QStringLiteral("k")) }, { "notes.txt", oneVantle(QStringLiteral("n")) } });
    VTContext context;
    if (threshold.isValid())
        context.set(VTContextMessageThreshold, threshold);

    QStringList messages;
    {
        VTTest::MessageLog log;
        VTInterface iface(context, { data });
        std::unique_ptr<VTIndex> index(iface.manager()->index());
        QCOMPARE(iface.keys(), QStringList(QStringLiteral("k")));
        messages = informationOnly(log.debugMessages());
    }
    if (!shown) {
        QCOMPARE(messages, QStringList());
        return;
    }
    QCOMPARE(messages.size(), 5);
    QCOMPARE(messages.mid(0, 4),
        QStringList({
            QStringLiteral("indexing packages (*.vantles) in %1 ").arg(data),
            QStringLiteral("indexing control files in %1").arg(package),
            QStringLiteral("looking for control files in :%1/Control").arg(package),
            QStringLiteral("found control file :%1").arg(canonical(package + QStringLiteral("/Control/a.xml"))),
        }));
    static const QRegularExpression timing(QStringLiteral("^Indexed packages in \\d+(\\.\\d+)? seconds$"));
    QVERIFY2(timing.match(messages.last()).hasMatch(), qPrintable(messages.last()));
}

void TestVTManager::overridesTakeOverOnlyAfterConstruction()
{
    QTemporaryDir dir;
    VTTest::makePackage(dir, QStringLiteral("data"), QStringLiteral("P.vantles"), { { "a.xml", oneVantle("k") } });
    VTContext context;
    context.set(VTContextMessageThreshold, 300);

    VTTest::MessageLog log;
    RecordingInterface iface(context, { dir.filePath(QStringLiteral("data")) });
    std::unique_ptr<VTIndex> index(iface.manager()->index());
    QCOMPARE(informationOnly(log.debugMessages()).size(), 5);
    QCOMPARE(iface.messages, QStringList());

    iface.manager()->handleMessage(VTMessageWarning, QStringLiteral("after"));
    QCOMPARE(iface.messages, QStringList(QStringLiteral("after")));
    QCOMPARE(iface.types, QList<int>({ VTMessageWarning }));
    QVERIFY(!log.debugMessages().contains(QStringLiteral("Warning:after")));

    QObject named;
    named.setObjectName(QStringLiteral("button"));
    QCOMPARE(iface.manager()->keyForObject(&named), QStringLiteral("host:button"));
}

void TestVTManager::defaultHooksAnswerWithoutTheHost()
{
    VTContext context;
    VTInterface iface(context, {});
    std::unique_ptr<VTIndex> index(iface.manager()->index());

    QObject named;
    named.setObjectName(QStringLiteral("saveButton"));
    QObject unnamed;
    QCOMPARE(iface.keyForObject(&named), QStringLiteral("saveButton"));
    QCOMPARE(iface.manager()->keyForObject(&named), QStringLiteral("saveButton"));
    QVERIFY(iface.keyForObject(&unnamed).isEmpty());

    // Type 2 would start a browser, so only the other two are tried.
    for (const QString& resource :
        { QStringLiteral("topic"), QStringLiteral("https://example.org/"), QStringLiteral("/tmp"), QString() }) {
        QVERIFY(!iface.openExternalResource(VTExternalResourceDocumentation, resource));
        QVERIFY(!iface.openExternalResource(VTExternalResourcePath, resource));
    }

    QCOMPARE(iface.shortCutForObject(QStringLiteral("k"), &named, QStringLiteral("Ctrl+S")), QStringLiteral("Ctrl+S"));
    QCOMPARE(iface.shortCutForObject(QStringLiteral("k"), nullptr, QString()), QString());
    QCOMPARE(iface.shortCutForObject(QString(), &named, QStringLiteral(" ")), QStringLiteral(" "));
    QCOMPARE(iface.createWindow(VTWindowReserved), nullptr);
    QCOMPARE(iface.createWindow(VTWindowType(7)), nullptr);
}

void TestVTManager::entriesThatAreNotFoldersAreSkipped()
{
    QTemporaryDir dir;
    const QString file = VTTest::writeFile(dir, QStringLiteral("file.vantles"), oneVantle("k"));
    const QStringList dataPath { file, dir.filePath(QStringLiteral("missing")), QString() };

    VTContext context;
    VTInterface constructed(context, dataPath);
    std::unique_ptr<VTIndex> constructedIndex(constructed.manager()->index());
    QCOMPARE(constructed.manager()->searchPaths(), dataPath);
    QCOMPARE(constructed.manager()->loadedDirectories(), QStringList());

    auto iface = recordingInterface();
    std::unique_ptr<VTIndex> index(iface->manager()->index());
    iface->manager()->loadDataPath(dataPath);
    QCOMPARE(iface->messages, QStringList());
    QCOMPARE(iface->manager()->loadedDirectories(), QStringList());
    QVERIFY(index->controlPaths().isEmpty());
}

void TestVTManager::sameFolderIsScannedEachTimeButRecordedOnce()
{
    QTemporaryDir dir;
    const QString data = dir.filePath(QStringLiteral("data"));
    const QString package = VTTest::makePackage(
        dir, QStringLiteral("data"), QStringLiteral("P.vantles"), { { "a.xml", oneVantle("k") } });
    const QString link = dir.filePath(QStringLiteral("link"));
    QVERIFY(QFile::link(data, link));

    auto iface = recordingInterface();
    std::unique_ptr<VTIndex> index(iface->manager()->index());
    iface->manager()->loadDataPath({ link, data, data + QStringLiteral("/.") });

    const QString scanning = QStringLiteral("indexing packages (*.vantles) in %1 ");
    QCOMPARE(iface->messages.filter(QStringLiteral("indexing packages")),
        QStringList({ scanning.arg(link), scanning.arg(data), scanning.arg(data) }));
    // Through the link the package is found under the link's name, but
    // indexed by its canonical path.
    QCOMPARE(iface->messages.filter(QStringLiteral("indexing control files")),
        QStringList({ QStringLiteral("indexing control files in %1/P.vantles").arg(link),
            QStringLiteral("indexing control files in %1").arg(package),
            QStringLiteral("indexing control files in %1").arg(package) }));
    QCOMPARE(iface->messages.filter(QStringLiteral("found control file")).size(), 3);
    QCOMPARE(iface->manager()->loadedDirectories(), QStringList(canonical(data)));
    QCOMPARE(
        index->controlPaths(), QList<VTControlPath>({ { canonical(package + QStringLiteral("/Control/a.xml")), 2 } }));
    QCOMPARE(index->packages().value(QStringLiteral("P")), QStringList(canonical(package)));
    QCOMPARE(iface->keys(), QStringList(QStringLiteral("k")));

    // Reached only through the link, the package is still indexed.
    auto linkedOnly = recordingInterface();
    std::unique_ptr<VTIndex> linkedIndex(linkedOnly->manager()->index());
    linkedOnly->manager()->loadDataPath({ link });
    QCOMPARE(linkedIndex->controlPaths(), index->controlPaths());
    QCOMPARE(linkedIndex->packages(), index->packages());
    QCOMPARE(linkedOnly->manager()->loadedDirectories(), QStringList(canonical(data)));
}

void TestVTManager::packageWithoutControlFolderSendsTwoMessages()
{
    QTemporaryDir dir;
    const QString data = dir.filePath(QStringLiteral("data"));
    const QString package = VTTest::makePackage(dir, QStringLiteral("data"), QStringLiteral("Empty.vantles"), {});
    VTTest::writeFile(dir, QStringLiteral("data/Empty.vantles/control/a.xml"), oneVantle("k"));

    auto iface = recordingInterface();
    std::unique_ptr<VTIndex> index(iface->manager()->index());
    iface->manager()->loadDataPath({ data });
    QCOMPARE(iface->messages,
        QStringList({
            QStringLiteral("indexing packages (*.vantles) in %1 ").arg(data),
            QStringLiteral("indexing control files in %1").arg(package),
            QStringLiteral("looking for control files in :%1/Control").arg(package),
        }));
    QVERIFY(index->controlPaths().isEmpty());
}

void TestVTManager::onlyFilesDirectlyInControlFolderAreIndexed()
{
    QTemporaryDir dir;
    const QString data = dir.filePath(QStringLiteral("data"));
    const QString package = VTTest::makePackage(dir, QStringLiteral("data"), QStringLiteral("P.vantles"),
        { { "a.xml", oneVantle("a") }, { "sub.xml/inner.xml", oneVantle("inner") }, { "deeper/b.xml", oneVantle("b") },
            { "notes.txt", oneVantle("notes") }, { "other.xml", "<config/>" } });
    VTTest::writeFile(dir, QStringLiteral("data/P.vantles/a.xml"), oneVantle("beside"));
    VTTest::writeFile(dir, QStringLiteral("data/loose.xml"), oneVantle("loose"));

    auto iface = recordingInterface();
    std::unique_ptr<VTIndex> index(iface->manager()->index());
    iface->manager()->loadDataPath({ data });
    const QString control = canonical(package + QStringLiteral("/Control"));
    QCOMPARE(iface->messages.filter(QStringLiteral("looking for")).size(), 1);
    QStringList found = iface->messages.filter(QStringLiteral("found control file"));
    found.sort();
    QCOMPARE(found,
        QStringList({ QStringLiteral("found control file :%1/a.xml").arg(control),
            QStringLiteral("found control file :%1/other.xml").arg(control) }));
    QCOMPARE(index->controlPaths(), QList<VTControlPath>({ { control + QStringLiteral("/a.xml"), 2 } }));
    QCOMPARE(iface->keys(), QStringList(QStringLiteral("a")));
}

void TestVTManager::symbolicLinksAreNotFollowed()
{
    QTemporaryDir dir;
    const QString data = dir.filePath(QStringLiteral("data"));
    const QString real = VTTest::makePackage(
        dir, QStringLiteral("data"), QStringLiteral("Real.vantles"), { { "a.xml", oneVantle("a") } });
    const QString outside = VTTest::makePackage(
        dir, QStringLiteral("elsewhere"), QStringLiteral("Outside.vantles"), { { "o.xml", oneVantle("o") } });
    const QString control = real + QStringLiteral("/Control");
    QVERIFY(QFile::link(control, control + QStringLiteral("/loop.xml")));
    QVERIFY(QFile::link(real, control + QStringLiteral("/up.xml")));
    QVERIFY(QFile::link(control + QStringLiteral("/a.xml"), control + QStringLiteral("/alias.xml")));
    QVERIFY(QFile::link(outside + QStringLiteral("/Control/o.xml"), control + QStringLiteral("/o.xml")));
    QVERIFY(QFile::link(data, data + QStringLiteral("/loop.vantles")));
    QVERIFY(QFile::link(real, data + QStringLiteral("/Alias.vantles")));
    QVERIFY(QFile::link(outside, data + QStringLiteral("/Outside.vantles")));

    auto iface = recordingInterface();
    std::unique_ptr<VTIndex> index(iface->manager()->index());
    iface->manager()->loadDataPath({ data });
    QCOMPARE(iface->messages.filter(QStringLiteral("indexing control files")),
        QStringList(QStringLiteral("indexing control files in %1").arg(real)));
    QCOMPARE(iface->messages.filter(QStringLiteral("found control file")).size(), 1);
    QCOMPARE(index->controlPaths(), QList<VTControlPath>({ { canonical(control + QStringLiteral("/a.xml")), 2 } }));
    QCOMPARE(iface->manager()->loadedDirectories(), QStringList(canonical(data)));
}

void TestVTManager::unreadableEntriesAreSkipped_data()
{
    QTest::addColumn<QString>("path"); // made unreadable, relative to the package
    QTest::addColumn<bool>("packageListed");
    QTest::addColumn<bool>("controlFolderListed");
    QTest::newRow("control file") << "Control/b.xml" << true << true;
    QTest::newRow("control folder") << "Control" << true << false;
    QTest::newRow("package folder") << "" << false << false;
}

void TestVTManager::unreadableEntriesAreSkipped()
{
    QFETCH(QString, path);
    QFETCH(bool, packageListed);
    QFETCH(bool, controlFolderListed);
    if (geteuid() == 0)
        QSKIP("Permission bits do not stop root from listing folders or reading files.");

    QTemporaryDir dir;
    const QString data = dir.filePath(QStringLiteral("data"));
    const QString package = VTTest::makePackage(dir, QStringLiteral("data"), QStringLiteral("P.vantles"),
        { { "a.xml", oneVantle("a") }, { "b.xml", oneVantle("b") } });
    const QString locked = path.isEmpty() ? package : QDir(package).filePath(path);
    const QFile::Permissions permissions = QFile::permissions(locked);
    QVERIFY(QFile::setPermissions(locked, QFileDevice::Permissions()));

    auto iface = recordingInterface();
    std::unique_ptr<VTIndex> index(iface->manager()->index());
    iface->manager()->loadDataPath({ data });
    QFile::setPermissions(locked, permissions);

    QCOMPARE(iface->messages.filter(QStringLiteral("indexing control files")).size(), packageListed ? 1 : 0);
    QCOMPARE(iface->messages.filter(QStringLiteral("found control file")).size(), controlFolderListed ? 1 : 0);
    QCOMPARE(index->controlPaths().size(), controlFolderListed ? 1 : 0);
}

void TestVTManager::givenIndexIsOpenedAndOutlivesInterface()
{
    QTemporaryDir dir;
    VTTest::makePackage(dir, QStringLiteral("data"), QStringLiteral("P.vantles"),
        { { "a.xml", oneVantle("a") }, { "b.xml", oneVantle("b") } });
    VTContext context;
    auto index = std::make_unique<CountingIndex>(nullptr, QStringList());
    QSignalSpy destroyed(index.get(), &QObject::destroyed);

    auto iface = std::make_unique<VTInterface>(context, QStringList(dir.filePath(QStringLiteral("data"))), index.get());
    QCOMPARE(iface->manager()->index(), index.get());
    QCOMPARE(iface->manager()->interface(), iface.get());
    QCOMPARE(index->opens, 1);
    QCOMPARE(index->indexed, 2);
    QStringList keys = iface->keys();
    keys.sort();
    QCOMPARE(keys, QStringList({ "a", "b" }));
    QCOMPARE(iface->manager()->keys(), index->keys());

    iface->manager()->indexControFile(dir.filePath(QStringLiteral("data/P.vantles/Control/a.xml")), dir.path());
    QCOMPARE(index->indexed, 3);
    QCOMPARE(index->controlPaths().size(), 3);

    iface.reset();
    QCOMPARE(destroyed.count(), 0);
    QCOMPARE(index->opens, 1);
}

void TestVTManager::madeIndexOutlivesInterface()
{
    QTemporaryDir dir;
    VTTest::makePackage(dir, QStringLiteral("data"), QStringLiteral("P.vantles"), { { "a.xml", oneVantle("a") } });
    const QStringList dataPath { dir.filePath(QStringLiteral("data")), dir.filePath(QStringLiteral("none")) };
    VTContext context;
    auto iface = std::make_unique<VTInterface>(context, dataPath);
    QPointer<VTIndex> index = iface->manager()->index();
    QVERIFY(index);
    QCOMPARE(index->parent(), nullptr);
    QCOMPARE(index->paths(), dataPath);
    QCOMPARE(index->context(), iface->context());
    QCOMPARE(index->controlPaths().size(), 1);

    iface.reset();
    QVERIFY(index);
    std::unique_ptr<VTIndex> owner(index.data());
    // The settings it read went with the manager; it makes its own.
    QVERIFY(index->context());
    QCOMPARE(index->context()->parent(), index.data());
    QCOMPARE(index->keys(), QStringList(QStringLiteral("a")));
}

void TestVTManager::contextIsCopiedAtConstruction()
{
    VTContext host;
    host.set(VTContextMessageThreshold, 300);
    host.set(VTContextKey(1000), QStringLiteral("kept"));
    // Sent while constructing, so the default handler prints it.
    QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QStringLiteral("^Information:Indexed packages in ")));
    RecordingInterface iface(host, {});
    std::unique_ptr<VTIndex> index(iface.manager()->index());
    VTContext* copy = iface.context();
    QVERIFY(copy != &host);
    QCOMPARE(iface.manager()->context(), copy);
    QCOMPARE(static_cast<const VTInterface&>(iface).context(), copy);
    QCOMPARE(copy->keys(), host.keys());
    QCOMPARE(copy->get(VTContextKey(1000)), QVariant(QStringLiteral("kept")));

    QSignalSpy copyChanged(copy, &VTContext::settingDidChange);
    host.set(VTContextMessageThreshold, 100);
    QCOMPARE(copyChanged.count(), 0);
    QCOMPARE(copy->get(VTContextMessageThreshold), QVariant(300));
    iface.manager()->handleMessage(VTMessageInformation, QStringLiteral("still passes"));
    QCOMPARE(iface.messages, QStringList(QStringLiteral("still passes")));

    copy->set(VTContextMessageThreshold, 100);
    iface.manager()->handleMessage(VTMessageInformation, QStringLiteral("dropped"));
    QCOMPARE(iface.messages.size(), 1);
    QCOMPARE(host.get(VTContextMessageThreshold), QVariant(100));
}

void TestVTManager::alwaysShowToolTipsIsClearedOnDestruction_data()
{
    QTest::addColumn<QVariant>("setting"); // invalid: absent
    QTest::addColumn<bool>("setByHost");
    QTest::addColumn<bool>("whileAlive");
    QTest::newRow("setting true") << QVariant(true) << false << true;
    QTest::newRow("setting false, set by host") << QVariant(false) << true << true;
    QTest::newRow("setting absent, set by host") << QVariant() << true << true;
    QTest::newRow("setting absent") << QVariant() << false << false;
}

void TestVTManager::alwaysShowToolTipsIsClearedOnDestruction()
{
    QFETCH(QVariant, setting);
    QFETCH(bool, setByHost);
    QFETCH(bool, whileAlive);

    QWidget first;
    QWidget second;
    QWidget child(&first);
    for (QWidget* widget : { &first, &second })
        widget->setAttribute(Qt::WA_AlwaysShowToolTips, setByHost);
    VTContext context;
    if (setting.isValid())
        context.set(VTContextAlwaysShowToolTips, setting);

    auto iface = std::make_unique<VTInterface>(context, QStringList());
    std::unique_ptr<VTIndex> index(iface->manager()->index());
    QCOMPARE(first.testAttribute(Qt::WA_AlwaysShowToolTips), whileAlive);
    QCOMPARE(second.testAttribute(Qt::WA_AlwaysShowToolTips), whileAlive);
    QVERIFY(!child.testAttribute(Qt::WA_AlwaysShowToolTips));

    iface.reset();
    QVERIFY(!first.testAttribute(Qt::WA_AlwaysShowToolTips));
    QVERIFY(!second.testAttribute(Qt::WA_AlwaysShowToolTips));
}

void TestVTManager::eventFilterFollowsSetting_data()
{
    QTest::addColumn<QVariant>("setting"); // invalid: absent
    QTest::addColumn<bool>("installed");
    QTest::newRow("absent") << QVariant() << false;
    QTest::newRow("false") << QVariant(false) << false;
    QTest::newRow("true") << QVariant(true) << true;
}

void TestVTManager::eventFilterFollowsSetting()
{
    QFETCH(QVariant, setting);
    QFETCH(bool, installed);
    VTContext context;
    if (setting.isValid())
        context.set(VTContextInstallEventFilter, setting);
    VTInterface iface(context, {});
    std::unique_ptr<VTIndex> index(iface.manager()->index());
    VTManager* manager = iface.manager();

    // An application filter living in another thread is reported, not
    // called, whenever an event is sent: that tells whether it is there.
    const char* report = "QCoreApplication: Application event filter cannot be in a different thread.";
    QThread thread;
    thread.start();
    manager->moveToThread(&thread);
    if (installed)
        QTest::ignoreMessage(QtWarningMsg, report);
    else
        QTest::failOnWarning(report);
    QObject receiver;
    QEvent event(QEvent::User);
    QCoreApplication::sendEvent(&receiver, &event);
    QVERIFY(QMetaObject::invokeMethod(
        manager, [manager] { manager->moveToThread(QCoreApplication::instance()->thread()); },
        Qt::BlockingQueuedConnection));
    thread.quit();
    QVERIFY(thread.wait());
    QCOMPARE(manager->thread(), QThread::currentThread());
}

void TestVTManager::scaleIsReadFromSetting_data()
{
    QTest::addColumn<QVariant>("setting"); // invalid: absent
    QTest::addColumn<float>("scale");
    QTest::newRow("absent") << QVariant() << 1.0f;
    QTest::newRow("double") << QVariant(1.5) << 1.5f;
    QTest::newRow("int") << QVariant(2) << 2.0f;
    QTest::newRow("string") << QVariant(QStringLiteral("0.75")) << 0.75f;
    QTest::newRow("zero") << QVariant(0.0) << 0.0f;
}

void TestVTManager::scaleIsReadFromSetting()
{
    QFETCH(QVariant, setting);
    QFETCH(float, scale);
    VTContext context;
    if (setting.isValid())
        context.set(VTContextInterfaceScale, setting);
    VTInterface iface(context, {});
    std::unique_ptr<VTIndex> index(iface.manager()->index());
    QCOMPARE(iface.manager()->realScaleValue(), scale);
    // Read once: later changes do not reach it.
    iface.context()->set(VTContextInterfaceScale, 9.0);
    QCOMPARE(iface.manager()->realScaleValue(), scale);
}

void TestVTManager::loadDataFilterBuildsOnlyVantleElements_data()
{
    QTest::addColumn<QString>("tag");
    QTest::addColumn<int>("answer");
    QTest::newRow("vantle") << "vantle" << 1;
    QTest::newRow("vantles") << "vantles" << 1;
    QTest::newRow("capitalised") << "Vantle" << 4;
    QTest::newRow("longer name") << "vantlesx" << 4;
    QTest::newRow("prefixed") << "vt:vantle" << 4;
    QTest::newRow("title") << "title" << 4;
    QTest::newRow("empty") << "" << 4;
}

void TestVTManager::loadDataFilterBuildsOnlyVantleElements()
{
    QFETCH(QString, tag);
    QFETCH(int, answer);
    QXmlStreamAttributes attributes;
    attributes.append(QStringLiteral("key"), QStringLiteral("k"));
    QCOMPARE(loadDataShouldGenerateElement(tag, attributes, nullptr), answer);
    QCOMPARE(loadDataShouldGenerateElement(tag, {}, this), answer);
}

QTEST_MAIN(TestVTManager)
#include "tst_vtmanager.moc"
