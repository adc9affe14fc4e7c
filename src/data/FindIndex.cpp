#include "FindIndex.h"

#include "Schema.h"
#include "StoreError.h"
#include "platform/RtfReader.h"

#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>
#include <QVector>

namespace {

// Files indexed per transaction: large enough that commits cost little, small enough that a
// progress dialog moves.
constexpr qint64 batchFiles = 200;

const QString indexResource = QStringLiteral(":/bundle/findindex.sql");

bool fail(const QSqlQuery &query, const QSqlDatabase &db, ErrObject *err)
{
    *err = StoreError::fromSql(query.lastError(), db);
    return false;
}

struct Queued
{
    qint64 id;
    QString desc;
    QString src;
    QString body;
};

} // namespace

bool FindIndex::Available(const QSqlDatabase &db)
{
    // All five parts: without a trigger the index would fall behind unnoticed.
    QSqlQuery query(db);
    return query.exec(QStringLiteral("SELECT count(*) FROM sqlite_master WHERE name IN ('find_text', "
                                     "'find_pending', 'find_file_insert', 'find_file_update', "
                                     "'find_file_delete')")) &&
           query.next() && query.value(0).toInt() == 5;
}

bool FindIndex::Ensure(const QSqlDatabase &db, ErrObject *err)
{
    if (Available(db))
        return true;
    QSqlDatabase store = db;
    if (!store.transaction()) {
        *err = StoreError::fromSql(store.lastError(), db);
        return false;
    }
    QSqlQuery query(db);
    for (const QString &statement : Schema::Statements(indexResource)) {
        if (!query.exec(statement)) {
            fail(query, db, err);
            store.rollback();
            return false;
        }
    }
    if (!store.commit()) {
        *err = StoreError::fromSql(store.lastError(), db);
        store.rollback();
        return false;
    }
    return true;
}

bool FindIndex::Pending(const QSqlDatabase &db, qint64 *count, ErrObject *err)
{
    QSqlQuery query(db);
    if (!query.exec(QStringLiteral("SELECT count(*) FROM find_pending")) || !query.next())
        return fail(query, db, err);
    *count = query.value(0).toLongLong();
    return true;
}

bool FindIndex::Update(const QSqlDatabase &db, qint64 maxFiles, qint64 *done, ErrObject *err)
{
    if (done)
        *done = 0;
    QSqlDatabase store = db;
    QSqlQuery read(db);
    read.setForwardOnly(true);
    while (maxFiles != 0) {
        const qint64 batch = maxFiles < 0 ? batchFiles : std::min(maxFiles, batchFiles);
        // The plain text is made before the write lock is taken, so other readers wait less.
        if (!read.exec(QStringLiteral("SELECT p.file_id, f.desc, f.src, f.txt_rtf FROM find_pending p "
                                      "LEFT JOIN file f ON f.auto_id = p.file_id ORDER BY p.file_id LIMIT ") +
                       QString::number(batch)))
            return fail(read, db, err);
        QVector<Queued> queued;
        while (read.next()) {
            queued.append({read.value(0).toLongLong(), read.value(1).toString(), read.value(2).toString(),
                           read.value(3).isNull()
                               ? QString()
                               : RtfReader::PlainText(RtfReader::FromStoredText(read.value(3).toString()))});
        }
        read.finish();
        if (queued.isEmpty())
            break;
        if (!store.transaction()) {
            *err = StoreError::fromSql(store.lastError(), db);
            return false;
        }
        QSqlQuery remove(db), insert(db), dequeue(db);
        remove.prepare(QStringLiteral("DELETE FROM find_text WHERE rowid = ?"));
        insert.prepare(QStringLiteral("INSERT INTO find_text (rowid, desc, src, body) VALUES (?, ?, ?, ?)"));
        dequeue.prepare(QStringLiteral("DELETE FROM find_pending WHERE file_id = ?"));
        for (const Queued &file : std::as_const(queued)) {
            remove.addBindValue(file.id);
            bool ok = remove.exec();
            // A queued file that is gone (deleted in the meantime) only leaves the queue.
            if (ok && !file.body.isNull()) {
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
                fail(failed, db, err);
                store.rollback();
                return false;
            }
        }
        if (!store.commit()) {
            *err = StoreError::fromSql(store.lastError(), db);
            store.rollback();
            return false;
        }
        if (done)
            *done += queued.size();
        if (maxFiles > 0)
            maxFiles -= queued.size();
    }
    return true;
}

bool FindIndex::Rebuild(const QSqlDatabase &db, ErrObject *err)
{
    QSqlDatabase store = db;
    if (!store.transaction()) {
        *err = StoreError::fromSql(store.lastError(), db);
        return false;
    }
    // Whatever is left of a broken index goes, triggers included, and comes back whole.
    QSqlQuery query(db);
    const QStringList drops = {QStringLiteral("DROP TRIGGER IF EXISTS find_file_insert"),
                               QStringLiteral("DROP TRIGGER IF EXISTS find_file_update"),
                               QStringLiteral("DROP TRIGGER IF EXISTS find_file_delete"),
                               QStringLiteral("DROP TABLE IF EXISTS find_pending"),
                               QStringLiteral("DROP TABLE IF EXISTS find_text")};
    for (const QString &statement : drops) {
        if (!query.exec(statement)) {
            fail(query, db, err);
            store.rollback();
            return false;
        }
    }
    if (!store.commit()) {
        *err = StoreError::fromSql(store.lastError(), db);
        store.rollback();
        return false;
    }
    return Ensure(db, err);
}
