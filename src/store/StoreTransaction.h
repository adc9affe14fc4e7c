#pragma once

#include "system/ErrObject.h"

#include <QSqlDatabase>

// A change of several rows happens whole or not at all: begin on construction, commit() on success,
// roll back in the destructor otherwise.
class StoreTransaction final
{
public:
    // Immediate takes the store's write lock at begin(), so that what is read inside cannot be
    // changed by another program before the commit: a check and the write it allows stay one step.
    enum class Lock { Deferred, Immediate };

    explicit StoreTransaction(const QSqlDatabase &db, Lock lock = Lock::Deferred);
    ~StoreTransaction();
    Q_DISABLE_COPY_MOVE(StoreTransaction)

    // False when the transaction could not begin (`err` says why); nothing should be written then.
    bool begin(ErrObject *err);
    bool commit(ErrObject *err);

private:
    QSqlDatabase m_db;
    Lock m_lock;
    // Whether the lock is SQLite's own, taken by the statement that begins.
    bool m_sqliteLock;
    bool m_active = false;
};
