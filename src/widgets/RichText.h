#pragma once

#include <QString>
#include <QStringList>
#include <QTextDocument>

#include <atomic>

class QFont;
class QTextCharFormat;
class QTextEdit;

// Shows stored RTF in `edit`, replacing what it showed; text that is not RTF (a drop, an imported
// page) is shown as it stands, a paragraph at each line break. The document is built apart and
// handed over whole: filled in place, the editor would lay a long text out again after every
// paragraph, and the old document goes in one piece instead of being cleared bit by bit.
void ShowRichText(QTextEdit *edit, const QString &storedRtf);

// The two halves of ShowRichText. The document is built apart from any editor, on any thread (when
// `stop` turns true on the way, with what was read so far); it takes `font` and `margin` from the
// editor that will show it. Handing it over gives it to `edit`.
QTextDocument *BuildRichText(const QString &storedRtf, const QFont &font, qreal margin,
                             const std::atomic<bool> *stop = nullptr);
void ShowRichTextDocument(QTextEdit *edit, QTextDocument *document);
// The beginning of a long text, built in a few milliseconds, to show while BuildRichText reads the
// whole: its first paragraphs as the whole has them, the last of them perhaps cut short.
QTextDocument *BuildRichTextStart(const QString &storedRtf, const QFont &font, qreal margin);
// Whether `document` is one that BuildRichTextStart made, while the whole is still to come.
bool IsStartOfRichText(const QTextDocument *document);
// The whole will not come: the document stands for itself.
void ForgetWholeRichText(QTextDocument *document);

// The most paragraphs a shown text holds, a table's row counting as one. Qt's editor never finishes
// laying out a document of some half a million paragraphs, and its window stops answering; a text
// longer than this is shown cut there, with a note at its end that says so.
constexpr int maxShownParagraphs = 150000;
// The longest paragraph a shown or printed text holds; a longer one is broken after a blank near
// there. Qt lays a paragraph out whole, again each time its width changes while a window opens (the
// page is set, the scroll bar appears, the window is shown): for a paragraph of megabytes that is
// minutes of a frozen window. Shorter paragraphs are laid out a few at a time as they are needed.
constexpr qsizetype longestShownParagraph = 10000;
// Whether `text` is RTF at all ("{\rtf" after a byte-order mark and blanks), as the reader decides;
// other text (a drop, an imported page) is shown as it stands.
bool LooksLikeStoredRtf(const QString &text);
// Whether BuildRichText cut the text that `document` shows.
bool IsCutRichText(const QTextDocument *document);

// Sets how `edit` breaks its lines for the text it shows: a fixed-pitch text runs on past the edge
// (with a horizontal scroll bar) unless `wrap`, so that its tables and ASCII art stay whole; any
// other text wraps at the edge. Returns whether the text is a fixed-pitch one.
bool ApplyLineWrap(QTextEdit *edit, bool wrap);

// Marks every occurrence of each of `phrases` in the text of `edit` with `look`, taking away the
// marks made before, and brings the first in the text into view; returns how many there are.
int MarkPhrases(QTextEdit *edit, const QStringList &phrases, const QTextCharFormat &look,
                QTextDocument::FindFlags flags = {});
