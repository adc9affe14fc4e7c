#include "FindIndexBuilder.h"

#include "BackgroundWork.h"
#include "BackupJob.h"

#include "base/ErrorLog.h"
#include "data/FindIndex.h"
#include "store/StoreAddress.h"
#include "store/WorkerConnection.h"

namespace {

// A queue this long is a whole index being built, which rewrites much of the store: it is backed
// up first. A few changed files are indexed as they are.
constexpr qint64 backupFiles = 1000;
// After a whole index is built, a store file with this much of it unused (an earlier, bigger index
// dropped, or many files deleted) gives the room back to the disk.
constexpr qint64 compactShare = 3;
constexpr qint64 compactBytes = 32 << 20;

} // namespace

bool FindIndexBuilder::Build(QWidget *window, const QSqlDatabase &db)
{
    ErrObject err;
    qint64 pending = 0;
    if (!FindIndex::Available(db))
        return false;
    if (!FindIndex::Pending(db, &pending, &err)) {
        LogError(err, QStringLiteral("FindIndexBuilder"), QStringLiteral("Build"), false);
        return false;
    }
    if (pending == 0)
        return true;
    const bool whole = pending >= backupFiles;
    if (whole && !BackupJob::Before(window, db, QStringLiteral("before indexing")))
        return false;
    // The index is written on a connection of the work's own, on its thread; the window's stays idle.
    // The store as it was opened: a shared library's address keeps its password and parameters.
    const QString storePath = StoreAddress::Name(db);
    ErrObject workErr, compactErr;
    const auto work = [&](const BackgroundWork::Report &report, QString *error) {
        const WorkerConnection store(storePath, WorkerConnection::Access::Write);
        qint64 done = 0;
        bool ok = store.Open(&workErr) &&
                  FindIndex::Update(store.Connection(), -1, &done, &workErr,
                                    [&](qint64 indexed) { return report({0, indexed, pending}); });
        if (!ok) {
            *error = workErr.Description;
            return false;
        }
        if (!whole || done < pending || StoreAddress::IsShared(storePath) || !report({0, done, pending}))
            return true;
        qint64 free = 0, size = 0;
        if (FindIndex::FreeRoom(store.Connection(), &free, &size, &compactErr) && free >= compactBytes &&
            free * compactShare >= size && report({1, 0, 0}))
            FindIndex::Compact(store.Connection(), &compactErr);
        return true;
    };
    const auto describe = [pending](const BackgroundWork::Step &step) {
        if (step.stage == 1)
            return BackgroundWork::Shown{-1, QStringLiteral("Making the store smaller: giving the room its search "
                                                            "index no longer needs back to the disk...")};
        return BackgroundWork::Shown{
            int(step.done * 1000 / std::max<qint64>(pending, 1)),
            QStringLiteral("Building the search index: %L1 of %L2 files...").arg(step.done).arg(pending)};
    };
    QString error;
    const BackgroundWork::Outcome outcome = BackgroundWork::Run(window, QStringLiteral("Lorekeep"), work, describe, &error);
    // The store works as it is when it could not be made smaller; the user learns why it is not.
    if (compactErr.isError())
        LogError(compactErr, QStringLiteral("FindIndexBuilder"), QStringLiteral("Build"), true);
    switch (outcome) {
    case BackgroundWork::Outcome::Done: return true;
    case BackgroundWork::Outcome::Cancelled: return false;
    case BackgroundWork::Outcome::Failed: break;
    }
    LogError(workErr, QStringLiteral("FindIndexBuilder"), QStringLiteral("Build"), true);
    return false;
}
