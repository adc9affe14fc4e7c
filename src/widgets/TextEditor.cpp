#include "TextEditor.h"

#include "html/ImportedHtml.h"

#include <QMimeData>
#include <QTextCursor>
#include <QTextDocumentFragment>

TextEditor::TextEditor(QWidget *parent) : QTextEdit(parent) {}

void TextEditor::insertFromMimeData(const QMimeData *source)
{
    if (isReadOnly() || !source || !source->hasHtml() || !acceptRichText()) {
        QTextEdit::insertFromMimeData(source);
        return;
    }
    const ImportedHtml html(source->html());
    textCursor().insertFragment(QTextDocumentFragment(&html));
    ensureCursorVisible();
}
