#include "RtfTableBuilder.h"

#include <QTextBlock>
#include <QTextCursor>
#include <QTextTable>

#include <algorithm>

RtfTableBuilder::RtfTableBuilder(QTextCursor &cursor, const QTextTableFormat &format)
    : m_cursor(cursor), m_format(format)
{}

void RtfTableBuilder::enterCell(int column)
{
    if (!m_open) {
        m_open = true;
        m_long = false;
        m_continued = false;
        m_row = 0;
        m_column = -1;
        m_columns = 1;
        m_rowEnded = false;
    } else if (m_rowEnded) {
        m_rowEnded = false;
        m_column = -1;
        if (m_row + 1 < rowsPerPiece) {
            ++m_row;
        } else {
            m_long = true;
            putPiece();
            m_row = 0;
        }
    }
    if (column == m_column)
        return;
    m_column = column;
    m_columns = std::max(m_columns, column + 1);
    m_blockHasText = false;
    m_steps.push_back({Step::Cell, m_row, column, {}, {}});
}

void RtfTableBuilder::endRow()
{
    m_rowEnded = true;
}

void RtfTableBuilder::insertText(const QString &text, const QTextCharFormat &format)
{
    m_blockHasText = m_blockHasText || !text.isEmpty();
    m_steps.push_back({Step::Text, 0, 0, text, format});
}

void RtfTableBuilder::setBlockFormat(const QTextBlockFormat &format)
{
    m_steps.push_back({Step::BlockFormat, 0, 0, {}, format});
}

void RtfTableBuilder::insertBlock()
{
    m_blockHasText = false;
    m_steps.push_back({Step::Block, 0, 0, {}, {}});
}

void RtfTableBuilder::close()
{
    if (!m_open)
        return;
    putPiece();
    m_open = false;
    m_rowEnded = false;
}

void RtfTableBuilder::putPiece()
{
    // Qt keeps a paragraph before every table, so the empty one that the last paragraph mark opened
    // would be one too many.
    const QTextBlock previous = m_cursor.block().previous();
    if (m_cursor.block().length() == 1 && previous.isValid() && !QTextCursor(previous).currentTable())
        m_cursor.deletePreviousChar();
    // Qt keeps a paragraph between two tables too; between the pieces of one it takes no room.
    const QTextBlockFormat blockFormat = m_cursor.blockFormat();
    const QTextCharFormat blockCharFormat = m_cursor.blockCharFormat();
    if (m_continued) {
        QTextBlockFormat gap;
        gap.setLineHeight(0, QTextBlockFormat::FixedHeight);
        m_cursor.setBlockFormat(gap);
        QTextCharFormat tiny;
        tiny.setFontPointSize(1);
        m_cursor.setBlockCharFormat(tiny);
    }
    QTextTableFormat format = m_format;
    if (m_long) {
        format.setWidth(QTextLength(QTextLength::PercentageLength, 100));
        format.setColumnWidthConstraints(
            QList<QTextLength>(m_columns, QTextLength(QTextLength::PercentageLength, 100.0 / m_columns)));
    }
    QTextTable *table = m_cursor.insertTable(m_row + 1, m_columns, format);
    if (m_continued) {
        QTextCursor after(table->lastCursorPosition());
        after.movePosition(QTextCursor::NextBlock);
        after.setBlockFormat(blockFormat);
        after.setBlockCharFormat(blockCharFormat);
    }
    for (Step &step : m_steps) {
        switch (step.kind) {
        case Step::Cell: m_cursor = table->cellAt(step.row, step.column).firstCursorPosition(); break;
        case Step::Text: m_cursor.insertText(step.text, step.format.toCharFormat()); break;
        case Step::BlockFormat: m_cursor.setBlockFormat(step.format.toBlockFormat()); break;
        case Step::Block: m_cursor.insertBlock(); break;
        }
    }
    m_steps.clear();
    m_continued = true;
    m_cursor = table->lastCursorPosition();
    m_cursor.movePosition(QTextCursor::NextBlock);
    m_columns = 1;
}
