// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTView.h"

#include "VTContentUrlInterceptor_p.h"
#include "VTIndex.h"
#include "VTInterface.h"
#include "VTLogging_p.h"
#include "VTManager.h"
#include "VTNetworkAccessFactory_p.h"
#include "VTPathGuard_p.h"
#include "VTProblem.h"
#include "VTQmlSandbox_p.h"
#include "VTQmlWatchdog_p.h"
#include "VTWidget.h"
#include "VTXmlElement.h"

#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QCursor>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <QQmlComponent>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QResizeEvent>
#include <QSGRendererInterface>
#include <QScreen>
#include <QSet>
#include <QTextDocument>
#include <QTextDocumentFragment>
#include <QThread>
#include <QUrl>

#include <algorithm>
#include <atomic>

namespace Vantles {

class VTViewPrivate {
public:
    QPointer<VTManager> manager; // outlived by the window the manager deletes later
    VTXmlElement* content = nullptr;
    QString packageRoot;
    // The folder of the interface file loaded, whose files it may use.
    QString interfaceFolder;
    // The version of the loaded interface file, to load it again once it changed.
    QDateTime loadedModified;
    qint64 loadedSize = -1;
    bool stayOpen = false;
    bool reserved = false;
    // Above zero while a click or key press of the user is delivered.
    int userAction = 0;
    bool clearingClipboard = false;
    std::unique_ptr<VTContentUrlInterceptor> interceptor;
    VTNetworkAccessFactory networkAccess;
    VTQmlSandbox* sandbox = nullptr;
    // Set by the interceptor, from any thread, when it refused a module.
    std::atomic_bool moduleRefused { false };
    // Whether the components the engine holds were compiled for trusted
    // content: untrusted content must not find modules already imported.
    bool cacheTrusted = true;
    // Interface files, by version, that the watchdog stopped: not loaded again.
    QSet<QString> stopped;
    QString loadedPath;

    static QString fileVersion(const QFileInfo& file)
    {
        return QStringLiteral("%1|%2|%3")
            .arg(file.absoluteFilePath(), QString::number(file.size()),
                QString::number(file.lastModified().toMSecsSinceEpoch()));
    }
    // Whether the interface at @p path runs as trusted content.
    bool trusts(const QString& path, bool namedByHost) const;

    // Whether the file of @p attribute, which is @p path, must lie inside the
    // content's folders: unless the host's settings name it by an absolute
    // path, it must.
    bool mustStayInside(const QString& attribute, const QString& path) const;
    // The folders the content may use files of, canonical. Found once per
    // content: each folder is a file system lookup, and a show asks often.
    QStringList contentFolders() const;
    mutable QStringList knownFolders;
    mutable bool foldersKnown = false;
    // The first of @p candidates that exists and, when @p contained, lies in
    // the content's folders; the others that exist are reported as refused,
    // and *refused tells whether there were any.
    QString usableCandidate(const QStringList& candidates, bool contained, bool* refused = nullptr) const;

    // Reports a problem of the current content at the place its vantle is
    // defined.
    void reportForContent(VTMessageType type, const QString& text) const;
    void reportQmlErrors(VTMessageType type, const QList<QQmlError>& errors) const;
};

void VTViewPrivate::reportForContent(VTMessageType type, const QString& text) const
{
    if (!manager)
        return;
    VTProblem problem { type, QString(), 0, 0, text };
    if (content) {
        const QString file = content->attribute(QStringLiteral("VTLocation"));
        const VTKeyDefinition definition = manager->index()
            ? manager->index()->definition(file, content->attribute(QStringLiteral("key")))
            : VTKeyDefinition();
        problem.file = file;
        problem.line = definition.line;
        problem.column = definition.column;
    }
    manager->report(problem);
}

bool VTViewPrivate::mustStayInside(const QString& attribute, const QString& path) const
{
    if (QDir::isRelativePath(path))
        return true;
    if (!content)
        return false;
    auto parent = qobject_cast<const VTXmlElement*>(content->parent());
    return content->hasAttribute(attribute) || (parent && parent->hasAttribute(attribute));
}

QStringList VTViewPrivate::contentFolders() const
{
    if (!manager || !manager->index())
        return {};
    if (!foldersKnown) {
        knownFolders
            = VTPathGuard::canonicalFolders(manager->index()->componentPathsForElement(content, QString()));
        foldersKnown = true;
    }
    return knownFolders;
}

QString VTViewPrivate::usableCandidate(const QStringList& candidates, bool contained, bool* refused) const
{
    if (refused)
        *refused = false;
    const QStringList folders = contained ? contentFolders() : QStringList();
    for (const QString& candidate : candidates) {
        const QFileInfo info(candidate);
        if (!info.exists())
            continue;
        if (!contained || VTPathGuard::isInside(candidate, folders))
            return info.absoluteFilePath();
        if (refused)
            *refused = true;
        reportForContent(VTMessageWarning,
            QStringLiteral("\"%1\" leads outside the package's folders (to %2): refused.")
                .arg(candidate, info.canonicalFilePath()));
    }
    return QString();
}

bool VTViewPrivate::trusts(const QString& path, bool namedByHost) const
{
    return namedByHost || (manager && manager->isTrusted(path));
}

void VTViewPrivate::reportQmlErrors(VTMessageType type, const QList<QQmlError>& errors) const
{
    if (!manager)
        return;
    for (const QQmlError& error : errors) {
        const QString file = error.url().isLocalFile() ? error.url().toLocalFile() : error.url().toString();
        manager->report({ type, file, qMax(0, error.line()), qMax(0, error.column()), error.description() });
    }
}

// An action that assistive technology asks for (a screen reader's "press"
// on a link) is the user's own act, as a click is. On Linux it arrives as a
// call from the AT-SPI bus, which Qt's bridge receives as an event of its
// adaptor: delivered here, the call's length is known.
class AssistiveCalls : public QObject {
public:
    static bool inProgress() { return depth > 0; }
    static void watch()
    {
        static QPointer<AssistiveCalls> watcher;
        if (!watcher && qApp) {
            watcher = new AssistiveCalls(qApp);
            qApp->installEventFilter(watcher);
        }
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() != QEvent::MetaCall || depth > 0 || !watched->inherits("AtSpiAdaptor"))
            return false;
        ++depth;
        watched->event(event);
        --depth;
        return true;
    }

private:
    using QObject::QObject;
    static int depth;
};

int AssistiveCalls::depth = 0;

// The URL of an interface file: a local file, or one of the library's
// resources (":/...").
static QUrl sourceFor(const QString& path)
{
    if (path.startsWith(QLatin1String(":/")))
        return QUrl(QLatin1String("qrc") + path);
    return QUrl::fromLocalFile(path);
}

// "a", "a or b", "a, b or c"
static QString alternatives(const QStringList& paths)
{
    if (paths.size() < 2)
        return paths.value(0);
    return QStringLiteral("%1 or %2").arg(paths.mid(0, paths.size() - 1).join(QLatin1String(", ")), paths.last());
}

static Qt::CursorShape cursorShape(const QString& name)
{
    if (name == QLatin1String("PointingHandCursor"))
        return Qt::PointingHandCursor;
    if (name == QLatin1String("IBeamCursor"))
        return Qt::IBeamCursor;
    if (name == QLatin1String("BlankCursor"))
        return Qt::BlankCursor;
    return Qt::ArrowCursor;
}

VTView::VTView(VTManager* manager, QWidget* parent)
    : QQuickWidget(parent)
    , d(new VTViewPrivate)
{
    d->manager = manager;
    connect(engine(), &QQmlEngine::warnings, this, &VTView::handleWarnings);
    AssistiveCalls::watch();

    // The interface reaches files of its package and of the QML modules
    // only, and the network not at all unless the host allows images.
    const QPointer<VTView> self(this);
    d->interceptor = std::make_unique<VTContentUrlInterceptor>(engine()->importPathList(),
        [self, this](const QUrl& url, VTContentUrlInterceptor::Refusal refusal, qint64 bytes) {
            // May run on the QML loader's thread: the view is alive while its
            // engine loads.
            const QString module
                = refusal == VTContentUrlInterceptor::Module ? d->interceptor->moduleOf(url) : QString();
            if (!module.isEmpty())
                d->moduleRefused = true;
            QString text;
            switch (refusal) {
            case VTContentUrlInterceptor::Module:
                text = QStringLiteral("An untrusted interface may not import the QML module %1: refused.").arg(module);
                break;
            case VTContentUrlInterceptor::WorkerScript:
                text = QStringLiteral("An untrusted interface may not run the worker script %1: refused.")
                           .arg(url.toDisplayString());
                break;
            case VTContentUrlInterceptor::LargeImage:
                text = QStringLiteral("The image %1 would take %2 MiB of memory, past what is left of the interface's "
                                      "memory budget: refused.")
                           .arg(url.toDisplayString(), QString::number(bytes >> 20));
                break;
            case VTContentUrlInterceptor::Outside:
                text = QStringLiteral("The interface asked for %1, outside the package's folders: refused.")
                           .arg(url.toDisplayString());
                break;
            }
            QMetaObject::invokeMethod(
                qApp,
                [self, text] {
                    if (self)
                        self->d->reportForContent(VTMessageWarning, text);
                },
                Qt::QueuedConnection);
        });
    const bool network = manager && manager->context()->get(VTContextAllowNetworkImages, false).toBool();
    d->interceptor->setNetworkAllowed(network);
    d->networkAccess.setNetworkAllowed(network);
    engine()->addUrlInterceptor(d->interceptor.get());
    engine()->setNetworkAccessManagerFactory(&d->networkAccess);
    setResizeMode(QQuickWidget::SizeViewToRootObject);

    d->sandbox = new VTQmlSandbox(
        engine(),
        [self](const VTProblem& problem) {
            if (!self || !self->d->manager)
                return;
            if (problem.file.isEmpty())
                self->d->reportForContent(problem.type, problem.text);
            else
                self->d->manager->report(problem);
        },
        this);
    connect(d->sandbox->watchdog(), &VTQmlWatchdog::tripped, this, [this] { stopInterface(); });
    // Clipboards change synchronously inside the JavaScript that writes
    // them (TextEdit.copy()); what an untrusted interface wrote on its own
    // is taken out again, so that nothing it chose is pasted.
    connect(QGuiApplication::clipboard(), &QClipboard::changed, this, [this](QClipboard::Mode mode) {
        if (d->clearingClipboard
            || !d->sandbox->refusesWithoutUserAction(d->userAction > 0, QStringLiteral("to write to the clipboard")))
            return;
        d->clearingClipboard = true;
        QGuiApplication::clipboard()->clear(mode);
        d->clearingClipboard = false;
    });
}

VTView::~VTView()
{
    d->sandbox->end();
    // Tear the QML down first: its bindings may still read the content.
    setSource(QUrl());
    releaseWorkerScripts();
    replaceContent(nullptr);
    engine()->removeUrlInterceptor(d->interceptor.get());
    // Before the engine it guards, which the base class deletes.
    delete d->sandbox;
    d->sandbox = nullptr;
}

VTManager* VTView::manager() const
{
    return d->manager;
}

bool VTView::stayOpen() const
{
    return d->stayOpen;
}

void VTView::setStayOpen(bool stayOpen)
{
    if (stayOpen && d->sandbox->refusesWithoutUserAction(d->userAction > 0, QStringLiteral("to keep the vantle open")))
        return;
    d->stayOpen = stayOpen;
    const VTQmlWatchdog::HostCall call(d->sandbox->watchdog());
    Q_EMIT stayOpenChanged();
}

bool VTView::reserved() const
{
    return d->reserved;
}

void VTView::setReserved(bool reserved)
{
    if (d->reserved == reserved)
        return;
    if (reserved && d->sandbox->refusesWithoutUserAction(d->userAction > 0, QStringLiteral("to pin the vantle")))
        return;
    d->reserved = reserved;
    // Pinning makes windows, and maybe asks the host for one.
    const VTQmlWatchdog::HostCall call(d->sandbox->watchdog());
    Q_EMIT reservedChanged();
}

VTXmlElement* VTView::content()
{
    return d->content;
}

const VTXmlElement* VTView::content() const
{
    return d->content;
}

void VTView::setContent(VTXmlElement* content)
{
    d->content = content;
    d->foldersKnown = false;
}

void VTView::replaceContent(VTXmlElement* content)
{
    VTXmlElement* old = d->content;
    // The QML must never see a deleted vantle: it reads the new one first,
    // and may use the files of its package from then on.
    if (old && old != content && rootObject()) {
        d->content = content;
        d->foldersKnown = false;
        d->interceptor->setFolders(d->contentFolders() << d->interfaceFolder);
        engine()->rootContext()->setContextProperty(QStringLiteral("vantle"), content);
    }
    if (old && old != content) {
        d->content = nullptr;
        d->foldersKnown = false;
        // Content from the index is a child of the document the index
        // parsed, which nothing else holds: the whole document goes. Any
        // other parent is the host's and stays.
        if (VTIndex::isParsedDocument(old->parent()))
            delete old->parent();
        else
            delete old;
    }
    d->content = content;
    d->foldersKnown = false;
}

QDir VTView::packageRoot() const
{
    return QDir(d->packageRoot);
}

void VTView::setPackageRoot(const QDir& root)
{
    d->packageRoot = root.absolutePath();
}

bool VTView::isTrusted() const
{
    return d->sandbox->isTrusted();
}

bool VTView::documentationAvailable() const
{
    // The same default as the manager's gate for documentation topics.
    return d->manager && d->manager->context()->get(VTContextDocumentationEnabled, true).toBool();
}

int VTView::cornerRadius() const
{
    if (!d->manager)
        return 0;
    // In a vantle window: whether that window was made translucent, which
    // it keeps, rather than asking the window system again on every show.
    const auto* vantle = qobject_cast<const VTWidget*>(parentWidget());
    if (vantle ? !vantle->testAttribute(Qt::WA_TranslucentBackground) : !VTWidget::windowsCanBeTranslucent())
        return 0;
    return qMax(0, d->manager->getScaledSize(d->manager->context()->get(VTContextCornerRadius, 4).toInt()));
}

QString VTView::categoryPath(const QString& attribute, const QString& defaultValue, contextKey key) const
{
    QString result;
    if (d->content) {
        if (d->content->hasAttribute(attribute)) {
            result = d->content->attribute(attribute);
        } else if (auto parent = qobject_cast<const VTXmlElement*>(d->content->parent())) {
            if (parent->hasAttribute(attribute))
                result = parent->attribute(attribute);
        }
    }
    if (result.isEmpty() && d->manager)
        result = d->manager->context()->get(key, defaultValue).toString();
    return result;
}

QStringList VTView::componentCandidates(
    const QString& attribute, contextKey key, const QString& defaultValue, const QString& relativePath) const
{
    if (!d->manager || !d->manager->index())
        return {};
    QStringList candidates
        = d->manager->index()->componentPathsForElement(d->content, categoryPath(attribute, defaultValue, key));
    if (!relativePath.isEmpty()) {
        for (QString& candidate : candidates)
            candidate = QDir(candidate).absoluteFilePath(relativePath);
    }
    return candidates;
}

QString VTView::findComponent(
    const QString& attribute, contextKey key, const QString& defaultValue, const QString& relativePath) const
{
    const bool contained
        = !relativePath.isEmpty() || d->mustStayInside(attribute, categoryPath(attribute, defaultValue, key));
    bool refused = false;
    const QString found
        = d->usableCandidate(componentCandidates(attribute, key, defaultValue, relativePath), contained, &refused);
    if (!found.isEmpty() || refused)
        return found;
    return categoryPath(attribute, defaultValue, key);
}

// The interface of the current mode: the content's attribute, the setting
// that names the file and the file named by default.
struct InterfaceChoice {
    QString attribute;
    VTContextKey key;
    QString defaultFile;
    QString builtIn;
};

static InterfaceChoice interfaceChoice(const VTManager* manager)
{
    const bool simple = manager && manager->context()->get(VTContextUseSimpleInterface, QVariant(false)).toBool();
    if (simple) {
        return { QStringLiteral("simple"), VTContextSimpleInterfaceFile, QStringLiteral("ui/SimpleTooltip.qml"),
            VTView::builtInInterfacePath(true) };
    }
    return { QStringLiteral("ui"), VTContextFullInterfaceFile, QStringLiteral("ui/VantleUI.qml"),
        VTView::builtInInterfacePath(false) };
}

QString VTView::builtInInterfacePath(bool simple)
{
    return simple ? QStringLiteral(":/com/zelvane/vantles/qml/ui/SimpleTooltip.qml")
                  : QStringLiteral(":/com/zelvane/vantles/qml/ui/VantleUI.qml");
}

QString VTView::uiRootFilePath() const
{
    const InterfaceChoice choice = interfaceChoice(d->manager);
    const QString path = findComponent(choice.attribute, choice.key, choice.defaultFile, QString());
    if (!path.isEmpty() && !QFileInfo::exists(path))
        return choice.builtIn;
    return path;
}

bool VTView::loadInterface()
{
    const InterfaceChoice choice = interfaceChoice(d->manager);
    const QString category = categoryPath(choice.attribute, choice.defaultFile, choice.key);
    const QStringList candidates = componentCandidates(choice.attribute, choice.key, choice.defaultFile, QString());
    bool refused = false;
    QString found = d->usableCandidate(candidates, d->mustStayInside(choice.attribute, category), &refused);
    if (found.isEmpty()) {
        if (refused)
            return false;
        // A package without an interface of its own gets the library's; one
        // that names a file it does not have is told so.
        if (category != choice.defaultFile) {
            d->reportForContent(VTMessageWarning,
                QStringLiteral("Can't find the interface file of this vantle: looked for %1. The library's own "
                               "interface is shown instead.")
                    .arg(candidates.isEmpty() ? category : alternatives(candidates)));
        }
        found = choice.builtIn;
    }
    const bool namedByHost = found == choice.builtIn || !d->mustStayInside(choice.attribute, category);
    if (!loadGuarded(found, d->trusts(found, namedByHost)))
        return false;
    if (status() == QQuickWidget::Error) {
        d->reportQmlErrors(VTMessageError, errors());
        // Refused modules leave the vantle to the library's own interface.
        if (d->moduleRefused && found != choice.builtIn) {
            d->reportForContent(VTMessageWarning,
                QStringLiteral("The interface %1 uses QML modules untrusted packages may not use; the library's own "
                               "interface is shown instead.")
                    .arg(found));
            return loadGuarded(choice.builtIn, true) && status() != QQuickWidget::Error && rootObject();
        }
        return false;
    }
    return rootObject() != nullptr;
}

bool VTView::loadGuarded(const QString& path, bool trusted)
{
    const QFileInfo file(path);
    if (d->stopped.contains(VTViewPrivate::fileVersion(file)))
        return false;
    const bool edited = file.lastModified() != d->loadedModified || file.size() != d->loadedSize;
    if (sourceFor(file.absoluteFilePath()) == source() && (edited || trusted != d->cacheTrusted)) {
        // Edited since it was loaded: the engine would hand out its old copy.
        setSource(QUrl());
    }
    if (edited || trusted != d->cacheTrusted) {
        // Neither an old copy nor modules imported for other content.
        engine()->clearComponentCache();
        d->cacheTrusted = trusted;
    }
    d->loadedModified = file.lastModified();
    d->loadedSize = file.size();
    d->loadedPath = file.absoluteFilePath();
    d->moduleRefused = false;
    QStringList modules;
    if (!trusted && d->manager) {
        modules = QStringList { QStringLiteral("QtQuick"), QStringLiteral("QtQuick.Layouts"), QStringLiteral("QtQml"),
            QStringLiteral("QtQml.Models"), QStringLiteral("QtQml.WorkerScript"),
            QStringLiteral("com.zelvane.vantles.qml") }
            + d->manager->context()->get(VTContextUntrustedExtraModules).toStringList();
    }
    d->interceptor->setAllowedModules(modules);

    // Never larger than the screen, whatever size the root item asks for:
    // the window adds its shadow and one pixel around the view.
    QScreen* screen = window()->screen() ? window()->screen() : QGuiApplication::primaryScreen();
    if (screen) {
        QSize area = screen->availableGeometry().size() - QSize(1, 1);
        if (auto tooltip = qobject_cast<VTWidget*>(parentWidget()))
            area = area.shrunkBy(tooltip->shadowMargins());
        setMaximumSize(area.expandedTo(QSize(1, 1)));
    }

    const VTContext* context = d->manager ? d->manager->context() : nullptr;
    const qint64 budget = context ? context->get(VTContextInterfaceMemoryBudget, qint64(256) << 20).toLongLong() : 0;
    d->interceptor->setImageBudget(budget);
    d->sandbox->begin(trusted, context ? context->get(VTContextScriptTimeLimit, 500).toInt() : 500, budget);
    loadQML(path);
    if (d->sandbox->watchdog()->hasTripped()) {
        stopInterface();
        return false;
    }
    return true;
}

void VTView::stopInterface()
{
    VTQmlWatchdog* watchdog = d->sandbox->watchdog();
    if (!watchdog->hasTripped())
        return;
    const VTQmlWatchdog::Trip trip = watchdog->trip();
    const QString file = trip.file.isEmpty() ? d->loadedPath : trip.file;
    const int line = trip.line > 0 ? trip.line : VTQmlWatchdog::lineOf(file, trip.function);
    const QString what = trip.function.isEmpty() ? QStringLiteral("Its JavaScript")
                                                 : QStringLiteral("Its JavaScript (%1)").arg(trip.function);
    const VTContext* context = d->manager ? d->manager->context() : nullptr;
    const QString text = trip.reason == VTQmlWatchdog::Trip::Time
        ? QStringLiteral(
            "%1 held the application for more than %2 ms: the interface was stopped and its vantle closed.")
              .arg(what, QString::number(context ? context->get(VTContextScriptTimeLimit, 500).toInt() : 0))
        : QStringLiteral("The interface made the application grow by %1 MiB, more than the %2 MiB it may: it was "
                         "stopped and its vantle closed.")
              .arg(QString::number(trip.grownBy >> 20),
                  QString::number(
                      (context ? context->get(VTContextInterfaceMemoryBudget, qint64(256) << 20).toLongLong() : 0)
                      >> 20));
    d->stopped.insert(VTViewPrivate::fileVersion(QFileInfo(d->loadedPath)));
    // Everything the interface still runs fails while the engine is
    // interrupted, its handlers for its own destruction too.
    d->sandbox->end();
    setSource(QUrl());
    engine()->clearComponentCache();
    engine()->setInterrupted(false);
    if (d->manager)
        d->manager->report({ VTMessageWarning, file, line, 0, text });
    if (auto window = qobject_cast<VTWidget*>(parentWidget()))
        window->hide();
}

void VTView::releaseWorkerScripts()
{
    // The worker scripts' thread: a script that never ends would keep the
    // engine's destruction waiting for ever, so such a thread is let go.
    for (QThread* thread : engine()->findChildren<QThread*>(QString(), Qt::FindDirectChildrenOnly)) {
        if (!thread->isRunning())
            continue;
        thread->quit();
        if (!thread->wait(200)) {
            thread->setParent(nullptr);
            d->reportForContent(VTMessageWarning,
                QStringLiteral("A worker script of the interface did not end with it; it is left running apart."));
        }
    }
}

QString VTView::resourceDirectoryPath() const
{
    // "resource" here and "resources" in findResource(): content written for
    // either spelling keeps working.
    return categoryPath(QStringLiteral("resource"), QStringLiteral("Resources"), VTContextResourceFolder);
}

QString VTView::findResource(const QString& relativePath)
{
    const QString path = findComponent(
        QStringLiteral("resources"), VTContextResourceFolder, QStringLiteral("Resources"), relativePath);
    const QStringList candidates = componentCandidates(
        QStringLiteral("resources"), VTContextResourceFolder, QStringLiteral("Resources"), relativePath);
    const bool refused = std::any_of(
        candidates.cbegin(), candidates.cend(), [](const QString& candidate) { return QFileInfo::exists(candidate); });
    if (!relativePath.isEmpty() && !QFileInfo::exists(path) && !refused) {
        const QStringList folders = componentCandidates(
            QStringLiteral("resources"), VTContextResourceFolder, QStringLiteral("Resources"), QString());
        d->reportForContent(VTMessageWarning,
            QStringLiteral("Can't find the resource \"%1\": looked in %2.")
                .arg(relativePath, folders.isEmpty() ? path : alternatives(folders)));
    }
    return path;
}

void VTView::setItemCursor(QQuickItem* object, const QString& shape, const QString& tag)
{
    Q_UNUSED(tag)
    if (!object)
        return;
    if (shape.isEmpty())
        object->unsetCursor();
    else
        object->setCursor(QCursor(cursorShape(shape)));
}

void VTView::debugLog(const QString& msg)
{
    const VTQmlWatchdog::HostCall call(d->sandbox->watchdog());
    if (d->manager)
        d->manager->handleMessage(VTMessageDebug, msg);
}

void VTView::openExternalResource(const QString& resourceLocator)
{
    if (!d->manager)
        return;
    if (d->userAction == 0 && !AssistiveCalls::inProgress()) {
        d->reportForContent(VTMessageWarning,
            QStringLiteral("The interface asked to open \"%1\" without a click of the user: refused.")
                .arg(resourceLocator));
        return;
    }
    const VTQmlWatchdog::HostCall call(d->sandbox->watchdog());
    d->manager->openExternalResource(resourceLocator);
}

QString VTView::interpolate(const QString& string)
{
    return d->manager ? d->manager->interpolate(string) : string;
}

void VTView::setOverrideCursor(const QString& shape)
{
    d->sandbox->pushOverrideCursor(cursorShape(shape));
}

void VTView::restoreOverrideCursor()
{
    d->sandbox->popOverrideCursor();
}

QString VTView::translate(const QString& string, const QString& context)
{
    const VTQmlWatchdog::HostCall call(d->sandbox->watchdog());
    if (d->manager && d->manager->interface())
        return d->manager->interface()->translateString(string, context);
    return string;
}

int VTView::getScaledSize(int size)
{
    return d->manager ? d->manager->getScaledSize(size) : size;
}

QString VTView::plainText(const QString& text) const
{
    return (Qt::mightBeRichText(text) ? QTextDocumentFragment::fromHtml(text).toPlainText() : text).simplified();
}

void VTView::statusHasChanged(QQuickWidget::Status s)
{
    if (s != QQuickWidget::Error || !d->manager)
        return;
    for (const QQmlError& error : errors()) {
        d->manager->handleMessage(VTMessageDebug,
            QStringLiteral("Error %1:%2:%3")
                .arg(QString::number(error.line()), QString::number(error.column()), error.description()));
    }
}

void VTView::build(const QUrl& url)
{
    // What setSource() does, with the root at hand.
    setSource(QUrl());
    auto component = new QQmlComponent(engine(), url, QQmlComponent::PreferSynchronous, this);
    QPointer<QObject> root = component->isReady() ? component->create(engine()->rootContext()) : nullptr;
    QQuickWidget::setContent(url, component, root.data());
    // A window as the root is no root the view takes (its status is Error
    // then), and the view does not delete it either.
    if (root && root != rootObject())
        root->deleteLater();
}

void VTView::loadQML(const QString& path)
{
    if (QFile::exists(path)) {
        // The interface file's own folder and the content's folders.
        d->interfaceFolder = QFileInfo(path).absolutePath();
        d->interceptor->setFolders(d->contentFolders() << d->interfaceFolder);
        const QUrl url = sourceFor(path);
        if (url != source())
            build(url);
    } else if (d->manager) {
        d->manager->handleMessage(VTMessageDebug, QStringLiteral("Can't find :%1").arg(path));
    }
}

void VTView::handleWarnings(const QList<QQmlError>& warnings)
{
    if (!d->manager)
        return;
    d->reportQmlErrors(VTMessageWarning, warnings);
    for (const QQmlError& warning : warnings) {
        d->manager->handleMessage(VTMessageDebug,
            QStringLiteral("QML Warning %1:%2:%3")
                .arg(QString::number(warning.line()), QString::number(warning.column()), warning.description()));
    }
}

void VTView::resetState()
{
    // The cursor the interface set goes with it.
    d->sandbox->restoreOverrideCursors();
    if (QQuickItem* root = rootObject())
        root->setProperty("state", QString());
}

void VTView::managerContextSettingDidChange(VTContextKey key)
{
    if (key == VTContextDocumentationEnabled)
        Q_EMIT documentationAvailableChanged();
}

// The user's own input: the interface may open links while it is delivered.
void VTView::mousePressEvent(QMouseEvent* event)
{
    ++d->userAction;
    QQuickWidget::mousePressEvent(event);
    --d->userAction;
}

void VTView::mouseReleaseEvent(QMouseEvent* event)
{
    ++d->userAction;
    QQuickWidget::mouseReleaseEvent(event);
    --d->userAction;
}

void VTView::keyPressEvent(QKeyEvent* event)
{
    ++d->userAction;
    QQuickWidget::keyPressEvent(event);
    --d->userAction;
}

// Assistive technology hears of the view getting the focus (once this
// returns), not of the item in it that has it: told after that, a screen
// reader says the item.
void VTView::focusInEvent(QFocusEvent* event)
{
    QQuickWidget::focusInEvent(event);
    if (!QAccessible::isActive())
        return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            QQuickItem* item = quickWindow()->activeFocusItem();
            if (hasFocus() && item && item != rootObject() && item != quickWindow()->contentItem()) {
                QAccessibleEvent focus(item, QAccessible::Focus);
                QAccessible::updateAccessibility(&focus);
            }
        },
        Qt::QueuedConnection);
}

// Children first: a positioner or layout sizes itself from its children's
// sizes once they have been laid out.
static void polishTree(QQuickItem* item)
{
    const QList<QQuickItem*> children = item->childItems();
    for (QQuickItem* child : children)
        polishTree(child);
    item->ensurePolished();
}

void VTView::settle()
{
    QQuickItem* root = rootObject();
    if (!root)
        return;
    // Positioners and layouts place their items, and so give the root item
    // its size, only when the scene is polished for a frame.
    polishTree(root);
    // As QQuickWidget sizes the view to its root item, which it does on a
    // timer after the frame that changed the root item's size.
    const QSize before = size();
    const QSize wanted(int(root->width()), int(root->height()));
    if (wanted.isValid() && wanted != before) {
        resize(wanted);
        updateGeometry();
    }
    // A resize renders the scene (at once, or when a hidden view is shown),
    // and so does the show of a hidden view with OpenGL. QQuickWidget's
    // software renderer otherwise renders on a timer, 5 ms on, and a window
    // that shows before then shows the last vantle: it renders now.
    const QSGRendererInterface* renderer = quickWindow()->rendererInterface();
    if (size() != before || before.isEmpty() || !renderer || renderer->graphicsApi() != QSGRendererInterface::Software)
        return;
    QResizeEvent unchanged(before, before);
    QQuickWidget::resizeEvent(&unchanged);
    update();
}

void VTView::resizeEvent(QResizeEvent* event)
{
    QQuickWidget::resizeEvent(event);
    if (rootObject())
        Q_EMIT contentSizeChanged();
}

} // namespace Vantles
