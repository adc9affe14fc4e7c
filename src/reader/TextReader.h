#pragma once

#include "Sections.h"

#include <QPointer>
#include <QTimer>
#include <QWidget>

class FindBar;
class QAction;
class QSplitter;
class QTextDocument;
class QTextEdit;
class SectionList;

// A text to read, with the list of its sections beside it and the find bar under it. It takes the
// text's editor into itself and follows what the editor shows: another text closes the find bar
// and has its sections found again, an edit has both looked for again once the typing stops.
class TextReader final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TextReader)

public:
    explicit TextReader(QTextEdit *edit, QWidget *parent = nullptr);

    FindBar *Finder() const { return m_findBar; }
    SectionList *Sections() const { return lstSections; }
    // Shows or hides the list of sections (remembered for the next start); enabled while the text
    // has sections.
    QAction *SectionsAction() const { return m_sectionsAction; }
    // Has `action`, a menu's item, show and hide the list in the place of the reader's own.
    void UseSectionsAction(QAction *action);

private:
    void textChanged();
    void findSections();
    void showSections(const QList<Section> &sections);
    void applySectionsShown();

    QTextEdit *m_edit;
    QSplitter *m_splitter;
    SectionList *lstSections;
    FindBar *m_findBar;
    QAction *m_sectionsAction;
    QPointer<QTextDocument> m_document;
    // Sections are found once the text is in; after an edit, once the typing pauses.
    QTimer m_finding;
    // Counts the texts shown, so that sections found for one that went are dropped.
    quint64 m_generation = 0;
    bool m_sectionsWanted = true;
    // The list's width as the user last dragged it; 0 until then.
    int m_listWidth = 0;
};
