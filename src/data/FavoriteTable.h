#pragma once

#include "system/ErrObject.h"

#include <QSqlDatabase>
#include <QString>
#include <QVector>

struct FavoriteRow
{
    qint32 auto_id = 0;
    QString url;
    QString title;
    QString desc;
};

// The statements on table `favorites`, the user's internet favorites.
class FavoriteTable final
{
public:
    static bool Load(const QSqlDatabase &db, QVector<FavoriteRow> *rows, ErrObject *err);
    // Adds `row` (its auto_id is ignored) and returns the new id in `newId`.
    static bool Add(const QSqlDatabase &db, const FavoriteRow &row, qint32 *newId, ErrObject *err);
    // Deletes the favorite if it is there; `deleted` (may be null) tells whether it was.
    static bool Delete(const QSqlDatabase &db, qint32 id, bool *deleted, ErrObject *err);
};
