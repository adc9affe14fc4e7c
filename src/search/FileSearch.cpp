#include "FileSearch.h"

#include "LeanFind.h"
#include "data/GameIndex.h"
#include "findindex/FindIndex.h"
#include "rtf/RtfReader.h"
#include "store/StoreAddress.h"
#include "store/StoreError.h"
#include "store/StoreQuery.h"

#include <QLoggingCategory>

#include <algorithm>
#include <limits>
#include <string>

Q_DECLARE_LOGGING_CATEGORY(lcStore)

using namespace FileSearchParts;

namespace {

const QString hitColumns =
    QStringLiteral("f.auto_id, f.game_id, f.sub_cat, f.\"desc\", g.name, g.platform_id, g.genre_id");

} // namespace

QString FileSearchParts::criteriaTerms(const FileCriteria &criteria, QVariantList *values, const QString &table)
{
    const QString conditions = FileTable::FindConditions(criteria, table, values);
    return conditions.isEmpty() ? conditions : QLatin1Char('(') + conditions + QLatin1Char(')');
}

QString FileSearchParts::selectStatement(const QString &columns, const QString &from, const QStringList &where,
                                         const QString &order)
{
    return QStringLiteral("SELECT ") + columns + QStringLiteral(" FROM ") + from +
           (where.isEmpty() ? QString() : QStringLiteral(" WHERE ") + where.join(QStringLiteral(" AND "))) +
           QStringLiteral(" ORDER BY ") + order;
}

QString FileSearchParts::hitStatement(const QString &from, const QStringList &where, const QString &order)
{
    return selectStatement(hitColumns, from + QStringLiteral(" LEFT JOIN game g ON g.auto_id = f.game_id"), where,
                           order);
}

std::string_view FileSearchParts::searched(const FindRequest &request, const FindUnpacker &fields, std::string *joined)
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

namespace {

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

// Reads the hits of `sql` (the hit columns first).
bool readHits(const QSqlDatabase &db, const QString &sql, const QVariantList &values, HitBatcher *out, ErrObject *err,
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
                                                  return out->add(hitOf(query));
                                              },
                                              err);
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
    return readHits(db, sql, values, out, err, badId);
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
