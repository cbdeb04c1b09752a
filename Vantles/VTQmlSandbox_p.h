// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QList>
#include <QObject>
#include <QPair>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <Vantles/VTProblem.h>

#include <functional>

class QQmlEngine;
class QQuickItem;
class QUrl;

namespace Vantles {

class VTQmlWatchdog;

/**
 * What one view's interface may do to the host, beyond what its QML engine
 * allows by itself.
 *
 * For every interface: a watchdog (VTQmlWatchdog) against JavaScript that
 * keeps the GUI thread and against memory growth, and the override cursors
 * the interface pushed, popped when it goes.
 *
 * For an untrusted interface: no window of its own (a QML Window loses its
 * platform window as it is shown, so it never maps), no change of the application's name,
 * organization, domain, version or display name (undone at once), no
 * Qt.openUrlExternally() of the local files and data the URL interceptor
 * lets through (the library handles QDesktopServices' "file" and "data"
 * schemes and passes on what no untrusted interface asked for), and actions
 * the user must ask for (pinning, links, the clipboard) only during a click
 * or key press.
 *
 * For every interface, too: a Repeater or an Instantiator makes all its
 * delegates in one go, in C++ where no watchdog can stop it, so one whose
 * model asks for more delegates than the memory budget allows (a delegate
 * counted as delegateCost bytes) makes none. QtCore's object hook tells of
 * each creator and delegate model group the interface makes, inside delegates
 * too: a creator is refused as its model is set, and one whose model grows
 * later (JavaScript enlarging it, a bound model changing) is stopped as its
 * delegate model's count changes, before it makes a delegate, and refused
 * as soon as the event loop runs again.
 *
 * Each refusal is reported once, with the QML file and line that asked for
 * it when JavaScript asked. GUI thread only.
 */
class VTQmlSandbox : public QObject {
    Q_OBJECT
public:
    /// @p report receives each refusal; a problem with no file is placed
    /// by it (at the vantle's definition).
    VTQmlSandbox(QQmlEngine* engine, std::function<void(const VTProblem&)> report, QObject* parent);
    ~VTQmlSandbox() override;

    bool isTrusted() const;
    /// Whether this sandbox guards an interface of @p engine now; with no
    /// engine, whether it guards one of any engine.
    bool isGuarding(const QQmlEngine* engine) const;
    /// Starts guarding a new interface: @p trusted, @p limitMs and
    /// @p memoryBudget as VTQmlWatchdog::arm() takes them.
    void begin(bool trusted, int limitMs, qint64 memoryBudget);
    /// Stops guarding: the interface is gone.
    void end();
    VTQmlWatchdog* watchdog() const;

    /// Bytes a delegate is counted as against the memory budget.
    static constexpr qint64 delegateCost = 8192;
    /// How many delegates one creator of the interface may make at once;
    /// 0 when any number may.
    double delegateLimit() const;
    /// Refuses @p creator (a Repeater or an Instantiator) of the interface
    /// a model that asks too much, each time one is set.
    void watchCreator(QObject* creator);
    /// Stops the creators of the interface that use the delegate model of
    /// @p group (one of its groups; the one of all items is watched) when
    /// its count grows past delegateLimit().
    void watchDelegateModelGroup(QObject* group);
    /// The number of delegates @p model (a "model" value of a Repeater or
    /// an Instantiator) stands for.
    static double delegateCount(const QVariant& model);

    /// The QML place of the JavaScript running now ("file", line), or an
    /// empty file when no JavaScript of this engine runs.
    QPair<QString, int> scriptPlace() const;
    /// Whether an untrusted interface's JavaScript asks for @p what (a
    /// sentence such as "to pin the vantle") outside a user's action, which
    /// is refused and reported; false for trusted interfaces, for calls not
    /// from JavaScript and while @p userAction.
    bool refusesWithoutUserAction(bool userAction, const QString& what);
    /// Reports a refusal of @p text at the running JavaScript's place, or
    /// at @p file:@p line when none runs.
    void refuse(const QString& text, const QString& file = QString(), int line = 0);

    /// Pushes an override cursor and counts it; popOverrideCursor() pops
    /// only what this interface pushed; restoreOverrideCursors() the rest.
    void pushOverrideCursor(int shape);
    void popOverrideCursor();
    void restoreOverrideCursors();

    bool eventFilter(QObject* watched, QEvent* event) override;

    /// For the URL handler: refuses @p url when an untrusted interface's
    /// JavaScript asks to open it.
    static bool refusesToOpen(const QUrl& url);

private Q_SLOTS:
    /// QDesktopServices' handler of the "file" and "data" schemes.
    void openDesktopUrl(const QUrl& url);
    /// A guarded creator's model changed: refuses it when it asks too much.
    void checkCreator();
    /// A guarded delegate model's count changed: stops the creators that
    /// would make too many delegates from it.
    void checkDelegateModel();

private:
    void checkApplicationIdentity();
    /// Whether @p creator was refused its model.
    bool refuseCreator(QObject* creator);
    void stopCreator(QObject* creator, QObject* model);
    void refuseStoppedCreators();
    void takeApplicationIdentity();

    QQmlEngine* const m_engine;
    const std::function<void(const VTProblem&)> m_report;
    VTQmlWatchdog* m_watchdog = nullptr;
    bool m_trusted = true;
    bool m_guarding = false;
    bool m_restoring = false;
    int m_overrideCursors = 0;
    qint64 m_memoryBudget = 0;
    bool m_refusingCreator = false;
    QList<QPointer<QObject>> m_creators;
    // Creators kept from making delegates until they are refused, with what
    // they had before.
    struct StoppedCreator {
        QPointer<QObject> creator;
        QPointer<QQuickItem> parentItem;
        bool wasActive;
    };
    QList<StoppedCreator> m_stopped;
    QStringList m_identity; // name, organization, domain, version, display name
};

} // namespace Vantles
