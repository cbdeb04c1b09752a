// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "DemoWindow.h"

#include "DemoVantles.h"

#include <Vantles/VTContext.h>

#include <QAction>
#include <QActionGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDockWidget>
#include <QFormLayout>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QSlider>
#include <QTextBrowser>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

const struct {
    const char* topic;
    const char* html;
} helpTopics[] = {
    { "opening-documents",
        "<h2>Opening documents</h2><p>Choose <b>File &gt; Open</b> and pick a file. Recent documents are listed at "
        "the bottom of the File menu.</p>" },
    { "saving-documents",
        "<h2>Saving documents</h2><p><b>File &gt; Save</b> writes the document. With <i>Save automatically</i> on, "
        "the document is saved every five minutes.</p>" },
};

} // namespace

DemoWindow::DemoWindow()
{
    setWindowTitle(QStringLiteral("Vantles demo"));

    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    QMenu* edit = menuBar()->addMenu(QStringLiteral("&Edit"));
    QMenu* view = menuBar()->addMenu(QStringLiteral("&View"));
    file->setToolTipsVisible(true);
    edit->setToolTipsVisible(true);

    QToolBar* toolBar = addToolBar(QStringLiteral("Main"));
    toolBar->setObjectName(QStringLiteral("mainToolBar"));
    for (QAction* action : { addDemoAction(QStringLiteral("actionOpen"), QStringLiteral("Open"), QKeySequence::Open),
             addDemoAction(QStringLiteral("actionSave"), QStringLiteral("Save"), QKeySequence::Save) }) {
        file->addAction(action);
        toolBar->addAction(action);
    }
    QAction* undo = addDemoAction(QStringLiteral("actionUndo"), QStringLiteral("Undo"), QKeySequence::Undo);
    edit->addAction(undo);
    toolBar->addAction(undo);

    QAction* french = view->addAction(QStringLiteral("Français"));
    french->setObjectName(QStringLiteral("actionFrench"));
    french->setCheckable(true);
    connect(french, &QAction::toggled, this, &DemoWindow::setFrench);
    QAction* simple = view->addAction(QStringLiteral("Simple tooltips"));
    simple->setObjectName(QStringLiteral("actionSimple"));
    simple->setCheckable(true);
    connect(simple, &QAction::toggled, this, &DemoWindow::setSimpleTooltips);

    auto central = new QWidget;
    auto form = new QFormLayout(central);
    auto title = new QLineEdit(QStringLiteral("Quarterly report"));
    title->setObjectName(QStringLiteral("documentTitle"));
    form->addRow(QStringLiteral("Title:"), title);
    auto format = new QComboBox;
    format->setObjectName(QStringLiteral("exportFormat"));
    format->addItems({ QStringLiteral("PDF"), QStringLiteral("HTML"), QStringLiteral("Plain text") });
    form->addRow(QStringLiteral("Export as:"), format);
    auto autosave = new QCheckBox(QStringLiteral("Save automatically"));
    autosave->setObjectName(QStringLiteral("autosaveCheck"));
    form->addRow(autosave);
    auto zoom = new QSlider(Qt::Horizontal);
    zoom->setObjectName(QStringLiteral("zoomSlider"));
    zoom->setRange(25, 400);
    zoom->setValue(100);
    form->addRow(QStringLiteral("Zoom:"), zoom);
    // A control with a plain Qt tooltip and no vantle.
    auto print = new QPushButton(QStringLiteral("Print"));
    print->setObjectName(QStringLiteral("printButton"));
    print->setToolTip(QStringLiteral("Prints the document"));
    form->addRow(print);
    setCentralWidget(central);

    m_help = new QDialog(this);
    m_help->setWindowTitle(QStringLiteral("Help"));
    m_helpText = new QTextBrowser(m_help);
    (new QVBoxLayout(m_help))->addWidget(m_helpText);
    m_help->resize(420, 260);

    resize(640, 420);
}

DemoWindow::~DemoWindow() = default;

void DemoWindow::setVantles(DemoVantles* vantles)
{
    m_vantles = vantles;
}

QAction* DemoWindow::addDemoAction(const QString& key, const QString& text, const QKeySequence& shortcut)
{
    auto action = new QAction(text, this);
    action->setObjectName(key);
    action->setShortcut(shortcut);
    m_actions.insert(key, action);
    return action;
}

QAction* DemoWindow::actionForKey(const QString& key) const
{
    return m_actions.value(key);
}

QWidget* DemoWindow::widgetForKey(const QString& key) const
{
    if (QAction* action = actionForKey(key)) {
        // The button that shows the action alone, not the menu or toolbar
        // that holds it among others.
        for (QObject* object : action->associatedObjects()) {
            if (auto button = qobject_cast<QToolButton*>(object))
                return button;
        }
    }
    return findChild<QWidget*>(key);
}

void DemoWindow::showHelpTopic(const QString& topic)
{
    QString html = QStringLiteral("<h2>%1</h2><p>There is no page for this topic yet.</p>").arg(topic);
    for (const auto& known : helpTopics) {
        if (topic == QLatin1String(known.topic))
            html = QString::fromUtf8(known.html);
    }
    m_helpText->setHtml(html);
    m_help->show();
    m_help->raise();
}

QWidget* DemoWindow::newPinnedVantleHolder(const QString& title)
{
    ++m_pinned;
    auto dock = new QDockWidget(title.isEmpty() ? QStringLiteral("Pinned vantle %1").arg(m_pinned) : title, this);
    dock->setObjectName(QStringLiteral("pinnedVantle%1").arg(m_pinned));
    dock->setAttribute(Qt::WA_DeleteOnClose);
    auto holder = new QWidget;
    // The library titles the holder from the vantle's "title" attribute; the
    // dock shows it, unless the vantle has none.
    connect(holder, &QWidget::windowTitleChanged, dock, [dock](const QString& holderTitle) {
        if (!holderTitle.isEmpty())
            dock->setWindowTitle(holderTitle);
    });
    dock->setWidget(holder);
    addDockWidget(Qt::RightDockWidgetArea, dock);
    return holder;
}

QDialog* DemoWindow::helpDialog() const
{
    return m_help;
}

void DemoWindow::setFrench(bool french)
{
    if (m_vantles)
        m_vantles->context()->set(VTContextCurrentLocale, french ? QStringLiteral("fr_FR") : QStringLiteral("en_US"));
}

void DemoWindow::setSimpleTooltips(bool simple)
{
    if (m_vantles)
        m_vantles->context()->set(VTContextUseSimpleInterface, simple);
}
