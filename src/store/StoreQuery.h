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
    explicit StoreQuery(const QSqlDatabase &db);

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
    qint32 insertedId() const { return m_insertedId; }

private:
    bool step(bool *found, ErrObject *err);

    QSqlDatabase m_db;
    QSqlQuery m_query;
    int m_rowsAffected = 0;
    qint32 m_insertedId = 0;
};
