// Keeping the user's library: backups made while the store is in use, rotated and restored; damaged,
// newer, read-only and full stores; and the main window's offer of a backup for a damaged store.

#include "ScriptedPrompts.h"
#include "StartMainWindow.h"
#include "TestHome.h"
#include "backup/frmBackups.h"
#include "components/BackupJob.h"
#include "data/ClosedCounts.h"
#include "data/FileTable.h"
#include "data/GameTable.h"
#include "data/HomeFolder.h"
#include "data/StoreBackup.h"
#include "store/StoreError.h"
#include "system/SettingsStore.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QPushButton>
#include <QSqlQuery>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

namespace {

// Overwrites `length` bytes at `offset` with a pattern no page holds.
void damage(const QString &path, qint64 offset, qint64 length)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite) && file.seek(offset));
    QCOMPARE(file.write(QByteArray(int(length), '\xA5')), length);
}

// Spoils a backup: its pages when plain, its compressed stream when not.
void spoil(const QString &path)
{
    if (!path.endsWith(QLatin1String(".zst")))
        return damage(path, 4096, QFileInfo(path).size() - 4096);
    QFile file(path);
    QVERIFY(file.resize(file.size() / 2));
}

// Renames a backup as if it had been made at `made`.
QString backdate(const QString &backup, const QDateTime &made, const QString &note = {})
{
    const QString path =
        QFileInfo(backup).dir().filePath(StoreBackup::FileName(QStringLiteral("lorekeep"), made, note) +
                                         (backup.endsWith(QLatin1String(".zst")) ? QStringLiteral(".zst") : QString()));
    if (!QFile::rename(backup, path))
        QTest::qFail("could not rename the backup", __FILE__, __LINE__);
    return path;
}

// Once Restore From Backup is up, counts the backups (not damaged copies) marked as holding fewer
// than the library last had, and restores the daily one made at `made`.
void restoreInWindow(const QDateTime &made, int *marked)
{
    auto *poll = new QTimer(qApp);
    *marked = -1;
    QObject::connect(poll, &QTimer::timeout, poll, [poll, made, marked] {
        auto *dialog = qobject_cast<frmBackups *>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        poll->stop();
        poll->deleteLater();
        QTreeWidget *list = dialog->lvwBackups;
        QTRY_VERIFY(list->findItems(QStringLiteral("..."), Qt::MatchExactly, frmBackups::GamesColumn).isEmpty());
        *marked = 0;
        for (int row = 0; row < list->topLevelItemCount(); ++row) {
            QTreeWidgetItem *item = list->topLevelItem(row);
            const QString kind = item->text(frmBackups::KindColumn);
            *marked +=
                kind != QLatin1String("Damaged store") && item->toolTip(frmBackups::GamesColumn).contains("fewer");
            if (kind == QLatin1String("Daily") &&
                item->text(frmBackups::MadeColumn) == frmBackups::MadeText({{}, {}, made, {}, 0, {}}))
                list->setCurrentItem(item);
        }
        QTest::mouseClick(dialog->cmdRestore, Qt::LeftButton);
    });
    poll->start(10);
}

// A plain backup as older versions made them.
QString plainBackup(const QSqlDatabase &db, const QString &folder, const QDateTime &made)
{
    const QString path = QDir(folder).filePath(StoreBackup::FileName(QStringLiteral("lorekeep"), made, {}));
    QSqlQuery vacuum(db);
    if (!QDir().mkpath(folder) || !vacuum.exec(QStringLiteral("VACUUM INTO '%1'").arg(path)))
        QTest::qFail("could not make a plain backup", __FILE__, __LINE__);
    return path;
}

int gamesIn(const QString &path)
{
    modADO store(QStringLiteral("count"));
    ErrObject err;
    if (!store.Open(path, &err))
        return -1;
    QSqlQuery query(QStringLiteral("SELECT count(*) FROM game"), store.Connection());
    return query.next() ? query.value(0).toInt() : -1;
}

// Sets or clears the immutable attribute, which even the superuser cannot write through; false
// where the file system does not have it.
bool setImmutable(const QString &path, bool on)
{
    return QProcess::execute(QStringLiteral("chattr"), {on ? QStringLiteral("+i") : QStringLiteral("-i"), path}) == 0;
}

} // namespace

class tst_backup final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void backupsMadeAndRestored();
    void rotationAndLeftovers();
    void newerFullAndReadOnlyStores();
    void backupsToOfferAndRepeat();
    void damagedStoreAfterRestores();
};

void tst_backup::backupsMadeAndRestored()
{
    TestHome home;
    const qint32 game = home.addGame(5, 1, QStringLiteral("Zelda"));
    // Larger than one step of the copy, so that Cancel has a step to stop at.
    const qint32 file = home.addFile(game, 1, QStringLiteral("Walkthrough"), QString(6 << 20, QLatin1Char('w')));
    const QString folder = StoreBackup::Folder(home.path());

    // Another program is half-way through a change: the copy holds the store as committed.
    {
        QSqlDatabase other = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("writer"));
        other.setDatabaseName(home.storePath());
        QVERIFY(other.open());
        QSqlQuery write(other);
        QVERIFY(write.exec(QStringLiteral("BEGIN IMMEDIATE")) &&
                write.exec(QStringLiteral("INSERT INTO game (platform_id, genre_id, name) VALUES (5, 1, 'Half')")));
        QString made;
        ErrObject err;
        int reports = 0;
        QVERIFY2(StoreBackup::Make(home.storePath(), folder, QString(), &made, &err,
                                   [&reports](qint64 done, qint64 total) { return ++reports && done <= total; }),
                 qPrintable(err.Description));
        QVERIFY(reports > 0 && write.exec(QStringLiteral("COMMIT")));

        // One compressed file, far smaller than the store, with nothing beside it; not up to date, as
        // the commit came after it.
        BackupContents contents;
        QVERIFY(StoreBackup::Inspect(made, &contents, &err));
        const QVector<BackupInfo> listed = StoreBackup::List(folder, QStringLiteral("lorekeep"));
        QCOMPARE(std::tuple(contents.Games, contents.Files, made.endsWith(QLatin1String(".lkb.zst")),
                            QFileInfo(made).size() * 20 < QFileInfo(home.storePath()).size(),
                            QDir(folder).entryList(QDir::Files).size(), listed.size(), listed.value(0).Path,
                            BackupJob::UpToDate(home.storePath())),
                 std::tuple(qint64(1), qint64(1), true, true, qsizetype(1), qsizetype(1), made, false));
    }
    QSqlDatabase::removeDatabase(QStringLiteral("writer"));

    // Cancel leaves nothing behind.
    ErrObject err;
    QVERIFY(!StoreBackup::Make(home.storePath(), folder, QStringLiteral("manual"), nullptr, &err,
                               [](qint64, qint64) { return false; }));
    QCOMPARE(std::pair(err.Number, QDir(folder).entryList(QDir::Files).size()),
             std::pair(StoreBackup::Cancelled, qsizetype(1)));
    // So does Cancel while the copy is compressed, the second half of the progress.
    err.Clear();
    QVERIFY(!StoreBackup::Make(home.storePath(), folder, QStringLiteral("manual"), nullptr, &err,
                               [](qint64 done, qint64 total) { return done * 2 < total; }));
    QCOMPARE(std::pair(err.Number, QDir(folder).entryList(QDir::Files).size()),
             std::pair(StoreBackup::Cancelled, qsizetype(1)));

    // Restored, changes after the backup go; the program's own connection sees the restored store.
    QString backup;
    err.Clear();
    QVERIFY(StoreBackup::Make(home.storePath(), folder, QString(), &backup, &err));
    ErrObject ignored;
    QVERIFY(GameTable::Rename(home.db(), game, QStringLiteral("Zelda II"), &ignored) &&
            FileTable::Delete(home.db(), file, &ignored));
    home.addGame(1, 1, QStringLiteral("Doom"));
    QVERIFY2(StoreBackup::Restore(backup, home.storePath(), &err), qPrintable(err.Description));
    QCOMPARE(std::tuple(home.count(QStringLiteral("SELECT count(*) FROM game WHERE name = 'Zelda'")),
                        home.count(QStringLiteral("SELECT count(*) FROM game")),
                        home.count(QStringLiteral("SELECT count(*) FROM file"))),
             std::tuple(1, 2, 1)); // Zelda, and the game committed during the first backup
    // Asked whether it holds a text, or checked and cancelled, the backup is unpacked and the
    // unpacked copy goes again.
    const bool stopped = !StoreBackup::Check(backup, nullptr, &err, [](qint64, qint64) { return false; }) &&
                         err.Number == StoreBackup::Cancelled;
    QCOMPARE(std::tuple(StoreBackup::HoldsText(backup, file, QString(6 << 20, QLatin1Char('w'))),
                        StoreBackup::HoldsText(backup, file, QStringLiteral("other")), stopped,
                        QDir(folder).entryList({QStringLiteral("*.part")}, QDir::Files).size()),
             std::tuple(true, false, true, qsizetype(0)));
    err.Clear();

    // A plain backup of an older version is listed beside the compressed ones and restores as well;
    // reading a compressed one leaves no unpacked copy behind.
    const QString plain = plainBackup(home.db(), folder, QDateTime::currentDateTime().addDays(-1));
    home.addGame(1, 1, QStringLiteral("Quake"));
    QVERIFY2(StoreBackup::Restore(plain, home.storePath(), &err), qPrintable(err.Description));
    QCOMPARE(std::tuple(home.count(QStringLiteral("SELECT count(*) FROM game")), StoreBackup::List(folder).size(),
                        StoreBackup::List(folder).constLast().Path,
                        QDir(folder).entryList({QStringLiteral("*.part")}, QDir::Files).size()),
             std::tuple(2, qsizetype(3), plain, qsizetype(0)));

    // A damaged backup is refused and the store is not touched: a plain one with broken pages, a
    // compressed one cut short or not compressed by us at all.
    QString broken;
    QVERIFY(StoreBackup::Make(home.storePath(), folder, QStringLiteral("manual"), &broken, &err));
    const QString foreign = broken.chopped(8) + QStringLiteral(" (2).lkb.zst");
    writeFile(foreign, QByteArray(8192, 'x'));
    spoil(plain);
    spoil(broken);
    QStringList problems;
    QVERIFY(!StoreBackup::Check(plain, &problems, &err) && !problems.isEmpty());
    QCOMPARE(err.Number, ErrNumber::StoreDamaged);
    home.store().Close();
    const QByteArray before = readFile(home.storePath());
    for (const QString &bad : {plain, broken, foreign}) {
        QVERIFY(!StoreBackup::Restore(bad, home.storePath(), &err));
        QVERIFY2(err.Description.startsWith(QStringLiteral("The backup cannot be restored.")) &&
                     (bad == plain || err.Description.contains(QStringLiteral("is damaged"))) &&
                     readFile(home.storePath()) == before,
                 qPrintable(err.Description));
    }
    QVERIFY(!StoreBackup::Check(broken, &problems, &err) && err.Description.contains(QStringLiteral("part-way")));

    // A folder that cannot be made is said so, not taken for success.
    writeFile(home.file(QStringLiteral("blocker")), {});
    QVERIFY(
        !StoreBackup::Make(home.storePath(), home.file(QStringLiteral("blocker/Backups")), QString(), nullptr, &err));
    QVERIFY(err.Description.contains(QStringLiteral("backup folder")));
}

void tst_backup::rotationAndLeftovers()
{
    QTemporaryDir dir;
    const QDateTime base(QDate(2026, 3, 1), QTime(9, 0));
    QStringList names{StoreBackup::FileName(QStringLiteral("lorekeep"), base.addDays(-9), QStringLiteral("damaged")),
                      StoreBackup::FileName(QStringLiteral("my games"), base, QString()), QStringLiteral("notes.lkb")};
    // Compressed and plain backups rotate together.
    for (int day = 0; day < 6; ++day)
        names << StoreBackup::FileName(QStringLiteral("lorekeep"), base.addDays(day), QString()) +
                     QLatin1String(day % 2 ? ".zst" : "");
    for (const QString &name : names)
        writeFile(dir.filePath(name), {});

    // The newest three are kept; the copy of a damaged store and other stores' backups stay, and a
    // file that is no backup is neither listed nor touched.
    StoreBackup::Rotate(dir.path(), QStringLiteral("lorekeep"), 3);
    const QVector<BackupInfo> left = StoreBackup::List(dir.path(), QStringLiteral("lorekeep"));
    const QVector<BackupInfo> mine = StoreBackup::List(dir.path(), QStringLiteral("my games"));
    QCOMPARE(std::tuple(left.size(), left.value(0).Made, left.value(2).Made, left.value(3).Note, mine.size(),
                        mine.value(0).Made, StoreBackup::List(dir.path()).size(),
                        QFileInfo::exists(dir.filePath(QStringLiteral("notes.lkb")))),
             std::tuple(qsizetype(4), base.addDays(5), base.addDays(3), QStringLiteral("damaged"), qsizetype(1), base,
                        qsizetype(5), true));

    // What a backup killed part-way leaves is never offered and goes at the next start; the user's files stay.
    TestHome home;
    home.addGame(5, 1, QStringLiteral("Zelda"));
    const QDir folder(StoreBackup::Folder(home.path()));
    QString made;
    ErrObject err;
    QVERIFY2(StoreBackup::Make(home.storePath(), folder.path(), QString(), &made, &err), qPrintable(err.Description));
    const QString cut = StoreBackup::FileName(QStringLiteral("lorekeep"), QDateTime::currentDateTime().addSecs(5), {});
    const QString damaged = StoreBackup::FileName(QStringLiteral("lorekeep"), QDateTime::currentDateTime(),
                                                  QString(BackupInfo::DamagedNote));
    for (const QString &name : QStringList{cut + ".part", cut + ".part-journal", cut + ".part-wal",
                                           damaged + "-wal.part", cut + ".zst.part", cut + ".zst.read-0a1b2c3d.part"})
        QVERIFY(QFile::copy(made, folder.filePath(name)));
    for (const char *mine : {"notes.part", "lorekeep.lkb.part"})
        writeFile(folder.filePath(QLatin1String(mine)), "mine");

    const QVector<BackupInfo> listed = StoreBackup::List(folder.path());
    QCOMPARE(std::pair(listed.size(), listed.value(0).Path), std::pair(qsizetype(1), made));
    QVERIFY(HomeFolder::Prepare(home.path(), nullptr, &err));
    QCOMPARE(
        folder.entryList(QDir::Files, QDir::Name),
        QStringList({QFileInfo(made).fileName(), QStringLiteral("lorekeep.lkb.part"), QStringLiteral("notes.part")}));
}

void tst_backup::newerFullAndReadOnlyStores()
{
    TestHome home;
    home.addGame(5, 1, QStringLiteral("Zelda"));
    const QString path = home.storePath();

    // A store of a newer version is refused and left exactly as it was.
    QVERIFY(QSqlQuery(home.db()).exec(QStringLiteral("PRAGMA user_version = 99")));
    home.store().Close();
    const QByteArray newer = readFile(path);
    modADO store(QStringLiteral("awkward"));
    ErrObject err;
    QVERIFY(!store.Open(path, &err));
    QCOMPARE(std::tuple(err.Number, err.Description.contains(QStringLiteral("newer version of Lorekeep")),
                        readFile(path) == newer, QFileInfo::exists(path + QStringLiteral("-wal"))),
             std::tuple(ErrNumber::StoreTooNew, true, true, false));

    // A full disk fails the write with its message; what was saved before stays.
    TestHome full;
    const qint32 game = full.addGame(5, 1, QStringLiteral("Doom"));
    QSqlQuery limit(full.db());
    QVERIFY(limit.exec(QStringLiteral("PRAGMA page_count")) && limit.next() &&
            limit.exec(QStringLiteral("PRAGMA max_page_count = %1").arg(limit.value(0).toInt() + 2)));
    qint32 id = 0;
    QVERIFY(!FileTable::Add(full.db(), {0, game, 1, {}, QStringLiteral("Huge"), QString(200000, u'x')}, &id, &err));
    QVERIFY2(err.Description.contains(QStringLiteral("is full")), qPrintable(err.Description));
    QCOMPARE(std::pair(full.count(QStringLiteral("SELECT count(*) FROM game")),
                       full.count(QStringLiteral("SELECT count(*) FROM file"))),
             std::pair(1, 0));

    // A read-only store, where the file system can make one for the superuser.
    err.Clear();
    TestHome locked;
    const qint32 zelda = locked.addGame(5, 1, QStringLiteral("Zelda"));
    locked.store().Close();
    const QString file = locked.storePath();
    if (!setImmutable(file, true))
        QSKIP("this file system cannot make a file read-only for the superuser");
    const QByteArray before = readFile(file);
    struct Undo
    {
        QString path;
        ~Undo() { setImmutable(path, false); }
    } undo{file};

    // Read-only is said at opening; reading works, a change is refused with the same words.
    modADO opened(QStringLiteral("readonly"));
    QVERIFY2(opened.Open(file, &err), qPrintable(err.Description));
    QVERIFY(opened.IsReadOnly() &&
            opened.ReadOnlyError().Description.contains(QStringLiteral("the file is read-only")));
    GameRow row;
    bool found = false;
    QVERIFY(GameTable::Read(opened.Connection(), zelda, &row, &found, &err) && found);
    QVERIFY(!opened.CanWrite(&err) && err.Number == ErrNumber::StoreReadOnly &&
            !GameTable::Rename(opened.Connection(), zelda, QStringLiteral("Zelda II"), &err));
    opened.Close();
    QVERIFY(readFile(file) == before);

    // A folder that cannot be written: the store is read the same way, and no log appears.
    setImmutable(file, false);
    undo.path = locked.path();
    QVERIFY(setImmutable(locked.path(), true));
    QVERIFY2(opened.Open(file, &err), qPrintable(err.Description));
    QVERIFY(opened.ReadOnlyError().Description.contains(QStringLiteral("its folder")) &&
            GameTable::Read(opened.Connection(), zelda, &row, &found, &err) && found);
    opened.Close();
    QVERIFY(!QFileInfo::exists(file + QStringLiteral("-wal")));
}

void tst_backup::backupsToOfferAndRepeat()
{
    TestHome home;
    const QString folder = StoreBackup::Folder(home.path());
    const QDateTime today = QDateTime::currentDateTime().addSecs(-60);
    QString made;
    ErrObject err;
    const auto make = [&](const QDateTime &when, const QString &note) {
        QVERIFY(StoreBackup::Make(home.storePath(), folder, QString(), &made, &err));
        made = backdate(made, when, note);
    };
    make(today.addDays(-1), QString());
    const qint32 game = home.addGame(5, 1, QStringLiteral("Zelda"));
    make(today, QStringLiteral("before indexing"));
    make(today.addSecs(10), QStringLiteral("before restore"));
    make(today.addSecs(20), QStringLiteral("damaged"));
    make(today.addSecs(30), QStringLiteral("manual"));
    spoil(made);

    // Newest first within a kind, the library as kept before copies of one being replaced, and
    // a backup that fails the check skipped.
    for (const char *note : {"", "before indexing", "before restore", "damaged"}) {
        const std::optional<BackupChoice> good = BackupJob::NewestGood(nullptr, home.storePath());
        QVERIFY(good && good->Contents);
        QCOMPARE(std::tuple(good->Backup.Note, good->Fallback, good->Contents->Games),
                 std::tuple(QString(note), *note != 0, *note ? 1 : 0));
        QVERIFY(QFile::remove(good->Backup.Path));
    }
    QVERIFY(!BackupJob::NewestGood(nullptr, home.storePath()));

    // Counts at the last clean close, one entry per store; a damaged file forgets, never misleads.
    QVERIFY(ClosedCounts::Remember(folder, home.storePath(), {3, 40}, &err) &&
            ClosedCounts::Remember(folder, home.file(QStringLiteral("other.lkb")), {1, 1}, &err));
    const std::optional<BackupContents> closed = BackupJob::LastClosed(home.storePath());
    QVERIFY(closed);
    QCOMPARE(std::pair(closed->Games, closed->Files), std::pair(qint64(3), qint64(40)));
    writeFile(QDir(folder).filePath(ClosedCounts::FileName), "{ not json");
    QVERIFY(!BackupJob::LastClosed(home.storePath()));

    ScriptedPrompts prompts;
    // Back Up Now: not made again while the store, pages still in its log, is as the newest backup
    // holds it, but made after a change in its bytes only and after one in its size.
    const auto backUp = [&home] {
        QString made, error;
        bool reused = false;
        const auto outcome =
            BackupJob::Make(nullptr, home.storePath(), QStringLiteral("manual"), &made, &error, true, &reused);
        return std::tuple(outcome == BackgroundWork::Outcome::Done, reused, made);
    };
    const auto first = backUp();
    QCOMPARE(backUp(), std::tuple(true, true, std::get<2>(first)));
    QVERIFY(GameTable::Rename(home.db(), game, QStringLiteral("Zelde"), &err));
    const bool renamedReused = std::get<1>(backUp());
    home.addGame(1, 1, QString(3000, QLatin1Char('D')));
    QCOMPARE(std::tuple(std::get<0>(first), std::get<1>(first), renamedReused, std::get<1>(backUp())),
             std::tuple(true, false, false, false));
}

void tst_backup::damagedStoreAfterRestores()
{
    ScriptedPrompts prompts;
    TestHome home;
    const QString folder = StoreBackup::Folder(home.path());
    // Yesterday's backup of a library still empty; today it has two games.
    // Yesterday's is a plain one, as older versions made them; the window lists and restores both kinds.
    ErrObject err;
    const QDateTime yesterday = QDateTime::currentDateTime().addDays(-1);
    plainBackup(home.db(), folder, yesterday);
    home.addFile(home.addGame(5, 1, QStringLiteral("Zelda")), 1, QStringLiteral("Walkthrough"));
    home.addGame(1, 1, QStringLiteral("Doom"));
    home.store().Close();
    startMainWindow()->close();
    const BackupInfo daily = StoreBackup::List(folder).at(0);

    // The first start of the day backed the store up, this second one does not again.
    auto form = startMainWindow();
    QVERIFY(StoreBackup::List(folder).size() == 2 && BackupJob::UpToDate(home.storePath()));

    // Restore yesterday's (asked once more: it holds fewer), then the day's backup back again.
    int marked = 0;
    const auto restore = [&](const QDateTime &made, const QList<MsgResult> &answers) {
        for (MsgResult answer : answers)
            prompts.answerMsgBox(answer);
        restoreInWindow(made, &marked);
        form->Menu().mnuFileRestore->trigger();
    };
    restore(yesterday, {MsgResult::Yes, MsgResult::Yes, MsgResult::OK});
    QCOMPARE(std::tuple(marked, gamesIn(home.storePath())), std::tuple(1, 0));
    QVERIFY(prompts.shown().at(prompts.shown().size() - 2).text.contains(QStringLiteral("Restore it anyway?")));
    restore(daily.Made, {MsgResult::Yes, MsgResult::OK});
    QCOMPARE(std::tuple(marked, gamesIn(home.storePath()), StoreBackup::List(folder).at(0).Note),
             std::tuple(1, 2, QString("before restore")));

    // Closes the program, damages the store and answers the offer of a backup with `choice`.
    const auto damageStore = [&](const QString &choice) {
        form->close();
        form.reset();
        damage(home.storePath(), 4096, QFileInfo(home.storePath()).size() - 4096);
        prompts.answerMsgBox(MsgResult::OK);
        prompts.answerChoice(choice);
    };
    // The day's backup is offered with what it holds, not the newer, empty copy; the damaged store is kept.
    damageStore(QStringLiteral("Restore"));
    const QByteArray damaged = readFile(home.storePath());
    prompts.answerMsgBox(MsgResult::OK);
    form = startMainWindow();
    // The offer follows the failed read once the window is up.
    QTRY_VERIFY(prompts.last().text.contains(QStringLiteral("was restored")));
    const QString offer = prompts.shown().at(prompts.shown().size() - 2).text;
    QVERIFY2(offer.contains(QStringLiteral("the day's backup")) &&
                 offer.contains(QStringLiteral("2 games and 1 file")) && !offer.contains(QStringLiteral("fewer")),
             qPrintable(offer));
    const QVector<BackupInfo> backups = StoreBackup::List(folder);
    QVERIFY(std::any_of(backups.begin(), backups.end(),
                        [&](const BackupInfo &b) { return b.Note == "damaged" && readFile(b.Path) == damaged; }));
    QCOMPARE(gamesIn(home.storePath()), 2);

    // A third game, then damage again: the offer says the day's backup holds fewer, and the user
    // looks at the others before taking it knowingly.
    qint32 myst = 0;
    QVERIFY(GameTable::Add(form->Store().Connection(), 2, 1, QStringLiteral("Myst"), &myst, &err));
    damageStore(QStringLiteral("Choose Another"));
    for (MsgResult answer : {MsgResult::Yes, MsgResult::Yes, MsgResult::OK})
        prompts.answerMsgBox(answer);
    restoreInWindow(daily.Made, &marked);
    form = startMainWindow();
    QTRY_VERIFY(prompts.last().text.contains(QStringLiteral("was restored")));
    const QList<PromptRecord> &shown = prompts.shown();
    QVERIFY(shown.at(shown.size() - 4)
                .text.contains(
                    QStringLiteral("fewer games than your library had when it was last closed: 3 games and 1 file")));
    QCOMPARE(std::pair(marked, gamesIn(home.storePath())), std::pair(4, 2));
    // Tools > Check Library finds the restored store sound.
    prompts.answerMsgBox(MsgResult::OK);
    form->Menu().mnuToolsCheck->trigger();
    QVERIFY(prompts.last().text.contains(QStringLiteral("is sound")));
    form->close();
}

QTEST_MAIN(tst_backup)
#include "tst_backup.moc"
