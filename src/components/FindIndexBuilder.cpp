#include "FindIndexBuilder.h"

#include "BackgroundWork.h"
#include "BackupJob.h"

#include "base/ErrorLog.h"
#include "data/FindIndex.h"
#include "store/StoreAddress.h"
#include "store/WorkerConnection.h"

namespace {

// Files per step: a step takes a few tens of milliseconds, so Cancel is heard at once.
constexpr qint64 stepFiles = 100;
// A queue this long is a whole index being built, which rewrites much of the store: it is backed
// up first. A few changed files are indexed as they are.
constexpr qint64 backupFiles = 1000;

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
    if (pending >= backupFiles && !BackupJob::Before(window, db, QStringLiteral("before indexing")))
        return false;
    // The index is written on a connection of the work's own, on its thread; the window's stays idle.
    // The store as it was opened: a shared library's address keeps its password and parameters.
    const QString storePath = StoreAddress::Name(db);
    ErrObject workErr;
    const auto work = [&](const BackgroundWork::Report &report, QString *error) {
        const WorkerConnection store(storePath, WorkerConnection::Access::Write);
        qint64 done = 0;
        bool ok = store.Open(&workErr);
        while (ok && done < pending && report({0, done, pending})) {
            qint64 step = 0;
            ok = FindIndex::Update(store.Connection(), stepFiles, &step, &workErr);
            if (step == 0)
                break;
            done += step;
        }
        if (!ok)
            *error = workErr.Description;
        return ok;
    };
    const auto describe = [pending](const BackgroundWork::Step &step) {
        return BackgroundWork::Shown{
            int(step.done * 1000 / std::max<qint64>(pending, 1)),
            QStringLiteral("Building the search index: %L1 of %L2 files...").arg(step.done).arg(pending)};
    };
    QString error;
    switch (BackgroundWork::Run(window, QStringLiteral("Lorekeep"), work, describe, &error)) {
    case BackgroundWork::Outcome::Done: return true;
    case BackgroundWork::Outcome::Cancelled: return false;
    case BackgroundWork::Outcome::Failed: break;
    }
    LogError(workErr, QStringLiteral("FindIndexBuilder"), QStringLiteral("Build"), true);
    return false;
}
