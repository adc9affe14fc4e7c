#pragma once

#include "system/ErrObject.h"

#include <QSqlDatabase>
#include <QString>
#include <QVector>

struct IndexedGame
{
    qint32 auto_id = 0;
    quint8 platform_id = 0;
    quint8 genre_id = 0;
    QString name;
    int files = 0;
};

// Every game of the store with its place and its number of files, read in one statement: what the
// game tree is built from.
class GameIndex final
{
public:
    static QString Statement();
    static bool Read(const QSqlDatabase &db, QVector<IndexedGame> *games, ErrObject *err);
};
