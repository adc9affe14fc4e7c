#include "ScriptedPrompts.h"
#include "TestHome.h"
#include "components/FileViewer.h"
#include "components/GameSelector.h"
#include "data/NodeKey.h"
#include "data/SnapshotTable.h"
#include "rtf/RtfReader.h"
#include "tree/ctlTree.h"
#include "widgets/TreeView.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBlock>
#include <QTextEdit>
#include <QTimer>
#include <QUrl>

namespace {

// A tree on a store with Star Quest (PC, Action; one file "Guide" from https://example.org/Guide)
// and Tetra (Arcade, Puzzle), and a browsed page the test can change.
struct Library
{
    TestHome home;
    ScriptedPrompts prompts;
    ctlTree tree;
    TreeView *view = tree.findChild<TreeView *>(QStringLiteral("tvwFiles"));
    qint32 star = home.addGame(18, 1, QStringLiteral("Star Quest"));
    qint32 tetra = home.addGame(19, 4, QStringLiteral("Tetra"));
    QString url = QStringLiteral("https://example.org/new"), title = QStringLiteral("New Page"), text;
    bool fromBrowser = true; // whether drags come from the browser
    QString seen;            // the last selector answered: "caption platform/genre" as preset; empty when none

    Library()
    {
        home.addFile(star, 1, QStringLiteral("Guide"));
        tree.setStore(&home.store());
        tree.setBrowsedPage({[this] { return url; }, [this] { return title; },
                             [this](const QObject *) {
                                 return fromBrowser;
                             }});
        tree.resize(300, 600);
        tree.show();
        tree.LoadTree();
    }
    QPoint at(const QString &key) const
    {
        view->EnsureVisible(view->Node(key));
        return view->visualItemRect(view->Node(key)).center();
    }
    QString highlight() const { return view->DropHighlight() ? view->DropHighlight()->Key() : QString(); }
    // The next selector is answered with game `pick` at its place; cancelled when there is none.
    void answer(qint32 pick)
    {
        seen.clear();
        const QString place = QStringLiteral("SELECT %1 FROM game WHERE auto_id = ") + QString::number(pick);
        QTimer::singleShot(0, [this, pick, platform = home.count(place.arg("platform_id")),
                               genre = home.count(place.arg("genre_id"))] {
            auto *selector = qobject_cast<GameSelector *>(QApplication::activeModalWidget());
            if (!selector)
                return;
            auto *platforms = selector->findChild<QComboBox *>("cboPlatform");
            auto *genres = selector->findChild<QComboBox *>("cboGenre");
            seen = selector->windowTitle() +
                   QStringLiteral(" %1/%2").arg(platforms->currentData().toInt()).arg(genres->currentData().toInt());
            platforms->setCurrentIndex(platforms->findData(platform));
            genres->setCurrentIndex(genres->findData(genre));
            auto *games = selector->findChild<QListWidget *>("lstGames");
            for (int row = 0; row < games->count(); ++row)
                if (games->item(row)->data(Qt::UserRole).toInt() == pick)
                    games->setCurrentRow(row);
            games->currentItem() ? selector->accept() : selector->reject();
        });
    }
    void dragTo(const QPoint &pos, QMimeData *data)
    {
        QDragEnterEvent enter(pos, Qt::CopyAction | Qt::MoveAction, data, Qt::LeftButton, {});
        QDragMoveEvent move(pos, Qt::CopyAction | Qt::MoveAction, data, Qt::LeftButton, {});
        QApplication::sendEvent(view->viewport(), &enter);
        QApplication::sendEvent(view->viewport(), &move);
    }
    // Drops `data` at `pos`, a selector answered with `pick`; the action the source is told of.
    Qt::DropAction drop(const QPoint &pos, const QString &format, const QByteArray &bytes, qint32 pick = 0,
                        const QList<QUrl> &urls = {}, const QString &mozUrl = {})
    {
        QMimeData data;
        if (!urls.isEmpty())
            data.setUrls(urls);
        // Firefox's own form: the address and the title, in UTF-16.
        if (!mozUrl.isEmpty())
            data.setData("text/x-moz-url",
                         QByteArray(reinterpret_cast<const char *>(mozUrl.utf16()), mozUrl.size() * 2));
        data.setData(format, bytes);
        dragTo(pos, &data);
        QDropEvent event(pos, Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton, {});
        QApplication::sendEvent(view->viewport(), &event);
        answer(pick);
        QCoreApplication::sendPostedEvents();
        return event.isAccepted() ? event.dropAction() : Qt::CopyAction;
    }
    QList<FileViewer *> viewers() const { return tree.findChildren<FileViewer *>(); }
    QTextEdit *editor() const { return viewers().constLast()->findChild<QTextEdit *>(); }
    QString field(const char *name) const
    {
        return viewers().constLast()->findChild<QLineEdit *>(QLatin1String(name))->text();
    }
};

} // namespace

class tst_treeimport final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void dropOnNodes();
    void directImportAndSave();
    void importFiles();
};

void tst_treeimport::dropOnNodes()
{
    Library lib;
    QSignalSpy clicks(&lib.tree, &ctlTree::TreeNodeClick);
    const QString game = NodeKey::Game(lib.star, 1, 18);
    const QPoint empty(20, lib.view->viewport()->height() - 5);
    QVERIFY(!lib.view->itemAt(empty));
    const QString dropped = QStringLiteral("Café – ダンジョン\nline 2");
    QMimeData plain;
    plain.setText(dropped);

    // The highlight follows the pointer and is not the selection.
    lib.dragTo(lib.at(game), &plain);
    QCOMPARE(std::tuple(lib.highlight(), clicks.size()), std::tuple(game, 0));
    lib.dragTo(empty, &plain);
    QCOMPARE(lib.highlight(), QString());

    // On a game: no selector, the page's address and title, the text as dropped; the source keeps it.
    QCOMPARE(lib.drop(lib.at(game), "text/plain", dropped.toUtf8()), Qt::IgnoreAction);
    QCOMPARE(std::tuple(lib.seen, lib.viewers().size(), lib.field("txtSource"), lib.field("txtDesc")),
             std::tuple(QString(), 1, lib.url, lib.title));
    QCOMPARE(std::tuple(lib.editor()->toPlainText(), lib.editor()->document()->blockCount()), std::tuple(dropped, 2));
    QCOMPARE(std::tuple(clicks.constLast().at(0).value<ctlTree::NodeChoice>().GameId, lib.view->SelectedItem()->Key(),
                        lib.highlight()),
             std::tuple(lib.star, game, QString()));

    // On a genre: the selector starts there, and the game chosen gets the file. RTF arrives plain.
    lib.drop(lib.at("G_4|P_19"), "text/rtf", "{\\rtf1\\ansi Caf\\'e9 {\\b bold}\\par}", lib.tetra);
    QCOMPARE(std::tuple(lib.seen, lib.editor()->toPlainText().trimmed()),
             std::tuple(QStringLiteral("Save drag text to a File in... 19/4"), QStringLiteral("Café bold")));

    // On the root, cancelled: nothing opens and the highlight is gone. On empty space: logged.
    lib.drop(lib.at("ROOT"), "text/plain", "x", 0);
    QCOMPARE(std::tuple(lib.seen, lib.viewers().size(), lib.highlight()),
             std::tuple(QString("Save drag text... 19/4"), 2, QString()));
    lib.drop(empty, "text/plain", "x", lib.star);
    QCOMPARE(std::tuple(lib.seen, lib.viewers().size()), std::tuple(QString(), 2));
    QVERIFY(readFile(lib.home.file("error.log")).contains("OLEDragDrop"));

    // The browser's page is not the source of text dragged from elsewhere: the drag's own link is, or nothing.
    lib.fromBrowser = false;
    const QPoint tetra = lib.at(NodeKey::Game(lib.tetra, 4, 19));
    lib.drop(tetra, "text/plain", "plain");
    QCOMPARE(std::tuple(lib.field("txtSource"), lib.field("txtDesc")), std::tuple(QString(), QString()));
    lib.drop(tetra, "text/plain", "linked", 0, {QUrl("https://faqs.example/tetra?x=1")});
    QCOMPARE(std::tuple(lib.field("txtSource"), lib.field("txtDesc"), lib.editor()->toPlainText()),
             std::tuple(QString("https://faqs.example/tetra?x=1"), QString(), QString("linked")));
    lib.drop(tetra, "text/plain", "moz", 0, {}, QStringLiteral("https://m.example/a\nMoz Title"));
    QCOMPARE(std::tuple(lib.field("txtSource"), lib.field("txtDesc")),
             std::tuple(QString("https://m.example/a"), QString("Moz Title")));
    lib.fromBrowser = true;
    lib.drop(tetra, "text/plain", "from the page", 0, {QUrl("https://faqs.example/")});
    QCOMPARE(std::tuple(lib.field("txtSource"), lib.field("txtDesc")), std::tuple(lib.url, lib.title));

    // Far longer than a window's worth: it arrives whole, in short paragraphs, never broken inside a character.
    const QString text =
        QStringLiteral("walkthrough ").repeated(2500) + QStringLiteral("x") + QStringLiteral("😀").repeated(8000);
    lib.drop(lib.at(NodeKey::Game(lib.star, 1, 18)), "text/plain", text.toUtf8());
    QString joined;
    for (QTextBlock block = lib.editor()->document()->begin(); block.isValid(); block = block.next()) {
        QVERIFY(block.length() <= 10001 && QStringView(block.text()).isValidUtf16());
        joined += block.text();
    }
    QCOMPARE(joined, text);
}

void tst_treeimport::directImportAndSave()
{
    Library lib;
    QSignalSpy added(&lib.tree, &ctlTree::AddToView);
    // What is imported is the page as the browser handed it over, its snapshot kept with the file.
    lib.answer(lib.star);
    const QDateTime captured = QDateTime(QDate(2026, 11, 20), QTime(8, 30), Qt::UTC);
    lib.tree.DirectImport({lib.url, lib.title, lib.text, QByteArray("MIME-Version: 1.0\r\n\r\npage"), captured});
    lib.title = QStringLiteral("Second Page");
    lib.text = QStringLiteral("Zoë's walkthrough");
    lib.answer(lib.tetra);
    lib.tree.DirectImport({lib.url, lib.title, lib.text});
    QCOMPARE(std::tuple(lib.seen, lib.field("txtDesc"), lib.editor()->toPlainText()),
             std::tuple(QStringLiteral("Import... 18/1"), lib.title, lib.text));

    // Both windows save and report, the earlier one too; the page the first one stored meanwhile is
    // asked about before the second stores it again.
    const QList<FileViewer *> viewers = lib.viewers();
    for (FileViewer *viewer : viewers) {
        viewer->findChild<QComboBox *>("cboSubCat")->setCurrentIndex(2);
        if (viewer != viewers.constFirst())
            lib.prompts.answerMsgBox(MsgResult::Yes);
        QVERIFY(viewer->Save());
    }
    QVERIFY(lib.prompts.last().text.endsWith(QStringLiteral("Import it again?")));
    QSqlQuery row(lib.home.db());
    QVERIFY(row.exec("SELECT auto_id, src, \"desc\", txt_rtf FROM file WHERE game_id = " + QString::number(lib.tetra)));
    QVERIFY(row.next());
    QCOMPARE(std::tuple(row.value(1).toString(), row.value(2).toString(),
                        RtfReader::PlainText(row.value(3).toString().toLatin1()).trimmed()),
             std::tuple(lib.url, lib.title, lib.text));
    SnapshotRow snapshot;
    bool found = false;
    ErrObject err;
    QVERIFY(SnapshotTable::Latest(lib.home.db(), added.value(0).value(0).toString().mid(2).toInt(), &snapshot, &found,
                                  &err));
    QCOMPARE(std::tuple(found, snapshot.address, snapshot.captured, snapshot.mhtml),
             std::tuple(true, lib.url, captured, QByteArray("MIME-Version: 1.0\r\n\r\npage")));
    QCOMPARE(std::tuple(added.size(), added.value(0).value(4).toString(), added.value(1)),
             std::tuple(2, QStringLiteral("Star Quest"),
                        QVariantList({QString("K_" + row.value(0).toString()), lib.title, lib.url, 3, "Tetra"})));
    QCOMPARE(std::tuple(lib.view->Node(NodeKey::Game(lib.star, 1, 18))->Text(),
                        lib.view->Node(NodeKey::Game(lib.tetra, 4, 19))->Text()),
             std::tuple(QString("Star Quest (2)"), QString("Tetra (1)")));

    // A page the library holds already is asked about before its window opens.
    lib.url = QStringLiteral("https://example.org/Guide");
    lib.prompts.answerMsgBox(MsgResult::No);
    lib.answer(lib.tetra);
    lib.tree.DirectImport({lib.url, {}, {}});
    QCOMPARE(std::tuple(lib.prompts.shown().size(), lib.viewers().size(), lib.prompts.last().text),
             std::tuple(
                 2, 2, QString("This page is already in Lorekeep as \"Guide\" in Star Quest (PC).  Import it again?")));
    lib.prompts.answerMsgBox(MsgResult::Yes);
    lib.drop(lib.at(NodeKey::Game(lib.tetra, 4, 19)), "text/plain", "again");
    QCOMPARE(std::tuple(lib.viewers().size(), lib.editor()->toPlainText()), std::tuple(3, QString("again")));

    // The start page asks nothing (an unexpected question fails the test).
    QVERIFY(QSqlQuery(lib.home.db()).exec("UPDATE file SET src = 'Start Page'"));
    lib.url = QStringLiteral("Start Page");
    lib.drop(lib.at(NodeKey::Game(lib.tetra, 4, 19)), "text/plain", "again");
    QCOMPARE(std::tuple(lib.prompts.shown().size(), lib.viewers().size()), std::tuple(3, 4));
}

void tst_treeimport::importFiles()
{
    // A folder imported on the root: the summary names files by their place in the folder.
    Library lib;
    QTemporaryDir dir;
    QVERIFY(QDir(dir.path()).mkpath("faqs/maps"));
    writeFile(dir.filePath("faqs/guide.txt"), "A guide.\n");
    writeFile(dir.filePath("faqs/maps/box.gif"), QByteArray("GIF89a\1\0\1\0\0\0\0", 13));
    lib.prompts.answerMsgBox(MsgResult::OK);
    lib.answer(lib.tetra);
    lib.tree.ImportFiles(QStringLiteral("ROOT"), {dir.filePath("faqs")});
    QCOMPARE(std::pair(lib.seen, lib.prompts.last().text),
             std::pair(QStringLiteral("Import Folder... 1/1"),
                       QStringLiteral("1 file imported, 1 skipped:\n\nmaps/box.gif: not a text file")));

    // A file manager's drag onto a game: the source is let go (a moved source would be deleted), the
    // import follows, and one file that goes in says nothing: it shows in the list.
    QSignalSpy added(&lib.tree, &ctlTree::AddToView);
    const QString cheats = dir.filePath("Cheats.txt");
    writeFile(cheats, "Level 1: up, up, down.\n");
    const QString star = NodeKey::Game(lib.star, 1, 18);
    QCOMPARE(lib.drop(lib.at(star), "text/uri-list", QUrl::fromLocalFile(cheats).toEncoded()), Qt::IgnoreAction);
    QCOMPARE(std::tuple(added.size(), added.value(0).mid(1, 3),
                        lib.home.count(QStringLiteral("SELECT count(*) FROM file WHERE game_id = %1").arg(lib.star)),
                        lib.view->Node(star)->Text(), lib.highlight()),
             std::tuple(qsizetype(1), QVariantList({QStringLiteral("Cheats"), cheats, quint8(2)}), 2,
                        QStringLiteral("Star Quest (2)"), QString()));
}

QTEST_MAIN(tst_treeimport)
#include "tst_treeimport.moc"
