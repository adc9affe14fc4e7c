#include "RtfTableBuilder.h"

#include <QTextBlock>
#include <QTextCursor>
#include <QTextTable>

#include <algorithm>

void RtfTableBuilder::enterCell(int column)
{
    if (!m_open) {
        m_open = true;
        m_row = 0;
        m_column = -1;
        m_columns = 1;
        m_rowEnded = false;
    } else if (m_rowEnded) {
        ++m_row;
        m_column = -1;
        m_rowEnded = false;
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

void RtfTableBuilder::close(QTextCursor &cursor, const QTextTableFormat &format)
{
    if (!m_open)
        return;
    // Qt keeps a paragraph before every table, so the empty one that the last paragraph mark opened
    // would be one too many.
    const QTextBlock previous = cursor.block().previous();
    if (cursor.block().length() == 1 && previous.isValid() && !QTextCursor(previous).currentTable())
        cursor.deletePreviousChar();
    QTextTable *table = cursor.insertTable(m_row + 1, m_columns, format);
    for (Step &step : m_steps) {
        switch (step.kind) {
        case Step::Cell: cursor = table->cellAt(step.row, step.column).firstCursorPosition(); break;
        case Step::Text: cursor.insertText(step.text, step.format.toCharFormat()); break;
        case Step::BlockFormat: cursor.setBlockFormat(step.format.toBlockFormat()); break;
        case Step::Block: cursor.insertBlock(); break;
        }
        // The document holds its own copy now.
        step.text = QString();
        step.format = QTextFormat();
    }
    cursor = table->lastCursorPosition();
    cursor.movePosition(QTextCursor::NextBlock);
    std::vector<Step>().swap(m_steps);
    m_open = false;
    m_rowEnded = false;
}
