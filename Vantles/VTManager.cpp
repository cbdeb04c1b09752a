#include "VTManager.h"

#include "VTContext.h"
#include "VTIndex.h"
#include "VTXmlElement.h"
#include "VTXmlParser.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QMap>
#include <QQmlListProperty>
#include <QVariant>
#include <QWidget>
#include <QtQml>

namespace Vantles {

static const char qmlModuleUri[] = "com.zelvane.vantles.qml";

class VTManagerPrivate {
public:
    VTInterface* interface = nullptr;
    QStringList dataPath;
    QStringList loadedDirectories;
    VTContext context;
    QMap<QString, VTXmlElement*> elementsByKey;
    VTIndex* index = nullptr;
    QMap<QString, QVariant> globalProperties;
    bool eventFilterInstalled = false;
    float scale = 1.0f;
};

static void registerQmlTypes()
{
    qRegisterMetaType<VTXmlElement*>();
    qRegisterMetaType<QQmlListProperty<VTXmlElement>>();
    qmlRegisterType<VTXmlElement>(qmlModuleUri, 1, 0, "VTXmlElement");
}

VTManager::VTManager(VTInterface* interface, VTContext& context, const QStringList& dataPath, VTIndex* index)
    : QObject(nullptr)
    , d(new VTManagerPrivate)
{
    d->interface = interface;
    d->dataPath = dataPath;
    d->context = context;

    // The manager never deletes the index, also not one it made: it has no
    // parent and outlives the manager, as hosts that supply their own expect.
    d->index = index ? index : new VTIndex(&d->context, dataPath);
    d->index->open();

    if (d->context.get(VTContextAlwaysShowToolTips, false).toBool()) {
        for (QWidget* widget : QApplication::topLevelWidgets())
            widget->setAttribute(Qt::WA_AlwaysShowToolTips, true);
    }

    QElapsedTimer timer;
    timer.start();
    loadDataPath(dataPath);
    handleMessage(
        VTMessageInformation, QStringLiteral("Indexed packages in %1 seconds").arg(double(timer.elapsed()) / 1000.0));

    registerQmlTypes();

    if (d->context.get(VTContextInstallEventFilter, false).toBool() && QCoreApplication::instance()) {
        QCoreApplication::instance()->installEventFilter(this);
        d->eventFilterInstalled = true;
    }

    d->scale = d->context.get(VTContextInterfaceScale, 1.0).toFloat();
}

VTManager::~VTManager()
{
    if (d->eventFilterInstalled && QCoreApplication::instance())
        QCoreApplication::instance()->removeEventFilter(this);

    // Cleared whether or not this manager set it: the host asked for
    // vantles, not for its own tooltips to stay on.
    for (QWidget* widget : QApplication::topLevelWidgets())
        widget->setAttribute(Qt::WA_AlwaysShowToolTips, false);
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

float VTManager::realScaleValue() const
{
    return d->scale;
}

void VTManager::indexControFile(const QString& controlFile, const QString& package)
{
    d->index->indexControlFile(controlFile, package);
}

void VTManager::loadDataPath(const QStringList& paths)
{
    const QString extension = d->context.get(VTContextPackageExtension, QStringLiteral("vantles")).toString();
    for (const QString& entry : paths) {
        const QFileInfo info(entry);
        if (!info.isDir())
            continue;
        const QDir dir(info.absoluteFilePath());
        const QString nameFilter = QStringLiteral("*.%1").arg(extension);
        handleMessage(
            VTMessageInformation, QStringLiteral("indexing packages (%2) in %1 ").arg(dir.absolutePath(), nameFilter));

        const QFileInfoList packages = dir.entryInfoList(QStringList(nameFilter),
            QDir::Dirs | QDir::NoSymLinks | QDir::Readable | QDir::NoDotAndDotDot, QDir::NoSort);
        for (const QFileInfo& package : packages)
            loadPackage(package);

        const QString canonical = dir.canonicalPath();
        if (!d->loadedDirectories.contains(canonical))
            d->loadedDirectories.append(canonical);
    }
}

void VTManager::loadPackage(const QFileInfo& package)
{
    const QDir dir(package.absoluteFilePath());
    const QStringList nameFilter { QStringLiteral("*.xml") };
    handleMessage(VTMessageInformation, QStringLiteral("indexing control files in %1").arg(package.absoluteFilePath()));

    const QString controlFolder = d->context.get(VTContextControlFolder, QStringLiteral("Control")).toString();
    QList<QFileInfo> queue { QFileInfo(dir.absoluteFilePath(controlFolder)) };
    while (!queue.isEmpty()) {
        const QFileInfo folder = queue.takeFirst();
        handleMessage(
            VTMessageInformation, QStringLiteral("looking for control files in :%1").arg(folder.absoluteFilePath()));
        // Files only: exactly the control files directly inside the control
        // folder are indexed, so the queue never grows in practice.
        const QFileInfoList entries
            = QDir(folder.absoluteFilePath())
                  .entryInfoList(
                      nameFilter, QDir::Files | QDir::NoSymLinks | QDir::Readable | QDir::NoDotAndDotDot, QDir::NoSort);
        for (const QFileInfo& entry : entries) {
            if (entry.isDir()) {
                queue.append(entry);
            } else if (entry.isFile()) {
                handleMessage(
                    VTMessageInformation, QStringLiteral("found control file :%1").arg(entry.canonicalFilePath()));
                indexControFile(entry.canonicalFilePath(), package.canonicalFilePath());
            }
        }
    }
}

void VTManager::handleMessage(VTMessageType type, const QString& message)
{
    const int threshold = d->context.get(VTContextMessageThreshold, 200).toInt();
    if (int(type) > threshold || !d->interface)
        return;
    d->interface->handleMessage(type, message);
}

QString VTManager::keyForObject(QObject* object)
{
    return d->interface ? d->interface->keyForObject(object) : QString();
}

QString VTManager::translateString(const QString& string, const QString& context)
{
    // Translations are looked up in the package of the vantle on screen;
    // until one is shown there is nothing to translate with.
    Q_UNUSED(context)
    return string;
}

int loadDataShouldGenerateElement(const QString& tagName, const QXmlStreamAttributes& attributes, void* userData)
{
    Q_UNUSED(attributes)
    Q_UNUSED(userData)
    if (tagName == QLatin1String("vantle") || tagName == QLatin1String("vantles"))
        return VTXmlParser::GenerateAndAsk;
    return VTXmlParser::SkipElement;
}

} // namespace Vantles
