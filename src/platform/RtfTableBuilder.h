#pragma once

#include <QString>
#include <QTextFormat>

#include <vector>

class QTextCursor;
class QTextTableFormat;

// Gathers a table's content as the reader meets it, cell after cell, and puts the whole table into
// the document at once. A table that grows a row at a time has Qt rebuild its grid of cells for
// every row, which makes a long table cost the square of its length; one made at its final size
// and filled in order costs its length.
class RtfTableBuilder final
{
public:
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

    // Puts the table in at the cursor, which is left just after it, and forgets it.
    void close(QTextCursor &cursor, const QTextTableFormat &format);

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

    std::vector<Step> m_steps;
    bool m_open = false;
    bool m_rowEnded = false;
    bool m_blockHasText = false;
    int m_row = 0;
    int m_column = -1;
    int m_columns = 1;
};
