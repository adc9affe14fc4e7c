#include "FindIndexBuilder.h"

#include "BackupJob.h"

#include "base/ErrorLog.h"
#include "data/FindIndex.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProgressDialog>

#include <memory>

namespace {

// Files per step: a step takes a few tens of milliseconds, so the window answers between them.
constexpr qint64 stepFiles = 100;
constexpr int progressDelayMs = 500;
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
    if (pending >= backupFiles && !BackupJob::Before(window, db, QStringLiteral("before indexing")))
        return false;
    std::unique_ptr<QProgressDialog> progress;
    QElapsedTimer clock;
    clock.start();
    qint64 done = 0;
    while (done < pending) {
        if (!progress && clock.elapsed() >= progressDelayMs) {
            progress = std::make_unique<QProgressDialog>(window);
            progress->setWindowTitle(QStringLiteral("Lorekeep"));
            progress->setLabelText(QStringLiteral("Building the search index..."));
            progress->setCancelButtonText(QStringLiteral("&Stop"));
            progress->setWindowModality(Qt::WindowModal);
            progress->setMinimumDuration(0);
            progress->setAutoClose(false);
            progress->setAutoReset(false);
            progress->setMinimumWidth(380);
            progress->setRange(0, int(std::min<qint64>(pending, INT_MAX)));
            progress->show();
        }
        if (progress) {
            progress->setLabelText(
                QStringLiteral("Building the search index: %L1 of %L2 files...").arg(done).arg(pending));
            progress->setValue(int(std::min<qint64>(done, INT_MAX)));
            if (progress->wasCanceled())
                return false;
        } else {
            // Before the dialog shows, paint and timers go on; the user's input waits for the step.
            QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
        }
        qint64 step = 0;
        if (!FindIndex::Update(db, stepFiles, &step, &err)) {
            LogError(err, QStringLiteral("FindIndexBuilder"), QStringLiteral("Build"), true);
            return false;
        }
        if (step == 0)
            break;
        done += step;
    }
    return true;
}
