#include "FindIndex.h"

#include "rtf/RtfReader.h"
#include "store/Schema.h"
#include "store/StoreAddress.h"
#include "store/StoreError.h"
#include "store/StoreQuery.h"
#include "store/StoreTransaction.h"

#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>
#include <QVector>

#include <utility>

namespace {

// Files indexed per transaction: large enough that commits cost little, small enough that a
// progress dialog moves.
constexpr qint64 batchFiles = 200;
// And the text a batch holds at once, in characters: a few files of tens of megabytes each would
// otherwise all be in memory together, stored and plain.
constexpr qint64 batchChars = 4 * 1024 * 1024;

const QString indexResource = QStringLiteral(":/bundle/findindex.sql");

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

struct Queued
{
    qint64 id;
    bool exists;
    QString desc;
    QString src;
    QString body;
};

} // namespace

bool FindIndex::Available(const QSqlDatabase &db)
{
    // All five parts: without a trigger the index would fall behind unnoticed.
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
    return query.run(QStringLiteral("SELECT count(*) FROM sqlite_master WHERE name IN ('find_text', "
                                    "'find_pending', 'find_file_insert', 'find_file_update', "
                                    "'find_file_delete')"),
                     nullptr) &&
           query.firstRow(&found, nullptr) && found && query.value(0).toInt() == 5;
}

bool FindIndex::Ensure(const QSqlDatabase &db, ErrObject *err)
{
    if (Available(db))
        return true;
    if (!StoreAddress::IsShared(db))
        return runAll(db, Schema::Statements(indexResource), err);
    // A shared library gets its index with its tables; one that lost it was changed by hand.
    *err = {ErrNumber::StoreFailed, QStringLiteral("The shared library \"%1\" lacks its search index (the tables "
                                                   "find_text and find_pending and the triggers on file).")
                                        .arg(StoreError::storePath(db))};
    return false;
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

bool FindIndex::Update(const QSqlDatabase &db, qint64 maxFiles, qint64 *done, ErrObject *err)
{
    if (done)
        *done = 0;
    while (maxFiles != 0) {
        const qint64 batch = maxFiles < 0 ? batchFiles : std::min(maxFiles, batchFiles);
        QVector<Queued> queued;
        {
            // The plain text is made before the write lock is taken, so other readers wait less.
            StoreQuery read(db);
            if (!read.run(
                    QStringLiteral("SELECT p.file_id, f.auto_id, f.\"desc\", f.src, f.txt_rtf FROM find_pending p "
                                   "LEFT JOIN file f ON f.auto_id = p.file_id ORDER BY p.file_id LIMIT ?"),
                    {batch}, err))
                return false;
            qint64 chars = 0;
            // At least one file per batch, however big; the rest wait for the next batch.
            const auto queue = [&] {
                const QString stored = read.text(4);
                QString body = RtfReader::PlainText(RtfReader::FromStoredText(stored));
                chars += stored.size() + body.size();
                queued.append(
                    {read.value(0).toLongLong(), !read.value(1).isNull(), read.text(2), read.text(3), std::move(body)});
                return chars < batchChars;
            };
            if (!read.forEachRowWhile(queue, err))
                return false;
        }
        if (queued.isEmpty())
            break;
        StoreTransaction transaction(db);
        if (!transaction.begin(err))
            return false;
        QSqlQuery remove(db), insert(db), dequeue(db);
        const QString key = KeyColumn(db);
        remove.prepare(QStringLiteral("DELETE FROM find_text WHERE %1 = ?").arg(key));
        insert.prepare(QStringLiteral("INSERT INTO find_text (%1, \"desc\", src, body) VALUES (?, ?, ?, ?)").arg(key));
        dequeue.prepare(QStringLiteral("DELETE FROM find_pending WHERE file_id = ?"));
        for (const Queued &file : std::as_const(queued)) {
            remove.addBindValue(file.id);
            bool ok = remove.exec();
            // A queued file that is gone (deleted in the meantime) only leaves the queue.
            if (ok && file.exists) {
                insert.addBindValue(file.id);
                insert.addBindValue(file.desc);
                insert.addBindValue(file.src);
                insert.addBindValue(file.body);
                ok = insert.exec();
            }
            dequeue.addBindValue(file.id);
            ok = ok && dequeue.exec();
            if (!ok) {
                const QSqlQuery &failed =
                    remove.lastError().isValid() ? remove : (insert.lastError().isValid() ? insert : dequeue);
                return fail(failed, db, err);
            }
        }
        if (!transaction.commit(err))
            return false;
        if (done)
            *done += queued.size();
        if (maxFiles > 0)
            maxFiles -= queued.size();
    }
    return true;
}

QString FindIndex::KeyColumn(const QSqlDatabase &db)
{
    return StoreAddress::IsShared(db) ? QStringLiteral("file_id") : QStringLiteral("rowid");
}

bool FindIndex::Rebuild(const QSqlDatabase &db, ErrObject *err)
{
    if (StoreAddress::IsShared(db))
        return runAll(
            db,
            {QStringLiteral("TRUNCATE find_text"),
             QStringLiteral("INSERT INTO find_pending (file_id) SELECT auto_id FROM file ON CONFLICT DO NOTHING")},
            err);
    // Whatever is left of a broken index goes, triggers included, and comes back whole.
    const QStringList drops = {QStringLiteral("DROP TRIGGER IF EXISTS find_file_insert"),
                               QStringLiteral("DROP TRIGGER IF EXISTS find_file_update"),
                               QStringLiteral("DROP TRIGGER IF EXISTS find_file_delete"),
                               QStringLiteral("DROP TABLE IF EXISTS find_pending"),
                               QStringLiteral("DROP TABLE IF EXISTS find_text")};
    ErrObject dropErr;
    if (runAll(db, drops, &dropErr))
        return Ensure(db, err);
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
    forced << drops.mid(0, drops.size() - 1);
    for (const QString &statement : std::as_const(forced)) {
        if (!query.exec(statement))
            return fail(query, db, err);
    }
    return transaction.commit(err) && Ensure(db, err);
}
