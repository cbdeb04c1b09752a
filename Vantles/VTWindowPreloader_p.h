// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QObject>
#include <QSet>
#include <QString>

#include <memory>

class QThread;

namespace Vantles {

class VTManager;

/**
 * Starts making the manager's tooltip window ready before the first vantle
 * is shown, so that the user's first hover costs no more than a later one.
 * It opens the view library (Qt Quick with it) on a thread of its own and
 * hands the work over to it: the window and its view with its QML engine, the library's interface
 * built, the graphics driver loaded and the scene graph rendered once
 * without the window appearing.
 *
 * The work starts once the application is idle after its first window
 * appeared (and setting VTContextPrepareDelay more), or at once when the
 * pointer enters a control that has a vantle. It is done once: a show
 * before or during the work simply takes over.
 *
 * With setting VTContextSoftwareRenderer, it opens the view library at once
 * to pick Qt Quick's software renderer, before the process makes its first
 * Qt Quick window.
 */
class VTWindowPreloader : public QObject {
    Q_OBJECT
public:
    explicit VTWindowPreloader(VTManager* manager);
    ~VTWindowPreloader() override;

    void pointerEntered(QObject* control);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    enum Step { Waiting, Scheduled, Done };

    void schedule(int delay);
    void prepare();
    bool windowAppeared() const;

    VTManager* m_manager;
    Step m_step = Waiting;
    QSet<QString> m_keys; // filled at the first pointer entry
    bool m_keysRead = false;
    std::unique_ptr<QThread> m_loader; // opens the view library
};

} // namespace Vantles
