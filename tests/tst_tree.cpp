#include "ScriptedPrompts.h"
#include "TestHome.h"
#include "WhenModal.h"
#include "components/GameSelector.h"
#include "data/GameIndex.h"
#include "data/NodeKey.h"
#include "system/SettingsStore.h"
#include "tree/ctlTree.h"
#include "widgets/TreeView.h"

#include <QAbstractItemModelTester>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QTest>

namespace {

ctlTree::NodeChoice choice(const QVariantList &click)
{
    return click.at(0).value<ctlTree::NodeChoice>();
}

// PC (18) holds three action games (A Quest, Quest Kart, Star Quest), Arcade (19) one puzzle game,
// and platform 25 and genre 9, which no table knows, one game.
struct Library
{
    TestHome home;
    ctlTree tree;
    TreeView *view = tree.findChild<TreeView *>(QStringLiteral("tvwFiles"));
    qint32 star = home.addGame(18, 1, QStringLiteral("Star Quest"));
    qint32 kart = home.addGame(18, 1, QStringLiteral("Quest Kart"));
    qint32 other = home.addGame(18, 1, QStringLiteral("A Quest"));
    qint32 tetra = home.addGame(19, 4, QStringLiteral("Tetra"));
    qint32 lost = home.addGame(25, 9, QStringLiteral("Lost Game"));

    Library()
    {
        home.addFile(star, 1, QStringLiteral("Guide"));
        home.addFile(star, 2, QStringLiteral("Codes"));
        tree.setStore(&home.store());
        tree.resize(300, 600);
        tree.show();
        tree.LoadTree();
    }
    QString text(const QString &key) const { return view->Node(key) ? view->Node(key)->Text() : QString(); }
    QString pc(qint32 id) const { return NodeKey::Game(id, 1, 18); }
    void select(const QString &key) { tree.SelectNode(key); }
    void trigger(const char *action) { tree.findChild<QAction *>(QLatin1String(action))->trigger(); }
    // Every node as "key=caption", sorted: two trees that list the same are the same.
    QStringList nodes(const TreeView *of = nullptr) const
    {
        of = of ? of : view;
        QStringList nodes;
        for (int index = 1; index <= of->Count(); ++index)
            nodes << of->NodeAt(index)->Key() + QLatin1Char('=') + of->NodeAt(index)->Text();
        nodes.sort();
        return nodes;
    }
    // What a fresh load of the same store shows.
    QStringList reloaded()
    {
        ctlTree fresh;
        fresh.setStore(&home.store());
        fresh.LoadTree();
        return nodes(fresh.findChild<TreeView *>());
    }
};

} // namespace

class tst_tree final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void keysAndWidget();
    void loadAndClick();
    void addAndRenameGame();
    void moveGame();
    void deleteGame();
    void firstGameFromTheRoot();
    void refreshFromStore();
    void search();
};

void tst_tree::keysAndWidget()
{
    // The keys' form is what every test here finds the tree's nodes by. Whole fields only: platform 1 is not within
    // platform 12's keys.
    const QString path = NodeKey::FilePath(5, NodeKey::Game(1, 2, 12));
    QVERIFY(NodeKey::Within(path, NodeKey::Game(1, 2, 12)) && NodeKey::Within(path, QStringLiteral("P_12")) &&
            NodeKey::Within(path, path) && !NodeKey::Within(path, QStringLiteral("P_1")));
    QVERIFY(!NodeKey::Within(path, QStringLiteral("2|P_12")) && !NodeKey::Within(path, QString()));
    // Out of range, not a number, or missing: no value rather than a wrong one.
    QVERIFY(!NodeKey::Id(QStringLiteral("N_2147483648"), 0) && !NodeKey::Code(QStringLiteral("G_256|P_1"), 0) &&
            !NodeKey::Code(QStringLiteral("G_x|P_1"), 0) && !NodeKey::Code(QStringLiteral("P_3"), 1));
    const QList<std::pair<QString, NodeKind>> kinds = {{"ROOT", NodeKind::Root},     {"P_1", NodeKind::Platform},
                                                       {"G_1|P_1", NodeKind::Genre}, {"N_1|G_1|P_1", NodeKind::Game},
                                                       {"K_1", NodeKind::File},      {"root", NodeKind::Other},
                                                       {"X_1", NodeKind::Other},     {"P", NodeKind::Other}};
    for (const auto &[key, kind] : kinds)
        QVERIFY2(NodeKey::Kind(key) == kind, qPrintable(key));

    // The tree widget; renaming and removing nodes are checked through the tree's commands, against a
    // fresh load.
    TreeView view;
    view.show();
    QAbstractItemModelTester tester(view.model(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    ErrObject err;
    QVERIFY(view.Add({}, TreeView::Child, "ROOT", "Root", {}, {}, {}, &err) &&
            !view.Add({}, TreeView::Child, "ROOT", "Again", {}, {}, {}, &err) && err.Number == ErrNumber::KeyNotUnique);
    TreeNode *parent = view.Add("ROOT", TreeView::Child, "P_1", "Parent", {}, {}, {}, &err);
    for (const char *name : {"b 10", "a", "b 9"})
        view.Add("P_1", TreeView::Child, name, name, {}, {}, QLatin1String(name), &err);
    view.SortChildren(parent);

    // The keyboard moves the selection as a click does, in natural order.
    QSignalSpy clicks(&view, &TreeView::NodeClick);
    view.Select(view.Node("a"));
    view.setFocus();
    QTest::keyClick(&view, Qt::Key_Down);
    QCOMPARE(std::pair(clicks.size(), clicks.at(0).at(0).value<TreeNode *>()->Key()),
             std::pair(qsizetype(1), QString("b 9")));

    // A press on a node's arrow opens or closes it and is no click, even on the selected node.
    clicks.clear();
    view.Select(parent);
    const bool expanded = parent->isExpanded();
    const QRect rect = view.visualItemRect(parent);
    QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, {rect.left() - view.indentation() / 2, rect.center().y()});
    QCOMPARE(std::tuple(clicks.size(), parent->isExpanded()), std::tuple(0, !expanded));

    // A large tree is cleared at once, silently, and its keys can be given again; the loader's own
    // form of a game's key is the same as everyone's.
    view.Clear();
    clicks.clear();
    view.BeginUpdate(6001);
    view.Add({}, TreeView::Child, "ROOT", "Root", {}, {}, {}, &err);
    const QString genreKey = NodeKey::Genre(3, 7);
    view.Add("ROOT", TreeView::Child, genreKey, "Genre", "cd", "cd_hot", {}, &err);
    for (int id = 1; id <= 6000; ++id)
        view.Add(genreKey, TreeView::Child, NodeKey::Game(id, genreKey), QString::number(id), "cd", "cd_hot", {}, &err);
    view.EndUpdate();
    QVERIFY(view.Node(NodeKey::Game(6000, 3, 7)) && view.Count() == 6002);
    view.Select(view.Node(NodeKey::Game(17, 3, 7)));
    view.Clear();
    QCOMPARE(std::tuple(view.Count(), view.topLevelItemCount(), view.SelectedItem(), clicks.size()),
             std::tuple(0, 0, static_cast<TreeNode *>(nullptr), qsizetype(0)));
    QVERIFY(!view.Node(genreKey) && view.Add({}, TreeView::Child, "ROOT", "Root", {}, {}, {}, &err) &&
            view.Add("ROOT", TreeView::Child, genreKey, "Genre", {}, {}, {}, &err) && view.Count() == 2);

    // Nodes made apart and added in one go keep their order; a batch with a taken key, even one
    // taken within the batch, adds nothing and leaves none of its keys behind.
    TreeNode *genre = view.Node(genreKey);
    const QIcon icon = view.Icon("cd", "cd_hot");
    QVERIFY(view.AddChildren(genre, {new TreeNode("x", "X", "x", icon), new TreeNode("y", "Y", "y", icon)}, &err));
    for (const QStringList &keys : {QStringList{"z", "ROOT"}, QStringList{"w", "v", "w"}}) {
        QList<TreeNode *> batch;
        for (const QString &key : keys)
            batch << new TreeNode(key, key, key, icon);
        err = {};
        QVERIFY(!view.AddChildren(genre, batch, &err) && err.Number == ErrNumber::KeyNotUnique);
    }
    QCOMPARE(std::tuple(view.Count(), genre->Children(), genre->Child(1)->Key(), view.Node("z"), view.Node("w")),
             std::tuple(4, 2, QString("y"), static_cast<TreeNode *>(nullptr), static_cast<TreeNode *>(nullptr)));
}

void tst_tree::loadAndClick()
{
    Library lib;
    // Only platforms with games, known ones in table order; every genre of a known platform.
    const TreeNode *root = lib.view->Node("ROOT");
    QCOMPARE(std::tuple(root->Children(), root->Child(0)->Text(), root->Child(1)->Text(), root->Child(2)->Text()),
             std::tuple(3, QString("PC (3)"), QString("Arcade (1)"), QString("Unknown Platform 25 (1)")));
    QCOMPARE(std::tuple(lib.view->Node("P_18")->Children(), lib.text("G_1|P_18"), lib.text("G_2|P_18"),
                        lib.text("G_9|P_25"), lib.view->Node("P_25")->Children()),
             std::tuple(8, QString("Action (3)"), QString("Adventure (0)"), QString("Unknown Genre 9 (1)"), 1));
    const TreeNode *action = lib.view->Node("G_1|P_18");
    QCOMPARE(std::tuple(action->Child(0)->Text(), action->Child(1)->Tag(), action->Child(2)->Text()),
             std::tuple(QString("A Quest (0)"), QString("Quest Kart"), QString("Star Quest (2)")));

    // A load builds the tree apart from the view and hands it over whole: the view hears of one
    // insertion, not of every node.
    QSignalSpy favorites(&lib.tree, &ctlTree::LoadFavorites);
    QSignalSpy inserted(lib.view->model(), &QAbstractItemModel::rowsInserted);
    lib.tree.LoadTree();
    QCOMPARE(std::pair(inserted.size(), lib.view->Count()), std::pair(qsizetype(1), 1 + 3 + 8 + 8 + 1 + 5));
    QCOMPARE(std::pair(favorites.value(0).value(0).toString(), lib.tree.Search_Text()),
             std::pair(QStringLiteral("|P_18|P_19|P_25"), QStringLiteral("Loading Favorites...")));
    SaveSetting(SettingKeys::TreeSearchText, QStringLiteral("Loading Tree..."));
    lib.tree.FinishLoad();
    QCOMPARE(lib.tree.Search_Text(), QStringLiteral("Search..."));

    // A click on each kind of node tells the panes what it is.
    QSignalSpy clicks(&lib.tree, &ctlTree::TreeNodeClick);
    for (const QString &key : {QString("ROOT"), QString("P_19"), QString("G_4|P_19"), NodeKey::Game(lib.tetra, 4, 19),
                               NodeKey::Game(lib.lost, 9, 25), QString("N_404|G_1|P_1")})
        lib.select(key);
    QList<ctlTree::NodeChoice> chosen;
    for (const QVariantList &click : clicks)
        chosen << choice(click);
    QCOMPARE(chosen, (QList<ctlTree::NodeChoice>{{NodeKind::Root, 0, 0, 0, "", "Lorekeep"},
                                                 {NodeKind::Platform, 19, 0, 0, "", "Arcade"},
                                                 {NodeKind::Genre, 19, 4, 0, "", "Arcade - Puzzle"},
                                                 {NodeKind::Game, 19, 4, lib.tetra, "Tetra", "Arcade - Puzzle - Tetra"},
                                                 {NodeKind::Game, 25, 9, lib.lost, "Lost Game",
                                                  "Unknown Platform 25 - Unknown Genre 9 - Lost Game"}}));
    QCOMPARE(lib.view->SelectedItem()->Key(), NodeKey::Game(lib.lost, 9, 25));

    const QString tetra = NodeKey::Game(lib.tetra, 4, 19);
    QCOMPARE(std::tuple(lib.tree.GameName(tetra), lib.tree.GameGenre(tetra), lib.tree.GamePlatform(tetra),
                        lib.tree.GamePlatform("N_404|G_1|P_1")),
             std::tuple(QString("Tetra"), QString("Puzzle"), QString("Arcade"), QString()));
    lib.home.addFile(lib.tetra, 3, QStringLiteral("Review"));
    lib.tree.UpdateGameCaption(tetra, 0);
    QCOMPARE(lib.text(tetra), QStringLiteral("Tetra (1)"));

    // A code outside a byte, as a store edited by hand may hold, reads as 0 ("none").
    QVERIFY(QSqlQuery(lib.home.db())
                .exec(QStringLiteral("UPDATE game SET platform_id = 300, genre_id = -1 WHERE "
                                     "auto_id = %1")
                          .arg(lib.tetra)));
    QVector<IndexedGame> games;
    ErrObject err;
    QVERIFY(GameIndex::Read(lib.home.db(), &games, &err) && games.size() == 5);
    const auto read =
        std::find_if(games.cbegin(), games.cend(), [&](const IndexedGame &g) { return g.auto_id == lib.tetra; });
    QCOMPARE(std::tuple(read->platform_id, read->genre_id, read->name, read->files),
             std::tuple(quint8(0), quint8(0), QString("Tetra"), 1));
}

void tst_tree::addAndRenameGame()
{
    Library lib;
    ScriptedPrompts prompts;
    lib.select("G_2|P_18");
    prompts.answerInput(std::nullopt);
    prompts.answerInput(QStringLiteral("   "));
    lib.trigger("mnuAddGame");
    lib.trigger("mnuAddGame");
    QCOMPARE(std::tuple(prompts.beeps(), lib.home.count("SELECT count(*) FROM game")), std::tuple(2, 5));

    // Quotes and non-ASCII reach the store as typed, trimmed, and the tree as a reload shows them.
    QSignalSpy clicks(&lib.tree, &ctlTree::TreeNodeClick);
    const QString name = QStringLiteral("Robert's \"Zoë\"; DROP TABLE game; --");
    prompts.answerInput(QStringLiteral("  ") + name + QStringLiteral(" "));
    lib.trigger("mnuAddGame");
    QCOMPARE(std::pair(choice(clicks.constLast()).Caption, lib.view->SelectedItem()->Text()),
             std::pair(QString("PC - Adventure - " + name), QString(name + " (0)")));
    QCOMPARE(lib.nodes(), lib.reloaded());

    // Renamed, the game keeps its key.
    QSignalSpy renamed(&lib.tree, &ctlTree::RenameGame);
    const QString key = lib.pc(lib.star);
    lib.select(key);
    prompts.answerInput(QStringLiteral("  Star Quest "));
    prompts.answerInput(std::nullopt);
    prompts.answerInput(QStringLiteral(" Another Quest 2"));
    for (int i = 0; i < 3; ++i)
        lib.trigger("mnuHiddenRename");
    // The question offers the game's name; blank or cancelled answers beep and rename nothing.
    QCOMPARE(std::tuple(prompts.beeps(), prompts.last().defaultText), std::tuple(4, QString("Star Quest")));
    QCOMPARE(renamed, QList<QVariantList>({{"Star Quest", "Another Quest 2", key}}));
    // Count kept, key kept, sorted to its new place, still selected.
    QCOMPARE(std::tuple(lib.home.count(QStringLiteral("SELECT count(*) FROM game WHERE name = 'Another Quest 2'")),
                        lib.view->Node("G_1|P_18")->Child(1)->Text(), lib.view->SelectedItem()->Key()),
             std::tuple(1, QStringLiteral("Another Quest 2 (2)"), key));
}

void tst_tree::moveGame()
{
    Library lib;
    ScriptedPrompts prompts;
    QSignalSpy moved(&lib.tree, &ctlTree::MoveGame);
    const auto choose = [](int platformRow, int genreRow, bool confirm) {
        whenModal<GameSelector>(nullptr, [=](GameSelector *selector) {
            selector->findChild<QComboBox *>("cboPlatform")->setCurrentIndex(platformRow);
            selector->findChild<QComboBox *>("cboGenre")->setCurrentIndex(genreRow);
            confirm ? selector->accept() : selector->reject();
        });
    };
    const auto place = [&] {
        return lib.home.count(
            QStringLiteral("SELECT platform_id * 10 + genre_id FROM game WHERE auto_id = %1").arg(lib.star));
    };
    const QString old = lib.pc(lib.star);
    lib.select(old);
    choose(2, 7, false); // cancelled
    lib.trigger("mnuHiddenMoveTo");
    choose(17, 0, true); // its own place
    lib.trigger("mnuHiddenMoveTo");
    QCOMPARE(std::tuple(moved.size(), place()), std::tuple(0, 181));

    // To GameCube (3), not in the tree yet, genre Strategy (8).
    choose(2, 7, true);
    lib.trigger("mnuHiddenMoveTo");
    const QString moved_to = NodeKey::Game(lib.star, 8, 3);
    QCOMPARE(
        std::tuple(moved.value(0), place(), lib.view->Node("ROOT")->Child(0)->Key(), lib.view->SelectedItem()->Key()),
        std::tuple(QVariantList({old, moved_to}), 38, QStringLiteral("P_3"), moved_to));
    QCOMPARE(lib.nodes(), lib.reloaded());

    // The last game of platform 25 moved into PC: platform 25 goes, as a reload would show it.
    lib.select(NodeKey::Game(lib.lost, 9, 25));
    choose(17, 1, true);
    lib.trigger("mnuHiddenMoveTo");
    QCOMPARE(lib.nodes(), lib.reloaded());
}

void tst_tree::deleteGame()
{
    Library lib;
    ScriptedPrompts prompts;
    QSignalSpy deleted(&lib.tree, &ctlTree::GameNodeDelete);
    const QString key = lib.pc(lib.star);
    lib.select("G_1|P_18");
    QTest::keyClick(lib.view, Qt::Key_Delete); // not a game: nothing is asked
    lib.select(key);
    prompts.answerMsgBox(MsgResult::No);
    QTest::keyClick(lib.view, Qt::Key_Delete);
    QCOMPARE(std::pair(prompts.shown().size(), lib.home.count("SELECT count(*) FROM file")),
             std::pair(qsizetype(1), 2));

    prompts.answerMsgBox(MsgResult::Yes);
    lib.trigger("mnuHiddenDelete");
    QCOMPARE(std::tuple(deleted.value(0), lib.home.count("SELECT count(*) FROM file"),
                        lib.home.count("SELECT count(*) FROM game"), lib.view->SelectedItem()->Key()),
             std::tuple(QVariantList({"PC - Action", key}), 0, 4, QString("G_1|P_18")));
    QCOMPARE(lib.nodes(), lib.reloaded());

    // The last game of a platform: the platform goes too, and the root is selected.
    lib.select(NodeKey::Game(lib.tetra, 4, 19));
    prompts.answerMsgBox(MsgResult::Yes);
    lib.trigger("mnuHiddenDelete");
    QCOMPARE(std::tuple(lib.view->SelectedItem()->Key(), deleted.value(1).value(0).toString()),
             std::tuple(QString("ROOT"), QString("Lorekeep")));
    QCOMPARE(lib.nodes(), lib.reloaded());

    // A store that refuses leaves the tree as it was.
    lib.select(lib.pc(lib.kart));
    lib.home.store().Close();
    const QStringList before = lib.nodes();
    prompts.answerInput(QStringLiteral("New Name"));
    prompts.answerMsgBox(MsgResult::OK);
    lib.trigger("mnuHiddenRename");
    QVERIFY(prompts.last().text.contains(QStringLiteral("Rename Game")));
    prompts.answerMsgBox(MsgResult::Yes);
    prompts.answerMsgBox(MsgResult::OK);
    lib.trigger("mnuHiddenDelete");
    QVERIFY(prompts.last().text.contains(QStringLiteral("Delete Game")));
    QCOMPARE(lib.nodes(), before);

    // A tree load on a closed store says so and leaves an empty tree and a usable box.
    prompts.answerMsgBox(MsgResult::OK);
    lib.tree.LoadTree();
    QCOMPARE(std::tuple(lib.view->Count(), lib.tree.Search_Text()), std::tuple(0, QString("Search...")));
}

void tst_tree::search()
{
    Library lib;
    ScriptedPrompts prompts;
    auto *box = lib.tree.findChild<QLineEdit *>(QStringLiteral("txtSearch"));
    const auto press = [&](const QString &text = QString()) {
        if (!text.isNull())
            box->setText(text);
        QTest::keyClick(box, Qt::Key_Return);
        return lib.view->SelectedItem() ? lib.view->SelectedItem()->Tag() : QString();
    };
    QCOMPARE(press(QStringLiteral("Search...")), QString());
    QCOMPARE(press(QStringLiteral(" QUEST ")), QStringLiteral("A Quest"));
    QCOMPARE(std::pair(GetSetting(SettingKeys::LastSearchText), press()),
             std::pair(QString("QUEST"), QString("Quest Kart")));
    prompts.answerMsgBox(MsgResult::OK);
    press(); // "Star Quest" only contains the text: the search is over
    QCOMPARE(prompts.last().text, QStringLiteral("Finished searching tree."));
    QCOMPARE(press(), QStringLiteral("A Quest"));
    // A click starts again from the top.
    QTest::mouseClick(lib.view->viewport(), Qt::LeftButton, {},
                      lib.view->visualItemRect(lib.view->Node("ROOT")).center());
    QCOMPARE(press(), QStringLiteral("A Quest"));
    // The last node found last: finished at once.
    QCOMPARE(press(QStringLiteral("lost g")), QStringLiteral("Lost Game"));
    prompts.answerMsgBox(MsgResult::OK);
    press();

    prompts.answerMsgBox(MsgResult::OK);
    press(QStringLiteral("zzz"));
    QCOMPARE(prompts.last().text, QStringLiteral("Finished searching tree.\r\n\r\nCould not find \"zzz\"."));
    press(QString(256, QLatin1Char('a'))); // logged, not searched; a message would have no answer queued
}

void tst_tree::firstGameFromTheRoot()
{
    TestHome home;
    ctlTree tree;
    tree.setStore(&home.store());
    tree.show();
    tree.LoadTree();
    auto *view = tree.findChild<TreeView *>(QStringLiteral("tvwFiles"));
    auto *addGame = tree.findChild<QAction *>("mnuRootAddGame");

    // The root has a menu of its own.
    const QPoint root = view->visualItemRect(view->Node("ROOT")).center();
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, root);
    QContextMenuEvent rightClick(QContextMenuEvent::Mouse, root, view->viewport()->mapToGlobal(root));
    QApplication::sendEvent(view->viewport(), &rightClick);
    auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
    QVERIFY(menu && menu->actions().contains(addGame));
    menu->close();

    // OK only with a name, a platform and a genre, the name trimmed; from a game the dialog starts
    // at its place.
    QString okStates;
    QStringList preset;
    const auto answer = [&](const QString &name) {
        whenModal("frmAddGame", [&, name](QDialog *dialog) {
            auto *ok = dialog->findChild<QPushButton *>("cmdOK");
            auto *platform = dialog->findChild<QComboBox *>("cboPlatform");
            auto *genre = dialog->findChild<QComboBox *>("cboGenre");
            preset << platform->currentText() + QLatin1Char('/') + genre->currentText();
            okStates += QString::number(ok->isEnabled());
            platform->setCurrentIndex(17);
            okStates += QString::number(ok->isEnabled());
            genre->setCurrentIndex(0);
            okStates += QString::number(ok->isEnabled());
            dialog->findChild<QLineEdit *>("txtName")->setText(name);
            okStates += QString::number(ok->isEnabled());
            QTest::mouseClick(ok->isEnabled() ? ok : dialog->findChild<QPushButton *>("cmdCancel"), Qt::LeftButton);
        });
    };
    QSignalSpy clicks(&tree, &ctlTree::TreeNodeClick);
    answer(QStringLiteral("   "));
    addGame->trigger();
    answer(QStringLiteral(" Zoë's \"Quest\" "));
    addGame->trigger();
    QCOMPARE(std::tuple(okStates, preset), std::tuple(QString("00100011"), QStringList({"/", "/"})));
    const qint32 id = home.count(QStringLiteral("SELECT auto_id FROM game WHERE name = 'Zoë''s \"Quest\"'"));
    const QString key = NodeKey::Game(id, 1, 18);
    QCOMPARE(std::tuple(view->SelectedItem()->Key(), view->Node(key)->Text(), view->Node("P_18")->Text(),
                        choice(clicks.constLast()).Kind),
             std::tuple(key, QString("Zoë's \"Quest\" (0)"), QString("PC (1)"), NodeKind::Game));
    answer(QStringLiteral("Second"));
    tree.AddGame();
    QCOMPARE(std::tuple(preset.constLast(), home.count("SELECT count(*) FROM game")),
             std::tuple(QString("PC/Action"), 2));
}

void tst_tree::refreshFromStore()
{
    Library lib;
    QSignalSpy clicks(&lib.tree, &ctlTree::TreeNodeClick);
    lib.select(lib.pc(lib.star));
    QVERIFY(!lib.home.store().ChangedElsewhere());
    // Another program adds a file and a game on a new platform, renames one game, moves another
    // and deletes the last game of a platform.
    runElsewhere(lib.home.storePath(),
                 {QStringLiteral("INSERT INTO file (game_id, \"desc\") VALUES (%1, 'Maps')").arg(lib.star),
                  QStringLiteral("INSERT INTO game (platform_id, genre_id, name) VALUES (3, 2, 'Cube Tale')"),
                  QStringLiteral("UPDATE game SET name = 'Zap Kart' WHERE auto_id = %1").arg(lib.kart),
                  QStringLiteral("UPDATE game SET genre_id = 3 WHERE auto_id = %1").arg(lib.other),
                  QStringLiteral("DELETE FROM game WHERE auto_id = %1").arg(lib.tetra)});
    // The store notices once; its own writes do not count.
    QVERIFY(lib.home.changedElsewhere() && !lib.home.store().ChangedElsewhere());
    lib.home.addFile(lib.kart, 1, QStringLiteral("Own"));
    QVERIFY(!lib.home.store().ChangedElsewhere());

    const int before = clicks.size();
    QVERIFY(lib.tree.RefreshFromStore());
    QCOMPARE(lib.nodes(), lib.reloaded());
    // The selection stays without a click; the renamed game is sorted to its new place.
    QCOMPARE(std::tuple(lib.view->SelectedItem()->Key(), clicks.size(), lib.view->Node("G_1|P_18")->Child(1)->Text()),
             std::tuple(lib.pc(lib.star), before, QString("Zap Kart (1)")));

    // The selected game deleted elsewhere: the user is taken to its genre, and the panes told.
    runElsewhere(lib.home.storePath(), {QStringLiteral("DELETE FROM game WHERE auto_id = %1").arg(lib.star)});
    QVERIFY(lib.tree.RefreshFromStore());
    QCOMPARE(std::tuple(lib.view->SelectedItem()->Key(), choice(clicks.constLast()).Kind),
             std::tuple(QString("G_1|P_18"), NodeKind::Genre));
    QCOMPARE(lib.nodes(), lib.reloaded());
}

QTEST_MAIN(tst_tree)
#include "tst_tree.moc"
