#include "BackupJob.h"

#include "base/AppPath.h"
#include "base/ErrorLog.h"
#include "data/ClosedCounts.h"
#include "data/modADO.h"
#include "store/StoreAddress.h"
#include "store/StoreError.h"
#include "store/WorkerConnection.h"
#include "system/Prompts.h"
#include "system/SettingKeys.h"
#include "system/SettingsStore.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace {

const QString moduleName = QStringLiteral("BackupJob");

// The stages of a backup or a restore, for the progress dialog.
enum Stage { Checking, Comparing, Copying };

// A bar that fills with the work when its size is known, a busy bar otherwise.
BackgroundWork::Shown bar(const QString &text, const BackgroundWork::Step &step)
{
    if (step.total <= 0)
        return {-1, text};
    return {int(1000 * step.done / step.total), text};
}

StoreBackup::Progress reportAs(const BackgroundWork::Report &report, int stage)
{
    return [&report, stage](qint64 done, qint64 total) {
        return report({stage, done, total});
    };
}

// Runs work that reports through StoreBackup's progress and fails with an ErrObject.
using StoreWork = std::function<bool(const BackgroundWork::Report &, ErrObject *)>;
BackgroundWork::Outcome run(QWidget *window, const QString &title, const StoreWork &work,
                            const BackgroundWork::Describe &describe, QString *error)
{
    ErrObject err;
    const BackgroundWork::Outcome outcome = BackgroundWork::Run(
        window, title, [&work, &err](const BackgroundWork::Report &report, QString *) { return work(report, &err); },
        describe, error);
    if (outcome == BackgroundWork::Outcome::Done)
        return outcome;
    // Work that stopped without an error of its own was cancelled.
    if (!err.isError() || err.Number == StoreBackup::Cancelled || err.Number == StoreCopy::Stopped)
        return BackgroundWork::Outcome::Cancelled;
    *error = err.Description;
    return BackgroundWork::Outcome::Failed;
}

QDateTime lastWritten(const QString &storePath)
{
    QDateTime last = QFileInfo(storePath).lastModified();
    // The log holds the newest changes until they are copied into the store; an empty one holds none.
    const QFileInfo log(storePath + QStringLiteral("-wal"));
    if (log.exists() && log.size() > 0)
        last = std::max(last, log.lastModified());
    return last;
}

// The store's backups that hold it, newest first: not the copies of damaged stores.
QVector<BackupInfo> soundBackups(const QString &storePath)
{
    QVector<BackupInfo> backups = StoreBackup::List(BackupJob::Folder(), modADO::NameFromPath(storePath));
    backups.erase(std::remove_if(backups.begin(), backups.end(), [](const BackupInfo &b) { return b.IsDamaged(); }),
                  backups.end());
    return backups;
}

bool holdsStore(const QVector<BackupInfo> &backups, const QString &storePath)
{
    return !backups.isEmpty() && backups.constFirst().Written > lastWritten(storePath);
}

bool writable(const QString &storePath)
{
    return modADO::ReadOnlyReason(storePath).isEmpty();
}

int preference(const BackupInfo &backup)
{
    switch (backup.kind()) {
    case BackupInfo::Kind::Daily:
    case BackupInfo::Kind::Manual: return 0;
    case BackupInfo::Kind::BeforeChange: return 1;
    case BackupInfo::Kind::BeforeRestore: return 2;
    case BackupInfo::Kind::Damaged: return 3;
    }
    return 3;
}

} // namespace

QString BackupJob::Folder()
{
    return StoreBackup::Folder(AppPath());
}

int BackupJob::Keep()
{
    return int(std::clamp<long>(SettingNumber(GetSetting(SettingKeys::BackupsKeep)).value_or(StoreBackup::DefaultKeep),
                                1, 999));
}

BackgroundWork::Outcome BackupJob::Copy(QWidget *window, const QString &title, const QString &source,
                                        const QString &dest, CopyCounts *counts, QString *error)
{
    return run(
        window, title,
        [&](const BackgroundWork::Report &report, ErrObject *err) {
            const WorkerConnection connection(source, WorkerConnection::Access::Read);
            return connection.Open(err) &&
                   StoreCopy::Copy(connection.Connection(), dest, reportAs(report, Copying), counts, err);
        },
        [](const BackgroundWork::Step &step) {
            return step.total <= 0
                       ? BackgroundWork::Shown{-1, QStringLiteral("Copying the library...")}
                       : bar(QStringLiteral("Copying the library: %L1 of %L2 rows...").arg(step.done).arg(step.total),
                             step);
        },
        error);
}

BackgroundWork::Outcome BackupJob::Make(QWidget *window, const QString &storePath, const QString &note, QString *made,
                                        QString *error, bool rotate, bool *reused)
{
    const QString folder = Folder();
    if (reused)
        *reused = false;
    if (StoreAddress::IsShared(storePath)) {
        // The server keeps the library itself; what is kept here is a copy of it as a store file,
        // named as the other backups so that it lists and rotates with them.
        if (!QDir().mkpath(folder)) {
            *error = QStringLiteral("The backup folder \"%1\" cannot be made.").arg(QDir::toNativeSeparators(folder));
            return BackgroundWork::Outcome::Failed;
        }
        const QString name = modADO::NameFromPath(storePath);
        const QDateTime now = QDateTime::currentDateTime();
        QString path = QDir(folder).filePath(StoreBackup::FileName(name, now, note));
        for (int n = 2; QFileInfo::exists(path); ++n)
            path = QDir(folder).filePath(StoreBackup::FileName(name, now, note).chopped(4) +
                                         QStringLiteral(" (%1).lkb").arg(n));
        CopyCounts counts;
        const BackgroundWork::Outcome outcome = Copy(window, QStringLiteral("Backup"), storePath, path, &counts, error);
        if (outcome == BackgroundWork::Outcome::Done) {
            if (made)
                *made = path;
            if (rotate)
                StoreBackup::Rotate(folder, name, Keep());
        }
        return outcome;
    }
    const QVector<BackupInfo> backups = soundBackups(storePath);
    bool held = false;
    const BackgroundWork::Outcome outcome = run(
        window, QStringLiteral("Backup"),
        [&](const BackgroundWork::Report &report, ErrObject *err) {
            bool stopped = false;
            if (!backups.isEmpty() &&
                StoreBackup::Holds(backups.constFirst().Path, storePath, &stopped, reportAs(report, Comparing))) {
                held = true;
                if (made)
                    *made = backups.constFirst().Path;
                return true;
            }
            if (stopped) {
                *err = {StoreBackup::Cancelled, QString()};
                return false;
            }
            return StoreBackup::Make(storePath, folder, note, made, err, reportAs(report, Copying));
        },
        [](const BackgroundWork::Step &step) {
            // The second half of a backup's bar is its compression.
            return bar(step.stage == Comparing      ? QStringLiteral("Comparing the library with its newest backup...")
                       : step.done * 2 < step.total ? QStringLiteral("Backing up the library...")
                                                    : QStringLiteral("Compressing the backup..."),
                       step);
        },
        error);
    if (reused)
        *reused = held && outcome == BackgroundWork::Outcome::Done;
    if (outcome == BackgroundWork::Outcome::Done && rotate && !held)
        StoreBackup::Rotate(folder, modADO::NameFromPath(storePath), Keep());
    return outcome;
}

bool BackupJob::UpToDate(const QString &storePath)
{
    return !StoreAddress::IsShared(storePath) && holdsStore(soundBackups(storePath), storePath);
}

void BackupJob::Daily(QWidget *window, const QString &storePath)
{
    if (StoreAddress::IsShared(storePath) || !writable(storePath))
        return;
    const QVector<BackupInfo> backups = soundBackups(storePath);
    if (StoreBackup::MadeOn(backups, QDate::currentDate()) || holdsStore(backups, storePath))
        return;
    QString error;
    if (Make(window, storePath, QString(), nullptr, &error) == BackgroundWork::Outcome::Failed)
        LogError(
            {ErrNumber::PathFileAccess, QStringLiteral("Today's backup of your library was not made. %1").arg(error)},
            moduleName, QStringLiteral("Daily"), true);
}

bool BackupJob::KeepText(QWidget *window, const QSqlDatabase &db, qint32 fileId, const QString &rtf)
{
    if (StoreAddress::IsShared(db))
        return true;
    const QString storePath = StoreError::storePath(db);
    QVector<BackupInfo> today = soundBackups(storePath);
    today.erase(std::remove_if(today.begin(), today.end(),
                               [](const BackupInfo &b) { return b.Made.date() != QDate::currentDate(); }),
                today.end());
    // The text may have changed since the day's backup was made; only one that holds it will do.
    if (!today.isEmpty() && StoreBackup::HoldsText(today.constFirst().Path, fileId, rtf))
        return true;
    // The first of the day is the day's backup, whatever made it.
    return makeOrAsk(window, storePath, today.isEmpty() ? QString() : QStringLiteral("before reopening"),
                     QStringLiteral("KeepText"), QStringLiteral("Replace the text without a backup?"));
}

bool BackupJob::Before(QWidget *window, const QSqlDatabase &db, const QString &note)
{
    if (StoreAddress::IsShared(db))
        return true;
    const QString storePath = StoreError::storePath(db);
    if (!writable(storePath) || UpToDate(storePath))
        return true;
    return makeOrAsk(window, storePath, note, QStringLiteral("Before"), QStringLiteral("Go on without a backup?"));
}

bool BackupJob::makeOrAsk(QWidget *window, const QString &storePath, const QString &note, const QString &procedure,
                          const QString &question)
{
    QString error;
    switch (Make(window, storePath, note, nullptr, &error)) {
    case BackgroundWork::Outcome::Done: return true;
    case BackgroundWork::Outcome::Cancelled: return false;
    case BackgroundWork::Outcome::Failed: break;
    }
    LogError({ErrNumber::PathFileAccess, error}, moduleName, procedure, false);
    return MsgBox(QStringLiteral("The backup of your library could not be made:\n\n%1\n\n%2").arg(error, question),
                  MsgButtons::YesNo, MsgIcon::Exclamation) == MsgResult::Yes;
}

BackgroundWork::Outcome BackupJob::Check(QWidget *window, const QString &path, QStringList *problems, QString *error)
{
    return run(
        window, QStringLiteral("Check Library"),
        [&](const BackgroundWork::Report &report, ErrObject *err) {
            const bool ok = StoreBackup::Check(path, problems, err, reportAs(report, Checking));
            // A damaged store is the check's answer, not its failure.
            if (!ok && !problems->isEmpty())
                err->Clear();
            return ok || !problems->isEmpty();
        },
        [](const BackgroundWork::Step &) {
            return BackgroundWork::Shown{-1, QStringLiteral("Checking the library...")};
        },
        error);
}

BackgroundWork::Outcome BackupJob::Restore(QWidget *window, const QString &backupPath, const QString &storePath,
                                           QString *error)
{
    return run(
        window, QStringLiteral("Restore From Backup"),
        [&](const BackgroundWork::Report &report, ErrObject *err) {
            return StoreBackup::Restore(backupPath, storePath, err, [&report](qint64 done, qint64 total) {
                return report({total > 0 ? Copying : Checking, done, total});
            });
        },
        [](const BackgroundWork::Step &step) {
            return step.stage == Checking ? BackgroundWork::Shown{-1, QStringLiteral("Checking the backup...")}
                                          : bar(QStringLiteral("Restoring the library..."), step);
        },
        error);
}

std::optional<BackupChoice> BackupJob::NewestGood(QWidget *window, const QString &storePath)
{
    QVector<BackupInfo> backups = StoreBackup::List(Folder(), modADO::NameFromPath(storePath));
    std::stable_sort(backups.begin(), backups.end(),
                     [](const BackupInfo &a, const BackupInfo &b) { return preference(a) < preference(b); });
    std::optional<BackupChoice> good;
    QString error;
    run(
        window, QStringLiteral("Restore From Backup"),
        [&](const BackgroundWork::Report &report, ErrObject *err) {
            for (const BackupInfo &backup : std::as_const(backups)) {
                ErrObject checkErr;
                if (StoreBackup::Check(backup.Path, nullptr, &checkErr, reportAs(report, Checking))) {
                    good = BackupChoice{backup, std::nullopt, preference(backup) > 0};
                    BackupContents contents;
                    if (StoreBackup::Inspect(backup.Path, &contents, &checkErr))
                        good->Contents = contents;
                    return true;
                }
                if (checkErr.Number == StoreBackup::Cancelled) {
                    *err = checkErr;
                    return false;
                }
            }
            return true;
        },
        [](const BackgroundWork::Step &) {
            return BackgroundWork::Shown{-1, QStringLiteral("Looking for a good backup...")};
        },
        &error);
    return good;
}

std::optional<BackupContents> BackupJob::LastClosed(const QString &storePath)
{
    return ClosedCounts::Recall(Folder(), storePath);
}

void BackupJob::RememberClosed(const QSqlDatabase &db)
{
    // The counts warn of a file backup holding less than the store had; a shared library is not
    // restored from here.
    if (StoreAddress::IsShared(db))
        return;
    BackupContents counts;
    ErrObject err;
    if (!StoreBackup::Count(db, &counts, &err) ||
        !ClosedCounts::Remember(Folder(), StoreError::storePath(db), counts, &err))
        LogError(err, moduleName, QStringLiteral("RememberClosed"), false);
}
