// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTTestHelpers.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTControlFileScanner_p.h>
#include <Vantles/VTIndex.h>
#include <Vantles/VTXmlElement.h>

#include <QRandomGenerator>
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>

#include <memory>
#include <unistd.h>

using Vantles::VTControlPath;
using Vantles::VTIndex;
using Vantles::VTXmlElement;

class TestVTIndex : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void onlyControlFilesBelowTheLocationAreIndexed_data();
    void onlyControlFilesBelowTheLocationAreIndexed();
    void packageNameIsNearestFolderWithPackageSuffix_data();
    void packageNameIsNearestFolderWithPackageSuffix();
    void componentPathsFollowPackagesAndSearchList_data();
    void componentPathsFollowPackagesAndSearchList();
    void keysAreDirectChildrenInSearchOrder();
    void setupClearsAndLostContextIsReplaced();
    void retrieveSearchesIndexedThenStoredFiles();
    void fileIndexedLastServesAMatchingLocale_data();
    void fileIndexedLastServesAMatchingLocale();
    void retrievedElementCarriesOriginAndKeyData_data();
    void retrievedElementCarriesOriginAndKeyData();
    void brokenControlFilesGiveNullWithoutCrash_data();
    void brokenControlFilesGiveNullWithoutCrash();
    void contentLimitsHoldAtTheLimitAndCutOnePast_data();
    void contentLimitsHoldAtTheLimitAndCutOnePast();

    void fastScanAgreesWithTheReader_data();
    void fastScanAgreesWithTheReader();
    void lookupsAgreeWithAScanOfEveryFile();
    void databaseKeepsWhatWasReadAcrossStarts();
    void filesAddedEditedOrRemovedWhileRunningAreFollowed();
    void editsKeepingSizeAndTimeAreSeen_data();
    void editsKeepingSizeAndTimeAreSeen();
};

namespace {

QByteArray vantleFile(const QString& key, const QByteArray& title, const QString& locale = QString())
{
    return VTTest::controlFileXml(locale, QString(), { { key, "<title>" + title + "</title>" } });
}

// One retrieve() call; owns the tree of what it found.
struct Lookup {
    Lookup(VTIndex& index, const QString& key, const QLocale& locale = QLocale::c())
        : result(index.retrieve(key, locale, location, depth, root))
        , owner(result ? root : nullptr)
    {
    }
    QString title() const
    {
        const VTXmlElement* t = result ? result->childElement(QStringLiteral("title")) : nullptr;
        return t ? t->content() : QString();
    }
    QString location = QStringLiteral("unchanged");
    int depth = -7;
    VTXmlElement* root = nullptr;
    VTXmlElement* result;
    std::unique_ptr<VTXmlElement> owner;
};

// Writes @p name into the folder "loc" and indexes it there.
QString addFile(VTIndex& index, const QTemporaryDir& dir, const QString& name, const QByteArray& xml)
{
    const QString file = VTTest::writeFile(dir, QStringLiteral("loc/") + name, xml);
    index.indexControlFile(file, dir.filePath(QStringLiteral("loc")));
    return file;
}

class ClearCountingIndex : public VTIndex {
public:
    using VTIndex::VTIndex;
    bool clear() override
    {
        ++clears;
        return VTIndex::clear();
    }
    int clears = 0;
};

} // namespace

void TestVTIndex::onlyControlFilesBelowTheLocationAreIndexed_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("depth"); // 0: not indexed
    QTest::addColumn<QString>("location");
    QTest::addColumn<QByteArray>("contents"); // written to the file unless null

    const QByteArray made; // the file as made by the test
    const QString f = QStringLiteral("loc/f.xml");
    const QString loc = QStringLiteral("loc");
    QTest::newRow("directly inside") << f << 1 << loc << made;
    QTest::newRow("three folders down") << "loc/x/y/deep.xml" << 3 << loc << made;
    QTest::newRow("control folder under package") << "Shapes.vantles/Control/a.xml" << 2 << "Shapes.vantles" << made;
    QTest::newRow("through a linked package folder") << "linked/Control/a.xml" << 2 << "linked" << made;
    QTest::newRow("under the location only through a link") << "linked/Control/a.xml" << 0 << "Shapes.vantles" << made;
    QTest::newRow("outside the location") << "other/a.xml" << 0 << loc << made;
    QTest::newRow("location only a name prefix") << "locx/a.xml" << 0 << loc << made;
    QTest::newRow("file as its own location") << f << 0 << f << made;
    QTest::newRow("missing location") << "gone/a.xml" << 0 << "gone" << made;
    QTest::newRow("missing file") << "loc/missing.xml" << 0 << loc << made;
    QTest::newRow("folder named like a control file") << "loc/x.xml" << 0 << loc << made;
    QTest::newRow("file without read permission") << f << 0 << loc << made;
    // The first tag decides, judged line by line as the library's contract
    // has it, odd as that is; lines are read in pieces of at most 1023 bytes.
    QTest::newRow("declaration, comment, instruction first")
        << f << 1 << loc << QByteArray("<?xml version=\"1.0\"?>\n<!-- by hand -->\n<?style sheet?>\n\n<vantles>");
    QTest::newRow("other element first, root later") << f << 0 << loc << QByteArray("<config/>\n<vantles/>");
    QTest::newRow("tag inside a comment counts") << f << 0 << loc << QByteArray("<!-- <b>x</b> -->\n<vantles/>");
    QTest::newRow("capitalised root") << f << 0 << loc << QByteArray("<Vantles/>");
    QTest::newRow("longer root name") << f << 0 << loc << QByteArray("<vantlesx/>");
    QTest::newRow("tag split after the name") << f << 0 << loc << QByteArray("<vantles\n  locale=\"fr\">\n</vantles>");
    QTest::newRow("tag after the first piece") << f << 1 << loc << QByteArray(1100, ' ') + "<vantles/>";
    QTest::newRow("tag across two pieces") << f << 0 << loc << QByteArray(1019, ' ') + "<vantles/>";
    QTest::newRow("empty file") << f << 0 << loc << QByteArray("");
}

void TestVTIndex::onlyControlFilesBelowTheLocationAreIndexed()
{
    QFETCH(QString, file);
    QFETCH(int, depth);
    QFETCH(QString, location);
    QFETCH(QByteArray, contents);
    const bool locked = QByteArray(QTest::currentDataTag()).contains("permission");
    if (locked && geteuid() == 0)
        QSKIP("Permission bits do not stop root from reading the file.");

    QTemporaryDir dir;
    const QByteArray xml = vantleFile(QStringLiteral("k"), "t");
    for (const char* path : { "loc/f.xml", "loc/x/y/deep.xml", "loc/x.xml/z.xml", "locx/a.xml", "other/a.xml" })
        QVERIFY(!VTTest::writeFile(dir, QLatin1String(path), xml).isEmpty());
    QVERIFY(!VTTest::makePackage(dir, QStringLiteral("."), QStringLiteral("Shapes.vantles"), { { "a.xml", xml } })
                 .isEmpty());
    QVERIFY(QFile::link(dir.filePath(QStringLiteral("Shapes.vantles")), dir.filePath(QStringLiteral("linked"))));
    if (!contents.isNull())
        QVERIFY(!VTTest::writeFile(dir, file, contents).isEmpty());
    if (locked)
        QVERIFY(QFile::setPermissions(dir.filePath(file), QFileDevice::WriteOwner));

    const QString filePath = dir.path() + QLatin1Char('/') + file;
    VTIndex index(nullptr, {});
    index.indexControlFile(filePath, dir.path() + QLatin1Char('/') + location);
    QCOMPARE(index.controlPaths(), depth ? QList<VTControlPath>({ { filePath, depth } }) : QList<VTControlPath>());
    QCOMPARE(index.packages().size(), depth ? 1 : 0);
}

void TestVTIndex::packageNameIsNearestFolderWithPackageSuffix_data()
{
    QTest::addColumn<QString>("location");
    QTest::addColumn<QString>("extension"); // null: setting absent
    QTest::addColumn<QString>("name"); // null: no package

    const QString none;
    QTest::newRow("control folder") << "Shapes.vantles/Control" << none << "Shapes";
    QTest::newRow("dots in the base name") << "My.Shapes.vantles/Control" << none << "My.Shapes";
    QTest::newRow("nearest of nested packages") << "Outer.vantles/Inner.vantles/Control" << none << "Inner";
    QTest::newRow("file named like a package") << "Outer.vantles/Control/Fake.vantles" << none << "Outer";
    QTest::newRow("no package folder") << "plain/Control" << none << none;
    QTest::newRow("folder that does not exist") << "Missing.vantles/Control" << none << none;
    const QString pkg = QStringLiteral("pkg");
    QTest::newRow("other extension") << "Shapes.pkg/Control" << pkg << "Shapes";
    QTest::newRow("usual extension after a change") << "Shapes.vantles/Control" << pkg << none;
}

void TestVTIndex::packageNameIsNearestFolderWithPackageSuffix()
{
    QFETCH(QString, location);
    QFETCH(QString, extension);
    QFETCH(QString, name);

    QTemporaryDir dir;
    for (const char* folder : { "Shapes.vantles/Control", "My.Shapes.vantles/Control",
             "Outer.vantles/Inner.vantles/Control", "Outer.vantles/Control", "plain/Control", "Shapes.pkg/Control" })
        QVERIFY(QDir(dir.path()).mkpath(QLatin1String(folder)));
    QVERIFY(!VTTest::writeFile(dir, QStringLiteral("Outer.vantles/Control/Fake.vantles"), "x").isEmpty());

    VTContext context;
    if (!extension.isNull())
        context.set(VTContextPackageExtension, extension);
    VTIndex index(&context, {});
    const QString result = index.packageNameForLocation(dir.path() + QLatin1Char('/') + location);
    QCOMPARE(result, name);
    QCOMPARE(result.isNull(), name.isNull());
}

void TestVTIndex::componentPathsFollowPackagesAndSearchList_data()
{
    QTest::addColumn<QString>("search"); // null: no attribute
    QTest::addColumn<QString>("extra"); // null: setting absent
    QTest::addColumn<QStringList>("packages"); // folders, as package names

    const QString none;
    const QString extra = QStringLiteral("/opt/extra");
    QTest::newRow("own package only") << none << none << QStringList { "Main", "MainControl" };
    QTest::newRow("extra folder after own package") << none << extra << QStringList { "Main", "MainControl", "extra" };
    QTest::newRow("three searched packages in order")
        << "C, A;;B" << extra << QStringList { "Main", "MainControl", "extra", "C", "A", "B" };
    QTest::newRow("unknown names skipped") << "Nope A\tAlso" << none << QStringList { "Main", "MainControl", "A" };
    QTest::newRow("duplicates kept") << "A;A ,Main" << none
                                     << QStringList { "Main", "MainControl", "A", "A", "Main", "MainControl" };
    QTest::newRow("empty search") << "" << extra << QStringList { "Main", "MainControl", "extra" };
    // Files outside any package are filed under the nameless package, which
    // an empty part of the list must not name.
    QTest::newRow("outer separators name no package")
        << ";Main;;" << none << QStringList { "Main", "MainControl", "Main", "MainControl" };
}

void TestVTIndex::componentPathsFollowPackagesAndSearchList()
{
    QFETCH(QString, search);
    QFETCH(QString, extra);
    QFETCH(QStringList, packages);

    QTemporaryDir dir;
    VTContext context;
    if (!extra.isNull())
        context.set(VTContextExtraComponentFolder, extra);
    VTIndex index(&context, {});
    QMap<QString, QString> folders { { QStringLiteral("extra"), extra } };
    for (const char* name : { "C", "B", "A", "Main" }) {
        const QString package = VTTest::makePackage(dir, QStringLiteral("data"),
            QLatin1String(name) + QStringLiteral(".vantles"), { { "c.xml", vantleFile("k", "t") } });
        folders.insert(QLatin1String(name), package);
        index.indexControlFile(package + QStringLiteral("/Control/c.xml"), package);
    }
    const QString mainControl = folders.value(QStringLiteral("Main")) + QStringLiteral("/Control");
    folders.insert(QStringLiteral("MainControl"), mainControl);
    index.indexControlFile(mainControl + QStringLiteral("/c.xml"), mainControl);
    index.indexControlFile(VTTest::writeFile(dir, QStringLiteral("loose/c.xml"), vantleFile("k", "t")),
        dir.filePath(QStringLiteral("loose")));

    VTXmlElement root;
    if (!search.isNull())
        root.setAttribute(QStringLiteral("search"), search);
    auto element = new VTXmlElement(&root);
    element->setAttribute(QStringLiteral("VTPackagName"), QStringLiteral("Main"));
    QStringList expected;
    for (const QString& name : qAsConst(packages))
        expected.append(QDir(folders.value(name)).absoluteFilePath(QStringLiteral("ui/VantleUI.qml")));
    QCOMPARE(index.componentPathsForElement(element, QStringLiteral("ui/VantleUI.qml")), expected);

    VTXmlElement orphan;
    QCOMPARE(index.componentPathsForElement(&orphan, QStringLiteral("x.qml")),
        QStringList(dir.filePath(QStringLiteral("loose/x.qml")))
            + (extra.isNull() ? QStringList() : QStringList(extra + QStringLiteral("/x.qml"))));
}

void TestVTIndex::keysAreDirectChildrenInSearchOrder()
{
    QTemporaryDir dir;
    const QString a = VTTest::writeFile(dir, QStringLiteral("loc/a.xml"),
        "<vantles>\n<vantle key=\"a1\"><vantle key=\"nested\"/></vantle>\n"
        "<group><vantle key=\"grouped\"/></group>\n<vantle key=\"a2\"/>\n<vantle/>\n</vantles>\n");
    const QString gone = VTTest::writeFile(dir, QStringLiteral("loc/gone.xml"), vantleFile("g", "t"));
    const QString b = VTTest::writeFile(
        dir, QStringLiteral("loc/b.xml"), "<vantles><vantle key=\"b1\"/><vantle key=\"a1\"/></vantles>");

    VTIndex index(nullptr, {});
    for (const QString& file : { a, gone, b })
        index.indexControlFile(file, dir.filePath(QStringLiteral("loc")));
    QCOMPARE(index.keys(), QStringList({ "b1", "a1", "g", "a1", "a2" }));
    QVERIFY(QFile::remove(gone));
    QCOMPARE(index.keys(), QStringList({ "b1", "a1", "a1", "a2" }));
}

void TestVTIndex::setupClearsAndLostContextIsReplaced()
{
    // Once its context is deleted, the index makes its own, and setup()
    // reads it: unless a context says otherwise, it clears.
    auto host = new VTContext;
    host->set(VTContextSetupClearsIndex, false);
    ClearCountingIndex watching(host, {});
    QCOMPARE(watching.context(), host);
    QVERIFY(watching.setup());
    QCOMPARE(watching.clears, 0);
    delete host;
    VTContext* made = watching.context();
    QCOMPARE(made->parent(), &watching);
    QCOMPARE(watching.context(), made);
    QVERIFY(watching.context()->keys().isEmpty());
    QVERIFY(watching.setup());
    QCOMPARE(watching.clears, 1);
}

void TestVTIndex::retrieveSearchesIndexedThenStoredFiles()
{
    QTemporaryDir dir;
    VTIndex index(nullptr, {});
    // A key defined twice in one file fails there, and only there.
    const QString twice = addFile(index, dir, QStringLiteral("twice.xml"),
        VTTest::controlFileXml(QString(), QString(),
            { { "k", "<title>first</title>" }, { "j", "<title>j</title>" }, { "k", "<title>second</title>" } }));
    const QString foreign = addFile(index, dir, QStringLiteral("f.xml"), "<config><vantle key=\"f\"/></config>");
    QCOMPARE(Lookup(index, QStringLiteral("k")).title(), QString());
    QCOMPARE(Lookup(index, QStringLiteral("j")).title(), QStringLiteral("j"));
    const QString good = addFile(index, dir, QStringLiteral("good.xml"), vantleFile("k", "good"));
    index.indexControlFile(twice, dir.path()); // searched first now, at depth 2

    const QString stored = VTTest::writeFile(dir, QStringLiteral("store/s.xml"), vantleFile("s", "stored"));
    QVERIFY(index.store(nullptr, QLocale::c(), stored, 5));
    QVERIFY(index.store(nullptr, QLocale(QStringLiteral("de_DE")), stored, 5));
    QVERIFY(index.store(nullptr, QLocale::c(), stored, 7));
    QVERIFY(index.store(nullptr, QLocale::c(), foreign, 1));
    const QString later = addFile(index, dir, QStringLiteral("later.xml"), vantleFile("b", "later"));
    QCOMPARE(index.controlPaths(),
        QList<VTControlPath>(
            { { later, 1 }, { twice, 2 }, { good, 1 }, { twice, 1 }, { stored, 5 }, { stored, 7 }, { foreign, 1 } }));
    QCOMPARE(Lookup(index, QStringLiteral("k")).title(), QStringLiteral("good"));
    const Lookup found(index, QStringLiteral("s"));
    QCOMPARE(found.title(), QStringLiteral("stored"));
    QCOMPARE(found.depth, 5);
    QCOMPARE(found.location, dir.filePath(QStringLiteral("store")));
    QVERIFY(found.result->hasAttribute(QStringLiteral("VTPackagName")));
    QVERIFY(found.result->attribute(QStringLiteral("VTPackagName")).isEmpty());

    // An unknown key, a key in another case or one under a foreign root.
    for (const QString& key : { QStringLiteral("unknown"), QStringLiteral("K"), QStringLiteral("f") }) {
        const Lookup missing(index, key);
        QVERIFY2(!missing.result, qPrintable(key));
        QCOMPARE(missing.location, QStringLiteral("unchanged"));
        QCOMPARE(missing.depth, -7);
    }
}

void TestVTIndex::fileIndexedLastServesAMatchingLocale_data()
{
    // Each file defines "k" with its name as the title.
    QTest::addColumn<QString>("requested");
    QTest::addColumn<QStringList>("files"); // "name" or "name:locale", in indexing order
    QTest::addColumn<QString>("servedBy"); // null: nothing

    const QString fr = QStringLiteral("fr_FR");
    QTest::newRow("a then b") << fr << QStringList { "a", "b" } << "b";
    QTest::newRow("b then a") << fr << QStringList { "b", "a" } << "a";
    QTest::newRow("indexing a again keeps its place") << fr << QStringList { "a", "b", "a" } << "b";
    QTest::newRow("fr_FR, locale file last") << fr << QStringList { "plain", "l:fr_FR" } << "l";
    QTest::newRow("fr_FR, plain file last") << fr << QStringList { "l:fr_FR", "plain" } << "plain";
    QTest::newRow("de_DE falls through") << "de_DE" << QStringList { "plain", "l:fr_FR" } << "plain";
    QTest::newRow("de_DE, no plain file") << "de_DE" << QStringList { "l:fr_FR" } << QString();
    QTest::newRow("other country") << "fr_CA" << QStringList { "plain", "l:fr_FR" } << "plain";
    QTest::newRow("file fr completes to fr_FR") << fr << QStringList { "l:fr" } << "l";
}

void TestVTIndex::fileIndexedLastServesAMatchingLocale()
{
    QFETCH(QString, requested);
    QFETCH(QStringList, files);
    QFETCH(QString, servedBy);

    QTemporaryDir dir;
    VTIndex index(nullptr, {});
    for (const QString& entry : qAsConst(files)) {
        const QString name = entry.section(QLatin1Char(':'), 0, 0);
        addFile(index, dir, name + QStringLiteral(".xml"),
            vantleFile(QStringLiteral("k"), name.toUtf8(), entry.section(QLatin1Char(':'), 1)));
    }
    QCOMPARE(index.controlPaths().size(), QSet<QString>(files.begin(), files.end()).size());
    const QString title = Lookup(index, QStringLiteral("k"), QLocale(requested)).title();
    QCOMPARE(title, servedBy);
    QCOMPARE(title.isNull(), servedBy.isNull());
}

void TestVTIndex::retrievedElementCarriesOriginAndKeyData_data()
{
    QTest::addColumn<QByteArray>("keyData"); // inside <vantlekeys>; null: no such file
    QTest::addColumn<QStringList>("expected"); // title, key, name, extra ("-": absent)

    const QStringList unchanged { "own", "k", "orig", "-" };
    QTest::newRow("title and key copied, key replaced")
        << QByteArray("<key name=\"k\" title=\"T\" key=\"K2\"/>") << QStringList { "T", "K2", "orig", "-" };
    QTest::newRow("only the first entry with the name")
        << QByteArray("<key name=\"k\" title=\"first\"/><key name=\"k\" title=\"second\" extra=\"x\"/>")
        << QStringList { "first", "k", "orig", "-" };
    QTest::newRow("entries of other keys passed over")
        << QByteArray("<key name=\"z\" title=\"Z\"/>\n<key name=\"k\" extra=\"E\"><note>n</note></key>")
        << QStringList { "own", "k", "orig", "E" };
    QTest::newRow("no entry for the key") << QByteArray("<key name=\"z\" title=\"Z\"/>") << unchanged;
    QTest::newRow("setting names a missing file") << QByteArray() << unchanged;
}

void TestVTIndex::retrievedElementCarriesOriginAndKeyData()
{
    QFETCH(QByteArray, keyData);
    QFETCH(QStringList, expected);

    QTemporaryDir dir;
    if (!keyData.isNull())
        VTTest::writeFile(dir, QStringLiteral("keys.xml"), "<vantlekeys>" + keyData + "</vantlekeys>");
    VTContext context;
    context.set(VTContextKeyDataFile, dir.filePath(QStringLiteral("keys.xml")));
    VTTest::makePackage(dir, QStringLiteral("data"), QStringLiteral("Shapes.vantles"),
        { { "shapes.xml",
            "<vantles locale=\"en_US\" search=\"Other\">\n<vantle key=\"z\"/>\n"
            "<vantle key=\"k\" name=\"orig\" title=\"own\"><title>Circle</title></vantle>\n</vantles>\n" } });
    // Reached through a link: the location is reported as indexed, not resolved.
    QVERIFY(QFile::link(dir.filePath(QStringLiteral("data")), dir.filePath(QStringLiteral("link"))));
    const QString package = dir.filePath(QStringLiteral("link/Shapes.vantles"));
    const QString asIndexed = package + QStringLiteral("/./Control/shapes.xml");
    VTIndex index(&context, {});
    index.indexControlFile(asIndexed, package);

    const Lookup found(index, QStringLiteral("k"), QLocale(QStringLiteral("en_US")));
    QCOMPARE(found.title(), QStringLiteral("Circle"));
    QCOMPARE(found.location, package + QStringLiteral("/Control"));
    QCOMPARE(found.depth, 2);
    QCOMPARE(found.result->attribute(QStringLiteral("VTLocation")), asIndexed);
    QCOMPARE(found.result->attribute(QStringLiteral("VTPackagName")), QStringLiteral("Shapes"));
    QCOMPARE(found.root->children(), QObjectList({ found.result }));
    QCOMPARE(found.root->attribute(QStringLiteral("search")), QStringLiteral("Other"));
    QStringList actual;
    for (const char* name : { "title", "key", "name", "extra" }) {
        const QString value = found.result->attribute(QLatin1String(name));
        actual.append(found.result->hasAttribute(QLatin1String(name)) ? value : QStringLiteral("-"));
    }
    QCOMPARE(actual, expected);
}

void TestVTIndex::brokenControlFilesGiveNullWithoutCrash_data()
{
    QTest::addColumn<QByteArray>("contents"); // null: file removed
    QTest::addColumn<bool>("served");
    QTest::addColumn<QString>("problem"); // reported once, when the file is read

    const QString premature
        = QStringLiteral("broken.xml:2:19: Premature end of document. The rest of the file is ignored.");
    QTest::newRow("truncated before the key") << QByteArray("<vantles>\n<vantle key=\"z\"><t>") << false << premature;
    QTest::newRow("binary bytes") << QByteArray("\x01\x02\xff\xfe\x00\x10", 6) << false << QString();
    QTest::newRow("empty file") << QByteArray("") << false << QString();
    QTest::newRow("file removed after indexing") << QByteArray() << false << QString();
    // A vantle read completely before the error is served; one cut by it is not.
    QTest::newRow("truncated after the matching vantle")
        << QByteArray("<vantles>\n<vantle key=\"k\"><title>t</title></vantle>\n<vantle key=\"z\">") << true
        << QStringLiteral("broken.xml:3:16: Premature end of document. The rest of the file is ignored.");
    QTest::newRow("undeclared entity inside the vantle")
        << QByteArray("<vantles>\n<vantle key=\"k\"><text>Starts an&nbsp;empty sheet</text></vantle></vantles>")
        << false << QStringLiteral("broken.xml:2:37: Entity 'nbsp' not declared. The rest of the file is ignored.");
}

void TestVTIndex::brokenControlFilesGiveNullWithoutCrash()
{
    QFETCH(QByteArray, contents);
    QFETCH(bool, served);
    QFETCH(QString, problem);

    QTemporaryDir dir;
    const QString file = contents.isNull() ? dir.filePath(QStringLiteral("loc/broken.xml"))
                                           : VTTest::writeFile(dir, QStringLiteral("loc/broken.xml"), contents);
    VTIndex index(nullptr, {});
    QStringList problems;
    connect(&index, &VTIndex::problemFound, this, [&](const Vantles::VTProblem& p) {
        problems.append(p.toString().remove(dir.filePath(QStringLiteral("loc/"))));
    });
    index.store(nullptr, QLocale::c(), file, 1);

    const Lookup found(index, QStringLiteral("k"));
    const Lookup again(index, QStringLiteral("k"));
    QCOMPARE(found.result != nullptr, served);
    QCOMPARE(found.location, served ? dir.filePath(QStringLiteral("loc")) : QStringLiteral("unchanged"));
    QCOMPARE(problems, problem.isEmpty() ? QStringList() : QStringList(problem));
}

void TestVTIndex::contentLimitsHoldAtTheLimitAndCutOnePast_data()
{
    QTest::addColumn<QByteArray>("head"); // before the root
    QTest::addColumn<QByteArray>("body"); // of <vantle key="k"> on line 2, after a root tag with an accent
    QTest::addColumn<qint64>("size"); // of the file, padded with a comment at its end; 0: as it is
    QTest::addColumn<QString>("served"); // elements below the vantle, longest text; empty: nothing
    QTest::addColumn<QString>("problem");

    const QByteArray x = "<t>x</t>";
    auto nested = [&](int levels) {
        return QByteArray("<g>").repeated(levels - 1) + x + QByteArray("</g>").repeated(levels - 1);
    };
    const QByteArray a(16384, 'a'), b(16383, 'b');
    const QString cut
        = QStringLiteral("a.xml:2:%1: The text of this element exceeds 32768 characters: the rest is left out.");
    QTest::newRow("64 levels below the vantle") << QByteArray() << nested(64) << 0LL << "64/1" << QString();
    QTest::newRow("65 levels") << QByteArray() << nested(65) << 0LL << "64/0"
                               << "a.xml:2:209: Elements are nested more than 66 deep here: this one and all below "
                                  "it are left out.";
    QTest::newRow("text of 32768") << QByteArray() << "<t>" + a + a + "</t>" << 0LL << "1/32768" << QString();
    QTest::newRow("text of 32769") << QByteArray() << "<t>" + a + a + "x</t>" << 0LL << "1/32768" << cut.arg(20);
    const QByteArray pieces = "<t>" + a + "<![CDATA[" + b + "]]><!-- note -->c";
    QTest::newRow("text of 32768 in pieces") << QByteArray() << pieces + "</t>" << 0LL << "1/32768" << QString();
    QTest::newRow("text of 32769 in pieces") << QByteArray() << pieces + "d</t>" << 0LL << "1/32768" << cut.arg(32812);
    const qint64 largest = VTIndex::MaximumControlFileSize;
    QTest::newRow("file of 16 MiB") << QByteArray() << x << largest << "1/1" << QString();
    QTest::newRow("file one byte larger") << QByteArray() << x << largest + 1 << QString()
                                          << "a.xml: The file is larger than 16 MiB: it is not read.";
    // Read whole, not in pieces, and without entities taken for what it is.
    QTest::newRow("Latin-1 file of 16 MiB")
        << QByteArray("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>") << x << largest << "1/1" << QString();
    // Bound to expand the file to its size plus 4000 characters for each "&".
    const QByteArray entity = "<!DOCTYPE vantles [<!ENTITY e \"" + QByteArray(4000, 'x') + "\">]>";
    const QByteArray references = QByteArray("<t>&e;</t>").repeated(1000);
    const qint64 bound = VTIndex::MaximumFileText - 1000 * 4000;
    QTest::newRow("entities up to 4 MiB") << entity << references << bound << "1000/4000" << QString();
    QTest::newRow("entities one past 4 MiB")
        << entity << references << bound + 1 << QString()
        << "a.xml:1:1: The entities of this file could expand it beyond 4194304 characters. The file is not read.";
}

void TestVTIndex::contentLimitsHoldAtTheLimitAndCutOnePast()
{
    QFETCH(QByteArray, head);
    QFETCH(QByteArray, body);
    QFETCH(qint64, size);

    QByteArray xml = head + "<vantles note=\"\xC3\x89\">\n<vantle key=\"k\">" + body + "</vantle>\n</vantles>\n";
    if (size)
        xml.append("<!--" + QByteArray(size - xml.size() - 7, ' ') + "-->");
    QTemporaryDir dir;
    VTIndex index(nullptr, {});
    QStringList problems;
    connect(&index, &VTIndex::problemFound, this, [&](const Vantles::VTProblem& p) {
        problems.append(p.toString().remove(dir.filePath(QStringLiteral("loc/"))));
    });
    addFile(index, dir, QStringLiteral("a.xml"), xml);
    const Lookup found(index, QStringLiteral("k"));
    QString served;
    if (found.result) {
        const QList<VTXmlElement*> below = found.result->findChildren<VTXmlElement*>();
        qsizetype longest = 0;
        for (const VTXmlElement* element : below)
            longest = qMax(longest, element->content().size());
        served = QStringLiteral("%1/%2").arg(below.size()).arg(longest);
    }
    QTEST(served, "served");
    QFETCH(QString, problem);
    QCOMPARE(problems, problem.isEmpty() ? QStringList() : QStringList(problem));
}

void TestVTIndex::fastScanAgreesWithTheReader_data()
{
    QTest::addColumn<QByteArray>("body"); // inside <vantles search="S">, unless it starts with '!'
    const auto row = [](const char* name, const QByteArray& body) { QTest::newRow(name) << body; };
    row("plain", "<vantle key=\"a\"><title>T</title></vantle>\n<vantle key=\"b\"/>");
    row("entities and references", "<vantle key=\"a&amp;b&#x41;&#66;&lt;\"><t>x &gt; y &quot;&apos;</t></vantle>");
    row("white space in values", "<vantle key=\"a\tb\nc\r\nd\"/>");
    row("namespaces", "<vt:x xmlns:vt=\"u\" vt:a=\"1\"/><vantle key=\"k\" xml:lang=\"fr\"><vt:y xmlns:vt=\"v\"/></vantle>");
    row("comments, instructions, CDATA", "<!-- c - d --><?pi data?><vantle key=\"k\"><![CDATA[<b>]]]]></vantle>");
    row("multi-byte text", "<vantle key=\"\xC3\xA9\xF0\x9F\x98\x80\">\xE2\x82\xAC \xE4\xB8\xAD</vantle>");
    row("nested and other children", "<vantle key=\"o\"><vantle key=\"inner\"/></vantle><group><vantle key=\"g\"/></group>");
    row("declaration and byte order mark", "!\xEF\xBB\xBF<?xml version='1.0' encoding='utf-8'?>\n<vantles><vantle key=\"k\"/></vantles>");
    row("other root", "!<config><vantle key=\"k\"/></config>");
    row("empty root", "!<vantles locale=\"en_US\"/>");
    // Each of these the fast scanner leaves to the reader.
    row("latin-1 declared", "!<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><vantles><vantle key=\"\xE9\"/></vantles>");
    row("document type", "!<!DOCTYPE v [<!ENTITY e \"x\">]><vantles><vantle key=\"k\">&e;</vantle></vantles>");
    row("unquoted attribute", "<vantle key=k/>");
    row("attribute twice", "<vantle key=\"a\" key=\"b\"/>");
    row("undeclared prefix", "<vantle key=\"k\"><x:y/></vantle>");
    row("undeclared entity", "<vantle key=\"k\">&nbsp;</vantle>");
    row("cdata end in text", "<vantle key=\"k\">a ]]> b</vantle>");
    row("control character", "<vantle key=\"k\">\x01</vantle>");
    row("invalid UTF-8", "<vantle key=\"k\">\xC3\x28</vantle>");
    row("surrogate as UTF-8", "<vantle key=\"k\">\xED\xA0\x80</vantle>");
    row("double hyphen in comment", "<!-- a -- b --><vantle key=\"k\"/>");
    row("reserved instruction", "<?xml version=\"1.0\"?><vantle key=\"k\"/>");
    row("mismatched tag", "<vantle key=\"k\"><a></b></vantle>");
    row("text after the root", "!<vantles/>x");
    row("truncated", "!<vantles><vantle key=\"a\"/><vantle key=\"b\"><c>");
    row("no space between attributes", "<vantle key=\"a\"x=\"b\"/>");
    row("character reference to nothing", "<vantle key=\"&#0;\"/>");
}

void TestVTIndex::fastScanAgreesWithTheReader()
{
    QFETCH(QByteArray, body);
    const QByteArray data = body.startsWith('!') ? body.mid(1) : "<vantles search=\"S\">\n" + body + "\n</vantles>\n";
    const Vantles::VTControlFileScan fast = Vantles::scanControlFile(data);
    const Vantles::VTControlFileScan reader = Vantles::scanControlFileWithReader(data);
    auto describe = [](const Vantles::VTControlFileScan& scan) {
        QStringList parts { scan.rootName, QString::number(scan.rootLine), QString::number(scan.rootColumn),
            scan.hasLocale ? scan.locale : QStringLiteral("-"), scan.search, QString::fromUtf8(scan.rootTag),
            scan.error, QString::number(scan.errorLine) };
        for (const auto& list : { scan.vantles, scan.others }) {
            for (const Vantles::VTScannedVantle& v : list) {
                parts << QStringLiteral("%1%2@%3:%4[%5,%6)")
                             .arg(v.hasKey ? QStringLiteral("+") : QStringLiteral("-"), v.key, QString::number(v.line),
                                 QString::number(v.column), QString::number(v.begin), QString::number(v.end));
            }
        }
        return parts;
    };
    QCOMPARE(describe(fast), describe(reader));
}

// A generated index of packages, locales and keys defined more than once:
// every lookup answers as a parse of every file in search order would.
void TestVTIndex::lookupsAgreeWithAScanOfEveryFile()
{
    QTemporaryDir dir;
    QRandomGenerator random(4711);
    VTIndex index(nullptr, {});
    const QStringList locales { QString(), QStringLiteral("en_US"), QStringLiteral("fr_FR") };
    for (int package = 0; package < 3; ++package) {
        const QString control = QStringLiteral("P%1.vantles/Control").arg(package);
        for (int file = 0; file < 5; ++file) {
            QList<QPair<QString, QByteArray>> vantles;
            for (int i = 0; i < 6; ++i) {
                const QString key = QStringLiteral("k%1").arg(random.bounded(12));
                vantles.append({ key, "<title>" + control.toUtf8() + QByteArray::number(file) + "</title>" });
            }
            const QString path = VTTest::writeFile(dir, QStringLiteral("%1/f%2.xml").arg(control).arg(file),
                VTTest::controlFileXml(locales.at(random.bounded(3)), QString(), vantles));
            index.indexControlFile(path, dir.filePath(control).section(QLatin1Char('/'), 0, -2));
        }
    }
    QStringList expectedKeys;
    for (const VTControlPath& path : index.controlPaths()) {
        QFile file(path.path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray xml = file.readAll();
        static const QRegularExpression key(QStringLiteral("<vantle key=\"(\\w+)\""));
        for (auto it = key.globalMatch(QString::fromUtf8(xml)); it.hasNext();)
            expectedKeys.append(it.next().captured(1));
    }
    QCOMPARE(index.keys(), expectedKeys);
    for (const QString& locale : { QStringLiteral("en_US"), QStringLiteral("fr_FR"), QStringLiteral("de_DE") }) {
        for (int k = 0; k < 13; ++k) {
            const QString key = QStringLiteral("k%1").arg(k);
            QString expected;
            for (const VTControlPath& path : index.controlPaths()) {
                VTXmlElement* root = nullptr;
                if (std::unique_ptr<VTXmlElement> found { index.load(key, path.path, QLocale(locale), root) }) {
                    expected = found->childElement(QStringLiteral("title"))->content();
                    delete root;
                    found.release();
                    break;
                }
            }
            QCOMPARE(Lookup(index, key, QLocale(locale)).title(), expected);
        }
    }
}

void TestVTIndex::databaseKeepsWhatWasReadAcrossStarts()
{
    QTemporaryDir dir;
    const QString location = dir.filePath(QStringLiteral("loc"));
    const QString database = dir.filePath(QStringLiteral("index.sqlite"));
    // The vantle without a key and the search list naming no package are
    // reported whenever their file is read.
    const QString a = VTTest::writeFile(dir, QStringLiteral("loc/a.xml"), vantleFile("a", "A") + "<!-- <vantle/> -->");
    VTTest::writeFile(dir, QStringLiteral("loc/b.xml"), "<vantles><vantle key=\"b\"><title>B</title></vantle><vantle/></vantles>");
    VTTest::writeFile(dir, QStringLiteral("loc/l.xml"),
        VTTest::controlFileXml(QStringLiteral("fr_FR"), QStringLiteral("S"), { { "l", "<title>fr</title>" } }));
    // Each start indexes the folder's files and answers for "a", "b", "c"
    // and "l", then for "l" in French, which only it serves, with its search list.
    auto start = [&](QStringList* titles) {
        VTContext context;
        context.set(VTContextIndexDatabase, database);
        VTIndex index(&context, {});
        QSignalSpy problems(&index, &VTIndex::problemFound);
        index.open();
        for (const QString& name : QDir(location).entryList({ QStringLiteral("*.xml") }, QDir::Files, QDir::Name))
            index.indexControlFile(QDir(location).filePath(name), location);
        index.checkReferences();
        for (const char* key : { "a", "b", "c", "l" })
            titles->append(Lookup(index, QLatin1String(key)).title());
        const Lookup french(index, QStringLiteral("l"), QLocale(QStringLiteral("fr_FR")));
        titles->append(french.title() + QLatin1Char('/')
            + (french.result ? french.root->attribute(QStringLiteral("search")) : QString()));
        return int(problems.count());
    };
    QStringList titles;
    QCOMPARE(start(&titles), 2);
    QCOMPARE(titles, QStringList({ "A", "B", "", "", "fr/S" }));
    // Unchanged: nothing is read again.
    titles.clear();
    QCOMPARE(start(&titles), 0);
    QCOMPARE(titles, QStringList({ "A", "B", "", "", "fr/S" }));
    // A changed, an added and a removed file.
    VTTest::writeFile(dir, QStringLiteral("loc/a.xml"), vantleFile("a", "A2"));
    VTTest::writeFile(dir, QStringLiteral("loc/c.xml"), vantleFile("c", "C"));
    QVERIFY(QFile::remove(dir.filePath(QStringLiteral("loc/b.xml"))));
    titles.clear();
    QCOMPARE(start(&titles), 0);
    QCOMPARE(titles, QStringList({ "A2", "", "C", "", "fr/S" }));
    // A damaged file and one of another version are made anew: every file is
    // read, and what the other version wrote is not believed.
    for (const QByteArray& broken : { QByteArray("not a database at all, just bytes"), QByteArray() }) {
        if (broken.isNull()) {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("test"));
            db.setDatabaseName(database);
            QVERIFY(db.open() && QSqlQuery(db).exec(QStringLiteral("UPDATE vantles SET key = 'stale'"))
                && QSqlQuery(db).exec(QStringLiteral("PRAGMA user_version = 1")));
            db.close();
            db = QSqlDatabase();
            QSqlDatabase::removeDatabase(QStringLiteral("test"));
        } else {
            QFile::remove(database + QStringLiteral("-wal"));
            QFile file(database);
            QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
            file.write(broken.repeated(200));
        }
        VTTest::writeFile(dir, QStringLiteral("loc/d.xml"), "<vantles><vantle/></vantles>");
        titles.clear();
        QCOMPARE(start(&titles), 2);
        QCOMPARE(titles, QStringList({ "A2", "", "C", "", "fr/S" }));
        QVERIFY(QFile::remove(dir.filePath(QStringLiteral("loc/d.xml"))));
    }
}

void TestVTIndex::filesAddedEditedOrRemovedWhileRunningAreFollowed()
{
    QTemporaryDir dir;
    VTIndex index(nullptr, {});
    const QString a = addFile(index, dir, QStringLiteral("a.xml"), vantleFile("a", "A"));
    addFile(index, dir, QStringLiteral("b.xml"), vantleFile("b", "B"));
    QCOMPARE(Lookup(index, QStringLiteral("a")).title(), QStringLiteral("A"));
    // Edited in place, with a key it did not define before.
    VTTest::writeFile(dir, QStringLiteral("loc/a.xml"),
        VTTest::controlFileXml(QString(), QString(), { { "a", "<title>A, edited</title>" }, { "new", "<title>N</title>" } }));
    QCOMPARE(Lookup(index, QStringLiteral("a")).title(), QStringLiteral("A, edited"));
    QTRY_COMPARE(Lookup(index, QStringLiteral("new")).title(), QStringLiteral("N"));
    // Added beside the others, and removed.
    VTTest::writeFile(dir, QStringLiteral("loc/c.xml"), vantleFile("c", "C"));
    QTRY_COMPARE(Lookup(index, QStringLiteral("c")).title(), QStringLiteral("C"));
    QVERIFY(QFile::remove(a));
    QTRY_COMPARE(index.controlPaths().size(), 2);
    QCOMPARE(index.keys(), QStringList({ "c", "b" }));
}

void TestVTIndex::editsKeepingSizeAndTimeAreSeen_data()
{
    QTest::addColumn<QString>("edited");
    QTest::addColumn<QByteArray>("from"); // replaced by "to"
    QTest::addColumn<QByteArray>("to");
    QTest::addColumn<QStringList>("expected"); // of "k" and "j": the title, "/", the key data's title; "-": none
    QTest::newRow("control file") << "loc/a.xml" << QByteArray("key=\"k\"") << QByteArray("key=\"j\"")
                                  << QStringList { "-", "v1/" };
    QTest::newRow("key-data file") << "keys.xml" << QByteArray("v1") << QByteArray("v2") << QStringList { "v1/v2", "-" };
}

void TestVTIndex::editsKeepingSizeAndTimeAreSeen()
{
    QFETCH(QString, edited);
    QFETCH(QByteArray, from);
    QFETCH(QByteArray, to);
    QTemporaryDir dir;
    VTContext context;
    context.set(VTContextKeyDataFile, VTTest::writeFile(dir, QStringLiteral("keys.xml"),
                                          "<vantlekeys><key name=\"k\" title=\"v1\"/></vantlekeys>"));
    VTIndex index(&context, {});
    addFile(index, dir, QStringLiteral("a.xml"), vantleFile(QStringLiteral("k"), "v1"));
    auto titles = [&] {
        QStringList result;
        for (const QString& key : { QStringLiteral("k"), QStringLiteral("j") }) {
            const Lookup found(index, key);
            result.append(found.result
                    ? found.title() + QLatin1Char('/') + found.result->attribute(QStringLiteral("title"))
                    : QStringLiteral("-"));
        }
        return result;
    };
    QCOMPARE(titles(), QStringList({ "v1/v1", "-" }));
    // Rewritten in place, of the same size, its modification time set back.
    QFile file(dir.filePath(edited));
    QVERIFY(file.open(QIODevice::ReadWrite));
    const QDateTime modified = file.fileTime(QFileDevice::FileModificationTime);
    const QByteArray text = file.readAll();
    QVERIFY(file.seek(0) && file.write(QByteArray(text).replace(from, to)) == text.size() && file.flush());
    QVERIFY(file.setFileTime(modified, QFileDevice::FileModificationTime));
    file.close();
    QCOMPARE(QFileInfo(file).lastModified(), modified);
    QTEST(titles(), "expected");
}

QTEST_GUILESS_MAIN(TestVTIndex)
#include "tst_vtindex.moc"
