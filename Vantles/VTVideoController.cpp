// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTVideoController.h"

#include "VTThreadStop_p.h"

#include "VTVideoSource.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>

namespace Vantles {

using Clock = std::chrono::steady_clock;

class VTVideoControllerPrivate {
public:
    static constexpr unsigned long long none = ~0ULL;

    VTVideoSource* source = nullptr;
    // All below under the lock; the thread waits on wake, which every
    // change of state, position or quit flag signals. Standard types, whose
    // waits ThreadSanitizer follows.
    std::mutex mutex;
    std::condition_variable wake;
    unsigned long long position = 0;
    // The frame displayFrame() was last emitted for, and when.
    unsigned long long shown = none;
    Clock::time_point shownAt;
    bool shouldQuit = false;
    bool needFrame = true;
    bool scrubbing = false;
    QDateTime lastFrameDisplayTime;
    VTVideoController::State state = VTVideoController::stoppedState;

    // Keeps @p p on the clip's frames; 0 before any is decoded.
    unsigned long long clamped(unsigned long long p) const
    {
        const unsigned long long total = source ? source->totalFrameCount() : 0;
        return total ? std::min(p, total - 1) : 0;
    }
};

// Clips claim any frame rate; the pacing keeps to 1 to 120 frames a second.
static Clock::duration frameDelay(double rate)
{
    const double seconds = rate > 0 ? 1.0 / std::clamp(rate, 1.0, 120.0) : 0.04;
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
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
    std::lock_guard<std::mutex> locker(d->mutex);
    return d->shouldQuit;
}

void VTVideoController::setShouldQuit()
{
    std::lock_guard<std::mutex> locker(d->mutex);
    d->shouldQuit = true;
    d->wake.notify_all();
}

VTVideoController::State VTVideoController::state()
{
    std::lock_guard<std::mutex> locker(d->mutex);
    return d->state;
}

void VTVideoController::setState(State state)
{
    if (state == runningState) {
        play();
        return;
    }
    {
        std::lock_guard<std::mutex> locker(d->mutex);
        d->state = state;
        d->wake.notify_all();
    }
    Q_EMIT stateChanged();
}

void VTVideoController::pause()
{
    setState(stoppedState);
}

void VTVideoController::play()
{
    bool rewound = false;
    {
        std::lock_guard<std::mutex> locker(d->mutex);
        d->state = runningState;
        // From the last frame of a clip read to its end, play starts over.
        if (d->source && d->source->isLengthKnown() && d->position + 1 >= d->source->totalFrameCount()
            && d->position > 0) {
            d->position = 0;
            d->shown = d->none;
            d->source->setPlayhead(0);
            rewound = true;
        }
        d->wake.notify_all();
    }
    Q_EMIT stateChanged();
    if (rewound)
        Q_EMIT positionChanged();
}

unsigned long long VTVideoController::position() const
{
    std::lock_guard<std::mutex> locker(d->mutex);
    return d->position;
}

void VTVideoController::setPosition(unsigned long long p)
{
    {
        std::lock_guard<std::mutex> locker(d->mutex);
        d->position = d->clamped(p);
        d->shown = d->none;
        d->needFrame = true;
        if (d->source)
            d->source->setPlayhead(d->position);
        d->wake.notify_all();
    }
    Q_EMIT positionChanged();
}

double VTVideoController::progress()
{
    std::lock_guard<std::mutex> locker(d->mutex);
    const unsigned long long total = d->source ? d->source->totalFrameCount() : 0;
    return total > 1 ? double(std::min(d->position, total - 1)) / double(total - 1) : 0.0;
}

void VTVideoController::setProgress(double f)
{
    const unsigned long long total = d->source ? d->source->totalFrameCount() : 0;
    const double share = std::isnan(f) ? 0.0 : std::clamp(f, 0.0, 1.0);
    setPosition(total ? (unsigned long long)(std::llround(share * double(total - 1))) : 0);
}

double VTVideoController::loadProgress()
{
    // 1 once a frame is decoded, 0 before.
    return d->source && d->source->totalFrameCount() ? 1.0 : 0.0;
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
    std::lock_guard<std::mutex> locker(d->mutex);
    d->needFrame = needFrame;
    d->wake.notify_all();
}

void VTVideoController::setScrubbing(bool scrubbing)
{
    std::lock_guard<std::mutex> locker(d->mutex);
    d->scrubbing = scrubbing;
}

bool VTVideoController::isScrubbing()
{
    std::lock_guard<std::mutex> locker(d->mutex);
    return d->scrubbing;
}

void VTVideoController::setLastFrameDisplayTime(const QDateTime& time)
{
    std::lock_guard<std::mutex> locker(d->mutex);
    d->lastFrameDisplayTime = time;
}

QDateTime VTVideoController::lastFrameDisplayTime()
{
    std::lock_guard<std::mutex> locker(d->mutex);
    return d->lastFrameDisplayTime;
}

VTVideoFrame VTVideoController::currentFrame()
{
    std::lock_guard<std::mutex> locker(d->mutex);
    return d->source ? d->source->getFrame(d->position) : VTVideoFrame();
}

VTVideoFrame VTVideoController::getFrame(unsigned long long n)
{
    return d->source ? d->source->getFrame(n) : VTVideoFrame();
}

bool VTVideoController::setSource(const QUrl& url)
{
    bool changed;
    {
        std::lock_guard<std::mutex> locker(d->mutex);
        // The source drops the old clip's frames first: woken before that,
        // the thread would find the old frame 0 and show it again.
        changed = d->source && d->source->setSource(url);
        d->state = stoppedState;
        d->position = 0;
        d->shown = d->none;
        d->needFrame = true;
        d->wake.notify_all();
    }
    Q_EMIT stateChanged();
    Q_EMIT positionChanged();
    return changed;
}

void VTVideoController::quit()
{
    setShouldQuit();
    waitOrTerminate(this, "VTVideoController");
}

void VTVideoController::streamEnded()
{
    // The clip's length is known now; playback stops by itself on its last frame.
    setNeedFrame(true);
    Q_EMIT loadProgressChanged();
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
    std::unique_lock<std::mutex> locker(d->mutex);
    while (!d->shouldQuit) {
        VTVideoSource* source = d->source;
        if (!source) {
            d->wake.wait(locker);
            continue;
        }
        const bool running = d->state == runningState;
        if (running && d->shown == d->position) {
            // The frame is up: move on after one frame period.
            const Clock::time_point due = d->shownAt + frameDelay(source->frameRate());
            const Clock::time_point now = Clock::now();
            if (now < due) {
                d->wake.wait_until(locker, due);
                continue;
            }
            const unsigned long long total = source->totalFrameCount();
            if (d->position + 1 < total || !source->isLengthKnown()) {
                ++d->position;
                source->setPlayhead(d->position);
            } else {
                // The last frame of the clip stays.
                d->state = stoppedState;
                locker.unlock();
                Q_EMIT stateChanged();
                locker.lock();
            }
            continue;
        }
        if ((running || d->needFrame) && source->isFrameAvailable(d->position)) {
            d->needFrame = false;
            d->shown = d->position;
            d->shownAt = Clock::now();
            d->lastFrameDisplayTime = QDateTime::currentDateTime();
            locker.unlock();
            Q_EMIT displayFrame();
            Q_EMIT positionChanged();
            locker.lock();
            continue;
        }
        if (running && source->isLengthKnown() && d->position >= source->totalFrameCount()) {
            // Played on past what turned out to be the end.
            d->position = d->clamped(d->position);
            d->state = stoppedState;
            locker.unlock();
            Q_EMIT stateChanged();
            Q_EMIT positionChanged();
            locker.lock();
            continue;
        }
        // Waiting for the decoder polls it briefly; a paused clip sleeps
        // until something changes.
        d->wake.wait_for(locker, std::chrono::milliseconds(running || d->needFrame ? 5 : 100));
    }
}

} // namespace Vantles
