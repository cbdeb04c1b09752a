// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "DemoVantles.h"

#include "DemoWindow.h"

#include <Vantles/VTManager.h>
#include <Vantles/VTView.h>
#include <Vantles/VTWidget.h>
#include <Vantles/VTXmlElement.h>

#include <Vantles/VTContext.h>

#include <QApplication>
#include <QDebug>
#include <QDir>

DemoVantles::DemoVantles(VTContext& context, const QStringList& dataPath, DemoWindow* window)
    : VTInterface(context, dataPath)
    , m_window(window)
{
}

void DemoVantles::configure(VTContext& settings, const QString& dataFolder)
{
    settings.set(VTContextInstallEventFilter, true);
    settings.set(VTContextFallbackKey, QStringLiteral("unknownControl"));
    settings.set(VTContextDocumentationEnabled, true);
    settings.set(VTContextKeyDataFile, QDir(dataFolder).filePath(QStringLiteral("VantleKeys.xml")));
    settings.set(VTContextCurrentLocale, QStringLiteral("en_US"));
    settings.set(VTContextFadeInDuration, 120);
    settings.set(VTContextTimerInterval, 1500);
}

void DemoVantles::setGlobalProperties()
{
    manager()->setGlobalProperty(QStringLiteral("appName"), QApplication::applicationName());
    manager()->setGlobalProperty(QStringLiteral("undoLimit"), 100);
}

bool DemoVantles::openExternalResource(Vantles::VTExternalResourceType type, const QString& resource)
{
    if (type == Vantles::VTExternalResourceDocumentation && m_window) {
        m_window->showHelpTopic(resource);
        return true;
    }
    return VTInterface::openExternalResource(type, resource);
}

QWidget* DemoVantles::createWindow(Vantles::VTWindowType type)
{
    if (type != Vantles::VTWindowReserved || !m_window)
        return nullptr;
    // Asked for while the vantle being pinned is still the current one: the
    // dock takes the title it shows.
    QString title;
    Vantles::VTWidget* pinned = manager()->widget();
    Vantles::VTXmlElement* content = pinned && pinned->view() ? pinned->view()->content() : nullptr;
    if (Vantles::VTXmlElement* titleElement = content ? content->childElement(QStringLiteral("title")) : nullptr)
        title = titleElement->content().simplified();
    return m_window->newPinnedVantleHolder(title);
}

void DemoVantles::handleMessage(Vantles::VTMessageType type, const QString& message)
{
    qInfo().noquote() << "vantles:" << int(type) << message;
}
