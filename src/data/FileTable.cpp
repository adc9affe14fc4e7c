#include "FileTable.h"

#include "SnapshotTable.h"

#include "store/StoreError.h"
#include "store/StoreQuery.h"
#include "store/StoreTransaction.h"

#include <QStringList>

namespace {

const QString selectFiles = QStringLiteral("SELECT auto_id, game_id, sub_cat, src, \"desc\", txt_rtf FROM file");
const QString selectHeads = QStringLiteral("SELECT auto_id, game_id, sub_cat, src, \"desc\", '' FROM file");

FileRow fileRow(const StoreQuery &query)
{
    return {query.id(0), query.id(1), query.code(2), query.text(3), query.text(4), query.text(5)};
}

bool changedOne(const StoreQuery &query, qint32 id, ErrObject *err)
{
    if (query.rowsAffected() > 0)
        return true;
    *err = StoreError::noRow("file", id);
    return false;
}

bool listFiles(const QSqlDatabase &db, const QString &select, qint32 gameId, QVector<FileRow> *rows, ErrObject *err)
{
    rows->clear();
    StoreQuery query(db);
    // In the order they were added, which a shared library's server does not keep by itself: a
    // row it rewrites moves to the end of its table.
    return query.run(select + QStringLiteral(" WHERE game_id = ? ORDER BY auto_id"), {gameId}, err) &&
           query.forEachRow([&] { rows->append(fileRow(query)); }, err);
}

} // namespace

bool FileTable::List(const QSqlDatabase &db, qint32 gameId, QVector<FileRow> *rows, ErrObject *err)
{
    return listFiles(db, selectFiles, gameId, rows, err);
}

bool FileTable::ListHeads(const QSqlDatabase &db, qint32 gameId, QVector<FileRow> *rows, ErrObject *err)
{
    return listFiles(db, selectHeads, gameId, rows, err);
}

bool FileTable::Read(const QSqlDatabase &db, qint32 id, FileRow *row, bool *found, ErrObject *err)
{
    StoreQuery query(db);
    if (!query.run(selectFiles + QStringLiteral(" WHERE auto_id = ?"), {id}, err) || !query.firstRow(found, err))
        return false;
    if (*found)
        *row = fileRow(query);
    return true;
}

bool FileTable::Ids(const QSqlDatabase &db, qint32 gameId, QVector<qint32> *ids, ErrObject *err)
{
    ids->clear();
    StoreQuery query(db);
    if (!query.run(QStringLiteral("SELECT auto_id FROM file WHERE game_id = ?"), {gameId}, err))
        return false;
    return query.forEachRow([&] { ids->append(query.value(0).toInt()); }, err);
}

bool FileTable::Sources(const QSqlDatabase &db, qint32 gameId, QSet<QString> *sources, ErrObject *err)
{
    sources->clear();
    StoreQuery query(db);
    if (!query.run(QStringLiteral("SELECT src FROM file WHERE game_id = ?"), {gameId}, err))
        return false;
    return query.forEachRow([&] { sources->insert(query.text(0)); }, err);
}

bool FileTable::Count(const QSqlDatabase &db, qint32 gameId, int *count, ErrObject *err)
{
    StoreQuery query(db);
    bool found = false;
    if (!query.run(QStringLiteral("SELECT COUNT(*) FROM file WHERE game_id = ?"), {gameId}, err) ||
        !query.firstRow(&found, err))
        return false;
    *count = found ? query.value(0).toInt() : 0;
    return true;
}

bool FileTable::GameOf(const QSqlDatabase &db, qint32 id, qint32 *gameId, bool *found, ErrObject *err)
{
    StoreQuery query(db);
    if (!query.run(QStringLiteral("SELECT game_id FROM file WHERE auto_id = ?"), {id}, err) ||
        !query.firstRow(found, err))
        return false;
    *gameId = *found ? query.id(0) : 0;
    return true;
}

bool FileTable::Add(const QSqlDatabase &db, const FileRow &row, qint32 *newId, ErrObject *err)
{
    StoreQuery query(db);
    qint64 id = 0;
    if (!Add(query, row, &id, err))
        return false;
    *newId = qint32(id);
    return true;
}

bool FileTable::Add(StoreQuery &query, const FileRow &row, qint64 *newId, ErrObject *err)
{
    const bool added = query.insert(
        QStringLiteral("INSERT INTO file (game_id, sub_cat, src, \"desc\", txt_rtf) VALUES (?, ?, ?, ?, ?)"),
        {row.game_id, row.sub_cat, row.src, row.desc, row.txt_rtf}, err);
    query.finish();
    *newId = added ? query.givenId() : 0;
    return added;
}

bool FileTable::Update(const QSqlDatabase &db, const FileRow &row, ErrObject *err)
{
    StoreQuery query(db);
    return query.run(
               QStringLiteral("UPDATE file SET sub_cat = ?, src = ?, \"desc\" = ?, txt_rtf = ? WHERE auto_id = ?"),
               {row.sub_cat, row.src, row.desc, row.txt_rtf, row.auto_id}, err) &&
           changedOne(query, row.auto_id, err);
}

bool FileTable::UpdateIfUnchanged(const QSqlDatabase &db, const FileRow &row, const FileRow &loaded, bool *updated,
                                  ErrObject *err)
{
    StoreQuery query(db);
    if (!query.run(QStringLiteral("UPDATE file SET sub_cat = ?, src = ?, \"desc\" = ?, txt_rtf = ? WHERE auto_id = ? "
                                  "AND sub_cat = ? AND src = ? AND \"desc\" = ? AND txt_rtf = ?"),
                   {row.sub_cat, row.src, row.desc, row.txt_rtf, row.auto_id, loaded.sub_cat, loaded.src, loaded.desc,
                    loaded.txt_rtf},
                   err))
        return false;
    *updated = query.rowsAffected() > 0;
    return true;
}

bool FileTable::Copy(const QSqlDatabase &db, qint32 id, qint32 gameId, qint32 *newId, ErrObject *err)
{
    // One statement, so the text never leaves the store and a copy is whole or not there. The
    // page snapshots stay with the original: the copy is a new file, with no page history of its own.
    StoreQuery query(db);
    if (!query.insert(QStringLiteral("INSERT INTO file (game_id, sub_cat, src, \"desc\", txt_rtf) "
                                     "SELECT ?, sub_cat, src, \"desc\", txt_rtf FROM file WHERE auto_id = ?"),
                      {gameId, id}, err) ||
        !changedOne(query, id, err))
        return false;
    *newId = query.insertedId();
    return true;
}

bool FileTable::Move(const QSqlDatabase &db, qint32 id, qint32 gameId, ErrObject *err)
{
    StoreQuery query(db);
    return query.run(QStringLiteral("UPDATE file SET game_id = ? WHERE auto_id = ?"), {gameId, id}, err) &&
           changedOne(query, id, err);
}

bool FileTable::Delete(const QSqlDatabase &db, qint32 id, ErrObject *err)
{
    // The file's page snapshots go with it, or neither goes.
    StoreTransaction transaction(db);
    if (!transaction.begin(err) || !SnapshotTable::DeleteOfFile(db, id, err))
        return false;
    StoreQuery query(db);
    return query.run(QStringLiteral("DELETE FROM file WHERE auto_id = ?"), {id}, err) && changedOne(query, id, err) &&
           transaction.commit(err);
}

bool FileTable::FindBySource(const QSqlDatabase &db, const QString &src, SourceMatch *match, bool *found,
                             ErrObject *err)
{
    StoreQuery query(db);
    if (!query.run(QStringLiteral("SELECT file.auto_id, file.\"desc\", game.auto_id, game.name, game.platform_id "
                                  "FROM file JOIN game ON game.auto_id = file.game_id "
                                  "WHERE file.src = ? ORDER BY file.auto_id LIMIT 1"),
                   {src}, err) ||
        !query.firstRow(found, err))
        return false;
    if (*found)
        *match = {query.id(0), query.text(1), query.id(2), query.text(3), query.code(4)};
    return true;
}

QString FileTable::FindConditions(const FileCriteria &criteria, const QString &table, QVariantList *values)
{
    const QString column = table.isEmpty() ? QString() : table + QLatin1Char('.');
    QStringList terms;
    if (criteria.GameId != 0) {
        terms << column + QStringLiteral("game_id = ?");
        values->append(criteria.GameId);
    }
    if (!criteria.SubCats.isEmpty()) {
        QStringList subCats;
        for (quint8 subCat : criteria.SubCats) {
            subCats << column + QStringLiteral("sub_cat = ?");
            values->append(subCat);
        }
        const QString any = subCats.join(QStringLiteral(" Or "));
        terms << (terms.isEmpty() ? any : QLatin1Char('(') + any + QLatin1Char(')'));
    }
    return terms.join(QStringLiteral(" AND "));
}

QString FileTable::FindStatement(const FileCriteria &criteria, QVariantList *values)
{
    const QString conditions = FindConditions(criteria, QString(), values);
    return conditions.isEmpty() ? selectFiles : selectFiles + QStringLiteral(" WHERE ") + conditions;
}

bool FileTable::Find(const QSqlDatabase &db, const FileCriteria &criteria,
                     const std::function<bool(const FileRow &)> &visit, ErrObject *err)
{
    StoreQuery query(db);
    QVariantList values;
    const QString sql = FindStatement(criteria, &values);
    return query.run(sql, values, err) && query.forEachRowWhile([&] { return visit(fileRow(query)); }, err);
}
