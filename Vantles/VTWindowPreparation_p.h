// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QObject>
#include <QPointer>

#include <memory>

#include <Vantles/vantlesview_export.h>

class QThread;

namespace Vantles {

class VTManager;
class VTXmlElement;

/**
 * Makes the manager's tooltip window ready, once the preloader has decided
 * it is time: the graphics driver loaded (on a thread of its own where the
 * platform allows), the window and its view with its QML engine, the
 * library's interface compiled and built (over placeholder content that is
 * never shown) and the view's scene graph set up and rendered once without
 * the window appearing.
 *
 * It goes in steps, each from the event loop, so that input is handled in
 * between: a step finds what a show did already and leaves it. A child of
 * the manager, it deletes itself when done.
 */
class VANTLESVIEW_EXPORT VTWindowPreparation : public QObject {
    Q_OBJECT
public:
    explicit VTWindowPreparation(VTManager* manager);
    ~VTWindowPreparation() override;

    void start();

    /// Picks Qt Quick's software renderer for the process unless its first
    /// Qt Quick window has picked another; whether the renderer is
    /// software.
    static bool useSoftwareRenderer();
    /// Picks the renderer for the process before its first Qt Quick window
    /// is made, where @p manager's host leaves the choice to the library:
    /// Qt Quick's software renderer when OpenGL is a software rasterizer,
    /// else Qt's own choice. Makes an OpenGL context for it, once.
    static void pickRenderer(const VTManager* manager);
    /// Whether the host uses Qt Quick of its own, which leaves the renderer
    /// to Qt; true until said.
    static void setHostUsesQtQuick(bool uses);
    /// Whether @p renderer, OpenGL's GL_RENDERER, is a rasterizer on the
    /// CPU (Mesa's llvmpipe, softpipe and swrast, SwiftShader, Microsoft's
    /// Basic Render Driver).
    static bool isSoftwareRasterizer(const QByteArray& renderer);

private:
    enum Step { Idle, LoadDriver, MakeWindow, LoadInterface, StartGraphics, RenderView, Done };

    bool shown() const;
    void runStep();
    void finish();

    VTManager* m_manager;
    Step m_step = Idle;
    QPointer<VTXmlElement> m_placeholder;
    std::unique_ptr<QThread> m_driver; // loads the OpenGL driver
};

} // namespace Vantles
