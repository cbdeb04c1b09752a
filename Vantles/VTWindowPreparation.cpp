// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTWindowPreparation_p.h"

#include "VTContext.h"
#include "VTLogging_p.h"
#include "VTManager.h"
#include "VTView.h"
#include "VTWidget.h"
#include "VTXmlElement.h"

#include <QAccessible>
#include <QBuffer>
#include <QGuiApplication>
#include <QImage>
#include <QImageReader>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QThread>
#include <QTimer>
#include <QWindow>

#include <algorithm>
#include <iterator>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace Vantles {

VTWindowPreparation::VTWindowPreparation(VTManager* manager)
    : QObject(manager)
    , m_manager(manager)
{
}

VTWindowPreparation::~VTWindowPreparation()
{
    if (m_driver)
        m_driver->wait();
}

void VTWindowPreparation::start()
{
    m_step = LoadDriver;
    runStep();
}

// The renderer of Qt Quick @p window, or Unknown.
static QSGRendererInterface::GraphicsApi rendererOf(QQuickWindow* window)
{
    const QSGRendererInterface* renderer = window ? window->rendererInterface() : nullptr;
    return renderer ? renderer->graphicsApi() : QSGRendererInterface::Unknown;
}

// The process's first Qt Quick window (a QQuickWidget makes one too), whose
// renderer all others share, or null.
static QQuickWindow* firstQuickWindow()
{
    const QWindowList windows = QGuiApplication::allWindows();
    for (QWindow* window : windows) {
        if (auto quick = qobject_cast<QQuickWindow*>(window))
            return quick;
    }
    return nullptr;
}

// Whether Qt Quick draws with OpenGL: as a window it made already does, or
// as nothing has picked another renderer yet.
static bool drawsWithOpenGL()
{
    if (QQuickWindow* quick = firstQuickWindow())
        return rendererOf(quick) == QSGRendererInterface::OpenGL;
    const QString backend = qEnvironmentVariable("QT_QUICK_BACKEND");
    return QQuickWindow::graphicsApi() == QSGRendererInterface::OpenGL && QQuickWindow::sceneGraphBackend().isEmpty()
        && (backend.isEmpty() || backend == QLatin1String("rhi"));
}

bool VTWindowPreparation::useSoftwareRenderer()
{
    // The renderer is chosen once for the process, with its first Qt Quick
    // window.
    if (QQuickWindow* quick = firstQuickWindow())
        return rendererOf(quick) == QSGRendererInterface::Software;
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    return true;
}

static bool s_hostUsesQtQuick = true;
static bool s_rendererPicked = false;

void VTWindowPreparation::setHostUsesQtQuick(bool uses)
{
    s_hostUsesQtQuick = uses;
}

bool VTWindowPreparation::isSoftwareRasterizer(const QByteArray& renderer)
{
    static const char* const rasterizers[]
        = { "llvmpipe", "softpipe", "software rasterizer", "swiftshader", "basic render driver" };
    const QByteArray name = renderer.toLower();
    return std::any_of(std::cbegin(rasterizers), std::cend(rasterizers),
        [&name](const char* rasterizer) { return name.contains(rasterizer); });
}

void VTWindowPreparation::pickRenderer(const VTManager* manager)
{
    // A host with Qt Quick scenes of its own, or one that said which
    // renderer it wants, keeps its choice; and the first Qt Quick window
    // has fixed it for the process.
    if (s_rendererPicked || s_hostUsesQtQuick || manager->context()->contains(VTContextSoftwareRenderer)
        || !drawsWithOpenGL() || firstQuickWindow())
        return;
    s_rendererPicked = true;
    // On X11 the preparation has loaded the driver on a thread by now; the
    // context and its surface then take a few milliseconds.
    QOffscreenSurface surface;
    surface.create();
    QOpenGLContext context;
    if (!surface.isValid() || !context.create() || !context.makeCurrent(&surface))
        return;
    const QByteArray renderer(reinterpret_cast<const char*>(context.functions()->glGetString(GL_RENDERER)));
    context.doneCurrent();
    if (!isSoftwareRasterizer(renderer))
        return;
    // A rasterizer on the CPU draws a vantle's scene slower than Qt Quick's
    // own software renderer does, with several times the memory.
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    qCDebug(lcVantlesWindow).noquote() << "OpenGL is" << renderer
                                       << "on the CPU: vantles are drawn with Qt Quick's software renderer";
}

void VTWindowPreparation::finish()
{
    m_step = Done;
    deleteLater();
}

bool VTWindowPreparation::shown() const
{
    const VTWidget* window = m_manager->widget();
    const VTView* view = window ? window->view() : nullptr;
    return view && view->content() && view->content() != m_placeholder;
}

void VTWindowPreparation::runStep()
{
    if (m_step == Done)
        return;
    // A show has made it all ready already.
    if (shown()) {
        finish();
        return;
    }
    switch (m_step) {
    case LoadDriver:
        m_step = MakeWindow;
        // Most of what the window's native window costs with OpenGL is
        // loading the driver and its shader compiler (about 100 ms with
        // Mesa's software rasterizer). A context made on a thread of its own
        // loads them there, and the next step runs when it is done. X11's
        // OpenGL is made for contexts on other threads; other platforms set
        // theirs up lazily on the GUI thread, so they load it with the window.
        if (drawsWithOpenGL() && QGuiApplication::platformName() == QLatin1String("xcb")) {
            m_driver.reset(QThread::create([] {
                {
                    QOpenGLContext context;
                    context.create();
                }
#ifdef __GLIBC__
                // glibc gave this thread a heap of its own, where what the
                // context freed would stay resident (about 1 MiB with Mesa).
                malloc_trim(0);
#endif
            }));
            m_driver->setObjectName(QStringLiteral("Vantles OpenGL"));
            connect(m_driver.get(), &QThread::finished, this, &VTWindowPreparation::runStep);
            // An application that quits meanwhile waits for it: the context
            // needs the platform plug-in, which goes with the application.
            connect(qApp, &QCoreApplication::aboutToQuit, m_driver.get(),
                [thread = m_driver.get()] { thread->wait(); });
            m_driver->start();
            return;
        }
        break;
    case MakeWindow:
        m_manager->initializeTooltipWindow(nullptr);
        // Its native window too, unmapped.
        m_manager->widget()->winId();
        m_step = LoadInterface;
        break;
    case LoadInterface: {
        VTView* view = m_manager->widget()->view();
        // Not while assistive technology listens: Qt Quick would tell it of
        // every item built over the placeholder. The first show builds the
        // interface then.
        if (view && view->source().isEmpty() && !QAccessible::isActive()) {
            // Content that stands for any vantle, to build the interface
            // over (its texts load the fonts); the first show replaces (and
            // deletes) it.
            auto placeholder = new VTXmlElement;
            placeholder->setTagName(QStringLiteral("vantle"));
            const std::pair<const char*, const char*> parts[]
                = { { "title", "Vantle" }, { "text", "A <b>vantle</b>." }, { "link", "Vantles" } };
            for (const auto& [tag, text] : parts) {
                auto part = new VTXmlElement(placeholder);
                part->setTagName(QLatin1String(tag));
                part->setContent(QLatin1String(text));
            }
            m_placeholder = placeholder;
            view->replaceContent(placeholder);
            QQmlContext* context = view->engine()->rootContext();
            context->setContextProperty(QStringLiteral("vantle"), placeholder);
            context->setContextProperty(QStringLiteral("dataLocation"), QString());
            context->setContextProperty(QStringLiteral("vantleView"), view);
            view->loadInterface();
        }
        {
            // Qt loads its image plug-ins with the first picture it reads.
            QBuffer png;
            png.open(QIODevice::ReadWrite);
            QImage(1, 1, QImage::Format_RGB32).save(&png, "PNG");
            png.seek(0);
            QImageReader(&png).read();
        }
        m_step = StartGraphics;
        break;
    }
    case StartGraphics:
        // A context current on the GUI thread: the driver's state for it (on
        // X11 the driver is loaded already, elsewhere it loads here) is made
        // now rather than with the first frame. Qt Quick's own context comes
        // with the window.
        if (rendererOf(m_manager->widget()->view()->quickWindow()) == QSGRendererInterface::OpenGL) {
            QOffscreenSurface surface;
            surface.create();
            QOpenGLContext context;
            if (surface.isValid() && context.create() && context.makeCurrent(&surface)) {
                context.functions()->glFinish();
                context.doneCurrent();
            }
        }
        m_step = RenderView;
        break;
    case RenderView:
        // Not while assistive technology listens: Qt tells it of the view
        // shown, even off the screen, and there is no interface to render.
        if (!QAccessible::isActive())
            m_manager->widget()->renderUnshown();
        finish();
        return;
    default:
        return;
    }
    QTimer::singleShot(0, this, &VTWindowPreparation::runStep);
}

} // namespace Vantles
