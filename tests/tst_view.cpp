#include "ListClicks.h"
#include "ScriptedPrompts.h"
#include "TestHome.h"
#include "WhenModal.h"
#include "components/BackupJob.h"
#include "components/FileViewer.h"
#include "components/GameSelector.h"
#include "data/NodeKey.h"
#include "data/StoreBackup.h"
#include "import/FileImport.h"
#include "reader/FindBar.h"
#include "reader/TextReader.h"
#include "rtf/RtfReader.h"
#include "rtf/RtfWriter.h"
#include "system/SettingsStore.h"
#include "system/Twips.h"
#include "view/ctlView.h"
#include "view/frmReopenEncoding.h"
#include "widgets/ListView.h"
#include "widgets/RichText.h"
#include "widgets/RichTextLoader.h"

#include <QAbstractItemModelTester>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QDialogButtonBox>
#include <QDir>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QStringDecoder>
#include <QStringEncoder>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBlock>
#include <QTextEdit>
#include <QTreeView>

namespace {

QString rtf(const QString &text)
{
    return QString::fromLatin1(RtfWriter::FromPlainText(text));
}

// A file view on three PC action games: Quest with three files, Empty with none and Solo with one.
struct Shelf
{
    TestHome home;
    ctlView view;
    ListView *list = view.FileList();
    qint32 quest = home.addGame(18, 1, QStringLiteral("Quest"));
    qint32 empty = home.addGame(18, 1, QStringLiteral("Empty"));
    qint32 solo = home.addGame(18, 1, QStringLiteral("Solo"));
    qint32 guide = home.addFile(quest, 1, QStringLiteral("Zeta guide"), rtf(QStringLiteral("The guide.")));
    qint32 review = home.addFile(quest, 3, QStringLiteral("Alpha review"), rtf(QStringLiteral("The review.")));
    qint32 link = home.addFile(quest, 6, QStringLiteral("Beta link"), QStringLiteral("{\\rtf1 {\\b broken"));
    qint32 only = home.addFile(solo, 2, QStringLiteral("Codes"), QString());

    Shelf()
    {
        QSqlQuery query(home.db());
        query.exec(QStringLiteral("UPDATE file SET src = 'www.b.example' WHERE auto_id = ") + QString::number(review));
        query.exec(QStringLiteral("UPDATE file SET txt_rtf = '' WHERE auto_id = ") + QString::number(only));
        view.setStore(&home.store());
        view.resize(800, 600);
        view.show();
    }
    void list_(qint32 game, const QString &name, quint8 dontSelFirst = 0)
    {
        view.SetGame({18, 1, game, name});
        view.ListFiles(game, dontSelFirst);
    }
    QString key(qint32 file) const { return NodeKey::File(file); }
    QString path(qint32 file, qint32 game) const { return NodeKey::FilePath(file, NodeKey::Game(game, 1, 18)); }
    QString caption() const { return view.findChild<QLabel *>(QStringLiteral("lblFiles"))->text(); }
    QString shown() const { return view.Viewer()->toPlainText(); }
    void trigger(const char *action) { view.findChild<QAction *>(QLatin1String(action))->trigger(); }
    void click(qint32 file)
    {
        QTest::mouseClick(list->ActiveView()->viewport(), Qt::LeftButton, {}, rowCenter(list, list->Item(key(file))));
    }
    int files(qint32 game) const
    {
        return home.count(QStringLiteral("SELECT count(*) FROM file WHERE game_id = %1").arg(game));
    }
    // Confirms (or cancels) the selector that the next command opens with the game `name`.
    static void choose(const QString &name, bool confirm = true)
    {
        whenModal<GameSelector>(nullptr, [=](GameSelector *selector) {
            auto *games = selector->findChild<QListWidget *>(QStringLiteral("lstGames"));
            const auto found = games->findItems(name, Qt::MatchExactly);
            QCOMPARE(found.size(), 1);
            games->setCurrentItem(found.first());
            confirm ? selector->accept() : selector->reject();
        });
    }
};

} // namespace

class tst_view final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void listAdapter();
    void listAndShowFiles();
    void longAndUnreadableTexts();
    void writeAndDelete();
    void copyAndMove();
    void menus();
    void fixedPitchKeepsItsLines();
    void reopenWithEncoding();
};

void tst_view::listAdapter()
{
    ListView list;
    list.AddColumn(QStringLiteral("Name"), 100);
    list.AddColumn(QStringLiteral("Size"), 50);
    QTreeView *report = list.findChild<QTreeView *>();
    QAbstractItemModelTester tester(report->model(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    list.resize(300, 200);
    list.show();
    QSignalSpy clicks(&list, &ListView::ItemClick);
    ErrObject err;
    const auto order = [&] {
        QStringList keys;
        for (int i = 1; i <= list.Count(); ++i)
            keys << list.ItemAt(i)->Key();
        return keys.join(QLatin1Char(' '));
    };
    for (const char *name : {"b10", "a", "B2"})
        list.Add(QLatin1String(name), QLatin1String(name), 0, &err)->setSubItem(1, QString::number(qstrlen(name)));
    QVERIFY(!list.Add(QStringLiteral("a"), QStringLiteral("again"), 0, &err) && err.Number == ErrNumber::KeyNotUnique);
    QVERIFY(!list.Item(QStringLiteral("zz"), &err) && err.Number == ErrNumber::ElementNotFound &&
            !list.Remove(QStringLiteral("zz"), &err));
    QCOMPARE(order(), QStringLiteral("b10 a B2"));

    // Sorted: in natural order, new and renamed rows go to their place, the selection stays put.
    list.Select(list.Item(QStringLiteral("b10")));
    list.setSorted(true);
    QCOMPARE(order(), QStringLiteral("a B2 b10"));
    list.Add(QStringLiteral("b3"), QStringLiteral("b3"), 0, &err)->setSubItem(1, QStringLiteral("2"));
    list.Item(QStringLiteral("a"))->setText(QStringLiteral("c"));
    QCOMPARE(std::tuple(order(), list.SelectedItem()->Key()), std::tuple(QString("B2 b3 b10 a"), QString("b10")));
    list.setSortKey(1);
    QCOMPARE(order(), QStringLiteral("a B2 b3 b10")); // by size, ties in the order they were
    list.BeginUpdate(2);
    list.Add(QStringLiteral("z"), QStringLiteral("z"), 0, &err)->setSubItem(1, QStringLiteral("0"));
    list.EndUpdate();
    QCOMPARE(order(), QStringLiteral("z a B2 b3 b10"));
    QVERIFY(list.Remove(QStringLiteral("B2"), &err));
    QCOMPARE(std::tuple(list.IndexOf(list.Item(QStringLiteral("b3"))), clicks.size()), std::tuple(3, qsizetype(0)));

    // The keyboard moves the selection and reports it; a click beside the rows clears it.
    report->setFocus();
    QTest::keyClick(report, Qt::Key_Down);
    QVERIFY(clicks.size() == 1 && list.SelectedItem() == clicks.first().first().value<ListItem *>());
    QTest::mouseClick(report->viewport(), Qt::LeftButton, {}, QPoint(5, report->viewport()->height() - 3));
    QVERIFY(!list.SelectedItem());

    // A value that is no view changes nothing; a key taken already is refused.
    QVERIFY(list.setView(ListView::List) && !list.setView(4) && list.View() == ListView::List);
    QVERIFY(!list.setKey(list.Item(QStringLiteral("b3")), QStringLiteral("z"), &err) &&
            err.Number == ErrNumber::KeyNotUnique);

    // Scrolling waits for the event loop, and a removed row is not scrolled to.
    list.setView(ListView::Report);
    list.BeginUpdate(300);
    for (int i = 0; i < 300; ++i)
        list.Add(QStringLiteral("n%1").arg(i), QStringLiteral("n%1").arg(i), 0, &err);
    list.EndUpdate();
    list.EnsureVisible(list.ItemAt(1));
    list.EnsureVisible(list.Item(QStringLiteral("n299")));
    QCOMPARE(report->verticalScrollBar()->value(), 0);
    QTRY_VERIFY(report->viewport()->rect().contains(rowCenter(&list, list.Item(QStringLiteral("n299")))));
    const int scrolled = report->verticalScrollBar()->value();
    list.EnsureVisible(list.ItemAt(2));
    list.Remove(list.ItemAt(2));
    QCoreApplication::processEvents();
    QCOMPARE(report->verticalScrollBar()->value(), scrolled);

    // Batched rows are the list's at once and the views' together, in one insertion, once control
    // is back in the event loop; a change to a row not shown yet tells the views nothing, and
    // anything that needs the views shows the rows first.
    list.setSorted(false);
    list.Clear();
    list.SetBatchedAppend(true);
    QSignalSpy inserted(report->model(), &QAbstractItemModel::rowsInserted);
    QSignalSpy changed(report->model(), &QAbstractItemModel::dataChanged);
    for (int i = 0; i < 3; ++i)
        list.Add(QStringLiteral("k%1").arg(i), QStringLiteral("r%1").arg(i), 0, &err)->setSubItem(1, "s");
    list.EnsureVisible(list.ItemAt(3));
    QCOMPARE(std::tuple(list.Count(), report->model()->rowCount(), changed.size()), std::tuple(3, 0, qsizetype(0)));
    QTRY_COMPARE(report->model()->rowCount(), 3);
    QCOMPARE(std::tuple(inserted.size(), report->model()->index(2, 1).data().toString()),
             std::tuple(qsizetype(1), QString("s")));
    list.Add(QStringLiteral("k3"), QStringLiteral("r3"), 0, &err);
    list.Select(list.Item(QStringLiteral("k3")));
    QCOMPARE(std::tuple(report->model()->rowCount(), list.SelectedItem()->Key()), std::tuple(4, QString("k3")));
    list.Add(QStringLiteral("k4"), QStringLiteral("r4"), 0, &err);
    list.Remove(list.ItemAt(1));
    QCOMPARE(std::tuple(report->model()->rowCount(), list.Count(), list.ItemAt(4)->Key()),
             std::tuple(4, 4, QString("k4")));
    list.Add(QStringLiteral("k5"), QStringLiteral("r5"), 0, &err);
    list.Clear();
    QCoreApplication::processEvents();
    QCOMPARE(std::tuple(report->model()->rowCount(), list.Count()), std::tuple(0, 0));

    // Rows added as new are found by key once looked for, their keys taken and given back.
    list.AddNew(QStringLiteral("n1"), QStringLiteral("n1"), 0);
    list.AddNew(QStringLiteral("n2"), QStringLiteral("n2"), 0);
    QVERIFY(!list.Add(QStringLiteral("n2"), QString(), 0, &err) && err.Number == ErrNumber::KeyNotUnique);
    list.AddNew(QStringLiteral("n3"), QStringLiteral("n3"), 0);
    list.Remove(list.ItemAt(3));
    QVERIFY(list.Item(QStringLiteral("n1")) == list.ItemAt(1) && !list.Item(QStringLiteral("n3")) &&
            list.Add(QStringLiteral("n3"), QString(), 0, &err));
    list.Clear();

    // A long list is cleared at once, its rows freed meanwhile; it takes the same keys again.
    for (int i = 0; i < 30000; ++i)
        list.AddNew(QStringLiteral("k%1").arg(i), QString(), 0);
    list.ShowAppended();
    QCOMPARE(report->model()->rowCount(), 30000);
    list.Clear();
    QVERIFY(list.Add(QStringLiteral("k7"), QString(), 0, &err) && !list.Item(QStringLiteral("k8")) &&
            list.Count() == 1);
    // Rows made while a cleared list's rows are still being freed take the memory those leave,
    // each keeping its own texts and key.
    list.Clear();
    for (int i = 0; i < 30000; ++i)
        list.AddNew(QStringLiteral("m%1").arg(i), QStringLiteral("m%1").arg(i), 0)->setSubItem(1, QString::number(i));
    list.Clear();
    for (int i = 0; i < 30000; ++i) {
        list.AddNew(QStringLiteral("p%1").arg(i), QStringLiteral("p%1").arg(i), 0)->setSubItem(1, QString::number(-i));
        if (i % 2000 == 0)
            QTest::qWait(5);
    }
    int intact = 0;
    for (int i = 0; i < 30000; ++i) {
        const ListItem *row = list.ItemAt(i + 1);
        const QString name = QStringLiteral("p%1").arg(i);
        intact += row->Key() == name && row->Text() == name && row->SubItem(1) == QString::number(-i) &&
                  list.Item(name) == row;
    }
    QCOMPARE(intact, 30000);
    // Cleared again while the first rows may still be being freed, and the list gone before the
    // second ones are.
    for (int i = 0; i < 30000; ++i)
        list.Add(QStringLiteral("j%1").arg(i), QString(), 0, &err);
    list.Clear();
    QTest::qWait(20);
    QVERIFY(list.Count() == 0 && list.Add(QStringLiteral("j1"), QString(), 0, &err));
}

void tst_view::listAndShowFiles()
{
    Shelf shelf;
    shelf.view.SelectFile(shelf.key(shelf.guide)); // nothing listed yet
    QVERIFY(shelf.view.IsCovered() && shelf.view.CurrentFileKey().isEmpty());
    shelf.list_(shelf.quest, QStringLiteral("Quest"));
    const ListItem *row = shelf.list->Item(shelf.key(shelf.review));
    QVERIFY(!shelf.view.IsCovered() && row);
    QCOMPARE(std::tuple(row->Text(), row->SubItem(1), row->SubItem(2), row->Icon(), shelf.caption()),
             std::tuple(QString("Alpha review"), QString("www.b.example"), QString("Review"), 3,
                        QString(" Quest: 3 Files.")));
    // The first row is selected and shown.
    QCOMPARE(std::tuple(shelf.list->SelectedItem(), shelf.view.CurrentFileKey(), shelf.shown()),
             std::tuple(shelf.list->ItemAt(1), shelf.list->ItemAt(1)->Key(), QString("The guide.")));

    // The same game again is not read again; after a reset it is.
    shelf.home.addFile(shelf.quest, 5, QStringLiteral("News"));
    shelf.list_(shelf.quest, QStringLiteral("Quest"));
    QCOMPARE(shelf.list->Count(), 3);
    shelf.view.Reset();
    QVERIFY(shelf.view.IsCovered() && shelf.list->Count() == 0);
    shelf.list_(shelf.quest, QStringLiteral("Quest"));
    QCOMPARE(shelf.list->Count(), 4);

    shelf.list_(shelf.empty, QStringLiteral("Empty"));
    QCOMPARE(std::tuple(shelf.caption(), shelf.shown()), std::tuple(QString(" Empty: 0 Files."), QString()));
    // A file without any text lists and shows as empty, and leaves nothing to print.
    shelf.list_(shelf.solo, QStringLiteral("Solo"));
    QTextDocument printout(QStringLiteral("kept"));
    QCOMPARE(std::tuple(shelf.caption(), shelf.view.CurrentFileKey(), shelf.shown(), shelf.view.PrintInfo(&printout),
                        printout.toPlainText()),
             std::tuple(QString(" Solo: 1 File."), shelf.key(shelf.only), QString(), false, QString("kept")));

    // Told not to, the view selects and shows nothing.
    QSignalSpy missing(&shelf.view, &ctlView::NoFileKeyFound);
    shelf.list_(shelf.quest, QStringLiteral("Quest"), 1);
    QCOMPARE(std::tuple(shelf.list->Count(), shelf.list->SelectedItem(), shelf.shown(), shelf.caption()),
             std::tuple(4, static_cast<ListItem *>(nullptr), QString(), QString()));
    // Broken RTF shows what could be read of it.
    shelf.view.SelectFile(shelf.key(shelf.link));
    QCOMPARE(std::tuple(shelf.list->SelectedItem()->Key(), shelf.shown(), shelf.caption()),
             std::tuple(shelf.key(shelf.link), QString("broken"), QString(" Quest: 4 Files.")));
    // The file shown already is not read again.
    QSqlQuery(shelf.home.db()).exec(QStringLiteral("UPDATE file SET txt_rtf = 'changed'"));
    shelf.view.SelectFile(shelf.key(shelf.link));
    QCOMPARE(shelf.shown(), QStringLiteral("broken"));

    // A file that is not in the list is reported once.
    shelf.view.SelectFile(shelf.key(shelf.only));
    shelf.view.SelectFile(shelf.key(shelf.only));
    QCOMPARE(missing, QList<QVariantList>{{shelf.key(shelf.only)}});

    // Clicking a row shows its text through the reader; the viewer takes no typing.
    shelf.click(shelf.review);
    QCOMPARE(std::tuple(shelf.view.CurrentFileKey(), shelf.list->SelectedItem()->Key()),
             std::tuple(shelf.key(shelf.review), shelf.key(shelf.review)));
    shelf.view.Viewer()->setFocus();
    QTest::keyClicks(shelf.view.Viewer(), QStringLiteral("typed"));
    QCOMPARE(shelf.shown(), QStringLiteral("changed"));
    QVERIFY(!QFile::exists(shelf.home.file(QStringLiteral("error.log"))));

    // The kept layout brings the column widths back; a list style that is no number leaves the view as it was.
    SaveSetting(SettingKeys::AppLayout, QStringLiteral("1"));
    SaveSetting(SettingKeys::FileView, QStringLiteral("seven"));
    shelf.view.InitView();
    QCOMPARE(std::tuple(shelf.list->ColumnWidth(0), shelf.list->ColumnWidth(2), shelf.list->View()),
             std::tuple(Twips::toPixelsX(3800), Twips::toPixelsX(1640), int(ListView::Report)));

    // A click on "Source" sorts by source, also for games listed later; the first row by that order is the one shown.
    shelf.list_(shelf.quest, QStringLiteral("Quest"));
    auto *header = shelf.view.findChild<QTreeView *>()->header();
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                      QPoint(header->sectionViewportPosition(1) + 5, header->height() / 2));
    shelf.view.Reset();
    shelf.list_(shelf.quest, QStringLiteral("Quest"));
    QCOMPARE(std::tuple(shelf.list->ItemAt(4)->Key(), shelf.view.CurrentFileKey()),
             std::tuple(shelf.key(shelf.review), shelf.list->ItemAt(1)->Key()));
}

void tst_view::longAndUnreadableTexts()
{
    Shelf shelf; // two tables long enough to be read on a worker thread
    const auto table = [](int rows, const char *end) -> QString {
        QString rtf = QStringLiteral("{\\rtf1 ");
        for (int row = 1; row <= rows; ++row)
            rtf += QStringLiteral("\\trowd\\intbl row %1\\cell x\\cell\\row\n").arg(row);
        return rtf + QStringLiteral("\\pard %1}").arg(QLatin1String(end));
    };
    const QString longText = table(8000, "end of table");
    QVERIFY(longText.size() > RichTextLoader::threadedLength);
    const qint32 tableFile = shelf.home.addFile(shelf.empty, 1, QStringLiteral("Table"), longText);
    const qint32 otherFile = shelf.home.addFile(shelf.empty, 1, QStringLiteral("Other"), table(9000, "other"));
    shelf.list_(shelf.empty, QStringLiteral("Empty"), 1);
    QSignalSpy shown(&shelf.view, &ctlView::TextShown);
    const auto *loader = shelf.view.Viewer()->findChild<RichTextLoader *>();
    QSignalSpy completed(loader, &RichTextLoader::Completed);
    const auto oneShot = [](const QString &rtf) {
        QTextEdit edit;
        ShowRichText(&edit, rtf);
        return edit.toPlainText();
    };
    const auto readsOn = [&shelf](const QString &whole) {
        return shelf.shown().size() < whole.size() && whole.startsWith(shelf.shown());
    };
    const QString tableText = oneShot(longText);
    const QString otherText = oneShot(table(9000, "other"));

    // The click shows the beginning at once and the whole follows, the same text as read in one go; a
    // phrase asked for meanwhile is marked in the whole.
    shelf.click(tableFile);
    QCOMPARE(std::tuple(shelf.view.CurrentFileKey(), readsOn(tableText), shown.size(), loader->IsLoading()),
             std::tuple(shelf.key(tableFile), true, qsizetype(1), true));
    QCOMPARE(shelf.view.HighlightPhrase(QStringLiteral("row 7999")), 0);
    QVERIFY(completed.wait(60000));
    QCOMPARE(shelf.shown(), tableText);
    QCOMPARE(std::pair(shelf.view.Viewer()->extraSelections().size(), shelf.view.Viewer()->textCursor().block().text()),
             std::pair(qsizetype(1), QStringLiteral("row 7999")));

    // The whole keeps the reader's place and selection.
    shelf.click(otherFile);
    QScrollBar *bar = shelf.view.Viewer()->verticalScrollBar();
    QTRY_VERIFY(bar->maximum() > 0);
    QVERIFY(readsOn(otherText));
    QTest::keyClick(shelf.view.Viewer(), Qt::Key_Down, Qt::ShiftModifier);
    const QString selected = shelf.view.Viewer()->textCursor().selectedText();
    bar->setValue(bar->maximum() / 2);
    const int place = bar->value();
    QVERIFY(completed.wait(60000));
    QCOMPARE(std::tuple(shelf.shown(), bar->value(), shelf.view.Viewer()->textCursor().selectedText()),
             std::tuple(otherText, place, selected));

    // The find bar, asked while only the beginning shows, searches the whole once it is in.
    shelf.click(tableFile);
    FindBar *finder = shelf.view.Reader()->Finder();
    finder->Open();
    QTest::keyClicks(finder->findChild<QLineEdit *>(QStringLiteral("txtFind")), QStringLiteral("row 7999"));
    finder->FindNext();
    QCOMPARE(finder->findChild<QLabel *>(QStringLiteral("lblMatches"))->text(), QStringLiteral("Searching..."));
    QTRY_COMPARE_WITH_TIMEOUT(finder->MatchCount(), 1, 60000);
    QCOMPARE(shelf.view.Viewer()->textCursor().selectedText(), QStringLiteral("row 7999"));
    finder->Close();

    // A file chosen while another is read replaces it, and what was read of the first never shows.
    shelf.click(tableFile);
    shelf.click(otherFile);
    shelf.click(tableFile);
    completed.clear();
    QVERIFY(completed.wait(60000));
    QTRY_VERIFY(loader->findChildren<QObject *>().isEmpty());
    QCOMPARE(std::pair(completed.size(), shelf.shown()), std::pair(qsizetype(1), tableText));

    // Select All and a Quick Clip of the whole take the whole while it is still read.
    QSignalSpy quick(&shelf.view, &ctlView::SendQuick);
    shelf.click(otherFile);
    shelf.trigger("mnuAddQuick");
    QVERIFY(!loader->IsLoading());
    QCOMPARE(quick.last().at(1).toString(), otherText.trimmed().replace(QLatin1Char('\n'), QStringLiteral("\r\n")));
    shelf.click(tableFile);
    QTest::keyClick(shelf.view.Viewer(), Qt::Key_A, Qt::ControlModifier);
    QCOMPARE(shelf.view.Viewer()->textCursor().selectedText().size(), tableText.size());

    // Clearing the list forgets a text being read.
    shelf.click(otherFile);
    QVERIFY(loader->IsLoading());
    shelf.view.Clear();
    QCOMPARE(std::tuple(loader->IsLoading(), shelf.shown(), IsStartOfRichText(shelf.view.Viewer()->document())),
             std::tuple(false, QString(), false));

    // Files the store cannot read.
    if (TestHome::Shared())
        QSKIP("damaged pages are a store file's");
    ScriptedPrompts prompts;
    shelf.list_(shelf.quest, QStringLiteral("Quest"));
    const QString kept = shelf.view.CurrentFileKey();
    const QList<qint32> damaged = shelf.home.addDamagedFiles(shelf.empty, 3000);
    QVERIFY(!damaged.isEmpty());

    // A damaged file is told and logged; the view keeps the file it showed, and a second try reads again.
    for (int attempt = 1; attempt <= 2; ++attempt) {
        prompts.answerMsgBox(MsgResult::OK);
        shelf.view.SelectFile(shelf.key(damaged.first()));
        QCOMPARE(prompts.shown().size(), attempt);
        QVERIFY(prompts.last().text.startsWith(QStringLiteral("SelectFile Error: 3049")));
        QCOMPARE(std::tuple(shelf.view.CurrentFileKey(), shelf.list->SelectedItem()->Key(), shelf.shown()),
                 std::tuple(kept, kept, QStringLiteral("The guide.")));
    }
    QVERIFY(readFile(shelf.home.file(QStringLiteral("error.log"))).contains("SelectFile"));

    // A game whose list runs into the page is told too, not listed short.
    prompts.answerMsgBox(MsgResult::OK);
    shelf.list_(shelf.empty, QStringLiteral("Empty"));
    QVERIFY(prompts.last().text.startsWith(QStringLiteral("ListFiles Error: 3049")));
    QCOMPARE(shelf.list->Count(), 0);
}

void tst_view::writeAndDelete()
{
    ScriptedPrompts prompts;
    Shelf shelf;
    QSignalSpy counts(&shelf.view, &ctlView::UpdateGameNode);
    shelf.list_(shelf.solo, QStringLiteral("Solo"));

    shelf.view.AddNewFile();
    FileViewer *editor = shelf.view.Editor();
    QVERIFY(editor && editor->isVisible() && editor->CurrentMode() == FileViewer::NewMode);
    editor->findChild<QComboBox *>(QStringLiteral("cboSubCat"))->setCurrentIndex(3);
    editor->findChild<QLineEdit *>(QStringLiteral("txtDesc"))->setText(QStringLiteral("Sneak peek"));
    auto *text = editor->findChild<QTextEdit *>(QStringLiteral("rtbText"));
    text->setFocus();
    QTest::keyClicks(text, QStringLiteral("First look"));
    QVERIFY(editor->Save());
    ListItem *added = shelf.list->SelectedItem();
    QVERIFY(added);
    QCOMPARE(
        std::tuple(added->Text(), added->SubItem(2), shelf.shown(), shelf.caption(), shelf.files(shelf.solo)),
        std::tuple(QString("Sneak peek"), QString("Preview"), QString("First look"), QString(" Solo: 2 Files."), 2));
    QCOMPARE(counts.first(), (QVariantList{NodeKey::Game(shelf.solo, 1, 18), 0}));
    editor->close();

    // Edited (on the stored text), the row and the text follow what was stored.
    shelf.trigger("mnuFileEdit");
    editor = shelf.view.Editor();
    text = editor->findChild<QTextEdit *>(QStringLiteral("rtbText"));
    text->moveCursor(QTextCursor::End);
    QTest::keyClicks(text, QStringLiteral(", revised"));
    editor->findChild<QLineEdit *>(QStringLiteral("txtDesc"))->setText(QString(60, QLatin1Char('d')));
    QVERIFY(editor->Save());
    QCOMPARE(std::tuple(added->Text(), shelf.shown()),
             std::tuple(QString(60, QLatin1Char('d')), QString("First look, revised")));
    editor->close();

    // A double click opens the viewer only to read.
    doubleClick(shelf.list, added);
    QCOMPARE(std::tuple(shelf.view.Editor()->CurrentMode(),
                        shelf.view.Editor()->findChild<QTextEdit *>(QStringLiteral("rtbText"))->toPlainText()),
             std::tuple(quint8(FileViewer::ViewMode), QString("First look, revised")));

    // Deleted, a file leaves the list and the store, after the user said so.
    counts.clear();
    QSignalSpy bookmarks(&shelf.view, &ctlView::DeleteBookmark);
    shelf.list_(shelf.quest, QStringLiteral("Quest"));
    shelf.view.SelectFile(shelf.key(shelf.review));

    prompts.answerMsgBox(MsgResult::No);
    shelf.trigger("mnuFileDel");
    QCOMPARE(std::tuple(prompts.last().text, shelf.list->Count(), shelf.files(shelf.quest)),
             std::tuple(QStringLiteral("Are you sure you wish to delete this Review file?"), 3, 3));

    prompts.answerMsgBox(MsgResult::Yes);
    shelf.trigger("mnuFileDel");
    QCOMPARE(std::tuple(shelf.list->Count(), shelf.files(shelf.quest)), std::tuple(2, 2));
    QCOMPARE(std::pair(QList<QVariantList>(counts), bookmarks.value(0)),
             std::pair(QList<QVariantList>{{NodeKey::Game(shelf.quest, 1, 18), 1}},
                       QVariantList{shelf.path(shelf.review, shelf.quest)}));
    // The first row takes over.
    QCOMPARE(std::tuple(shelf.caption(), shelf.list->SelectedItem(), shelf.shown()),
             std::tuple(QString(" Quest: 2 Files."), shelf.list->ItemAt(1), QString("The guide.")));

    // A file deleted elsewhere still leaves the list; a store that refuses keeps it.
    QSqlQuery(shelf.home.db()).exec(QStringLiteral("DELETE FROM file WHERE auto_id = ") + QString::number(shelf.guide));
    prompts.answerMsgBox(MsgResult::Yes);
    shelf.trigger("mnuFileDel");
    QCOMPARE(std::tuple(shelf.list->Count(), counts.size()), std::tuple(1, 2));
    QSqlQuery(shelf.home.db()).exec(QStringLiteral("DROP TABLE file"));
    prompts.answerMsgBox(MsgResult::Yes);
    prompts.answerMsgBox(MsgResult::OK);
    shelf.trigger("mnuFileDel");
    QCOMPARE(std::tuple(prompts.last().icon, shelf.list->Count(), counts.size()), std::tuple(MsgIcon::Critical, 1, 2));
}

void tst_view::copyAndMove()
{
    Shelf shelf;
    QSignalSpy counts(&shelf.view, &ctlView::UpdateGameNode);
    QSignalSpy moved(&shelf.view, &ctlView::MoveBookmark);
    shelf.list_(shelf.quest, QStringLiteral("Quest"));
    shelf.view.SelectFile(shelf.key(shelf.review));
    const auto send = [&](bool move, const char *game, bool confirm = true) {
        Shelf::choose(QLatin1String(game), confirm);
        shelf.trigger(move ? "mnuFileMove" : "mnuFileCopyTo");
    };

    // Its own game, or a cancel, changes nothing.
    send(true, "Quest");
    send(false, "Quest");
    send(true, "Empty", false);
    QCOMPARE(std::tuple(counts.size(), shelf.files(shelf.quest)), std::tuple(0, 3));

    send(false, "Empty");
    QCOMPARE(std::tuple(shelf.files(shelf.empty), shelf.files(shelf.quest), shelf.list->Count()), std::tuple(1, 3, 3));
    QCOMPARE(counts, (QList<QVariantList>{{NodeKey::Game(shelf.empty, 1, 18), 0}}));
    counts.clear();
    QSqlQuery copy(shelf.home.db());
    QVERIFY(copy.exec(QStringLiteral("SELECT \"desc\", txt_rtf FROM file WHERE game_id = %1").arg(shelf.empty)) &&
            copy.next());
    QCOMPARE(std::tuple(copy.value(0).toString(), copy.value(1).toString()),
             std::tuple(QString("Alpha review"), rtf(QStringLiteral("The review."))));

    // After the copy the flag is down again: the next command moves.
    send(true, "Solo");
    QCOMPARE(std::tuple(shelf.files(shelf.quest), shelf.files(shelf.solo), shelf.list->Count(), shelf.caption(),
                        shelf.shown()),
             std::tuple(2, 2, 2, QStringLiteral(" Quest: 2 Files."), QStringLiteral("The review.")));
    QCOMPARE(counts,
             (QList<QVariantList>{{NodeKey::Game(shelf.quest, 1, 18), 1}, {NodeKey::Game(shelf.solo, 1, 18), 0}}));
    QCOMPARE(moved.first(),
             (QVariantList{shelf.path(shelf.review, shelf.quest), shelf.path(shelf.review, shelf.solo)}));
}

void tst_view::menus()
{
    // The source's scheme decides whether the menu offers it, in any letter case.
    Shelf shelf;
    QSignalSpy bookmarked(&shelf.view, &ctlView::Bookmark);
    const QString fifty(50, QLatin1Char('x'));
    QSqlQuery(shelf.home.db())
        .exec(QStringLiteral("UPDATE file SET \"desc\" = '") + fifty +
              QStringLiteral("', src = 'HTTP://a.example' WHERE auto_id = ") + QString::number(shelf.guide));
    shelf.list_(shelf.quest, QStringLiteral("Quest"));
    // A bookmark takes the description, shortened past 50 characters.
    shelf.trigger("mnuFileBookmark");
    QCOMPARE(bookmarked.first(), (QVariantList{1, shelf.path(shelf.guide, shelf.quest), fifty}));
    shelf.list->ItemAt(1)->setText(fifty + QStringLiteral("y"));
    shelf.trigger("mnuFileBookmark");
    QCOMPARE(bookmarked.last().at(2).toString(), QString(47, QLatin1Char('x')) + QStringLiteral("..."));
    auto *menu = shelf.view.findChild<QMenu *>(QStringLiteral("mnuFile"));
    auto *navigate = shelf.view.findChild<QAction *>(QStringLiteral("mnuNavToSrc"));
    QTreeView *report = shelf.view.findChild<QTreeView *>();
    const auto rightClick = [&](int row) {
        const QRect rect = row < 0 ? QRect(0, report->viewport()->height() - 4, 1, 1)
                                   : report->visualRect(report->model()->index(row, 0));
        QTest::mouseClick(report->viewport(), Qt::RightButton, {}, rect.center());
    };
    rightClick(0);
    QVERIFY(menu->isVisible() && navigate->isVisible() && shelf.view.NavURL() == QStringLiteral("HTTP://a.example"));
    menu->hide();
    // An address that is not a web page's leaves the last web address as it was.
    for (const auto &[source, offered] : {std::pair("https://c.example", true), std::pair("ftp://c.example", false)}) {
        QSqlQuery(shelf.home.db()).exec(QStringLiteral("UPDATE file SET src = '%1'").arg(QLatin1String(source)));
        shelf.view.Reset();
        shelf.list_(shelf.quest, QStringLiteral("Quest"));
        rightClick(0);
        QVERIFY(menu->isVisible() && navigate->isVisible() == offered &&
                shelf.view.NavURL() == QStringLiteral("https://c.example"));
        menu->hide();
    }
    rightClick(-1); // below the rows
    auto *addOnly = shelf.view.findChild<QMenu *>(QStringLiteral("mnuAddOnly"));
    QVERIFY(!shelf.list->SelectedItem() && addOnly->isVisible());
    addOnly->hide();

    // The viewer's pop-up: Quick Clip for two characters or more, Copy for any selection, Select All always.
    QSignalSpy quick(&shelf.view, &ctlView::SendQuick);
    auto *quickMenu = shelf.view.findChild<QMenu *>(QStringLiteral("mnuQuickMenu"));
    const auto offered = [quickMenu](const char *name) {
        const QAction *action = quickMenu->findChild<QAction *>(QLatin1String(name));
        return action->isVisible() && action->isEnabled();
    };
    const auto select = [&](int from, int to) {
        QTextCursor cursor = shelf.view.Viewer()->textCursor();
        cursor.setPosition(from);
        cursor.setPosition(to, QTextCursor::KeepAnchor);
        shelf.view.Viewer()->setTextCursor(cursor);
    };
    shelf.view.SelectFile(shelf.key(shelf.review));
    for (int length : {0, 1, 2}) {
        select(0, length);
        QContextMenuEvent rightClick(QContextMenuEvent::Mouse, QPoint(2, 2),
                                     shelf.view.Viewer()->viewport()->mapToGlobal(QPoint(2, 2)));
        QApplication::sendEvent(shelf.view.Viewer()->viewport(), &rightClick);
        QCOMPARE(
            std::tuple(quickMenu->isVisible(), offered("mnuSelectAll"), offered("mnuSendQuick"), offered("mnuCopy")),
            std::tuple(true, true, length == 2, length > 0));
        quickMenu->hide();
    }
    // A Quick Clip of a selection takes only the selected text under the game's header.
    select(4, 10);
    shelf.trigger("mnuSendQuick");
    QCOMPARE(quick.last(),
             (QVariantList{QStringLiteral("Platform: PC\r\nGame: Quest\r\nGenre: Action"), QStringLiteral("review")}));

    // In the viewer and the file window Ctrl+A and Ctrl+C copy all.
    ScriptedPrompts prompts;
    shelf.trigger("mnuFileView");
    for (QTextEdit *text :
         {shelf.view.Viewer(), shelf.view.Editor()->findChild<QTextEdit *>(QStringLiteral("rtbText"))}) {
        QVERIFY(text && !text->toPlainText().isEmpty());
        text->window()->activateWindow();
        text->setFocus();
        QGuiApplication::clipboard()->clear();
        QTest::keyClick(text, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(text, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QGuiApplication::clipboard()->text(), text->toPlainText());
    }
}

// A guide detection read wrong is read again in the encoding the user picks while seeing its first
// lines; the text it replaces is kept in the day's backup (a shared library asks instead), and the
// list's text and the open windows follow.
void tst_view::reopenWithEncoding()
{
    Shelf shelf;
    QTemporaryDir dir;
    QString russian;
    for (int line = 1; line <= 100; ++line)
        russian += QStringLiteral("Строка %1: прохождение подземелья, босс и ключ.\n").arg(line);
    const QByteArray koi8 = QStringEncoder("koi8-r").encode(russian);
    const QString path = dir.filePath(QStringLiteral("Guide.txt"));
    writeFile(path, koi8);
    FileImport import(shelf.home.db(), shelf.solo);
    ImportedFile file = FileImport::Convert(path, 0, QStringLiteral("windows-1251"));
    ErrObject err;
    QVERIFY(import.Begin(&err) && import.Store(&file, &err));
    const QString oldRtf = file.Row.txt_rtf;
    const auto stored = [&] {
        FileRow row;
        bool found = false;
        return FileTable::Read(shelf.home.db(), file.Row.auto_id, &row, &found, &err) && found
                   ? RtfReader::PlainText(RtfReader::FromStoredText(row.txt_rtf))
                   : QString();
    };
    shelf.list_(shelf.solo, QStringLiteral("Solo"));
    auto *reopen = shelf.view.findChild<QAction *>(QStringLiteral("mnuFileReopen"));
    QTreeView *report = shelf.view.findChild<QTreeView *>();
    const auto offered = [&](qint32 id) {
        shelf.click(id);
        QTest::mouseClick(report->viewport(), Qt::RightButton, {},
                          rowCenter(shelf.list, shelf.list->Item(shelf.key(id))));
        shelf.view.findChild<QMenu *>(QStringLiteral("mnuFile"))->hide();
        return std::pair(reopen->isEnabled(), reopen->isEnabled() ? QString() : reopen->toolTip());
    };
    // Only a file read from a file that is still there: the reason shows on the greyed-out item.
    QCOMPARE(offered(shelf.only),
             std::pair(false, QStringLiteral("Only a file imported from a file on this computer can be read again.")));
    QCOMPARE(offered(file.Row.auto_id), std::pair(true, QString()));
    shelf.trigger("mnuFileView");
    const FileViewer *window = shelf.view.Editor();

    // The list starts on the encoding detected, its preview the first 60 lines, and follows the keys.
    ScriptedPrompts prompts;
    const auto pick = [&](const QString &label, const QString &startsOn) {
        whenModalShown<frmReopenEncoding>("frmReopenEncoding", [=](frmReopenEncoding *dialog) {
            auto *list = dialog->findChild<QListWidget *>(QStringLiteral("lstEncodings"));
            auto *preview = dialog->findChild<QPlainTextEdit *>(QStringLiteral("txtPreview"));
            QCOMPARE(list->currentItem()->text(), startsOn);
            const QString shown = preview->toPlainText();
            QTest::keyClick(list, Qt::Key_Up);
            QVERIFY(preview->toPlainText() != shown &&
                    preview->document()->blockCount() <= frmReopenEncoding::PreviewLines);
            const QList<QListWidgetItem *> item = list->findItems(label, Qt::MatchExactly);
            QCOMPARE(item.size(), 1);
            QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(item.first()).center());
            QCOMPARE(
                std::pair(preview->document()->blockCount(), preview->document()->firstBlock().text()),
                std::pair(frmReopenEncoding::PreviewLines,
                          QString(QStringDecoder(qPrintable(dialog->Encoding())).decode(koi8)).section(u'\n', 0, 0)));
            dialog->findChild<QPushButton *>(QStringLiteral("cmdReplace"))->click();
        });
        if (TestHome::Shared())
            prompts.answerMsgBox(MsgResult::Yes);
        reopen->trigger();
    };
    pick(QStringLiteral("Cyrillic (KOI8-R)"), QStringLiteral("Cyrillic (KOI8-R)"));
    QCOMPARE(stored(), russian);
    QTRY_COMPARE(shelf.shown(), russian);
    QTRY_COMPARE(window->findChild<QTextEdit *>(QStringLiteral("rtbText"))->toPlainText(), russian);
    const QVector<BackupInfo> backups = StoreBackup::List(BackupJob::Folder());
    if (TestHome::Shared()) {
        QVERIFY(backups.isEmpty() && prompts.last().text.contains(QStringLiteral("will not be kept")));
    } else {
        // No backup today: the day's is made, holding the old text.
        QVERIFY(backups.size() == 1 && backups[0].Note.isEmpty() &&
                StoreBackup::HoldsText(backups[0].Path, file.Row.auto_id, oldRtf));
        // Today's backup holds an older text now: another is made before the next change.
        pick(QStringLiteral("Western (Windows-1252)"), QStringLiteral("Cyrillic (KOI8-R)"));
        QCOMPARE(StoreBackup::List(BackupJob::Folder()).size(), 2);
        QCOMPARE(stored(), QStringDecoder("windows-1252").decode(koi8));
    }

    // A file that went after the menu showed, or one that says its own encoding, is not read
    // again, and the user hears why.
    QVERIFY(offered(file.Row.auto_id).first && QFile::remove(path));
    prompts.answerMsgBox(MsgResult::OK);
    reopen->trigger();
    QVERIFY(prompts.last().text.contains(QStringLiteral("is no longer there")));
    QCOMPARE(offered(file.Row.auto_id).first, false);
    const QString rtfPath = dir.filePath(QStringLiteral("Guide.rtf"));
    writeFile(rtfPath, "{\\rtf1\\ansi Boss\\par}");
    runElsewhere(shelf.home.storePath(),
                 {QStringLiteral("UPDATE file SET src = '%1' WHERE auto_id = %2").arg(rtfPath).arg(file.Row.auto_id)});
    shelf.view.RefreshFiles();
    QVERIFY(offered(file.Row.auto_id).first);
    prompts.answerMsgBox(MsgResult::OK);
    reopen->trigger();
    QVERIFY(prompts.last().text.contains(QStringLiteral("is an RTF document")));
}

QTEST_MAIN(tst_view)
#include "tst_view.moc"

void tst_view::fixedPitchKeepsItsLines()
{
    Shelf shelf;
    QString table;
    for (int row = 1; row <= 30; ++row)
        table += QStringLiteral("| %1 | %2 |\n").arg(row, 3).arg(QString(110, QLatin1Char('=')));
    const QString fixedRtf = QString::fromLatin1(RtfWriter::FromPlainText(table, RtfWriter::PlainTextFont::FixedPitch));
    const qint32 dos = shelf.home.addFile(shelf.empty, 1, QStringLiteral("Table"), fixedRtf);
    const qint32 prose = shelf.home.addFile(shelf.empty, 3, QStringLiteral("Prose"), rtf(table));
    shelf.list_(shelf.empty, QStringLiteral("Empty"), 1);
    QTextEdit *text = shelf.view.Viewer();
    const auto state = [&] {
        return std::tuple(shelf.view.ShowsFixedPitchText(), text->lineWrapMode(),
                          text->horizontalScrollBar()->maximum() > 0);
    };

    // A fixed-pitch table runs on past the edge until wrapping is asked for; prose always wraps.
    shelf.click(dos);
    QCOMPARE(state(), std::tuple(true, QTextEdit::NoWrap, true));
    shelf.view.SetWrapLines(true);
    QCOMPARE(state(), std::tuple(true, QTextEdit::WidgetWidth, false));
    shelf.view.SetWrapLines(false);
    shelf.click(prose);
    QCOMPARE(state(), std::tuple(false, QTextEdit::WidgetWidth, false));

    // A file window's choice is its own and is kept for the next window.
    const auto window = [&](qint32 file, const QString &stored) {
        auto *viewer = new FileViewer(&shelf.view);
        viewer->setStore(&shelf.home.store());
        viewer->Open(FileViewer::ViewMode, 18, 1, shelf.empty, QStringLiteral("Empty"), file, 1, QString(),
                     QStringLiteral("Table"), stored);
        return std::pair(viewer, viewer->findChild<QAction *>(QStringLiteral("cmdWrap")));
    };
    const auto [first, wrap] = window(dos, fixedRtf);
    QVERIFY(wrap->isEnabled() && !wrap->isChecked());
    wrap->trigger();
    QCOMPARE(first->findChild<QTextEdit *>(QStringLiteral("rtbText"))->lineWrapMode(), QTextEdit::WidgetWidth);
    const auto [second, secondWrap] = window(prose, rtf(table));
    QCOMPARE(std::pair(secondWrap->isChecked(), secondWrap->isEnabled()), std::pair(true, false));
    QCOMPARE(GetSetting(SettingKeys::FileWindowWrapLines), QStringLiteral("1"));
    first->close();
    second->close();
}
