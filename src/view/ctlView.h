#pragma once

#include <QWidget>

class QLabel;
class QStackedWidget;
class QTabBar;
class QToolBar;

// The right-hand pane: the files of the game chosen in the tree and the selected file's text on the
// Files tab, the web browser on the second tab, and the logo as a cover while no game is listed.
class ctlView final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ctlView)

public:
    explicit ctlView(QWidget *parent = nullptr);

    // One-time set-up once the main window is up.
    void InitView();
    // Forgets the listed game and shows the cover.
    void Reset();
    void Cover(bool blnVisible);
    bool IsCovered() const;

    // Tabs count from 1: 1 Files, 2 Web Browser.
    void SelectTab(int index);
    int SelectedTab() const;

Q_SIGNALS:
    void ShowTree();
    void ShowDetails();

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void focusMoved(QWidget *now);

    QTabBar *tbsTabs;
    QStackedWidget *picTabContainer;
    QLabel *lblFiles;
    QWidget *picCover;
    QLabel *imgCover;
    QToolBar *tbrTools;
    QStackedWidget *stack;
};
