#pragma once

#include <QString>
#include <QWidget>

#include <array>
#include <functional>
#include <initializer_list>
#include <memory>

class GameNames;
struct FindRequest;
class ListItem;
class ListView;
class QAction;
class QLabel;
class QMenu;
class QTabWidget;
class QTimer;
class QToolBar;
class modADO;
struct ErrObject;
struct SettingKey;

// The bottom pane: the user's bookmarks of game files, the internet favorites and the results of
// the last search, one list per tab. Every change to a bookmark or favorite goes to the store and
// to its row in the same step; the lists are never rebuilt after a single change. The pane talks to
// the others only through its host: events up, public operations down.
class ctlDetails final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ctlDetails)

public:
    explicit ctlDetails(QWidget *parent = nullptr);
    ~ctlDetails() override;

    // The store the pane reads and changes; the program's open store unless a test gives another.
    void setStore(modADO *store) { m_store = store; }

    // One-time set-up once the main window is up: brings back the tab of the last session when the
    // user asked for the layout to be kept.
    void InitDetails();
    // Empties the three lists; the store is untouched.
    void Reset();

    // The tabs, numbered from 1 as the layout setting keeps them.
    enum class Tab { Bookmarks = 1, Favorites = 2, SearchResults = 3 };
    void SelectTab(Tab tab);
    // Puts the keyboard in the list of the tab shown; false when the pane is hidden.
    bool FocusPane();
    Tab SelectedTab() const;

    // Bookmarks (ctlDetailsBookmarks.cpp). Keys are file path keys "K_file|N_game|G_genre|P_platform";
    // `PlatformKeys` lists the platforms the tree holds: "|P_3|P_12".
    void LoadBookmarks(const QString &PlatformKeys);
    // Bookmarks the file unless it is bookmarked already, and tells the user which it was.
    void BookmarkFile(quint8 SubCat, const QString &TreeKey, const QString &FileDesc, const GameNames &Tree);
    // The file's description or category changed.
    void UpdateBookmark(quint8 SubCat, const QString &TreeKey, const QString &FileDesc, const GameNames &Tree);
    // A game moved to another genre or platform (game keys), or a file to another game (file path keys).
    void MoveBookmark(const QString &OldKey, const QString &NewKey, const GameNames &Tree);
    void RenameGame(const QString &GameKey, const QString &NewName);
    // A file (its file path key) or a game, genre or platform (its node key) was deleted.
    void DeleteBookmark(const QString &Key);
    // Deletes the selected bookmark without asking: its file is gone.
    void KillBM();

    // Internet favorites (ctlDetailsLists.cpp). Loading them also loads the bookmarks.
    void LoadFavorites(const QString &PlatformKeys);
    // True, after showing the user the listed entry, when the address is listed already.
    bool FavoriteCheck(const QString &URL);
    // Lists a favorite that was just written to the store; `Key` is "K_" and its id.
    void AddFavorite(const QString &Key, const QString &URL, const QString &Title, const QString &Desc);
    // Deletes the favorite's row; true when there was one. The list is left to the caller.
    bool DeleteFavorite(const QString &Key);

    // Search results (ctlDetailsLists.cpp).
    void ClearSearch();
    void SearchTitle(const QString &Title);
    // Lists one found file; `FieldName` names the field the text was found in.
    void AddSearch(qint32 FileId, const QString &PlatformName, const QString &GameName, quint8 SubCat,
                   const QString &FoundText, const QString &GameKey, const QString &FieldName);
    // Fills the Hits column of the listed results with how often `request`'s phrase occurs in each
    // file, a batch at a time while the window goes on; a new search or a clear stops it.
    void CountSearchHits(const FindRequest &request);

    ListView *Bookmarks() const { return lvBookmarks; }
    ListView *Favorites() const { return lvFavorites; }
    ListView *SearchResults() const { return lvSearchResults; }

Q_SIGNALS:
    void NavigateFavorite(const QString &URL);
    void FavoritesLoaded();
    void BookmarksLoaded();
    void BookmarkSelect(const QString &Key);
    void SearchSelect(const QString &Key);
    // The pane's close button was pressed.
    void HideControl();

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    // ctlDetails.cpp: the frame, the lists' columns, menus, mouse and keys.
    ListView *makeList(const char *name, const std::initializer_list<const char *> &captions);
    void buildMenus();
    void connectList(ListView *list, QMenu *menu, void (ctlDetails::*open)(), QAction *remove);
    void restoreColumnWidths();
    void saveColumnWidths() const;
    // Search Results' columns fit the results of the first search, until widths have been saved.
    void fitSearchColumns();
    void tabChanged();
    void focusMoved(QWidget *now);

    // ctlDetailsBookmarks.cpp
    void lvBookmarks_DblClick();
    void mnuBMDelete_Click();
    // Deletes the selected bookmark's row and entry; a store failure is logged under `procedure`.
    void deleteSelectedBookmark(const QString &procedure);
    // Entries whose key is within `nodeKey` (all of a game's bookmarks for a game key).
    QList<ListItem *> bookmarksWithin(const QString &nodeKey) const;
    // Writes the change of each of `entries` through `write`, all in one transaction; an entry whose
    // row has gone from the store is taken off the list and out of `entries`, which then holds the
    // entries to bring in line. False, with the error logged, when the store refused: nothing is
    // written then.
    bool writeBookmarks(QList<ListItem *> *entries, const QString &procedure,
                        const std::function<bool(qint32 id, ErrObject *err)> &write);
    void setBookmarkNames(ListItem *entry, quint8 SubCat, const QString &game, const QString &genre,
                          const QString &platform);

    // ctlDetailsLists.cpp
    void lvFavorites_DblClick();
    void mnuFavDel_Click();
    void lvSearchResults_DblClick();
    void countHitsStep();

    modADO *m_store = nullptr;
    QTabWidget *tbsTabs;
    QToolBar *tbrTools;
    std::array<QLabel *, 3> lblHeaders{};
    ListView *lvBookmarks;
    ListView *lvFavorites;
    ListView *lvSearchResults;
    QMenu *mnuBM = nullptr;
    QAction *mnuBMDelete = nullptr;
    QMenu *mnuFav = nullptr;
    QAction *mnuFavDel = nullptr;
    QMenu *mnuSearch = nullptr;
    QAction *mnuSearchClear = nullptr;
    QMetaObject::Connection m_focusWatch;
    // The Hits column's count under way: the request, and the next result row to count.
    std::unique_ptr<FindRequest> m_hitsRequest;
    int m_hitsNext = 0;
    // The highest file id in Search Results.
    qint32 m_searchTopId = 0;
    bool m_fitSearchColumns = false;
    // Search Results show each new result until the user scrolls or clicks them: results come while
    // a search goes on, and the user reading the first ones is not to be carried along.
    bool m_followSearch = true;
    QTimer *m_hitsTimer = nullptr;
};
