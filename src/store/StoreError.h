#pragma once

#include "system/ErrObject.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QString>

#include <functional>

class QFile;

// Turns what the store reports into errors a user can act on: a locked or read-only store, a store
// that is not a database, or the database's own message for anything else.
class StoreError final
{
public:
    static ErrObject fromSql(const QSqlError &error, const QString &storePath);
    static ErrObject fromSql(const QSqlError &error, const QSqlDatabase &db);
    static ErrObject noConnection();
    // The message for a store whose pages are broken (the damage handler is told as well).
    static ErrObject damagedStore(const QString &storePath);
    static ErrObject noRow(const char *table, qint64 id);
    // A file of a store or a backup that could not be read or written (`what`), and why.
    static ErrObject fileFailed(const QString &what, const QString &path, const QString &reason);
    // Opens `in` to be read and `out` to be written from it, emptied; false, with the message of
    // the one that failed, when either cannot be opened.
    static bool openForCopy(QFile *in, QFile *out, ErrObject *err);

    // Called with the store's path whenever an error says the store is damaged, wherever it was
    // met, so that the window can offer a backup instead of failing one read after another. It
    // runs on the thread that met the error.
    static void setDamageHandler(std::function<void(const QString &storePath)> handler);

    // The file a connection was opened on, as a user would write it.
    static QString storePath(const QSqlDatabase &db);
};
