// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// The tooltip window made ready ahead of the first show, once.
#include "VTTestHelpers.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTProblem.h>
#include <Vantles/VTView.h>
#include <Vantles/VTWidget.h>
#include <Vantles/VTWindowPreparation_p.h>
#include <Vantles/VTXmlElement.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QPushButton>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSGRendererInterface>
#include <QTest>
#include <QVBoxLayout>
#include <QWindow>

#include <link.h>

#include <memory>

using namespace Vantles;

namespace {

// Whether the process has loaded an OpenGL driver: Mesa's (a *_dri.so) or
// the vendor library that GLVND loads for the X server's screen.
bool openGLDriverLoaded()
{
    bool loaded = false;
    dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* found) {
            const QByteArray path(info->dlpi_name);
            const QByteArray name = path.mid(path.lastIndexOf('/') + 1);
            if (name.endsWith("_dri.so") || name.startsWith("libGLX_"))
                *static_cast<bool*>(found) = true;
            return 0;
        },
        &loaded);
    return loaded;
}

// Counts the shows of tooltip windows on the screen: a widget shown with
// WA_DontShowOnScreen gets a show event, its window does not.
class ShownTooltips : public QObject {
public:
    ShownTooltips() { qApp->installEventFilter(this); }
    int count = 0;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show && watched->isWindowType()
            && static_cast<QWindow*>(watched)->type() == Qt::ToolTip)
            ++count;
        return false;
    }
};

} // namespace

class TestVTWindowPreloader : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    // First: it needs a process that has not loaded OpenGL yet.
    void openGLDriverLoadedOffTheGuiThread();
    void preparedOnceWhenIdleAndTakenByTheFirstShow();
    void nothingPreparedWhenSwitchedOffOrWithoutAWindow_data();
    void nothingPreparedWhenSwitchedOffOrWithoutAWindow();
    void aShowBeforeThePreparationIsNotUndone();
    void pointerEnteringAControlWithAVantleStartsAtOnce();
    void softwareSettingAfterTheFirstQuickWindow();
    void softwareRasterizersKnownByName_data();
    void softwareRasterizersKnownByName();

private:
    // A host over the package, and its main window with a control per key.
    void start(const QMap<VTContextKey, QVariant>& settings, bool showWindow = true);
    int windowCount() const;
    QString shownTitle() const;

    QTemporaryDir m_dir;
    std::unique_ptr<VTTest::RecordingHost> m_host;
    std::unique_ptr<QWidget> m_window;
};

void TestVTWindowPreloader::initTestCase()
{
    const QString package
        = VTTest::makeUiPackage(m_dir, QStringLiteral("data"), QStringLiteral("Tips.vantles"), QString(),
            { { QStringLiteral("first"),
                  "<title>First</title><text>The first vantle.</text><image source=\"first.png\"/>" },
                { QStringLiteral("second"), "<title>Second</title>" } },
            QByteArray());
    QVERIFY(!package.isEmpty());
    QImage picture(40, 20, QImage::Format_RGB32);
    picture.fill(Qt::darkCyan);
    QVERIFY(picture.save(package + QLatin1String("/Resources/first.png")));
}

void TestVTWindowPreloader::init()
{
    QCOMPARE(windowCount(), 0);
}

void TestVTWindowPreloader::cleanup()
{
    m_host.reset();
    m_window.reset();
}

void TestVTWindowPreloader::start(const QMap<VTContextKey, QVariant>& settings, bool showWindow)
{
    VTContext context;
    for (auto it = settings.cbegin(); it != settings.cend(); ++it)
        context.set(it.key(), it.value());
    m_host = std::make_unique<VTTest::RecordingHost>(context, QStringList { m_dir.filePath(QStringLiteral("data")) });
    m_window = std::make_unique<QWidget>();
    auto layout = new QVBoxLayout(m_window.get());
    for (const char* key : { "first", "none" }) {
        auto button = new QPushButton(QString::fromLatin1(key));
        button->setObjectName(QString::fromLatin1(key));
        layout->addWidget(button);
    }
    if (showWindow)
        m_window->show();
}

int TestVTWindowPreloader::windowCount() const
{
    int count = 0;
    for (const QWidget* widget : QApplication::allWidgets())
        count += qobject_cast<const VTWidget*>(widget) ? 1 : 0;
    return count;
}

QString TestVTWindowPreloader::shownTitle() const
{
    const VTWidget* window = m_host->manager()->widget();
    const QQuickItem* root = window ? window->view()->rootObject() : nullptr;
    const QObject* title = root ? root->findChild<QObject*>(QStringLiteral("title")) : nullptr;
    return title ? title->property("text").toString() : QString();
}

void TestVTWindowPreloader::openGLDriverLoadedOffTheGuiThread()
{
    // The software renderer from the environment, or from the host's setting
    // (a run of its own: the first Qt Quick window fixes the renderer).
    const bool setting = qEnvironmentVariableIntValue("VANTLES_TEST_SOFTWARE_SETTING") == 1;
    const bool openGL = qEnvironmentVariable("QT_QUICK_BACKEND") != QLatin1String("software") && !setting;
    QVERIFY(!openGLDriverLoaded());
    start({ { VTContextPrepareDelay, 60000 }, { VTContextSoftwareRenderer, setting } });
    VTManager* manager = m_host->manager();
    QEvent enter(QEvent::Enter);
    QApplication::sendEvent(m_window->findChild<QWidget*>(QStringLiteral("first")), &enter);
    // The GUI thread makes the window only once the driver has loaded.
    QElapsedTimer timer;
    timer.start();
    while (!manager->widget() && !openGLDriverLoaded() && !timer.hasExpired(10000))
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    if (openGL) {
        QVERIFY(openGLDriverLoaded());
        QCOMPARE(manager->widget(), nullptr);
        // A show while the driver loads waits for it, and the work is not
        // done twice.
        QVERIFY(manager->show(QStringLiteral("first"), QPoint(10, 10), nullptr));
        QCOMPARE(shownTitle(), QStringLiteral("First"));
        const QQuickItem* root = manager->widget()->view()->rootObject();
        QTest::qWait(500);
        QCOMPARE(manager->widget()->view()->rootObject(), root);
        QCOMPARE(shownTitle(), QStringLiteral("First"));
        QCOMPARE(windowCount(), 1);
    } else {
        // Qt Quick's software renderer needs no driver: none is loaded, for
        // the preparation or the first show.
        QTRY_VERIFY(manager->widget() && manager->widget()->view()->rootObject());
        QTest::qWait(300);
        QVERIFY(manager->show(QStringLiteral("first"), QPoint(10, 10), nullptr));
        QCOMPARE(shownTitle(), QStringLiteral("First"));
        QVERIFY(!openGLDriverLoaded());
    }
}

void TestVTWindowPreloader::preparedOnceWhenIdleAndTakenByTheFirstShow()
{
    const ShownTooltips shown;
    start({});
    VTManager* manager = m_host->manager();
    QTRY_VERIFY(manager->widget() && manager->widget()->view()->rootObject());
    VTWidget* window = manager->widget();
    const QQuickItem* root = window->view()->rootObject();
    QCOMPARE(window->view()->source(), QUrl(QStringLiteral("qrc") + VTView::builtInInterfacePath(false)));
    // Its scene graph set up and rendered, the window never on the screen.
    QTRY_VERIFY(window->view()->quickWindow()->isSceneGraphInitialized());
    QTest::qWait(100);
    QVERIFY(!window->isVisible());
    QCOMPARE(shown.count, 0);
    QCOMPARE(windowCount(), 1);
    // What was drawn besides the interface to prepare for it is gone.
    const QList<QQuickItem*> scene = window->view()->quickWindow()->contentItem()->childItems();
    QCOMPARE(scene.size(), 1);
    QCOMPARE(scene.first(), root);

    // The first show finds it all made; the interface is not built again.
    QVERIFY(manager->show(QStringLiteral("first"), QPoint(10, 10), nullptr));
    QCOMPARE(manager->widget(), window);
    QCOMPARE(window->view()->rootObject(), root);
    QVERIFY(window->isVisible());
    QCOMPARE(shown.count, 1);
    QCOMPARE(shownTitle(), QStringLiteral("First"));
    QCOMPARE(windowCount(), 1);
    // The interface built over the placeholder may use the files of the
    // package shown now.
    const QObject* image = root->findChild<QObject*>(QStringLiteral("image"));
    QVERIFY(image);
    QTRY_COMPARE(image->property("status").toInt(), 1); // Image.Ready
    // What stood in for the content made no noise.
    QCOMPARE(VTTest::problems(m_host->messages, QString()), QStringList());
}

void TestVTWindowPreloader::nothingPreparedWhenSwitchedOffOrWithoutAWindow_data()
{
    QTest::addColumn<bool>("prepare");
    QTest::addColumn<bool>("showWindow");
    QTest::newRow("switched off") << false << true;
    QTest::newRow("no window yet") << true << false;
}

void TestVTWindowPreloader::nothingPreparedWhenSwitchedOffOrWithoutAWindow()
{
    QFETCH(bool, prepare);
    QFETCH(bool, showWindow);
    start({ { VTContextPrepareAhead, prepare } }, showWindow);
    QTest::qWait(300);
    QCOMPARE(m_host->manager()->widget(), nullptr);
    // The first show makes the window, as ever.
    QVERIFY(m_host->manager()->show(QStringLiteral("first"), QPoint(10, 10), nullptr));
    QCOMPARE(shownTitle(), QStringLiteral("First"));
    QCOMPARE(windowCount(), 1);
}

void TestVTWindowPreloader::aShowBeforeThePreparationIsNotUndone()
{
    start({ { VTContextPrepareDelay, 200 } });
    VTManager* manager = m_host->manager();
    QVERIFY(manager->show(QStringLiteral("first"), QPoint(10, 10), nullptr));
    VTWidget* window = manager->widget();
    const QQuickItem* root = window->view()->rootObject();
    QTest::qWait(600);
    QCOMPARE(manager->widget(), window);
    QCOMPARE(window->view()->rootObject(), root);
    QCOMPARE(window->view()->content()->attribute(QStringLiteral("key")), QStringLiteral("first"));
    QCOMPARE(shownTitle(), QStringLiteral("First"));
    QCOMPARE(windowCount(), 1);
}

void TestVTWindowPreloader::pointerEnteringAControlWithAVantleStartsAtOnce()
{
    start({ { VTContextPrepareDelay, 60000 } });
    VTManager* manager = m_host->manager();
    QEvent enter(QEvent::Enter);
    // The object name is the key; "none" has no vantle.
    QApplication::sendEvent(m_window->findChild<QWidget*>(QStringLiteral("none")), &enter);
    QTest::qWait(300);
    QCOMPARE(manager->widget(), nullptr);
    QApplication::sendEvent(m_window->findChild<QWidget*>(QStringLiteral("first")), &enter);
    QTRY_VERIFY(manager->widget() && manager->widget()->view()->rootObject());
    QVERIFY(!manager->widget()->isVisible());
}

void TestVTWindowPreloader::softwareSettingAfterTheFirstQuickWindow()
{
    // Qt Quick's renderer is fixed by the process's first Qt Quick window:
    // a setting that comes later is reported when it asks for another one,
    // and taken silently when that window has it already.
    QQuickWindow first;
    const bool software = first.rendererInterface()->graphicsApi() == QSGRendererInterface::Software;
    const QString backend = QQuickWindow::sceneGraphBackend();
    start({ { VTContextSoftwareRenderer, true }, { VTContextPrepareAhead, false } });
    QStringList reported;
    for (const VTProblem& problem : m_host->manager()->problems())
        reported.append(problem.text);
    const QStringList tooLate { QStringLiteral(
        "The setting VTContextSoftwareRenderer came after the process made its first Qt Quick window: vantles are "
        "drawn with that window's renderer.") };
    QCOMPARE(reported, software ? QStringList() : tooLate);
    // Nor does it pick the renderer for Qt Quick windows to come.
    QCOMPARE(QQuickWindow::sceneGraphBackend(), backend);
}

void TestVTWindowPreloader::softwareRasterizersKnownByName_data()
{
    QTest::addColumn<QByteArray>("renderer");
    QTest::addColumn<bool>("software");

    // GL_RENDERER as drivers give it.
    QTest::newRow("llvmpipe") << QByteArray("llvmpipe (LLVM 15.0.6, 256 bits)") << true;
    QTest::newRow("softpipe") << QByteArray("softpipe") << true;
    QTest::newRow("swrast") << QByteArray("Software Rasterizer") << true;
    QTest::newRow("SwiftShader") << QByteArray("Google SwiftShader") << true;
    QTest::newRow("WARP") << QByteArray("D3D12 (Microsoft Basic Render Driver)") << true;
    // GPUs, some of whose names carry LLVM or "Microsoft" too.
    QTest::newRow("radeonsi") << QByteArray("AMD Radeon RX 6600 (navi23, LLVM 15.0.6, DRM 3.49, 6.1.0-13-amd64)")
                              << false;
    QTest::newRow("iris") << QByteArray("Mesa Intel(R) UHD Graphics 620 (KBL GT2)") << false;
    QTest::newRow("d3d12 on a GPU") << QByteArray("D3D12 (NVIDIA GeForce RTX 3060)") << false;
    QTest::newRow("virgl") << QByteArray("virgl (Mesa Intel(R) Xe Graphics (TGL GT2))") << false;
    QTest::newRow("VMware") << QByteArray("SVGA3D; build: RELEASE;  LLVM;") << false;
    QTest::newRow("none") << QByteArray() << false;
}

void TestVTWindowPreloader::softwareRasterizersKnownByName()
{
    QFETCH(QByteArray, renderer);
    QFETCH(bool, software);
    QCOMPARE(VTWindowPreparation::isSoftwareRasterizer(renderer), software);
}

QTEST_MAIN(TestVTWindowPreloader)
#include "tst_vtwindowpreloader.moc"
