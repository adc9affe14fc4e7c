#include "ListClicks.h"
#include "ScriptedPrompts.h"
#include "TestHome.h"
#include "data/BookmarkTable.h"
#include "data/FavoriteTable.h"
#include "data/GameNames.h"
#include "details/ctlDetails.h"
#include "search/FileSearch.h"
#include "system/SettingsStore.h"
#include "system/Twips.h"
#include "widgets/ListView.h"

#include <QAction>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QScrollBar>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QTest>
#include <QTreeView>

#include <numeric>

namespace {

// The tree as the pane sees it.
struct FakeTree final : GameNames
{
    QHash<QString, QStringList> games; // key → name, genre, platform
    QString GameName(const QString &key) const override { return games.value(key).value(0); }
    QString GameGenre(const QString &key) const override { return games.value(key).value(1); }
    QString GamePlatform(const QString &key) const override { return games.value(key).value(2); }
};

// Bookmarks of Quest (PC, P_18, two files), Racer (NES, P_1) and Puzzler (P_12, whose key ends like P_1's).
struct Desk
{
    TestHome home;
    ScriptedPrompts prompts;
    ctlDetails details;
    ListView *bookmarks = details.Bookmarks();
    FakeTree tree;
    const QString quest = QStringLiteral("N_1|G_1|P_18");
    const QString racer = QStringLiteral("N_2|G_3|P_1");
    const QString puzzler = QStringLiteral("N_3|G_4|P_12");
    qint32 guide = mark(QStringLiteral("K_10|") + quest, QStringLiteral("Guide"), 1, QStringLiteral("Quest"), 1, "PC");
    qint32 codes = mark(QStringLiteral("K_11|") + quest, QStringLiteral("Codes"), 2, QStringLiteral("Quest"), 1, "PC");
    qint32 laps = mark(QStringLiteral("K_20|") + racer, QStringLiteral("Laps"), 3, QStringLiteral("Racer"), 3,
                       "Nintendo Entertainment System");
    qint32 tiles = mark(QStringLiteral("K_30|") + puzzler, QStringLiteral("Tiles"), 6, QStringLiteral("Puzzler"), 4,
                        "Master System");

    Desk()
    {
        details.setStore(&home.store());
        details.resize(900, 300);
        details.show();
        tree.games.insert(quest, {QStringLiteral("Quest"), QStringLiteral("Action"), QStringLiteral("PC")});
        tree.games.insert(QStringLiteral("N_1|G_2|P_3"),
                          {QStringLiteral("Quest"), QStringLiteral("Adventure"), QStringLiteral("GameCube")});
        tree.games.insert(racer, {QStringLiteral("Racer"), QStringLiteral("Driving"),
                                  QStringLiteral("Nintendo Entertainment System")});
    }
    qint32 mark(const QString &key, const QString &file, quint8 subCat, const QString &game, quint8 genre,
                const char *platform)
    {
        qint32 id = 0;
        ErrObject err;
        BookmarkTable::Add(home.db(), {0, key, game, file, QLatin1String(platform), subCat, genre}, &id, &err);
        return id;
    }
    BookmarkRow row(qint32 id)
    {
        BookmarkRow row;
        bool found = false;
        ErrObject err;
        BookmarkTable::Read(home.db(), id, &row, &found, &err);
        return found ? row : BookmarkRow{};
    }
    QStringList keys(const ListView *list) const
    {
        QStringList keys;
        for (int index = 1; index <= list->Count(); ++index)
            keys << list->ItemAt(index)->Key();
        return keys;
    }
    QStringList columns(const ListItem *entry) const
    {
        QStringList texts;
        for (int column = 0; column < 5; ++column)
            texts << entry->ColumnText(column);
        return texts;
    }
    void exec(const QString &sql) { QVERIFY2(QSqlQuery(home.db()).exec(sql), qPrintable(sql)); }
    void key(ListView *list, ListItem *entry, Qt::Key key)
    {
        list->Select(entry);
        QTest::keyClick(list->ActiveView(), key);
    }
};

} // namespace

class tst_details : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void columnsTabsAndWidths();
    void bookmarksFollowFilesAndGames();
    void storeFailuresDeleteAndOpen();
    void loadingFavoritesAndSearchResults();
};

void tst_details::columnsTabsAndWidths()
{
    const QString snes = QStringLiteral("Super Nintendo Entertainment System");
    // A pane closed before any search keeps no search widths: the next one fits them to its results.
    {
        Desk unused;
    }
    QVERIFY(GetSetting(SettingKeys::SearchColumn(1)).isEmpty() &&
            !GetSetting(SettingKeys::BookmarkColumn(1)).isEmpty());
    QList<int> fitted;
    {
        Desk desk;
        desk.bookmarks->setColumnWidth(0, 123);
        desk.details.Favorites()->setColumnWidth(1, 77);

        // Without the kept layout the stored tab is not brought back, but every change is stored.
        SaveSetting(SettingKeys::DetailSelTab, QStringLiteral("3"));
        desk.details.InitDetails();
        QCOMPARE(std::tuple(int(desk.details.SelectedTab()), GetSetting(SettingKeys::DetailSelTab)),
                 std::tuple(1, QString("1")));
        desk.details.SelectTab(ctlDetails::Tab::Favorites);
        desk.details.SelectTab(ctlDetails::Tab(4));
        QCOMPARE(std::tuple(int(desk.details.SelectedTab()), GetSetting(SettingKeys::DetailSelTab)),
                 std::tuple(2, QString("2")));

        // The first search rows tell the widths; a long name far down the list does not widen its column.
        desk.details.SelectTab(ctlDetails::Tab::SearchResults);
        ListView *list = desk.details.SearchResults();
        const QString longName(200, QLatin1Char('Z'));
        for (qint32 id = 1; id <= 3000; ++id)
            desk.details.AddSearch(id, id == 2 ? snes : QStringLiteral("PC"),
                                   id == 2500 ? longName : QStringLiteral("Quest"), 1,
                                   QString(id == 1 ? 400 : 10, QLatin1Char('x')), desk.quest, QStringLiteral("File"));
        desk.details.SearchTitle(QStringLiteral("3000 items found."));
        const QFontMetrics metrics(list->ActiveView()->font());
        for (int column = 0; column < 5; ++column)
            fitted << list->ColumnWidth(column);
        QVERIFY(fitted[0] > metrics.horizontalAdvance(snes) && fitted[1] < metrics.horizontalAdvance(longName));
        // All five columns are in sight, Hits too: the found text gives way.
        QVERIFY(std::accumulate(fitted.begin(), fitted.end(), 0) <= list->ActiveView()->viewport()->width() &&
                fitted[4] >= metrics.horizontalAdvance(QStringLiteral("Hits")));
        list->setColumnWidth(1, 222); // by hand
        fitted[1] = 222;
    }
    // Closing stored the widths; a width that is no number leaves the designed one.
    QCOMPARE(SettingNumber(GetSetting(SettingKeys::BookmarkColumn(1))), long(Twips::fromPixelsX(123)));
    SaveSetting(SettingKeys::BookmarkColumn(2), QStringLiteral("wide"));
    SaveSetting(SettingKeys::AppLayout, QStringLiteral("1"));
    SaveSetting(SettingKeys::DetailSelTab, QStringLiteral("3"));
    Desk desk;
    QCOMPARE(std::tuple(desk.bookmarks->ColumnWidth(0), desk.details.Favorites()->ColumnWidth(1)), std::tuple(123, 77));
    QVERIFY(qAbs(Twips::fromPixelsX(desk.bookmarks->ColumnWidth(1)) - 1600) <= 15);
    desk.details.InitDetails();
    QCOMPARE(int(desk.details.SelectedTab()), 3);
    // Search widths are kept from then on, even for a wider name.
    desk.details.AddSearch(1, snes + snes, QStringLiteral("Q"), 1, QStringLiteral("y"), desk.quest,
                           QStringLiteral("File"));
    desk.details.SearchTitle(QStringLiteral("1 item found."));
    for (int column = 0; column < 5; ++column)
        QVERIFY(qAbs(desk.details.SearchResults()->ColumnWidth(column) - fitted[column]) <= 1);

    // A column click sorts.
    desk.details.LoadBookmarks(QStringLiteral("|P_18|P_1"));
    QHeaderView *header = desk.bookmarks->findChild<QTreeView *>()->header();
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, {header->sectionViewportPosition(2) + 5, 5});
    QCOMPARE(std::tuple(desk.bookmarks->SortKey(), desk.bookmarks->ItemAt(1)->SubItem(2)),
             std::tuple(2, QString("Quest")));
}

void tst_details::bookmarksFollowFilesAndGames()
{
    Desk desk;
    desk.details.LoadBookmarks(QStringLiteral("|P_18|P_1|P_3"));
    const QString guideKey = QStringLiteral("K_10|") + desk.quest;
    const auto stored = [&] {
        return desk.home.count(QStringLiteral("SELECT count(*) FROM bookmarks"));
    };

    // A bookmarked file takes the tree's game, genre and platform; the same file again writes nothing.
    const QString review = QStringLiteral("K_12|") + desk.quest;
    for (int time = 0; time < 2; ++time) {
        desk.prompts.answerMsgBox(MsgResult::OK);
        desk.details.BookmarkFile(3, review, QStringLiteral("A review"), desk.tree);
    }
    QCOMPARE(std::tuple(desk.columns(desk.bookmarks->Item(review)), stored(), desk.prompts.shown().size()),
             std::tuple(QString("A review|Review|Quest|Action|PC").split('|'), 5, qsizetype(2)));
    const BookmarkRow added = desk.row(desk.bookmarks->Item(review)->Tag().toInt());
    QCOMPARE(std::tuple(added.tree_key, added.platform, added.genre, added.sub_cat),
             std::tuple(review, QString("PC"), quint8(1), quint8(3)));

    // An edited file: its text and category, in the list and the store.
    desk.details.UpdateBookmark(5, guideKey, QStringLiteral("Guide, revised"), desk.tree);
    QCOMPARE(desk.columns(desk.bookmarks->Item(guideKey)).mid(0, 2), QString("Guide, revised|News").split('|'));
    QCOMPARE(std::tuple(desk.row(desk.guide).file, desk.row(desk.guide).sub_cat),
             std::tuple(QString("Guide, revised"), quint8(5)));

    // A renamed game: every stored bookmark of it, and no other (the list's is tst_routing's).
    desk.details.RenameGame(desk.quest, QStringLiteral("Quest II"));
    QCOMPARE(std::tuple(desk.row(desk.guide).game, desk.row(desk.codes).game, desk.row(desk.laps).game),
             std::tuple(QString("Quest II"), QString("Quest II"), QString("Racer")));

    // A game moved to GameCube adventure: all its stored bookmarks take the new key, genre and platform
    // (the list's entries are tst_routing's).
    const QString moved = QStringLiteral("N_1|G_2|P_3");
    desk.details.MoveBookmark(desk.quest, moved, desk.tree);
    const BookmarkRow codes = desk.row(desk.codes);
    QCOMPARE(std::tuple(codes.tree_key, codes.platform, codes.genre, codes.game),
             std::tuple(QStringLiteral("K_11|") + moved, QString("GameCube"), quint8(2), QString("Quest II")));

    // A file moved to another game is re-keyed, so bookmarking it at its new place is a duplicate.
    const QString lapsMoved = QStringLiteral("K_20|") + moved;
    desk.details.MoveBookmark(QStringLiteral("K_20|") + desk.racer, lapsMoved, desk.tree);
    QCOMPARE(std::pair(desk.columns(desk.bookmarks->Item(lapsMoved)), desk.row(desk.laps).tree_key),
             std::pair(QString("Laps|Review|Quest|Adventure|GameCube").split('|'), lapsMoved));
    desk.prompts.answerMsgBox(MsgResult::OK);
    desk.details.BookmarkFile(3, lapsMoved, QStringLiteral("Laps"), desk.tree);
    QCOMPARE(stored(), 5);

    // Loaded again, the list keeps the order they were added in, rewritten rows too.
    const QStringList listed = desk.keys(desk.bookmarks);
    desk.details.LoadBookmarks(QStringLiteral("|P_18|P_1|P_3"));
    QCOMPARE(desk.keys(desk.bookmarks), listed);

    // An unknown key deletes nothing, a file's its bookmark, a game's all but Tiles (on no platform of the tree).
    desk.details.DeleteBookmark(QStringLiteral("K_99|") + moved);
    desk.details.DeleteBookmark(QStringLiteral("N_9|G_1|P_18"));
    QCOMPARE(desk.bookmarks->Count(), 4);
    desk.details.DeleteBookmark(lapsMoved);
    QCOMPARE(desk.row(desk.laps).auto_id, 0);
    desk.details.DeleteBookmark(moved);
    QCOMPARE(std::tuple(desk.bookmarks->Count(), desk.row(desk.codes).auto_id, desk.row(desk.tiles).auto_id),
             std::tuple(0, 0, desk.tiles));
}

void tst_details::storeFailuresDeleteAndOpen()
{
    Desk desk;
    desk.details.LoadBookmarks(QStringLiteral("|P_18|P_1"));

    // One refused row of a game's move leaves every row and entry as it was.
    refuseWrites(desk.home.db(), QStringLiteral("refuse"), QStringLiteral("bookmarks"), QStringLiteral("UPDATE"),
                 QStringLiteral("old.auto_id = %1").arg(desk.codes), QStringLiteral("bookmark locked"));
    desk.prompts.answerMsgBox(MsgResult::OK);
    desk.details.MoveBookmark(desk.quest, QStringLiteral("N_1|G_2|P_3"), desk.tree);
    QVERIFY(desk.prompts.last().text.contains(QStringLiteral("bookmark locked")) &&
            desk.row(desk.guide).tree_key == QStringLiteral("K_10|") + desk.quest &&
            desk.bookmarks->Item(QStringLiteral("K_10|") + desk.quest));
    const QByteArray logged = readFile(desk.home.file(QStringLiteral("error.log")));
    QVERIFY(logged.contains("ctlDetails") && logged.contains("MoveBookmark"));

    // A bookmark whose row has gone from the store leaves the list when it is next changed.
    allowWrites(desk.home.db(), QStringLiteral("refuse"), QStringLiteral("bookmarks"));
    desk.exec(QStringLiteral("DELETE FROM bookmarks WHERE auto_id = %1").arg(desk.guide));
    desk.details.RenameGame(desk.quest, QStringLiteral("Quest II"));
    QVERIFY(!desk.bookmarks->Item(QStringLiteral("K_10|") + desk.quest) && desk.bookmarks->Count() == 2);

    // Delete asks first; No keeps list and row. (Enter and a double click that open one are tst_routing's.)
    ListItem *laps = desk.bookmarks->Item(QStringLiteral("K_20|") + desk.racer);
    desk.prompts.answerMsgBox(MsgResult::No);
    desk.key(desk.bookmarks, laps, Qt::Key_Delete);
    QCOMPARE(std::tuple(desk.bookmarks->Count(), desk.row(desk.laps).auto_id), std::tuple(2, desk.laps));
    desk.prompts.answerMsgBox(MsgResult::Yes);
    desk.details.findChild<QAction *>(QStringLiteral("mnuBMDelete"))->trigger();
    QCOMPARE(std::tuple(desk.bookmarks->Count(), desk.row(desk.laps).auto_id), std::tuple(1, 0));

    // KillBM asks nothing.
    desk.bookmarks->Select(desk.bookmarks->ItemAt(1));
    desk.details.KillBM();
    QCOMPARE(std::tuple(desk.row(desk.codes).auto_id, desk.bookmarks->Count(), desk.prompts.shown().size()),
             std::tuple(0, 0, 3));
}

void tst_details::loadingFavoritesAndSearchResults()
{
    Desk desk;
    QStringList order;
    QObject::connect(&desk.details, &ctlDetails::FavoritesLoaded, [&] { order << QStringLiteral("favorites"); });
    QObject::connect(&desk.details, &ctlDetails::BookmarksLoaded, [&] { order << QStringLiteral("bookmarks"); });

    // An empty favorites table still loads the bookmarks, of the loaded platforms only; P_1 is not P_12.
    desk.details.LoadFavorites(QStringLiteral("|P_18|P_1"));
    QCOMPARE(order, (QStringList{QStringLiteral("favorites"), QStringLiteral("bookmarks")}));
    QCOMPARE(desk.keys(desk.bookmarks),
             (QStringList{QStringLiteral("K_10|") + desk.quest, QStringLiteral("K_11|") + desk.quest,
                          QStringLiteral("K_20|") + desk.racer}));
    const ListItem *laps = desk.bookmarks->ItemAt(3);
    QCOMPARE(std::tuple(desk.columns(laps), laps->Tag().toInt()),
             std::tuple(QString("Laps|Review|Racer|Driving|Nintendo Entertainment System").split('|'), desk.laps));

    // A second row for the same file is listed once; no platforms list nothing; Reset empties all.
    desk.mark(QStringLiteral("K_30|") + desk.puzzler, QStringLiteral("Again"), 6, QStringLiteral("Puzzler"), 4,
              "Master System");
    desk.details.LoadBookmarks(QStringLiteral("|P_12"));
    QCOMPARE(std::tuple(desk.keys(desk.bookmarks), desk.bookmarks->ItemAt(1)->Text()),
             std::tuple(QStringList{QStringLiteral("K_30|") + desk.puzzler}, QString("Tiles")));
    desk.details.LoadBookmarks(QString());
    QCOMPARE(std::tuple(desk.bookmarks->Count(), order.size()), std::tuple(0, qsizetype(4)));

    // Favorites listed; a listed address is shown to the user; another letter case is another address.
    ListView *list = desk.details.Favorites();
    qint32 id = 0;
    ErrObject err;
    const auto add = [&](const char *url, const char *title) {
        QVERIFY(
            FavoriteTable::Add(desk.home.db(), {0, QLatin1String(url), QLatin1String(title), QString()}, &id, &err));
    };
    add("https://a.example/", "A");
    desk.details.LoadFavorites(QStringLiteral("|P_18"));
    QCOMPARE(std::tuple(desk.keys(list), list->ItemAt(1)->SubItem(1), desk.bookmarks->Count()),
             std::tuple(QStringList{QStringLiteral("K_%1").arg(id)}, QString("A"), 2));
    QVERIFY(!desk.details.FavoriteCheck(QStringLiteral("https://A.example/")));
    desk.prompts.answerMsgBox(MsgResult::OK);
    QVERIFY(desk.details.FavoriteCheck(QStringLiteral("https://a.example/")));
    QCOMPARE(std::tuple(int(desk.details.SelectedTab()), list->SelectedItem(), desk.prompts.shown().size()),
             std::tuple(2, list->ItemAt(1), qsizetype(1)));

    // Enter sends the address, not the title (a double click is tst_routing's).
    add("https://b.example/", "B");
    desk.details.AddFavorite(QStringLiteral("K_%1").arg(id), QStringLiteral("https://b.example/"), QStringLiteral("B"),
                             QStringLiteral("Second"));
    QCOMPARE(list->SelectedItem()->SubItem(2), QStringLiteral("Second"));
    QSignalSpy navigate(&desk.details, &ctlDetails::NavigateFavorite);
    desk.key(list, list->ItemAt(2), Qt::Key_Enter);
    QCOMPARE(navigate, (QList<QVariantList>{{QStringLiteral("https://b.example/")}}));

    // Delete asks; a row already gone leaves the entry listed.
    desk.prompts.answerMsgBox(MsgResult::No);
    desk.key(list, list->ItemAt(2), Qt::Key_Delete);
    QCOMPARE(list->Count(), 2);
    desk.prompts.answerMsgBox(MsgResult::Yes);
    desk.key(list, list->ItemAt(2), Qt::Key_Delete);
    QVERIFY(list->Count() == 1 && !desk.details.DeleteFavorite(QStringLiteral("K_%1").arg(id)));
    desk.exec(QStringLiteral("DELETE FROM favorites"));
    desk.prompts.answerMsgBox(MsgResult::Yes);
    desk.key(list, list->ItemAt(1), Qt::Key_Delete);
    QCOMPARE(list->Count(), 1);

    // Search results, listed as Find adds them.
    ListView *results = desk.details.SearchResults();
    auto *header = desk.details.findChild<QLabel *>(QStringLiteral("lblSearchResults"));
    const auto addResult = [&](qint32 id, quint8 subCat, const QString &desc, const QString &field) {
        desk.details.AddSearch(id, QStringLiteral("PC"), QStringLiteral("Quest"), subCat, desc, desk.quest, field);
    };
    addResult(7, 1, QStringLiteral("Guide"), QString());
    QCOMPARE(results->ColumnCaption(3), QStringLiteral("Search Field"));
    for (int time = 0; time < 2; ++time)
        addResult(8, 2, QStringLiteral("Codes"), QStringLiteral("File"));
    // Out of order too: a lower id is looked up, and a new one listed.
    addResult(7, 1, QStringLiteral("Guide"), QStringLiteral("File"));
    addResult(5, 1, QStringLiteral("Walk"), QStringLiteral("File"));
    QCOMPARE(std::tuple(desk.keys(results), results->ColumnCaption(3), results->ItemAt(2)->SubItem(2)),
             std::tuple(QStringList{QStringLiteral("K_7|") + desk.quest, QStringLiteral("K_8|") + desk.quest,
                                    QStringLiteral("K_5|") + desk.quest},
                        QString("File"), QString("Cheat\\Hint\\Code")));
    results->Remove(results->ItemAt(3));
    // The Hits column follows: occurrences in the searched text, without overlapping.
    const qint32 game = desk.home.addGame(18, 1, QStringLiteral("Quest"));
    const qint32 first =
        desk.home.addFile(game, 1, QStringLiteral("aaaa"), QStringLiteral("{\\rtf1 aa {\\b a}a\\par}"));
    const qint32 second = desk.home.addFile(game, 1, QStringLiteral("b"), QStringLiteral("{\\rtf1 none\\par}"));
    addResult(first, 1, QStringLiteral("aaaa"), QStringLiteral("File"));
    addResult(second, 1, QStringLiteral("b"), QStringLiteral("File"));
    desk.details.CountSearchHits({QStringLiteral("aa"), true, false, true, {}});
    QTRY_COMPARE(results->ItemAt(4)->SubItem(4), QStringLiteral("0"));
    QCOMPARE(std::tuple(results->ItemAt(3)->SubItem(4), results->ItemAt(1)->SubItem(4)),
             std::tuple(QString("4"), QString()));
    desk.details.SearchTitle(QStringLiteral("2 items found."));
    QCOMPARE(header->text(), QStringLiteral(" Search Results: 2 items found."));

    // The menu comes up only over a selected result; Clear keeps the last field's caption.
    desk.details.SelectTab(ctlDetails::Tab::SearchResults);
    auto *menu = desk.details.findChild<QMenu *>(QStringLiteral("mnuSearch"));
    QWidget *viewport = results->ActiveView()->viewport();
    QTest::mouseClick(viewport, Qt::RightButton, {}, {5, viewport->height() - 3});
    QVERIFY(!results->SelectedItem() && !menu->isVisible());
    results->Select(results->ItemAt(1));
    QTest::mouseClick(viewport, Qt::RightButton, {}, rowCenter(results, results->ItemAt(1)));
    QVERIFY(menu->isVisible());
    menu->hide();
    desk.details.findChild<QAction *>(QStringLiteral("mnuSearchClear"))->trigger();
    QCOMPARE(std::tuple(results->Count(), header->text(), results->ColumnCaption(3)),
             std::tuple(0, QString(" Search Results:"), QString("File")));

    // Results coming in keep the newest in view, until the user scrolls back to the first ones;
    // a new search follows again.
    desk.details.resize(600, 200);
    QScrollBar *bar = static_cast<QAbstractScrollArea *>(results->ActiveView())->verticalScrollBar();
    const auto addMany = [&](qint32 from) {
        for (qint32 id = from; id < from + 200; ++id)
            addResult(id, 1, QStringLiteral("Result %1").arg(id), QStringLiteral("File"));
        QCoreApplication::processEvents();
    };
    addMany(100);
    QVERIFY(bar->maximum() > 0 && bar->value() == bar->maximum());
    bar->triggerAction(QAbstractSlider::SliderToMinimum);
    addMany(300);
    QCOMPARE(bar->value(), 0);
    desk.details.ClearSearch();
    addMany(100);
    QVERIFY(bar->value() > 0 && bar->value() == bar->maximum());
}

QTEST_MAIN(tst_details)
#include "tst_details.moc"
