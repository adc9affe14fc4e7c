#pragma once

#include "search/FileSearch.h"
#include "system/ErrObject.h"

#include <QHash>
#include <QSqlDatabase>
#include <QVector>

#include <memory>
#include <vector>

class DirectRows;

namespace FileSearchParts {

// Reads a lean search's rows straight from SQLite: a million hits would otherwise cost a variant
// for every column of every row. A hit's game is looked up once and its name shared by all its
// hits: joined in the statement, the game table was read again for every hit, which took as long as
// reading the hits themselves.
class HitReader final
{
public:
    explicit HitReader(const QSqlDatabase &db);
    ~HitReader();
    Q_DISABLE_COPY_MOVE(HitReader)

    // Fills `hit` from a file's id, game, category and description, the columns of `rows` from
    // `first` on; false when the game could not be read.
    bool hit(const DirectRows &rows, FindHit *hit, ErrObject *err, int first = 0);
    // The name, platform and genre of the hit's game.
    bool game(FindHit *hit, ErrObject *err);
    // As game() for each of `hits`. A common phrase's hits are spread over all the games, so a
    // hit's game is seldom in the cache, nor is the count of users of its name, which the hit's
    // copy of the name adds to: both are fetched a few hits ahead, and the reads overlap.
    bool games(QVector<FindHit> *hits, ErrObject *err);
    // Reads the games of `hits` not read yet together, in order of id: one statement for a chunk of
    // hits costs a third of one a game.
    bool readGames(const QVector<FindHit> &hits, ErrObject *err);

private:
    struct Game
    {
        QString Name;
        quint8 PlatformId = 0;
        quint8 GenreId = 0;
    };

    // Once every game is read by id: one that is not there is gone.
    const Game &known(qint32 id) const
    {
        static const Game gone;
        return quint32(id) < m_byId.size() ? m_byId[size_t(id)] : gone;
    }
    static void fill(FindHit *hit, const Game &game)
    {
        hit->GameName = game.Name;
        hit->PlatformId = game.PlatformId;
        hit->GenreId = game.GenreId;
    }

    // Games are looked up as they are met while they are few. A search that has met a tenth of
    // them reads them all in one pass, which costs about as much as that many look-ups: a rare
    // phrase costs no more than the games it meets, a common one at most twice the pass. Whether
    // `more` look-ups reach that; false when the games could not be read.
    bool readAllPast(qint64 more, ErrObject *err);
    // A file of a game that is gone lists with no game, as it would joined to none.
    bool lookUp(qint32 id, ErrObject *err);
    bool readAll(ErrObject *err);
    // Takes the games `where` chooses (all when empty) into the table.
    bool readGameRows(const QString &where, const QVariantList &values, ErrObject *err);

    const QSqlDatabase m_db;
    QHash<qint32, Game> m_games;
    // All the games by id, once all are read, when their ids are not too sparse.
    std::vector<Game> m_byId;
    std::unique_ptr<DirectRows> m_one;
    qint64 m_lookups = 0;
    // How many games are looked up one at a time; -1 until the first is.
    qint64 m_readAfter = -1;
    bool m_readAll = false;
};

} // namespace FileSearchParts
