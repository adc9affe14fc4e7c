#include "RichText.h"

#include "rtf/FixedPitch.h"
#include "rtf/RtfReader.h"

#include <QTextBlockFormat>
#include <QTextCharFormat>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextEdit>

#include <algorithm>

namespace {

// Marks a document that holds only the beginning of its text.
constexpr const char *cutProperty = "lorekeepCut";

bool endsParagraph(QChar ch)
{
    return ch == QLatin1Char('\n') || ch == QLatin1Char('\r') || ch == QChar::ParagraphSeparator;
}

// Plain text with a line break put after a blank (or, in a run without blanks, anywhere but inside
// a surrogate pair) wherever a paragraph would pass the longest one the editor takes at once. No
// character is lost, and a break after a blank reads like a wrapped line.
QString withShortParagraphs(const QString &text)
{
    QString result;
    qsizetype copied = 0;
    qsizetype start = 0;
    for (qsizetype at = 0; at < text.size(); ++at) {
        if (endsParagraph(text.at(at))) {
            start = at + 1;
            continue;
        }
        if (at - start < longestShownParagraph)
            continue;
        qsizetype cut = at;
        for (qsizetype back = at; back > start + longestShownParagraph / 2; --back) {
            if (text.at(back - 1) == QLatin1Char(' ') || text.at(back - 1) == QLatin1Char('\t')) {
                cut = back;
                break;
            }
        }
        if (cut == at && text.at(cut).isLowSurrogate())
            --cut;
        if (result.isEmpty())
            result.reserve(text.size() + text.size() / (longestShownParagraph / 2) + 1);
        result += QStringView(text).sliced(copied, cut - copied);
        result += QLatin1Char('\n');
        copied = start = cut;
        at = cut - 1;
    }
    if (copied == 0)
        return text;
    result += QStringView(text).sliced(copied);
    return result;
}

// Marks a document that holds the beginning of a text still being read whole.
constexpr const char *startProperty = "lorekeepStart";
// The beginning of a long text that shows while the rest is read: more than a reader goes through in
// the second or so the whole takes, and read in a few milliseconds.
constexpr int startParagraphs = 1500;
constexpr qsizetype startLength = 128 * 1024;

// The document of `storedRtf`, at most `paragraphs` paragraphs long; `cut` tells whether it went on.
QTextDocument *buildDocument(const QString &storedRtf, const QFont &font, qreal margin, int paragraphs, bool *cut,
                             const std::atomic<bool> *stop)
{
    auto *document = new QTextDocument;
    document->setDefaultFont(font);
    document->setDocumentMargin(margin);
    document->setUndoRedoEnabled(false);
    *cut = false;
    if (LooksLikeStoredRtf(storedRtf)) {
        RtfReader::ReadInParts(
            RtfReader::FromStoredText(storedRtf), document, paragraphs,
            [cut](bool last) {
                *cut = !last;
                return false;
            },
            stop, longestShownParagraph);
    } else {
        // Text from outside (a drop, a web page) is taken as it stands: through the RTF path every
        // character past ASCII would turn into an escape that plain text shows literally.
        QString text = withShortParagraphs(storedRtf);
        qsizetype end = -1;
        for (int paragraph = 0; paragraph < paragraphs; ++paragraph) {
            end = text.indexOf(QLatin1Char('\n'), end + 1);
            if (end < 0)
                break;
        }
        *cut = end >= 0 && end + 1 < text.size();
        if (*cut)
            text.truncate(end);
        QTextCursor cursor(document);
        cursor.insertText(text);
    }
    return document;
}

} // namespace

QTextDocument *BuildRichText(const QString &storedRtf, const QFont &font, qreal margin, const std::atomic<bool> *stop)
{
    bool cut = false;
    QTextDocument *document = buildDocument(storedRtf, font, margin, maxShownParagraphs, &cut, stop);
    if (cut) {
        QTextCursor cursor(document);
        cursor.movePosition(QTextCursor::End);
        QTextBlockFormat noteFormat;
        noteFormat.setTopMargin(12);
        QTextCharFormat note;
        note.setFontItalic(true);
        note.setForeground(Qt::darkGray);
        cursor.insertBlock(noteFormat, note);
        cursor.insertText(
            QStringLiteral("This text goes on past the first %L1 paragraphs, which is as much as Lorekeep "
                           "shows in a window. Nothing of it is lost: the whole text stays in the "
                           "library, and printing it or exporting it as PDF gives all of it.")
                .arg(maxShownParagraphs));
        document->setProperty(cutProperty, true);
    }
    return document;
}

QTextDocument *BuildRichTextStart(const QString &storedRtf, const QFont &font, qreal margin)
{
    // Read from the first characters only: a text cut short is read as far as it goes.
    bool cut = false;
    QTextDocument *document = buildDocument(storedRtf.left(startLength), font, margin, startParagraphs, &cut, nullptr);
    document->setProperty(startProperty, true);
    return document;
}

bool IsStartOfRichText(const QTextDocument *document)
{
    return document && document->property(startProperty).toBool();
}

void ForgetWholeRichText(QTextDocument *document)
{
    document->setProperty(startProperty, false);
}

bool LooksLikeStoredRtf(const QString &text)
{
    qsizetype at = text.startsWith(QChar(0xFEFF)) ? 1 : 0;
    while (at < text.size() && QStringView(u" \t\r\n").contains(text.at(at)))
        ++at;
    return QStringView(text).sliced(at).startsWith(QLatin1String("{\\rtf"));
}

bool IsCutRichText(const QTextDocument *document)
{
    return document && document->property(cutProperty).toBool();
}

void ShowRichTextDocument(QTextEdit *edit, QTextDocument *document)
{
    QTextDocument *previous = edit->document();
    document->setParent(edit);
    document->setUndoRedoEnabled(previous->isUndoRedoEnabled());
    // The editor deletes a document it made itself; the ones made here are deleted here.
    const bool ours = previous->parent() == edit;
    edit->setDocument(document);
    if (ours)
        delete previous;
}

void ShowRichText(QTextEdit *edit, const QString &storedRtf)
{
    const QTextDocument *previous = edit->document();
    ShowRichTextDocument(edit, BuildRichText(storedRtf, previous->defaultFont(), previous->documentMargin()));
}

int MarkPhrases(QTextEdit *edit, const QStringList &phrases, const QTextCharFormat &look,
                QTextDocument::FindFlags flags)
{
    QList<QTextEdit::ExtraSelection> marks;
    const QTextDocument *document = edit->document();
    for (const QString &phrase : phrases) {
        if (phrase.isEmpty())
            continue;
        for (QTextCursor found = document->find(phrase, 0, flags); !found.isNull();
             found = document->find(phrase, found, flags))
            marks.append({found, look});
    }
    std::sort(marks.begin(), marks.end(), [](const QTextEdit::ExtraSelection &a, const QTextEdit::ExtraSelection &b) {
        return a.cursor.position() < b.cursor.position();
    });
    edit->setExtraSelections(marks);
    if (!marks.isEmpty()) {
        QTextCursor first = marks.constFirst().cursor;
        first.clearSelection();
        edit->setTextCursor(first);
        edit->ensureCursorVisible();
    }
    return int(marks.size());
}

bool ApplyLineWrap(QTextEdit *edit, bool wrap)
{
    const bool fixedPitch = IsFixedPitchText(edit->document());
    edit->setLineWrapMode(fixedPitch && !wrap ? QTextEdit::NoWrap : QTextEdit::WidgetWidth);
    return fixedPitch;
}
