#include "PrintJob.h"

#include "platform/Prompts.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFutureWatcher>
#include <QLocale>
#include <QPageSize>
#include <QPrinter>
#include <QProgressDialog>
#include <QTextCursor>
#include <QTextDocument>
#include <QThread>
#include <QTimer>
#include <QtConcurrent>

#include <atomic>

namespace {

constexpr int progressDelayMs = 500;
constexpr int refreshMs = 100;

// What the worker reports, read by the window's thread on a timer.
struct Shared
{
    std::atomic<int> phase{PrintProgress::Layout};
    std::atomic<qint64> done{0};
    std::atomic<qint64> total{0};
    std::atomic<bool> cancelled{false};
};

QString progressText(const Shared &shared)
{
    if (shared.phase == PrintProgress::Layout)
        return QStringLiteral("Laying out the pages...");
    if (shared.phase == PrintProgress::Files)
        return QStringLiteral("File %L1 of %L2").arg(shared.done.load() + 1).arg(shared.total.load());
    return QStringLiteral("Page %L1 of %L2").arg(shared.done.load()).arg(shared.total.load());
}

} // namespace

PrintJob::Outcome PrintJob::Run(QWidget *window, const QString &title, const Work &work, QString *error)
{
    Shared shared;
    QString workError;
    const auto progress = [&shared](const PrintProgress &step) {
        shared.phase = step.phase;
        shared.total = step.total;
        shared.done = step.done;
        return !shared.cancelled;
    };
    QFutureWatcher<bool> watcher;
    QEventLoop loop;
    QObject::connect(&watcher, &QFutureWatcherBase::finished, &loop, &QEventLoop::quit);
    watcher.setFuture(QtConcurrent::run([&] { return work(progress, &workError); }));

    std::unique_ptr<QProgressDialog> dialog;
    QTimer refresh;
    QObject::connect(&refresh, &QTimer::timeout, &loop, [&] {
        if (!dialog) {
            dialog = std::make_unique<QProgressDialog>(window);
            dialog->setWindowTitle(title);
            dialog->setWindowModality(Qt::WindowModal);
            dialog->setMinimumDuration(0);
            dialog->setAutoClose(false);
            dialog->setAutoReset(false);
            dialog->setMinimumWidth(380);
            QObject::connect(dialog.get(), &QProgressDialog::canceled, &loop, [&] {
                shared.cancelled = true;
                dialog->setLabelText(QStringLiteral("Stopping..."));
                dialog->setCancelButton(nullptr);
            });
            dialog->show();
            refresh.setInterval(refreshMs);
            loop.quit(); // to take the user's input again, for Cancel
        }
        if (shared.cancelled)
            return;
        const qint64 total = std::max<qint64>(shared.total, 1);
        // Layout fills the first tenth of the bar, the pages the rest; files fill all of it.
        int value = int(1000 * shared.done / total);
        if (shared.phase == PrintProgress::Pages)
            value = 100 + int(900 * shared.done / total);
        else if (shared.phase == PrintProgress::Layout)
            value = int(100 * shared.done / total);
        dialog->setRange(0, 1000);
        dialog->setValue(value);
        dialog->setLabelText(progressText(shared));
    });
    refresh.start(progressDelayMs);
    if (!watcher.isFinished())
        // Until the dialog is up nothing blocks the window, so the user's clicks wait for it.
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    while (!watcher.isFinished() && dialog)
        loop.exec();
    watcher.waitForFinished();
    refresh.stop();

    if (shared.cancelled)
        return Outcome::Cancelled;
    if (!watcher.result()) {
        *error = workError.isEmpty() ? QStringLiteral("The printout failed.") : workError;
        return Outcome::Failed;
    }
    return Outcome::Done;
}

void PrintJob::AppendHeader(QTextCursor *cursor, const QString &title, const QString &file, const QString &source)
{
    QTextCharFormat bold;
    bold.setFontWeight(QFont::Bold);
    QTextCharFormat regular;
    regular.setFontWeight(QFont::Normal);
    cursor->insertText(title, bold);
    cursor->insertBlock();
    cursor->insertText(QStringLiteral("File: "), bold);
    cursor->insertText(file, regular);
    cursor->insertBlock();
    cursor->insertText(QStringLiteral("Source: "), bold);
    cursor->insertText(source, regular);
    cursor->insertBlock();
    cursor->insertBlock();
    cursor->setCharFormat(regular);
}

QPageSize PrintJob::LocalPaper()
{
    return QPageSize(QLocale::system().measurementSystem() == QLocale::ImperialUSSystem ? QPageSize::Letter
                                                                                        : QPageSize::A4);
}

PrintJob::Outcome PrintJob::RunOn(QWidget *window, const QString &title, std::unique_ptr<QTextDocument> document,
                                  const DocumentWork &work, QString *error)
{
    // Free of this thread, so that the worker can take the document as its own: its layout then
    // belongs to the thread that uses it.
    document->setParent(nullptr);
    document->moveToThread(nullptr);
    QTextDocument *moving = document.release();
    return Run(
        window, title,
        [&work, moving](const PrintProgressFn &progress, QString *workError) {
            // Deleted here, by the thread it belongs to.
            std::unique_ptr<QTextDocument> owned(moving);
            owned->moveToThread(QThread::currentThread());
            return work(owned.get(), progress, workError);
        },
        error);
}

bool PrintJob::ChoosePrinter(QPrinter *printer, bool hasSelection, ErrObject *err)
{
    if (Prompts::current().PrintDialog(printer, hasSelection))
        return true;
    *err = {CancelError, QStringLiteral("Cancel was selected.")};
    return false;
}

PrintJob::Outcome PrintJob::Print(QWidget *window, std::unique_ptr<QTextDocument> document, QPrinter *printer,
                                  QString *error)
{
    return RunOn(
        window, QStringLiteral("Print"), std::move(document),
        [printer](QTextDocument *owned, const PrintProgressFn &progress, QString *workError) {
            PagePrinter pages(printer);
            const bool printed = pages.Print(owned, progress);
            if (!printed && !pages.ErrorString().isEmpty()) {
                *workError = pages.ErrorString();
                return false;
            }
            // A cancelled job is withdrawn, not sent with the pages drawn so far.
            if (!printed)
                printer->abort();
            const bool ended = pages.End();
            if (!ended)
                *workError = pages.ErrorString();
            return printed && ended;
        },
        error);
}
