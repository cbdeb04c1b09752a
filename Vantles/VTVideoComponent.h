// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QPointer>
#include <QQuickPaintedItem>
#include <QString>

#include <Vantles/VTVideoFrame.h>
#include <QtQml/qqmlregistration.h>

#include <Vantles/vantlesview_export.h>

namespace Vantles {

class VTVideoController;
class VTVideoSourceFFMPEG;
class VTView;

/**
 * QML type "VTVideoComponent": plays a clip of the vantle's package.
 *
 * `source` names a file that the vantle's view resolves among the package's
 * resources. The clip is decoded on its own thread, within the memory budget
 * of setting VTContextVideoMemoryBudget and at most at the size the item
 * shows it, and paced by a second thread; both run for the item's whole life
 * and stop when it is destroyed. Frames are painted fitted into the item,
 * keeping the clip's proportions, at its origin (at their natural size when
 * the item has no size): size the item from contentWidth and contentHeight.
 * Playback starts on play() or state = playingState; at the end the last
 * frame stays and play() starts over. A clip that cannot be played leaves
 * the item paused and is reported to the host as a warning.
 */
class VANTLESVIEW_EXPORT VTVideoComponent : public QQuickPaintedItem {
    Q_OBJECT
    QML_NAMED_ELEMENT(VTVideoComponent)
    /// The clip: a file name the vantle's view finds among the package's
    /// resources (VTView::findResource()).
    Q_PROPERTY(QString source READ source WRITE setSource NOTIFY sourceChanged)
    /// Playing or paused; setting resetState pauses and rewinds.
    Q_PROPERTY(VideoState state READ state WRITE setState NOTIFY stateChanged)
    /// The index of the frame shown.
    Q_PROPERTY(qlonglong position READ position WRITE setPosition NOTIFY positionChanged)
    /// The position from 0 at the first frame to 1 at the last one known.
    Q_PROPERTY(double progress READ progress WRITE setProgress NOTIFY progressChanged)
    /// Kept for interfaces that set it; the clip is found through the view.
    Q_PROPERTY(QString searchPath READ searchPath WRITE setSearchPath NOTIFY searchPathChanged)
    /// True while the user drags the position; the interface sets it.
    Q_PROPERTY(bool scrubbing READ scrubbing WRITE setScrubbing NOTIFY scrubbingChanged)
    /// The height of the clip's pictures in pixels (150 before it opens).
    Q_PROPERTY(double contentHeight READ contentHeight NOTIFY contentHeightChanged)
    /// The width of the clip's pictures in pixels (200 before it opens).
    Q_PROPERTY(double contentWidth READ contentWidth NOTIFY contentWidthChanged)
    /// 1 once the first frame is decoded and the clip can play, 0 before.
    Q_PROPERTY(double loadProgress READ loadProgress NOTIFY loadProgressChanged)
public:
    /// The play state, as QML reads it: VTVideoComponent.playingState.
    enum VideoState {
        resetState = 0, ///< set: pause and go back to the first frame
        pausedState = 1, ///< paused on the current frame
        playingState = 2, ///< playing
    };
    Q_ENUM(VideoState)

    /// An item without a clip; its decoding and pacing threads start here.
    explicit VTVideoComponent(QQuickItem* parent = nullptr);
    /// Stops both threads before the item goes.
    ~VTVideoComponent() override;

    /// The clip's name as set.
    QString source() const;
    /// Resolves @p text through the vantle's view and loads the clip; an
    /// empty text stops playback and frees the clip's frames.
    void setSource(const QString& text);
    /// Playing or paused.
    VideoState state() const;
    /// Plays (play()), pauses (pause()) or rewinds (rewindToStart()).
    void setState(VideoState state);
    /// The index of the frame shown.
    qlonglong position() const;
    /// Moves to frame @p position (the last one known when past it).
    void setPosition(qlonglong position);
    /// The position as a share of the frames known, 0 to 1.
    double progress() const;
    /// Moves to the frame at share @p progress (clamped to 0..1).
    void setProgress(double progress);
    /// The value set; it has no effect on where the clip is found.
    QString searchPath() const;
    /// Stores @p searchPath and emits searchPathChanged().
    void setSearchPath(const QString& searchPath);
    /// True while the user drags the position.
    bool scrubbing() const;
    /// Records that the user drags the position.
    void setScrubbing(bool scrubbing);
    /// The height of the clip's pictures in pixels.
    double contentHeight() const;
    /// The width of the clip's pictures in pixels.
    double contentWidth() const;
    /// 1 once the clip can play, 0 before.
    double loadProgress() const;

    /// The thread that paces playback, owned by the item.
    VTVideoController* controller() const;
    /// The thread that decodes the clip, owned by the item.
    VTVideoSourceFFMPEG* videoSource() const;
    /// The frame painted now.
    VTVideoFrame frame() const;

    void paint(QPainter* painter) override;

Q_SIGNALS:
    /// The notify signal of source.
    void sourceChanged();
    /// Playback started or stopped.
    void stateChanged();
    /// The frame shown changed.
    void positionChanged();
    /// The frame shown changed.
    void progressChanged();
    /// A frame of another height than the last one was painted.
    void heightChanged();
    /// searchPath was set.
    void searchPathChanged();
    /// The notify signal of scrubbing.
    void scrubbingChanged();
    /// The clip's picture height is known.
    void contentHeightChanged();
    /// The clip's picture width is known.
    void contentWidthChanged();
    /// loadProgress changed.
    void loadProgressChanged();

public Q_SLOTS:
    /// Takes the controller's current frame and repaints; the controller's
    /// displayFrame() arrives here.
    void frameReady();
    /// Plays from the current frame; from the last frame it starts over.
    void play();
    /// Pauses on the current frame.
    void pause();
    /// Emits stateChanged(); the controller's stateChanged() arrives here.
    void sourceChangedState();
    /// Pauses and goes back to the first frame.
    void rewindToStart();
    /// Emits positionChanged() and progressChanged(); the controller's
    /// positionChanged() arrives here.
    void controllerPositionChanged();

protected:
    void itemChange(ItemChange change, const ItemChangeData& value) override;
    void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;

private:
    bool resolveSource();
    void updateTargetSize();

    VTVideoSourceFFMPEG* m_videoSource;
    VTVideoController* m_controller;
    QPointer<VTView> m_view; // the view the source was resolved through
    VTVideoFrame m_currentFrame;
    double m_contentHeightSeen = 0;
    double m_progressSeen = 0;
    QString m_searchPath;
    QString m_sourceText;
    // A source set before the item was in a window, resolved once it is.
    QString m_pendingSource;
};

} // namespace Vantles
