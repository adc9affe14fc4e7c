#include "LeanFind.h"

#include "findindex/FindGrams.h"
#include "findindex/FindIndex.h"
#include "store/DirectRows.h"

#include <QFuture>
#include <QHash>
#include <QtConcurrent/QtConcurrentMap>

#include <cstring>
#include <limits>
#include <optional>

namespace {

using namespace FileSearchParts;

// Checks candidates against their packed fields a few hundred at a time on the worker threads,
// while the search reads the next ones; hands the hits over in the order they came, each first
// given to `complete` (when set), which may fill it in or drop it.
class CandidateCheck final
{
public:
    using Complete = std::function<bool(FindHit *hit, bool *keep)>;

    CandidateCheck(const FindRequest &request, std::shared_ptr<const FindDictionary> dictionary, HitBatcher *out,
                   Complete complete = {})
        : m_request(request), m_phrase(request.Phrase.toUtf8()), m_dictionary(std::move(dictionary)), m_out(out),
          m_complete(std::move(complete))
    {}
    ~CandidateCheck() { m_checked.waitForFinished(); }
    CandidateCheck(const CandidateCheck &) = delete;
    CandidateCheck &operator=(const CandidateCheck &) = delete;

    // False once the hits' receiver asked to stop, a text could not be unpacked, or `complete` failed.
    bool add(FindHit hit, QByteArray packed)
    {
        m_reading.append({std::move(hit), std::move(packed)});
        return m_reading.size() < chunk || handOver(false);
    }
    // The candidates left; false as add.
    bool finish() { return handOver(false) && handOver(true); }
    // The file whose text could not be unpacked; 0 when none.
    qint64 damagedId() const { return m_damagedId; }

private:
    static constexpr qsizetype chunk = 256;
    enum class State : char { Miss, Hit, Damaged };
    struct Candidate
    {
        FindHit hit;
        QByteArray packed;
        State state = State::Miss;
    };

    void check(Candidate *candidate) const
    {
        // An unpacker per thread, kept from one chunk to the next.
        thread_local std::unique_ptr<FindUnpacker> unpacker;
        thread_local std::string joined;
        if (!unpacker || !unpacker->Uses(m_dictionary))
            unpacker = std::make_unique<FindUnpacker>(m_dictionary);
        if (!unpacker->Unpack(candidate->packed)) {
            candidate->state = State::Damaged;
            return;
        }
        const std::string_view text = searched(m_request, *unpacker, &joined);
        candidate->state =
            memmem(text.data(), text.size(), m_phrase.constData(), size_t(m_phrase.size())) ? State::Hit : State::Miss;
        candidate->packed.clear();
    }

    // The chunk being checked is waited for and its hits handed over; then the chunk read last is
    // checked, in the background unless `last`.
    bool handOver(bool last)
    {
        m_checked.waitForFinished();
        for (Candidate &candidate : m_checking) {
            if (candidate.state == State::Damaged) {
                m_damagedId = candidate.hit.FileId;
                return false;
            }
            if (candidate.state != State::Hit)
                continue;
            bool keep = true;
            if (m_complete && !m_complete(&candidate.hit, &keep))
                return false;
            if (keep && !m_out->add(std::move(candidate.hit)))
                return false;
        }
        m_checking.clear();
        std::swap(m_checking, m_reading);
        if (m_checking.isEmpty())
            return true;
        const auto one = [this](Candidate &candidate) {
            check(&candidate);
        };
        if (last) {
            QtConcurrent::blockingMap(m_checking, one);
            return handOver(false);
        }
        m_checked = QtConcurrent::map(m_checking, one);
        return true;
    }

    const FindRequest &m_request;
    const QByteArray m_phrase;
    const std::shared_ptr<const FindDictionary> m_dictionary;
    HitBatcher *m_out;
    const Complete m_complete;
    QVector<Candidate> m_reading;
    QVector<Candidate> m_checking;
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

// Reads a lean search's rows straight from SQLite: a million hits would otherwise cost a variant
// for every column of every row. A game's name is made once and shared by all its hits.
class HitReader final
{
public:
    // The hit columns at `first` and after.
    FindHit hit(const DirectRows &rows, int first = 0)
    {
        FindHit hit;
        hit.FileId = rows.id(first);
        hit.GameId = rows.id(first + 1);
        hit.SubCat = rows.code(first + 2);
        hit.Desc = rows.text(first + 3);
        auto name = m_names.find(hit.GameId);
        if (name == m_names.end())
            name = m_names.insert(hit.GameId, rows.text(first + 4));
        hit.GameName = *name;
        hit.PlatformId = rows.code(first + 5);
        hit.GenreId = rows.code(first + 6);
        return hit;
    }

private:
    QHash<qint32, QString> m_names;
};

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

bool FileSearchParts::leanFind(const QSqlDatabase &db, const FindRequest &request, HitBatcher *out, ErrObject *err, qint64 *badId)
{
    std::shared_ptr<const FindDictionary> dictionary;
    if (!FindIndex::Dictionary(db, &dictionary, err))
        return false;
    const SearchCache cache(db);
    const QList<QByteArray> words = FindGrams::Phrase(request.Phrase);
    const bool decided = request.Desc && request.Src && request.Text && request.Criteria.GameId == 0 &&
                         FindGrams::Decides(request.Phrase);
    const QString file =
        FindIndex::HasHitIndex(db) ? QStringLiteral("file f INDEXED BY ") + FindIndex::HitIndex : QStringLiteral("file f");
    // The chosen categories (and game) apply to whichever statement reads the files.
    QVariantList criteriaValues;
    const QString criteria = criteriaTerms(request.Criteria, &criteriaValues);
    const auto withCriteria = [&criteria](QStringList where) {
        if (!criteria.isEmpty())
            where << criteria;
        return where;
    };
    QVariantList values;
    QString match;
    if (request.Criteria.GameId == 0 && !words.isEmpty()) {
        QStringList quoted;
        for (const QByteArray &word : words)
            quoted << QLatin1Char('"') + QString::fromLatin1(word) + QLatin1Char('"');
        match = quoted.join(QStringLiteral(" AND "));
    }
    HitReader reader;
    ErrObject lookupErr;
    CandidateCheck::Complete complete;
    std::unique_ptr<DirectRows> lookup;
    QString sql;
    if (match.isEmpty()) {
        // One game's files are few, and a phrase without a word has no candidates to narrow to:
        // every chosen file is checked. A game's files are found through the index on the game.
        values = criteriaValues;
        const QString files = request.Criteria.GameId != 0 ? QStringLiteral("file f") : file;
        sql = hitStatement(files + QStringLiteral(" CROSS JOIN find_plain i ON i.file_id = f.auto_id"), withCriteria({}),
                           QStringLiteral("f.auto_id"))
                  .replace(QStringLiteral(" FROM "), QStringLiteral(", i.fields FROM "));
    } else if (decided) {
        values = QVariantList{match} + criteriaValues;
        sql = hitStatement(QStringLiteral("find_text t CROSS JOIN ") + file + QStringLiteral(" ON f.auto_id = t.rowid"),
                           withCriteria({QStringLiteral("find_text MATCH ?")}), QStringLiteral("t.rowid"));
    } else {
        // Most candidates of a phrase the words do not decide are not hits: they are checked on
        // their packed fields first, and only a hit's file and game are read.
        values << match;
        sql = QStringLiteral("SELECT t.rowid, i.fields FROM find_text t CROSS JOIN find_plain i ON i.file_id = "
                             "t.rowid WHERE find_text MATCH ? ORDER BY t.rowid");
        lookup = std::make_unique<DirectRows>(
            db, hitStatement(file, withCriteria({QStringLiteral("f.auto_id = ?")}), QStringLiteral("f.auto_id")));
        complete = [&, lookupValues = QVariantList{0} + criteriaValues](FindHit *hit, bool *keep) mutable {
            lookupValues[0] = hit->FileId;
            *keep = lookup->run(lookupValues) && lookup->next();
            if (*keep)
                *hit = reader.hit(*lookup);
            else if (!lookup->done())
                lookupErr = lookup->error();
            return !lookupErr.isError();
        };
    }
    DirectRows rows(db, sql, values);
    if (!rows.isReady()) {
        *err = rows.error();
        return false;
    }
    if (decided)
        return eachRow(
            rows, [&] { return out->add(reader.hit(rows)); }, err, badId);
    CandidateCheck checks(request, dictionary, out, complete);
    bool going = true;
    const bool read = eachRow(
        rows,
        [&] {
            if (complete) {
                FindHit hit;
                hit.FileId = rows.id(0);
                going = checks.add(std::move(hit), rows.bytes(1));
            } else {
                going = checks.add(reader.hit(rows), rows.bytes(7));
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
