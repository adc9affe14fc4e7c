// Suite "tree": the game tree's load and a game rename, against the bare SQL that reads or writes
// the same rows; catching up with another program's change, against loading the tree again.

#include "BenchContext.h"
#include "data/FileTable.h"
#include "data/GameIndex.h"
#include "data/NodeKey.h"
#include "data/modADO.h"
#include "store/StoreAddress.h"
#include "system/Prompts.h"
#include "tree/ctlTree.h"
#include "widgets/TreeView.h"

#include <QAction>
#include <QSignalSpy>
#include <QSqlQuery>

namespace {

// Answers the rename box with the name the measurement wants next.
class NamePrompts final : public Prompts
{
public:
    QString next;

    MsgResult MsgBox(const QString &, MsgButtons, MsgIcon, const QString &) override { return MsgResult::Cancel; }
    std::optional<QString> InputBox(const QString &, const QString &, const QString &) override { return next; }
    std::optional<QString> GetOpenFileName(const FileDialogOptions &) override { return std::nullopt; }
    std::optional<QString> GetSaveFileName(const FileDialogOptions &) override { return std::nullopt; }
    std::optional<QStringList> GetOpenFileNames(const FileDialogOptions &) override { return std::nullopt; }
    std::optional<QString> GetFolder(const FileDialogOptions &) override { return std::nullopt; }
    bool PrintDialog(QPrinter *, bool) override { return false; }
    void Beep() override {}
};

bool measureLoad(const BenchContext &context, modADO *store, ctlTree *tree)
{
    const QSqlDatabase db = store->Connection();
    QSignalSpy finished(tree, &ctlTree::LoadFavorites);
    auto *view = tree->findChild<TreeView *>(QStringLiteral("tvwFiles"));
    int rows = 0;
    const auto baseline = [&] {
        QSqlQuery query(db);
        query.setForwardOnly(true);
        if (!query.exec(GameIndex::Statement()))
            return false;
        rows = 0;
        qint64 files = 0;
        while (query.next()) {
            const QString name = query.value(3).toString();
            files += query.value(0).toInt() + query.value(1).toInt() + query.value(2).toInt() + name.size() +
                     query.value(4).toInt();
            ++rows;
        }
        return files > 0;
    };
    const auto ours = [&] {
        finished.clear();
        tree->LoadTree();
        return finished.size() == 1 && view->Count() > rows;
    };
    if (!baseline())
        return false;
    context.note(QStringLiteral("load: %1 games").arg(rows));
    const bool measured = context.compare(QStringLiteral("load"), ours, baseline);
    context.note(QStringLiteral("load: %1 nodes").arg(view->Count()));
    return measured;
}

bool measureRename(const BenchContext &context, modADO *store, ctlTree *tree)
{
    const QSqlDatabase db = store->Connection();
    QSqlQuery pick(db);
    if (!pick.exec(QStringLiteral("SELECT g.auto_id, g.genre_id, g.platform_id, g.name FROM game g "
                                  "JOIN file f ON f.game_id = g.auto_id GROUP BY g.auto_id "
                                  "ORDER BY count(*) DESC LIMIT 1")) ||
        !pick.next()) {
        context.note(QStringLiteral("rename: the store has no game with files; not measured."));
        return false;
    }
    const qint32 id = pick.value(0).toInt();
    const QString key = NodeKey::Game(id, quint8(pick.value(1).toUInt()), quint8(pick.value(2).toUInt()));
    const QString name = pick.value(3).toString();
    pick.finish();
    context.note(QStringLiteral("rename: game %1 \"%2\"").arg(id).arg(name));

    NamePrompts prompts;
    Prompts *previous = Prompts::install(&prompts);
    auto *rename = tree->findChild<QAction *>(QStringLiteral("mnuHiddenRename"));
    QSignalSpy renamed(tree, &ctlTree::RenameGame);
    // Each call flips the name between the original and a marked one; the original is put back at the end.
    bool marked = false;
    const auto ours = [&] {
        prompts.next = marked ? name : name + QStringLiteral(" *");
        marked = !marked;
        renamed.clear();
        rename->trigger();
        return renamed.size() == 1;
    };
    const auto baseline = [&] {
        QSqlQuery update(db);
        update.prepare(QStringLiteral("UPDATE game SET name = ? WHERE auto_id = ?"));
        update.addBindValue(marked ? name : name + QStringLiteral(" *"));
        update.addBindValue(id);
        marked = !marked;
        QSqlQuery count(db);
        return update.exec() &&
               count.exec(QStringLiteral("SELECT count(*) FROM file WHERE game_id = ") + QString::number(id)) &&
               count.next();
    };
    tree->SelectNode(key);
    const bool measured = context.compare(QStringLiteral("rename"), ours, baseline);
    if (marked) {
        QSqlQuery restore(db);
        restore.prepare(QStringLiteral("UPDATE game SET name = ? WHERE auto_id = ?"));
        restore.addBindValue(name);
        restore.addBindValue(id);
        restore.exec();
    }
    Prompts::install(previous);
    return measured;
}

// Catching up with a change another program made (a game renamed through a second connection):
// the tree's refresh, against the whole load that was the only way before.
bool measureRefresh(const BenchContext &context, modADO *store, ctlTree *tree)
{
    // A shared library's server announces a change in its own time, through the event loop.
    if (StoreAddress::IsShared(context.storePath())) {
        context.note(QStringLiteral("refresh-after-change: measured on store files only."));
        return true;
    }
    QSqlDatabase other = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("bench-tree-other"));
    other.setDatabaseName(context.storePath());
    QSqlQuery pick(store->Connection());
    if (!other.open() || !pick.exec(QStringLiteral("SELECT auto_id, name FROM game ORDER BY auto_id LIMIT 1")) ||
        !pick.next()) {
        context.note(QStringLiteral("refresh: cannot write through a second connection; not measured."));
        return false;
    }
    const qint32 id = pick.value(0).toInt();
    const QString name = pick.value(1).toString();
    pick.finish();
    bool marked = false;
    const auto renameElsewhere = [&] {
        marked = !marked;
        QSqlQuery update(other);
        update.prepare(QStringLiteral("UPDATE game SET name = ? WHERE auto_id = ?"));
        update.addBindValue(marked ? name + QStringLiteral(" *") : name);
        update.addBindValue(id);
        update.exec();
    };
    QSignalSpy loaded(tree, &ctlTree::LoadFavorites);
    const auto ours = [&] {
        return store->ChangedElsewhere() && tree->RefreshFromStore();
    };
    const auto baseline = [&] {
        loaded.clear();
        tree->LoadTree();
        return loaded.size() == 1;
    };
    store->ChangedElsewhere();
    renameElsewhere();
    const bool measured =
        context.compare(QStringLiteral("refresh-after-change"), ours, baseline, renameElsewhere, renameElsewhere);
    if (marked)
        renameElsewhere();
    other.close();
    return measured;
}

} // namespace

int runTreeSuite(const BenchContext &context)
{
    modADO store(QStringLiteral("bench-tree"));
    if (!context.openStore(&store))
        return 1;
    ctlTree tree;
    tree.setStore(&store);
    tree.resize(300, 700);
    tree.show();
    bool measured = measureLoad(context, &store, &tree);
    measured = measureRename(context, &store, &tree) && measured;
    measured = measureRefresh(context, &store, &tree) && measured;
    return measured ? 0 : 1;
}
