// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTIndex.h"

#include "VTContext.h"
#include "VTControlFileScanner_p.h"
#include "VTIndexStore_p.h"
#include "VTXmlElement.h"
#include "VTXmlParser.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QHash>
#include <QPointer>
#include <QRegularExpression>
#include <QSet>
#include <QTimer>
#include <QXmlStreamReader>
#include <qplatformdefs.h>

#include <algorithm>
#include <memory>
#include <unordered_map>

namespace Vantles {

namespace {

// A control file the index knows: what it read (kept by the store) and the
// control paths it is searched under.
struct ControlFile {
    VTStoredFile stored;
    QList<std::pair<qint64, int>> paths; // rank and depth of each control path
    bool viaStore = false; // a path of store(), read whatever its first tag
};

// A control path whose file defines a key, with its place in the search order.
struct Candidate {
    qint64 rank; // smaller is searched first
    int depth;
    ControlFile* file;
    VTScannedVantle vantle; // the first definition in the file
    int count; // definitions in the file: a key defined twice serves nothing
};

// The version of a file on disk: its size and when it last changed.
struct FileVersion {
    qint64 size = -1;
    qint64 modified = 0;
    bool directory = false;
    bool operator==(const FileVersion& other) const { return size == other.size && modified == other.modified; }
};

FileVersion versionOf(const QString& path)
{
#ifdef Q_OS_UNIX
    // QFileInfo::lastModified() converts to local time, which costs more
    // than the stat itself; a warm start asks this of every control file.
    // The status change time, in nanoseconds: every write moves it, also one
    // that keeps the size within the same millisecond or sets the
    // modification time back, and no program can set it.
    QT_STATBUF buffer;
    if (QT_STAT(QFile::encodeName(path).constData(), &buffer) != 0)
        return {};
    return { qint64(buffer.st_size), qint64(buffer.st_ctim.tv_sec) * 1000000000 + buffer.st_ctim.tv_nsec,
        S_ISDIR(buffer.st_mode) };
#else
    const QFileInfo info(path);
    if (!info.exists())
        return {};
    return { info.size(), info.lastModified().toMSecsSinceEpoch(), info.isDir() };
#endif
}

// Marks the documents of lookups, see VTIndex::isParsedDocument().
constexpr char parsedDocumentProperty[] = "_vantlesParsedDocument";

// The parsers of a lookup make plain elements, also for an element that
// happens to be called "VTXmlElement", within the content bounds.
void setUpLookupParser(VTXmlParser& parser)
{
    parser.setDefaultElement(&VTXmlElement::staticMetaObject);
    parser.registerElement(QStringLiteral("VTXmlElement"), &VTXmlElement::staticMetaObject);
    // The document element and the <vantle> are the first two levels.
    parser.setLimits({ 2 + VTIndex::MaximumVantleDepth, VTIndex::MaximumElementText, VTIndex::MaximumFileText });
}

// The first tag in the file, judged line by line, so that a tag split over
// two lines is judged by what each line holds: its name and line, or an
// empty name when there is none. Only the file's start is read: a file
// whose first tag is not there is no control file, however large it is.
QString firstTag(QIODevice* file, qint64* lineNumber)
{
    static const QRegularExpression tag(QStringLiteral("<(\\w+)\\s*(\\w|>|/>)"));
    constexpr qint64 maximumRead = 64 * 1024;
    qint64 line = 1;
    while (!file->atEnd() && file->pos() < maximumRead) {
        const QByteArray piece = file->readLine(1024);
        if (piece.isEmpty())
            break;
        const QRegularExpressionMatch match = tag.match(QString::fromLatin1(piece.constData()));
        if (match.hasMatch()) {
            *lineNumber = line;
            return match.captured(1);
        }
        if (piece.endsWith('\n'))
            ++line;
    }
    *lineNumber = 0;
    return QString();
}

// Whether files serving these two locales both answer a lookup for one locale.
bool localesOverlap(const QString& a, const QString& b)
{
    return a.isEmpty() || b.isEmpty() || QLocale(a) == QLocale(b);
}

QString rankKey(const QString& path, int depth)
{
    return QString::number(depth) + QLatin1Char(':') + path;
}

// Beyond this many control files, edits in place are noticed when a lookup
// uses the file, not by a watch of its own: watches are a shared, limited
// resource of the system.
constexpr int maximumWatchedFiles = 2000;

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
    QSet<QString> controlPathKeys; // rankKey() of each control path
    QMap<QString, QStringList> packages;
    bool inUpdate = false;
    const QRegularExpression separator { QStringLiteral("[,;\\s]+") };

    std::unique_ptr<VTIndexStore> store;
    std::unordered_map<QString, std::unique_ptr<ControlFile>> files;
    QHash<qint64, ControlFile*> byId;
    qint64 nextIndexedRank = -1; // indexed last is searched first
    qint64 nextStoredRank = 1; // stored paths come after every indexed one
    QSet<qint64> unchecked; // read since the last cross-file check
    bool purged = false;
    QHash<QString, QString> canonicalFolders;
    QHash<QString, QString> packageNames;

    QFileSystemWatcher* watcher = nullptr;
    QHash<QString, QString> watchedFolders; // folder -> the location its files are indexed under
    int watchedFiles = 0;
    QStringList filesToWatch; // added from the event loop, not while loading
    QSet<QString> changedPaths;
    QTimer* changeTimer = nullptr;

    // The key-data file, read once per version: each key's attributes.
    struct KeyData {
        QString path;
        FileVersion version;
        QHash<QString, QList<std::pair<QString, QString>>> entries;
    } keyData;

    void report(VTMessageType type, const QString& file, qint64 line, qint64 column, const QString& text)
    {
        Q_EMIT q->problemFound(VTProblem { type, file, line, column, text });
    }

    VTIndexStore* theStore();
    QString canonicalFolder(const QString& folder);
    int depthBelow(const QString& file, bool isDirectory, const QString& location);
    ControlFile* fileRecord(const QString& path);
    bool refresh(ControlFile* file, const FileVersion& version);
    bool refresh(ControlFile* file) { return refresh(file, versionOf(file->stored.path)); }
    void read(ControlFile* file);
    QList<Candidate> candidates(const QString& key);
    void checkAcrossFiles();
    void forget(ControlFile* file);
    VTXmlElement* loadVantle(ControlFile* file, const VTScannedVantle& vantle, const QString& key, VTXmlElement*& root);
    void watch(const QString& file, const QString& location);
    void applyChanges();
    void refreshKeyData();
};

// The store, opened on first use: a database when the setting names one.
VTIndexStore* VTIndexPrivate::theStore()
{
    if (store)
        return store.get();
    const QString path = q->context()->get(VTContextIndexDatabase).toString();
    QString problem;
    store = VTIndexStore::open(path, &problem);
    if (!problem.isEmpty()) {
        report(VTMessageWarning, path, 0, 0,
            QStringLiteral("The index database cannot be used, so the index is kept in memory: %1").arg(problem));
    }
    QList<VTStoredFile> stored = store->files();
    files.reserve(size_t(stored.size()));
    for (VTStoredFile& record : stored) {
        auto file = std::make_unique<ControlFile>();
        file->stored = std::move(record);
        byId.insert(file->stored.id, file.get());
        files.emplace(file->stored.path, std::move(file));
    }
    return store.get();
}

QString VTIndexPrivate::canonicalFolder(const QString& folder)
{
    auto it = canonicalFolders.constFind(folder);
    if (it == canonicalFolders.constEnd())
        it = canonicalFolders.insert(folder, QFileInfo(folder).canonicalFilePath());
    return it.value();
}

// Steps up from @p file one folder at a time until the canonical path is that
// of @p location. The walk is lexical and stops at the root, so links can
// neither make it loop nor lead it away; -1 when the location is not reached.
int VTIndexPrivate::depthBelow(const QString& file, bool isDirectory, const QString& location)
{
    const QString target = canonicalFolder(location);
    if (target.isEmpty())
        return -1;
    QString current = QDir::cleanPath(QFileInfo(file).absoluteFilePath());
    // Only a folder (or a link to one) can be the location itself.
    if (isDirectory && QFileInfo(current).canonicalFilePath() == target)
        return 0;
    int depth = 0;
    for (;;) {
        const QString parent = QFileInfo(current).absolutePath();
        if (QDir(current).isRoot() || parent == current)
            return -1;
        current = parent;
        ++depth;
        if (canonicalFolder(current) == target)
            return depth;
    }
}

// The record of @p path; a new one is read by the first refresh().
ControlFile* VTIndexPrivate::fileRecord(const QString& path)
{
    theStore();
    auto it = files.find(path);
    if (it == files.end()) {
        auto file = std::make_unique<ControlFile>();
        file->stored.path = path;
        it = files.emplace(path, std::move(file)).first;
    }
    return it->second.get();
}

// Reads @p file again when it changed since it was read, in this run or, with
// a database, in an earlier one; true when it was read.
bool VTIndexPrivate::refresh(ControlFile* file, const FileVersion& version)
{
    if (file->stored.id && version == FileVersion { file->stored.size, file->stored.modified })
        return false;
    read(file);
    return true;
}

// Reads the file and reports what is wrong with it.
void VTIndexPrivate::read(ControlFile* file)
{
    VTStoredFile& stored = file->stored;
    QFile input(stored.path);
    const FileVersion version = versionOf(stored.path);
    stored.size = version.size;
    stored.modified = version.modified;
    stored.scan = VTControlFileScan();
    stored.firstTag.clear();
    QList<VTScannedVantle> vantles;
    const bool tooLarge = version.size > VTIndex::MaximumControlFileSize;
    if (!tooLarge && input.open(QIODevice::ReadOnly)) {
        stored.firstTag = firstTag(&input, &stored.firstTagLine);
        if ((stored.firstTag == QLatin1String("vantles") || file->viaStore) && input.seek(0)) {
            stored.scan = scanControlFile(input.readAll());
            vantles = std::move(stored.scan.vantles);
            stored.scan.vantles.clear();
        }
    }
    if (file->stored.id)
        byId.remove(file->stored.id);
    stored.id = theStore()->put(stored, vantles);
    byId.insert(stored.id, file);
    unchecked.insert(stored.id);

    const VTControlFileScan& scan = stored.scan;
    if (!scan.isControlFile()) {
        // A path of store() is read without the first-tag judgement of indexing.
        if (file->viaStore && !tooLarge)
            return;
        QString text = QStringLiteral("The first element is <%1>, not <vantles>: this is not a control file.")
                           .arg(stored.firstTag);
        if (tooLarge)
            text = QStringLiteral("The file is larger than %1 MiB: it is not read.")
                       .arg(VTIndex::MaximumControlFileSize / (1024 * 1024));
        else if (!scan.error.isEmpty())
            return report(VTMessageError, stored.path, scan.errorLine, scan.errorColumn,
                QStringLiteral("%1 The file is not read.").arg(scan.error));
        else if (!input.isOpen())
            text = QStringLiteral("The file cannot be read.");
        else if (stored.firstTag.isEmpty())
            text = QStringLiteral("No element found: this is not a control file.");
        report(VTMessageWarning, stored.path, stored.firstTagLine, 0, text);
        return;
    }
    if (scan.hasLocale && !isValidLocaleName(scan.locale)) {
        report(VTMessageWarning, stored.path, scan.rootLine, scan.rootColumn,
            QStringLiteral("\"%1\" is not a valid locale name (such as en_US), so this file serves no locale.")
                .arg(scan.locale));
    }
    for (const VTScannedVantle& other : scan.others) {
        report(VTMessageWarning, stored.path, other.line, other.column,
            QStringLiteral("<%1> is not a <vantle>: lookups ignore it.").arg(other.key));
    }
    QHash<QString, qint64> firstLines;
    for (const VTScannedVantle& vantle : qAsConst(vantles)) {
        if (!vantle.hasKey) {
            report(VTMessageWarning, stored.path, vantle.line, vantle.column,
                QStringLiteral("This <vantle> has no \"key\" attribute."));
        } else if (firstLines.contains(vantle.key)) {
            report(VTMessageWarning, stored.path, vantle.line, vantle.column,
                QStringLiteral("The key \"%1\" is defined twice in this file (also at line %2), so this file serves "
                               "neither.")
                    .arg(vantle.key, QString::number(firstLines.value(vantle.key))));
        }
        firstLines.insert(vantle.key, vantle.line);
    }
    if (!scan.error.isEmpty()) {
        report(VTMessageError, stored.path, scan.errorLine, scan.errorColumn,
            QStringLiteral("%1 The rest of the file is ignored.").arg(scan.error));
    }
}

// Each control path whose file defines @p key, in search order.
QList<Candidate> VTIndexPrivate::candidates(const QString& key)
{
    QList<Candidate> result;
    qint64 lastFile = 0;
    for (const VTStoredVantle& definition : theStore()->find(key)) {
        if (definition.file == lastFile) {
            for (Candidate& candidate : result) {
                if (candidate.file->stored.id == definition.file)
                    ++candidate.count;
            }
            continue;
        }
        lastFile = definition.file;
        ControlFile* file = byId.value(definition.file);
        if (!file)
            continue;
        for (const auto& [rank, depth] : qAsConst(file->paths))
            result.append({ rank, depth, file, definition.vantle, 1 });
    }
    std::sort(result.begin(), result.end(), [](const Candidate& a, const Candidate& b) { return a.rank < b.rank; });
    return result;
}

// What only the whole index can tell, for the files read since the last
// check: a search list naming no package, and a key another file defines for
// the same locale. Of two such files the one searched later never answers.
void VTIndexPrivate::checkAcrossFiles()
{
    if (unchecked.isEmpty())
        return;
    QSet<QString> keys;
    for (qint64 id : qAsConst(unchecked)) {
        const ControlFile* file = byId.value(id);
        if (!file || !file->stored.scan.isControlFile())
            continue;
        const VTControlFileScan& scan = file->stored.scan;
        if (!scan.search.isEmpty()) {
            for (const QString& name : scan.search.split(separator)) {
                if (!name.isEmpty() && !packages.contains(name)) {
                    report(VTMessageWarning, file->stored.path, scan.rootLine, scan.rootColumn,
                        QStringLiteral("The search list names \"%1\", which is no package on the data path.")
                            .arg(name));
                }
            }
        }
        // A few files are checked key by key; many at once through the
        // store's list of keys that several files define.
        if (unchecked.size() <= 64) {
            for (const VTScannedVantle& vantle : store->vantles(id))
                keys.insert(vantle.key);
        }
    }
    if (unchecked.size() > 64) {
        const QStringList shared = store->sharedKeys();
        keys = QSet<QString>(shared.cbegin(), shared.cend());
    }
    for (const QString& key : qAsConst(keys)) {
        if (key.isEmpty())
            continue;
        const QList<Candidate> list = candidates(key);
        for (int later = 1; later < list.size(); ++later) {
            const Candidate& loser = list.at(later);
            const auto winner = std::find_if(list.cbegin(), list.cbegin() + later, [&](const Candidate& c) {
                return c.file != loser.file
                    && localesOverlap(c.file->stored.scan.locale, loser.file->stored.scan.locale);
            });
            if (winner == list.cbegin() + later
                || std::any_of(
                    list.cbegin(), list.cbegin() + later, [&](const Candidate& c) { return c.file == loser.file; }))
                continue;
            if (!unchecked.contains(loser.file->stored.id) && !unchecked.contains(winner->file->stored.id))
                continue;
            const QString locale = winner->file->stored.scan.locale.isEmpty() ? loser.file->stored.scan.locale
                                                                              : winner->file->stored.scan.locale;
            const QString servedFor
                = locale.isEmpty() ? QStringLiteral("every locale") : QStringLiteral("locale %1").arg(locale);
            const VTProblem place { VTMessageWarning, winner->file->stored.path, winner->vantle.line,
                winner->vantle.column, QString() };
            report(VTMessageWarning, loser.file->stored.path, loser.vantle.line, loser.vantle.column,
                QStringLiteral("The key \"%1\" is also defined for %2 at %3, which is searched first.")
                    .arg(key, servedFor, place.place()));
        }
    }
    unchecked.clear();
}

// Drops @p file and its control paths.
void VTIndexPrivate::forget(ControlFile* file)
{
    const QString path = file->stored.path;
    controlPaths.removeIf([&](const VTControlPath& controlPath) {
        if (controlPath.path != path)
            return false;
        controlPathKeys.remove(rankKey(controlPath.path, controlPath.depth));
        return true;
    });
    if (file->stored.id) {
        theStore()->remove(file->stored.id);
        byId.remove(file->stored.id);
        unchecked.remove(file->stored.id);
    }
    files.erase(path);
}

// The vantle of @p key, parsed from its own bytes with the root's start tag
// around it; the whole file when it cannot be cut.
VTXmlElement* VTIndexPrivate::loadVantle(
    ControlFile* file, const VTScannedVantle& vantle, const QString& key, VTXmlElement*& root)
{
    const VTStoredFile& stored = file->stored;
    if (stored.scan.rootTag.isEmpty() || vantle.begin < 0)
        return q->load(key, stored.path, QLocale(stored.scan.locale), root);

    QFile input(stored.path);
    if (!input.open(QIODevice::ReadOnly) || !input.seek(vantle.begin))
        return nullptr;
    const QByteArray piece = input.read(vantle.end - vantle.begin);
    if (piece.size() != vantle.end - vantle.begin)
        return nullptr;

    VTXmlParser parser(&VTIndex::retrieveElementShouldGenerateElement, const_cast<QString*>(&key));
    setUpLookupParser(parser);
    const QList<QObject*> roots = parser.read(stored.scan.rootTag + piece + "</" + stored.scan.rootName.toUtf8() + '>');
    // Positions in the piece, behind the root's start tag, to positions in the
    // file; the tag's last line counted in characters, as columns are.
    const qint64 tagLines = stored.scan.rootTag.count('\n');
    const qint64 tagTail
        = QString::fromUtf8(stored.scan.rootTag.mid(stored.scan.rootTag.lastIndexOf('\n') + 1)).size();
    for (const VTXmlParser::Problem& problem : parser.problems()) {
        const qint64 line = problem.line - tagLines;
        report(VTMessageWarning, stored.path, vantle.line + line - 1,
            line == 1 ? vantle.column + problem.column - 1 - tagTail : problem.column, problem.message);
    }
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
    root->setProperty(parsedDocumentProperty, true);
    q->loadKeyData(key, stored.path, result);
    result->setAttribute(QStringLiteral("VTLocation"), stored.path);
    result->setAttribute(QStringLiteral("VTPackagName"), q->packageNameForLocation(stored.path));
    return result;
}

// Watches the folder of @p file, for control files added and removed, and
// the file itself while there are few, for edits in place.
void VTIndexPrivate::watch(const QString& file, const QString& location)
{
    if (!watcher) {
        watcher = new QFileSystemWatcher(q);
        changeTimer = new QTimer(q);
        changeTimer->setSingleShot(true);
        // An editor may write a file in several steps: wait for the last.
        changeTimer->setInterval(100);
        auto changed = [this](const QString& path) {
            changedPaths.insert(path);
            changeTimer->start();
        };
        QObject::connect(watcher, &QFileSystemWatcher::directoryChanged, q, changed);
        QObject::connect(watcher, &QFileSystemWatcher::fileChanged, q, changed);
        QObject::connect(changeTimer, &QTimer::timeout, q, [this] { applyChanges(); });
    }
    const QString folder = QFileInfo(file).absolutePath();
    if (!watchedFolders.contains(folder)) {
        watchedFolders.insert(folder, location);
        watcher->addPath(folder);
    }
    if (watchedFiles + filesToWatch.size() >= maximumWatchedFiles)
        return;
    if (filesToWatch.isEmpty()) {
        QTimer::singleShot(0, q, [this] {
            const QStringList files = std::exchange(filesToWatch, {});
            watchedFiles += files.size() - watcher->addPaths(files).size();
        });
    }
    filesToWatch.append(file);
}

// Indexes the control files added to a watched folder, forgets the removed
// ones and reads the edited ones again.
void VTIndexPrivate::applyChanges()
{
    const QSet<QString> changed = std::exchange(changedPaths, {});
    for (const QString& path : changed) {
        const auto folder = watchedFolders.constFind(path);
        if (folder == watchedFolders.constEnd()) {
            auto it = files.find(path);
            if (it != files.end() && !it->second->paths.isEmpty()) {
                if (QFileInfo::exists(path)) {
                    refresh(it->second.get());
                    watcher->addPath(path); // replaced files lose their watch
                } else {
                    forget(it->second.get());
                }
            }
            continue;
        }
        const QString location = folder.value();
        const QString canonical = canonicalFolder(path);
        QSet<QString> present;
        const QFileInfoList entries = QDir(path).entryInfoList({ QStringLiteral("*.xml") },
            QDir::Files | QDir::NoSymLinks | QDir::Readable | QDir::NoDotAndDotDot, QDir::NoSort);
        for (const QFileInfo& entry : entries) {
            const QString file = canonical + QLatin1Char('/') + entry.fileName();
            present.insert(file);
            auto it = files.find(file);
            if (it == files.end() || it->second->paths.isEmpty())
                q->indexControlFile(file, location);
            else
                refresh(it->second.get());
        }
        QList<ControlFile*> removed;
        for (const auto& [filePath, file] : files) {
            if (!file->paths.isEmpty() && QFileInfo(filePath).absolutePath() == canonical
                && !present.contains(filePath))
                removed.append(file.get());
        }
        for (ControlFile* file : qAsConst(removed))
            forget(file);
    }
    checkAcrossFiles();
    theStore()->commit();
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

VTIndex::~VTIndex()
{
    if (d->store)
        d->store->commit();
}

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
    // The database, when setting VTContextIndexDatabase names one.
    d->theStore();
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
    const QString key = rankKey(location, depth);
    if (d->controlPathKeys.contains(key))
        return true;
    d->controlPaths.append({ location, depth });
    d->controlPathKeys.insert(key);
    ControlFile* file = d->fileRecord(location);
    if (!file->viaStore) {
        file->viaStore = true;
        file->stored.size = -1; // read again, whatever its first tag
    }
    d->refresh(file);
    file->paths.append({ d->nextStoredRank++, depth });
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
        ControlFile* file = it->second.get();
        d->refresh(file);
        if (!file->stored.scan.isControlFile())
            continue;
        for (const VTScannedVantle& vantle : d->theStore()->vantles(file->stored.id)) {
            if (vantle.hasKey)
                result.append({ vantle.key, file->stored.path, file->stored.scan.locale, vantle.line, vantle.column });
        }
    }
    d->checkAcrossFiles();
    return result;
}

VTKeyDefinition VTIndex::definition(const QString& file, const QString& key) const
{
    const auto it = d->files.find(file);
    if (it == d->files.end() || !it->second->stored.id)
        return {};
    const VTStoredFile& stored = it->second->stored;
    for (const VTStoredVantle& definition : d->theStore()->find(key)) {
        if (definition.file == stored.id)
            return { key, file, stored.scan.locale, definition.vantle.line, definition.vantle.column };
    }
    return {};
}

void VTIndex::checkReferences()
{
    d->checkAcrossFiles();
    // With a database: records of files no longer indexed go, once loading is done.
    if (!d->purged) {
        d->purged = true;
        QList<ControlFile*> stale;
        for (const auto& entry : d->files) {
            if (entry.second->paths.isEmpty() && !d->unchecked.contains(entry.second->stored.id)
                && entry.second->stored.firstTag == QLatin1String("vantles"))
                stale.append(entry.second.get());
        }
        for (ControlFile* file : qAsConst(stale))
            d->forget(file);
    }
    d->theStore()->commit();
}

void VTIndex::removeControlFile(const QString& file)
{
    const auto it = d->files.find(file);
    if (it != d->files.end())
        d->forget(it->second.get());
}

void VTIndex::indexControlFile(const QString& file, const QString& location)
{
    if (!file.startsWith(location))
        return;
    const FileVersion version = versionOf(file);
    const int depth = d->depthBelow(file, version.directory, location);
    if (depth < 1)
        return;
    const QString key = rankKey(file, depth);
    if (d->controlPathKeys.contains(key))
        return;
    ControlFile* record = d->fileRecord(file);
    d->refresh(record, version);
    if (record->stored.firstTag != QLatin1String("vantles"))
        return;
    d->controlPaths.prepend({ file, depth });
    d->controlPathKeys.insert(key);
    record->paths.append({ d->nextIndexedRank--, depth });
    mapControlFile(file, location);
    d->watch(file, location);
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
    const QString extension = context()->get(VTContextPackageExtension, QStringLiteral("vantles")).toString();
    const QString cacheKey = extension + QLatin1Char('|') + location;
    const auto cached = d->packageNames.constFind(cacheKey);
    if (cached != d->packageNames.constEnd())
        return cached.value();
    QString name;
    QString current = QDir::cleanPath(QFileInfo(location).absoluteFilePath());
    for (;;) {
        const QFileInfo info(current);
        if (QDir(current).isRoot())
            break;
        if (info.suffix() == extension && info.isDir()) {
            name = info.completeBaseName();
            break;
        }
        const QString parent = info.absolutePath();
        if (parent == current)
            break;
        current = parent;
    }
    d->packageNames.insert(cacheKey, name);
    return name;
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
    // A file read again changes the candidates: start over, a few times at most.
    for (int round = 0; round < 3; ++round) {
        bool reread = false;
        for (const Candidate& candidate : d->candidates(key)) {
            if (d->refresh(candidate.file)) {
                reread = true;
                break;
            }
            const VTControlFileScan& scan = candidate.file->stored.scan;
            // A key defined twice in one file makes that file serve neither.
            if (candidate.count != 1 || !scan.isControlFile())
                continue;
            if (!scan.locale.isEmpty() && QLocale(scan.locale) != locale)
                continue;
            if (VTXmlElement* result = d->loadVantle(candidate.file, candidate.vantle, key, root)) {
                depth = candidate.depth;
                location = QFileInfo(candidate.file->stored.path).absolutePath();
                return result;
            }
        }
        d->checkAcrossFiles();
        if (!reread)
            break;
    }
    return nullptr;
}

bool VTIndex::isParsedDocument(const QObject* root)
{
    return root && root->property(parsedDocumentProperty).toBool();
}

VTXmlElement* VTIndex::load(const QString& key, const QString& controlFile, const QLocale& locale, VTXmlElement*& root)
{
    VTXmlParser parser(&VTIndex::retrieveElementShouldGenerateElement, const_cast<QString*>(&key));
    setUpLookupParser(parser);

    QFile file(controlFile);
    if (!file.open(QIODevice::ReadOnly))
        return nullptr;
    const QList<QObject*> roots = parser.read(&file);
    for (const VTXmlParser::Problem& problem : parser.problems())
        d->report(VTMessageWarning, controlFile, problem.line, problem.column, problem.message);
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

    root->setProperty(parsedDocumentProperty, true);
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
