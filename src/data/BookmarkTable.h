#pragma once

#include "system/ErrObject.h"

#include <QSqlDatabase>
#include <QString>
#include <QVector>

// A bookmark copies the names it shows, so the list needs no join.
struct BookmarkRow
{
    qint32 auto_id = 0;
    QString tree_key; // the file path key "K_file|N_game|G_genre|P_platform"
    QString game;
    QString file;
    QString platform; // the platform's name, not its code
    quint8 sub_cat = 0;
    quint8 genre = 0;
};

// The statements on table `bookmarks`. Each returns false with `err` filled when the store fails; a
// change to a row that is not there fails with ErrNumber::NoCurrentRecord.
class BookmarkTable final
{
public:
    static bool Load(const QSqlDatabase &db, QVector<BookmarkRow> *rows, ErrObject *err);
    static bool Read(const QSqlDatabase &db, qint32 id, BookmarkRow *row, bool *found, ErrObject *err);
    // Adds `row` (its auto_id is ignored) and returns the new id in `newId`.
    static bool Add(const QSqlDatabase &db, const BookmarkRow &row, qint32 *newId, ErrObject *err);
    // Rewrites every column but the id of the bookmark `row.auto_id`.
    static bool Update(const QSqlDatabase &db, const BookmarkRow &row, ErrObject *err);
    // A game moved to another platform or genre: new key, platform name and genre; the game's name stays.
    static bool MoveGame(const QSqlDatabase &db, qint32 id, const QString &treeKey, const QString &platform,
                         quint8 genre, ErrObject *err);
    // A file moved to another game: new key and the new game's names.
    static bool MoveFile(const QSqlDatabase &db, qint32 id, const QString &treeKey, const QString &game,
                         const QString &platform, quint8 genre, ErrObject *err);
    static bool RenameGame(const QSqlDatabase &db, qint32 id, const QString &game, ErrObject *err);
    // Deletes the bookmark if it is there; `deleted` (may be null) tells whether it was.
    static bool Delete(const QSqlDatabase &db, qint32 id, bool *deleted, ErrObject *err);
};
