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
 * of the frame to show, and at the clip's frame rate advances the index and
 * emits displayFrame() for the item to fetch currentFrame(). It never
 * decodes; positioning, progress and scrubbing work on decoded frames.
 *
 * Its lock is taken before the source's frame lock, never after.
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
    /// Plays; from the end of the decoded frames it starts over at frame 0.
    void play();
    unsigned long long position() const;
    /// Moves onto a decoded frame (the last one when @p p is past it).
    void setPosition(unsigned long long p);
    double progress();
    void setProgress(double f);
    /// Decoded frames over total frames (both count the same cache).
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
    /// Sets the quit flag and waits up to 10 s, then terminates and waits 10 s more.
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
    void presentFrame();

    std::unique_ptr<VTVideoControllerPrivate> const d;
};

} // namespace Vantles
