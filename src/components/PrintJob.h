#pragma once

#include "print/PagePrinter.h"
#include "print/RtfPrintout.h"
#include "system/ErrObject.h"

#include <QString>

#include <functional>
#include <memory>

class QPageSize;
class QPrinter;
class QTextCursor;
class QTextDocument;
class QWidget;

// Printing and PDF export with the window kept alive: the pages are laid out and drawn on a worker
// thread while the window goes on painting; once that has taken half a second a progress dialog
// counts the pages and offers Cancel.
class PrintJob final
{
public:
    // In the order of BackgroundWork's.
    enum class Outcome { Done, Cancelled, Failed };

    // The work: told how far it got through `progress`, which answers false once the user
    // cancelled; false with `error` in words for the user when it failed. It runs on the worker
    // thread and must not touch widgets or the store's connection.
    using Work = std::function<bool(const PrintProgressFn &progress, QString *error)>;

    // Runs `work`, with `title` on the progress dialog over `window`. Returns once the work has
    // ended, also after Cancel (the page at hand is finished first).
    static Outcome Run(QWidget *window, const QString &title, const Work &work, QString *error);

    // Runs `work` on `document`, which goes with it to the worker thread and is deleted there.
    using DocumentWork = std::function<bool(QTextDocument *document, const PrintProgressFn &progress, QString *error)>;
    static Outcome RunOn(QWidget *window, const QString &title, std::unique_ptr<QTextDocument> document,
                         const DocumentWork &work, QString *error);

    // The printer dialog, through the prompts. A cancelled dialog is an error, as it always was
    // for printing here: false with `err` set to "Cancel was selected.".
    static bool ChoosePrinter(QPrinter *printer, bool hasSelection, ErrObject *err);

    // Prints `document` (taken over) on `printer` with the margins of every printout.
    static Outcome Print(QWidget *window, std::unique_ptr<QTextDocument> document, QPrinter *printer, QString *error);

    // Prints a stored text on `printer` part by part, on the worker thread.
    static Outcome Print(QWidget *window, RtfPrintout printout, QPrinter *printer, QString *error);

    // The bold header of every printout of a file: its title on a line of its own, then "File: "
    // and "Source: " with their values, and an empty line before the text.
    static void AppendHeader(QTextCursor *cursor, const QString &title, const QString &file, const QString &source);

    // AppendHeader for the first part of a printout of a stored text; safe on the worker thread.
    static RtfPrintout::Prologue Header(const QString &title, const QString &file, const QString &source);

    // The paper of the user's country: Letter where it is the custom, A4 elsewhere.
    static QPageSize LocalPaper();

    // The error a cancelled printer dialog raises.
    static constexpr long CancelError = 32755;
};
