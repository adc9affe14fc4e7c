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
    if (m_open && (m_rowEnded || column != m_column))
        leaveNested(1);
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

void RtfTableBuilder::enterNested(int level, int column)
{
    if (!m_open || level < 2 || int(m_nested.size()) < level - 2)
        return;
    if (int(m_nested.size()) == level - 2) {
        m_nested.push_back({m_steps.size()});
        m_steps.push_back({Step::NestStart, 0, 0, {}, {}, level});
    }
    Nested &table = m_nested[std::size_t(level - 2)];
    if (!table.rowEnded && column == table.column)
        return;
    // Another cell: the tables in the one before end.
    leaveNested(level);
    if (table.rowEnded) {
        table.rowEnded = false;
        ++table.row;
    }
    table.column = column;
    Step &start = m_steps[table.start];
    start.row = std::max(start.row, table.row + 1);
    start.column = std::max(start.column, column + 1);
    m_blockHasText = false;
    m_steps.push_back({Step::Cell, table.row, column, {}, {}, level});
}

void RtfTableBuilder::leaveNested(int level)
{
    while (m_nested.size() > std::size_t(std::max(level - 1, 0))) {
        m_nested.pop_back();
        m_steps.push_back({Step::NestEnd, 0, 0, {}, {}});
        m_blockHasText = false;
    }
}

void RtfTableBuilder::endNestedRow(int level)
{
    if (level < 2 || m_nested.size() < std::size_t(level - 1))
        return;
    leaveNested(level);
    m_nested.back().rowEnded = true;
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
    leaveNested(1);
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
    std::vector<QTextTable *> nested;
    if (m_continued) {
        QTextCursor after(table->lastCursorPosition());
        after.movePosition(QTextCursor::NextBlock);
        after.setBlockFormat(blockFormat);
        after.setBlockCharFormat(blockCharFormat);
    }
    for (Step &step : m_steps) {
        switch (step.kind) {
        case Step::Cell:
            if (step.level <= 1)
                m_cursor = table->cellAt(step.row, step.column).firstCursorPosition();
            else if (std::size_t(step.level - 2) < nested.size())
                m_cursor = nested[std::size_t(step.level - 2)]->cellAt(step.row, step.column).firstCursorPosition();
            break;
        case Step::NestStart:
            nested.push_back(m_cursor.insertTable(std::max(step.row, 1), std::max(step.column, 1), m_format));
            break;
        case Step::NestEnd:
            if (!nested.empty()) {
                m_cursor = nested.back()->lastCursorPosition();
                m_cursor.movePosition(QTextCursor::NextBlock);
                nested.pop_back();
            }
            break;
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
