#include "VTVideoSource.h"

#include "VTThreadStop_p.h"

#include "VTVideoFrameCache.h"

#include <QMutexLocker>
#include <QRecursiveMutex>
#include <QWaitCondition>

namespace Vantles {

class VTVideoSourcePrivate {
public:
    QUrl source;
    bool shouldQuit = false;
    VTVideoSource::Action action = VTVideoSource::idleAction;
    mutable QRecursiveMutex frameMutex;
    mutable QRecursiveMutex stateMutex;
    QList<VTVideoSourceChange*> changes;
    VTVideoFrameCache* cache = nullptr;
    // Looked up before a cache is made, but nothing enters caches into it:
    // every source set up gets a fresh cache.
    QMap<QString, VTVideoFrameCache*> caches;
    // Wakes an idle run loop as soon as there is something to do, so a clip
    // set on an idle source starts decoding at once. Taken alone, or inside
    // the state lock, never the other way round.
    QMutex wakeMutex;
    QWaitCondition wake;
    bool wakePending = false;

    void wakeUp()
    {
        QMutexLocker locker(&wakeMutex);
        wakePending = true;
        wake.wakeAll();
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
    QMutexLocker locker(&d->stateMutex);
    if (!url.isValid() || url == d->source)
        return false;
    d->changes.append(new VTVideoSourceSourceChange(url));
    d->wakeUp();
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
    {
        QMutexLocker locker(&d->stateMutex);
        key = d->source.toString();
    }
    bool reused = false;
    {
        QMutexLocker locker(&d->frameMutex);
        if (VTVideoFrameCache* cache = d->caches.value(key)) {
            d->cache = cache;
            reused = true;
        } else {
            delete d->cache;
            d->cache = new VTVideoFrameCache(key);
        }
    }
    if (!reused) {
        bool empty;
        {
            QMutexLocker locker(&d->stateMutex);
            empty = d->source.isEmpty();
        }
        setAction(empty ? idleAction : decodeAction);
    }
    Q_EMIT sourceChanged();
}

void VTVideoSource::pushFrame(const VTVideoFrame& frame)
{
    QMutexLocker locker(&d->frameMutex);
    if (d->cache)
        d->cache->addFrame(frame);
}

bool VTVideoSource::isFrameAvailable(unsigned long long index)
{
    QMutexLocker locker(&d->frameMutex);
    return d->cache && d->cache->length() > index;
}

unsigned long long VTVideoSource::totalFrameCount()
{
    QMutexLocker locker(&d->frameMutex);
    return d->cache ? d->cache->length() : 0;
}

unsigned long long VTVideoSource::loadedFrameCount()
{
    QMutexLocker locker(&d->frameMutex);
    return d->cache ? d->cache->length() : 0;
}

VTVideoFrame VTVideoSource::getFrame(unsigned int index)
{
    QMutexLocker locker(&d->frameMutex);
    if (d->cache && index < d->cache->length())
        return d->cache->frame(index);
    return VTVideoFrame();
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
    QMutexLocker locker(&d->wakeMutex);
    if (!d->wakePending)
        d->wake.wait(&d->wakeMutex, QDeadlineTimer(qint64(ms)));
    d->wakePending = false;
}

void VTVideoSource::notifyStreamEnded()
{
    Q_EMIT streamEnded();
}

void VTVideoSource::quit()
{
    setShouldQuit();
    waitOrTerminate(this, "VTVideoSource");
}

} // namespace Vantles

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
