#pragma once

#include "BackgroundWork.h"
#include "data/StoreBackup.h"
#include "data/StoreCopy.h"

#include <QSqlDatabase>
#include <QString>
#include <QStringList>

#include <optional>

class QWidget;

// The backup a damaged store's offer names, with what it holds.
struct BackupChoice
{
    BackupInfo Backup;
    // Nothing when it could not be counted.
    std::optional<BackupContents> Contents;
    // Set when no day's or manual backup passed the check, so this one is of another kind.
    bool Fallback = false;
};

// The store's backups, made and brought back with the window alive (BackgroundWork), and the
// checks that decide when one is due. A shared library is kept safe by its server: it has no day's
// backup and no backup before a change, and Back Up Now keeps a copy of it as a ".lkb" file.
class BackupJob final
{
public:
    // The home's backup folder.
    static QString Folder();
    // The number of backups kept, from the settings.
    static int Keep();

    // Makes a backup of the store at `storePath` and, when `rotate` is set, deletes those beyond
    // the number kept. When the newest backup holds the store page for page, none is made:
    // `made` then receives that backup's path and `reused` (may be null) is set. A backup of the
    // same store under way is waited for first.
    static BackgroundWork::Outcome Make(QWidget *window, const QString &storePath, const QString &note, QString *made,
                                        QString *error, bool rotate = true, bool *reused = nullptr);

    // Copies the whole library at `source` (a file or a shared library's address) into the new
    // store `dest`, a ".lkb" path or an empty shared library, through StoreCopy on a worker
    // thread with progress and Cancel; `counts` receives what it took.
    static BackgroundWork::Outcome Copy(QWidget *window, const QString &title, const QString &source,
                                        const QString &dest, CopyCounts *counts, QString *error);

    // Whether the newest backup of the store already holds it as it is: made after the store's
    // file and its log were last written.
    static bool UpToDate(const QString &storePath);

    // The backup of the day, at the day's first start: made when no backup of the store was made
    // today and the store can be written. A failure is logged and shown; the work goes on.
    static void Daily(QWidget *window, const QString &storePath);

    // Before a change of many rows: backs up the store `db` is open on unless the newest backup
    // holds it already. True to go on with the change; false when the user cancelled, or chose
    // not to go on after the backup failed.
    static bool Before(QWidget *window, const QSqlDatabase &db, const QString &note);

    // Before the text of file `fileId` is replaced: makes sure a backup of the day holds it as
    // `rtf`, making one (with its progress) when none made today does. True to go on; false when the
    // user cancelled, or chose not to go on after the backup failed. A shared library has no
    // backups here: its caller asks instead.
    static bool KeepText(QWidget *window, const QSqlDatabase &db, qint32 fileId, const QString &rtf);

    // SQLite's integrity check of the store at `path`; `problems` receives what it reported.
    static BackgroundWork::Outcome Check(QWidget *window, const QString &path, QStringList *problems, QString *error);

    // Brings the backup at `backupPath` back as the store at `storePath` (closed by the caller).
    static BackgroundWork::Outcome Restore(QWidget *window, const QString &backupPath, const QString &storePath,
                                           QString *error);

    // The newest backup of the store that passes the integrity check, with its counts: the day's
    // and manual backups first, then those made before a change, and copies of a library being
    // replaced (before a restore, damaged) only when nothing else passes.
    static std::optional<BackupChoice> NewestGood(QWidget *window, const QString &storePath);

    // The games and files the store held when it was last closed cleanly.
    static std::optional<BackupContents> LastClosed(const QString &storePath);
    // Keeps the counts of the store `db` is open on as those of its last clean close; a failure
    // is logged.
    static void RememberClosed(const QSqlDatabase &db);

private:
    // Makes a backup noted `note`; when that fails, logs why under `procedure` and asks `question`.
    static bool makeOrAsk(QWidget *window, const QString &storePath, const QString &note, const QString &procedure,
                          const QString &question);
};
