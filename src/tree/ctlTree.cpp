#include "ctlTree.h"

#include "TreeSearch.h"
#include "base/ErrorLog.h"
#include "components/GameSelector.h"
#include "components/TreeLoader.h"
#include "data/FileTable.h"
#include "data/GameTable.h"
#include "data/NodeKey.h"
#include "data/modADO.h"
#include "data/modNames.h"
#include "system/Prompts.h"
#include "system/SettingsStore.h"
#include "widgets/KeyboardAccess.h"
#include "widgets/TreeView.h"

#include <QApplication>
#include <QEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMetaMethod>
#include <QStyle>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

const QString module = QStringLiteral("ctlTree");
const QString searchPrompt = QStringLiteral("Search...");
const QString separator = QStringLiteral(" - ");

} // namespace

ctlTree::ctlTree(QWidget *parent)
    : QWidget(parent),
      tbrTools(new QToolBar(this)),
      fSearch(new QFrame(this)),
      txtSearch(new QLineEdit(fSearch)),
      cmdGo(new QToolButton(fSearch)),
      tvwFiles(new TreeView(this))
{
    setObjectName(QStringLiteral("ctlTree"));
    tbrTools->setObjectName(QStringLiteral("tbrTools"));
    fSearch->setObjectName(QStringLiteral("fSearch"));
    txtSearch->setObjectName(QStringLiteral("txtSearch"));
    cmdGo->setObjectName(QStringLiteral("cmdGo"));
    tvwFiles->setObjectName(QStringLiteral("tvwFiles"));

    tbrTools->setIconSize({12, 12});
    auto *caption = new QLabel(QStringLiteral(" Book Tree"), tbrTools);
    caption->setObjectName(QStringLiteral("lblTree"));
    tbrTools->addWidget(caption);
    auto *spacer = new QWidget(tbrTools);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    tbrTools->addWidget(spacer);
    QAction *search = tbrTools->addAction(style()->standardIcon(QStyle::SP_FileDialogContentsView), QString());
    search->setObjectName(QStringLiteral("Search"));
    search->setToolTip(QStringLiteral("Tree Search"));
    connect(search, &QAction::triggered, this, &ctlTree::toggleSearchFrame);
    QAction *close = tbrTools->addAction(style()->standardIcon(QStyle::SP_TitleBarCloseButton), QString());
    close->setObjectName(QStringLiteral("x"));
    close->setToolTip(QStringLiteral("Hide the Book Tree"));
    connect(close, &QAction::triggered, this, &ctlTree::HideControl);
    OpenToKeyboard(tbrTools);

    txtSearch->setText(searchPrompt);
    txtSearch->setAccessibleName(QStringLiteral("Search the Book Tree"));
    txtSearch->selectAll();
    txtSearch->installEventFilter(this);
    // Any change of the text starts the next search from the top.
    connect(txtSearch, &QLineEdit::textChanged, this, [this] { m_searchPosition = 0; });
    connect(txtSearch, &QLineEdit::returnPressed, this, &ctlTree::cmdGo_Click);
    cmdGo->setText(QStringLiteral("Go"));
    cmdGo->setToolTip(QStringLiteral("Find the next game, genre or platform"));
    connect(cmdGo, &QToolButton::clicked, this, &ctlTree::cmdGo_Click);
    auto *searchRow = new QHBoxLayout(fSearch);
    searchRow->setContentsMargins(0, 0, 0, 0);
    searchRow->setSpacing(2);
    searchRow->addWidget(txtSearch, 1);
    searchRow->addWidget(cmdGo);

    tvwFiles->setAccessibleName(QStringLiteral("Book Tree"));
    TreeLoader::AddImages(tvwFiles);
    tvwFiles->setContextMenuPolicy(Qt::CustomContextMenu);
    MenuOnShiftF10(tvwFiles);
    tvwFiles->installEventFilter(this);
    // Dragged text comes to the viewport, as do the presses that end a drop's highlight.
    tvwFiles->setAcceptDrops(true);
    tvwFiles->viewport()->setAcceptDrops(true);
    tvwFiles->viewport()->installEventFilter(this);
    connect(tvwFiles, &TreeView::NodeClick, this, &ctlTree::tvwFiles_NodeClick);
    connect(tvwFiles, &TreeView::customContextMenuRequested, this, &ctlTree::showPopup);
    connect(tvwFiles, &TreeView::itemDoubleClicked, this, [this] {
        if (selectedGame())
            Q_EMIT GameNodeDblClick();
    });
    buildMenus();

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(tbrTools);
    layout->addWidget(fSearch);
    layout->addWidget(tvwFiles, 1);
}

ctlTree::~ctlTree() = default;

void ctlTree::buildMenus()
{
    const auto menu = [this](const char *name, const char *title) {
        auto *popup = new QMenu(QLatin1String(title), this);
        popup->setObjectName(QLatin1String(name));
        return popup;
    };
    const auto item = [](QMenu *popup, const char *name, const char *text) {
        QAction *action = popup->addAction(QLatin1String(text));
        action->setObjectName(QLatin1String(name));
        return action;
    };
    mnuHiddenGame = menu("mnuHiddenGame", "HiddenGame");
    mnuHiddenAddFile = item(mnuHiddenGame, "mnuHiddenAddFile", "Add File...");
    mnuHiddenMoveTo = item(mnuHiddenGame, "mnuHiddenMoveTo", "Move Game To...");
    mnuHiddenExport = item(mnuHiddenGame, "mnuHiddenExport", "Export Game to PDF...");
    mnuHiddenGame->addSeparator()->setObjectName(QStringLiteral("mnusep1"));
    mnuHiddenRename = item(mnuHiddenGame, "mnuHiddenRename", "Rename...");
    mnuHiddenGame->addSeparator()->setObjectName(QStringLiteral("mnuSep2"));
    mnuHiddenDelete = item(mnuHiddenGame, "mnuHiddenDelete", "Delete...");
    mnuHiddenGenre = menu("mnuHiddenGenre", "HiddenGenre");
    mnuAddGame = item(mnuHiddenGenre, "mnuAddGame", "Add Game");
    mnuHiddenPlatform = menu("mnuHiddenPlatform", "HiddenPlatform");
    mnuHiddenPlatformRemove = item(mnuHiddenPlatform, "mnuHiddenPlatformRemove", "Remove Platform...");
    // A new library has only its root: from there a first game can be added or imported.
    mnuHiddenRoot = menu("mnuHiddenRoot", "HiddenRoot");
    mnuRootAddGame = item(mnuHiddenRoot, "mnuRootAddGame", "Add Game...");
    mnuHiddenRoot->addSeparator();
    mnuRootImport = item(mnuHiddenRoot, "mnuRootImport", "Import Files...");
    mnuRootImportFolder = item(mnuHiddenRoot, "mnuRootImportFolder", "Import Folder...");

    connect(mnuHiddenAddFile, &QAction::triggered, this, &ctlTree::AddFile);
    connect(mnuHiddenMoveTo, &QAction::triggered, this, &ctlTree::mnuHiddenMoveTo_Click);
    connect(mnuHiddenExport, &QAction::triggered, this, &ctlTree::mnuHiddenExport_Click);
    connect(mnuHiddenRename, &QAction::triggered, this, &ctlTree::mnuHiddenRename_Click);
    connect(mnuHiddenDelete, &QAction::triggered, this, &ctlTree::mnuHiddenDelete_Click);
    connect(mnuAddGame, &QAction::triggered, this, &ctlTree::mnuAddGame_Click);
    connect(mnuHiddenPlatformRemove, &QAction::triggered, this, &ctlTree::RemovePlatform);
    connect(mnuRootAddGame, &QAction::triggered, this, &ctlTree::AddGame);
    connect(mnuRootImport, &QAction::triggered, this, [this] { Q_EMIT ImportRequest(false); });
    connect(mnuRootImportFolder, &QAction::triggered, this, [this] { Q_EMIT ImportRequest(true); });
}

void ctlTree::setStore(modADO *store)
{
    m_store = store;
}

modADO *ctlTree::store() const
{
    return m_store;
}

void ctlTree::LoadTree()
{
    setSearch_Text(QStringLiteral("Loading Tree..."));
    Reset();
    TreeLoader objTreeloader;
    objTreeloader.setStore(store());
    connect(&objTreeloader, &TreeLoader::Finished, this, &ctlTree::objTreeloader_Finished);
    ErrObject err;
    if (!objTreeloader.FillTree(tvwFiles, nullptr, &err)) {
        Reset();
        LogError(err, module, QStringLiteral("Load Tree"), true);
        setSearch_Text(searchPrompt);
    }
}

void ctlTree::objTreeloader_Finished()
{
    setSearch_Text(QStringLiteral("Loading Favorites..."));
    // The platforms are the root's children: no need to visit every game.
    QString platforms;
    if (const TreeNode *root = tvwFiles->NodeAt(1)) {
        for (int index = 0; index < root->Children(); ++index) {
            const QString &key = root->Child(index)->Key();
            if (key.startsWith(QLatin1String("P_")))
                platforms += QLatin1Char('|') + key;
        }
    }
    Q_EMIT LoadFavorites(platforms);
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
    tvwFiles->Clear();
}

bool ctlTree::FocusPane()
{
    if (!isVisibleTo(window()))
        return false;
    tvwFiles->setFocus(Qt::ShortcutFocusReason);
    return true;
}

void ctlTree::SelectNode(const QString &strKey)
{
    TreeNode *node = tvwFiles->Node(strKey);
    if (!node)
        return;
    tvwFiles->EnsureVisible(node);
    tvwFiles->Select(node);
    nodeClick(node);
}

void ctlTree::tvwFiles_NodeClick(TreeNode *node)
{
    m_searchPosition = 0;
    nodeClick(node);
}

void ctlTree::nodeClick(TreeNode *node)
{
    const QString &key = node->Key();
    NodeChoice choice;
    choice.Kind = NodeKey::Kind(key);
    switch (choice.Kind) {
    case NodeKind::Root: choice.Caption = QStringLiteral("Lorekeep"); break;
    case NodeKind::Game: {
        const auto ids = NodeKey::ParseGame(key);
        if (!ids)
            return LogError(NodeKey::BadKey(key), module, QStringLiteral("Tree Node Click"), false);
        std::tie(choice.PlatformId, choice.GenreId, choice.GameId) =
            std::make_tuple(ids->PlatformId, ids->GenreId, ids->GameId);
        choice.Game = node->Tag();
        choice.Caption = TreeLoader::PlatformTag(choice.PlatformId) + separator + TreeLoader::GenreTag(choice.GenreId) +
                         separator + choice.Game;
        break;
    }
    case NodeKind::Genre: {
        const auto genre = NodeKey::Code(key, 0);
        const auto platform = NodeKey::Code(key, 1);
        if (!genre || !platform)
            return LogError(NodeKey::BadKey(key), module, QStringLiteral("Tree Node Click"), false);
        std::tie(choice.PlatformId, choice.GenreId) = std::make_tuple(*platform, *genre);
        choice.Caption = TreeLoader::PlatformTag(choice.PlatformId) + separator + TreeLoader::GenreTag(choice.GenreId);
        break;
    }
    case NodeKind::Platform: {
        const auto platform = NodeKey::Code(key, 0);
        if (!platform)
            return LogError(NodeKey::BadKey(key), module, QStringLiteral("Tree Node Click"), false);
        choice.PlatformId = *platform;
        choice.Caption = TreeLoader::PlatformTag(choice.PlatformId);
        break;
    }
    case NodeKind::File:
    case NodeKind::Other:
        choice.Kind = NodeKind::Other;
        choice.Caption = node->Text();
        break;
    }
    Q_EMIT TreeNodeClick(choice);
}

void ctlTree::UpdateGameCaption(const QString &strGameKey, quint8 bytRemove)
{
    Q_UNUSED(bytRemove)
    ErrObject err;
    TreeNode *node = tvwFiles->Node(strGameKey, &err);
    const auto id = NodeKey::Id(strGameKey, 0);
    if (node && !id)
        err = NodeKey::BadKey(strGameKey);
    int count = 0;
    if (err.isError() || !FileTable::Count(store()->Connection(), *id, &count, &err))
        return LogError(err, module, QStringLiteral("Update Node Caption"), false);
    node->setText(TreeLoader::Caption(node->Tag(), count));
}

void ctlTree::recountGenre(const QString &genreKey, quint8 flag)
{
    if (TreeNode *genre = tvwFiles->Node(genreKey))
        genre->setText(TreeLoader::Caption(genre->Tag(), genre->Children()));
    adjustPlatform(NodeKey::Field(genreKey, 1), flag);
}

void ctlTree::adjustPlatform(const QString &platformKey, quint8 flag)
{
    TreeNode *platform = tvwFiles->Node(platformKey);
    if (!platform || flag > 1)
        return;
    // The count lives only in the caption: "Tag (n)".
    QString count = platform->Text().mid(platform->Tag().size());
    count.remove(QLatin1String(" (")).remove(QLatin1Char(')'));
    const qint64 games = count.trimmed().toLongLong() + (flag == 0 ? 1 : -1);
    platform->setText(TreeLoader::Caption(platform->Tag(), games));
}

void ctlTree::pruneEmpty(const QString &genreKey)
{
    ErrObject err;
    TreeNode *genre = tvwFiles->Node(genreKey);
    const auto genreId = NodeKey::Code(genreKey, 0);
    if (genre && genre->Children() == 0 && genreId && modNames::GetGenreName(*genreId).isEmpty())
        tvwFiles->Remove(genreKey, &err);
    const QString platformKey = NodeKey::Field(genreKey, 1);
    const TreeNode *platform = tvwFiles->Node(platformKey);
    if (!platform)
        return;
    for (int i = 0; i < platform->Children(); ++i) {
        if (platform->Child(i)->Children() > 0)
            return;
    }
    tvwFiles->Remove(platformKey, &err);
}

QString ctlTree::GameName(const QString &strKey) const
{
    const TreeNode *node = tvwFiles->Node(strKey);
    return node ? node->Tag() : QString();
}

QString ctlTree::GameGenre(const QString &strKey) const
{
    const TreeNode *node = tvwFiles->Node(strKey);
    return node && node->Parent() ? node->Parent()->Tag() : QString();
}

QString ctlTree::GamePlatform(const QString &strKey) const
{
    const TreeNode *node = tvwFiles->Node(strKey);
    return node && node->Parent() && node->Parent()->Parent() ? node->Parent()->Parent()->Tag() : QString();
}

bool ctlTree::SearchBox() const
{
    return !m_searchHidden;
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
    txtSearch->selectAll();
}

void ctlTree::toggleSearchFrame()
{
    m_searchHidden = !m_searchHidden;
    fSearch->setVisible(!m_searchHidden);
    if (!m_searchHidden)
        txtSearch->setFocus();
}

void ctlTree::cmdGo_Click()
{
    const TreeSearch::Result found = TreeSearch::Next(*tvwFiles, txtSearch->text(), m_searchPosition);
    const QString text = txtSearch->text().trimmed();
    switch (found.outcome) {
    case TreeSearch::Ignored: return;
    case TreeSearch::TooLong:
        LogError(
            {6, QStringLiteral("Overflow: a search text is at most %1 characters long").arg(TreeSearch::MaxLength)},
            module, QStringLiteral("Tree Search"), false);
        return;
    case TreeSearch::Found:
        txtSearch->selectAll();
        SelectNode(tvwFiles->NodeAt(found.index)->Key());
        m_searchPosition = found.index;
        SaveSetting(SettingKeys::LastSearchText, text);
        return;
    case TreeSearch::Finished:
        MsgBox(QStringLiteral("Finished searching tree."), MsgButtons::OK, MsgIcon::Information);
        break;
    case TreeSearch::Failed:
        MsgBox(QStringLiteral("Finished searching tree.\r\n\r\nCould not find \"") + text + QStringLiteral("\"."),
               MsgButtons::OK, MsgIcon::Exclamation);
        break;
    }
    m_searchPosition = 0;
    txtSearch->setFocus();
}

bool ctlTree::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == tvwFiles->viewport()) {
        if (tvwFiles_OLEEvent(event))
            return true;
    } else if (watched == txtSearch && event->type() == QEvent::FocusIn) {
        // After the click that gave the focus, which would otherwise place the cursor.
        QTimer::singleShot(0, txtSearch, &QLineEdit::selectAll);
    } else if (watched == tvwFiles && event->type() == QEvent::KeyPress && selectedGame()) {
        const int key = static_cast<QKeyEvent *>(event)->key();
        if (key == Qt::Key_Delete) {
            mnuHiddenDelete_Click();
            return true;
        }
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            Q_EMIT GameNodeDblClick();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void ctlTree::showPopup(const QPoint &pos)
{
    const TreeNode *node = tvwFiles->SelectedItem();
    if (!node)
        return;
    QMenu *popup = nullptr;
    switch (NodeKey::Kind(node->Key())) {
    case NodeKind::Game: popup = mnuHiddenGame; break;
    case NodeKind::Genre: popup = mnuHiddenGenre; break;
    case NodeKind::Platform: popup = mnuHiddenPlatform; break;
    case NodeKind::Root: popup = mnuHiddenRoot; break;
    default: return;
    }
    // The file and platform commands are the host's work; with no host listening they are offered
    // greyed out rather than doing nothing.
    mnuHiddenAddFile->setEnabled(isSignalConnected(QMetaMethod::fromSignal(&ctlTree::AddFile)));
    mnuHiddenExport->setEnabled(isSignalConnected(QMetaMethod::fromSignal(&ctlTree::ExportGame)));
    mnuHiddenPlatformRemove->setEnabled(isSignalConnected(QMetaMethod::fromSignal(&ctlTree::RemovePlatform)));
    const bool imports = isSignalConnected(QMetaMethod::fromSignal(&ctlTree::ImportRequest));
    mnuRootImport->setEnabled(imports);
    mnuRootImportFolder->setEnabled(imports);
    popup->popup(tvwFiles->viewport()->mapToGlobal(pos));
}

QString ctlTree::SelectedKey() const
{
    const TreeNode *node = tvwFiles->SelectedItem();
    return node ? node->Key() : QString();
}

TreeNode *ctlTree::selectedGame() const
{
    TreeNode *node = tvwFiles->SelectedItem();
    return node && NodeKey::Kind(node->Key()) == NodeKind::Game ? node : nullptr;
}
