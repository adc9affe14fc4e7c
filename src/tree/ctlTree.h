#pragma once

#include <QWidget>

class QLineEdit;
class QToolBar;
class QTreeWidget;

// The left-hand pane: the library as a tree of platforms, genres and games, with a one-line box
// above it that searches the tree and doubles as the pane's status line.
class ctlTree final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ctlTree)

public:
    explicit ctlTree(QWidget *parent = nullptr);

    // Fills the tree from the open store.
    void LoadTree();
    // Puts the saved search text back into the box once loading has finished.
    void FinishLoad();
    // Removes every node.
    void Reset();

    // The trimmed text of the search box, "Search..." when it is empty.
    QString SearchText() const;
    // Direct access to the box, through which the host shows status texts.
    QString Search_Text() const;
    void setSearch_Text(const QString &strVar);

Q_SIGNALS:
    // The pane's close button was pressed.
    void HideControl();

private:
    QToolBar *tbrTools;
    QLineEdit *txtSearch;
    QTreeWidget *tvwFiles;
};
