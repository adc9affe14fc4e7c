#include "StoreCopy.h"

#include "SnapshotTable.h"
#include "store/Schema.h"
#include "store/StoreAddress.h"
#include "store/StoreError.h"
#include "store/StoreTransaction.h"

#include <QFile>
#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>
#include <QUuid>

#include <algorithm>
#include <limits>

namespace {

// A table as the copy reads and writes it: its name, its key and its columns (key first).
struct Table
{
    QString name;
    QStringList columns;
};

// Rows read per statement, and written per statement: few enough statements that a server far
// away is not asked a hundred thousand times, small enough that a page of big files fits in memory.
constexpr int pageRows = 200;
constexpr qint64 pageChars = 8 * 1024 * 1024;

Table table(const char *name, const char *columns)
{
    return {QLatin1String(name), QString::fromLatin1(columns).split(QStringLiteral(", "))};
}

QList<Table> rowTables()
{
    return {table("game", "auto_id, platform_id, genre_id, name, notes"),
            table("file", "auto_id, game_id, sub_cat, src, \"desc\", txt_rtf"),
            table("bookmarks", "auto_id, tree_key, game, file, platform, sub_cat, genre"),
            table("favorites", "auto_id, url, title, \"desc\"")};
}

// The snapshots as read from `db`: a server's times are read as UTC text.
Table snapshotTable(const QSqlDatabase &db)
{
    const QString captured =
        StoreAddress::IsShared(db)
            ? QStringLiteral("to_char(captured AT TIME ZONE 'UTC', 'YYYY-MM-DD\"T\"HH24:MI:SS.MS\"Z\"')")
            : QStringLiteral("captured");
    return {QStringLiteral("snapshot"),
            {QStringLiteral("auto_id"), QStringLiteral("file_id"), captured, QStringLiteral("address"),
             QStringLiteral("size"), QStringLiteral("data")}};
}

bool fail(const QSqlQuery &query, const QString &store, ErrObject *err)
{
    *err = StoreError::fromSql(query.lastError(), store);
    return false;
}

class Copier
{
public:
    Copier(const QSqlDatabase &source, const QSqlDatabase &dest, const StoreCopy::Progress &progress)
        : m_source(source),
          m_dest(dest),
          m_progress(progress),
          m_sourceName(StoreError::storePath(source)),
          m_destName(StoreError::storePath(dest))
    {}

    bool count(const QList<Table> &tables, ErrObject *err)
    {
        QSqlQuery query(m_source);
        for (const Table &table : tables) {
            if (!query.exec(QStringLiteral("SELECT count(*) FROM ") + table.name) || !query.next())
                return fail(query, m_sourceName, err);
            m_total += query.value(0).toLongLong();
        }
        return true;
    }

    // Copies every row of `from` into `to` (of the same columns but the key's name), by key order.
    bool copy(const Table &from, const Table &to, qint64 *rows, ErrObject *err)
    {
        const QString key = from.columns.constFirst();
        const QString select = QStringLiteral("SELECT %1 FROM %2 WHERE %3 > ? ORDER BY %3 LIMIT %4")
                                   .arg(from.columns.join(QStringLiteral(", ")), from.name, key)
                                   .arg(pageRows);
        QString marks = QStringLiteral("?, ").repeated(to.columns.size());
        marks.chop(2);
        const QString insert =
            QStringLiteral("INSERT INTO %1 (%2) VALUES ").arg(to.name, to.columns.join(QStringLiteral(", ")));
        const QString oneRow = QLatin1Char('(') + marks + QLatin1Char(')');
        // Ids are 32-bit numbers, which a server compares as such.
        qint64 last = std::numeric_limits<qint32>::min();
        for (;;) {
            QSqlQuery read(m_source);
            read.setForwardOnly(true);
            if (!read.prepare(select))
                return fail(read, m_sourceName, err);
            read.addBindValue(last);
            if (!read.exec())
                return fail(read, m_sourceName, err);
            QVariantList values;
            int count = 0;
            qint64 chars = 0;
            const auto flush = [&] {
                if (count == 0)
                    return true;
                QSqlQuery write(m_dest);
                if (!write.prepare(insert + QString(oneRow + QStringLiteral(", ")).repeated(count).chopped(2)))
                    return fail(write, m_destName, err);
                for (const QVariant &value : std::as_const(values))
                    write.addBindValue(value);
                if (!write.exec())
                    return fail(write, m_destName, err);
                *rows += count;
                m_done += count;
                values.clear();
                count = 0;
                chars = 0;
                return !m_progress || m_progress(m_done, m_total) || stopped(err);
            };
            int seen = 0;
            while (read.next()) {
                ++seen;
                last = read.value(0).toLongLong();
                for (int column = 0; column < from.columns.size(); ++column) {
                    const QVariant value = read.value(column);
                    chars += value.typeId() == QMetaType::QString      ? value.toString().size()
                             : value.typeId() == QMetaType::QByteArray ? value.toByteArray().size()
                                                                       : 8;
                    values << value;
                }
                if (++count >= pageRows || chars >= pageChars) {
                    if (!flush())
                        return false;
                }
            }
            if (read.lastError().isValid())
                return fail(read, m_sourceName, err);
            if (!flush())
                return false;
            if (seen < pageRows)
                return true;
        }
    }

    // The last id `table` gave, which may be above its largest: a newest row deleted.
    bool lastId(const QString &table, qint64 *id, ErrObject *err)
    {
        QSqlQuery query(m_source);
        const bool shared = StoreAddress::IsShared(m_source);
        query.prepare(shared ? QStringLiteral("SELECT coalesce(pg_sequence_last_value(pg_get_serial_sequence(?, "
                                              "'auto_id')), 0)")
                             : QStringLiteral("SELECT coalesce((SELECT seq FROM sqlite_sequence WHERE name = ?), 0)"));
        query.addBindValue(table);
        if (!query.exec() || !query.next())
            return fail(query, m_sourceName, err);
        *id = query.value(0).toLongLong();
        return true;
    }

    // The destination goes on giving ids after the larger of the source's last and the largest copied.
    bool setLastId(const QString &table, qint64 id, ErrObject *err)
    {
        QSqlQuery query(m_dest);
        if (!query.exec(QStringLiteral("SELECT coalesce(max(auto_id), 0) FROM ") + table) || !query.next())
            return fail(query, m_destName, err);
        id = std::max(id, query.value(0).toLongLong());
        if (id == 0)
            return true;
        if (StoreAddress::IsShared(m_dest)) {
            query.prepare(QStringLiteral("SELECT setval(pg_get_serial_sequence(?, 'auto_id'), ?, true)"));
            query.addBindValue(table);
            query.addBindValue(id);
            return query.exec() || fail(query, m_destName, err);
        }
        query.prepare(QStringLiteral("DELETE FROM sqlite_sequence WHERE name = ?"));
        query.addBindValue(table);
        if (!query.exec())
            return fail(query, m_destName, err);
        query.prepare(QStringLiteral("INSERT INTO sqlite_sequence (name, seq) VALUES (?, ?)"));
        query.addBindValue(table);
        query.addBindValue(id);
        return query.exec() || fail(query, m_destName, err);
    }

private:
    bool stopped(ErrObject *err)
    {
        *err = {StoreCopy::Stopped, QStringLiteral("The copy was stopped; nothing was written.")};
        return false;
    }

    QSqlDatabase m_source;
    QSqlDatabase m_dest;
    const StoreCopy::Progress &m_progress;
    QString m_sourceName;
    QString m_destName;
    qint64 m_done = 0;
    qint64 m_total = 0;
};

// Makes the shared library's tables in the transaction under way, the trigram index along with
// them when the role may add it.
bool createShared(const QSqlDatabase &db, ErrObject *err)
{
    QSqlQuery query(db);
    for (const QString &statement : Schema::Statements(QStringLiteral(":/bundle/schema-pg.sql"))) {
        if (!query.exec(statement))
            return fail(query, StoreError::storePath(db), err);
    }
    return true;
}

bool addTrigrams(const QSqlDatabase &db)
{
    // A savepoint keeps a refusal from undoing the copy; Find then reads every row until an owner adds it.
    QSqlQuery query(db);
    if (!query.exec(QStringLiteral("SAVEPOINT trigrams")))
        return false;
    for (const QString &statement : Schema::Statements(QStringLiteral(":/bundle/findindex-pg.sql"))) {
        if (!query.exec(statement)) {
            query.exec(QStringLiteral("ROLLBACK TO SAVEPOINT trigrams"));
            return false;
        }
    }
    return query.exec(QStringLiteral("RELEASE SAVEPOINT trigrams"));
}

bool copyInto(const QSqlDatabase &source, const QSqlDatabase &dest, const StoreCopy::Progress &progress,
              CopyCounts *counts, ErrObject *err)
{
    QList<Table> tables = rowTables();
    Copier copier(source, dest, progress);
    const bool snapshots = SnapshotTable::Available(source);
    QList<Table> counted = tables;
    if (snapshots)
        counted << snapshotTable(source);
    if (!copier.count(counted, err))
        return false;
    StoreTransaction transaction(dest);
    if (!transaction.begin(err) || (StoreAddress::IsShared(dest) && !createShared(dest, err)))
        return false;
    qint64 *const rows[] = {&counts->Games, &counts->Files, &counts->Bookmarks, &counts->Favorites};
    for (int i = 0; i < tables.size(); ++i) {
        qint64 last = 0;
        if (!copier.copy(tables[i], tables[i], rows[i], err) || !copier.lastId(tables[i].name, &last, err) ||
            !copier.setLastId(tables[i].name, last, err))
            return false;
    }
    // The copied files were queued by the destination's triggers: its search index is built when
    // it is first used, in its own form (a store file's and a shared library's differ).
    // Page snapshots, which a store of an older layout does not have. Their times travel as the
    // UTC text a store file keeps, which a server reads back as the same time.
    if (snapshots) {
        qint64 last = 0;
        if (!copier.copy(snapshotTable(source), table("snapshot", "auto_id, file_id, captured, address, size, data"),
                         &counts->Snapshots, err) ||
            !copier.lastId(QStringLiteral("snapshot"), &last, err) ||
            !copier.setLastId(QStringLiteral("snapshot"), last, err))
            return false;
    }
    if (StoreAddress::IsShared(dest))
        addTrigrams(dest);
    return transaction.commit(err);
}

} // namespace

bool StoreCopy::CheckDestination(const QString &dest, ErrObject *err)
{
    if (!StoreAddress::IsShared(dest)) {
        const QFileInfo info(dest);
        if (info.exists()) {
            *err = {ErrNumber::PathFileAccess,
                    QStringLiteral("\"%1\" exists already; a library is copied into a new file only.").arg(dest)};
            return false;
        }
        const QFileInfo folder(info.absolutePath());
        if (!folder.isDir() || !folder.isWritable()) {
            *err = {ErrNumber::PathFileAccess,
                    QStringLiteral("Cannot write \"%1\": its folder is missing or cannot be written.").arg(dest)};
            return false;
        }
        return true;
    }
    const QString name = QStringLiteral("lorekeep-copy-check-") + QUuid::createUuid().toString(QUuid::Id128);
    bool ok = StoreAddress::AddConnection(name, dest, StoreAddress::Access::Read, 5000, err);
    if (ok) {
        QSqlDatabase db = QSqlDatabase::database(name, false);
        QSqlQuery query(db);
        if (!db.open()) {
            *err = StoreError::fromSql(db.lastError(), dest);
            ok = false;
        } else if (!query.exec(QStringLiteral("SELECT count(*) FROM pg_class c JOIN pg_namespace n ON n.oid = "
                                              "c.relnamespace WHERE n.nspname = current_schema() AND c.relkind IN "
                                              "('r', 'p', 'v', 'm', 'f')")) ||
                   !query.next()) {
            ok = fail(query, dest, err);
        } else if (query.value(0).toInt() > 0) {
            *err = {ErrNumber::StoreNotLorekeep,
                    QStringLiteral("The database \"%1\" holds tables already; a library is copied into an empty "
                                   "database only.")
                        .arg(StoreAddress::WithoutPassword(dest))};
            ok = false;
        }
    }
    QSqlDatabase::removeDatabase(name);
    return ok;
}

bool StoreCopy::Copy(const QSqlDatabase &source, const QString &dest, const Progress &progress, CopyCounts *counts,
                     ErrObject *err)
{
    *counts = {};
    if (!CheckDestination(dest, err))
        return false;
    const bool shared = StoreAddress::IsShared(dest);
    // A file is written beside its name and takes it once whole.
    const QString target = shared ? dest : dest + QStringLiteral(".copying");
    if (!shared) {
        QFile::remove(target);
        if (!Schema::CreateStore(target, err))
            return false;
    }
    const QString name = QStringLiteral("lorekeep-copy-") + QUuid::createUuid().toString(QUuid::Id128);
    bool ok = StoreAddress::AddConnection(name, target, StoreAddress::Access::Write, 5000, err);
    if (ok) {
        QSqlDatabase db = QSqlDatabase::database(name, false);
        ok = db.open();
        if (!ok)
            *err = StoreError::fromSql(db.lastError(), target);
        ok = ok && copyInto(source, db, progress, counts, err);
        // A server plans its reads from statistics, and answers a count from the index alone once
        // it knows every row is visible: both are made now rather than when it gets round to them.
        if (ok && shared)
            QSqlQuery(db).exec(QStringLiteral("VACUUM (ANALYZE)"));
        db.close();
    }
    QSqlDatabase::removeDatabase(name);
    if (shared)
        return ok;
    if (ok && !QFile::rename(target, dest)) {
        *err = {ErrNumber::PathFileAccess, QStringLiteral("Cannot write \"%1\".").arg(dest)};
        ok = false;
    }
    if (!ok) {
        for (const char *tail : {"", "-journal", "-wal", "-shm"})
            QFile::remove(target + QLatin1String(tail));
    }
    return ok;
}
