#include "FindIndex.h"

#include "FindGrams.h"
#include "FindIndexUpdate.h"
#include "FindPack.h"
#include "store/PragmaScope.h"
#include "store/Schema.h"
#include "store/StoreAddress.h"
#include "store/StoreError.h"
#include "store/StoreQuery.h"
#include "store/StoreTransaction.h"

#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSqlError>
#include <QSqlQuery>
#include <QStorageInfo>
#include <QVariant>

Q_DECLARE_LOGGING_CATEGORY(lcStore)

namespace {

const QString indexResource = QStringLiteral(":/bundle/findindex.sql");
// The parts of a store file's index; a store lacking one of them gets the index anew.
const QStringList indexParts = {QStringLiteral("find_word"),        QStringLiteral("find_plain"),
                                QStringLiteral("find_dictionary"),  QStringLiteral("find_pending"),
                                QStringLiteral("find_file_insert"), QStringLiteral("find_file_update"),
                                QStringLiteral("find_file_delete")};

bool fail(const QSqlQuery &query, const QSqlDatabase &db, ErrObject *err)
{
    *err = StoreError::fromSql(query.lastError(), db);
    return false;
}

// Runs `statements` in one transaction: all of them or none.
bool runAll(const QSqlDatabase &db, const QStringList &statements, ErrObject *err)
{
    StoreTransaction transaction(db);
    if (!transaction.begin(err))
        return false;
    QSqlQuery query(db);
    for (const QString &statement : statements) {
        if (!query.exec(statement))
            return fail(query, db, err);
    }
    return transaction.commit(err);
}

bool createIndex(const QSqlDatabase &db, ErrObject *err)
{
    return runAll(db, Schema::Statements(indexResource), err);
}

// The parts' names as an SQL list.
QString partNames()
{
    QString names;
    for (const QString &part : indexParts)
        names += (names.isEmpty() ? QStringLiteral("'") : QStringLiteral(", '")) + part + QLatin1Char('\'');
    return names;
}

// How many parts of an index are in the store file that meet `condition` as well: of this one, or
// (with none) of any, an earlier Lorekeep's included. -1 when that cannot be read.
int partCount(const QSqlDatabase &db, const QString &condition = {})
{
    StoreQuery query(db);
    bool found = false;
    if (!query.run(QStringLiteral("SELECT count(*) FROM sqlite_master WHERE name IN (%1)").arg(partNames()) + condition,
                   nullptr) ||
        !query.firstRow(&found, nullptr) || !found)
        return -1;
    return query.value(0).toInt();
}

// Whether the store file's schema has a `type` named `name`; false when that cannot be read.
bool inSchema(const QSqlDatabase &db, const QString &type, const QString &name)
{
    StoreQuery query(db);
    bool found = false;
    return query.run(QStringLiteral("SELECT 1 FROM sqlite_master WHERE type = ? AND name = ?"), {type, name},
                     nullptr) &&
           query.firstRow(&found, nullptr) && found;
}

// Whether the store has the words of an earlier Lorekeep's index, an FTS5 table, which that
// Lorekeep may have made anew in a store indexed by this one: every part of it is made anew.
bool hasOldWords(const QSqlDatabase &db)
{
    return inSchema(db, QStringLiteral("table"), QStringLiteral("find_text"));
}

// An index made by an earlier Lorekeep lacks the one on what a hit lists; it is added by the first
// search, on the search's own thread. Searches work without it, only slower, so a store that cannot
// take it (read-only, locked for long) is searched as it is.
void ensureHitIndex(const QSqlDatabase &db)
{
    if (FindIndex::HasHitIndex(db))
        return;
    const QStringList statements = Schema::Statements(indexResource).filter(FindIndex::HitIndex);
    ErrObject err;
    if (!runAll(db, statements, &err))
        qCInfo(lcStore) << "search without the index on what a hit lists:" << err.Description;
}

// Which of the columns of a file's game and category find_plain has, and whether the trigger that
// keeps them is there; false when that cannot be read.
bool hitColumns(const QSqlDatabase &db, QStringList *missing, bool *kept)
{
    StoreQuery query(db);
    bool found = false;
    if (!query.run(QStringLiteral("SELECT (SELECT group_concat(name) FROM pragma_table_info('find_plain') WHERE name "
                                  "IN ('game_id', 'sub_cat')), EXISTS (SELECT 1 FROM sqlite_master WHERE type = "
                                  "'trigger' AND name = 'find_file_move')"),
                   nullptr) ||
        !query.firstRow(&found, nullptr) || !found)
        return false;
    const QStringList present = query.value(0).toString().split(QLatin1Char(','));
    *missing = QStringList{QStringLiteral("game_id"), QStringLiteral("sub_cat")};
    missing->removeIf([&present](const QString &column) { return present.contains(column); });
    *kept = query.value(1).toBool();
    return true;
}

// An index made by an earlier Lorekeep keeps no game and category beside each file's packed fields.
// They are added from the files (a few seconds for a million of them), with the trigger that keeps
// them. A store that cannot take them is searched as it is: its hits are looked up one by one.
void ensureHitColumns(const QSqlDatabase &db)
{
    QStringList missing;
    bool kept = false;
    if (!hitColumns(db, &missing, &kept) || (missing.isEmpty() && kept))
        return;
    QStringList statements;
    for (const QString &column : std::as_const(missing))
        statements << QStringLiteral("ALTER TABLE find_plain ADD COLUMN %1 INTEGER").arg(column);
    statements << QStringLiteral("UPDATE find_plain SET (game_id, sub_cat) = (SELECT f.game_id, f.sub_cat FROM file f "
                                 "WHERE f.auto_id = find_plain.file_id)")
               << Schema::Statements(indexResource).filter(QStringLiteral("find_file_move"));
    ErrObject err;
    if (!runAll(db, statements, &err))
        qCInfo(lcStore) << "search without the game and category beside the packed fields:" << err.Description;
}

// A queue made by an earlier Lorekeep has no stamps, and its triggers leave a file that is changed
// again while it waits as it was: the column is added and the triggers made anew. A store that
// cannot take them (read-only, locked) fails only when it has files waiting, which it could not
// index anyway.
bool ensureQueueStamps(const QSqlDatabase &db, ErrObject *err)
{
    StoreQuery query(db);
    bool found = false;
    if (!query.run(QStringLiteral("SELECT 1 FROM pragma_table_info('find_pending') WHERE name = 'stamp'"), err) ||
        !query.firstRow(&found, err))
        return false;
    if (found)
        return true;
    QStringList statements = {QStringLiteral("ALTER TABLE find_pending ADD COLUMN stamp INTEGER NOT NULL DEFAULT 0")};
    const QStringList triggers = {QStringLiteral("find_file_insert"), QStringLiteral("find_file_update"),
                                  QStringLiteral("find_file_delete")};
    for (const QString &trigger : triggers)
        statements << QStringLiteral("DROP TRIGGER IF EXISTS ") + trigger;
    const QStringList script = Schema::Statements(indexResource);
    for (const QString &trigger : triggers)
        statements << script.filter(QStringLiteral("CREATE TRIGGER IF NOT EXISTS ") + trigger + QLatin1Char(' '));
    ErrObject upgradeErr;
    if (runAll(db, statements, &upgradeErr))
        return true;
    qint64 pending = 0;
    if (FindIndex::Pending(db, &pending, err) && pending == 0)
        return true;
    *err = upgradeErr;
    return false;
}

} // namespace

const QString FindIndex::HitIndex = QStringLiteral("file_find_hit");

bool FindIndex::HasHitColumns(const QSqlDatabase &db)
{
    QStringList missing;
    bool kept = false;
    return hitColumns(db, &missing, &kept) && missing.isEmpty() && kept;
}

bool FindIndex::HasSeams(const QSqlDatabase &db)
{
    StoreQuery query(db);
    bool found = false;
    return query.run(QStringLiteral("SELECT EXISTS (SELECT 1 FROM pragma_table_info('find_plain') WHERE name = "
                                    "'seams') AND EXISTS (SELECT 1 FROM sqlite_master WHERE type = 'table' AND name "
                                    "= 'find_seam_common')"),
                     nullptr) &&
           query.firstRow(&found, nullptr) && found && query.value(0).toBool();
}

bool FindIndex::HasHitIndex(const QSqlDatabase &db)
{
    return inSchema(db, QStringLiteral("index"), HitIndex);
}

bool FindIndex::Available(const QSqlDatabase &db)
{
    // Every part: without a trigger the index would fall behind unnoticed.
    StoreQuery query(db);
    bool found = false;
    if (StoreAddress::IsShared(db))
        return query.run(
                   QStringLiteral("SELECT to_regclass('find_text') IS NOT NULL AND to_regclass('find_pending') IS "
                                  "NOT NULL AND (SELECT count(*) FROM pg_trigger WHERE tgrelid = 'file'::regclass "
                                  "AND tgname IN ('find_file_insert', 'find_file_update', "
                                  "'find_file_delete')) = 3"),
                   nullptr) &&
               query.firstRow(&found, nullptr) && found && query.value(0).toBool();
    // An earlier Lorekeep's index (an FTS5 table of the words, or of trigrams with its own copy of
    // every text) is not this one.
    return partCount(db, QStringLiteral(" AND NOT (name = 'find_file_delete' AND sql LIKE '%DELETE FROM find_text%')")) ==
               indexParts.size() &&
           !hasOldWords(db);
}

bool FindIndex::Ensure(const QSqlDatabase &db, ErrObject *err)
{
    if (Available(db)) {
        if (StoreAddress::IsShared(db))
            return true;
        // An index without seams is made anew: every file's words change.
        return HasSeams(db) || Rebuild(db, err);
    }
    if (StoreAddress::IsShared(db)) {
        // A shared library gets its index with its tables; one that lost it was changed by hand.
        *err = {ErrNumber::StoreFailed, QStringLiteral("The shared library \"%1\" lacks its search index (the tables "
                                                       "find_text and find_pending and the triggers on file).")
                                            .arg(StoreError::storePath(db))};
        return false;
    }
    // Part of an index, or an earlier one, is replaced whole.
    return partCount(db) > 0 || hasOldWords(db) ? Rebuild(db, err) : createIndex(db, err);
}

bool FindIndex::Pending(const QSqlDatabase &db, qint64 *count, ErrObject *err)
{
    StoreQuery query(db);
    bool found = false;
    if (!query.run(QStringLiteral("SELECT count(*) FROM find_pending"), err) || !query.firstRow(&found, err))
        return false;
    *count = found ? query.value(0).toLongLong() : 0;
    return true;
}

bool FindIndex::Update(const QSqlDatabase &db, qint64 maxFiles, qint64 *done, ErrObject *err, const Progress &progress)
{
    if (done)
        *done = 0;
    if (StoreAddress::IsShared(db))
        return FindIndexUpdate::Shared(db, maxFiles, done, err, progress);
    ensureHitIndex(db);
    ensureHitColumns(db);
    return ensureQueueStamps(db, err) && FindIndexUpdate::Lean(db, maxFiles, done, err, progress);
}

bool FindIndex::Dictionary(const QSqlDatabase &db, std::shared_ptr<const FindDictionary> *dictionary, ErrObject *err)
{
    StoreQuery read(db);
    bool found = false;
    if (!read.run(QStringLiteral("SELECT bytes FROM find_dictionary ORDER BY dict_id LIMIT 1"), err) ||
        !read.firstRow(&found, err))
        return false;
    // A seam left out of every file's words but taken as one of a phrase's would lose its hits:
    // a list that cannot be read fails the search.
    std::shared_ptr<const FindGrams::Seams> common;
    if (found && HasSeams(db)) {
        StoreQuery seams(db);
        std::vector<quint32> keys;
        if (!seams.run(QStringLiteral("SELECT seam FROM find_seam_common"), err) ||
            !seams.forEachRowWhile(
                [&] {
                    keys.push_back(quint32(seams.value(0).toLongLong()));
                    return true;
                },
                err))
            return false;
        common = FindGrams::Seams::FromKeys(keys);
    }
    *dictionary = found ? FindDictionary::FromBytes(read.value(0).toByteArray(), common) : nullptr;
    if (found && !*dictionary) {
        *err = {ErrNumber::StoreFailed, QStringLiteral("The search index of the store \"%1\" has a damaged dictionary.")
                                            .arg(StoreError::storePath(db))};
        return false;
    }
    return true;
}

ErrObject FindIndex::UnreadableText(const QSqlDatabase &db, qint64 fileId)
{
    return {ErrNumber::StoreFailed,
            QStringLiteral("The search index of the store \"%1\" holds a text that cannot be read (file %2).")
                .arg(StoreError::storePath(db))
                .arg(fileId)};
}

bool FindIndex::Rebuild(const QSqlDatabase &db, ErrObject *err)
{
    if (StoreAddress::IsShared(db))
        return runAll(
            db,
            {QStringLiteral("TRUNCATE find_text"),
             QStringLiteral("INSERT INTO find_pending (file_id) SELECT auto_id FROM file ON CONFLICT DO NOTHING")},
            err);
    // The index holds nothing the files do not. SQLite built to delete securely, as Debian's is,
    // overwrites every page of a dropped table, which for a whole index is as much writing again as
    // building it: while it is dropped, only pages still in use are cleared.
    const PragmaScope quickDrop(db, QStringLiteral("secure_delete"), QStringLiteral("FAST"));
    // Whatever is left of a broken index goes, triggers included, and comes back whole.
    QStringList drops = {QStringLiteral("DROP TRIGGER IF EXISTS find_file_insert"),
                         QStringLiteral("DROP TRIGGER IF EXISTS find_file_update"),
                         QStringLiteral("DROP TRIGGER IF EXISTS find_file_delete"),
                         QStringLiteral("DROP TRIGGER IF EXISTS find_file_move"),
                         QStringLiteral("DROP TABLE IF EXISTS find_pending"),
                         QStringLiteral("DROP TABLE IF EXISTS find_word"),
                         QStringLiteral("DROP TABLE IF EXISTS find_plain"),
                         QStringLiteral("DROP TABLE IF EXISTS find_dictionary"),
                         QStringLiteral("DROP TABLE IF EXISTS find_seam_common")};
    ErrObject dropErr;
    if (runAll(db, drops + QStringList{QStringLiteral("DROP TABLE IF EXISTS find_text")}, &dropErr))
        return createIndex(db, err);
    if (dropErr.Number == ErrNumber::StoreLocked) {
        *err = dropErr;
        return false;
    }
    // An index whose own records are broken cannot even be opened to be dropped: its entry leaves
    // the schema, the tables that held it are dropped as plain tables, and the schema's version
    // moves on so that every connection reads the schema again.
    StoreTransaction transaction(db, StoreTransaction::Lock::Immediate);
    if (!transaction.begin(err))
        return false;
    qint64 version = 0;
    {
        StoreQuery read(db);
        bool found = false;
        if (!read.run(QStringLiteral("PRAGMA schema_version"), err) || !read.firstRow(&found, err))
            return false;
        version = read.value(0).toLongLong();
    }
    QSqlQuery query(db);
    QStringList forced = {QStringLiteral("PRAGMA writable_schema = ON"),
                          QStringLiteral("DELETE FROM sqlite_master WHERE type = 'table' AND name = 'find_text'"),
                          QStringLiteral("PRAGMA schema_version = %1").arg(version + 1),
                          QStringLiteral("PRAGMA writable_schema = OFF")};
    for (const char *part : {"data", "idx", "content", "docsize", "config"})
        forced << QStringLiteral("DROP TABLE IF EXISTS find_text_") + QLatin1String(part);
    forced << drops;
    for (const QString &statement : std::as_const(forced)) {
        if (!query.exec(statement))
            return fail(query, db, err);
    }
    return transaction.commit(err) && createIndex(db, err);
}

bool FindIndex::FreeRoom(const QSqlDatabase &db, qint64 *free, qint64 *size, ErrObject *err)
{
    StoreQuery query(db);
    bool found = false;
    if (!query.run(QStringLiteral("SELECT page_size * freelist_count, page_size * page_count FROM "
                                  "pragma_page_size, pragma_freelist_count, pragma_page_count"),
                   err) ||
        !query.firstRow(&found, err))
        return false;
    *free = found ? query.value(0).toLongLong() : 0;
    *size = found ? query.value(1).toLongLong() : 0;
    return true;
}

bool FindIndex::Compact(const QSqlDatabase &db, ErrObject *err)
{
    qint64 free = 0, size = 0;
    if (!FreeRoom(db, &free, &size, err))
        return false;
    // VACUUM writes the store's content to a temporary file, then back through the write-ahead log
    // beside the store: each takes about what the store holds, on its own disk or both on one.
    const qint64 used = size - free;
    const QString storePath = StoreError::storePath(db);
    QString tempDir = qEnvironmentVariable("SQLITE_TMPDIR", qEnvironmentVariable("TMPDIR"));
    if (tempDir.isEmpty() || !QFileInfo(tempDir).isDir())
        tempDir = QFileInfo(QStringLiteral("/var/tmp")).isWritable() ? QStringLiteral("/var/tmp") : QDir::tempPath();
    const QStorageInfo storeDisk(QFileInfo(storePath).absolutePath()), tempDisk(tempDir);
    const bool oneDisk = storeDisk.device() == tempDisk.device();
    const qint64 spare = 64ll << 20;
    const auto missing = [&](const QStorageInfo &disk, qint64 needed) {
        return disk.isValid() && disk.bytesAvailable() < needed + spare;
    };
    if (oneDisk ? missing(storeDisk, 2 * used) : (missing(storeDisk, used) || missing(tempDisk, used))) {
        *err = {ErrNumber::DiskFull,
                QStringLiteral("The store \"%1\" cannot be made smaller now: that needs about %2 MB free on the disk "
                               "of \"%3\"%4. It works as it is; it is made smaller once there is room.")
                    .arg(storePath)
                    .arg(((oneDisk ? 2 : 1) * used + spare) >> 20)
                    .arg(QDir::toNativeSeparators(storeDisk.rootPath()))
                    .arg(oneDisk ? QString()
                                 : QStringLiteral(" and %1 MB on that of \"%2\"")
                                       .arg((used + spare) >> 20)
                                       .arg(QDir::toNativeSeparators(tempDisk.rootPath())))};
        return false;
    }
    QSqlQuery query(db);
    if (!query.exec(QStringLiteral("VACUUM")))
        return fail(query, db, err);
    // The log took a copy of the whole store; it goes back to nothing.
    query.exec(QStringLiteral("PRAGMA wal_checkpoint(TRUNCATE)"));
    return true;
}
