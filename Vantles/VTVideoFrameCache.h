#pragma once

#include <QObject>
#include <QString>

#include <Vantles/VTVideoFrame.h>
#include <Vantles/vantles_export.h>

#include <memory>

namespace Vantles {

class VTVideoFrameCachePrivate;

/**
 * Every frame decoded so far for one source, in decoding order. Append-only:
 * a clip is decoded once into memory and replayed and scrubbed from here.
 *
 * Not thread-safe by itself: the owning VTVideoSource guards every call with
 * its frame lock.
 */
class VANTLES_EXPORT VTVideoFrameCache : public QObject {
public:
    /// @p path is the source key the cache is made for.
    explicit VTVideoFrameCache(const QString& path);
    ~VTVideoFrameCache() override;

    QString path() const;
    virtual void addFrame(const VTVideoFrame& frame);
    /// A copy of the frame at @p index, or a null frame past the last one.
    /// Test length() first: reading from an empty cache is a fatal error.
    virtual VTVideoFrame frame(unsigned long long index);
    /// The number of frames held.
    virtual unsigned long long length();

private:
    std::unique_ptr<VTVideoFrameCachePrivate> const d;
};

} // namespace Vantles
