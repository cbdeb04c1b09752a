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
    enum State {
        stoppedState = 0,
        runningState = 1,
    };
    Q_ENUM(State)

    /// @p source is not owned. The controller deletes itself later when its
    /// thread finishes.
    VTVideoController(VTVideoSource* source, QObject* parent);
    ~VTVideoController() override;

    bool shouldQuit();
    void setShouldQuit();
    State state();
    void setState(State state);
    void pause();
    /// Plays; from the last frame of the clip it starts over at frame 0, and
    /// before the first frame is decoded it waits for it.
    void play();
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
    unsigned long long frameCount();
    double frameWidth() const;
    double frameHeight() const;
    QUrl source() const;
    void close();
    void setNeedFrame(bool needFrame);
    void setScrubbing(bool scrubbing);
    bool isScrubbing();
    void setLastFrameDisplayTime(const QDateTime& time);
    QDateTime lastFrameDisplayTime();
    /// The frame at the current position; it counts as shown.
    VTVideoFrame currentFrame();
    VTVideoFrame getFrame(unsigned long long n);
    /// Stops, rewinds and queues @p url on the source.
    bool setSource(const QUrl& url);
    /// Sets the quit flag and waits for the thread, which ends at once.
    void quit();

Q_SIGNALS:
    void displayFrame();
    void stateChanged();
    void positionChanged();
    void widthChanged();
    void heightChanged();
    void loadProgressChanged();

public Q_SLOTS:
    void streamEnded();
    void sourceLoaded();

protected:
    void run() override;

private:
    std::unique_ptr<VTVideoControllerPrivate> const d;
};

} // namespace Vantles
