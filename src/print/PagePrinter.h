#pragma once

#include <QRectF>
#include <QString>
#include <QTextFrame>

#include <functional>
#include <memory>
#include <vector>

class QImage;
class QPagedPaintDevice;
class QPainter;
class QTextBlock;
class QTextDocument;

// The margins of every printout, in twips from the paper's edges.
struct PageMargins
{
    int Left = 800;
    int Top = 900;
    int Right = 900;
    int Bottom = 1000;
};

// How far a printout has got: first the document is laid out (characters of all), then its pages
// are drawn (pages of all). A printout of many files counts the files instead, first their pages
// (Counting), then as they are drawn (Files).
struct PrintProgress
{
    enum Phase { Layout, Pages, Files, Counting };
    Phase phase = Layout;
    qint64 done = 0;
    qint64 total = 0;
};
// Told of each step; answering false stops the printout.
using PrintProgressFn = std::function<bool(const PrintProgress &)>;

// Lays rich text out into the margin rectangle of a paged device (a printer, a PDF writer) and
// draws it page by page, a new page wherever the text no longer fits, with "Page n of m" at the
// foot of each page, inside the margins. Printing, PDF export and lkrtf all go through it, so a
// printout and its PDF look alike. Several documents can follow each other, each starting on a page
// of its own.
class PagePrinter final
{
public:
    explicit PagePrinter(QPagedPaintDevice *device, const PageMargins &margins = PageMargins());
    ~PagePrinter(); // ends the printout if End() was not called
    PagePrinter(const PagePrinter &) = delete;
    PagePrinter &operator=(const PagePrinter &) = delete;

    // Prints `document`, which is laid out for the device on the way (its page size, paint device
    // and margin change, so hand over a document of the printout's own). False when `progress`
    // stopped it or the device could not be drawn on.
    bool Print(QTextDocument *document, const PrintProgressFn &progress = PrintProgressFn());
    // How many pages `document` takes, laid out as Print would lay it out, without drawing it.
    // 0 when `progress` stopped it.
    int CountPages(QTextDocument *document, const PrintProgressFn &progress = PrintProgressFn());
    // The numbers at the foot: unless told otherwise, n counts the pages of the printout and m is
    // their number once the document at hand is printed. A printout of several documents, or whose
    // pages are put in another order, tells the number of the next page drawn and of all pages.
    void SetPageNumbers(int next, int total);
    // The text at the foot of page `page` of `total`.
    static QString PageNumberText(int page, int total);
    // The number of the next page drawn and of all pages as told; 0 when they follow the printout.
    int NextPageNumber() const { return m_nextNumber; }
    int TotalPageNumber() const { return m_totalPages; }

    // Sends the printout on (for a printer) or finishes the file (for a PDF writer).
    bool End();

    // Pages begun so far; the next document starts on this page (0-based).
    int PageCount() const { return m_pages; }
    // The drawing rectangle in device pixels, relative to the device's printable area.
    // The size of the text's part of that rectangle (above the page number) in the units of the
    // layout: points.
    QSizeF PageSize() const;
    // Why the printout failed, in words for the user.
    QString ErrorString() const { return m_error; }

private:
    // Where a page begins: its top in the layout, and the root frame's item holding that.
    struct PageStart
    {
        qreal top = 0;
        QTextFrame::iterator item;
    };
    bool begin();
    // Lays `document` out for the device; returns the page height in layout units.
    qreal prepare(QTextDocument *document) const;
    std::vector<PageStart> breakPages(QTextDocument *document, qreal height, const PrintProgressFn &progress);
    // Draws what of `document` lies in `page` (in layout points), the painter set up for it.
    void drawPage(QTextDocument *document, const PageStart &start, const QRectF &page);
    // Device pixels per layout point.
    qreal deviceScale() const;
    void drawListMarker(const QTextBlock &block);
    // The page number's line at the foot, in layout points.
    qreal footerHeight() const;
    void drawFooter(int page, int total);

    QPagedPaintDevice *m_device;
    std::unique_ptr<QImage> m_layoutDevice;
    std::unique_ptr<QPainter> m_painter;
    QRectF m_body;
    int m_pages = 0;
    int m_nextNumber = 0; // 0: the numbers follow the printout
    int m_totalPages = 0;
    QString m_error;
};
