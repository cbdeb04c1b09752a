// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <Vantles/VTVideoSource.h>
#include <Vantles/vantles_export.h>

#include <memory>

namespace Vantles {

class VTVideoSourceFFMPEGPrivate;

/**
 * Decodes the first video stream of a local media file with FFmpeg on its
 * own thread (and no decoder threads besides), as fast as the cache's budget
 * lets it, into RGB888 frames no larger than the target size. Frame n
 * carries the time n / frame rate. At the end of the stream the media is
 * closed and streamEnded() is emitted; the frames stay, and a position
 * outside them opens the media again and seeks.
 *
 * A file that cannot be played emits sourceFailed() with FFmpeg's reason and
 * is also named on Qt's debug channel.
 *
 * The decoding itself is the library's video plug-in's, which links FFmpeg:
 * it is loaded the first time a clip is decoded, so that a host that shows
 * no clip never loads FFmpeg. Without the plug-in every clip fails so, with
 * the reason.
 */
class VANTLES_EXPORT VTVideoSourceFFMPEG : public VTVideoSource {
    Q_OBJECT
public:
    /// A source with no clip; start() runs its decoding thread.
    explicit VTVideoSourceFFMPEG(QObject* parent);
    /// Stops the thread and closes the media.
    ~VTVideoSourceFFMPEG() override;

    /// Queues the change to no clip, which closes the media and frees the
    /// frames on the source's thread.
    void close() override;
    bool isOpen() override;
    /// The wall clock in seconds.
    double getTime() override;
    /// Decodes on from frame @p position: seeks the media (opening it again
    /// after its end) and starts the cache's window there; on the source's thread.
    void changeSetPosition(unsigned long long position) override;
    double duration() override;
    double timeBase() override;
    double frameRate() override;
    /// The picture size of the clip (not of its frames, which may be
    /// smaller), 200 x 150 before any was opened.
    double frameWidth() const override;
    double frameHeight() const override;
    /// Opens the current source and starts decoding it; on the source's thread.
    bool loadSource() override;
    /// Always 0: the position is the controller's.
    virtual double position();
    /// Time of the last decoded frame divided by the duration.
    virtual double progress();

protected:
    void run() override;

private:
    std::unique_ptr<VTVideoSourceFFMPEGPrivate> const d;
};

} // namespace Vantles
