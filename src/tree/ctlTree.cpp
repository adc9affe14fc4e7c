#include "ctlTree.h"

#include "platform/SettingsStore.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QStyle>
#include <QToolBar>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

const QString searchPrompt = QStringLiteral("Search...");

} // namespace

ctlTree::ctlTree(QWidget *parent)
    : QWidget(parent), tbrTools(new QToolBar(this)), txtSearch(new QLineEdit(this)), tvwFiles(new QTreeWidget(this))
{
    setObjectName(QStringLiteral("ctlTree"));
    tbrTools->setObjectName(QStringLiteral("tbrTools"));
    txtSearch->setObjectName(QStringLiteral("txtSearch"));
    tvwFiles->setObjectName(QStringLiteral("tvwFiles"));

    tbrTools->setIconSize({12, 12});
    auto *caption = new QLabel(QStringLiteral(" Book Tree"), tbrTools);
    caption->setObjectName(QStringLiteral("lblTree"));
    tbrTools->addWidget(caption);
    auto *spacer = new QWidget(tbrTools);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    tbrTools->addWidget(spacer);
    QAction *close = tbrTools->addAction(style()->standardIcon(QStyle::SP_TitleBarCloseButton), QString());
    close->setObjectName(QStringLiteral("x"));
    close->setToolTip(QStringLiteral("Hide the Book Tree"));
    connect(close, &QAction::triggered, this, &ctlTree::HideControl);

    txtSearch->setText(searchPrompt);
    txtSearch->selectAll();
    tvwFiles->setHeaderHidden(true);
    tvwFiles->setUniformRowHeights(true);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(tbrTools);
    layout->addWidget(txtSearch);
    layout->addWidget(tvwFiles, 1);
}

void ctlTree::LoadTree()
{
    setSearch_Text(QStringLiteral("Loading Tree..."));
    Reset();
    FinishLoad();
}

void ctlTree::FinishLoad()
{
    // A status text saved while the program was closing is not worth restoring.
    const QString saved = GetSetting(SettingKeys::TreeSearchText);
    txtSearch->setText(saved.left(8) == QLatin1String("Loading ") ? searchPrompt : saved);
    txtSearch->selectAll();
}

void ctlTree::Reset()
{
    tvwFiles->clear();
}

QString ctlTree::SearchText() const
{
    const QString text = txtSearch->text().trimmed();
    return text.isEmpty() ? searchPrompt : text;
}

QString ctlTree::Search_Text() const
{
    return txtSearch->text();
}

void ctlTree::setSearch_Text(const QString &strVar)
{
    txtSearch->setText(strVar);
    QApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    txtSearch->selectAll();
}
