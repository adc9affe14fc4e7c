#include "ctlBrowser.h"

#include "BrowserAddress.h"
#include "BrowserPage.h"
#include "base/AppPath.h"
#include "base/ErrorLog.h"
#include "data/SnapshotTable.h"
#include "html/MhtmlArchive.h"
#include "html/PageRtf.h"
#include "system/Contrast.h"
#include "system/Prompts.h"
#include "system/SettingsStore.h"
#include "webpage/BrowserProfile.h"
#include "webpage/PageCapture.h"
#include "webpage/StartPageScheme.h"
#include "widgets/DeferredIcon.h"
#include "widgets/KeyboardAccess.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMenu>
#include <QProgressBar>
#include <QScopeGuard>
#include <QStatusBar>
#include <QStyle>
#include <QTemporaryDir>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWebEngineHistory>
#include <QWebEngineLoadingInfo>
#include <QWebEngineView>

#include <memory>
#include <utility>

namespace {

const QString module = QStringLiteral("ctlBrowser");
const QString startPageName = QStringLiteral("Start Page");
// A start page in a home of this name shows the program's name in the address box.
const QString homeStartPage = QStringLiteral("Lorekeep/Start.html");
constexpr int popupNoticeMs = 3000;

bool popupsBlocked()
{
    return SettingNumber(GetSetting(SettingKeys::BrowsePopups)).value_or(1) == 1;
}

} // namespace

const QString ctlBrowser::popupCaption = QStringLiteral("Disable Pop-Ups");
const QString ctlBrowser::programName = QStringLiteral("Lorekeep");

ctlBrowser::ctlBrowser(QWidget *parent) : QWidget(parent), m_layout(new QVBoxLayout(this))
{
    setObjectName(QStringLiteral("Browser"));
    m_layout->setContentsMargins(0, 0, 0, 0);
    m_layout->setSpacing(2);

    m_popupNotice.setSingleShot(true);
    m_popupNotice.setInterval(popupNoticeMs);
    connect(&m_popupNotice, &QTimer::timeout, this, &ctlBrowser::endPopupNotice);
}

ctlBrowser::~ctlBrowser()
{
    // The page goes before its view, so that the engine never sees a view without its page.
    if (brw)
        delete brw->page();
}

QByteArray ctlBrowser::StartPage()
{
    return QByteArrayLiteral("<HTML><HEAD><TITLE></TITLE></HEAD><BODY BGCOLOR=#FFFFFF>\r\n"
                             "<CENTER><TABLE BORDER=0 CELLPADDING=0 CELLSPACING=0 WIDTH=500><TR><TD><CENTER>"
                             "<IMG SRC=logo.gif><CENTER></TD></TR></TABLE><BR>\r\n"
                             "<TABLE BORDER=0 CELLPADDING=0 CELLSPACING=0 WIDTH=500><TR><TD WIDTH=48%>"
                             "<FONT FACE=verdana COLOR=#000000 SIZE=0><B>"
                             "Lorekeep makes it easy to collect and store walkthroughs, guides, cheats, previews, "
                             "reviews, news and notes."
                             "</B></FONT></TD><TD WIDTH=4%><CENTER><IMG SRC=vbar.gif></CENTER></TD><TD WIDTH=48%>"
                             "<FONT FACE=verdana COLOR=#000000 SIZE=0><B>"
                             "With an easy to use interface, Lorekeep has several features such as bookmarking "
                             "and multiple search functions so it can be as advanced as you want!"
                             "</B></FONT></TD></TR></TABLE>\r\n"
                             "</CENTER></BODY></HTML>\r\n");
}

QUrl ctlBrowser::HomePage()
{
    const QString start = GetSetting(SettingKeys::BrowsStart).trimmed();
    if (start.isEmpty())
        return QUrl::fromLocalFile(AppPath() + QStringLiteral("Start.html"));
    // The option holds a file chosen on disk, or an address typed by hand.
    if (QFileInfo(start).isAbsolute())
        return QUrl::fromLocalFile(start);
    return QUrl::fromUserInput(start);
}

void ctlBrowser::InitBrowse()
{
    m_popupsChecked = popupsBlocked();
    if (chkPopup)
        chkPopup->setChecked(m_popupsChecked);

    // Made again at every start, so it is not worth a sync to disk; a folder that refuses it keeps
    // the old page, or none.
    QFile file(AppPath() + QStringLiteral("Start.html"));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(StartPage()) < 0 || !file.flush())
        LogError({ErrNumber::PathFileAccess, file.errorString()}, module, QStringLiteral("InitBrowse"), false);

    navigate(HomePage());
}

QWebEngineView *ctlBrowser::view()
{
    if (brw)
        return brw;
    buildPage();
    brw = new QWebEngineView;
    brw->setObjectName(QStringLiteral("brw"));
    auto *page = new BrowserPage(
        BrowserProfile::Instance(), [this] { return brw_NewWindow(); }, brw);
    brw->setPage(page);

    connect(page, &QWebEnginePage::linkHovered, lblStatus, &QLabel::setText);
    connect(page, &QWebEnginePage::loadStarted, this, &ctlBrowser::brw_DownloadBegin);
    connect(page, &QWebEnginePage::loadProgress, pBar, &QProgressBar::setValue);
    connect(page, &QWebEnginePage::loadFinished, this, &ctlBrowser::brw_DownloadComplete);
    connect(page, &QWebEnginePage::urlChanged, this, &ctlBrowser::brw_NavigateComplete);
    // A page that cannot be opened gets ours, which says which and why, in place of the engine's.
    connect(page, &QWebEnginePage::loadingChanged, this, &ctlBrowser::brw_LoadingChanged);
    connect(page, &QWebEnginePage::titleChanged, this, [this] { Q_EMIT TitleChange(PageTitle()); });
    // Back and Forward follow what the page's history allows, Stop whether a page is loading.
    const auto follow = [this, page](QWebEnginePage::WebAction webAction, const QString &key) {
        QAction *source = page->action(webAction);
        QAction *button = tbrToolbar->findChild<QAction *>(key);
        button->setEnabled(source->isEnabled());
        connect(source, &QAction::changed, button, [source, button] { button->setEnabled(source->isEnabled()); });
    };
    follow(QWebEnginePage::Back, QStringLiteral("Back"));
    follow(QWebEnginePage::Forward, QStringLiteral("Forward"));
    follow(QWebEnginePage::Stop, QStringLiteral("Stop"));

    m_layout->replaceWidget(picPage, brw);
    picPage->hide();
    // The engine makes the widget that takes the page's keys later, at the end of the window's tab
    // order; it is put after the address line whenever it comes.
    brw->installEventFilter(this);
    placePageInTabOrder();
    if (m_pending.isValid())
        brw->load(m_pending);
    return brw;
}

void ctlBrowser::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    view();
}

void ctlBrowser::navigate(const QUrl &address)
{
    // The home's start page, however it is named, is shown through the program's own address, so
    // that it needs no access to files.
    const QUrl url = StartPageScheme::Served(address);
    m_pending = url;
    if (!brw)
        return;
    // The engine tells no change of address when the page is loaded again.
    if (brw->url() == url)
        brw_NavigateComplete(url);
    brw->load(url);
}

void ctlBrowser::placePageInTabOrder()
{
    if (brw) {
        QWidget *page = brw->focusProxy() ? brw->focusProxy() : brw;
        QWidget::setTabOrder(tbrGo->widgetForAction(tbrGo->actions().constFirst()), page);
    }
}

bool ctlBrowser::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == brw && event->type() == QEvent::ChildAdded)
        QTimer::singleShot(0, this, &ctlBrowser::placePageInTabOrder);
    // Entering the box selects the address, so that typing replaces it. The click that focused
    // the box would move the cursor and undo the selection, so it is made once the click is over.
    if (watched == cboURL && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent *>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            cboURL_Enter();
            return true;
        }
    }
    if (watched == cboURL && event->type() == QEvent::FocusIn)
        QTimer::singleShot(
            0, this, [this] { cboURL->lineEdit()->setSelection(0, int(cboURL->currentText().trimmed().size())); });
    return QWidget::eventFilter(watched, event);
}

void ctlBrowser::ComboFocus()
{
    buildPage();
    cboURL->setFocus();
}

void ctlBrowser::BrowseNavigate(const QString &strURL)
{
    navigate(QUrl::fromUserInput(strURL));
    view();
}

QUrl ctlBrowser::Location() const
{
    // Until the engine has taken up the page asked for, that page is the one the browser shows.
    return StartPageScheme::Unserved(brw && !brw->url().isEmpty() ? brw->url() : m_pending);
}

QString ctlBrowser::LocationName() const
{
    // A page without a title goes by its file name, as browsers name their tabs.
    // The program's own pages have no title; the engine's stand-in is their served address.
    const bool served = brw && brw->url().scheme() == QLatin1String(StartPageScheme::Scheme);
    if (brw && !brw->url().isEmpty() && !brw->title().isEmpty() && !served)
        return brw->title();
    const QUrl url = Location();
    return url.fileName().isEmpty() ? url.toString() : url.fileName();
}

bool ctlBrowser::OnStartPage() const
{
    const QString name = LocationName();
    return name == QLatin1String("Start.html") || name == QLatin1String("Start");
}

QString ctlBrowser::PageURL() const
{
    // A snapshot stands for the page it was taken from.
    if (showingSnapshot())
        return m_snapshotAddress;
    if (OnStartPage())
        return startPageName;
    return Location().toString();
}

QString ctlBrowser::PageTitle() const
{
    return OnStartPage() ? startPageName : LocationName();
}

void ctlBrowser::ImportPage(PagePart part)
{
    if (!brw || m_importing)
        return Prompts::current().Beep();
    // The address and title are taken now, with the request, as the user saw them.
    const QString url = PageURL();
    const QString title = PageTitle();
    m_importing = true;
    lblStatus->setText(QStringLiteral("Taking the page..."));
    QApplication::setOverrideCursor(Qt::BusyCursor);
    PageCapture::Capture(brw->page(), part, this, [this, url, title](const CapturedPage &page, const ErrObject &err) {
        const auto done = qScopeGuard([this] {
            QApplication::restoreOverrideCursor();
            m_importing = false;
        });
        if (err.isError()) {
            lblStatus->setText(QStringLiteral("The page was not imported."));
            LogError(err, module, QStringLiteral("ImportPage"), false);
            MsgBox(err.Description, MsgButtons::OK, MsgIcon::Exclamation, programName);
            return;
        }
        PageRtfOptions options;
        options.keepPictures = SettingNumber(GetSetting(SettingKeys::ImportPictures)).value_or(1) != 0;
        const PageRtfResult text = PageRtf(page.html, page.address, MhtmlArchive::Read(page.mhtml), options);
        lblStatus->setText(text.picturesLinked == 0
                               ? QStringLiteral("Done")
                               : QStringLiteral("%1 pictures were left on the page, as links: a file keeps at most "
                                                "20 MB of pictures.")
                                     .arg(text.picturesLinked));
        Q_EMIT DirectImport(WebPage{url, title, text.rtf, page.mhtml, page.captured});
    });
}

void ctlBrowser::ShowSnapshot(const SnapshotRow &snapshot)
{
    // The engine reads a saved page from a file of its own kind, removed with the browser.
    if (!m_snapshots)
        m_snapshots = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/lorekeep-pages-XXXXXX"));
    const QString path = m_snapshots->filePath(QStringLiteral("page-%1.mhtml").arg(snapshot.auto_id));
    QFile file(path);
    if (!m_snapshots->isValid() || !file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(snapshot.mhtml) != snapshot.mhtml.size() || !file.flush()) {
        const ErrObject err{
            ErrNumber::PathFileAccess,
            QStringLiteral("The snapshot of %1 could not be shown: %2")
                .arg(snapshot.address, m_snapshots->isValid() ? file.errorString() : m_snapshots->errorString())};
        LogError(err, module, QStringLiteral("ShowSnapshot"), false);
        MsgBox(err.Description, MsgButtons::OK, MsgIcon::Exclamation, programName);
        return;
    }
    file.close();
    m_snapshotAddress = snapshot.address;
    m_snapshotNote =
        QStringLiteral("Snapshot of %1 as it was on %2 (offline, scripts off)")
            .arg(snapshot.address, QLocale().toString(snapshot.captured.toLocalTime(), QLocale::LongFormat));
    const QUrl archive = QUrl::fromLocalFile(path);
    m_pending = archive;
    static_cast<BrowserPage *>(view()->page())->LoadOffline(archive);
}

void ctlBrowser::mnuHidden_AboutToShow()
{
    // A page is there to import once the engine runs and shows one that is not the program's own.
    const bool page = brw && !m_importing;
    mnuDirectImport->setEnabled(page);
    mnuImportWhole->setEnabled(page);
    mnuImportSelection->setEnabled(page && brw->hasSelection());
}

void ctlBrowser::tbrToolbar_ButtonClick(const QString &key)
{
    if (key == QLatin1String("Favorites"))
        Q_EMIT ShowFavorites();
    else if (key == QLatin1String("AddFav"))
        mnuHidden->popup(tbrToolbar->mapToGlobal(
            tbrToolbar->widgetForAction(tbrToolbar->findChild<QAction *>(key))->geometry().bottomLeft()));
    else if (key == QLatin1String("Home"))
        navigate(HomePage());
    else if (key == QLatin1String("Search"))
        navigate(QUrl::fromUserInput(GetSetting(SettingKeys::BrowseSearchPage)));
    else if (!brw)
        return;
    else if (key == QLatin1String("Back"))
        brw->back();
    else if (key == QLatin1String("Forward"))
        brw->forward();
    else if (key == QLatin1String("Stop"))
        brw->stop();
    else if (key == QLatin1String("Refresh"))
        brw->reload();
}

void ctlBrowser::tbrGo_ButtonClick()
{
    // On the start page the box names the program, not an address.
    cboURL->setFocus();
    if (cboURL->currentText().trimmed() != programName)
        cboURL_Enter();
}

void ctlBrowser::cboURL_Enter()
{
    // An address that names nothing is not sent to the engine; the box keeps it for mending.
    const QString typed = cboURL->currentText();
    QString problem;
    const QUrl url = BrowserAddress::Read(typed, &problem);
    if (!url.isValid()) {
        MsgBox(QStringLiteral("The address \"%1\" cannot be opened: %2").arg(typed.trimmed(), problem), MsgButtons::OK,
               MsgIcon::Exclamation, programName);
        cboURL->setEditText(typed);
        cboURL->setFocus();
        return;
    }
    navigate(url);
}

void ctlBrowser::brw_LoadingChanged(const QWebEngineLoadingInfo &info)
{
    // A page stopped by the user, or one the server answered with a page of its own, is no failure.
    constexpr int aborted = -3;
    if (info.status() != QWebEngineLoadingInfo::LoadFailedStatus || info.errorCode() == aborted ||
        info.errorDomain() == QWebEngineLoadingInfo::HttpStatusCodeDomain)
        return;
    const QUrl url = info.url();
    const QString reason = BrowserAddress::FailureReason(info.errorCode(), info.errorString());
    // Not from inside the engine's own report of the load.
    QTimer::singleShot(0, this, [this, url, reason] {
        if (!brw)
            return;
        m_failedLoad = true;
        brw->setHtml(BrowserAddress::FailurePage(url, reason), url);
    });
}

void ctlBrowser::chkPopup_Click()
{
    SaveSetting(SettingKeys::BrowsePopups, chkPopup->isChecked() ? QStringLiteral("1") : QStringLiteral("0"));
}

bool ctlBrowser::brw_NewWindow()
{
    // The setting decides, not the check box, so a change made elsewhere counts at once.
    if (!popupsBlocked())
        return false;
    // The notice lasts three seconds from the last blocked window; the window stays usable.
    chkPopup->setText(QStringLiteral("Disabled!"));
    // Red, as light or as dark as it takes to be read on the desktop's colours.
    QPalette red = chkPopup->palette();
    const QColor notice = ReadableOn(QColor(255, 0, 0), red.color(QPalette::Window));
    red.setColor(QPalette::WindowText, notice);
    red.setColor(QPalette::ButtonText, notice);
    chkPopup->setPalette(red);
    QFont bold = chkPopup->font();
    bold.setBold(true);
    chkPopup->setFont(bold);
    m_popupNotice.start();
    return true;
}

void ctlBrowser::endPopupNotice()
{
    chkPopup->setText(popupCaption);
    chkPopup->setFont(QFont());
    chkPopup->setPalette(QPalette());
}

void ctlBrowser::brw_NavigateComplete(const QUrl &url)
{
    // The start page shows the file it was made from, as it always has.
    QString address = showingSnapshot() ? m_snapshotAddress : StartPageScheme::Unserved(url).toString();
    if (address.endsWith(homeStartPage))
        address = programName;
    cboURL->setEditText(address);
    cboURL->lineEdit()->setSelection(0, int(address.trimmed().size()));
}

void ctlBrowser::brw_DownloadBegin()
{
    pBar->setRange(0, 100);
    pBar->setValue(0);
    pBar->show();
    lblStatus->setText(QStringLiteral("Opening page..."));
}

void ctlBrowser::brw_DownloadComplete(bool ok)
{
    pBar->hide();
    // The page that says a page failed is itself loaded fine; the status still tells of the failure.
    if (ok && std::exchange(m_failedLoad, false))
        ok = false;
    if (ok && showingSnapshot())
        lblStatus->setText(m_snapshotNote);
    else
        lblStatus->setText(ok ? QStringLiteral("Done") : QStringLiteral("The page could not be opened."));
}

bool ctlBrowser::showingSnapshot() const
{
    return brw && !static_cast<BrowserPage *>(brw->page())->OfflineArchive().isEmpty();
}
