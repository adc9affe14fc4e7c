#pragma once

#include "platform/ErrObject.h"

#include <QSqlDatabase>

// A change of several rows happens whole or not at all: begin on construction, commit() on success,
// roll back in the destructor otherwise.
class StoreTransaction final
{
public:
    explicit StoreTransaction(const QSqlDatabase &db);
    ~StoreTransaction();
    Q_DISABLE_COPY_MOVE(StoreTransaction)

    // False when the transaction could not begin (`err` says why); nothing should be written then.
    bool begin(ErrObject *err);
    bool commit(ErrObject *err);

private:
    QSqlDatabase m_db;
    bool m_active = false;
};
