#include "VTView.h"

#include "VTContentUrlInterceptor_p.h"
#include "VTIndex.h"
#include "VTInterface.h"
#include "VTLogging_p.h"
#include "VTManager.h"
#include "VTNetworkAccessFactory_p.h"
#include "VTProblem.h"
#include "VTWidget.h"
#include "VTXmlElement.h"

#include <QApplication>
#include <QCursor>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QUrl>

#include <algorithm>

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
    std::unique_ptr<VTContentUrlInterceptor> interceptor;
    VTNetworkAccessFactory networkAccess;

    // Whether the file of @p attribute, which is @p path, must lie inside the
    // content's folders: unless the host's settings name it by an absolute
    // path, it must.
    bool mustStayInside(const QString& attribute, const QString& path) const;
    // The folders the content may use files of.
    QStringList contentFolders() const;
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
    return VTContentUrlInterceptor::canonicalFolders(manager->index()->componentPathsForElement(content, QString()));
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
        if (!contained || VTContentUrlInterceptor::isInside(candidate, folders))
            return info.absoluteFilePath();
        if (refused)
            *refused = true;
        reportForContent(VTMessageWarning,
            QStringLiteral("\"%1\" leads outside the package's folders (to %2): refused.")
                .arg(candidate, info.canonicalFilePath()));
    }
    return QString();
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

    // The interface reaches files of its package and of the QML modules
    // only, and the network not at all unless the host allows images.
    const QPointer<VTView> self(this);
    d->interceptor = std::make_unique<VTContentUrlInterceptor>(engine()->importPathList(), [self](const QUrl& url) {
        QMetaObject::invokeMethod(
            qApp,
            [self, url] {
                if (self)
                    self->d->reportForContent(VTMessageWarning,
                        QStringLiteral("The interface asked for %1, outside the package's folders: refused.")
                            .arg(url.toDisplayString()));
            },
            Qt::QueuedConnection);
    });
    const bool network = manager && manager->context()->get(VTContextAllowNetworkImages, false).toBool();
    d->interceptor->setNetworkAllowed(network);
    d->networkAccess.setNetworkAllowed(network);
    engine()->addUrlInterceptor(d->interceptor.get());
    engine()->setNetworkAccessManagerFactory(&d->networkAccess);
    setResizeMode(QQuickWidget::SizeViewToRootObject);
}

VTView::~VTView()
{
    // Tear the QML down first: its bindings may still read the content.
    setSource(QUrl());
    replaceContent(nullptr);
    engine()->removeUrlInterceptor(d->interceptor.get());
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
    d->stayOpen = stayOpen;
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
    d->reserved = reserved;
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
}

void VTView::replaceContent(VTXmlElement* content)
{
    VTXmlElement* old = d->content;
    // The QML must never see a deleted vantle: it reads the new one first,
    // and may use the files of its package from then on.
    if (old && old != content && rootObject()) {
        d->content = content;
        d->interceptor->setFolders(d->contentFolders() << d->interfaceFolder);
        engine()->rootContext()->setContextProperty(QStringLiteral("vantle"), content);
    }
    if (old && old != content) {
        d->content = nullptr;
        // Content from the index is a child of the document the index
        // parsed, which nothing else holds: the whole document goes. Any
        // other parent is the host's and stays.
        if (VTIndex::isParsedDocument(old->parent()))
            delete old->parent();
        else
            delete old;
    }
    d->content = content;
}

QDir VTView::packageRoot() const
{
    return QDir(d->packageRoot);
}

void VTView::setPackageRoot(const QDir& root)
{
    d->packageRoot = root.absolutePath();
}

bool VTView::documentationAvailable() const
{
    // The same default as the manager's gate for documentation topics.
    return d->manager && d->manager->context()->get(VTContextDocumentationEnabled, true).toBool();
}

int VTView::cornerRadius() const
{
    if (!d->manager || !VTWidget::windowsCanBeTranslucent())
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
    return simple ? QStringLiteral(":/vantles/ui/SimpleTooltip.qml") : QStringLiteral(":/vantles/ui/VantleUI.qml");
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
    const QFileInfo file(found);
    if (sourceFor(file.absoluteFilePath()) == source()
        && (file.lastModified() != d->loadedModified || file.size() != d->loadedSize)) {
        // Edited since it was loaded: the engine would hand out its old copy.
        setSource(QUrl());
        engine()->clearComponentCache();
    }
    d->loadedModified = file.lastModified();
    d->loadedSize = file.size();
    loadQML(found);
    if (status() == QQuickWidget::Error) {
        d->reportQmlErrors(VTMessageError, errors());
        return false;
    }
    return rootObject() != nullptr;
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
    if (d->manager)
        d->manager->handleMessage(VTMessageDebug, msg);
}

void VTView::openExternalResource(const QString& resourceLocator)
{
    if (!d->manager)
        return;
    if (d->userAction == 0) {
        d->reportForContent(VTMessageWarning,
            QStringLiteral("The interface asked to open \"%1\" without a click of the user: refused.")
                .arg(resourceLocator));
        return;
    }
    d->manager->openExternalResource(resourceLocator);
}

QString VTView::interpolate(const QString& string)
{
    return d->manager ? d->manager->interpolate(string) : string;
}

void VTView::setOverrideCursor(const QString& shape)
{
    QApplication::setOverrideCursor(QCursor(cursorShape(shape)));
}

void VTView::restoreOverrideCursor()
{
    QApplication::restoreOverrideCursor();
}

QString VTView::translate(const QString& string, const QString& context)
{
    if (d->manager && d->manager->interface())
        return d->manager->interface()->translateString(string, context);
    return string;
}

int VTView::getScaledSize(int size)
{
    return d->manager ? d->manager->getScaledSize(size) : size;
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

void VTView::loadQML(const QString& path)
{
    if (QFile::exists(path)) {
        // The interface file's own folder and the content's folders.
        d->interfaceFolder = QFileInfo(path).absolutePath();
        d->interceptor->setFolders(d->contentFolders() << d->interfaceFolder);
        const QUrl url = sourceFor(path);
        if (url != source())
            setSource(url);
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

void VTView::resizeEvent(QResizeEvent* event)
{
    QQuickWidget::resizeEvent(event);
    if (rootObject())
        Q_EMIT contentSizeChanged();
}

} // namespace Vantles
