#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <atomic>
#include <functional>

class QTextCursor;
class QTextDocument;

// Rich text in: RTF as word processors, web-page importers and hand editors write it, truncated or
// broken included. Never fails: whatever cannot be understood is skipped, and text that is not RTF at
// all is taken as plain text. Work and memory are bounded by the input's length.
namespace RtfReader {

// Whether `data` starts (after blanks) with "{\rtf".
bool LooksLikeRtf(QByteArrayView data);

// Whether `data` is one whole RTF document: it looks like RTF, its groups close in order, and nothing
// but blanks follows the last. A truncated or spliced file is not whole, though Read still reads it.
bool IsWhole(QByteArrayView data);

// Replaces the document's content with the RTF's; when `stop` turns true on the way, with what was
// read so far.
void Read(QByteArrayView rtf, QTextDocument *document, const std::atomic<bool> *stop = nullptr);
// Inserts the RTF's content at the cursor, as pasting would.
void Insert(QByteArrayView rtf, QTextCursor &cursor);

// Called with a part of a long text in the document, `last` for the one that ends it; false ends
// the reading there.
using PartFn = std::function<bool(bool last)>;
// Reads a text too long to hold or lay out in one document a part at a time, each part after what
// `document` already holds: whenever a paragraph or a table's row ends the part's `blocks`th of
// them (a row counts once however many cells it has; a long table is cut between rows), `part` is
// called and the document is emptied for the next part. The last part, whatever its length, is
// handed over at the end unless `part` or `stop` ended the reading before; the document keeps the
// part it was given last. Memory then goes with the part, not the text.
// With `longestParagraph`, a paragraph outside a table that would pass that many characters is
// broken after a blank near there (anywhere, when there is none): an editor lays a paragraph out
// whole, which for one of megabytes takes minutes.
void ReadInParts(QByteArrayView rtf, QTextDocument *document, int blocks, const PartFn &part,
                 const std::atomic<bool> *stop = nullptr, qsizetype longestParagraph = 0);

// The text a reader sees, without building a document: paragraphs end in "\n", table cells are
// separated by tabs. Fast enough for searching a whole library.
QString PlainText(QByteArrayView rtf);
// Whether the document shows a picture (of any kind, decoded or not).
bool ShowsPicture(QByteArrayView rtf);

// Text kept in a QString (the store's column) may hold characters the RTF did not escape; they are
// taken as themselves.
QByteArray FromStoredText(const QString &text);

} // namespace RtfReader
