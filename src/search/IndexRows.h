#pragma once

// How a search of a store file reads rows beside the ids its index gives: one state of the store
// throughout, and the rows of many ids without starting a statement again for each.

#include "store/DirectRows.h"

#include <QSqlDatabase>
#include <QString>
#include <QStringList>
#include <QVariantList>

#include <functional>
#include <vector>

struct sqlite3;

namespace FileSearchParts {

// A search reads one state of the store: its hundreds of look-ups in the index's lists each took
// the store's read lock anew otherwise (a few system calls each, most of a rare phrase's time), and
// another program's change between two of them could show a file half indexed. Within a
// transaction the caller began, the search reads as that transaction does.
class ReadSnapshot final
{
public:
    explicit ReadSnapshot(sqlite3 *db);
    ~ReadSnapshot();
    Q_DISABLE_COPY_MOVE(ReadSnapshot)

private:
    sqlite3 *const m_db;
    bool m_own = false;
};

// The rows of a statement in increasing order of id (column 0), read beside a list of ids in the
// same order; the statement's first value is the id to start from. Stepping on to the next row
// costs a fraction of finding it from the top of the table's index, so the rows up to an id a few
// rows on are stepped through; one further on is found from the top.
class RowsBeside final
{
public:
    enum class At { Found, Missing, Ended, Failed };

    RowsBeside(const QSqlDatabase &db, const QString &sql, QVariantList values)
        : m_rows(db, sql), m_values(std::move(values))
    {}
    bool isReady() const { return m_rows.isReady(); }
    ErrObject error() const { return m_rows.error(); }
    DirectRows &row() { return m_rows; }

    // Moves to the row of `id`: Ended once no row is left at or past it.
    At seek(qint64 id);

private:
    void step();

    DirectRows m_rows;
    QVariantList m_values;
    // The id of the row the statement is on; -1 before the first.
    qint64 m_at = -1;
    bool m_ended = false;
    bool m_failed = false;
};

// The rows of candidates, given in increasing order of id, a chunk at a time: each statement is run
// once for a chunk, not once for a candidate, since starting a statement again costs more than the
// row it finds. A chunk spread thin names its ids, each found from the top of the table's index;
// a dense one is read by stepping through its stretch of rows.
class CandidateRows final
{
public:
    using Row = std::function<bool(DirectRows &rows)>;

    // `where` (with `values`) narrows the rows of `from`, which names the table `i`; `row` gets each
    // candidate's row, and stops the reading when it returns false.
    CandidateRows(const QSqlDatabase &db, const QString &columns, const QString &from, const QStringList &where,
                  QVariantList values, Row row);
    bool isReady() const { return m_range.isReady() && m_listed.isReady(); }
    ErrObject error() const;
    bool failed() const { return m_failed != nullptr; }

    // False once `row` stopped the reading or a read failed.
    bool add(qint64 id)
    {
        m_ids.push_back(id);
        return qsizetype(m_ids.size()) < chunk || flush();
    }
    // Reads the candidates added since the last chunk; false as add.
    bool flush();

private:
    static constexpr qsizetype chunk = 256;
    // Ids on average this close together are read by stepping through the rows between them.
    static constexpr qint64 denseSpread = 8;

    DirectRows m_range;
    DirectRows m_listed;
    const QVariantList m_values;
    const Row m_row;
    std::vector<qint64> m_ids;
    const DirectRows *m_failed = nullptr;
};

} // namespace FileSearchParts
