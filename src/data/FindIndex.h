#pragma once

#include "system/ErrObject.h"

#include <QSqlDatabase>

// The search index: the plain text of every file (with its description and source) in an FTS5
// table with the trigram tokenizer, case-sensitive, so that Find reads a few rows instead of all;
// on a shared library, a table with PostgreSQL's trigram index over it.
// Triggers in the store queue every added or changed file (whoever changes it, the sqlite3 shell
// included) and drop deleted ones; Update brings the queued files in, since their plain text is the
// RTF reader's to make. The store's user_version is Schema::Version once it has the index.
class FindIndex final
{
public:
    // Adds the index to a store that lacks it, every file queued; nothing when it is there.
    static bool Ensure(const QSqlDatabase &db, ErrObject *err);
    // Whether the store has the index.
    static bool Available(const QSqlDatabase &db);
    // How many files wait to be indexed.
    static bool Pending(const QSqlDatabase &db, qint64 *count, ErrObject *err);
    // Indexes up to `maxFiles` queued files (all when negative), each batch in one transaction;
    // `done` receives how many were indexed. A batch is bounded by its files' text as well as by
    // their number, so that big files do not all sit in memory together.
    static bool Update(const QSqlDatabase &db, qint64 maxFiles, qint64 *done, ErrObject *err);
    // The column of the index that holds a file's id.
    static QString KeyColumn(const QSqlDatabase &db);
    // Empties the index and queues every file again, or makes it anew when it is broken.
    static bool Rebuild(const QSqlDatabase &db, ErrObject *err);
};
