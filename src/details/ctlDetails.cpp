#include "ctlDetails.h"

#include "data/modADO.h"
#include "search/FileSearch.h"
#include "system/SettingsStore.h"
#include "system/Twips.h"
#include "widgets/Caption.h"
#include "widgets/DeferredIcon.h"
#include "widgets/KeyboardAccess.h"
#include "widgets/ListView.h"

#include <QApplication>
#include <QLabel>
#include <QMenu>
#include <QScreen>
#include <QStyle>
#include <QTabWidget>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>

#include <algorithm>

namespace {

QIcon bundledIcon(const char *name)
{
    // QIcon finds the name@2x.png beside it by itself for HiDPI screens.
    return DeferredIcon(QStringLiteral(":/bundle/details/") + QLatin1String(name) + QStringLiteral(".png"));
}

// The width of the whole screen in twips: the favorites' and search results' columns share it out
// until the user sizes them.
float screenTwips()
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    return float(Twips::fromPixelsX(screen ? screen->geometry().width() : 1024));
}

// Each list's columns in the order their widths are read and saved, with their designed widths in
// twips.
struct ColumnWidths
{
    ListView *list;
    SettingKey (*key)(int);
    std::vector<float> designed;
};

std::array<ColumnWidths, 3> columnWidths(ListView *bookmarks, ListView *favorites, ListView *search)
{
    const float screen = screenTwips();
    return {{
        {favorites, SettingKeys::FavoriteColumn, {screen / 3 - 40, screen / 3 - 40, screen / 3 - 30}},
        // Without saved widths they fit their captions, and then the first results.
        {search, SettingKeys::SearchColumn, {}},
        {bookmarks, SettingKeys::BookmarkColumn, {}},
    }};
}

} // namespace

ctlDetails::ctlDetails(QWidget *parent)
    : QWidget(parent),
      tbsTabs(new QTabWidget(this)),
      tbrTools(new QToolBar(this)),
      lvBookmarks(makeList("lvBookmarks", {"File", "Category", "Game", "Genre", "Platform"})),
      lvFavorites(makeList("lvFavorites", {"URL", "Title", "Description"})),
      lvSearchResults(makeList("lvSearchResults", {"Platform", "Game", "Category", "", "Hits"})),
      m_hitsTimer(new QTimer(this))
{
    connect(m_hitsTimer, &QTimer::timeout, this, &ctlDetails::countHitsStep);
    setObjectName(QStringLiteral("ctlDetails"));
    tbsTabs->setObjectName(QStringLiteral("tbsTabs"));
    tbrTools->setObjectName(QStringLiteral("tbrTools"));
    lvFavorites->setToolTip(QStringLiteral("Double click to navigate."));
    lvFavorites->SetImage(0, bundledIcon("link"));

    const struct
    {
        const char *caption;
        const char *header;
        const char *label;
        ListView *list;
        const char *image;
    } tabs[] = {
        {"Bookmarks", " Bookmarks:", "lblBookmarks", lvBookmarks, "book"},
        {"Internet Favorites", " Internet Favorites:", "lblFavorites", lvFavorites, "favorites"},
        {"Lorekeep Search Results", " Search Results:", "lblSearchResults", lvSearchResults, "find"},
    };
    for (std::size_t i = 0; i < lblHeaders.size(); ++i) {
        auto *panel = new QWidget;
        panel->setObjectName(QStringLiteral("picTabContainer%1").arg(i + 1));
        auto *header = new QLabel(QString::fromLatin1(tabs[i].header), panel);
        header->setObjectName(QString::fromLatin1(tabs[i].label));
        header->setMinimumHeight(20);
        SetCaptionColors(header, CaptionInactive);
        lblHeaders[i] = header;
        tabs[i].list->SetAccessibleName(QString::fromLatin1(tabs[i].caption));
        auto *layout = new QVBoxLayout(panel);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setSpacing(0);
        layout->addWidget(header);
        layout->addWidget(tabs[i].list, 1);
        tbsTabs->addTab(panel, bundledIcon(tabs[i].image), QString::fromLatin1(tabs[i].caption));
    }

    tbrTools->setIconSize({12, 12});
    QAction *close = tbrTools->addAction(DeferredStandardIcon(QStyle::SP_TitleBarCloseButton, this), QString());
    close->setObjectName(QStringLiteral("x"));
    close->setToolTip(QStringLiteral("Hide the Details"));
    connect(close, &QAction::triggered, this, &ctlDetails::HideControl);
    OpenToKeyboard(tbrTools);
    tbrTools->raise();

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(tbsTabs);

    buildMenus();
    connectList(lvBookmarks, mnuBM, &ctlDetails::lvBookmarks_DblClick, mnuBMDelete);
    connectList(lvFavorites, mnuFav, &ctlDetails::lvFavorites_DblClick, mnuFavDel);
    connectList(lvSearchResults, mnuSearch, &ctlDetails::lvSearchResults_DblClick, nullptr);
    // A search lists its results as they come, up to a million of them.
    lvSearchResults->SetBatchedAppend(true);
    connect(lvSearchResults, &ListView::UserScrolled, this, [this] { m_followSearch = false; });
    connect(lvSearchResults, &ListView::MouseDown, this, [this] { m_followSearch = false; });
    restoreColumnWidths();

    connect(tbsTabs, &QTabWidget::currentChanged, this, &ctlDetails::tabChanged);
    m_focusWatch =
        connect(qApp, &QApplication::focusChanged, this, [this](QWidget *, QWidget *now) { focusMoved(now); });
}

ctlDetails::~ctlDetails()
{
    // Children going away move the focus; by then this pane is half gone and must not hear of it.
    disconnect(m_focusWatch);
    saveColumnWidths();
}

ListView *ctlDetails::makeList(const char *name, const std::initializer_list<const char *> &captions)
{
    auto *list = new ListView;
    list->setObjectName(QLatin1String(name));
    for (const char *caption : captions)
        list->AddColumn(QLatin1String(caption), Twips::toPixelsX(1440));
    return list;
}

void ctlDetails::buildMenus()
{
    const auto menu = [this](const char *name, const char *caption, const char *actionName) {
        auto *popup = new QMenu(this);
        popup->setObjectName(QLatin1String(name));
        QAction *action = popup->addAction(QLatin1String(caption));
        action->setObjectName(QLatin1String(actionName));
        return std::pair{popup, action};
    };
    std::tie(mnuBM, mnuBMDelete) = menu("mnuBM", "Delete", "mnuBMDelete");
    std::tie(mnuFav, mnuFavDel) = menu("mnuFav", "Delete", "mnuFavDel");
    std::tie(mnuSearch, mnuSearchClear) = menu("mnuSearch", "Clear", "mnuSearchClear");
    mnuSearch->setTitle(QStringLiteral("Search"));
    connect(mnuBMDelete, &QAction::triggered, this, &ctlDetails::mnuBMDelete_Click);
    connect(mnuFavDel, &QAction::triggered, this, &ctlDetails::mnuFavDel_Click);
    connect(mnuSearchClear, &QAction::triggered, this, &ctlDetails::ClearSearch);
}

// The three lists behave alike: a column click sorts on that column for good, a right click on a
// selected entry (or the Menu key) brings up the list's menu, a double click or Enter opens the
// selected entry, and where the list deletes entries Delete deletes.
void ctlDetails::connectList(ListView *list, QMenu *menu, void (ctlDetails::*open)(), QAction *remove)
{
    connect(list, &ListView::ColumnClick, this, [list](int column) {
        list->setSortKey(column);
        list->setSorted(true);
    });
    connect(list, &ListView::MouseDown, this, [list, menu](Qt::MouseButton button, const QPoint &globalPos) {
        if (button == Qt::RightButton && list->SelectedItem())
            menu->popup(globalPos);
    });
    connect(list, &ListView::MenuKey, this, [list, menu](const QPoint &globalPos) {
        if (list->SelectedItem())
            menu->popup(globalPos);
    });
    connect(list, &ListView::DblClick, this, open);
    connect(list, &ListView::KeyDown, this, [this, open, remove](int key, Qt::KeyboardModifiers) {
        if (key == Qt::Key_Return || key == Qt::Key_Enter)
            (this->*open)();
        else if (key == Qt::Key_Delete && remove)
            remove->trigger();
    });
}

void ctlDetails::restoreColumnWidths()
{
    for (const ColumnWidths &columns : columnWidths(lvBookmarks, lvFavorites, lvSearchResults)) {
        if (columns.list == lvSearchResults) {
            m_fitSearchColumns = true;
            for (int column = 0; column < columns.list->ColumnCount(); ++column)
                m_fitSearchColumns = m_fitSearchColumns && !SettingWidth(GetSetting(columns.key(column + 1)));
            if (m_fitSearchColumns) {
                lvSearchResults->FitColumns(0, QWIDGETSIZE_MAX);
                continue;
            }
        }
        for (int column = 0; column < columns.list->ColumnCount(); ++column) {
            const SettingKey key = columns.key(column + 1);
            long twips = 0;
            if (const auto stored = SettingWidth(GetSetting(key)))
                twips = *stored;
            else if (key.hasDefault())
                twips = SettingNumber(key.defaultValue()).value_or(0);
            else if (std::size_t(column) < columns.designed.size())
                twips = std::max(0L, long(columns.designed.at(std::size_t(column))));
            else
                twips = 1440;
            columns.list->setColumnWidth(column, Twips::toPixelsX(int(twips)));
        }
    }
}

void ctlDetails::saveColumnWidths() const
{
    QList<std::pair<SettingKey, QString>> widths;
    for (const ColumnWidths &columns : columnWidths(lvBookmarks, lvFavorites, lvSearchResults)) {
        // Search Results never filled keep the widths of their captions, not worth keeping: the
        // next start would take them for the user's and not fit the columns to the first results.
        if (columns.list == lvSearchResults && m_fitSearchColumns)
            continue;
        for (int column = 0; column < columns.list->ColumnCount(); ++column)
            widths.append({columns.key(column + 1),
                           QString::number(float(Twips::fromPixelsX(columns.list->ColumnWidth(column))))});
    }
    SaveSettings(widths);
}

void ctlDetails::InitDetails()
{
    const bool keepLayout = SettingNumber(GetSetting(SettingKeys::AppLayout)) == 1L;
    if (keepLayout) {
        if (const auto tab = SettingNumber(GetSetting(SettingKeys::DetailSelTab)))
            SelectTab(Tab(*tab));
    } else {
        tabChanged();
    }
}

void ctlDetails::Reset()
{
    lvBookmarks->Clear();
    lvFavorites->Clear();
    ClearSearch();
}

void ctlDetails::SelectTab(Tab tab)
{
    // A setting from elsewhere may name no tab at all.
    const int index = int(tab);
    if (index < 1 || index > tbsTabs->count())
        return;
    if (tbsTabs->currentIndex() == index - 1)
        tabChanged();
    else
        tbsTabs->setCurrentIndex(index - 1);
}

bool ctlDetails::FocusPane()
{
    if (!isVisibleTo(window()))
        return false;
    const std::array<ListView *, 3> lists{lvBookmarks, lvFavorites, lvSearchResults};
    lists.at(std::size_t(std::clamp(int(SelectedTab()), 1, 3) - 1))->setFocus(Qt::ShortcutFocusReason);
    return true;
}

ctlDetails::Tab ctlDetails::SelectedTab() const
{
    return Tab(tbsTabs->currentIndex() + 1);
}

void ctlDetails::tabChanged()
{
    SaveSetting(SettingKeys::DetailSelTab, QString::number(int(SelectedTab())));
}

void ctlDetails::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    tbrTools->adjustSize();
    tbrTools->move(width() - tbrTools->width(), 0);
}

void ctlDetails::focusMoved(QWidget *now)
{
    const short state = now && isAncestorOf(now) ? CaptionActive : CaptionInactive;
    for (QLabel *header : lblHeaders)
        SetCaptionColors(header, state);
}
