#include "VTVideoFrameCache.h"

#include <QList>
#include <QtGlobal>

namespace Vantles {

class VTVideoFrameCachePrivate {
public:
    static constexpr unsigned long long none = ~0ULL;

    QString path;
    // Index of the last frame added; all ones while the cache is empty, so
    // that length() is lastIndex + 1 in unsigned arithmetic.
    unsigned long long lastIndex = none;
    QList<VTVideoFrame> frames;
};

VTVideoFrameCache::VTVideoFrameCache(const QString& path)
    : QObject(nullptr)
    , d(new VTVideoFrameCachePrivate)
{
    d->path = path;
}

VTVideoFrameCache::~VTVideoFrameCache() = default;

QString VTVideoFrameCache::path() const
{
    return d->path;
}

void VTVideoFrameCache::addFrame(const VTVideoFrame& frame)
{
    d->frames.append(frame);
    ++d->lastIndex;
}

VTVideoFrame VTVideoFrameCache::frame(unsigned long long index)
{
    if (d->lastIndex < index)
        return VTVideoFrame();
    // Only an empty cache gets here out of range; fail loudly in every build
    // rather than read past the list.
    if (index >= static_cast<unsigned long long>(d->frames.size()))
        qFatal("VTVideoFrameCache::frame: index out of range");
    return d->frames[qsizetype(index)];
}

unsigned long long VTVideoFrameCache::length()
{
    return d->lastIndex + 1;
}

} // namespace Vantles
