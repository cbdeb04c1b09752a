// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QList>
#include <QMap>
#include <QObject>
#include <QVariant>

#include <Vantles/vantles_export.h>

/// @file
/// The settings of the library: their keys (VTContextKey) and their store
/// (VTContext).

/**
 * The keys of the settings the library reads from a VTContext.
 *
 * Every setting is read at the moment it is needed, each reader passing its
 * own default. Any other integer may be stored as a key too (cast it to
 * VTContextKey); the library keeps it and never reads it.
 */
enum VTContextKey : int {
    VTContextTimerInterval = 2, ///< float, 3000: tooltip window hide timer, in milliseconds
    VTContextNotToolTipWindow = 3, ///< bool, false: when false the tooltip window is a Qt::ToolTip window
    VTContextPackageExtension = 10, ///< string, "vantles": package folders are named "*.<extension>"
    VTContextExtraComponentFolder = 11, ///< string, none: one more folder searched for every package's components
    VTContextFullInterfaceFile = 12, ///< string, "ui/VantleUI.qml": the full QML interface
    VTContextSimpleInterfaceFile = 13, ///< string, "ui/SimpleTooltip.qml": the simple QML interface
    VTContextResourceFolder = 16, ///< string, "Resources": folder of images, clips and other resources
    VTContextInstallEventFilter = 17, ///< bool, false: install the manager as the application's event filter
    VTContextSafeAreaSize = 18, ///< QSize, 20 x 20: the safe area around the pointer
    VTContextTooltipOffset = 19, ///< QSize, 35 x 30: offset of the window from the pointer
    VTContextUseSimpleInterface = 20, ///< bool, false: use the simple interface instead of the full one
    VTContextDocumentationEnabled = 21, ///< bool, true: documentation topics can be opened
    VTContextLinksEnabled = 22, ///< bool, true: URLs and paths can be opened
    VTContextFallbackKey = 23, ///< string, null: key shown when a key has no content
    VTContextFallbackLocale = 24, ///< string: fallback locale name
    VTContextCurrentLocale = 25, ///< string: current locale name
    VTContextDisabled = 26, ///< bool, false: when true nothing is shown
    VTContextSetupClearsIndex = 27, ///< bool, true: whether VTIndex::setup() clears the index
    VTContextAlwaysShowToolTips = 29, ///< bool, false: mark top-level widgets with Qt::WA_AlwaysShowToolTips
    VTContextKeyDataFile = 30, ///< string, empty: path of the key-data file
    VTContextRequiredModifiers = 31, ///< int, 0: keyboard modifiers that must be held to show a vantle
    VTContextControlFolder = 32, ///< string, "Control": folder of control files inside a package
    VTContextTranslationFolder = 33, ///< string, "l10n": folder of translation files inside a package
    VTContextFadeInDuration = 34, ///< int, 0: fade-in duration in milliseconds
    VTContextFadeOutDuration = 35, ///< int, 300: hide animation duration in milliseconds
    VTContextMessageThreshold = 36, ///< int, 200: messages of a greater type are dropped
    VTContextTranslationPrefix = 37, ///< string, "Vantles": prefix of translation file names
    VTContextInterfaceScale = 38, ///< double, 1.0: user-interface scale factor
    /// string, empty: an SQLite database file in which the index keeps what it
    /// read, so that a later start reads only the control files that changed
    VTContextIndexDatabase = 40,
    /// bool, false: lets interfaces and rich text load images over http and
    /// https; with false, content reaches no network at all
    VTContextAllowNetworkImages = 41,
    /// bool, false: a control that gets the keyboard focus (by Tab, Backtab
    /// or a shortcut) shows its vantle below it after the style's tooltip
    /// delay; needs VTContextInstallEventFilter
    VTContextShowOnFocus = 42,
    /// QKeySequence or string, "Ctrl+F1": shows or hides the vantle of the
    /// focused control; an empty sequence turns the key off; needs
    /// VTContextInstallEventFilter
    VTContextToggleKeySequence = 43,
    /// int, 4: corner radius of the library's interfaces in pixels, before
    /// scaling, where the platform composites translucent windows
    VTContextCornerRadius = 44,
    /// qint64, 64 MiB: the memory in bytes that one clip's decoded frames
    /// may take; a longer clip keeps a window of frames and decodes again
    /// to loop or scrub
    VTContextVideoMemoryBudget = 45,
    /// QStringList, empty: data folders whose packages the host trusts; their
    /// interfaces run without the limits of untrusted packages. The
    /// library's own interfaces and files below VTContextExtraComponentFolder
    /// are trusted too; every other package is untrusted
    VTContextTrustedDataFolders = 46,
    /// int, 500: milliseconds that JavaScript of a vantle's interface may
    /// hold the GUI thread; past them it is interrupted and the vantle torn
    /// down. 0 turns the watchdog off
    VTContextScriptTimeLimit = 47,
    /// qint64, 256 MiB: bytes by which the process may grow while a vantle's
    /// interface is loaded (measured as the resident size of the whole
    /// process on Linux); past them the vantle is torn down. 0 turns the
    /// budget off
    VTContextInterfaceMemoryBudget = 48,
    /// QStringList, empty: QML modules an untrusted interface may import
    /// besides QtQuick, QtQuick.Layouts, QtQml, QtQml.Models and
    /// com.zelvane.vantles.qml, such as "QtQuick.Shapes"
    VTContextUntrustedExtraModules = 49,
    /// QKeySequence or string, "Ctrl+Shift+F1": pins the vantle that is up,
    /// as its "Pin" does, and gives the pinned window the keyboard focus; an
    /// empty sequence turns the key off; needs VTContextInstallEventFilter
    VTContextPinKeySequence = 50,
    /// bool, true: makes the tooltip window ready ahead of the first vantle
    /// (its view, QML engine and interface, and the graphics), once, while
    /// the application is idle after its first window has appeared, or as
    /// soon as the pointer enters a control that has a vantle; false leaves
    /// all of it to the first show
    VTContextPrepareAhead = 51,
    /// bool, unset: true draws vantles with Qt Quick's software renderer
    /// instead of the GPU, for less memory and no graphics driver; false
    /// leaves the renderer to Qt. It applies to all of Qt Quick in the
    /// process and is taken only while the process has no Qt Quick window
    /// yet: set it in hosts without Qt Quick of their own. Unset, the library
    /// picks the software renderer when OpenGL turns out to be a rasterizer
    /// on the CPU (such as Mesa's llvmpipe, in virtual machines and remote
    /// sessions), unless the host uses Qt Quick itself (had loaded it when
    /// the library opened its view library: once the host's first window
    /// appeared, or at the first show)
    VTContextSoftwareRenderer = 52,
    /// int, 0: milliseconds to wait, once the application is idle after its
    /// first window has appeared, before the work of VTContextPrepareAhead
    /// starts
    VTContextPrepareDelay = 53,
};

/**
 * The library's settings store: a map from integer keys to values.
 *
 * The host fills one and hands it to the host interface, which copies it;
 * from then on the copy returned by VTInterface::context() is the one the
 * library reads. The library never writes a setting.
 *
 * Copies share the map until either side writes (implicit sharing). Copying
 * and assigning emit no signal and do not copy the QObject parent.
 */
class VANTLES_EXPORT VTContext : public QObject {
    Q_OBJECT
public:
    /// An empty store: every reader gets its default.
    explicit VTContext(QObject* parent = nullptr);
    /// A store with @p other's settings and no parent.
    VTContext(const VTContext& other);
    ~VTContext() override;
    /// Takes @p other's settings; the parent stays.
    VTContext& operator=(const VTContext& other);

    /// The stored value, or @p defaultValue when the key is absent. A key that
    /// is present with an invalid QVariant yields that invalid value.
    QVariant get(VTContextKey key, const QVariant& defaultValue = QVariant()) const;
    /// Stores @p value, emitting settingWillChange() before and settingDidChange()
    /// after, on every call, also when the value does not change.
    void set(VTContextKey key, const QVariant& value);
    /// True when @p key was set, to any value.
    bool contains(VTContextKey key) const;
    /// All present keys in ascending order.
    QList<VTContextKey> keys() const;

Q_SIGNALS:
    /// set() is about to store a value for @p key.
    void settingWillChange(VTContextKey key);
    /// set() stored a value for @p key.
    void settingDidChange(VTContextKey key);

private:
    QMap<int, QVariant> m_settings;
};
