#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

namespace VTTest {

/// Writes @p contents to @p relativePath below @p dir, creating folders on
/// the way; returns the file's absolute path (empty on failure).
QString writeFile(const QTemporaryDir& dir, const QString& relativePath, const QByteArray& contents);

} // namespace VTTest
