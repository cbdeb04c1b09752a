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
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QTest>
#include <QTextStream>
#include <QThread>

// The enumeration only: the program links no Qt Quick.
#include <QtQuick/qsgrendererinterface.h>

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

// The renderer of the Qt Quick window behind the vantle's view, once its
// scene graph is up; Unknown until then. Asked of the Qt Quick the view
// library loaded (QQuickWindow::rendererInterface()). Not checked by the
// undefined-behaviour sanitizer, whose check of the virtual call would need
// Qt Quick's type information at link time.
__attribute__((no_sanitize_undefined)) QSGRendererInterface::GraphicsApi quickGraphicsApi()
{
    void* quick = dlopen("libQt6Quick.so.6", RTLD_LAZY | RTLD_NOLOAD);
    if (!quick)
        return QSGRendererInterface::Unknown;
    // A const member function: the window is its one argument.
    using RendererInterface = QSGRendererInterface* (*)(const QObject*);
    const auto rendererInterface
        = reinterpret_cast<RendererInterface>(dlsym(quick, "_ZNK12QQuickWindow17rendererInterfaceEv"));
    dlclose(quick);
    const QWindowList windows = QGuiApplication::allWindows();
    for (const QWindow* window : windows) {
        if (window->inherits("QQuickWindow") && rendererInterface) {
            const QSGRendererInterface* renderer = rendererInterface(window);
            return renderer ? renderer->graphicsApi() : QSGRendererInterface::Unknown;
        }
    }
    return QSGRendererInterface::Unknown;
}

// OpenGL's GL_RENDERER here, as a context of the program's own reads it.
QByteArray openGLRenderer()
{
    QOffscreenSurface surface;
    surface.create();
    QOpenGLContext context;
    if (!surface.isValid() || !context.create() || !context.makeCurrent(&surface))
        return QByteArray();
    const QByteArray renderer(reinterpret_cast<const char*>(context.functions()->glGetString(GL_RENDERER)));
    context.doneCurrent();
    return renderer;
}

// Run as a child with VT_CHILD_RENDERER set to the setting VTContextSoftwareRenderer
// ("unset", "true", "false"): shows a vantle once the window is ready (or at
// once with VT_CHILD_SHOW_FIRST, before any preparation), having loaded Qt
// Quick first with VT_CHILD_HOST_QUICK, and prints the renderer Qt Quick
// got, whether the vantle is up, and OpenGL's renderer.
int runRendererChild(int argc, char** argv)
{
    QApplication app(argc, argv);
    if (qEnvironmentVariableIsSet("VT_CHILD_HOST_QUICK") && !dlopen("libQt6Quick.so.6", RTLD_NOW | RTLD_GLOBAL))
        return 3;
    const QByteArray setting = qgetenv("VT_CHILD_RENDERER");
    const bool showFirst = qEnvironmentVariableIsSet("VT_CHILD_SHOW_FIRST");
    const QString data = QStringLiteral(VANTLES_SAMPLE_DATA_DIR);
    VTContext settings;
    settings.set(VTContextKeyDataFile, data + QStringLiteral("/VantleKeys.xml"));
    if (setting != "unset")
        settings.set(VTContextSoftwareRenderer, setting == "true");
    if (showFirst)
        settings.set(VTContextPrepareAhead, false);
    VTInterface interface(settings, QStringList { data });
    QPushButton button(QStringLiteral("Open…"));
    button.setObjectName(QStringLiteral("actionOpen"));
    button.show();
    if (!QTest::qWaitForWindowExposed(&button))
        return 4;
    if (!showFirst && !QTest::qWaitFor([&] { return interface.manager()->widget() != nullptr; }, 20000))
        return 5;
    const bool shown = interface.show(QStringLiteral("actionOpen"), QPoint(40, 40), &button);
    // A scene graph that never comes up prints as "none".
    static_cast<void>(QTest::qWaitFor([] { return quickGraphicsApi() != QSGRendererInterface::Unknown; }, 10000));
    const char* api = "none";
    switch (quickGraphicsApi()) {
    case QSGRendererInterface::Software:
        api = "software";
        break;
    case QSGRendererInterface::OpenGL:
        api = "opengl";
        break;
    case QSGRendererInterface::Unknown:
        break;
    default:
        api = "other";
        break;
    }
    QTextStream out(stdout);
    out << "renderer " << api << " shown " << shown << " problems " << interface.manager()->problems().size()
        << '\n'
        << "gl " << openGLRenderer() << '\n';
    return 0;
}

} // namespace

class TestVTViewLibrary : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void viewLibraryOpensWhenTheHostIsIdle();
    void viewLibraryPath_data();
    void viewLibraryPath();
    void rendererPickedForTheMachine_data();
    void rendererPickedForTheMachine();
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

void TestVTViewLibrary::rendererPickedForTheMachine_data()
{
    QTest::addColumn<QString>("setting");
    QTest::addColumn<bool>("hostQuick");
    QTest::addColumn<bool>("showFirst");
    QTest::addColumn<QString>("renderer");

    // Under Xvfb and weston, OpenGL is Mesa's llvmpipe: a rasterizer on the
    // CPU.
    QTest::newRow("left to the library") << QStringLiteral("unset") << false << false << QStringLiteral("software");
    QTest::newRow("left to the library, shown before any preparation")
        << QStringLiteral("unset") << false << true << QStringLiteral("software");
    QTest::newRow("the host uses Qt Quick") << QStringLiteral("unset") << true << false << QStringLiteral("opengl");
    QTest::newRow("the host uses Qt Quick, shown first")
        << QStringLiteral("unset") << true << true << QStringLiteral("opengl");
    QTest::newRow("the host wants the GPU") << QStringLiteral("false") << false << false << QStringLiteral("opengl");
    QTest::newRow("the host wants the GPU, shown first")
        << QStringLiteral("false") << false << true << QStringLiteral("opengl");
    QTest::newRow("the host wants software, with Qt Quick")
        << QStringLiteral("true") << true << false << QStringLiteral("software");
}

void TestVTViewLibrary::rendererPickedForTheMachine()
{
    QFETCH(QString, setting);
    QFETCH(bool, hostQuick);
    QFETCH(bool, showFirst);
    QFETCH(QString, renderer);
    const QString platform = QGuiApplication::platformName();
    if (platform != QLatin1String("xcb") && platform != QLatin1String("wayland"))
        QSKIP("Needs OpenGL on X11 or Wayland (run by the test entries under Xvfb and weston)");

    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("QT_QUICK_BACKEND"));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), platform);
    environment.insert(QStringLiteral("VT_CHILD_RENDERER"), setting);
    if (hostQuick)
        environment.insert(QStringLiteral("VT_CHILD_HOST_QUICK"), QStringLiteral("1"));
    if (showFirst)
        environment.insert(QStringLiteral("VT_CHILD_SHOW_FIRST"), QStringLiteral("1"));
    child.setProcessEnvironment(environment);
    child.start(QCoreApplication::applicationFilePath(), {});
    QVERIFY(child.waitForFinished(60000));
    const QString errors = QString::fromLocal8Bit(child.readAllStandardError());
    QVERIFY2(child.exitStatus() == QProcess::NormalExit && child.exitCode() == 0, qPrintable(errors));
    const QStringList lines = QString::fromUtf8(child.readAllStandardOutput()).split(QLatin1Char('\n'));
    QCOMPARE(lines.size(), 3);
    QVERIFY2(lines.at(1).startsWith(QLatin1String("gl llvmpipe")), qPrintable(lines.at(1)));
    QCOMPARE(lines.at(0), QStringLiteral("renderer %1 shown 1 problems 0").arg(renderer));
}

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsSet("VT_CHILD_RENDERER"))
        return runRendererChild(argc, argv);
    if (qEnvironmentVariableIsSet("VT_CHILD"))
        return runChild(argc, argv);
    QApplication app(argc, argv);
    TestVTViewLibrary test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_vtviewlibrary.moc"
