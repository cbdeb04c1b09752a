#include "VTVideoController.h"

#include "VTThreadStop_p.h"

#include "VTVideoSource.h"

#include <QMutexLocker>
#include <QPointer>
#include <QDeadlineTimer>
#include <QRecursiveMutex>
#include <QWaitCondition>

#include <algorithm>
#include <atomic>

namespace Vantles {

class VTVideoControllerPrivate {
public:
    VTVideoSource* source = nullptr;
    unsigned long long shownPosition = 0;
    // Read by position() and advanced by presentFrame() without the lock.
    std::atomic<unsigned long long> position { 0 };
    QRecursiveMutex mutex;
    bool shouldQuit = false;
    bool needFrame = true;
    bool scrubbing = false;
    QDateTime lastFrameDisplayTime;
    VTVideoController::State state = VTVideoController::stoppedState;
    // The thread's pauses, which quitting cuts short.
    QMutex sleepMutex;
    QWaitCondition sleeper;
    std::atomic_bool quitting { false };

    void sleep(double seconds)
    {
        QMutexLocker locker(&sleepMutex);
        if (!quitting)
            sleeper.wait(&sleepMutex, QDeadlineTimer(qint64(seconds * 1000.0)));
    }
};

// Clips claim any frame rate; the pacing keeps to 1 to 120 frames a second.
static double frameDelay(double rate)
{
    return rate > 0 ? 1.0 / std::clamp(rate, 1.0, 120.0) : 0.04;
}

VTVideoController::VTVideoController(VTVideoSource* source, QObject* parent)
    : QThread(parent)
    , d(new VTVideoControllerPrivate)
{
    d->source = source;
    setObjectName(QStringLiteral("Controller"));
    connect(this, &QThread::finished, this, &QObject::deleteLater);
    if (source) {
        connect(source, &VTVideoSource::streamEnded, this, &VTVideoController::streamEnded);
        connect(source, &VTVideoSource::sourceLoaded, this, &VTVideoController::sourceLoaded);
        connect(source, &VTVideoSource::loadProgressChanged, this, &VTVideoController::loadProgressChanged);
    }
}

VTVideoController::~VTVideoController()
{
    setShouldQuit();
    // A thread still running here would run on a destroyed object.
    wait();
}

bool VTVideoController::shouldQuit()
{
    if (!d->mutex.tryLock(100))
        return false;
    const bool quit = d->shouldQuit;
    d->mutex.unlock();
    return quit;
}

void VTVideoController::setShouldQuit()
{
    {
        QMutexLocker locker(&d->sleepMutex);
        d->quitting = true;
        d->sleeper.wakeAll();
    }
    QMutexLocker locker(&d->mutex);
    d->shouldQuit = true;
}

VTVideoController::State VTVideoController::state()
{
    QMutexLocker locker(&d->mutex);
    return d->state;
}

void VTVideoController::setState(State state)
{
    {
        QMutexLocker locker(&d->mutex);
        d->state = state;
    }
    Q_EMIT stateChanged();
}

void VTVideoController::pause()
{
    setState(stoppedState);
}

void VTVideoController::play()
{
    {
        QMutexLocker locker(&d->mutex);
        d->state = runningState;
        if (d->source && d->position >= d->source->totalFrameCount())
            setProgress(0.0);
    }
    Q_EMIT stateChanged();
}

unsigned long long VTVideoController::position() const
{
    return d->position;
}

void VTVideoController::setPosition(unsigned long long p)
{
    if (d->source) {
        // Never past the last decoded frame; before the first, at 0.
        const unsigned long long loaded = d->source->loadedFrameCount();
        p = loaded ? std::min(p, loaded - 1) : 0;
    }
    {
        QMutexLocker locker(&d->mutex);
        d->position = p;
        d->shownPosition = p - 1;
    }
    setNeedFrame(true);
    Q_EMIT positionChanged();
}

double VTVideoController::progress()
{
    const unsigned long long total = d->source ? d->source->totalFrameCount() : 0;
    QMutexLocker locker(&d->mutex);
    const unsigned long long position = d->position;
    return total == 0 ? 0.0 : double(position) / double(total);
}

void VTVideoController::setProgress(double f)
{
    const unsigned long long total = d->source ? d->source->totalFrameCount() : 0;
    setPosition((unsigned long long)(f * double(total)));
}

double VTVideoController::loadProgress()
{
    if (!d->source)
        return 0.0;
    // Both count one cache: 1 once anything is decoded, 0 before.
    const unsigned long long total = d->source->totalFrameCount();
    return total ? double(d->source->loadedFrameCount()) / double(total) : 0.0;
}

unsigned long long VTVideoController::frameCount()
{
    return d->source ? d->source->totalFrameCount() : 0;
}

double VTVideoController::frameWidth() const
{
    return d->source ? d->source->frameWidth() : 200.0;
}

double VTVideoController::frameHeight() const
{
    return d->source ? d->source->frameHeight() : 150.0;
}

QUrl VTVideoController::source() const
{
    return d->source ? d->source->source() : QUrl();
}

void VTVideoController::close()
{
    if (d->source)
        d->source->close();
}

void VTVideoController::setNeedFrame(bool needFrame)
{
    QMutexLocker locker(&d->mutex);
    d->needFrame = needFrame;
}

void VTVideoController::setScrubbing(bool scrubbing)
{
    QMutexLocker locker(&d->mutex);
    d->scrubbing = scrubbing;
}

bool VTVideoController::isScrubbing()
{
    QMutexLocker locker(&d->mutex);
    return d->scrubbing;
}

void VTVideoController::setLastFrameDisplayTime(const QDateTime& time)
{
    QMutexLocker locker(&d->mutex);
    d->lastFrameDisplayTime = time;
}

QDateTime VTVideoController::lastFrameDisplayTime()
{
    QMutexLocker locker(&d->mutex);
    return d->lastFrameDisplayTime;
}

VTVideoFrame VTVideoController::currentFrame()
{
    QMutexLocker locker(&d->mutex);
    if (!d->source)
        return VTVideoFrame();
    const unsigned long long position = d->position;
    d->shownPosition = position;
    return d->source->getFrame((unsigned int)(position));
}

VTVideoFrame VTVideoController::getFrame(unsigned long long n)
{
    QMutexLocker locker(&d->mutex);
    return d->source ? d->source->getFrame((unsigned int)(n)) : VTVideoFrame();
}

bool VTVideoController::setSource(const QUrl& url)
{
    setNeedFrame(true);
    streamEnded();
    setPosition(0);
    setState(stoppedState);
    const bool ok = d->source && d->source->setSource(url);
    if (ok) {
        {
            QMutexLocker locker(&d->mutex);
            d->position = 0;
        }
        setNeedFrame(true);
    }
    return ok;
}

void VTVideoController::quit()
{
    setShouldQuit();
    waitOrTerminate(this, "VTVideoController");
}

void VTVideoController::streamEnded()
{
    // The end of decoding stops playback only where nothing is left to
    // play: a clip decoded before its autoplay began plays on.
    if (!isScrubbing() && position() >= frameCount())
        setState(stoppedState);
    Q_EMIT loadProgressChanged();
    setNeedFrame(true);
}

void VTVideoController::sourceLoaded()
{
    setNeedFrame(true);
    Q_EMIT widthChanged();
    Q_EMIT heightChanged();
    Q_EMIT loadProgressChanged();
}

void VTVideoController::run()
{
    while (!shouldQuit()) {
        if (!d->mutex.tryLock(100))
            continue;
        if (d->state != stoppedState) {
            if (!d->source->isFrameAvailable(d->position)) {
                // Caught up with the decoder, or at the end: stop, do not
                // wait. Before the first frame, playing waits for it.
                if (d->source->loadedFrameCount() > 0 && d->source->totalFrameCount() >= d->position)
                    pause();
                d->mutex.unlock();
                d->sleep(0.1);
                continue;
            }
            d->needFrame = false;
            d->mutex.unlock();
            presentFrame();
            continue;
        }
        if (d->needFrame && d->source->isFrameAvailable(d->position)) {
            if (!d->source->getFrame(0).isNull())
                d->needFrame = false;
            presentFrame();
        }
        d->mutex.unlock();
        d->sleep(0.1);
    }
}

void VTVideoController::presentFrame()
{
    QMutexLocker locker(&d->mutex);
    if (d->state != runningState) {
        locker.unlock();
        Q_EMIT displayFrame();
        return;
    }
    const unsigned long long loaded = d->source->loadedFrameCount();
    if (d->shownPosition == d->position && d->shownPosition >= loaded)
        return;

    const double delay = frameDelay(d->source->frameRate());
    const double due = double(d->position - d->shownPosition) * delay;
    const QDateTime now = QDateTime::currentDateTime();
    const QDateTime last = lastFrameDisplayTime();
    // Milliseconds scaled by a further 1000, as the pacing has always been
    // computed: the wait ends up one frame period.
    const double elapsed = (double(last.daysTo(now)) * 86400000.0 + double(last.time().msecsTo(now.time()))) * 1000.0;
    const double wait = std::min(std::max(due - std::min(elapsed, due), delay), 1.0);

    if (d->position < loaded) {
        locker.unlock();
        ++d->position;
        Q_EMIT displayFrame();
        Q_EMIT positionChanged();
        setLastFrameDisplayTime(QDateTime::currentDateTime());
    } else {
        locker.unlock();
    }
    if (wait > 0)
        d->sleep(wait);
}

} // namespace Vantles
