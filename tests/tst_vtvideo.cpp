#include "VTTestHelpers.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTIndex.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTVideoComponent.h>
#include <Vantles/VTVideoController.h>
#include <Vantles/VTVideoFrame.h>
#include <Vantles/VTVideoFrameCache.h>
#include <Vantles/VTVideoSourceFFMPEG.h>
#include <Vantles/VTView.h>
#include <Vantles/VTWidget.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QPointer>
#include <QProcess>
#include <QQuickItem>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include <atomic>
#include <cmath>
#include <memory>

using namespace Vantles;

namespace {

// A test pattern clip of the given size, rate and frame count.
QStringList pattern(const char* source, int frames, const QStringList& encoder)
{
    return QStringList { QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
        QString::fromLatin1(source), QStringLiteral("-frames:v"), QString::number(frames) }
    + encoder;
}

const char* const smallPattern = "testsrc2=size=160x90:rate=25";

// The number of pictures ffprobe decodes from the first video stream.
int probeFrameCount(const QString& path)
{
    QProcess process;
    process.start(QStandardPaths::findExecutable(QStringLiteral("ffprobe")),
        { QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-count_frames"),
            QStringLiteral("-select_streams"), QStringLiteral("v:0"), QStringLiteral("-show_entries"),
            QStringLiteral("stream=nb_read_frames"), QStringLiteral("-of"), QStringLiteral("csv=p=0"), path });
    if (!process.waitForFinished(60000))
        return -1;
    bool ok = false;
    const int count = process.readAllStandardOutput().trimmed().toInt(&ok);
    return ok ? count : -1;
}

// Mean absolute difference per colour channel between two images of one size.
double meanChannelDifference(const QImage& a, const QImage& b)
{
    const QImage x = a.convertToFormat(QImage::Format_RGB32);
    const QImage y = b.convertToFormat(QImage::Format_RGB32);
    double sum = 0;
    for (int row = 0; row < x.height(); ++row) {
        auto p = reinterpret_cast<const QRgb*>(x.constScanLine(row));
        auto q = reinterpret_cast<const QRgb*>(y.constScanLine(row));
        for (int col = 0; col < x.width(); ++col) {
            sum += std::abs(qRed(p[col]) - qRed(q[col])) + std::abs(qGreen(p[col]) - qGreen(q[col]))
                + std::abs(qBlue(p[col]) - qBlue(q[col]));
        }
    }
    return sum / (3.0 * x.width() * x.height());
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
    void frameCopiesShareImageAndKeepTimestamp();
    void cacheCountsFramesAndAnswersNullPastTheEnd();
    void sourceRefusesInvalidOrCurrentUrl();
    void decodesEveryFrameWithItsTimeAndPixels_data();
    void decodesEveryFrameWithItsTimeAndPixels();
    void unplayableFileIsReported_data();
    void unplayableFileIsReported();
    void controllerPositionsOnDecodedFramesOnly();
    void controllerPacesAtFrameRateAndRestartsAtEnd();
    void streamEndWhileScrubbingKeepsPlaying();
    void newItemIsPausedAtStartWithDefaultSize();
    void itemStateAndRewindGoThroughController();
    void destroyingPlayingItemEndsBothThreads();
    void itemInViewDecodesAndPaintsClip();

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
    m_clip25 = VTTest::makeClip(m_dir, QStringLiteral("clip25.mp4"),
        pattern(smallPattern, 25,
            { QStringLiteral("-c:v"), QStringLiteral("libx264"), QStringLiteral("-pix_fmt"),
                QStringLiteral("yuv420p") }));
    QVERIFY(!m_clip25.isEmpty());
    m_clip101 = VTTest::makeClip(m_dir, QStringLiteral("clip101.avi"),
        pattern(smallPattern, 101, { QStringLiteral("-c:v"), QStringLiteral("mjpeg") }));
    QVERIFY(!m_clip101.isEmpty());
}

void TestVTVideo::frameCopiesShareImageAndKeepTimestamp()
{
    QCOMPARE(VTVideoFrame().isNull(), true);
    QCOMPARE(VTVideoFrame().timestamp, 0.0);

    QImage image(4, 3, QImage::Format_RGB32);
    image.fill(Qt::red);
    VTVideoFrame shared(image, 7);
    QCOMPARE(shared.timestamp, 7.0);
    QCOMPARE(shared.constBits(), image.constBits());

    VTVideoFrame fresh(5, 6, QImage::Format_RGB32, 2);
    QCOMPARE(fresh.size(), QSize(5, 6));
    QCOMPARE(fresh.format(), QImage::Format_RGB32);
    fresh.timestamp = 0.25;
    VTVideoFrame copy(fresh);
    QCOMPARE(copy.timestamp, 0.25);
    QCOMPARE(copy.constBits(), fresh.constBits());
    VTVideoFrame assigned;
    assigned = shared;
    QCOMPARE(assigned.timestamp, 7.0);
    QCOMPARE(assigned.pixel(0, 0), QColor(Qt::red).rgb());
}

void TestVTVideo::cacheCountsFramesAndAnswersNullPastTheEnd()
{
    VTVideoFrameCache cache(QStringLiteral("file:///clip.mp4"));
    QCOMPARE(cache.path(), QStringLiteral("file:///clip.mp4"));
    QCOMPARE(cache.length(), 0ULL);

    VTVideoFrame first(2, 2, QImage::Format_RGB32, 0);
    first.fill(Qt::blue);
    cache.addFrame(first);
    QCOMPARE(cache.length(), 1ULL);
    QCOMPARE(cache.frame(0).pixel(1, 1), QColor(Qt::blue).rgb());
    QVERIFY(cache.frame(1).isNull());
    QVERIFY(cache.frame(~0ULL).isNull());

    VTVideoFrame second(3, 1, QImage::Format_RGB32, 0);
    second.timestamp = 0.04;
    cache.addFrame(second);
    QCOMPARE(cache.length(), 2ULL);
    QCOMPARE(cache.frame(1).timestamp, 0.04);
    QCOMPARE(cache.frame(1).size(), QSize(3, 1));
    QCOMPARE(cache.frame(0).timestamp, 0.0);
}

void TestVTVideo::sourceRefusesInvalidOrCurrentUrl()
{
    VTVideoSourceFFMPEG source(nullptr);
    QCOMPARE(source.frameWidth(), 200.0);
    QCOMPARE(source.frameHeight(), 150.0);
    QCOMPARE(source.totalFrameCount(), 0ULL);
    QCOMPARE(source.loadedFrameCount(), 0ULL);
    QVERIFY(!source.isFrameAvailable(0));
    QVERIFY(source.getFrame(0).isNull());
    QVERIFY(!source.isOpen());

    QVERIFY(!source.setSource(QUrl()));
    QVERIFY(!source.setSource(QUrl(QStringLiteral("http://[bad"))));
    // Not started: the change stays queued until the thread applies it.
    const QUrl url = QUrl::fromLocalFile(m_clip25);
    QVERIFY(source.setSource(url));
    source.processActionQueue();
    QCOMPARE(source.source(), url);
    QCOMPARE(source.action(), VTVideoSource::loadAction);
    QVERIFY(!source.setSource(url));
}

void TestVTVideo::decodesEveryFrameWithItsTimeAndPixels_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("encoder");
    QTest::addColumn<int>("cutToPercent");

    const QString codec = QStringLiteral("-c:v");
    QTest::newRow("H.264 in MP4") << QStringLiteral("h264.mp4")
                                  << QStringList { codec, QStringLiteral("libx264"), QStringLiteral("-pix_fmt"),
                                         QStringLiteral("yuv420p") }
                                  << 100;
    QTest::newRow("MPEG-4 ASP (mpeg4) in AVI")
        << QStringLiteral("mpeg4.avi")
        << QStringList { codec, QStringLiteral("mpeg4"), QStringLiteral("-q:v"), QStringLiteral("2") } << 100;
    QTest::newRow("VP8 in WebM") << QStringLiteral("vp8.webm")
                                 << QStringList { codec, QStringLiteral("libvpx"), QStringLiteral("-b:v"),
                                        QStringLiteral("1M"), QStringLiteral("-deadline"), QStringLiteral("realtime") }
                                 << 100;
    QTest::newRow("MJPEG in MKV") << QStringLiteral(
        "mjpeg.mkv") << QStringList { codec, QStringLiteral("mjpeg"), QStringLiteral("-q:v"), QStringLiteral("2") }
                                  << 100;
    // Cut in half: the file ends in the middle of a cluster, which counts as
    // the end of the stream.
    QTest::newRow("truncated H.264 in MKV")
        << QStringLiteral("cut.mkv")
        << QStringList { codec, QStringLiteral("libx264"), QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p") }
        << 50;
}

void TestVTVideo::decodesEveryFrameWithItsTimeAndPixels()
{
    QFETCH(QString, name);
    QFETCH(QStringList, encoder);
    QFETCH(int, cutToPercent);

    QString path = VTTest::makeClip(m_dir, name, pattern(smallPattern, 25, encoder));
    QVERIFY(!path.isEmpty());
    if (cutToPercent < 100) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.resize(file.size() * cutToPercent / 100));
    }
    const int expected = probeFrameCount(path);
    QVERIFY(expected > 0);
    if (cutToPercent == 100)
        QCOMPARE(expected, 25);
    else
        QVERIFY(expected < 25);
    const QString reference = VTTest::makeClip(m_dir, name + QLatin1String(".png"),
        { QStringLiteral("-i"), path, QStringLiteral("-frames:v"), QStringLiteral("1"), QStringLiteral("-pix_fmt"),
            QStringLiteral("rgb24") });
    QVERIFY(!reference.isEmpty());

    VTTest::MessageLog log;
    Decoder decoder;
    QVERIFY(decoder.load(path));
    QTRY_COMPARE_WITH_TIMEOUT(decoder.ended, 1, 10000);
    QCOMPARE(decoder.source.totalFrameCount(), (unsigned long long)expected);
    QVERIFY(!decoder.source.isOpen());
    QCOMPARE(decoder.source.frameRate(), 25.0);
    QCOMPARE(decoder.source.frameWidth(), 160.0);
    QCOMPARE(decoder.source.frameHeight(), 90.0);
    for (int n = 0; n < expected; ++n) {
        const VTVideoFrame frame = decoder.source.getFrame(n);
        QCOMPARE(frame.size(), QSize(160, 90));
        QCOMPARE(frame.format(), QImage::Format_RGB32);
        QVERIFY2(qFuzzyCompare(1.0 + frame.timestamp, 1.0 + n / 25.0), qPrintable(QString::number(n)));
    }
    QVERIFY(decoder.source.getFrame(expected).isNull());
    const double difference = meanChannelDifference(decoder.source.getFrame(0), QImage(reference));
    QVERIFY2(difference < 2.0, qPrintable(QString::number(difference)));
    // The pattern moves: the last frame is a different picture.
    QVERIFY(meanChannelDifference(decoder.source.getFrame(0), decoder.source.getFrame(expected - 1)) > 2.0);

    // The end is reported once; the decoder goes idle with every frame kept.
    QTest::qWait(300);
    QCOMPARE(decoder.ended, 1);
    QCOMPARE(decoder.source.action(), VTVideoSource::idleAction);
    QCOMPARE(decoder.source.totalFrameCount(), (unsigned long long)expected);
    QCOMPARE(log.debugMessages(), QStringList());
}

void TestVTVideo::unplayableFileIsReported_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("message");
    QTest::addColumn<double>("width");

    const QString missing = m_dir.filePath(QStringLiteral("missing.mp4"));
    QTest::newRow("missing file") << missing << QStringLiteral("Could not open media at: %1").arg(missing) << 200.0;

    const QString tone = VTTest::makeClip(m_dir, QStringLiteral("tone.wav"),
        { QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
            QStringLiteral("sine=frequency=440:duration=0.5") });
    QTest::newRow("audio only") << tone << QStringLiteral("Could not find a video stream in %1").arg(tone) << 200.0;

    const QString text = VTTest::writeFile(m_dir, QStringLiteral("notes.txt"), "Not a clip at all.\nSecond line.\n");
    QTest::newRow("text file") << text << QStringLiteral("Could not open media at: %1").arg(text) << 200.0;

    // An MP4 written in one pass keeps its index at the end: without it
    // the file does not open at all.
    const QString whole = VTTest::makeClip(m_dir, QStringLiteral("whole.mp4"),
        pattern(smallPattern, 25, { QStringLiteral("-c:v"), QStringLiteral("libx264") }));
    const QString cut = m_dir.filePath(QStringLiteral("cut.mp4"));
    QFile::copy(whole, cut);
    QFile file(cut);
    if (file.open(QIODevice::ReadWrite))
        file.resize(file.size() / 2);
    QTest::newRow("truncated MP4") << cut << QStringLiteral("Could not open media at: %1").arg(cut) << 200.0;
}

void TestVTVideo::unplayableFileIsReported()
{
    QFETCH(QString, path);
    QFETCH(QString, message);
    QFETCH(double, width);
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
    QCOMPARE(decoder.source.frameWidth(), width);
    QTest::qWait(200);
    QCOMPARE(log.debugMessages().size(), 1);
    QCOMPARE(decoder.ended, 0);
    QCOMPARE(loaded.count(), 0);
}

void TestVTVideo::controllerPositionsOnDecodedFramesOnly()
{
    Player player;
    VTVideoController* controller = player.controller;
    QVERIFY(std::isnan(controller->loadProgress()));
    QCOMPARE(controller->progress(), 0.0);
    QCOMPARE(controller->frameWidth(), 200.0);
    controller->setPosition(3);
    QCOMPARE(controller->position(), ~0ULL);

    QSignalSpy sizeChanged(controller, &VTVideoController::widthChanged);
    QVERIFY(controller->setSource(QUrl::fromLocalFile(m_clip101)));
    QCOMPARE(controller->position(), 0ULL);
    QTRY_COMPARE_WITH_TIMEOUT(player.decoder.ended, 1, 10000);
    QVERIFY(!controller->setSource(QUrl::fromLocalFile(m_clip101)));
    QCOMPARE(sizeChanged.count(), 1);
    QCOMPARE(controller->frameCount(), 101ULL);
    QCOMPARE(controller->frameWidth(), 160.0);
    QCOMPARE(controller->frameHeight(), 90.0);
    QCOMPARE(controller->loadProgress(), 1.0);
    QCOMPARE(controller->state(), VTVideoController::stoppedState);

    controller->setProgress(0.5);
    QCOMPARE(controller->position(), 50ULL);
    QCOMPARE(controller->progress(), 50.0 / 101.0);
    controller->setProgress(1.0);
    QCOMPARE(controller->position(), 100ULL);
    controller->setPosition(500);
    QCOMPARE(controller->position(), 100ULL);
    QCOMPARE(controller->currentFrame().timestamp, 4.0);
    QCOMPARE(controller->getFrame(25).timestamp, 1.0);
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
    const qint64 elapsed = timer.elapsed();
    QVERIFY2(elapsed >= 500 && elapsed <= 2000, qPrintable(QString::number(elapsed)));

    // At the end it stops one past the last frame.
    QTRY_COMPARE_WITH_TIMEOUT(controller->state(), VTVideoController::stoppedState, 5000);
    QCOMPARE(controller->position(), 25ULL);
    QVERIFY(controller->currentFrame().isNull());

    controller->play();
    QVERIFY(controller->position() <= 1);
    QTRY_VERIFY_WITH_TIMEOUT(controller->position() >= 5, 5000);
    controller->pause();
    QCOMPARE(controller->state(), VTVideoController::stoppedState);
}

void TestVTVideo::streamEndWhileScrubbingKeepsPlaying()
{
    Player player;
    VTVideoController* controller = player.controller;
    QSignalSpy loadProgress(controller, &VTVideoController::loadProgressChanged);
    controller->setState(VTVideoController::runningState);
    controller->setScrubbing(true);
    QVERIFY(controller->isScrubbing());
    controller->streamEnded();
    QCOMPARE(controller->state(), VTVideoController::runningState);
    QCOMPARE(loadProgress.count(), 1);

    controller->setScrubbing(false);
    controller->streamEnded();
    QCOMPARE(controller->state(), VTVideoController::stoppedState);
    QCOMPARE(loadProgress.count(), 2);
}

void TestVTVideo::newItemIsPausedAtStartWithDefaultSize()
{
    VTVideoComponent item;
    QCOMPARE(item.state(), VTVideoComponent::pausedState);
    QCOMPARE(item.position(), 0);
    QCOMPARE(item.progress(), 0.0);
    QCOMPARE(item.contentWidth(), 200.0);
    QCOMPARE(item.contentHeight(), 150.0);
    QVERIFY(item.frame().isNull());
    QVERIFY(item.controller()->isRunning());
    QVERIFY(item.videoSource()->isRunning());
    // Outside a window there is no view to resolve a name.
    item.setSource(QStringLiteral("clip.mp4"));
    QCOMPARE(item.source(), QString());
}

void TestVTVideo::itemStateAndRewindGoThroughController()
{
    VTVideoComponent item;
    QSignalSpy state(&item, &VTVideoComponent::stateChanged);
    QSignalSpy position(&item, &VTVideoComponent::positionChanged);
    QSignalSpy progress(&item, &VTVideoComponent::progressChanged);
    QSignalSpy scrubbing(&item, &VTVideoComponent::scrubbingChanged);

    item.setState(VTVideoComponent::playingState);
    QCOMPARE(item.state(), VTVideoComponent::playingState);
    QVERIFY(state.count() >= 1);
    item.setState(VTVideoComponent::resetState);
    QCOMPARE(item.state(), VTVideoComponent::pausedState);

    item.setScrubbing(true);
    QVERIFY(item.scrubbing());
    item.setState(VTVideoComponent::playingState);
    item.setState(VTVideoComponent::resetState);
    QCOMPARE(item.state(), VTVideoComponent::playingState);
    item.setScrubbing(false);
    QCOMPARE(scrubbing.count(), 0);

    position.clear();
    progress.clear();
    item.rewindToStart();
    QCOMPARE(item.state(), VTVideoComponent::pausedState);
    QVERIFY(position.count() >= 1);
    QVERIFY(progress.count() >= 1);
    QCOMPARE(item.progress(), 0.0);
}

void TestVTVideo::destroyingPlayingItemEndsBothThreads()
{
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
    QVERIFY(controller->setSource(QUrl::fromLocalFile(m_clip101)));
    QTRY_COMPARE_WITH_TIMEOUT(ended, 1, 10000);
    QCOMPARE(controller->frameCount(), 101ULL);
    item->play();
    QTRY_VERIFY_WITH_TIMEOUT(item->position() >= 2, 5000);
    QCOMPARE(item->state(), VTVideoComponent::playingState);

    delete item;
    QCOMPARE(finished.load(), 2);
    QVERIFY(controller.isNull());
    QVERIFY(source.isNull());
}

void TestVTVideo::itemInViewDecodesAndPaintsClip()
{
    const QByteArray qml = "import QtQuick 2.15\n"
                           "import com.zelvane.vantles.qml 1.0\n"
                           "Item {\n"
                           "    width: 200; height: 150\n"
                           "    VTVideoComponent { objectName: \"video\"; source: \"clip.mp4\";"
                           " width: contentWidth; height: contentHeight }\n"
                           "}\n";
    const QString package = VTTest::makeUiPackage(m_dir, QStringLiteral("viewdata"), QStringLiteral("Clip.vantles"),
        QString(), { { QStringLiteral("k"), "<title>Clip</title>" } }, qml);
    QVERIFY(!package.isEmpty());
    QVERIFY(QFile::copy(m_clip25, package + QLatin1String("/Resources/clip.mp4")));

    VTContext context;
    auto host
        = std::make_unique<VTTest::RecordingHost>(context, QStringList { m_dir.filePath(QStringLiteral("viewdata")) });
    VTManager* manager = host->manager();
    // The library leaves its index and the last window (deleted later) to the host.
    std::unique_ptr<VTIndex> index(manager->index());
    auto cleanup = qScopeGuard([&host] {
        host.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    });
    QVERIFY(manager->show(QStringLiteral("k"), QPoint(10, 10), nullptr));
    VTView* view = manager->widget()->view();
    QVERIFY(view->rootObject());
    auto video = view->rootObject()->findChild<VTVideoComponent*>(QStringLiteral("video"));
    QVERIFY(video);
    QCOMPARE(video->source(), QStringLiteral("clip.mp4"));
    QTRY_VERIFY_WITH_TIMEOUT(!video->frame().isNull(), 10000);
    QCOMPARE(video->frame().size(), QSize(160, 90));
    QTRY_COMPARE(video->contentWidth(), 160.0);
    QCOMPARE(video->contentHeight(), 90.0);
    QTRY_COMPARE(video->width(), 160.0);
    QCOMPARE(video->state(), VTVideoComponent::pausedState);
}

QTEST_MAIN(TestVTVideo)
#include "tst_vtvideo.moc"
