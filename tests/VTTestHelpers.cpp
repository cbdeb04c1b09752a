// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTTestHelpers.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QProcess>
#include <QStandardPaths>

#include <atomic>

// Exported by QtCore for debugging tools; declared in a private header.
extern quintptr Q_CORE_EXPORT qtHookData[];

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

QString makePackage(const QTemporaryDir& dir, const QString& dataFolder, const QString& packageFolder,
    const QMap<QString, QByteArray>& controlFiles)
{
    const QString package = dataFolder + QLatin1Char('/') + packageFolder;
    if (!QDir().mkpath(dir.filePath(package)))
        return QString();
    for (auto it = controlFiles.cbegin(); it != controlFiles.cend(); ++it) {
        if (writeFile(dir, package + QLatin1String("/Control/") + it.key(), it.value()).isEmpty())
            return QString();
    }
    return QFileInfo(dir.filePath(package)).absoluteFilePath();
}

QByteArray controlFileXml(
    const QString& locale, const QString& search, const QList<QPair<QString, QByteArray>>& vantles)
{
    QByteArray xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<vantles";
    if (!locale.isNull())
        xml += " locale=\"" + locale.toUtf8() + '"';
    if (!search.isNull())
        xml += " search=\"" + search.toUtf8() + '"';
    xml += ">\n";
    for (const auto& vantle : vantles)
        xml += "  <vantle key=\"" + vantle.first.toUtf8() + "\">" + vantle.second + "</vantle>\n";
    return xml + "</vantles>\n";
}

namespace {
QMutex logMutex;
QStringList* loggedDebugMessages = nullptr;

void logMessage(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    QMutexLocker locker(&logMutex);
    if (type == QtDebugMsg && loggedDebugMessages)
        loggedDebugMessages->append(message);
}
} // namespace

MessageLog::MessageLog()
{
    {
        QMutexLocker locker(&logMutex);
        loggedDebugMessages = new QStringList;
    }
    m_previous = qInstallMessageHandler(logMessage);
}

MessageLog::~MessageLog()
{
    qInstallMessageHandler(m_previous);
    QMutexLocker locker(&logMutex);
    delete loggedDebugMessages;
    loggedDebugMessages = nullptr;
}

QStringList MessageLog::debugMessages() const
{
    QMutexLocker locker(&logMutex);
    return *loggedDebugMessages;
}

namespace {
// QtCore's table for debugging tools (qhooks_p.h): its size at 1, the Qt
// version at 2, the callbacks for objects made and destroyed at 3 and 4. The
// library chains its own while it guards an interface: the counter calls
// what was there before it, and stays in the chain, idle, when the library's
// hooks came after it.
using ObjectCallback = void (*)(QObject*);
std::atomic<qint64> liveObjects { 0 };
std::atomic_bool counting { false };
std::atomic<ObjectCallback> previousAdded { nullptr };
std::atomic<ObjectCallback> previousRemoved { nullptr };
bool inChain = false;
void objectAdded(QObject* object)
{
    if (const ObjectCallback previous = previousAdded.load())
        previous(object);
    if (counting)
        ++liveObjects;
}
void objectRemoved(QObject* object)
{
    if (const ObjectCallback previous = previousRemoved.load())
        previous(object);
    if (counting)
        --liveObjects;
}
} // namespace

LiveObjects::LiveObjects()
    : m_counting(qtHookData[1] >= 5 && qtHookData[2] == QT_VERSION)
{
    liveObjects = 0;
    if (!m_counting)
        return;
    if (!inChain) {
        previousAdded = reinterpret_cast<ObjectCallback>(qtHookData[3]);
        previousRemoved = reinterpret_cast<ObjectCallback>(qtHookData[4]);
        qtHookData[3] = reinterpret_cast<quintptr>(&objectAdded);
        qtHookData[4] = reinterpret_cast<quintptr>(&objectRemoved);
        inChain = true;
    }
    counting = true;
}

LiveObjects::~LiveObjects()
{
    if (!m_counting)
        return;
    counting = false;
    if (qtHookData[3] == reinterpret_cast<quintptr>(&objectAdded)
        && qtHookData[4] == reinterpret_cast<quintptr>(&objectRemoved)) {
        qtHookData[3] = reinterpret_cast<quintptr>(previousAdded.load());
        qtHookData[4] = reinterpret_cast<quintptr>(previousRemoved.load());
        inChain = false;
    }
}

qint64 LiveObjects::count() const
{
    return liveObjects;
}

// Fixtures for the window and view tests -------------------------------------

QString makeUiPackage(const QTemporaryDir& dir, const QString& dataFolder, const QString& packageFolder,
    const QString& search, const QList<QPair<QString, QByteArray>>& vantles, const QByteArray& rootQml)
{
    const QString package = makePackage(dir, dataFolder, packageFolder,
        { { QStringLiteral("Vantles.xml"), controlFileXml(QString(), search, vantles) } });
    if (package.isEmpty() || !QDir(package).mkpath(QStringLiteral("Resources")))
        return QString();
    const QString relative = dataFolder + QLatin1Char('/') + packageFolder + QLatin1String("/ui/VantleUI.qml");
    if (!rootQml.isEmpty() && writeFile(dir, relative, rootQml).isEmpty())
        return QString();
    return package;
}

QWidget* RecordingHost::createWindow(Vantles::VTWindowType type)
{
    windowRequests.append(int(type));
    if (!provideHostWindow)
        return nullptr;
    auto window = new QWidget;
    hostWindows.append(window);
    return window;
}

void RecordingHost::handleMessage(Vantles::VTMessageType type, const QString& message)
{
    messages.append(QString::number(int(type)) + QLatin1Char(':') + message);
}

bool RecordingHost::openExternalResource(Vantles::VTExternalResourceType type, const QString& resource)
{
    opened.append(QString::number(int(type)) + QLatin1Char(':') + resource);
    return true;
}

QString RecordingHost::shortCutForObject(const QString& key, QObject* object, const QString& shortcut)
{
    shortcutCalls.append(key + QLatin1Char('|') + shortcut);
    shortcutObject = object;
    return shortcutAnswer;
}

QStringList problems(const QStringList& messages, const QString& prefix)
{
    QStringList result;
    for (QString message : messages) {
        if (message.startsWith(QLatin1String("ERROR:")))
            message.replace(0, 6, QStringLiteral("100:"));
        else if (message.startsWith(QLatin1String("Warning:")))
            message.replace(0, 8, QStringLiteral("200:"));
        if (message.startsWith(QLatin1String("100:")) || message.startsWith(QLatin1String("200:")))
            result.append(message.remove(prefix));
    }
    return result;
}

// Video clips ------------------------------------------------------------------

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
