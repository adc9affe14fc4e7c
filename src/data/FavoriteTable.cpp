#include "FavoriteTable.h"

#include "store/StoreQuery.h"

bool FavoriteTable::Load(const QSqlDatabase &db, QVector<FavoriteRow> *rows, ErrObject *err)
{
    rows->clear();
    StoreQuery query(db);
    // In the order they were added, whichever kind of store keeps them.
    return query.run(QStringLiteral("SELECT auto_id, url, title, \"desc\" FROM favorites ORDER BY auto_id"), err) &&
           query.forEachRow(
               [&] {
                   rows->append({query.id(0), query.text(1), query.text(2), query.text(3)});
               },
               err);
}

bool FavoriteTable::Add(const QSqlDatabase &db, const FavoriteRow &row, qint32 *newId, ErrObject *err)
{
    StoreQuery query(db);
    if (!query.insert(QStringLiteral("INSERT INTO favorites (url, title, \"desc\") VALUES (?, ?, ?)"),
                      {row.url, row.title, row.desc}, err))
        return false;
    *newId = query.insertedId();
    return true;
}

bool FavoriteTable::Delete(const QSqlDatabase &db, qint32 id, bool *deleted, ErrObject *err)
{
    StoreQuery query(db);
    if (!query.run(QStringLiteral("DELETE FROM favorites WHERE auto_id = ?"), {id}, err))
        return false;
    if (deleted)
        *deleted = query.rowsAffected() > 0;
    return true;
}
