#pragma once

#include "system/ErrObject.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariantList>

#include <functional>

// One statement on the store: prepared, bound, run forward only, and its failure turned into an
// ErrObject a user can read.
class StoreQuery final
{
public:
    // Kept: the statement is prepared by its first run and only bound again by the runs of the same
    // text that follow, for statements run once per item of a long loop (an import's, say), where
    // parsing them each time costs more than running them.
    enum class Statement { Once, Kept };

    explicit StoreQuery(const QSqlDatabase &db, Statement statement = Statement::Once);

    bool run(const QString &sql, const QVariantList &values, ErrObject *err);
    bool run(const QString &sql, ErrObject *err) { return run(sql, {}, err); }
    // Runs an INSERT of one row (or none) into a table keyed by auto_id; insertedId then gives
    // the new row's id, rowsAffected whether there was one.
    bool insert(const QString &sql, const QVariantList &values, ErrObject *err);

    // Calls `row` for each row the statement gives, the columns read through value() and the like.
    // A step that fails half-way (a damaged page, a lock, a read error) returns false with `err`
    // filled, never a short list taken for the whole.
    bool forEachRow(const std::function<void()> &row, ErrObject *err);
    // The same, stopping early (with success) once `row` returns false.
    bool forEachRowWhile(const std::function<bool()> &row, ErrObject *err);
    // Steps to the first row only; `found` tells whether there is one.
    bool firstRow(bool *found, ErrObject *err);
    // Lets go of the statement's result, as a kept statement must before its transaction ends: an
    // INSERT ... RETURNING not stepped to its end still counts as writing.
    void finish() { m_query.finish(); }

    QVariant value(int column) const { return m_query.value(column); }
    QString text(int column) const { return m_query.value(column).toString(); }
    qint32 id(int column) const { return m_query.value(column).toInt(); }
    // A code column; a value outside a byte (a store edited by hand) reads as 0, "none".
    quint8 code(int column) const
    {
        const uint value = m_query.value(column).toUInt();
        return value <= 255 ? quint8(value) : quint8(0);
    }

    // Taken when the statement ran: the store counts per connection, not per statement.
    int rowsAffected() const { return m_rowsAffected; }
    qint32 insertedId() const { return qint32(m_insertedId); }
    // The same as the store gave it, which lies past what a qint32 holds once a store's ids ran out.
    qint64 givenId() const { return m_insertedId; }

private:
    bool step(bool *found, ErrObject *err);

    QSqlDatabase m_db;
    QSqlQuery m_query;
    const bool m_keep;
    // The text the query holds prepared, when it is kept.
    QString m_prepared;
    int m_rowsAffected = 0;
    qint64 m_insertedId = 0;
};
