#include "StoreTransaction.h"

#include "StoreAddress.h"
#include "StoreError.h"

#include <QSqlError>
#include <QSqlQuery>

namespace {

bool run(const QSqlDatabase &db, const char *statement, QSqlError *error = nullptr)
{
    QSqlQuery query(db);
    const bool ok = query.exec(QLatin1String(statement));
    if (!ok && error)
        *error = query.lastError();
    return ok;
}

} // namespace

StoreTransaction::StoreTransaction(const QSqlDatabase &db, Lock lock)
    : m_db(db), m_lock(lock), m_sqliteLock(lock == Lock::Immediate && !StoreAddress::IsShared(db))
{}

StoreTransaction::~StoreTransaction()
{
    if (!m_active)
        return;
    if (m_sqliteLock)
        run(m_db, "ROLLBACK");
    else
        m_db.rollback();
}

bool StoreTransaction::begin(ErrObject *err)
{
    if (!m_db.isOpen()) {
        if (err)
            *err = StoreError::noConnection();
        return false;
    }
    QSqlError error;
    if (m_sqliteLock) {
        m_active = run(m_db, "BEGIN IMMEDIATE", &error);
    } else {
        m_active = m_db.transaction();
        error = m_db.lastError();
        // A server has no lock of the whole library; Lorekeep's desktops take one of their own
        // (keyed by the store's application id), which the commit or rollback releases.
        if (m_active && m_lock == Lock::Immediate && !run(m_db, "SELECT pg_advisory_xact_lock(1280000561)", &error)) {
            m_db.rollback();
            m_active = false;
        }
    }
    if (!m_active && err)
        *err = StoreError::fromSql(error, m_db);
    return m_active;
}

bool StoreTransaction::commit(ErrObject *err)
{
    if (!m_active)
        return false;
    QSqlError error;
    const bool committed =
        m_sqliteLock ? run(m_db, "COMMIT", &error) : (m_db.commit() || (error = m_db.lastError(), false));
    if (!committed) {
        if (err)
            *err = StoreError::fromSql(error, m_db);
        return false;
    }
    m_active = false;
    return true;
}
