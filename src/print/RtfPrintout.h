#pragma once

#include "PagePrinter.h"

#include <QByteArray>

#include <functional>

class QTextDocument;

// A stored rich text printed through the page routine a part at a time, so that a text of
// millions of paragraphs needs the memory of one part and stays within the reach of the layout.
// Each part starts on a page of its own, and the footer counts the pages of all parts. A text of
// one part, which is every ordinary one, prints exactly as the whole document would.
class RtfPrintout final
{
public:
    // Paragraphs of a part, a table's row counting as one: enough that a new page in mid-text is
    // rare and a text that a window shows whole prints in one part, few enough that a part takes
    // a couple of hundred megabytes.
    static constexpr int PartBlocks = 150000;
    // Bytes of RTF in a part, for texts of long paragraphs.
    static constexpr qsizetype PartBytes = 8 * 1024 * 1024;

    // Writes what comes before the text (a file's header) into the empty document of the first part.
    using Prologue = std::function<void(QTextDocument *document)>;

    explicit RtfPrintout(QByteArray rtf = QByteArray(), Prologue prologue = Prologue(), int partBlocks = PartBlocks);

    // The pages the printout takes, laid out part by part (progress in the Layout phase); 0 when
    // `progress` stopped it. Print then uses the count instead of counting again.
    int CountPages(PagePrinter *printer, const PrintProgressFn &progress = PrintProgressFn());
    // Prints the text after whatever `printer` printed before. A text of more than one part is
    // counted first, unless CountPages did that; the numbers at the foot go on from those the
    // printer was given, or follow the printout. False when `progress` stopped it or the printer
    // failed (its ErrorString tells).
    bool Print(PagePrinter *printer, const PrintProgressFn &progress = PrintProgressFn());

    // Whether the last reading of the text took more than one part.
    bool IsInParts() const { return m_parts > 1; }

private:
    using Part = std::function<bool(QTextDocument *document, int part, bool last)>;
    // Reads the text a part at a time into a document of its own, the prologue before the first.
    void readParts(int blocks, const Part &part) const;
    // Counts the pages part by part; a text of one part is handed to `whole` instead, when given.
    int count(PagePrinter *printer, const PrintProgressFn &progress,
              const std::function<void(QTextDocument *document)> &whole);
    // The paragraphs of a part, fewer when they are long.
    int partBlocks() const;

    QByteArray m_rtf;
    Prologue m_prologue;
    int m_partBlocks;
    qsizetype m_paragraphs = 0; // as many as the paragraphs read, about, for the progress bar
    int m_pages = 0;            // 0 until counted
    int m_parts = 0;
};
