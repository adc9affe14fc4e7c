#pragma once

#include "browser/WebPage.h"
#include "data/GameNames.h"
#include "data/NodeKey.h"

#include <QPointer>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>
#include <tuple>

class FileViewer;
class GameSelector;
class QAction;
class QDragMoveEvent;
class QDropEvent;
class QFrame;
class QLineEdit;
class QMenu;
class QToolBar;
class QToolButton;
class TreeNode;
class TreeView;
class modADO;
struct ErrObject;

// The left-hand pane: the library as a tree of platforms, genres and games with their counts, the
// commands that add, rename, move and delete games, and a one-line box above the tree that
// searches it and doubles as the pane's status line. Text dropped on a node, and the page the
// browser shows, become new files of a game through the file viewer. It talks to the other panes
// only through its host: events up, public operations down.
class ctlTree final : public QWidget, public GameNames
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ctlTree)

public:
    // What a drop from the browser takes of the page it shows; the host supplies it.
    struct BrowsedPage
    {
        std::function<QString()> URL;
        std::function<QString()> Title;
        // Whether a drag's source (null for another program's) is the browser: only then is the
        // browser's page where dropped text comes from.
        std::function<bool(const QObject *)> IsBrowser;
    };

    // A node the user chose, as the host hands it on: what it is, the platform, genre and game it
    // lies in (0 above them), the game's name, and the words of the title strip. A file node or
    // another of no place counts as Other.
    struct NodeChoice
    {
        NodeKind Kind = NodeKind::Root;
        quint8 PlatformId = 0;
        quint8 GenreId = 0;
        qint32 GameId = 0;
        QString Game;
        QString Caption;

        bool operator==(const NodeChoice &other) const
        {
            return std::tie(Kind, PlatformId, GenreId, GameId, Game, Caption) ==
                   std::tie(other.Kind, other.PlatformId, other.GenreId, other.GameId, other.Game, other.Caption);
        }
    };

    explicit ctlTree(QWidget *parent = nullptr);
    ~ctlTree() override;

    // Without a page, its address, title and text read as empty.
    void setBrowsedPage(BrowsedPage page);
    // Closes the file windows that imports opened, each asking about unsaved changes; false when
    // the user kept one open.
    bool CloseEditors();

    // The store the tree reads and changes; the program's own unless a test gives another.
    void setStore(modADO *store);

    // Fills the tree from the open store; raises LoadFavorites when it is complete.
    void LoadTree();
    // Puts the saved search text back into the box once the other panes have loaded too.
    void FinishLoad();
    // Removes every node.
    void Reset();
    // Puts the keyboard in the tree; false when the pane is hidden.
    bool FocusPane();
    // Shows and selects the node with `strKey` and reports it as TreeNodeClick, as a click would;
    // a key that is not in the tree does nothing.
    void SelectNode(const QString &strKey);
    // The key of the selected node; empty when none is.
    QString SelectedKey() const;
    // Brings the tree in line with a store that another program changed: counts, names and places
    // of games, games added and removed, platforms left empty. The selection stays where it was
    // unless its node went. False, changing nothing, while an import or a selector is under way.
    bool RefreshFromStore();
    // Recounts the game's files into its caption. `bytRemove` is accepted for the callers' sake;
    // the count is read from the store either way.
    void UpdateGameCaption(const QString &strGameKey, quint8 bytRemove);

    // The names of a game and of its genre and platform, by the game's key; empty when the key
    // is not in the tree.
    QString GameName(const QString &strKey) const override;
    QString GameGenre(const QString &strKey) const override;
    QString GamePlatform(const QString &strKey) const override;

    // Whether the search box is shown.
    bool SearchBox() const;
    // The trimmed text of the search box, "Search..." when it is empty.
    QString SearchText() const;
    // Direct access to the box, through which the host shows status texts.
    QString Search_Text() const;
    void setSearch_Text(const QString &strVar);

public Q_SLOTS:
    // Asks for a new game's name, platform and genre in one dialog (preset to the place of the
    // selected node) and adds it, creating its platform's and genre's nodes when they are missing.
    void AddGame();
    // Adds a game that a selector created, with its caption and its genre's and platform's counts.
    void objSelector_AddGameNode(const QString &strName, const QString &strParentKey, const QString &strKey);
    // Asks for a game and opens a new file of it with the page the file view's browser read.
    void DirectImport(const WebPage &page);
    // Imports files and folders into the game of the node with `strKey` (empty: the selected node),
    // asking which game first when the node is not one, then tells the file list and recounts the
    // game. More than one file, or any left out, is summed up in one message. Plain-text files are
    // read in `encoding` when one is named (see TextEncodings), else in the one detected.
    void ImportFiles(const QString &strKey, const QStringList &paths, const QString &encoding = {});

Q_SIGNALS:
    void TreeNodeClick(const ctlTree::NodeChoice &node);
    void RenameGame(const QString &strOldName, const QString &strNewName, const QString &strTreeKey);
    void MoveGame(const QString &strOldKey, const QString &strNewKey);
    // strCaption names the genre selected after the deletion: "platform - genre".
    void GameNodeDelete(const QString &strCaption, const QString &strKey);
    void GameNodeDblClick();
    void RemovePlatform();
    void AddFile();
    // The root's menu asked for files (blnFolder false) or a folder to import; the host asks for
    // them and hands them back through ImportFiles.
    void ImportRequest(bool blnFolder);
    // The user asked for the selected game's files in one PDF.
    void ExportGame(qint32 lngGameId, const QString &strGame);
    // The pane's close button was pressed.
    void HideControl();
    // Loading finished; strPlatforms lists the platforms in the tree: "|P_3|P_12".
    void LoadFavorites(const QString &strPlatforms);
    // A file window opened by an import stored its new file (key "K_<id>") for the game named.
    void AddToView(const QString &strFileKey, const QString &strDesc, const QString &strSource, quint8 bytSC,
                   const QString &strGameTitle);
    // The user asked to print from a file window opened by an import.
    void PrintInfo(const QString &strTitle, const QString &strFile, const QString &strSource,
                   const QString &strTextRTF);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void buildMenus();
    void objTreeloader_Finished();
    void objSelector_CompleteSelect(quint8 bytPlatformId, quint8 bytGenreId, qint32 lngGameId, bool blnCancel);
    void tvwFiles_NodeClick(TreeNode *node);
    void nodeClick(TreeNode *node);
    void showPopup(const QPoint &pos);
    void toggleSearchFrame();
    void cmdGo_Click();

    // Drag and drop of text on the tree (ctlTreeImport.cpp). True when the viewport's event was one
    // of the drop's and is handled.
    bool tvwFiles_OLEEvent(QEvent *event);
    void tvwFiles_OLEDragOver(QDragMoveEvent *event);
    void tvwFiles_OLEDragDrop(QDropEvent *event);
    // `fromBrowser`: the page the browser shows is the text's source; otherwise `source` and
    // `desc` are what the drag itself said of where it came from, often nothing.
    void OLEDragDrop(const QString &strKey, const QString &strText, bool fromBrowser, const QString &source,
                     const QString &desc);
    // The game a drop or an import on `node` goes to: the node's own, or the one the user chooses
    // in the selector (preset to the node's platform and genre); false when none was chosen.
    // On the root the selector starts at `current` when given: the game the user was on.
    bool gameOf(const TreeNode *node, const QString &rootCaption, const QString &caption, const QString &procedure,
                const std::optional<NodeKey::GameIds> &current, NodeKey::GameIds *ids, QString *game);
    bool chooseGame(const NodeKey::GameIds &preset, const QString &caption, NodeKey::GameIds *ids, QString *game);
    // The ids of the selected node when it is a game.
    std::optional<NodeKey::GameIds> currentGame() const;
    // `recheck` is set when no file had the address, so that saving the import checks again.
    bool confirmNewSource(const QString &source, const QString &procedure, bool *recheck);
    void openImport(const NodeKey::GameIds &ids, const QString &game, const QString &source, const QString &desc,
                    const QString &text, bool askIfStored);
    void objViewer_AddFile(quint8 bytPlatformId, quint8 bytGenreId, qint32 lngGameId, qint32 lngFileId,
                           quint8 bytSubCat, const QString &strSource, const QString &strDesc,
                           const QString &strTextRTF);
    void objViewer_PrintInfo(const QString &strTitle, const QString &strFile, const QString &strSource,
                             const QString &strTextRTF);

    void mnuAddGame_Click();
    // Files the new game and shows it selected; false when the store refused it (reported).
    bool addGame(quint8 platformId, quint8 genreId, const QString &name, const QString &procedure);
    void mnuHiddenRename_Click();
    void mnuHiddenMoveTo_Click();
    void mnuHiddenDelete_Click();
    void mnuHiddenExport_Click();

    // The node of the game, creating its genre and platform when the tree does not show them yet.
    TreeNode *addGameNode(const QString &name, const QString &genreKey, const QString &key, ErrObject *err);
    TreeNode *genreNode(const QString &genreKey, ErrObject *err);
    void recountGenre(const QString &genreKey, quint8 flag);
    void adjustPlatform(const QString &platformKey, quint8 flag);
    // Takes away the genre's node when a reload would not show it (an unknown genre without games)
    // and its platform's when no game is left under it.
    void pruneEmpty(const QString &genreKey);
    TreeNode *selectedGame() const;
    // The open store's connection, or an invalid one (which every statement turns into an error).
    modADO *store() const;

    QToolBar *tbrTools;
    QFrame *fSearch;
    QLineEdit *txtSearch;
    QToolButton *cmdGo;
    TreeView *tvwFiles;

    QMenu *mnuHiddenGame;
    QAction *mnuHiddenAddFile;
    QAction *mnuHiddenExport;
    QAction *mnuHiddenMoveTo;
    QAction *mnuHiddenRename;
    QAction *mnuHiddenDelete;
    QMenu *mnuHiddenGenre;
    QAction *mnuAddGame;
    QMenu *mnuHiddenPlatform;
    QAction *mnuHiddenPlatformRemove;
    QMenu *mnuHiddenRoot;
    QAction *mnuRootAddGame;
    QAction *mnuRootImport;
    QAction *mnuRootImportFolder;

    modADO *m_store = nullptr;
    std::unique_ptr<GameSelector> objSelector;
    bool m_selectorReleased = false;
    bool m_importing = false;
    // The file window of the last import; earlier ones stay open and report to the tree as well.
    QPointer<FileViewer> objViewer;
    BrowsedPage m_page;
    // Index of the node the search found last, 0 for none: the next search goes on from there.
    int m_searchPosition = 0;
    bool m_searchHidden = false;
};
Q_DECLARE_METATYPE(ctlTree::NodeChoice)
