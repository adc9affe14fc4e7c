#include "LeanFind.h"

#include "findindex/FindGrams.h"
#include "findindex/FindIndex.h"
#include "findindex/FindPack.h"
#include "findindex/FindPostings.h"
#include "search/HitReader.h"
#include "search/IndexRows.h"
#include "store/DirectRows.h"
#include "store/StoreError.h"

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
// How rare a word is is told by its files in a few parts of the store, not all of them. The words
// are given rarest first, as the parts are best read.
bool narrowingWords(FindPostings::Rows *postings, const std::vector<qint64> &parts, const QList<FindGrams::Word> &words,
                    const QList<FindGrams::Word> &seams, std::vector<quint64> *chosen)
{
    // A long phrase has rare words enough among its first ones.
    constexpr qsizetype probed = 64;
    // About how many files hold each of the first of `list`, rarest first.
    using Rarity = QList<std::pair<double, const FindGrams::Word *>>;
    const auto byRarity = [&](const QList<FindGrams::Word> &list, Rarity *rarity) {
        for (qsizetype i = 0; i < std::min(list.size(), probed); ++i) {
            double files = 0;
            if (!FindPostings::Estimate(postings, list[i].Key, parts, &files))
                return false;
            rarity->append({files, &list[i]});
        }
        std::stable_sort(rarity->begin(), rarity->end(),
                         [](const auto &a, const auto &b) { return a.first < b.first; });
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
        if (taken.size() == 1 && rarity.size() > 1)
            taken << rarity[1].second;
    } else {
        const double most = 8 * std::max(rareSeams.constFirst().first, 1.0);
        rarity += rareSeams;
        std::stable_sort(rarity.begin(), rarity.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
        take(rareSeams.constFirst().second);
        for (const auto &[files, word] : std::as_const(rarity)) {
            if (files <= most)
                take(word);
        }
    }
    for (const FindGrams::Word *word : std::as_const(taken))
        chosen->push_back(word->Key);
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
    const ReadSnapshot snapshot(SqliteHandle(db));
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
    FindPostings::Rows postings(SqliteHandle(db));
    const auto postingsFailed = [&] {
        *err = StoreError::fromSql(postings.Error(), db);
        return false;
    };
    std::vector<qint64> parts;
    std::vector<quint64> keys;
    if (request.Criteria.GameId == 0 && (!words.isEmpty() || !seams.isEmpty())) {
        if (!postings.Parts(&parts) || !narrowingWords(&postings, parts, words, seams, &keys))
            return postingsFailed();
    }
    // A hit's id is checked first: one out of range is given in `badId` and ends the read.
    const auto inRange = [badId](qint64 id) {
        if (id <= std::numeric_limits<qint32>::max() && id >= 0)
            return true;
        *badId = id;
        return false;
    };
    HitReader reader(db);
    ErrObject lookupErr;
    // The candidates left once every one was handed to `checks`, unless the read was stopped
    // (`going` false) or ended at an id out of range; then why the search failed, if it did.
    const auto endChecks = [&](CandidateCheck *checks, bool going) {
        if (going && *badId == 0 && !lookupErr.isError())
            checks->finish();
        if (checks->damagedId() != 0)
            lookupErr = FindIndex::UnreadableText(db, checks->damagedId());
        if (!lookupErr.isError())
            return true;
        *err = lookupErr;
        return false;
    };
    if (keys.empty()) {
        // One game's files are few, and a phrase without a word has no candidates to narrow to:
        // every chosen file is checked. A game's files are found through the index on the game.
        const QString files = request.Criteria.GameId != 0 ? QStringLiteral("file f") : file;
        DirectRows rows(db,
                        fileStatement(files + QStringLiteral(" CROSS JOIN find_plain i ON i.file_id = f.auto_id"),
                                      withCriteria({}), QStringLiteral("f.auto_id"), QStringLiteral(", i.fields")),
                        criteriaValues);
        if (!rows.isReady()) {
            *err = rows.error();
            return false;
        }
        CandidateCheck checks(request, dictionary, out);
        bool going = true;
        const bool read = eachRow(
            rows,
            [&] {
                FindHit hit;
                if (!reader.hit(rows, &hit, &lookupErr))
                    return going = false;
                return going = checks.add(std::move(hit), rows.bytesView(4));
            },
            err, badId);
        return read && endChecks(&checks, going);
    }
    if (decided) {
        // Every file the index gives is a hit, unless the criteria leave it out; the files' rows
        // are read beside them, and their games filled in a few hundred at a time.
        RowsBeside files(db,
                         fileStatement(file, withCriteria({QStringLiteral("f.auto_id >= ?")}),
                                       QStringLiteral("f.auto_id")),
                         QVariantList{0} + criteriaValues);
        if (!files.isReady()) {
            *err = files.error();
            return false;
        }
        constexpr qsizetype chunk = 256;
        QVector<FindHit> hits;
        bool going = true;
        const auto handOver = [&] {
            if (!reader.games(&hits, &lookupErr))
                return going = false;
            for (FindHit &hit : hits) {
                if (!(going = out->add(std::move(hit))))
                    break;
            }
            hits.clear();
            return going;
        };
        bool filesFailed = false;
        if (!FindPostings::ForEachFile(&postings, keys, parts, [&](qint64 id) {
                if (!inRange(id))
                    return false;
                switch (files.seek(id)) {
                case RowsBeside::At::Failed:
                    filesFailed = true;
                    return false;
                case RowsBeside::At::Ended:
                    return false;
                case RowsBeside::At::Missing:
                    return true;
                case RowsBeside::At::Found:
                    break;
                }
                DirectRows &row = files.row();
                FindHit &hit = hits.emplace_back();
                hit.FileId = qint32(id);
                hit.GameId = row.id(1);
                hit.SubCat = row.code(2);
                hit.Desc = row.text(3);
                return hits.size() < chunk || handOver();
            }))
            return postingsFailed();
        if (filesFailed) {
            *err = files.error();
            return false;
        }
        if (going && *badId == 0)
            handOver();
        if (lookupErr.isError()) {
            *err = lookupErr;
            return false;
        }
        return true;
    }
    // Most candidates of a phrase the words do not decide are not hits: they are checked on their
    // packed fields first, read beside them. A hit is listed with the game and category kept beside
    // them, and the description within them; only a file indexed by an earlier Lorekeep, which kept
    // neither, is looked up, and its category checked then.
    QVariantList plainValues;
    QStringList where;
    const bool hitColumns = FindIndex::HasHitColumns(db);
    if (hitColumns) {
        const QString kept = criteriaTerms(request.Criteria, &plainValues, QStringLiteral("i"));
        if (!kept.isEmpty())
            where << QStringLiteral("(i.game_id IS NULL OR ") + kept + QLatin1Char(')');
    }
    DirectRows lookup(db,
                      fileStatement(file, withCriteria({QStringLiteral("f.auto_id = ?")}), QStringLiteral("f.auto_id")));
    if (!lookup.isReady()) {
        *err = lookup.error();
        return false;
    }
    const auto complete = [&, lookupValues = QVariantList{0} + criteriaValues](QVector<FindHit> *hits) mutable {
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
                if (!lookup.run(lookupValues) || !lookup.next()) {
                    if (!lookup.done())
                        lookupErr = lookup.error();
                    if (lookupErr.isError())
                        return false;
                    continue;
                }
                if (!reader.hit(lookup, &hit, &lookupErr))
                    return false;
            }
            if (kept != i)
                (*hits)[kept] = std::move(hit);
            ++kept;
        }
        hits->resize(kept);
        return true;
    };
    CandidateCheck checks(request, dictionary, out, complete);
    bool going = true;
    CandidateRows plain(
        db,
        QStringLiteral("i.file_id, ") +
            (hitColumns ? QStringLiteral("i.game_id, i.sub_cat") : QStringLiteral("NULL, NULL")) +
            QStringLiteral(", i.fields"),
        QStringLiteral("find_plain i"), where, plainValues, [&](DirectRows &row) {
            FindHit hit;
            hit.FileId = row.id(0);
            hit.GameId = row.id(1);
            hit.SubCat = row.code(2);
            return going = checks.add(std::move(hit), row.bytesView(3));
        });
    if (!plain.isReady()) {
        *err = plain.error();
        return false;
    }
    if (!FindPostings::ForEachFile(&postings, keys, parts,
                                   [&](qint64 id) { return inRange(id) && plain.add(id); }))
        return postingsFailed();
    if (going && *badId == 0 && !plain.failed())
        plain.flush();
    if (plain.failed()) {
        *err = plain.error();
        return false;
    }
    return endChecks(&checks, going);
}
