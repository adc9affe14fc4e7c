#pragma once

#include "system/ErrObject.h"

#include <QObject>

class modADO;

class TreeNode;
class TreeView;

// Fills the game tree from the store, one instance per load.
//
// What the tree shows, chosen for a collector who keeps texts on a few platforms:
// - the root "Lorekeep Library" (empty Tag, so tree search never stops on it), expanded;
// - each platform that has at least one game, in the order of the platform table (makers grouped,
//   older systems first), then any code the table does not know as "Unknown Platform n";
// - under a known platform all eight genres, so that a game can be added to any of them, and under
//   any platform a genre code the table does not know as "Unknown Genre n" when it has games;
// - under a genre its games, sorted by name as a person reads them (case and accents aside,
//   numbers by value), and kept sorted when games are added or renamed.
// Images: the root "ROOT"; platforms by kind ("cart" home cartridge systems, "cart_sm" handhelds,
// "console" disc systems, "PC", "Arcade"); genres "genre"; games "cd"; each with its "_hot" image
// while selected where there is one.
class TreeLoader final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TreeLoader)

public:
    explicit TreeLoader(QObject *parent = nullptr);

    void setStore(modADO *store);

    // Builds the whole tree into the empty `tree` (`parent` must be null: the root is the top) and
    // raises Finished before returning. False, with `err` filled and no Finished, when the store
    // could not be read; the tree is left empty then.
    bool FillTree(TreeView *tree, TreeNode *parent, ErrObject *err);

    // Registers the tree's images with `tree`.
    static void AddImages(TreeView *tree);
    // Adds the node of platform `platformId` with a count of 0 and, for a known platform, its
    // eight genres with counts of 0, in their place among the platforms already there. Used when a
    // game goes to a platform the tree does not show yet.
    static TreeNode *AddPlatform(TreeView *tree, quint8 platformId, ErrObject *err);
    // Adds the node of an unknown genre code under its platform's node.
    static TreeNode *AddGenre(TreeView *tree, quint8 genreId, quint8 platformId, ErrObject *err);

    // A node's caption: its Tag and its count, "Tag (n)".
    static QString Caption(const QString &tag, qint64 count);
    static QString PlatformTag(quint8 platformId);
    static QString GenreTag(quint8 genreId);

Q_SIGNALS:
    void Finished();

private:
    modADO *m_store = nullptr;
};
