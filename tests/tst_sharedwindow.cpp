// The window's side of shared libraries: opening one by its parts, the recent stores, the start on
// the library last opened (and its way out when the server refuses), backups and copies of a
// library. The shared cases run in the PostgreSQL run only, the file cases in the file run.

#include "ScriptedPrompts.h"
#include "StartMainWindow.h"
#include "TestHome.h"
#include "backup/frmBackups.h"
#include "base/AppPath.h"
#include "components/BackupJob.h"
#include "data/HomeFolder.h"
#include "data/StoreCopy.h"
#include "shell/frmSharedLibrary.h"
#include "store/Schema.h"
#include "system/SettingsStore.h"

#include <QAction>
#include <QApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSqlQuery>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

namespace {

// Runs `work` on the modal dialog of type T once it is up, then closes it if `work` left it open.
template <typename T> void whenModal(std::function<void(T *)> work)
{
    QTimer::singleShot(0, [work] {
        auto *dialog = qobject_cast<T *>(QApplication::activeModalWidget());
        QVERIFY(dialog);
        work(dialog);
        if (dialog->isVisible())
            dialog->reject();
    });
}

// Types the test server's parts into the connection dialog, as a user would, and clicks OK.
void typeAddress(frmSharedLibrary *dialog, const QString &database, const QString &user, const QString &password)
{
    const QList<std::pair<QLineEdit *, QString>> boxes{{dialog->txtHost, qEnvironmentVariable("PGHOST")},
                                                       {dialog->txtPort, qEnvironmentVariable("PGPORT")},
                                                       {dialog->txtDatabase, database},
                                                       {dialog->txtUser, user},
                                                       {dialog->txtPassword, password}};
    for (const auto &[box, text] : boxes) {
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
        if (item->objectName().contains(QRegularExpression(QStringLiteral("\\d$"))))
            items << item->text();
    return items;
}

void createHomeStore()
{
    ErrObject err;
    QVERIFY2(Schema::CreateStore(AppPath() + HomeFolder::StoreFileName, &err), qPrintable(err.Description));
}

const QString secret = QStringLiteral("pw-7f3a9c");

} // namespace

class tst_sharedwindow final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void recentStores();
    void sharedLibraryInTheWindow();
    void sharedLibraryAtStart();
    void copyLibrary();
};

void tst_sharedwindow::recentStores()
{
    if (TestHome::Shared())
        QSKIP("store files only");
    TestHome home;
    ScriptedPrompts prompts;
    auto form = startMainWindow();
    SaveSetting(SettingKeys::LastShared, QStringLiteral("postgresql://ann@nas/games"));
    for (int n = 1; n <= 9; ++n) {
        ErrObject err;
        QVERIFY(Schema::CreateStore(home.file(QStringLiteral("Store %1.lkb").arg(n)), &err));
        prompts.answerOpenFile(home.file(QStringLiteral("Store %1.lkb").arg(n)));
        form->Menu().mnuFileConnect->trigger();
    }
    // The eight opened last, newest first; opening a file means the next start opens no shared library.
    const QString folder = QDir::toNativeSeparators(home.path());
    QStringList expected;
    for (int n = 9; n >= 2; --n)
        expected << QStringLiteral("&%1 %2Store %3.lkb").arg(9 - n + 1).arg(folder).arg(n);
    QCOMPARE(recentItems(*form), expected);
    QCOMPARE(GetSetting(SettingKeys::LastShared), QString());

    // An item opens its store and moves up; a file gone is reported and leaves the list.
    form->Menu().mnuFileRecent->actions().at(2)->trigger();
    QCOMPARE(form->Store().DatabasePath(), home.file(QStringLiteral("Store 7.lkb")));
    QCOMPARE(recentItems(*form).constFirst(), QStringLiteral("&1 %1Store 7.lkb").arg(folder));
    QVERIFY(QFile::remove(home.file(QStringLiteral("Store 8.lkb"))));
    prompts.answerMsgBox(MsgResult::OK);
    form->Menu().mnuFileRecent->actions().at(2)->trigger();
    QVERIFY(prompts.last().text.contains(QStringLiteral("Could not find")));
    QCOMPARE(recentItems(*form).size(), 7);
    QVERIFY(!recentItems(*form).join(QString()).contains(QStringLiteral("Store 8")));
    QCOMPARE(form->Store().DatabasePath(), home.file(QStringLiteral("Store 7.lkb")));
}

void tst_sharedwindow::sharedLibraryInTheWindow()
{
    if (!TestHome::Shared())
        QSKIP("needs the PostgreSQL server of the shared run");
    TestHome home;
    ScriptedPrompts prompts;
    createHomeStore();
    home.addFile(home.addGame(1, 1, QStringLiteral("Zelda")), 1, QStringLiteral("Walkthrough"));
    const QString database = modADO::NameFromPath(home.storePath());
    const QString user = qEnvironmentVariable("PGUSER"), password = qEnvironmentVariable("PGPASSWORD");
    auto form = startMainWindow();

    whenModal<frmSharedLibrary>([&](frmSharedLibrary *dialog) {
        QCOMPARE(std::pair(dialog->txtPassword->echoMode(), dialog->txtPort->text()),
                 std::pair(QLineEdit::Password, QStringLiteral("5432")));
        typeAddress(dialog, database, user, password);
    });
    form->Menu().mnuFileOpenShared->trigger();
    QCOMPARE(form->windowTitle(), QStringLiteral("Lorekeep - [%1] - Files").arg(database));
    // The address is remembered for the next start and the recent list, its password nowhere.
    const QString address = StoreAddress::WithoutPassword(form->Store().DatabasePath());
    QVERIFY(address.contains(database) && !address.contains(password));
    QCOMPARE(GetSetting(SettingKeys::LastShared), address);
    QCOMPARE(recentItems(*form).constFirst(), QStringLiteral("&1 ") + address);
    const QByteArray settings = readFile(SettingsFileName());
    QVERIFY(settings.contains(database.toUtf8()) && !settings.contains(password.toUtf8()));
    QVERIFY(!form->Menu().mnuToolsCheck->isEnabled());
    // The dialog starts from the library open now.
    whenModal<frmSharedLibrary>([&](frmSharedLibrary *dialog) {
        QCOMPARE(std::pair(dialog->txtDatabase->text(), dialog->txtUser->text()), std::pair(database, user));
    });
    form->Menu().mnuFileOpenShared->trigger();

    // Back Up Now keeps a .lkb copy that lists with the backups; none is restored over the library.
    prompts.answerMsgBox(MsgResult::OK);
    whenModal<frmBackups>([](frmBackups *dialog) {
        QTest::mouseClick(dialog->cmdBackUpNow, Qt::LeftButton);
        QCOMPARE(dialog->lvwBackups->topLevelItemCount(), 1);
        QCOMPARE(dialog->lvwBackups->topLevelItem(0)->text(frmBackups::KindColumn), QStringLiteral("Manual"));
        QTest::mouseClick(dialog->cmdRestore, Qt::LeftButton);
    });
    form->Menu().mnuFileRestore->trigger();
    QVERIFY(prompts.last().text.contains(QStringLiteral("cannot be restored over the shared library")));
    const QVector<BackupInfo> backups = StoreBackup::List(BackupJob::Folder(), database);
    QCOMPARE(backups.size(), 1);
    QCOMPARE(gamesIn(backups.constFirst().Path), 1);
}

void tst_sharedwindow::sharedLibraryAtStart()
{
    if (!TestHome::Shared())
        QSKIP("needs the PostgreSQL server of the shared run");
    TestHome home;
    ScriptedPrompts prompts;
    createHomeStore();
    const QString database = modADO::NameFromPath(home.storePath());
    runElsewhere(home.storePath(), {QStringLiteral("CREATE ROLE lk_reader LOGIN PASSWORD '%1'").arg(secret),
                                    QStringLiteral("GRANT SELECT ON ALL TABLES IN SCHEMA public TO lk_reader")});
    const QString host = qEnvironmentVariable("PGHOST"), port = qEnvironmentVariable("PGPORT");
    // Without its password, libpq offers the server's own from the environment, which is refused.
    const QString asReader = StoreAddress::Build(host, port.toInt(), database, QStringLiteral("lk_reader"), {});
    SaveSetting(SettingKeys::LastShared, asReader);
    prompts.answerChoice(QStringLiteral("Enter Password"));
    prompts.answerPassword(secret);
    prompts.answerMsgBox(MsgResult::OK);
    auto form = startMainWindow();
    QCOMPARE(prompts.shown().size(), 3);
    const PromptRecord asked = prompts.shown().at(0);
    QCOMPARE(asked.choices, QStringList({QStringLiteral("&Retry"), QStringLiteral("&Enter Password..."),
                                         QStringLiteral("Open &Home Library")}));
    QVERIFY(asked.text.contains(asReader) && asked.text.contains(QStringLiteral("refused")));
    QCOMPARE(prompts.shown().at(1).kind, PromptRecord::Password);
    QVERIFY(prompts.last().text.contains(QStringLiteral("\"lk_reader\" may only read")));
    QCOMPARE(form->windowTitle(), QStringLiteral("Lorekeep - [%1 (read-only)] - Files").arg(database));
    // A shared library has no day's backup; the password typed is kept for the session only.
    QVERIFY(StoreBackup::List(BackupJob::Folder(), database).isEmpty());
    QVERIFY(!readFile(SettingsFileName()).contains(secret.toUtf8()));
    prompts.answerOpenFile(AppPath() + HomeFolder::StoreFileName);
    form->Menu().mnuFileConnect->trigger();
    prompts.answerMsgBox(MsgResult::OK);
    form->Menu().mnuFileRecent->actions().at(1)->trigger();
    QCOMPARE(std::pair(prompts.last().kind, form->Store().IsReadOnly()), std::pair(PromptRecord::Message, true));
    form->close();
    form.reset();

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
    const auto copyToFile = [&] {
        prompts.answerChoice(QStringLiteral("New File"));
        prompts.answerSaveFile(dest);
        prompts.answerMsgBox(MsgResult::OK);
        form->Menu().mnuFileCopy->trigger();
    };
    copyToFile();
    QCOMPARE(prompts.last().text, QStringLiteral("Copied 1 games, 1 files, 0 bookmarks, 0 favorites to \"%1\".")
                                      .arg(QDir::toNativeSeparators(dest)));
    QCOMPARE(gamesIn(dest), 1);
    // A store that is there already is refused as StoreCopy words it.
    copyToFile();
    ErrObject err;
    QVERIFY(!StoreCopy::CheckDestination(dest, &err));
    QCOMPARE(prompts.last().text, err.Description);
    if (!TestHome::Shared())
        return;

    // The copy, opened, goes into an empty database named in the connection dialog.
    prompts.answerOpenFile(dest);
    form->Menu().mnuFileConnect->trigger();
    const QString empty = TestHome::NewDatabase();
    prompts.answerChoice(QStringLiteral("Shared Library"));
    whenModal<frmSharedLibrary>([&](frmSharedLibrary *dialog) {
        QCOMPARE(dialog->txtDatabase->text(), QString());
        typeAddress(dialog, StoreAddress::ShortName(empty), qEnvironmentVariable("PGUSER"),
                    qEnvironmentVariable("PGPASSWORD"));
    });
    prompts.answerMsgBox(MsgResult::OK);
    form->Menu().mnuFileCopy->trigger();
    QVERIFY(prompts.last().text.startsWith(QStringLiteral("Copied 1 games, 1 files")));
    QVERIFY(!prompts.last().text.contains(qEnvironmentVariable("PGPASSWORD")));
    QCOMPARE(gamesIn(empty), 1);
}

QTEST_MAIN(tst_sharedwindow)
#include "tst_sharedwindow.moc"
