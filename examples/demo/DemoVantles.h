// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <Vantles/VTInterface.h>

#include <QPointer>

class DemoWindow;

// The demo's side of the library: documentation in the demo's own help
// dialog and a dock for pinned vantles. Toolbar buttons and menu entries
// need nothing: the library knows them by their actions' names and shows
// the actions' shortcuts.
class DemoVantles : public Vantles::VTInterface {
    Q_OBJECT
public:
    DemoVantles(VTContext& context, const QStringList& dataPath, DemoWindow* window);

    /// The demo's settings for the packages in @p dataFolder.
    static void configure(VTContext& settings, const QString& dataFolder);
    /// The values the sample's texts interpolate.
    void setGlobalProperties();

    bool openExternalResource(Vantles::VTExternalResourceType type, const QString& resource) override;
    QWidget* createWindow(Vantles::VTWindowType type) override;
    void handleMessage(Vantles::VTMessageType type, const QString& message) override;

private:
    QPointer<DemoWindow> m_window;
};
