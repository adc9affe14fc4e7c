#pragma once

#include "PrintJob.h"

#include <QHash>
#include <QString>
#include <QVector>

#include <memory>

class QTextDocument;
class QWidget;

// A game's files in one PDF.
struct GameExport
{
    QString StorePath; // read through a connection of the export's own, on its worker thread
    QString Game;
    QVector<qint32> FileIds;           // in the order of the file list
    QHash<quint8, QString> Categories; // sub-category names, for the files' headers
};

// PDF files through the page routine, with the window kept alive (see PrintJob).
class PdfExporter final
{
public:
    // Writes `document` (taken over) to the PDF file `path`.
    static PrintJob::Outcome ExportDocument(QWidget *window, std::unique_ptr<QTextDocument> document,
                                            const QString &path, const QString &title, QString *error);

    // Writes a stored text to `path` part by part.
    static PrintJob::Outcome ExportText(QWidget *window, RtfPrintout printout, const QString &path,
                                        const QString &title, QString *error);

    // Writes every file of a game to `path`: a contents page listing the files with the page each
    // starts on, then the files, each on a new page under its header. The PDF's outline holds the
    // contents and one entry per file.
    static PrintJob::Outcome ExportGame(QWidget *window, const GameExport &game, const QString &path, QString *error);
};
