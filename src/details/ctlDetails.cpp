#include "ctlDetails.h"

#include "platform/SettingsStore.h"
#include "shell/modMain.h"

#include <QApplication>
#include <QLabel>
#include <QStyle>
#include <QTabWidget>
#include <QToolBar>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

QTreeWidget *makeList(const QString &name, const QStringList &columns)
{
    auto *list = new QTreeWidget;
    list->setObjectName(name);
    list->setRootIsDecorated(false);
    list->setUniformRowHeights(true);
    list->setHeaderLabels(columns);
    return list;
}

} // namespace

ctlDetails::ctlDetails(QWidget *parent)
    : QWidget(parent),
      tbsTabs(new QTabWidget(this)),
      tbrTools(new QToolBar(this)),
      lvBookmarks(makeList(QStringLiteral("lvBookmarks"),
                           {QStringLiteral("File"), QStringLiteral("Category"), QStringLiteral("Game"),
                            QStringLiteral("Genre"), QStringLiteral("Platform")})),
      lvFavorites(makeList(QStringLiteral("lvFavorites"),
                           {QStringLiteral("URL"), QStringLiteral("Title"), QStringLiteral("Description")})),
      lvSearchResults(makeList(QStringLiteral("lvSearchResults"), {QStringLiteral("Platform"), QStringLiteral("Game"),
                                                                   QStringLiteral("Category"), QString()}))
{
    setObjectName(QStringLiteral("ctlDetails"));
    tbsTabs->setObjectName(QStringLiteral("tbsTabs"));
    tbrTools->setObjectName(QStringLiteral("tbrTools"));
    lvFavorites->setToolTip(QStringLiteral("Double click to navigate."));

    const struct
    {
        const char *caption;
        const char *header;
        const char *label;
        QTreeWidget *list;
        QStyle::StandardPixmap icon;
    } tabs[] = {
        {"Bookmarks", " Bookmarks:", "lblBookmarks", lvBookmarks, QStyle::SP_FileDialogContentsView},
        {"Internet Favorites", " Internet Favorites:", "lblFavorites", lvFavorites, QStyle::SP_DriveNetIcon},
        {"Lorekeep Search Results", " Search Results:", "lblSearchResults", lvSearchResults,
         QStyle::SP_FileDialogDetailedView},
    };
    for (std::size_t i = 0; i < lblHeaders.size(); ++i) {
        auto *panel = new QWidget;
        panel->setObjectName(QStringLiteral("picTabContainer%1").arg(i + 1));
        auto *header = new QLabel(QString::fromLatin1(tabs[i].header), panel);
        header->setObjectName(QString::fromLatin1(tabs[i].label));
        header->setMinimumHeight(20);
        modMain::SetCaptionColors(header, modMain::CaptionInactive);
        lblHeaders[i] = header;
        auto *layout = new QVBoxLayout(panel);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setSpacing(0);
        layout->addWidget(header);
        layout->addWidget(tabs[i].list, 1);
        tbsTabs->addTab(panel, style()->standardIcon(tabs[i].icon), QString::fromLatin1(tabs[i].caption));
    }

    tbrTools->setIconSize({12, 12});
    QAction *close = tbrTools->addAction(style()->standardIcon(QStyle::SP_TitleBarCloseButton), QString());
    close->setObjectName(QStringLiteral("x"));
    close->setToolTip(QStringLiteral("Hide the Details"));
    connect(close, &QAction::triggered, this, &ctlDetails::HideControl);
    tbrTools->raise();

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(tbsTabs);

    connect(tbsTabs, &QTabWidget::currentChanged, this, &ctlDetails::tabChanged);
    m_focusWatch =
        connect(qApp, &QApplication::focusChanged, this, [this](QWidget *, QWidget *now) { focusMoved(now); });
}

ctlDetails::~ctlDetails()
{
    // Children going away move the focus; by then this pane is half gone and must not hear of it.
    disconnect(m_focusWatch);
}

void ctlDetails::InitDetails()
{
    const bool keepLayout = SettingNumber(GetSetting(SettingKeys::AppLayout)) == 1L;
    if (keepLayout) {
        if (const auto tab = SettingNumber(GetSetting(SettingKeys::DetailSelTab)))
            SelectTab(int(*tab));
    } else {
        tabChanged();
    }
}

void ctlDetails::Reset()
{
    lvBookmarks->clear();
    lvFavorites->clear();
    lvSearchResults->clear();
}

void ctlDetails::SelectTab(int index)
{
    if (index < 1 || index > tbsTabs->count())
        return;
    if (tbsTabs->currentIndex() == index - 1)
        tabChanged();
    else
        tbsTabs->setCurrentIndex(index - 1);
}

int ctlDetails::SelectedTab() const
{
    return tbsTabs->currentIndex() + 1;
}

void ctlDetails::tabChanged()
{
    SaveSetting(SettingKeys::DetailSelTab, QString::number(SelectedTab()));
}

void ctlDetails::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    tbrTools->adjustSize();
    tbrTools->move(width() - tbrTools->width(), 0);
}

void ctlDetails::focusMoved(QWidget *now)
{
    const short state = now && isAncestorOf(now) ? modMain::CaptionActive : modMain::CaptionInactive;
    for (QLabel *header : lblHeaders)
        modMain::SetCaptionColors(header, state);
}
