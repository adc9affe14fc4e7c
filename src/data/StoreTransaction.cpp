#include "StoreTransaction.h"

#include "StoreError.h"

#include <QSqlError>

StoreTransaction::StoreTransaction(const QSqlDatabase &db) : m_db(db) {}

StoreTransaction::~StoreTransaction()
{
    if (m_active)
        m_db.rollback();
}

bool StoreTransaction::begin(ErrObject *err)
{
    if (!m_db.isOpen()) {
        if (err)
            *err = StoreError::noConnection();
        return false;
    }
    m_active = m_db.transaction();
    if (!m_active && err)
        *err = StoreError::fromSql(m_db.lastError(), m_db);
    return m_active;
}

bool StoreTransaction::commit(ErrObject *err)
{
    if (!m_active)
        return false;
    if (!m_db.commit()) {
        if (err)
            *err = StoreError::fromSql(m_db.lastError(), m_db);
        return false;
    }
    m_active = false;
    return true;
}
