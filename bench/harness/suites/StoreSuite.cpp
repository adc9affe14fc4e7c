// Suite "store": our data layer against bare QtSql on the same store.

#include "BenchContext.h"
#include "data/FileTable.h"
#include "data/modADO.h"
#include "store/StoreAddress.h"

#include <QSqlQuery>

namespace {

const QString bareColumns = QStringLiteral("SELECT auto_id, game_id, sub_cat, src, \"desc\", txt_rtf FROM file");

// One row read the way the bare baseline reads it: every column converted, nothing else.
FileRow bareRow(const QSqlQuery &query)
{
    return {query.value(0).toInt(),    query.value(1).toInt(),    quint8(query.value(2).toUInt()),
            query.value(3).toString(), query.value(4).toString(), query.value(5).toString()};
}

// The first row of a statement that picks one number, or 0 when it finds none.
qint32 pickOne(const QSqlDatabase &db, const QString &sql, int *count = nullptr)
{
    QSqlQuery query(db);
    query.setForwardOnly(true);
    if (!query.exec(sql) || !query.next())
        return 0;
    if (count)
        *count = query.value(1).toInt();
    return query.value(0).toInt();
}

bool measureOpen(const BenchContext &context)
{
    const QString path = context.storePath();
    const auto ours = [&path, &context] {
        modADO store(QStringLiteral("bench-store-open"));
        ErrObject err;
        const bool ok = store.Open(path, &err);
        if (!ok)
            context.note(err.Description);
        store.Close();
        return ok;
    };
    const auto baseline = [&path] {
        const QString name = QStringLiteral("bench-store-bare");
        bool ok = false;
        {
            // A bare connection of the store's own kind, without the store object's checks.
            ErrObject err;
            if (!StoreAddress::AddConnection(name, path, StoreAddress::Access::Write, 1500, &err))
                return false;
            QSqlDatabase db = QSqlDatabase::database(name, false);
            if (db.open()) {
                QSqlQuery query(db);
                ok = query.exec(QStringLiteral("SELECT count(*) FROM game")) && query.next();
            }
            db.close();
        }
        QSqlDatabase::removeDatabase(name);
        return ok;
    };
    return context.compare(QStringLiteral("open"), ours, baseline);
}

bool measureListFiles(const BenchContext &context, const QSqlDatabase &db)
{
    int expected = 0;
    const qint32 gameId = pickOne(
        db,
        QStringLiteral("SELECT game_id, count(*) FROM file GROUP BY game_id ORDER BY count(*) DESC, game_id LIMIT 1"),
        &expected);
    if (gameId == 0) {
        context.note(QStringLiteral("list-files: the store has no files; not measured."));
        return false;
    }
    context.note(QStringLiteral("list-files: game %1 with %2 files").arg(gameId).arg(expected));

    QVector<FileRow> rows;
    const auto ours = [&] {
        ErrObject err;
        if (!FileTable::List(db, gameId, &rows, &err)) {
            context.note(err.Description);
            return false;
        }
        return rows.size() == expected;
    };
    const QString sql = bareColumns + QStringLiteral(" WHERE game_id = ") + QString::number(gameId);
    const auto baseline = [&] {
        rows.clear();
        QSqlQuery query(db);
        query.setForwardOnly(true);
        if (!query.exec(sql))
            return false;
        while (query.next())
            rows.append(bareRow(query));
        return rows.size() == expected;
    };
    return context.compare(QStringLiteral("list-files"), ours, baseline);
}

bool measureReadFile(const BenchContext &context, const QSqlDatabase &db)
{
    context.note(QStringLiteral("read-file: looking for the largest file..."));
    int length = 0;
    const qint32 fileId = pickOne(
        db, QStringLiteral("SELECT auto_id, length(txt_rtf) FROM file ORDER BY length(txt_rtf) DESC, auto_id LIMIT 1"),
        &length);
    if (fileId == 0) {
        context.note(QStringLiteral("read-file: the store has no files; not measured."));
        return false;
    }
    context.note(QStringLiteral("read-file: file %1 with %2 characters of text").arg(fileId).arg(length));

    FileRow row;
    const auto ours = [&] {
        ErrObject err;
        bool found = false;
        if (!FileTable::Read(db, fileId, &row, &found, &err)) {
            context.note(err.Description);
            return false;
        }
        return found && row.txt_rtf.size() == length;
    };
    const QString sql = bareColumns + QStringLiteral(" WHERE auto_id = ") + QString::number(fileId);
    const auto baseline = [&] {
        QSqlQuery query(db);
        query.setForwardOnly(true);
        if (!query.exec(sql) || !query.next())
            return false;
        row = bareRow(query);
        return row.txt_rtf.size() == length;
    };
    return context.compare(QStringLiteral("read-file"), ours, baseline);
}

} // namespace

int runStoreSuite(const BenchContext &context)
{
    modADO store(QStringLiteral("bench-store"));
    if (!context.openStore(&store))
        return 1;
    const QSqlDatabase db = store.Connection();
    // Every measurement runs even when one fails, so a run shows all that could be measured.
    bool measured = measureOpen(context);
    measured = measureListFiles(context, db) && measured;
    measured = measureReadFile(context, db) && measured;
    return measured ? 0 : 1;
}
