#pragma once

#include "system/ErrObject.h"

#include <QSqlDatabase>
#include <QString>

#include <functional>

// How many rows of each kind a copy took.
struct CopyCounts
{
    qint64 Games = 0;
    qint64 Files = 0;
    qint64 Bookmarks = 0;
    qint64 Favorites = 0;
    qint64 Snapshots = 0;
};

// A whole library copied into a new store of either kind: a new ".lkb" file, or an empty
// PostgreSQL database. Ids are kept, so bookmarks still point at their files, and so is the last id
// each table gave, so that none is given again; the search index comes along as it stands. The
// destination appears whole or not at all: a copy that fails or is stopped leaves it as it was.
class StoreCopy final
{
public:
    // Told how many of `total` rows are copied; answers false to stop.
    using Progress = std::function<bool(qint64 done, qint64 total)>;
    static constexpr long Stopped = 32755;

    // Whether `dest` can take a copy: a file that does not exist yet in a folder that can be
    // written, or a database that holds no tables. False, with `err` saying why, when it cannot.
    static bool CheckDestination(const QString &dest, ErrObject *err);
    // Copies the library `source` is open on into `dest`; `progress` may be empty. Runs on the
    // calling thread, with a connection of its own to `dest`.
    static bool Copy(const QSqlDatabase &source, const QString &dest, const Progress &progress, CopyCounts *counts,
                     ErrObject *err);
};
