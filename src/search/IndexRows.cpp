#include "IndexRows.h"

#include "search/LeanFind.h"

#include <sqlite3.h>

using namespace FileSearchParts;

ReadSnapshot::ReadSnapshot(sqlite3 *db) : m_db(db)
{
    m_own = db && sqlite3_get_autocommit(db) && sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr) == SQLITE_OK;
}

ReadSnapshot::~ReadSnapshot()
{
    if (m_own)
        sqlite3_exec(m_db, "COMMIT", nullptr, nullptr, nullptr);
}

RowsBeside::At RowsBeside::seek(qint64 id)
{
    constexpr int stepsBeforeSeek = 8;
    for (int steps = 0; m_at >= 0 && m_at < id && steps < stepsBeforeSeek && !m_ended; ++steps)
        step();
    if (m_at < id && !m_ended) {
        m_values[0] = id;
        if (!m_rows.run(m_values))
            return At::Failed;
        step();
    }
    if (m_failed)
        return At::Failed;
    if (m_ended)
        return At::Ended;
    return m_at == id ? At::Found : At::Missing;
}

void RowsBeside::step()
{
    if (m_rows.next()) {
        m_at = m_rows.id64(0);
        return;
    }
    m_ended = true;
    m_failed = !m_rows.done();
}

namespace {

QString listedIds(qsizetype count)
{
    QString ids = QStringLiteral("i.file_id IN (?");
    for (qsizetype i = 1; i < count; ++i)
        ids += QStringLiteral(", ?");
    return ids + QLatin1Char(')');
}

} // namespace

CandidateRows::CandidateRows(const QSqlDatabase &db, const QString &columns, const QString &from,
                             const QStringList &where, QVariantList values, Row row)
    : m_range(db, selectStatement(columns, from, QStringList{QStringLiteral("i.file_id BETWEEN ? AND ?")} + where,
                                  QStringLiteral("i.file_id"))),
      m_listed(db, selectStatement(columns, from, QStringList{listedIds(chunk)} + where, QStringLiteral("i.file_id"))),
      m_values(std::move(values)),
      m_row(std::move(row))
{
    m_ids.reserve(chunk);
}

ErrObject CandidateRows::error() const
{
    if (m_failed)
        return m_failed->error();
    return m_range.isReady() ? m_listed.error() : m_range.error();
}

bool CandidateRows::flush()
{
    if (m_ids.empty())
        return true;
    const bool dense = m_ids.back() - m_ids.front() < denseSpread * qint64(m_ids.size());
    DirectRows &rows = dense ? m_range : m_listed;
    QVariantList values;
    if (dense) {
        values << m_ids.front() << m_ids.back();
    } else {
        for (const qint64 id : m_ids)
            values << id;
        // No row has no id.
        for (qsizetype i = qsizetype(m_ids.size()); i < chunk; ++i)
            values << QVariant();
    }
    values += m_values;
    if (!rows.run(values)) {
        m_failed = &rows;
        return false;
    }
    size_t at = 0;
    bool past = false;
    while (!past && rows.next()) {
        if (dense) {
            const qint64 id = rows.id64(0);
            while (at < m_ids.size() && m_ids[at] < id)
                ++at;
            past = at == m_ids.size();
            if (past || m_ids[at] != id)
                continue;
        }
        if (!m_row(rows)) {
            m_ids.clear();
            return false;
        }
    }
    m_ids.clear();
    if (past || rows.done())
        return true;
    m_failed = &rows;
    return false;
}
