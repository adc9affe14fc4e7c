#include "PrintJob.h"

#include "BackgroundWork.h"
#include "system/Prompts.h"

#include <QLocale>
#include <QPageSize>
#include <QPrinter>
#include <QTextCursor>
#include <QTextDocument>
#include <QThread>

namespace {

BackgroundWork::Shown describe(const BackgroundWork::Step &step)
{
    const qint64 total = std::max<qint64>(step.total, 1);
    switch (step.stage) {
    case PrintProgress::Layout:
        // Layout fills the first tenth of the bar, the pages the rest; files fill all of it.
        return {int(100 * step.done / total), QStringLiteral("Laying out the pages...")};
    case PrintProgress::Counting:
        // Counting the files' pages takes the first third of the bar, drawing them the rest.
        return {int(300 * step.done / total),
                QStringLiteral("Counting the pages: file %L1 of %L2").arg(step.done + 1).arg(step.total)};
    case PrintProgress::Files:
        return {300 + int(700 * step.done / total),
                QStringLiteral("File %L1 of %L2").arg(step.done + 1).arg(step.total)};
    default:
        return {100 + int(900 * step.done / total), QStringLiteral("Page %L1 of %L2").arg(step.done).arg(step.total)};
    }
}

} // namespace

PrintJob::Outcome PrintJob::Run(QWidget *window, const QString &title, const Work &work, QString *error)
{
    const BackgroundWork::Outcome outcome = BackgroundWork::Run(
        window, title,
        [&work](const BackgroundWork::Report &report, QString *workError) {
            return work(
                [&report](const PrintProgress &step) {
                    return report({step.phase, step.done, step.total});
                },
                workError);
        },
        &describe, error);
    if (outcome == BackgroundWork::Outcome::Failed && error->isEmpty())
        *error = QStringLiteral("The printout failed.");
    return static_cast<Outcome>(outcome);
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

namespace {

// Draws through `print`; a cancelled job is withdrawn, not sent with the pages drawn so far.
bool printOn(QPrinter *printer, const std::function<bool(PagePrinter *)> &print, QString *workError)
{
    PagePrinter pages(printer);
    const bool printed = print(&pages);
    if (!printed && !pages.ErrorString().isEmpty()) {
        *workError = pages.ErrorString();
        return false;
    }
    if (!printed)
        printer->abort();
    const bool ended = pages.End();
    if (!ended)
        *workError = pages.ErrorString();
    return printed && ended;
}

} // namespace

PrintJob::Outcome PrintJob::Print(QWidget *window, RtfPrintout printout, QPrinter *printer, QString *error)
{
    return Run(
        window, QStringLiteral("Print"),
        [&printout, printer](const PrintProgressFn &progress, QString *workError) {
            return printOn(
                printer, [&](PagePrinter *pages) { return printout.Print(pages, progress); }, workError);
        },
        error);
}

RtfPrintout::Prologue PrintJob::Header(const QString &title, const QString &file, const QString &source)
{
    return [title, file, source](QTextDocument *document) {
        QTextCursor cursor(document);
        AppendHeader(&cursor, title, file, source);
    };
}

PrintJob::Outcome PrintJob::Print(QWidget *window, std::unique_ptr<QTextDocument> document, QPrinter *printer,
                                  QString *error)
{
    return RunOn(
        window, QStringLiteral("Print"), std::move(document),
        [printer](QTextDocument *owned, const PrintProgressFn &progress, QString *workError) {
            return printOn(
                printer, [&](PagePrinter *pages) { return pages->Print(owned, progress); }, workError);
        },
        error);
}
