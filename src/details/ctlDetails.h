#pragma once

#include <QWidget>

#include <array>

class QLabel;
class QTabWidget;
class QToolBar;
class QTreeWidget;

// The bottom pane: bookmarks, internet favorites and the results of the last search, one list per tab.
class ctlDetails final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ctlDetails)

public:
    explicit ctlDetails(QWidget *parent = nullptr);
    ~ctlDetails() override;

    // One-time set-up once the main window is up: brings back the tab of the last session when the
    // user asked for the layout to be kept.
    void InitDetails();
    // Empties the three lists; the store is untouched.
    void Reset();

    // Tabs count from 1: 1 Bookmarks, 2 Internet Favorites, 3 Search Results.
    void SelectTab(int index);
    int SelectedTab() const;

Q_SIGNALS:
    // The pane's close button was pressed.
    void HideControl();

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void tabChanged();
    void focusMoved(QWidget *now);

    QTabWidget *tbsTabs;
    QToolBar *tbrTools;
    std::array<QLabel *, 3> lblHeaders{};
    QTreeWidget *lvBookmarks;
    QTreeWidget *lvFavorites;
    QTreeWidget *lvSearchResults;
    QMetaObject::Connection m_focusWatch;
};
