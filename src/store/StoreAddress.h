#pragma once

#include "system/ErrObject.h"

#include <QSqlDatabase>
#include <QString>

// Where a store is: a ".lkb" file, or a shared library in a PostgreSQL database named by a
// connection URI ("postgresql://user@host:port/database?sslmode=require"). Parts the URI leaves out
// come from libpq itself (PGHOST, PGUSER, ~/.pgpass, ...), as they do for psql.
namespace StoreAddress {

// Whether `name` is a connection URI rather than a file.
bool IsShared(const QString &name);
// Whether an open connection is to a shared library.
bool IsShared(const QSqlDatabase &db);

// The URI as settings, captions and messages may show it: without its password.
QString WithoutPassword(const QString &name);
// The password the URI holds; empty when it has none.
QString Password(const QString &uri);
// The URI with `password` in it (or none, when empty).
QString WithPassword(const QString &uri, const QString &password);
// A URI from the parts a user types; empty parts are left to libpq.
QString Build(const QString &host, int port, const QString &database, const QString &user, const QString &password);
// The parts of a URI, for a dialog that edits them; false when `uri` cannot be read.
bool Parts(const QString &uri, QString *host, int *port, QString *database, QString *user);
// A short name for captions and backup files: the database name, or the file's name without
// ".lkb".
QString ShortName(const QString &name);

// How a connection may use the store. A file opened Immutable is read without any locking, for
// one that sits on a medium that cannot be written at all.
enum class Access { Write, Read, Immutable };

// Adds a connection named `connectionName` to the store `name`, not yet opened: the SQLite driver
// on the file, or the PostgreSQL driver given the URI's parts. False with `err` filled when the URI
// cannot be read or the driver is missing. A statement waits up to `busyTimeoutMs` for another
// program's lock before it fails as locked.
bool AddConnection(const QString &connectionName, const QString &name, Access access, int busyTimeoutMs,
                   ErrObject *err);
// The store a connection made by AddConnection was added for, as it was given (a shared library's
// address with its password and every parameter): what a worker thread's own connection opens.
QString Name(const QSqlDatabase &db);

} // namespace StoreAddress
