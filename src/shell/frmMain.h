#pragma once

#include "MainLayout.h"
#include "MainMenu.h"
#include "components/PrintJob.h"
#include "data/StoreBackup.h"
#include "system/ErrObject.h"
#include "tree/ctlTree.h"

#include <QHash>
#include <QMainWindow>
#include <QPointer>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class QLabel;
class QTimer;
class QPrinter;
class QTextDocument;
class HelpViewer;
class PlatformMaintenance;
class TipOfTheDay;
class frmFind;
class ctlDetails;
class ctlTree;
class ctlView;
class modADO;

// The main window: the title strip, the tree on the left, the file view on the right and the
// details along the bottom, with two splitter bars between them. It opens the store, owns the menu,
// and is the only place where the panes meet.
class frmMain final : public QMainWindow
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(frmMain)

public:
    explicit frmMain(QWidget *parent = nullptr);
    ~frmMain() override;

    // Restores the window and its layout and sets up the panes; runs once, before the first show.
    void Form_Load();
    // The first activation opens the home's store and loads the tree; later ones do nothing.
    void Form_Activate();

    // Lays the panes out from the splitter positions (see MainLayout). `blnForm` is true when the
    // window itself was resized: the details pane then keeps its height.
    void SizeControls(bool blnForm);

    // Empties every pane and loads the tree again from the open store.
    void ReloadAll();

    // A file handed to the program: a Quick Clip file (".qcf") opens in the Quick Clip window, any
    // other is opened as a store, as File > Open Lorekeep opens one.
    void OpenFile(const QString &path);
    // The file to open at start: a store is opened instead of the home's (which is opened when the
    // file fails, as File > Open leaves the open store open), a Quick Clip file once the window is up.
    void setStartFile(const QString &path) { m_startFile = path; }
    static bool IsClipFile(const QString &path);

    // The program's icon in every size it is drawn in.
    static QIcon ProgramIcon();

    QLabel *lblCaption() const { return m_lblCaption; }
    // The open store, handed to every pane and window that reads or writes it.
    modADO &Store() const { return *m_store; }
    const MainLayout &Layout() const { return m_layout; }
    const MainMenu &Menu() const { return *m_menu; }

    // The Quick Clip viewer (modal; frmClip unless replaced).
    void setClipWindow(std::function<void()> show) { m_showClipWindow = std::move(show); }

    // The folder of the help pages in the home.
    static QString HelpFolder();
    // "~udtmp.tmp", which tells the updater what it is to update.
    static QByteArray UpdaterHandOver();

Q_SIGNALS:
    // The first activation is over.
    void Started();

public Q_SLOTS:
    void mnuFileConnect_Click();
    // frmMainShared.cpp: File > Open Shared Library, Open Recent and Copy Library To.
    void mnuFileOpenShared_Click();
    void mnuFileCopy_Click();
    // Asks for files, or a folder, and imports them into the game of the tree's selected node.
    void mnuFileImport_Click(bool folder);
    // Opens the platform-maintenance window, or brings up the one that is open.
    void mnuMaintPlatforms_Click();
    // frmMainRefresh.cpp: brings the panes in line with changes other programs made to the store;
    // runs when the window is activated and when the store says so, and waits while a dialog or an
    // editor with unsaved changes is up.
    void CheckStoreChanges();
    // The store says another program wrote to it.
    void StoreWrittenElsewhere();
    // Opens "Find Files...", or brings up the one that is open.
    void mnuSearchLorekeep_Click();
    // frmMainPrint.cpp: File > Print prints the selected file; a file window's print request
    // prints the title, file, source and text it hands over.
    void mnuFilePrint_Click();
    void PrintFromViewer(const QString &strTitle, const QString &strFile, const QString &strSource,
                         const QString &strTextRTF);
    void mnuFileExportPdf_Click();
    void ctlTree_ExportGame(qint32 lngGameId, const QString &strGame);
    // frmMainStore.cpp: bring back a backup; SQLite's integrity check of the open store.
    void mnuFileRestore_Click();
    void mnuToolsCheck_Click();
    void mnuViewTop_Click();
    void mnuViewLeft_Click();
    void mnuViewBottom_Click();
    // View > Next Pane (F6) and Previous Pane (Shift+F6): `step` 1 or -1.
    void mnuViewPane_Click(int step);
    // View > Web Browser: the browser tab, with the keyboard in its address line.
    void mnuViewBrowser_Click();
    // frmMainHelp.cpp: Tools > Options and the Help menu.
    void mnuToolsOptions_Click();
    void mnuHelpContents_Click();
    void mnuHelpSearch_Click();
    void mnuTips_Click();
    void objTOD_OKClick(quint8 bytLoadWithStart);
    void mnuHelpUpdate_Click();
    void mnuLKSupport_Click();
    void mnuHelpAbout_Click();

protected:
    void closeEvent(QCloseEvent *event) override;
    void changeEvent(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void buildWindow();
    void connectMenu();
    // Enables the menu items that can act now: those that need a store while one is open, Print
    // and Export while a file's text is shown.
    void UpdateMenus();
    // frmMainHelp.cpp: the help window on the home's pages; null (and the user told) when they are
    // missing.
    HelpViewer *OpenHelp();
    // At start: the help's contents on the first run, then the tip of the day when it is wanted.
    void FirstRunAndTip(bool firstRun);
    // What follows start-up once its long work is over: the first-run help, the tip, a start file.
    void AfterStartup(bool firstRun);

    // frmMainRouting.cpp: how the panes meet.
    enum class Opening { None, Bookmark, SearchHit };
    void connectPanes();
    void ctlTree_TreeNodeClick(const ctlTree::NodeChoice &node);
    void ctlTree_RenameGame(const QString &strOldName, const QString &strNewName, const QString &strTreeKey);
    void ctlTree_GameNodeDelete(const QString &strCaption, const QString &strKey);
    // Shows the file (or game) of a bookmark or search hit: its game is listed without selecting
    // the first file, then the file itself is selected.
    void OpenListItem(const QString &strKey, Opening from);
    void ctlView_NoFileKeyFound(const QString &strFileKey);
    // Indexes the files that wait for Find's index, once no other long work runs.
    void BuildFindIndex();
    // Hands the Find window's results to the details pane and remembers what it searched for.
    void connectFind(frmFind *form);
    // Opens "Add Favorite" for the browser's page unless it is a favorite already.
    void ctlView_AddFavorite();
    void ctlView_ShowFavorites();
    void printDocument(QPrinter *printer, const QString &procedure);
    void printText(RtfPrintout printout, QPrinter *printer, const QString &procedure);
    std::optional<QString> askPdfPath(const QString &title, const QString &name);
    void reportExport(PrintJob::Outcome outcome, const QString &path, const QString &error, const QString &procedure);
    // frmMainStore.cpp: opens a store and says what the user must know of it (read-only,
    // damaged: then a good backup is offered); true when a store is open on `path`.
    bool OpenStore(const QString &path);
    QString StorePath() const;
    // Offers the newest good backup in place of a damaged store; true when it was restored.
    bool OfferRestore(const QString &storePath);
    // Keeps the store as one more backup (a byte copy when `damaged`), brings `backup` back in
    // its place and reloads every pane; the messages are its own.
    bool RestoreFrom(const BackupInfo &backup, const QString &storePath, bool damaged);
    // A read found the store damaged at `when`; nothing when the store was opened afresh since.
    // Whatever the panes show is of the store before: they reload.
    void StoreOpened();
    void StoreDamaged(const QString &path, std::chrono::steady_clock::time_point when);
    void restoreWindowGeometry();
    // Platform maintenance with `platformId` selected when given.
    void openPlatforms(std::optional<quint8> platformId);
    void watchStore();
    void SetFilesCaption();
    // File > Open Lorekeep once the file is chosen; also a shared library's address. A store the
    // user opens is the one the next start opens when it is a shared library.
    void OpenStoreFile(const QString &path);
    // frmMainShared.cpp: the list of File > Open Recent, from the settings; adding the store just
    // opened to it, and taking out one that is gone.
    void FillRecent();
    // The store the user chose was opened: the next start opens it too if it is a shared library.
    void RememberChosen(const QString &path);
    void AddRecent(const QString &path);
    void RemoveRecent(const QString &path);
    // A shared library's address with the password typed for it this session, when it has none.
    QString WithSessionPassword(const QString &address) const;
    // A shared library did not open: says why and asks what to do. True with `address` to try
    // again (with the password the user typed); false to give up, or at start to open the home's
    // store instead.
    bool AskAgain(QString *address, const ErrObject &err);
    void OpenClipFile(const QString &path);
    bool Form_QueryUnload();
    void Form_Unload();
    void Form_Resize();

    void splitterDown(QWidget *bar, const QPoint &pos);
    void splitterMove(QWidget *bar, const QPoint &pos);
    void splitterUp(QWidget *bar);
    void placeBar(QWidget *bar, const QRect &twips, Qt::Orientation orientation);

    std::unique_ptr<MainMenu> m_menu;
    QWidget *picClient = nullptr;
    QWidget *picToolBar = nullptr;
    QLabel *m_lblCaption = nullptr;
    modADO *m_store = nullptr;
    ctlTree *m_ctlTree = nullptr;
    ctlView *m_ctlView = nullptr;
    ctlDetails *m_ctlDetails = nullptr;
    QWidget *imgS1 = nullptr;
    QWidget *imgS2 = nullptr;
    QWidget *picSplitter = nullptr;

    MainLayout m_layout;
    // 0 no drag, 1 the vertical bar, 2 the horizontal bar; the indicator's position in twips.
    int m_dragState = 0;
    int m_dragPosition = 0;
    bool m_loaded = false;
    bool m_activated = false;
    bool m_activating = false;
    bool m_restoring = false;
    bool m_damageOffered = false;
    // Find's index is being built, or waits for other long work to end before it is.
    bool m_indexing = false;
    bool m_indexWaiting = false;
    std::chrono::steady_clock::time_point m_storeOpened;
    // 1 while a bookmark or search hit is being opened: the file view then leaves the choice of
    // file to the caller instead of showing the game's first.
    quint8 m_selectingFromList = 0;
    // What is being opened while OpenListItem runs: a missing file is the bookmark's concern only
    // when a bookmark was opened.
    Opening m_opening = Opening::None;
    QString m_openingKey;
    QPointer<PlatformMaintenance> objPlatformSelect;
    QPointer<frmFind> m_frmFind;
    QPointer<TipOfTheDay> objTOD;
    // The phrase of the last search, shown marked in the text of a search hit opened from the
    // results; only when the search looked in the files' text.
    QString m_searchPhrase;
    bool m_searchInText = false;
    // The stores the Recent menu lists now.
    QStringList m_recentListed;

    // The text of the printout being prepared.
    std::unique_ptr<QTextDocument> rtbPrint;

    QTimer *m_storeWatch = nullptr;
    // Another program changed the store and the panes have not caught up yet.
    bool m_storeChanged = false;

    std::function<void()> m_showClipWindow;
    QString m_startFile;
    // Passwords typed this session, by the shared library's address without one; never saved.
    QHash<QString, QString> m_passwords;
};
