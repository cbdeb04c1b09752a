// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>

#include <memory>

class QThread;

namespace Vantles {

class VTManager;
class VTXmlElement;

/**
 * Makes the manager's tooltip window ready before the first vantle is
 * shown, so that the user's first hover costs no more than a later one:
 * the window and its view with its QML engine, the library's interface
 * compiled and built (over placeholder content that is never shown), the
 * graphics driver loaded (on a thread of its own where the platform allows)
 * and the view's scene graph set up and rendered once without the window
 * appearing.
 *
 * The work starts once the application is idle after its first window
 * appeared (and setting VTContextPrepareDelay more), or at once when the
 * pointer enters a control that has a vantle. It goes in steps, each from
 * the event loop, so that input is handled in between, and it is done once:
 * a step finds what a show did already and leaves it, and a show before or
 * during the work simply takes over.
 *
 * With setting VTContextSoftwareRenderer, it also picks Qt Quick's software
 * renderer, before the process makes its first Qt Quick window.
 */
class VTWindowPreloader : public QObject {
    Q_OBJECT
public:
    /// Reads the settings of @p manager, which owns it and outlives it.
    explicit VTWindowPreloader(VTManager* manager);
    ~VTWindowPreloader() override;

    /// The pointer entered @p control: starts the work at once when the
    /// control has a vantle.
    void pointerEntered(QObject* control);

    /// Picks Qt Quick's software renderer when no Qt Quick window exists
    /// yet; false when it came too late.
    static bool useSoftwareRenderer();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    enum Step { Waiting, Scheduled, LoadDriver, MakeWindow, LoadInterface, StartGraphics, RenderView, Done };

    void schedule(int delay);
    void runStep();
    // Whether a show has put real content into the window.
    bool shown() const;
    bool windowAppeared() const;

    VTManager* m_manager;
    Step m_step = Waiting;
    QPointer<VTXmlElement> m_placeholder;
    QSet<QString> m_keys; // filled at the first pointer entry
    bool m_keysRead = false;
    std::unique_ptr<QThread> m_driver; // loads the OpenGL driver
};

} // namespace Vantles
