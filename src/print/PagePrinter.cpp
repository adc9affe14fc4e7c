#include "PagePrinter.h"

#include "rtf/FixedPitch.h"
#include "system/Twips.h"

#include <QAbstractTextDocumentLayout>
#include <QFontMetricsF>
#include <QImage>
#include <QPagedPaintDevice>
#include <QPainter>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextFrame>
#include <QTextLayout>
#include <QTextList>
#include <QTextTable>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace {

// Characters laid out between two progress reports: a few milliseconds of work.
constexpr int layoutStepChars = 32 * 1024;

// Text is laid out in points and drawn scaled to the device. Laid out in the device's own pixels
// (1200 per inch for a PDF) a document of some thousand pages would run past the largest
// coordinate the layout can hold and come out blank; in points that is ten times as far away.
constexpr int layoutDpi = 72;

// The page number is set small, and the line it stands on takes the height of a line of text.
constexpr int footerPoints = 8;
constexpr qreal footerLines = 1.5;

// Sized in the layout's units, which are points: a painter takes a font's point size in its
// device's own resolution, whatever device the font was made for.
QFont footerFont()
{
    QFont font;
    font.setPixelSize(footerPoints);
    return font;
}

QImage layoutDevice()
{
    QImage image(1, 1, QImage::Format_Mono);
    const int dotsPerMeter = qRound(layoutDpi / 0.0254);
    image.setDotsPerMeterX(dotsPerMeter);
    image.setDotsPerMeterY(dotsPerMeter);
    return image;
}

// A fixed-pitch text prints with its lines as written: the font gets as small as it must for its
// longest line, and at least the 80 columns such texts were written for, to fit between the margins.
// Only lines longer than the most a page can hold legibly are broken.
constexpr int printedColumns = 80;
constexpr int mostPrintedColumns = 160;

void fitColumns(QTextDocument *document, qreal width, QPaintDevice *device)
{
    if (!IsFixedPitchText(document))
        return;
    // The text's own font, found at its first fixed-pitch words; what comes before them (a printout's
    // header) keeps its size.
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next()) {
        for (QTextBlock::iterator it = block.begin(); !it.atEnd(); ++it) {
            const QTextCharFormat format = it.fragment().charFormat();
            if (!IsFixedPitchFormat(format))
                continue;
            const int columns = std::max(printedColumns, LongestLine(document, mostPrintedColumns));
            // A little to spare, so that rounding in the layout never pushes the last column over.
            const qreal fits = std::floor(ColumnsFitSize(format.font(), columns, width, device) * 0.98 * 10) / 10;
            const qreal size = format.hasProperty(QTextFormat::FontPointSize) ? format.fontPointSize()
                                                                              : document->defaultFont().pointSizeF();
            if (size <= fits)
                return;
            QTextCursor cursor(document);
            cursor.setPosition(block.position());
            cursor.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
            QTextCharFormat smaller;
            smaller.setFontPointSize(fits);
            cursor.mergeCharFormat(smaller);
            return;
        }
    }
}

// A picture wider than the page would be cut off at its edge: it is made as wide as the text,
// its height in proportion.
void fitPictures(QTextDocument *document, qreal textWidth)
{
    // A picture's size is given in pixels of a 96-dpi screen, which Qt's layout scales to the
    // resolution of the layout.
    const qreal width = textWidth * 96 / layoutDpi;
    // Found first and changed after: changing a format merges and splits the fragments walked.
    std::vector<std::pair<int, QTextImageFormat>> wide;
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next()) {
        for (QTextBlock::iterator it = block.begin(); !it.atEnd(); ++it) {
            const QTextImageFormat picture = it.fragment().charFormat().toImageFormat();
            if (picture.isValid() && picture.width() > width) {
                for (int i = 0; i < it.fragment().length(); ++i)
                    wide.emplace_back(it.fragment().position() + i, picture);
            }
        }
    }
    for (const auto &[position, picture] : wide) {
        QTextImageFormat narrower = picture;
        narrower.setHeight(picture.height() > 0 ? picture.height() * width / picture.width() : 0);
        narrower.setWidth(width);
        QTextCursor cursor(document);
        cursor.setPosition(position);
        cursor.setPosition(position + 1, QTextCursor::KeepAnchor);
        cursor.setCharFormat(narrower);
    }
}

} // namespace

PagePrinter::PagePrinter(QPagedPaintDevice *device, const PageMargins &margins)
    : m_device(device), m_layoutDevice(std::make_unique<QImage>(layoutDevice()))
{
    const double dpiX = device->logicalDpiX();
    const double dpiY = device->logicalDpiY();
    const QPageLayout page = device->pageLayout();
    const QRectF paper = page.fullRectPixels(int(dpiX));
    // The device draws from the corner of its printable area, so the margins, which are measured
    // from the paper's edges, are shifted by that area's offset.
    const QPointF offset = page.paintRectPixels(int(dpiX)).topLeft();
    const auto x = [dpiX](int twips) {
        return twips * dpiX / Twips::PerInch;
    };
    const auto y = [dpiY](int twips) {
        return twips * dpiY / Twips::PerInch;
    };
    m_body = QRectF(QPointF(x(margins.Left), y(margins.Top)),
                    QPointF(paper.width() - x(margins.Right), paper.height() - y(margins.Bottom)))
                 .translated(-offset);
}

PagePrinter::~PagePrinter()
{
    End();
}

bool PagePrinter::begin()
{
    if (m_painter)
        return true;
    if (m_body.width() < 1 || m_body.height() < 1) {
        m_error = QStringLiteral("The paper is too small for the margins.");
        return false;
    }
    m_painter = std::make_unique<QPainter>();
    if (!m_painter->begin(m_device)) {
        m_painter.reset();
        m_error = QStringLiteral("The printer could not be started.");
        return false;
    }
    return true;
}

namespace {

// Lines end exactly where a page does; comparisons allow for the layout's 1/64 of a point.
constexpr qreal edge = 0.1;

} // namespace

bool PagePrinter::Print(QTextDocument *document, const PrintProgressFn &progress)
{
    if (!begin())
        return false;
    const qreal scale = deviceScale();
    const qreal height = prepare(document);

    const std::vector<PageStart> pages = breakPages(document, height, progress);
    if (pages.empty())
        return false;
    const int total = m_nextNumber > 0 ? m_totalPages : m_pages + int(pages.size());
    const QRectF text(m_body.topLeft(), QSizeF(m_body.width(), height * scale));
    for (std::size_t page = 0; page < pages.size(); ++page) {
        if (m_pages > 0 && !m_device->newPage()) {
            m_error = QStringLiteral("The printer could not start a new page.");
            return false;
        }
        ++m_pages;
        const qreal top = pages[page].top;
        const qreal bottom = page + 1 < pages.size() ? pages[page + 1].top : top + height;
        m_painter->save();
        m_painter->setClipRect(text);
        m_painter->translate(m_body.topLeft());
        m_painter->scale(scale, scale);
        m_painter->translate(0, -top);
        drawPage(document, pages[page], QRectF(0, top, document->textWidth(), bottom - top));
        m_painter->restore();
        drawFooter(m_nextNumber > 0 ? m_nextNumber++ : m_pages, total);
        if (progress && !progress({PrintProgress::Pages, qint64(page) + 1, qint64(pages.size())}))
            return false;
    }
    return true;
}

qreal PagePrinter::deviceScale() const
{
    return qreal(m_device->logicalDpiY()) / layoutDpi;
}

QSizeF PagePrinter::PageSize() const
{
    const QSizeF body = m_body.size() / deviceScale();
    return {body.width(), std::max<qreal>(1, body.height() - footerHeight())};
}

qreal PagePrinter::footerHeight() const
{
    return QFontMetricsF(footerFont()).lineSpacing() * footerLines;
}

void PagePrinter::SetPageNumbers(int next, int total)
{
    m_nextNumber = next;
    m_totalPages = total;
}

QString PagePrinter::PageNumberText(int page, int total)
{
    return QStringLiteral("Page %1 of %2").arg(page).arg(total);
}

void PagePrinter::drawFooter(int page, int total)
{
    const qreal scale = deviceScale();
    const QSizeF body = m_body.size() / scale;
    m_painter->save();
    m_painter->translate(m_body.topLeft());
    m_painter->scale(scale, scale);
    m_painter->setPen(Qt::black);
    const QFont font = footerFont();
    const QFontMetricsF metrics(font);
    const QString text = PageNumberText(page, std::max(page, total));
    m_painter->setFont(font);
    m_painter->drawText(
        QPointF((body.width() - metrics.horizontalAdvance(text)) / 2, body.height() - metrics.descent()), text);
    m_painter->restore();
}

qreal PagePrinter::prepare(QTextDocument *document) const
{
    const QSizeF page = PageSize();
    // Every change lays the whole document out again, so a document counted and then printed, or
    // printed twice, is set up once.
    if (document->documentMargin() == 0 && document->useDesignMetrics() && document->textWidth() == page.width() &&
        document->documentLayout()->paintDevice() == m_layoutDevice.get())
        return page.height();
    document->setDocumentMargin(0);
    // Unhinted widths, so that the points of the layout scale to the device without drifting.
    document->setUseDesignMetrics(true);
    document->documentLayout()->setPaintDevice(m_layoutDevice.get());
    fitColumns(document, page.width(), m_layoutDevice.get());
    fitPictures(document, page.width());
    // One long page: the breaks are ours. Qt's own pagination lets a line with extra spacing run
    // past the bottom of its page, where it would be cut off.
    document->setTextWidth(page.width());
    return page.height();
}

int PagePrinter::CountPages(QTextDocument *document, const PrintProgressFn &progress)
{
    return int(breakPages(document, prepare(document), progress).size());
}

std::vector<PagePrinter::PageStart> PagePrinter::breakPages(QTextDocument *document, qreal height,
                                                            const PrintProgressFn &progress)
{
    // A new page starts at the first line (or table) that does not fit on the current one, as a
    // printer's page loop does. Asking where a block lies lays out everything before it, so a long
    // document reports how far it got, and can be stopped, on the way.
    QAbstractTextDocumentLayout *layout = document->documentLayout();
    const qint64 length = document->characterCount();
    qint64 nextReport = layoutStepChars;
    QTextFrame *root = document->rootFrame();
    std::vector<PageStart> pages{{0, root->begin()}};
    const auto fits = [&](qreal top, qreal bottom) {
        // A piece taller than a page stays where it is and is cut at the bottom.
        return bottom <= pages.back().top + height + edge || top <= pages.back().top + edge;
    };
    for (auto it = root->begin(); !it.atEnd(); ++it) {
        if (QTextFrame *frame = it.currentFrame()) {
            const QRectF bounds = layout->frameBoundingRect(frame);
            auto *table = qobject_cast<QTextTable *>(frame);
            if (!table || fits(bounds.top(), bounds.bottom())) {
                if (!fits(bounds.top(), bounds.bottom()))
                    pages.push_back({bounds.top(), it});
            } else {
                // A table longer than what is left of the page goes on over as many as it needs,
                // a new page at the first row that does not fit.
                const qreal padding = table->format().cellPadding() + table->format().border();
                const auto rowTop = [&](int row) {
                    return row < table->rows()
                               ? layout->blockBoundingRect(table->cellAt(row, 0).firstCursorPosition().block()).top() -
                                     padding
                               : bounds.bottom();
                };
                for (int row = 0; row < table->rows(); ++row) {
                    const qreal top = row == 0 ? bounds.top() : rowTop(row);
                    if (!fits(top, rowTop(row + 1)))
                        pages.push_back({top, it});
                }
            }
            // What is left of a row longer than a page goes on over as many as it needs.
            while (bounds.bottom() > pages.back().top + height + edge)
                pages.push_back({pages.back().top + height, it});
            continue;
        }
        const QTextBlock block = it.currentBlock();
        layout->blockBoundingRect(block);
        const QTextLayout *text = block.layout();
        for (int i = 0; i < text->lineCount(); ++i) {
            const QTextLine line = text->lineAt(i);
            const qreal top = text->position().y() + line.y();
            if (!fits(top, top + line.height()))
                pages.push_back({top, it});
        }
        if (block.position() >= nextReport) {
            nextReport = block.position() + layoutStepChars;
            if (progress && !progress({PrintProgress::Layout, block.position(), length}))
                return {};
        }
    }
    return pages;
}

void PagePrinter::drawPage(QTextDocument *document, const PageStart &start, const QRectF &page)
{
    QAbstractTextDocumentLayout *layout = document->documentLayout();
    m_painter->setPen(Qt::black); // paper is white whatever the desktop's colours
    // Paragraphs are drawn line by line: a line belongs to the page it starts on. The document's
    // own drawing would also draw the lines around its clip, which a PDF keeps as text even where
    // they are hidden. Tables and other frames are left to it, clipped to what lies on the page.
    for (auto it = start.item; !it.atEnd(); ++it) {
        if (QTextFrame *frame = it.currentFrame()) {
            const QRectF bounds = layout->frameBoundingRect(frame);
            if (bounds.top() >= page.bottom() - edge)
                break;
            QAbstractTextDocumentLayout::PaintContext context;
            context.palette.setColor(QPalette::Text, Qt::black);
            context.clip = bounds.intersected(page).adjusted(0, edge, 0, -edge);
            layout->draw(m_painter.get(), context);
            continue;
        }
        const QTextBlock block = it.currentBlock();
        const QRectF bounds = layout->blockBoundingRect(block);
        if (bounds.top() >= page.bottom() - edge)
            break;
        if (!block.isVisible())
            continue;
        const QBrush background = block.blockFormat().background();
        if (background.style() != Qt::NoBrush)
            m_painter->fillRect(bounds.intersected(page), background);
        const QTextLayout *text = block.layout();
        for (int i = 0; i < text->lineCount(); ++i) {
            const QTextLine line = text->lineAt(i);
            const qreal top = text->position().y() + line.y();
            if (top >= page.bottom() - edge)
                break;
            if (top < page.top() - edge)
                continue;
            if (i == 0 && block.textList())
                drawListMarker(block);
            line.draw(m_painter.get(), text->position());
        }
    }
}

void PagePrinter::drawListMarker(const QTextBlock &block)
{
    QTextLayout *text = block.layout();
    if (text->lineCount() == 0)
        return;
    const QTextLine first = text->lineAt(0);
    const QPointF origin = text->position() + first.position();
    const QFont font = QTextCursor(block).charFormat().font();
    const QFontMetricsF metrics(font, m_layoutDevice.get());
    const QString number = block.textList()->itemText(block);
    const qreal gap = metrics.horizontalAdvance(QLatin1Char(' '));
    const qreal x = origin.x() + first.naturalTextRect().left() - gap;
    if (number.isEmpty()) {
        const qreal size = metrics.height() / 3;
        m_painter->save();
        m_painter->setRenderHint(QPainter::Antialiasing);
        m_painter->setBrush(Qt::black);
        m_painter->drawEllipse(QRectF(x - size, origin.y() + (metrics.height() - size) / 2, size, size));
        m_painter->restore();
    } else {
        m_painter->save();
        m_painter->setFont(QFont(font, m_layoutDevice.get()));
        m_painter->drawText(QPointF(x - metrics.horizontalAdvance(number), origin.y() + metrics.ascent()), number);
        m_painter->restore();
    }
}

bool PagePrinter::End()
{
    if (!m_painter)
        return m_error.isEmpty();
    const bool ended = m_painter->end();
    m_painter.reset();
    if (!ended && m_error.isEmpty())
        m_error = QStringLiteral("The printout could not be finished.");
    return ended;
}
