// frmMain's printing and PDF export: File > Print, the file windows' print requests, and the two
// exports to PDF.
#include "frmMain.h"

#include "base/ErrorLog.h"
#include "components/PdfExporter.h"
#include "data/FileTable.h"
#include "data/NodeKey.h"
#include "data/modADO.h"
#include "data/modNames.h"
#include "rtf/RtfReader.h"
#include "system/Prompts.h"
#include "system/SettingsStore.h"
#include "view/ctlView.h"
#include "widgets/ListView.h"
#include "widgets/RichTextLoader.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QPrinter>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextDocumentFragment>
#include <QUrl>

namespace {

const QString module = QStringLiteral("frmMain");

// A file name for a PDF made of `title`: the characters file systems refuse become blanks.
QString pdfName(const QString &title)
{
    QString name = title.simplified();
    for (QChar &ch : name) {
        if (ch == QLatin1Char('/') || ch == QLatin1Char('\\') || ch == QLatin1Char(':') ||
            ch.category() == QChar::Other_Control)
            ch = QLatin1Char(' ');
    }
    name = name.simplified();
    return (name.isEmpty() ? QStringLiteral("Lorekeep") : name.left(120)) + QStringLiteral(".pdf");
}

} // namespace

void frmMain::mnuFilePrint_Click()
{
    // The text of a print that was not carried out is replaced, not printed along with this one.
    rtbPrint->clear();
    std::optional<RtfPrintout> longText = m_ctlView->LongPrintout();
    if (!longText && !m_ctlView->PrintInfo(rtbPrint.get())) {
        MsgBox(QStringLiteral("Please select a game file to print."), MsgButtons::OK, MsgIcon::Exclamation);
        return;
    }
    QPrinter printer(QPrinter::HighResolution);
    // The job's name in the printer queue, and the name the dialog offers for a PDF.
    if (const ListItem *row = m_ctlView->FileList()->SelectedItem())
        printer.setDocName(row->Text());
    ErrObject err;
    if (!PrintJob::ChoosePrinter(&printer, false, &err))
        return LogError(err, module, QStringLiteral("mnuFilePrint_Click"), true);
    if (longText)
        return printText(std::move(*longText), &printer, QStringLiteral("mnuFilePrint_Click"));
    printDocument(&printer, QStringLiteral("mnuFilePrint_Click"));
}

void frmMain::PrintFromViewer(const QString &strTitle, const QString &strFile, const QString &strSource,
                              const QString &strTextRTF)
{
    // A long text is read a part at a time on the worker thread, not built here whole.
    const bool longText = strTextRTF.size() > RichTextLoader::threadedLength;
    if (!longText) {
        QTextCursor cursor(rtbPrint.get());
        cursor.movePosition(QTextCursor::End);
        PrintJob::AppendHeader(&cursor, strTitle, strFile, strSource);
        QTextDocument text;
        RtfReader::Read(strTextRTF.toLatin1(), &text);
        cursor.insertFragment(QTextDocumentFragment(&text));
    }

    QPrinter printer(QPrinter::HighResolution);
    printer.setDocName(strFile);
    ErrObject err;
    if (!PrintJob::ChoosePrinter(&printer, false, &err)) {
        rtbPrint->clear();
        return LogError(err, module, QStringLiteral("PrintFromViewer"), true);
    }
    if (longText)
        return printText(
            RtfPrintout(RtfReader::FromStoredText(strTextRTF), PrintJob::Header(strTitle, strFile, strSource)),
            &printer, QStringLiteral("PrintFromViewer"));
    printDocument(&printer, QStringLiteral("PrintFromViewer"));
}

void frmMain::printText(RtfPrintout printout, QPrinter *printer, const QString &procedure)
{
    QString error;
    if (PrintJob::Print(this, std::move(printout), printer, &error) == PrintJob::Outcome::Failed)
        LogError({ErrNumber::PrinterError, error}, module, procedure, true);
}

void frmMain::printDocument(QPrinter *printer, const QString &procedure)
{
    // The printout takes the text along, which leaves rtbPrint empty for the next one.
    std::unique_ptr<QTextDocument> job = std::exchange(rtbPrint, std::make_unique<QTextDocument>());
    QString error;
    if (PrintJob::Print(this, std::move(job), printer, &error) == PrintJob::Outcome::Failed)
        LogError({ErrNumber::PrinterError, error}, module, procedure, true);
}

std::optional<QString> frmMain::askPdfPath(const QString &title, const QString &name)
{
    FileDialogOptions options;
    options.Title = title;
    options.Filter = QStringLiteral("PDF Files *.pdf|*.pdf");
    options.DefaultExt = QStringLiteral("pdf");
    const QString folder = GetSetting(SettingKeys::ExportFolder);
    options.InitDir = folder.isEmpty() || !QDir(folder).exists() ? QDir::homePath() : folder;
    options.FileName = pdfName(name);
    std::optional<QString> path = Prompts::current().GetSaveFileName(options);
    if (path)
        SaveSetting(SettingKeys::ExportFolder, QFileInfo(*path).absolutePath());
    return path;
}

void frmMain::reportExport(PrintJob::Outcome outcome, const QString &path, const QString &error,
                           const QString &procedure)
{
    if (outcome == PrintJob::Outcome::Cancelled)
        return;
    if (outcome == PrintJob::Outcome::Done) {
        if (Prompts::current().Choose(QStringLiteral("Exported to ") + QDir::toNativeSeparators(path),
                                      {QStringLiteral("&Open PDF"), QStringLiteral("OK")}, MsgIcon::Information,
                                      QStringLiteral("Lorekeep")) == 0)
            QDesktopServices::openUrl(QUrl::fromLocalFile(path));
        return;
    }
    LogError({ErrNumber::PathFileAccess, error}, module, procedure, false);
    MsgBox(QStringLiteral("The PDF could not be written:\n") + error, MsgButtons::OK, MsgIcon::Exclamation);
}

void frmMain::mnuFileExportPdf_Click()
{
    auto document = std::make_unique<QTextDocument>();
    std::optional<RtfPrintout> longText = m_ctlView->LongPrintout();
    if (!longText && !m_ctlView->PrintInfo(document.get())) {
        MsgBox(QStringLiteral("Please select a game file to export."), MsgButtons::OK, MsgIcon::Exclamation);
        return;
    }
    const ListItem *row = m_ctlView->FileList()->SelectedItem();
    const QString title = row ? row->Text() : m_ctlView->CurrentGame().Name;
    const std::optional<QString> path = askPdfPath(QStringLiteral("Export to PDF"), title);
    if (!path)
        return;
    QString error;
    const PrintJob::Outcome outcome =
        longText ? PdfExporter::ExportText(this, std::move(*longText), *path, title, &error)
                 : PdfExporter::ExportDocument(this, std::move(document), *path, title, &error);
    reportExport(outcome, *path, error, QStringLiteral("mnuFileExportPdf_Click"));
}

void frmMain::ctlTree_ExportGame(qint32 lngGameId, const QString &strGame)
{
    GameExport game;
    game.StorePath = m_store->DatabasePath();
    game.Game = strGame;
    for (quint8 code = 1; code <= 6; ++code)
        game.Categories.insert(code, modNames::GetSubCatName(code));
    // The listed game goes in the order the list shows; another in the order the list would.
    if (m_ctlView->CurrentGame().GameId == lngGameId && m_ctlView->FileList()->Count() > 0) {
        const ListView *list = m_ctlView->FileList();
        for (int i = 1; i <= list->Count(); ++i) {
            if (const auto id = NodeKey::Id(list->ItemAt(i)->Key(), 0))
                game.FileIds.append(*id);
        }
    } else {
        ErrObject err;
        if (!FileTable::Ids(m_store->Connection(), lngGameId, &game.FileIds, &err))
            return LogError(err, module, QStringLiteral("ExportGame"), true);
    }
    const std::optional<QString> path = askPdfPath(QStringLiteral("Export Game to PDF"), strGame);
    if (!path)
        return;
    QString error;
    reportExport(PdfExporter::ExportGame(this, game, *path, &error), *path, error, QStringLiteral("ExportGame"));
}
