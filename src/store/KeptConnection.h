#pragma once

#include "system/ErrObject.h"

#include <QSqlDatabase>
#include <QString>

#include <functional>
#include <future>

// Work on a store that runs on a thread of its own, on one connection kept open from one run to
// the next. A search of a big store reads thousands of pages scattered over the file: a connection
// opened afresh reads every one of them from the file again, a system call each, while a kept one
// finds most of them still in its cache from the search before (SQLite checks at each read that
// the store has not changed since).
// The connection is closed when it has not been used for a few minutes, when the store closes
// (Close), when another file has taken the store's place, and after work that failed on it.
namespace KeptConnection {

// Given the connection, or an invalid one with `openError` saying why the store could not be
// opened; returns whether the work went well. A connection that work failed on is not kept.
using Work = std::function<bool(const QSqlDatabase &db, const ErrObject &openError)>;

// Runs `work` on the keeper's thread, after the work started before it, with a connection to the
// store at `path` (as StoreAddress::Name gives it) that may write. Returns at once; the future is
// ready once the work has returned.
std::shared_future<void> Start(const QString &path, Work work);

// Closes the kept connection, whichever store it is to, once the work running on it has
// returned. Called when a store closes: no connection may outlive the store's own, since a restore
// puts another file in its place.
void Close();

// The name of the connection kept now, empty when none is: for tests.
QString KeptName();

} // namespace KeptConnection
