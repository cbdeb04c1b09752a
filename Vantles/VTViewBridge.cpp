// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTViewBridge_p.h"

#include "VTView.h"
#include "VTWidget.h"
#include "VTWindowPreparation_p.h"

#include <Vantles/vantlesview_export.h>

namespace Vantles {

static VTWidget* asWidget(QWidget* window)
{
    return static_cast<VTWidget*>(window);
}

static const VTWidget* asWidget(const QWidget* window)
{
    return static_cast<const VTWidget*>(window);
}

static VTView* viewOf(const QWidget* window)
{
    return asWidget(window)->view();
}

QWidget* VTViewBridge::createWindow(VTManager* manager, QWidget* parent)
{
    VTWindowPreparation::pickRenderer(manager);
    auto window = new VTWidget(manager, parent, nullptr);
    window->setView(new VTView(manager, window));
    return window;
}

void VTViewBridge::prepare(VTManager* manager)
{
    (new VTWindowPreparation(manager))->start();
}

bool VTViewBridge::useSoftwareRenderer()
{
    return VTWindowPreparation::useSoftwareRenderer();
}

void VTViewBridge::setHostUsesQtQuick(bool uses)
{
    VTWindowPreparation::setHostUsesQtQuick(uses);
}

VTWidget* VTViewBridge::widget(QWidget* window)
{
    return asWidget(window);
}

QWidget* VTViewBridge::window(VTWidget* widget)
{
    return widget;
}

QWidget* VTViewBridge::referenceWidget(const QWidget* window)
{
    return asWidget(window)->referenceWidget();
}

void VTViewBridge::showWithContent(
    QWidget* window, QObject* reference, const QPoint& pos, VTXmlElement* content, const QString& rootPath)
{
    asWidget(window)->showWithContent(reference, pos, content, rootPath);
}

void VTViewBridge::hideAnimated(QWidget* window)
{
    asWidget(window)->hideAnimated();
}

void VTViewBridge::hideAnimationFinished(QWidget* window)
{
    asWidget(window)->hideAnimationFinished();
}

qreal VTViewBridge::fadeLevel(const QWidget* window)
{
    return asWidget(window)->fadeLevel();
}

bool VTViewBridge::isSafe(const QWidget* window, const QPoint& pos)
{
    return asWidget(window)->isSafe(pos);
}

void VTViewBridge::checkMousePosition(QWidget* window, const QPoint& pos)
{
    asWidget(window)->checkMousePosition(pos);
}

void VTViewBridge::setShownByKeyboard(QWidget* window, bool byKeyboard)
{
    asWidget(window)->setShownByKeyboard(byKeyboard);
}

bool VTViewBridge::isShownByKeyboard(const QWidget* window)
{
    return asWidget(window)->isShownByKeyboard();
}

VTXmlElement* VTViewBridge::content(const QWidget* window)
{
    VTView* view = viewOf(window);
    return view ? view->content() : nullptr;
}

void VTViewBridge::replaceContent(QWidget* window, VTXmlElement* content)
{
    if (VTView* view = viewOf(window))
        view->replaceContent(content);
}

bool VTViewBridge::reserved(const QWidget* window)
{
    const VTView* view = viewOf(window);
    return view && view->reserved();
}

void VTViewBridge::setReserved(QWidget* window, bool reserved)
{
    if (VTView* view = viewOf(window))
        view->setReserved(reserved);
}

bool VTViewBridge::stayOpen(const QWidget* window)
{
    const VTView* view = viewOf(window);
    return view && view->stayOpen();
}

void VTViewBridge::setStayOpen(QWidget* window, bool stayOpen)
{
    if (VTView* view = viewOf(window))
        view->setStayOpen(stayOpen);
}

QString VTViewBridge::findComponent(const QWidget* window, const QString& attribute, VTContextKey key,
    const QString& defaultValue, const QString& relativePath)
{
    const VTView* view = viewOf(window);
    return view ? view->findComponent(attribute, key, defaultValue, relativePath) : QString();
}

QStringList VTViewBridge::componentCandidates(const QWidget* window, const QString& attribute, VTContextKey key,
    const QString& defaultValue, const QString& relativePath)
{
    const VTView* view = viewOf(window);
    return view ? view->componentCandidates(attribute, key, defaultValue, relativePath) : QStringList();
}

} // namespace Vantles

extern "C" VANTLESVIEW_EXPORT Vantles::VTViewLibrary* vantlesViewLibrary(int abi)
{
    static Vantles::VTViewBridge bridge;
    return abi == Vantles::VTViewLibraryAbi ? &bridge : nullptr;
}
