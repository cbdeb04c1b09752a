// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTVideoComponent.h"

#include "VTContext.h"
#include "VTManager.h"
#include "VTProblem.h"
#include "VTVideoController.h"
#include "VTVideoFrameCache.h"
#include "VTVideoSourceFFMPEG.h"
#include "VTView.h"

#include <QApplication>
#include <QFileInfo>
#include <QPainter>
#include <QQuickWindow>
#include <QUrl>

namespace Vantles {

VTVideoComponent::VTVideoComponent(QQuickItem* parent)
    : QQuickPaintedItem(parent)
    , m_videoSource(new VTVideoSourceFFMPEG(this))
    , m_controller(new VTVideoController(m_videoSource, this))
{
    connect(m_controller, &VTVideoController::displayFrame, this, &VTVideoComponent::frameReady);
    connect(m_controller, &VTVideoController::stateChanged, this, &VTVideoComponent::sourceChangedState);
    connect(m_controller, &VTVideoController::positionChanged, this, &VTVideoComponent::controllerPositionChanged);
    connect(m_controller, &VTVideoController::heightChanged, this, &VTVideoComponent::contentHeightChanged);
    connect(m_controller, &VTVideoController::widthChanged, this, &VTVideoComponent::contentWidthChanged);
    connect(m_controller, &VTVideoController::loadProgressChanged, this, &VTVideoComponent::loadProgressChanged);
    // A clip that cannot be played stops the item and is reported once, at
    // the clip's path, to the host of the view showing it.
    connect(m_videoSource, &VTVideoSource::sourceFailed, this, [this](const QString& path, const QString& reason) {
        m_controller->setState(VTVideoController::stoppedState);
        if (m_view && m_view->manager())
            m_view->manager()->report({ VTMessageWarning, path, 0, 0, reason });
    });
    m_controller->start(QThread::InheritPriority);
    m_videoSource->start(QThread::InheritPriority);
}

VTVideoComponent::~VTVideoComponent()
{
    // Both are told first, so that they end side by side.
    m_controller->setShouldQuit();
    m_videoSource->setShouldQuit();
    m_controller->quit();
    m_videoSource->quit();
    m_videoSource->wait();
    m_controller->wait();
}

VTVideoController* VTVideoComponent::controller() const
{
    return m_controller;
}

VTVideoSourceFFMPEG* VTVideoComponent::videoSource() const
{
    return m_videoSource;
}

VTVideoFrame VTVideoComponent::frame() const
{
    return m_currentFrame;
}

QString VTVideoComponent::source() const
{
    return m_sourceText;
}

void VTVideoComponent::setSource(const QString& text)
{
    if (text.isEmpty()) {
        // No clip: its frames are freed and its picture goes.
        m_controller->setSource(QUrl());
        m_sourceText = text;
        m_currentFrame = VTVideoFrame();
        update();
    }
    m_pendingSource = text;
    if (resolveSource())
        m_pendingSource.clear();
}

// Resolves the pending source through the vantle's view; false while the
// item is in no window holding one.
bool VTVideoComponent::resolveSource()
{
    QQuickWindow* scene = window();
    if (!scene)
        return false;
    bool resolved = false;
    for (QWidget* widget : QApplication::allWidgets()) {
        auto view = qobject_cast<VTView*>(widget);
        if (!view || view->quickWindow() != scene)
            continue;
        m_view = view;
        if (VTManager* manager = view->manager()) {
            m_videoSource->setMemoryBudget(
                manager->context()->get(VTContextVideoMemoryBudget, VTVideoFrameCache::defaultBudget).toLongLong());
        }
        const QString path = view->findResource(m_pendingSource);
        m_sourceText = m_pendingSource;
        // A clip that is not there shows nothing, not the clip before it.
        const bool found = !m_pendingSource.isEmpty() && QFileInfo(path).isFile();
        m_controller->setSource(found ? QUrl::fromLocalFile(path) : QUrl());
        m_currentFrame = VTVideoFrame();
        update();
        resolved = true;
    }
    return resolved;
}

void VTVideoComponent::itemChange(ItemChange change, const ItemChangeData& value)
{
    if (change == ItemSceneChange && value.window && !m_pendingSource.isEmpty()) {
        if (resolveSource())
            m_pendingSource.clear();
    }
    QQuickPaintedItem::itemChange(change, value);
    if (change == ItemSceneChange || change == ItemDevicePixelRatioHasChanged)
        updateTargetSize();
}

void VTVideoComponent::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry)
{
    QQuickPaintedItem::geometryChange(newGeometry, oldGeometry);
    updateTargetSize();
}

// Frames are converted no larger than the item shows them.
void VTVideoComponent::updateTargetSize()
{
    const qreal ratio = window() ? window()->effectiveDevicePixelRatio() : 1.0;
    m_videoSource->setTargetSize(QSizeF(width() * ratio, height() * ratio).toSize());
}

VTVideoComponent::VideoState VTVideoComponent::state() const
{
    switch (m_controller->state()) {
    case VTVideoController::stoppedState:
        return pausedState;
    case VTVideoController::runningState:
        return playingState;
    }
    return resetState;
}

void VTVideoComponent::setState(VideoState state)
{
    switch (state) {
    case pausedState:
        pause();
        break;
    case playingState:
        play();
        break;
    case resetState:
        rewindToStart();
        break;
    }
}

qlonglong VTVideoComponent::position() const
{
    return qlonglong(m_controller->position());
}

void VTVideoComponent::setPosition(qlonglong position)
{
    m_controller->setPosition((unsigned long long)(position));
}

double VTVideoComponent::progress() const
{
    return m_controller->progress();
}

void VTVideoComponent::setProgress(double progress)
{
    m_controller->setProgress(progress);
}

QString VTVideoComponent::searchPath() const
{
    return m_searchPath;
}

void VTVideoComponent::setSearchPath(const QString& searchPath)
{
    m_searchPath = searchPath;
    Q_EMIT searchPathChanged();
}

bool VTVideoComponent::scrubbing() const
{
    return m_controller->isScrubbing();
}

void VTVideoComponent::setScrubbing(bool scrubbing)
{
    m_controller->setScrubbing(scrubbing);
}

double VTVideoComponent::contentHeight() const
{
    return m_controller->frameHeight();
}

double VTVideoComponent::contentWidth() const
{
    return m_controller->frameWidth();
}

double VTVideoComponent::loadProgress() const
{
    return m_controller->loadProgress();
}

void VTVideoComponent::frameReady()
{
    const VTVideoFrame frame = m_controller->currentFrame();
    if (frame.isNull())
        return;
    m_currentFrame = frame;
    if (frame.height() != m_contentHeightSeen) {
        m_contentHeightSeen = frame.height();
        Q_EMIT heightChanged();
    }
    const double p = m_controller->progress();
    if (p != m_progressSeen) {
        m_progressSeen = p;
        Q_EMIT progressChanged();
        Q_EMIT positionChanged();
    }
    update();
}

void VTVideoComponent::play()
{
    m_controller->play();
}

void VTVideoComponent::pause()
{
    m_controller->pause();
}

void VTVideoComponent::sourceChangedState()
{
    Q_EMIT stateChanged();
}

void VTVideoComponent::rewindToStart()
{
    m_controller->pause();
    m_controller->setProgress(0.0);
    Q_EMIT progressChanged();
    Q_EMIT positionChanged();
}

void VTVideoComponent::controllerPositionChanged()
{
    m_progressSeen = m_controller->progress();
    Q_EMIT positionChanged();
    Q_EMIT progressChanged();
}

void VTVideoComponent::paint(QPainter* painter)
{
    if (m_currentFrame.isNull())
        return;
    // Fitted into the item, or at its natural size when the item has none.
    QSizeF size = m_currentFrame.size();
    if (width() > 0 && height() > 0)
        size = QSizeF(contentWidth(), contentHeight()).scaled(QSizeF(width(), height()), Qt::KeepAspectRatio);
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->drawImage(QRectF(QPointF(0, 0), size), m_currentFrame);
}

} // namespace Vantles
