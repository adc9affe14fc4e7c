#pragma once

#include "system/ErrObject.h"

#include <QDateTime>
#include <QSqlDatabase>
#include <QString>
#include <QVector>

#include <functional>

// One backup in the home's "Backups" folder, named "<store> YYYY-MM-DD HH-MM-SS[ note].lkb.zst" when
// compressed, as backups are made now, or ".lkb" when plain: older backups, copies of a damaged
// store and of a shared library.
struct BackupInfo
{
    QString Path;
    // The name of the store it was made from: "lorekeep".
    QString StoreName;
    QDateTime Made;
    // Why it was made when not on the day's first start: "before restore", "damaged", ...
    QString Note;
    qint64 Size = 0;
    // When the file was written, which orders backups made within the same second.
    QDateTime Written;

    // The note of a byte copy of a store that could not be opened.
    static constexpr QLatin1String DamagedNote{"damaged"};
    static constexpr QLatin1String ManualNote{"manual"};
    static constexpr QLatin1String BeforeRestoreNote{"before restore"};
    bool IsDamaged() const { return Note == DamagedNote; }

    // Why a backup was made, in the order a damaged store's offer prefers them: the library as
    // the user kept it first, copies of a library that was being replaced last.
    enum class Kind { Daily, Manual, BeforeChange, BeforeRestore, Damaged };
    Kind kind() const;
};

// What a backup holds, read from it without changing it.
struct BackupContents
{
    qint64 Games = 0;
    qint64 Files = 0;

    // Whether this holds fewer games or fewer files than `other`.
    bool FewerThan(const BackupContents &other) const { return Games < other.Games || Files < other.Files; }
};

// Consistent copies of a store, made with SQLite's online backup while the program goes on using
// it and then compressed, and brought back the same way; whatever reads a compressed backup unpacks
// it beside itself first. Every function opens its own connections, so they may run on
// a worker thread; none shows a message. The files of a backup appear whole or not at all.
class StoreBackup final
{
public:
    // The folder in the home that holds the backups.
    static const QString FolderName; // "Backups"
    // How many backups of a store are kept when the setting says nothing.
    static constexpr int DefaultKeep = 10;
    // Told how many of `total` units are done; answers false to stop (the work then fails with
    // `Cancelled`). A `total` of 0 means the size of the work is not known.
    using Progress = std::function<bool(qint64 done, qint64 total)>;
    static constexpr long Cancelled = 32755;

    static QString Folder(const QString &home);
    static QString FileName(const QString &storeName, const QDateTime &made, const QString &note);

    // Copies the store at `storePath` into `folder` (made when missing) and compresses the copy;
    // `made` receives the new file's path. Progress runs to 1000: the copy, then the compression. Other connections may
    // read and write the store meanwhile: the copy holds the store as it was when the backup began.
    static bool Make(const QString &storePath, const QString &folder, const QString &note, QString *made,
                     ErrObject *err, const Progress &progress = {});
    // Copies a store that cannot be opened, byte for byte with its write-ahead log, into
    // `folder` as a backup noted "damaged"; nothing may have the store open.
    static bool KeepDamaged(const QString &storePath, const QString &folder, QString *made, ErrObject *err);

    // The backups in `folder`, newest first; only those of `storeName` unless it is empty.
    static QVector<BackupInfo> List(const QString &folder, const QString &storeName = {});
    // Whether `folder` holds a backup of `storeName` made on `day`.
    static bool MadeOn(const QString &folder, const QString &storeName, const QDate &day);
    // The same of backups listed already.
    static bool MadeOn(const QVector<BackupInfo> &backups, const QDate &day);
    // Deletes the oldest backups of `storeName` beyond the newest `keep`. Copies of damaged stores
    // are never deleted here: they may be all that is left of some of the user's work.
    static void Rotate(const QString &folder, const QString &storeName, int keep);

    // Removes what a backup cut off part-way (a killed program, a power cut) left in `folder`: the
    // unfinished copy with its journal or log. Only for when no backup can be under way, at start.
    // Returns the names removed.
    static QStringList RemoveLeftovers(const QString &folder);

    // Counts a backup's games and files.
    static bool Inspect(const QString &path, BackupContents *contents, ErrObject *err);
    // Whether the backup at `backupPath` holds file `fileId` with the text `rtf`: false when it
    // holds another text, or none, or cannot be read.
    static bool HoldsText(const QString &backupPath, qint32 fileId, const QString &rtf);
    // The games and files of the store `db` is open on.
    static bool Count(const QSqlDatabase &db, BackupContents *contents, ErrObject *err);
    // Whether the backup at `backupPath` holds the store at `storePath` as it is now, page for
    // page. False whenever that cannot be made sure of cheaply enough; `stopped` is set when
    // `progress` asked to stop.
    static bool Holds(const QString &backupPath, const QString &storePath, bool *stopped,
                      const Progress &progress = {});
    // Runs SQLite's integrity check on the store at `path` and checks that it is a Lorekeep store
    // this version reads; `problems` (may be null) receives what the check reported. False with
    // `err` naming the first problem when it is not sound.
    static bool Check(const QString &path, QStringList *problems, ErrObject *err, const Progress &progress = {});
    // SQLite's quicker check of the open store `db` (its pages and their links, not every index
    // entry), stopping at the first problem: enough to refuse writing into a damaged store. False
    // with the damaged-store message when it is not sound.
    static bool QuickCheck(const QSqlDatabase &db, ErrObject *err);

    // Brings the backup at `backupPath` back as the store at `storePath`, checking it first. The
    // store is replaced in one transaction, so a failure at any point leaves it as it was; a store
    // too damaged to be written that way is replaced by renaming a fresh copy over it. The
    // program's own connection to the store must be closed first.
    static bool Restore(const QString &backupPath, const QString &storePath, ErrObject *err,
                        const Progress &progress = {});
};
