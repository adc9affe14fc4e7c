#include "frmMain.h"

#include "base/AppPath.h"
#include "base/ErrorLog.h"
#include "base/Version.h"
#include "clip/ClipFile.h"
#include "clip/frmClip.h"
#include "components/BackupJob.h"
#include "data/HomeFolder.h"
#include "data/modADO.h"
#include "details/ctlDetails.h"
#include "modMain.h"
#include "reader/TextReader.h"
#include "store/StoreAddress.h"
#include "store/StoreError.h"
#include "system/Contrast.h"
#include "system/Prompts.h"
#include "system/SettingsStore.h"
#include "system/TextEncodings.h"
#include "system/Twips.h"
#include "tree/ctlTree.h"
#include "view/ctlView.h"
#include "widgets/Caption.h"
#include "widgets/DeferredIcon.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QLayout>
#include <QMenuBar>
#include <QMouseEvent>
#include <QScreen>
#include <QTextDocument>
#include <QTextEdit>
#include <QTimer>

#include <array>
#include <chrono>

namespace {

const QString title = QStringLiteral(LOREKEEP_TITLE);

// The bars are as thin as the gap between the panes; this much of the panes' edges around them also
// picks them up, so the pointer need not hit a two-pixel line.
constexpr int grabMargin = 2;

QRect toPixels(const QRect &twips)
{
    // Edges are converted, not sizes, so neighbours meet without a gap or an overlap.
    const QPoint topLeft(Twips::toPixelsX(twips.left()), Twips::toPixelsY(twips.top()));
    const QPoint end(Twips::toPixelsX(twips.left() + twips.width()), Twips::toPixelsY(twips.top() + twips.height()));
    return QRect(topLeft, end - QPoint(1, 1));
}

QWidget *makeBar(QWidget *parent, const char *name, Qt::CursorShape cursor)
{
    auto *bar = new QWidget(parent);
    bar->setObjectName(QString::fromLatin1(name));
    bar->setCursor(cursor);
    bar->setAttribute(Qt::WA_NoSystemBackground);
    return bar;
}

} // namespace

frmMain::frmMain(QWidget *parent) : QMainWindow(parent)
{
    setObjectName(QStringLiteral("frmMain"));
    setWindowTitle(title);
    setWindowIcon(ProgramIcon());
    m_menu = std::make_unique<MainMenu>(menuBar());
    rtbPrint = std::make_unique<QTextDocument>();
    // Before the panes, which are handed it; and so, as the first child, gone before them.
    m_store = new modADO(QStringLiteral("lorekeep"), this);
    m_showClipWindow = [this] {
        frmClip form(this);
        form.exec();
    };
    buildWindow();
    connectMenu();
    FillRecent();
    connectPanes();
    watchStore();
    UpdateMenus();
    // A damaged store can show itself at any read, on any thread; the offer of a backup is made
    // here, after the read has failed and been reported.
    QPointer<frmMain> self(this);
    StoreError::setDamageHandler([self](const QString &path) {
        const auto when = std::chrono::steady_clock::now();
        QMetaObject::invokeMethod(
            qApp,
            [self, path, when] {
                if (self)
                    self->StoreDamaged(path, when);
            },
            Qt::QueuedConnection);
    });
}

frmMain::~frmMain()
{
    StoreError::setDamageHandler({});
}

QIcon frmMain::ProgramIcon()
{
    // Seven sizes, read when the desktop first asks for the icon rather than while the window is made.
    QList<std::pair<QString, QSize>> files;
    for (const int size : {16, 24, 32, 48, 64, 128, 256})
        files.append({QStringLiteral(":/bundle/icons/lorekeep-%1.png").arg(size), QSize(size, size)});
    return DeferredIcon(files);
}

void frmMain::buildWindow()
{
    picClient = new QWidget(this);
    picClient->setObjectName(QStringLiteral("picClient"));
    picClient->installEventFilter(this);
    setCentralWidget(picClient);

    picToolBar = new QWidget(picClient);
    picToolBar->setObjectName(QStringLiteral("picToolBar"));
    m_lblCaption = new QLabel(title, picToolBar);
    m_lblCaption->setObjectName(QStringLiteral("lblCaption"));
    m_lblCaption->setIndent(8);
    QFont strip = m_lblCaption->font();
    strip.setBold(true);
    strip.setPointSizeF(strip.pointSizeF() * 1.15);
    m_lblCaption->setFont(strip);
    SetCaptionColors(m_lblCaption, CaptionActive);
    picToolBar->installEventFilter(this);

    m_ctlTree = new ctlTree(picClient);
    m_ctlView = new ctlView(picClient);
    m_ctlDetails = new ctlDetails(picClient);
    m_ctlTree->setStore(m_store);
    m_ctlView->setStore(m_store);
    m_ctlDetails->setStore(m_store);

    imgS1 = makeBar(picClient, "imgS1", Qt::SplitHCursor);
    imgS2 = makeBar(picClient, "imgS2", Qt::SplitVCursor);
    for (QWidget *bar : {imgS1, imgS2})
        bar->installEventFilter(this);
    picSplitter = new QWidget(picClient);
    picSplitter->setObjectName(QStringLiteral("picSplitter"));
    picSplitter->setAutoFillBackground(true);
    // Halfway and more from the window's colour to its text's, the bar shows over every pane on a
    // light desktop and a dark one alike.
    QPalette indicator = picSplitter->palette();
    indicator.setColor(QPalette::Window,
                       Blend(indicator.color(QPalette::Window), indicator.color(QPalette::WindowText), 0.6));
    picSplitter->setPalette(indicator);
    picSplitter->hide();

    setMinimumSize(Twips::toPixelsX(MainLayout::MinWindowWidth), Twips::toPixelsY(MainLayout::MinWindowHeight));
}

void frmMain::connectMenu()
{
    connect(m_menu->mnuFileConnect, &QAction::triggered, this, &frmMain::mnuFileConnect_Click);
    connect(m_menu->mnuFileOpenShared, &QAction::triggered, this, &frmMain::mnuFileOpenShared_Click);
    connect(m_menu->mnuFileCopy, &QAction::triggered, this, &frmMain::mnuFileCopy_Click);
    connect(m_menu->mnuFileImport, &QAction::triggered, this, [this] { mnuFileImport_Click(false); });
    connect(m_menu->mnuFileImportFolder, &QAction::triggered, this, [this] { mnuFileImport_Click(true); });
    connect(m_menu->mnuFilePrint, &QAction::triggered, this, &frmMain::mnuFilePrint_Click);
    connect(m_menu->mnuFileExportPdf, &QAction::triggered, this, &frmMain::mnuFileExportPdf_Click);
    connect(m_menu->mnuFileRestore, &QAction::triggered, this, &frmMain::mnuFileRestore_Click);
    connect(m_menu->mnuToolsCheck, &QAction::triggered, this, &frmMain::mnuToolsCheck_Click);
    connect(m_menu->mnuFileExit, &QAction::triggered, this, &QWidget::close);
    connect(m_menu->mnuMaintPlatforms, &QAction::triggered, this, &frmMain::mnuMaintPlatforms_Click);
    connect(m_menu->mnuViewBrowser, &QAction::triggered, this, &frmMain::mnuViewBrowser_Click);
    connect(m_menu->mnuSearchLorekeep, &QAction::triggered, this, &frmMain::mnuSearchLorekeep_Click);
    connect(m_menu->mnuViewTop, &QAction::triggered, this, &frmMain::mnuViewTop_Click);
    connect(m_menu->mnuViewLeft, &QAction::triggered, this, &frmMain::mnuViewLeft_Click);
    connect(m_menu->mnuViewBottom, &QAction::triggered, this, &frmMain::mnuViewBottom_Click);
    m_ctlView->Reader()->UseSectionsAction(m_menu->mnuViewSections);
    connect(m_menu->mnuViewNextPane, &QAction::triggered, this, [this] { mnuViewPane_Click(1); });
    connect(m_menu->mnuViewPreviousPane, &QAction::triggered, this, [this] { mnuViewPane_Click(-1); });
    connect(m_menu->mnuViewQuickClip, &QAction::triggered, this, [this] {
        if (m_showClipWindow)
            m_showClipWindow();
    });
    connect(m_menu->mnuToolsOptions, &QAction::triggered, this, &frmMain::mnuToolsOptions_Click);
    connect(m_menu->mnuHelpContents, &QAction::triggered, this, &frmMain::mnuHelpContents_Click);
    connect(m_menu->mnuHelpSearch, &QAction::triggered, this, &frmMain::mnuHelpSearch_Click);
    connect(m_menu->mnuTips, &QAction::triggered, this, &frmMain::mnuTips_Click);
    connect(m_menu->mnuHelpUpdate, &QAction::triggered, this, &frmMain::mnuHelpUpdate_Click);
    connect(m_menu->mnuLKSupport, &QAction::triggered, this, &frmMain::mnuLKSupport_Click);
    connect(m_menu->mnuHelpAbout, &QAction::triggered, this, &frmMain::mnuHelpAbout_Click);
}

void frmMain::Form_Load()
{
    if (m_loaded)
        return;
    m_loaded = true;
    restoreWindowGeometry();

    if (SettingNumber(GetSetting(SettingKeys::AppLayout)) == 1L) {
        m_layout.Restore(Twips::fromPixelsY(picClient->height()));
        m_menu->mnuViewLeft->setChecked(m_layout.treeVisible);
        m_menu->mnuViewBottom->setChecked(m_layout.detailVisible);
    }
    // The first SizeControls(true) after the window is shown places the horizontal bar from the
    // details height.
    m_ctlTree->setVisible(m_layout.treeVisible);
    m_ctlDetails->setVisible(m_layout.detailVisible);
    // The keyboard starts in the library itself rather than in the tree's search box above it.
    m_ctlTree->FocusPane();

    m_ctlView->InitView();
    m_ctlDetails->InitDetails();
    QDir().mkpath(AppPath() + QStringLiteral("QuickClip"));
}

void frmMain::restoreWindowGeometry()
{
    const QByteArray saved = QByteArray::fromBase64(GetSetting(SettingKeys::WindowGeometry).toLatin1());
    if (saved.isEmpty() || !restoreGeometry(saved)) {
        // First start: most of the screen, centred, but not a wall of empty panes on a large monitor.
        const QRect screen =
            QApplication::primaryScreen() ? QApplication::primaryScreen()->availableGeometry() : QRect(0, 0, 1280, 800);
        const QSize size = QSize(std::min(screen.width() * 9 / 10, 1280), std::min(screen.height() * 9 / 10, 860))
                               .expandedTo(minimumSize());
        resize(size);
        move(screen.center() - QPoint(size.width() / 2, size.height() / 2));
    }
    // The client area has its size only once the window is laid out, and the saved layout needs it.
    if (QLayout *frame = layout())
        frame->activate();
}

void frmMain::Form_Activate()
{
    if (m_activated || m_activating)
        return;
    m_activating = true;

    StartLog();
    QString storePath = AppPath() + HomeFolder::StoreFileName;
    bool opened = false;
    // A store named at start, or else the shared library the user opened last, in the place of
    // the home's own; the home's is opened when it fails.
    const bool named = !m_startFile.isEmpty() && !IsClipFile(m_startFile);
    const QString first = named ? m_startFile : GetSetting(SettingKeys::LastShared);
    if (!first.isEmpty()) {
        opened = OpenStore(first);
        if (opened)
            storePath = m_store->DatabasePath();
        if (opened && named)
            RememberChosen(storePath);
    }
    if (!opened)
        opened = OpenStore(storePath);
    if (opened) {
        if (m_ctlView->SelectedTab() == ctlView::Tab::Files)
            SetFilesCaption();
        m_ctlTree->LoadTree();
    } else {
        MsgBox(QStringLiteral("There is a database connection error."), MsgButtons::OK, MsgIcon::Critical, title);
    }
    m_activated = true;
    m_activating = false;
    if (opened)
        BackupJob::Daily(this, storePath);

    UpdateMenus();

    // The flag is written before the help opens, so a help that fails to open is not retried forever.
    const bool firstRun = SettingNumber(GetSetting(SettingKeys::FirstRun)).value_or(0) == 0;
    if (firstRun)
        SaveSetting(SettingKeys::FirstRun, QStringLiteral("1"));
    QTimer::singleShot(0, this, [this, firstRun] { AfterStartup(firstRun); });
    Q_EMIT Started();
}

void frmMain::UpdateMenus()
{
    const bool open = m_store->IsOpen();
    for (QAction *item : {m_menu->mnuFileImport, m_menu->mnuFileImportFolder, m_menu->mnuFileCopy,
                          m_menu->mnuEditAddGame, m_menu->mnuMaintPlatforms, m_menu->mnuSearchLorekeep})
        item->setEnabled(open);
    // The check is SQLite's; a server checks its own databases.
    m_menu->mnuToolsCheck->setEnabled(open && !StoreAddress::IsShared(m_store->DatabasePath()));
    const bool text = !m_ctlView->Viewer()->document()->isEmpty();
    m_menu->mnuFilePrint->setEnabled(text);
    m_menu->mnuFileExportPdf->setEnabled(text);
    m_menu->mnuViewWrap->setEnabled(m_ctlView->ShowsFixedPitchText());
}

void frmMain::changeEvent(QEvent *event)
{
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow() && m_loaded) {
        Form_Activate();
        CheckStoreChanges();
    }
}

void frmMain::SetFilesCaption()
{
    setWindowTitle(FilesCaption(m_store->CaptionName()));
}

void frmMain::mnuFileConnect_Click()
{
    const modADO &store = *m_store;
    FileDialogOptions options;
    options.Title = QStringLiteral("Select Lorekeep...");
    options.Filter = QStringLiteral("Lorekeep Files *.lkb|*.lkb");
    options.InitDir = store.DatabasePath().isEmpty() || StoreAddress::IsShared(store.DatabasePath())
                          ? AppPath()
                          : QFileInfo(store.DatabasePath()).absolutePath();
    const std::optional<QString> path = Prompts::current().GetOpenFileName(options);
    if (!path)
        return;
    OpenStoreFile(*path);
}

bool frmMain::IsClipFile(const QString &path)
{
    return path.endsWith(QLatin1String(".qcf"), Qt::CaseInsensitive);
}

void frmMain::OpenFile(const QString &path)
{
    if (IsClipFile(path))
        OpenClipFile(path);
    else
        OpenStoreFile(path);
}

void frmMain::OpenClipFile(const QString &path)
{
    frmClip form(this);
    form.Form_Load();
    if (form.OpenClip(path))
        form.exec();
}

void frmMain::mnuFileImport_Click(bool folder)
{
    FileDialogOptions options;
    options.Title = folder ? QStringLiteral("Import Folder") : QStringLiteral("Import Files");
    options.Filter = QStringLiteral("Text, RTF and Web Pages|*.txt;*.rtf;*.htm;*.html|All Files|*");
    options.InitDir = GetSetting(SettingKeys::ImportFolder);
    if (options.InitDir.isEmpty() || !QFileInfo(options.InitDir).isDir())
        options.InitDir = QDir::homePath();
    // Automatic unless the user says otherwise, each time: a named encoding left over from an
    // earlier import would garble the next one.
    const QVector<TextEncodings::Encoding> &encodings = TextEncodings::All();
    int chosen = 0;
    options.ChoiceLabel = QStringLiteral("&Encoding:");
    options.Choices << QStringLiteral("Automatic");
    for (const TextEncodings::Encoding &encoding : encodings)
        options.Choices << encoding.Label;
    options.Chosen = &chosen;
    QStringList paths;
    if (folder) {
        const std::optional<QString> chosen = Prompts::current().GetFolder(options);
        if (chosen)
            paths << *chosen;
    } else if (const std::optional<QStringList> chosen = Prompts::current().GetOpenFileNames(options)) {
        paths = *chosen;
    }
    if (paths.isEmpty())
        return;
    SaveSetting(SettingKeys::ImportFolder, folder ? paths.constFirst() : QFileInfo(paths.constFirst()).absolutePath());
    m_ctlTree->ImportFiles(QString(), paths, chosen > 0 ? encodings.at(chosen - 1).Name : QString());
}

void frmMain::ReloadAll()
{
    m_lblCaption->setText(QStringLiteral("Re-Loading..."));
    m_ctlView->Reset();
    m_ctlDetails->Reset();
    m_ctlTree->Reset();
    m_ctlTree->setSearch_Text(QStringLiteral("Re-Loading Tree..."));
    m_ctlTree->LoadTree();
    m_lblCaption->setText(title);
    UpdateMenus();
}

void frmMain::closeEvent(QCloseEvent *event)
{
    // Files still open for editing are asked about first; keeping one open keeps the program open.
    if (!m_ctlView->CloseEditors() || !m_ctlTree->CloseEditors() || !Form_QueryUnload()) {
        event->ignore();
        return;
    }
    Form_Unload();
    event->accept();
}

bool frmMain::Form_QueryUnload()
{
    if (!ClipFile::HasPending())
        return true;
    const MsgResult answer =
        MsgBox(QStringLiteral("You have unsaved Quick Clips.  Do you wish to save them before you exit?"),
               MsgButtons::YesNoCancel, MsgIcon::Exclamation, title);
    if (answer == MsgResult::Cancel)
        return false;
    if (answer == MsgResult::Yes) {
        if (m_showClipWindow)
            m_showClipWindow();
        modMain::UnloadAll();
    }
    return true;
}

void frmMain::Form_Unload()
{
    if (m_store->IsOpen() && !m_damageOffered)
        BackupJob::RememberClosed(m_store->Connection());
    m_layout.Save();
    SaveSettings({{SettingKeys::TreeSearchText, m_ctlTree->SearchText()},
                  {SettingKeys::DetailSelTab, QString::number(int(m_ctlDetails->SelectedTab()))},
                  {SettingKeys::ViewSelTab, QString::number(int(m_ctlView->SelectedTab()))},
                  {SettingKeys::WindowGeometry, QString::fromLatin1(saveGeometry().toBase64())}});
    modMain::UnloadAll();
}

// Layout ------------------------------------------------------------------------------------------

void frmMain::Form_Resize()
{
    // A window dragged above its screen comes back down where its title bar can be reached.
    const int screenTop = screen() ? screen()->availableGeometry().top() : 0;
    if (!isMaximized() && !isFullScreen() && frameGeometry().top() < screenTop)
        move(x(), screenTop);
    if (isMinimized())
        return;
    SizeControls(true);
}

void frmMain::SizeControls(bool blnForm)
{
    const int screenWidth = screen() ? Twips::fromPixelsX(screen()->geometry().width()) : 0;
    const MainLayout::Placement placement =
        m_layout.SizeControls(Twips::fromPixelsX(picClient->width()), Twips::fromPixelsY(picClient->height()),
                              std::max(screenWidth, Twips::fromPixelsX(picClient->width())), blnForm);

    picToolBar->setVisible(m_layout.titleHeight > 0);
    picToolBar->setGeometry(toPixels(placement.titleStrip));
    if (placement.tree)
        m_ctlTree->setGeometry(toPixels(*placement.tree));
    if (placement.view)
        m_ctlView->setGeometry(toPixels(*placement.view));
    if (placement.details)
        m_ctlDetails->setGeometry(toPixels(*placement.details));

    imgS1->setVisible(m_layout.treeVisible && placement.imgS1.has_value());
    if (placement.imgS1)
        placeBar(imgS1, *placement.imgS1, Qt::Horizontal);
    imgS2->setVisible(m_layout.detailVisible);
    placeBar(imgS2, placement.imgS2, Qt::Vertical);
}

void frmMain::placeBar(QWidget *bar, const QRect &twips, Qt::Orientation orientation)
{
    const QRect pixels = toPixels(twips);
    bar->setGeometry(orientation == Qt::Horizontal ? pixels.adjusted(-grabMargin, 0, grabMargin, 0)
                                                   : pixels.adjusted(0, -grabMargin, 0, grabMargin));
    bar->raise();
}

void frmMain::mnuViewTop_Click()
{
    m_layout.titleHeight = m_menu->mnuViewTop->isChecked() ? MainLayout::TitleStripHeight : 0;
    // The first pass moves the vertical bar under the new strip, the second lays the panes against it.
    SizeControls(false);
    SizeControls(false);
}

void frmMain::mnuViewLeft_Click()
{
    m_layout.treeVisible = m_menu->mnuViewLeft->isChecked();
    m_ctlTree->setVisible(m_layout.treeVisible);
    SizeControls(false);
}

void frmMain::mnuViewBottom_Click()
{
    m_layout.detailVisible = m_menu->mnuViewBottom->isChecked();
    m_ctlDetails->setVisible(m_layout.detailVisible);
    SizeControls(false);
}

void frmMain::mnuViewPane_Click(int step)
{
    // Round the panes from the one that has the focus, passing over those that are hidden or have
    // nothing to work on; with the focus in no pane (its pane was just hidden, say) the round
    // starts at an end.
    const std::array<const QWidget *, 3> panes{m_ctlTree, m_ctlView, m_ctlDetails};
    const auto take = [this](int pane) {
        switch (pane) {
        case 0: return m_ctlTree->FocusPane();
        case 1: return m_ctlView->FocusPane();
        default: return m_ctlDetails->FocusPane();
        }
    };
    const int count = int(panes.size());
    const QWidget *focus = QApplication::focusWidget();
    int current = step > 0 ? -1 : count;
    for (int pane = 0; pane < count; ++pane) {
        if (focus && panes[std::size_t(pane)]->isAncestorOf(focus))
            current = pane;
    }
    for (int k = 1; k <= count; ++k) {
        if (take(((current + step * k) % count + count) % count))
            return;
    }
}

bool frmMain::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == picClient && event->type() == QEvent::Resize) {
        Form_Resize();
    } else if (watched == picToolBar && event->type() == QEvent::Resize) {
        m_lblCaption->setGeometry(picToolBar->rect());
    } else if (watched == imgS1 || watched == imgS2) {
        auto *bar = static_cast<QWidget *>(watched);
        switch (event->type()) {
        case QEvent::MouseButtonPress:
            if (static_cast<QMouseEvent *>(event)->button() == Qt::LeftButton)
                splitterDown(bar, static_cast<QMouseEvent *>(event)->position().toPoint());
            return true;
        case QEvent::MouseMove: splitterMove(bar, static_cast<QMouseEvent *>(event)->position().toPoint()); return true;
        case QEvent::MouseButtonRelease: splitterUp(bar); return true;
        default: break;
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

void frmMain::splitterDown(QWidget *bar, const QPoint &)
{
    const QRect view = m_ctlView->geometry();
    if (bar == imgS1) {
        m_dragState = 1;
        m_dragPosition = m_layout.imgS1Left;
        picSplitter->setGeometry(toPixels(QRect(m_dragPosition, m_layout.titleHeight, MainLayout::SplitterThickness,
                                                Twips::fromPixelsY(view.height()))));
    } else {
        m_dragState = 2;
        m_dragPosition = m_layout.imgS2Top;
        picSplitter->setGeometry(
            toPixels(QRect(0, m_dragPosition, Twips::fromPixelsX(picClient->width()), MainLayout::SplitterThickness)));
    }
    picSplitter->show();
    picSplitter->raise();
}

void frmMain::splitterMove(QWidget *bar, const QPoint &pos)
{
    if (bar == imgS1 && m_dragState == 1) {
        m_dragPosition = MainLayout::DragPosition(m_layout.imgS1Left, Twips::fromPixelsX(pos.x() - grabMargin),
                                                  Twips::fromPixelsX(picClient->width()));
        picSplitter->move(Twips::toPixelsX(m_dragPosition), picSplitter->y());
    } else if (bar == imgS2 && m_dragState == 2) {
        m_dragPosition = MainLayout::DragPosition(m_layout.imgS2Top, Twips::fromPixelsY(pos.y() - grabMargin),
                                                  Twips::fromPixelsY(picClient->height()));
        picSplitter->move(picSplitter->x(), Twips::toPixelsY(m_dragPosition));
    }
}

void frmMain::splitterUp(QWidget *bar)
{
    if (bar == imgS1 && m_dragState == 1)
        m_layout.imgS1Left = m_dragPosition;
    else if (bar == imgS2 && m_dragState == 2)
        m_layout.imgS2Top = m_dragPosition;
    else
        return;
    SizeControls(false);
    picSplitter->hide();
    m_dragState = 0;
}
