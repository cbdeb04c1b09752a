#include "VTTestHelpers.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTIndex.h>
#include <Vantles/VTXmlElement.h>

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
    void firstTagDecidesWhetherFileIsIndexed_data();
    void firstTagDecidesWhetherFileIsIndexed();
    void filesThatCannotBeOpenedAreNotIndexed_data();
    void filesThatCannotBeOpenedAreNotIndexed();
    void depthCountsFoldersBelowTheLocation_data();
    void depthCountsFoldersBelowTheLocation();
    void reindexingAddsOneRecordPerFileAndDepth();
    void packageNameIsNearestFolderWithPackageSuffix_data();
    void packageNameIsNearestFolderWithPackageSuffix();
    void componentPathsFollowPackagesAndSearchList_data();
    void componentPathsFollowPackagesAndSearchList();
    void emptySearchNamesDoNotReachFilesOutsidePackages();
    void keysAreDirectChildrenInSearchOrder();
    void setupClearsUnlessSettingIsFalse_data();
    void setupClearsUnlessSettingIsFalse();
    void contextIsMadeWhenNoneIsLeft();
    void storedPathsAreSearchedAfterIndexedOnes();

    void sameKeyIsServedByFileIndexedLast_data();
    void sameKeyIsServedByFileIndexedLast();
    void localeOfFileMustMatchRequest_data();
    void localeOfFileMustMatchRequest();
    void keyDefinedTwiceFailsOnlyInThatFile();
    void unknownKeyOrForeignRootLeavesOutParametersAlone();
    void retrievedElementCarriesItsOrigin();
    void keyDataAttributesAreMerged_data();
    void keyDataAttributesAreMerged();
    void brokenControlFilesGiveNullWithoutCrash_data();
    void brokenControlFilesGiveNullWithoutCrash();
};

namespace {

QByteArray vantleFile(const QString& key, const QByteArray& title, const QString& locale = QString())
{
    return VTTest::controlFileXml(locale, QString(), { { key, "<title>" + title + "</title>" } });
}

QString titleOf(const VTXmlElement* element)
{
    const VTXmlElement* title = element ? element->childElement(QStringLiteral("title")) : nullptr;
    return title ? title->content() : QString();
}

// Looks @p key up and returns the title of what was found, deleting the tree.
QString retrieveTitle(VTIndex& index, const QString& key, const QLocale& locale = QLocale::c())
{
    QString location;
    int depth = 0;
    VTXmlElement* root = nullptr;
    VTXmlElement* result = index.retrieve(key, locale, location, depth, root);
    if (!result)
        return QString();
    std::unique_ptr<VTXmlElement> owner(root);
    return titleOf(result);
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

void TestVTIndex::firstTagDecidesWhetherFileIsIndexed_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<bool>("indexed");

    QTest::newRow("root first") << QByteArray("<vantles><vantle key=\"k\"/></vantles>") << true;
    QTest::newRow("root with locale") << QByteArray("<vantles locale=\"fr_FR\">\n</vantles>") << true;
    QTest::newRow("empty root element") << QByteArray("<vantles/>") << true;
    QTest::newRow("declaration, comment, instruction first")
        << QByteArray("<?xml version=\"1.0\"?>\n<!-- made by hand -->\n<?style sheet?>\n\n<vantles>") << true;
    QTest::newRow("other element first, root later") << QByteArray("<config/>\n<vantles>\n</vantles>") << false;
    QTest::newRow("tag inside a comment counts") << QByteArray("<!-- <b>bold</b> -->\n<vantles/>") << false;
    QTest::newRow("capitalised root") << QByteArray("<Vantles/>") << false;
    QTest::newRow("longer root name") << QByteArray("<vantlesx/>") << false;
    // "<vantles" at the end of a line: the expression backs off to "vantle"
    // followed by the word character "s", so the line names "vantle".
    QTest::newRow("tag split after the name") << QByteArray("<vantles\n  locale=\"fr_FR\">\n</vantles>") << false;
    QTest::newRow("tag split after a blank") << QByteArray("<vantles \n  locale=\"fr_FR\">\n</vantles>") << false;
    QTest::newRow("zero byte ends the line") << QByteArray("x") + '\0' + "<vantles>\n<other/>\n" << false;
    // Lines are read in pieces of at most 1023 bytes.
    QTest::newRow("tag after the first piece") << QByteArray(1100, ' ') + "<vantles>\n</vantles>" << true;
    QTest::newRow("tag across two pieces") << QByteArray(1019, ' ') + "<vantles>\n</vantles>" << false;
    QTest::newRow("long first line after the tag") << "<vantles search=\"" + QByteArray(2000, 'x') + "\"/>" << true;
    QTest::newRow("empty file") << QByteArray() << false;
    QTest::newRow("text without tags") << QByteArray("just words\nand more") << false;
}

void TestVTIndex::firstTagDecidesWhetherFileIsIndexed()
{
    QFETCH(QByteArray, contents);
    QFETCH(bool, indexed);

    QTemporaryDir dir;
    const QString file = VTTest::writeFile(dir, QStringLiteral("loc/file.xml"), contents);
    QVERIFY(!file.isEmpty());
    VTIndex index(nullptr, {});
    index.indexControlFile(file, dir.filePath(QStringLiteral("loc")));
    QCOMPARE(index.controlPaths().size(), indexed ? 1 : 0);
    QCOMPARE(index.packages().size(), indexed ? 1 : 0);
}

void TestVTIndex::filesThatCannotBeOpenedAreNotIndexed_data()
{
    QTest::addColumn<QString>("kind");
    QTest::newRow("missing file") << QStringLiteral("missing");
    QTest::newRow("folder named like a control file") << QStringLiteral("folder");
    QTest::newRow("file without read permission") << QStringLiteral("unreadable");
}

void TestVTIndex::filesThatCannotBeOpenedAreNotIndexed()
{
    QFETCH(QString, kind);
    if (kind == QLatin1String("unreadable") && geteuid() == 0)
        QSKIP("Permission bits do not stop root from reading the file.");

    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("loc/file.xml"));
    if (kind == QLatin1String("folder")) {
        QVERIFY(QDir().mkpath(file));
    } else if (kind == QLatin1String("unreadable")) {
        QVERIFY(!VTTest::writeFile(dir, QStringLiteral("loc/file.xml"), "<vantles/>").isEmpty());
        QVERIFY(QFile::setPermissions(file, QFileDevice::WriteOwner));
    } else {
        QVERIFY(QDir().mkpath(dir.filePath(QStringLiteral("loc"))));
    }
    VTIndex index(nullptr, {});
    index.indexControlFile(file, dir.filePath(QStringLiteral("loc")));
    QVERIFY(index.controlPaths().isEmpty());
    QVERIFY(index.packages().isEmpty());
}

void TestVTIndex::depthCountsFoldersBelowTheLocation_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("location");
    QTest::addColumn<int>("depth"); // 0: not indexed
    QTest::addColumn<QString>("package");

    QTest::newRow("directly inside") << QStringLiteral("loc/a.xml") << QStringLiteral("loc") << 1 << QString();
    QTest::newRow("location with trailing slash")
        << QStringLiteral("loc/a.xml") << QStringLiteral("loc/") << 1 << QString();
    QTest::newRow("three folders down") << QStringLiteral("loc/x/y/deep.xml") << QStringLiteral("loc") << 3
                                        << QString();
    QTest::newRow("control folder under package") << QStringLiteral("Shapes.vantles/Control/a.xml")
                                                  << QStringLiteral("Shapes.vantles") << 2 << QStringLiteral("Shapes");
    QTest::newRow("control folder as location")
        << QStringLiteral("Shapes.vantles/Control/a.xml") << QStringLiteral("Shapes.vantles/Control") << 1
        << QStringLiteral("Shapes");
    QTest::newRow("through a linked package folder")
        << QStringLiteral("linked/Control/a.xml") << QStringLiteral("linked") << 2 << QString();
    QTest::newRow("under the location only through a link")
        << QStringLiteral("linked/Control/a.xml") << QStringLiteral("Shapes.vantles") << 0 << QString();
    QTest::newRow("outside the location") << QStringLiteral("other/a.xml") << QStringLiteral("loc") << 0 << QString();
    QTest::newRow("location only a name prefix")
        << QStringLiteral("locx/a.xml") << QStringLiteral("loc") << 0 << QString();
    QTest::newRow("file as its own location")
        << QStringLiteral("loc/a.xml") << QStringLiteral("loc/a.xml") << 0 << QString();
    QTest::newRow("missing location") << QStringLiteral("gone/a.xml") << QStringLiteral("gone") << 0 << QString();
}

void TestVTIndex::depthCountsFoldersBelowTheLocation()
{
    QFETCH(QString, file);
    QFETCH(QString, location);
    QFETCH(int, depth);
    QFETCH(QString, package);

    QTemporaryDir dir;
    const QByteArray xml = vantleFile(QStringLiteral("k"), "t");
    for (const char* path : { "loc/a.xml", "loc/x/y/deep.xml", "locx/a.xml", "other/a.xml" })
        QVERIFY(!VTTest::writeFile(dir, QLatin1String(path), xml).isEmpty());
    QVERIFY(!VTTest::makePackage(dir, QStringLiteral("."), QStringLiteral("Shapes.vantles"), { { "a.xml", xml } })
                 .isEmpty());
    QVERIFY(QFile::link(dir.filePath(QStringLiteral("Shapes.vantles")), dir.filePath(QStringLiteral("linked"))));

    const QString filePath = dir.path() + QLatin1Char('/') + file;
    const QString locationPath = dir.path() + QLatin1Char('/') + location;
    VTIndex index(nullptr, {});
    index.indexControlFile(filePath, locationPath);
    if (depth == 0) {
        QVERIFY(index.controlPaths().isEmpty());
        QVERIFY(index.packages().isEmpty());
        return;
    }
    QCOMPARE(index.controlPaths(), QList<VTControlPath>({ { filePath, depth } }));
    QCOMPARE(index.packages().keys(), QStringList(package));
    QCOMPARE(index.packages().value(package), QStringList(locationPath));
}

void TestVTIndex::reindexingAddsOneRecordPerFileAndDepth()
{
    QTemporaryDir dir;
    const QString package = VTTest::makePackage(dir, QStringLiteral("data"), QStringLiteral("Shapes.vantles"),
        { { "a.xml", vantleFile("k", "t") }, { "b.xml", vantleFile("b", "t") } });
    const QString control = package + QStringLiteral("/Control");
    const QString file = control + QStringLiteral("/a.xml");

    VTIndex index(nullptr, {});
    index.indexControlFile(file, package);
    index.indexControlFile(file, package);
    QCOMPARE(index.controlPaths(), QList<VTControlPath>({ { file, 2 } }));

    index.indexControlFile(file, control);
    index.indexControlFile(file, control);
    index.indexControlFile(file, package);
    QCOMPARE(index.controlPaths(), QList<VTControlPath>({ { file, 1 }, { file, 2 } }));
    index.indexControlFile(control + QStringLiteral("/b.xml"), package);
    QCOMPARE(index.controlPaths().size(), 3);
    QCOMPARE(index.packages().keys(), QStringList(QStringLiteral("Shapes")));
    QCOMPARE(index.packages().value(QStringLiteral("Shapes")), QStringList({ package, control }));
}

void TestVTIndex::packageNameIsNearestFolderWithPackageSuffix_data()
{
    QTest::addColumn<QString>("location");
    QTest::addColumn<QString>("extension"); // null: setting absent
    QTest::addColumn<QString>("name"); // null: no package

    const QString none;
    QTest::newRow("control folder") << "Shapes.vantles/Control" << none << QStringLiteral("Shapes");
    QTest::newRow("package folder itself") << "Shapes.vantles" << none << QStringLiteral("Shapes");
    QTest::newRow("below the control folder") << "Shapes.vantles/Control/sub" << none << QStringLiteral("Shapes");
    QTest::newRow("dots in the base name") << "My.Shapes.vantles/Control" << none << QStringLiteral("My.Shapes");
    QTest::newRow("nearest of nested packages")
        << "Outer.vantles/Inner.vantles/Control" << none << QStringLiteral("Inner");
    QTest::newRow("file named like a package")
        << "Outer.vantles/Control/Fake.vantles" << none << QStringLiteral("Outer");
    QTest::newRow("no package folder") << "plain/Control" << none << none;
    QTest::newRow("only a file named like a package") << "plain/Fake.vantles" << none << none;
    QTest::newRow("folder that does not exist") << "Missing.vantles/Control" << none << none;
    QTest::newRow("other extension") << "Shapes.pkg/Control" << QStringLiteral("pkg") << QStringLiteral("Shapes");
    QTest::newRow("usual extension after a change") << "Shapes.vantles/Control" << QStringLiteral("pkg") << none;
}

void TestVTIndex::packageNameIsNearestFolderWithPackageSuffix()
{
    QFETCH(QString, location);
    QFETCH(QString, extension);
    QFETCH(QString, name);

    QTemporaryDir dir;
    for (const char* folder : { "Shapes.vantles/Control/sub", "My.Shapes.vantles/Control",
             "Outer.vantles/Inner.vantles/Control", "Outer.vantles/Control", "plain/Control", "Shapes.pkg/Control" })
        QVERIFY(QDir(dir.path()).mkpath(QLatin1String(folder)));
    QVERIFY(!VTTest::writeFile(dir, QStringLiteral("Outer.vantles/Control/Fake.vantles"), "x").isEmpty());
    QVERIFY(!VTTest::writeFile(dir, QStringLiteral("plain/Fake.vantles"), "x").isEmpty());

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
    QTest::addColumn<QString>("extra"); // setting 11, null: absent
    QTest::addColumn<QStringList>("packages"); // folders, as package names

    const QString none;
    const QString extra = QStringLiteral("/opt/extra");
    QTest::newRow("own package only") << none << none << QStringList { "Main", "MainControl" };
    QTest::newRow("extra folder after own package") << none << extra << QStringList { "Main", "MainControl", "extra" };
    QTest::newRow("three searched packages in order")
        << QStringLiteral("C, A;;B") << extra << QStringList { "Main", "MainControl", "extra", "C", "A", "B" };
    QTest::newRow("unknown names skipped")
        << QStringLiteral("Nope A\tAlso") << none << QStringList { "Main", "MainControl", "A" };
    QTest::newRow("duplicates kept") << QStringLiteral("A;A ,Main") << none
                                     << QStringList { "Main", "MainControl", "A", "A", "Main", "MainControl" };
    QTest::newRow("empty search") << QStringLiteral("") << extra << QStringList { "Main", "MainControl", "extra" };
}

void TestVTIndex::componentPathsFollowPackagesAndSearchList()
{
    QFETCH(QString, search);
    QFETCH(QString, extra);
    QFETCH(QStringList, packages);

    QTemporaryDir dir;
    QMap<QString, QString> folders;
    for (const char* name : { "Main", "A", "B", "C" }) {
        const QString package = VTTest::makePackage(dir, QStringLiteral("data"),
            QLatin1String(name) + QStringLiteral(".vantles"), { { "c.xml", vantleFile("k", "t") } });
        folders.insert(QLatin1String(name), package);
    }
    folders.insert(QStringLiteral("MainControl"), folders.value(QStringLiteral("Main")) + QStringLiteral("/Control"));
    folders.insert(QStringLiteral("extra"), extra);

    VTContext context;
    if (!extra.isNull())
        context.set(VTContextExtraComponentFolder, extra);
    VTIndex index(&context, {});
    for (const QString& name :
        { QStringLiteral("C"), QStringLiteral("B"), QStringLiteral("A"), QStringLiteral("Main") })
        index.indexControlFile(folders.value(name) + QStringLiteral("/Control/c.xml"), folders.value(name));
    const QString mainFile = folders.value(QStringLiteral("Main")) + QStringLiteral("/Control/c.xml");
    index.indexControlFile(mainFile, folders.value(QStringLiteral("MainControl")));

    QStringList expectedFolders;
    for (const QString& name : packages)
        expectedFolders.append(folders.value(name));
    QCOMPARE(
        index.componentPathsForPackageNamed(QStringLiteral("Main")), expectedFolders.mid(0, extra.isNull() ? 2 : 3));
    QCOMPARE(index.componentPathsForPackageNamed(QStringLiteral("Nope")),
        extra.isNull() ? QStringList() : QStringList(extra));

    VTXmlElement root;
    if (!search.isNull())
        root.setAttribute(QStringLiteral("search"), search);
    auto element = new VTXmlElement(&root);
    element->setAttribute(QStringLiteral("VTPackagName"), QStringLiteral("Main"));
    QStringList expected;
    for (const QString& folder : qAsConst(expectedFolders))
        expected.append(QDir(folder).absoluteFilePath(QStringLiteral("ui/VantleUI.qml")));
    QCOMPARE(index.componentPathsForElement(element, QStringLiteral("ui/VantleUI.qml")), expected);

    // Without a package and a parent only the extra folder is left.
    VTXmlElement loose;
    QCOMPARE(index.componentPathsForElement(&loose, QStringLiteral("x.qml")),
        extra.isNull() ? QStringList() : QStringList(extra + QStringLiteral("/x.qml")));
}

void TestVTIndex::emptySearchNamesDoNotReachFilesOutsidePackages()
{
    QTemporaryDir dir;
    const QString package = VTTest::makePackage(
        dir, QStringLiteral("data"), QStringLiteral("Main.vantles"), { { "c.xml", vantleFile("k", "t") } });
    const QString loose = VTTest::writeFile(dir, QStringLiteral("loose/c.xml"), vantleFile("k", "t"));
    const QString looseFolder = QFileInfo(loose).absolutePath();

    VTContext context;
    VTIndex index(&context, {});
    index.indexControlFile(package + QStringLiteral("/Control/c.xml"), package);
    index.indexControlFile(loose, looseFolder);
    // Files outside any package are filed under the nameless package...
    QCOMPARE(index.componentPathsForPackageNamed(QString()), QStringList(looseFolder));

    // ...which a leading, trailing or doubled separator must not name.
    VTXmlElement root;
    root.setAttribute(QStringLiteral("search"), QStringLiteral(";Main;;"));
    auto element = new VTXmlElement(&root);
    element->setAttribute(QStringLiteral("VTPackagName"), QStringLiteral("Main"));
    QCOMPARE(index.componentPathsForElement(element, QString()), QStringList({ package, package }));
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
    index.indexControlFile(a, dir.filePath(QStringLiteral("loc")));
    index.indexControlFile(gone, dir.filePath(QStringLiteral("loc")));
    index.indexControlFile(b, dir.filePath(QStringLiteral("loc")));
    QCOMPARE(index.keys(), QStringList({ "b1", "a1", "g", "a1", "a2" }));
    QVERIFY(QFile::remove(gone));
    QCOMPARE(index.keys(), QStringList({ "b1", "a1", "a1", "a2" }));
}

void TestVTIndex::setupClearsUnlessSettingIsFalse_data()
{
    QTest::addColumn<QVariant>("setting"); // invalid: absent
    QTest::addColumn<int>("clears");
    QTest::newRow("absent") << QVariant() << 1;
    QTest::newRow("true") << QVariant(true) << 1;
    QTest::newRow("false") << QVariant(false) << 0;
}

void TestVTIndex::setupClearsUnlessSettingIsFalse()
{
    QFETCH(QVariant, setting);
    QFETCH(int, clears);
    VTContext context;
    if (setting.isValid())
        context.set(VTContextSetupClearsIndex, setting);
    ClearCountingIndex index(&context, {});
    QVERIFY(index.setup());
    QCOMPARE(index.clears, clears);
}

void TestVTIndex::contextIsMadeWhenNoneIsLeft()
{
    VTIndex orphan(nullptr, { QStringLiteral("/data") });
    VTContext* made = orphan.context();
    QVERIFY(made);
    QCOMPARE(made->parent(), &orphan);
    QCOMPARE(orphan.context(), made);
    QCOMPARE(static_cast<const VTIndex&>(orphan).context(), made);
    QCOMPARE(orphan.paths(), QStringList(QStringLiteral("/data")));

    auto host = new VTContext;
    host->set(VTContextPackageExtension, QStringLiteral("pkg"));
    VTIndex watching(host, {});
    QCOMPARE(watching.context(), host);
    delete host;
    VTContext* replacement = watching.context();
    QVERIFY(replacement);
    QCOMPARE(replacement->parent(), &watching);
    QVERIFY(replacement->keys().isEmpty());
}

void TestVTIndex::storedPathsAreSearchedAfterIndexedOnes()
{
    QTemporaryDir dir;
    const QString indexed = VTTest::writeFile(dir, QStringLiteral("loc/a.xml"), vantleFile("k", "indexed"));
    const QString stored = VTTest::writeFile(dir, QStringLiteral("store/s.xml"), vantleFile("s", "stored"));
    const QString later = VTTest::writeFile(dir, QStringLiteral("loc/b.xml"), vantleFile("b", "later"));

    VTIndex index(nullptr, {});
    index.indexControlFile(indexed, dir.filePath(QStringLiteral("loc")));
    QVERIFY(index.store(nullptr, QLocale::c(), stored, 5));
    QVERIFY(index.store(nullptr, QLocale(QStringLiteral("de_DE")), stored, 5));
    QVERIFY(index.store(nullptr, QLocale::c(), stored, 7));
    index.indexControlFile(later, dir.filePath(QStringLiteral("loc")));
    QCOMPARE(
        index.controlPaths(), QList<VTControlPath>({ { later, 1 }, { indexed, 1 }, { stored, 5 }, { stored, 7 } }));

    QString location;
    int depth = 0;
    VTXmlElement* root = nullptr;
    VTXmlElement* result = index.retrieve(QStringLiteral("s"), QLocale::c(), location, depth, root);
    QVERIFY(result);
    std::unique_ptr<VTXmlElement> owner(root);
    QCOMPARE(titleOf(result), QStringLiteral("stored"));
    QCOMPARE(depth, 5);
    QCOMPARE(location, dir.filePath(QStringLiteral("store")));
}

void TestVTIndex::sameKeyIsServedByFileIndexedLast_data()
{
    QTest::addColumn<QStringList>("order");
    QTest::addColumn<QString>("title");
    QTest::newRow("a then b") << QStringList { "a", "b" } << QStringLiteral("b");
    QTest::newRow("b then a") << QStringList { "b", "a" } << QStringLiteral("a");
    QTest::newRow("indexing a again keeps its place") << QStringList { "a", "b", "a" } << QStringLiteral("b");
}

void TestVTIndex::sameKeyIsServedByFileIndexedLast()
{
    QFETCH(QStringList, order);
    QFETCH(QString, title);

    QTemporaryDir dir;
    VTIndex index(nullptr, {});
    for (const QString& name : qAsConst(order)) {
        const QString file
            = VTTest::writeFile(dir, QStringLiteral("loc/%1.xml").arg(name), vantleFile("k", name.toUtf8()));
        index.indexControlFile(file, dir.filePath(QStringLiteral("loc")));
    }
    QCOMPARE(index.controlPaths().first().path, dir.filePath(QStringLiteral("loc/%1.xml").arg(title)));
    QCOMPARE(retrieveTitle(index, QStringLiteral("k")), title);
}

void TestVTIndex::localeOfFileMustMatchRequest_data()
{
    QTest::addColumn<QString>("fileLocale");
    QTest::addColumn<bool>("localeFileFirst");
    QTest::addColumn<bool>("withPlainFile");
    QTest::addColumn<QString>("requested");
    QTest::addColumn<QString>("servedBy"); // "locale", "plain" or null

    const QString fr = QStringLiteral("fr_FR");
    QTest::newRow("fr_FR, locale file first") << fr << true << true << fr << QStringLiteral("locale");
    QTest::newRow("fr_FR, plain file first") << fr << false << true << fr << QStringLiteral("plain");
    QTest::newRow("de_DE, locale file first") << fr << true << true << "de_DE" << QStringLiteral("plain");
    QTest::newRow("de_DE, no plain file") << fr << true << false << "de_DE" << QString();
    // QLocale completes "fr" to fr_FR and reads "fr-FR" like "fr_FR".
    QTest::newRow("request fr completes to fr_FR") << fr << true << false << "fr" << QStringLiteral("locale");
    QTest::newRow("file fr completes to fr_FR") << "fr" << true << false << fr << QStringLiteral("locale");
    QTest::newRow("dash in file locale") << "fr-FR" << true << false << fr << QStringLiteral("locale");
    QTest::newRow("other country") << fr << true << true << "fr_CA" << QStringLiteral("plain");
    QTest::newRow("empty locale serves all") << "" << true << true << "de_DE" << QStringLiteral("locale");
}

void TestVTIndex::localeOfFileMustMatchRequest()
{
    QFETCH(QString, fileLocale);
    QFETCH(bool, localeFileFirst);
    QFETCH(bool, withPlainFile);
    QFETCH(QString, requested);
    QFETCH(QString, servedBy);

    QTemporaryDir dir;
    const QString loc = dir.filePath(QStringLiteral("loc"));
    const QString localeFile
        = VTTest::writeFile(dir, QStringLiteral("loc/l.xml"), vantleFile("k", "locale", fileLocale));
    const QString plainFile = VTTest::writeFile(dir, QStringLiteral("loc/p.xml"), vantleFile("k", "plain"));
    VTIndex index(nullptr, {});
    // The file indexed last is searched first.
    if (withPlainFile && localeFileFirst)
        index.indexControlFile(plainFile, loc);
    index.indexControlFile(localeFile, loc);
    if (withPlainFile && !localeFileFirst)
        index.indexControlFile(plainFile, loc);
    QCOMPARE(index.controlPaths().size(), withPlainFile ? 2 : 1);

    const QString title = retrieveTitle(index, QStringLiteral("k"), QLocale(requested));
    QCOMPARE(title, servedBy);
    QCOMPARE(title.isNull(), servedBy.isNull());
}

void TestVTIndex::keyDefinedTwiceFailsOnlyInThatFile()
{
    QTemporaryDir dir;
    const QString loc = dir.filePath(QStringLiteral("loc"));
    const QString good = VTTest::writeFile(dir, QStringLiteral("loc/good.xml"), vantleFile("k", "good"));
    const QString twice = VTTest::writeFile(dir, QStringLiteral("loc/twice.xml"),
        VTTest::controlFileXml(QString(), QString(),
            { { "k", "<title>first</title>" }, { "j", "<title>j</title>" }, { "k", "<title>second</title>" } }));

    VTIndex index(nullptr, {});
    index.indexControlFile(twice, loc);
    QCOMPARE(retrieveTitle(index, QStringLiteral("k")), QString());
    QCOMPARE(retrieveTitle(index, QStringLiteral("j")), QStringLiteral("j"));
    index.indexControlFile(good, loc);
    index.indexControlFile(twice, dir.path()); // searched first now, at depth 2
    QCOMPARE(index.controlPaths().first(), VTControlPath({ twice, 2 }));
    QCOMPARE(retrieveTitle(index, QStringLiteral("k")), QStringLiteral("good"));
}

void TestVTIndex::unknownKeyOrForeignRootLeavesOutParametersAlone()
{
    QTemporaryDir dir;
    const QString file = VTTest::writeFile(dir, QStringLiteral("loc/a.xml"), vantleFile("k", "t"));
    const QString foreign = VTTest::writeFile(dir, QStringLiteral("loc/f.xml"), "<config><vantle key=\"f\"/></config>");
    VTIndex index(nullptr, {});
    index.indexControlFile(file, dir.filePath(QStringLiteral("loc")));
    index.indexControlFile(foreign, dir.filePath(QStringLiteral("loc")));
    QCOMPARE(index.controlPaths().size(), 1);
    index.store(nullptr, QLocale::c(), foreign, 1);

    for (const QString& key : { QStringLiteral("unknown"), QStringLiteral("K"), QStringLiteral("f") }) {
        QString location = QStringLiteral("unchanged");
        int depth = -7;
        VTXmlElement* root = nullptr;
        QVERIFY2(!index.retrieve(key, QLocale::c(), location, depth, root), qPrintable(key));
        QCOMPARE(location, QStringLiteral("unchanged"));
        QCOMPARE(depth, -7);
    }
}

void TestVTIndex::retrievedElementCarriesItsOrigin()
{
    QTemporaryDir dir;
    const QByteArray xml
        = "<vantles locale=\"en_US\" search=\"Other\" owner=\"me\">\n"
          "<vantle key=\"square\"><title>Square</title></vantle>\n"
          "<vantle key=\"circle\" shortcut=\"Ctrl+C\"><title>Circle</title><text>Round</text></vantle>\n"
          "</vantles>\n";
    VTTest::makePackage(dir, QStringLiteral("data"), QStringLiteral("Shapes.vantles"), { { "shapes.xml", xml } });
    // Reached through a link: the location is reported as indexed, not resolved.
    QVERIFY(QFile::link(dir.filePath(QStringLiteral("data")), dir.filePath(QStringLiteral("link"))));
    const QString package = dir.filePath(QStringLiteral("link/Shapes.vantles"));
    const QString control = package + QStringLiteral("/Control");
    const QString asIndexed = package + QStringLiteral("/./Control/shapes.xml");
    const QString outside = VTTest::writeFile(dir, QStringLiteral("loose/o.xml"), vantleFile("loose", "Loose"));

    VTIndex index(nullptr, {});
    index.indexControlFile(asIndexed, package);
    index.indexControlFile(outside, dir.filePath(QStringLiteral("loose")));
    QCOMPARE(index.controlPaths().last(), VTControlPath({ asIndexed, 2 }));

    QString location;
    int depth = 0;
    VTXmlElement* root = nullptr;
    VTXmlElement* result
        = index.retrieve(QStringLiteral("circle"), QLocale(QStringLiteral("en_US")), location, depth, root);
    QVERIFY(result);
    std::unique_ptr<VTXmlElement> owner(root);
    QCOMPARE(location, control);
    QCOMPARE(depth, 2);
    QCOMPARE(result->getTagName(), QStringLiteral("vantle"));
    QCOMPARE(result->attribute(QStringLiteral("VTLocation")), asIndexed);
    QCOMPARE(result->attribute(QStringLiteral("VTPackagName")), QStringLiteral("Shapes"));
    QCOMPARE(result->attribute(QStringLiteral("shortcut")), QStringLiteral("Ctrl+C"));
    QCOMPARE(titleOf(result), QStringLiteral("Circle"));
    QCOMPARE(result->childElement(QStringLiteral("text"))->content(), QStringLiteral("Round"));

    QCOMPARE(result->parent(), root);
    QCOMPARE(root->children(), QObjectList({ result }));
    QCOMPARE(root->getTagName(), QStringLiteral("vantles"));
    QCOMPARE(root->attributeNames(), QStringList({ "locale", "owner", "search" }));
    QCOMPARE(root->attribute(QStringLiteral("search")), QStringLiteral("Other"));
    QCOMPARE(root->attribute(QStringLiteral("owner")), QStringLiteral("me"));

    VTXmlElement* looseRoot = nullptr;
    VTXmlElement* loose = index.retrieve(QStringLiteral("loose"), QLocale::c(), location, depth, looseRoot);
    QVERIFY(loose);
    std::unique_ptr<VTXmlElement> looseOwner(looseRoot);
    QCOMPARE(location, dir.filePath(QStringLiteral("loose")));
    QCOMPARE(depth, 1);
    QVERIFY(loose->hasAttribute(QStringLiteral("VTPackagName")));
    QVERIFY(loose->attribute(QStringLiteral("VTPackagName")).isEmpty());
}

void TestVTIndex::keyDataAttributesAreMerged_data()
{
    QTest::addColumn<QString>("setting"); // "file", "empty" or "missing"
    QTest::addColumn<QByteArray>("keyData");
    QTest::addColumn<QStringList>("expected"); // title, key, name, extra ("-": absent)

    QTest::newRow("title and key copied, key replaced")
        << "file" << QByteArray("<vantlekeys><key name=\"k\" title=\"T\" key=\"K2\"/></vantlekeys>")
        << QStringList { "T", "K2", "orig", "-" };
    QTest::newRow("only the first entry with the name")
        << "file"
        << QByteArray("<vantlekeys><key name=\"k\" title=\"first\"/><key name=\"k\" title=\"second\" extra=\"x\"/>"
                      "</vantlekeys>")
        << QStringList { "first", "k", "orig", "-" };
    QTest::newRow("entries of other keys passed over")
        << "file"
        << QByteArray("<vantlekeys><key name=\"z\" title=\"Z\"/>\n<key name=\"k\" extra=\"E\"><note>n</note></key>"
                      "</vantlekeys>")
        << QStringList { "own", "k", "orig", "E" };
    QTest::newRow("no entry for the key")
        << "file" << QByteArray("<vantlekeys><key name=\"z\" title=\"Z\"/></vantlekeys>")
        << QStringList { "own", "k", "orig", "-" };
    QTest::newRow("setting empty") << "empty" << QByteArray() << QStringList { "own", "k", "orig", "-" };
    QTest::newRow("setting names a missing file")
        << "missing" << QByteArray() << QStringList { "own", "k", "orig", "-" };
}

void TestVTIndex::keyDataAttributesAreMerged()
{
    QFETCH(QString, setting);
    QFETCH(QByteArray, keyData);
    QFETCH(QStringList, expected);

    QTemporaryDir dir;
    const QString file = VTTest::writeFile(dir, QStringLiteral("loc/a.xml"),
        "<vantles><vantle key=\"k\" name=\"orig\" title=\"own\"/><vantle key=\"z\"/></vantles>");
    const QString keys = VTTest::writeFile(dir, QStringLiteral("keys.xml"), keyData);
    VTContext context;
    if (setting == QLatin1String("file"))
        context.set(VTContextKeyDataFile, keys);
    else if (setting == QLatin1String("empty"))
        context.set(VTContextKeyDataFile, QString());
    else
        context.set(VTContextKeyDataFile, dir.filePath(QStringLiteral("missing.xml")));
    VTIndex index(&context, {});
    index.indexControlFile(file, dir.filePath(QStringLiteral("loc")));

    QString location;
    int depth = 0;
    VTXmlElement* root = nullptr;
    VTXmlElement* result = index.retrieve(QStringLiteral("k"), QLocale::c(), location, depth, root);
    QVERIFY(result);
    std::unique_ptr<VTXmlElement> owner(root);
    QStringList actual;
    for (const char* name : { "title", "key", "name", "extra" }) {
        const QString value = result->attribute(QLatin1String(name));
        actual.append(result->hasAttribute(QLatin1String(name)) ? value : QStringLiteral("-"));
    }
    QCOMPARE(actual, expected);
    QCOMPARE(result->attribute(QStringLiteral("VTLocation")), file);
}

void TestVTIndex::brokenControlFilesGiveNullWithoutCrash_data()
{
    QTest::addColumn<QByteArray>("contents"); // null: file removed
    QTest::addColumn<bool>("fatal");
    QTest::addColumn<bool>("served");

    QTest::newRow("truncated before the key") << QByteArray("<vantles>\n<vantle key=\"z\"><t>") << true << false;
    QTest::newRow("garbage after the root") << QByteArray("<vantles>\n& < > <<\n") << true << false;
    QTest::newRow("plain text") << QByteArray("just some words") << true << false;
    QTest::newRow("binary bytes") << QByteArray("\x01\x02\xff\xfe\x00\x10", 6) << true << false;
    QTest::newRow("empty file") << QByteArray("") << true << false;
    QTest::newRow("file removed after indexing") << QByteArray() << false << false;
    // The parser hands back what it built before the error, so a vantle that
    // was complete by then is served.
    QTest::newRow("truncated after the matching vantle")
        << QByteArray("<vantles>\n<vantle key=\"k\"><title>t</title></vantle>\n<vantle key=\"z\">") << true << true;
}

void TestVTIndex::brokenControlFilesGiveNullWithoutCrash()
{
    QFETCH(QByteArray, contents);
    QFETCH(bool, fatal);
    QFETCH(bool, served);

    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("loc/broken.xml"));
    if (!contents.isNull())
        QVERIFY(!VTTest::writeFile(dir, QStringLiteral("loc/broken.xml"), contents).isEmpty());
    VTIndex index(nullptr, {});
    index.store(nullptr, QLocale::c(), file, 1);

    QString location = QStringLiteral("unchanged");
    int depth = -1;
    VTXmlElement* root = nullptr;
    VTXmlElement* result = nullptr;
    QStringList messages;
    {
        VTTest::MessageLog log;
        result = index.retrieve(QStringLiteral("k"), QLocale::c(), location, depth, root);
        messages = log.debugMessages();
    }
    std::unique_ptr<VTXmlElement> owner(result ? root : nullptr);
    QCOMPARE(result != nullptr, served);
    QCOMPARE(location, served ? dir.filePath(QStringLiteral("loc")) : QStringLiteral("unchanged"));
    QCOMPARE(messages.size(), fatal ? 1 : 0);
    if (fatal) {
        static const QRegularExpression fatalError(QStringLiteral("^\"Fatal error at \\d+,\\d+ : .+\"$"));
        QVERIFY2(fatalError.match(messages.first()).hasMatch(), qPrintable(messages.first()));
    }
}

QTEST_GUILESS_MAIN(TestVTIndex)
#include "tst_vtindex.moc"
