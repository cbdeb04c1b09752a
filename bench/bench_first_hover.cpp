// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// The first hover, side by side with what a Qt developer would use instead:
// QToolTip::showText, a QLabel in a Qt::ToolTip window and a Qt Quick
// Controls ToolTip in a QQuickWidget, each showing the sample's actionOpen
// content (title, text, picture, link); and how long a host takes to start
// with the library linked. Prints one table.
//
// Every figure comes from processes of their own, which this program starts:
// - first show: a fresh process makes its main window (a toolbar with the
//   controls actionOpen and actionSave) and its tooltips (Vantles: its
//   VTInterface, with the application-wide event filter), waits a second, as
//   a user's first hover comes, then sends actionOpen's button the
//   QEvent::ToolTip Qt sends when the pointer rests. Timed from the event to
//   the tooltip's first frame on screen: the first paint of the tooltip
//   window (for Qt Quick: of the QQuickWidget, after its scene rendered)
//   flushed to the window system. "in the call" is the part spent inside the
//   event, the GUI thread blocked throughout. Medians of VANTLES_BENCH_RUNS
//   processes (15).
// - fresh caches: the same with an empty XDG_CACHE_HOME (QML disk cache,
//   Mesa's shader cache), as the first run after an installation.
// - warm show: in one process, after the first show, VANTLES_BENCH_WARM_SHOWS
//   shows (200) alternating actionSave and actionOpen, each after the other
//   was hidden and the application was idle for 30 ms; median.
// - memory added: the process's resident memory after the first frame less
//   that before its tooltips were made (for Vantles: before its VTInterface,
//   so the work done ahead is counted too); "of which ahead" is what the
//   contender did in the idle second before the show: the time its work
//   held the event loop up (from a timer due every millisecond), the
//   longest hold, and the memory added by then.
// - program start: from starting startup_host to its window's first frame;
//   the same host without the library, linked with it, and linked with its
//   VTInterface made over the sample data before the window.
//
// X11 is an Xvfb server that this program starts (Qt Quick on Mesa's OpenGL,
// llvmpipe); offscreen is Qt's offscreen platform, on which Qt Quick has only
// its software renderer. "Vantles, software" is the library with
// VTContextSoftwareRenderer, "Vantles" itself with the setting false (Qt
// Quick on the GPU). "Vantles, host linking libVantles alone" leaves the
// setting unset in a host that links the core library only, as the README's
// does: bench_first_hover_core, this program built without Qt Quick, whose
// renderer the library picks. The machine's load average is printed:
// figures from a loaded machine are slower, and Xvfb competes for the same
// cores.

#include <Vantles/VTContext.h>
#include <Vantles/VTInterface.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTWidget.h>
#ifndef VANTLES_BENCH_CORE_ONLY
#include <Vantles/VTView.h>
#endif

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QHelpEvent>
#include <QLabel>
#include <QMainWindow>
#include <QPointer>
#include <QProcess>
#ifndef VANTLES_BENCH_CORE_ONLY
#include <QQuickItem>
#include <QQuickWidget>
#endif
#include <QSet>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>
#include <QToolTip>
#include <QWindow>

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

using namespace Vantles;

namespace {

enum Contender { VantlesGL, VantlesSoftware, VantlesCore, ToolTip, Label, QuickControls, ContenderCount };
const char* const contenderNames[]
    = { "vantles", "vantles-software", "vantles-core", "qtooltip", "qlabel", "quickcontrols" };
const char* const contenderTitles[] = { "Vantles", "Vantles, software", "Vantles, host linking libVantles alone",
    "QToolTip", "QLabel tooltip", "Qt Quick Controls ToolTip" };

// What the two controls' vantles in the sample package say.
struct Content {
    QString key;
    QString title;
    QString text;
    QString image; // in the package's Resources folder
    QString link;
};

const Content contents[] = {
    { QStringLiteral("actionOpen"), QStringLiteral("Open a document"),
        QStringLiteral("Opens an existing document from disk. Recently used documents are listed in the <b>File</b> "
                       "menu."),
        QStringLiteral("open.png"), QStringLiteral("Opening documents") },
    { QStringLiteral("actionSave"), QStringLiteral("Save the document"),
        QStringLiteral("Writes the document to its file. A document that has never been saved asks for a name first."),
        QString(), QStringLiteral("Saving documents") },
};

double msSince(const QElapsedTimer& timer)
{
    return double(timer.nsecsElapsed()) / 1e6;
}

long residentKiB()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? fields.at(1).toLong() * (sysconf(_SC_PAGESIZE) / 1024) : 0;
}

double median(std::vector<double> values)
{
    if (values.empty())
        return -1;
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

void idle(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// The child processes ---------------------------------------------------------

QString richText(const Content& content, const QString& resources)
{
    QString html = QStringLiteral("<b>%1</b><br>%2").arg(content.title, content.text);
    if (!content.image.isEmpty())
        html += QStringLiteral("<br><img src=\"%1\">").arg(QDir(resources).filePath(content.image));
    return html + QStringLiteral("<br><a href=\"topic\">%1</a>").arg(content.link);
}

// One way of showing a tooltip for the controls, driven by QEvent::ToolTip.
class Tip : public QObject {
public:
    virtual void setUp(const QString& data, QWidget* window) = 0;
    virtual void hide() = 0;
    // Whether the window shows @p content; false when the contender cannot tell.
    virtual bool shows(const Content& content) const = 0;
};

class VantlesTip : public Tip {
public:
    // The setting VTContextSoftwareRenderer: unset, or @p software.
    explicit VantlesTip(std::optional<bool> software)
        : m_software(software)
    {
    }
    void setUp(const QString& data, QWidget*) override
    {
        VTContext settings;
        settings.set(VTContextInstallEventFilter, true);
        settings.set(VTContextFadeOutDuration, 0);
        if (m_software)
            settings.set(VTContextSoftwareRenderer, *m_software);
        m_host = std::make_unique<VTInterface>(settings, QStringList { data });
    }
    void hide() override
    {
        if (m_host->manager()->widget())
            m_host->manager()->widget()->hide();
    }
    bool shows(const Content& content) const override
    {
        const QWidget* window = m_host->manager()->widget();
#ifdef VANTLES_BENCH_CORE_ONLY
        // The window is named after the vantle's title.
        return window && window->isVisible() && window->accessibleName() == content.title;
#else
        const VTView* view = window ? static_cast<const VTWidget*>(window)->view() : nullptr;
        const QQuickItem* root = view ? view->rootObject() : nullptr;
        const QObject* title = root ? root->findChild<QObject*>(QStringLiteral("title")) : nullptr;
        return window->isVisible() && title && title->property("text").toString() == content.title;
#endif
    }

private:
    std::optional<bool> m_software;
    std::unique_ptr<VTInterface> m_host;
};

// Qt's own: the controls' tool tips.
class ToolTipTip : public Tip {
public:
    void setUp(const QString& data, QWidget* window) override
    {
        for (const Content& content : contents) {
            if (QWidget* control = window->findChild<QWidget*>(content.key))
                control->setToolTip(richText(content, data + QLatin1String("/Sample.vantles/Resources")));
        }
    }
    void hide() override
    {
        // At once, as a tip does once its time is up: the next show makes
        // a new tip window, as QToolTip does after a tip has gone.
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (widget->objectName() == QLatin1String("qtooltip_label"))
                widget->hide();
        }
    }
    bool shows(const Content&) const override { return true; }
};

// Shows the tooltip window of a contender for the control an event is for.
class FilteringTip : public Tip {
public:
    void setUp(const QString& data, QWidget*) override
    {
        m_data = data;
        qApp->installEventFilter(this);
    }
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() != QEvent::ToolTip)
            return false;
        for (const Content& content : contents) {
            if (watched->objectName() == content.key) {
                show(content, static_cast<QHelpEvent*>(event)->globalPos() + QPoint(2, 16));
                return true;
            }
        }
        return false;
    }
    virtual void show(const Content& content, const QPoint& pos) = 0;

protected:
    QString m_data;
};

class LabelTip : public FilteringTip {
public:
    void show(const Content& content, const QPoint& pos) override
    {
        if (!m_label) {
            m_label = std::make_unique<QLabel>(nullptr, Qt::ToolTip);
            m_label->setTextFormat(Qt::RichText);
            m_label->setMargin(4);
            m_label->setWordWrap(true);
            m_label->setFixedWidth(320);
        }
        m_label->setText(richText(content, m_data + QLatin1String("/Sample.vantles/Resources")));
        m_label->adjustSize();
        m_label->move(pos);
        m_label->show();
    }
    void hide() override { m_label->hide(); }
    bool shows(const Content& content) const override
    {
        return m_label->isVisible() && m_label->text().contains(content.title);
    }

private:
    std::unique_ptr<QLabel> m_label;
};

#ifndef VANTLES_BENCH_CORE_ONLY
class QuickControlsTip : public FilteringTip {
public:
    void show(const Content& content, const QPoint& pos) override
    {
        if (!m_view) {
            m_view = std::make_unique<QQuickWidget>();
            m_view->setWindowFlags(Qt::ToolTip);
            m_view->setResizeMode(QQuickWidget::SizeViewToRootObject);
            m_view->setSource(QUrl::fromLocalFile(qEnvironmentVariable("VANTLES_BENCH_QUICK_TIP")));
        }
        if (QQuickItem* root = m_view->rootObject()) {
            root->setProperty("title", content.title);
            root->setProperty("text", content.text);
            root->setProperty("image",
                content.image.isEmpty()
                    ? QUrl()
                    : QUrl::fromLocalFile(m_data + QLatin1String("/Sample.vantles/Resources/") + content.image));
            root->setProperty("link", content.link);
        }
        m_view->move(pos);
        m_view->show();
    }
    void hide() override { m_view->hide(); }
    bool shows(const Content& content) const override
    {
        const QQuickItem* root = m_view->rootObject();
        return m_view->isVisible() && root && root->property("title").toString() == content.title;
    }

private:
    std::unique_ptr<QQuickWidget> m_view;
};
#endif

// Sees the first frame of a tooltip after each show(): a paint of its
// window (of a QQuickWidget in it that has rendered its scene, when the
// contender is a Qt Quick one), noted here and flushed by the time the
// event processing that delivered it returns.
class FrameWatch : public QObject {
    Q_OBJECT
public:
    explicit FrameWatch(bool quick)
        : m_quick(quick)
    {
    }
    void arm()
    {
        rendered = false;
        painted = false;
    }
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (!watched->isWidgetType())
            return false;
        auto widget = static_cast<QWidget*>(watched);
        // By name: the core-only build knows no Qt Quick class.
        const bool quick = widget->inherits("QQuickWidget");
        if (quick && !m_hooked.contains(widget)) {
            // Before the widget's own handler, which may render in it: the
            // Qt Quick window it renders with, which its constructor makes
            // after the widget may have had its first events.
            const QWindowList windows = QGuiApplication::allWindows();
            for (QWindow* window : windows) {
                if (!window->inherits("QQuickWindow"))
                    continue;
                m_hooked.insert(widget);
                if (!m_hooked.contains(window)) {
                    m_hooked.insert(window);
                    connect(window, SIGNAL(afterRendering()), this, SLOT(noteRendered()), Qt::DirectConnection);
                }
            }
        }
        if (event->type() == QEvent::Paint && widget->window()->windowType() == Qt::ToolTip
            && (!m_quick || (quick && rendered)))
            painted = true;
        return false;
    }
    bool rendered = false;
    bool painted = false;

private Q_SLOTS:
    void noteRendered() { rendered = true; }

private:
    bool m_quick;
    QSet<QObject*> m_hooked;
};

struct Shown {
    double callMs = -1;
    double frameMs = -1;
    bool ok = false;
};

// Sends @p control the tooltip event and waits for the first frame.
Shown showOnce(Tip* tip, FrameWatch* watch, QWidget* control, const Content& content)
{
    Shown shown;
    watch->arm();
    const QPoint local = control->rect().center();
    QHelpEvent event(QEvent::ToolTip, local, control->mapToGlobal(local));
    QElapsedTimer timer;
    timer.start();
    QApplication::sendEvent(control, &event);
    shown.callMs = msSince(timer);
    // A timer wakes the wait now and then, so that a frame that never comes
    // ends it too.
    QTimer wake;
    wake.start(20);
    while (!watch->painted && !timer.hasExpired(10000))
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    if (watch->painted)
        shown.frameMs = msSince(timer);
    shown.ok = watch->painted && tip->shows(content);
    return shown;
}

int childMain(int argc, char** argv)
{
    // --child first|warm CONTENDER DATA
    const QByteArray mode = argv[2];
    const QByteArray name = argv[3];
    const QString data = QString::fromLocal8Bit(argv[4]);
    const int contender = int(std::find(contenderNames, contenderNames + ContenderCount, name) - contenderNames);
    if (contender == ContenderCount)
        return 2;
#ifdef VANTLES_BENCH_CORE_ONLY
    if (contender != VantlesCore)
        return 2;
#else
    if (contender == VantlesCore)
        return 2;
#endif
    QApplication app(argc, argv);

    QMainWindow window;
    QToolBar* tools = window.addToolBar(QStringLiteral("File"));
    std::map<QString, QWidget*> controls;
    for (const Content& content : contents) {
        auto button = new QToolButton;
        button->setText(content.title);
        button->setObjectName(content.key);
        tools->addWidget(button);
        controls[content.key] = button;
    }
    window.resize(640, 480);
    window.show();
    window.activateWindow();
    QElapsedTimer up;
    up.start();
    while (!window.windowHandle()->isExposed() && !up.hasExpired(5000))
        idle(10);
    idle(200);

    std::unique_ptr<Tip> tip;
    switch (contender) {
    case VantlesGL:
    case VantlesSoftware:
        tip = std::make_unique<VantlesTip>(contender == VantlesSoftware);
        break;
    case VantlesCore:
        tip = std::make_unique<VantlesTip>(std::nullopt);
        break;
#ifndef VANTLES_BENCH_CORE_ONLY
    case ToolTip:
        tip = std::make_unique<ToolTipTip>();
        break;
    case Label:
        tip = std::make_unique<LabelTip>();
        break;
    default:
        tip = std::make_unique<QuickControlsTip>();
        break;
#else
    default:
        return 2;
#endif
    }
    FrameWatch watch(contender != ToolTip && contender != Label);
    app.installEventFilter(&watch);

    const long before = residentKiB();
    tip->setUp(data, &window);
    // A user's first hover comes a while after the interface was made. What
    // the contender does meanwhile shows as the event loop's gaps: a timer
    // due every millisecond that comes more than 2 ms late was held up.
    QElapsedTimer clock;
    clock.start();
    double busy = 0, longest = 0;
    qint64 last = clock.nsecsElapsed();
    QTimer beat;
    beat.setTimerType(Qt::PreciseTimer);
    QObject::connect(&beat, &QTimer::timeout, [&] {
        const double gap = double(clock.nsecsElapsed() - last) / 1e6;
        last = clock.nsecsElapsed();
        if (gap > 3.0) {
            busy += gap - 1.0;
            longest = std::max(longest, gap - 1.0);
        }
    });
    beat.start(1);
    idle(1000);
    beat.stop();
    const long ahead = residentKiB();
    const Shown first = showOnce(tip.get(), &watch, controls[contents[0].key], contents[0]);
    const long after = residentKiB();
    std::printf("RESULT call_ms=%.3f frame_ms=%.3f rss_kib=%ld ok=%d ahead_ms=%.1f ahead_longest_ms=%.1f "
                "ahead_rss_kib=%ld\n",
        first.callMs, first.frameMs, after - before, first.ok ? 1 : 0, busy, longest, ahead - before);

    if (mode == "warm") {
        const int shows = qEnvironmentVariableIntValue("VANTLES_BENCH_WARM_SHOWS") > 0
            ? qEnvironmentVariableIntValue("VANTLES_BENCH_WARM_SHOWS")
            : 200;
        std::vector<double> calls, frames;
        int failures = 0;
        for (int i = 1; i <= shows; ++i) {
            const Content& content = contents[i % 2];
            tip->hide();
            idle(30);
            const Shown shown = showOnce(tip.get(), &watch, controls[content.key], content);
            if (!shown.ok)
                ++failures;
            calls.push_back(shown.callMs);
            frames.push_back(shown.frameMs);
        }
        std::printf("RESULT warm_call_ms=%.3f warm_frame_ms=%.3f warm_failures=%d\n", median(calls), median(frames),
            failures);
    }
    std::fflush(stdout);
    tip.reset();
    return 0;
}

// The parent -------------------------------------------------------------------
#ifndef VANTLES_BENCH_CORE_ONLY

using Result = std::map<QString, double>;

// Runs @p program and reads its "RESULT key=value ..." lines.
Result run(const QString& program, const QStringList& arguments, const QProcessEnvironment& environment,
    QElapsedTimer* started = nullptr)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    // Its warnings (the offscreen platform's about raise(), say) would fill the pipe.
    process.setStandardErrorFile(QProcess::nullDevice());
    if (started)
        started->start();
    process.start(program, arguments);
    Result result;
    if (!process.waitForFinished(120000)) {
        process.kill();
        process.waitForFinished();
        return result;
    }
    for (const QByteArray& line : process.readAllStandardOutput().split('\n')) {
        if (!line.startsWith("RESULT "))
            continue;
        for (const QByteArray& field : line.mid(7).split(' ')) {
            const int equals = int(field.indexOf('='));
            if (equals > 0)
                result[QString::fromLatin1(field.left(equals))] = field.mid(equals + 1).toDouble();
        }
    }
    if (process.exitCode() != 0)
        result[QStringLiteral("failed")] = 1;
    return result;
}

struct Figures {
    std::vector<double> call, frame, rss, freshFrame, ahead, aheadLongest, aheadRss;
    double warmFrame = -1, warmCall = -1;
    int failures = 0;
};

struct Startup {
    std::vector<double> ms;
    double objects = -1;
};

QString cell(double value, const char* format)
{
    return value < 0 ? QStringLiteral("–") : QString::asprintf(format, value);
}

QString loadAverage()
{
    QFile file(QStringLiteral("/proc/loadavg"));
    return file.open(QIODevice::ReadOnly) ? QString::fromLatin1(file.readAll().trimmed()) : QStringLiteral("?");
}

// An Xvfb server of our own; the display name is empty when none started.
class Xvfb {
public:
    Xvfb()
    {
        m_server.setProcessChannelMode(QProcess::SeparateChannels);
        m_server.start(QStringLiteral("Xvfb"),
            { QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"), QStringLiteral("0"),
                QStringLiteral("1280x1024x24"), QStringLiteral("-nolisten"), QStringLiteral("tcp") });
        if (!m_server.waitForStarted(5000))
            return;
        QElapsedTimer timer;
        timer.start();
        while (!m_server.canReadLine() && !timer.hasExpired(10000))
            m_server.waitForReadyRead(100);
        const QByteArray number = m_server.readLine().trimmed();
        if (!number.isEmpty())
            display = QStringLiteral(":") + QString::fromLatin1(number);
    }
    ~Xvfb()
    {
        m_server.terminate();
        m_server.waitForFinished(5000);
    }
    QString display;

private:
    QProcess m_server;
};

int parentMain(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int runs = qEnvironmentVariableIntValue("VANTLES_BENCH_RUNS") > 0
        ? qEnvironmentVariableIntValue("VANTLES_BENCH_RUNS")
        : 15;
    const int freshRuns = qMax(3, runs / 3);
    const int startupRepeats = 3;
    const QString self = QCoreApplication::applicationFilePath();
    // The program whose child processes measure contender @p c.
    auto program = [&self](int c) {
        return c == VantlesCore ? QStringLiteral(BENCH_FIRST_HOVER_CORE) : self;
    };
    std::printf("First hover and start-up, %d processes each (VANTLES_BENCH_RUNS), %d of each start-up host; load "
                "average %s\n",
        runs, runs * startupRepeats, qPrintable(loadAverage()));

    QTemporaryDir work;
    const QString data = QStringLiteral(VANTLES_SAMPLE_DATA_DIR);
    // The Qt Quick Controls contender's interface: the same content as the
    // sample's vantle, in a ToolTip.
    QFile qml(work.filePath(QStringLiteral("QuickControlsTip.qml")));
    if (!qml.open(QIODevice::WriteOnly)
        || qml.write(R"(import QtQuick
import QtQuick.Controls
Item {
    id: root
    property string title
    property string text
    property url image
    property string link
    implicitWidth: tip.implicitWidth
    implicitHeight: tip.implicitHeight
    width: implicitWidth
    height: implicitHeight
    ToolTip {
        id: tip
        x: 0
        y: 0
        margins: 0
        visible: true
        delay: 0
        timeout: -1
        contentItem: Column {
            spacing: 4
            width: 320
            Label { text: root.title; font.bold: true }
            Label { text: root.text; textFormat: Text.StyledText; wrapMode: Text.Wrap; width: 320 }
            Image { source: root.image; visible: root.image != "" }
            Label { text: "<a href=\"topic\">" + root.link + "</a>"; textFormat: Text.StyledText }
        }
    }
}
)") < 0) {
        std::fprintf(stderr, "the Qt Quick Controls tooltip could not be written\n");
        return 1;
    }
    qml.close();

    Xvfb xvfb;
    if (xvfb.display.isEmpty())
        std::printf("Xvfb did not start: no X11 figures\n");
    QTemporaryDir caches;
    struct Platform {
        const char* name;
        QProcessEnvironment environment;
    };
    std::vector<Platform> platforms;
    QProcessEnvironment base = QProcessEnvironment::systemEnvironment();
    base.remove(QStringLiteral("QT_QUICK_BACKEND"));
    base.remove(QStringLiteral("WAYLAND_DISPLAY"));
    base.insert(QStringLiteral("XDG_CACHE_HOME"), caches.path());
    base.insert(QStringLiteral("VANTLES_BENCH_QUICK_TIP"), qml.fileName());
    if (!xvfb.display.isEmpty()) {
        QProcessEnvironment x11 = base;
        x11.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        x11.insert(QStringLiteral("DISPLAY"), xvfb.display);
        platforms.push_back({ "X11", x11 });
    }
    QProcessEnvironment offscreen = base;
    offscreen.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    offscreen.insert(QStringLiteral("QT_QUICK_BACKEND"), QStringLiteral("software"));
    offscreen.remove(QStringLiteral("DISPLAY"));
    platforms.push_back({ "offscreen", offscreen });

    std::map<QString, Figures> figures; // by platform and contender
    std::map<QString, Startup> startups; // by platform and host
    auto key = [](const char* platform, int contender) {
        return QStringLiteral("%1/%2").arg(QLatin1String(platform), QLatin1String(contenderNames[contender]));
    };
    const QStringList hosts { QStringLiteral("plain"), QStringLiteral("linked"), QStringLiteral("interface") };
    for (const Platform& platform : platforms) {
        // One run of each first, untimed, fills the disk caches.
        for (int c = 0; c < ContenderCount; ++c)
            run(program(c),
                { QStringLiteral("--child"), QStringLiteral("first"), QLatin1String(contenderNames[c]), data },
                platform.environment);
        for (int r = 0; r < runs; ++r) {
            for (int c = 0; c < ContenderCount; ++c) {
                const Result result = run(program(c),
                    { QStringLiteral("--child"), QStringLiteral("first"), QLatin1String(contenderNames[c]), data },
                    platform.environment);
                Figures& f = figures[key(platform.name, c)];
                if (!result.count(QStringLiteral("ok")) || result.at(QStringLiteral("ok")) != 1) {
                    ++f.failures;
                    continue;
                }
                f.call.push_back(result.at(QStringLiteral("call_ms")));
                f.frame.push_back(result.at(QStringLiteral("frame_ms")));
                f.rss.push_back(result.at(QStringLiteral("rss_kib")) / 1024.0);
                f.ahead.push_back(result.at(QStringLiteral("ahead_ms")));
                f.aheadLongest.push_back(result.at(QStringLiteral("ahead_longest_ms")));
                f.aheadRss.push_back(result.at(QStringLiteral("ahead_rss_kib")) / 1024.0);
            }
            // A start is short and varies with the machine's other work by as
            // much as the library costs: three of each host per round.
            for (int repeat = 0; repeat < startupRepeats * int(hosts.size()); ++repeat) {
                const QString& host = hosts.at(repeat % hosts.size());
                QElapsedTimer started;
                QStringList arguments;
                if (host == QLatin1String("interface"))
                    arguments = QStringList { QStringLiteral("--interface"), data };
                const Result result
                    = run(host == QLatin1String("plain") ? QStringLiteral(STARTUP_HOST_PLAIN)
                                                         : QStringLiteral(STARTUP_HOST_LINKED),
                        arguments, platform.environment, &started);
                if (!result.count(QStringLiteral("frame_ns")))
                    continue;
                // Both clocks are CLOCK_MONOTONIC.
                timespec now {};
                clock_gettime(CLOCK_MONOTONIC, &now);
                const double startNs = double(now.tv_sec) * 1e9 + double(now.tv_nsec) - double(started.nsecsElapsed());
                Startup& s = startups[QStringLiteral("%1/%2").arg(QLatin1String(platform.name), host)];
                s.ms.push_back((result.at(QStringLiteral("frame_ns")) - startNs) / 1e6);
                s.objects = result.at(QStringLiteral("objects"));
            }
        }
        for (int c = 0; c < ContenderCount; ++c) {
            Figures& f = figures[key(platform.name, c)];
            for (int r = 0; r < freshRuns; ++r) {
                QTemporaryDir fresh;
                QProcessEnvironment environment = platform.environment;
                environment.insert(QStringLiteral("XDG_CACHE_HOME"), fresh.path());
                const Result result = run(program(c),
                    { QStringLiteral("--child"), QStringLiteral("first"), QLatin1String(contenderNames[c]), data },
                    environment);
                if (result.count(QStringLiteral("ok")) && result.at(QStringLiteral("ok")) == 1)
                    f.freshFrame.push_back(result.at(QStringLiteral("frame_ms")));
            }
            const Result warm = run(program(c),
                { QStringLiteral("--child"), QStringLiteral("warm"), QLatin1String(contenderNames[c]), data },
                platform.environment);
            if (warm.count(QStringLiteral("warm_frame_ms")) && warm.at(QStringLiteral("warm_failures")) == 0) {
                f.warmFrame = warm.at(QStringLiteral("warm_frame_ms"));
                f.warmCall = warm.at(QStringLiteral("warm_call_ms"));
            } else {
                ++f.failures;
            }
        }
    }

    // The table.
    std::printf("\n| |");
    for (const char* title : contenderTitles)
        std::printf(" %s |", title);
    std::printf("\n|---|");
    for (int c = 0; c < ContenderCount; ++c)
        std::printf("---|");
    std::printf("\n");
    auto row = [&](const QString& title, const std::function<QString(const Figures&)>& value, const char* platform) {
        std::printf("| %s |", qPrintable(title));
        for (int c = 0; c < ContenderCount; ++c)
            std::printf(" %s |", qPrintable(value(figures[key(platform, c)])));
        std::printf("\n");
    };
    for (const Platform& platform : platforms) {
        const QString on = QString::fromLatin1(platform.name);
        row(QStringLiteral("first show in a process, %1 (in the call)").arg(on),
            [](const Figures& f) {
                return f.frame.empty() ? QStringLiteral("–")
                                       : QStringLiteral("%1 (%2)").arg(cell(median(f.frame), "%.1f ms"),
                                           cell(median(f.call), "%.1f ms"));
            },
            platform.name);
        row(QStringLiteral("first show, empty caches, %1").arg(on),
            [](const Figures& f) { return cell(median(f.freshFrame), "%.0f ms"); }, platform.name);
        row(QStringLiteral("warm show of another key, %1 (in the call)").arg(on),
            [](const Figures& f) {
                return f.warmFrame < 0 ? QStringLiteral("–")
                                       : QStringLiteral("%1 (%2)").arg(
                                           cell(f.warmFrame, "%.1f ms"), cell(f.warmCall, "%.1f ms"));
            },
            platform.name);
        row(QStringLiteral("memory added by the first show, %1").arg(on),
            [](const Figures& f) { return cell(median(f.rss), "+%.1f MiB"); }, platform.name);
        row(QStringLiteral("of which ahead, in the idle second: GUI thread busy (longest block), memory, %1").arg(on),
            [](const Figures& f) {
                return f.ahead.empty() ? QStringLiteral("–")
                                       : QStringLiteral("%1 (%2), %3")
                                             .arg(cell(median(f.ahead), "%.0f ms"),
                                                 cell(median(f.aheadLongest), "%.0f ms"),
                                                 cell(median(f.aheadRss), "+%.1f MiB"));
            },
            platform.name);
        auto startup = [&](const QString& host) {
            return startups[QStringLiteral("%1/%2").arg(on, host)];
        };
        std::printf("| program start to its window, %s | %s linked, %s with its interface made | | | %s not linked "
                    "| | |\n",
            platform.name, qPrintable(cell(median(startup(QStringLiteral("linked")).ms), "%.1f ms")),
            qPrintable(cell(median(startup(QStringLiteral("interface")).ms), "%.1f ms")),
            qPrintable(cell(median(startup(QStringLiteral("plain")).ms), "%.1f ms")));
        std::printf("| shared objects loaded, %s | %.0f linked | | | %.0f not linked | | |\n", platform.name,
            startup(QStringLiteral("linked")).objects, startup(QStringLiteral("plain")).objects);
    }
    int failures = 0;
    for (const auto& entry : figures)
        failures += entry.second.failures;

    // The goals, measured in this run.
    std::printf("\n");
    for (const Platform& platform : platforms) {
        const Figures& vantles = figures[key(platform.name, VantlesGL)];
        const Figures& software = figures[key(platform.name, VantlesSoftware)];
        const Figures& core = figures[key(platform.name, VantlesCore)];
        const Figures& tooltip = figures[key(platform.name, ToolTip)];
        const Figures& label = figures[key(platform.name, Label)];
        const Figures& quick = figures[key(platform.name, QuickControls)];
        const Startup& linked = startups[QStringLiteral("%1/linked").arg(QLatin1String(platform.name))];
        const Startup& plain = startups[QStringLiteral("%1/plain").arg(QLatin1String(platform.name))];
        std::printf("%s: first show %.1fx QToolTip's (software renderer %.1fx, linking libVantles alone %.1fx; goal "
                    "2x); warm show %.1fx the QLabel tooltip's (software %.1fx, libVantles alone %.1fx; goal 2x); "
                    "memory %+.1f MiB (software %+.1f MiB, libVantles alone %+.1f MiB) against Qt Quick Controls' "
                    "%+.1f MiB; start-up linked %+.1f ms against the plain host (goal 10 ms)\n",
            platform.name, median(vantles.frame) / median(tooltip.frame), median(software.frame) / median(tooltip.frame),
            median(core.frame) / median(tooltip.frame), vantles.warmFrame / label.warmFrame,
            software.warmFrame / label.warmFrame, core.warmFrame / label.warmFrame, median(vantles.rss),
            median(software.rss), median(core.rss), median(quick.rss), median(linked.ms) - median(plain.ms));
    }
    std::printf("load average at the end %s%s\n", qPrintable(loadAverage()),
        failures ? qPrintable(QStringLiteral("; %1 runs failed and are left out").arg(failures)) : "");
    return 0;
}

#endif // VANTLES_BENCH_CORE_ONLY

} // namespace

int main(int argc, char** argv)
{
    if (argc >= 5 && qstrcmp(argv[1], "--child") == 0)
        return childMain(argc, argv);
#ifdef VANTLES_BENCH_CORE_ONLY
    return 2;
#else
    return parentMain(argc, argv);
#endif
}

#include "bench_first_hover.moc"
