#include "PdfExporter.h"

#include "data/FileTable.h"
#include "store/WorkerConnection.h"
#include "print/PdfExport.h"
#include "rtf/RtfReader.h"

#include <QFontDatabase>
#include <QSqlDatabase>
#include <QSqlError>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>

namespace {

// A file as it prints: the header, then its text, read a part at a time when it is long.
RtfPrintout filePrintout(const GameExport &game, const FileRow &row)
{
    return RtfPrintout(
        RtfReader::FromStoredText(row.txt_rtf),
        PrintJob::Header(game.Game + QStringLiteral(" - ") + game.Categories.value(row.sub_cat), row.desc, row.src));
}

// The contents page: the game's name, then each file with the page it starts on at the right.
void buildContents(const QString &game, const QVector<QPair<QString, int>> &files, int firstPage, qreal width,
                   QTextDocument *document)
{
    document->clear();
    document->setDefaultFont(QFontDatabase::systemFont(QFontDatabase::GeneralFont));
    QTextCursor cursor(document);
    QTextCharFormat heading;
    heading.setFontWeight(QFont::Bold);
    heading.setFontPointSize(16);
    cursor.insertText(game, heading);
    QTextBlockFormat line;
    // Tab positions are taken in pixels of 96 to the inch, the layout's units are points.
    line.setTabPositions({QTextOption::Tab(width * 96 / 72, QTextOption::RightTab)});
    line.setTopMargin(2);
    QTextCharFormat entry;
    entry.setFontPointSize(10);
    QTextCharFormat label = entry;
    label.setFontWeight(QFont::Bold);
    cursor.insertBlock(line);
    cursor.insertBlock(line);
    cursor.insertText(QStringLiteral("Contents"), label);
    cursor.insertBlock(line);
    for (const auto &file : files) {
        cursor.insertBlock(line);
        cursor.insertText(file.first + QLatin1Char('\t') + QString::number(firstPage + file.second + 1), entry);
    }
}

} // namespace

PrintJob::Outcome PdfExporter::ExportDocument(QWidget *window, std::unique_ptr<QTextDocument> document,
                                              const QString &path, const QString &title, QString *error)
{
    if (!PdfExport::CanWrite(path, error))
        return PrintJob::Outcome::Failed;
    return PrintJob::RunOn(
        window, QStringLiteral("Export to PDF"), std::move(document),
        [&path, &title](QTextDocument *owned, const PrintProgressFn &progress, QString *workError) {
            PdfExport pdf(path, PrintJob::LocalPaper(), title);
            if (!pdf.Printer().Print(owned, progress)) {
                *workError = pdf.Printer().ErrorString();
                return false;
            }
            return pdf.Save(workError);
        },
        error);
}

PrintJob::Outcome PdfExporter::ExportText(QWidget *window, RtfPrintout printout, const QString &path,
                                          const QString &title, QString *error)
{
    if (!PdfExport::CanWrite(path, error))
        return PrintJob::Outcome::Failed;
    return PrintJob::Run(
        window, QStringLiteral("Export to PDF"),
        [&](const PrintProgressFn &progress, QString *workError) {
            PdfExport pdf(path, PrintJob::LocalPaper(), title);
            if (!printout.Print(&pdf.Printer(), progress)) {
                *workError = pdf.Printer().ErrorString();
                return false;
            }
            return pdf.Save(workError);
        },
        error);
}

PrintJob::Outcome PdfExporter::ExportGame(QWidget *window, const GameExport &game, const QString &path, QString *error)
{
    if (!PdfExport::CanWrite(path, error))
        return PrintJob::Outcome::Failed;
    return PrintJob::Run(
        window, QStringLiteral("Export Game to PDF"),
        [&game, path](const PrintProgressFn &progress, QString *workError) {
            const WorkerConnection store(game.StorePath, WorkerConnection::Access::Read);
            if (ErrObject openErr; !store.Open(&openErr)) {
                *workError = openErr.Description;
                return false;
            }
            PdfExport pdf(path, PrintJob::LocalPaper(), game.Game);
            PagePrinter &pages = pdf.Printer();
            // The files' pages are counted first: every page says of how many it is one, and the
            // contents, drawn last and put first, say where each file starts.
            std::vector<RtfPrintout> printouts;
            QVector<QPair<QString, int>> files;
            int filePages = 0;
            const qint64 total = game.FileIds.size();
            for (qint64 i = 0; i < total; ++i) {
                if (!progress({PrintProgress::Counting, i, total}))
                    return false;
                FileRow row;
                bool found = false;
                ErrObject err;
                if (!FileTable::Read(store.Connection(), game.FileIds[int(i)], &row, &found, &err)) {
                    *workError = err.Description;
                    return false;
                }
                if (!found) // deleted since the export began
                    continue;
                RtfPrintout printout = filePrintout(game, row);
                const int counted = printout.CountPages(&pages, [&](const PrintProgress &) {
                    return progress({PrintProgress::Counting, i, total});
                });
                if (counted == 0)
                    return false;
                files.append({row.desc, filePages});
                filePages += counted;
                printouts.push_back(std::move(printout));
            }
            // The page numbers the contents give count its own pages, which are known once they
            // are laid out.
            QTextDocument contents;
            int contentsPages = 1;
            for (int tries = 0; tries < 3; ++tries) {
                buildContents(game.Game, files, contentsPages, pages.PageSize().width(), &contents);
                const int counted = pages.CountPages(&contents);
                if (counted == contentsPages)
                    break;
                contentsPages = counted;
            }

            pages.SetPageNumbers(contentsPages + 1, contentsPages + filePages);
            const qint64 printing = qint64(printouts.size());
            for (qint64 i = 0; i < printing; ++i) {
                if (!progress({PrintProgress::Files, i, printing}))
                    return false;
                const bool printed = printouts[std::size_t(i)].Print(&pages, [&](const PrintProgress &) {
                    return progress({PrintProgress::Files, i, printing});
                });
                if (!printed) {
                    *workError = pages.ErrorString();
                    return false;
                }
                printouts[std::size_t(i)] = RtfPrintout();
            }
            pages.SetPageNumbers(1, contentsPages + filePages);
            const int before = pages.PageCount();
            if (!pages.Print(&contents)) {
                *workError = pages.ErrorString();
                return false;
            }
            const int drawn = pages.PageCount() - before;
            pdf.MoveLastPagesToFront(drawn);
            pdf.AddOutline(QStringLiteral("Contents"), 0);
            for (const auto &file : std::as_const(files))
                pdf.AddOutline(file.first, drawn + file.second);
            return pdf.Save(workError);
        },
        error);
}
