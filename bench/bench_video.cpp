// Decoding speed, start-up latency and memory of the FFmpeg video source,
// against the ffmpeg command line decoding the same clip on one thread.
//
// The clip (10 s, 640x360, 25 fps, H.264) is made once with ffmpeg in a
// temporary folder. Times are wall-clock times, reported as manual times.

#include <Vantles/VTVideoFrame.h>
#include <Vantles/VTVideoSourceFFMPEG.h>

#include <QCoreApplication>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <QUrl>

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>

using namespace Vantles;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int clipFrames = 250;
constexpr int clipWidth = 640;
constexpr int clipHeight = 360;

QTemporaryDir* clipDir = nullptr;
QString clipPath;

bool makeClip()
{
    clipDir = new QTemporaryDir;
    clipPath = clipDir->filePath(QStringLiteral("clip.mp4"));
    QProcess process;
    process.start(QStandardPaths::findExecutable(QStringLiteral("ffmpeg")),
        { QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"), QStringLiteral("-f"),
            QStringLiteral("lavfi"), QStringLiteral("-i"), QStringLiteral("testsrc2=size=640x360:rate=25:duration=10"),
            QStringLiteral("-c:v"), QStringLiteral("libx264"), QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p"),
            clipPath });
    return process.waitForFinished(120000) && process.exitCode() == 0;
}

// A running source that records when its stream ended, on its own thread.
struct Source {
    Source()
    {
        QObject::connect(
            &source, &VTVideoSource::streamEnded, &source,
            [this] {
                endedAt = Clock::now();
                ended = true;
            },
            Qt::DirectConnection);
        source.start();
    }
    void waitForEnd()
    {
        while (!ended.load())
            QThread::usleep(200);
    }

    VTVideoSourceFFMPEG source { nullptr };
    std::atomic<bool> ended { false };
    Clock::time_point endedAt;
};

double seconds(Clock::time_point from, Clock::time_point to)
{
    return std::chrono::duration<double>(to - from).count();
}

// (a) setSource to streamEnded: the whole clip into the cache. The thread
// is started and idle before the clock starts.
void BM_VantlesDecodeWholeClip(benchmark::State& state)
{
    for (auto _ : state) {
        Source s;
        QThread::msleep(150);
        const Clock::time_point start = Clock::now();
        s.source.setSource(QUrl::fromLocalFile(clipPath));
        s.waitForEnd();
        state.SetIterationTime(seconds(start, s.endedAt));
        if (s.source.totalFrameCount() != clipFrames)
            state.SkipWithError("wrong frame count");
    }
    state.counters["frames"] = clipFrames;
}

// (b) The command line decoding and converting the same clip on one thread.
void BM_FfmpegCommandLineDecode(benchmark::State& state)
{
    const QString ffmpeg = QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
    for (auto _ : state) {
        QProcess process;
        const Clock::time_point start = Clock::now();
        process.start(ffmpeg,
            { QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-threads"), QStringLiteral("1"),
                QStringLiteral("-i"), clipPath, QStringLiteral("-pix_fmt"), QStringLiteral("bgra"),
                QStringLiteral("-f"), QStringLiteral("null"), QStringLiteral("-") });
        const bool ok = process.waitForFinished(120000) && process.exitCode() == 0;
        state.SetIterationTime(seconds(start, Clock::now()));
        if (!ok)
            state.SkipWithError("ffmpeg failed");
    }
}

// (c) setSource to the first frame in the cache. Arg 0: the source was just
// started (as an item does when QML sets its source at creation); arg 1: the
// thread has been idling for a while.
void BM_VantlesFirstFrame(benchmark::State& state)
{
    const bool idleFirst = state.range(0) != 0;
    for (auto _ : state) {
        Source s;
        if (idleFirst)
            QThread::msleep(250);
        const Clock::time_point start = Clock::now();
        s.source.setSource(QUrl::fromLocalFile(clipPath));
        while (!s.source.isFrameAvailable(0))
            QThread::usleep(100);
        state.SetIterationTime(seconds(start, Clock::now()));
        s.source.setShouldQuit();
    }
}

// (d) Bytes held by the cache against frames x width x height x 4.
void BM_VantlesCacheMemory(benchmark::State& state)
{
    double held = 0;
    double frames = 0;
    for (auto _ : state) {
        Source s;
        s.source.setSource(QUrl::fromLocalFile(clipPath));
        s.waitForEnd();
        held = 0;
        frames = double(s.source.totalFrameCount());
        for (unsigned int n = 0; n < s.source.totalFrameCount(); ++n)
            held += double(s.source.getFrame(n).sizeInBytes());
        state.SetIterationTime(1e-6); // only the counters matter
    }
    const double ideal = frames * clipWidth * clipHeight * 4;
    state.counters["frames"] = frames;
    state.counters["heldMiB"] = held / (1024.0 * 1024.0);
    state.counters["idealMiB"] = ideal / (1024.0 * 1024.0);
    state.counters["heldOverIdeal"] = ideal > 0 ? held / ideal : 0;
}

} // namespace

BENCHMARK(BM_VantlesDecodeWholeClip)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_FfmpegCommandLineDecode)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_VantlesFirstFrame)->Arg(0)->Arg(1)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_VantlesCacheMemory)->UseManualTime()->Iterations(1);

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (QStandardPaths::findExecutable(QStringLiteral("ffmpeg")).isEmpty() || !makeClip()) {
        std::fprintf(stderr, "ffmpeg could not make the clip\n");
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    delete clipDir;
    return 0;
}
