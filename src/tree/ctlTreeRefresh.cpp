// Keeping the tree in line with a store that another program (lkimport, a second window) writes
// to: one read of every game with its file count, compared with the nodes.

#include "ctlTree.h"

#include "base/ErrorLog.h"
#include "components/TreeLoader.h"
#include "data/GameIndex.h"
#include "data/NodeKey.h"
#include "data/modADO.h"
#include "widgets/TreeView.h"

#include <QSet>

bool ctlTree::RefreshFromStore()
{
    if (objSelector || m_importing)
        return false;
    QVector<IndexedGame> games;
    ErrObject err;
    if (!GameIndex::Read(store()->Connection(), &games, &err)) {
        // Not worth a message: the next command on the store says what is wrong with it.
        LogError(err, QStringLiteral("ctlTree"), QStringLiteral("Refresh Tree"), false);
        return true;
    }
    const QString selected = SelectedKey();
    // The nodes of games still in the store; looked up by node, which is cheaper than by key for
    // the hundred thousand games of a large library.
    QSet<const TreeNode *> present;
    present.reserve(int(games.size()));
    QSet<QString> changedGenres;
    for (const IndexedGame &game : std::as_const(games)) {
        const QString key = NodeKey::Game(game.auto_id, game.genre_id, game.platform_id);
        TreeNode *node = tvwFiles->Node(key);
        if (!node) {
            const QString genreKey = NodeKey::Genre(game.genre_id, game.platform_id);
            node = addGameNode(game.name, genreKey, key, &err);
            if (!node) {
                LogError(err, QStringLiteral("ctlTree"), QStringLiteral("Refresh Tree"), false);
                continue;
            }
            changedGenres.insert(genreKey);
        } else if (node->Tag() != game.name) {
            tvwFiles->SetTag(node, game.name);
        }
        present.insert(node);
        const QString caption = TreeLoader::Caption(game.name, game.files);
        if (node->Text() != caption)
            node->setText(caption);
    }

    QStringList gone;
    for (int index = 1; index <= tvwFiles->Count(); ++index) {
        const TreeNode *node = tvwFiles->NodeAt(index);
        if (!present.contains(node) && NodeKey::Kind(node->Key()) == NodeKind::Game)
            gone << node->Key();
    }
    for (const QString &key : std::as_const(gone)) {
        changedGenres.insert(NodeKey::ParentKey(key));
        tvwFiles->Remove(key, &err);
    }

    QSet<QString> changedPlatforms;
    for (const QString &genreKey : std::as_const(changedGenres)) {
        if (TreeNode *genre = tvwFiles->Node(genreKey))
            genre->setText(TreeLoader::Caption(genre->Tag(), genre->Children()));
        changedPlatforms.insert(NodeKey::Field(genreKey, 1));
        pruneEmpty(genreKey);
    }
    for (const QString &platformKey : std::as_const(changedPlatforms)) {
        TreeNode *platform = tvwFiles->Node(platformKey);
        if (!platform)
            continue;
        int count = 0;
        for (int i = 0; i < platform->Children(); ++i)
            count += platform->Child(i)->Children();
        platform->setText(TreeLoader::Caption(platform->Tag(), count));
    }

    // A selection whose game went elsewhere or away: the user is taken to its place, as after a
    // delete, so that the other panes stop showing it.
    if (!selected.isEmpty() && !tvwFiles->Node(selected)) {
        QString fallback = NodeKey::ParentKey(selected);
        if (!tvwFiles->Node(fallback))
            fallback = QStringLiteral("ROOT");
        SelectNode(fallback);
    }
    return true;
}
