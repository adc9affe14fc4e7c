#include "ShownPart.h"

#include <QScrollBar>
#include <QTextDocument>
#include <QTextEdit>

#include <algorithm>
#include <cmath>

namespace {

int inset(const QTextEdit *edit)
{
    return int(std::ceil(edit->document()->documentMargin())) + 1;
}

} // namespace

int FirstShownPosition(const QTextEdit *edit)
{
    const int margin = inset(edit);
    // The first pixel row is where the line above ends when a line was scrolled to the top.
    const int y = std::max(1, margin - edit->verticalScrollBar()->value());
    return edit->cursorForPosition(QPoint(std::max(1, margin - edit->horizontalScrollBar()->value()), y)).position();
}

int LastShownPosition(const QTextEdit *edit)
{
    const QRect area = edit->viewport()->rect();
    return edit->cursorForPosition(QPoint(area.right(), area.bottom() - 1)).position();
}
