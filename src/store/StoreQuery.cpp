#include "StoreQuery.h"

#include "StoreAddress.h"
#include "StoreError.h"

#include <QLoggingCategory>
#include <QSqlError>

Q_LOGGING_CATEGORY(lcStore, "lorekeep.store")

StoreQuery::StoreQuery(const QSqlDatabase &db, Statement statement)
    : m_db(db), m_query(db), m_keep(statement == Statement::Kept)
{
    // A file's rows are read one by one as the loop asks for them. PostgreSQL's driver would drop
    // the rest of a forward-only result as soon as another statement ran on the connection, and
    // report the loop as done: there the whole result is taken at once.
    m_query.setForwardOnly(!StoreAddress::IsShared(db));
}

bool StoreQuery::run(const QString &sql, const QVariantList &values, ErrObject *err)
{
    if (!m_db.isOpen()) {
        if (err)
            *err = StoreError::noConnection();
        return false;
    }
    bool ok = true;
    if (!m_keep || sql != m_prepared) {
        m_prepared.clear();
        ok = m_query.prepare(sql);
        if (ok && m_keep)
            m_prepared = sql;
    }
    if (ok) {
        for (int i = 0; i < values.size(); ++i) {
            const QVariant &value = values[i];
            // A null string would be stored as NULL; the text columns hold an empty text instead.
            if (value.typeId() == QMetaType::QString && value.toString().isNull())
                m_query.bindValue(i, QString(QLatin1String("")));
            else
                m_query.bindValue(i, value);
        }
        ok = m_query.exec();
    }
    if (ok) {
        m_rowsAffected = m_query.numRowsAffected();
    } else {
        qCDebug(lcStore) << "statement failed:" << sql << m_query.lastError();
        if (err)
            *err = StoreError::fromSql(m_query.lastError(), m_db);
    }
    return ok;
}

bool StoreQuery::insert(const QString &sql, const QVariantList &values, ErrObject *err)
{
    // Both kinds of store tell the id the row was given the same way.
    bool found = false;
    if (!run(sql + QStringLiteral(" RETURNING auto_id"), values, err) || !firstRow(&found, err))
        return false;
    m_rowsAffected = found ? 1 : 0;
    m_insertedId = found ? m_query.value(0).toLongLong() : 0;
    return true;
}

bool StoreQuery::step(bool *found, ErrObject *err)
{
    *found = m_query.next();
    if (*found || !m_query.lastError().isValid())
        return true;
    qCDebug(lcStore) << "reading a row failed:" << m_query.lastQuery() << m_query.lastError();
    if (err)
        *err = StoreError::fromSql(m_query.lastError(), m_db);
    return false;
}

bool StoreQuery::forEachRow(const std::function<void()> &row, ErrObject *err)
{
    bool found = false;
    while (step(&found, err)) {
        if (!found)
            return true;
        row();
    }
    return false;
}

bool StoreQuery::forEachRowWhile(const std::function<bool()> &row, ErrObject *err)
{
    bool found = false;
    while (step(&found, err)) {
        if (!found || !row())
            return true;
    }
    return false;
}

bool StoreQuery::firstRow(bool *found, ErrObject *err)
{
    return step(found, err);
}
