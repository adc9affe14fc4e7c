#pragma once

#include "data/FileTable.h"
#include "store/StoreQuery.h"
#include "system/ErrObject.h"

#include <QDateTime>
#include <QSet>
#include <QSqlDatabase>
#include <QString>
#include <QStringList>

// One file on disk on its way into a game: the row it becomes, or why it stays out.
struct ImportedFile
{
    // Absolute; a byte of its name that is not UTF-8 is kept as NativePath keeps it. The row's
    // source is the same path as a user reads it.
    QString Path;
    // Description, source, sub-category and text; the ids once stored.
    FileRow Row;
    // What the text was read as: "utf-8", "windows-1252", "shift_jis", "utf-16le"; for RTF its code page.
    QString Encoding;
    // Why the file was left out, empty when it can be stored: "not a text file", "empty file", ...
    QString Skipped;
    // Left out because the game already has a file from this path.
    bool Duplicate = false;
    // A web page's MHTML snapshot, stored with the row when not empty, from SnapshotAddress at Captured.
    QByteArray Snapshot;
    QString SnapshotAddress;
    QDateTime Captured;
};

// Files from disk become files of one game: plain text in any encoding (kept in a fixed-pitch font,
// so that the tables and ASCII art of old guides keep their columns), RTF, and saved web pages. The
// window and lkimport share it. Reading and converting needs no store and may run on any thread;
// storing runs on the connection's thread, one transaction per file.
class FileImport final
{
public:
    static constexpr qint64 MaxFileSize = 64LL * 1024 * 1024;

    FileImport(const QSqlDatabase &db, qint32 gameId);

    // The files `paths` name, absolute and clean: folders give the files inside them, sub-folders
    // included, in natural order; hidden entries, links to folders and the resource folders of saved
    // web pages ("page_files" beside "page.html") are passed over. A path that is not there is kept,
    // so that its import reports it.
    static QStringList Collect(const QStringList &paths);
    // The sub-category a file's name implies: "cheat", "code" or "hint" 2, "preview" 4, "review" 3,
    // "news" 5, otherwise 1 (walkthrough or guide).
    static quint8 SubCategoryFor(const QString &name);
    // Reads the whole file at `path`, a regular file of up to MaxFileSize bytes; false with why not
    // in `why` ("not found", "cannot be read: Permission denied").
    static bool ReadBytes(const QString &path, QByteArray *bytes, QString *why);
    // Reads the file at `path` and converts its bytes as FileConversion does, plain text in
    // `encoding` when one is named; `subCat` 0 takes the one its name implies.
    static ImportedFile Convert(const QString &path, quint8 subCat = 0, const QString &encoding = {});
    // The file on this computer a stored file's source names (an import keeps the absolute path, a
    // link may give a file: address); empty for any other source.
    static QString LocalSource(const QString &source);
    // Replaces the text of the file `loaded` names with `rtf`, in one transaction and only while the
    // row still reads as `loaded`: `replaced` is false when it was changed or deleted meanwhile.
    static bool Replace(const QSqlDatabase &db, const FileRow &loaded, const QString &rtf, bool *replaced,
                        ErrObject *err);

    // Reads the sources the game already has; false when the game is gone or the store fails.
    bool Begin(ErrObject *err);
    // Whether the game has a file from `path`, stored before or by this import.
    bool IsKnown(const QString &path) const;
    // Stores a converted file as a new file of the game, with its snapshot if it has one, whole or
    // not at all; its row receives the new id and the game's. A file the game got in the meantime (from another import)
    // is not stored again: true with Duplicate set and Skipped saying so.
    bool Store(ImportedFile *file, ErrObject *err);

    qint32 GameId() const { return m_gameId; }

private:
    QSqlDatabase m_db;
    qint32 m_gameId;
    bool m_shared;
    // An import stores thousands of files with the same two statements: they are prepared once.
    StoreQuery m_sourceQuery;
    StoreQuery m_insertQuery;
    QSet<QString> m_sources;
    // The last file id checked for this game's sources; -1 to check them all each time.
    qint64 m_checkedUpTo = -1;
};
