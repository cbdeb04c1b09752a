#include "VTView.h"

#include "VTIndex.h"
#include "VTInterface.h"
#include "VTManager.h"
#include "VTXmlElement.h"

#include <QApplication>
#include <QCursor>
#include <QFileInfo>
#include <QPointer>
#include <QQmlEngine>
#include <QQuickItem>
#include <QUrl>

namespace Vantles {

class VTViewPrivate {
public:
    QPointer<VTManager> manager; // outlived by the window the manager deletes later
    VTXmlElement* content = nullptr;
    QString packageRoot;
    bool stayOpen = false;
    bool reserved = false;
};

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
    // Warnings go to the host through handleWarnings(), not to stderr.
    engine()->setOutputWarningsToStandardError(false);
    connect(engine(), &QQmlEngine::warnings, this, &VTView::handleWarnings);
    setResizeMode(QQuickWidget::SizeViewToRootObject);
}

VTView::~VTView()
{
    // Tear the QML down first: its bindings may still read the content.
    setSource(QUrl());
    replaceContent(nullptr);
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
    if (old && old != content) {
        d->content = nullptr;
        // Content from the index is a child of the parsed document's root,
        // which nothing else holds: the whole document goes.
        if (auto root = qobject_cast<VTXmlElement*>(old->parent()))
            delete root;
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
    return d->manager && d->manager->context()->get(VTContextDocumentationEnabled, QVariant()).toBool();
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

QString VTView::findComponent(
    const QString& attribute, contextKey key, const QString& defaultValue, const QString& relativePath) const
{
    const QString category = categoryPath(attribute, defaultValue, key);
    if (!d->manager || !d->manager->index())
        return category;
    const QStringList paths = d->manager->index()->componentPathsForElement(d->content, category);
    for (const QString& path : paths) {
        const QString candidate = relativePath.isEmpty() ? path : QDir(path).absoluteFilePath(relativePath);
        const QFileInfo info(candidate);
        if (info.exists())
            return info.absoluteFilePath();
    }
    return category;
}

QString VTView::uiRootFilePath() const
{
    const bool simple = d->manager && d->manager->context()->get(VTContextUseSimpleInterface, QVariant(false)).toBool();
    if (simple)
        return findComponent(
            QStringLiteral("simple"), VTContextSimpleInterfaceFile, QStringLiteral("ui/SimpleTooltip.qml"), QString());
    return findComponent(
        QStringLiteral("ui"), VTContextFullInterfaceFile, QStringLiteral("ui/VantleUI.qml"), QString());
}

QString VTView::resourceDirectoryPath() const
{
    // "resource" here and "resources" in findResource(): content written for
    // either spelling keeps working.
    return categoryPath(QStringLiteral("resource"), QStringLiteral("Resources"), VTContextResourceFolder);
}

QString VTView::findResource(const QString& relativePath)
{
    return findComponent(
        QStringLiteral("resources"), VTContextResourceFolder, QStringLiteral("Resources"), relativePath);
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
    if (d->manager)
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
            QStringLiteral("Error %1:%2:%3").arg(error.line()).arg(error.column()).arg(error.description()));
    }
}

void VTView::loadQML(const QString& path)
{
    if (QFile::exists(path)) {
        const QUrl url = QUrl::fromLocalFile(path);
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
    for (const QQmlError& warning : warnings) {
        d->manager->handleMessage(VTMessageDebug,
            QStringLiteral("QML Warning %1:%2:%3")
                .arg(warning.line())
                .arg(warning.column())
                .arg(warning.description()));
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

void VTView::resizeEvent(QResizeEvent* event)
{
    QQuickWidget::resizeEvent(event);
    if (rootObject())
        Q_EMIT contentSizeChanged();
}

} // namespace Vantles
