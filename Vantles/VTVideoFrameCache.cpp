// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTVideoFrameCache.h"

#include <QList>
#include <QtGlobal>

namespace Vantles {

class VTVideoFrameCachePrivate {
public:
    QString path;
    qint64 budget = VTVideoFrameCache::defaultBudget;
    qint64 bytes = 0;
    qint64 lastFrameBytes = 0;
    // The index of frames.first().
    unsigned long long first = 0;
    QList<VTVideoFrame> frames;
};

VTVideoFrameCache::VTVideoFrameCache(const QString& path, qint64 budget)
    : QObject(nullptr)
    , d(new VTVideoFrameCachePrivate)
{
    d->path = path;
    d->budget = qMax<qint64>(budget, 0);
}

VTVideoFrameCache::~VTVideoFrameCache() = default;

QString VTVideoFrameCache::path() const
{
    return d->path;
}

void VTVideoFrameCache::addFrame(const VTVideoFrame& frame)
{
    d->frames.append(frame);
    d->lastFrameBytes = frame.sizeInBytes();
    d->bytes += d->lastFrameBytes;
}

VTVideoFrame VTVideoFrameCache::frame(unsigned long long index)
{
    if (index < d->first || index - d->first >= static_cast<unsigned long long>(d->frames.size()))
        return VTVideoFrame();
    return d->frames.at(qsizetype(index - d->first));
}

unsigned long long VTVideoFrameCache::length()
{
    return d->first + static_cast<unsigned long long>(d->frames.size());
}

unsigned long long VTVideoFrameCache::first() const
{
    return d->first;
}

qint64 VTVideoFrameCache::budget() const
{
    return d->budget;
}

void VTVideoFrameCache::setBudget(qint64 bytes)
{
    d->budget = qMax<qint64>(bytes, 0);
}

qint64 VTVideoFrameCache::bytes() const
{
    return d->bytes;
}

bool VTVideoFrameCache::isFull() const
{
    return !d->frames.isEmpty() && d->bytes + d->lastFrameBytes > d->budget;
}

void VTVideoFrameCache::dropBefore(unsigned long long index)
{
    while (!d->frames.isEmpty() && d->first < index) {
        d->bytes -= d->frames.first().sizeInBytes();
        d->frames.removeFirst();
        ++d->first;
    }
}

void VTVideoFrameCache::restartAt(unsigned long long index)
{
    d->frames.clear();
    d->bytes = 0;
    d->first = index;
}

} // namespace Vantles
