#include "RichText.h"

#include "RtfReader.h"

#include <QTextDocument>
#include <QTextEdit>

void ShowRichText(QTextEdit *edit, const QString &storedRtf)
{
    QTextDocument *previous = edit->document();
    auto *document = new QTextDocument(edit);
    document->setDefaultFont(previous->defaultFont());
    document->setDocumentMargin(previous->documentMargin());
    document->setUndoRedoEnabled(previous->isUndoRedoEnabled());
    RtfReader::Read(RtfReader::FromStoredText(storedRtf), document);
    // The editor deletes a document it made itself; the ones made here are deleted here.
    const bool ours = previous->parent() == edit;
    edit->setDocument(document);
    if (ours)
        delete previous;
}
