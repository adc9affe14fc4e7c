#pragma once

#include "platform/ErrObject.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QString>

// Turns what the store reports into errors a user can act on: a locked or read-only store, a store
// that is not a database, or the database's own message for anything else.
class StoreError final
{
public:
    static ErrObject fromSql(const QSqlError &error, const QString &storePath);
    static ErrObject fromSql(const QSqlError &error, const QSqlDatabase &db);
    static ErrObject noConnection();
    static ErrObject noRow(const char *table, qint64 id);

    // The file a connection was opened on, as a user would write it.
    static QString storePath(const QSqlDatabase &db);
};
