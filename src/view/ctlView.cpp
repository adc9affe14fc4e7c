#include "ctlView.h"

#include "base/AppPath.h"
#include "base/Version.h"
#include "browser/ctlBrowser.h"
#include "components/FileViewer.h"
#include "components/PrintJob.h"
#include "data/modADO.h"
#include "reader/TextReader.h"
#include "rtf/RtfReader.h"
#include "system/SettingsStore.h"
#include "system/Twips.h"
#include "widgets/Caption.h"
#include "widgets/DeferredIcon.h"
#include "widgets/KeyboardAccess.h"
#include "widgets/ListView.h"
#include "widgets/RichText.h"
#include "widgets/RichTextLoader.h"

#include <QApplication>
#include <QLabel>
#include <QMenu>
#include <QSplitter>
#include <QStackedWidget>
#include <QStyle>
#include <QTabBar>
#include <QTextCursor>
#include <QTextDocumentFragment>
#include <QTextEdit>
#include <QToolBar>
#include <QVBoxLayout>

#include <utility>

namespace {

const QString title = QStringLiteral(LOREKEEP_TITLE);

// How far the bar between list and text may go, in twips: not above the caption, and not so low
// that the text disappears.
constexpr int SplitTopLimit = 340;
constexpr int SplitBottomLimit = 240;

} // namespace

ctlView::ctlView(QWidget *parent)
    : QWidget(parent),
      tbsTabs(new QTabBar),
      picTabContainer(new QStackedWidget),
      lblFiles(new QLabel),
      lvFiles(new ListView),
      picSplitter(new QSplitter(Qt::Vertical)),
      rtbText(new QTextEdit),
      picCover(new QWidget),
      imgCover(new QLabel(picCover)),
      Browser(new ctlBrowser),
      tbrTools(new QToolBar(this)),
      stack(new QStackedWidget)
{
    setObjectName(QStringLiteral("ctlView"));
    tbsTabs->setObjectName(QStringLiteral("tbsTabs"));
    picTabContainer->setObjectName(QStringLiteral("picTabContainer"));
    picCover->setObjectName(QStringLiteral("picCover"));
    imgCover->setObjectName(QStringLiteral("imgCover"));
    tbrTools->setObjectName(QStringLiteral("tbrTools"));

    tbsTabs->addTab(QStringLiteral("Files"));
    tbsTabs->addTab(QStringLiteral("Web Browser"));
    tbsTabs->setDrawBase(false);
    connect(tbsTabs, &QTabBar::currentChanged, this, &ctlView::tabChanged);

    // The cover stands in for the Files tab only: the browser is there from the first start, even
    // in a library with nothing to list.
    auto *files = new QWidget;
    buildFilesTab(files);
    stack->addWidget(files);
    stack->addWidget(picCover);
    picTabContainer->addWidget(stack);
    picTabContainer->addWidget(Browser);
    connect(Browser, &ctlBrowser::TitleChange, this, &ctlView::Browser_TitleChange);
    connect(Browser, &ctlBrowser::ShowFavorites, this, &ctlView::ShowFavorites);
    connect(Browser, &ctlBrowser::AddFavorite, this, &ctlView::AddFavorite);
    connect(Browser, &ctlBrowser::DirectImport, this, &ctlView::DirectImport);

    auto *tabs = new QWidget;
    auto *tabsLayout = new QVBoxLayout(tabs);
    tabsLayout->setContentsMargins(0, 0, 0, 0);
    tabsLayout->setSpacing(0);
    tabsLayout->addWidget(tbsTabs);
    tabsLayout->addWidget(picTabContainer, 1);

    // The home's logo, centred on white; a missing picture leaves the panel plain.
    picCover->setAutoFillBackground(true);
    QPalette white = picCover->palette();
    white.setColor(QPalette::Window, Qt::white);
    picCover->setPalette(white);
    auto *coverLayout = new QVBoxLayout(picCover);
    coverLayout->addWidget(imgCover, 0, Qt::AlignCenter);
    imgCover->setAccessibleName(QStringLiteral("Lorekeep logo"));

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(tabs);

    tbrTools->setIconSize({14, 14});
    QAction *tree = tbrTools->addAction(DeferredStandardIcon(QStyle::SP_DirIcon, this), QString());
    tree->setObjectName(QStringLiteral("Tree"));
    tree->setToolTip(QStringLiteral("Show or hide the Book Tree"));
    connect(tree, &QAction::triggered, this, &ctlView::ShowTree);
    QAction *details = tbrTools->addAction(DeferredStandardIcon(QStyle::SP_FileDialogDetailedView, this), QString());
    details->setObjectName(QStringLiteral("Details"));
    details->setToolTip(QStringLiteral("Show or hide the Details"));
    connect(details, &QAction::triggered, this, &ctlView::ShowDetails);
    OpenToKeyboard(tbrTools);
    tbrTools->raise();

    buildMenus();
    m_focusWatch =
        connect(qApp, &QApplication::focusChanged, this, [this](QWidget *, QWidget *now) { focusMoved(now); });

    applyColumnWidths(SettingKeys::ViewColumn);
    // The tab of the last session comes back only when the user asked for the layout to be kept.
    if (SettingNumber(GetSetting(SettingKeys::AppLayout)) == 1L) {
        if (const auto tab = SettingNumber(GetSetting(SettingKeys::ViewSelTab)))
            SelectTab(Tab(*tab));
    }
    Cover(true);
}

ctlView::~ctlView()
{
    // Children going away move the focus; by then this pane is half gone and must not hear of it.
    disconnect(m_focusWatch);
    // The widths come back at the next start only where the user keeps the layout.
    if (SettingNumber(GetSetting(SettingKeys::AppLayout)) == 1L) {
        QList<std::pair<SettingKey, QString>> widths;
        for (int column = 0; column < 3; ++column)
            widths.append({SettingKeys::ViewControlColumn(column + 1),
                           QString::number(Twips::fromPixelsX(lvFiles->ColumnWidth(column)))});
        SaveSettings(widths);
    }
}

FileViewer *ctlView::Editor() const
{
    return objViewer;
}

void ctlView::buildFilesTab(QWidget *tab)
{
    lblFiles->setObjectName(QStringLiteral("lblFiles"));
    lvFiles->setObjectName(QStringLiteral("lvFiles"));
    picSplitter->setObjectName(QStringLiteral("picSplitter"));
    rtbText->setObjectName(QStringLiteral("rtbText"));

    lblFiles->setText(QStringLiteral(" Files:"));
    lblFiles->setMinimumHeight(22);
    setUpList();
    lvFiles->AcceptDrops(this);
    SetCaptionColors(lblFiles, CaptionInactive);

    // The text is for reading: nothing typed changes it, the mouse or the keyboard selects, and the
    // usual keys copy and scroll.
    rtbText->setReadOnly(true);
    rtbText->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    rtbText->setAccessibleName(QStringLiteral("File text"));
    lvFiles->SetAccessibleName(QStringLiteral("Files"));
    rtbText->setUndoRedoEnabled(false);
    m_textLoader = new RichTextLoader(rtbText);
    connect(m_textLoader, &RichTextLoader::Shown, this, [this] {
        m_fixedPitch = ApplyLineWrap(rtbText, m_wrapLines);
        Q_EMIT TextShown();
    });
    connect(m_textLoader, &RichTextLoader::Completed, this, [this] {
        // The beginning of a text may look fixed-pitch where the whole does not, or the other way.
        if (std::exchange(m_fixedPitch, ApplyLineWrap(rtbText, m_wrapLines)) != m_fixedPitch)
            Q_EMIT TextShown();
        // The marks of a phrase go on the whole text: the first may be past the beginning.
        if (!m_pendingPhrase.isEmpty())
            HighlightPhrase(std::exchange(m_pendingPhrase, QString()));
    });
    rtbText->setContextMenuPolicy(Qt::CustomContextMenu);
    MenuOnShiftF10(rtbText);
    connect(rtbText, &QWidget::customContextMenuRequested, this,
            [this](const QPoint &pos) { rtbText_MouseDown(rtbText->viewport()->mapToGlobal(pos)); });

    picSplitter->addWidget(lvFiles);
    // The text with its find bar and list of sections.
    m_reader = new TextReader(rtbText);
    picSplitter->addWidget(m_reader);
    picSplitter->setChildrenCollapsible(false);
    picSplitter->setHandleWidth(5);
    picSplitter->handle(1)->setObjectName(QStringLiteral("imgS2"));
    lvFiles->setMinimumHeight(std::max(0, Twips::toPixelsY(SplitTopLimit) - lblFiles->minimumHeight()));
    rtbText->setMinimumHeight(Twips::toPixelsY(SplitBottomLimit));
    picSplitter->setStretchFactor(0, 1);
    picSplitter->setStretchFactor(1, 2);

    auto *layout = new QVBoxLayout(tab);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(lblFiles);
    layout->addWidget(picSplitter, 1);
}

void ctlView::Cover(bool blnVisible)
{
    stack->setCurrentWidget(blnVisible ? picCover : stack->widget(0));
}

bool ctlView::IsCovered() const
{
    return stack->currentWidget() == picCover;
}

bool ctlView::FocusPane()
{
    if (!isVisibleTo(window()))
        return false;
    // With nothing listed the tabs take the keyboard, from where the browser is one key away.
    if (SelectedTab() == Tab::Browser)
        Browser->ComboFocus();
    else if (IsCovered())
        tbsTabs->setFocus(Qt::ShortcutFocusReason);
    else
        lvFiles->setFocus(Qt::ShortcutFocusReason);
    return true;
}

void ctlView::SelectTab(Tab tab)
{
    // A setting from elsewhere may name no tab at all.
    if (int(tab) >= 1 && int(tab) <= tbsTabs->count())
        tbsTabs->setCurrentIndex(int(tab) - 1);
}

ctlView::Tab ctlView::SelectedTab() const
{
    return Tab(tbsTabs->currentIndex() + 1);
}

void ctlView::tabChanged()
{
    picTabContainer->setCurrentIndex(tbsTabs->currentIndex());
    // The window's caption names what the pane shows: the page in the browser, else the store.
    if (SelectedTab() == Tab::Browser) {
        Browser->ComboFocus();
        window()->setWindowTitle(title + QStringLiteral(" - ") + Browser->PageTitle());
    } else {
        window()->setWindowTitle(FilesCaption(m_store->CaptionName()));
    }
}

void ctlView::Browser_TitleChange(const QString &strTitle)
{
    Q_EMIT BrowseTitleChange(strTitle);
    tbsTabs->setTabText(1, strTitle == QLatin1String("Start Page") ? QStringLiteral("Web Browser - Start Page")
                                                                   : QStringLiteral("Web Browser"));
}

void ctlView::BrowseNavigate(const QString &strURL)
{
    // The page loads in the background, so the tab is up before anything of it shows.
    if (SelectedTab() == Tab::Files)
        SelectTab(Tab::Browser);
    Browser->BrowseNavigate(strURL);
}

void ctlView::SetGame(const Game &game)
{
    M_PLATFORM_ID = game.PlatformId;
    M_GENRE_ID = game.GenreId;
    M_GAME_ID = game.GameId;
    M_GAME = game.Name;
}

QString ctlView::BrowseURL() const
{
    return Browser->PageURL();
}

QString ctlView::BrowsePageTitle() const
{
    return Browser->PageTitle();
}

void ctlView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    tbrTools->adjustSize();
    tbrTools->move(width() - tbrTools->width(), 0);
}

bool ctlView::eventFilter(QObject *watched, QEvent *event)
{
    // Only the list's views report here.
    return lvFiles_DropEvent(event) || QWidget::eventFilter(watched, event);
}

void ctlView::focusMoved(QWidget *now)
{
    const bool inside = now && isAncestorOf(now);
    SetCaptionColors(lblFiles, inside ? CaptionActive : CaptionInactive);
}

void ctlView::showText(const QString &rtf)
{
    // Marks belong to the file they were made for.
    rtbText->setExtraSelections({});
    m_pendingPhrase.clear();
    m_shownRtf = rtf;
    m_textLoader->Show(rtf);
}

void ctlView::SetWrapLines(bool wrap)
{
    m_wrapLines = wrap;
    ApplyLineWrap(rtbText, wrap);
}

void ctlView::clearText()
{
    m_fixedPitch = false;
    m_textLoader->Cancel();
    m_pendingPhrase.clear();
    m_shownRtf.clear();
    rtbText->clear();
}

int ctlView::HighlightPhrase(const QString &phrase)
{
    QTextCharFormat look;
    look.setBackground(QColor(Qt::yellow));
    look.setForeground(QColor(Qt::black));
    if (m_textLoader->IsLoading()) {
        m_pendingPhrase = phrase;
        return 0;
    }
    return MarkPhrases(rtbText, {phrase}, look, QTextDocument::FindCaseSensitively);
}

void ctlView::rtbText_MouseDown(const QPoint &globalPos)
{
    if (rtbText->document()->isEmpty())
        return;
    // Quick Clip wants a passage of two characters or more; Copy and Select All are always there.
    const QTextCursor cursor = rtbText->textCursor();
    const bool passage = cursor.selectionEnd() - cursor.selectionStart() >= 2;
    for (const char *name : {"mnuAddQuick", "mnuSendQuick", "mnuSepCopy"})
        mnuQuickMenu->findChild<QAction *>(QLatin1String(name))->setVisible(passage);
    mnuQuickMenu->findChild<QAction *>(QStringLiteral("mnuCopy"))->setEnabled(cursor.hasSelection());
    mnuQuickMenu->popup(globalPos);
}

bool ctlView::PrintInfo(QTextDocument *target)
{
    m_textLoader->Complete();
    if (rtbText->toPlainText().trimmed().isEmpty())
        return false;
    QString title;
    QString file;
    QString source;
    printHeader(&title, &file, &source);
    QTextCursor cursor(target);
    cursor.movePosition(QTextCursor::End);
    PrintJob::AppendHeader(&cursor, title, file, source);
    cursor.insertFragment(QTextDocumentFragment(rtbText->document()));
    return true;
}

std::optional<RtfPrintout> ctlView::LongPrintout() const
{
    if (m_shownRtf.size() <= RichTextLoader::threadedLength)
        return std::nullopt;
    QString title;
    QString file;
    QString source;
    printHeader(&title, &file, &source);
    return RtfPrintout(RtfReader::FromStoredText(m_shownRtf), PrintJob::Header(title, file, source));
}

void ctlView::printHeader(QString *title, QString *file, QString *source) const
{
    const ListItem *row = lvFiles->SelectedItem();
    *title = M_GAME + QStringLiteral(" - ") + (row ? row->SubItem(2) : QString());
    *file = row ? row->Text() : QString();
    *source = row ? row->SubItem(1) : QString();
}
