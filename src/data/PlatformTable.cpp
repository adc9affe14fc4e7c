#include "PlatformTable.h"

#include "modNames.h"
#include "store/StoreQuery.h"
#include "store/StoreTransaction.h"

#include <QHash>

#include <algorithm>

namespace {

// A game's platform as a code of one byte; anything else reads as 0, "none", as StoreQuery::code does.
const QString platformCode = QStringLiteral("(CASE WHEN platform_id BETWEEN 0 AND 255 THEN platform_id ELSE 0 END)");

// The last field of a bookmark's key: everything after its last "|". rtrim strips every character
// that is not a "|" from the end, which leaves the key up to and including its last "|"; no key
// repeats that prefix further on, so replacing it leaves the last field alone.
const QString keyPrefix = QStringLiteral("rtrim(tree_key, replace(tree_key, '|', ''))");
const QString lastKeyField = QStringLiteral("replace(tree_key, ") + keyPrefix + QStringLiteral(", '')");

QString platformField(quint8 platformId)
{
    return QStringLiteral("P_") + QString::number(platformId);
}

int tableOrder(quint8 platformId)
{
    return modNames::GetPlatformName(platformId).isEmpty() ? 256 + platformId : platformId;
}

} // namespace

bool PlatformTable::List(const QSqlDatabase &db, QVector<PlatformCount> *rows, ErrObject *err)
{
    rows->clear();
    // Files are counted through the file table's game_id index, one lookup per game, rather than by
    // joining every file row to its game.
    StoreQuery games(db);
    if (!games.run(QStringLiteral("SELECT code, count(*), sum(files) FROM (SELECT ") + platformCode +
                       QStringLiteral(" AS code, (SELECT count(*) FROM file f WHERE f.game_id = g.auto_id) AS files "
                                      "FROM game g) AS counted GROUP BY code"),
                   err))
        return false;
    if (!games.forEachRow(
            [&] {
                rows->append({games.code(0), games.value(1).toInt(), games.value(2).toInt(), 0});
            },
            err))
        return false;

    StoreQuery bookmarks(db);
    if (!bookmarks.run(QStringLiteral("SELECT ") + lastKeyField +
                           QStringLiteral(" AS field, count(*) FROM bookmarks "
                                          "GROUP BY field"),
                       err))
        return false;
    QHash<QString, int> byField;
    if (!bookmarks.forEachRow([&] { byField.insert(bookmarks.text(0), bookmarks.value(1).toInt()); }, err))
        return false;
    for (PlatformCount &row : *rows)
        row.bookmarks = byField.value(platformField(row.platform_id));

    std::sort(rows->begin(), rows->end(), [](const PlatformCount &a, const PlatformCount &b) {
        return tableOrder(a.platform_id) < tableOrder(b.platform_id);
    });
    return true;
}

bool PlatformTable::Remove(const QSqlDatabase &db, quint8 platformId, ErrObject *err)
{
    StoreTransaction transaction(db);
    if (!transaction.begin(err))
        return false;
    StoreQuery snapshots(db);
    if (!snapshots.run(QStringLiteral("DELETE FROM snapshot WHERE file_id IN (SELECT auto_id FROM file WHERE game_id "
                                      "IN (SELECT auto_id FROM game WHERE ") +
                           platformCode + QStringLiteral(" = ?))"),
                       {platformId}, err))
        return false;
    StoreQuery files(db);
    if (!files.run(QStringLiteral("DELETE FROM file WHERE game_id IN (SELECT auto_id FROM game WHERE ") + platformCode +
                       QStringLiteral(" = ?)"),
                   {platformId}, err))
        return false;
    StoreQuery games(db);
    if (!games.run(QStringLiteral("DELETE FROM game WHERE ") + platformCode + QStringLiteral(" = ?"), {platformId},
                   err))
        return false;
    StoreQuery bookmarks(db);
    if (!bookmarks.run(QStringLiteral("DELETE FROM bookmarks WHERE ") + lastKeyField + QStringLiteral(" = ?"),
                       {platformField(platformId)}, err))
        return false;
    return transaction.commit(err);
}

bool PlatformTable::MoveGames(const QSqlDatabase &db, quint8 from, quint8 to, const QString &toName, int *gamesMoved,
                              ErrObject *err)
{
    StoreTransaction transaction(db);
    if (!transaction.begin(err))
        return false;
    StoreQuery games(db);
    if (!games.run(QStringLiteral("UPDATE game SET platform_id = ? WHERE ") + platformCode + QStringLiteral(" = ?"),
                   {to, from}, err))
        return false;
    StoreQuery bookmarks(db);
    if (!bookmarks.run(QStringLiteral("UPDATE bookmarks SET tree_key = ") + keyPrefix +
                           QStringLiteral(" || ?, platform = ? WHERE ") + lastKeyField + QStringLiteral(" = ?"),
                       {platformField(to), toName, platformField(from)}, err))
        return false;
    if (!transaction.commit(err))
        return false;
    if (gamesMoved)
        *gamesMoved = games.rowsAffected();
    return true;
}
