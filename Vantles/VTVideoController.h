// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QDateTime>
#include <QThread>
#include <QUrl>

#include <Vantles/VTVideoFrame.h>
#include <Vantles/vantles_export.h>

#include <memory>

namespace Vantles {

class VTVideoControllerPrivate;
class VTVideoSource;

/**
 * Paces playback on a thread of its own: keeps the play state and the index
 * of the frame to show, and at the clip's frame rate (kept to 1 to 120 a
 * second) advances the index and emits displayFrame() for the item to fetch
 * currentFrame(). It never decodes: it moves the source's playhead, and
 * waits for the frame there. Every wait is cut short by a change of state
 * or position and by quitting. At the last frame of the clip playback stops
 * there.
 *
 * Its lock is taken before the source's locks, never after.
 */
class VANTLES_EXPORT VTVideoController : public QThread {
    Q_OBJECT
public:
    /// Whether playback runs.
    enum State {
        stoppedState = 0, ///< paused: the current frame stays
        runningState = 1, ///< playing at the clip's frame rate
    };
    Q_ENUM(State)

    /// @p source is not owned. The controller deletes itself later when its
    /// thread finishes.
    VTVideoController(VTVideoSource* source, QObject* parent);
    ~VTVideoController() override;

    /// True once the controller was asked to quit: its thread ends.
    bool shouldQuit();
    /// Asks the thread to end and wakes it, without waiting.
    void setShouldQuit();
    /// Whether playback runs.
    State state();
    /// Starts or stops playback as it is (play() also starts over at the
    /// end); emits stateChanged().
    void setState(State state);
    /// Stops playback on the current frame.
    void pause();
    /// Plays; from the last frame of the clip it starts over at frame 0, and
    /// before the first frame is decoded it waits for it.
    void play();
    /// The index of the frame shown or to show.
    unsigned long long position() const;
    /// Moves to frame @p p (the last one known when @p p is past it); a frame
    /// not held is decoded again.
    void setPosition(unsigned long long p);
    /// The position from 0 at the first frame to 1 at the last one known.
    double progress();
    /// Moves to the frame at share @p f (clamped to 0..1) of the frames known.
    void setProgress(double f);
    /// 1 once a frame has been decoded, 0 before.
    double loadProgress();
    /// The frames of the clip as far as they are known (see
    /// VTVideoSource::totalFrameCount()).
    unsigned long long frameCount();
    /// The width of the clip's pictures, 200 without a source.
    double frameWidth() const;
    /// The height of the clip's pictures, 150 without a source.
    double frameHeight() const;
    /// The clip's URL, empty without one.
    QUrl source() const;
    /// Has the source close the clip and free its frames.
    void close();
    /// Asks for the frame at the current position to be shown (emitting
    /// displayFrame()) also while paused, as soon as it is decoded.
    void setNeedFrame(bool needFrame);
    /// Records that the user drags the position (the item's scrubbing
    /// property); it does not change the pacing.
    void setScrubbing(bool scrubbing);
    /// True while the user drags the position.
    bool isScrubbing();
    /// Records when a frame was last shown.
    void setLastFrameDisplayTime(const QDateTime& time);
    /// When a frame was last shown.
    QDateTime lastFrameDisplayTime();
    /// The frame at the current position; it counts as shown.
    VTVideoFrame currentFrame();
    /// The frame at index @p n, or a null frame when the source does not
    /// hold it.
    VTVideoFrame getFrame(unsigned long long n);
    /// Stops, rewinds and queues @p url on the source.
    bool setSource(const QUrl& url);
    /// Sets the quit flag and waits for the thread, which ends at once.
    void quit();

Q_SIGNALS:
    /// The frame at the current position is ready to be shown: fetch it
    /// with currentFrame(). Emitted on the controller's thread, as are its
    /// other signals except where a call from another thread causes them.
    void displayFrame();
    /// Playback started or stopped.
    void stateChanged();
    /// The position changed.
    void positionChanged();
    /// The clip's picture width is known.
    void widthChanged();
    /// The clip's picture height is known.
    void heightChanged();
    /// loadProgress() or the known length of the clip changed.
    void loadProgressChanged();

public Q_SLOTS:
    /// The source reached the end of the clip: its length is known now.
    void streamEnded();
    /// The source opened its clip: its size is known now.
    void sourceLoaded();

protected:
    void run() override;

private:
    std::unique_ptr<VTVideoControllerPrivate> const d;
};

} // namespace Vantles
