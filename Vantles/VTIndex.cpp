#include "VTIndex.h"

#include "VTContext.h"
#include "VTControlFileScanner_p.h"
#include "VTXmlElement.h"
#include "VTXmlParser.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QPointer>
#include <QRegularExpression>
#include <QXmlStreamReader>

#include <algorithm>
#include <map>
#include <memory>
#include <vector>

namespace Vantles {

namespace {

// What the index knows of one control file: the version it read and what
// the read found.
struct ControlFile {
    QString path;
    qint64 size = -1;
    qint64 modified = 0;
    VTControlFileScan scan;
    // How many vantles define each key; a key defined twice serves nothing
    // from this file.
    QHash<QString, int> keyCounts;
};

// A control path that defines a key, with its place in the search order.
struct Candidate {
    qint64 rank; // smaller is searched first
    int depth;
    ControlFile* file;
};

// The version of a file on disk: its size and modification time.
struct FileVersion {
    qint64 size = -1;
    qint64 modified = 0;
    bool operator==(const FileVersion& other) const { return size == other.size && modified == other.modified; }
};

FileVersion versionOf(const QString& path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return {};
    return { info.size(), info.lastModified().toMSecsSinceEpoch() };
}

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

// The first tag in the file, judged line by line, so that a tag split over
// two lines is judged by what each line holds: its name and line, or an
// empty name when there is none.
QString firstTag(const QString& path, qint64* lineNumber)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    static const QRegularExpression tag(QStringLiteral("<(\\w+)\\s*(\\w|>|/>)"));
    *lineNumber = 0;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine(1024);
        if (line.isEmpty())
            break;
        if (line.endsWith('\n'))
            ++*lineNumber;
        const QRegularExpressionMatch match = tag.match(QString::fromLatin1(line.constData()));
        if (match.hasMatch()) {
            if (!line.endsWith('\n'))
                ++*lineNumber;
            return match.captured(1);
        }
    }
    return QString();
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

// Whether files serving these two locales both answer a lookup for one locale.
bool localesOverlap(const QString& a, const QString& b)
{
    return a.isEmpty() || b.isEmpty() || QLocale(a) == QLocale(b);
}

} // namespace

class VTIndexPrivate {
public:
    explicit VTIndexPrivate(VTIndex* q)
        : q(q)
    {
    }

    VTIndex* q;
    QPointer<VTContext> context;
    QStringList paths;
    QList<VTControlPath> controlPaths;
    QHash<QString, qint64> ranks; // of each control path, by rankKey()
    QMap<QString, QStringList> packages;
    bool inUpdate = false;
    const QRegularExpression separator { QStringLiteral("[,;\\s]+") };

    std::map<QString, std::unique_ptr<ControlFile>> files;
    QHash<QString, std::vector<Candidate>> candidates;
    qint64 nextIndexedRank = -1; // indexed last is searched first
    qint64 nextStoredRank = 1; // stored paths come after every indexed one

    // The key-data file, read once per version: each key's attributes.
    struct KeyData {
        QString path;
        FileVersion version;
        QHash<QString, QList<std::pair<QString, QString>>> entries;
    } keyData;

    static QString rankKey(const QString& path, int depth) { return QString::number(depth) + QLatin1Char(':') + path; }

    void report(VTMessageType type, const QString& file, qint64 line, qint64 column, const QString& text)
    {
        Q_EMIT q->problemFound(VTProblem { type, file, line, column, text });
    }

    ControlFile* fileRecord(const QString& path);
    void read(ControlFile* file);
    void addCandidates(ControlFile* file, qint64 rank, int depth);
    void removeCandidates(ControlFile* file);
    void reportDuplicates(ControlFile* file, const QString& key);
    ControlFile* current(ControlFile* file);
    VTXmlElement* loadVantle(ControlFile* file, const QString& key, VTXmlElement*& root);
    void refreshKeyData();
};

// The record of @p path, read when it is first asked for.
ControlFile* VTIndexPrivate::fileRecord(const QString& path)
{
    auto it = files.find(path);
    if (it != files.end())
        return it->second.get();
    auto file = std::make_unique<ControlFile>();
    file->path = path;
    ControlFile* result = file.get();
    files.emplace(path, std::move(file));
    read(result);
    return result;
}

// Reads the file again and reports what is wrong with it.
void VTIndexPrivate::read(ControlFile* file)
{
    const FileVersion version = versionOf(file->path);
    file->size = version.size;
    file->modified = version.modified;
    file->keyCounts.clear();
    QFile input(file->path);
    if (!input.open(QIODevice::ReadOnly)) {
        file->scan = VTControlFileScan();
        return;
    }
    file->scan = scanControlFile(input.readAll());
    const VTControlFileScan& scan = file->scan;
    if (!scan.isControlFile())
        return;

    if (scan.hasLocale && !isValidLocaleName(scan.locale)) {
        report(VTMessageWarning, file->path, scan.rootLine, scan.rootColumn,
            QStringLiteral("\"%1\" is not a valid locale name (such as en_US), so this file serves no locale.")
                .arg(scan.locale));
    }
    for (const VTScannedVantle& other : scan.others) {
        report(VTMessageWarning, file->path, other.line, other.column,
            QStringLiteral("<%1> is not a <vantle>: lookups ignore it.").arg(other.key));
    }
    QHash<QString, const VTScannedVantle*> first;
    for (const VTScannedVantle& vantle : scan.vantles) {
        if (!vantle.hasKey) {
            report(VTMessageWarning, file->path, vantle.line, vantle.column,
                QStringLiteral("This <vantle> has no \"key\" attribute."));
        }
        int& count = file->keyCounts[vantle.key];
        if (++count == 2 && vantle.hasKey) {
            report(VTMessageWarning, file->path, vantle.line, vantle.column,
                QStringLiteral("The key \"%1\" is defined twice in this file (also at line %2), so this file serves "
                               "neither.")
                    .arg(vantle.key, QString::number(first.value(vantle.key)->line)));
        }
        first.insert(vantle.key, &vantle);
    }
    if (!scan.error.isEmpty()) {
        report(VTMessageError, file->path, scan.errorLine, scan.errorColumn,
            QStringLiteral("%1 The rest of the file is ignored.").arg(scan.error));
    }
}

void VTIndexPrivate::addCandidates(ControlFile* file, qint64 rank, int depth)
{
    for (auto it = file->keyCounts.cbegin(); it != file->keyCounts.cend(); ++it) {
        std::vector<Candidate>& list = candidates[it.key()];
        const Candidate candidate { rank, depth, file };
        list.insert(std::upper_bound(list.begin(), list.end(), candidate,
                        [](const Candidate& a, const Candidate& b) { return a.rank < b.rank; }),
            candidate);
        reportDuplicates(file, it.key());
    }
}

void VTIndexPrivate::removeCandidates(ControlFile* file)
{
    for (auto it = file->keyCounts.cbegin(); it != file->keyCounts.cend(); ++it) {
        auto found = candidates.find(it.key());
        if (found == candidates.end())
            continue;
        std::vector<Candidate>& list = found.value();
        list.erase(std::remove_if(list.begin(), list.end(), [file](const Candidate& c) { return c.file == file; }),
            list.end());
        if (list.empty())
            candidates.erase(found);
    }
}

// Reports every other file that defines @p key for a locale @p file serves
// too: of each two, the one searched later never answers for it.
void VTIndexPrivate::reportDuplicates(ControlFile* file, const QString& key)
{
    const std::vector<Candidate> list = candidates.value(key);
    if (list.size() < 2 || key.isEmpty())
        return;
    for (const Candidate& other : list) {
        if (other.file == file || !localesOverlap(file->scan.locale, other.file->scan.locale))
            continue;
        // The candidates are in search order: the first of the two wins.
        const ControlFile* first = std::find_if(list.begin(), list.end(), [&](const Candidate& c) {
            return c.file == file || c.file == other.file;
        })->file;
        const VTKeyDefinition winner = q->definition(first->path, key);
        const VTKeyDefinition loser = q->definition(first == file ? other.file->path : file->path, key);
        const QString locale = winner.locale.isEmpty() ? loser.locale : winner.locale;
        const QString servedFor
            = locale.isEmpty() ? QStringLiteral("every locale") : QStringLiteral("locale %1").arg(locale);
        report(VTMessageWarning, loser.file, loser.line, loser.column,
            QStringLiteral("The key \"%1\" is also defined for %2 at %3, which is searched first.")
                .arg(key, servedFor,
                    VTProblem { VTMessageWarning, winner.file, winner.line, winner.column, QString() }.place()));
    }
}

// @p file as it is on disk now: read again when it changed since the last read.
ControlFile* VTIndexPrivate::current(ControlFile* file)
{
    if (versionOf(file->path) == FileVersion { file->size, file->modified })
        return file;
    removeCandidates(file);
    read(file);
    for (const VTControlPath& path : qAsConst(controlPaths)) {
        if (path.path == file->path)
            addCandidates(file, ranks.value(rankKey(path.path, path.depth)), path.depth);
    }
    return file;
}

// The vantle of @p key, parsed from its own bytes with the root's start tag
// around it; the whole file when it cannot be cut.
VTXmlElement* VTIndexPrivate::loadVantle(ControlFile* file, const QString& key, VTXmlElement*& root)
{
    const VTControlFileScan& scan = file->scan;
    const auto vantle = std::find_if(
        scan.vantles.cbegin(), scan.vantles.cend(), [&key](const VTScannedVantle& v) { return v.key == key; });
    if (vantle == scan.vantles.cend())
        return nullptr;
    if (scan.rootTag.isEmpty() || vantle->begin < 0)
        return q->load(key, file->path, QLocale(scan.locale), root);

    QFile input(file->path);
    if (!input.open(QIODevice::ReadOnly) || !input.seek(vantle->begin))
        return nullptr;
    const QByteArray piece = input.read(vantle->end - vantle->begin);
    if (piece.size() != vantle->end - vantle->begin)
        return nullptr;

    VTXmlParser parser(&VTIndex::retrieveElementShouldGenerateElement, const_cast<QString*>(&key));
    setUpLookupParser(parser);
    const QList<QObject*> roots = parser.read(scan.rootTag + piece + "</" + scan.rootName.toUtf8() + '>');
    if (roots.size() != 1 || roots.first()->children().size() != 1) {
        qDeleteAll(roots);
        return nullptr;
    }
    root = qobject_cast<VTXmlElement*>(roots.first());
    auto result = root ? qobject_cast<VTXmlElement*>(root->children().first()) : nullptr;
    if (!result) {
        delete roots.first();
        root = nullptr;
        return nullptr;
    }
    q->loadKeyData(key, file->path, result);
    result->setAttribute(QStringLiteral("VTLocation"), file->path);
    result->setAttribute(QStringLiteral("VTPackagName"), q->packageNameForLocation(file->path));
    return result;
}

// Reads the key-data file again when its path or its version changed. The
// first "key" element of each name counts.
void VTIndexPrivate::refreshKeyData()
{
    const QString path = q->context()->get(VTContextKeyDataFile).toString();
    const FileVersion version = path.isEmpty() ? FileVersion() : versionOf(path);
    if (path == keyData.path && version == keyData.version)
        return;
    keyData = KeyData { path, version, {} };
    QFile file(path);
    if (path.isEmpty() || !file.open(QIODevice::ReadOnly))
        return;
    QXmlStreamReader reader(&file);
    reader.setNamespaceProcessing(true);
    int depth = 0;
    bool isKeyData = false;
    while (!reader.atEnd()) {
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (token == QXmlStreamReader::EndElement)
            --depth;
        if (token != QXmlStreamReader::StartElement)
            continue;
        ++depth;
        if (depth == 1)
            isKeyData = reader.qualifiedName() == QLatin1String("vantlekeys");
        if (depth != 2 || !isKeyData || reader.qualifiedName() != QLatin1String("key"))
            continue;
        const QXmlStreamAttributes attributes = reader.attributes();
        const QString name = attributes.value(QLatin1String("name")).toString();
        if (keyData.entries.contains(name))
            continue;
        QList<std::pair<QString, QString>>& entry = keyData.entries[name];
        for (const QXmlStreamAttribute& attribute : attributes) {
            if (attribute.qualifiedName() != QLatin1String("name"))
                entry.append({ attribute.qualifiedName().toString(), attribute.value().toString() });
        }
    }
    if (reader.hasError()) {
        report(VTMessageError, path, reader.lineNumber(), qMax<qint64>(1, reader.columnNumber()),
            QStringLiteral("%1 The rest of the file is ignored.").arg(reader.errorString()));
    }
}

VTIndex::VTIndex(VTContext* context, const QStringList& paths)
    : QObject(nullptr)
    , d(new VTIndexPrivate(this))
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
    if (!d->controlPaths.contains(record)) {
        d->controlPaths.append(record);
        const qint64 rank = d->nextStoredRank++;
        d->ranks.insert(VTIndexPrivate::rankKey(location, depth), rank);
        d->addCandidates(d->fileRecord(location), rank, depth);
    }
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
    for (const VTKeyDefinition& definition : keyDefinitions())
        result.append(definition.key);
    return result;
}

QList<VTKeyDefinition> VTIndex::keyDefinitions() const
{
    QList<VTKeyDefinition> result;
    for (const VTControlPath& path : qAsConst(d->controlPaths)) {
        const auto it = d->files.find(path.path);
        if (it == d->files.end())
            continue;
        const ControlFile* file = d->current(it->second.get());
        if (!file->scan.isControlFile())
            continue;
        for (const VTScannedVantle& vantle : file->scan.vantles) {
            if (vantle.hasKey)
                result.append({ vantle.key, file->path, file->scan.locale, vantle.line, vantle.column });
        }
    }
    return result;
}

VTKeyDefinition VTIndex::definition(const QString& file, const QString& key) const
{
    const auto it = d->files.find(file);
    if (it == d->files.end())
        return {};
    const VTControlFileScan& scan = it->second->scan;
    for (const VTScannedVantle& vantle : scan.vantles) {
        if (vantle.key == key)
            return { key, file, scan.locale, vantle.line, vantle.column };
    }
    return {};
}

void VTIndex::checkReferences()
{
    for (const auto& entry : d->files) {
        const ControlFile* file = entry.second.get();
        if (!file->scan.isControlFile() || file->scan.search.isEmpty())
            continue;
        for (const QString& name : file->scan.search.split(d->separator)) {
            if (!name.isEmpty() && !d->packages.contains(name)) {
                d->report(VTMessageWarning, file->path, file->scan.rootLine, file->scan.rootColumn,
                    QStringLiteral("The search list names \"%1\", which is no package on the data path.").arg(name));
            }
        }
    }
}

void VTIndex::indexControlFile(const QString& file, const QString& location)
{
    if (!file.startsWith(location))
        return;
    const int depth = depthBelow(file, location);
    if (depth < 1)
        return;
    qint64 line = 0;
    const QString tag = firstTag(file, &line);
    if (tag != QLatin1String("vantles")) {
        QString text = QStringLiteral("The first element is <%1>, not <vantles>: this is not a control file.").arg(tag);
        if (!QFileInfo(file).isReadable())
            text = QStringLiteral("The file cannot be read.");
        else if (tag.isEmpty())
            text = QStringLiteral("No element found: this is not a control file.");
        d->report(VTMessageWarning, file, tag.isEmpty() ? 0 : line, 0, text);
        return;
    }
    const VTControlPath record { file, depth };
    if (d->controlPaths.contains(record))
        return;
    d->controlPaths.prepend(record);
    const qint64 rank = d->nextIndexedRank--;
    d->ranks.insert(VTIndexPrivate::rankKey(file, depth), rank);
    ControlFile* scanned = d->current(d->fileRecord(file));
    d->addCandidates(scanned, rank, depth);
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
    // A copy: reading a changed file again changes the candidates.
    const std::vector<Candidate> list = d->candidates.value(key);
    for (const Candidate& candidate : list) {
        ControlFile* file = d->current(candidate.file);
        // A key defined twice in one file makes that file serve neither.
        if (file->keyCounts.value(key) != 1)
            continue;
        const QString& localeName = file->scan.locale;
        if (!localeName.isEmpty() && QLocale(localeName) != locale)
            continue;
        if (VTXmlElement* result = d->loadVantle(file, key, root)) {
            depth = candidate.depth;
            location = QFileInfo(file->path).absolutePath();
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
    if (!element)
        return;
    d->refreshKeyData();
    const auto it = d->keyData.entries.constFind(key);
    if (it == d->keyData.entries.constEnd())
        return;
    for (const auto& attribute : it.value())
        element->setAttribute(attribute.first, attribute.second);
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
