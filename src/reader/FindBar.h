#pragma once

#include <QList>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <QWidget>

class QCheckBox;
class QLabel;
class QLineEdit;
class QTextDocument;
class QTextEdit;
class QToolButton;

// The bar under a text that finds words in it, as a browser's find bar does: typing marks the
// matches and goes to the first from where the reader is, "3 of 27" counts them, Enter and F3 go
// on, Shift with either goes back, both wrapping round, and Esc gives the keyboard back to the
// text with the match selected. It works on the document's plain text, so that a text of megabytes
// answers while the user types, and marks only the matches near what shows.
class FindBar final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FindBar)

public:
    explicit FindBar(QTextEdit *edit, QWidget *parent = nullptr);

    // Shows the bar with the keyboard in it; a short selection in the text becomes what is looked for.
    void Open();
    // Hides the bar and gives the keyboard back to the text, the current match still selected.
    void Close();
    // The next and previous match, opening the bar when it is closed.
    void FindNext();
    void FindPrevious();
    // Another text shows: the bar closes and forgets what it found.
    void Forget();
    // The whole of a long text took the place of its beginning: a search waiting for it runs.
    void TextCompleted();
    // The text was edited: its matches are looked for again once the typing stops.
    void TextEdited();
    // Ctrl+F, F3 and Shift+F3 pressed in `widget` reach the bar before any shortcut of its window,
    // and so does Esc while the bar shows.
    void HandleKeysOf(QWidget *widget);

    qsizetype MatchCount() const { return m_matches.size(); }
    // The current match, counting from 0; -1 when there is none.
    qsizetype CurrentMatch() const { return m_current; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void search();
    void step(qsizetype direction);
    // Counts and marks the matches; `select` selects the current one and brings it into view.
    void showCurrent(bool select = true);
    // Marks the matches near the part of the text in view, with the other marks the text has.
    void markVisible();
    void removeMarks();
    void showCount();
    const QString &plainText();

    QTextEdit *m_edit;
    QLineEdit *txtFind;
    QLabel *lblMatches;
    QCheckBox *chkMatchCase;
    QToolButton *cmdPrevious;
    QToolButton *cmdNext;
    QToolButton *cmdClose;
    QPalette m_findPalette;
    // A search starts when the typing pauses; marks follow the scrolling once it settles.
    QTimer m_typing;
    QTimer m_marking;
    // The document's plain text, its positions those of the document, read once per text.
    QString m_plain;
    QPointer<const QTextDocument> m_plainOf;
    bool m_plainStale = true;
    QList<int> m_matches;
    int m_length = 0;
    qsizetype m_current = -1;
    // Where the search goes from: the reader's place when the bar opened, then the current match.
    int m_anchor = 0;
    // A search asked for while only the beginning of a long text showed, which runs on the whole.
    bool m_waiting = false;
    // The search to run was asked for by an edit of the text, not by the bar.
    bool m_textEdited = false;
};
