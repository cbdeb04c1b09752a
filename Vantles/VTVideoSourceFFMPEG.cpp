#include "VTVideoSourceFFMPEG.h"

#include <QDebug>
#include <QFileInfo>
#include <QMutexLocker>
#include <QRecursiveMutex>
#include <QRegularExpression>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libavutil/time.h>
#include <libswscale/swscale.h>
}

namespace Vantles {

static bool VTVideoSourceFFMPEGInitialized = false;

class VTVideoSourceFFMPEGPrivate {
public:
    explicit VTVideoSourceFFMPEGPrivate(VTVideoSourceFFMPEG* q)
        : q(q)
    {
    }
    ~VTVideoSourceFFMPEGPrivate()
    {
        close();
        sws_freeContext(swsContext);
        av_packet_free(&packet);
    }

    bool load();
    bool readFrame();
    void close();
    double synchronizeVideo(double pts);
    // Reports @p message (with the path for %1) and FFmpeg's @p error, and
    // closes the media.
    bool fail(const char* message, int error = 0);

    VTVideoSourceFFMPEG* q;
    QString path;
    AVFormatContext* formatContext = nullptr;
    AVCodecContext* codecContext = nullptr;
    const AVCodec* codec = nullptr;
    AVFrame* frame = nullptr;
    // Describes the planes of the frame being converted into: the image's own.
    AVStream* videoStream = nullptr;
    AVPacket* packet = nullptr;
    int videoStreamIndex = -1;
    SwsContext* swsContext = nullptr;
    double videoClock = 0.0;
    bool seekRequested = false;
    int64_t seekTarget = 0;
    double progress = 0.0;
    double duration = 0.0;
    double timeBase = 0.0;
    double frameRate = 0.0;
    int seekFlags = 0;
    bool ended = false;
    // The decoder has been sent the end of the stream and is giving back
    // the pictures it still holds.
    bool draining = false;
    // The last known picture size; kept after the media is closed.
    int width = 200;
    int height = 150;
    mutable QRecursiveMutex mutex;
};

static double toDouble(AVRational r)
{
    return r.den ? double(r.num) / double(r.den) : 0.0;
}

bool VTVideoSourceFFMPEGPrivate::fail(const char* message, int error)
{
    qDebug() << QString::fromLatin1(message).arg(path);
    close();
    static const QRegularExpression place(QStringLiteral("\\s+(at:|in:|in|for)\\s+%1$"));
    QString what = QString::fromLatin1(message).remove(place);
    what[0] = what.at(0).toLower();
    QString reason = QStringLiteral("This clip cannot be played: %1").arg(what);
    if (error < 0) {
        char text[AV_ERROR_MAX_STRING_SIZE] = {};
        av_strerror(error, text, sizeof text);
        reason += QStringLiteral(" (%1)").arg(QString::fromLocal8Bit(text));
    }
    Q_EMIT q->sourceFailed(path, reason + QLatin1Char('.'));
    return false;
}

bool VTVideoSourceFFMPEGPrivate::load()
{
    close();
    QMutexLocker locker(&mutex);

    formatContext = avformat_alloc_context();
    if (const int error = avformat_open_input(&formatContext, path.toUtf8().constData(), nullptr, nullptr); error < 0)
        return fail("Could not open media at: %1", error);
    if (const int error = avformat_find_stream_info(formatContext, nullptr); error < 0)
        return fail("Could not find any stream information in media at: %1", error);

    videoStreamIndex = -1;
    const AVCodec* found = nullptr;
    videoStreamIndex = av_find_best_stream(formatContext, AVMEDIA_TYPE_VIDEO, -1, -1, &found, 0);
    if (videoStreamIndex < 0 || !found)
        return fail("Could not find a video stream in %1");
    codec = found;
    videoStream = formatContext->streams[videoStreamIndex];

    codecContext = avcodec_alloc_context3(codec);
    if (codecContext) {
        // The clip is decoded ahead on the source's own thread already: no
        // threads of the decoder's on top of it, for every clip shown.
        codecContext->thread_count = 1;
    }
    if (!codecContext || avcodec_parameters_to_context(codecContext, videoStream->codecpar) < 0
        || avcodec_open2(codecContext, codec, nullptr) < 0)
        return fail("Could not open codec for stream in: %1");

    frame = av_frame_alloc();
    if (!frame)
        return fail("Could not allocate original frame in %1");
    if (!packet)
        packet = av_packet_alloc();

    // RGB32 is the layout of QImage::Format_RGB32, so pictures are converted
    // straight into the frame's own pixels.
    swsContext = sws_getCachedContext(swsContext, codecContext->width, codecContext->height, codecContext->pix_fmt,
        codecContext->width, codecContext->height, AV_PIX_FMT_RGB32, SWS_BICUBIC, nullptr, nullptr, nullptr);
    if (!swsContext || !packet)
        return fail("Could not get a swscale context for %1");

    width = codecContext->width;
    height = codecContext->height;
    duration = videoStream->duration != AV_NOPTS_VALUE
        ? double(videoStream->duration) * toDouble(videoStream->time_base)
        : double(formatContext->duration) / AV_TIME_BASE;
    timeBase = toDouble(codecContext->time_base);
    frameRate = toDouble(videoStream->r_frame_rate);
    ended = false;
    draining = false;
    return true;
}

void VTVideoSourceFFMPEGPrivate::close()
{
    QMutexLocker locker(&mutex);
    av_frame_free(&frame);
    avcodec_free_context(&codecContext);
    codec = nullptr;
    if (formatContext)
        avformat_close_input(&formatContext);
    avformat_free_context(formatContext);
    formatContext = nullptr;
    videoStream = nullptr;
}

double VTVideoSourceFFMPEGPrivate::synchronizeVideo(double pts)
{
    QMutexLocker locker(&mutex);
    if (pts != 0.0)
        videoClock = pts;
    else
        pts = videoClock;
    const double frameDelay = frameRate > 0 ? 1.0 / frameRate : 0.0;
    // Pictures converted here never repeat a field, so the clock moves by
    // exactly one frame period.
    videoClock = pts + frameDelay;
    return pts;
}

bool VTVideoSourceFFMPEGPrivate::readFrame()
{
    for (;;) {
        QMutexLocker locker(&mutex);
        if (!formatContext) {
            locker.unlock();
            if (q->action() != VTVideoSource::idleAction)
                q->setAction(VTVideoSource::idleAction);
            return false;
        }

        const int received = avcodec_receive_frame(codecContext, frame);
        if (received == 0) {
            // swscale's vector code writes whole blocks: with rows of
            // width * 4 bytes it garbles the last pixels of a row whose size
            // is not a multiple of the block. Rows of 64-byte multiples in a
            // buffer of av_malloc()'s alignment come out right.
            const qsizetype stride = (qsizetype(frame->width) * 4 + 63) / 64 * 64;
            auto pixels = static_cast<uchar*>(av_malloc(size_t(stride) * size_t(qMax(frame->height, 0))));
            VTVideoFrame image;
            if (pixels) {
                image = VTVideoFrame(QImage(pixels, frame->width, frame->height, stride, QImage::Format_RGB32,
                                         [](void* data) { av_free(data); }, pixels),
                    0);
            }
            swsContext = sws_getCachedContext(swsContext, frame->width, frame->height, AVPixelFormat(frame->format),
                frame->width, frame->height, AV_PIX_FMT_RGB32, SWS_BICUBIC, nullptr, nullptr, nullptr);
            bool converted = false;
            if (swsContext && !image.isNull()) {
                uint8_t* planes[4] = { pixels, nullptr, nullptr, nullptr };
                const int strides[4] = { int(stride), 0, 0, 0 };
                sws_scale(swsContext, frame->data, frame->linesize, 0, frame->height, planes, strides);
                converted = true;
            }
            av_frame_unref(frame);
            locker.unlock();
            if (!converted)
                continue;

            const double pts = synchronizeVideo(0.0);
            locker.relock();
            progress = duration > 0 ? pts / duration : 0.0;
            locker.unlock();
            image.timestamp = pts;
            q->pushFrame(image);
            return true;
        }
        if (received == AVERROR_EOF || draining) {
            // Every picture is out: the clip is complete in the cache.
            ended = true;
            locker.unlock();
            close();
            q->notifyStreamEnded();
            continue;
        }

        const int read = av_read_frame(formatContext, packet);
        if (read < 0) {
            // The end of the file, or a read error treated as one: ask the
            // decoder for the pictures it still holds.
            avcodec_send_packet(codecContext, nullptr);
            draining = true;
            continue;
        }
        if (packet->stream_index == videoStreamIndex)
            avcodec_send_packet(codecContext, packet);
        av_packet_unref(packet);
    }
}

VTVideoSourceFFMPEG::VTVideoSourceFFMPEG(QObject* parent)
    : VTVideoSource(parent)
    , d(new VTVideoSourceFFMPEGPrivate(this))
{
    setObjectName(QStringLiteral("FFMPEG"));
    if (!VTVideoSourceFFMPEGInitialized) {
        VTVideoSourceFFMPEGInitialized = true;
        av_log_set_level(AV_LOG_QUIET);
    }
}

VTVideoSourceFFMPEG::~VTVideoSourceFFMPEG()
{
    // The run loop uses this object's decoder: stop it before that goes.
    quit();
}

void VTVideoSourceFFMPEG::close()
{
    d->close();
    VTVideoSource::close();
}

bool VTVideoSourceFFMPEG::isOpen()
{
    QMutexLocker locker(&d->mutex);
    return d->formatContext != nullptr;
}

double VTVideoSourceFFMPEG::getTime()
{
    return double(av_gettime()) / 1000000.0;
}

void VTVideoSourceFFMPEG::changeSetPosition(unsigned long long position)
{
    {
        QMutexLocker locker(&d->mutex);
        if (d->videoStream && d->formatContext && d->frameRate > 0) {
            const double seconds = double(position) / d->frameRate;
            const double oldClock = d->videoClock;
            d->videoClock = seconds;
            const int flags = oldClock > seconds ? AVSEEK_FLAG_BACKWARD : 0;
            const double streamTimeBase = toDouble(d->videoStream->time_base);
            const auto target = int64_t(streamTimeBase > 0 ? d->videoClock / streamTimeBase : 0);
            av_seek_frame(d->formatContext, d->videoStreamIndex, target, flags);
            avcodec_flush_buffers(d->codecContext);
            d->ended = false;
            d->draining = false;
        } else {
            d->videoClock = 0.0;
            d->progress = 0;
        }
    }
    Q_EMIT positionChanged();
}

double VTVideoSourceFFMPEG::duration()
{
    QMutexLocker locker(&d->mutex);
    return d->duration;
}

double VTVideoSourceFFMPEG::timeBase()
{
    QMutexLocker locker(&d->mutex);
    return d->timeBase;
}

double VTVideoSourceFFMPEG::frameRate()
{
    QMutexLocker locker(&d->mutex);
    return d->frameRate;
}

double VTVideoSourceFFMPEG::frameWidth() const
{
    QMutexLocker locker(&d->mutex);
    return d->width;
}

double VTVideoSourceFFMPEG::frameHeight() const
{
    QMutexLocker locker(&d->mutex);
    return d->height;
}

double VTVideoSourceFFMPEG::position()
{
    return 0;
}

double VTVideoSourceFFMPEG::progress()
{
    QMutexLocker locker(&d->mutex);
    return d->progress;
}

bool VTVideoSourceFFMPEG::loadSource()
{
    const QUrl url = source();
    if (url.isEmpty()) {
        {
            QMutexLocker locker(&d->mutex);
            d->path = QString();
        }
        setAction(idleAction);
        close();
        return false;
    }
    setupSource();
    {
        QMutexLocker locker(&d->mutex);
        d->path = url.toLocalFile();
    }
    if (d->load()) {
        const bool loaded = VTVideoSource::loadSource();
        setAction(decodeAction);
        return loaded;
    }
    setAction(idleAction);
    return false;
}

void VTVideoSourceFFMPEG::run()
{
    while (!shouldQuit()) {
        processActionQueue();
        switch (action()) {
        case stopAction:
            return;
        case loadAction:
            loadSource();
            break;
        case closeAction:
            close();
            setAction(idleAction);
            break;
        case seekAction: {
            QMutexLocker locker(&d->mutex);
            if (d->formatContext) {
                av_seek_frame(d->formatContext, d->videoStreamIndex, d->seekTarget, d->seekFlags);
                d->seekRequested = false;
            } else {
                locker.unlock();
                setAction(idleAction);
            }
            break;
        }
        case decodeAction:
            if (!d->readFrame())
                setAction(idleAction);
            break;
        case idleAction:
            waitForChange(100);
            break;
        default:
            break;
        }
    }
}

} // namespace Vantles
