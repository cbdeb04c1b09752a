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
    void gatePassesTypesUpToThresholdToTheHandler_data();
    void gatePassesTypesUpToThresholdToTheHandler();
    void loadingMessagesReachOnlyTheDefaultHandler_data();
    void loadingMessagesReachOnlyTheDefaultHandler();
    void defaultHooksAnswerWithoutTheHost();

    void entriesThatAreNotFoldersAreSkipped();
    void sameFolderIsScannedEachTimeButRecordedOnce();
    void onlyFilesDirectlyInControlFolderAreIndexed();
    void symbolicLinksAreNotFollowed();
    void unreadableEntriesAreSkipped_data();
    void unreadableEntriesAreSkipped();

    void indexIsOpenedAndOutlivesInterface();
    void contextIsCopiedAtConstruction();
    void alwaysShowToolTipsIsClearedOnDestruction_data();
    void alwaysShowToolTipsIsClearedOnDestruction();
    void eventFilterFollowsSetting_data();
    void eventFilterFollowsSetting();
    void scaleIsReadOnceFromSetting();
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

void TestVTManager::gatePassesTypesUpToThresholdToTheHandler_data()
{
    QTest::addColumn<QVariant>("threshold"); // invalid: absent
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("printed"); // by the default handler
    QTest::addColumn<bool>("passes");

    const QVariant all(1000);
    const QString m = QStringLiteral("M");
    QTest::newRow("warning") << all << 200 << m << "Warning:M" << true;
    QTest::newRow("error") << all << 100 << m << "ERROR:M" << true;
    QTest::newRow("information") << all << 300 << m << "Information:M" << true;
    QTest::newRow("debug") << all << 400 << m << "DEBUG:M" << true;
    QTest::newRow("other number") << all << 250 << m << "250:M" << true;
    QTest::newRow("negative number") << all << -5 << m << "-5:M" << true;
    QTest::newRow("quotes and umlauts") << all << 200 << "\"Größe\" %1"
                                        << "Warning:\"Größe\" %1" << true;
    QTest::newRow("empty text") << all << 100 << ""
                                << "ERROR:" << true;
    QTest::newRow("default, warning") << QVariant() << 200 << m << "Warning:M" << true;
    QTest::newRow("default, 201") << QVariant() << 201 << m << "201:M" << false;
    QTest::newRow("250, equal passes") << QVariant(250) << 250 << m << "250:M" << true;
    QTest::newRow("250, one more dropped") << QVariant(250) << 251 << m << "251:M" << false;
    QTest::newRow("0, error dropped") << QVariant(0) << 100 << m << "ERROR:M" << false;
}

void TestVTManager::gatePassesTypesUpToThresholdToTheHandler()
{
    QFETCH(QVariant, threshold);
    QFETCH(int, type);
    QFETCH(QString, message);
    QFETCH(QString, printed);
    QFETCH(bool, passes);
    VTContext context;
    VTInterface iface(context, {});
    std::unique_ptr<VTIndex> index(iface.manager()->index());
    if (threshold.isValid())
        iface.context()->set(VTContextMessageThreshold, threshold);

    // The default handler prints whatever reaches it; the gate may drop it.
    QTest::ignoreMessage(QtDebugMsg, qPrintable(printed));
    iface.handleMessage(VTMessageType(type), message);
    VTTest::MessageLog log;
    iface.manager()->handleMessage(VTMessageType(type), message);
    QCOMPARE(log.debugMessages(), passes ? QStringList(printed) : QStringList());
}

void TestVTManager::loadingMessagesReachOnlyTheDefaultHandler_data()
{
    QTest::addColumn<QVariant>("threshold");
    QTest::addColumn<bool>("shown");
    QTest::newRow("default threshold") << QVariant() << false;
    QTest::newRow("299") << QVariant(299) << false;
    QTest::newRow("300") << QVariant(300) << true;
}

void TestVTManager::loadingMessagesReachOnlyTheDefaultHandler()
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

    // While constructing, the host's overrides are not in place yet.
    VTTest::MessageLog log;
    RecordingInterface iface(context, { data });
    std::unique_ptr<VTIndex> index(iface.manager()->index());
    QCOMPARE(iface.keys(), QStringList(QStringLiteral("k")));
    QCOMPARE(iface.messages, QStringList());
    const QStringList messages = informationOnly(log.debugMessages());
    QCOMPARE(messages.size(), shown ? 5 : 0);
    if (shown) {
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

    iface.manager()->handleMessage(VTMessageWarning, QStringLiteral("after"));
    QCOMPARE(iface.messages, QStringList(QStringLiteral("after")));
    QCOMPARE(iface.types, QList<int>({ VTMessageWarning }));
    QCOMPARE(log.debugMessages().size(), messages.size());
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
    QCOMPARE(iface.manager()->keyForObject(&named), QStringLiteral("saveButton"));
    QVERIFY(iface.keyForObject(nullptr).isEmpty());

    // Type 2 would start a browser, so only the other two are tried.
    for (const QString& resource : { QStringLiteral("topic"), QStringLiteral("/tmp"), QString() }) {
        QVERIFY(!iface.openExternalResource(VTExternalResourceDocumentation, resource));
        QVERIFY(!iface.openExternalResource(VTExternalResourcePath, resource));
    }
    QCOMPARE(iface.shortCutForObject(QStringLiteral("k"), &named, QStringLiteral("Ctrl+S")), QStringLiteral("Ctrl+S"));
    QCOMPARE(iface.shortCutForObject(QString(), nullptr, QString()), QString());
    QCOMPARE(iface.createWindow(VTWindowReserved), nullptr);
    QCOMPARE(iface.createWindow(VTWindowType(7)), nullptr);
}

void TestVTManager::entriesThatAreNotFoldersAreSkipped()
{
    QTemporaryDir dir;
    const QString file = VTTest::writeFile(dir, QStringLiteral("file.vantles"), oneVantle("k"));
    auto iface = recordingInterface();
    std::unique_ptr<VTIndex> index(iface->manager()->index());
    iface->manager()->loadDataPath({ file, dir.filePath(QStringLiteral("missing")), QString() });
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

    // Reached only through the link, the package is still indexed.
    auto linkedOnly = recordingInterface();
    std::unique_ptr<VTIndex> linkedIndex(linkedOnly->manager()->index());
    linkedOnly->manager()->loadDataPath({ link });
    QCOMPARE(linkedIndex->controlPaths(), index->controlPaths());
    QCOMPARE(linkedOnly->manager()->loadedDirectories(), QStringList(canonical(data)));
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
    // The control folder's name is matched exactly.
    VTTest::writeFile(dir, QStringLiteral("data/Empty.vantles/control/a.xml"), oneVantle("k"));

    auto iface = recordingInterface();
    std::unique_ptr<VTIndex> index(iface->manager()->index());
    iface->manager()->loadDataPath({ data });
    const QString control = canonical(package + QStringLiteral("/Control"));
    QStringList messages = iface->messages.filter(QStringLiteral("control file"));
    messages.sort();
    QCOMPARE(messages,
        QStringList({ QStringLiteral("found control file :%1/a.xml").arg(control),
            QStringLiteral("found control file :%1/other.xml").arg(control),
            QStringLiteral("indexing control files in %1/Empty.vantles").arg(data),
            QStringLiteral("indexing control files in %1").arg(package),
            QStringLiteral("looking for control files in :%1/Empty.vantles/Control").arg(data),
            QStringLiteral("looking for control files in :%1/Control").arg(package) }));
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

void TestVTManager::indexIsOpenedAndOutlivesInterface()
{
    QTemporaryDir dir;
    VTTest::makePackage(dir, QStringLiteral("data"), QStringLiteral("P.vantles"),
        { { "a.xml", oneVantle("a") }, { "b.xml", oneVantle("b") } });
    const QStringList dataPath { dir.filePath(QStringLiteral("data")), dir.filePath(QStringLiteral("none")) };
    VTContext context;
    auto given = std::make_unique<CountingIndex>(nullptr, QStringList());
    QSignalSpy destroyed(given.get(), &QObject::destroyed);
    auto iface = std::make_unique<VTInterface>(context, dataPath, given.get());
    QCOMPARE(iface->manager()->index(), given.get());
    QCOMPARE(given->opens, 1);
    QCOMPARE(given->indexed, 2);
    QStringList keys = iface->keys();
    keys.sort();
    QCOMPARE(keys, QStringList({ "a", "b" }));
    iface->manager()->indexControFile(dir.filePath(QStringLiteral("data/P.vantles/Control/a.xml")), dir.path());
    QCOMPARE(given->indexed, 3);
    QCOMPARE(given->controlPaths().size(), 3);
    iface.reset();
    QCOMPARE(destroyed.count(), 0);
    QCOMPARE(given->opens, 1);

    // One the manager makes is not deleted either; it makes its own settings
    // once the manager's copy is gone.
    iface = std::make_unique<VTInterface>(context, dataPath);
    QPointer<VTIndex> made = iface->manager()->index();
    QCOMPARE(made->parent(), nullptr);
    QCOMPARE(made->paths(), dataPath);
    QCOMPARE(made->context(), iface->context());
    iface.reset();
    QVERIFY(made);
    std::unique_ptr<VTIndex> owner(made.data());
    QCOMPARE(made->context()->parent(), made.data());
    QCOMPARE(made->controlPaths().size(), 2);
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
    QCOMPARE(copy->get(VTContextKey(1000)), QVariant(QStringLiteral("kept")));

    QSignalSpy copyChanged(copy, &VTContext::settingDidChange);
    host.set(VTContextMessageThreshold, 100);
    QCOMPARE(copyChanged.count(), 0);
    iface.manager()->handleMessage(VTMessageInformation, QStringLiteral("still passes"));
    copy->set(VTContextMessageThreshold, 100);
    iface.manager()->handleMessage(VTMessageInformation, QStringLiteral("dropped"));
    QCOMPARE(iface.messages, QStringList(QStringLiteral("still passes")));
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

void TestVTManager::scaleIsReadOnceFromSetting()
{
    const QList<QPair<QVariant, float>> rows { { QVariant(), 1.0f }, { QVariant(1.5), 1.5f },
        { QVariant(QStringLiteral("0.75")), 0.75f }, { QVariant(0.0), 0.0f } };
    for (const auto& row : rows) {
        VTContext context;
        if (row.first.isValid())
            context.set(VTContextInterfaceScale, row.first);
        VTInterface iface(context, {});
        std::unique_ptr<VTIndex> index(iface.manager()->index());
        QCOMPARE(iface.manager()->realScaleValue(), row.second);
        iface.context()->set(VTContextInterfaceScale, 9.0);
        QCOMPARE(iface.manager()->realScaleValue(), row.second);
    }
}

void TestVTManager::loadDataFilterBuildsOnlyVantleElements()
{
    QXmlStreamAttributes attributes;
    attributes.append(QStringLiteral("key"), QStringLiteral("k"));
    for (const char* tag : { "vantle", "vantles", "Vantle", "vantlesx", "vt:vantle", "title", "" }) {
        const int answer = qstrcmp(tag, "vantle") == 0 || qstrcmp(tag, "vantles") == 0 ? 1 : 4;
        QCOMPARE(loadDataShouldGenerateElement(QLatin1String(tag), attributes, nullptr), answer);
        QCOMPARE(loadDataShouldGenerateElement(QLatin1String(tag), {}, this), answer);
    }
}

QTEST_MAIN(TestVTManager)
#include "tst_vtmanager.moc"
