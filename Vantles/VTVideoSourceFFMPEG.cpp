// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTVideoSourceFFMPEG.h"

#include "VTVideoDecoderLoader_p.h"

#include <QDebug>

#include <atomic>
#include <chrono>

namespace Vantles {

// The source's side of its decoder, which the plug-in makes at the first
// clip: the decoder reaches the source through it.
class VTVideoSourceFFMPEGPrivate : public VTVideoDecoderHost {
public:
    explicit VTVideoSourceFFMPEGPrivate(VTVideoSourceFFMPEG* q)
        : q(q)
    {
    }
    ~VTVideoSourceFFMPEGPrivate() { delete decoder.load(); }

    // Null until the first clip; made and deleted on the source's thread,
    // read by any.
    VTVideoDecoder* current() const { return decoder.load(std::memory_order_acquire); }

    QSize targetSize() const override { return q->targetSize(); }
    qint64 memoryBudget() const override { return q->memoryBudget(); }
    void reserveMemory(qint64 bytes) override { q->reserveMemory(bytes); }
    void pushFrame(const QImage& image, double timestamp) override
    {
        VTVideoFrame frame(image, 0);
        frame.timestamp = timestamp;
        q->pushFrame(frame);
    }
    void restartCacheAt(unsigned long long index) override { q->restartCacheAt(index); }
    unsigned long long firstFrameIndex() override { return q->firstFrameIndex(); }
    void streamEnded() override { q->notifyStreamEnded(); }
    void failed(const QString& path, const QString& reason) override { Q_EMIT q->sourceFailed(path, reason); }
    void positionChanged() override { Q_EMIT q->positionChanged(); }

    VTVideoSourceFFMPEG* q;
    std::atomic<VTVideoDecoder*> decoder { nullptr };
};

VTVideoSourceFFMPEG::VTVideoSourceFFMPEG(QObject* parent)
    : VTVideoSource(parent)
    , d(new VTVideoSourceFFMPEGPrivate(this))
{
    setObjectName(QStringLiteral("FFMPEG"));
}

VTVideoSourceFFMPEG::~VTVideoSourceFFMPEG()
{
    // The run loop uses this object's decoder: stop it before that goes.
    quit();
}

void VTVideoSourceFFMPEG::close()
{
    VTVideoSource::close();
}

bool VTVideoSourceFFMPEG::isOpen()
{
    const VTVideoDecoder* decoder = d->current();
    return decoder && decoder->isOpen();
}

double VTVideoSourceFFMPEG::getTime()
{
    using namespace std::chrono;
    return double(duration_cast<microseconds>(system_clock::now().time_since_epoch()).count()) / 1000000.0;
}

void VTVideoSourceFFMPEG::changeSetPosition(unsigned long long position)
{
    if (VTVideoDecoder* decoder = d->current())
        decoder->changeSetPosition(position);
}

double VTVideoSourceFFMPEG::duration()
{
    const VTVideoDecoder* decoder = d->current();
    return decoder ? decoder->duration() : 0.0;
}

double VTVideoSourceFFMPEG::timeBase()
{
    const VTVideoDecoder* decoder = d->current();
    return decoder ? decoder->timeBase() : 0.0;
}

double VTVideoSourceFFMPEG::frameRate()
{
    const VTVideoDecoder* decoder = d->current();
    return decoder ? decoder->frameRate() : 0.0;
}

double VTVideoSourceFFMPEG::frameWidth() const
{
    const VTVideoDecoder* decoder = d->current();
    return decoder ? decoder->frameSize().width() : 200.0;
}

double VTVideoSourceFFMPEG::frameHeight() const
{
    const VTVideoDecoder* decoder = d->current();
    return decoder ? decoder->frameSize().height() : 150.0;
}

double VTVideoSourceFFMPEG::position()
{
    return 0;
}

double VTVideoSourceFFMPEG::progress()
{
    const VTVideoDecoder* decoder = d->current();
    return decoder ? decoder->progress() : 0.0;
}

bool VTVideoSourceFFMPEG::loadSource()
{
    const QUrl url = source();
    const QString path = url.toLocalFile();
    VTVideoDecoder* decoder = d->current();
    if (decoder)
        decoder->setClip(path);
    // A fresh cache also for no clip: the old frames go. It queues decoding,
    // or idling for no clip.
    setupSource();
    if (url.isEmpty())
        return false;
    if (!decoder) {
        // FFmpeg is loaded now, with the first clip, not with the library.
        QString reason;
        decoder = VTVideoDecoderLoader::create(d.get(), &reason);
        if (!decoder) {
            const QString message = QStringLiteral("This clip cannot be played: %1.").arg(reason);
            qDebug() << message;
            Q_EMIT sourceFailed(path, message);
            setAction(idleAction);
            return false;
        }
        d->decoder.store(decoder, std::memory_order_release);
        decoder->setClip(path);
    }
    if (decoder->open())
        return VTVideoSource::loadSource();
    setAction(idleAction);
    return false;
}

void VTVideoSourceFFMPEG::run()
{
    while (!shouldQuit()) {
        processActionQueue();
        VTVideoDecoder* decoder = d->current();
        if (decoder)
            decoder->followTargetSize();
        switch (action()) {
        case stopAction:
            return;
        case loadAction:
            loadSource();
            break;
        case closeAction:
            if (decoder)
                decoder->close();
            setAction(idleAction);
            break;
        case seekAction:
        case decodeAction:
            if (isCacheFull())
                waitForChange(100);
            else if (!decoder || !decoder->readFrame())
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
