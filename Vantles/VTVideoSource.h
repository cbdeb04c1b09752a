#pragma once

#include <QList>
#include <QMap>
#include <QThread>
#include <QUrl>

#include <Vantles/VTVideoFrame.h>
#include <Vantles/vantles_export.h>

#include <memory>

namespace Vantles {

class VTVideoFrameCache;
class VTVideoSource;
class VTVideoSourcePrivate;

/// A request posted to a source's thread: set its action.
class VANTLES_EXPORT VTVideoSourceChange {
public:
    explicit VTVideoSourceChange(int action);
    virtual ~VTVideoSourceChange();
    virtual int type() const;
    virtual void apply(VTVideoSource* source);

protected:
    int m_action;
};

/**
 * The base of a frame producer running on a thread of its own. It owns the
 * frame cache of its current source and a queue of changes other threads
 * post to it; its run loop (in the concrete source) applies one change per
 * pass and carries out the current action.
 *
 * Two recursive locks: the state lock guards the source URL, the quit flag,
 * the action and the change queue; the frame lock guards the cache. No
 * operation holds both.
 */
class VANTLES_EXPORT VTVideoSource : public QThread {
    Q_OBJECT
public:
    enum Action {
        noAction = -1,
        stopAction = 0,
        loadAction = 1,
        closeAction = 2,
        seekAction = 3,
        decodeAction = 4,
        idleAction = 5,
    };
    Q_ENUM(Action)

    explicit VTVideoSource(QObject* parent);
    /// Stops the thread (see quit()).
    ~VTVideoSource() override;

    /// Queues a change to @p url; false (and nothing queued) when the URL is
    /// invalid or already the current one. Any thread.
    bool setSource(const QUrl& url);
    QUrl source() const;
    /// Queues an action; only for the source's own thread.
    void setAction(Action action);
    Action action() const;
    /// Deletes every pending change.
    void clearChanges();

    virtual void close();
    virtual bool isOpen() = 0;
    virtual double getTime() = 0;
    virtual void changeSetAction(Action action);
    virtual void changeSetPosition(unsigned long long position) = 0;
    virtual void changeSetSource(const QUrl& url);
    virtual double duration() = 0;
    virtual double timeBase() = 0;
    virtual double frameRate() = 0;
    virtual double frameWidth() const = 0;
    virtual double frameHeight() const = 0;
    /// Emits sourceLoaded(); the concrete source calls it after opening.
    virtual bool loadSource();

    /// Applies the first pending change, if any, with no lock held.
    void processActionQueue();
    /// Makes a fresh cache for the current source and queues decoding (or
    /// idling, for an empty source).
    void setupSource();

    void pushFrame(const VTVideoFrame& frame);
    bool isFrameAvailable(unsigned long long index);
    /// Both count the frames decoded so far.
    unsigned long long totalFrameCount();
    unsigned long long loadedFrameCount();
    /// The frame at @p index, or a null frame when it is not decoded yet.
    VTVideoFrame getFrame(unsigned int index);

    bool shouldQuit() const;
    void setShouldQuit();
    /// Sleeps up to @p ms, or until another thread queues a change or asks
    /// the source to quit; for the idle pass of the run loop.
    void waitForChange(unsigned long ms);
    void notifyStreamEnded();
    /// Sets the quit flag and waits up to 10 s for the thread, then
    /// terminates it and waits 10 s more.
    void quit();

Q_SIGNALS:
    void frameReady();
    void sourceChanged();
    void streamEnded();
    void sourceLoaded();
    void actionChanged();
    void positionChanged();
    void loadProgressChanged();
    /// The clip at @p path cannot be played, for @p reason; emitted on the
    /// source's thread.
    void sourceFailed(const QString& path, const QString& reason);

private:
    std::unique_ptr<VTVideoSourcePrivate> const d;
};

} // namespace Vantles

/// A request posted to a source's thread: load another URL.
class VANTLES_EXPORT VTVideoSourceSourceChange : public Vantles::VTVideoSourceChange {
public:
    explicit VTVideoSourceSourceChange(const QUrl& url);
    int type() const override;
    void apply(Vantles::VTVideoSource* source) override;

private:
    QUrl m_url;
};
