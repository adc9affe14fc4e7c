#pragma once

// The parts of Find Files shared by its searches: the search of a store file through its lean
// index (LeanFind.cpp), and those of a shared library and of the rows themselves (FileSearch.cpp).

#include "FileSearch.h"

#include "findindex/FindPack.h"

#include <QElapsedTimer>
#include <QStringList>
#include <QVariantList>

#include <string>
#include <string_view>

namespace FileSearchParts {

// Hands the hits over in batches: the first hundred at once, so the list fills as soon as the
// user looks, then batches that grow, so a long list costs few calls; a slow search hands over what
// it has every tenth of a second.
class HitBatcher final
{
public:
    explicit HitBatcher(const FileSearch::Found &found) : m_found(found) { m_clock.start(); }

    // False once the receiver asked to stop.
    bool add(FindHit hit)
    {
        if (m_batch.isEmpty())
            m_batch.reserve(m_limit);
        m_lastId = hit.FileId;
        m_batch.append(std::move(hit));
        return (m_batch.size() < m_limit && m_clock.elapsed() < 100) || flush();
    }
    bool flush()
    {
        if (m_batch.isEmpty() || m_stopped)
            return !m_stopped;
        m_stopped = !m_found(m_batch);
        // The receiver may keep the batch; the next one gets its own room, at its own size, in add().
        m_batch = QVector<FindHit>();
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

// The criteria as SQL on table `file` under the name `table` (or on a table with the same columns),
// bracketed so that " Or " stays inside; their values are appended to `values`.
QString criteriaTerms(const FileCriteria &criteria, QVariantList *values, const QString &table = QStringLiteral("f"));
// SELECT `columns` FROM `from`, with the `where` terms all met, in `order`.
QString selectStatement(const QString &columns, const QString &from, const QStringList &where, const QString &order);
// The hit columns of `from` (which names the file `f`) joined with their game, as SQL.
QString hitStatement(const QString &from, const QStringList &where, const QString &order);
// The text a request searches in a file's unpacked fields: all three joined as kept, or the chosen
// ones joined in `joined`.
std::string_view searched(const FindRequest &request, const FindUnpacker &fields, std::string *joined);

// A store file: the index's words narrow the files to those holding every word of the phrase;
// each is then checked against its packed fields, unless the words alone decide. A hit whose id is
// beyond 32 bits ends the search, given in `badId`.
bool leanFind(const QSqlDatabase &db, const FindRequest &request, HitBatcher *out, ErrObject *err, qint64 *badId);

} // namespace FileSearchParts
