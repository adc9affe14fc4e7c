#pragma once

#include <QString>
#include <QTextFormat>

#include <vector>

class QTextCursor;

// Gathers a table's content as the reader meets it, cell after cell, and puts it into the document
// in pieces of a fixed number of rows, each made at its final size and filled in order. A table that
// grows a row at a time has Qt rebuild its grid of cells for every row, and one huge table is laid
// out in one go however little of it is on screen; pieces cost their length and are laid out as
// they are needed. The pieces of a long table share equal column widths, so they line up.
class RtfTableBuilder final
{
public:
    static constexpr int rowsPerPiece = 100;

    RtfTableBuilder(QTextCursor &cursor, const QTextTableFormat &format);

    bool isOpen() const { return m_open; }
    // Starts a table (if none is open) or goes on with the open one; the content that follows goes
    // into cell `column` of the current row.
    void enterCell(int column);
    // The cells that follow go into a new row.
    void endRow();
    // Goes into cell `column` of the table at `level` (2 for a table in a cell of the outer table) in
    // the cell entered at the level above, starting that table if it is not open there.
    void enterNested(int level, int column);
    // Ends the tables in cells deeper than `level`; what follows goes on after them.
    void leaveNested(int level);
    // The nested table at `level` goes on in a new row.
    void endNestedRow(int level);

    void insertText(const QString &text, const QTextCharFormat &format);
    void setBlockFormat(const QTextBlockFormat &format);
    // Ends the current paragraph of the cell, the next taking over its format.
    void insertBlock();
    // Whether the current paragraph of the cell holds text.
    bool blockHasText() const { return m_blockHasText; }

    // Puts what is left of the table in at the cursor, which is left just after it.
    void close();

private:
    struct Step
    {
        // A table in a cell starts with NestStart, whose row and column are its size, and ends with
        // NestEnd; its cells' steps have their level.
        enum Kind : unsigned char { Cell, Text, BlockFormat, Block, NestStart, NestEnd };
        Kind kind;
        int row = 0;
        int column = 0;
        QString text;
        QTextFormat format;
        int level = 1;
    };
    struct Nested
    {
        std::size_t start; // its NestStart step
        int row = 0;
        int column = -1;
        bool rowEnded = false;
    };
    void putPiece();

    QTextCursor &m_cursor;
    QTextTableFormat m_format;
    std::vector<Step> m_steps;
    bool m_open = false;
    bool m_long = false;      // the table takes more than one piece
    bool m_continued = false; // a piece of the table is in already
    bool m_rowEnded = false;
    bool m_blockHasText = false;
    int m_row = 0; // in the piece
    int m_column = -1;
    int m_columns = 1;
    std::vector<Nested> m_nested; // open tables in the current cell, from level 2 on
};
