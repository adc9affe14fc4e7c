#include "FileSearch.h"

#include "FindIndex.h"
#include "GameIndex.h"
#include "rtf/RtfReader.h"
#include "store/StoreAddress.h"
#include "store/StoreError.h"
#include "store/StoreQuery.h"

#include <QLoggingCategory>

#include <algorithm>
#include <limits>

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

// The index query for the phrase: the trigrams of its runs (the stretches between blanks, since a
// blank may be where two fields join, so only a run is sure to lie inside one field), each quoted
// as a token of its own and all required. Empty when no run has the three characters a trigram
// needs. The index answers it from its lists alone; every candidate is then checked by the rule.
QString trigramQuery(const QString &phrase)
{
    // Enough to make a candidate rare; a phrase of thousands of characters needs no more.
    constexpr int maxTrigrams = 24;
    QStringList trigrams;
    const QList<uint> codes = phrase.toUcs4();
    qsizetype start = 0;
    for (qsizetype i = 0; i <= codes.size(); ++i) {
        if (i < codes.size() && codes[i] != ' ')
            continue;
        for (qsizetype at = start; at + 3 <= i; ++at) {
            QString trigram = QString::fromUcs4(reinterpret_cast<const char32_t *>(codes.constData() + at), 3);
            trigram.replace(QLatin1Char('"'), QStringLiteral("\"\""));
            trigram = QLatin1Char('"') + trigram + QLatin1Char('"');
            if (!trigrams.contains(trigram))
                trigrams << trigram;
        }
        start = i + 1;
    }
    if (trigrams.size() > maxTrigrams) {
        // Spread over the whole phrase rather than its start alone.
        QStringList spread;
        for (int k = 0; k < maxTrigrams; ++k)
            spread << trigrams[k * trigrams.size() / maxTrigrams];
        trigrams = spread;
    }
    return trigrams.join(QStringLiteral(" AND "));
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

bool indexedFind(const QSqlDatabase &db, const FindRequest &request, QVector<FindHit> *hits, ErrObject *err,
                 qint64 *badId)
{
    QVariantList values;
    const bool shared = StoreAddress::IsShared(db);
    const QString check = (shared ? QStringLiteral("strpos(") : QStringLiteral("instr(")) + joinedColumns(request) +
                          QStringLiteral(", ?) > 0");
    const QString match = trigramQuery(request.Phrase);
    QString from = QStringLiteral("find_text t CROSS JOIN file f ON f.auto_id = t.rowid");
    QStringList where;
    if (shared) {
        from = QStringLiteral("find_text t JOIN file f ON f.auto_id = t.file_id");
        if (request.Criteria.GameId == 0)
            where = runTerms(request.Phrase, &values);
    } else if (request.Criteria.GameId != 0) {
        // One game's files are few: each is checked through the index's copy of its text.
        from = QStringLiteral("file f CROSS JOIN find_text t ON t.rowid = f.auto_id");
    } else if (!match.isEmpty()) {
        // Candidates from the trigram index (in any field: the check below sees only the chosen ones).
        // Without a trigram in the phrase every row's plain text is read, still not its markup.
        where << QStringLiteral("t.rowid IN (SELECT rowid FROM find_text WHERE find_text MATCH ?)");
        values << match;
    }
    where << check;
    values << request.Phrase;
    const QString terms = criteriaTerms(request.Criteria, &values);
    if (!terms.isEmpty())
        where << terms;
    const QString sql = QStringLiteral("SELECT ") + hitColumns + QStringLiteral(" FROM ") + from +
                        QStringLiteral(" LEFT JOIN game g ON g.auto_id = f.game_id WHERE ") +
                        where.join(QStringLiteral(" AND ")) + QStringLiteral(" ORDER BY f.auto_id");
    StoreQuery query(db);
    return query.run(sql, values, err) && query.forEachRowWhile(
                                              [&] {
                                                  const qint64 id = query.value(0).toLongLong();
                                                  if (id > std::numeric_limits<qint32>::max() || id < 0) {
                                                      *badId = id;
                                                      return false;
                                                  }
                                                  hits->append(hitOf(query));
                                                  return true;
                                              },
                                              err);
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
    const QString key = QStringLiteral("t.") + FindIndex::KeyColumn(db);
    const QString select = indexed
                               ? QStringLiteral("SELECT ") + key + QStringLiteral(", ") + joinedColumns(request) +
                                     QStringLiteral(" FROM find_text t WHERE ") + key + QStringLiteral(" IN (")
                               : QStringLiteral("SELECT auto_id, \"desc\", src, txt_rtf FROM file WHERE auto_id IN (");
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
        const auto count = [&] {
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
        };
        if (!query.run(select + marks + QLatin1Char(')'), values, err) || !query.forEachRow(count, err))
            return false;
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

bool FileSearch::Find(const QSqlDatabase &db, const FindRequest &request, QVector<FindHit> *hits, ErrObject *err,
                      IndexRepair *repair)
{
    hits->clear();
    if (repair)
        *repair = {};
    // A NUL is in no stored text, and SQL would cut the phrase at it.
    if (request.Phrase.isEmpty() || request.Phrase.contains(QChar(0)) || !(request.Desc || request.Src || request.Text))
        return true;
    if (!FindIndex::Available(db))
        return Scan(db, request, hits, err);
    ErrObject failure;
    if (FindIndex::Update(db, -1, nullptr, &failure)) {
        qint64 badId = 0;
        if (indexedFind(db, request, hits, &failure, &badId)) {
            if (badId == 0)
                return true;
            hits->clear();
            *err = idOutOfRange(db, badId);
            return false;
        }
        hits->clear();
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
    return Scan(db, request, hits, err);
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
