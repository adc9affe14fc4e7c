// Shared libraries in the window: File > Open Shared Library, Open Recent, the start on the library
// opened last and its ways out, Back Up Now and Copy Library To. Shared cases run on PostgreSQL only.

#include "ScriptedPrompts.h"
#include "StartMainWindow.h"
#include "TestHome.h"
#include "TreeClicks.h"
#include "WhenModal.h"
#include "backup/frmBackups.h"
#include "base/AppPath.h"
#include "components/BackupJob.h"
#include "data/HomeFolder.h"
#include "data/NodeKey.h"
#include "data/StoreCopy.h"
#include "shell/frmSharedLibrary.h"
#include "store/Schema.h"
#include "system/SettingsStore.h"
#include "view/ctlView.h"
#include "widgets/ListView.h"

#include <QAction>
#include <QApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QLineEdit>
#include <QMenu>
#include <QProcess>
#include <QPushButton>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

namespace {

// Types the test server's parts into the connection dialog, as a user would, and clicks OK.
void typeAddress(frmSharedLibrary *dialog, const QString &database)
{
    for (const auto &[box, text] :
         {std::pair(dialog->txtHost, qEnvironmentVariable("PGHOST")),
          std::pair(dialog->txtPort, qEnvironmentVariable("PGPORT")), std::pair(dialog->txtDatabase, database),
          std::pair(dialog->txtUser, qEnvironmentVariable("PGUSER")),
          std::pair(dialog->txtPassword, qEnvironmentVariable("PGPASSWORD"))}) {
        box->clear();
        QTest::keyClicks(box, text);
    }
    QTest::mouseClick(dialog->buttons->button(QDialogButtonBox::Ok), Qt::LeftButton);
}

int gamesIn(const QString &store)
{
    modADO opened(QStringLiteral("count"));
    ErrObject err;
    QSqlQuery query(opened.Open(store, &err) ? opened.Connection() : QSqlDatabase());
    return query.exec(QStringLiteral("SELECT count(*) FROM game")) && query.next() ? query.value(0).toInt() : -1;
}

QStringList recentItems(const frmMain &form)
{
    QStringList items;
    for (const QAction *item : form.Menu().mnuFileRecent->actions())
        if (!item->isSeparator() && item->objectName() != QLatin1String("mnuFileRecentClear"))
            items << item->text();
    return items;
}

const QString secret = QStringLiteral("pw-7f3a9c");

} // namespace

class tst_sharedwindow final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void recentStores();
    void sharedLibraryInTheWindow();
    void sharedLibraryAtStart();
    void copyLibrary();
};

void tst_sharedwindow::init()
{
    clearSettings();
    // Copy Library To runs on both kinds; the recent list on store files, the rest on the server only.
    const QByteArray test = QTest::currentTestFunction();
    if (test != "copyLibrary" && TestHome::Shared() == (test == "recentStores"))
        QSKIP(TestHome::Shared() ? "store files only" : "needs the PostgreSQL server of the shared run");
}

void tst_sharedwindow::recentStores()
{
    TestHome home;
    ScriptedPrompts prompts;
    auto form = startMainWindow();
    SaveSetting(SettingKeys::LastShared, QStringLiteral("postgresql://ann@nas/games"));
    const auto store = [&](int n) {
        return home.file(QStringLiteral("Store %1.lkb").arg(n));
    };
    QStringList expected;
    for (int n = 1; n <= 9; ++n) {
        ErrObject err;
        QVERIFY(Schema::CreateStore(store(n), &err));
        prompts.answerOpenFile(store(n));
        form->Menu().mnuFileConnect->trigger();
        expected.prepend(QDir::toNativeSeparators(store(n)));
    }
    // The eight opened last, newest first; a file opened means the next start opens no shared library.
    for (int n = 0; n < 8; ++n)
        expected[n] = QStringLiteral("&%1 ").arg(n + 1) + expected.at(n);
    QCOMPARE(recentItems(*form), expected.mid(0, 8));
    QCOMPARE(GetSetting(SettingKeys::LastShared), QString());
    // An item opens its store and moves up; a file gone is reported and leaves the list.
    form->Menu().mnuFileRecent->actions().at(2)->trigger();
    QCOMPARE(form->Store().DatabasePath(), store(7));
    QVERIFY(QFile::remove(store(8)));
    prompts.answerMsgBox(MsgResult::OK);
    form->Menu().mnuFileRecent->actions().at(2)->trigger();
    QVERIFY(prompts.last().text.contains(QStringLiteral("Could not find")));
    const QStringList left = recentItems(*form);
    QCOMPARE(std::tuple(left.size(), left.constFirst(), left.join(QString()).contains(QStringLiteral("Store 8"))),
             std::tuple(qsizetype(7), QStringLiteral("&1 ") + QDir::toNativeSeparators(store(7)), false));
}

void tst_sharedwindow::sharedLibraryInTheWindow()
{
    TestHome home;
    ScriptedPrompts prompts;
    ErrObject err;
    QVERIFY(Schema::CreateStore(AppPath() + HomeFolder::StoreFileName, &err));
    const qint32 game = home.addGame(1, 1, QStringLiteral("Zelda"));
    const qint32 gone = home.addGame(1, 1, QStringLiteral("Metroid"));
    home.addFile(game, 1, QStringLiteral("Walkthrough"));
    const QString database = modADO::NameFromPath(home.storePath()), password = qEnvironmentVariable("PGPASSWORD");
    auto form = startMainWindow();
    whenModal<frmSharedLibrary>(nullptr, [&](frmSharedLibrary *dialog) {
        QCOMPARE(std::pair(dialog->txtPassword->echoMode(), dialog->txtPort->text()),
                 std::pair(QLineEdit::Password, QStringLiteral("5432")));
        typeAddress(dialog, database);
    });
    form->Menu().mnuFileOpenShared->trigger();
    QCOMPARE(form->windowTitle(), QStringLiteral("Lorekeep - [%1] - Files").arg(database));
    // Remembered for the next start and the recent list, its password nowhere.
    const QString address = StoreAddress::WithoutPassword(form->Store().DatabasePath());
    QCOMPARE(std::pair(GetSetting(SettingKeys::LastShared), recentItems(*form).constFirst()),
             std::pair(address, QString(QStringLiteral("&1 ") + address)));
    const QByteArray settings = readFile(SettingsFileName());
    QVERIFY(settings.contains(database.toUtf8()) && !settings.contains(password.toUtf8()));
    QVERIFY(!form->Menu().mnuToolsCheck->isEnabled());
    whenModal<frmSharedLibrary>(nullptr, [&](frmSharedLibrary *dialog) {
        QCOMPARE(std::pair(dialog->txtDatabase->text(), dialog->txtPassword->text()), std::pair(database, password));
    });
    form->Menu().mnuFileOpenShared->trigger();

    // Back Up Now keeps a .lkb copy that lists with the backups; none is restored over the library.
    prompts.answerMsgBox(MsgResult::OK);
    whenModal<frmBackups>(nullptr, [](frmBackups *dialog) {
        QTest::mouseClick(dialog->cmdBackUpNow, Qt::LeftButton);
        QCOMPARE(dialog->lvwBackups->topLevelItem(0)->text(frmBackups::KindColumn), QStringLiteral("Manual"));
        QTest::mouseClick(dialog->cmdRestore, Qt::LeftButton);
    });
    form->Menu().mnuFileRestore->trigger();
    QVERIFY(prompts.last().text.contains(QStringLiteral("cannot be restored over the shared library")));
    const QVector<BackupInfo> backups = StoreBackup::List(BackupJob::Folder(), database);
    QCOMPARE(std::pair(backups.size(), gamesIn(backups.value(0).Path)), std::pair(qsizetype(1), 2));

    // Another program writes to the library: within about a second the window shows it.
    auto *tree = form->findChild<TreeView *>(QStringLiteral("tvwFiles"));
    auto *list = form->findChild<ctlView *>()->findChild<ListView *>();
    const QString key = NodeKey::Game(game, 1, 1);
    QVERIFY(clickNode(tree, key));
    QTRY_COMPARE(list->Count(), 1);

    // lkimport adds two files to the game shown; a second connection renames it and deletes another.
    QTemporaryDir dir;
    for (const char *name : {"Part 1.txt", "Part 2.txt"})
        writeFile(dir.filePath(QLatin1String(name)), "A guide.\n");
    QProcess lkimport;
    lkimport.start(QStringLiteral(LKIMPORT_EXE), {QStringLiteral("--store"), home.storePath(), QStringLiteral("--game"),
                                                  QString::number(game), dir.path()});
    QVERIFY(lkimport.waitForFinished(30000) && lkimport.exitCode() == 0);
    QTRY_COMPARE_WITH_TIMEOUT(list->Count(), 3, 3000);
    runElsewhere(home.storePath(), {QStringLiteral("UPDATE game SET name = 'Zelda II' WHERE auto_id = %1").arg(game),
                                    QStringLiteral("DELETE FROM game WHERE auto_id = %1").arg(gone)});
    QTRY_VERIFY_WITH_TIMEOUT(tree->Node(key) && tree->Node(key)->text(0).startsWith(QStringLiteral("Zelda II")), 3000);
    QVERIFY(!tree->Node(NodeKey::Game(gone, 1, 1)));
}

void tst_sharedwindow::sharedLibraryAtStart()
{
    TestHome home;
    ScriptedPrompts prompts;
    ErrObject err;
    QVERIFY(Schema::CreateStore(AppPath() + HomeFolder::StoreFileName, &err));
    const QString database = modADO::NameFromPath(home.storePath());
    runElsewhere(home.storePath(), {QStringLiteral("CREATE ROLE lk_reader LOGIN PASSWORD '%1'").arg(secret),
                                    QStringLiteral("GRANT SELECT ON ALL TABLES IN SCHEMA public TO lk_reader")});
    // Without its password, libpq offers the server's own from the environment, which is refused.
    const QString asReader = StoreAddress::Build(qEnvironmentVariable("PGHOST"), qEnvironmentVariable("PGPORT").toInt(),
                                                 database, QStringLiteral("lk_reader"), {});
    SaveSetting(SettingKeys::LastShared, asReader);
    prompts.answerChoice(QStringLiteral("Enter Password"));
    prompts.answerPassword(secret);
    prompts.answerMsgBox(MsgResult::OK);
    auto form = startMainWindow();
    const PromptRecord asked = prompts.shown().value(0);
    QCOMPARE(asked.choices, QStringList({QStringLiteral("&Retry"), QStringLiteral("&Enter Password..."),
                                         QStringLiteral("Open &Home Library")}));
    QVERIFY(asked.text.contains(asReader) && asked.text.contains(QStringLiteral("refused")));
    QCOMPARE(prompts.shown().value(1).kind, PromptRecord::Password);
    QVERIFY(prompts.last().text.contains(QStringLiteral("\"lk_reader\" may only read")));
    QCOMPARE(form->windowTitle(), QStringLiteral("Lorekeep - [%1 (read-only)] - Files").arg(database));
    // No day's backup of a shared library; the password typed is kept for the session only.
    QVERIFY(StoreBackup::List(BackupJob::Folder(), database).isEmpty());
    QVERIFY(!readFile(SettingsFileName()).contains(secret.toUtf8()));
    prompts.answerOpenFile(AppPath() + HomeFolder::StoreFileName);
    form->Menu().mnuFileConnect->trigger();
    prompts.answerMsgBox(MsgResult::OK);
    form->Menu().mnuFileRecent->actions().at(1)->trigger();
    QCOMPARE(std::pair(prompts.last().kind, form->Store().IsReadOnly()), std::pair(PromptRecord::Message, true));
    form->close();

    // A FILE argument whose server does not answer: Retry asks again, then the home's store opens.
    prompts.answerChoice(QStringLiteral("Retry"));
    prompts.answerChoice(QStringLiteral("Open Home"));
    const qsizetype before = prompts.shown().size();
    form =
        startMainWindow(StoreAddress::Build(QStringLiteral("127.0.0.1"), 1, database, QStringLiteral("ann"), secret));
    QCOMPARE(prompts.shown().size(), before + 2);
    QVERIFY(prompts.last().text.contains(QStringLiteral("cannot be reached")) && !prompts.last().text.contains(secret));
    QCOMPARE(form->Store().DatabasePath(), AppPath() + HomeFolder::StoreFileName);
}

void tst_sharedwindow::copyLibrary()
{
    TestHome home;
    ScriptedPrompts prompts;
    home.addFile(home.addGame(1, 1, QStringLiteral("Zelda")), 1, QStringLiteral("Walkthrough"));
    auto form = startMainWindow(home.storePath());
    const QString dest = home.file(QStringLiteral("Copy.lkb"));
    for (int round = 0; round < 2; ++round) {
        prompts.answerChoice(QStringLiteral("New File"));
        prompts.answerSaveFile(dest);
        prompts.answerMsgBox(MsgResult::OK);
        form->Menu().mnuFileCopy->trigger();
    }
    // The first copy is made; the second, onto a store that is there already, is refused as StoreCopy words it.
    ErrObject err;
    QVERIFY(!StoreCopy::CheckDestination(dest, &err));
    QCOMPARE(std::pair(prompts.shown().at(prompts.shown().size() - 4).text, prompts.last().text),
             std::pair(QStringLiteral("Copied 1 games, 1 files, 0 bookmarks, 0 favorites, 0 page snapshots to \"%1\".")
                           .arg(QDir::toNativeSeparators(dest)),
                       err.Description));
    QCOMPARE(gamesIn(dest), 1);
    if (!TestHome::Shared())
        return;

    // The copy, opened, goes into an empty database named in the connection dialog.
    prompts.answerOpenFile(dest);
    form->Menu().mnuFileConnect->trigger();
    const QString empty = TestHome::NewDatabase();
    prompts.answerChoice(QStringLiteral("Shared Library"));
    whenModal<frmSharedLibrary>(nullptr,
                                [&](frmSharedLibrary *dialog) { typeAddress(dialog, StoreAddress::ShortName(empty)); });
    prompts.answerMsgBox(MsgResult::OK);
    form->Menu().mnuFileCopy->trigger();
    QVERIFY(prompts.last().text.startsWith(QStringLiteral("Copied 1 games, 1 files")));
    QCOMPARE(gamesIn(empty), 1);
}

QTEST_MAIN(tst_sharedwindow)
#include "tst_sharedwindow.moc"
