#pragma once

#include "PagePrinter.h"

#include <QBuffer>
#include <QPageSize>
#include <QString>
#include <QVector>

#include <memory>

class QPdfWriter;

// A PDF file made through the page routine. The pages are drawn into memory and the file is
// written whole at the end, so an unwritable folder or a full disk leaves no half file behind and
// an existing file as it was. Beyond what Qt's writer does, it can give the file an outline (the
// viewer's bookmarks panel) and move pages drawn last, such as a contents page, to the front.
class PdfExport final
{
public:
    PdfExport(QString path, const QPageSize &pageSize = QPageSize(QPageSize::A4), const QString &title = QString());
    ~PdfExport();
    PdfExport(const PdfExport &) = delete;
    PdfExport &operator=(const PdfExport &) = delete;

    PagePrinter &Printer() { return *m_printer; }

    // An outline entry leading to `page` (0-based, in the final order).
    void AddOutline(const QString &title, int page);
    // Puts the last `count` pages drawn before all others.
    void MoveLastPagesToFront(int count) { m_lastToFront = count; }

    // Finishes the pages and writes the file; false with a message for the user when it could not.
    bool Save(QString *error);
    // Whether a PDF can be written to `path` (nothing is written), so that a long export can be
    // refused before it starts; false with the same message Save would give.
    static bool CanWrite(const QString &path, QString *error);

    // Adds the outline and the page order to a PDF written by Qt, as an incremental update (new
    // catalog and page tree appended, nothing before them changed). False when the PDF is not
    // laid out as Qt writes it.
    struct OutlineEntry
    {
        QString Title;
        int Page = 0;
    };
    static bool AddOutline(QByteArray *pdf, const QVector<OutlineEntry> &entries, int lastToFront);

private:
    QString m_path;
    QBuffer m_buffer;
    std::unique_ptr<QPdfWriter> m_writer;
    std::unique_ptr<PagePrinter> m_printer;
    QVector<OutlineEntry> m_outline;
    int m_lastToFront = 0;
};
