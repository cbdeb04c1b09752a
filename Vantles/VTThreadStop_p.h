// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QDeadlineTimer>
#include <QDebug>
#include <QString>
#include <QThread>

namespace Vantles {

// The end of both video threads' quit(): once the quit flag is set, every
// wait of the thread is woken and it ends within one decoding step. A thread
// is never terminated (that could leave a lock held or FFmpeg's state torn);
// one that takes longer than a second is named on the debug channel as
// "<className> did not quit ..." and waited for.
inline void waitOrTerminate(QThread* thread, const char* className)
{
    if (thread->wait(QDeadlineTimer(1000)))
        return;
    qDebug() << QStringLiteral("%1 did not quit in a timely fashion").arg(QLatin1String(className));
    thread->wait();
}

} // namespace Vantles
