// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTQmlSandbox_p.h"

#include "VTQmlWatchdog_p.h"

#include <QAbstractItemModel>
#include <QCursor>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QJSValue>
#include <QMetaMethod>
#include <QPointer>
#include <QQmlEngine>
#include <QQmlInfo>
#include <QQuickItem>
#include <QSequentialIterable>
#include <QThread>
#include <QUrl>
#include <QWindow>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>

QT_BEGIN_NAMESPACE
// QtCore's hooks for debugging tools: entry 1 is the table's size, entry 3 a
// function called at the end of every QObject's base constructor.
extern Q_DECL_IMPORT quintptr qtHookData[];
QT_END_NAMESPACE

namespace Vantles {

namespace {

// Every live sandbox, for the URL handler, which the whole process shares.
QList<VTQmlSandbox*>& sandboxes()
{
    static QList<VTQmlSandbox*> list;
    return list;
}

VTQmlSandbox* urlHandler = nullptr;

const char* const desktopSchemes[] = { "file", "data" };

// The object hook hears of every creator an interface makes, those inside
// delegates too, which are made and completed in one go, and of every
// delegate model's group, whose count changes before delegates are made. An
// object is looked at as the next one is made, which is once it is
// constructed: a creator's first model makes its delegate model, before the
// model is set. The destroy hook forgets the last object as it goes.
enum { HookDataSize = 1, AddQObjectHook = 3, RemoveQObjectHook = 4 };
using ObjectCallback = void (*)(QObject*);
// Read by every thread that makes or destroys objects.
std::atomic<ObjectCallback> previousAddQObject { nullptr };
std::atomic<ObjectCallback> previousRemoveQObject { nullptr };
std::atomic<QThread*> hookThread { nullptr };
std::atomic_int guardingSandboxes { 0 }; // written on the GUI thread
std::atomic<QObject*> lastMade { nullptr }; // written on the GUI thread

enum class ObjectKind { Other, Creator, DelegateModelGroup };

// One walk up the class chain per object: QML types derived in QML have
// their own classes on top of Qt's.
ObjectKind kindOf(const QMetaObject* meta)
{
    for (; meta; meta = meta->superClass()) {
        const char* name = meta->className();
        if (name[0] != 'Q' || name[1] != 'Q')
            continue;
        if (!std::strcmp(name, "QQuickRepeater") || !std::strcmp(name, "QQmlInstantiator"))
            return ObjectKind::Creator;
        if (!std::strcmp(name, "QQmlDelegateModelGroup"))
            return ObjectKind::DelegateModelGroup;
    }
    return ObjectKind::Other;
}

void objectMade(QObject* object)
{
    if (const ObjectCallback previous = previousAddQObject.load())
        previous(object);
    if (guardingSandboxes.load(std::memory_order_relaxed) == 0 || QThread::currentThread() != hookThread.load())
        return;
    QObject* const previous = lastMade.load(std::memory_order_relaxed);
    lastMade.store(object, std::memory_order_relaxed);
    if (!previous)
        return;
    const ObjectKind kind = kindOf(previous->metaObject());
    if (kind == ObjectKind::Other)
        return;
    // A delegate model the view made itself has no engine of its own.
    QQmlEngine* const engine = qmlEngine(previous);
    for (VTQmlSandbox* sandbox : qAsConst(sandboxes())) {
        if (!sandbox->isGuarding(engine))
            continue;
        if (kind == ObjectKind::Creator)
            sandbox->watchCreator(previous);
        else
            sandbox->watchDelegateModelGroup(previous);
    }
}

void objectDestroyed(QObject* object)
{
    if (const ObjectCallback previous = previousRemoveQObject.load())
        previous(object);
    // Mostly another object: one plain read then.
    QObject* expected = object;
    if (lastMade.load(std::memory_order_relaxed) == object)
        lastMade.compare_exchange_strong(expected, nullptr);
}

// In place while some interface is guarded. A hook that a debugging tool
// put in after this one calls it still: it stays in their chain then.
bool hookInPlace = false;

void hookObjects(bool on)
{
    if (qtHookData[HookDataSize] <= RemoveQObjectHook)
        return;
    const quintptr made = reinterpret_cast<quintptr>(&objectMade);
    const quintptr destroyed = reinterpret_cast<quintptr>(&objectDestroyed);
    if (on && !hookInPlace) {
        hookThread = QCoreApplication::instance()->thread();
        previousAddQObject = reinterpret_cast<ObjectCallback>(qtHookData[AddQObjectHook]);
        previousRemoveQObject = reinterpret_cast<ObjectCallback>(qtHookData[RemoveQObjectHook]);
        qtHookData[AddQObjectHook] = made;
        qtHookData[RemoveQObjectHook] = destroyed;
        hookInPlace = true;
    } else if (!on && hookInPlace && qtHookData[AddQObjectHook] == made && qtHookData[RemoveQObjectHook] == destroyed) {
        qtHookData[AddQObjectHook] = reinterpret_cast<quintptr>(previousAddQObject.load());
        qtHookData[RemoveQObjectHook] = reinterpret_cast<quintptr>(previousRemoveQObject.load());
        hookInPlace = false;
        lastMade = nullptr;
    }
}

QStringList applicationIdentity()
{
    return { QCoreApplication::applicationName(), QCoreApplication::organizationName(),
        QCoreApplication::organizationDomain(), QCoreApplication::applicationVersion(),
        QGuiApplication::applicationDisplayName() };
}

} // namespace

VTQmlSandbox::VTQmlSandbox(QQmlEngine* engine, std::function<void(const VTProblem&)> report, QObject* parent)
    : QObject(parent)
    , m_engine(engine)
    , m_report(std::move(report))
    , m_watchdog(new VTQmlWatchdog(engine, this))
{
    sandboxes().append(this);
    // The interface writes Qt.application through these setters; a change
    // is undone while its JavaScript runs.
    auto app = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    if (app) {
        connect(app, &QCoreApplication::applicationNameChanged, this, &VTQmlSandbox::checkApplicationIdentity);
        connect(app, &QCoreApplication::organizationNameChanged, this, &VTQmlSandbox::checkApplicationIdentity);
        connect(app, &QCoreApplication::organizationDomainChanged, this, &VTQmlSandbox::checkApplicationIdentity);
        connect(app, &QCoreApplication::applicationVersionChanged, this, &VTQmlSandbox::checkApplicationIdentity);
        connect(app, &QGuiApplication::applicationDisplayNameChanged, this, &VTQmlSandbox::checkApplicationIdentity);
    }
}

VTQmlSandbox::~VTQmlSandbox()
{
    end();
    sandboxes().removeAll(this);
    if (urlHandler == this) {
        for (const char* scheme : desktopSchemes)
            QDesktopServices::unsetUrlHandler(QLatin1String(scheme));
        urlHandler = nullptr;
    }
}

bool VTQmlSandbox::isTrusted() const
{
    return m_trusted;
}

bool VTQmlSandbox::isGuarding(const QQmlEngine* engine) const
{
    return m_guarding && (!engine || engine == m_engine);
}

VTQmlWatchdog* VTQmlSandbox::watchdog() const
{
    return m_watchdog;
}

void VTQmlSandbox::begin(bool trusted, int limitMs, qint64 memoryBudget)
{
    end();
    m_trusted = trusted;
    m_guarding = true;
    if (guardingSandboxes++ == 0)
        hookObjects(true);
    takeApplicationIdentity();
    if (!trusted) {
        QCoreApplication::instance()->installEventFilter(this);
        if (!urlHandler) {
            for (const char* scheme : desktopSchemes)
                QDesktopServices::setUrlHandler(QLatin1String(scheme), this, "openDesktopUrl");
            urlHandler = this;
        }
    }
    m_memoryBudget = memoryBudget;
    m_watchdog->arm(limitMs, memoryBudget);
}

double VTQmlSandbox::delegateLimit() const
{
    return m_memoryBudget > 0 ? double(m_memoryBudget / delegateCost) : 0;
}

double VTQmlSandbox::delegateCount(const QVariant& model)
{
    QVariant value = model;
    if (value.metaType() == QMetaType::fromType<QJSValue>()) {
        const QJSValue script = value.value<QJSValue>();
        if (script.isArray())
            return script.property(QStringLiteral("length")).toNumber();
        if (script.isNumber())
            return std::max(0.0, script.toNumber());
        if (!script.isQObject())
            return script.isUndefined() || script.isNull() ? 0 : 1;
        value = QVariant::fromValue(script.toQObject());
    }
    if (value.metaType().flags() & QMetaType::PointerToQObject) {
        QObject* object = value.value<QObject*>();
        if (auto items = qobject_cast<QAbstractItemModel*>(object))
            return items->rowCount();
        const QVariant count = object ? object->property("count") : QVariant();
        return count.isValid() ? count.toDouble() : (object ? 1 : 0);
    }
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Float: {
        const double count = value.toDouble();
        return std::isnan(count) ? 0 : std::max(0.0, count);
    }
    default:
        break;
    }
    if (value.canConvert<QVariantList>())
        return value.value<QSequentialIterable>().size();
    return value.isValid() ? 1 : 0;
}

void VTQmlSandbox::watchCreator(QObject* creator)
{
    // Bindings set the model as the build completes, before the creator
    // completes and makes its delegates.
    static const QMetaMethod check = staticMetaObject.method(staticMetaObject.indexOfSlot("checkCreator()"));
    const QMetaObject* meta = creator->metaObject();
    const int changed = meta->indexOfSignal("modelChanged()");
    if (changed >= 0)
        connect(creator, meta->method(changed), this, check, Qt::UniqueConnection);
    // Creators come and go with the delegates they sit in: the gone ones
    // are dropped as the list doubles.
    if (m_creators.size() >= 64 && (m_creators.size() & (m_creators.size() - 1)) == 0)
        m_creators.removeAll(nullptr);
    m_creators.append(creator);
    // An Instantiator keeps what it is given until it completes, without a
    // word: its model written in the QML is there already.
    if (creator->inherits("QQmlInstantiator"))
        refuseCreator(creator);
}

void VTQmlSandbox::watchDelegateModelGroup(QObject* group)
{
    // The group of all items tells of a new count as the first thing, before
    // the creators using the model hear of it or make anything.
    static const QMetaMethod check = staticMetaObject.method(staticMetaObject.indexOfSlot("checkDelegateModel()"));
    const int changed = group->metaObject()->indexOfSignal("countChanged()");
    if (changed >= 0 && group->property("name").toString() == QLatin1String("items"))
        connect(group, group->metaObject()->method(changed), this, check, Qt::UniqueConnection);
}

void VTQmlSandbox::checkCreator()
{
    if (QObject* creator = sender())
        refuseCreator(creator);
}

void VTQmlSandbox::checkDelegateModel()
{
    QObject* const items = sender();
    QObject* const model = items ? items->parent() : nullptr;
    const double limit = delegateLimit();
    if (!model || limit <= 0 || m_refusingCreator || items->property("count").toDouble() <= limit)
        return;
    // A view's own model makes only the delegates in sight. A Repeater's
    // own has no parent; an Instantiator's is its child.
    QObject* const owner = model->parent();
    const bool ownedByCreator = owner && kindOf(owner->metaObject()) == ObjectKind::Creator;
    if (owner && !ownedByCreator && !qmlEngine(model))
        return;
    m_creators.removeAll(nullptr);
    const QList<QPointer<QObject>> creators = ownedByCreator ? QList<QPointer<QObject>> { owner } : m_creators;
    for (const QPointer<QObject>& creator : creators) {
        if (creator && delegateCount(creator->property("model")) > limit)
            stopCreator(creator, model);
    }
}

void VTQmlSandbox::stopCreator(QObject* creator, QObject* model)
{
    // The creator would make the delegates as soon as this signal returns,
    // from the model's update or its own: a Repeater deaf to the one and
    // without a parent item for the other, an Instantiator inactive, it
    // makes none until it is refused.
    StoppedCreator stopped { creator, nullptr, false };
    if (auto item = qobject_cast<QQuickItem*>(creator)) {
        if (model->metaObject()->indexOfSignal("modelUpdated(QQmlChangeSet,bool)") >= 0)
            disconnect(model, "2modelUpdated(QQmlChangeSet,bool)", creator, nullptr);
        stopped.parentItem = item->parentItem();
        item->setParentItem(nullptr);
    } else {
        stopped.wasActive = creator->property("active").toBool();
        creator->setProperty("active", false);
    }
    if (m_stopped.isEmpty())
        QMetaObject::invokeMethod(this, &VTQmlSandbox::refuseStoppedCreators, Qt::QueuedConnection);
    m_stopped.append(stopped);
}

void VTQmlSandbox::refuseStoppedCreators()
{
    const QList<StoppedCreator> stopped = std::exchange(m_stopped, {});
    for (const StoppedCreator& creator : stopped) {
        if (!creator.creator)
            continue;
        auto item = qobject_cast<QQuickItem*>(creator.creator.data());
        if (!refuseCreator(creator.creator) && item) {
            // Its model shrank again: a new model connects the Repeater to
            // its updates again.
            const QVariant model = item->property("model");
            item->setProperty("model", QVariantList());
            item->setProperty("model", model);
        }
        if (item && creator.parentItem)
            item->setParentItem(creator.parentItem);
        else if (!item && creator.wasActive)
            creator.creator->setProperty("active", true);
    }
}

bool VTQmlSandbox::refuseCreator(QObject* creator)
{
    const double limit = delegateLimit();
    if (limit <= 0 || m_refusingCreator)
        return false;
    const double asked = delegateCount(creator->property("model"));
    if (asked <= limit)
        return false;
    m_refusingCreator = true;
    // An empty list, not 0: an Instantiator given 0 keeps its delegate
    // model's count.
    creator->setProperty("model", QVariantList());
    m_refusingCreator = false;
    qmlWarning(creator) << QStringLiteral(
        "It asks for %1 delegates, more than the %2 that the interface's memory budget allows: it makes none.")
                               .arg(QString::number(asked, 'f', 0), QString::number(limit, 'f', 0));
    return true;
}

void VTQmlSandbox::end()
{
    m_watchdog->disarm();
    if (QCoreApplication::instance())
        QCoreApplication::instance()->removeEventFilter(this);
    restoreOverrideCursors();
    if (m_guarding && --guardingSandboxes == 0)
        hookObjects(false);
    m_guarding = false;
    m_creators.clear();
}

QPair<QString, int> VTQmlSandbox::scriptPlace() const
{
    if (!m_engine || m_engine->isInterrupted())
        return {};
    // The first line is the evaluation's own frame, the next the JavaScript
    // that called into the library: "function@url:line".
    const QStringList frames = m_engine->evaluate(QStringLiteral("new Error().stack")).toString().split(QLatin1Char('\n'));
    for (int i = 1; i < frames.size(); ++i) {
        const QString& frame = frames.at(i);
        const int at = frame.indexOf(QLatin1Char('@'));
        const int colon = frame.lastIndexOf(QLatin1Char(':'));
        if (at < 0 || colon <= at)
            continue;
        const QUrl url(frame.mid(at + 1, colon - at - 1));
        return { url.isLocalFile() ? url.toLocalFile() : url.toString(), frame.mid(colon + 1).toInt() };
    }
    return {};
}

void VTQmlSandbox::refuse(const QString& text, const QString& file, int line)
{
    if (!m_report)
        return;
    const QPair<QString, int> place = scriptPlace();
    if (!place.first.isEmpty())
        m_report({ VTMessageWarning, place.first, place.second, 0, text });
    else
        m_report({ VTMessageWarning, file, line, 0, text });
}

bool VTQmlSandbox::refusesWithoutUserAction(bool userAction, const QString& what)
{
    if (m_trusted || userAction || !m_guarding)
        return false;
    const QPair<QString, int> place = scriptPlace();
    if (place.first.isEmpty())
        return false;
    m_report({ VTMessageWarning, place.first, place.second, 0,
        QStringLiteral("An untrusted interface asked %1 without a click or key press of the user: refused.")
            .arg(what) });
    return true;
}

void VTQmlSandbox::pushOverrideCursor(int shape)
{
    QGuiApplication::setOverrideCursor(QCursor(Qt::CursorShape(shape)));
    ++m_overrideCursors;
}

void VTQmlSandbox::popOverrideCursor()
{
    // Never more than it pushed: the rest of the stack is the host's.
    if (m_overrideCursors == 0)
        return;
    QGuiApplication::restoreOverrideCursor();
    --m_overrideCursors;
}

void VTQmlSandbox::restoreOverrideCursors()
{
    while (m_overrideCursors > 0)
        popOverrideCursor();
}

bool VTQmlSandbox::eventFilter(QObject* watched, QEvent* event)
{
    // A window of the untrusted interface is taken down before its platform
    // window shows: destroying it inside its show leaves nothing to show.
    if (event->type() == QEvent::Show && watched->isWindowType() && !m_trusted && qmlEngine(watched) == m_engine) {
        auto window = static_cast<QWindow*>(watched);
        window->destroy();
        const QPointer<QObject> object(watched);
        QMetaObject::invokeMethod(
            this,
            [object] {
                if (object)
                    qmlWarning(object) << QStringLiteral(
                        "An untrusted interface may not open windows of its own: this window is refused.");
            },
            Qt::QueuedConnection);
        return true;
    }
    return QObject::eventFilter(watched, event);
}

bool VTQmlSandbox::refusesToOpen(const QUrl& url)
{
    for (VTQmlSandbox* sandbox : qAsConst(sandboxes())) {
        if (!sandbox->m_guarding || sandbox->m_trusted)
            continue;
        const QPair<QString, int> place = sandbox->scriptPlace();
        if (place.first.isEmpty())
            continue;
        sandbox->m_report({ VTMessageWarning, place.first, place.second, 0,
            QStringLiteral("An untrusted interface asked to open %1 on the desktop: refused.")
                .arg(url.toDisplayString().left(200)) });
        return true;
    }
    return false;
}

void VTQmlSandbox::openDesktopUrl(const QUrl& url)
{
    // Inside its handler QDesktopServices goes to the desktop directly.
    if (!refusesToOpen(url))
        QDesktopServices::openUrl(url);
}

void VTQmlSandbox::takeApplicationIdentity()
{
    m_identity = applicationIdentity();
}

void VTQmlSandbox::checkApplicationIdentity()
{
    // A name change also tells of a display name change: each change once.
    if (m_restoring || applicationIdentity() == m_identity)
        return;
    if (m_trusted || !m_guarding || scriptPlace().first.isEmpty()) {
        // The host's own change.
        takeApplicationIdentity();
        return;
    }
    const QStringList changed = applicationIdentity();
    QStringList values;
    for (int i = 0; i < changed.size(); ++i) {
        if (changed.at(i) != m_identity.at(i))
            values.append(QStringLiteral("\"%1\"").arg(changed.at(i)));
    }
    m_restoring = true;
    QCoreApplication::setApplicationName(m_identity.at(0));
    QCoreApplication::setOrganizationName(m_identity.at(1));
    QCoreApplication::setOrganizationDomain(m_identity.at(2));
    QCoreApplication::setApplicationVersion(m_identity.at(3));
    // Unless set on its own, the display name follows the name.
    if (QGuiApplication::applicationDisplayName() != m_identity.at(4))
        QGuiApplication::setApplicationDisplayName(m_identity.at(4));
    m_restoring = false;
    values.removeDuplicates();
    refuse(QStringLiteral("An untrusted interface may not change the application's name, organization, domain, "
                          "version or display name (it set %1): refused.")
               .arg(values.join(QLatin1String(", "))));
}

} // namespace Vantles
