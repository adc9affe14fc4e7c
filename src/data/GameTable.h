#pragma once

#include "system/ErrObject.h"

#include <QSqlDatabase>
#include <QString>
#include <QVector>

struct GameRow
{
    qint32 auto_id = 0;
    quint8 platform_id = 0;
    quint8 genre_id = 0;
    QString name;
    QString notes;
};

// The statements on table `game`. Each returns false with `err` filled when the store fails; a
// change to a row that is not there fails with ErrNumber::NoCurrentRecord.
class GameTable final
{
public:
    // Adds a game and returns its new id in `newId`.
    static bool Add(const QSqlDatabase &db, quint8 platformId, quint8 genreId, const QString &name, qint32 *newId,
                    ErrObject *err);
    static bool Read(const QSqlDatabase &db, qint32 id, GameRow *row, bool *found, ErrObject *err);
    // The games filed under one platform and genre, oldest first; the caller orders them for people.
    static bool List(const QSqlDatabase &db, quint8 platformId, quint8 genreId, QVector<GameRow> *rows, ErrObject *err);
    static bool Rename(const QSqlDatabase &db, qint32 id, const QString &name, ErrObject *err);
    static bool Move(const QSqlDatabase &db, qint32 id, quint8 platformId, quint8 genreId, ErrObject *err);
    // Deletes the game's files and then the game, in one transaction. `filesDeleted` may be null.
    static bool Delete(const QSqlDatabase &db, qint32 id, int *filesDeleted, ErrObject *err);
};
