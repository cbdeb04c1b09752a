// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTVideoDecoderFFMPEG.h"

#include <QDebug>
#include <QMutexLocker>
#include <QRegularExpression>

#include <cmath>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

namespace Vantles {

// The FFmpeg state is used by the source's thread alone (and by the
// destructor once that has ended); the lock guards what other threads read.
class VTVideoDecoderFFMPEGPrivate {
public:
    explicit VTVideoDecoderFFMPEGPrivate(VTVideoDecoderHost* host)
        : host(host)
    {
    }
    ~VTVideoDecoderFFMPEGPrivate()
    {
        close();
        sws_freeContext(swsContext);
        av_packet_free(&packet);
    }

    bool load();
    bool readFrame();
    void close();
    // Reports @p message (with the path for %1) and FFmpeg's @p error, and
    // closes the media.
    bool fail(const char* message, int error = 0);
    // The size frames are converted to: at most the target size and an
    // eighth of the budget, keeping the clip's proportions.
    QSize outputSize() const;
    // The largest reduction of the decoder's own (where it has one) that
    // still gives pictures of at least outputSize().
    int wantedLowres() const;
    // The index in the clip of the picture in frame.
    unsigned long long pictureIndex();
    bool convert(QImage* image);

    VTVideoDecoderHost* host;
    QString path;
    AVFormatContext* formatContext = nullptr;
    AVCodecContext* codecContext = nullptr;
    const AVCodec* codec = nullptr;
    AVFrame* frame = nullptr;
    AVStream* videoStream = nullptr;
    AVPacket* packet = nullptr;
    int videoStreamIndex = -1;
    SwsContext* swsContext = nullptr;
    int lowres = 0;
    // The index the next picture gets when it is not taken from its time,
    // and the first index wanted after a change of position.
    unsigned long long nextIndex = 0;
    unsigned long long skipTo = 0;
    bool indexFromTime = false;
    // The decoder has been sent the end of the stream and is giving back
    // the pictures it still holds.
    bool draining = false;
    QSize converted; // the smallest frame decoded since the window started
    QSize target; // the target size they were converted for

    mutable QMutex mutex;
    bool open = false;
    double progress = 0.0;
    double duration = 0.0;
    double timeBase = 0.0;
    double frameRate = 0.0;
    // The clip's picture size; kept after the media is closed.
    int width = 200;
    int height = 150;
};

static double toDouble(AVRational r)
{
    return r.den ? double(r.num) / double(r.den) : 0.0;
}

bool VTVideoDecoderFFMPEGPrivate::fail(const char* message, int error)
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
    host->failed(path, reason + QLatin1Char('.'));
    return false;
}

QSize VTVideoDecoderFFMPEGPrivate::outputSize() const
{
    QSize size;
    {
        QMutexLocker locker(&mutex);
        size = QSize(width, height);
    }
    const QSize bound = host->targetSize();
    if (!bound.isEmpty() && (size.width() > bound.width() || size.height() > bound.height()))
        size = size.scaled(bound, Qt::KeepAspectRatio);
    // One frame takes at most an eighth of the budget, so that a window of
    // frames fits whatever the clip's size.
    const double pixels = double(host->memoryBudget()) / 8.0 / 3.0;
    const double area = double(size.width()) * double(size.height());
    if (area > pixels) {
        const double factor = std::sqrt(pixels / area);
        size = QSize(int(size.width() * factor), int(size.height() * factor));
    }
    return size.expandedTo(QSize(1, 1));
}

int VTVideoDecoderFFMPEGPrivate::wantedLowres() const
{
    if (!codec || !videoStream)
        return 0;
    const QSize wanted = outputSize();
    const int w = videoStream->codecpar->width, h = videoStream->codecpar->height;
    int level = 0;
    while (level < codec->max_lowres && (w >> (level + 1)) >= wanted.width() && (h >> (level + 1)) >= wanted.height())
        ++level;
    return level;
}

bool VTVideoDecoderFFMPEGPrivate::load()
{
    close();
    formatContext = avformat_alloc_context();
    if (const int error = avformat_open_input(&formatContext, path.toUtf8().constData(), nullptr, nullptr); error < 0)
        return fail("Could not open media at: %1", error);
    if (const int error = avformat_find_stream_info(formatContext, nullptr); error < 0)
        return fail("Could not find any stream information in media at: %1", error);

    const AVCodec* found = nullptr;
    videoStreamIndex = av_find_best_stream(formatContext, AVMEDIA_TYPE_VIDEO, -1, -1, &found, 0);
    if (videoStreamIndex < 0 || !found)
        return fail("Could not find a video stream in %1");
    codec = found;
    videoStream = formatContext->streams[videoStreamIndex];
    {
        QMutexLocker locker(&mutex);
        width = qMax(videoStream->codecpar->width, 1);
        height = qMax(videoStream->codecpar->height, 1);
        duration = videoStream->duration != AV_NOPTS_VALUE
            ? double(videoStream->duration) * toDouble(videoStream->time_base)
            : double(formatContext->duration) / AV_TIME_BASE;
        frameRate = toDouble(videoStream->r_frame_rate);
    }

    codecContext = avcodec_alloc_context3(codec);
    if (codecContext) {
        // The clip is decoded ahead on the source's own thread already: no
        // threads of the decoder's on top of it, for every clip shown.
        codecContext->thread_count = 1;
    }
    if (!codecContext || avcodec_parameters_to_context(codecContext, videoStream->codecpar) < 0)
        return fail("Could not open codec for stream in: %1");
    // A huge picture shown small is decoded small where the decoder can.
    lowres = wantedLowres();
    codecContext->lowres = lowres;
    if (avcodec_open2(codecContext, codec, nullptr) < 0)
        return fail("Could not open codec for stream in: %1");

    frame = av_frame_alloc();
    if (!frame)
        return fail("Could not allocate original frame in %1");
    if (!packet)
        packet = av_packet_alloc();
    if (!packet)
        return fail("Could not allocate original frame in %1");
    {
        QMutexLocker locker(&mutex);
        timeBase = toDouble(codecContext->time_base);
        open = true;
    }
    // The decoder's own pictures count against the budget too: about two
    // for a codec without references between pictures, eight for others.
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(codec->id);
    const bool intraOnly = descriptor && (descriptor->props & AV_CODEC_PROP_INTRA_ONLY);
    host->reserveMemory(qint64(codecContext->width) * codecContext->height * 3 / 2 * (intraOnly ? 2 : 8));
    nextIndex = 0;
    skipTo = 0;
    indexFromTime = false;
    draining = false;
    return true;
}

void VTVideoDecoderFFMPEGPrivate::close()
{
    {
        QMutexLocker locker(&mutex);
        open = false;
    }
    av_frame_free(&frame);
    avcodec_free_context(&codecContext);
    codec = nullptr;
    if (formatContext)
        avformat_close_input(&formatContext);
    avformat_free_context(formatContext);
    formatContext = nullptr;
    videoStream = nullptr;
}

unsigned long long VTVideoDecoderFFMPEGPrivate::pictureIndex()
{
    const int64_t pts = frame->best_effort_timestamp;
    double rate;
    {
        QMutexLocker locker(&mutex);
        rate = frameRate;
    }
    if (indexFromTime && pts != AV_NOPTS_VALUE && rate > 0) {
        const int64_t start = videoStream->start_time != AV_NOPTS_VALUE ? videoStream->start_time : 0;
        const double index = std::round(double(pts - start) * toDouble(videoStream->time_base) * rate);
        if (index >= 0 && index < 9e18) {
            nextIndex = (unsigned long long)(index);
            // Timestamps place the first picture after a seek; the ones after
            // it follow in order, as when decoding from the start. One that
            // lands past the position is taken as the frame there.
            if (nextIndex >= skipTo) {
                indexFromTime = false;
                nextIndex = skipTo;
            }
        }
    }
    return nextIndex++;
}

bool VTVideoDecoderFFMPEGPrivate::convert(QImage* image)
{
    const QSize size = outputSize();
    // swscale's vector code writes whole blocks of pixels: with rows of
    // width * 3 bytes it garbles the last pixels of a row whose width is not
    // a multiple of the block, and it writes past the end of the last row.
    // Rows of 32-pixel multiples, in 64-byte multiples, with one row to
    // spare, in a buffer of av_malloc()'s alignment, come out right.
    const qsizetype stride = ((qsizetype(size.width()) + 31) / 32 * 32 * 3 + 63) / 64 * 64;
    auto pixels = static_cast<uchar*>(av_malloc(size_t(stride) * size_t(size.height() + 1)));
    if (!pixels)
        return false;
    *image = QImage(pixels, size.width(), size.height(), stride, QImage::Format_RGB888,
        [](void* data) { av_free(data); }, pixels);
    swsContext = sws_getCachedContext(swsContext, frame->width, frame->height, AVPixelFormat(frame->format),
        size.width(), size.height(), AV_PIX_FMT_RGB24, SWS_BICUBIC, nullptr, nullptr, nullptr);
    if (!swsContext)
        return false;
    uint8_t* planes[4] = { pixels, nullptr, nullptr, nullptr };
    const int strides[4] = { int(stride), 0, 0, 0 };
    sws_scale(swsContext, frame->data, frame->linesize, 0, frame->height, planes, strides);
    converted = converted.isValid() ? converted.boundedTo(size) : size;
    return true;
}

bool VTVideoDecoderFFMPEGPrivate::readFrame()
{
    for (;;) {
        if (!formatContext)
            return false;

        const int received = avcodec_receive_frame(codecContext, frame);
        if (received == 0) {
            const unsigned long long index = pictureIndex();
            QImage image;
            const bool converted = index >= skipTo && convert(&image);
            av_frame_unref(frame);
            if (!converted)
                continue;
            double timestamp;
            {
                QMutexLocker locker(&mutex);
                timestamp = frameRate > 0 ? double(index) / frameRate : 0.0;
                progress = duration > 0 ? qMin(timestamp / duration, 1.0) : 0.0;
            }
            host->pushFrame(image, timestamp);
            return true;
        }
        if (received == AVERROR_EOF || draining) {
            // Every picture is out: the rest of the clip is in the cache.
            close();
            host->streamEnded();
            return false;
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

VTVideoDecoderFFMPEG::VTVideoDecoderFFMPEG(VTVideoDecoderHost* host)
    : d(new VTVideoDecoderFFMPEGPrivate(host))
{
}

VTVideoDecoderFFMPEG::~VTVideoDecoderFFMPEG() = default;

void VTVideoDecoderFFMPEG::setClip(const QString& path)
{
    d->close();
    d->path = path;
}

bool VTVideoDecoderFFMPEG::open()
{
    d->target = d->host->targetSize();
    d->converted = QSize();
    return d->load();
}

void VTVideoDecoderFFMPEG::close()
{
    d->close();
}

bool VTVideoDecoderFFMPEG::readFrame()
{
    return d->readFrame();
}

void VTVideoDecoderFFMPEG::changeSetPosition(unsigned long long position)
{
    if (d->path.isEmpty())
        return;
    const bool reopen = !d->formatContext || d->lowres != d->wantedLowres();
    if (reopen && !d->load())
        return;
    d->host->restartCacheAt(position);
    d->converted = QSize();
    d->skipTo = position;
    d->draining = false;
    d->target = d->host->targetSize();
    if (position > 0 || !reopen) {
        // Back to the key frame before the position; the pictures up to it
        // are decoded and dropped.
        const double rate = frameRate();
        const double streamTimeBase = toDouble(d->videoStream->time_base);
        const int64_t start = d->videoStream->start_time != AV_NOPTS_VALUE ? d->videoStream->start_time : 0;
        const auto timestamp
            = int64_t(rate > 0 && streamTimeBase > 0 ? double(position) / rate / streamTimeBase : 0) + start;
        if (av_seek_frame(d->formatContext, d->videoStreamIndex, timestamp, AVSEEK_FLAG_BACKWARD) >= 0) {
            avcodec_flush_buffers(d->codecContext);
            d->indexFromTime = true;
        } else if (!d->load()) {
            return;
        } else {
            // Counted from the start.
            d->skipTo = position;
        }
    }
    d->host->positionChanged();
}

void VTVideoDecoderFFMPEG::followTargetSize()
{
    // Shown larger than the frames held were made for: make them again.
    const QSize target = d->host->targetSize();
    if (target == d->target || d->path.isEmpty())
        return;
    d->target = target;
    const QSize wanted = d->outputSize();
    if (d->converted.isValid() && (wanted.width() > d->converted.width() || wanted.height() > d->converted.height()))
        changeSetPosition(d->host->firstFrameIndex());
}

bool VTVideoDecoderFFMPEG::isOpen() const
{
    QMutexLocker locker(&d->mutex);
    return d->open;
}

double VTVideoDecoderFFMPEG::duration() const
{
    QMutexLocker locker(&d->mutex);
    return d->duration;
}

double VTVideoDecoderFFMPEG::timeBase() const
{
    QMutexLocker locker(&d->mutex);
    return d->timeBase;
}

double VTVideoDecoderFFMPEG::frameRate() const
{
    QMutexLocker locker(&d->mutex);
    return d->frameRate;
}

double VTVideoDecoderFFMPEG::progress() const
{
    QMutexLocker locker(&d->mutex);
    return d->progress;
}

QSize VTVideoDecoderFFMPEG::frameSize() const
{
    QMutexLocker locker(&d->mutex);
    return QSize(d->width, d->height);
}

} // namespace Vantles

extern "C" Q_DECL_EXPORT Vantles::VTVideoDecoder* vantlesCreateVideoDecoder(Vantles::VTVideoDecoderHost* host, int abi)
{
    if (abi != Vantles::VTVideoDecoderAbi || !host)
        return nullptr;
    // FFmpeg's own messages would go to the host's stderr; the failures
    // that matter reach the host through failed().
    static const bool quiet = (av_log_set_level(AV_LOG_QUIET), true);
    Q_UNUSED(quiet)
    return new Vantles::VTVideoDecoderFFMPEG(host);
}
