#pragma once

#include <Vantles/VTVideoSource.h>
#include <Vantles/vantles_export.h>

#include <memory>

namespace Vantles {

class VTVideoSourceFFMPEGPrivate;

/**
 * Decodes the first video stream of a local media file with FFmpeg on its
 * own thread, as fast as it can, into RGB32 frames in the source's cache.
 * Frame n carries the time n / frame rate. At the end of the stream the
 * media is closed and streamEnded() is emitted; the frames stay.
 *
 * Files that cannot be played are reported on Qt's debug channel.
 */
class VANTLES_EXPORT VTVideoSourceFFMPEG : public VTVideoSource {
    Q_OBJECT
public:
    explicit VTVideoSourceFFMPEG(QObject* parent);
    ~VTVideoSourceFFMPEG() override;

    void close() override;
    bool isOpen() override;
    /// The wall clock in seconds.
    double getTime() override;
    /// Seeks the open media to frame @p position (nothing in the library
    /// calls this: the player seeks within decoded frames).
    void changeSetPosition(unsigned long long position) override;
    double duration() override;
    double timeBase() override;
    double frameRate() override;
    /// The picture size of the media, 200 x 150 before any was opened.
    double frameWidth() const override;
    double frameHeight() const override;
    /// Opens the current source and starts decoding it; on the source's thread.
    bool loadSource() override;
    virtual double position();
    /// Time of the last decoded frame divided by the duration.
    virtual double progress();

protected:
    void run() override;

private:
    std::unique_ptr<VTVideoSourceFFMPEGPrivate> const d;
};

} // namespace Vantles
