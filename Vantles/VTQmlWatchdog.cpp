// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTQmlWatchdog_p.h"

#include <QFile>
#include <QJSEngine>
#include <QMetaObject>
#include <QRegularExpression>
#include <QUrl>

#include <chrono>

#ifdef Q_OS_LINUX
#include <csignal>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

// QtQml's hook for debuggers: the engine's JavaScript stack as text. It
// needs JavaScript on the stack (it faults without), so only a forked
// snapshot calls it.
extern "C" char* qt_v4StackTraceForEngine(void* executionEngine);
#endif

namespace Vantles {

namespace {

using Clock = std::chrono::steady_clock;

#ifdef Q_OS_LINUX
// The child's end: whatever goes wrong reading the snapshot, it leaves
// quietly, without a core file or the host's crash handler.
[[noreturn]] void leaveQuietly(int)
{
    _exit(2);
}

QByteArray readStackInChild(void* engine)
{
    int fds[2];
    if (pipe(fds) != 0)
        return QByteArray();
    const pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        const rlimit noCore { 0, 0 };
        setrlimit(RLIMIT_CORE, &noCore);
        for (int signal : { SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGPIPE })
            std::signal(signal, leaveQuietly);
        if (char* text = qt_v4StackTraceForEngine(engine)) {
            const size_t size = std::strlen(text);
            for (size_t written = 0; written < size;) {
                const ssize_t n = write(fds[1], text + written, size - written);
                if (n <= 0)
                    break;
                written += size_t(n);
            }
        }
        _exit(0);
    }
    close(fds[1]);
    if (pid < 0) {
        close(fds[0]);
        return QByteArray();
    }
    QByteArray text;
    const auto deadline = Clock::now() + std::chrono::seconds(1);
    for (;;) {
        const int left = int(std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count());
        pollfd fd { fds[0], POLLIN, 0 };
        if (left <= 0 || poll(&fd, 1, left) <= 0)
            break;
        char buffer[4096];
        const ssize_t n = read(fds[0], buffer, sizeof buffer);
        if (n <= 0)
            break;
        text.append(buffer, int(n));
    }
    close(fds[0]);
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    return text;
}
#endif

} // namespace

VTQmlWatchdog::VTQmlWatchdog(QJSEngine* engine, QObject* parent)
    : QObject(parent)
    , m_engine(engine)
    , m_executionEngine(engine->handle())
{
    m_thread = std::thread([this] { run(); });
}

VTQmlWatchdog::~VTQmlWatchdog()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_quit = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void VTQmlWatchdog::arm(int limitMs, qint64 memoryBudget)
{
    const qint64 baseline = memoryBudget > 0 ? residentSize() : -1;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_armed = limitMs > 0 || (memoryBudget > 0 && baseline >= 0);
        m_tripped = false;
        m_trip = Trip();
        m_limit = limitMs;
        m_budget = baseline >= 0 ? memoryBudget : 0;
        m_baseline = baseline;
        ++m_generation;
    }
    m_changed.notify_all();
}

void VTQmlWatchdog::disarm()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_armed = false;
        m_tripped = false;
        m_trip = Trip();
        ++m_generation;
    }
    m_changed.notify_all();
}

bool VTQmlWatchdog::isArmed() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_armed;
}

bool VTQmlWatchdog::hasTripped() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_tripped;
}

VTQmlWatchdog::Trip VTQmlWatchdog::trip() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_trip;
}

int VTQmlWatchdog::lineOf(const QString& file, const QString& function)
{
    static const QLatin1String prefix("expression for ");
    if (!function.startsWith(prefix))
        return 0;
    QFile source(file);
    if (!source.open(QIODevice::ReadOnly | QIODevice::Text) || source.size() > 1 << 20)
        return 0;
    const QString text = QString::fromUtf8(source.readAll());
    const QRegularExpression written(
        QStringLiteral("\\b%1\\s*:").arg(QRegularExpression::escape(function.mid(prefix.size()))));
    QRegularExpressionMatchIterator matches = written.globalMatch(text);
    if (!matches.hasNext())
        return 0;
    const qsizetype at = matches.next().capturedStart();
    return matches.hasNext() ? 0 : int(text.left(at).count(QLatin1Char('\n'))) + 1;
}

qint64 VTQmlWatchdog::residentSize()
{
#ifdef Q_OS_LINUX
    FILE* statm = std::fopen("/proc/self/statm", "r");
    if (!statm)
        return -1;
    long size = 0;
    long resident = -1;
    const int read = std::fscanf(statm, "%ld %ld", &size, &resident);
    std::fclose(statm);
    return read == 2 ? qint64(resident) * sysconf(_SC_PAGESIZE) : -1;
#else
    return -1;
#endif
}

VTQmlWatchdog::Sample VTQmlWatchdog::sample(void* executionEngine)
{
    Sample result;
#ifdef Q_OS_LINUX
    // stack=[frame={level="0",func="expression for onCompleted",file="...",fullname="...",line="5",language="js"},...]
    const QString text = QString::fromUtf8(readStackInChild(executionEngine));
    static const QRegularExpression frame(
        QStringLiteral("frame=\\{level=\"0\",func=\"([^\"]*)\",file=\"([^\"]*)\",fullname=\"[^\"]*\",line=\"(\\d+)\""));
    const QRegularExpressionMatch match = frame.match(text);
    if (!match.hasMatch())
        return result;
    result.running = true;
    result.function = match.captured(1);
    result.file = match.captured(2);
    // A tight loop never stores where it is: the hook then says line 1,
    // which in a QML file is its first import, never code.
    result.line = match.captured(3).toInt() > 1 ? match.captured(3).toInt() : 0;
#else
    Q_UNUSED(executionEngine)
#endif
    return result;
}

void VTQmlWatchdog::pong(quint64 sequence)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_answered = qMax(m_answered, sequence);
    }
    m_changed.notify_all();
}

// Watchdog thread: the lock is held.
void VTQmlWatchdog::interrupt(const Trip& trip)
{
    m_tripped = true;
    m_trip = trip;
    m_engine->setInterrupted(true);
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (hasTripped())
                Q_EMIT tripped();
        },
        Qt::QueuedConnection);
}

void VTQmlWatchdog::run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    quint64 sequence = 0;
    for (;;) {
        m_changed.wait(lock, [this] { return m_quit || (m_armed && !m_tripped); });
        if (m_quit)
            return;
        const quint64 generation = m_generation;
        const int limit = m_limit;
        const quint64 ping = ++sequence;
        QMetaObject::invokeMethod(this, [this, ping] { pong(ping); }, Qt::QueuedConnection);

        // Wait for the answer in short slices, checking the memory between.
        const auto posted = Clock::now();
        auto nextSample = posted + std::chrono::milliseconds(limit);
        int backoff = 1;
        for (;;) {
            const auto slice = std::chrono::milliseconds(limit > 0 ? qBound(5, limit / 4, 100) : 100);
            m_changed.wait_for(lock, slice);
            if (m_quit)
                return;
            if (m_generation != generation || !m_armed || m_tripped)
                break;
            const bool answered = m_answered >= ping;
            if (m_budget > 0) {
                lock.unlock();
                const qint64 grown = residentSize() - m_baseline;
                Sample where;
                if (grown > m_budget && !answered)
                    where = sample(m_executionEngine);
                lock.lock();
                if (m_generation != generation || !m_armed)
                    break;
                if (grown > m_budget) {
                    interrupt({ Trip::Memory, where.file, where.line, where.function, grown });
                    break;
                }
            }
            if (answered) {
                // Quiet between pings: half the limit, so that a stall is
                // seen within one and a half limits.
                m_changed.wait_for(lock, std::chrono::milliseconds(limit > 0 ? qMax(10, limit / 2) : 100),
                    [this, generation] { return m_quit || m_generation != generation; });
                break;
            }
            if (limit <= 0 || Clock::now() < nextSample)
                continue;
            // The GUI thread has not come back for the limit: JavaScript of
            // this engine, or the host's own work?
            lock.unlock();
            const bool inHostCall = m_hostCalls > 0;
            const Sample where = sample(m_executionEngine);
            lock.lock();
            if (m_generation != generation || !m_armed || m_answered >= ping)
                break;
            if (where.running && !inHostCall && m_hostCalls == 0) {
                interrupt({ Trip::Time, where.file, where.line, where.function, 0 });
                break;
            }
            // The host is busy: look again later, less and less often.
            backoff = qMin(backoff * 2, 16);
            nextSample = Clock::now() + std::chrono::milliseconds(limit) * backoff;
        }
    }
}

} // namespace Vantles
