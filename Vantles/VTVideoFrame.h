// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QImage>

#include <Vantles/vantles_export.h>

namespace Vantles {

/**
 * One decoded picture of a clip: an RGB32 image with its presentation time
 * in seconds from the start of the clip. Passed by value; the pixels are
 * implicitly shared between copies.
 */
class VANTLES_EXPORT VTVideoFrame : public QImage {
public:
    /// A null frame at time 0.
    VTVideoFrame();
    /// An uninitialised image of the given size and format.
    VTVideoFrame(int width, int height, QImage::Format format, unsigned long long timestamp);
    /// Shares @p image's pixels.
    VTVideoFrame(const QImage& image, unsigned long long timestamp);
    /// Shares @p other's pixels and copies its time.
    VTVideoFrame(const VTVideoFrame& other);
    /// Shares @p other's pixels and copies its time.
    VTVideoFrame& operator=(const VTVideoFrame& other);
    ~VTVideoFrame() override;

    /// The presentation time in seconds from the start of the clip.
    double timestamp = 0.0;
};

} // namespace Vantles
