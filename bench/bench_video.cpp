// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// Decoding speed, start-up latency, teardown and memory of the FFmpeg video
// source, against the ffmpeg command line decoding the same clip on one
// thread.
//
// The clips (10 s, 640x360, 25 fps, H.264; 60 s, 1280x720, 25 fps, H.264;
// 10 frames of 8000x8000 MJPEG) are made once with ffmpeg in a temporary
// folder. Times are wall-clock times, reported as manual times; memory is the
// growth of the process's peak resident size while a clip plays.

#include <Vantles/VTVideoController.h>
#include <Vantles/VTVideoFrame.h>
#include <Vantles/VTVideoFrameCache.h>
#include <Vantles/VTVideoSourceFFMPEG.h>

#include <QCoreApplication>
#include <QFile>
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

QTemporaryDir* clipDir = nullptr;
QString clipPath;
QString longClipPath;
QString hugeClipPath;

bool makeClip(const QString& path, const QString& source, const QStringList& encoder)
{
    QProcess process;
    process.start(QStandardPaths::findExecutable(QStringLiteral("ffmpeg")),
        QStringList { QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"), QStringLiteral("-f"),
            QStringLiteral("lavfi"), QStringLiteral("-i"), source }
            + encoder + QStringList { path });
    return process.waitForFinished(600000) && process.exitCode() == 0;
}

bool makeClips()
{
    clipDir = new QTemporaryDir;
    clipPath = clipDir->filePath(QStringLiteral("clip.mp4"));
    longClipPath = clipDir->filePath(QStringLiteral("long.mp4"));
    hugeClipPath = clipDir->filePath(QStringLiteral("huge.avi"));
    const QStringList h264 { QStringLiteral("-c:v"), QStringLiteral("libx264"), QStringLiteral("-preset"),
        QStringLiteral("veryfast"), QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p") };
    return makeClip(clipPath, QStringLiteral("testsrc2=size=640x360:rate=25:duration=10"), h264)
        && makeClip(longClipPath, QStringLiteral("testsrc2=size=1280x720:rate=25:duration=60"), h264)
        && makeClip(hugeClipPath, QStringLiteral("testsrc2=size=8000x8000:rate=25"),
            { QStringLiteral("-frames:v"), QStringLiteral("10"), QStringLiteral("-c:v"), QStringLiteral("mjpeg") });
}

// A field of /proc/self/status in MiB.
double statusMiB(const char* field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(qstrlen(field)).trimmed().split(' ').first().toDouble() / 1024.0;
    }
    return 0;
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
        // Room for the whole clip: this measures decoding, not waiting.
        s.source.setMemoryBudget(qint64(1) << 30);
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

// (d) Peak memory while a clip plays to its end as fast as it decodes, with
// the default budget and no display size (the budget alone bounds frames),
// against that budget. Arg: 0 the 10 s clip, 1 the 60 s 720p one, 2 the
// 8000x8000 one. The peak of the process is reset first (clear_refs).
void BM_VantlesPlayingMemory(benchmark::State& state)
{
    const QString path = state.range(0) == 0 ? clipPath : state.range(0) == 1 ? longClipPath : hugeClipPath;
    double grown = 0;
    unsigned long long frames = 0;
    for (auto _ : state) {
        QFile clear(QStringLiteral("/proc/self/clear_refs"));
        if (!clear.open(QIODevice::WriteOnly) || clear.write("5") != 1)
            state.SkipWithError("cannot reset the peak resident size");
        clear.close();
        const double before = statusMiB("VmRSS:");
        const Clock::time_point start = Clock::now();
        {
            Source s;
            s.source.setSource(QUrl::fromLocalFile(path));
            unsigned long long next = 0;
            while (!(s.ended.load() && next >= s.source.totalFrameCount())) {
                if (s.source.isFrameAvailable(next))
                    s.source.setPlayhead(++next);
                else
                    QThread::usleep(200);
            }
            frames = s.source.totalFrameCount();
            grown = statusMiB("VmHWM:") - before;
        }
        state.SetIterationTime(seconds(start, Clock::now()));
    }
    state.counters["frames"] = double(frames);
    state.counters["peakGrowthMiB"] = grown;
    state.counters["budgetMiB"] = double(VTVideoFrameCache::defaultBudget) / (1024.0 * 1024.0);
}

// (e) Teardown of a playing clip while it is still being decoded: both
// threads asked to quit and waited for, as the item's destructor does.
void BM_VantlesTeardownWhilePlaying(benchmark::State& state)
{
    for (auto _ : state) {
        auto source = new VTVideoSourceFFMPEG(nullptr);
        auto controller = new VTVideoController(source, nullptr);
        source->start();
        controller->start();
        controller->setSource(QUrl::fromLocalFile(clipPath));
        controller->play();
        while (controller->position() < 2)
            QThread::usleep(500);
        const Clock::time_point start = Clock::now();
        controller->setShouldQuit();
        source->setShouldQuit();
        controller->wait();
        source->wait();
        state.SetIterationTime(seconds(start, Clock::now()));
        delete controller;
        delete source;
    }
}

} // namespace

BENCHMARK(BM_VantlesDecodeWholeClip)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_FfmpegCommandLineDecode)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_VantlesFirstFrame)->Arg(0)->Arg(1)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_VantlesPlayingMemory)->Arg(0)->Arg(1)->Arg(2)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_VantlesTeardownWhilePlaying)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (QStandardPaths::findExecutable(QStringLiteral("ffmpeg")).isEmpty() || !makeClips()) {
        std::fprintf(stderr, "ffmpeg could not make the clips\n");
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    delete clipDir;
    return 0;
}
