// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// The vantles command line, run as an author runs it.
#include "VTTestHelpers.h"

#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

using Files = QMap<QString, QByteArray>;

class TestVantlesTool : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void sampleChecksCleanAndListsItsKeys();
    void checkReportsEachMistake_data();
    void checkReportsEachMistake();
    void usageAndJson();
    void showPicturesTheVantle();
    void qmllintKnowsTheLibraryTypes();

private:
    struct Run {
        int status = -1;
        QString out;
        QString err;
    };
    static Run run(const QStringList& arguments, const QString& workingDirectory = QString());
    // Writes @p files below @p dir, a ".qm" entry compiled from the .ts text it holds.
    static bool write(const QTemporaryDir& dir, const Files& files);
};

TestVantlesTool::Run TestVantlesTool::run(const QStringList& arguments, const QString& workingDirectory)
{
    QProcess process;
    process.setWorkingDirectory(workingDirectory);
    // No display at all: the program must choose its platform itself.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* name : { "QT_QPA_PLATFORM", "QT_QUICK_BACKEND", "DISPLAY", "WAYLAND_DISPLAY" })
        environment.remove(QLatin1String(name));
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(VANTLES_TOOL), arguments);
    if (!process.waitForFinished(60000))
        process.kill();
    return { process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
        QString::fromUtf8(process.readAllStandardOutput()), QString::fromUtf8(process.readAllStandardError()) };
}

bool TestVantlesTool::write(const QTemporaryDir& dir, const Files& files)
{
    for (auto it = files.cbegin(); it != files.cend(); ++it) {
        if (it.value().isNull())
            continue;
        if (!it.key().endsWith(QLatin1String(".qm"))) {
            if (VTTest::writeFile(dir, it.key(), it.value()).isEmpty())
                return false;
            continue;
        }
        const QString source = VTTest::writeFile(dir, it.key() + QLatin1String(".ts"), it.value());
        if (QProcess::execute(QStringLiteral(VANTLES_LRELEASE),
                { QStringLiteral("-silent"), source, QStringLiteral("-qm"), dir.filePath(it.key()) })
            != 0)
            return false;
        QFile::remove(source);
    }
    return true;
}

void TestVantlesTool::sampleChecksCleanAndListsItsKeys()
{
    const QString data = QStringLiteral(VANTLES_SAMPLE_DATA_DIR);
    const Run check = run({ QStringLiteral("check"), data, QStringLiteral("--key-data"),
        data + QStringLiteral("/VantleKeys.xml") });
    QCOMPARE(check.out.section(QLatin1Char('\n'), -2),
        QStringLiteral("0 errors, 0 warnings in 2 packages, 4 control files and 8 keys.\n"));
    QCOMPARE(check.out.count(QStringLiteral(".vantles: untrusted package\n")), 2);
    QCOMPARE(check.status, 0);
    // A host's own folder: trusted.
    const Run trusted = run({ QStringLiteral("check"), data, QStringLiteral("--trusted"), data });
    QCOMPARE(trusted.out.count(QStringLiteral(".vantles: trusted package\n")), 2);

    // Search order: the file indexed last comes first; each key with its place.
    const Run keys = run({ QStringLiteral("keys"), data, QStringLiteral("--locale"), QStringLiteral("fr_FR") });
    QCOMPARE(keys.status, 0);
    const QStringList lines = keys.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 8);
    QVERIFY2(lines.contains(QStringLiteral("actionOpen\t%1/Sample.vantles/Control/Sample_fr.xml\t6\tfr_FR").arg(data)),
        qPrintable(keys.out));
    QVERIFY(lines.contains(QStringLiteral("unknownControl\t%1/Common.vantles/Control/Common.xml\t6\t*").arg(data)));
    QVERIFY(!keys.out.contains(QLatin1String("en_US")));

    // What a French host receives: the French text, escaped, with the key data.
    const Run dump = run({ QStringLiteral("dump"), data, QStringLiteral("actionOpen"), QStringLiteral("--locale"),
        QStringLiteral("fr_FR"), QStringLiteral("--key-data"), data + QStringLiteral("/VantleKeys.xml") });
    QCOMPARE(dump.status, 0);
    QVERIFY2(dump.out.startsWith(QLatin1String("<vantle ")) && dump.out.contains(QLatin1String("helpTopic=\"opening-documents\""))
            && dump.out.contains(QLatin1String("<title>Ouvrir un document</title>"))
            && dump.out.contains(QLatin1String("menu &lt;b&gt;Fichier&lt;/b&gt;.</text>")),
        qPrintable(dump.out));
    const Run missing = run({ QStringLiteral("dump"), data, QStringLiteral("noSuchKey") });
    QCOMPARE(missing.status, 1);
    QVERIFY(missing.err.contains(QLatin1String("no vantle for the key \"noSuchKey\"")));
}

void TestVantlesTool::checkReportsEachMistake_data()
{
    // A good package P (searching Q) is broken as the row says: files
    // replaced (a null text deletes), options added. The row's line must be
    // in the output, paths relative to the folder the program runs in.
    QTest::addColumn<Files>("files");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("expected"); // pattern of one output line
    QTest::addColumn<int>("status");

    const QByteArray head = "<vantles search=\"Q\">\n";
    const QByteArray qml = "import QtQuick 2.15\nItem {\n    Text { text: vantleView.translate(\"Pin\", \"UI\") }\n}\n";
    auto ts = [](const QByteArray& messages) {
        return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<!DOCTYPE TS>\n<TS version=\"2.1\" language=\"fr_FR\">\n"
               "<context>\n<name>UI</name>\n"
            + messages + "</context>\n</TS>\n";
    };
    const QByteArray pin = "<message><source>Pin</source><translation>Epingler</translation></message>\n";
    auto row = [](const char* name, const Files& files, const QStringList& options, const char* expected,
                   int status) { QTest::newRow(name) << files << options << QString::fromUtf8(expected) << status; };

    row("no mistake", {}, {}, "0 errors, 0 warnings in 2 packages, 2 control files and 2 keys\\.", 0);
    row("not well-formed", { { "data/P.vantles/Control/a.xml", head + "<vantle key=\"k\"><title>T</vantle>\n" } }, {},
        "data/P.vantles/Control/a.xml:2:\\d+: error: Opening and ending tag mismatch\\..*", 1);
    // The second place is named exactly; from the root folder, with the data
    // folder given as an absolute one, by absolute paths.
    const Files twice { { "data/P.vantles/Control/b.xml", "<vantles>\n\n  <vantle key=\"k\"/>\n</vantles>\n" } };
    const char* second = "DIR/P.vantles/Control/b.xml:3:3: warning: The key \"k\" is also defined for every locale at "
                         "DIR/P.vantles/Control/a.xml:2:1, which is searched first\\.";
    row("key in two files", twice, {}, second, 0);
    row("run from the root folder", twice, { "ROOT" }, second, 0);
    row("search names no package", { { "data/P.vantles/Control/a.xml", "<vantles search=\"Qx\">\n</vantles>\n" } },
        {}, "data/P.vantles/Control/a.xml:1:1: warning: The search list names \"Qx\", which is no package.*", 0);
    row("package without control folder", { { "data/R.vantles/ui/VantleUI.qml", qml } }, {},
        "data/R.vantles: warning: This package has no Control folder, so it serves no vantle\\.", 0);
    row("interface does not compile", { { "data/P.vantles/ui/VantleUI.qml", "import QtQuick 2.15\nItem {\n  x: )\n}\n" } },
        {}, "data/P.vantles/ui/VantleUI.qml:3:\\d+: error: .*", 1);
    row("named interface missing",
        { { "data/P.vantles/Control/a.xml", head + "<vantle key=\"k\" ui=\"ui/Gone.qml\"/>\n</vantles>\n" } }, {},
        "data/P.vantles/Control/a.xml:2:1: warning: Can't find the interface file of this vantle: looked for "
        ".*/P.vantles/ui/Gone.qml or .*/Q.vantles/ui/Gone.qml\\. The library's own interface is shown instead\\.",
        0);
    row("resource missing",
        { { "data/P.vantles/Control/a.xml", head + "<vantle key=\"k\">\n<image source=\"pic.png\"/></vantle>\n</vantles>\n" } },
        {}, "data/P.vantles/Control/a.xml:2:1: warning: Can't find the resource \"pic.png\".*", 0);
    row("clip cannot be played",
        { { "data/P.vantles/Control/a.xml", head + "<vantle key=\"k\">\n<video source=\"c.mp4\"/></vantle>\n</vantles>\n" },
            { "data/P.vantles/Resources/c.mp4", "not a clip" } },
        {}, "data/P.vantles/Control/a.xml:2:1: error: The clip .*/c.mp4 cannot be played: could not open media.*", 1);
    row("locale without translation",
        { { "data/P.vantles/Control/a.xml", "<vantles locale=\"fr_FR\">\n<vantle key=\"k\"/>\n</vantles>\n" },
            { "data/P.vantles/l10n/Vantles_fr_FR.ts", ts(pin) } },
        {}, "data/P.vantles/Control/a.xml: warning: The locale fr_FR has no translation file .* "
            ".*/Vantles_fr_FR.ts is there: compile it with lrelease\\.",
        0);
    row("translation lacks a text",
        { { "data/P.vantles/Control/a.xml", "<vantles locale=\"fr_FR\">\n<vantle key=\"k\"/>\n</vantles>\n" },
            { "data/P.vantles/l10n/Vantles_fr_FR.qm", ts("<message><source>Other</source><translation>Autre</translation></message>\n") } },
        {}, "data/P.vantles/ui/VantleUI.qml:3: warning: .*Vantles_fr_FR.qm has no translation of \"Pin\" \\(context UI\\).*",
        0);
    // Columns count characters, a four-byte one as one.
    row("markup in text",
        { { "data/P.vantles/Control/a.xml", head + "<vantle key=\"k\">\n  <!-- \xC3\xA9\xF0\x9F\x98\x80 --><text>Use the "
                                                  "<b>File</b> menu.</text>\n</vantle>\n</vantles>\n" } },
        {}, "data/P.vantles/Control/a.xml:3:14: warning: <text> holds both text and elements \\(<b> at line 3\\).*", 0);
    row("key data names an unknown key",
        { { "keys.xml", "<vantlekeys>\n  <key name=\"k\"/>\n  <key name=\"gone\"/>\n</vantlekeys>\n" } },
        { "--key-data", "keys.xml" }, "keys.xml:3:3: warning: The key \"gone\" is defined by no control file\\.", 0);
    // A control file whose root is misspelt: a warning, which --werror makes fail.
    row("warnings fail with --werror", { { "data/P.vantles/Control/b.xml", "<vantels/>\n" } }, { "--werror" },
        "0 errors, 1 warning in .*", 1);
    row("--werror without warnings", {}, { "--werror" }, "0 errors, 0 warnings in .*", 0);
    // Only the vantles of the locale given, and those for every locale, are
    // checked; a line after "\n!" must be in no line of the output.
    row("--locale",
        { { "data/P.vantles/Control/f.xml", "<vantles locale=\"fr_FR\">\n<vantle key=\"f\" ui=\"ui/F.qml\"/>\n</vantles>\n" },
            { "data/P.vantles/Control/g.xml", "<vantles locale=\"de_DE\">\n<vantle key=\"g\" ui=\"ui/G.qml\"/>\n</vantles>\n" } },
        { "--locale", "de_DE" }, "DIR/P.vantles/Control/g.xml:2:1: warning: Can't find the interface file .*\n!.*/F\\.qml.*", 0);
}

void TestVantlesTool::checkReportsEachMistake()
{
    QFETCH(Files, files);
    QFETCH(QStringList, options);
    QFETCH(QString, expected);
    QFETCH(int, status);

    QTemporaryDir dir;
    const bool fromRoot = options.removeAll(QStringLiteral("ROOT"));
    Files package { { "data/P.vantles/Control/a.xml", "<vantles search=\"Q\">\n<vantle key=\"k\"/>\n</vantles>\n" },
        { "data/P.vantles/ui/VantleUI.qml",
            "import QtQuick 2.15\nItem {\n    Text { text: vantleView.translate(\"Pin\", \"UI\") }\n}\n" },
        { "data/Q.vantles/Control/q.xml", "<vantles>\n<vantle key=\"q\"/>\n</vantles>\n" } };
    package.insert(files);
    QVERIFY(write(dir, package));
    const QString data = fromRoot ? dir.filePath(QStringLiteral("data")) : QStringLiteral("data");
    expected.replace(QStringLiteral("DIR"),
        fromRoot ? QRegularExpression::escape(QFileInfo(data).canonicalFilePath()) : QStringLiteral("data"));

    const Run check = run(QStringList { QStringLiteral("check"), data } + options, fromRoot ? QStringLiteral("/") : dir.path());
    const QStringList lines = check.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    const QStringList patterns = expected.split(QStringLiteral("\n!"));
    for (const QString& pattern : patterns) {
        const int matching = int(lines.filter(QRegularExpression(QRegularExpression::anchoredPattern(pattern))).size());
        QVERIFY2(matching == (pattern == patterns.first() ? 1 : 0), qPrintable(pattern + '\n' + check.out + check.err));
    }
    QCOMPARE(check.status, status);
}

void TestVantlesTool::usageAndJson()
{
    // Usage errors and help go to the standard error.
    const QList<QPair<QStringList, int>> usages { { {}, 2 }, { { QStringLiteral("draw") }, 2 },
        { { QStringLiteral("check") }, 2 }, { { QStringLiteral("keys"), QStringLiteral("--colour") }, 2 },
        { { QStringLiteral("show"), QStringLiteral("data"), QStringLiteral("k") }, 2 },
        { { QStringLiteral("check"), QStringLiteral("data"), QStringLiteral("--locale"), QStringLiteral("english") }, 2 },
        { { QStringLiteral("--help") }, 0 }, { { QStringLiteral("show"), QStringLiteral("--help") }, 0 } };
    for (const auto& [arguments, status] : usages) {
        const Run usage = run(arguments);
        QVERIFY2(usage.status == status && usage.out.isEmpty() && !usage.err.isEmpty(),
            qPrintable(arguments.join(QLatin1Char(' ')) + QLatin1String(": ") + usage.err));
    }

    // Each finding as JSON, an error and a warning.
    QTemporaryDir dir;
    QVERIFY(write(dir,
        { { "data/P.vantles/Control/a.xml", "<vantles>\n<vantle/>\n</vantles>\n" },
            { "data/P.vantles/Control/b.xml", "<vantles>\n <vantle key=\"k\"><title>T</vantle>\n</vantles>\n" } }));
    const Run json = run({ QStringLiteral("check"), dir.filePath(QStringLiteral("data")), QStringLiteral("--json") });
    QCOMPARE(json.status, 1);
    const QString control = QFileInfo(dir.filePath(QStringLiteral("data"))).canonicalFilePath() + "/P.vantles/Control/";
    QStringList findings;
    for (const QJsonValue& finding : QJsonDocument::fromJson(json.out.toUtf8()).array()) {
        QStringList fields;
        for (const char* name : { "file", "line", "column", "severity", "message" })
            fields.append(finding.toObject().value(QLatin1String(name)).toVariant().toString().remove(control));
        findings.append(fields.join(QLatin1Char('|')));
    }
    findings.sort();
    QCOMPARE(findings,
        QStringList({ "a.xml|2|1|warning|This <vantle> has no \"key\" attribute.",
            "b.xml|2|34|error|Opening and ending tag mismatch. The rest of the file is ignored." }));

    // A control file in Latin-1, as its declaration says, is read as such.
    QVERIFY(write(dir,
        { { "latin/P.vantles/Control/l.xml",
            "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<vantles>\n<vantle key=\"caf\xE9\"><title>Caf\xE9 "
            "cr\xE8me</title></vantle>\n</vantles>\n" } }));
    const Run latin = run({ QStringLiteral("dump"), dir.filePath(QStringLiteral("latin")), QStringLiteral("caf\u00e9") });
    QCOMPARE(latin.status, 0);
    QCOMPARE(latin.out,
        QStringLiteral("<vantle VTLocation=\"%1/P.vantles/Control/l.xml\" VTPackagName=\"P\" key=\"caf\u00e9\">\n"
                       "    <title>Caf\u00e9 cr\u00e8me</title>\n</vantle>\n")
            .arg(QFileInfo(dir.filePath(QStringLiteral("latin"))).canonicalFilePath()));
}

void TestVantlesTool::showPicturesTheVantle()
{
    QTemporaryDir dir;
    QVERIFY(write(dir,
        { { "data/P.vantles/Control/a.xml", "<vantles>\n<vantle key=\"k\"><title>Hello</title></vantle>\n</vantles>\n" },
            { "data/P.vantles/ui/VantleUI.qml",
                "import QtQuick 2.15\nRectangle {\n    width: vantleView.getScaledSize(120); "
                "height: vantleView.getScaledSize(40); color: \"white\"\n"
                "    Text { text: vantle.childElement(\"title\").content; font.pixelSize: 20 }\n}\n" } }));
    const QString data = dir.filePath(QStringLiteral("data"));
    for (const double scale : { 1.0, 2.0 }) {
        const QString png = dir.filePath(QStringLiteral("k-%1.png").arg(scale));
        const Run show = run({ QStringLiteral("show"), data, QStringLiteral("k"), QStringLiteral("--scale"),
            QString::number(scale), QStringLiteral("-o"), png });
        QVERIFY2(show.status == 0, qPrintable(show.err));
        const QImage image(png);
        // The window is one pixel larger than its content, as it shows it.
        QCOMPARE(image.size(), QSize(120, 40) * scale + QSize(1, 1));
        QCOMPARE(QColor(image.pixel(image.width() - 2, image.height() - 2)), QColor(Qt::white));
        // The title's pixels are there.
        bool dark = false;
        for (int y = 0; y < image.height() && !dark; ++y) {
            for (int x = 0; x < image.width() / 2 && !dark; ++x)
                dark = qGray(image.pixel(x, y)) < 100;
        }
        QVERIFY(dark);
    }

    // The sample in the library's interface, light and dark: a dark palette
    // gives a dark panel.
    auto meanGray = [](const QImage& image) {
        qint64 sum = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x)
                sum += qGray(image.pixel(x, y));
        }
        return sum / (qint64(image.width()) * image.height());
    };
    const QString sample = QStringLiteral(VANTLES_SAMPLE_DATA_DIR);
    QList<qint64> means;
    for (const char* palette : { "", "--dark" }) {
        const QString png = dir.filePath(QStringLiteral("sample%1.png").arg(QLatin1String(palette)));
        QStringList arguments { QStringLiteral("show"), sample, QStringLiteral("documentTitle"), QStringLiteral("-o"), png };
        if (*palette)
            arguments.append(QLatin1String(palette));
        const Run show = run(arguments);
        QVERIFY2(show.status == 0 && show.err.isEmpty(), qPrintable(show.err));
        const QImage image(png);
        means.append(meanGray(image));
        // Rounded corners: the window is translucent outside them.
        QCOMPARE(qAlpha(image.pixel(0, 0)), 0);
        QCOMPARE(qAlpha(image.pixel(image.width() / 2, image.height() / 2)), 255);
    }
    QVERIFY2(means.at(0) > 150 && means.at(1) < 100, qPrintable(QStringLiteral("%1 %2").arg(means.at(0)).arg(means.at(1))));
}

void TestVantlesTool::qmllintKnowsTheLibraryTypes()
{
#ifndef VANTLES_QMLLINT
    QSKIP("qmllint is not installed");
#else
    // The module files let qmllint check an interface: the library's types
    // resolve in its built-in interfaces, and a misspelled property of one
    // of them is reported. (Context properties such as vantleView are not
    // visible to the tool, so unqualified access is not judged.)
    QTemporaryDir dir;
    const QString typo = VTTest::writeFile(dir, QStringLiteral("Typo.qml"),
        "import QtQuick 2.15\nimport com.zelvane.vantles.qml 1.0\nVTStyledRectangle {\n    element: \"tooltip\"\n"
        "    Text { color: parent.linkColour }\n}\n");
    const QStringList files { QStringLiteral(VANTLES_SOURCE_DIR "/Vantles/ui/VantleUI.qml"),
        QStringLiteral(VANTLES_SOURCE_DIR "/Vantles/ui/SimpleTooltip.qml"), typo };
    QProcess lint;
    lint.start(QStringLiteral(VANTLES_QMLLINT),
        QStringList { QStringLiteral("-I"), QStringLiteral(VANTLES_QML_IMPORT_DIR), QStringLiteral("--unqualified"),
            QStringLiteral("disable") }
            + files);
    QVERIFY(lint.waitForFinished(60000));
    const QString out = QString::fromUtf8(lint.readAllStandardOutput() + lint.readAllStandardError());
    for (const QString& line : out.split(QLatin1Char('\n'))) {
        QVERIFY2(!line.contains(QLatin1String("not resolved")) && !line.contains(QLatin1String("was not found"))
                && !line.contains(QLatin1String("Failed to import")),
            qPrintable(line));
    }
    QVERIFY2(out.contains(QLatin1String("Typo.qml:5:")) && out.contains(QLatin1String("linkColour")), qPrintable(out));
#endif
}

QTEST_GUILESS_MAIN(TestVantlesTool)
#include "tst_vantlestool.moc"
