// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTIndexStore_p.h"

#include <QFile>
#include <QHash>
#include <QSet>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include <atomic>
#include <map>

namespace Vantles {

VTIndexStore::~VTIndexStore() = default;

namespace {

class MemoryStore : public VTIndexStore {
public:
    QList<VTStoredFile> files() override { return {}; }

    qint64 put(const VTStoredFile& file, const QList<VTScannedVantle>& vantles) override
    {
        const qint64 id = file.id ? file.id : m_nextId++;
        remove(id);
        m_byFile.insert(id, vantles);
        for (int i = 0; i < vantles.size(); ++i)
            m_byKey[vantles.at(i).key].append({ id, i });
        return id;
    }

    void remove(qint64 file) override
    {
        const QList<VTScannedVantle> vantles = m_byFile.take(file);
        for (const VTScannedVantle& vantle : vantles) {
            auto it = m_byKey.find(vantle.key);
            if (it == m_byKey.end())
                continue;
            it->removeIf([file](const std::pair<qint64, int>& entry) { return entry.first == file; });
            if (it->isEmpty())
                m_byKey.erase(it);
        }
    }

    QList<VTStoredVantle> find(const QString& key) override
    {
        QList<VTStoredVantle> result;
        for (const auto& [file, index] : m_byKey.value(key))
            result.append({ file, m_byFile.value(file).at(index) });
        return result;
    }

    QList<VTScannedVantle> vantles(qint64 file) override { return m_byFile.value(file); }

    QStringList sharedKeys() override
    {
        QStringList result;
        for (auto it = m_byKey.cbegin(); it != m_byKey.cend(); ++it) {
            const qint64 first = it->first().first;
            if (std::any_of(it->cbegin(), it->cend(), [first](const auto& entry) { return entry.first != first; }))
                result.append(it.key());
        }
        return result;
    }

    void commit() override { }

private:
    qint64 m_nextId = 1;
    QHash<qint64, QList<VTScannedVantle>> m_byFile;
    // Each definition of a key: its file and its place in m_byFile.
    QHash<QString, QList<std::pair<qint64, int>>> m_byKey;
};

// The record in an SQLite database. Changes gather in one transaction until
// commit(), so a process killed while indexing leaves the database as the
// last commit left it.
class SqliteStore : public VTIndexStore {
public:
    // Raised with every change of the tables below or of what they hold; a
    // database of another version is made anew.
    static constexpr int schemaVersion = 2;
    static constexpr int applicationId = 0x56544c53; // "VTLS"

    ~SqliteStore() override
    {
        if (!m_connection.isEmpty()) {
            commit();
            m_queries.clear();
            database().close();
        }
        QSqlDatabase::removeDatabase(m_connection);
    }

    bool open(const QString& path, QString* problem)
    {
        static std::atomic<int> connections { 0 };
        m_connection = QStringLiteral("vantles-index-%1").arg(++connections);
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_connection);
        db.setDatabaseName(path);
        if (usable() || (rebuild(path) && usable()))
            return true;
        *problem = database().lastError().text();
        return false;
    }

    QList<VTStoredFile> files() override
    {
        QList<VTStoredFile> result;
        QSqlQuery query(database());
        query.setForwardOnly(true);
        query.exec(QStringLiteral("SELECT id, path, size, modified, first_tag, first_tag_line, root, root_line, "
                                  "root_column, locale, has_locale, search, root_tag FROM files"));
        while (query.next()) {
            VTStoredFile file;
            file.id = query.value(0).toLongLong();
            file.path = query.value(1).toString();
            file.size = query.value(2).toLongLong();
            file.modified = query.value(3).toLongLong();
            file.firstTag = query.value(4).toString();
            file.firstTagLine = query.value(5).toLongLong();
            file.scan.rootName = query.value(6).toString();
            file.scan.rootLine = query.value(7).toLongLong();
            file.scan.rootColumn = query.value(8).toLongLong();
            file.scan.locale = query.value(9).toString();
            file.scan.hasLocale = query.value(10).toBool();
            file.scan.search = query.value(11).toString();
            file.scan.rootTag = query.value(12).toByteArray();
            result.append(std::move(file));
        }
        return result;
    }

    qint64 put(const VTStoredFile& file, const QList<VTScannedVantle>& vantles) override
    {
        begin();
        QSqlQuery& store
            = query(file.id ? QStringLiteral("UPDATE files SET path = :path, size = :size, modified = "
                                             ":modified, first_tag = :tag, first_tag_line = :tagLine, "
                                             "root = :root, root_line = :line, root_column = :column, "
                                             "locale = :locale, has_locale = :hasLocale, search = :search, "
                                             "root_tag = :rootTag WHERE id = :id")
                            : QStringLiteral("INSERT INTO files (path, size, modified, first_tag, "
                                             "first_tag_line, root, root_line, root_column, locale, "
                                             "has_locale, search, root_tag) VALUES (:path, :size, "
                                             ":modified, :tag, :tagLine, :root, :line, :column, :locale, "
                                             ":hasLocale, :search, :rootTag)"));
        if (file.id)
            store.bindValue(QStringLiteral(":id"), file.id);
        store.bindValue(QStringLiteral(":path"), file.path);
        store.bindValue(QStringLiteral(":size"), file.size);
        store.bindValue(QStringLiteral(":modified"), file.modified);
        store.bindValue(QStringLiteral(":tag"), file.firstTag);
        store.bindValue(QStringLiteral(":tagLine"), file.firstTagLine);
        store.bindValue(QStringLiteral(":root"), file.scan.rootName);
        store.bindValue(QStringLiteral(":line"), file.scan.rootLine);
        store.bindValue(QStringLiteral(":column"), file.scan.rootColumn);
        store.bindValue(QStringLiteral(":locale"), file.scan.locale);
        store.bindValue(QStringLiteral(":hasLocale"), file.scan.hasLocale);
        store.bindValue(QStringLiteral(":search"), file.scan.search);
        store.bindValue(QStringLiteral(":rootTag"), file.scan.rootTag);
        store.exec();
        const qint64 id = file.id ? file.id : store.lastInsertId().toLongLong();

        removeVantles(id);
        QSqlQuery& insert = query(QStringLiteral("INSERT INTO vantles (file, seq, key, has_key, line, col, begin, "
                                                 "end) VALUES (?, ?, ?, ?, ?, ?, ?, ?)"));
        for (int i = 0; i < vantles.size(); ++i) {
            const VTScannedVantle& vantle = vantles.at(i);
            insert.bindValue(0, id);
            insert.bindValue(1, i);
            insert.bindValue(2, vantle.key);
            insert.bindValue(3, vantle.hasKey);
            insert.bindValue(4, vantle.line);
            insert.bindValue(5, vantle.column);
            insert.bindValue(6, vantle.begin);
            insert.bindValue(7, vantle.end);
            insert.exec();
        }
        return id;
    }

    void remove(qint64 file) override
    {
        begin();
        removeVantles(file);
        QSqlQuery& remove = query(QStringLiteral("DELETE FROM files WHERE id = ?"));
        remove.bindValue(0, file);
        remove.exec();
    }

    QList<VTStoredVantle> find(const QString& key) override
    {
        QSqlQuery& find = query(QStringLiteral(
            "SELECT file, key, has_key, line, col, begin, end FROM vantles WHERE key = ? ORDER BY file, seq"));
        find.bindValue(0, key);
        find.exec();
        QList<VTStoredVantle> result;
        while (find.next())
            result.append({ find.value(0).toLongLong(), vantleOf(find, 1) });
        find.finish();
        return result;
    }

    QList<VTScannedVantle> vantles(qint64 file) override
    {
        QSqlQuery& select = query(
            QStringLiteral("SELECT key, has_key, line, col, begin, end FROM vantles WHERE file = ? ORDER BY seq"));
        select.bindValue(0, file);
        select.exec();
        QList<VTScannedVantle> result;
        while (select.next())
            result.append(vantleOf(select, 0));
        select.finish();
        return result;
    }

    QStringList sharedKeys() override
    {
        QSqlQuery query(
            QStringLiteral("SELECT key FROM vantles GROUP BY key HAVING COUNT(DISTINCT file) > 1"), database());
        QStringList result;
        while (query.next())
            result.append(query.value(0).toString());
        return result;
    }

    void commit() override
    {
        if (m_inTransaction)
            database().commit();
        m_inTransaction = false;
    }

private:
    QSqlDatabase database() const { return QSqlDatabase::database(m_connection, false); }

    // A prepared query, made once for each text.
    QSqlQuery& query(const QString& text)
    {
        std::unique_ptr<QSqlQuery>& query = m_queries[text];
        if (!query) {
            query = std::make_unique<QSqlQuery>(database());
            query->prepare(text);
        }
        return *query;
    }

    void begin()
    {
        if (!m_inTransaction)
            m_inTransaction = database().transaction();
    }

    void removeVantles(qint64 file)
    {
        QSqlQuery& remove = query(QStringLiteral("DELETE FROM vantles WHERE file = ?"));
        remove.bindValue(0, file);
        remove.exec();
    }

    static VTScannedVantle vantleOf(const QSqlQuery& query, int first)
    {
        VTScannedVantle vantle;
        vantle.key = query.value(first).toString();
        vantle.hasKey = query.value(first + 1).toBool();
        vantle.line = query.value(first + 2).toLongLong();
        vantle.column = query.value(first + 3).toLongLong();
        vantle.begin = query.value(first + 4).toLongLong();
        vantle.end = query.value(first + 5).toLongLong();
        return vantle;
    }

    // Whether the database opens and is one of this version; a new, empty
    // file is given the tables.
    bool usable()
    {
        QSqlDatabase db = database();
        if (!db.isOpen() && !db.open())
            return false;
        QSqlQuery query(db);
        if (!query.exec(QStringLiteral("PRAGMA application_id")) || !query.next())
            return false;
        const int id = query.value(0).toInt();
        if (!query.exec(QStringLiteral("PRAGMA user_version")) || !query.next())
            return false;
        const int version = query.value(0).toInt();
        if (!query.exec(QStringLiteral("SELECT count(*) FROM sqlite_master")) || !query.next())
            return false;
        const bool empty = query.value(0).toInt() == 0;
        query.exec(QStringLiteral("PRAGMA journal_mode = WAL"));
        query.exec(QStringLiteral("PRAGMA synchronous = NORMAL"));
        if (!empty)
            return id == applicationId && version == schemaVersion;
        const char* schema[] = {
            "CREATE TABLE files (id INTEGER PRIMARY KEY, path TEXT UNIQUE NOT NULL, size INTEGER, modified "
            "INTEGER, first_tag TEXT, first_tag_line INTEGER, root TEXT, root_line INTEGER, root_column INTEGER, "
            "locale TEXT, has_locale INTEGER, search TEXT, root_tag BLOB)",
            "CREATE TABLE vantles (file INTEGER NOT NULL, seq INTEGER NOT NULL, key TEXT NOT NULL, has_key INTEGER, "
            "line INTEGER, col INTEGER, begin INTEGER, end INTEGER, PRIMARY KEY (file, seq)) WITHOUT ROWID",
            "CREATE INDEX vantles_by_key ON vantles (key)",
        };
        if (!db.transaction())
            return false;
        bool ok = true;
        for (const char* statement : schema)
            ok = ok && query.exec(QLatin1String(statement));
        ok = ok && query.exec(QStringLiteral("PRAGMA application_id = %1").arg(applicationId))
            && query.exec(QStringLiteral("PRAGMA user_version = %1").arg(schemaVersion));
        return ok ? db.commit() : (db.rollback(), false);
    }

    // Removes a damaged or foreign database file, so that it is made anew.
    bool rebuild(const QString& path)
    {
        m_queries.clear();
        QSqlDatabase db = database();
        db.close();
        for (const char* suffix : { "", "-wal", "-shm", "-journal" }) {
            const QString file = path + QLatin1String(suffix);
            if (QFile::exists(file) && !QFile::remove(file))
                return false;
        }
        return db.open();
    }

    QString m_connection;
    std::map<QString, std::unique_ptr<QSqlQuery>> m_queries;
    bool m_inTransaction = false;
};

} // namespace

std::unique_ptr<VTIndexStore> VTIndexStore::open(const QString& databasePath, QString* problem)
{
    if (!databasePath.isEmpty()) {
        if (!QSqlDatabase::isDriverAvailable(QStringLiteral("QSQLITE"))) {
            *problem = QStringLiteral("Qt's SQLite driver is not installed.");
        } else {
            auto store = std::make_unique<SqliteStore>();
            if (store->open(databasePath, problem))
                return store;
        }
    }
    return std::make_unique<MemoryStore>();
}

} // namespace Vantles
