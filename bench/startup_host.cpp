// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// A small host for bench_first_hover's start-up figures: a main window with
// a toolbar and a text area. Built twice, without the library and linked
// with it (VANTLES_LINKED); with "--interface DATA" the linked one also makes
// its VTInterface over DATA before its window, as a host's main() does.
//
// Prints "RESULT frame_ns=<CLOCK_MONOTONIC nanoseconds> objects=<shared
// objects loaded>" once its window's first frame is on screen (its first
// paint has been flushed), then quits.

#include <QAction>
#include <QApplication>
#include <QMainWindow>
#include <QTextEdit>
#include <QTimer>
#include <QToolBar>

#ifdef VANTLES_LINKED
#include <Vantles/VTContext.h>
#include <Vantles/VTInterface.h>
#endif

#include <link.h>
#include <time.h>

#include <cstdio>
#include <memory>

namespace {

int countObject(dl_phdr_info*, size_t, void* count)
{
    ++*static_cast<int*>(count);
    return 0;
}

// Quits once the window's first paint has been flushed: the first timer or
// queued call that the event loop delivers after the paint comes when the
// repaint, flush included, has returned. (A timer started in the paint would
// also wait for whatever was queued before it, such as work the library
// starts when the window appears.)
class FirstFrame : public QObject {
public:
    explicit FirstFrame(const QWidget* window)
        : m_window(window)
    {
    }
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (!m_painted) {
            m_painted = event->type() == QEvent::Paint && watched == m_window;
            // So that one comes even when nothing else is queued.
            if (m_painted)
                QTimer::singleShot(0, qApp, [] {});
        } else if (!m_stamped && (event->type() == QEvent::Timer || event->type() == QEvent::MetaCall)) {
            m_stamped = true;
            timespec now {};
            clock_gettime(CLOCK_MONOTONIC, &now);
            int objects = 0;
            dl_iterate_phdr(countObject, &objects);
            std::printf("RESULT frame_ns=%lld objects=%d\n", (long long)now.tv_sec * 1000000000LL + now.tv_nsec,
                objects);
            std::fflush(stdout);
            QTimer::singleShot(0, qApp, &QCoreApplication::quit);
        }
        return QObject::eventFilter(watched, event);
    }

private:
    const QWidget* m_window;
    bool m_painted = false;
    bool m_stamped = false;
};

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
#ifdef VANTLES_LINKED
    // The link is kept even when no interface is made.
    VTContext settings;
    settings.set(VTContextInstallEventFilter, true);
    std::unique_ptr<Vantles::VTInterface> vantles;
    const QStringList arguments = app.arguments();
    const int data = int(arguments.indexOf(QStringLiteral("--interface")));
    if (data > 0 && data + 1 < arguments.size())
        vantles = std::make_unique<Vantles::VTInterface>(settings, QStringList { arguments.at(data + 1) });
#endif
    QMainWindow window;
    QToolBar* tools = window.addToolBar(QStringLiteral("File"));
    for (const char* name : { "actionNew", "actionOpen", "actionSave" }) {
        QAction* action = tools->addAction(QString::fromLatin1(name).mid(6));
        action->setObjectName(QString::fromLatin1(name));
    }
    window.setCentralWidget(new QTextEdit);
    window.resize(640, 480);
    FirstFrame watch(&window);
    app.installEventFilter(&watch);
    window.show();
    return app.exec();
}
