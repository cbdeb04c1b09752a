// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <Vantles/VTInterface.h>

#include <QPointer>

class DemoWindow;

// The demo's side of the library: control keys for toolbar buttons and menu
// entries, shortcut texts from the actions, documentation in the demo's own
// help dialog and a dock for pinned vantles.
class DemoVantles : public Vantles::VTInterface {
    Q_OBJECT
public:
    DemoVantles(VTContext& context, const QStringList& dataPath, DemoWindow* window);

    /// The demo's settings for the packages in @p dataFolder.
    static void configure(VTContext& settings, const QString& dataFolder);
    /// The values the sample's texts interpolate.
    void setGlobalProperties();

    QString keyForObject(QObject* object) override;
    QString shortCutForObject(const QString& key, QObject* object, const QString& shortcut) override;
    bool openExternalResource(Vantles::VTExternalResourceType type, const QString& resource) override;
    QWidget* createWindow(Vantles::VTWindowType type) override;
    void handleMessage(Vantles::VTMessageType type, const QString& message) override;

private:
    QPointer<DemoWindow> m_window;
};
