// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTTestHelpers.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTIndex.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTVideoComponent.h>
#include <Vantles/VTVideoController.h>
#include <Vantles/VTVideoFrame.h>
#include <Vantles/VTVideoSourceFFMPEG.h>
#include <Vantles/VTView.h>
#include <Vantles/VTWidget.h>

#include <QElapsedTimer>
#include <QFile>
#include <QPointer>
#include <QProcess>
#include <QQuickItem>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>
#include <mutex>

using namespace Vantles;

namespace {

// Arguments written as one line of words.
QStringList words(const char* line)
{
    return QString::fromLatin1(line).split(QLatin1Char(' '));
}

// A test pattern clip of @p width x 90 at 25 frames per second with the given encoder options.
QStringList pattern(int frames, const char* encoder, int width = 160)
{
    return words("-f lavfi -i") + QStringList { QStringLiteral("testsrc2=size=%1x90:rate=25").arg(width) }
    + words("-frames:v") + QStringList { QString::number(frames) } + words(encoder);
}

// The number of pictures ffprobe decodes from the first video stream.
int probeFrameCount(const QString& path)
{
    QProcess process;
    process.start(QStandardPaths::findExecutable(QStringLiteral("ffprobe")),
        words("-v error -count_frames -select_streams v:0 -show_entries stream=nb_read_frames -of csv=p=0")
            + QStringList { path });
    bool ok = process.waitForFinished(60000);
    const int count = process.readAllStandardOutput().trimmed().toInt(&ok);
    return ok ? count : -1;
}

// Mean absolute difference per colour channel between two images of one size.
double meanChannelDifference(const QImage& a, const QImage& b)
{
    double sum = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y), q = b.pixel(x, y);
            sum += std::abs(qRed(p) - qRed(q)) + std::abs(qGreen(p) - qGreen(q)) + std::abs(qBlue(p) - qBlue(q));
        }
    }
    return sum / (3.0 * a.width() * a.height());
}

// The NEEDED entries of the ELF file @p path: the libraries the dynamic
// linker loads with it.
QStringList neededLibraries(const QString& path)
{
    QProcess readelf;
    readelf.start(QStringLiteral("readelf"), { QStringLiteral("--dynamic"), QStringLiteral("--wide"), path });
    if (!readelf.waitForFinished(30000))
        return {};
    static const QRegularExpression needed(QStringLiteral("\\(NEEDED\\)\\s+Shared library: \\[(.+)\\]"));
    QStringList libraries;
    const QString output = QString::fromLocal8Bit(readelf.readAllStandardOutput());
    for (auto it = needed.globalMatch(output); it.hasNext();)
        libraries.append(it.next().captured(1));
    return libraries;
}

// Whether FFmpeg's decoding library is loaded into this process.
bool ffmpegLoaded()
{
    QFile maps(QStringLiteral("/proc/self/maps"));
    return maps.open(QIODevice::ReadOnly) && maps.readAll().contains("/libavcodec.so");
}

// A running decoder thread; ended counts its streamEnded() signals, which
// arrive queued on the test's thread.
struct Decoder {
    Decoder()
    {
        QObject::connect(&source, &VTVideoSource::streamEnded, &receiver, [this] { ++ended; });
        source.start();
    }
    bool load(const QString& path) { return source.setSource(QUrl::fromLocalFile(path)); }

    VTVideoSourceFFMPEG source { nullptr };
    QObject receiver;
    int ended = 0;
};

// A controller over a running decoder; the controller thread runs only when
// started. The controller goes first: it calls into the source.
struct Player {
    Player() { controller = new VTVideoController(&decoder.source, nullptr); }
    ~Player()
    {
        controller->quit();
        delete controller;
    }

    Decoder decoder;
    VTVideoController* controller;
};

} // namespace

class TestVTVideo : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    // First: it checks that nothing has loaded FFmpeg yet.
    void ffmpegComesFromThePluginWithTheFirstClip();
    void sourceRefusesBadUrlsAndQueuesTheRest();
    void decodesEveryFrameWithItsTimeAndPixels_data();
    void decodesEveryFrameWithItsTimeAndPixels();
    void unplayableFileIsReported_data();
    void unplayableFileIsReported();
    void controllerPositionsOnDecodedFramesOnly();
    void controllerPacesAtFrameRateAndRestartsAtEnd();
    void sourceChangeNeverShowsTheDroppedClip_data();
    void sourceChangeNeverShowsTheDroppedClip();
    void destroyingPlayingItemEndsBothThreads_data();
    void destroyingPlayingItemEndsBothThreads();
    void longClipLoopsAndScrubsWithinItsBudget_data();
    void longClipLoopsAndScrubsWithinItsBudget();
    void framesKeepToTheSizeShownAndTheBudget_data();
    void framesKeepToTheSizeShownAndTheBudget();
    void defaultInterfacePlaysClipOnceAndPaintsIt();

private:
    QTemporaryDir m_dir;
    QString m_clip25; // 25 frames, H.264 in MP4
    QString m_clip101; // 101 frames, MJPEG in AVI
};

void TestVTVideo::initTestCase()
{
    QVERIFY(m_dir.isValid());
    if (QStandardPaths::findExecutable(QStringLiteral("ffmpeg")).isEmpty()
        || QStandardPaths::findExecutable(QStringLiteral("ffprobe")).isEmpty())
        QSKIP("ffmpeg and ffprobe are needed to make the clips");
    m_clip25 = VTTest::makeClip(m_dir, QStringLiteral("clip25.mp4"), pattern(25, "-c:v libx264 -pix_fmt yuv420p"));
    m_clip101 = VTTest::makeClip(m_dir, QStringLiteral("clip101.avi"), pattern(101, "-c:v mjpeg"));
    QVERIFY(!m_clip25.isEmpty() && !m_clip101.isEmpty());
}

void TestVTVideo::ffmpegComesFromThePluginWithTheFirstClip()
{
    // The plug-in links FFmpeg; the library does not.
    const QStringList library = neededLibraries(QStringLiteral(VANTLES_LIBRARY_FILE));
    QVERIFY2(library.contains(QStringLiteral("libQt6Core.so.6")), qPrintable(library.join(QLatin1Char(' '))));
    const QRegularExpression ffmpeg(QStringLiteral("^lib(avcodec|avformat|avutil|swscale)\\.so"));
    QCOMPARE(library.filter(ffmpeg), QStringList());
    QCOMPARE(neededLibraries(QStringLiteral(VANTLES_VIDEO_PLUGIN_FILE)).filter(ffmpeg).size(), 4);
    QVERIFY2(!ffmpegLoaded(), "FFmpeg was loaded before any clip");

    // Without a plug-in that loads, a clip is reported as not playable.
    QTemporaryDir plugins;
    const QString name = QFileInfo(QStringLiteral(VANTLES_VIDEO_PLUGIN_FILE)).fileName();
    const QString broken = VTTest::writeFile(plugins, QStringLiteral("broken/") + name, "not a library");
    const QString missing = plugins.filePath(QStringLiteral("missing/") + name);
    const QStringList reasons { QStringLiteral("the video plug-in of the library is missing (looked for %1).").arg(missing),
        QStringLiteral("the video plug-in %1 could not be loaded (").arg(broken) };
    auto resetPath = qScopeGuard([] { qunsetenv("VANTLES_PLUGIN_PATH"); });
    for (const QString& reason : reasons) {
        const QString plugin = reason.contains(missing) ? missing : broken;
        qputenv("VANTLES_PLUGIN_PATH", QFileInfo(plugin).path().toLocal8Bit());
        VTTest::MessageLog log;
        Decoder decoder;
        QSignalSpy failed(&decoder.source, &VTVideoSource::sourceFailed);
        QVERIFY(decoder.load(m_clip25));
        QTRY_COMPARE(failed.count(), 1);
        const QString message = failed.at(0).at(1).toString();
        QCOMPARE(failed.at(0).at(0).toString(), m_clip25);
        QVERIFY2(message.startsWith(QLatin1String("This clip cannot be played: ") + reason), qPrintable(message));
        QTRY_COMPARE(decoder.source.action(), VTVideoSource::idleAction);
        QVERIFY(!decoder.source.isOpen());
        QCOMPARE(decoder.source.totalFrameCount(), 0ULL);
        QCOMPARE(decoder.source.frameWidth(), 200.0);
        QCOMPARE(log.debugMessages(), QStringList { QLatin1Char('"') + message + QLatin1Char('"') });
        QVERIFY(!ffmpegLoaded());
    }

    // The plug-in beside the library, as built and installed.
    qunsetenv("VANTLES_PLUGIN_PATH");
    Decoder decoder;
    QVERIFY(decoder.load(m_clip25));
    QTRY_COMPARE_WITH_TIMEOUT(decoder.ended, 1, 10000);
    QCOMPARE(decoder.source.totalFrameCount(), 25ULL);
    QVERIFY(ffmpegLoaded());
}

void TestVTVideo::sourceRefusesBadUrlsAndQueuesTheRest()
{
    VTVideoSourceFFMPEG source(nullptr);
    QVERIFY(source.getFrame(0).isNull());
    QVERIFY(!source.setSource(QUrl()));
    QVERIFY(!source.setSource(QUrl(QStringLiteral("http://[bad"))));
    // Not started: the change stays queued until the thread applies it.
    const QUrl url = QUrl::fromLocalFile(m_clip25);
    QVERIFY(source.setSource(url));
    source.processActionQueue();
    QCOMPARE(source.source(), url);
    QCOMPARE(source.action(), VTVideoSource::loadAction);
    QVERIFY(!source.setSource(url));
    // Changes queued before the thread catches up are all taken, the last one winning.
    QVERIFY(source.setSource(QUrl()) && source.setSource(url));
    QVERIFY(source.setSource(QUrl::fromLocalFile(m_clip101)));
    source.start();
    QTRY_COMPARE_WITH_TIMEOUT(source.totalFrameCount(), 101ULL, 10000);
    QTest::qWait(100);
    QCOMPARE(source.source(), QUrl::fromLocalFile(m_clip101));
    QCOMPARE(source.totalFrameCount(), 101ULL);
}

void TestVTVideo::decodesEveryFrameWithItsTimeAndPixels_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("encoder");
    QTest::addColumn<bool>("cutInHalf");
    QTest::addColumn<int>("width");

    QTest::newRow("H.264 in MP4") << QStringLiteral("h264.mp4") << QStringLiteral("-c:v libx264 -pix_fmt yuv420p")
                                  << false << 160;
    QTest::newRow("MPEG-4 ASP (mpeg4) in AVI")
        << QStringLiteral("mpeg4.avi") << QStringLiteral("-c:v mpeg4 -q:v 2") << false << 160;
    QTest::newRow("VP8 in WebM") << QStringLiteral("vp8.webm")
                                 << QStringLiteral("-c:v libvpx -b:v 1M -deadline realtime") << false << 160;
    QTest::newRow("MJPEG in MKV") << QStringLiteral("mjpeg.mkv") << QStringLiteral("-c:v mjpeg -q:v 2") << false
                                  << 160;
    // The file ends in the middle of a cluster, which counts as the end of the stream.
    QTest::newRow("truncated H.264 in MKV")
        << QStringLiteral("cut.mkv") << QStringLiteral("-c:v libx264 -pix_fmt yuv420p") << true << 160;
    // Rows whose size is no multiple of the converter's blocks.
    QTest::newRow("H.264, 162 wide") << QStringLiteral("w162.mp4") << QStringLiteral("-c:v libx264 -pix_fmt yuv420p")
                                     << false << 162;
    QTest::newRow("MJPEG, 1366 wide") << QStringLiteral("w1366.mkv") << QStringLiteral("-c:v mjpeg -q:v 2") << false
                                      << 1366;
}

void TestVTVideo::decodesEveryFrameWithItsTimeAndPixels()
{
    QFETCH(QString, name);
    QFETCH(QString, encoder);
    QFETCH(bool, cutInHalf);
    QFETCH(int, width);

    const QString path = VTTest::makeClip(m_dir, name, pattern(25, encoder.toLatin1().constData(), width));
    QFile file(path);
    QVERIFY(!path.isEmpty() && file.open(QIODevice::ReadWrite));
    if (cutInHalf)
        QVERIFY(file.resize(file.size() / 2));
    file.close();
    const int expected = probeFrameCount(path);
    QVERIFY2(cutInHalf ? expected > 0 && expected < 25 : expected == 25, qPrintable(QString::number(expected)));
    const QString reference = VTTest::makeClip(m_dir, name + QLatin1String(".png"),
        QStringList { QStringLiteral("-i"), path } + words("-frames:v 1 -pix_fmt rgb24"));
    QVERIFY(!reference.isEmpty());

    VTTest::MessageLog log;
    Decoder decoder;
    QVERIFY(decoder.load(path));
    QTRY_COMPARE_WITH_TIMEOUT(decoder.ended, 1, 10000);
    QCOMPARE(decoder.source.totalFrameCount(), (unsigned long long)expected);
    QVERIFY(!decoder.source.isOpen());
    QCOMPARE(decoder.source.frameRate(), 25.0);
    for (int n = 0; n < expected; ++n) {
        const VTVideoFrame frame = decoder.source.getFrame(n);
        QCOMPARE(frame.size(), QSize(width, 90));
        QCOMPARE(frame.format(), QImage::Format_RGB888);
        QVERIFY2(qFuzzyCompare(1.0 + frame.timestamp, 1.0 + n / 25.0), qPrintable(QString::number(n)));
    }
    QVERIFY(decoder.source.getFrame(expected).isNull());
    const double difference = meanChannelDifference(decoder.source.getFrame(0), QImage(reference));
    QVERIFY2(difference < 2.0, qPrintable(QString::number(difference)));
    // The last columns too, which a mean over the picture would hide.
    const QRect right(width - 2, 0, 2, 90);
    const double edge = meanChannelDifference(decoder.source.getFrame(0).copy(right), QImage(reference).copy(right));
    QVERIFY2(edge < 4.0, qPrintable(QString::number(edge)));
    // The pattern moves: the last frame is a different picture.
    QVERIFY(meanChannelDifference(decoder.source.getFrame(0), decoder.source.getFrame(expected - 1)) > 2.0);

    // The end is reported once; the decoder goes idle with every frame kept.
    QTest::qWait(300);
    QCOMPARE(decoder.ended, 1);
    QCOMPARE(decoder.source.action(), VTVideoSource::idleAction);
    QCOMPARE(log.debugMessages(), QStringList());
}

void TestVTVideo::unplayableFileIsReported_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("message");

    const QString missing = m_dir.filePath(QStringLiteral("missing.mp4"));
    const QString tone
        = VTTest::makeClip(m_dir, QStringLiteral("tone.wav"), words("-f lavfi -i sine=frequency=440:duration=0.5"));
    // An MP4 written in one pass keeps its index at the end: without it the file does not open.
    const QString cut = VTTest::makeClip(m_dir, QStringLiteral("cut.mp4"), pattern(25, "-c:v libx264"));
    QFile file(cut);
    if (file.open(QIODevice::ReadWrite))
        file.resize(file.size() / 2);
    const QString open = QStringLiteral("Could not open media at: %1");
    QTest::newRow("missing file") << missing << open.arg(missing);
    QTest::newRow("audio only") << tone << QStringLiteral("Could not find a video stream in %1").arg(tone);
    QTest::newRow("truncated MP4") << cut << open.arg(cut);
}

void TestVTVideo::unplayableFileIsReported()
{
    QFETCH(QString, path);
    QFETCH(QString, message);
    QVERIFY(!path.isEmpty());

    VTTest::MessageLog log;
    Decoder decoder;
    QSignalSpy loaded(&decoder.source, &VTVideoSource::sourceLoaded);
    QVERIFY(decoder.load(path));
    // QDebug quotes the text it is given.
    QTRY_COMPARE_WITH_TIMEOUT(
        log.debugMessages(), QStringList { QLatin1Char('"') + message + QLatin1Char('"') }, 10000);
    QTRY_COMPARE(decoder.source.action(), VTVideoSource::idleAction);
    QVERIFY(!decoder.source.isOpen());
    QCOMPARE(decoder.source.totalFrameCount(), 0ULL);
    QTest::qWait(200);
    QCOMPARE(log.debugMessages().size(), 1);
    QCOMPARE(decoder.ended, 0);
    QCOMPARE(loaded.count(), 0);
}

void TestVTVideo::controllerPositionsOnDecodedFramesOnly()
{
    Player player;
    VTVideoController* controller = player.controller;
    controller->setPosition(3);
    QCOMPARE(controller->position(), 0ULL);

    QSignalSpy sizeChanged(controller, &VTVideoController::widthChanged);
    QVERIFY(controller->setSource(QUrl::fromLocalFile(m_clip101)));
    QCOMPARE(controller->position(), 0ULL);
    QTRY_COMPARE_WITH_TIMEOUT(player.decoder.ended, 1, 10000);
    QVERIFY(!controller->setSource(QUrl::fromLocalFile(m_clip101)));
    QCOMPARE(sizeChanged.count(), 1);
    QCOMPARE(controller->frameCount(), 101ULL);
    QCOMPARE(controller->frameWidth(), 160.0);
    QCOMPARE(controller->loadProgress(), 1.0);
    QCOMPARE(controller->state(), VTVideoController::stoppedState);

    controller->setProgress(0.5);
    QCOMPARE(controller->position(), 50ULL);
    QCOMPARE(controller->progress(), 0.5);
    controller->setProgress(1.0);
    QCOMPARE(controller->position(), 100ULL);
    controller->setPosition(500);
    QCOMPARE(controller->position(), 100ULL);
    QCOMPARE(controller->currentFrame().timestamp, 4.0);
    QCOMPARE(controller->getFrame(25).timestamp, 1.0);
    // The end of the next clip is reported too, with its own length.
    QVERIFY(controller->setSource(QUrl::fromLocalFile(m_clip25)));
    QTRY_COMPARE_WITH_TIMEOUT(qMakePair(player.decoder.ended, controller->frameCount()), qMakePair(2, 25ULL), 10000);
}

void TestVTVideo::controllerPacesAtFrameRateAndRestartsAtEnd()
{
    Player player;
    VTVideoController* controller = player.controller;
    QVERIFY(controller->setSource(QUrl::fromLocalFile(m_clip25)));
    QTRY_COMPARE_WITH_TIMEOUT(player.decoder.ended, 1, 10000);
    QCOMPARE(controller->frameCount(), 25ULL);
    controller->start();

    QElapsedTimer timer;
    timer.start();
    controller->play();
    QCOMPARE(controller->state(), VTVideoController::runningState);
    QTRY_VERIFY_WITH_TIMEOUT(controller->position() >= 20, 5000);
    // 20 frames at 25 per second: 0.8 s, with room for a loaded machine.
    const qint64 elapsed = timer.elapsed();
    QVERIFY2(elapsed >= 500 && elapsed <= 4000, qPrintable(QString::number(elapsed)));

    // At the end it stops on the last frame.
    QTRY_COMPARE_WITH_TIMEOUT(controller->state(), VTVideoController::stoppedState, 5000);
    QCOMPARE(controller->position(), 24ULL);
    QCOMPARE(controller->currentFrame().timestamp, 0.96);

    controller->play();
    QVERIFY(controller->position() <= 1);
    QTRY_VERIFY_WITH_TIMEOUT(controller->position() >= 5, 5000);
    controller->pause();
    QCOMPARE(controller->state(), VTVideoController::stoppedState);

    // Played before its first frame is decoded, a clip waits for it, and the
    // end of decoding, coming after, does not stop it.
    Player early;
    early.controller->start();
    QVERIFY(early.controller->setSource(QUrl::fromLocalFile(m_clip25)));
    early.controller->play();
    QTRY_VERIFY_WITH_TIMEOUT(early.controller->position() >= 5, 5000);
    QCOMPARE(early.decoder.ended, 1);
}

void TestVTVideo::sourceChangeNeverShowsTheDroppedClip_data()
{
    QTest::addColumn<bool>("toAnotherClip"); // else to no clip
    QTest::newRow("to no clip and back") << false;
    QTest::newRow("between two clips") << true;
}

// Whether the controller's thread or the decoder's gets to a change first
// varies: the change is made many times.
void TestVTVideo::sourceChangeNeverShowsTheDroppedClip()
{
    QFETCH(bool, toAnotherClip);
    const QString narrow = VTTest::makeClip(m_dir, QStringLiteral("narrow.avi"), pattern(3, "-c:v mjpeg", 96));
    QVERIFY(!narrow.isEmpty());
    // Change n (from 1) sets clips[n % 2]; a frame is told apart by its width.
    const QStringList clips { toAnotherClip ? narrow : QString(), m_clip101 };
    const QList<int> widths { toAnotherClip ? 96 : 0, 160 };
    Player player;
    VTVideoController* controller = player.controller;
    std::atomic<int> begun { 0 }, done { 0 }, shownFor { 0 }, wrong { 0 };
    connect(
        controller, &VTVideoController::displayFrame, controller,
        [&] {
            const int change = done;
            const VTVideoFrame frame = controller->currentFrame();
            if (begun != change || frame.isNull())
                return; // a change in between: either clip may be right
            wrong += frame.width() != widths.at(change % 2) ? 1 : 0;
            shownFor = change;
        },
        Qt::DirectConnection);
    controller->start();
    for (int change = 1; change <= 40; ++change) {
        ++begun;
        const QString clip = clips.at(change % 2);
        QVERIFY(controller->setSource(clip.isEmpty() ? QUrl() : QUrl::fromLocalFile(clip)));
        ++done;
        if (clip.isEmpty()) {
            QTest::qWait(20);
            continue;
        }
        QTRY_COMPARE_WITH_TIMEOUT(shownFor.load(), change, 10000);
    }
    QCOMPARE(wrong.load(), 0);
}

void TestVTVideo::destroyingPlayingItemEndsBothThreads_data()
{
    QTest::addColumn<QString>("rate"); // of the clip, frames per second
    QTest::addColumn<int>("frames");
    QTest::newRow("25 per second") << QStringLiteral("25") << 101;
    // Paced as one per second: the item plays on and still goes at once.
    QTest::newRow("one per 1000 s") << QStringLiteral("1/1000") << 3;
}

void TestVTVideo::destroyingPlayingItemEndsBothThreads()
{
    QFETCH(QString, rate);
    QFETCH(int, frames);
    const QString clip = VTTest::makeClip(m_dir, QStringLiteral("rate%1.avi").arg(frames),
        words("-f lavfi -i") + QStringList { QStringLiteral("testsrc2=size=160x90:rate=") + rate }
            + words("-frames:v") + QStringList { QString::number(frames) } + words("-c:v mjpeg"));
    QVERIFY(!clip.isEmpty());
    VTTest::MessageLog log;
    auto item = new VTVideoComponent;
    std::atomic<int> finished { 0 };
    QPointer<VTVideoController> controller = item->controller();
    QPointer<VTVideoSourceFFMPEG> source = item->videoSource();
    for (QThread* thread : { static_cast<QThread*>(controller.data()), static_cast<QThread*>(source.data()) })
        connect(
            thread, &QThread::finished, thread, [&finished] { ++finished; }, Qt::DirectConnection);

    // The end of the stream stops playback: play once the controller has
    // seen it (queued before this test's own receiver).
    QObject receiver;
    int ended = 0;
    connect(source, &VTVideoSource::streamEnded, &receiver, [&ended] { ++ended; });
    QVERIFY(controller->setSource(QUrl::fromLocalFile(clip)));
    QTRY_COMPARE_WITH_TIMEOUT(ended, 1, 10000);
    QCOMPARE(controller->frameCount(), (unsigned long long)frames);
    item->play();
    QTRY_VERIFY_WITH_TIMEOUT(item->position() >= 2, 5000);
    QCOMPARE(item->state(), VTVideoComponent::playingState);

    delete item;
    QCOMPARE(finished.load(), 2);
    // Neither thread had to be waited for beyond its current step.
    QCOMPARE(log.debugMessages().filter(QStringLiteral("did not quit")), QStringList());
    QVERIFY(controller.isNull());
    QVERIFY(source.isNull());
}

void TestVTVideo::longClipLoopsAndScrubsWithinItsBudget_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("encoder");
    // Every frame a key frame, and key frames a second apart.
    QTest::newRow("MJPEG in AVI") << QStringLiteral("long.avi") << QStringLiteral("-c:v mjpeg -q:v 2");
    QTest::newRow("H.264 in MP4") << QStringLiteral("long.mp4") << QStringLiteral("-c:v libx264 -g 100");
}

void TestVTVideo::longClipLoopsAndScrubsWithinItsBudget()
{
    QFETCH(QString, name);
    QFETCH(QString, encoder);
    const QString clip = VTTest::makeClip(m_dir, name,
        words("-f lavfi -i testsrc2=size=160x90:rate=100 -frames:v 120 -pix_fmt yuv420p") + encoder.split(' '));
    QVERIFY(!clip.isEmpty());
    Decoder whole;
    QVERIFY(whole.load(clip));
    QTRY_COMPARE_WITH_TIMEOUT(whole.ended, 1, 10000);
    QCOMPARE(whole.source.totalFrameCount(), 120ULL);

    // Room for 12 frames of 120.
    Player player;
    VTVideoSource* source = &player.decoder.source;
    source->setMemoryBudget(12 * whole.source.getFrame(0).sizeInBytes());
    VTVideoController* controller = player.controller;
    // Each frame shown, against the same frame decoded in one go.
    std::mutex mutex;
    QList<unsigned long long> shown;
    QStringList wrong;
    connect(
        controller, &VTVideoController::displayFrame, controller,
        [&] {
            const unsigned long long position = controller->position();
            const VTVideoFrame frame = controller->currentFrame();
            // A seek from the test between the two reads pairs the frame with
            // another position; the seek's own display follows.
            if (controller->position() != position)
                return;
            const double difference = meanChannelDifference(frame, whole.source.getFrame(position));
            std::lock_guard<std::mutex> lock(mutex);
            if (difference > 0.5 || frame.timestamp != position / 100.0)
                wrong.append(QStringLiteral("%1: %2 at %3 s, after %4")
                                 .arg(position)
                                 .arg(difference)
                                 .arg(frame.timestamp)
                                 .arg(shown.isEmpty() ? QStringLiteral("none") : QString::number(shown.last())));
            shown.append(position);
        },
        Qt::DirectConnection);
    auto shownCount = [&] {
        std::lock_guard<std::mutex> lock(mutex);
        return shown.size();
    };
    controller->start();
    QVERIFY(controller->setSource(QUrl::fromLocalFile(clip)));
    controller->play();
    QTRY_COMPARE_WITH_TIMEOUT(player.decoder.ended, 1, 10000);
    QTRY_COMPARE_WITH_TIMEOUT(controller->state(), VTVideoController::stoppedState, 10000);
    QCOMPARE(controller->position(), 119ULL);
    QCOMPARE(controller->frameCount(), 120ULL);
    QCOMPARE(shownCount(), 120);

    // Again from the start, decoded anew; then onto frames far ahead and behind.
    controller->play();
    QTRY_VERIFY_WITH_TIMEOUT(controller->position() >= 40, 5000);
    controller->pause();
    // A frame already on its way when the pause came is still shown, and
    // while paused the frame up is shown again as the decoder catches up:
    // the count must stand still (between two polls, 50 ms apart) before a
    // seek.
    int settled = -1;
    const auto standsStill = [&] {
        const int count = shownCount();
        const bool still = count == settled;
        settled = count;
        return still;
    };
    for (unsigned long long target : { 100ULL, 3ULL }) {
        settled = -1;
        QTRY_VERIFY_WITH_TIMEOUT(standsStill(), 5000);
        const int before = shownCount();
        controller->setPosition(target);
        QTRY_VERIFY_WITH_TIMEOUT(shownCount() > before, 5000);
        std::lock_guard<std::mutex> lock(mutex);
        QCOMPARE(shown.last(), target);
    }
    std::lock_guard<std::mutex> lock(mutex);
    QVERIFY2(wrong.isEmpty(), qPrintable(wrong.join(QLatin1String("; "))));
}

void TestVTVideo::framesKeepToTheSizeShownAndTheBudget_data()
{
    QTest::addColumn<QString>("clip"); // its size, frames and encoder options
    QTest::addColumn<QSize>("shown"); // the size it is shown at; empty: none
    QTest::addColumn<qint64>("budget"); // 0: the default
    QTest::addColumn<QSize>("size"); // of the frames
    QTest::addColumn<int>("held"); // frames held while the playhead stays on the first

    // Rows of 128 pixels need no padding: one frame is 128 x 72 x 3 bytes.
    const qint64 frame = 128 * 72 * 3;
    const QString mjpeg = QStringLiteral("128x72 40 -c:v mjpeg");
    const QString h264 = QStringLiteral("128x72 40 -c:v libx264 -pix_fmt yuv420p");
    const QString huge = QStringLiteral("4000x3000 2 -c:v mjpeg");
    const QSize none, full(128, 72);
    // The decoder's own pictures count against the budget, at most half of
    // it: two frames' worth for MJPEG, whose pictures stand alone, eight for H.264.
    QTest::newRow("MJPEG: 12 frames and 2 pictures") << mjpeg << none << 13 * frame << full << 12;
    QTest::newRow("MJPEG: a byte less") << mjpeg << none << 13 * frame - 1 << full << 11;
    QTest::newRow("H.264: 12 frames and 8 pictures") << h264 << none << 16 * frame << full << 12;
    QTest::newRow("H.264: a byte less") << h264 << none << 16 * frame - 1 << full << 11;
    // No frame takes more than an eighth of the budget.
    QTest::newRow("frames of an eighth of the budget") << mjpeg << none << 8 * frame << full << 7;
    QTest::newRow("a byte less: smaller frames") << mjpeg << none << 8 * frame - 1 << QSize(127, 71) << 7;
    QTest::newRow("H.264: half the budget left to the frames") << h264 << none << 6 * frame << QSize(110, 62) << 3;
    QTest::newRow("huge clip, shown at 320 x 240") << huge << QSize(320, 240) << 0LL << QSize(320, 240) << 2;
    QTest::newRow("huge clip, 8 MiB") << huge << none << qint64(8 << 20) << QSize(682, 512) << 2;
}

void TestVTVideo::framesKeepToTheSizeShownAndTheBudget()
{
    QFETCH(QString, clip);
    QFETCH(QSize, shown);
    QFETCH(qint64, budget);
    QFETCH(QSize, size);
    QFETCH(int, held);
    const QStringList parts = clip.split(QLatin1Char(' '));
    const QString name = parts.at(0) + (clip.contains(QLatin1String("mjpeg")) ? ".avi" : ".mp4");
    const QString path = VTTest::makeClip(m_dir, name,
        words("-f lavfi -i") + QStringList { "testsrc2=size=" + parts.at(0), "-frames:v", parts.at(1) } + parts.mid(2));
    QVERIFY(!path.isEmpty());

    Decoder decoder;
    decoder.source.setTargetSize(shown);
    if (budget)
        decoder.source.setMemoryBudget(budget);
    QVERIFY(decoder.load(path));
    QTRY_VERIFY_WITH_TIMEOUT(decoder.ended || decoder.source.isCacheFull(), 20000);
    QTest::qWait(100);
    QCOMPARE(decoder.source.getFrame(0).size(), size);
    QCOMPARE(int(decoder.source.loadedFrameCount() - decoder.source.firstFrameIndex()), held);
    if (shown.isEmpty())
        return;
    const QString reference = VTTest::makeClip(m_dir, name + QLatin1String(".png"),
        QStringList { QStringLiteral("-i"), path } + words("-frames:v 1 -pix_fmt rgb24 -vf")
            + QStringList { QStringLiteral("scale=%1:%2").arg(shown.width()).arg(shown.height()) });
    const double difference = meanChannelDifference(decoder.source.getFrame(0), QImage(reference));
    QVERIFY2(difference < 6.0, qPrintable(QString::number(difference)));
}

void TestVTVideo::defaultInterfacePlaysClipOnceAndPaintsIt()
{
    const QString package = VTTest::makeUiPackage(m_dir, QStringLiteral("viewdata"), QStringLiteral("Clip.vantles"),
        QString(),
        { { QStringLiteral("clip"), "<title>Clip</title><video source=\"clip.mp4\"/>" },
            { QStringLiteral("missing"), "<title>Gone</title><video source=\"gone.mp4\"/>" },
            { QStringLiteral("plain"), "<title>No clip</title>" } },
        QByteArray());
    QVERIFY(!package.isEmpty());
    QVERIFY(QFile::copy(m_clip25, package + QLatin1String("/Resources/clip.mp4")));

    // Room for 10 of the 25 frames: the clip plays long before it is decoded to its end.
    VTContext context;
    context.set(VTContextVideoMemoryBudget, 10 * 576 * 90);
    auto host
        = std::make_unique<VTTest::RecordingHost>(context, QStringList { m_dir.filePath(QStringLiteral("viewdata")) });
    VTManager* manager = host->manager();
    auto cleanup = qScopeGuard([&host] { host.reset(); });
    QVERIFY(manager->show(QStringLiteral("clip"), QPoint(10, 10), nullptr));
    VTView* view = manager->widget()->view();
    QPointer<VTVideoComponent> video = view->rootObject()->findChild<VTVideoComponent*>(QStringLiteral("video"));
    QVERIFY(video);
    QCOMPARE(video->source(), QStringLiteral("clip.mp4"));
    // Played once as soon as it is decoded; it stops on its last frame.
    QTRY_COMPARE_WITH_TIMEOUT(video->position(), 24LL, 10000);
    QTRY_COMPARE(video->state(), VTVideoComponent::pausedState);
    QCOMPARE(QSizeF(video->width(), video->height()), QSizeF(160, 90));
    QCOMPARE(video->frame().timestamp, 0.96);

    // That frame is what the window shows where the item is.
    const QRect area = video->mapRectToScene(QRectF(0, 0, 160, 90)).toRect();
    QImage picture;
    QTRY_VERIFY((picture = view->grabFramebuffer().copy(area).convertToFormat(QImage::Format_RGB32),
        meanChannelDifference(picture, video->frame()) < 2.0));

    // Other vantles while the clip plays again, in the same item: one whose
    // clip is missing, then one without: the old picture and frames go for good.
    video->play();
    for (const char* key : { "missing", "plain" }) {
        QVERIFY(manager->show(QLatin1String(key), QPoint(10, 10), nullptr));
        QVERIFY(video);
        QTRY_VERIFY(video->frame().isNull() && video->videoSource()->totalFrameCount() == 0);
        QTest::qWait(200);
        QVERIFY(video->frame().isNull());
    }
}

QTEST_MAIN(TestVTVideo)
#include "tst_vtvideo.moc"
