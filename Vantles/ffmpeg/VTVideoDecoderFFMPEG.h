// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "../VTVideoDecoder_p.h"

#include <QMutex>

#include <memory>

namespace Vantles {

class VTVideoDecoderFFMPEGPrivate;

/**
 * Decodes the first video stream of a local media file with FFmpeg (and no
 * decoder threads of FFmpeg's own), as fast as the host's budget lets it,
 * into RGB888 frames no larger than the host's target size. Frame n carries
 * the time n / frame rate. At the end of the stream the media is closed and
 * the host told; a position outside the frames held opens it again and seeks.
 *
 * A file that cannot be played is reported to the host with FFmpeg's reason
 * and named on Qt's debug channel.
 */
class VTVideoDecoderFFMPEG : public VTVideoDecoder {
public:
    explicit VTVideoDecoderFFMPEG(VTVideoDecoderHost* host);
    ~VTVideoDecoderFFMPEG() override;

    void setClip(const QString& path) override;
    bool open() override;
    void close() override;
    bool readFrame() override;
    void changeSetPosition(unsigned long long position) override;
    void followTargetSize() override;

    bool isOpen() const override;
    double duration() const override;
    double timeBase() const override;
    double frameRate() const override;
    double progress() const override;
    QSize frameSize() const override;

private:
    std::unique_ptr<VTVideoDecoderFFMPEGPrivate> const d;
};

} // namespace Vantles
