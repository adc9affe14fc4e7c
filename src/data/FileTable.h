#pragma once

#include "system/ErrObject.h"

#include <QList>
#include <QSet>
#include <QSqlDatabase>
#include <QString>
#include <QVariantList>
#include <QVector>

#include <functional>

class StoreQuery;

struct FileRow
{
    qint32 auto_id = 0;
    qint32 game_id = 0;
    quint8 sub_cat = 0;
    QString src;
    QString desc;
    QString txt_rtf;
};

// A stored file found by its source, with the game it belongs to.
struct SourceMatch
{
    qint32 FileId = 0;
    QString Desc;
    qint32 GameId = 0;
    QString GameName;
    quint8 PlatformId = 0;
};

// Which files a search reads: those of one game (0 for any) whose sub-category is one of `SubCats`
// (empty for any).
struct FileCriteria
{
    qint32 GameId = 0;
    QList<quint8> SubCats;
};

// The statements on table `file`. Each returns false with `err` filled when the store fails; a
// change to a row that is not there fails with ErrNumber::NoCurrentRecord.
class FileTable final
{
public:
    // A game's files in the store's order.
    static bool List(const QSqlDatabase &db, qint32 gameId, QVector<FileRow> *rows, ErrObject *err);
    // The same without the texts (txt_rtf left empty): what a list of the files shows.
    static bool ListHeads(const QSqlDatabase &db, qint32 gameId, QVector<FileRow> *rows, ErrObject *err);
    // The ids of a game's files in the same order, without reading their texts.
    static bool Ids(const QSqlDatabase &db, qint32 gameId, QVector<qint32> *ids, ErrObject *err);
    static bool Read(const QSqlDatabase &db, qint32 id, FileRow *row, bool *found, ErrObject *err);
    // The game a file belongs to, without reading its text; `found` tells whether the file is there.
    static bool GameOf(const QSqlDatabase &db, qint32 id, qint32 *gameId, bool *found, ErrObject *err);
    // The sources of a game's files.
    static bool Sources(const QSqlDatabase &db, qint32 gameId, QSet<QString> *sources, ErrObject *err);
    // How many files a game has.
    static bool Count(const QSqlDatabase &db, qint32 gameId, int *count, ErrObject *err);
    // Adds `row` (its auto_id is ignored) and returns the new id in `newId`.
    static bool Add(const QSqlDatabase &db, const FileRow &row, qint32 *newId, ErrObject *err);
    // The same through `query`, which may keep the statement prepared for the next row; the new id
    // is as the store gave it (see StoreQuery::givenId), and the query is finished.
    static bool Add(StoreQuery &query, const FileRow &row, qint64 *newId, ErrObject *err);
    // Rewrites the sub-category, source, description and text of the file `row.auto_id`.
    static bool Update(const QSqlDatabase &db, const FileRow &row, ErrObject *err);
    // The same, but only while the file's sub-category, source, description and text are still
    // those of `loaded`: the check and the write are one statement, so no other program's write can
    // fall between them. `updated` is false when the row is gone or reads otherwise.
    static bool UpdateIfUnchanged(const QSqlDatabase &db, const FileRow &row, const FileRow &loaded, bool *updated,
                                  ErrObject *err);
    // Adds a copy of file `id` to game `gameId` and returns the copy's id in `newId`.
    static bool Copy(const QSqlDatabase &db, qint32 id, qint32 gameId, qint32 *newId, ErrObject *err);
    static bool Move(const QSqlDatabase &db, qint32 id, qint32 gameId, ErrObject *err);
    static bool Delete(const QSqlDatabase &db, qint32 id, ErrObject *err);

    // The oldest file whose source is exactly `src` (case and all) and whose game is still there;
    // `found` is false when there is none. It reads the whole table: a command, not a per-row lookup.
    static bool FindBySource(const QSqlDatabase &db, const QString &src, SourceMatch *match, bool *found,
                             ErrObject *err);

    // The conditions of the search statement for `criteria`, on the columns of `table` when a name
    // is given; empty for no criteria. Their values, bound in order, are appended to `values`.
    static QString FindConditions(const FileCriteria &criteria, const QString &table, QVariantList *values);
    // The text of the search statement for `criteria`, its values appended to `values`.
    static QString FindStatement(const FileCriteria &criteria, QVariantList *values);
    // Calls `visit` with each file that meets `criteria`, in the store's order, until it returns false.
    static bool Find(const QSqlDatabase &db, const FileCriteria &criteria,
                     const std::function<bool(const FileRow &)> &visit, ErrObject *err);
};
