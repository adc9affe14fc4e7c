#pragma once

class QTextEdit;

// The first and last character positions of the part of a text in view. The points asked about lie
// inside the text, clear of the document's margins: a point in the top margin is taken for one
// after the end of the text, which lays the whole of a long document out to answer.
int FirstShownPosition(const QTextEdit *edit);
int LastShownPosition(const QTextEdit *edit);
