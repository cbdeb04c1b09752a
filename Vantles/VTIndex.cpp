#include "VTIndex.h"

#include "VTContext.h"
#include "VTXmlElement.h"
#include "VTXmlParser.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QRegularExpression>

namespace Vantles {

class VTIndexPrivate {
public:
    QPointer<VTContext> context;
    QStringList paths;
    QList<VTControlPath> controlPaths;
    QMap<QString, QStringList> packages;
    bool inUpdate = false;
    const QRegularExpression separator { QStringLiteral("[,;\\s]+") };
};

namespace {

QString packageExtension(const VTContext* context)
{
    return context->get(VTContextPackageExtension, QStringLiteral("vantles")).toString();
}

// The parsers of a lookup make plain elements, also for an element that
// happens to be called "VTXmlElement".
void setUpLookupParser(VTXmlParser& parser)
{
    parser.setDefaultElement(&VTXmlElement::staticMetaObject);
    parser.registerElement(QStringLiteral("VTXmlElement"), &VTXmlElement::staticMetaObject);
}

// Whether the first tag in the file names the "vantles" root. Reads line by
// line, so a tag split over two lines is judged by what each line holds.
bool isControlFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    static const QRegularExpression firstTag(QStringLiteral("<(\\w+)\\s*(\\w|>|/>)"));
    while (!file.atEnd()) {
        const QByteArray line = file.readLine(1024);
        if (line.isEmpty())
            break;
        const QRegularExpressionMatch match = firstTag.match(QString::fromLatin1(line.constData()));
        if (match.hasMatch())
            return match.capturedView(1) == QLatin1String("vantles");
    }
    return false;
}

// Steps up from @p file one folder at a time until the canonical path is that
// of @p location. The walk is lexical and stops at the root, so links can
// neither make it loop nor lead it away; -1 when the location is not reached.
int depthBelow(const QString& file, const QString& location)
{
    const QString target = QFileInfo(location).canonicalFilePath();
    if (target.isEmpty())
        return -1;
    QString current = QDir::cleanPath(QFileInfo(file).absoluteFilePath());
    int depth = 0;
    while (QFileInfo(current).canonicalFilePath() != target) {
        const QString parent = QFileInfo(current).absolutePath();
        if (QDir(current).isRoot() || parent == current)
            return -1;
        current = parent;
        ++depth;
    }
    return depth;
}

QList<QObject*> parseFile(VTXmlParser& parser, const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return parser.read(&file);
}

} // namespace

VTIndex::VTIndex(VTContext* context, const QStringList& paths)
    : QObject(nullptr)
    , d(new VTIndexPrivate)
{
    d->context = context;
    d->paths = paths;
}

VTIndex::~VTIndex() = default;

VTContext* VTIndex::context()
{
    if (!d->context)
        d->context = new VTContext(this);
    return d->context;
}

const VTContext* VTIndex::context() const
{
    return const_cast<VTIndex*>(this)->context();
}

QStringList VTIndex::paths() const
{
    return d->paths;
}

QList<VTControlPath> VTIndex::controlPaths() const
{
    return d->controlPaths;
}

QMap<QString, QStringList> VTIndex::packages() const
{
    return d->packages;
}

bool VTIndex::open()
{
    return true;
}

bool VTIndex::setup()
{
    if (context()->get(VTContextSetupClearsIndex, true).toBool())
        clear();
    return true;
}

bool VTIndex::clear()
{
    return true;
}

bool VTIndex::close()
{
    return true;
}

bool VTIndex::remove()
{
    return true;
}

bool VTIndex::store(VTXmlElement* element, const QLocale& locale, const QString& location, int depth)
{
    Q_UNUSED(element)
    Q_UNUSED(locale)
    const VTControlPath record { location, depth };
    if (!d->controlPaths.contains(record))
        d->controlPaths.append(record);
    return true;
}

void VTIndex::startUpdate()
{
    d->inUpdate = true;
}

void VTIndex::endUpdate()
{
    d->inUpdate = false;
}

bool VTIndex::isInUpdate() const
{
    return d->inUpdate;
}

QStringList VTIndex::keys() const
{
    QStringList result;
    VTXmlParser parser(&VTIndex::indexDataShouldGenerateElement, nullptr);
    for (const VTControlPath& controlPath : qAsConst(d->controlPaths)) {
        const QList<QObject*> roots = parseFile(parser, controlPath.path);
        if (!roots.isEmpty()) {
            for (QObject* child : roots.first()->children()) {
                auto element = qobject_cast<VTXmlElement*>(child);
                if (element && element->hasAttribute(QStringLiteral("key")))
                    result.append(element->attribute(QStringLiteral("key")));
            }
        }
        qDeleteAll(roots);
    }
    return result;
}

void VTIndex::indexControlFile(const QString& file, const QString& location)
{
    if (!file.startsWith(location))
        return;
    const int depth = depthBelow(file, location);
    if (depth < 1 || !isControlFile(file))
        return;
    const VTControlPath record { file, depth };
    if (d->controlPaths.contains(record))
        return;
    d->controlPaths.prepend(record);
    mapControlFile(file, location);
}

void VTIndex::mapControlFile(const QString& file, const QString& location)
{
    Q_UNUSED(file)
    QStringList& locations = d->packages[packageNameForLocation(location)];
    if (!locations.contains(location))
        locations.append(location);
}

QString VTIndex::packageNameForLocation(const QString& location) const
{
    if (location.isEmpty())
        return QString();
    const QString extension = packageExtension(context());
    QString current = QDir::cleanPath(QFileInfo(location).absoluteFilePath());
    for (;;) {
        const QFileInfo info(current);
        if (QDir(current).isRoot())
            return QString();
        if (info.suffix() == extension && info.isDir())
            return info.completeBaseName();
        const QString parent = info.absolutePath();
        if (parent == current)
            return QString();
        current = parent;
    }
}

QStringList VTIndex::componentPathsForPackageNamed(const QString& name) const
{
    QStringList result = d->packages.value(name);
    const QString extra = context()->get(VTContextExtraComponentFolder).toString();
    if (!extra.isEmpty())
        result.append(extra);
    return result;
}

QStringList VTIndex::componentPathsForElement(const VTXmlElement* element, const QString& relativePath) const
{
    if (!element)
        return {};
    QStringList folders = componentPathsForPackageNamed(element->attribute(QStringLiteral("VTPackagName")));

    if (auto root = qobject_cast<const VTXmlElement*>(element->parent())) {
        const QString search = root->attribute(QStringLiteral("search"));
        if (!search.isEmpty()) {
            for (const QString& name : search.split(d->separator)) {
                // An empty part names no package, not the nameless one that
                // control files outside any package are filed under.
                if (name.isEmpty())
                    continue;
                const auto it = d->packages.constFind(name);
                if (it != d->packages.constEnd())
                    folders.append(it.value());
            }
        }
    }

    QStringList result;
    result.reserve(folders.size());
    for (const QString& folder : qAsConst(folders))
        result.append(QDir(folder).absoluteFilePath(relativePath));
    return result;
}

VTXmlElement* VTIndex::retrieve(
    const QString& key, const QLocale& locale, QString& location, int& depth, VTXmlElement*& root)
{
    for (const VTControlPath& controlPath : qAsConst(d->controlPaths)) {
        if (VTXmlElement* result = load(key, controlPath.path, locale, root)) {
            depth = controlPath.depth;
            location = QFileInfo(controlPath.path).absolutePath();
            return result;
        }
    }
    return nullptr;
}

VTXmlElement* VTIndex::load(const QString& key, const QString& controlFile, const QLocale& locale, VTXmlElement*& root)
{
    VTXmlParser parser(&VTIndex::retrieveElementShouldGenerateElement, const_cast<QString*>(&key));
    setUpLookupParser(parser);

    QFile file(controlFile);
    if (!file.open(QIODevice::ReadOnly))
        return nullptr;
    const QList<QObject*> roots = parser.read(&file);
    if (roots.size() != 1) {
        qDeleteAll(roots);
        return nullptr;
    }

    root = qobject_cast<VTXmlElement*>(roots.first());
    // Either no "vantle" matched or the key is defined twice in this file.
    if (!root || root->children().size() != 1) {
        delete roots.first();
        root = nullptr;
        return nullptr;
    }

    auto result = qobject_cast<VTXmlElement*>(root->children().first());
    const QString localeName = root->attribute(QStringLiteral("locale"));
    if (!result || (!localeName.isEmpty() && QLocale(localeName) != locale)) {
        delete root;
        root = nullptr;
        return nullptr;
    }

    loadKeyData(key, controlFile, result);
    result->setAttribute(QStringLiteral("VTLocation"), controlFile);
    result->setAttribute(QStringLiteral("VTPackagName"), packageNameForLocation(controlFile));
    return result;
}

void VTIndex::loadKeyData(const QString& key, const QString& controlFile, VTXmlElement* element)
{
    Q_UNUSED(controlFile)
    const QString path = context()->get(VTContextKeyDataFile).toString();
    if (path.isEmpty() || !QFileInfo::exists(path) || !element)
        return;

    VTXmlParser parser(&VTIndex::loadKeyDataShouldGenerateElement, const_cast<QString*>(&key));
    setUpLookupParser(parser);
    const QList<QObject*> roots = parseFile(parser, path);
    if (!roots.isEmpty() && !roots.first()->children().isEmpty()) {
        if (auto entry = qobject_cast<VTXmlElement*>(roots.first()->children().first())) {
            for (const QString& name : entry->attributeNames()) {
                if (name != QLatin1String("name"))
                    element->setAttribute(name, entry->attribute(name));
            }
        }
    }
    qDeleteAll(roots);
}

int VTIndex::indexDataShouldGenerateElement(const QString& name, const QXmlStreamAttributes& attributes, void* userData)
{
    Q_UNUSED(attributes)
    Q_UNUSED(userData)
    if (name == QLatin1String("vantle") || name == QLatin1String("vantles"))
        return VTXmlParser::GenerateAndAsk;
    return VTXmlParser::SkipElement;
}

// The filter of both lookups: the root named @p root, and of its @p child
// elements only the one whose @p keyAttribute is the key, whole.
static int keepOneChild(const QString& name, const QXmlStreamAttributes& attributes, const QString& key,
    QLatin1String root, QLatin1String child, QLatin1String keyAttribute)
{
    if (name == child && attributes.value(keyAttribute) == key)
        return VTXmlParser::GenerateAndAsk | VTXmlParser::GenerateAll;
    if (name == root)
        return VTXmlParser::GenerateAndAsk;
    return VTXmlParser::SkipElement | VTXmlParser::SkipDescendants;
}

int VTIndex::retrieveElementShouldGenerateElement(
    const QString& name, const QXmlStreamAttributes& attributes, void* userData)
{
    return keepOneChild(name, attributes, *static_cast<const QString*>(userData), QLatin1String("vantles"),
        QLatin1String("vantle"), QLatin1String("key"));
}

int VTIndex::loadKeyDataShouldGenerateElement(
    const QString& name, const QXmlStreamAttributes& attributes, void* userData)
{
    return keepOneChild(name, attributes, *static_cast<const QString*>(userData), QLatin1String("vantlekeys"),
        QLatin1String("key"), QLatin1String("name"));
}

} // namespace Vantles
