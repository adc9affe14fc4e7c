#include "TreeLoader.h"

#include "data/GameIndex.h"
#include "data/NodeKey.h"
#include "data/modADO.h"
#include "data/modNames.h"
#include "system/NaturalOrder.h"
#include "widgets/DeferredIcon.h"
#include "widgets/TreeView.h"

#include <QtConcurrent/QtConcurrentMap>

#include <algorithm>
#include <map>
#include <optional>
#include <set>

namespace {

const QString rootKey = QStringLiteral("ROOT");

struct Images
{
    const char *normal;
    const char *selected;
};

Images platformImages(quint8 platformId)
{
    switch (platformId) {
    case 1:
    case 2:
    case 4:
    case 5:
    case 9:
    case 11:
    case 12: return {"cart", "cart_hot"};
    case 6:
    case 7:
    case 8:
    case 14: return {"cart_sm", "cart_sm_hot"};
    case 18: return {"PC", "PC"};
    case 19: return {"Arcade", "Arcade"};
    default: return {"console", "console_hot"};
    }
}

// Known codes in table order, then the codes the table does not know.
int platformOrder(quint8 platformId)
{
    return modNames::GetPlatformName(platformId).isEmpty() ? 256 + platformId : platformId;
}

int genreOrder(quint8 genreId)
{
    return modNames::GetGenreName(genreId).isEmpty() ? 256 + genreId : genreId;
}

TreeNode *addPlatformNode(TreeView *tree, const QString &relative, TreeView::Relationship relationship,
                          quint8 platformId, int games, ErrObject *err)
{
    const Images images = platformImages(platformId);
    const QString tag = TreeLoader::PlatformTag(platformId);
    return tree->Add(relative, relationship, NodeKey::Platform(platformId), TreeLoader::Caption(tag, games),
                     QLatin1String(images.normal), QLatin1String(images.selected), tag, err);
}

TreeNode *addGenreNode(TreeView *tree, const QString &relative, TreeView::Relationship relationship, quint8 genreId,
                       quint8 platformId, int games, ErrObject *err)
{
    const QString tag = TreeLoader::GenreTag(genreId);
    return tree->Add(relative, relationship, NodeKey::Genre(genreId, platformId), TreeLoader::Caption(tag, games),
                     QStringLiteral("genre"), QStringLiteral("genre_hot"), tag, err);
}

// Where a node of order `order` goes among the children of `parent`, whose order `orderOf` reads
// from a child's key: before the first child that comes later, else at the end.
template <typename OrderOf>
std::pair<QString, TreeView::Relationship> placeAmong(const TreeNode *parent, int order, OrderOf orderOf)
{
    for (int i = 0; i < parent->Children(); ++i) {
        if (orderOf(parent->Child(i)->Key()) > order)
            return {parent->Child(i)->Key(), TreeView::Previous};
    }
    return {parent->Key(), TreeView::Child};
}

// A genre's games, and their nodes once made.
struct Place
{
    QVector<const IndexedGame *> games;
    QList<TreeNode *> nodes;
};

} // namespace

TreeLoader::TreeLoader(QObject *parent) : QObject(parent) {}

QString TreeLoader::Caption(const QString &tag, qint64 count)
{
    return tag + QLatin1String(" (") + QString::number(count) + QLatin1Char(')');
}

void TreeLoader::setStore(modADO *store)
{
    m_store = store;
}

QString TreeLoader::PlatformTag(quint8 platformId)
{
    const QString name = modNames::GetPlatformName(platformId);
    return name.isEmpty() ? QLatin1String("Unknown Platform ") + QString::number(platformId) : name;
}

QString TreeLoader::GenreTag(quint8 genreId)
{
    const QString name = modNames::GetGenreName(genreId);
    return name.isEmpty() ? QLatin1String("Unknown Genre ") + QString::number(genreId) : name;
}

void TreeLoader::AddImages(TreeView *tree)
{
    static const char *const names[] = {"ROOT",        "genre",    "genre_hot", "cd",          "cd_hot",
                                        "cart",        "cart_hot", "cart_sm",   "cart_sm_hot", "console",
                                        "console_hot", "PC",       "Arcade"};
    for (const char *name : names) {
        const QString image = QLatin1String(name);
        tree->AddImage(image, DeferredIcon(QLatin1String(":/bundle/tree/") + image + QLatin1String(".png")));
    }
}

bool TreeLoader::FillTree(TreeView *tree, TreeNode *parent, ErrObject *err)
{
    QVector<IndexedGame> games;
    if (!GameIndex::Read(m_store->Connection(), &games, err))
        return false;

    // Platform, then genre, each in display order; within a genre by name.
    std::map<std::pair<int, int>, Place> places;
    for (const IndexedGame &game : games)
        places[{platformOrder(game.platform_id), genreOrder(game.genre_id)}].games.append(&game);
    // Nodes made but not added (on a failure part-way) are not left behind.
    struct Unused
    {
        std::map<std::pair<int, int>, Place> &places;
        ~Unused()
        {
            for (auto &[place, genre] : places)
                qDeleteAll(genre.nodes);
        }
    } unused{places};
    // A large library's game nodes are sorted and made on every core, a genre at a time; only
    // adding them to the tree is left for this thread.
    std::vector<std::pair<const std::pair<int, int>, Place> *> work;
    work.reserve(places.size());
    for (auto &place : places)
        work.push_back(&place);
    const QIcon gameIcon = tree->Icon(QStringLiteral("cd"), QStringLiteral("cd_hot"));
    QtConcurrent::blockingMap(work, [&gameIcon](std::pair<const std::pair<int, int>, Place> *entry) {
        Place &genre = entry->second;
        std::sort(genre.games.begin(), genre.games.end(),
                  [](const IndexedGame *a, const IndexedGame *b) { return NaturalLess(a->name, b->name); });
        const QString genreKey = NodeKey::Genre(quint8(entry->first.second % 256), quint8(entry->first.first % 256));
        genre.nodes.reserve(genre.games.size());
        for (const IndexedGame *game : genre.games)
            genre.nodes.append(new TreeNode(NodeKey::Game(game->auto_id, genreKey),
                                            TreeLoader::Caption(game->name, game->files), game->name, gameIcon));
    });
    std::map<int, int> gamesOfPlatform;
    for (const auto &[place, genre] : places)
        gamesOfPlatform[place.first] += int(genre.games.size());

    // Shown whole at the end, and on the way out of a failure too, so the tree never stays hidden.
    // Made in place and never copied: a copy's end would show the tree before it is built.
    struct Showing
    {
        explicit Showing(TreeView *view) : tree(view) {}
        Showing(const Showing &) = delete;
        Showing &operator=(const Showing &) = delete;
        ~Showing() { tree->EndUpdate(); }
        TreeView *tree;
    };
    std::optional<Showing> showing;
    if (!parent) {
        tree->BeginUpdate(int(games.size()) + int(gamesOfPlatform.size()) * (modNames::GenreCount + 1) + 1);
        showing.emplace(tree);
    }
    TreeNode *root =
        tree->Add(parent ? parent->Key() : QString(), TreeView::Child, rootKey, QStringLiteral("Lorekeep Library"),
                  QStringLiteral("ROOT"), QStringLiteral("ROOT"), QString(), err);
    if (!root)
        return false;

    for (const auto &[order, total] : gamesOfPlatform) {
        const quint8 platformId = quint8(order % 256);
        const QString platformKey = NodeKey::Platform(platformId);
        if (!addPlatformNode(tree, rootKey, TreeView::Child, platformId, total, err))
            return false;
        std::set<int> genres;
        if (order < 256) {
            for (int genreId = 1; genreId <= modNames::GenreCount; ++genreId)
                genres.insert(genreId);
        }
        for (auto it = places.lower_bound({order, 0}); it != places.end() && it->first.first == order; ++it)
            genres.insert(it->first.second);

        for (const int genre : genres) {
            const quint8 genreId = quint8(genre % 256);
            Place &place = places[{order, genre}];
            TreeNode *node =
                addGenreNode(tree, platformKey, TreeView::Child, genreId, platformId, int(place.games.size()), err);
            if (!node || !tree->AddChildren(node, std::exchange(place.nodes, {}), err))
                return false;
            node->setSorted(true);
        }
    }
    showing.reset();
    root->setExpanded(true);
    Q_EMIT Finished();
    return true;
}

TreeNode *TreeLoader::AddPlatform(TreeView *tree, quint8 platformId, ErrObject *err)
{
    const TreeNode *root = tree->Node(rootKey, err);
    if (!root)
        return nullptr;
    const auto [relative, relationship] = placeAmong(root, platformOrder(platformId), [](const QString &key) {
        return platformOrder(NodeKey::Code(key, 0).value_or(0));
    });
    TreeNode *platform = addPlatformNode(tree, relative, relationship, platformId, 0, err);
    if (!platform || modNames::GetPlatformName(platformId).isEmpty())
        return platform;
    for (quint8 genreId = 1; genreId <= modNames::GenreCount; ++genreId) {
        TreeNode *genre = addGenreNode(tree, platform->Key(), TreeView::Child, genreId, platformId, 0, err);
        if (!genre)
            return nullptr;
        genre->setSorted(true);
    }
    return platform;
}

TreeNode *TreeLoader::AddGenre(TreeView *tree, quint8 genreId, quint8 platformId, ErrObject *err)
{
    const TreeNode *platform = tree->Node(NodeKey::Platform(platformId), err);
    if (!platform)
        return nullptr;
    const auto [relative, relationship] = placeAmong(platform, genreOrder(genreId), [](const QString &key) {
        return genreOrder(NodeKey::Code(key, 0).value_or(0));
    });
    TreeNode *genre = addGenreNode(tree, relative, relationship, genreId, platformId, 0, err);
    if (genre)
        genre->setSorted(true);
    return genre;
}
