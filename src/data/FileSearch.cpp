#include "FileSearch.h"

#include "FindIndex.h"
#include "StoreError.h"
#include "StoreQuery.h"
#include "platform/RtfReader.h"

#include <QLoggingCategory>
#include <QSqlError>
#include <QSqlQuery>

#include <algorithm>

Q_DECLARE_LOGGING_CATEGORY(lcStore)

namespace {

// The criteria as SQL on table `file` under the name `f`: numbers only, never user text.
QString criteriaTerms(const FileCriteria &criteria)
{
    QStringList terms;
    if (criteria.GameId != 0)
        terms << QStringLiteral("f.game_id = ") + QString::number(criteria.GameId);
    if (!criteria.SubCats.isEmpty()) {
        QStringList subCats;
        for (quint8 subCat : criteria.SubCats)
            subCats << QStringLiteral("f.sub_cat = ") + QString::number(subCat);
        terms << QLatin1Char('(') + subCats.join(QStringLiteral(" OR ")) + QLatin1Char(')');
    }
    return terms.join(QStringLiteral(" AND "));
}

// The chosen fields of the index's row `t`, joined by one blank, as SQL.
QString joinedColumns(const FindRequest &request)
{
    QStringList columns;
    if (request.Desc)
        columns << QStringLiteral("t.desc");
    if (request.Src)
        columns << QStringLiteral("t.src");
    if (request.Text)
        columns << QStringLiteral("t.body");
    return columns.join(QStringLiteral(" || ' ' || "));
}

qsizetype codePoints(QStringView text)
{
    return text.size() - std::count_if(text.begin(), text.end(), [](QChar c) { return c.isLowSurrogate(); });
}

// The longest run of the phrase that lies inside one field (no blank, which joins the fields) and
// means itself to GLOB (no *, ?, [ or ]), when it has the three characters a trigram needs; empty
// otherwise. The index finds the rows that hold it; every candidate is then checked by the rule.
QString indexedRun(const QString &phrase)
{
    QString best;
    qsizetype start = 0;
    const auto consider = [&](qsizetype end) {
        const QStringView run = QStringView(phrase).sliced(start, end - start);
        if (codePoints(run) >= 3 && run.size() > best.size())
            best = run.toString();
    };
    for (qsizetype i = 0; i < phrase.size(); ++i) {
        const QChar c = phrase[i];
        if (c == u' ' || c == u'*' || c == u'?' || c == u'[' || c == u']') {
            consider(i);
            start = i + 1;
        }
    }
    consider(phrase.size());
    return best;
}

FindHit hitOf(const QSqlQuery &query)
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

const QString hitColumns = QStringLiteral("f.auto_id, f.game_id, f.sub_cat, f.desc, g.name, g.platform_id, g.genre_id");

bool indexedFind(const QSqlDatabase &db, const FindRequest &request, QVector<FindHit> *hits, QSqlError *error)
{
    const QString terms = criteriaTerms(request.Criteria);
    const QString check = QStringLiteral("instr(") + joinedColumns(request) + QStringLiteral(", :phrase) > 0");
    const QString run = indexedRun(request.Phrase);
    QString sql;
    if (!run.isEmpty() && request.Criteria.GameId == 0) {
        // Candidates from the trigram index, one GLOB per field (each one the index answers), then the rule.
        QStringList globs;
        if (request.Desc)
            globs << QStringLiteral("SELECT rowid FROM find_text WHERE desc GLOB :run");
        if (request.Src)
            globs << QStringLiteral("SELECT rowid FROM find_text WHERE src GLOB :run");
        if (request.Text)
            globs << QStringLiteral("SELECT rowid FROM find_text WHERE body GLOB :run");
        sql = QStringLiteral("SELECT ") + hitColumns +
              QStringLiteral(" FROM find_text t CROSS JOIN file f ON f.auto_id = t.rowid "
                             "LEFT JOIN game g ON g.auto_id = f.game_id WHERE t.rowid IN (") +
              globs.join(QStringLiteral(" UNION ")) + QStringLiteral(") AND ") + check +
              (terms.isEmpty() ? QString() : QStringLiteral(" AND ") + terms) + QStringLiteral(" ORDER BY f.auto_id");
    } else if (request.Criteria.GameId != 0) {
        // One game's files are few: each is checked through the index's copy of its text.
        sql = QStringLiteral("SELECT ") + hitColumns +
              QStringLiteral(" FROM file f CROSS JOIN find_text t ON t.rowid = f.auto_id "
                             "LEFT JOIN game g ON g.auto_id = f.game_id WHERE ") +
              terms + QStringLiteral(" AND ") + check + QStringLiteral(" ORDER BY f.auto_id");
    } else {
        // Too short for trigrams: every row's plain text is read, still not its markup.
        sql = QStringLiteral("SELECT ") + hitColumns +
              QStringLiteral(" FROM find_text t CROSS JOIN file f ON f.auto_id = t.rowid "
                             "LEFT JOIN game g ON g.auto_id = f.game_id WHERE ") +
              check + (terms.isEmpty() ? QString() : QStringLiteral(" AND ") + terms) +
              QStringLiteral(" ORDER BY f.auto_id");
    }
    QSqlQuery query(db);
    query.setForwardOnly(true);
    if (!query.prepare(sql)) {
        *error = query.lastError();
        return false;
    }
    query.bindValue(QStringLiteral(":phrase"), request.Phrase);
    if (sql.contains(QLatin1String(":run")))
        query.bindValue(QStringLiteral(":run"), QString(QLatin1Char('*') + run + QLatin1Char('*')));
    if (!query.exec()) {
        *error = query.lastError();
        return false;
    }
    while (query.next())
        hits->append(hitOf(query));
    if (query.lastError().isValid()) {
        *error = query.lastError();
        return false;
    }
    return true;
}

} // namespace

bool FileSearch::CountRows(const QSqlDatabase &db, const FileCriteria &criteria, qint64 *count, ErrObject *err)
{
    const QString terms = criteriaTerms(criteria);
    StoreQuery query(db);
    if (!query.run(QStringLiteral("SELECT count(*) FROM file f") +
                       (terms.isEmpty() ? QString() : QStringLiteral(" WHERE ") + terms),
                   err))
        return false;
    *count = query.next() ? query.id(0) : 0;
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

bool FileSearch::Scan(const QSqlDatabase &db, const FindRequest &request, QVector<FindHit> *hits, ErrObject *err)
{
    hits->clear();
    if (request.Phrase.isEmpty() || !(request.Desc || request.Src || request.Text))
        return true;
    const QString terms = criteriaTerms(request.Criteria);
    QSqlQuery query(db);
    query.setForwardOnly(true);
    if (!query.exec(QStringLiteral("SELECT f.auto_id, f.game_id, f.sub_cat, f.desc, g.name, g.platform_id, "
                                   "g.genre_id, f.src, f.txt_rtf FROM file f LEFT JOIN game g ON g.auto_id = "
                                   "f.game_id") +
                    (terms.isEmpty() ? QString() : QStringLiteral(" WHERE ") + terms) +
                    QStringLiteral(" ORDER BY f.auto_id"))) {
        *err = StoreError::fromSql(query.lastError(), db);
        return false;
    }
    while (query.next()) {
        FileRow row;
        row.desc = query.value(3).toString();
        row.src = query.value(7).toString();
        if (request.Text)
            row.txt_rtf = query.value(8).toString();
        if (SearchedText(request, row).contains(request.Phrase, Qt::CaseSensitive))
            hits->append(hitOf(query));
    }
    return true;
}

bool FileSearch::Find(const QSqlDatabase &db, const FindRequest &request, QVector<FindHit> *hits, ErrObject *err,
                      bool *indexRepaired)
{
    hits->clear();
    if (indexRepaired)
        *indexRepaired = false;
    // A NUL is in no stored text, and SQL would cut the phrase at it.
    if (request.Phrase.isEmpty() || request.Phrase.contains(QChar(0)) || !(request.Desc || request.Src || request.Text))
        return true;
    if (!FindIndex::Available(db))
        return Scan(db, request, hits, err);
    if (!FindIndex::Update(db, -1, nullptr, err))
        return false;
    QSqlError error;
    if (indexedFind(db, request, hits, &error))
        return true;
    hits->clear();
    const ErrObject failure = StoreError::fromSql(error, db);
    if (failure.Number == ErrNumber::StoreLocked) {
        *err = failure;
        return false;
    }
    // Anything else means the index itself is broken: it is made anew, and this search scans.
    qCWarning(lcStore) << "search index failed, rebuilding it:" << error;
    if (indexRepaired)
        *indexRepaired = true;
    ErrObject rebuildErr;
    if (!FindIndex::Rebuild(db, &rebuildErr))
        qCWarning(lcStore) << "search index could not be rebuilt:" << rebuildErr.Description;
    return Scan(db, request, hits, err);
}
