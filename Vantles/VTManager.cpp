// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTManager.h"

#include "VTContext.h"
#include "VTControlFileScanner_p.h"
#include "VTControlName_p.h"
#include "VTIndex.h"
#include "VTPathGuard_p.h"
#include "VTViewLibrary_p.h"
#include "VTWindowPreloader_p.h"
#include "VTXmlElement.h"
#include "VTXmlParser.h"

#include <QApplication>
#include <QCursor>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMap>
#include <QMenu>
#include <QMenuBar>
#include <QMouseEvent>
#include <QPointer>
#include <QRegularExpression>
#include <QSet>
#include <QStyle>
#include <QTimer>
#include <QTranslator>
#include <QUrl>
#include <QVariant>
#include <QWidget>

namespace Vantles {

class VTManagerPrivate {
public:
    explicit VTManagerPrivate(VTManager* q)
        : q(q)
    {
    }

    VTManager* q;
    VTInterface* interface = nullptr;
    QStringList dataPath;
    QStringList loadedDirectories;
    VTContext context;
    QMap<QString, VTXmlElement*> elementsByKey;
    // The view library, once a window was made; the windows are its
    // VTWidgets, reached through it.
    VTViewLibrary* view = nullptr;
    QWidget* window = nullptr;
    VTIndex* index = nullptr;
    bool ownsIndex = false;
    QList<QPointer<QWidget>> windows;
    QMap<QString, QVariant> globalProperties;
    bool eventFilterInstalled = false;
    QTranslator* translator = nullptr;
    QString loadedTranslation;
    // The vantle and file name the translation was looked up for: once
    // per vantle, as the lookup reads the file system.
    QPointer<const VTXmlElement> translationFor;
    QString translationFile;
    bool translationMissing = false;
    float scale = 1.0f;
    QList<VTProblem> problems;
    QSet<QString> reported; // each problem with the version of its file
    QString checkedLocales; // the locale settings last checked
    // Not a child: its application event filter stays with the GUI thread.
    std::unique_ptr<VTWindowPreloader> preloader;

    // Drops the entries of reserved windows the user has closed.
    void pruneWindows() { windows.removeAll(QPointer<QWidget>()); }

    // The control that got the keyboard focus, whose vantle shows once the
    // focus timer fires.
    QPointer<QWidget> focusControl;
    QTimer* focusTimer = nullptr;

    void warn(const QString& path, const QString& text) { q->report({ VTMessageWarning, path, 0, 0, text }); }
    // Shows the vantle of @p control below it, as for a keyboard user.
    bool showBelow(QWidget* control);
    bool handleKeyPress(QKeyEvent* event);
    void dismiss();
    bool handleToolTip(QObject* watched, QHelpEvent* event);
    bool pinByKeyboard(QKeyEvent* event);
    void handleFocus(QObject* watched, QFocusEvent* event);
    // Whether the current vantle is up and not pinned.
    bool vantleUp() const { return window && window->isVisible() && !view->reserved(window); }
    // Escape closes a vantle, ahead of a shortcut the host bound to it, but
    // not while a menu is open: there it closes the menu, and the vantle
    // goes with the menu.
    bool escapeClosesVantle(const QKeyEvent* event) const
    {
        return event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier && vantleUp()
            && !QApplication::activePopupWidget();
    }

    // The menu or menu bar under the pointer while another menu holds the
    // pointer: Qt sends it no tooltip events, so its entries are followed
    // here, after the same delays.
    QPointer<QWidget> menuUnderPointer;
    QTimer* menuTimer = nullptr;
    void followMenus(const QPoint& globalPos);
    void checkLocaleSettings();
    void reportMissing(const QString& key);
};

bool VTManagerPrivate::showBelow(QWidget* control)
{
    const QString key = q->keyForObject(control);
    if (!control || key.isEmpty())
        return false;
    // The window goes to the pointer position plus the offset: a position
    // that much above and left of the control's bottom-left corner puts it
    // right below the control.
    const QSize offset = context.get(VTContextTooltipOffset, QSize(35, 30)).toSize();
    const int gap = 2;
    const QPoint corner = control->mapToGlobal(QPoint(0, control->height() + gap));
    if (!q->show(key, corner - QPoint(offset.width(), offset.height()), control))
        return false;
    // Read at the user's pace: no countdown.
    view->setShownByKeyboard(window, true);
    return true;
}

// The pin key pins the vantle that is up, as its "Pin" does; the pinned
// window then takes the focus.
bool VTManagerPrivate::pinByKeyboard(QKeyEvent* event)
{
    if (!window || !window->isVisible() || view->reserved(window))
        return false;
    const QKeySequence pin(context.get(VTContextPinKeySequence, QStringLiteral("Ctrl+Shift+F1")).toString());
    if (pin.isEmpty() || pin != QKeySequence(event->keyCombination()))
        return false;
    view->setStayOpen(window, true);
    view->setReserved(window, true);
    return true;
}

// Escape hides an unpinned vantle; the toggle key shows or hides the focused
// control's. Either key stays the host's when it does nothing here.
bool VTManagerPrivate::handleKeyPress(QKeyEvent* event)
{
    const bool up = vantleUp();
    if (escapeClosesVantle(event)) {
        dismiss();
        return true;
    }
    const QKeySequence toggle(context.get(VTContextToggleKeySequence, QStringLiteral("Ctrl+F1")).toString());
    if (toggle.isEmpty() || toggle != QKeySequence(event->keyCombination()))
        return false;
    QWidget* control = QApplication::focusWidget();
    if (up && view->referenceWidget(window) == control) {
        dismiss();
        return true;
    }
    return showBelow(control);
}

// The user's own dismissal: a fade is no reason to keep the vantle, so one
// that is still fading in (where a hide would be dropped) goes at once.
void VTManagerPrivate::dismiss()
{
    if (view->fadeLevel(window) < 1.0)
        view->hideAnimationFinished(window);
    else
        view->hideAnimated(window);
}

// Qt offers a tooltip event to the widget under the pointer, then to its
// parents until one shows a tooltip. A control of its own (a widget with a
// name or an action) ends that walk: it shows its vantle, else its plain
// tooltip, else nothing. A widget that is none (unnamed, or one Qt made, such
// as a scroll area's viewport) shows its own key's vantle if there is one,
// else stands for its nearest named ancestor.
bool VTManagerPrivate::handleToolTip(QObject* watched, QHelpEvent* event)
{
    const QString key = q->keyForObject(watched);
    if (!key.isEmpty() && q->show(key, event->globalPos(), watched))
        return true;
    if (!watched->isWidgetType())
        return false;
    auto widget = static_cast<QWidget*>(watched);
    if (hasOwnName(widget) || VTInterface::actionForObject(widget)) {
        if (key.isEmpty()) {
            // A menu's separator or unnamed entry: not the vantle of another entry.
            if (vantleUp() && view->referenceWidget(window) == widget)
                view->hideAnimated(window);
            return false;
        }
        // Qt shows a plain tooltip of the widget's own, or an entry's in a menu.
        return widget->toolTip().isEmpty() && !qobject_cast<QMenu*>(widget);
    }
    while (!widget->isWindow() && (widget = widget->parentWidget())) {
        if (hasOwnName(widget))
            return handleToolTip(widget, event);
    }
    return false;
}

static bool isMenu(const QObject* object)
{
    return qobject_cast<const QMenu*>(object) || qobject_cast<const QMenuBar*>(object);
}

void VTManagerPrivate::followMenus(const QPoint& globalPos)
{
    QWidget* popup = QApplication::activePopupWidget();
    QWidget* reference = window ? view->referenceWidget(window) : nullptr;
    const bool menuVantle = vantleUp() && isMenu(reference);
    if (!popup && !menuVantle)
        return;
    QWidget* under = QApplication::widgetAt(globalPos);
    // An entry's vantle goes when the pointer leaves the menus, as Qt's
    // tooltips of menu entries do.
    if (menuVantle && !isMenu(under) && under != window && !(under && window->isAncestorOf(under)))
        view->hideAnimated(window);
    // Qt gives tooltip events only to the popup that holds the pointer: a
    // parent menu or the menu bar under it gets none while a submenu is open.
    if (!popup || under == popup || !isMenu(under)) {
        if (menuTimer)
            menuTimer->stop();
        return;
    }
    menuUnderPointer = under;
    if (!menuTimer) {
        menuTimer = new QTimer(q);
        menuTimer->setSingleShot(true);
        QObject::connect(menuTimer, &QTimer::timeout, q, [this] {
            const QPoint pointer = QCursor::pos();
            QWidget* menu = menuUnderPointer;
            if (!menu || QApplication::widgetAt(pointer) != menu)
                return;
            QHelpEvent event(QEvent::ToolTip, menu->mapFromGlobal(pointer), pointer);
            handleToolTip(menu, &event);
        });
    }
    // Browsing from entry to entry is quick once a vantle is up, as it is
    // for Qt's tooltips.
    const int delay
        = vantleUp() ? 20 : QApplication::style()->styleHint(QStyle::SH_ToolTip_WakeUpDelay, nullptr, under);
    menuTimer->start(delay);
}

void VTManagerPrivate::handleFocus(QObject* watched, QFocusEvent* event)
{
    if (!watched->isWidgetType())
        return;
    QWidget* control = static_cast<QWidget*>(watched);
    if (event->type() == QEvent::FocusOut) {
        const bool keyboardVantle
            = window && view->isShownByKeyboard(window) && view->referenceWidget(window) == control;
        if (control != focusControl && !keyboardVantle)
            return;
        if (focusTimer)
            focusTimer->stop();
        if (window && window->isVisible() && view->referenceWidget(window) == control && !view->reserved(window))
            view->hideAnimated(window);
        return;
    }
    const Qt::FocusReason reason = event->reason();
    const bool byKeyboard
        = reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason || reason == Qt::ShortcutFocusReason;
    if (!byKeyboard || !context.get(VTContextShowOnFocus, false).toBool() || q->keyForObject(control).isEmpty())
        return;
    focusControl = control;
    if (!focusTimer) {
        focusTimer = new QTimer(q);
        focusTimer->setSingleShot(true);
        QObject::connect(focusTimer, &QTimer::timeout, q, [this] {
            if (focusControl && focusControl->hasFocus())
                showBelow(focusControl);
        });
    }
    focusTimer->start(QApplication::style()->styleHint(QStyle::SH_ToolTip_WakeUpDelay));
}

// Not a mistake in itself (a control may have no vantle), so only information.
void VTManagerPrivate::reportMissing(const QString& key)
{
    QStringList locales { context.get(VTContextCurrentLocale, QStringLiteral("en_US")).toString(),
        context.get(VTContextFallbackLocale, QStringLiteral("en_US")).toString() };
    locales.removeDuplicates();
    q->report({ VTMessageInformation, QString(), 0, 0,
        QStringLiteral("No package has a vantle for the key \"%1\" in %2.")
            .arg(key, locales.join(QLatin1String(" or "))) });
}

// Reports a current or fallback locale setting that is no locale name, each
// time the settings change.
void VTManagerPrivate::checkLocaleSettings()
{
    const QString current = context.get(VTContextCurrentLocale).toString();
    const QString fallback = context.get(VTContextFallbackLocale).toString();
    const QString checked = current + QLatin1Char('|') + fallback;
    if (checked == checkedLocales)
        return;
    checkedLocales = checked;
    const std::pair<const char*, QString> settings[]
        = { { "VTContextCurrentLocale", current }, { "VTContextFallbackLocale", fallback } };
    for (const auto& setting : settings) {
        if (!setting.second.isEmpty() && !isValidLocaleName(setting.second)) {
            warn(QString(),
                QStringLiteral("The setting %1 holds \"%2\", which is not a valid locale name (such as en_US).")
                    .arg(QLatin1String(setting.first), setting.second));
        }
    }
}

VTManager::VTManager(VTInterface* interface, VTContext& context, const QStringList& dataPath, VTIndex* index)
    : QObject(nullptr)
    , d(new VTManagerPrivate(this))
{
    d->interface = interface;
    d->dataPath = dataPath;
    d->context = context;

    // An index the host gives stays the host's; one made here goes with the
    // manager, so that a host never deletes what it did not make.
    d->ownsIndex = !index;
    d->index = index ? index : new VTIndex(&d->context, dataPath);
    connect(d->index, &VTIndex::problemFound, this, &VTManager::report);
    d->index->open();
    d->checkLocaleSettings();

    if (d->context.get(VTContextAlwaysShowToolTips, false).toBool()) {
        for (QWidget* widget : QApplication::topLevelWidgets())
            widget->setAttribute(Qt::WA_AlwaysShowToolTips, true);
    }

    QElapsedTimer timer;
    timer.start();
    loadDataPath(dataPath);
    d->index->checkReferences();
    handleMessage(
        VTMessageInformation, QStringLiteral("Indexed packages in %1 seconds").arg(double(timer.elapsed()) / 1000.0));

    if (d->context.get(VTContextInstallEventFilter, false).toBool() && QCoreApplication::instance()) {
        QCoreApplication::instance()->installEventFilter(this);
        d->eventFilterInstalled = true;
    }

    d->scale = d->context.get(VTContextInterfaceScale, 1.0).toFloat();

    // Makes the tooltip window ready while the application is idle, so that
    // the first show is as quick as the next.
    d->preloader = std::make_unique<VTWindowPreloader>(this);
}

VTManager::~VTManager()
{
    if (d->eventFilterInstalled && QCoreApplication::instance())
        QCoreApplication::instance()->removeEventFilter(this);

    // Cleared whether or not this manager set it: the host asked for
    // vantles, not for its own tooltips to stay on.
    for (QWidget* widget : QApplication::topLevelWidgets())
        widget->setAttribute(Qt::WA_AlwaysShowToolTips, false);

    // Reserved windows belong to the user now and stay open; the current one
    // goes at once, with its view and content: a host's main() typically
    // destroys its interface after the event loop has ended, when a deferred
    // delete would never run.
    delete d->window;
    d->window = nullptr;

    if (d->ownsIndex)
        delete d->index;
    d->index = nullptr;
}

VTContext* VTManager::context()
{
    return &d->context;
}

const VTContext* VTManager::context() const
{
    return &d->context;
}

VTInterface* VTManager::interface() const
{
    return d->interface;
}

VTIndex* VTManager::index() const
{
    return d->index;
}

QStringList VTManager::searchPaths() const
{
    return d->dataPath;
}

QStringList VTManager::loadedDirectories() const
{
    return d->loadedDirectories;
}

QStringList VTManager::keys() const
{
    return d->index->keys();
}

VTWidget* VTManager::widget() const
{
    return d->window ? d->view->widget(d->window) : nullptr;
}

QList<VTWidget*> VTManager::reservedWindows() const
{
    QList<VTWidget*> result;
    for (const QPointer<QWidget>& window : d->windows) {
        if (window)
            result.append(d->view->widget(window));
    }
    return result;
}

void VTManager::indexControFile(const QString& controlFile, const QString& package)
{
    d->index->indexControlFile(controlFile, package);
}

void VTManager::loadDataPath(const QStringList& paths)
{
    const QString extension = d->context.get(VTContextPackageExtension, QStringLiteral("vantles")).toString();
    const QString controlFolder = d->context.get(VTContextControlFolder, QStringLiteral("Control")).toString();
    for (const QString& entry : paths) {
        const QFileInfo info(entry);
        if (!info.isDir()) {
            d->warn(info.absoluteFilePath(),
                info.exists() ? QStringLiteral("This data folder is a file, not a folder.")
                              : QStringLiteral("This data folder does not exist."));
            continue;
        }
        const QDir dir(info.absoluteFilePath());
        const QString nameFilter = QStringLiteral("*.%1").arg(extension);
        handleMessage(
            VTMessageInformation, QStringLiteral("indexing packages (%2) in %1 ").arg(dir.absolutePath(), nameFilter));

        const QFileInfoList packages = dir.entryInfoList(QStringList(nameFilter),
            QDir::Dirs | QDir::NoSymLinks | QDir::Readable | QDir::NoDotAndDotDot, QDir::NoSort);
        for (const QFileInfo& package : packages)
            loadPackage(package);
        if (packages.isEmpty()) {
            d->warn(dir.absolutePath(),
                QStringLiteral("This data folder holds no package (a folder named %1).").arg(nameFilter));
        }
        // A package folder whose name lost its extension is loaded by nobody.
        for (const QFileInfo& folder : dir.entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
            const bool isPackage = folder.fileName().endsWith(QLatin1Char('.') + extension);
            if (!isPackage && QFileInfo(QDir(folder.absoluteFilePath()).filePath(controlFolder)).isDir()) {
                d->warn(folder.absoluteFilePath(),
                    QStringLiteral("This folder holds a %1 folder but is not named as a package (%2), so it is not "
                                   "loaded.")
                        .arg(controlFolder, nameFilter));
            }
        }

        const QString canonical = dir.canonicalPath();
        if (!d->loadedDirectories.contains(canonical))
            d->loadedDirectories.append(canonical);
    }
}

void VTManager::loadPackage(const QFileInfo& package)
{
    const QDir dir(package.absoluteFilePath());
    handleMessage(VTMessageInformation, QStringLiteral("indexing control files in %1").arg(package.absoluteFilePath()));

    const QString controlFolder = d->context.get(VTContextControlFolder, QStringLiteral("Control")).toString();
    const QFileInfo folder(dir.absoluteFilePath(controlFolder));
    handleMessage(
        VTMessageInformation, QStringLiteral("looking for control files in :%1").arg(folder.absoluteFilePath()));
    if (!folder.isDir()) {
        d->warn(package.absoluteFilePath(),
            QStringLiteral("This package has no %1 folder, so it serves no vantle.").arg(controlFolder));
        return;
    }

    // Readable regular files named "*.xml" (in any case, as QDir matches
    // names) directly inside the control folder; no links, no subfolders.
    // The iterator tells files from folders and links without a stat of
    // each entry, which a warm start over many files notices.
    const QString packagePath = package.canonicalFilePath();
    const QString canonicalFolder = folder.canonicalFilePath() + QLatin1Char('/');
    const bool progress = d->context.get(VTContextMessageThreshold, 200).toInt() >= VTMessageInformation;
    QDirIterator entries(
        folder.absoluteFilePath(), QDir::Files | QDir::NoSymLinks | QDir::Readable | QDir::NoDotAndDotDot);
    while (entries.hasNext()) {
        const QString name = QFileInfo(entries.next()).fileName();
        if (!name.endsWith(QLatin1String(".xml"), Qt::CaseInsensitive))
            continue;
        // Not a link, so the folder's canonical path and the name make the
        // file's: one canonical path per folder, not per file.
        const QString file = canonicalFolder + name;
        if (progress)
            handleMessage(VTMessageInformation, QStringLiteral("found control file :%1").arg(file));
        indexControFile(file, packagePath);
    }
}

void VTManager::handleMessage(VTMessageType type, const QString& message)
{
    const int threshold = d->context.get(VTContextMessageThreshold, 200).toInt();
    if (int(type) > threshold || !d->interface)
        return;
    d->interface->handleMessage(type, message);
}

void VTManager::report(const VTProblem& problem)
{
    QString version;
    if (!problem.file.isEmpty()) {
        const QFileInfo info(problem.file);
        version = QStringLiteral("%1 %2").arg(info.size()).arg(info.lastModified().toMSecsSinceEpoch());
    }
    const QString text = problem.toString();
    const QString seen = version + QLatin1Char('|') + QString::number(int(problem.type)) + text;
    if (d->reported.contains(seen))
        return;
    d->reported.insert(seen);
    if (problem.type <= VTMessageWarning)
        d->problems.append(problem);
    handleMessage(problem.type, text);
}

QList<VTProblem> VTManager::problems() const
{
    return d->problems;
}

QString VTManager::keyForObject(QObject* object)
{
    return d->interface ? d->interface->keyForObject(object) : QString();
}

// Show flow ----------------------------------------------------------------

static QString contentKey(VTViewLibrary* view, const QWidget* window)
{
    const VTXmlElement* content = view->content(window);
    return content ? content->attribute(QStringLiteral("key")) : QString();
}

VTXmlElement* VTManager::retrieve(const QString& key, QString& location, int& depth, VTXmlElement*& root)
{
    d->checkLocaleSettings();
    const QString current = d->context.get(VTContextCurrentLocale, QStringLiteral("en_US")).toString();
    const QString fallback = d->context.get(VTContextFallbackLocale, QStringLiteral("en_US")).toString();
    QElapsedTimer timer;
    timer.start();
    VTXmlElement* element = d->index->retrieve(key, QLocale(current), location, depth, root);
    if (!element)
        element = d->index->retrieve(key, QLocale(fallback), location, depth, root);
    if (!element)
        return nullptr;
    handleMessage(VTMessageInformation,
        QStringLiteral("Retrieved %1 in %2 seconds").arg(key).arg(double(timer.elapsed()) / 1000.0));
    return element;
}

bool VTManager::show(const QString& key, const QPoint& globalPos, QObject* object)
{
    handleMessage(VTMessageInformation, QStringLiteral("looking for Vantle for key:%1").arg(key));
    if (d->context.get(VTContextDisabled, false).toBool())
        return false;
    const int modifiers = d->context.get(VTContextRequiredModifiers, 0).toInt();
    if (modifiers != 0 && int(QApplication::keyboardModifiers()) != modifiers)
        return false;

    QWidget* referenceWidget = object && object->isWidgetType() ? static_cast<QWidget*>(object) : nullptr;
    initializeTooltipWindow(nullptr);
    QWidget* window = d->window;
    VTViewLibrary* view = d->view;
    if (!window)
        return false;

    // The same vantle is up already: nothing is looked up, moved or restarted.
    if (window->isVisible() && contentKey(view, window) == key)
        return true;

    QString location;
    int depth = 0;
    VTXmlElement* root = nullptr;
    VTXmlElement* element = retrieve(key, location, depth, root);
    if (!element) {
        const QString fallbackLocale = d->context.get(VTContextFallbackLocale, QStringLiteral("en_US")).toString();
        const QString fallbackKey = d->context.get(VTContextFallbackKey, QString()).toString();
        if (window->isVisible() && fallbackKey == contentKey(view, window))
            return view->content(window) != nullptr;
        if (!fallbackKey.isNull())
            element = d->index->retrieve(fallbackKey, QLocale(fallbackLocale), location, depth, root);
    }

    if (!element || !root) {
        d->reportMissing(key);
        if (!window->isVisible())
            return false;
        // The vantle of another entry of the same control (a menu) goes; one
        // of another control stays while the pointer is near it, unless this
        // control has a plain tooltip to show.
        if (view->isSafe(window, globalPos) && (!referenceWidget || referenceWidget->toolTip().isEmpty())
            && (!referenceWidget || view->referenceWidget(window) != referenceWidget))
            return true;
        view->hideAnimated(window);
        return false;
    }

    if (window->isVisible() && element == view->content(window))
        return true;

    const QPoint pos = tooltipPosition(globalPos, referenceWidget);

    // Before the interface reads the content: its bindings are not told of
    // a changed attribute.
    const QString text
        = d->interface ? d->interface->shortCutForObject(key, object, element->attribute(QStringLiteral("shortcut")))
                       : QString();
    if (!text.isEmpty())
        element->setAttribute(QStringLiteral("shortcut"), text);

    // The view holds the only reference to the tree from here on.
    view->replaceContent(window, element);

    // The package root lies depth - 1 folders above the control file's
    // folder; an index that reports a depth below 1 gets the folder itself.
    QDir rootDir(location);
    for (int i = 1; i < depth; ++i)
        rootDir.cdUp();
    const QString rootPath = rootDir.canonicalPath();

    view->showWithContent(window, object, pos, element, rootPath);
    // Shown only when its interface loaded; the problem has been reported.
    if (!window->isVisible())
        return false;
    window->raise();
    return true;
}

bool VTManager::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::MouseMove:
        mouseMoveEventFilter(watched, static_cast<QMouseEvent*>(event));
        d->followMenus(static_cast<QMouseEvent*>(event)->globalPosition().toPoint());
        break;
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
        if (mouseButtonEventFilter(watched, static_cast<QMouseEvent*>(event)))
            return true;
        break;
    case QEvent::ToolTip:
        return d->handleToolTip(watched, static_cast<QHelpEvent*>(event));
    case QEvent::Hide:
        // A vantle goes with its control: a menu closed by a choice, a page
        // switched away.
        if (d->vantleUp() && d->view->referenceWidget(d->window) == watched)
            d->window->setVisible(false);
        break;
    case QEvent::ShortcutOverride:
        // Taken before the host's shortcuts see the key; the key press that
        // follows closes the vantle.
        if (d->escapeClosesVantle(static_cast<QKeyEvent*>(event))) {
            event->accept();
            return true;
        }
        break;
    case QEvent::ApplicationDeactivate:
        if (d->window)
            d->window->setVisible(false);
        break;
    case QEvent::KeyPress:
        if (d->pinByKeyboard(static_cast<QKeyEvent*>(event)))
            return true;
        // Escape closes a vantle as it closes a tooltip.
        if (d->handleKeyPress(static_cast<QKeyEvent*>(event)))
            return true;
        break;
    case QEvent::FocusIn:
    case QEvent::FocusOut:
        d->handleFocus(watched, static_cast<QFocusEvent*>(event));
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

bool VTManager::mouseButtonEventFilter(QObject* object, QMouseEvent* event)
{
    Q_UNUSED(event)
    if (!object || !object->isWidgetType() || !d->window || !d->window->isVisible())
        return false;
    // Clicks inside the vantle are the vantle's business.
    if (d->window->isAncestorOf(static_cast<QWidget*>(object)) || object == d->window)
        return false;
    if (d->view->stayOpen(d->window))
        d->window->activateWindow();
    else
        d->window->setVisible(false);
    return false;
}

bool VTManager::mouseMoveEventFilter(QObject* object, QMouseEvent* event)
{
    Q_UNUSED(object)
    if (d->window && d->window->isVisible())
        d->view->checkMousePosition(d->window, event->globalPosition().toPoint());
    return false;
}

// Windows --------------------------------------------------------------------

void VTManager::initializeTooltipWindow(QWidget* parent)
{
    if (d->window) {
        d->window->setParent(parent);
        return;
    }
    // The view library, with Qt Quick, is opened with the first window.
    QString reason;
    d->view = VTViewLibrary::load(&reason);
    if (!d->view) {
        report({ VTMessageError, QString(), 0, 0, QStringLiteral("No vantle can be shown: %1.").arg(reason) });
        return;
    }
    d->window = d->view->createWindow(this, parent);
}

bool VTManager::reserve(VTWidget* window, QWidget*& hostWindow)
{
    if (!window || !d->window || d->view->window(window) != d->window)
        return false;
    hostWindow = d->interface ? d->interface->createWindow(VTWindowReserved) : nullptr;
    d->windows.append(d->window);
    d->window = nullptr;
    initializeTooltipWindow(nullptr);
    return true;
}

void VTManager::raise()
{
    d->pruneWindows();
    for (auto it = d->windows.crbegin(); it != d->windows.crend(); ++it)
        (*it)->raise();
}

void VTManager::setStayOnTop(bool on)
{
    d->pruneWindows();
    for (auto it = d->windows.crbegin(); it != d->windows.crend(); ++it) {
        QWidget* window = *it;
        window->setWindowFlag(Qt::WindowStaysOnTopHint, on);
        // Changing the flags hides a window.
        window->show();
    }
}

QPoint VTManager::tooltipPosition(const QPoint& pos, QWidget* widget) const
{
    Q_UNUSED(widget)
    const QSize offset = d->context.get(VTContextTooltipOffset, QSize(35, 30)).toSize();
    return pos + QPoint(offset.width(), offset.height());
}

int VTManager::getScaledSize(int size) const
{
    if (d->scale == 0.0f)
        return size;
    return int(float(size) * d->scale);
}

float VTManager::realScaleValue() const
{
    return d->scale;
}

// String services ------------------------------------------------------------

QString VTManager::interpolate(const QString& text, const QMap<QString, QVariant>& values) const
{
    static const QRegularExpression placeholder(QStringLiteral("\\%\\(([-_a-zA-Z0-9]+)\\)s"));
    // A value holding its own placeholder would expand for ever: the
    // replacements end after these many, or once the text is this long.
    constexpr int maximumReplacements = 1000;
    constexpr qsizetype maximumLength = VTIndex::MaximumElementText;
    QString result = text;
    qsizetype pos = 0;
    for (int replacements = 0;; ++replacements) {
        const QRegularExpressionMatch match = placeholder.match(result, pos);
        if (!match.hasMatch())
            return result;
        if (replacements == maximumReplacements || result.size() > maximumLength) {
            const_cast<VTManager*>(this)->report({ VTMessageWarning, QString(), 0, 0,
                QStringLiteral("Interpolating \"%1\" does not end (does a global property hold its own "
                               "placeholder?): the text is left as it is after %2 replacements.")
                    .arg(text.left(80), QString::number(replacements)) });
            return result;
        }
        pos = match.capturedStart();
        const auto it = values.constFind(match.captured(1));
        const QString replacement = it == values.constEnd() ? QString() : it.value().toString();
        if (replacement.isNull()) {
            pos += match.capturedLength();
            continue;
        }
        // The search goes on at the start of the inserted text, so values
        // may hold placeholders of their own.
        result.replace(pos, match.capturedLength(), replacement);
    }
}

QString VTManager::interpolate(const QString& text) const
{
    return interpolate(text, d->globalProperties);
}

void VTManager::setGlobalProperty(const QString& name, const QVariant& value)
{
    d->globalProperties.insert(name, value);
}

QString VTManager::translateString(const QString& string, const QString& context)
{
    if (!d->window)
        return string;
    const QString fileName = QStringLiteral("%1_%2.qm")
                                 .arg(d->context.get(VTContextTranslationPrefix, QStringLiteral("Vantles")).toString(),
                                     currentLocale().name());
    VTXmlElement* content = d->view->content(d->window);
    if (!d->translationFor || d->translationFor != content || d->translationFile != fileName) {
        d->translationFor = content;
        d->translationFile = fileName;
        const QString path = d->view->findComponent(
            d->window, QStringLiteral("l10n_name"), VTContextTranslationFolder, QStringLiteral("l10n"), fileName);
        if (!d->translator)
            d->translator = new QTranslator(this);
        d->translationMissing = false;
        if (path != d->loadedTranslation) {
            if (!d->translator->load(path)) {
                d->loadedTranslation = QString();
                d->translationMissing = true;
                // A package may exist in one language only: not a mistake.
                const QStringList looked = d->view->componentCandidates(d->window, QStringLiteral("l10n_name"),
                    VTContextTranslationFolder, QStringLiteral("l10n"), fileName);
                report({ VTMessageInformation, looked.value(0, path), 0, 0,
                    QStringLiteral("There is no translation file for %1 here; interface texts stay as written.")
                        .arg(currentLocale().name()) });
            } else {
                d->loadedTranslation = path;
            }
        }
    }
    if (d->translationMissing)
        return string;
    return d->translator->translate(context.toUtf8().constData(), string.toUtf8().constData());
}

QLocale VTManager::currentLocale() const
{
    const QString current = d->context.get(VTContextCurrentLocale, QString()).toString();
    if (!current.isEmpty())
        return QLocale(current);
    const QString fallback = d->context.get(VTContextFallbackLocale, QString()).toString();
    if (!fallback.isEmpty())
        return QLocale(fallback);
    return QLocale::system();
}

QString VTManager::vantleAttribute(const QString& key, const QString& attribute, const QString& defaultValue)
{
    auto shownAttribute = [&](const QWidget* window, QString* value) {
        const VTXmlElement* content = window ? d->view->content(window) : nullptr;
        if (!content || content->attribute(QStringLiteral("key")) != key)
            return false;
        *value = content->hasAttribute(attribute) ? content->attribute(attribute) : defaultValue;
        return true;
    };

    QString value;
    if (shownAttribute(d->window, &value))
        return value;
    for (const QPointer<QWidget>& window : qAsConst(d->windows)) {
        if (shownAttribute(window, &value))
            return value;
    }

    QString location;
    int depth = 0;
    VTXmlElement* root = nullptr;
    VTXmlElement* element = retrieve(key, location, depth, root);
    if (!element)
        return defaultValue;
    value = element->hasAttribute(attribute) ? element->attribute(attribute) : defaultValue;
    // The whole parsed document goes, not only the element.
    delete root;
    return value;
}

bool VTManager::openExternalResource(const QString& resource)
{
    if (!d->interface)
        return false;
    const bool linksEnabled = d->context.get(VTContextLinksEnabled, true).toBool();
    const QUrl url(resource, QUrl::StrictMode);
    if (url.isValid() && !url.scheme().isEmpty())
        return linksEnabled && d->interface->openExternalResource(VTExternalResourceUrl, resource);
    if (resource.contains(QLatin1Char('/')))
        return linksEnabled && d->interface->openExternalResource(VTExternalResourcePath, resource);
    if (!d->context.get(VTContextDocumentationEnabled, true).toBool())
        return false;
    return d->interface->openExternalResource(VTExternalResourceDocumentation, resource);
}

bool VTManager::isTrusted(const QString& path) const
{
    if (path.startsWith(QLatin1String(":/")) || path.startsWith(QLatin1String("qrc:")))
        return true;
    if (path.isEmpty())
        return false;
    QStringList folders = d->context.get(VTContextTrustedDataFolders).toStringList();
    const QString extra = d->context.get(VTContextExtraComponentFolder).toString();
    if (!extra.isEmpty())
        folders.append(extra);
    return VTPathGuard::isInside(path, VTPathGuard::canonicalFolders(folders));
}

int loadDataShouldGenerateElement(const QString& tagName, const QXmlStreamAttributes& attributes, void* userData)
{
    // The same answer as the index's key scan: "vantles" and "vantle" only.
    return VTIndex::indexDataShouldGenerateElement(tagName, attributes, userData);
}

} // namespace Vantles
