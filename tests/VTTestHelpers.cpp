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

// Video clips ------------------------------------------------------------------

#include <QProcess>
#include <QStandardPaths>

namespace VTTest {

QString makeClip(const QTemporaryDir& dir, const QString& name, const QStringList& arguments)
{
    const QString ffmpeg = QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
    if (ffmpeg.isEmpty())
        return QString();
    const QString path = dir.filePath(name);
    QProcess process;
    process.start(ffmpeg,
        QStringList { QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y") } + arguments
            + QStringList { path });
    if (!process.waitForFinished(120000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        qWarning("ffmpeg failed: %s", process.readAllStandardError().constData());
        return QString();
    }
    return path;
}

} // namespace VTTest
