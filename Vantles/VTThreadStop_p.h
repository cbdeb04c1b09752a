#pragma once

#include <QDeadlineTimer>
#include <QDebug>
#include <QString>
#include <QThread>

namespace Vantles {

// The end of both video threads' quit(): after the quit flag is set, wait up
// to 10 s, then terminate and wait 10 s more, saying so on the debug channel
// as "<className> did not quit ...".
inline void waitOrTerminate(QThread* thread, const char* className)
{
    if (thread->wait(QDeadlineTimer(10000)))
        return;
    qDebug() << QStringLiteral("%1 did not quit in a timely fashion").arg(QLatin1String(className));
    thread->terminate();
    if (!thread->wait(QDeadlineTimer(10000)))
        qDebug() << QStringLiteral("%1 did not quit at all").arg(QLatin1String(className));
}

} // namespace Vantles
