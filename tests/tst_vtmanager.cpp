// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTTestHelpers.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTIndex.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTXmlElement.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <memory>
#include <unistd.h>

using namespace Vantles;

class TestVTManager : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void qmlModuleNeedsNoManager();
    void gatePassesTypesUpToThresholdToTheHandler_data();
    void gatePassesTypesUpToThresholdToTheHandler();
    void loadingMessagesReachOnlyTheDefaultHandlerOfACopiedContext_data();
    void loadingMessagesReachOnlyTheDefaultHandlerOfACopiedContext();

    void sameFolderIsScannedEachTimeButRecordedOnce();
    void onlyFilesDirectlyInControlFolderAreIndexedAndLinksNotFollowed();
    void unreadableEntriesAreSkipped_data();
    void unreadableEntriesAreSkipped();

    void indexIsOpenedAndGoesOnlyWithTheManagerThatMadeIt();
    void settingsApplyFromConstructionToDestruction_data();
    void settingsApplyFromConstructionToDestruction();
};

namespace {

QByteArray oneVantle(const QString& key)
{
    return VTTest::controlFileXml(QString(), QString(), { { key, "<title>t</title>" } });
}

// An interface with a shorthand for the index its manager made.
template <class Interface = VTInterface> struct WithIndex : Interface {
    explicit WithIndex(VTContext& context, const QStringList& dataPath = {})
        : Interface(context, dataPath)
        , index(this->manager()->index())
    {
    }
    VTIndex* index;
};

class CountingIndex : public VTIndex {
public:
    using VTIndex::VTIndex;
    bool open() override
    {
        ++opens;
        return VTIndex::open();
    }
    int opens = 0;
};

// Walks @p dataPath with a host that gets every message.
struct Scan {
    explicit Scan(const QStringList& dataPath)
    {
        host.context()->set(VTContextMessageThreshold, 300);
        host.manager()->loadDataPath(dataPath);
    }
    // The texts of the messages containing @p part.
    QStringList lines(const char* part) const
    {
        return host.messages.filter(QLatin1String(part)).replaceInStrings(QStringLiteral("300:"), QString());
    }
    VTContext context;
    WithIndex<VTTest::RecordingHost> host { context };
};

QString canonical(const QString& path)
{
    return QFileInfo(path).canonicalFilePath();
}

} // namespace

void TestVTManager::qmlModuleNeedsNoManager()
{
    // Runs first: the module registers itself when a document imports it,
    // before any manager exists, and stays as several managers come and go.
    // This program uses no class of the view library, so the engine finds
    // the module as any other, by its import path, and loads its plug-in.
    const auto make = [](const char* import, const char* type) -> QString {
        QQmlEngine engine;
        engine.addImportPath(QStringLiteral(VANTLES_QML_DIR));
        QQmlComponent component(&engine);
        component.setData(QByteArray("import QtQuick\nimport ") + import + "\n" + type + " {}\n", QUrl());
        const std::unique_ptr<QObject> object(component.isReady() ? component.create() : nullptr);
        return object ? QString::fromLatin1(object->metaObject()->className()) : QString();
    };
    const char* uri = "com.zelvane.vantles.qml 1.0";
    const auto makesEveryType = [&] {
        return make(uri, "VTXmlElement") == QLatin1String("Vantles::VTXmlElement")
            && make(uri, "VTStyledRectangle") == QLatin1String("Vantles::VTStyledRectangleComponent")
            && make(uri, "VTScrollBar") == QLatin1String("VTScrollBarComponent")
            && make(uri, "VTVideoComponent") == QLatin1String("Vantles::VTVideoComponent");
    };
    QVERIFY(makesEveryType());
    QVERIFY(make("com.zelvane.vantles.qml 2.0", "VTXmlElement").isEmpty());
    QVERIFY(make(uri, "VTStyledRectangleComponent").isEmpty());
    VTContext context;
    {
        WithIndex<> first(context);
        WithIndex<> second(context);
        QVERIFY(makesEveryType());
    }
    WithIndex<> third(context);
    QVERIFY(makesEveryType());
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
    QTest::newRow("debug") << all << 400 << m << "DEBUG:M" << true;
    QTest::newRow("other number") << all << -5 << m << "-5:M" << true;
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
    WithIndex<> iface(context);
    if (threshold.isValid())
        iface.context()->set(VTContextMessageThreshold, threshold);

    // The default handler prints whatever reaches it; the gate may drop it.
    QTest::ignoreMessage(QtDebugMsg, qPrintable(printed));
    iface.handleMessage(VTMessageType(type), message);
    VTTest::MessageLog log;
    iface.manager()->handleMessage(VTMessageType(type), message);
    QCOMPARE(log.debugMessages(), passes ? QStringList(printed) : QStringList());
}

void TestVTManager::loadingMessagesReachOnlyTheDefaultHandlerOfACopiedContext_data()
{
    QTest::addColumn<QVariant>("threshold");
    QTest::addColumn<bool>("shown");
    QTest::newRow("default threshold") << QVariant() << false;
    QTest::newRow("299") << QVariant(299) << false;
    QTest::newRow("300") << QVariant(300) << true;
}

void TestVTManager::loadingMessagesReachOnlyTheDefaultHandlerOfACopiedContext()
{
    QFETCH(QVariant, threshold);
    QFETCH(bool, shown);

    QTemporaryDir dir;
    const QString data = dir.filePath(QStringLiteral("data"));
    VTTest::makePackage(dir, QStringLiteral("data"), QStringLiteral("Shapes.vantles"),
        { { "a.xml", oneVantle(QStringLiteral("k")) }, { "notes.txt", oneVantle(QStringLiteral("n")) } });
    VTContext context;
    if (threshold.isValid())
        context.set(VTContextMessageThreshold, threshold);
    context.set(VTContextKey(1000), QStringLiteral("kept"));

    // While constructing, the host's overrides are not in place yet.
    VTTest::MessageLog log;
    WithIndex<VTTest::RecordingHost> iface(context, { data });
    QCOMPARE(iface.keys(), QStringList(QStringLiteral("k")));
    QCOMPARE(iface.messages, QStringList());
    const QStringList messages = log.debugMessages();
    QCOMPARE(messages.size(), shown ? 5 : 0);
    if (shown) {
        QCOMPARE(messages.first(), QStringLiteral("Information:indexing packages (*.vantles) in %1 ").arg(data));
        static const QRegularExpression timing(
            QStringLiteral("^Information:Indexed packages in \\d+(\\.\\d+)? seconds$"));
        QVERIFY2(timing.match(messages.last()).hasMatch(), qPrintable(messages.last()));
    }

    VTContext* copy = iface.context();
    QVERIFY(copy != &context);
    QCOMPARE(iface.manager()->context(), copy);
    QCOMPARE(copy->get(VTContextKey(1000)), QVariant(QStringLiteral("kept")));
    context.set(VTContextMessageThreshold, 100);
    iface.manager()->handleMessage(VTMessageWarning, QStringLiteral("after"));
    copy->set(VTContextMessageThreshold, 100);
    iface.manager()->handleMessage(VTMessageWarning, QStringLiteral("dropped"));
    QCOMPARE(iface.messages, QStringList(QStringLiteral("200:after")));
    QCOMPARE(log.debugMessages().size(), messages.size());
}

void TestVTManager::sameFolderIsScannedEachTimeButRecordedOnce()
{
    QTemporaryDir dir;
    const QString data = dir.filePath(QStringLiteral("data"));
    const QString package = VTTest::makePackage(
        dir, QStringLiteral("data"), QStringLiteral("P.vantles"), { { "a.xml", oneVantle("k") } });
    const QString link = dir.filePath(QStringLiteral("link"));
    QVERIFY(QFile::link(data, link));
    const QString file = VTTest::writeFile(dir, QStringLiteral("file.vantles"), oneVantle("k"));

    // Entries that are not folders are skipped (and reported).
    const Scan scan({ file, dir.filePath(QStringLiteral("missing")), QString(), link, data, data + "/." });
    // Through the link the package is found under the link's name, but
    // indexed by its canonical path.
    const QString indexing = QStringLiteral("indexing control files in %1");
    QCOMPARE(scan.lines("indexing control files"),
        QStringList({ indexing.arg(link + "/P.vantles"), indexing.arg(package), indexing.arg(package) }));
    QCOMPARE(scan.lines("found control file").size(), 3);
    QCOMPARE(scan.host.manager()->loadedDirectories(), QStringList(canonical(data)));
    const QList<VTControlPath> indexed { { canonical(package + QStringLiteral("/Control/a.xml")), 2 } };
    QCOMPARE(scan.host.index->controlPaths(), indexed);
    QCOMPARE(scan.host.index->packages().value(QStringLiteral("P")), QStringList(canonical(package)));

    // Reached only through the link, the package is still indexed.
    const Scan linkedOnly({ link });
    QCOMPARE(linkedOnly.host.index->controlPaths(), indexed);
    QCOMPARE(linkedOnly.host.manager()->loadedDirectories(), QStringList(canonical(data)));
}

void TestVTManager::onlyFilesDirectlyInControlFolderAreIndexedAndLinksNotFollowed()
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
    const QString outside = VTTest::makePackage(
        dir, QStringLiteral("elsewhere"), QStringLiteral("Outside.vantles"), { { "o.xml", oneVantle("o") } });
    const QString control = package + QStringLiteral("/Control");
    for (const auto& [target, link] : QList<QPair<QString, QString>> { { control, control + "/loop.xml" },
             { package, control + "/up.xml" }, { control + "/a.xml", control + "/alias.xml" },
             { outside + "/Control/o.xml", control + "/o.xml" }, { data, data + "/loop.vantles" },
             { package, data + "/Alias.vantles" }, { outside, data + "/Outside.vantles" } })
        QVERIFY(QFile::link(target, link));

    // Only a.xml serves; other.xml and the folder named "control" are reported.
    const Scan scan({ data });
    const QString canonicalControl = canonical(control);
    QCOMPARE(scan.host.messages.filter(QStringLiteral("200:")),
        QStringList({ QStringLiteral("200:%1/Empty.vantles: This package has no Control folder, so it serves no "
                                     "vantle.")
                          .arg(data),
            QStringLiteral("200:%1/other.xml:1: The first element is <config>, not <vantles>: this is not a "
                           "control file.")
                .arg(canonicalControl) }));
    QCOMPARE(scan.host.index->controlPaths(), QList<VTControlPath>({ { canonicalControl + "/a.xml", 2 } }));
    QCOMPARE(scan.host.manager()->loadedDirectories(), QStringList(canonical(data)));
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
    const QString package = VTTest::makePackage(dir, QStringLiteral("data"), QStringLiteral("P.vantles"),
        { { "a.xml", oneVantle("a") }, { "b.xml", oneVantle("b") } });
    const QString locked = path.isEmpty() ? package : QDir(package).filePath(path);
    const QFile::Permissions permissions = QFile::permissions(locked);
    QVERIFY(QFile::setPermissions(locked, QFileDevice::Permissions()));
    const Scan scan({ dir.filePath(QStringLiteral("data")) });
    QFile::setPermissions(locked, permissions);

    QCOMPARE(scan.lines("indexing control files").size(), packageListed ? 1 : 0);
    QCOMPARE(scan.host.index->controlPaths().size(), controlFolderListed ? 1 : 0);
}

void TestVTManager::indexIsOpenedAndGoesOnlyWithTheManagerThatMadeIt()
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
    iface->manager()->indexControFile(dir.filePath(QStringLiteral("data/P.vantles/Control/a.xml")), dir.path());
    QCOMPARE(given->controlPaths().size(), 3);
    iface.reset();
    QCOMPARE(destroyed.count(), 0);
    QCOMPARE(given->opens, 1);

    // One the manager makes goes with it.
    iface = std::make_unique<VTInterface>(context, dataPath);
    QPointer<VTIndex> made = iface->manager()->index();
    QCOMPARE(made->paths(), dataPath);
    QCOMPARE(made->context(), iface->context());
    QCOMPARE(made->controlPaths().size(), 2);
    iface.reset();
    QVERIFY(!made);
}

void TestVTManager::settingsApplyFromConstructionToDestruction_data()
{
    QTest::addColumn<QVariant>("alwaysShow"); // invalid: setting absent
    QTest::addColumn<bool>("setByHost");
    QTest::addColumn<bool>("shownWhileAlive");
    QTest::addColumn<QVariant>("filter");
    QTest::addColumn<bool>("installed");
    QTest::addColumn<QVariant>("scale");
    QTest::addColumn<float>("realScale");
    QTest::addColumn<int>("scaled"); // 10 pixels, scaled and truncated; a scale of 0 leaves them
    const QVariant absent;
    QTest::newRow("absent") << absent << false << false << absent << false << absent << 1.0f << 10;
    QTest::newRow("true") << QVariant(true) << false << true << QVariant(true) << true << QVariant(1.5) << 1.5f << 15;
    QTest::newRow("false, set by host") << QVariant(false) << true << true << QVariant(false) << false
                                        << QVariant(QStringLiteral("0.75")) << 0.75f << 7;
    QTest::newRow("absent, set by host") << absent << true << true << absent << false << QVariant(0.0) << 0.0f << 10;
}

void TestVTManager::settingsApplyFromConstructionToDestruction()
{
    QFETCH(QVariant, alwaysShow);
    QFETCH(bool, setByHost);
    QFETCH(bool, shownWhileAlive);
    QFETCH(QVariant, filter);
    QFETCH(bool, installed);
    QFETCH(QVariant, scale);
    QFETCH(float, realScale);
    QFETCH(int, scaled);

    QWidget first;
    QWidget second;
    QWidget child(&first);
    for (QWidget* widget : { &first, &second })
        widget->setAttribute(Qt::WA_AlwaysShowToolTips, setByHost);
    VTContext context;
    for (const auto& [key, value] : QList<QPair<VTContextKey, QVariant>> { { VTContextAlwaysShowToolTips, alwaysShow },
             { VTContextInstallEventFilter, filter }, { VTContextInterfaceScale, scale } }) {
        if (value.isValid())
            context.set(key, value);
    }
    auto iface = std::make_unique<WithIndex<>>(context);
    VTManager* manager = iface->manager();
    QCOMPARE(first.testAttribute(Qt::WA_AlwaysShowToolTips), shownWhileAlive);
    QCOMPARE(second.testAttribute(Qt::WA_AlwaysShowToolTips), shownWhileAlive);
    QVERIFY(!child.testAttribute(Qt::WA_AlwaysShowToolTips));
    QCOMPARE(manager->realScaleValue(), realScale);
    QCOMPARE(manager->getScaledSize(10), scaled);
    iface->context()->set(VTContextInterfaceScale, 9.0);
    QCOMPARE(manager->realScaleValue(), realScale); // read once

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

    iface.reset();
    QVERIFY(!first.testAttribute(Qt::WA_AlwaysShowToolTips));
    QVERIFY(!second.testAttribute(Qt::WA_AlwaysShowToolTips));
}

QTEST_MAIN(TestVTManager)
#include "tst_vtmanager.moc"
