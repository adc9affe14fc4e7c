#include "LibraryGenerator.h"
#include "ListClicks.h"
#include "LocalWebServer.h"
#include "ScriptedPrompts.h"
#include "StartMainWindow.h"
#include "TestHome.h"
#include "TreeClicks.h"
#include "WhenModal.h"
#include "base/AppPath.h"
#include "browser/ctlBrowser.h"
#include "browser/frmFavorite.h"
#include "components/FileViewer.h"
#include "components/GameSelector.h"
#include "components/PlatformMaintenance.h"
#include "data/NodeKey.h"
#include "details/ctlDetails.h"
#include "find/frmFind.h"
#include "shell/frmMain.h"
#include "shell/modMain.h"
#include "system/TextEncodings.h"
#include "tree/ctlTree.h"
#include "view/ctlView.h"
#include "widgets/ListView.h"
#include "widgets/TreeView.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QStringDecoder>
#include <QStringEncoder>
#include <QTabBar>
#include <QTemporaryDir>
#include <QTest>
#include <QTextEdit>
#include <QTimer>
#include <QTreeWidget>
#include <QUrl>

namespace {

// Drags `data` onto `target` at `pos` and drops it there; whether the drag was accepted.
bool drop(QWidget *target, QPoint pos, QMimeData *data)
{
    QDragEnterEvent enter(pos, Qt::CopyAction, data, Qt::LeftButton, {});
    QApplication::sendEvent(target, &enter);
    QDropEvent dropped(pos, Qt::CopyAction, data, Qt::LeftButton, {});
    QApplication::sendEvent(target, &dropped);
    return enter.isAccepted();
}

// A home with a generated library, and the main window started on it the way the program does.
struct Program
{
    QTemporaryDir dir;
    QString previousHome = AppPath();
    ScriptedPrompts prompts;
    std::unique_ptr<frmMain> form;
    ctlTree *tree = nullptr;
    ctlView *view = nullptr;
    ctlDetails *details = nullptr;
    ListView *bookmarks = nullptr;
    QStringList loading; // the loading chain's events, in order

    Program()
    {
        SetAppPath(dir.path());
        const QString file = AppPath() + QStringLiteral("lorekeep.lkb");
        generate(file, 5);
        form = std::make_unique<frmMain>();
        modMain::SetMainForm(form.get());
        if (TestHome::Shared())
            form->setStartFile(TestHome::CopyToServer(file));
        tree = form->findChild<ctlTree *>();
        view = form->findChild<ctlView *>();
        details = form->findChild<ctlDetails *>();
        bookmarks = details->Bookmarks();
        QObject::connect(details, &ctlDetails::FavoritesLoaded, [this] {
            const bool treeLoaded = !nodeText(QStringLiteral("ROOT")).isEmpty();
            loading << (treeLoaded ? QStringLiteral("favorites after the tree: ") : QStringLiteral("favorites: ")) +
                           tree->Search_Text();
        });
        QObject::connect(details, &ctlDetails::BookmarksLoaded,
                         [this] { loading << QStringLiteral("bookmarks: ") + tree->Search_Text(); });
        form->Form_Load();
        form->show();
        form->Form_Activate();
    }
    ~Program()
    {
        form.reset();
        modMain::SetMainForm(nullptr);
        SetAppPath(previousHome);
    }
    static void generate(const QString &path, quint64 seed)
    {
        GenSettings settings{40, 300, 1};
        settings.seed = seed;
        GenSummary summary;
        ErrObject err;
        QVERIFY2(LibraryGenerator(settings).Generate(path, &summary, &err), qPrintable(err.Description));
    }
    QSqlQuery query(const QString &sql) const
    {
        QSqlQuery query(form->Store().Connection());
        if (!query.exec(sql) || !query.next())
            qWarning() << "no row for" << sql;
        return query;
    }
    int count(const QString &sql) const { return query(sql).value(0).toInt(); }
    bool exec(const QString &sql) const { return QSqlQuery(form->Store().Connection()).exec(sql); }
    // The key of the game at `offset` in the order they were added.
    QString game(int offset) const
    {
        const QSqlQuery row =
            query(QStringLiteral("SELECT auto_id, genre_id, platform_id FROM game ORDER BY auto_id LIMIT 1 OFFSET %1")
                      .arg(offset));
        return NodeKey::Game(row.value(0).toInt(), quint8(row.value(1).toInt()), quint8(row.value(2).toInt()));
    }
    QString nodeText(const QString &key) const
    {
        const TreeNode *node = tree->findChild<TreeView *>()->Node(key);
        return node ? node->Text() : QString();
    }
    QString title() const { return form->lblCaption()->text(); }
    QAction *treeAction(const char *name) const { return tree->findChild<QAction *>(QLatin1String(name)); }
    TreeView *treeView() const { return tree->findChild<TreeView *>(); }
    void click(const QString &key) const { QVERIFY2(clickNode(treeView(), key), qPrintable(key)); }
    QAction *viewAction(const char *name) const { return view->findChild<QAction *>(QLatin1String(name)); }
    // Answers the game selector the next menu item opens: `choose` picks in it, then OK.
    static void inSelector(const std::function<void(GameSelector *)> &choose)
    {
        whenModal<GameSelector>(nullptr, [choose](GameSelector *selector) {
            choose(selector);
            selector->findChild<QPushButton *>(QStringLiteral("cmdOK"))->click();
        });
    }
    // A bookmark of a file that is not its game's first, so that opening it shows which is selected.
    QString laterBookmark() const
    {
        return query(QStringLiteral("SELECT b.tree_key FROM bookmarks b JOIN file f ON b.tree_key LIKE 'K_' || "
                                    "f.auto_id || '|%' WHERE f.auto_id > (SELECT min(auto_id) FROM file WHERE "
                                    "game_id = f.game_id) ORDER BY b.auto_id LIMIT 1"))
            .value(0)
            .toString();
    }
};

} // namespace

class tst_routing final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void usersPath();
    void platformsGamesAndBookmarks();
    void emptyLibrary();
};

void tst_routing::usersPath()
{
    Program program;
    // Start: tree, then favorites, then bookmarks, with the tree's box telling which; then the box is given back.
    QCOMPARE(program.loading, (QStringList{QStringLiteral("favorites after the tree: Loading Bookmarks..."),
                                           QStringLiteral("bookmarks: Search...")}));

    // A click on a bookmarked (so not empty) game lists its files; the title strip names it.
    ListView *bookmarks = program.bookmarks;
    const QString bookmarkKey = program.laterBookmark();
    QString gameKey;
    for (int row = 1; gameKey.isEmpty() || gameKey == NodeKey::ParentKey(bookmarkKey); ++row)
        gameKey = NodeKey::ParentKey(bookmarks->ItemAt(row)->Key());
    program.click(gameKey);
    QVERIFY(program.view->ListedGameId() == *NodeKey::Id(gameKey, 0) &&
            program.title().endsWith(QStringLiteral(" - ") + program.tree->GameName(gameKey)));

    // A bookmark of another game shows its file, not that game's first.
    doubleClick(bookmarks, bookmarks->Item(bookmarkKey));
    const QString fileKey = NodeKey::Field(bookmarkKey, 0);
    const QString bookmarkedGame = NodeKey::ParentKey(bookmarkKey);
    QCOMPARE(std::tuple(program.view->ListedGameId(), program.view->CurrentFileKey()),
             std::tuple(*NodeKey::Id(bookmarkedGame, 0), fileKey));
    QVERIFY(program.view->FileList()->ItemAt(1)->Key() != fileKey);

    // Renaming the game: tree, file caption, title strip and bookmark follow.
    program.prompts.answerInput(QStringLiteral("Renamed Quest"));
    program.treeAction("mnuHiddenRename")->trigger();
    QVERIFY(program.nodeText(bookmarkedGame).startsWith(QStringLiteral("Renamed Quest (")) &&
            program.title().endsWith(QStringLiteral(" - Renamed Quest")) &&
            program.view->findChild<QLabel *>(QStringLiteral("lblFiles"))->text().startsWith(" Renamed Quest: "));
    QCOMPARE(bookmarks->Item(bookmarkKey)->SubItem(2), QStringLiteral("Renamed Quest"));

    // A file that is not its game's first, with a word nothing else holds, twice in its text.
    const qint32 fileId = *NodeKey::Id(bookmarkKey, 0);
    QVERIFY(program.exec(QStringLiteral("UPDATE file SET sub_cat = 1, txt_rtf = '{\\rtf1\\ansi A Wyvernquill, then "
                                        "wyvernquill and Wyvernquill.}' WHERE auto_id = %1")
                             .arg(fileId)));

    // Edit > Find opens one window, however often it is chosen; its hit is found from another game.
    program.click(gameKey);
    program.form->Menu().mnuSearchLorekeep->trigger();
    program.form->Menu().mnuSearchLorekeep->trigger();
    QCOMPARE(program.form->findChildren<frmFind *>().size(), 1);
    auto *form = program.form->findChild<frmFind *>();
    form->findChild<QComboBox *>()->setEditText(QStringLiteral("Wyvernquill"));
    program.prompts.answerMsgBox(MsgResult::OK);
    const QPointer<frmFind> searching(form);
    form->findChild<QPushButton *>(QStringLiteral("cmdFind"))->click();
    QTRY_VERIFY(!searching || !searching->Searching());
    ListView *results = program.details->SearchResults();
    QCOMPARE(std::tuple(int(program.details->SelectedTab()), results->Count()), std::tuple(3, 1));

    // The hit opens selected with the phrase marked, in its case only; another file shown loses the marks.
    doubleClick(results, results->ItemAt(1));
    const QList<QTextEdit::ExtraSelection> marks = program.view->Viewer()->extraSelections();
    QCOMPARE(std::tuple(program.view->CurrentFileKey(), program.view->FileList()->SelectedItem()->Key(), marks.size(),
                        marks.value(1).cursor.selectedText()),
             std::tuple(NodeKey::File(fileId), NodeKey::File(fileId), qsizetype(2), QStringLiteral("Wyvernquill")));
    program.view->SelectFile(program.view->FileList()->ItemAt(1)->Key());
    QVERIFY(program.view->Viewer()->extraSelections().isEmpty());

    // Another store: an unsaved file window is asked about first, Cancel keeps the store; then all reload.
    const QString second = program.dir.filePath(QStringLiteral("second.lkb"));
    Program::generate(second, 9);
    program.click(gameKey);
    program.treeAction("mnuHiddenAddFile")->trigger();
    QPointer<FileViewer> editor = program.view->Editor();
    QVERIFY(editor);
    QTest::keyClicks(editor->findChild<QTextEdit *>(QStringLiteral("rtbText")), QStringLiteral("notes"));
    program.loading.clear();
    for (const MsgResult answer : {MsgResult::Cancel, MsgResult::No}) {
        program.prompts.answerOpenFile(second);
        program.prompts.answerMsgBox(answer);
        program.form->Menu().mnuFileConnect->trigger();
        QCOMPARE(program.prompts.last().text, QStringLiteral("Do you want to save the changes to this file?"));
    }
    QTRY_VERIFY(!editor);
    QCOMPARE(std::tuple(program.loading.size(), program.details->Bookmarks()->Count()),
             std::tuple(2, program.count(QStringLiteral("SELECT count(*) FROM bookmarks"))));

    // A new favorite shows in the list at once (one listed already is tst_details' FavoriteCheck).
    ListView *favorites = program.details->Favorites();
    const int listed = favorites->Count();
    whenModal("frmFavorite", [](QDialog *dialog) {
        dialog->findChild<QLineEdit *>(QStringLiteral("txtDesc"))->setText(QStringLiteral("Home"));
        dialog->findChild<QPushButton *>(QStringLiteral("cmdOK"))->click();
    });
    program.prompts.answerMsgBox(MsgResult::OK);
    // The browser's controls are made with its tab.
    program.view->SelectTab(ctlView::Tab::Browser);
    program.viewAction("mnuAddURL")->trigger();
    QVERIFY(favorites->Count() == listed + 1 && favorites->ItemAt(listed + 1)->Text() == QStringLiteral("Start Page"));

    // The Favorites button shows the favorites, or hides them when they are shown.
    QAction *bottom = program.form->Menu().mnuViewBottom;
    QAction *favoritesButton =
        program.view->findChild<ctlBrowser *>()->findChild<QAction *>(QStringLiteral("Favorites"));
    program.details->SelectTab(ctlDetails::Tab::Bookmarks);
    favoritesButton->trigger();
    QVERIFY(program.details->isVisible() && int(program.details->SelectedTab()) == 2);
    favoritesButton->trigger();
    QVERIFY(!program.details->isVisible() && !bottom->isChecked());
    favoritesButton->trigger();
    QVERIFY(program.details->isVisible() && bottom->isChecked() && int(program.details->SelectedTab()) == 2);

    // A favorite opens in the browser (that its tab comes to the front is tst_browser's).
    program.view->SelectTab(ctlView::Tab::Files);
    doubleClick(favorites, favorites->ItemAt(1));
    QTRY_COMPARE(program.view->BrowseURL(), QUrl::fromUserInput(favorites->ItemAt(1)->Tag().toString()).toString());

    // The window's caption follows the page only while the browser tab is shown.
    LocalWebServer server;
    server.addPage(QStringLiteral("/some"), "<html><head><title>Some Page</title></head><body>1</body></html>");
    server.addPage(QStringLiteral("/other"), "<html><head><title>Other Page</title></head><body>2</body></html>");
    QSignalSpy titles(program.view, &ctlView::BrowseTitleChange);
    program.view->SelectTab(ctlView::Tab::Browser);
    program.view->BrowseNavigate(server.url(QStringLiteral("/some")).toString());
    QTRY_COMPARE_WITH_TIMEOUT(program.form->windowTitle(), QStringLiteral("Lorekeep - Some Page"), 30000);
    // Loading goes on in the background while the user turns to the Files tab.
    program.view->BrowseNavigate(server.url(QStringLiteral("/other")).toString());
    program.view->SelectTab(ctlView::Tab::Files);
    QTRY_VERIFY_WITH_TIMEOUT(titles.contains(QVariantList{QStringLiteral("Other Page")}), 30000);
    QCOMPARE(program.form->windowTitle(),
             QStringLiteral("Lorekeep - [") + program.form->Store().DatabaseName() + QStringLiteral("] - Files"));

    // Imports, into the store opened last.
    const QString imported = program.game(0);
    program.click(imported);
    ListView *list = program.view->FileList();
    const int before = list->Count();
    const auto counted = [&](int files) {
        return program.nodeText(imported).endsWith(QStringLiteral(" (%1)").arg(files));
    };
    const auto newest = [&] {
        return NodeKey::File(program.count(QStringLiteral("SELECT max(auto_id) FROM file")));
    };
    QTemporaryDir dir;
    QStringList paths;
    for (const char *name : {"Part 1.txt", "Part 2.txt", "Maps.txt"}) {
        paths << dir.filePath(QLatin1String(name));
        writeFile(paths.constLast(), "A guide of its own.\n");
    }

    // Files dropped on the list go to its game: before, counted, the last one shown, one summary.
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(paths[0]), QUrl::fromLocalFile(paths[1])});
    program.prompts.answerMsgBox(MsgResult::OK);
    QVERIFY(drop(list->ActiveView()->viewport(), list->ActiveView()->viewport()->rect().center(), &data));
    QCoreApplication::sendPostedEvents();
    QCOMPARE(std::tuple(program.prompts.last().text, list->Count(), list->SelectedItem()->Key(), counted(before + 2)),
             std::tuple(QStringLiteral("2 files imported."), before + 2, newest(), true));
    QTRY_COMPARE(program.view->CurrentFileKey(), newest());
    QCOMPARE(program.view->Viewer()->toPlainText(), QStringLiteral("A guide of its own.\n"));

    // File > Import Files imports into the selected game, its plain text in the encoding chosen in
    // the dialog, and starts there the next time, with Automatic again.
    const QByteArray russian = QStringEncoder("windows-1251").encode(QStringLiteral("Карта подземелья.\n"));
    writeFile(paths[2], russian);
    program.prompts.answerOpenFiles(QStringList{paths[2]}, QStringLiteral("Cyrillic (KOI8-R)"));
    program.form->Menu().mnuFileImport->trigger();
    QCOMPARE(list->Count(), before + 3);
    QTRY_COMPARE(program.view->Viewer()->toPlainText(), QStringDecoder("koi8-r").decode(russian));
    program.prompts.answerOpenFiles(std::nullopt);
    program.form->Menu().mnuFileImport->trigger();
    const FileDialogOptions &asked = program.prompts.last().options;
    QCOMPARE(std::tuple(asked.InitDir, asked.ChoiceLabel, asked.Choices.value(0), asked.Choices.size(), list->Count()),
             std::tuple(dir.path(), QStringLiteral("&Encoding:"), QStringLiteral("Automatic"),
                        TextEncodings::All().size() + 1, before + 3));

    // A file added by another program: not while a dialog is up; then count and list follow, same file shown.
    const QString shown = list->SelectedItem()->Key();
    QTRY_COMPARE(program.view->CurrentFileKey(), shown);
    runElsewhere(program.form->Store().DatabasePath(),
                 {QStringLiteral("INSERT INTO file (game_id) VALUES (%1)").arg(*NodeKey::Id(imported, 0))});
    int duringDialog = -1;
    QDialog dialog(program.form.get());
    QTimer::singleShot(0, &dialog, [&] {
        program.form->CheckStoreChanges();
        duringDialog = list->Count();
        dialog.reject();
    });
    dialog.exec();
    QCOMPARE(duringDialog, before + 3);
    QTRY_COMPARE(list->Count(), before + 4);
    QCOMPARE(std::tuple(counted(before + 4), program.view->CurrentFileKey(), program.tree->SelectedKey()),
             std::tuple(true, shown, imported));

    // Text dropped on the game opens a new file of it; saving adds the row and one to the game's count.
    TreeView *treeView = program.treeView();
    const auto dropText = [&] {
        treeView->EnsureVisible(treeView->Node(imported));
        QMimeData data;
        data.setText(QStringLiteral("Drift early on the second lap."));
        drop(treeView->viewport(), treeView->visualItemRect(treeView->Node(imported)).center(), &data);
        QCoreApplication::sendPostedEvents();
        FileViewer *viewer = program.tree->findChildren<FileViewer *>().constLast();
        viewer->findChild<QComboBox *>(QStringLiteral("cboSubCat"))->setCurrentIndex(1);
        viewer->findChild<QLineEdit *>(QStringLiteral("txtDesc"))->setText(QStringLiteral("Lap tips"));
        return viewer;
    };
    FileViewer *viewer = dropText();
    QCOMPARE(program.view->ListedGameId(), *NodeKey::Id(imported, 0));
    QVERIFY(viewer->Save());
    QCOMPARE(std::tuple(list->SelectedItem()->Key(), list->Count(), counted(before + 5)),
             std::tuple(newest(), before + 5, true));

    // Saved while the list shows another game, the file is counted but not before there.
    viewer = dropText();
    program.click(program.game(1));
    const int other = list->Count();
    QVERIFY(viewer->Save() && list->Count() == other && counted(before + 6));
    // A file window the import left open with changes is asked about when the program closes.
    dropText()->findChild<QLineEdit *>(QStringLiteral("txtDesc"))->setText(QStringLiteral("Unsaved"));
    program.prompts.answerMsgBox(MsgResult::Cancel);
    QVERIFY(!program.form->close());
}

void tst_routing::platformsGamesAndBookmarks()
{
    Program program;
    // Edit > Platforms and Remove Platform share one window, on that platform; a change reloads every pane.
    program.form->Menu().mnuMaintPlatforms->trigger();
    const QString platform = NodeKey::Field(program.game(3), 2);
    program.click(platform);
    program.treeAction("mnuHiddenPlatformRemove")->trigger();
    const QList<PlatformMaintenance *> windows = program.form->findChildren<PlatformMaintenance *>();
    QVERIFY(windows.size() == 1 && windows.first()->isVisible());
    const QTreeWidgetItem *current = windows.first()->findChild<QTreeWidget *>()->currentItem();
    QVERIFY(current && NodeKey::Platform(quint8(current->data(0, Qt::UserRole).toUInt())) == platform);
    QPointer<PlatformMaintenance> window = windows.first();
    program.loading.clear();
    program.prompts.answerMsgBox(MsgResult::Yes);
    window->findChild<QPushButton *>(QStringLiteral("cmdRemove"))->click();
    QTRY_COMPARE(program.loading.size(), 2);
    window->close();
    QTRY_VERIFY(!window);

    // Enter brings the Files tab up; a moved game takes its bookmarks along, and Delete then takes them.
    ListView *bookmarks = program.bookmarks;
    const QString key = bookmarks->ItemAt(1)->Key();
    const QString game = NodeKey::ParentKey(key);
    program.click(game);
    program.view->SelectTab(ctlView::Tab::Browser);
    QTest::keyClick(program.treeView(), Qt::Key_Return);
    QCOMPARE(int(program.view->SelectedTab()), 1);
    Program::inSelector([](GameSelector *selector) {
        auto *platforms = selector->findChild<QComboBox *>(QStringLiteral("cboPlatform"));
        platforms->setCurrentIndex(platforms->currentIndex() == 0 ? 1 : 0);
    });
    program.treeAction("mnuHiddenMoveTo")->trigger();
    const QString moved = program.tree->SelectedKey();
    QVERIFY(moved != game && NodeKey::Id(moved, 0) == NodeKey::Id(game, 0));
    const QString movedKey = NodeKey::Field(key, 0) + QLatin1Char('|') + moved;
    QVERIFY(bookmarks->Item(movedKey) && bookmarks->Item(movedKey)->SubItem(4) == program.tree->GamePlatform(moved));

    const QString name = program.tree->GameName(moved);
    program.prompts.answerMsgBox(MsgResult::Yes);
    QTest::keyClick(program.treeView(), Qt::Key_Delete);
    QVERIFY(program.prompts.last().text.contains(name) && !program.title().contains(name) &&
            program.view->IsCovered() && !bookmarks->Item(movedKey));

    // A bookmark of a gone file asks: No keeps it, Yes deletes it. A search hit to a gone file only says so.
    const QString gone = program.laterBookmark(); // its game keeps a file
    const QString goneGame = NodeKey::ParentKey(gone);
    QVERIFY(program.exec(QStringLiteral("DELETE FROM file WHERE auto_id = %1").arg(*NodeKey::Id(gone, 0))));
    program.prompts.answerMsgBox(MsgResult::No);
    doubleClick(bookmarks, bookmarks->Item(gone));
    QVERIFY(program.prompts.last().buttons == MsgButtons::YesNo && bookmarks->Item(gone));
    // Asked again once the user has been elsewhere (the file view does not ask twice in a row).
    program.click(NodeKey::ParentKey(goneGame));
    program.prompts.answerMsgBox(MsgResult::Yes);
    bookmarks->Select(bookmarks->Item(gone));
    QTest::keyClick(bookmarks->ActiveView(), Qt::Key_Return);
    QVERIFY(!bookmarks->Item(gone));
    const int left = bookmarks->Count();
    program.prompts.answerMsgBox(MsgResult::OK);
    program.details->AddSearch(*NodeKey::Id(gone, 0), QStringLiteral("PC"), QStringLiteral("Gone"), 1,
                               QStringLiteral("Gone"), goneGame, QString());
    program.click(NodeKey::ParentKey(goneGame));
    program.details->SelectTab(ctlDetails::Tab::SearchResults);
    doubleClick(program.details->SearchResults(), program.details->SearchResults()->ItemAt(1));
    QCOMPARE(std::tuple(program.prompts.last().buttons, bookmarks->Count()), std::tuple(MsgButtons::OK, left));

    // An edit and a move into a new game reach the bookmark and tree (a file bookmarked twice is tst_details').
    const QString fileKey = bookmarks->ItemAt(1)->Key();
    const QString fileGame = NodeKey::ParentKey(fileKey);
    const int count = bookmarks->Count();
    program.click(fileGame);
    ListView *files = program.view->FileList();
    files->Select(files->Item(NodeKey::Field(fileKey, 0)));
    program.viewAction("mnuFileEdit")->trigger();
    FileViewer *editor = program.view->Editor();
    QVERIFY(editor);
    editor->findChild<QLineEdit *>(QStringLiteral("txtDesc"))->setText(QStringLiteral("Edited"));
    editor->findChild<QAction *>(QStringLiteral("cmdSave"))->trigger();
    QCOMPARE(std::tuple(bookmarks->Count(), bookmarks->Item(fileKey)->Text(), bookmarks->Item(fileKey)->SubItem(2)),
             std::tuple(count, QStringLiteral("Edited"), program.tree->GameName(fileGame)));
    editor->close();
    Program::inSelector([&program](GameSelector *selector) {
        program.prompts.answerInput(QStringLiteral("Brand New"));
        selector->findChild<QPushButton *>(QStringLiteral("cmdNewGame"))->click();
    });
    program.viewAction("mnuFileMove")->trigger();
    const auto ids = NodeKey::ParseGame(fileGame);
    const QString otherGame =
        NodeKey::Game(program.count(QStringLiteral("SELECT max(auto_id) FROM game")), ids->GenreId, ids->PlatformId);
    const QString movedFile = NodeKey::Field(fileKey, 0) + QLatin1Char('|') + otherGame;
    QVERIFY(bookmarks->Item(movedFile));
    QCOMPARE(std::pair(bookmarks->Item(movedFile)->SubItem(2), program.tree->GameName(otherGame)),
             std::pair(QStringLiteral("Brand New"), QStringLiteral("Brand New")));
}

void tst_routing::emptyLibrary()
{
    // A new home: the browser is one key away, and the first game is added or imported from the root.
    TestHome home;
    ScriptedPrompts prompts;
    auto form = startMainWindow(home.storePath());
    QVERIFY(QTest::qWaitForWindowActive(form.get()));
    auto *view = form->findChild<ctlView *>();
    auto *tabs = view->findChild<QTabBar *>(QStringLiteral("tbsTabs"));
    QVERIFY(view->IsCovered() && tabs->isVisible());
    form->Menu().mnuViewBrowser->trigger();
    QVERIFY(int(view->SelectedTab()) == 2 && form->findChild<QComboBox *>(QStringLiteral("cboURL"))->hasFocus());

    // The root's imports reach the import (its file and folder questions are answered).
    auto *tree = form->findChild<ctlTree *>();
    QVERIFY(clickNode(form->findChild<TreeView *>(), QStringLiteral("ROOT")));
    prompts.answerOpenFiles(std::nullopt);
    tree->findChild<QAction *>(QStringLiteral("mnuRootImport"))->trigger();
    prompts.answerFolder(std::nullopt);
    tree->findChild<QAction *>(QStringLiteral("mnuRootImportFolder"))->trigger();
    whenModal("frmAddGame", [](QDialog *) {});
    form->Menu().mnuEditAddGame->trigger();
    QCOMPARE(prompts.shown().size(), 2);
}

QTEST_MAIN(tst_routing)
#include "tst_routing.moc"
