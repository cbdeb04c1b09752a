#pragma once

#include <QList>
#include <QSize>
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
 * The cache keeps to a memory budget: when it is full the producer waits
 * until playback moves on (setPlayhead()) and frees the frames before the
 * playhead; a playhead outside the frames held queues a position change,
 * which decodes again from there.
 *
 * Two plain locks: the state lock guards the source URL, the quit flag, the
 * action, the change queue and the sizes; the frame lock guards the cache.
 * No operation holds both.
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

    /// Queues a change to @p url, or to no clip for an empty URL; the frames
    /// of the clip before are freed at once. False (and nothing done) when
    /// the URL is invalid or the one asked for last. Any thread.
    bool setSource(const QUrl& url);
    QUrl source() const;
    /// Queues an action; only for the source's own thread.
    void setAction(Action action);
    Action action() const;
    /// Deletes every pending change.
    void clearChanges();

    /// The bytes the frames of the next source may take. Any thread.
    void setMemoryBudget(qint64 bytes);
    qint64 memoryBudget() const;
    /// Leaves @p bytes of the budget (at most half of it) to the decoder's
    /// own pictures: the frames held get the rest. On the source's thread.
    void reserveMemory(qint64 bytes);
    /// The size frames are shown at, in device pixels; frames are converted
    /// no larger (and never above the clip's own size). Empty for the clip's
    /// size. Any thread.
    void setTargetSize(const QSize& size);
    QSize targetSize() const;
    /// Where playback is: frames before it may be freed, and a playhead
    /// outside the frames held has them decoded again from there. Any thread.
    void setPlayhead(unsigned long long index);

    virtual void close();
    virtual bool isOpen() = 0;
    virtual double getTime() = 0;
    virtual void changeSetAction(Action action);
    /// Makes the frame at @p position the next one decoded.
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
    /// True when the cache is full and the playhead has not moved on.
    bool isCacheFull();
    /// Drops the frames held; the next one pushed gets @p index.
    void restartCacheAt(unsigned long long index);
    /// The index of the first frame held.
    unsigned long long firstFrameIndex();
    bool isFrameAvailable(unsigned long long index);
    /// The frames of the clip once it has been decoded to its end, until then
    /// one past the last frame decoded.
    unsigned long long totalFrameCount();
    /// One past the last frame decoded.
    unsigned long long loadedFrameCount();
    /// True once the end of the clip has been reached, so that
    /// totalFrameCount() is the clip's length.
    bool isLengthKnown();
    /// The frame at @p index, or a null frame when it is not held.
    VTVideoFrame getFrame(unsigned long long index);

    bool shouldQuit() const;
    void setShouldQuit();
    /// Sleeps up to @p ms, or until another thread queues a change, moves
    /// the playhead or asks the source to quit.
    void waitForChange(unsigned long ms);
    void notifyStreamEnded();
    /// Sets the quit flag and waits for the thread, which ends within one
    /// decoding step.
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

/// A request posted to a source's thread: decode from another frame.
class VANTLES_EXPORT VTVideoSourcePositionChange : public Vantles::VTVideoSourceChange {
public:
    explicit VTVideoSourcePositionChange(unsigned long long position);
    int type() const override;
    void apply(Vantles::VTVideoSource* source) override;

private:
    unsigned long long m_position;
};

/// A request posted to a source's thread: load another URL.
class VANTLES_EXPORT VTVideoSourceSourceChange : public Vantles::VTVideoSourceChange {
public:
    explicit VTVideoSourceSourceChange(const QUrl& url);
    int type() const override;
    void apply(Vantles::VTVideoSource* source) override;

private:
    QUrl m_url;
};
