#include "LibraryGenerator.h"

#include "store/Schema.h"
#include "store/StoreError.h"
#include "data/modADO.h"
#include "data/modNames.h"

#include <QFile>
#include <QSet>
#include <QSqlError>
#include <QSqlQuery>

#include <algorithm>
#include <limits>
#include <utility>

namespace {

// How often each code turns up, by code - 1: the big systems and genres of the time hold most games.
const int platformWeights[modNames::PlatformCount] = {7, 8, 5, 1, 6, 5, 4, 6, 6, 3, 1, 2, 4, 2, 10, 10, 6, 10, 4};
const int genreWeights[modNames::GenreCount] = {20, 12, 10, 8, 16, 8, 14, 10};
const int subCatWeights[modNames::SubCatCount] = {30, 25, 18, 9, 11, 7};

// Body sizes as a multiple of the mean: many short texts, a few long guides.
struct SizeBand
{
    double low;
    double high;
    int percent;
};
const SizeBand sizeBands[] = {{0.06, 0.25, 15}, {0.25, 0.6, 25}, {0.6, 1.2, 30}, {1.2, 2.5, 20}, {2.5, 6.0, 10}};

const char *const gameNotes[] = {"Own it; box and manual in good shape.", "Borrowed from a friend.",
                                 "Import copy, needs an adaptor.", "Finished it twice.", "Still looking for this one."};

// How much heavier the busiest games are than the rest: weight 1 / (rank + tailOffset).
constexpr int tailOffset = 20;
// A benchmark lists a game of this many files, so a big library has one.
constexpr int busyGameFiles = 2000;
constexpr int busyGameMinLibrary = 20000;
constexpr int outsizedMinLibrary = 1000;

template <std::size_t N> int weightedCode(Rng *rng, const int (&weights)[N])
{
    int total = 0;
    for (int weight : weights)
        total += weight;
    int roll = int(rng->below(quint32(total)));
    for (std::size_t i = 0; i < N; ++i) {
        roll -= weights[i];
        if (roll < 0)
            return int(i) + 1;
    }
    return int(N);
}

template <typename T> void shuffle(Rng *rng, QVector<T> *items)
{
    for (qsizetype i = items->size() - 1; i > 0; --i)
        std::swap((*items)[i], (*items)[qsizetype(rng->below(quint32(i + 1)))]);
}

bool failed(const QSqlQuery &query, const QSqlDatabase &db, ErrObject *err)
{
    *err = StoreError::fromSql(query.lastError(), db);
    return false;
}

bool prepare(QSqlQuery *query, const QString &sql, const QSqlDatabase &db, ErrObject *err)
{
    return query->prepare(sql) || failed(*query, db, err);
}

} // namespace

LibraryGenerator::LibraryGenerator(const GenSettings &settings)
    : m_settings(settings), m_rng(settings.seed), m_titles(&m_rng), m_labels(&m_rng), m_rtf(&m_rng)
{}

bool LibraryGenerator::Generate(const QString &path, GenSummary *summary, ErrObject *err)
{
    if (!Schema::CreateStore(path, err))
        return false;
    bool ok = false;
    {
        modADO store(QStringLiteral("lorekeep-gen"));
        ok = store.Open(path, err) && fill(store.Connection(), summary, err);
        store.Close();
    }
    if (!ok) {
        QFile::remove(path);
        QFile::remove(path + QStringLiteral("-journal"));
    }
    return ok;
}

bool LibraryGenerator::fill(const QSqlDatabase &db, GenSummary *summary, ErrObject *err)
{
    QSqlQuery pragma(db);
    // Nothing is lost if the machine stops half-way: the half-made file would be deleted anyway.
    pragma.exec(QStringLiteral("PRAGMA synchronous = OFF"));
    pragma.exec(QStringLiteral("PRAGMA cache_size = -65536"));

    QSqlDatabase connection = db;
    if (!connection.transaction()) {
        *err = StoreError::fromSql(connection.lastError(), db);
        return false;
    }
    planGames();
    QVector<Marked> marked;
    int favorites = 0;
    if (!insertGames(db, err) || !insertFiles(db, &marked, summary, err) || !insertBookmarks(db, marked, err) ||
        !insertFavorites(db, &favorites, err)) {
        connection.rollback();
        return false;
    }
    if (!connection.commit()) {
        *err = StoreError::fromSql(connection.lastError(), db);
        connection.rollback();
        return false;
    }

    summary->games = int(m_games.size());
    summary->bookmarks = int(marked.size());
    summary->favorites = favorites;
    QSet<QString> titles;
    for (const Game &game : std::as_const(m_games)) {
        titles.insert(game.name);
        if (game.files > summary->busiestGameFiles) {
            summary->busiestGameFiles = game.files;
            summary->busiestGameId = game.id;
        }
    }
    summary->distinctTitles = int(titles.size());
    if (m_busyGame >= 0) {
        summary->busyGameId = m_games.at(m_busyGame).id;
        summary->busyGameFiles = m_games.at(m_busyGame).files;
    }
    return true;
}

void LibraryGenerator::planGames()
{
    m_games.clear();
    m_games.reserve(m_settings.games);
    for (int i = 0; i < m_settings.games; ++i) {
        Game game;
        // The first games take every code once, so that even a small library has all of them.
        game.platform = quint8(i < modNames::PlatformCount ? i + 1 : weightedCode(&m_rng, platformWeights));
        game.genre = quint8(i < modNames::GenreCount ? i + 1 : weightedCode(&m_rng, genreWeights));
        game.name = m_titles.next(game.platform, game.genre);
        m_games.append(game);
    }
}

QVector<int> LibraryGenerator::planFileOwners()
{
    const int games = int(m_games.size());
    const int files = m_settings.files;
    QVector<int> owners;
    owners.reserve(files);
    if (games == 0 || files == 0)
        return owners;

    QVector<int> ranked(games);
    for (int i = 0; i < games; ++i)
        ranked[i] = i;
    shuffle(&m_rng, &ranked);

    // The first game in the ranking is the busy one; the rest share the files by a long tail.
    const int busy = files >= busyGameMinLibrary ? std::max(busyGameFiles, files / 50) : 0;
    owners.fill(ranked.at(0), busy);
    m_busyGame = busy > 0 ? ranked.at(0) : -1;
    const int tailFrom = busy > 0 && games > 1 ? 1 : 0;
    QVector<double> cumulative;
    cumulative.reserve(games);
    double total = 0;
    for (int rank = tailFrom; rank < games; ++rank) {
        total += 1.0 / double(rank + tailOffset);
        cumulative.append(total);
    }
    while (owners.size() < files) {
        const double roll = m_rng.unit() * total;
        const auto at = std::upper_bound(cumulative.cbegin(), cumulative.cend(), roll) - cumulative.cbegin();
        owners.append(ranked.at(tailFrom + int(std::min<qsizetype>(at, cumulative.size() - 1))));
    }
    // Files were added over the years, not game by game.
    shuffle(&m_rng, &owners);
    return owners;
}

int LibraryGenerator::bodySize()
{
    static const double meanFactor = [] {
        double sum = 0;
        for (const SizeBand &band : sizeBands)
            sum += (band.low + band.high) / 2 * band.percent / 100;
        return sum;
    }();
    int roll = int(m_rng.below(100));
    for (const SizeBand &band : sizeBands) {
        roll -= band.percent;
        if (roll < 0)
            return int((band.low + (band.high - band.low) * m_rng.unit()) / meanFactor * m_settings.rtfKb * 1024);
    }
    return int(m_settings.rtfKb * 1024);
}

bool LibraryGenerator::insertGames(const QSqlDatabase &db, ErrObject *err)
{
    QSqlQuery insert(db);
    if (!prepare(&insert, QStringLiteral("INSERT INTO game (platform_id, genre_id, name, notes) VALUES (?, ?, ?, ?)"),
                 db, err))
        return false;
    for (Game &game : m_games) {
        insert.bindValue(0, int(game.platform));
        insert.bindValue(1, int(game.genre));
        insert.bindValue(2, game.name);
        insert.bindValue(3, m_rng.chance(10) ? QVariant(QString::fromUtf8(m_rng.pick(gameNotes)))
                                             : QVariant(QMetaType::fromType<QString>()));
        if (!insert.exec())
            return failed(insert, db, err);
        game.id = insert.lastInsertId().toInt();
    }
    return true;
}

bool LibraryGenerator::insertFiles(const QSqlDatabase &db, QVector<Marked> *marked, GenSummary *summary, ErrObject *err)
{
    const QVector<int> owners = planFileOwners();
    const int files = int(owners.size());

    // Bookmarks go to about one file in fifty, at least a few; two bodies are far larger than the rest.
    const int bookmarks = files == 0 ? 0 : std::min(files, std::max(3, files / 50));
    QVector<bool> bookmarked(files, false);
    for (int chosen = 0; chosen < bookmarks;) {
        const int at = int(m_rng.below(quint32(files)));
        if (!bookmarked.at(at)) {
            bookmarked[at] = true;
            ++chosen;
        }
    }
    int megabyte = -1;
    int tenMegabytes = -1;
    if (files >= outsizedMinLibrary) {
        megabyte = int(m_rng.below(quint32(files)));
        do
            tenMegabytes = int(m_rng.below(quint32(files)));
        while (tenMegabytes == megabyte);
    }

    QSqlQuery insert(db);
    if (!prepare(&insert,
                 QStringLiteral("INSERT INTO file (game_id, sub_cat, src, desc, txt_rtf) VALUES (?, ?, ?, ?, ?)"), db,
                 err))
        return false;
    QByteArray body;
    summary->smallestRtf = files > 0 ? std::numeric_limits<int>::max() : 0;
    for (int i = 0; i < files; ++i) {
        Game &game = m_games[owners.at(i)];
        // The first files take every sub-category once.
        const quint8 subCat = quint8(i < modNames::SubCatCount ? i + 1 : weightedCode(&m_rng, subCatWeights));
        const QString desc = m_labels.description(subCat, game.name);
        const QString src = m_labels.source(subCat);
        const int size = i == megabyte ? 1 << 20 : i == tenMegabytes ? 10 << 20 : bodySize();
        m_rtf.make(&body, game.name, modNames::GetSubCatName(subCat) + QStringLiteral(" by ") + m_labels.author(),
                   subCat, size);

        insert.bindValue(0, game.id);
        insert.bindValue(1, int(subCat));
        insert.bindValue(2, src);
        insert.bindValue(3, desc);
        insert.bindValue(4, QString::fromLatin1(body));
        if (!insert.exec())
            return failed(insert, db, err);
        const qint32 id = insert.lastInsertId().toInt();

        ++game.files;
        summary->rtfBytes += body.size();
        summary->smallestRtf = std::min(summary->smallestRtf, int(body.size()));
        summary->largestRtf = std::max(summary->largestRtf, int(body.size()));
        if (i == megabyte)
            summary->megabyteFileId = id;
        if (i == tenMegabytes)
            summary->tenMegabyteFileId = id;
        if (i == megabyte || i == tenMegabytes)
            summary->outsizedRtfBytes += body.size();
        if (bookmarked.at(i))
            marked->append({id, owners.at(i), subCat, desc});
    }
    summary->files = files;
    return true;
}

bool LibraryGenerator::insertBookmarks(const QSqlDatabase &db, const QVector<Marked> &marked, ErrObject *err)
{
    QSqlQuery insert(db);
    if (!prepare(&insert,
                 QStringLiteral("INSERT INTO bookmarks (tree_key, game, file, platform, sub_cat, genre) "
                                "VALUES (?, ?, ?, ?, ?, ?)"),
                 db, err))
        return false;
    for (const Marked &mark : marked) {
        const Game &game = m_games.at(mark.game);
        // A bookmark shows a long description cut to fit the menu.
        const QString file = mark.desc.size() >= 51 ? QString(mark.desc.left(47) + QStringLiteral("...")) : mark.desc;
        const QString treeKey = QStringLiteral("K_") + QString::number(mark.fileId) + QStringLiteral("|N_") +
                                QString::number(game.id) + QStringLiteral("|G_") + QString::number(game.genre) +
                                QStringLiteral("|P_") + QString::number(game.platform);
        insert.bindValue(0, treeKey);
        insert.bindValue(1, game.name);
        insert.bindValue(2, file);
        insert.bindValue(3, modNames::GetPlatformName(game.platform));
        insert.bindValue(4, int(mark.subCat));
        insert.bindValue(5, int(game.genre));
        if (!insert.exec())
            return failed(insert, db, err);
    }
    return true;
}

bool LibraryGenerator::insertFavorites(const QSqlDatabase &db, int *count, ErrObject *err)
{
    QSqlQuery insert(db);
    if (!prepare(&insert, QStringLiteral("INSERT INTO favorites (url, title, desc) VALUES (?, ?, ?)"), db, err))
        return false;
    const int favorites = std::max(3, int(m_games.size()) / 200);
    for (int i = 0; i < favorites; ++i) {
        insert.bindValue(0, m_labels.favoriteUrl(i + 1));
        insert.bindValue(1, m_labels.favoriteTitle());
        insert.bindValue(2, m_labels.favoriteDescription());
        if (!insert.exec())
            return failed(insert, db, err);
    }
    *count = favorites;
    return true;
}
