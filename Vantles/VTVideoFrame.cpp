// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTVideoFrame.h"

namespace Vantles {

VTVideoFrame::VTVideoFrame() = default;

VTVideoFrame::VTVideoFrame(int width, int height, QImage::Format format, unsigned long long timestamp)
    : QImage(width, height, format)
    , timestamp(double(timestamp))
{
}

VTVideoFrame::VTVideoFrame(const QImage& image, unsigned long long timestamp)
    : QImage(image)
    , timestamp(double(timestamp))
{
}

VTVideoFrame::VTVideoFrame(const VTVideoFrame& other) = default;

VTVideoFrame& VTVideoFrame::operator=(const VTVideoFrame& other) = default;

VTVideoFrame::~VTVideoFrame() = default;

} // namespace Vantles
