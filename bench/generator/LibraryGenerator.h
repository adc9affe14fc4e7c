#pragma once

#include "LabelMaker.h"
#include "Rng.h"
#include "RtfMaker.h"
#include "TitleMaker.h"
#include "system/ErrObject.h"

#include <QSqlDatabase>
#include <QString>
#include <QVector>

struct GenSettings
{
    int games = 1;
    int files = 0;
    double rtfKb = 4.0;
    quint64 seed = 1;
};

struct GenSummary
{
    int games = 0;
    int files = 0;
    int bookmarks = 0;
    int favorites = 0;
    int distinctTitles = 0;
    // The game given a fixed large share of the files in a big library (0 in a small one).
    qint32 busyGameId = 0;
    int busyGameFiles = 0;
    qint32 busiestGameId = 0;
    int busiestGameFiles = 0;
    qint64 rtfBytes = 0;
    int smallestRtf = 0;
    int largestRtf = 0;
    qint64 outsizedRtfBytes = 0;
    // The two outsized bodies (0 when the library is too small to have them).
    qint32 megabyteFileId = 0;
    qint32 tenMegabyteFileId = 0;
};

// Fills a new store with a synthetic library: games over every platform and genre, files spread
// over them with a long tail, rich-text bodies, bookmarks and favorites. Everything is drawn from
// one generator seeded by the settings, so a seed always gives the same content.
class LibraryGenerator final
{
public:
    explicit LibraryGenerator(const GenSettings &settings);

    // Creates the store at `path`, which must not exist yet, and fills it in one transaction. On
    // failure `err` says why and no file is left at `path`.
    bool Generate(const QString &path, GenSummary *summary, ErrObject *err);

private:
    struct Game
    {
        quint8 platform = 0;
        quint8 genre = 0;
        QString name;
        qint32 id = 0;
        int files = 0;
    };
    struct Marked
    {
        qint32 fileId;
        int game;
        quint8 subCat;
        QString desc;
    };

    bool fill(const QSqlDatabase &db, GenSummary *summary, ErrObject *err);
    void planGames();
    QVector<int> planFileOwners();
    int bodySize();
    bool insertGames(const QSqlDatabase &db, ErrObject *err);
    bool insertFiles(const QSqlDatabase &db, QVector<Marked> *marked, GenSummary *summary, ErrObject *err);
    bool insertBookmarks(const QSqlDatabase &db, const QVector<Marked> &marked, ErrObject *err);
    bool insertFavorites(const QSqlDatabase &db, int *count, ErrObject *err);

    GenSettings m_settings;
    Rng m_rng;
    TitleMaker m_titles;
    LabelMaker m_labels;
    RtfMaker m_rtf;
    QVector<Game> m_games;
    int m_busyGame = -1;
};
