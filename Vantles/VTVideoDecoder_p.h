// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QImage>
#include <QSize>
#include <QString>

// The contract between VTVideoSourceFFMPEG and the plug-in that decodes its
// clips with FFmpeg. The library never links FFmpeg: it loads the plug-in
// (VTVideoDecoderLoader) the first time a clip is decoded, so that a host
// that shows no clip never pays for loading it. The plug-in uses nothing of
// the library but these two classes, whose virtual functions are the whole
// interface; both sides are built from this header, and the plug-in's
// factory refuses a caller of another version.

namespace Vantles {

/// What a decoder needs of its source: the source implements it.
class VTVideoDecoderHost {
public:
    /// The size frames are shown at; empty for the clip's own.
    virtual QSize targetSize() const = 0;
    /// The bytes the clip's frames may take.
    virtual qint64 memoryBudget() const = 0;
    /// Leaves @p bytes of the budget to the decoder's own pictures.
    virtual void reserveMemory(qint64 bytes) = 0;
    /// Appends a decoded frame to the source's cache.
    virtual void pushFrame(const QImage& image, double timestamp) = 0;
    /// Drops the frames held; the next one pushed gets @p index.
    virtual void restartCacheAt(unsigned long long index) = 0;
    virtual unsigned long long firstFrameIndex() = 0;
    /// The decoder has given the last picture of the clip.
    virtual void streamEnded() = 0;
    /// The clip at @p path cannot be played, for @p reason (a sentence).
    virtual void failed(const QString& path, const QString& reason) = 0;
    /// The decoder moved to another position.
    virtual void positionChanged() = 0;

protected:
    ~VTVideoDecoderHost() = default;
};

/**
 * Decodes one clip at a time for its host. Made, used and deleted on the
 * source's thread; the accessors are also called from other threads.
 */
class VTVideoDecoder {
public:
    virtual ~VTVideoDecoder() = default;

    /// Closes the media and takes @p path (a local file; empty for none) as
    /// the clip. Opens nothing.
    virtual void setClip(const QString& path) = 0;
    /// Opens the clip, ready to decode it from the start; false, with the
    /// host told why, when it cannot be played.
    virtual bool open() = 0;
    /// Closes the media; the clip is kept and opens again on a change of position.
    virtual void close() = 0;
    /// Decodes up to the next picture and pushes it; false once there is
    /// nothing more to decode.
    virtual bool readFrame() = 0;
    /// Makes the frame at @p position the next one decoded.
    virtual void changeSetPosition(unsigned long long position) = 0;
    /// Converts the frames again when the host shows them larger than they were made.
    virtual void followTargetSize() = 0;

    // Any thread.
    virtual bool isOpen() const = 0;
    virtual double duration() const = 0;
    virtual double timeBase() const = 0;
    virtual double frameRate() const = 0;
    virtual double progress() const = 0;
    /// The clip's picture size, kept after the media is closed; 200 x 150
    /// before any was opened.
    virtual QSize frameSize() const = 0;
};

/// Raised whenever either class above changes.
constexpr int VTVideoDecoderAbi = 1;

/// The plug-in's one exported function, "vantlesCreateVideoDecoder": a new
/// decoder for @p host, or null when @p abi is not the plug-in's.
using VTCreateVideoDecoder = VTVideoDecoder* (*)(VTVideoDecoderHost* host, int abi);

} // namespace Vantles
