#include "FileSearch.h"

#include "GameIndex.h"
#include "findindex/FindGrams.h"
#include "findindex/FindIndex.h"
#include "findindex/FindPack.h"
#include "rtf/RtfReader.h"
#include "store/StoreAddress.h"
#include "store/StoreError.h"
#include "store/StoreQuery.h"

#include <QElapsedTimer>
#include <QFuture>
#include <QLoggingCategory>
#include <QtConcurrent/QtConcurrentMap>

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>

Q_DECLARE_LOGGING_CATEGORY(lcStore)

namespace {

// The criteria as SQL on table `file` under the name `f`, bracketed so that " Or " stays inside;
// their values are appended to `values`.
QString criteriaTerms(const FileCriteria &criteria, QVariantList *values)
{
    const QString conditions = FileTable::FindConditions(criteria, QStringLiteral("f"), values);
    return conditions.isEmpty() ? conditions : QLatin1Char('(') + conditions + QLatin1Char(')');
}

// The chosen fields of the index's row `t`, joined by one blank, as SQL.
QString joinedColumns(const FindRequest &request)
{
    QStringList columns;
    if (request.Desc)
        columns << QStringLiteral("t.\"desc\"");
    if (request.Src)
        columns << QStringLiteral("t.src");
    if (request.Text)
        columns << QStringLiteral("t.body");
    return columns.join(QStringLiteral(" || ' ' || "));
}

// The same candidates on a shared library: each run of the phrase of three characters or more (a
// run lies inside one field) is somewhere in the row's fields, which PostgreSQL's trigram index
// over the joined fields answers. Its values go to `values`; empty when no run is long enough.
QStringList runTerms(const QString &phrase, QVariantList *values)
{
    // The longest runs make a candidate rarest; a few are enough.
    constexpr int maxRuns = 8;
    QStringList runs;
    for (const QString &run : phrase.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        if (run.toUcs4().size() >= 3 && !runs.contains(run))
            runs << run;
    }
    std::stable_sort(runs.begin(), runs.end(), [](const QString &a, const QString &b) { return a.size() > b.size(); });
    QStringList terms;
    for (QString run : runs.mid(0, maxRuns)) {
        run.replace(QLatin1Char('\\'), QStringLiteral("\\\\"))
            .replace(QLatin1Char('%'), QStringLiteral("\\%"))
            .replace(QLatin1Char('_'), QStringLiteral("\\_"));
        terms << QStringLiteral("(t.\"desc\" || ' ' || t.src || ' ' || t.body) LIKE ?");
        values->append(QString(QLatin1Char('%') + run + QLatin1Char('%')));
    }
    return terms;
}

FindHit hitOf(const StoreQuery &query)
{
    FindHit hit;
    hit.FileId = query.value(0).toInt();
    hit.GameId = query.value(1).toInt();
    hit.SubCat = quint8(query.value(2).toUInt());
    hit.Desc = query.value(3).toString();
    hit.GameName = query.value(4).toString();
    hit.PlatformId = quint8(query.value(5).toUInt());
    hit.GenreId = quint8(query.value(6).toUInt());
    return hit;
}

const QString hitColumns =
    QStringLiteral("f.auto_id, f.game_id, f.sub_cat, f.\"desc\", g.name, g.platform_id, g.genre_id");

// Ids are 32-bit in the program; a row given a larger one by hand would be misread as another file.
ErrObject idOutOfRange(const QSqlDatabase &db, qint64 id)
{
    return {ErrNumber::StoreFailed,
            QStringLiteral("The store \"%1\" has a file with the id %2, beyond the ids Lorekeep "
                           "can use (up to %3), so it cannot be searched.")
                .arg(StoreError::storePath(db))
                .arg(id)
                .arg(std::numeric_limits<qint32>::max())};
}

// Hands the hits over in batches: the first hundred at once, so the list fills as soon as the
// user looks, then batches that grow, so a long list costs few calls; a slow search hands over what
// it has every tenth of a second.
class HitBatcher final
{
public:
    explicit HitBatcher(const FileSearch::Found &found) : m_found(found) { m_clock.start(); }

    // False once the receiver asked to stop.
    bool add(const FindHit &hit)
    {
        m_batch.append(hit);
        m_lastId = hit.FileId;
        return (m_batch.size() < m_limit && m_clock.elapsed() < 100) || flush();
    }
    bool flush()
    {
        if (m_batch.isEmpty() || m_stopped)
            return !m_stopped;
        m_stopped = !m_found(m_batch);
        m_batch.clear();
        m_limit = std::min(m_limit * 4, 8192);
        m_clock.restart();
        return !m_stopped;
    }
    bool stopped() const { return m_stopped; }
    // The last file handed over or waiting to be; 0 before the first.
    qint32 lastId() const { return m_lastId; }

private:
    const FileSearch::Found &m_found;
    QVector<FindHit> m_batch;
    int m_limit = 100;
    bool m_stopped = false;
    qint32 m_lastId = 0;
    QElapsedTimer m_clock;
};

// Reads the hits of `sql` (the hit columns first), each offered to `accept` before it is handed over.
bool readHits(const QSqlDatabase &db, const QString &sql, const QVariantList &values,
              const std::function<bool(const StoreQuery &, bool *keep)> &accept, HitBatcher *out, ErrObject *err,
              qint64 *badId)
{
    StoreQuery query(db);
    return query.run(sql, values, err) && query.forEachRowWhile(
                                              [&] {
                                                  const qint64 id = query.value(0).toLongLong();
                                                  if (id > std::numeric_limits<qint32>::max() || id < 0) {
                                                      *badId = id;
                                                      return false;
                                                  }
                                                  bool keep = true;
                                                  if (!accept(query, &keep))
                                                      return false;
                                                  return !keep || out->add(hitOf(query));
                                              },
                                              err);
}

QString hitStatement(const QString &from, const QStringList &where, const QString &order)
{
    return QStringLiteral("SELECT ") + hitColumns + QStringLiteral(" FROM ") + from +
           QStringLiteral(" LEFT JOIN game g ON g.auto_id = f.game_id") +
           (where.isEmpty() ? QString() : QStringLiteral(" WHERE ") + where.join(QStringLiteral(" AND "))) +
           QStringLiteral(" ORDER BY ") + order;
}

// A shared library: the trigram index narrows the rows, the server checks them.
bool sharedFind(const QSqlDatabase &db, const FindRequest &request, HitBatcher *out, ErrObject *err, qint64 *badId)
{
    QVariantList values;
    QStringList where;
    if (request.Criteria.GameId == 0)
        where = runTerms(request.Phrase, &values);
    where << QStringLiteral("strpos(") + joinedColumns(request) + QStringLiteral(", ?) > 0");
    values << request.Phrase;
    const QString terms = criteriaTerms(request.Criteria, &values);
    if (!terms.isEmpty())
        where << terms;
    const QString sql = hitStatement(QStringLiteral("find_text t JOIN file f ON f.auto_id = t.file_id"), where,
                                     QStringLiteral("f.auto_id"));
    return readHits(
        db, sql, values, [](const StoreQuery &, bool *) { return true; }, out, err, badId);
}

// The text a request searches in a file's unpacked fields: all three joined as kept, or the chosen
// ones joined in `joined`.
std::string_view searched(const FindRequest &request, const FindUnpacker &fields, std::string *joined)
{
    if (request.Desc && request.Src && request.Text)
        return fields.All();
    joined->clear();
    bool first = true;
    for (const auto &[chosen, part] : {std::pair{request.Desc, fields.Desc()}, std::pair{request.Src, fields.Src()},
                                       std::pair{request.Text, fields.Body()}}) {
        if (!chosen)
            continue;
        if (!first)
            joined->push_back(' ');
        first = false;
        joined->append(part);
    }
    return *joined;
}

// How often `phrase` occurs in `text`, without overlapping; both UTF-8.
int occurrences(std::string_view text, const QByteArray &phrase)
{
    const std::string_view what(phrase.constData(), size_t(phrase.size()));
    int count = 0;
    for (size_t at = text.find(what); !what.empty() && at != std::string_view::npos;
         at = text.find(what, at + what.size()))
        ++count;
    return count;
}

// Checks candidates against their packed fields a few hundred at a time on the worker threads,
// while the search reads the next ones; hands the hits over in the order they came.
class CandidateCheck final
{
public:
    CandidateCheck(const FindRequest &request, std::shared_ptr<const FindDictionary> dictionary, HitBatcher *out)
        : m_request(request), m_phrase(request.Phrase.toUtf8()), m_dictionary(std::move(dictionary)), m_out(out)
    {}
    ~CandidateCheck() { m_checked.waitForFinished(); }
    CandidateCheck(const CandidateCheck &) = delete;
    CandidateCheck &operator=(const CandidateCheck &) = delete;

    // False once the hits' receiver asked to stop, or a text could not be unpacked.
    bool add(const FindHit &hit, const QByteArray &packed)
    {
        m_reading.append({hit, packed});
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
        for (const Candidate &candidate : std::as_const(m_checking)) {
            if (candidate.state == State::Damaged) {
                m_damagedId = candidate.hit.FileId;
                return false;
            }
            if (candidate.state == State::Hit && !m_out->add(candidate.hit))
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
    QVector<Candidate> m_reading;
    QVector<Candidate> m_checking;
    QFuture<void> m_checked;
    qint64 m_damagedId = 0;
};

// A store file: the index's words narrow the files to those holding every word of the phrase;
// each is then checked against its packed fields, unless the words alone decide.
bool leanFind(const QSqlDatabase &db, const FindRequest &request, HitBatcher *out, ErrObject *err, qint64 *badId)
{
    std::shared_ptr<const FindDictionary> dictionary;
    if (!FindIndex::Dictionary(db, &dictionary, err))
        return false;
    const QList<QByteArray> words = FindGrams::Phrase(request.Phrase);
    const bool decided = request.Desc && request.Src && request.Text && request.Criteria.GameId == 0 &&
                         FindGrams::Decides(request.Phrase);
    QVariantList values;
    QStringList where;
    QString from, order;
    if (request.Criteria.GameId != 0 || words.isEmpty()) {
        // One game's files are few, and a phrase without a word has no candidates to narrow to:
        // every chosen file is checked.
        from = QStringLiteral("file f CROSS JOIN find_plain i ON i.file_id = f.auto_id");
        order = QStringLiteral("f.auto_id");
    } else {
        from = QStringLiteral("find_text t CROSS JOIN file f ON f.auto_id = t.rowid");
        if (!decided)
            from += QStringLiteral(" CROSS JOIN find_plain i ON i.file_id = t.rowid");
        QStringList quoted;
        for (const QByteArray &word : words)
            quoted << QLatin1Char('"') + QString::fromLatin1(word) + QLatin1Char('"');
        where << QStringLiteral("find_text MATCH ?");
        values << quoted.join(QStringLiteral(" AND "));
        order = QStringLiteral("t.rowid");
    }
    const QString terms = criteriaTerms(request.Criteria, &values);
    if (!terms.isEmpty())
        where << terms;
    QString sql = hitStatement(from, where, order);
    if (decided)
        return readHits(
            db, sql, values, [](const StoreQuery &, bool *) { return true; }, out, err, badId);
    sql.replace(QStringLiteral(" FROM "), QStringLiteral(", i.fields FROM "));
    CandidateCheck checks(request, dictionary, out);
    bool going = true;
    const auto check = [&](const StoreQuery &row, bool *keep) {
        *keep = false;
        going = checks.add(hitOf(row), row.value(7).toByteArray());
        return going;
    };
    if (!readHits(db, sql, values, check, out, err, badId))
        return false;
    if (going && *badId == 0)
        checks.finish();
    if (checks.damagedId() == 0)
        return true;
    *err = FindIndex::UnreadableText(db, checks.damagedId());
    return false;
}

} // namespace

bool FileSearch::CountRows(const QSqlDatabase &db, const FileCriteria &criteria, qint64 *count, ErrObject *err)
{
    QVariantList values;
    const QString terms = criteriaTerms(criteria, &values);
    StoreQuery query(db);
    bool found = false;
    if (!query.run(QStringLiteral("SELECT count(*) FROM file f") +
                       (terms.isEmpty() ? QString() : QStringLiteral(" WHERE ") + terms),
                   values, err) ||
        !query.firstRow(&found, err))
        return false;
    *count = found ? query.value(0).toLongLong() : 0;
    return true;
}

QString FileSearch::SearchedText(const FindRequest &request, const FileRow &row)
{
    QStringList fields;
    if (request.Desc)
        fields << row.desc;
    if (request.Src)
        fields << row.src;
    if (request.Text)
        fields << RtfReader::PlainText(RtfReader::FromStoredText(row.txt_rtf));
    return fields.join(QLatin1Char(' '));
}

int FileSearch::Occurrences(QStringView text, QStringView phrase)
{
    if (phrase.isEmpty())
        return 0;
    int count = 0;
    for (qsizetype at = text.indexOf(phrase); at >= 0; at = text.indexOf(phrase, at + phrase.size()))
        ++count;
    return count;
}

bool FileSearch::Occurrences(const QSqlDatabase &db, const FindRequest &request, const QList<qint32> &fileIds,
                             QHash<qint32, int> *counts, ErrObject *err)
{
    counts->clear();
    if (fileIds.isEmpty() || !(request.Desc || request.Src || request.Text))
        return true;
    // The index holds each file's plain text; without it the rows are read and made plain here.
    const bool indexed = FindIndex::Available(db);
    if (indexed && !FindIndex::Update(db, -1, nullptr, err))
        return false;
    const bool shared = StoreAddress::IsShared(db);
    std::shared_ptr<const FindDictionary> dictionary;
    if (indexed && !shared && !FindIndex::Dictionary(db, &dictionary, err))
        return false;
    FindUnpacker fields(dictionary);
    std::string joined;
    const QByteArray phrase = request.Phrase.toUtf8();
    QString select = QStringLiteral("SELECT auto_id, \"desc\", src, txt_rtf FROM file WHERE auto_id IN (");
    if (indexed)
        select = shared ? QStringLiteral("SELECT t.file_id, ") + joinedColumns(request) +
                              QStringLiteral(" FROM find_text t WHERE t.file_id IN (")
                        : QStringLiteral("SELECT file_id, fields FROM find_plain WHERE file_id IN (");
    // A statement takes a limited number of values: the ids go in slices.
    constexpr qsizetype slice = 500;
    for (qsizetype first = 0; first < fileIds.size(); first += slice) {
        const QList<qint32> ids = fileIds.mid(first, slice);
        QVariantList values;
        for (const qint32 id : ids)
            values << id;
        QString marks = QStringLiteral("?,").repeated(ids.size());
        marks.chop(1);
        StoreQuery query(db);
        ErrObject damaged;
        const auto count = [&] {
            if (indexed && !shared) {
                if (!fields.Unpack(query.value(1).toByteArray())) {
                    damaged = FindIndex::UnreadableText(db, query.id(0));
                    return false;
                }
                counts->insert(query.id(0), occurrences(searched(request, fields, &joined), phrase));
                return true;
            }
            QString text;
            if (indexed) {
                text = query.text(1);
            } else {
                FileRow row;
                row.desc = query.text(1);
                row.src = query.text(2);
                row.txt_rtf = query.text(3);
                text = SearchedText(request, row);
            }
            counts->insert(query.id(0), Occurrences(text, request.Phrase));
            return true;
        };
        if (!query.run(select + marks + QLatin1Char(')'), values, err) || !query.forEachRowWhile(count, err))
            return false;
        if (damaged.isError()) {
            *err = damaged;
            return false;
        }
    }
    return true;
}

bool FileSearch::Scan(const QSqlDatabase &db, const FindRequest &request, QVector<FindHit> *hits, ErrObject *err)
{
    hits->clear();
    if (request.Phrase.isEmpty() || !(request.Desc || request.Src || request.Text))
        return true;
    QVector<IndexedGame> games;
    if (!GameIndex::Read(db, &games, err))
        return false;
    QHash<qint32, const IndexedGame *> gameById;
    for (const IndexedGame &game : std::as_const(games))
        gameById.insert(game.auto_id, &game);
    // Every row of the search statement, each searched by the rule.
    const bool read = FileTable::Find(
        db, request.Criteria,
        [&](const FileRow &row) {
            if (!SearchedText(request, row).contains(request.Phrase, Qt::CaseSensitive))
                return true;
            FindHit hit;
            hit.FileId = row.auto_id;
            hit.GameId = row.game_id;
            hit.SubCat = row.sub_cat;
            hit.Desc = row.desc;
            if (const IndexedGame *game = gameById.value(row.game_id)) {
                hit.GameName = game->name;
                hit.PlatformId = game->platform_id;
                hit.GenreId = game->genre_id;
            }
            hits->append(hit);
            return true;
        },
        err);
    std::sort(hits->begin(), hits->end(), [](const FindHit &a, const FindHit &b) { return a.FileId < b.FileId; });
    return read;
}

bool FileSearch::FindEach(const QSqlDatabase &db, const FindRequest &request, const Found &found, ErrObject *err,
                          IndexRepair *repair, const std::function<bool()> &going)
{
    if (repair)
        *repair = {};
    // A NUL is in no stored text, and SQL would cut the phrase at it.
    if (request.Phrase.isEmpty() || request.Phrase.contains(QChar(0)) || !(request.Desc || request.Src || request.Text))
        return true;
    HitBatcher out(found);
    // The scan's hits, after those the failed index handed over already.
    const auto scan = [&] {
        QVector<FindHit> hits;
        if (!Scan(db, request, &hits, err))
            return false;
        const qint32 after = out.lastId();
        for (const FindHit &hit : std::as_const(hits)) {
            if (hit.FileId > after && !out.add(hit))
                return true;
        }
        out.flush();
        return true;
    };
    if (!FindIndex::Available(db))
        return scan();
    ErrObject failure;
    bool stopped = false;
    const auto indexing = [&](qint64) {
        return !going || !(stopped = !going());
    };
    if (FindIndex::Update(db, -1, nullptr, &failure, indexing)) {
        if (stopped)
            return true;
        qint64 badId = 0;
        const bool searched = StoreAddress::IsShared(db) ? sharedFind(db, request, &out, &failure, &badId)
                                                         : leanFind(db, request, &out, &failure, &badId);
        if (searched && badId == 0) {
            out.flush();
            return true;
        }
        if (searched) {
            *err = idOutOfRange(db, badId);
            return false;
        }
    }
    if (failure.Number == ErrNumber::StoreLocked || failure.Number == ErrNumber::StoreReadOnly ||
        failure.Number == ErrNumber::StoreUnreachable) {
        *err = failure;
        return false;
    }
    // Anything else means the index itself is broken: it is made anew, and this search scans.
    qCWarning(lcStore) << "search index failed, rebuilding it:" << failure.Description;
    ErrObject rebuildErr;
    const bool rebuilt = FindIndex::Rebuild(db, &rebuildErr);
    if (repair) {
        repair->Tried = true;
        repair->Done = rebuilt;
        repair->Failure = rebuildErr;
    }
    return scan();
}

bool FileSearch::Find(const QSqlDatabase &db, const FindRequest &request, QVector<FindHit> *hits, ErrObject *err,
                      IndexRepair *repair)
{
    hits->clear();
    const bool found = FindEach(
        db, request,
        [hits](const QVector<FindHit> &batch) {
            hits->append(batch);
            return true;
        },
        err, repair);
    if (!found)
        hits->clear();
    return found;
}

QString FileSearch::TrimBlanks(const QString &phrase)
{
    qsizetype start = 0, end = phrase.size();
    while (start < end && phrase[start] == QLatin1Char(' '))
        ++start;
    while (end > start && phrase[end - 1] == QLatin1Char(' '))
        --end;
    return phrase.mid(start, end - start);
}
