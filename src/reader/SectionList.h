#pragma once

#include "Sections.h"

#include <QListWidget>
#include <QTimer>

class QTextEdit;

// The list of a text's sections beside it. Choosing one scrolls the text to put its heading at the
// top; scrolling the text selects the section at the top of the view, without moving the text.
class SectionList final : public QListWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SectionList)

public:
    explicit SectionList(QTextEdit *edit, QWidget *parent = nullptr);

    void SetSections(const QList<Section> &sections);
    const QList<Section> &Sections() const { return m_sections; }
    // Narrow beside the text, until the user drags it wider.
    QSize sizeHint() const override;

private:
    void scrollToSection(int row);
    void follow();

    QTextEdit *m_edit;
    QList<Section> m_sections;
    QTimer m_following;
    // The list is being moved to follow the text, which is not a choice of the user's.
    bool m_followingNow = false;
    // Where the last choice scrolled the text: a heading too near the end to come to the top
    // leaves its section selected until the user scrolls.
    int m_chosenRow = -1;
    int m_chosenScroll = -1;
};
