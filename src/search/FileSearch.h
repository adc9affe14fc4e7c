#pragma once

#include "data/FileTable.h"
#include "system/ErrObject.h"

#include <QHash>
#include <QList>
#include <QSqlDatabase>
#include <QString>
#include <QVector>

#include <functional>

// What Find looks for: a phrase, in some fields of the files that meet the criteria.
struct FindRequest
{
    // Searched as it stands: case counts, and nothing in it is a wildcard.
    QString Phrase;
    bool Desc = true;
    bool Src = true;
    // The text as the reader shows it, not the stored markup.
    bool Text = false;
    FileCriteria Criteria;
};

// A file Find found, with what the results list shows of it.
struct FindHit
{
    qint32 FileId = 0;
    qint32 GameId = 0;
    quint8 SubCat = 0;
    QString Desc;
    QString GameName;
    quint8 PlatformId = 0;
    quint8 GenreId = 0;
};

// What became of a search index that failed during a search.
struct IndexRepair
{
    bool Tried = false;
    bool Done = false;
    // Why it could not be rebuilt, when it could not.
    ErrObject Failure;
};

// Find's search: a file is a hit when its chosen fields, joined by one blank in the order
// description, source, text, contain the phrase character for character. The answer is that of a
// scan of every row by this rule, whatever the index does to get there faster.
class FileSearch final
{
public:
    // How many files meet the criteria, the phrase aside.
    static bool CountRows(const QSqlDatabase &db, const FileCriteria &criteria, qint64 *count, ErrObject *err);
    // Told of the next hits, in ascending order of file id; false stops the search there.
    using Found = std::function<bool(const QVector<FindHit> &hits)>;
    // The hits in ascending order of file id, through the search index (brought up to date first),
    // handed to `found` as they come: the first hundred at once, then in growing batches. A request
    // with no field chosen finds nothing. An index that fails is rebuilt (`repair` says whether
    // that worked), and that search scans instead. A hit whose id is beyond 32 bits (set by hand)
    // fails the search with a message saying so. While queued files are indexed first, `going` is
    // asked after each batch; false ends the search there, with nothing found.
    static bool FindEach(const QSqlDatabase &db, const FindRequest &request, const Found &found, ErrObject *err,
                         IndexRepair *repair = nullptr, const std::function<bool()> &going = {});
    // The same, every hit collected in `hits`.
    static bool Find(const QSqlDatabase &db, const FindRequest &request, QVector<FindHit> *hits, ErrObject *err,
                     IndexRepair *repair = nullptr);
    // The phrase as Find takes it: blanks at its ends dropped; tabs and line breaks are part of it.
    static QString TrimBlanks(const QString &phrase);
    // The same answer by reading every row that meets the criteria: the rule itself, for a store
    // without an index and for checking the index against.
    static bool Scan(const QSqlDatabase &db, const FindRequest &request, QVector<FindHit> *hits, ErrObject *err);
    // The text a file is searched in for `request`'s fields: what the rule above joins.
    static QString SearchedText(const FindRequest &request, const FileRow &row);
    // How often the phrase occurs, without overlapping, in the searched text of each of `fileIds`;
    // a file that is gone is left out of `counts`.
    static bool Occurrences(const QSqlDatabase &db, const FindRequest &request, const QList<qint32> &fileIds,
                            QHash<qint32, int> *counts, ErrObject *err);
    // The same for one text.
    static int Occurrences(QStringView text, QStringView phrase);
};
