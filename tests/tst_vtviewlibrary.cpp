// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// A host that links Vantles alone, as the README's does: Qt Quick and the
// view library come only when the first window is needed. The program links
// nothing of the view library itself (not even the test helpers).

#include <Vantles/VTContext.h>
#include <Vantles/VTInterface.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTWidget.h>

#include <QApplication>
#include <QFile>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QTest>
#include <QTextStream>
#include <QThread>

#include <cstring>

#include <atomic>

#include <dlfcn.h>
#include <link.h>

using namespace Vantles;

// Whether the view library was first opened on the GUI thread: 0 not yet, 1
// on it, 2 on another. Qt opens libraries with dlopen(), which this program's
// own definition stands in for.
static std::atomic<int> s_viewOpened { 0 };

extern "C" void* dlopen(const char* file, int mode)
{
    static const auto real = reinterpret_cast<void* (*)(const char*, int)>(dlsym(RTLD_NEXT, "dlopen"));
    if (file && std::strstr(file, "libVantlesView") && s_viewOpened == 0) {
        const QCoreApplication* app = QCoreApplication::instance();
        s_viewOpened = app && QThread::currentThread() == app->thread() ? 1 : 2;
    }
    return real(file, mode);
}

namespace {

// The file names of the shared objects the process has loaded.
QStringList loadedObjects()
{
    QStringList names;
    dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* data) {
            const QString path = QFile::decodeName(info->dlpi_name);
            static_cast<QStringList*>(data)->append(path.mid(path.lastIndexOf(QLatin1Char('/')) + 1));
            return 0;
        },
        &names);
    return names;
}

// The loaded objects of Qt Quick, Qt QML, Qt Network and the view library.
QStringList quickObjects()
{
    static const QRegularExpression quick(
        QStringLiteral("^lib(Qt6(Quick|Qml|QmlModels|QuickWidgets|Network|OpenGL)|VantlesView)\\.so"));
    return loadedObjects().filter(quick);
}

struct Host {
    explicit Host(bool softwareRenderer = false)
    {
        const QString data = QStringLiteral(VANTLES_SAMPLE_DATA_DIR);
        settings.set(VTContextKeyDataFile, data + QStringLiteral("/VantleKeys.xml"));
        if (softwareRenderer)
            settings.set(VTContextSoftwareRenderer, true);
        interface = std::make_unique<VTInterface>(settings, QStringList { data });
        button.setObjectName(QStringLiteral("actionOpen"));
    }
    bool show() { return interface->show(QStringLiteral("actionOpen"), QPoint(40, 40), &button); }
    QStringList problems() const
    {
        QStringList texts;
        const QList<VTProblem> problems = interface->manager()->problems();
        for (const VTProblem& problem : problems)
            texts.append(QString::number(int(problem.type)) + QLatin1Char(' ') + problem.text);
        return texts;
    }

    VTContext settings;
    std::unique_ptr<VTInterface> interface;
    QPushButton button { QStringLiteral("Open…") };
};

// Run as a child with VANTLES_VIEW_LIBRARY_PATH set: shows twice (with the
// software renderer setting when asked) and prints whether the vantle is up
// and each problem reported.
int runChild(int argc, char** argv)
{
    QApplication app(argc, argv);
    Host host(qEnvironmentVariableIsSet("VT_CHILD_SOFTWARE"));
    const bool first = host.show();
    const bool second = host.show();
    QTextStream out(stdout);
    out << "shown " << first << second << " window " << (host.interface->manager()->widget() != nullptr) << " opened "
        << s_viewOpened << '\n';
    for (const QString& problem : host.problems())
        out << problem << '\n';
    return 0;
}

} // namespace

class TestVTViewLibrary : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void viewLibraryOpensWhenTheHostIsIdle();
    void viewLibraryPath_data();
    void viewLibraryPath();
};

void TestVTViewLibrary::viewLibraryOpensWhenTheHostIsIdle()
{
    // Runs first. Linking the library loads none of Qt Quick, nor does
    // making the interface and loading the packages.
    QCOMPARE(quickObjects(), QStringList());
    QVERIFY(loadedObjects().contains(QStringLiteral("libVantles.so.0")));
    Host host;
    QVERIFY(host.interface->manager()->keys().contains(QStringLiteral("actionOpen")));
    QTest::qWait(300);
    QCOMPARE(quickObjects(), QStringList());
    QCOMPARE(host.interface->manager()->widget(), nullptr);

    QCOMPARE(s_viewOpened.load(), 0);
    // Once the host's window has appeared and the application is idle, the
    // view library opens, on a thread, and makes the window ready, unshown.
    host.button.show();
    QVERIFY(QTest::qWaitForWindowExposed(&host.button));
    QTRY_VERIFY_WITH_TIMEOUT(host.interface->manager()->widget() != nullptr, 10000);
    const QStringList quick = quickObjects();
    QVERIFY2(quick.contains(QStringLiteral("libVantlesView.so.0")), qPrintable(quick.join(QLatin1Char(' '))));
    QVERIFY2(quick.contains(QStringLiteral("libQt6Quick.so.6")), qPrintable(quick.join(QLatin1Char(' '))));
    QCOMPARE(s_viewOpened.load(), 2);
    QWidget* window = host.interface->manager()->widget();
    QVERIFY(!window->isVisible());
    QCOMPARE(window->metaObject()->className(), "Vantles::VTWidget");

    // The vantle shows in that window, which the manager reaches through the
    // view library.
    QVERIFY(host.show());
    QCOMPARE(static_cast<QWidget*>(host.interface->manager()->widget()), window);
    QVERIFY(window->isVisible());
    QCOMPARE(host.problems(), QStringList());
    QCOMPARE(host.interface->vantleAttribute(QStringLiteral("actionOpen"), QStringLiteral("key"), QString()),
        QStringLiteral("actionOpen"));
    window->hide();
}

void TestVTViewLibrary::viewLibraryPath_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("softwareRenderer");
    QTest::addColumn<QString>("expected");

    const QString real = QStringLiteral(VANTLES_VIEW_LIBRARY_FILE);
    const QString core = QStringLiteral(VANTLES_LIBRARY_FILE);
    const QString missing = QStringLiteral("/nonexistent/libVantlesView.so.0");
    QTest::newRow("the real one") << real << false << QStringLiteral("shown 11 window 1 opened 1\n");
    QTest::newRow("missing") << missing << false
                             << QStringLiteral(
                                    "shown 00 window 0 opened 0\n100 No vantle can be shown: the view library is "
                                    "missing (looked for %1).\n")
                                    .arg(missing);
    // Reported once, at the start, with the renderer setting.
    QTest::newRow("missing, software renderer")
        << missing << true
        << QStringLiteral(
               "shown 00 window 0 opened 0\n100 No vantle can be shown: the view library is missing (looked for "
               "%1).\n")
               .arg(missing);
    QTest::newRow("a library without the entry")
        << core << false
        << QStringLiteral(
               "shown 00 window 0 opened 0\n100 No vantle can be shown: %1 is not the view library of Vantles.\n")
               .arg(core);
    // A file that is no library: the loader's reason follows.
    QTest::newRow("not a library") << QStringLiteral(VANTLES_SAMPLE_DATA_DIR "/VantleKeys.xml") << false
                                   << QStringLiteral("shown 00 window 0 opened 0\n100 No vantle can be shown: the view "
                                                     "library " VANTLES_SAMPLE_DATA_DIR "/VantleKeys.xml could not "
                                                     "be loaded (");
}

void TestVTViewLibrary::viewLibraryPath()
{
    QFETCH(QString, path);
    QFETCH(bool, softwareRenderer);
    QFETCH(QString, expected);

    // Each in a process of its own: a process opens the view library once.
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("VT_CHILD"), QStringLiteral("1"));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QGuiApplication::platformName());
    environment.insert(QStringLiteral("VANTLES_VIEW_LIBRARY_PATH"), path);
    if (softwareRenderer)
        environment.insert(QStringLiteral("VT_CHILD_SOFTWARE"), QStringLiteral("1"));
    child.setProcessEnvironment(environment);
    child.start(QCoreApplication::applicationFilePath(), {});
    QVERIFY(child.waitForFinished(30000));
    QCOMPARE(child.exitStatus(), QProcess::NormalExit);
    QCOMPARE(child.exitCode(), 0);
    const QString out = QString::fromUtf8(child.readAllStandardOutput());
    if (expected.endsWith(QLatin1Char('\n')))
        QCOMPARE(out, expected);
    else
        QVERIFY2(out.startsWith(expected) && out.count(QLatin1Char('\n')) == 2, qPrintable(out));
}

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsSet("VT_CHILD"))
        return runChild(argc, argv);
    QApplication app(argc, argv);
    TestVTViewLibrary test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_vtviewlibrary.moc"
