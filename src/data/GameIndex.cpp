#include "GameIndex.h"

#include "store/DirectRows.h"
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
    // Straight from SQLite when the store is a file: a hundred thousand games' variants would cost
    // as much as the statement itself.
    DirectRows rows(db, Statement());
    while (rows.next())
        games->append({rows.id(0), rows.code(1), rows.code(2), rows.text(3), rows.id(4)});
    if (rows.done())
        return true;
    games->clear();
    StoreQuery query(db);
    return query.run(Statement(), err) &&
           query.forEachRow(
               [&] {
                   games->append({query.id(0), query.code(1), query.code(2), query.text(3), query.value(4).toInt()});
               },
               err);
}
