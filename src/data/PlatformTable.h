#pragma once

#include "system/ErrObject.h"

#include <QSqlDatabase>
#include <QString>
#include <QVector>

// What one platform holds. Bookmarks count by the platform field of their file path key.
struct PlatformCount
{
    quint8 platform_id = 0;
    int games = 0;
    int files = 0;
    int bookmarks = 0;
};

// The statements that act on a whole platform at once. A stored platform code outside a byte (a
// store edited by hand) is platform 0 here, as everywhere the program reads codes. Each returns
// false with `err` filled when the store fails; a change then leaves the store as it was.
class PlatformTable final
{
public:
    // Every platform that has games: the known codes in the order of the code table, then the
    // codes it does not know.
    static bool List(const QSqlDatabase &db, QVector<PlatformCount> *rows, ErrObject *err);
    // Deletes the platform's files, games and bookmarks.
    static bool Remove(const QSqlDatabase &db, quint8 platformId, ErrObject *err);
    // Refiles every game of `from` under `to`, each in its own genre; their bookmarks get the new
    // platform in their keys and `toName` as their platform name. `gamesMoved` may be null.
    static bool MoveGames(const QSqlDatabase &db, quint8 from, quint8 to, const QString &toName, int *gamesMoved,
                          ErrObject *err);
};
