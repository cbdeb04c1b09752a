#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

namespace VTTest {

/// Writes @p contents to @p relativePath below @p dir, creating folders on
/// the way; returns the file's absolute path (empty on failure).
QString writeFile(const QTemporaryDir& dir, const QString& relativePath, const QByteArray& contents);

} // namespace VTTest

// Video clips ------------------------------------------------------------------

#include <QStringList>

namespace VTTest {

/// Makes the media file @p name inside @p dir with the ffmpeg command line,
/// which gets "-v error -y", then @p arguments (inputs and encoder options),
/// then the output path. Returns the file's absolute path, empty when ffmpeg
/// is missing or fails.
QString makeClip(const QTemporaryDir& dir, const QString& name, const QStringList& arguments);

} // namespace VTTest
