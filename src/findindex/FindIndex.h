#pragma once

#include "system/ErrObject.h"

#include <QSqlDatabase>

#include <functional>
#include <memory>

class FindDictionary;

// The search index, which lets Find read a few rows instead of every file's text.
// In a store file: which files hold each word (FindGrams: every three characters of their fields),
// kept by word and part of the files (FindPostings), and beside it the fields themselves packed
// (FindPack), which candidates are checked against. Together they take about a third of the
// stored texts' size. On a shared library: a table of the plain texts with PostgreSQL's trigram
// index over it.
// Triggers in the store queue every added, changed or deleted file (whoever changes it, the
// sqlite3 shell included); Update brings the queued files in, since their plain text is the RTF
// reader's to make.
class FindIndex final
{
public:
    // Called with how many of the queued files are done; false stops the work after the batch at
    // hand, which is kept.
    using Progress = std::function<bool(qint64 done)>;

    // Adds the index to a store that lacks it, every file queued. A store with the index of an
    // earlier Lorekeep (an FTS5 table) gets this one instead: the old index is dropped, which
    // leaves its room free in the file (see Compact).
    static bool Ensure(const QSqlDatabase &db, ErrObject *err);
    // Whether the store has the index.
    static bool Available(const QSqlDatabase &db);
    // How many files wait to be indexed.
    static bool Pending(const QSqlDatabase &db, qint64 *count, ErrObject *err);
    // Indexes up to `maxFiles` queued files (all when negative); `done` receives how many were
    // indexed. The plain texts are made on every core while the previous batch is written; each
    // batch is one transaction, bounded by its files' text as well as by their number, so that big
    // files do not all sit in memory together.
    static bool Update(const QSqlDatabase &db, qint64 maxFiles, qint64 *done, ErrObject *err,
                       const Progress &progress = {});
    // The index on what a hit lists of its file (id, game, category, description), by which a search
    // reads a hit without the file's text. A store indexed by an earlier Lorekeep gets it from its
    // first Update; one that cannot take it is searched without it.
    static const QString HitIndex;
    static bool HasHitIndex(const QSqlDatabase &db);
    // Whether the packed fields have each file's game and category beside them, by which a search
    // lists a hit without looking its file up. A store indexed by an earlier Lorekeep gets them from
    // its first Update; one that cannot take them is searched without them.
    static bool HasHitColumns(const QSqlDatabase &db);
    // Whether every file's words have its seams (FindGrams::Seams), by which a search narrows a
    // phrase of several words. A store indexed by an earlier Lorekeep gets its index made anew when
    // it is opened; one that cannot take that is searched without seams.
    static bool HasSeams(const QSqlDatabase &db);
    // The dictionary the store's texts are packed with, and the seams the index leaves out; null
    // when it has none.
    static bool Dictionary(const QSqlDatabase &db, std::shared_ptr<const FindDictionary> *dictionary, ErrObject *err);
    // The failure of an index whose packed text of file `fileId` cannot be unpacked: a damaged index.
    static ErrObject UnreadableText(const QSqlDatabase &db, qint64 fileId);
    // Empties the index and queues every file again, or makes it anew when it is broken.
    static bool Rebuild(const QSqlDatabase &db, ErrObject *err);

    // The unused room in a store file, in bytes, and the file's whole size.
    static bool FreeRoom(const QSqlDatabase &db, qint64 *free, qint64 *size, ErrObject *err);
    // Gives the unused room of a store file back to the disk (VACUUM), once the disk is known to
    // hold the copy that takes; false with a message saying how much room is missing otherwise.
    static bool Compact(const QSqlDatabase &db, ErrObject *err);
};
