#pragma once

#include <QtGlobal>

class QFont;
class QPaintDevice;
class QTextCharFormat;
class QTextDocument;

// Texts set in a fixed-pitch font: plain-text imports and the guides of the DOS era, whose tables,
// maps and ASCII art line up only while their lines stay as written.

// Whether most of the document's text is in a fixed-pitch font. Only the first part of a long text is
// looked at: a guide does not change its font halfway.
bool IsFixedPitchText(const QTextDocument *document);

// The most characters on one line of the document, a tab reaching the next multiple of 8; at most `cap`,
// where counting stops.
int LongestLine(const QTextDocument *document, int cap);

// Whether text in `format` is set in a fixed-pitch font.
bool IsFixedPitchFormat(const QTextCharFormat &format);

// The font size, in points, at which `columns` characters of `font` fill `width` points of a layout made
// for `device` (null: the screen).
qreal ColumnsFitSize(const QFont &font, int columns, qreal width, QPaintDevice *device);
