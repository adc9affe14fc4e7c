#pragma once

#include "WebPage.h"
#include "webpage/CapturedPage.h"

#include <QTimer>
#include <QUrl>
#include <QWidget>

#include <functional>
#include <memory>

class BrowserPage;
class QAction;
class QCheckBox;
class QComboBox;
class QLabel;
class QMenu;
class QProgressBar;
class QStatusBar;
class QTemporaryDir;
struct SnapshotRow;
class QToolBar;
class QVBoxLayout;
class QWebEngineLoadingInfo;
class QWebEngineView;

// The web browser of the file view's second tab: a toolbar, the pop-up blocker switch, an address
// box, the page and a status line. It writes the start page into the home at every start, and
// hands the shown page (address, title, what was taken of it as RTF, and its snapshot) to whoever
// imports it, or its address to whoever keeps it as a favorite.
// The tab's controls are made, and the web engine started, only when the tab is first shown, which
// keeps them out of start-up.
class ctlBrowser final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ctlBrowser)

public:
    explicit ctlBrowser(QWidget *parent = nullptr);
    ~ctlBrowser() override;

    // Takes `part` of the page shown (its article, the whole page or the selection) with a snapshot
    // of the page, and hands it on with DirectImport; what fails is told to the user.
    void ImportPage(PagePart part);
    // Shows a page as it was kept with a file: offline, with its scripts off.
    void ShowSnapshot(const SnapshotRow &snapshot);
    // "Start Page" on the start page, else the page's address.
    QString PageURL() const;
    // "Start Page" on the start page, else the page's title (its file name when it has none).
    QString PageTitle() const;
    void ComboFocus();
    void BrowseNavigate(const QString &strURL);
    // Reads the pop-up setting, writes the start page and goes to the home page.
    void InitBrowse();

    // The four lines of the start page, with their line ends.
    static QByteArray StartPage();
    // The page of the "Home" button: the "BrowsStart" option, the home's start page when unset.
    static QUrl HomePage();

    // The web view once the engine runs; null before.
    QWebEngineView *View() const { return brw; }

    void setVisible(bool visible) override;

Q_SIGNALS:
    void TitleChange(const QString &strTitle);
    void ShowFavorites();
    void AddFavorite();
    void DirectImport(const WebPage &page);

protected:
    void showEvent(QShowEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    // The pop-up switch's caption, and the program's name as the address box shows it.
    static const QString popupCaption;
    static const QString programName;
    // Makes the tab's controls; they cost the start-up time of a tab most users do not open.
    void buildPage();
    void buildToolbar();
    // Puts controls made after the window into the place of the browser in its tab order.
    void placeControlsInTabOrder();
    // Starts the engine and shows the page that was asked for until then.
    QWebEngineView *view();
    // The page's place in the tab order: after the address line and Go.
    void placePageInTabOrder();
    void navigate(const QUrl &address);
    QUrl Location() const;
    QString LocationName() const;
    bool OnStartPage() const;
    bool showingSnapshot() const;

    void tbrToolbar_ButtonClick(const QString &key);
    void tbrGo_ButtonClick();
    void cboURL_Enter();
    void chkPopup_Click();
    void mnuHidden_AboutToShow();
    bool brw_NewWindow();
    void brw_NavigateComplete(const QUrl &url);
    void brw_DownloadBegin();
    void brw_DownloadComplete(bool ok);
    void brw_LoadingChanged(const QWebEngineLoadingInfo &info);
    void endPopupNotice();

    // Made with the tab, when it is first shown (buildPage); null before.
    QToolBar *tbrToolbar = nullptr;
    QCheckBox *chkPopup = nullptr;
    QLabel *lblAddress = nullptr;
    QComboBox *cboURL = nullptr;
    QToolBar *tbrGo = nullptr;
    QWidget *picPage = nullptr;
    QWebEngineView *brw = nullptr;
    QStatusBar *sbStatusBar = nullptr;
    QLabel *lblStatus = nullptr;
    QProgressBar *pBar = nullptr;
    QMenu *mnuHidden = nullptr;
    QAction *mnuAddURL = nullptr;
    QAction *mnuDirectImport = nullptr;
    QAction *mnuImportWhole = nullptr;
    QAction *mnuImportSelection = nullptr;
    QVBoxLayout *m_layout;
    // The pop-up switch as InitBrowse read it, for a switch made after it.
    bool m_popupsChecked = false;

    // Where the view goes once it exists.
    QUrl m_pending;
    QTimer m_popupNotice;
    // The page shown now tells that the one asked for could not be opened.
    bool m_failedLoad = false;
    // A page is being taken for import; a second import waits for it.
    bool m_importing = false;
    // Where shown snapshots are written, made when the first is shown and removed with the browser.
    std::unique_ptr<QTemporaryDir> m_snapshots;
    // What the status line says while a snapshot shows.
    QString m_snapshotNote;
    QString m_snapshotAddress;
};
