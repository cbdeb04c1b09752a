// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTVantleRenderer.h"
#include "VTQuietInterface.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTInterface.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTVideoComponent.h>
#include <Vantles/VTView.h>
#include <Vantles/VTWidget.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QPalette>
#include <QPixmap>
#include <QQuickItem>

#include <functional>

using namespace Vantles;

namespace {

bool waitFor(const std::function<bool()>& ready, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!ready()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return true;
}

void settle(int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

} // namespace

class VTVantleRendererPrivate {
public:
    VTVantleRenderer::Options options;
    VTContext context;
    std::unique_ptr<VTQuietInterface> interface;
    QString errorString;
};

VTVantleRenderer::VTVantleRenderer(const Options& options)
    : d(new VTVantleRendererPrivate)
{
    d->options = options;
    if (!options.locale.isEmpty())
        d->context.set(VTContextCurrentLocale, options.locale);
    if (!options.keyDataFile.isEmpty())
        d->context.set(VTContextKeyDataFile, QFileInfo(options.keyDataFile).absoluteFilePath());
    d->context.set(VTContextUseSimpleInterface, options.simple);
    d->context.set(VTContextInterfaceScale, options.scale);
    // Nothing may hide or fade the window while it is pictured.
    d->context.set(VTContextTimerInterval, 0.0f);
    d->context.set(VTContextFadeInDuration, 0);
}

VTVantleRenderer::~VTVantleRenderer() = default;

QImage VTVantleRenderer::render()
{
    d->interface.reset(new VTQuietInterface(d->context, d->options.dataPath));
    VTManager* manager = d->interface->manager();
    if (!manager->show(d->options.key, QPoint(0, 0), nullptr)) {
        d->errorString = manager->widget() && manager->widget()->view() && manager->widget()->view()->content()
            ? QStringLiteral("The vantle \"%1\" cannot be shown.").arg(d->options.key)
            : QStringLiteral("There is no vantle for the key \"%1\".").arg(d->options.key);
        return QImage();
    }
    VTWidget* window = manager->widget();
    VTView* view = window->view();
    if (!waitFor([&] { return window->isVisible() && view->rootObject(); }, 5000)) {
        d->errorString = QStringLiteral("The interface of \"%1\" did not load.").arg(d->options.key);
        return QImage();
    }

    // A clip is pictured on its first frame.
    for (VTVideoComponent* clip : view->rootObject()->findChildren<VTVideoComponent*>()) {
        if (clip->source().isEmpty())
            continue;
        waitFor([&] { return clip->loadProgress() > 0.0; }, 5000);
        // The interface sees the clip loaded (and may start playing it) first.
        settle(50);
        clip->setState(VTVideoComponent::pausedState);
        clip->setPosition(0);
        waitFor([&] { return !clip->frame().isNull() && clip->frame().timestamp == 0.0; }, 5000);
    }

    // The window follows its content's size, which may change while images
    // load: wait until it stays put.
    QSize size;
    waitFor(
        [&] {
            settle(100);
            const bool stable = window->size() == size;
            size = window->size();
            return stable;
        },
        3000);
    return window->grab().toImage();
}

QString VTVantleRenderer::errorString() const
{
    return d->errorString;
}

QList<VTProblem> VTVantleRenderer::problems() const
{
    return d->interface ? d->interface->manager()->problems() : QList<VTProblem>();
}

QPalette VTVantleRenderer::darkPalette()
{
    QPalette palette;
    const QColor window(0x2b, 0x2b, 0x2b);
    const QColor text(0xe8, 0xe8, 0xe8);
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, QColor(0x1e, 0x1e, 0x1e));
    palette.setColor(QPalette::AlternateBase, QColor(0x32, 0x32, 0x32));
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, QColor(0x35, 0x35, 0x35));
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::ToolTipBase, QColor(0x3a, 0x3a, 0x3a));
    palette.setColor(QPalette::ToolTipText, QColor(0xf0, 0xf0, 0xf0));
    palette.setColor(QPalette::PlaceholderText, QColor(0xa0, 0xa0, 0xa0));
    palette.setColor(QPalette::Highlight, QColor(0x35, 0x84, 0xe4));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(0x8a, 0xb4, 0xf8));
    palette.setColor(QPalette::LinkVisited, QColor(0xc5, 0x8a, 0xf9));
    palette.setColor(QPalette::Mid, QColor(0x50, 0x50, 0x50));
    palette.setColor(QPalette::Dark, QColor(0x20, 0x20, 0x20));
    palette.setColor(QPalette::Light, QColor(0x60, 0x60, 0x60));
    palette.setColor(QPalette::Shadow, Qt::black);
    return palette;
}
