#include "BookmarkTable.h"

#include "store/DirectRows.h"
#include "store/StoreError.h"
#include "store/StoreQuery.h"

namespace {

const QString selectBookmarks =
    QStringLiteral("SELECT auto_id, tree_key, game, file, platform, sub_cat, genre FROM bookmarks");

BookmarkRow bookmarkRow(const StoreQuery &query)
{
    return {query.id(0), query.text(1), query.text(2), query.text(3), query.text(4), query.code(5), query.code(6)};
}

bool changeOne(const QSqlDatabase &db, qint32 id, const QString &sql, const QVariantList &values, ErrObject *err)
{
    StoreQuery query(db);
    if (!query.run(sql, values, err))
        return false;
    if (query.rowsAffected() > 0)
        return true;
    *err = StoreError::noRow("bookmark", id);
    return false;
}

} // namespace

bool BookmarkTable::Load(const QSqlDatabase &db, QVector<BookmarkRow> *rows, ErrObject *err)
{
    rows->clear();
    // In the order they were added, whichever kind of store keeps them.
    const QString sql = selectBookmarks + QStringLiteral(" ORDER BY auto_id");
    // The whole list is read at every start.
    DirectRows direct(db, sql);
    if (direct.isReady()) {
        while (direct.next())
            rows->append({direct.id(0), direct.text(1), direct.text(2), direct.text(3), direct.text(4), direct.code(5),
                          direct.code(6)});
        if (direct.done())
            return true;
        rows->clear();
    }
    StoreQuery query(db);
    return query.run(sql, err) && query.forEachRow([&] { rows->append(bookmarkRow(query)); }, err);
}

bool BookmarkTable::Read(const QSqlDatabase &db, qint32 id, BookmarkRow *row, bool *found, ErrObject *err)
{
    StoreQuery query(db);
    if (!query.run(selectBookmarks + QStringLiteral(" WHERE auto_id = ?"), {id}, err) || !query.firstRow(found, err))
        return false;
    if (*found)
        *row = bookmarkRow(query);
    return true;
}

bool BookmarkTable::Add(const QSqlDatabase &db, const BookmarkRow &row, qint32 *newId, ErrObject *err)
{
    StoreQuery query(db);
    if (!query.insert(QStringLiteral("INSERT INTO bookmarks (tree_key, game, file, platform, sub_cat, genre) "
                                     "VALUES (?, ?, ?, ?, ?, ?)"),
                      {row.tree_key, row.game, row.file, row.platform, row.sub_cat, row.genre}, err))
        return false;
    *newId = query.insertedId();
    return true;
}

bool BookmarkTable::Update(const QSqlDatabase &db, const BookmarkRow &row, ErrObject *err)
{
    return changeOne(db, row.auto_id,
                     QStringLiteral("UPDATE bookmarks SET tree_key = ?, game = ?, file = ?, platform = ?, sub_cat = ?, "
                                    "genre = ? WHERE auto_id = ?"),
                     {row.tree_key, row.game, row.file, row.platform, row.sub_cat, row.genre, row.auto_id}, err);
}

bool BookmarkTable::MoveGame(const QSqlDatabase &db, qint32 id, const QString &treeKey, const QString &platform,
                             quint8 genre, ErrObject *err)
{
    return changeOne(db, id,
                     QStringLiteral("UPDATE bookmarks SET tree_key = ?, platform = ?, genre = ? WHERE auto_id = ?"),
                     {treeKey, platform, genre, id}, err);
}

bool BookmarkTable::MoveFile(const QSqlDatabase &db, qint32 id, const QString &treeKey, const QString &game,
                             const QString &platform, quint8 genre, ErrObject *err)
{
    return changeOne(
        db, id,
        QStringLiteral("UPDATE bookmarks SET tree_key = ?, game = ?, platform = ?, genre = ? WHERE auto_id = ?"),
        {treeKey, game, platform, genre, id}, err);
}

bool BookmarkTable::RenameGame(const QSqlDatabase &db, qint32 id, const QString &game, ErrObject *err)
{
    return changeOne(db, id, QStringLiteral("UPDATE bookmarks SET game = ? WHERE auto_id = ?"), {game, id}, err);
}

bool BookmarkTable::Delete(const QSqlDatabase &db, qint32 id, bool *deleted, ErrObject *err)
{
    StoreQuery query(db);
    if (!query.run(QStringLiteral("DELETE FROM bookmarks WHERE auto_id = ?"), {id}, err))
        return false;
    if (deleted)
        *deleted = query.rowsAffected() > 0;
    return true;
}
