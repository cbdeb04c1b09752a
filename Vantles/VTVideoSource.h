// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

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
    /// A change to @p action, a VTVideoSource::Action.
    explicit VTVideoSourceChange(int action);
    virtual ~VTVideoSourceChange();
    /// 1 for an action change, 2 for a position change, 3 for a source change.
    virtual int type() const;
    /// Carries the change out on @p source; called on the source's thread.
    virtual void apply(VTVideoSource* source);

protected:
    /// The VTVideoSource::Action the source takes on.
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
    /// What the source's run loop does on each pass.
    enum Action {
        noAction = -1, ///< no change: setting it keeps the current action
        stopAction = 0, ///< nothing, until another action is set
        loadAction = 1, ///< open the current source (loadSource())
        closeAction = 2, ///< close the media
        seekAction = 3, ///< move to another frame
        decodeAction = 4, ///< decode the next frame into the cache
        idleAction = 5, ///< wait for a change
    };
    Q_ENUM(Action)

    /// A source with no clip; start() runs its loop.
    explicit VTVideoSource(QObject* parent);
    /// Stops the thread (see quit()).
    ~VTVideoSource() override;

    /// Queues a change to @p url, or to no clip for an empty URL; the frames
    /// of the clip before are freed at once. False (and nothing done) when
    /// the URL is invalid or the one asked for last. Any thread.
    bool setSource(const QUrl& url);
    /// The clip's URL as the source's thread last applied it. Any thread.
    QUrl source() const;
    /// Queues an action; only for the source's own thread.
    void setAction(Action action);
    /// The action the run loop carries out. Any thread.
    Action action() const;
    /// Deletes every pending change.
    void clearChanges();

    /// The bytes the frames of the next source may take. Any thread.
    void setMemoryBudget(qint64 bytes);
    /// The bytes the frames of a source may take (64 MiB unless set).
    qint64 memoryBudget() const;
    /// Leaves @p bytes of the budget (at most half of it) to the decoder's
    /// own pictures: the frames held get the rest. On the source's thread.
    void reserveMemory(qint64 bytes);
    /// The size frames are shown at, in device pixels; frames are converted
    /// no larger (and never above the clip's own size). Empty for the clip's
    /// size. Any thread.
    void setTargetSize(const QSize& size);
    /// The size frames are converted to at most; empty for the clip's size.
    QSize targetSize() const;
    /// Where playback is: frames before it may be freed, and a playhead
    /// outside the frames held has them decoded again from there. Any thread.
    void setPlayhead(unsigned long long index);

    /// Queues the change to no clip (setSource() with an empty URL).
    virtual void close();
    /// True while the media is open for decoding.
    virtual bool isOpen() = 0;
    /// A clock in seconds, for pacing.
    virtual double getTime() = 0;
    /// Takes on @p action (noAction changes nothing) and emits
    /// actionChanged(); on the source's thread.
    virtual void changeSetAction(Action action);
    /// Makes the frame at @p position the next one decoded.
    virtual void changeSetPosition(unsigned long long position) = 0;
    /// Makes @p url the current source; on the source's thread, which then
    /// loads it.
    virtual void changeSetSource(const QUrl& url);
    /// The clip's length in seconds, 0 when unknown.
    virtual double duration() = 0;
    /// The seconds of one unit of the clip's timestamps.
    virtual double timeBase() = 0;
    /// The clip's frames per second, 0 when unknown.
    virtual double frameRate() = 0;
    /// The width of the clip's pictures in pixels.
    virtual double frameWidth() const = 0;
    /// The height of the clip's pictures in pixels.
    virtual double frameHeight() const = 0;
    /// Emits sourceLoaded(); the concrete source calls it after opening.
    virtual bool loadSource();

    /// Applies the first pending change, if any, with no lock held.
    void processActionQueue();
    /// Makes a fresh cache for the current source and queues decoding (or
    /// idling, for an empty source).
    void setupSource();

    /// Appends a decoded frame to the cache and emits frameReady() (and
    /// loadProgressChanged() for the first frame of a clip); on the source's thread.
    void pushFrame(const VTVideoFrame& frame);
    /// True when the cache is full and the playhead has not moved on.
    bool isCacheFull();
    /// Drops the frames held; the next one pushed gets @p index.
    void restartCacheAt(unsigned long long index);
    /// The index of the first frame held.
    unsigned long long firstFrameIndex();
    /// True when the cache holds the frame at @p index.
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

    /// True once the source was asked to quit: the run loop ends.
    bool shouldQuit() const;
    /// Asks the run loop to end and wakes it, without waiting. Any thread.
    void setShouldQuit();
    /// Sleeps up to @p ms, or until another thread queues a change, moves
    /// the playhead or asks the source to quit.
    void waitForChange(unsigned long ms);
    /// Records that decoding reached the end of the clip, which fixes its
    /// length, and emits streamEnded() the first time for this clip.
    void notifyStreamEnded();
    /// Sets the quit flag and waits for the thread, which ends within one
    /// decoding step.
    void quit();

Q_SIGNALS:
    /// A frame was added to the cache. On the source's thread, as are all
    /// of its signals.
    void frameReady();
    /// A new source was set up: the old frames are gone.
    void sourceChanged();
    /// Decoding reached the end of the clip, once per clip.
    void streamEnded();
    /// The current source was opened.
    void sourceLoaded();
    /// The run loop's action changed.
    void actionChanged();
    /// Decoding moved to another frame (a seek).
    void positionChanged();
    /// The first frame of the clip was decoded: it can be played from now.
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
    /// A change that decodes on from frame @p position.
    explicit VTVideoSourcePositionChange(unsigned long long position);
    int type() const override;
    void apply(Vantles::VTVideoSource* source) override;

private:
    unsigned long long m_position;
};

/// A request posted to a source's thread: load another URL.
class VANTLES_EXPORT VTVideoSourceSourceChange : public Vantles::VTVideoSourceChange {
public:
    /// A change that loads @p url, or no clip for an empty URL.
    explicit VTVideoSourceSourceChange(const QUrl& url);
    int type() const override;
    void apply(Vantles::VTVideoSource* source) override;

private:
    QUrl m_url;
};
