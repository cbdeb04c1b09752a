// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTWindowPreloader_p.h"

#include "VTContext.h"
#include "VTManager.h"
#include "VTViewLibrary_p.h"

#include <QGuiApplication>
#include <QLibrary>
#include <QThread>
#include <QTimer>
#include <QWindow>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace Vantles {

VTWindowPreloader::VTWindowPreloader(VTManager* manager)
    : m_manager(manager)
{
    const VTContext* context = manager->context();
    if (context->get(VTContextSoftwareRenderer, false).toBool()) {
        // The renderer is picked for the process, before its first Qt Quick
        // window: that takes Qt Quick, so the view library is opened now.
        QString reason;
        VTViewLibrary* library = VTViewLibrary::load(&reason);
        if (!library) {
            manager->report(
                { VTMessageError, QString(), 0, 0, QStringLiteral("No vantle can be shown: %1.").arg(reason) });
        } else if (!library->useSoftwareRenderer()) {
            manager->report({ VTMessageWarning, QString(), 0, 0,
                QStringLiteral("The setting VTContextSoftwareRenderer came after the process made its first Qt "
                               "Quick window: vantles are drawn with that window's renderer.") });
        }
    }
    if (!context->get(VTContextPrepareAhead, true).toBool() || !qobject_cast<QGuiApplication*>(qApp)) {
        m_step = Done;
        return;
    }
    // Until the work starts: the first window that appears, and pointers
    // entering controls.
    qApp->installEventFilter(this);
    if (windowAppeared())
        schedule(context->get(VTContextPrepareDelay, 0).toInt());
}

VTWindowPreloader::~VTWindowPreloader()
{
    if (m_loader)
        m_loader->wait();
}

bool VTWindowPreloader::windowAppeared() const
{
    const QWindowList windows = QGuiApplication::topLevelWindows();
    for (const QWindow* window : windows) {
        const Qt::WindowType type = window->type();
        if ((type == Qt::Window || type == Qt::Dialog) && window->isExposed())
            return true;
    }
    return false;
}

bool VTWindowPreloader::eventFilter(QObject* watched, QEvent* event)
{
    if (m_step == Waiting && event->type() == QEvent::Expose && watched->isWindowType()) {
        // Once the host's window has been painted: the timer runs after it.
        const auto window = static_cast<QWindow*>(watched);
        if (window->type() == Qt::Window || window->type() == Qt::Dialog)
            schedule(m_manager->context()->get(VTContextPrepareDelay, 0).toInt());
    } else if (event->type() == QEvent::Enter && m_step <= Scheduled) {
        pointerEntered(watched);
    }
    return QObject::eventFilter(watched, event);
}

void VTWindowPreloader::pointerEntered(QObject* control)
{
    if (m_step > Scheduled || !control || !control->isWidgetType())
        return;
    const QString key = m_manager->keyForObject(control);
    if (key.isEmpty())
        return;
    if (!m_keysRead) {
        const QStringList keys = m_manager->keys();
        m_keys = QSet<QString>(keys.cbegin(), keys.cend());
        m_keysRead = true;
    }
    if (m_keys.contains(key))
        schedule(0);
}

void VTWindowPreloader::schedule(int delay)
{
    if (m_step == Scheduled && delay > 0)
        return;
    m_step = Scheduled;
    QTimer::singleShot(qMax(delay, 0), this, [this] {
        if (m_step != Scheduled)
            return;
        qApp->removeEventFilter(this);
        m_keys.clear();
        m_step = Done;
        if (VTViewLibrary::loaded()) {
            prepare();
            return;
        }
        // Noted before the view library brings Qt Quick in.
        VTViewLibrary::hostUsesQtQuick();
        // Opening the view library binds Qt Quick's and QML's symbols, which
        // takes tens of milliseconds: on a thread of its own, so that the
        // GUI thread goes on meanwhile. A show that comes first opens it
        // itself, waiting for the thread's open to finish.
        m_loader.reset(QThread::create([path = VTViewLibrary::path()] {
            QLibrary(path).load();
#ifdef __GLIBC__
            // glibc gave this thread a heap of its own, where what loading
            // freed would stay resident.
            malloc_trim(0);
#endif
        }));
        m_loader->setObjectName(QStringLiteral("Vantles view library"));
        connect(m_loader.get(), &QThread::finished, this, &VTWindowPreloader::prepare);
        // An application that quits meanwhile waits for it.
        connect(qApp, &QCoreApplication::aboutToQuit, m_loader.get(), [thread = m_loader.get()] { thread->wait(); });
        m_loader->start();
    });
}

void VTWindowPreloader::prepare()
{
    // The window is made ready from the view library. Should it fail to
    // open, the first show says why.
    QString reason;
    if (VTViewLibrary* library = VTViewLibrary::load(&reason))
        library->prepare(m_manager);
}

} // namespace Vantles
