// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QObject>
#include <QString>

#include <Vantles/VTVideoFrame.h>
#include <Vantles/vantles_export.h>

#include <memory>

namespace Vantles {

class VTVideoFrameCachePrivate;

/**
 * The decoded frames of one source within a memory budget: a window of
 * consecutive frames, from first() to length() - 1, by their index in the
 * clip. A clip that fits is decoded once and replayed and scrubbed from
 * here; for a longer one the source drops the frames already played and
 * starts the window again where playback jumps (restartAt()).
 *
 * Not thread-safe by itself: the owning VTVideoSource guards every call with
 * its frame lock.
 */
class VANTLES_EXPORT VTVideoFrameCache : public QObject {
public:
    /// The budget of a cache made without one: 64 MiB.
    static constexpr qint64 defaultBudget = 64 * 1024 * 1024;

    /// @p path is the source key the cache is made for; @p budget the bytes
    /// its frames may take.
    explicit VTVideoFrameCache(const QString& path, qint64 budget = defaultBudget);
    ~VTVideoFrameCache() override;

    /// The source key the cache was made for; empty for no clip.
    QString path() const;
    /// Appends @p frame as the frame at index length().
    virtual void addFrame(const VTVideoFrame& frame);
    /// A copy of the frame at @p index, or a null frame outside the window.
    virtual VTVideoFrame frame(unsigned long long index);
    /// One past the index of the last frame added.
    virtual unsigned long long length();
    /// The index of the first frame held; length() when none is.
    unsigned long long first() const;

    /// The bytes the frames may take.
    qint64 budget() const;
    /// Changes the budget for the frames added from now on (negative is 0).
    void setBudget(qint64 bytes);
    /// The bytes the frames held take.
    qint64 bytes() const;
    /// True when one more frame of the size of the last would pass the budget.
    bool isFull() const;
    /// Drops the frames before @p index.
    void dropBefore(unsigned long long index);
    /// Drops every frame; the next one added gets @p index.
    void restartAt(unsigned long long index);

private:
    std::unique_ptr<VTVideoFrameCachePrivate> const d;
};

} // namespace Vantles
