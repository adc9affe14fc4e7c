#include "GameIndex.h"

#include "store/StoreQuery.h"

#include <QSqlDriver>

#include <sqlite3.h>

namespace {

quint8 code(sqlite3_stmt *statement, int column)
{
    const sqlite3_int64 value = sqlite3_column_int64(statement, column);
    return value >= 0 && value <= 255 ? quint8(value) : quint8(0);
}

// The same rows read straight from SQLite: QtSql makes a variant of every column of every row,
// which for a hundred thousand games costs as much as the statement itself. False, with nothing
// kept, when the store is not an open SQLite file or a step fails; the caller then reads the
// ordinary way, which reports the failure as every read does.
bool readDirect(const QSqlDatabase &db, QVector<IndexedGame> *games)
{
    if (!db.isOpen() || !db.driver() || qstrcmp(db.driver()->handle().typeName(), "sqlite3*") != 0)
        return false;
    auto *handle = *static_cast<sqlite3 *const *>(db.driver()->handle().constData());
    sqlite3_stmt *statement = nullptr;
    const QByteArray sql = GameIndex::Statement().toUtf8();
    if (!handle || sqlite3_prepare_v2(handle, sql.constData(), int(sql.size()), &statement, nullptr) != SQLITE_OK) {
        sqlite3_finalize(statement);
        return false;
    }
    int step = SQLITE_ROW;
    while ((step = sqlite3_step(statement)) == SQLITE_ROW) {
        // The store keeps its text as UTF-8: Qt's decoder is quicker than SQLite's own conversion.
        const auto *name = reinterpret_cast<const char *>(sqlite3_column_text(statement, 3));
        const int bytes = sqlite3_column_bytes(statement, 3);
        games->append({sqlite3_column_int(statement, 0), code(statement, 1), code(statement, 2),
                       QString::fromUtf8(name, bytes), sqlite3_column_int(statement, 4)});
    }
    sqlite3_finalize(statement);
    if (step != SQLITE_DONE)
        games->clear();
    return step == SQLITE_DONE;
}

} // namespace

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
    if (readDirect(db, games))
        return true;
    StoreQuery query(db);
    return query.run(Statement(), err) &&
           query.forEachRow(
               [&] {
                   games->append({query.id(0), query.code(1), query.code(2), query.text(3), query.value(4).toInt()});
               },
               err);
}
