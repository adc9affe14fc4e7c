#include "LeanFind.h"

#include "findindex/FindGrams.h"
#include "findindex/FindIndex.h"
#include "findindex/FindPack.h"
#include "search/HitReader.h"
#include "store/DirectRows.h"

#include <QFuture>
#include <QtConcurrent/QtConcurrentMap>

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>

namespace {

using namespace FileSearchParts;

// The columns of a file that HitReader reads, of `from` (which names the file `f`), and `more`.
QString fileStatement(const QString &from, const QStringList &where, const QString &order, const QString &more = {})
{
    return selectStatement(QStringLiteral("f.auto_id, f.game_id, f.sub_cat, f.\"desc\"") + more, from, where, order);
}

// Checks candidates against their packed fields a few hundred at a time on the worker threads,
// while the search reads the next ones; hands the hits over in the order they came, each chunk's
// first given to `complete` (when set), which may fill them in or drop some, while the workers
// check the next chunk. With `complete`, a hit's description is taken from its fields, where the
// worker has it at hand.
class CandidateCheck final
{
public:
    using Complete = std::function<bool(QVector<FindHit> *hits)>;

    CandidateCheck(const FindRequest &request, std::shared_ptr<const FindDictionary> dictionary, HitBatcher *out,
                   Complete complete = {})
        : m_request(request),
          m_phrase(request.Phrase.toUtf8()),
          m_dictionary(std::move(dictionary)),
          m_out(out),
          m_complete(std::move(complete))
    {}
    ~CandidateCheck() { m_checked.waitForFinished(); }
    CandidateCheck(const CandidateCheck &) = delete;
    CandidateCheck &operator=(const CandidateCheck &) = delete;

    // False once the hits' receiver asked to stop, a text could not be unpacked, or `complete` failed.
    bool add(FindHit hit, QByteArrayView packed)
    {
        m_reading.append({std::move(hit), m_readingBytes.size(), packed.size()});
        m_readingBytes.append(packed);
        return m_reading.size() < chunk || handOver();
    }
    // The candidates left; false as add.
    bool finish()
    {
        while (!m_reading.isEmpty() || !m_checking.isEmpty()) {
            if (!handOver())
                return false;
        }
        return true;
    }
    // The file whose text could not be unpacked; 0 when none.
    qint64 damagedId() const { return m_damagedId; }

private:
    static constexpr qsizetype chunk = 256;
    enum class State : char { Miss, Hit, Damaged };
    // A chunk's packed fields are kept one after another in one buffer, used again by the chunk
    // after next: a buffer of their own each would cost a fresh allocation on the reading thread
    // and a free on a worker, which contend for the same lock.
    struct Candidate
    {
        FindHit hit;
        qsizetype at = 0;
        qsizetype size = 0;
        State state = State::Miss;
    };

    void check(Candidate *candidate) const
    {
        // An unpacker per thread, kept from one chunk to the next.
        thread_local std::unique_ptr<FindUnpacker> unpacker;
        thread_local std::string joined;
        if (!unpacker || !unpacker->Uses(m_dictionary))
            unpacker = std::make_unique<FindUnpacker>(m_dictionary);
        if (!unpacker->Unpack(QByteArrayView(m_checkingBytes).sliced(candidate->at, candidate->size))) {
            candidate->state = State::Damaged;
            return;
        }
        const std::string_view text = searched(m_request, *unpacker, &joined);
        candidate->state =
            memmem(text.data(), text.size(), m_phrase.constData(), size_t(m_phrase.size())) ? State::Hit : State::Miss;
        if (candidate->state == State::Hit && m_complete)
            candidate->hit.Desc = QString::fromUtf8(unpacker->Desc().data(), qsizetype(unpacker->Desc().size()));
    }

    // The chunk being checked is waited for and the chunk read last given to the workers; then the
    // checked chunk's hits are completed and handed over while they work.
    bool handOver()
    {
        m_checked.waitForFinished();
        m_hits.clear();
        for (Candidate &candidate : m_checking) {
            if (candidate.state == State::Damaged) {
                m_damagedId = candidate.hit.FileId;
                return false;
            }
            if (candidate.state == State::Hit)
                m_hits.append(std::move(candidate.hit));
        }
        m_checking.clear();
        m_checkingBytes.resize(0);
        std::swap(m_checking, m_reading);
        std::swap(m_checkingBytes, m_readingBytes);
        if (!m_checking.isEmpty())
            m_checked = QtConcurrent::map(m_checking, [this](Candidate &candidate) { check(&candidate); });
        if (m_hits.isEmpty())
            return true;
        if (m_complete && !m_complete(&m_hits))
            return false;
        for (FindHit &hit : m_hits) {
            if (!m_out->add(std::move(hit)))
                return false;
        }
        return true;
    }

    const FindRequest &m_request;
    const QByteArray m_phrase;
    const std::shared_ptr<const FindDictionary> m_dictionary;
    HitBatcher *m_out;
    const Complete m_complete;
    QVector<Candidate> m_reading;
    QByteArray m_readingBytes;
    QVector<Candidate> m_checking;
    QByteArray m_checkingBytes;
    QVector<FindHit> m_hits;
    QFuture<void> m_checked;
    qint64 m_damagedId = 0;
};

// A search reads many scattered pages; SQLite's own cache (2 MB unless told) would read many of
// them from the file more than once, so the search's connection keeps more while it runs.
class SearchCache final
{
public:
    explicit SearchCache(const QSqlDatabase &db) : m_db(db)
    {
        DirectRows size(db, QStringLiteral("PRAGMA cache_size"));
        if (size.next())
            m_size = size.id64(0);
        if (m_size && *m_size > -searchKb && *m_size * 4 < searchKb)
            DirectRows(db, QStringLiteral("PRAGMA cache_size = %1").arg(-searchKb)).next();
        else
            m_size.reset();
    }
    ~SearchCache()
    {
        if (m_size)
            DirectRows(m_db, QStringLiteral("PRAGMA cache_size = %1").arg(*m_size)).next();
    }
    Q_DISABLE_COPY_MOVE(SearchCache)

private:
    // Enough for the games a search looks up and the pages around the rows it reads; a bigger
    // cache costs more in fresh memory than it saves in reads.
    static constexpr qint64 searchKb = 8192;
    const QSqlDatabase m_db;
    std::optional<qint64> m_size;
};

// The words a search narrows the files by. A file that holds the phrase holds all its words, but
// reading the list of files of a common word costs more than the few candidates it rules out that
// rarer words do not; and a word that shares characters with another rules out little more than
// that one. So the rarest word is taken, then the next rarest that shares no character with those
// taken, up to three, and at least two when the phrase has two.
// A phrase's seams (none common) tell apart what its words cannot, which files hold its words side
// by side: the rarest of them is taken first, and after it only words at most eight times as
// common, since reading a longer list costs more than the candidates it could rule out.
// How rare a word is is told by the file it reaches its 200th file at (files are spread alike over
// the ids), which costs a page or two of its list, not all of it.
bool narrowingWords(const QSqlDatabase &db, const QList<FindGrams::Word> &words, const QList<FindGrams::Word> &seams,
                    QStringList *chosen, ErrObject *err)
{
    const auto quoted = [](const FindGrams::Word &word) -> QString {
        return QLatin1Char('"') + QString::fromLatin1(word.Text) + QLatin1Char('"');
    };
    if (seams.isEmpty() && words.size() <= 2) {
        for (const FindGrams::Word &word : words)
            *chosen << quoted(word);
        return true;
    }
    // A long phrase has rare words enough among its first ones.
    constexpr qsizetype probed = 64;
    constexpr int reach = 200;
    DirectRows last(db, QStringLiteral("SELECT max(file_id) FROM find_plain"));
    if (!last.next()) {
        *err = last.error();
        return false;
    }
    const double lastId = double(std::max<qint64>(last.id64(0), 1));
    DirectRows probe(db, QStringLiteral("SELECT count(*), max(rowid) FROM (SELECT rowid FROM find_text WHERE "
                                        "find_text MATCH ? ORDER BY rowid LIMIT %1)")
                             .arg(reach));
    // About how many files hold each of the first of `list`, rarest first.
    using Rarity = QList<std::pair<double, const FindGrams::Word *>>;
    const auto byRarity = [&](const QList<FindGrams::Word> &list, Rarity *rarity) {
        for (qsizetype i = 0; i < std::min(list.size(), probed); ++i) {
            if (!probe.run({QVariant(quoted(list[i]))}) || !probe.next()) {
                *err = probe.error();
                return false;
            }
            const qint64 files = probe.id64(0);
            rarity->append({files < reach ? double(files) : reach * lastId / double(probe.id64(1)), &list[i]});
        }
        std::sort(rarity->begin(), rarity->end());
        return true;
    };
    Rarity rarity;
    if (!byRarity(words, &rarity))
        return false;
    QList<const FindGrams::Word *> taken;
    const auto take = [&taken](const FindGrams::Word *word) {
        if (taken.size() < 3 && std::none_of(taken.cbegin(), taken.cend(),
                                             [word](const FindGrams::Word *other) { return word->Overlaps(*other); }))
            taken << word;
    };
    Rarity rareSeams;
    if (!byRarity(seams, &rareSeams))
        return false;
    if (rareSeams.isEmpty()) {
        for (const auto &[files, word] : std::as_const(rarity))
            take(word);
        if (taken.size() == 1)
            taken << rarity[1].second;
    } else {
        const double most = 8 * rareSeams.constFirst().first;
        rarity += rareSeams;
        std::sort(rarity.begin(), rarity.end());
        take(rareSeams.constFirst().second);
        for (const auto &[files, word] : std::as_const(rarity)) {
            if (files <= most)
                take(word);
        }
    }
    for (const FindGrams::Word *word : std::as_const(taken))
        *chosen << quoted(*word);
    return true;
}

// Steps through `rows` while `row` returns true, each row's id (column 0) checked first: one out of
// range is given in `badId` and ends the read. False only when the read failed (`err`).
bool eachRow(DirectRows &rows, const std::function<bool()> &row, ErrObject *err, qint64 *badId)
{
    while (rows.next()) {
        const qint64 id = rows.id64(0);
        if (id > std::numeric_limits<qint32>::max() || id < 0) {
            *badId = id;
            return true;
        }
        if (!row())
            return true;
    }
    if (rows.done())
        return true;
    *err = rows.error();
    return false;
}

} // namespace

bool FileSearchParts::leanFind(const QSqlDatabase &db, const FindRequest &request, HitBatcher *out, ErrObject *err,
                               qint64 *badId)
{
    std::shared_ptr<const FindDictionary> dictionary;
    if (!FindIndex::Dictionary(db, &dictionary, err))
        return false;
    const SearchCache cache(db);
    const QList<FindGrams::Word> words = FindGrams::Phrase(request.Phrase);
    const bool decided = request.Desc && request.Src && request.Text && request.Criteria.GameId == 0 &&
                         FindGrams::Decides(request.Phrase);
    const QString file = FindIndex::HasHitIndex(db) ? QStringLiteral("file f INDEXED BY ") + FindIndex::HitIndex
                                                    : QStringLiteral("file f");
    // The chosen categories (and game) apply to whichever statement reads the files.
    QVariantList criteriaValues;
    const QString criteria = criteriaTerms(request.Criteria, &criteriaValues);
    const auto withCriteria = [&criteria](QStringList where) {
        if (!criteria.isEmpty())
            where << criteria;
        return where;
    };
    const QList<FindGrams::Word> seams =
        !decided && FindIndex::HasSeams(db)
            ? FindGrams::PhraseSeams(request.Phrase, dictionary ? dictionary->CommonSeams() : nullptr)
            : QList<FindGrams::Word>();
    QVariantList values;
    QString match;
    if (request.Criteria.GameId == 0 && (!words.isEmpty() || !seams.isEmpty())) {
        QStringList chosen;
        if (!narrowingWords(db, words, seams, &chosen, err))
            return false;
        match = chosen.join(QStringLiteral(" AND "));
    }
    HitReader reader(db);
    ErrObject lookupErr;
    CandidateCheck::Complete complete;
    std::unique_ptr<DirectRows> lookup;
    QString sql;
    if (match.isEmpty()) {
        // One game's files are few, and a phrase without a word has no candidates to narrow to:
        // every chosen file is checked. A game's files are found through the index on the game.
        values = criteriaValues;
        const QString files = request.Criteria.GameId != 0 ? QStringLiteral("file f") : file;
        sql = fileStatement(files + QStringLiteral(" CROSS JOIN find_plain i ON i.file_id = f.auto_id"),
                            withCriteria({}), QStringLiteral("f.auto_id"), QStringLiteral(", i.fields"));
    } else if (decided) {
        // The files that hold the phrase, whose rows are read beside them (below).
        values = QVariantList{match};
        sql = QStringLiteral("SELECT rowid FROM find_text WHERE find_text MATCH ? ORDER BY rowid");
    } else {
        // Most candidates of a phrase the words do not decide are not hits: they are checked on
        // their packed fields first. A hit is listed with the game and category kept beside them,
        // and the description within them; only a file indexed by an earlier Lorekeep, which kept
        // neither, is looked up, and its category checked then.
        values << match;
        QStringList where = {QStringLiteral("find_text MATCH ?")};
        const bool hitColumns = FindIndex::HasHitColumns(db);
        if (hitColumns) {
            const QString kept = criteriaTerms(request.Criteria, &values, QStringLiteral("i"));
            if (!kept.isEmpty())
                where << QStringLiteral("(i.game_id IS NULL OR ") + kept + QLatin1Char(')');
        }
        sql = selectStatement(QStringLiteral("t.rowid, ") +
                                  (hitColumns ? QStringLiteral("i.game_id, i.sub_cat") : QStringLiteral("NULL, NULL")) +
                                  QStringLiteral(", i.fields"),
                              QStringLiteral("find_text t CROSS JOIN find_plain i ON i.file_id = t.rowid"), where,
                              QStringLiteral("t.rowid"));
        lookup = std::make_unique<DirectRows>(
            db, fileStatement(file, withCriteria({QStringLiteral("f.auto_id = ?")}), QStringLiteral("f.auto_id")));
        complete = [&, lookupValues = QVariantList{0} + criteriaValues](QVector<FindHit> *hits) mutable {
            if (!reader.readGames(*hits, &lookupErr))
                return false;
            qsizetype kept = 0;
            for (qsizetype i = 0; i < hits->size(); ++i) {
                FindHit &hit = (*hits)[i];
                // No game is 0: a file whose game is gone still names the game it had.
                if (hit.GameId != 0) {
                    if (!reader.game(&hit, &lookupErr))
                        return false;
                } else {
                    lookupValues[0] = hit.FileId;
                    if (!lookup->run(lookupValues) || !lookup->next()) {
                        if (!lookup->done())
                            lookupErr = lookup->error();
                        if (lookupErr.isError())
                            return false;
                        continue;
                    }
                    if (!reader.hit(*lookup, &hit, &lookupErr))
                        return false;
                }
                if (kept != i)
                    (*hits)[kept] = std::move(hit);
                ++kept;
            }
            hits->resize(kept);
            return true;
        };
    }
    DirectRows rows(db, sql, values);
    if (!rows.isReady()) {
        *err = rows.error();
        return false;
    }
    // Whether the hit read from `rows` is handed on; false for a game that could not be read.
    const auto readHit = [&](FindHit *hit) {
        if (reader.hit(rows, hit, &lookupErr))
            return true;
        *err = lookupErr;
        return false;
    };
    if (decided) {
        // Every file the index gives is a hit, unless the criteria leave it out. The files' rows
        // are read alongside, both in order of id: a common phrase is in most files, and stepping
        // on to the next row costs a fraction of finding each from the top of the table's index.
        // Where the next hit is further on than a few rows, it is found from the top.
        constexpr int stepsBeforeSeek = 8;
        QVariantList fileValues = QVariantList{0} + criteriaValues;
        DirectRows files(db, fileStatement(file, withCriteria({QStringLiteral("f.auto_id >= ?")}),
                                           QStringLiteral("f.auto_id")));
        if (!files.isReady()) {
            *err = files.error();
            return false;
        }
        // The id of the row `files` is on; -1 before the first.
        qint64 at = -1;
        bool filesEnded = false;
        bool filesFailed = false;
        const auto stepFiles = [&] {
            if (files.next()) {
                at = files.id64(0);
                return;
            }
            filesEnded = true;
            if (!files.done()) {
                filesFailed = true;
                *err = files.error();
            }
        };
        // Their games are filled in a few hundred at a time.
        constexpr qsizetype chunk = 256;
        QVector<FindHit> hits;
        bool going = true;
        const auto handOver = [&] {
            if (!reader.games(&hits, &lookupErr)) {
                *err = lookupErr;
                return going = false;
            }
            for (FindHit &hit : hits) {
                if (!(going = out->add(std::move(hit))))
                    break;
            }
            hits.clear();
            return going;
        };
        const bool read = eachRow(
            rows,
            [&] {
                const qint32 id = rows.id(0);
                for (int steps = 0; at >= 0 && at < id && steps < stepsBeforeSeek && !filesEnded; ++steps)
                    stepFiles();
                if (at < id && !filesEnded) {
                    fileValues[0] = id;
                    if (!files.run(fileValues)) {
                        *err = files.error();
                        filesFailed = true;
                        return false;
                    }
                    stepFiles();
                }
                // No file is left at or past this one.
                if (filesEnded)
                    return false;
                if (at != id)
                    return true;
                FindHit &hit = hits.emplace_back();
                hit.FileId = id;
                hit.GameId = files.id(1);
                hit.SubCat = files.code(2);
                hit.Desc = files.text(3);
                return hits.size() < chunk || handOver();
            },
            err, badId);
        if (filesFailed)
            return false;
        if (read && going)
            handOver();
        return read && !lookupErr.isError();
    }
    CandidateCheck checks(request, dictionary, out, complete);
    bool going = true;
    const bool read = eachRow(
        rows,
        [&] {
            if (complete) {
                FindHit hit;
                hit.FileId = rows.id(0);
                hit.GameId = rows.id(1);
                hit.SubCat = rows.code(2);
                going = checks.add(std::move(hit), rows.bytesView(3));
            } else {
                FindHit hit;
                going = readHit(&hit) && checks.add(std::move(hit), rows.bytesView(4));
            }
            return going;
        },
        err, badId);
    if (!read)
        return false;
    if (going && *badId == 0)
        checks.finish();
    if (checks.damagedId() != 0) {
        *err = FindIndex::UnreadableText(db, checks.damagedId());
        return false;
    }
    if (lookupErr.isError()) {
        *err = lookupErr;
        return false;
    }
    return true;
}
