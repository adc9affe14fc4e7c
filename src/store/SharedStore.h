#pragma once

#include "system/ErrObject.h"

#include <QSqlDatabase>
#include <QString>

// What a library shared on a PostgreSQL server needs beyond what every store has: its tables made
// on the first open of an empty database, a database of something else refused untouched, and the
// role's rights read.
namespace SharedStore {

// The channel on which every change is announced to the other desktops.
constexpr const char *ChangedChannel = "lorekeep_changed";

// Makes the database `db` is open on ready for use: an empty one gets the tables (when `db` may
// write), one with Lorekeep's tables is checked for their version and columns, anything else is
// refused. `shown` names the library in messages. `readOnlyReason` receives why the role cannot
// change the library, or nothing when it can.
bool Prepare(const QSqlDatabase &db, const QString &shown, QString *readOnlyReason, ErrObject *err);
// Adds the trigram index when it is missing; false, with the line a database owner must run, when
// the user's rights do not allow it.
bool EnsureTrigrams(const QSqlDatabase &db, ErrObject *err);
// Whether the trigram index is there.
bool HasTrigrams(const QSqlDatabase &db);

} // namespace SharedStore
