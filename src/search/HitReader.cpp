#include "HitReader.h"

#include "store/DirectRows.h"

#include <algorithm>

namespace {

bool fail(const DirectRows &rows, ErrObject *err)
{
    *err = rows.error();
    return false;
}

} // namespace

namespace FileSearchParts {

HitReader::HitReader(const QSqlDatabase &db) : m_db(db) {}

HitReader::~HitReader() = default;

bool HitReader::hit(const DirectRows &rows, FindHit *hit, ErrObject *err, int first)
{
    hit->FileId = rows.id(first);
    hit->GameId = rows.id(first + 1);
    hit->SubCat = rows.code(first + 2);
    hit->Desc = rows.text(first + 3);
    return game(hit, err);
}

bool HitReader::game(FindHit *hit, ErrObject *err)
{
    if (!m_byId.empty()) {
        fill(hit, known(hit->GameId));
        return true;
    }
    auto game = m_games.constFind(hit->GameId);
    if (game == m_games.cend()) {
        if (!lookUp(hit->GameId, err))
            return false;
        // The look-up may have read every game.
        game = m_byId.empty() ? m_games.constFind(hit->GameId) : m_games.cend();
    }
    fill(hit, game == m_games.cend() ? known(hit->GameId) : *game);
    return true;
}

bool HitReader::games(QVector<FindHit> *hits, ErrObject *err)
{
    if (m_byId.empty()) {
        for (FindHit &hit : *hits) {
            if (!game(&hit, err))
                return false;
        }
        return true;
    }
    constexpr qsizetype ahead = 8;
    const qsizetype count = hits->size();
    for (qsizetype i = 0; i < count; ++i) {
        if (i + 2 * ahead < count)
            __builtin_prefetch(&known(hits->at(i + 2 * ahead).GameId));
        if (i + ahead < count)
            __builtin_prefetch(const_cast<QString::DataPointer &>(known(hits->at(i + ahead).GameId).Name.data_ptr())
                                   .d_ptr());
        FindHit &hit = (*hits)[i];
        fill(&hit, known(hit.GameId));
    }
    return true;
}

bool HitReader::readGames(const QVector<FindHit> &hits, ErrObject *err)
{
    if (m_readAll)
        return true;
    QList<qint32> ids;
    for (const FindHit &hit : hits) {
        if (hit.GameId != 0 && !m_games.contains(hit.GameId))
            ids.append(hit.GameId);
    }
    if (ids.isEmpty())
        return true;
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    if (!readAllPast(ids.size(), err))
        return false;
    if (m_readAll)
        return true;
    QVariantList values;
    QString marks;
    for (const qint32 id : std::as_const(ids)) {
        values.append(id);
        marks += marks.isEmpty() ? QStringLiteral("?") : QStringLiteral(", ?");
    }
    if (!readGameRows(QStringLiteral(" WHERE auto_id IN (%1)").arg(marks), values, err))
        return false;
    // A game that is gone lists as none.
    for (const qint32 id : std::as_const(ids)) {
        if (!m_games.contains(id))
            m_games.insert(id, {});
    }
    return true;
}

bool HitReader::readAllPast(qint64 more, ErrObject *err)
{
    if (m_readAll)
        return true;
    if (m_readAfter < 0) {
        DirectRows last(m_db, QStringLiteral("SELECT max(auto_id) FROM game"));
        if (!last.next())
            return fail(last, err);
        m_readAfter = std::max<qint64>(last.id64(0) / 10, 100);
    }
    m_lookups += more;
    return m_lookups <= m_readAfter || readAll(err);
}

bool HitReader::lookUp(qint32 id, ErrObject *err)
{
    if (!readAllPast(1, err))
        return false;
    if (m_readAll) {
        if (m_byId.empty() && !m_games.contains(id))
            m_games.insert(id, {});
        return true;
    }
    if (!m_one)
        m_one = std::make_unique<DirectRows>(
            m_db, QStringLiteral("SELECT name, platform_id, genre_id FROM game WHERE auto_id = ?"));
    if (!m_one->run({id}))
        return fail(*m_one, err);
    Game &game = m_games[id];
    if (m_one->next())
        game = {m_one->text(0), m_one->code(1), m_one->code(2)};
    else if (!m_one->done())
        return fail(*m_one, err);
    return true;
}

bool HitReader::readGameRows(const QString &where, const QVariantList &values, ErrObject *err)
{
    DirectRows rows(m_db, QStringLiteral("SELECT auto_id, name, platform_id, genre_id FROM game") + where, values);
    if (!rows.isReady())
        return fail(rows, err);
    while (rows.next())
        m_games.insert(rows.id(0), {rows.text(1), rows.code(2), rows.code(3)});
    return rows.done() || fail(rows, err);
}

bool HitReader::readAll(ErrObject *err)
{
    m_readAll = true;
    if (!readGameRows({}, {}, err))
        return false;
    // A common phrase's hits are spread over all the games, and finding each in the hash costs
    // two reads of memory that is seldom in the cache: a list by id costs one. Ids are given
    // one after another, so the list is about as long as the games are many.
    qint32 last = 0;
    for (auto game = m_games.cbegin(); game != m_games.cend(); ++game)
        last = std::max(last, game.key());
    if (last / 4 <= m_games.size()) {
        m_byId.resize(size_t(last) + 1);
        for (auto game = m_games.cbegin(); game != m_games.cend(); ++game) {
            if (game.key() > 0)
                m_byId[size_t(game.key())] = game.value();
        }
        m_games.clear();
    }
    return true;
}

} // namespace FileSearchParts
