// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QObject>
#include <QString>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

class QJSEngine;

namespace Vantles {

/**
 * Guards the GUI thread against the JavaScript of one QML engine: while
 * armed, a thread of its own pings the GUI thread, and when a ping stays
 * unanswered past the time limit while that engine's JavaScript is on the GUI
 * thread's stack, or when the process has grown past the memory budget since
 * arming, it interrupts the engine (QJSEngine::setInterrupted()) and emits
 * tripped() on the GUI thread, which then tears the interface down.
 *
 * Whether JavaScript runs is told by a snapshot of the process: a child
 * forked by the watchdog thread reads the engine's JavaScript stack from its
 * copy of the memory with the stack-trace hook QtQml keeps for debuggers,
 * while the GUI thread runs on untouched. So a host that is busy in its own
 * code is never taken for a looping interface, and the trip knows the file
 * and line that looped. A child that cannot read a stack (none there, or one
 * changing under the snapshot) exits and counts as "no JavaScript".
 *
 * The memory measure is the resident size of the whole process (Linux
 * /proc/self/statm): a host that grows while an interface is loaded counts
 * against the budget too.
 */
class VTQmlWatchdog : public QObject {
    Q_OBJECT
public:
    struct Trip {
        enum Reason { None, Time, Memory };
        Reason reason = None;
        QString file; ///< local path or URL of the JavaScript that ran, if known
        int line = 0; ///< 0 when unknown
        QString function;
        qint64 grownBy = 0; ///< bytes, for Memory
    };

    /// One JavaScript stack read from a snapshot of the process.
    struct Sample {
        bool running = false; ///< JavaScript of the engine was on the stack
        QString file;
        int line = 0;
        QString function;
    };

    explicit VTQmlWatchdog(QJSEngine* engine, QObject* parent = nullptr);
    ~VTQmlWatchdog() override;

    /// Starts guarding with @p limitMs (0: no time limit) and @p memoryBudget
    /// bytes (0: none) of growth from now. GUI thread.
    void arm(int limitMs, qint64 memoryBudget);
    /// Stops guarding and forgets a trip. GUI thread.
    void disarm();
    bool isArmed() const;
    /// Whether the engine was interrupted since arm(); stays until disarm().
    bool hasTripped() const;
    Trip trip() const;

    /// The JavaScript stack of @p executionEngine (QJSEngine::handle()) as a
    /// snapshot shows it; callable from any thread. Linux only: elsewhere
    /// never running.
    static Sample sample(void* executionEngine);
    /// The line of @p file where the handler or binding @p function
    /// ("expression for onCompleted") is written, when it is written once;
    /// else 0. For a loop too tight to say where it runs.
    static int lineOf(const QString& file, const QString& function);
    /// Marks the GUI thread's work between them as the library's or the
    /// host's, even when JavaScript called for it: a slow host is not the
    /// interface's fault. Nestable; GUI thread.
    class HostCall {
    public:
        explicit HostCall(VTQmlWatchdog* watchdog)
            : m_watchdog(watchdog)
        {
            ++m_watchdog->m_hostCalls;
        }
        ~HostCall() { --m_watchdog->m_hostCalls; }
        HostCall(const HostCall&) = delete;
        HostCall& operator=(const HostCall&) = delete;

    private:
        VTQmlWatchdog* const m_watchdog;
    };

    /// Resident size of the process in bytes, or -1 where unknown.
    static qint64 residentSize();

Q_SIGNALS:
    /// On the GUI thread, once it is free again after a trip.
    void tripped();

private:
    void run();
    void pong(quint64 sequence);
    void interrupt(const Trip& trip);

    QJSEngine* const m_engine;
    void* const m_executionEngine; // the engine's JavaScript engine, for snapshots
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_quit = false;
    bool m_armed = false;
    bool m_tripped = false;
    int m_limit = 0;
    qint64 m_budget = 0;
    qint64 m_baseline = 0;
    quint64 m_generation = 0; // arm() count, so that an old trip is not taken for a new one
    quint64 m_answered = 0; // the last ping the GUI thread answered
    std::atomic_int m_hostCalls { 0 };
    Trip m_trip;
    std::thread m_thread;
};

} // namespace Vantles
