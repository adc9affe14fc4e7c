#pragma once

#include <QList>
#include <QString>

class QTextDocument;

// One paragraph of a shown text as the section finder sees it: a line of a plain-text guide, or a
// paragraph of a word processor's document with what its look says about it.
struct TextBlock
{
    QString text;
    // Where the paragraph starts in the document.
    int position = 0;
    // Every visible character is bold.
    bool bold = false;
    // The size of its smallest visible character, in points.
    qreal pointSize = 0;
    // The paragraph's heading level (1 for the top level), 0 for body text.
    int headingLevel = 0;
    // A cell of a table: never a heading by its look.
    bool inTable = false;
};

// A heading of a text, where the list of its sections takes the reader.
struct Section
{
    QString title;
    // Where the text is scrolled to: the heading, or the ruler drawn above it.
    int position = 0;
    // 1 for a top-level heading, more for those under it ("2.3 Items" is 2).
    int level = 1;

    bool operator==(const Section &other) const
    {
        return title == other.title && position == other.position && level == other.level;
    }
};

// The headings of a text, in the text's order: lines framed by rulers or box drawing, section codes
// in brackets, numbered headings standing on their own, and headings, larger or bold one-line
// paragraphs of a formatted document. A text with fewer than two gives none: a list of one helps
// nobody. Runs in time linear in the text.
QList<Section> FindSections(const QList<TextBlock> &blocks);

// The paragraphs of `document`, each with what FindSections needs. Reads the document only, so it
// runs on whichever thread owns the document.
QList<TextBlock> DocumentBlocks(const QTextDocument *document);
