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
        enum Kind : unsigned char { Cell, Text, BlockFormat, Block };
        Kind kind;
        int row = 0;
        int column = 0;
        QString text;
        QTextFormat format;
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
};
