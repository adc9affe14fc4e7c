#include "GameTable.h"

#include "store/StoreError.h"
#include "store/StoreQuery.h"
#include "store/StoreTransaction.h"

namespace {

bool changedOne(const StoreQuery &query, qint32 id, ErrObject *err)
{
    if (query.rowsAffected() > 0)
        return true;
    *err = StoreError::noRow("game", id);
    return false;
}

} // namespace

bool GameTable::Add(const QSqlDatabase &db, quint8 platformId, quint8 genreId, const QString &name, qint32 *newId,
                    ErrObject *err)
{
    StoreQuery query(db);
    if (!query.insert(QStringLiteral("INSERT INTO game (platform_id, genre_id, name) VALUES (?, ?, ?)"),
                      {platformId, genreId, name}, err))
        return false;
    *newId = query.insertedId();
    return true;
}

bool GameTable::Read(const QSqlDatabase &db, qint32 id, GameRow *row, bool *found, ErrObject *err)
{
    StoreQuery query(db);
    if (!query.run(QStringLiteral("SELECT auto_id, platform_id, genre_id, name, notes FROM game WHERE auto_id = ?"),
                   {id}, err) ||
        !query.firstRow(found, err))
        return false;
    if (*found)
        *row = {query.id(0), query.code(1), query.code(2), query.text(3), query.text(4)};
    return true;
}

bool GameTable::List(const QSqlDatabase &db, quint8 platformId, quint8 genreId, QVector<GameRow> *rows, ErrObject *err)
{
    rows->clear();
    StoreQuery query(db);
    if (!query.run(QStringLiteral("SELECT auto_id, platform_id, genre_id, name, notes FROM game "
                                  "WHERE platform_id = ? AND genre_id = ? ORDER BY auto_id"),
                   {platformId, genreId}, err))
        return false;
    return query.forEachRow(
        [&] {
            rows->append({query.id(0), query.code(1), query.code(2), query.text(3), query.text(4)});
        },
        err);
}

bool GameTable::Rename(const QSqlDatabase &db, qint32 id, const QString &name, ErrObject *err)
{
    StoreQuery query(db);
    return query.run(QStringLiteral("UPDATE game SET name = ? WHERE auto_id = ?"), {name, id}, err) &&
           changedOne(query, id, err);
}

bool GameTable::Move(const QSqlDatabase &db, qint32 id, quint8 platformId, quint8 genreId, ErrObject *err)
{
    StoreQuery query(db);
    return query.run(QStringLiteral("UPDATE game SET platform_id = ?, genre_id = ? WHERE auto_id = ?"),
                     {platformId, genreId, id}, err) &&
           changedOne(query, id, err);
}

bool GameTable::Delete(const QSqlDatabase &db, qint32 id, int *filesDeleted, ErrObject *err)
{
    StoreTransaction transaction(db);
    if (!transaction.begin(err))
        return false;
    StoreQuery snapshots(db);
    if (!snapshots.run(QStringLiteral("DELETE FROM snapshot WHERE file_id IN (SELECT auto_id FROM file WHERE "
                                      "game_id = ?)"),
                       {id}, err))
        return false;
    StoreQuery files(db);
    if (!files.run(QStringLiteral("DELETE FROM file WHERE game_id = ?"), {id}, err))
        return false;
    StoreQuery game(db);
    if (!game.run(QStringLiteral("DELETE FROM game WHERE auto_id = ?"), {id}, err) || !changedOne(game, id, err))
        return false;
    if (!transaction.commit(err))
        return false;
    if (filesDeleted)
        *filesDeleted = files.rowsAffected();
    return true;
}
