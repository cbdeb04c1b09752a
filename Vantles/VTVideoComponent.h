#pragma once

#include <QPointer>
#include <QQuickPaintedItem>
#include <QString>

#include <Vantles/VTVideoFrame.h>
#include <QtQml/qqmlregistration.h>

#include <Vantles/vantles_export.h>

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
class VANTLES_EXPORT VTVideoComponent : public QQuickPaintedItem {
    Q_OBJECT
    QML_NAMED_ELEMENT(VTVideoComponent)
    Q_PROPERTY(QString source READ source WRITE setSource NOTIFY sourceChanged)
    Q_PROPERTY(VideoState state READ state WRITE setState NOTIFY stateChanged)
    Q_PROPERTY(qlonglong position READ position WRITE setPosition NOTIFY positionChanged)
    Q_PROPERTY(double progress READ progress WRITE setProgress NOTIFY progressChanged)
    Q_PROPERTY(QString searchPath READ searchPath WRITE setSearchPath NOTIFY searchPathChanged)
    Q_PROPERTY(bool scrubbing READ scrubbing WRITE setScrubbing NOTIFY scrubbingChanged)
    Q_PROPERTY(double contentHeight READ contentHeight NOTIFY contentHeightChanged)
    Q_PROPERTY(double contentWidth READ contentWidth NOTIFY contentWidthChanged)
    Q_PROPERTY(double loadProgress READ loadProgress NOTIFY loadProgressChanged)
public:
    enum VideoState {
        resetState = 0,
        pausedState = 1,
        playingState = 2,
    };
    Q_ENUM(VideoState)

    explicit VTVideoComponent(QQuickItem* parent = nullptr);
    /// Stops both threads before the item goes.
    ~VTVideoComponent() override;

    QString source() const;
    /// Resolves @p text through the vantle's view and loads the clip; an
    /// empty text stops playback and frees the clip's frames.
    void setSource(const QString& text);
    VideoState state() const;
    void setState(VideoState state);
    qlonglong position() const;
    void setPosition(qlonglong position);
    double progress() const;
    void setProgress(double progress);
    QString searchPath() const;
    void setSearchPath(const QString& searchPath);
    bool scrubbing() const;
    void setScrubbing(bool scrubbing);
    double contentHeight() const;
    double contentWidth() const;
    double loadProgress() const;

    VTVideoController* controller() const;
    VTVideoSourceFFMPEG* videoSource() const;
    /// The frame painted now.
    VTVideoFrame frame() const;

    void paint(QPainter* painter) override;

Q_SIGNALS:
    void sourceChanged();
    void stateChanged();
    void positionChanged();
    void progressChanged();
    void heightChanged();
    void searchPathChanged();
    void scrubbingChanged();
    void contentHeightChanged();
    void contentWidthChanged();
    void loadProgressChanged();

public Q_SLOTS:
    void frameReady();
    void play();
    void pause();
    void sourceChangedState();
    void rewindToStart();
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
