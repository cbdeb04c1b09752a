// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QMainWindow>
#include <QMap>

class DemoVantles;
class QAction;
class QTextBrowser;
class QDialog;

// The demo's main window: a toolbar, a menu and a small document form whose
// widgets are named after their control keys.
class DemoWindow : public QMainWindow {
    Q_OBJECT
public:
    DemoWindow();
    ~DemoWindow() override;

    void setVantles(DemoVantles* vantles);

    QAction* actionForKey(const QString& key) const;
    /// The widget a key belongs to: a form widget or an action's toolbar button.
    QWidget* widgetForKey(const QString& key) const;
    void showHelpTopic(const QString& topic);
    /// A dock that holds a vantle the user pinned, titled @p title (or
    /// numbered when it is empty).
    QWidget* newPinnedVantleHolder(const QString& title = QString());
    QDialog* helpDialog() const;

public Q_SLOTS:
    void setFrench(bool french);
    void setSimpleTooltips(bool simple);

private:
    QAction* addDemoAction(const QString& key, const QString& text, const QKeySequence& shortcut);

    DemoVantles* m_vantles = nullptr;
    QMap<QString, QAction*> m_actions;
    QDialog* m_help = nullptr;
    QTextBrowser* m_helpText = nullptr;
    int m_pinned = 0;
};
