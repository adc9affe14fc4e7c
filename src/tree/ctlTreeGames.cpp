// The game commands of ctlTree: add, rename, move and delete. Each writes the store first and
// changes the tree only once the store has taken the change, so a failing store leaves the tree
// as it was.

#include "ctlTree.h"

#include "base/ErrorLog.h"
#include "components/GameSelector.h"
#include "components/TreeLoader.h"
#include "data/GameTable.h"
#include "data/NodeKey.h"
#include "data/modADO.h"
#include "frmAddGame.h"
#include "system/Prompts.h"
#include "widgets/TreeView.h"

namespace {

const QString module = QStringLiteral("ctlTree");

std::optional<NodeKey::GameIds> gameIds(const QString &key, const QString &procedure)
{
    const auto ids = NodeKey::ParseGame(key);
    if (!ids)
        LogError(NodeKey::BadKey(key), module, procedure, true);
    return ids;
}

QString askName(const QString &prompt, const QString &title, const QString &defaultText)
{
    return Prompts::current().InputBox(prompt, title, defaultText).value_or(QString()).trimmed();
}

} // namespace

void ctlTree::mnuAddGame_Click()
{
    const TreeNode *genre = tvwFiles->SelectedItem();
    if (!genre || NodeKey::Kind(genre->Key()) != NodeKind::Genre)
        return;
    const QString genreKey = genre->Key();
    const QString name = askName(QStringLiteral("Enter a name for the new game."), QStringLiteral("Add New Game"),
                                 QStringLiteral("Game Title"));
    if (name.isEmpty())
        return Prompts::current().Beep();
    const auto genreId = NodeKey::Code(genreKey, 0);
    const auto platformId = NodeKey::Code(genreKey, 1);
    if (!genreId || !platformId)
        return LogError(NodeKey::BadKey(genreKey), module, QStringLiteral("Add Game"), true);
    addGame(*platformId, *genreId, name, QStringLiteral("Add Game"));
}

void ctlTree::AddGame()
{
    quint8 platformId = 0;
    quint8 genreId = 0;
    if (const TreeNode *node = tvwFiles->SelectedItem()) {
        const QString &key = node->Key();
        switch (NodeKey::Kind(key)) {
        case NodeKind::Platform: platformId = NodeKey::Code(key, 0).value_or(0); break;
        case NodeKind::Genre:
            genreId = NodeKey::Code(key, 0).value_or(0);
            platformId = NodeKey::Code(key, 1).value_or(0);
            break;
        case NodeKind::Game:
            genreId = NodeKey::Code(key, 1).value_or(0);
            platformId = NodeKey::Code(key, 2).value_or(0);
            break;
        default: break;
        }
    }
    frmAddGame dialog(window());
    dialog.Prepare(platformId, genreId);
    if (dialog.exec() != QDialog::Accepted)
        return;
    if (dialog.GameName().isEmpty())
        return Prompts::current().Beep();
    addGame(dialog.PlatformId(), dialog.GenreId(), dialog.GameName(), QStringLiteral("Add Game"));
}

bool ctlTree::addGame(quint8 platformId, quint8 genreId, const QString &name, const QString &procedure)
{
    ErrObject err;
    qint32 id = 0;
    if (!GameTable::Add(store()->Connection(), platformId, genreId, name, &id, &err)) {
        LogError(err, module, procedure, true);
        return false;
    }
    const QString genreKey = NodeKey::Genre(genreId, platformId);
    const QString key = NodeKey::Game(id, genreId, platformId);
    if (!addGameNode(name, genreKey, key, &err)) {
        LogError(err, module, procedure, true);
        return false;
    }
    UpdateGameCaption(key, 0);
    recountGenre(genreKey, 0);
    SelectNode(key);
    return true;
}

void ctlTree::mnuHiddenRename_Click()
{
    TreeNode *node = selectedGame();
    if (!node)
        return;
    const QString key = node->Key();
    const QString oldName = node->Tag();
    const QString newName =
        askName(QStringLiteral("Enter a new name for this game"), QStringLiteral("Rename Game"), oldName);
    if (newName.isEmpty() || newName == oldName.trimmed())
        return Prompts::current().Beep();
    const auto ids = gameIds(key, QStringLiteral("Rename Game"));
    if (!ids)
        return;
    ErrObject err;
    if (!GameTable::Rename(store()->Connection(), ids->GameId, newName, &err))
        return LogError(err, module, QStringLiteral("Rename Game"), true);

    // The caption is the name and the count; only the name changes.
    node->setText(newName + node->Text().mid(oldName.size()));
    tvwFiles->SetTag(node, newName);
    Q_EMIT RenameGame(oldName, newName, key);
}

void ctlTree::mnuHiddenExport_Click()
{
    const TreeNode *node = selectedGame();
    if (!node)
        return;
    const auto ids = gameIds(node->Key(), QStringLiteral("Export Game"));
    if (ids)
        Q_EMIT ExportGame(ids->GameId, node->Tag());
}

void ctlTree::mnuHiddenMoveTo_Click()
{
    const TreeNode *node = selectedGame();
    if (!node)
        return;
    const QString key = node->Key();
    const QString genreKey = NodeKey::ParentKey(key);
    const QString name = node->Tag();
    const auto ids = gameIds(key, QStringLiteral("Move Game"));
    if (!ids)
        return;

    objSelector = std::make_unique<GameSelector>(this);
    m_selectorReleased = false;
    objSelector->setStore(store());
    objSelector->setPlaceOnly(true);
    connect(objSelector.get(), &GameSelector::AddGameNode, this, &ctlTree::objSelector_AddGameNode);
    connect(objSelector.get(), &GameSelector::CompleteSelect, this, &ctlTree::objSelector_CompleteSelect);
    objSelector->Show(ids->PlatformId, ids->GenreId, ids->GameId, QStringLiteral("Move Game To..."));
    const bool cancelled = m_selectorReleased;
    const quint8 platformId = objSelector->PlatformId();
    const quint8 genreId = objSelector->GenreId();
    objSelector.reset();
    if (cancelled || (platformId == ids->PlatformId && genreId == ids->GenreId))
        return;

    const QString newKey = NodeKey::Game(ids->GameId, genreId, platformId);
    const QString newGenreKey = NodeKey::Genre(genreId, platformId);
    ErrObject err;
    if (!GameTable::Move(store()->Connection(), ids->GameId, platformId, genreId, &err))
        return LogError(err, module, QStringLiteral("Move Game"), true);
    tvwFiles->Remove(key, &err);
    recountGenre(genreKey, 1);
    if (!addGameNode(name, newGenreKey, newKey, &err))
        return LogError(err, module, QStringLiteral("Move Game"), true);
    UpdateGameCaption(newKey, 0);
    recountGenre(newGenreKey, 0);
    // Only now: a move within the platform must not take the platform's node away first.
    pruneEmpty(genreKey);
    SelectNode(newKey);
    Q_EMIT MoveGame(key, newKey);
}

void ctlTree::mnuHiddenDelete_Click()
{
    const TreeNode *node = selectedGame();
    if (!node)
        return;
    const QString prompt = QStringLiteral("Are you sure you wish to delete \"") + node->Tag() +
                           QStringLiteral("\" and all of it's Files?");
    if (MsgBox(prompt, MsgButtons::YesNo, MsgIcon::Question) != MsgResult::Yes)
        return;
    const QString key = node->Key();
    const QString genreKey = NodeKey::ParentKey(key);
    const auto ids = gameIds(key, QStringLiteral("Delete Game"));
    if (!ids)
        return;
    ErrObject err;
    // A game that is no longer in the store has nothing left to delete; its node goes all the same.
    if (!GameTable::Delete(store()->Connection(), ids->GameId, nullptr, &err) &&
        err.Number != ErrNumber::NoCurrentRecord)
        return LogError(err, module, QStringLiteral("Delete Game"), true);

    tvwFiles->Remove(key, &err);
    recountGenre(genreKey, 1);
    pruneEmpty(genreKey);
    // The genre is where the user stays, unless the last game of its platform went: the root then.
    TreeNode *genre = tvwFiles->Node(genreKey);
    QString caption = QStringLiteral("Lorekeep");
    if (genre) {
        tvwFiles->Select(genre);
        caption = (genre->Parent() ? genre->Parent()->Tag() : QString()) + QStringLiteral(" - ") + genre->Tag();
    } else if (TreeNode *root = tvwFiles->Node(QStringLiteral("ROOT"))) {
        tvwFiles->Select(root);
    }
    Q_EMIT GameNodeDelete(caption, key);
}

void ctlTree::objSelector_AddGameNode(const QString &strName, const QString &strParentKey, const QString &strKey)
{
    ErrObject err;
    if (!addGameNode(strName, strParentKey, strKey, &err))
        return LogError(err, module, QStringLiteral("Add Game Node"), false);
    UpdateGameCaption(strKey, 0);
    recountGenre(strParentKey, 0);
}

void ctlTree::objSelector_CompleteSelect(quint8 bytPlatformId, quint8 bytGenreId, qint32 lngGameId, bool blnCancel)
{
    // The selector is still running its dialog: it is let go once its Show returns.
    if (blnCancel)
        m_selectorReleased = true;
    else
        SelectNode(NodeKey::Game(lngGameId, bytGenreId, bytPlatformId));
}

TreeNode *ctlTree::genreNode(const QString &genreKey, ErrObject *err)
{
    if (TreeNode *genre = tvwFiles->Node(genreKey))
        return genre;
    const auto genreId = NodeKey::Code(genreKey, 0);
    const auto platformId = NodeKey::Code(genreKey, 1);
    if (!genreId || !platformId || NodeKey::Kind(genreKey) != NodeKind::Genre) {
        *err = NodeKey::BadKey(genreKey);
        return nullptr;
    }
    // A game went to a platform or genre the tree did not show: it shows now.
    if (!tvwFiles->Node(NodeKey::Platform(*platformId)) && !TreeLoader::AddPlatform(tvwFiles, *platformId, err))
        return nullptr;
    if (TreeNode *genre = tvwFiles->Node(genreKey))
        return genre;
    return TreeLoader::AddGenre(tvwFiles, *genreId, *platformId, err);
}

TreeNode *ctlTree::addGameNode(const QString &name, const QString &genreKey, const QString &key, ErrObject *err)
{
    if (!genreNode(genreKey, err))
        return nullptr;
    return tvwFiles->Add(genreKey, TreeView::Child, key, name, QStringLiteral("cd"), QStringLiteral("cd_hot"), name,
                         err);
}
