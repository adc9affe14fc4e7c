#include "RtfPrintout.h"

#include "rtf/RtfReader.h"
#include "widgets/RichText.h"

#include <QTextDocument>

#include <algorithm>

namespace {

// The paragraphs of the text: "\par" and "\cell" as words of their own in RTF (not \pard or
// \cellx), line ends in plain text.
qsizetype paragraphMarks(const QByteArray &rtf)
{
    if (!RtfReader::LooksLikeRtf(rtf))
        return rtf.count('\n');
    qsizetype count = 0;
    for (const QByteArray &word : {QByteArrayLiteral("\\par"), QByteArrayLiteral("\\cell")}) {
        for (qsizetype at = rtf.indexOf(word); at >= 0; at = rtf.indexOf(word, at + word.size())) {
            const qsizetype next = at + word.size();
            const char after = next < rtf.size() ? rtf[next] : ' ';
            if (!((after >= 'a' && after <= 'z') || (after >= 'A' && after <= 'Z')))
                ++count;
        }
    }
    return count;
}

} // namespace

RtfPrintout::RtfPrintout(QByteArray rtf, Prologue prologue, int partBlocks)
    : m_rtf(std::move(rtf)),
      m_prologue(std::move(prologue)),
      m_partBlocks(std::max(partBlocks, 1)),
      m_paragraphs(std::max(paragraphMarks(m_rtf), m_rtf.size() / longestShownParagraph))
{}

int RtfPrintout::partBlocks() const
{
    // Paragraphs longer than a shown one are read as several.
    const qsizetype perParagraph =
        std::clamp<qsizetype>(m_rtf.size() / std::max<qsizetype>(m_paragraphs, 1), 1, longestShownParagraph);
    return int(std::clamp<qsizetype>(PartBytes / perParagraph, 1, m_partBlocks));
}

void RtfPrintout::readParts(int blocks, const Part &part) const
{
    QTextDocument document;
    if (m_prologue)
        m_prologue(&document);
    int index = 0;
    RtfReader::ReadInParts(
        m_rtf, &document, blocks,
        [&](bool last) {
            // What follows the paragraph that ended the part before may be nothing but the empty
            // paragraph every document ends in: no page of its own for that.
            if (last && index > 0 && document.isEmpty())
                return false;
            return part(&document, index++, last);
        },
        nullptr, longestShownParagraph);
}

int RtfPrintout::CountPages(PagePrinter *printer, const PrintProgressFn &progress)
{
    return count(printer, progress, nullptr);
}

int RtfPrintout::count(PagePrinter *printer, const PrintProgressFn &progress,
                       const std::function<void(QTextDocument *)> &whole)
{
    m_pages = 0;
    m_parts = 0;
    const int blocks = partBlocks();
    const qint64 total = std::max<qint64>(m_paragraphs, 1);
    int pages = 0;
    bool stopped = false;
    readParts(blocks, [&](QTextDocument *document, int part, bool last) {
        m_parts = part + 1;
        if (part == 0 && last && whole) {
            whole(document);
            return false;
        }
        // The paragraphs of the parts counted so far tell how far the counting has got.
        const qint64 before = qint64(part) * blocks;
        const int counted = printer->CountPages(document, [&](const PrintProgress &step) {
            const qint64 within = step.total > 0 ? blocks * step.done / step.total : 0;
            return !progress || progress({PrintProgress::Layout, std::min(before + within, total), total});
        });
        pages += counted;
        stopped =
            counted == 0 || (progress && !progress({PrintProgress::Layout, std::min(before + blocks, total), total}));
        return !stopped;
    });
    if (stopped)
        return 0;
    m_pages = pages;
    return pages;
}

bool RtfPrintout::Print(PagePrinter *printer, const PrintProgressFn &progress)
{
    if (m_pages == 0) {
        // A text that turns out to be of one part is printed as it is read, without counting.
        bool whole = false;
        bool printed = false;
        const int pages = count(printer, progress, [&](QTextDocument *document) {
            whole = true;
            printed = printer->Print(document, progress);
        });
        if (whole)
            return printed;
        if (pages == 0)
            return false;
    }
    const int blocks = partBlocks();
    if (m_parts == 1) {
        bool printed = false;
        readParts(blocks, [&](QTextDocument *document, int, bool) {
            printed = printer->Print(document, progress);
            return false;
        });
        return printed;
    }

    const bool numbered = printer->NextPageNumber() > 0;
    if (!numbered)
        printer->SetPageNumbers(printer->PageCount() + 1, printer->PageCount() + m_pages);
    int drawn = 0;
    bool printed = true;
    readParts(blocks, [&](QTextDocument *document, int, bool) {
        const int before = printer->PageCount();
        printed = printer->Print(document, [&](const PrintProgress &step) {
            const qint64 done = drawn + (step.phase == PrintProgress::Pages ? step.done : 0);
            return !progress || progress({PrintProgress::Pages, done, m_pages});
        });
        drawn += printer->PageCount() - before;
        return printed;
    });
    if (!numbered)
        printer->SetPageNumbers(0, 0);
    return printed;
}
