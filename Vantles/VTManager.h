#pragma once

#include <QFileInfo>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QXmlStreamAttributes>

#include <Vantles/VTInterface.h>
#include <Vantles/vantles_export.h>

#include <memory>

class VTContext;

namespace Vantles {

class VTIndex;
class VTManagerPrivate;

/**
 * Owns everything the library does for one host interface: the settings
 * copy, the index and the packages loaded into it, the message gate and, as
 * they are needed, the tooltip windows.
 *
 * Made by VTInterface, which owns it; a host reaches it through
 * VTInterface::manager(). All of it runs on the GUI thread.
 */
class VANTLES_EXPORT VTManager : public QObject {
    Q_OBJECT
public:
    /// Copies @p context, makes or adopts the index, loads every package on
    /// @p dataPath, registers the QML types and, when setting
    /// VTContextInstallEventFilter is true, filters the application's events.
    VTManager(VTInterface* interface, VTContext& context, const QStringList& dataPath, VTIndex* index);
    /// Removes the event filter and clears Qt::WA_AlwaysShowToolTips on every
    /// top-level widget. The index is not deleted.
    ~VTManager() override;

    VTContext* context();
    const VTContext* context() const;
    VTInterface* interface() const;
    VTIndex* index() const;
    /// The data path as given to the constructor.
    QStringList searchPaths() const;
    /// Canonical paths of the data folders that were scanned, each once.
    QStringList loadedDirectories() const;
    /// Every control key in the index.
    QStringList keys() const;
    /// The user-interface scale factor (setting VTContextInterfaceScale).
    float realScaleValue() const;

    /// Indexes one control file of @p package (the name keeps its spelling).
    void indexControFile(const QString& controlFile, const QString& package);
    /// Loads the packages of every folder in @p paths; entries that are not
    /// folders are skipped.
    void loadDataPath(const QStringList& paths);
    /// Indexes the control files directly inside the package's control folder.
    void loadPackage(const QFileInfo& package);

    /// Passes @p message to the host when @p type is not greater than
    /// setting VTContextMessageThreshold (default 200: errors and warnings).
    void handleMessage(VTMessageType type, const QString& message);
    /// The host's key for @p object.
    QString keyForObject(QObject* object);
    /// @p string translated from the packages' translation files, or
    /// unchanged when there is nothing to translate it with.
    QString translateString(const QString& string, const QString& context);

private:
    std::unique_ptr<VTManagerPrivate> const d;
};

/// A parser filter that builds only "vantles" and "vantle" elements.
VANTLES_EXPORT int loadDataShouldGenerateElement(
    const QString& tagName, const QXmlStreamAttributes& attributes, void* userData);

} // namespace Vantles
