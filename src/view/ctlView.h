#pragma once

#include "browser/WebPage.h"
#include "print/RtfPrintout.h"

#include <QHash>
#include <QPointer>
#include <QString>
#include <QWidget>

#include <optional>

class FileTextReader;
class ctlBrowser;
class FileViewer;
class ListItem;
class ListView;
class QAction;
class QLabel;
class QMenu;
class QSplitter;
class QStackedWidget;
class QTabBar;
class QTextDocument;
class QTextEdit;
class QToolBar;
class RichTextLoader;
class TextReader;
class modADO;
struct SettingKey;

// The right-hand pane: the files of the game chosen in the tree and the selected file's text on the
// Files tab, the web browser on the second tab, and the logo covering the Files tab while no game is
// listed.
// The file commands of its pop-up menus change the store and tell the host what changed.
class ctlView final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ctlView)

public:
    explicit ctlView(QWidget *parent = nullptr);
    ~ctlView() override;

    // The store the pane reads and writes; the program's open store unless a test gives another.
    void setStore(modADO *store) { m_store = store; }

    // The current game, set by the host before it calls ListFiles.
    struct Game
    {
        quint8 PlatformId = 0;
        quint8 GenreId = 0;
        qint32 GameId = 0;
        QString Name;
    };
    void SetGame(const Game &game);
    Game CurrentGame() const { return {M_PLATFORM_ID, M_GENRE_ID, M_GAME_ID, M_GAME}; }
    void RenameGame(const QString &name) { M_GAME = name; }

    // The web address of the last right-clicked file whose source is one.
    const QString &NavURL() const { return m_navURL; }
    // Opens the viewer/editor on a new file of the current game.
    void AddNewFile();
    // Applies the file view setting (large icons, small icons, list or report).
    void Re_View();
    // One-time set-up once the main window is up.
    void InitView();
    // Adds a file the tree created and shows it.
    void AddListItem(const QString &strFileKey, const QString &strDesc, const QString &strSource, quint8 bytSC,
                     const QString &strGameTitle);
    // Empties the list, its caption and the text.
    void Clear();
    // Forgets the listed game and shows the cover.
    void Reset();
    // The tabs, numbered from 1 as the layout setting keeps them.
    enum class Tab { Files = 1, Browser = 2 };
    void SelectTab(Tab tab);
    void Cover(bool blnVisible);
    bool IsCovered() const;
    // Puts the keyboard in the pane: in the file list, in the address line on the browser tab, or
    // on the tabs while the Files tab shows the cover. False when the pane is hidden.
    bool FocusPane();
    // Opens the web page in the browser, whose tab comes to the front first.
    void BrowseNavigate(const QString &strURL);
    // What the browser shows: its address and title ("Start Page" for both on the start page).
    QString BrowseURL() const;
    QString BrowsePageTitle() const;
    // Shows the file with this key ("K_" and its id) and selects its row.
    void SelectFile(const QString &strFileKey);
    Tab SelectedTab() const;
    // " <game>: <n> Files." over the list.
    void SetCaption(const QString &strCaption);
    // Reads the listed game's files again after another program changed the store, keeping the
    // selected file selected (the first is shown when it went).
    void RefreshFiles();
    // Lists the files of a game and, unless told not to, shows the first.
    void ListFiles(qint32 lngGameId, quint8 bytDontSelFirst);
    // Marks every occurrence of `phrase` (case counts) in the text shown and scrolls the first into
    // view; returns how many there are. Showing another file takes the marks away; an empty phrase
    // takes them away at once.
    int HighlightPhrase(const QString &phrase);
    // Appends the printout of the selected file to `target`; false when there is no text to print.
    bool PrintInfo(QTextDocument *target);
    // The printout of the selected file read from its stored text, for a text too long to copy
    // from what is shown (which may not even hold all of it); none for a shorter text.
    std::optional<RtfPrintout> LongPrintout() const;

    // Closes every viewer/editor window opened from the pane; each with unsaved changes asks first.
    // False when one of them stays open.
    bool CloseEditors();

    qint32 ListedGameId() const { return m_listedGameId; }
    const QString &CurrentFileKey() const { return m_currentFileKey; }
    ListView *FileList() const { return lvFiles; }
    ctlBrowser *WebBrowser() const { return Browser; }
    QTextEdit *Viewer() const { return rtbText; }
    // Whether a fixed-pitch text keeps its lines as written (false) or wraps at the edge (true); any
    // other text always wraps.
    void SetWrapLines(bool wrap);
    // Whether the text shown is a fixed-pitch one, which Wrap Lines is for.
    bool ShowsFixedPitchText() const { return m_fixedPitch; }
    TextReader *Reader() const { return m_reader; }
    // The viewer/editor opened last, while its window is open.
    FileViewer *Editor() const;

Q_SIGNALS:
    void AddGameNode(const QString &strName, const QString &strParentKey, const QString &strKey);
    void Bookmark(quint8 bytSubCat, const QString &strKey, const QString &strDesc);
    void UpdateBookmark(quint8 bytSubCat, const QString &strKey, const QString &strDesc);
    void MoveBookmark(const QString &strOldKey, const QString &strNewKey);
    void DeleteBookmark(const QString &strKey);
    void NoFileKeyFound(const QString &strFileKey);
    void SendQuick(const QString &strLine1, const QString &strText);
    // A file was added (bytRemove 0) or taken away (1) from the game of strGameKey.
    void UpdateGameNode(const QString &strGameKey, quint8 bytRemove);
    // The viewer/editor asks for a printout: title, file, source and rich text.
    void PrintInfo(const QString &strTitle, const QString &strFile, const QString &strSource,
                   const QString &strTextRTF);
    void ShowTree();
    void ShowDetails();
    // The text shown changed: another file's, or none; or the whole of a long text took the place of
    // its beginning and is fixed-pitch where that was not, or the other way round.
    void TextShown();
    // From the browser: its page is to be imported, kept as a favorite, or its title changed; the
    // favorites are to be shown or hidden.
    void DirectImport(const WebPage &page);
    void BrowseTitleChange(const QString &strPageTitle);
    void ShowFavorites();
    void AddFavorite();
    // Files or folders were dropped on the list of the game with `strGameKey`.
    void DropFiles(const QString &strGameKey, const QStringList &paths);

protected:
    void resizeEvent(QResizeEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    quint8 M_PLATFORM_ID = 0;
    quint8 M_GENRE_ID = 0;
    qint32 M_GAME_ID = 0;
    QString M_GAME;
    // ctlView.cpp: the pane, its tabs and cover, the viewer and the printout.
    void buildFilesTab(QWidget *tab);
    void tabChanged();
    void focusMoved(QWidget *now);
    // Shows a file's text; a long one is read on a worker thread, and TextShown follows when it shows.
    void showText(const QString &rtf);
    void clearText();
    // The header of the selected file's printout.
    void printHeader(QString *title, QString *file, QString *source) const;
    void rtbText_MouseDown(const QPoint &globalPos);
    void Browser_TitleChange(const QString &strTitle);

    // ctlViewList.cpp: the list.
    void setUpList();
    ListItem *addRow(const QString &key, const QString &desc, const QString &source, quint8 subCat);
    void updateRow(ListItem *item, const QString &desc, const QString &source, quint8 subCat);
    void lvFiles_ColumnClick(int column);
    void lvFiles_ItemClick(ListItem *item);
    void lvFiles_KeyDown(int key);
    // Files dragged from a file manager onto the list; true when `event` was one of the drag's.
    bool lvFiles_DropEvent(QEvent *event);
    void SelectFirst();
    // Reads the row's file; a failure is logged under `procedure`, shown to the user when `show` is set.
    bool ReadFile(const ListItem *item, FileTextReader *reader, const QString &procedure, bool show);
    void applyColumnWidths(SettingKey (*column)(int));

    // ctlViewFiles.cpp: the file commands.
    void buildMenus();
    void lvFiles_MouseDown(Qt::MouseButton button, const QPoint &globalPos);
    void OpenViewer(quint8 mode);
    // A viewer/editor for the current game; its saves are reported against that game even when
    // the list has moved on to another.
    FileViewer *NewViewer();
    void objViewer_AddFile(quint8 bytPlatformId, quint8 bytGenreId, qint32 lngGameId, qint32 lngFileId,
                           quint8 bytSubCat, const QString &strSource, const QString &strDesc,
                           const QString &strTextRTF);
    void objViewer_SaveEdit(const QString &gameKey, qint32 lngFileId, quint8 bytSubCat, const QString &strSource,
                            const QString &strDesc, const QString &strTextRTF);
    void mnuAOAdd_Click();
    void mnuFileDel_Click();
    void mnuFileMove_Click();
    void objSelector_CompleteSelect(quint8 bytPlatformId, quint8 bytGenreId, qint32 lngGameId, bool blnCancel);
    void mnuFileBookmark_Click();
    void mnuNavToSrc_Click();
    // Offers Reopen With Encoding for a file read from a local file that is still there, and says
    // why not otherwise.
    void offerReopen(const QString &source);
    void mnuFileReopen_Click();
    void mnuAddQuick_Click(bool selectedOnly);
    QString GameKey() const;

    // ctlViewPages.cpp: what a file taken from a web page keeps of the page.
    void buildPageMenus();
    // Offers View Snapshot (with the earlier ones, when there are) and Check Source For Changes for
    // the file, or says why not.
    void offerPages(qint32 fileId, const QString &source);
    void viewSnapshot(qint32 snapshotId);
    void mnuFileCheckSource_Click();

    QTabBar *tbsTabs;
    QStackedWidget *picTabContainer;
    QLabel *lblFiles;
    ListView *lvFiles;
    QSplitter *picSplitter;
    QTextEdit *rtbText;
    QWidget *picCover;
    QLabel *imgCover;
    ctlBrowser *Browser;
    QToolBar *tbrTools;
    QStackedWidget *stack;

    QMenu *mnuFile = nullptr;
    QAction *mnusepNav = nullptr;
    QAction *mnuNavToSrc = nullptr;
    QAction *mnuFileReopen = nullptr;
    QAction *mnuFileSnapshot = nullptr;
    QMenu *mnuFileSnapshots = nullptr;
    QAction *mnuFileCheckSource = nullptr;
    // The newest snapshot of the file the menu was opened on.
    qint32 m_snapshotId = 0;
    QMenu *mnuAddOnly = nullptr;
    QMenu *mnuQuickMenu = nullptr;

    modADO *m_store = nullptr;
    qint32 m_listedGameId = 0;
    QString m_currentFileKey;
    QString m_navURL;
    quint8 m_viewerMode = 0;
    quint8 m_copyFlag = 0;
    QPointer<FileViewer> objViewer;
    QMetaObject::Connection m_focusWatch;
    // The file an import added last, shown once control is back in the event loop.
    QString m_addedKey;
    bool m_showAddedPending = false;
    RichTextLoader *m_textLoader = nullptr;
    TextReader *m_reader = nullptr;
    // A phrase to mark once the text being read shows.
    QString m_pendingPhrase;
    // The stored text of the file shown.
    QString m_shownRtf;
    bool m_wrapLines = false;
    bool m_fixedPitch = false;
    // The encoding each file was last reopened with in this session, by id.
    QHash<qint32, QString> m_reopenedAs;
};
