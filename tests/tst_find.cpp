#include "ScriptedPrompts.h"
#include "StartMainWindow.h"
#include "TestHome.h"
#include "TreeClicks.h"
#include "data/NodeKey.h"
#include "find/QuickFindLog.h"
#include "find/frmFind.h"
#include "store/KeptConnection.h"
#include "system/SettingsStore.h"
#include "widgets/TreeView.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <future>

namespace {

// Files on two platforms: Quest and Maze on the PC (18), Racer on the NES (1).
struct Desk
{
    TestHome home;
    ScriptedPrompts prompts;
    qint32 quest = home.addGame(18, 1, QStringLiteral("Quest"));
    qint32 maze = home.addGame(18, 4, QStringLiteral("Maze"));
    qint32 racer = home.addGame(1, 3, QStringLiteral("Racer"));
    qint32 guide = home.addFile(quest, 1, QStringLiteral("Dragon guide"));
    qint32 codes = home.addFile(maze, 2, QStringLiteral("Dragon codes"));
    qint32 review = home.addFile(racer, 3, QStringLiteral("Fast review"));

    frmFind *open()
    {
        auto *form = new frmFind;
        form->setStore(&home.store());
        form->show();
        return form;
    }
};

template <class T = QCheckBox> T *child(QWidget *form, const char *name)
{
    return form->findChild<T *>(QString::fromLatin1(name));
}

// Searches for `phrase` with the Find button, until the search has ended; the titles the results
// were given.
QStringList search(frmFind *form, const QString &phrase)
{
    const QPointer<frmFind> alive(form);
    QSignalSpy titles(form, &frmFind::SearchTitle);
    child<QComboBox>(form, "cboFind")->setEditText(phrase);
    child<QPushButton>(form, "cmdFind")->click();
    if (!QTest::qWaitFor([&] { return !alive || !alive->Searching(); }))
        QTest::qFail("the search did not end", __FILE__, __LINE__);
    QStringList texts;
    for (const QList<QVariant> &title : qAsConst(titles))
        texts << title.at(0).toString();
    return texts;
}

} // namespace

class tst_find final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void settingsAndWindow()
    {
        Desk desk;
        QPointer<frmFind> form = desk.open();
        // At first every category and every field is searched.
        for (const QCheckBox *box : form->findChildren<QCheckBox *>())
            QVERIFY2(box->isChecked() == box->objectName().startsWith(QLatin1String("chkFile")),
                     qPrintable(box->objectName()));
        // The game lists come with chk1; the second platform, the PC, first, with its games in name order.
        QCOMPARE(std::tuple(child<QComboBox>(form, "cboPlatform")->currentText(),
                            child<QComboBox>(form, "cboGame")->itemText(0), child<QLabel>(form, "Label1")->text()),
                 std::tuple(QStringLiteral("PC"), QStringLiteral("Maze"), QStringLiteral(" Games: 2")));
        QVERIFY(!child<QComboBox>(form, "cboGame")->isEnabled());
        child(form, "chk1")->click();
        QVERIFY(child<QComboBox>(form, "cboGame")->isEnabled());

        for (const char *box : {"chkFileCat1", "chkFileCat5", "chkFileField3"})
            child(form, box)->click();
        child<QPushButton>(form, "cmdCancel")->click();
        QTRY_VERIFY(form.isNull());
        QCOMPARE(std::tuple(GetSetting(SettingKeys::FindCategory(1)), GetSetting(SettingKeys::FindCategory(2)),
                            GetSetting(SettingKeys::FindField(3))),
                 std::tuple(QStringLiteral("0"), QStringLiteral("1"), QStringLiteral("0")));

        // The next window starts from what was saved; chk1 is not kept.
        form = desk.open();
        QVERIFY(!child(form, "chkFileCat1")->isChecked() && !child(form, "chkFileField3")->isChecked());
        QVERIFY(child(form, "chkFileCat6")->isChecked() && !child(form, "chk1")->isChecked());

        // Find is enabled by a phrase, not by blanks.
        QSignalSpy cleared(form, &frmFind::ClearSearch);
        auto *cboFind = child<QComboBox>(form, "cboFind");
        auto *cmdFind = child<QPushButton>(form, "cmdFind");
        QTest::keyClicks(cboFind, QStringLiteral(" x"));
        QVERIFY(cmdFind->isEnabled());
        cboFind->setEditText(QStringLiteral("   "));
        QVERIFY(!cmdFind->isEnabled());
        // Enter with only blanks closes the window without searching.
        QTest::keyClick(cboFind, Qt::Key_Return);
        QTRY_VERIFY(form.isNull());
        QCOMPARE(cleared.count(), 0);

        // From the main window, the game lists start on the tree's game (the keyboard's place is tst_keyboard's).
        auto main = startMainWindow(desk.home.storePath());
        const QString key = NodeKey::Game(desk.racer, 3, 1);
        QTRY_VERIFY(main->findChild<TreeView *>()->Node(key));
        QVERIFY(clickNode(main->findChild<TreeView *>(), key));
        main->Menu().mnuSearchLorekeep->trigger();
        form = main->findChild<frmFind *>();
        child(form, "chk1")->click();
        QCOMPARE(std::tuple(child<QComboBox>(form, "cboPlatform")->currentData().toInt(),
                            child<QComboBox>(form, "cboGame")->currentText()),
                 std::tuple(1, QStringLiteral("Racer")));
    }
    void searches_data()
    {
        // Boxes clicked from the first settings, the phrase, then what the search told.
        QTest::addColumn<QStringList>("boxes");
        QTest::addColumn<QString>("phrase");
        QTest::addColumn<QString>("title");   // empty: no search ran
        QTest::addColumn<QString>("message"); // empty: only a warning
        QTest::addColumn<qint32>("hit");      // 0: none
        const auto row = [](const char *name, const QStringList &boxes, const char *phrase, const char *title,
                            const char *message, qint32 hit) {
            QTest::newRow(name) << boxes << QString(phrase) << QString(title) << QString(message) << hit;
        };
        row("no fields", {"chkFileField1", "chkFileField2", "chkFileField3"}, "Dragon", "", "", 0);
        row("only news, none", {"chkFileCat1", "chkFileCat2", "chkFileCat3", "chkFileCat4", "chkFileCat6"}, "Dragon",
            "", "No records found.", 0);
        row("case", {}, "dragon", "0 items found.", "Finished!", 0);
        // The description's last word, a blank and the source's start: found across the join.
        row("join", {}, "guide https://example.org/Dragon", "1 item found.", "Finished!", 1);
        row("description alone", {"chkFileField2"}, "guide https", "0 items found.", "Finished!", 0);
        row("within Maze", {"chk1"}, "Dragon", "1 item found.", "Finished!", 2);
    }
    void searches()
    {
        QFETCH(QStringList, boxes);
        QFETCH(QString, phrase);
        QFETCH(QString, title);
        QFETCH(QString, message);
        QFETCH(qint32, hit);
        Desk desk;
        QPointer<frmFind> form = desk.open();
        for (const QString &box : boxes)
            child(form, qPrintable(box))->click();
        QSignalSpy adds(form, &frmFind::AddSearch);
        QSignalSpy titles(form, &frmFind::SearchTitle);
        desk.prompts.answerMsgBox(MsgResult::OK);
        child<QComboBox>(form, "cboFind")->setEditText(phrase);
        QTest::keyClick(child<QComboBox>(form, "cboFind"), Qt::Key_Enter);
        QTRY_VERIFY(!form || !form->Searching());
        const PromptRecord told = desk.prompts.last();
        QCOMPARE(std::tuple(titles.value(0).value(0).toString(), message.isEmpty() ? QString() : told.text,
                            told.icon == MsgIcon::Exclamation, adds.size()),
                 std::tuple(title, message, message.isEmpty(), qsizetype(hit ? 1 : 0)));
        // A search that ran closes the window; one that could not stays for another try.
        QTRY_COMPARE(form.isNull(), !title.isEmpty());
        if (hit == 1)
            QCOMPARE(adds.value(0), (QList<QVariant>{desk.guide, QStringLiteral("PC"), QStringLiteral("Quest"),
                                                     quint8(1), QStringLiteral("Dragon guide"),
                                                     NodeKey::Game(desk.quest, 1, 18), QStringLiteral("File")}));
        else if (hit == 2)
            QCOMPARE(adds.value(0).value(0).toInt(), desk.codes);
        delete form;
    }
    void phraseList()
    {
        Desk desk;
        const QString log = desk.home.file(QStringLiteral("quickfind.log"));
        writeFile(log, "Dragon guide\r\n\r\nFast \n");
        QPointer<frmFind> form = desk.open();
        auto *cboFind = child<QComboBox>(form, "cboFind");
        QCOMPARE(std::tuple(cboFind->count(), cboFind->itemText(1), cboFind->currentText()),
                 std::tuple(2, QStringLiteral("Fast "), QString()));
        // Choosing a phrase from the list is a change of the phrase.
        cboFind->setCurrentIndex(0);
        QVERIFY(child<QPushButton>(form, "cmdFind")->isEnabled());

        // Each phrase searched goes to the top of the log, once, in UTF-8 with CR LF; even without results.
        desk.prompts.answerMsgBox(MsgResult::OK);
        search(form, QStringLiteral(" Caf\u00e9 "));
        QCOMPARE(readFile(log), "Caf\xc3\xa9\r\nDragon guide\r\nFast \r\n");
        desk.prompts.answerMsgBox(MsgResult::OK);
        form = desk.open();
        QCOMPARE(child<QComboBox>(form, "cboFind")->itemText(0), QStringLiteral("Caf\u00e9"));
        search(form, QStringLiteral("Dragon guide"));
        QCOMPARE(readFile(log), "Dragon guide\r\nCaf\xc3\xa9\r\nFast \r\n");

        // The newest 25 are kept; a phrase differing only in case is another phrase.
        QStringList many;
        for (int i = 0; i < 30; ++i)
            many << QStringLiteral("p%1").arg(i);
        const QStringList kept = QuickFindLog::Remember(many, QStringLiteral("P3"));
        QCOMPARE(std::tuple(kept.size(), kept.first(), kept.at(4)), std::tuple(25, QStringLiteral("P3"), many.at(3)));

        // A log that cannot be replaced leaves a record, and the search goes on.
        QVERIFY(QFile::remove(log) && QDir().mkdir(log));
        desk.prompts.answerMsgBox(MsgResult::OK);
        form = desk.open();
        QCOMPARE(search(form, QStringLiteral("Dragon")), QStringList{QStringLiteral("2 items found.")});
        QVERIFY(readFile(desk.home.file(QStringLiteral("error.log"))).contains("quickfind.log"));
    }
    void stopping()
    {
        Desk desk;
        QPointer<frmFind> form = desk.open();
        QSignalSpy adds(form, &frmFind::AddSearch);
        QSignalSpy titles(form, &frmFind::SearchTitle);
        auto *cmdFind = child<QPushButton>(form, "cmdFind");
        child<QComboBox>(form, "cboFind")->setEditText(QStringLiteral("Dragon"));
        // While the search runs its button stops it: what was found stays listed, the window stays
        // for another try, and no "Finished!" is said. The search waits behind other work on its
        // connection until the click: on a busy machine these few files could all be searched first.
        std::promise<void> held;
        KeptConnection::Start(desk.home.storePath(),
                              [go = held.get_future().share()](const QSqlDatabase &, const ErrObject &) {
                                  go.wait();
                                  return true;
                              });
        cmdFind->click();
        QVERIFY(form->Searching() && cmdFind->text() == QStringLiteral("&Stop"));
        cmdFind->click();
        held.set_value();
        QTRY_VERIFY(!form->Searching());
        QCOMPARE(std::tuple(titles.size(), cmdFind->text(), form->isVisible(), desk.prompts.shown().size()),
                 std::tuple(1, QStringLiteral("&Find"), true, qsizetype(0)));
        QCOMPARE(titles.value(0).value(0).toString(),
                 QStringLiteral("%1 %2 found before the search was stopped.")
                     .arg(adds.size())
                     .arg(adds.size() == 1 ? QStringLiteral("item") : QStringLiteral("items")));
        // Closing the window in the middle of a search ends it too.
        cmdFind->click();
        form->close();
        QTRY_VERIFY(form.isNull());
    }
};

QTEST_MAIN(tst_find)
#include "tst_find.moc"
