// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// Time from VTManager::show() to a visible tooltip window whose QML is ready
// (the view's status is Ready and it has a root object), with the sample
// package's full interface (ui/VantleUI.qml).
//
// - first in process: the very first show of the program, which also loads
//   the Qt Quick modules, plugins and fonts (printed before the table);
// - cold: the first show of a fresh manager, which creates the window, the
//   view and its QML engine and compiles (or loads from the QML disk cache)
//   the interface file;
// - warm: a show of another key that uses the same interface file, the
//   window hidden in between, alternating with a partner key whose show is
//   not timed.
//
// Runs offscreen on the software Qt Quick renderer. Times are wall-clock
// times, one show per repetition, reported as medians. "frame_ms" is the
// time from show() to the first frame rendered after it, with the events
// processed as an idle event loop would.
//
// Also: the cost of the host's own objects while an interface is loaded.

#include <Vantles/VTContext.h>
#include <Vantles/VTIndex.h>
#include <Vantles/VTInterface.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTView.h>
#include <Vantles/VTWidget.h>
#include <Vantles/VTXmlElement.h>

#include <QApplication>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QList>
#include <QPair>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <memory>

using namespace Vantles;
using Clock = std::chrono::steady_clock;

namespace {

const QPoint showPosition(200, 200);

// Keys of the sample package without a clip, with their titles.
const std::map<QString, QString> titles {
    { QStringLiteral("actionUndo"), QStringLiteral("Undo") },
    { QStringLiteral("documentTitle"), QStringLiteral("Document title") },
    { QStringLiteral("autosaveCheck"), QStringLiteral("Save automatically") },
    { QStringLiteral("exportFormat"), QStringLiteral("Export format") },
};

QTemporaryDir* dataDir = nullptr;

bool copyTree(const QString& from, const QString& to)
{
    QDirIterator it(from, QDir::Files | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString source = it.next();
        const QString target = to + QLatin1Char('/') + QDir(from).relativeFilePath(source);
        if (!QDir().mkpath(QFileInfo(target).absolutePath()) || !QFile::copy(source, target))
            return false;
    }
    return true;
}

bool makeData()
{
    dataDir = new QTemporaryDir;
    return dataDir->isValid()
        && copyTree(QStringLiteral(VANTLES_SOURCE_DATA_DIR "/Sample.vantles"),
            dataDir->filePath(QStringLiteral("Sample.vantles")));
}

// A host that keeps the messages that pass the threshold.
class Host : public VTInterface {
public:
    using VTInterface::VTInterface;
    void handleMessage(VTMessageType type, const QString& message) override
    {
        messages.append(QStringLiteral("%1:%2").arg(int(type)).arg(message));
    }
    QStringList messages;
};

// An interface over the copied package, and the index its manager made.
struct Session {
    explicit Session(int messageThreshold = 200)
    {
        VTContext context;
        context.set(VTContextMessageThreshold, messageThreshold);
        host = std::make_unique<Host>(context, QStringList { dataDir->path() });
    }
    VTManager* manager() const { return host->manager(); }

    std::unique_ptr<Host> host;
};

bool isReady(const VTManager* manager)
{
    const VTWidget* window = manager->widget();
    const VTView* view = window ? window->view() : nullptr;
    return view && window->isVisible() && view->status() == QQuickWidget::Ready && view->rootObject();
}

// Whether the window shows @p key's content, its title text included.
bool showsKey(const VTManager* manager, const QString& key)
{
    const VTView* view = manager->widget()->view();
    const QObject* title = view->rootObject()->findChild<QObject*>(QStringLiteral("title"));
    return view->content() && view->content()->attribute(QStringLiteral("key")) == key && title
        && title->property("text").toString() == titles.at(key);
}

// Calls show() and returns the seconds until the window is visible with its
// QML ready, or a negative number when that does not happen within 5 s.
double timedShow(VTManager* manager, const QString& key)
{
    const Clock::time_point start = Clock::now();
    if (!manager->show(key, showPosition, nullptr))
        return -1;
    QElapsedTimer timeout;
    timeout.start();
    while (!isReady(manager)) {
        if (timeout.hasExpired(5000))
            return -1;
        QCoreApplication::processEvents();
    }
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void BM_ShowCold(benchmark::State& state)
{
    for (auto _ : state) {
        Session session;
        const double seconds = timedShow(session.manager(), QStringLiteral("actionUndo"));
        if (seconds < 0 || !showsKey(session.manager(), QStringLiteral("actionUndo"))) {
            state.SkipWithError("the vantle was not shown");
            break;
        }
        state.SetIterationTime(seconds);
    }
}
BENCHMARK(BM_ShowCold)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(25)
    ->ReportAggregatesOnly(true);

// One manager per measured key, kept across the repetitions, with the QML
// already loaded by a first show of the partner key.
struct WarmSession {
    Session session;
    int renders = 0;
    Clock::time_point lastRender;
    bool ok = false;

    explicit WarmSession(const QString& partner)
    {
        VTManager* manager = session.manager();
        if (timedShow(manager, partner) < 0)
            return;
        QObject::connect(
            manager->widget()->view()->quickWindow(), &QQuickWindow::afterRendering, manager,
            [this] {
                lastRender = Clock::now();
                ++renders;
            },
            Qt::DirectConnection);
        ok = true;
    }
};

std::map<QString, std::unique_ptr<WarmSession>> warmSessions;

// Hidden at once, so that show() does not return early for the vantle
// already up; the hide is left to settle, untimed, as the event loop would.
void hideNow(VTManager* manager)
{
    manager->widget()->setVisible(false);
    QCoreApplication::processEvents();
}

// Each repetition shows @p partner (untimed) and then @p key (timed), so the
// two alternate and the median is that of @p key alone.
void BM_ShowWarm(benchmark::State& state, const char* key, const char* partner)
{
    const QString keyName = QString::fromLatin1(key);
    const QString partnerName = QString::fromLatin1(partner);
    auto& warm = warmSessions[keyName];
    if (!warm)
        warm = std::make_unique<WarmSession>(partnerName);
    if (!warm->ok) {
        state.SkipWithError("the first vantle was not shown");
        return;
    }
    VTManager* manager = warm->session.manager();
    double frameMs = 0;
    for (auto _ : state) {
        hideNow(manager);
        if (timedShow(manager, partnerName) < 0 || !showsKey(manager, partnerName)) {
            state.SkipWithError("the partner vantle was not shown");
            break;
        }
        hideNow(manager);

        const int rendersBefore = warm->renders;
        const Clock::time_point start = Clock::now();
        const double seconds = timedShow(manager, keyName);
        if (seconds < 0 || !showsKey(manager, keyName)) {
            state.SkipWithError("the vantle was not shown");
            break;
        }
        state.SetIterationTime(seconds);

        QElapsedTimer timeout;
        timeout.start();
        while (warm->renders == rendersBefore && !timeout.hasExpired(1000))
            QCoreApplication::processEvents();
        frameMs = warm->renders == rendersBefore
            ? -1
            : std::chrono::duration<double, std::milli>(warm->lastRender - start).count();
    }
    state.counters["frame_ms"] = frameMs;
}

// Two short vantles (a title and a sentence each), then one with a link and
// one with five paragraphs of rich text and a link.
#define VANTLES_WARM_SHOW(key, partner)                                                                                \
    BENCHMARK_CAPTURE(BM_ShowWarm, key, #key, #partner)                                                                \
        ->UseManualTime()                                                                                              \
        ->Unit(benchmark::kMillisecond)                                                                                \
        ->Iterations(1)                                                                                                \
        ->Repetitions(101)                                                                                             \
        ->ReportAggregatesOnly(true)
VANTLES_WARM_SHOW(actionUndo, documentTitle);
VANTLES_WARM_SHOW(documentTitle, actionUndo);
VANTLES_WARM_SHOW(autosaveCheck, exportFormat);
VANTLES_WARM_SHOW(exportFormat, autosaveCheck);

// A show of content built to hurt: a 3 MB text, 50,000 nested elements,
// entities expanding to 200 million characters (in the file of the key, in
// another vantle: the file is refused). The library's bounds must
// keep each show as quick as an ordinary one (goal: under 100 ms).
bool writeHostileContent()
{
    QByteArray deep;
    for (int i = 0; i < 50000; ++i)
        deep += "<g>";
    for (int i = 0; i < 50000; ++i)
        deep += "</g>";
    QByteArray references;
    for (int i = 0; i < 50000; ++i)
        references += "&e;";
    const QString control = dataDir->filePath(QStringLiteral("Sample.vantles/Control/"));
    const QList<QPair<QString, QByteArray>> files {
        { QStringLiteral("hostile.xml"),
            "<vantles>\n<vantle key=\"hostileText\"><title>Text</title><text>" + QByteArray(3 << 20, 'a')
                + "</text></vantle>\n<vantle key=\"hostileDeep\"><title>Deep</title>" + deep
                + "</vantle>\n</vantles>\n" },
        { QStringLiteral("entities.xml"),
            "<!DOCTYPE vantles [<!ENTITY e \"" + QByteArray(4000, 'x')
                + "\">]>\n<vantles>\n<vantle key=\"hostileEntity\"><title>Entity</title></vantle>\n"
                  "<vantle key=\"expanding\"><text>"
                + references + "</text></vantle>\n</vantles>\n" },
    };
    for (const auto& [name, contents] : files) {
        QFile file(control + name);
        if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size())
            return false;
    }
    return true;
}

std::unique_ptr<Session> hostileSession;

void BM_ShowHostile(benchmark::State& state, const char* key)
{
    std::unique_ptr<Session>& session = hostileSession;
    if (!session) {
        session = std::make_unique<Session>();
        timedShow(session->manager(), QStringLiteral("actionUndo")); // the engine and window exist
    }
    // A file the library refuses whole is timed until show() returns false.
    for (auto _ : state) {
        hideNow(session->manager());
        const Clock::time_point start = Clock::now();
        const bool refused = !session->manager()->show(QString::fromLatin1(key), showPosition, nullptr);
        QElapsedTimer timeout;
        timeout.start();
        while (!refused && !isReady(session->manager()) && !timeout.hasExpired(5000))
            QCoreApplication::processEvents();
        const double seconds = refused || isReady(session->manager())
            ? std::chrono::duration<double>(Clock::now() - start).count()
            : -1;
        if (seconds < 0) {
            state.SkipWithError("the vantle was not shown");
            break;
        }
        state.SetIterationTime(seconds);
        state.counters["shown"] = refused ? 0 : 1;
    }
}
#define VANTLES_HOSTILE_SHOW(key)                                                                                      \
    BENCHMARK_CAPTURE(BM_ShowHostile, key, #key)                                                                       \
        ->UseManualTime()                                                                                              \
        ->Unit(benchmark::kMillisecond)                                                                                \
        ->Iterations(1)                                                                                                \
        ->Repetitions(11)                                                                                              \
        ->ReportAggregatesOnly(true)
VANTLES_HOSTILE_SHOW(hostileText);
VANTLES_HOSTILE_SHOW(hostileDeep);
VANTLES_HOSTILE_SHOW(hostileEntity);

// The host's own objects made on the GUI thread, 1000 QObjects and 1000
// QTimers in a tree deleted again: with no vantle shown yet, and with a
// vantle's interface loaded (hidden), which QtCore's object hook watches
// for creators of many delegates.
void BM_HostObjects(benchmark::State& state)
{
    std::unique_ptr<Session> session;
    if (state.range(0)) {
        session = std::make_unique<Session>();
        timedShow(session->manager(), QStringLiteral("actionUndo"));
        hideNow(session->manager());
    }
    for (auto _ : state) {
        QObject root;
        for (int i = 0; i < 1000; ++i) {
            new QObject(&root);
            new QTimer(&root);
        }
    }
    state.SetItemsProcessed(state.iterations() * 2000);
}
BENCHMARK(BM_HostObjects)->ArgName("interface_loaded")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);

// Shows every key once with every message let through and reports what the
// QML said: the figures mean nothing if the interface does not load cleanly.
// Being the first show of the program, its time is reported as well.
bool interfaceLoadsCleanly(double* firstShowSeconds)
{
    Session session(400);
    bool clean = true;
    bool first = true;
    for (const auto& entry : titles) {
        if (session.manager()->widget())
            session.manager()->widget()->setVisible(false);
        const double seconds = timedShow(session.manager(), entry.first);
        if (first)
            *firstShowSeconds = seconds;
        first = false;
        if (seconds < 0 || !showsKey(session.manager(), entry.first)) {
            std::fprintf(stderr, "%s was not shown\n", qPrintable(entry.first));
            clean = false;
        }
    }
    for (const QString& message : qAsConst(session.host->messages)) {
        if (message.contains(QLatin1String("QML Warning")) || message.contains(QLatin1String(":Error "))
            || message.contains(QLatin1String("Can't find"))) {
            std::fprintf(stderr, "%s\n", qPrintable(message));
            clean = false;
        }
    }
    return clean;
}

// The offscreen platform warns about every raise() and size hint of a
// window; those lines would bury the table.
QtMessageHandler previousHandler = nullptr;

void dropPlatformNotices(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (message.startsWith(QLatin1String("This plugin does not support")))
        return;
    previousHandler(type, context, message);
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    // The QML disk cache, on as in any host, goes to a folder of our own.
    QTemporaryDir cacheDir;
    qputenv("XDG_CACHE_HOME", cacheDir.path().toLocal8Bit());
    QApplication app(argc, argv);
    previousHandler = qInstallMessageHandler(dropPlatformNotices);

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    if (!makeData()) {
        std::fprintf(stderr, "the sample package could not be copied\n");
        return 1;
    }
    // Before any benchmark, so that this is the program's first show.
    double firstShowSeconds = -1;
    if (!interfaceLoadsCleanly(&firstShowSeconds)) {
        std::fprintf(stderr, "the interface did not load cleanly\n");
        return 1;
    }
    std::printf("First show in the process (Qt Quick not loaded yet): %.1f ms\n", firstShowSeconds * 1000.0);
    if (!writeHostileContent()) {
        std::fprintf(stderr, "the hostile content could not be written\n");
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    warmSessions.clear();
    hostileSession.reset();
    delete dataDir;
    return 0;
}
