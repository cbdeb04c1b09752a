#include "VTTestHelpers.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace VTTest {

QString writeFile(const QTemporaryDir& dir, const QString& relativePath, const QByteArray& contents)
{
    const QString path = dir.filePath(relativePath);
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return QString();
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(contents) != contents.size())
        return QString();
    return QFileInfo(path).absoluteFilePath();
}

} // namespace VTTest
