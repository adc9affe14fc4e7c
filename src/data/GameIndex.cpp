#include "GameIndex.h"

#include "store/StoreQuery.h"

QString GameIndex::Statement()
{
    // The count is a lookup in the file table's game_id index for each game, which SQLite does
    // faster than grouping every file row.
    return QStringLiteral("SELECT g.auto_id, g.platform_id, g.genre_id, g.name, "
                          "(SELECT count(*) FROM file f WHERE f.game_id = g.auto_id) FROM game g");
}

bool GameIndex::Read(const QSqlDatabase &db, QVector<IndexedGame> *games, ErrObject *err)
{
    games->clear();
    StoreQuery query(db);
    return query.run(Statement(), err) &&
           query.forEachRow(
               [&] {
                   games->append({query.id(0), query.code(1), query.code(2), query.text(3), query.value(4).toInt()});
               },
               err);
}
