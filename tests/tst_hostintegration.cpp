// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// A host built like a real application (a main window from a .ui file with
// named actions, a toolbar, menus with a submenu, unnamed custom widgets,
// Escape bound as a window shortcut), integrated as the README says, driven
// by the real pointer and keyboard (xdotool) in an X server.
#include "ui_EditorWindow.h"

#include "VTTestHelpers.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTInterface.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTView.h>
#include <Vantles/VTWidget.h>
#include <Vantles/VTXmlElement.h>

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QPainter>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>
#include <QToolButton>
#include <QToolTip>

#include <functional>
#include <memory>

using namespace Vantles;

namespace {

// Short, so that resting "long enough" does not make the test slow.
constexpr int hideInterval = 600;

} // namespace

// A custom widget as applications have them: no object name.
class ColorSwatch : public QWidget {
    Q_OBJECT
public:
    using QWidget::QWidget;
    QSize sizeHint() const override { return { 80, 40 }; }

protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), QColor(0x3a, 0x7b, 0xd5)); }
};

namespace {

// Overrides nothing but handleMessage, as the README's host does.
class EditorVantles : public VTInterface {
public:
    using VTInterface::VTInterface;
    void handleMessage(VTMessageType type, const QString& message) override
    {
        messages.append(QString::number(int(type)) + QLatin1Char(':') + message);
    }
    QStringList messages;
};

void xdotool(const QStringList& arguments)
{
    QCOMPARE(QProcess::execute(QStringLiteral("xdotool"), arguments), 0);
}

void movePointer(const QPoint& global)
{
    xdotool({ QStringLiteral("mousemove"), QStringLiteral("--sync"), QString::number(global.x()),
        QString::number(global.y()) });
}

QRect globalRect(const QWidget* widget, const QRect& local)
{
    return QRect(widget->mapToGlobal(local.topLeft()), local.size());
}

// What the pointer rests on: the control, the spot within it and the key
// whose vantle must show (none for a control that has none).
struct Target {
    QString group;
    QString key;
    std::function<QWidget*()> control;
    std::function<QRect()> spot;
};

enum Outcome { Right, Wrong, Nothing };

} // namespace

class TestHostIntegration : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void everyControlShowsItsOwnVantle();
    void shortcutsFollowTheActions();
    void escapeClosesVantleBeforeTheHostsShortcut();
    void plainTooltipOnlyWhereThereIsNoVantle();

private:
    QString shownKey() const;
    bool vantleUp() const;
    Outcome restOn(const Target& target, QString* why);
    QToolButton* buttonOf(QAction* action) const;
    Target menuEntry(const QString& group, QMenu* menu, QAction* action, const QString& key) const;

    QTemporaryDir m_dir;
    QMainWindow m_window;
    Ui::EditorWindow m_ui;
    ColorSwatch* m_swatch = nullptr;
    QLabel* m_unnamedLabel = nullptr;
    QAction* m_cancel = nullptr;
    int m_cancelled = 0;
    std::unique_ptr<EditorVantles> m_vantles;
};

void TestHostIntegration::initTestCase()
{
    QVERIFY2(!QStandardPaths::findExecutable(QStringLiteral("xdotool")).isEmpty(), "xdotool is missing");
    QCOMPARE(QGuiApplication::platformName(), QStringLiteral("xcb"));
    QVERIFY(m_dir.isValid());

    m_ui.setupUi(&m_window);
    m_swatch = new ColorSwatch;
    m_ui.optionsLayout->addWidget(m_swatch);
    m_unnamedLabel = new QLabel(QStringLiteral("Options"));
    m_ui.optionsLayout->addWidget(m_unnamedLabel);
    // Escape bound on the main window, as many applications do.
    m_cancel = new QAction(&m_window);
    m_cancel->setShortcut(Qt::Key_Escape);
    m_window.addAction(m_cancel);
    connect(m_cancel, &QAction::triggered, this, [this] { ++m_cancelled; });

    QList<QPair<QString, QByteArray>> vantles;
    const QStringList keys { QStringLiteral("actionNew"), QStringLiteral("actionOpen"), QStringLiteral("actionSave"),
        QStringLiteral("actionQuit"), QStringLiteral("actionUndo"), QStringLiteral("actionRedo"),
        QStringLiteral("actionFind"), QStringLiteral("actionRecentReport"), QStringLiteral("actionRecentLetter"),
        QStringLiteral("menuFile"), QStringLiteral("menuEdit"), QStringLiteral("menuRecent"), QStringLiteral("editor"),
        QStringLiteral("optionsPanel"), QStringLiteral("optionsPanel/ColorSwatch"), QStringLiteral("mainToolBar"),
        QStringLiteral("EditorWindow") };
    for (const QString& key : keys)
        vantles.append({ key, "<title>" + key.toUtf8() + "</title><text>What " + key.toUtf8() + " does.</text>" });
    QByteArray xml = VTTest::controlFileXml(QString(), QString(), vantles);
    // The content's own shortcut, which the application's replaces.
    xml.replace("key=\"actionNew\"", "key=\"actionNew\" shortcut=\"Ctrl+N\"");
    QVERIFY(!VTTest::makePackage(m_dir, QStringLiteral("data"), QStringLiteral("Editor.vantles"),
        { { QStringLiteral("Editor.xml"), xml } })
                 .isEmpty());

    // The README's integration.
    VTContext settings;
    settings.set(VTContextInstallEventFilter, true);
    settings.set(VTContextTimerInterval, hideInterval);
    settings.set(VTContextMessageThreshold, int(VTMessageInformation));
    m_vantles = std::make_unique<EditorVantles>(settings, QStringList { m_dir.filePath(QStringLiteral("data")) });

    m_window.move(40, 40);
    m_window.show();
    m_window.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&m_window));
}

void TestHostIntegration::cleanup()
{
    QApplication::closeAllWindows();
    m_window.show();
    m_window.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&m_window));
    if (VTWidget* window = m_vantles->manager()->widget())
        window->hide();
    QToolTip::hideText();
    movePointer(m_window.mapToGlobal(QPoint(m_window.width() / 2, m_window.height() - 8)));
}

QString TestHostIntegration::shownKey() const
{
    VTWidget* window = m_vantles->manager()->widget();
    const VTXmlElement* content = window && window->view() ? window->view()->content() : nullptr;
    return window && window->isVisible() && content ? content->attribute(QStringLiteral("key")) : QString();
}

bool TestHostIntegration::vantleUp() const
{
    VTWidget* window = m_vantles->manager()->widget();
    return window && window->isVisible();
}

QToolButton* TestHostIntegration::buttonOf(QAction* action) const
{
    return qobject_cast<QToolButton*>(m_ui.mainToolBar->widgetForAction(action));
}

Target TestHostIntegration::menuEntry(
    const QString& group, QMenu* menu, QAction* action, const QString& key) const
{
    return { group, key, [menu] { return menu; },
        [menu, action] { return globalRect(menu, menu->actionGeometry(action)); } };
}

// Rests the real pointer on the target; Right when its vantle shows off the
// control and stays while the pointer rests, with an open menu still open.
Outcome TestHostIntegration::restOn(const Target& target, QString* why)
{
    QWidget* control = target.control();
    if (!control || !control->isVisible()) {
        *why = QStringLiteral("the control is not on screen");
        return Nothing;
    }
    movePointer(target.spot().center());
    const bool shown = QTest::qWaitFor([&] { return shownKey() == target.key; }, 4000);
    if (!shown) {
        *why = QStringLiteral("shown: \"%1\"").arg(shownKey());
        return vantleUp() ? Wrong : Nothing;
    }
    QTest::qWait(hideInterval * 3 / 2);
    const QRect vantle = m_vantles->manager()->widget()->frameGeometry();
    if (shownKey() != target.key) {
        *why = QStringLiteral("gone while the pointer rested");
        return Wrong;
    }
    if (vantle.intersects(globalRect(control, control->rect()))) {
        *why = QStringLiteral("covers its control");
        return Wrong;
    }
    if (qobject_cast<QMenu*>(control) && !control->isVisible()) {
        *why = QStringLiteral("the menu closed");
        return Wrong;
    }
    return Right;
}

void TestHostIntegration::everyControlShowsItsOwnVantle()
{
    QMenuBar* bar = m_ui.menubar;
    QMenu* file = m_ui.menuFile;
    QMenu* recent = m_ui.menuRecent;
    const auto title = [bar](QMenu* menu) {
        return [bar, menu] { return globalRect(bar, bar->actionGeometry(menu->menuAction())); };
    };
    const auto whole = [](QWidget* widget) { return [widget] { return globalRect(widget, widget->rect()); }; };
    const auto self = [](QWidget* widget) { return [widget] { return widget; }; };
    const auto openFile = [&] {
        if (!file->isVisible()) {
            movePointer(title(file)().center());
            xdotool({ QStringLiteral("click"), QStringLiteral("1") });
            QTRY_VERIFY(file->isVisible());
        }
    };

    QList<Target> targets;
    for (QAction* action : { m_ui.actionNew, m_ui.actionOpen, m_ui.actionSave, m_ui.actionUndo, m_ui.actionRedo }) {
        QToolButton* button = buttonOf(action);
        targets.append({ QStringLiteral("toolbar buttons"), action->objectName(), self(button), whole(button) });
    }
    for (QMenu* menu : { m_ui.menuFile, m_ui.menuEdit })
        targets.append({ QStringLiteral("menu bar titles"), menu->objectName(), self(bar), title(menu) });
    targets.append({ QStringLiteral("plain widgets"), QStringLiteral("editor"), self(m_ui.editor), whole(m_ui.editor) });
    targets.append({ QStringLiteral("plain widgets"), QStringLiteral("optionsPanel/ColorSwatch"), self(m_swatch),
        whole(m_swatch) });
    // An unnamed label of a named panel: the panel's vantle, as for Qt's tooltips.
    targets.append({ QStringLiteral("plain widgets"), QStringLiteral("optionsPanel"), self(m_unnamedLabel),
        whole(m_unnamedLabel) });
    const int menuStart = targets.size();
    for (QAction* action : { m_ui.actionNew, m_ui.actionOpen })
        targets.append(menuEntry(QStringLiteral("menu entries"), file, action, action->objectName()));
    targets.append(menuEntry(QStringLiteral("menu entries"), file, recent->menuAction(), QStringLiteral("menuRecent")));
    for (QAction* action : { m_ui.actionRecentReport, m_ui.actionRecentLetter })
        targets.append(menuEntry(QStringLiteral("submenu entries"), recent, action, action->objectName()));
    // Straight back from the submenu to the entry below it.
    for (QAction* action : { m_ui.actionSave, m_ui.actionQuit })
        targets.append(menuEntry(QStringLiteral("menu entries"), file, action, action->objectName()));

    QMap<QString, QList<int>> table; // group: controls, right, wrong, nothing
    QStringList failures;
    for (int i = 0; i < targets.size(); ++i) {
        const Target& target = targets.at(i);
        if (i >= menuStart)
            openFile();
        if (target.control() == recent && !recent->isVisible()) {
            movePointer(globalRect(file, file->actionGeometry(recent->menuAction())).center());
            QTRY_VERIFY(recent->isVisible());
        }
        QString why;
        const Outcome outcome = restOn(target, &why);
        QList<int>& row = table[target.group];
        row.resize(4);
        ++row[0];
        ++row[1 + int(outcome)];
        if (outcome != Right)
            failures.append(QStringLiteral("%1 (%2): %3").arg(target.key, target.group, why));
    }
    for (auto it = table.cbegin(); it != table.cend(); ++it) {
        qInfo("%-16s controls %d, right %d, wrong %d, nothing %d", qPrintable(it.key()), it.value()[0],
            it.value()[1], it.value()[2], it.value()[3]);
    }
    QVERIFY2(failures.isEmpty(), qPrintable(failures.join(QLatin1String("; "))));

    // Leaving the menus takes the entry's vantle away; the menu stays open.
    movePointer(globalRect(m_ui.editor, m_ui.editor->rect()).bottomRight() - QPoint(20, 20));
    QTRY_VERIFY(!vantleUp());
    QVERIFY(file->isVisible());
    // Choosing an entry closes the menu and its vantle.
    QSignalSpy chosen(m_ui.actionOpen, &QAction::triggered);
    QString why;
    QVERIFY2(restOn(menuEntry(QString(), file, m_ui.actionOpen, QStringLiteral("actionOpen")), &why) == Right,
        qPrintable(why));
    xdotool({ QStringLiteral("click"), QStringLiteral("1") });
    QTRY_COMPARE(chosen.count(), 1);
    QTRY_VERIFY(!vantleUp());
    QVERIFY(!file->isVisible());
}

void TestHostIntegration::shortcutsFollowTheActions()
{
    QToolButton* button = buttonOf(m_ui.actionNew);
    const auto shownShortcut = [this] {
        VTWidget* window = m_vantles->manager()->widget();
        return window->view()->content()->attribute(QStringLiteral("shortcut"));
    };
    movePointer(globalRect(button, button->rect()).center());
    QTRY_COMPARE(shownKey(), QStringLiteral("actionNew"));
    // The application's shortcut, not the content's "Ctrl+N".
    QCOMPARE(shownShortcut(), QKeySequence(QStringLiteral("Ctrl+Alt+N")).toString(QKeySequence::NativeText));

    // Changed by the user: the next vantle says so.
    m_ui.actionNew->setShortcut(QKeySequence(QStringLiteral("Ctrl+Shift+B")));
    movePointer(globalRect(m_ui.editor, m_ui.editor->rect()).center());
    QTRY_COMPARE(shownKey(), QStringLiteral("editor"));
    movePointer(globalRect(button, button->rect()).center());
    QTRY_COMPARE(shownKey(), QStringLiteral("actionNew"));
    QCOMPARE(shownShortcut(), QKeySequence(QStringLiteral("Ctrl+Shift+B")).toString(QKeySequence::NativeText));

    // An action without a shortcut keeps the content's attribute (none here).
    QToolButton* redo = buttonOf(m_ui.actionRedo);
    movePointer(globalRect(redo, redo->rect()).center());
    QTRY_COMPARE(shownKey(), QStringLiteral("actionRedo"));
    QCOMPARE(shownShortcut(), QString());
    m_ui.actionNew->setShortcut(QKeySequence(QStringLiteral("Ctrl+Alt+N")));

    // Which vantle was shown reaches the host's handleMessage.
    QVERIFY2(m_vantles->messages.filter(QStringLiteral("300:Showing the vantle \"actionRedo\" of ")).size() >= 1,
        qPrintable(m_vantles->messages.join(QLatin1Char('\n'))));
}

void TestHostIntegration::escapeClosesVantleBeforeTheHostsShortcut()
{
    movePointer(globalRect(m_ui.editor, m_ui.editor->rect()).center());
    QTRY_COMPARE(shownKey(), QStringLiteral("editor"));
    xdotool({ QStringLiteral("key"), QStringLiteral("Escape") });
    QTRY_VERIFY(!vantleUp());
    QTest::qWait(100);
    QCOMPARE(m_cancelled, 0);
    // With no vantle up, Escape is the host's again.
    xdotool({ QStringLiteral("key"), QStringLiteral("Escape") });
    QTRY_COMPARE(m_cancelled, 1);

    // In an open menu Escape closes the menu, and the entry's vantle with it.
    QMenuBar* bar = m_ui.menubar;
    movePointer(globalRect(bar, bar->actionGeometry(m_ui.menuEdit->menuAction())).center());
    xdotool({ QStringLiteral("click"), QStringLiteral("1") });
    QTRY_VERIFY(m_ui.menuEdit->isVisible());
    movePointer(globalRect(m_ui.menuEdit, m_ui.menuEdit->actionGeometry(m_ui.actionFind)).center());
    QTRY_COMPARE(shownKey(), QStringLiteral("actionFind"));
    xdotool({ QStringLiteral("key"), QStringLiteral("Escape") });
    QTRY_VERIFY(!m_ui.menuEdit->isVisible());
    QTRY_VERIFY(!vantleUp());
    QCOMPARE(m_cancelled, 1);
}

void TestHostIntegration::plainTooltipOnlyWhereThereIsNoVantle()
{
    // Only a plain tooltip: Qt's own.
    movePointer(globalRect(m_ui.printButton, m_ui.printButton->rect()).center());
    QTRY_VERIFY(QToolTip::isVisible());
    QCOMPARE(QToolTip::text(), QStringLiteral("Prints the document"));
    QVERIFY(!vantleUp());

    // A vantle and a plain tooltip: the vantle.
    m_ui.editor->setToolTip(QStringLiteral("The text"));
    movePointer(globalRect(m_ui.editor, m_ui.editor->rect()).center());
    QTRY_COMPARE(shownKey(), QStringLiteral("editor"));
    QVERIFY(!QToolTip::isVisible() || QToolTip::text() != QStringLiteral("The text"));
    m_ui.editor->setToolTip(QString());

    // Neither: nothing, not the vantle of the panel around it.
    movePointer(globalRect(m_ui.clearButton, m_ui.clearButton->rect()).center());
    QTRY_VERIFY(!vantleUp());
    QTest::qWait(1500);
    QVERIFY(!vantleUp());
    QVERIFY(!QToolTip::isVisible());
    QVERIFY2(m_vantles->messages.filter(QStringLiteral("looking for Vantle for key:clearButton")).size() >= 1,
        "the button's own key was not asked for");
}

QTEST_MAIN(TestHostIntegration)
#include "tst_hostintegration.moc"
