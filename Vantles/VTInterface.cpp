// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTInterface.h"

#include "VTControlName_p.h"
#include "VTManager.h"

#include <QAbstractButton>
#include <QAction>
#include <QCursor>
#include <QDebug>
#include <QDesktopServices>
#include <QMenu>
#include <QMenuBar>
#include <QToolButton>
#include <QUrl>

namespace Vantles {

class VTInterfacePrivate {
public:
    VTManager* manager = nullptr;
};

VTInterface::VTInterface(VTContext& context, const QStringList& dataPath, VTIndex* index)
    : QObject(nullptr)
    , d(new VTInterfacePrivate)
{
    d->manager = new VTManager(this, context, dataPath, index);
}

VTInterface::~VTInterface()
{
    delete d->manager;
    d->manager = nullptr;
}

QWidget* VTInterface::createWindow(VTWindowType type)
{
    Q_UNUSED(type)
    return nullptr;
}

QString VTInterface::keyForObject(QObject* object)
{
    if (!object)
        return QString();
    if (QAction* action = actionForObject(object)) {
        const auto submenu = action->menu<QMenu*>();
        if (submenu && hasOwnName(submenu))
            return submenu->objectName();
        if (!action->objectName().isEmpty())
            return action->objectName();
        // An unnamed entry of a menu is none of the menu's own.
        if (qobject_cast<QMenu*>(object) || qobject_cast<QMenuBar*>(object))
            return QString();
    }
    if (hasOwnName(object) || !object->isWidgetType())
        return object->objectName();
    for (const QWidget* ancestor = static_cast<QWidget*>(object)->parentWidget(); ancestor;
         ancestor = ancestor->parentWidget()) {
        if (hasOwnName(ancestor)) {
            return QStringLiteral("%1/%2").arg(ancestor->objectName(), QLatin1String(object->metaObject()->className()));
        }
    }
    return QString();
}

QAction* VTInterface::actionForObject(QObject* object)
{
    if (auto action = qobject_cast<QAction*>(object))
        return action;
    if (auto button = qobject_cast<QToolButton*>(object))
        return button->defaultAction();
    if (auto menu = qobject_cast<QMenu*>(object))
        return menu->actionAt(menu->mapFromGlobal(QCursor::pos()));
    if (auto bar = qobject_cast<QMenuBar*>(object))
        return bar->actionAt(bar->mapFromGlobal(QCursor::pos()));
    return nullptr;
}

bool VTInterface::openExternalResource(VTExternalResourceType type, const QString& resource)
{
    if (type != VTExternalResourceUrl)
        return false;
    // Content chose the URL: only the web and mail leave the application.
    const QUrl url(resource);
    const QString scheme = url.scheme().toLower();
    if (scheme != QLatin1String("http") && scheme != QLatin1String("https") && scheme != QLatin1String("mailto")) {
        if (d->manager) {
            d->manager->handleMessage(VTMessageWarning,
                QStringLiteral("\"%1\" is not an http, https or mailto URL: not opened.").arg(resource));
        }
        return false;
    }
    return QDesktopServices::openUrl(url);
}

void VTInterface::handleMessage(VTMessageType type, const QString& message)
{
    QString level;
    switch (type) {
    case VTMessageError:
        level = QStringLiteral("ERROR");
        break;
    case VTMessageWarning:
        level = QStringLiteral("Warning");
        break;
    case VTMessageInformation:
        level = QStringLiteral("Information");
        break;
    case VTMessageDebug:
        level = QStringLiteral("DEBUG");
        break;
    default:
        level = QString::number(int(type));
        break;
    }
    const QString line = QStringLiteral("%1:%2").arg(level, message);
    qDebug() << line.toUtf8().constData();
}

QString VTInterface::translateString(const QString& string, const QString& context)
{
    return d->manager ? d->manager->translateString(string, context) : string;
}

QString VTInterface::shortCutForObject(const QString& key, QObject* object, const QString& shortcut)
{
    Q_UNUSED(key)
    QKeySequence sequence;
    if (QAction* action = actionForObject(object))
        sequence = action->shortcut();
    else if (auto button = qobject_cast<QAbstractButton*>(object))
        sequence = button->shortcut();
    // The application's shortcut is the one its user has: set by the
    // application or changed by the user since the content was written.
    return sequence.isEmpty() ? shortcut : sequence.toString(QKeySequence::NativeText);
}

bool VTInterface::show(const QString& key, const QPoint& globalPos, QObject* object)
{
    return d->manager->show(key, globalPos, object);
}

bool VTInterface::mouseButtonEventFilter(QObject* object, QMouseEvent* event)
{
    return d->manager->mouseButtonEventFilter(object, event);
}

bool VTInterface::mouseMoveEventFilter(QObject* object, QMouseEvent* event)
{
    return d->manager->mouseMoveEventFilter(object, event);
}

QStringList VTInterface::keys() const
{
    return d->manager->keys();
}

VTContext* VTInterface::context()
{
    return d->manager->context();
}

const VTContext* VTInterface::context() const
{
    return d->manager->context();
}

QString VTInterface::vantleAttribute(const QString& key, const QString& attribute, const QString& defaultValue)
{
    return d->manager->vantleAttribute(key, attribute, defaultValue);
}

void VTInterface::setGlobalProperty(const QString& name, const QVariant& value)
{
    d->manager->setGlobalProperty(name, value);
}

VTManager* VTInterface::manager() const
{
    return d->manager;
}

} // namespace Vantles
