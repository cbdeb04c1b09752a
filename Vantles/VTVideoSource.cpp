// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTVideoSource.h"

#include "VTThreadStop_p.h"

#include "VTVideoFrameCache.h"

#include <QMutex>
#include <QMutexLocker>

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace Vantles {

class VTVideoSourcePrivate {
public:
    // Playheads this far past the last frame decoded are sought rather than
    // decoded up to.
    static constexpr unsigned long long seekDistance = 32;
    static constexpr unsigned long long none = ~0ULL;

    QUrl source;
    // The URL asked for last, which the thread may not have loaded yet.
    QUrl requested;
    bool shouldQuit = false;
    VTVideoSource::Action action = VTVideoSource::idleAction;
    qint64 budget = VTVideoFrameCache::defaultBudget;
    QSize targetSize;
    mutable QMutex stateMutex;
    QList<VTVideoSourceChange*> changes;

    mutable QMutex frameMutex;
    VTVideoFrameCache* cache = nullptr;
    unsigned long long playhead = 0;
    // The clip's length once decoding has reached its end; kept when the
    // frames are decoded again.
    unsigned long long length = 0;
    bool lengthKnown = false;
    bool anyFrame = false;
    // The position change queued last, so that a playhead waiting for it
    // does not queue it again.
    unsigned long long seeking = none;

    // Wakes an idle or waiting run loop as soon as there is something to do.
    // Taken alone, or inside one of the other locks, never the other way
    // round. Standard types, whose waits ThreadSanitizer follows.
    std::mutex wakeMutex;
    std::condition_variable wake;
    bool wakePending = false;

    void wakeUp()
    {
        std::lock_guard<std::mutex> locker(wakeMutex);
        wakePending = true;
        wake.notify_all();
    }

    // Under the frame lock: a fresh cache, or none until the next one is made.
    void resetFrames(VTVideoFrameCache* fresh)
    {
        delete cache;
        cache = fresh;
        playhead = 0;
        length = 0;
        lengthKnown = false;
        anyFrame = false;
        seeking = none;
    }

    void queue(VTVideoSourceChange* change)
    {
        QMutexLocker locker(&stateMutex);
        changes.append(change);
        wakeUp();
    }

    ~VTVideoSourcePrivate()
    {
        qDeleteAll(changes);
        delete cache;
    }
};

VTVideoSourceChange::VTVideoSourceChange(int action)
    : m_action(action)
{
}

VTVideoSourceChange::~VTVideoSourceChange() = default;

int VTVideoSourceChange::type() const
{
    return 1;
}

void VTVideoSourceChange::apply(VTVideoSource* source)
{
    source->changeSetAction(VTVideoSource::Action(m_action));
}

VTVideoSource::VTVideoSource(QObject* parent)
    : QThread(parent)
    , d(new VTVideoSourcePrivate)
{
}

VTVideoSource::~VTVideoSource()
{
    quit();
}

bool VTVideoSource::setSource(const QUrl& url)
{
    {
        QMutexLocker locker(&d->stateMutex);
        if ((!url.isEmpty() && !url.isValid()) || url == d->requested)
            return false;
        d->requested = url;
    }
    {
        // The old clip's frames go before this returns, not when the thread
        // gets to the change: until then a caller would still find them.
        QMutexLocker locker(&d->frameMutex);
        d->resetFrames(nullptr);
    }
    d->queue(new VTVideoSourceSourceChange(url));
    return true;
}

QUrl VTVideoSource::source() const
{
    QMutexLocker locker(&d->stateMutex);
    return d->source;
}

void VTVideoSource::setAction(Action action)
{
    // Only the source's own thread calls this, but the queue is shared with
    // setSource() from other threads.
    QMutexLocker locker(&d->stateMutex);
    d->changes.append(new VTVideoSourceChange(action));
}

VTVideoSource::Action VTVideoSource::action() const
{
    QMutexLocker locker(&d->stateMutex);
    return d->action;
}

void VTVideoSource::clearChanges()
{
    QMutexLocker locker(&d->stateMutex);
    qDeleteAll(d->changes);
    d->changes.clear();
}

void VTVideoSource::setMemoryBudget(qint64 bytes)
{
    QMutexLocker locker(&d->stateMutex);
    d->budget = qMax<qint64>(bytes, 0);
}

qint64 VTVideoSource::memoryBudget() const
{
    QMutexLocker locker(&d->stateMutex);
    return d->budget;
}

void VTVideoSource::reserveMemory(qint64 bytes)
{
    const qint64 budget = memoryBudget();
    QMutexLocker locker(&d->frameMutex);
    if (d->cache)
        d->cache->setBudget(qMax(budget - qMax<qint64>(bytes, 0), budget / 2));
}

void VTVideoSource::setTargetSize(const QSize& size)
{
    QMutexLocker locker(&d->stateMutex);
    d->targetSize = size;
}

QSize VTVideoSource::targetSize() const
{
    QMutexLocker locker(&d->stateMutex);
    return d->targetSize;
}

void VTVideoSource::setPlayhead(unsigned long long index)
{
    bool seek = false;
    {
        QMutexLocker locker(&d->frameMutex);
        d->playhead = index;
        if (!d->cache || d->cache->path().isEmpty())
            return;
        const unsigned long long first = d->cache->first();
        const unsigned long long next = d->cache->length();
        // Behind the window or far ahead of the decoder: decode from there.
        const bool ahead = index >= next && index - next >= d->seekDistance;
        if ((index < first || ahead) && index != d->seeking && (!d->lengthKnown || index < d->length)) {
            d->seeking = index;
            seek = true;
        }
    }
    if (seek)
        d->queue(new VTVideoSourcePositionChange(index));
    else
        d->wakeUp();
}

void VTVideoSource::close()
{
    setSource(QUrl());
}

void VTVideoSource::changeSetAction(Action action)
{
    if (action == noAction)
        return;
    {
        QMutexLocker locker(&d->stateMutex);
        d->action = action;
    }
    Q_EMIT actionChanged();
}

void VTVideoSource::changeSetSource(const QUrl& url)
{
    QMutexLocker locker(&d->stateMutex);
    d->source = url;
}

bool VTVideoSource::loadSource()
{
    Q_EMIT sourceLoaded();
    return true;
}

void VTVideoSource::processActionQueue()
{
    VTVideoSourceChange* change = nullptr;
    {
        QMutexLocker locker(&d->stateMutex);
        if (d->changes.isEmpty())
            return;
        change = d->changes.takeFirst();
    }
    // Applied unlocked: apply() takes the state lock itself.
    change->apply(this);
    delete change;
}

void VTVideoSource::setupSource()
{
    QString key;
    qint64 budget;
    {
        QMutexLocker locker(&d->stateMutex);
        key = d->source.toString();
        budget = d->budget;
    }
    {
        // The old frames go at once, also when no clip follows.
        QMutexLocker locker(&d->frameMutex);
        d->resetFrames(new VTVideoFrameCache(key, budget));
    }
    setAction(key.isEmpty() ? idleAction : decodeAction);
    Q_EMIT sourceChanged();
}

void VTVideoSource::pushFrame(const VTVideoFrame& frame)
{
    bool first;
    {
        QMutexLocker locker(&d->frameMutex);
        if (!d->cache)
            return;
        first = !d->anyFrame;
        d->anyFrame = true;
        if (d->cache->isFull())
            d->cache->dropBefore(d->playhead);
        d->cache->addFrame(frame);
        if (d->seeking != d->none && !d->cache->frame(d->seeking).isNull())
            d->seeking = d->none;
    }
    Q_EMIT frameReady();
    // The clip can be played from now on, long before it is decoded to its end.
    if (first)
        Q_EMIT loadProgressChanged();
}

bool VTVideoSource::isCacheFull()
{
    QMutexLocker locker(&d->frameMutex);
    if (!d->cache || !d->cache->isFull())
        return false;
    d->cache->dropBefore(d->playhead);
    return d->cache->isFull();
}

void VTVideoSource::restartCacheAt(unsigned long long index)
{
    QMutexLocker locker(&d->frameMutex);
    if (d->cache)
        d->cache->restartAt(index);
}

unsigned long long VTVideoSource::firstFrameIndex()
{
    QMutexLocker locker(&d->frameMutex);
    return d->cache ? d->cache->first() : 0;
}

bool VTVideoSource::isFrameAvailable(unsigned long long index)
{
    QMutexLocker locker(&d->frameMutex);
    return d->cache && !d->cache->frame(index).isNull();
}

unsigned long long VTVideoSource::totalFrameCount()
{
    QMutexLocker locker(&d->frameMutex);
    if (d->lengthKnown)
        return d->length;
    return d->cache ? d->cache->length() : 0;
}

unsigned long long VTVideoSource::loadedFrameCount()
{
    QMutexLocker locker(&d->frameMutex);
    return d->cache ? d->cache->length() : 0;
}

bool VTVideoSource::isLengthKnown()
{
    QMutexLocker locker(&d->frameMutex);
    return d->lengthKnown;
}

VTVideoFrame VTVideoSource::getFrame(unsigned long long index)
{
    QMutexLocker locker(&d->frameMutex);
    return d->cache ? d->cache->frame(index) : VTVideoFrame();
}

bool VTVideoSource::shouldQuit() const
{
    QMutexLocker locker(&d->stateMutex);
    return d->shouldQuit;
}

void VTVideoSource::setShouldQuit()
{
    {
        QMutexLocker locker(&d->stateMutex);
        d->shouldQuit = true;
    }
    d->wakeUp();
}

void VTVideoSource::waitForChange(unsigned long ms)
{
    std::unique_lock<std::mutex> locker(d->wakeMutex);
    d->wake.wait_for(locker, std::chrono::milliseconds(ms), [this] { return d->wakePending; });
    d->wakePending = false;
}

void VTVideoSource::notifyStreamEnded()
{
    bool first;
    {
        QMutexLocker locker(&d->frameMutex);
        first = !d->lengthKnown;
        if (d->cache) {
            d->length = qMax(d->length, d->cache->length());
            d->lengthKnown = true;
        }
    }
    // Reported once per clip, not again after decoding it anew.
    if (first)
        Q_EMIT streamEnded();
}

void VTVideoSource::quit()
{
    setShouldQuit();
    waitOrTerminate(this, "VTVideoSource");
}

} // namespace Vantles

VTVideoSourcePositionChange::VTVideoSourcePositionChange(unsigned long long position)
    : VTVideoSourceChange(Vantles::VTVideoSource::decodeAction)
    , m_position(position)
{
}

int VTVideoSourcePositionChange::type() const
{
    return 2;
}

void VTVideoSourcePositionChange::apply(Vantles::VTVideoSource* source)
{
    source->changeSetPosition(m_position);
    source->changeSetAction(Vantles::VTVideoSource::Action(m_action));
}

VTVideoSourceSourceChange::VTVideoSourceSourceChange(const QUrl& url)
    : VTVideoSourceChange(Vantles::VTVideoSource::loadAction)
    , m_url(url)
{
}

int VTVideoSourceSourceChange::type() const
{
    return 3;
}

void VTVideoSourceSourceChange::apply(Vantles::VTVideoSource* source)
{
    source->changeSetSource(m_url);
    source->changeSetAction(Vantles::VTVideoSource::Action(m_action));
}
