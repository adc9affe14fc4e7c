#pragma once

#include "platform/ErrObject.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariantList>

// One statement on the store: prepared, bound, run forward only, and its failure turned into an
// ErrObject a user can read.
class StoreQuery final
{
public:
    explicit StoreQuery(const QSqlDatabase &db);

    bool run(const QString &sql, const QVariantList &values, ErrObject *err);
    bool run(const QString &sql, ErrObject *err) { return run(sql, {}, err); }

    bool next() { return m_query.next(); }
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
    QSqlDatabase m_db;
    QSqlQuery m_query;
    int m_rowsAffected = 0;
    qint32 m_insertedId = 0;
};
