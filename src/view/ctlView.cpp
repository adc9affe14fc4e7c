#include "ctlView.h"

#include "platform/SettingsStore.h"
#include "shell/AppPath.h"
#include "shell/modMain.h"

#include <QApplication>
#include <QLabel>
#include <QStackedWidget>
#include <QStyle>
#include <QTabBar>
#include <QToolBar>
#include <QVBoxLayout>

ctlView::ctlView(QWidget *parent)
    : QWidget(parent),
      tbsTabs(new QTabBar),
      picTabContainer(new QStackedWidget),
      lblFiles(new QLabel),
      picCover(new QWidget),
      imgCover(new QLabel(picCover)),
      tbrTools(new QToolBar(this)),
      stack(new QStackedWidget(this))
{
    setObjectName(QStringLiteral("ctlView"));
    tbsTabs->setObjectName(QStringLiteral("tbsTabs"));
    picTabContainer->setObjectName(QStringLiteral("picTabContainer"));
    lblFiles->setObjectName(QStringLiteral("lblFiles"));
    picCover->setObjectName(QStringLiteral("picCover"));
    imgCover->setObjectName(QStringLiteral("imgCover"));
    tbrTools->setObjectName(QStringLiteral("tbrTools"));

    tbsTabs->addTab(QStringLiteral("Files"));
    tbsTabs->addTab(QStringLiteral("Web Browser"));
    tbsTabs->setDrawBase(false);
    connect(tbsTabs, &QTabBar::currentChanged, picTabContainer, &QStackedWidget::setCurrentIndex);

    auto *files = new QWidget;
    lblFiles->setText(QStringLiteral(" Files:"));
    lblFiles->setMinimumHeight(22);
    modMain::SetCaptionColors(lblFiles, modMain::CaptionInactive);
    auto *filesLayout = new QVBoxLayout(files);
    filesLayout->setContentsMargins(0, 0, 0, 0);
    filesLayout->addWidget(lblFiles);
    filesLayout->addStretch(1);
    picTabContainer->addWidget(files);
    picTabContainer->addWidget(new QWidget);

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
    imgCover->setPixmap(QPixmap(AppPath() + QStringLiteral("logo.gif")));
    auto *coverLayout = new QVBoxLayout(picCover);
    coverLayout->addWidget(imgCover, 0, Qt::AlignCenter);

    stack->addWidget(tabs);
    stack->addWidget(picCover);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(stack);

    tbrTools->setIconSize({14, 14});
    QAction *tree = tbrTools->addAction(style()->standardIcon(QStyle::SP_DirIcon), QString());
    tree->setObjectName(QStringLiteral("Tree"));
    tree->setToolTip(QStringLiteral("Show or hide the Book Tree"));
    connect(tree, &QAction::triggered, this, &ctlView::ShowTree);
    QAction *details = tbrTools->addAction(style()->standardIcon(QStyle::SP_FileDialogDetailedView), QString());
    details->setObjectName(QStringLiteral("Details"));
    details->setToolTip(QStringLiteral("Show or hide the Details"));
    connect(details, &QAction::triggered, this, &ctlView::ShowDetails);
    tbrTools->raise();

    connect(qApp, &QApplication::focusChanged, this, [this](QWidget *, QWidget *now) { focusMoved(now); });

    // The tab of the last session comes back only when the user asked for the layout to be kept.
    if (SettingNumber(GetSetting(SettingKeys::AppLayout)) == 1L) {
        if (const auto tab = SettingNumber(GetSetting(SettingKeys::ViewSelTab)))
            SelectTab(int(*tab));
    }
    Cover(true);
}

void ctlView::InitView()
{
    Cover(true);
}

void ctlView::Reset()
{
    Cover(true);
}

void ctlView::Cover(bool blnVisible)
{
    stack->setCurrentWidget(blnVisible ? picCover : stack->widget(0));
}

bool ctlView::IsCovered() const
{
    return stack->currentWidget() == picCover;
}

void ctlView::SelectTab(int index)
{
    if (index >= 1 && index <= tbsTabs->count())
        tbsTabs->setCurrentIndex(index - 1);
}

int ctlView::SelectedTab() const
{
    return tbsTabs->currentIndex() + 1;
}

void ctlView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    tbrTools->adjustSize();
    tbrTools->move(width() - tbrTools->width(), 0);
}

void ctlView::focusMoved(QWidget *now)
{
    const bool inside = now && isAncestorOf(now);
    modMain::SetCaptionColors(lblFiles, inside ? modMain::CaptionActive : modMain::CaptionInactive);
}
