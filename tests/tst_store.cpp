#include "TestHome.h"
#include "data/FileTable.h"
#include "data/GameTable.h"
#include "data/modADO.h"
#include "search/FileSearch.h"
#include "store/DirectRows.h"
#include "store/KeptConnection.h"
#include "store/Schema.h"
#include "store/StoreError.h"

#include <QFile>
#include <QSqlQuery>
#include <QTest>

class tst_store final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void connectRefusesWhatIsNotAStore_data();
    void connectRefusesWhatIsNotAStore();
    void locksReadOnlyAndDamage();
    void gamesAndFiles();
    void keptConnection();
};

void tst_store::connectRefusesWhatIsNotAStore_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<long>("number");
    QTest::addColumn<QString>("says");
    QTest::newRow("missingFile") << "missing" << ErrNumber::StoreNotFound << "Could not find";
    QTest::newRow("folder") << "folder" << ErrNumber::StoreNotADatabase << "is a folder";
    QTest::newRow("textFile") << "text" << ErrNumber::StoreNotADatabase << "not a database";
    QTest::newRow("emptyFile") << "empty" << ErrNumber::StoreNotLorekeep << "\"game\"";
    QTest::newRow("otherDatabase") << "other" << ErrNumber::StoreNotLorekeep << "\"game\"";
    QTest::newRow("columnMissing") << "column" << ErrNumber::StoreNotLorekeep << "\"favorites\"";
}

void tst_store::connectRefusesWhatIsNotAStore()
{
    QFETCH(QString, kind);
    QFETCH(long, number);
    QFETCH(QString, says);
    if (TestHome::Shared())
        QSKIP("a store file's own checks");
    TestHome home;
    const QString path = home.file(QStringLiteral("candidate.lkb"));
    QFile file(path);
    if (kind == QLatin1String("folder"))
        QVERIFY(QDir(home.path()).mkdir(QStringLiteral("candidate.lkb")));
    else if (kind == QLatin1String("text") || kind == QLatin1String("empty"))
        QVERIFY(file.open(QIODevice::WriteOnly) &&
                file.write(QByteArray("Level 1\r\n").repeated(kind == QLatin1String("text") ? 300 : 0)) >= 0);
    else if (kind == QLatin1String("other"))
        runElsewhere(path, {QStringLiteral("CREATE TABLE notes (id INTEGER, body TEXT)")});
    else if (kind == QLatin1String("column")) {
        QVERIFY(QFile::copy(home.storePath(), path));
        runElsewhere(path,
                     {QStringLiteral("DROP TABLE favorites"), QStringLiteral("CREATE TABLE favorites (auto_id, url)")});
    }
    file.close();
    const QByteArray before = readFile(path);

    modADO store(QStringLiteral("candidate"));
    ErrObject err;
    QVERIFY(!store.Open(path, &err));
    QVERIFY2(err.Number == number && err.Description.contains(says), qPrintable(err.Description));
    QVERIFY(!store.IsOpen() && !store.Connection().isValid());
    QVERIFY(readFile(path) == before && !QFileInfo::exists(path + QStringLiteral("-journal")));

    // A good store opens afterwards, and a second failure leaves it open and named as it was.
    QVERIFY2(store.Open(home.storePath(), &err), qPrintable(err.Description));
    QVERIFY(!store.Open(path, &err));
    QCOMPARE(std::tuple(store.IsOpen(), store.DatabasePath(), store.DatabaseName()),
             std::tuple(true, home.storePath(), QStringLiteral("lorekeep")));
    QVERIFY(QSqlQuery(QStringLiteral("SELECT COUNT(*) FROM game"), store.Connection()).next());
}

void tst_store::locksReadOnlyAndDamage()
{
    if (TestHome::Shared())
        QSKIP("a store file's own locks and pages");
    // The superuser writes through file permissions, so the read-only message is checked on the code.
    const QSqlError readOnly({}, QStringLiteral("attempt to write a readonly database"), QSqlError::StatementError,
                             QStringLiteral("8"));
    QCOMPARE(StoreError::fromSql(readOnly, QStringLiteral("/x/a.lkb")).Number, ErrNumber::StoreReadOnly);

    TestHome home;
    const qint32 game = home.addGame(18, 1, QStringLiteral("Doom"));
    QSqlDatabase other = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("other"));
    other.setDatabaseName(home.storePath());
    QSqlQuery lock((other.open(), other));

    // Another program holds a write lock: reads go on, a write reports the lock and keeps nothing.
    QVERIFY(lock.exec(QStringLiteral("BEGIN IMMEDIATE")));
    ErrObject err;
    bool found = false;
    GameRow row;
    QVERIFY(GameTable::Read(home.db(), game, &row, &found, &err) && found);
    QVERIFY(!GameTable::Rename(home.db(), game, QStringLiteral("Doom II"), &err) &&
            err.Number == ErrNumber::StoreLocked);

    // With the write-ahead log, a store another program is writing still opens, and reads see
    // what was committed, not the other program's change in progress.
    QVERIFY(lock.exec(QStringLiteral("COMMIT")) && lock.exec(QStringLiteral("BEGIN EXCLUSIVE")));
    QVERIFY(lock.exec(QStringLiteral("UPDATE game SET name = 'Half-written'")));
    modADO second(QStringLiteral("second"));
    QVERIFY2(second.Open(home.storePath(), &err), qPrintable(err.Description));
    QVERIFY(GameTable::Read(second.Connection(), game, &row, &found, &err) && found);
    QVERIFY(row.name == QStringLiteral("Doom") && !second.CanWrite(&err) && err.Number == ErrNumber::StoreLocked);
    // Rolled back, the other program's change is gone.
    QVERIFY(lock.exec(QStringLiteral("ROLLBACK")));
    lock = QSqlQuery();
    other = QSqlDatabase();
    QSqlDatabase::removeDatabase(QStringLiteral("other"));
    QVERIFY(GameTable::Read(home.db(), game, &row, &found, &err) && row.name == QStringLiteral("Doom"));

    // A page of the store overwritten, as a bad sector would leave it; nothing else has it open.
    second.Close();
    const qint32 intact = home.addGame(18, 1, QStringLiteral("Intact"));
    const qint32 intactFile = home.addFile(intact, 1, QStringLiteral("Guide"));
    const qint32 big = home.addGame(18, 1, QStringLiteral("Big"));
    QStringList told;
    StoreError::setDamageHandler([&told](const QString &path) { told << path; });
    const QList<qint32> damaged = home.addDamagedFiles(big, 3000);
    QVERIFY(!damaged.isEmpty() && damaged.size() < 100);

    // Every read that meets the page half-way fails as damaged instead of ending early as success.
    // (A file's own read and the game's list of heads are the view's, checked from there.)
    const auto isDamaged = [&](bool ok, const ErrObject &err) {
        return !ok && err.Number == ErrNumber::StoreDamaged && err.Description.contains(home.storePath());
    };
    QVector<FileRow> rows;
    ErrObject e1, e2, e3, e4;
    QSet<QString> sources;
    int visited = 0;
    QVector<FindHit> hits;
    QVERIFY(isDamaged(FileTable::List(home.db(), big, &rows, &e1), e1) &&
            isDamaged(FileTable::Sources(home.db(), big, &sources, &e2), e2) &&
            isDamaged(FileSearch::Scan(home.db(), {QStringLiteral("File"), true, false, false, {}}, &hits, &e3), e3));
    QVERIFY(isDamaged(FileTable::Find(
                          home.db(), {}, [&visited](const FileRow &) { return ++visited, true; }, &e4),
                      e4) &&
            visited > 0);
    DirectRows direct(home.db(), QStringLiteral("SELECT auto_id, txt_rtf FROM file WHERE game_id = ?"), {big});
    while (direct.next())
        ;
    QVERIFY(!direct.done() && isDamaged(false, direct.error()));
    QVERIFY(!told.isEmpty() && told.constLast() == home.storePath());
    StoreError::setDamageHandler({});

    // What lies elsewhere still reads, and a visit that stops before the page is a success.
    FileRow file;
    QVERIFY(FileTable::List(home.db(), intact, &rows, &err) && rows.size() == 1 && rows.at(0).auto_id == intactFile);
    QVERIFY(FileTable::Read(home.db(), damaged.first() - 1, &file, &found, &err) && found);
    visited = 0;
    QVERIFY(FileTable::Find(
        home.db(), {big, {}}, [&visited](const FileRow &) { return ++visited < 10; }, &err));
    QCOMPARE(visited, 10);
}

void tst_store::gamesAndFiles()
{
    // A store's name: the file name with every occurrence of its last four characters removed.
    QStringList names;
    for (const char *path : {"lorekeep.lkb", "/home/ann/My Guides.lkb", "/x/lkb.lkb", "a.lkba.lkb", "/x/ab", "/x/"})
        names << modADO::NameFromPath(QLatin1String(path));
    QCOMPARE(names, QStringList({"lorekeep", "My Guides", "lkb", "aa", "", ""}));

    TestHome home;
    ErrObject err;
    const qint32 zelda = home.addGame(5, 2, QStringLiteral("Zelda"));
    const qint32 mario = home.addGame(5, 1, QStringLiteral("Mario's \"Quest\"; DROP TABLE game; --"));
    const QString rtf = QStringLiteral("{\\rtf1\\ansi\\uc1 Caf\\u233?  \\u26085?\\u26412? \\par}");
    const qint32 guide = home.addFile(zelda, 1, QStringLiteral("Walkthrough – Ganon's Castle"), rtf);
    const qint32 cheats = home.addFile(zelda, 2, QStringLiteral("Codes"));
    home.addFile(zelda, 5, QStringLiteral("Map"));
    home.addFile(mario, 1, QStringLiteral("Review"));

    // A game and categories together mean that game's files of those categories only.
    QStringList seen;
    QVERIFY(FileTable::Find(
        home.db(), {zelda, {1, 5}}, [&seen](const FileRow &row) { return (seen << row.desc, true); }, &err));
    QCOMPARE(seen, (QStringList{QStringLiteral("Walkthrough – Ganon's Castle"), QStringLiteral("Map")}));

    // Texts and names with quotes and non-ASCII are stored as given.
    QVector<FileRow> files;
    QVERIFY(FileTable::List(home.db(), zelda, &files, &err));
    QCOMPARE(std::tuple(files.size(), files.at(0).auto_id, files.at(0).desc, files.at(0).txt_rtf),
             std::tuple(qsizetype(3), guide, QStringLiteral("Walkthrough – Ganon's Castle"), rtf));
    if (!TestHome::Shared()) {
        // A direct read run again with other values reads their rows; one that cannot be prepared
        // says why, naming the store.
        DirectRows counted(home.db(), QStringLiteral("SELECT count(*), max(\"desc\") FROM file WHERE game_id = ?"),
                           {zelda});
        QVERIFY(counted.next() && counted.id(0) == 3);
        QVERIFY(counted.run({mario}) && counted.next() && counted.id(0) == 1 &&
                counted.text(1) == QStringLiteral("Review") && !counted.next() && counted.done());
        DirectRows missing(home.db(), QStringLiteral("SELECT x FROM nowhere"));
        QVERIFY(!missing.isReady() && !missing.next());
        QVERIFY2(missing.error().Description.contains(QStringLiteral("no such table: nowhere")) &&
                     missing.error().Description.contains(home.storePath()),
                 qPrintable(missing.error().Description));
    }
    QVERIFY(FileTable::Move(home.db(), cheats, mario, &err));
    FileRow read;
    bool found = false;

    // Rows that are gone: reads say so, changes fail with their own error.
    QVERIFY(FileTable::Delete(home.db(), guide, &err) && FileTable::Read(home.db(), guide, &read, &found, &err) &&
            !found);
    QVERIFY(!FileTable::Delete(home.db(), guide, &err) && err.Number == ErrNumber::NoCurrentRecord);

    // Ids are never reused, even after the newest row was deleted.
    const qint32 newest = home.addFile(mario, 4, QStringLiteral("Preview"));
    QVERIFY(FileTable::Delete(home.db(), newest, &err));
    QVERIFY(home.addFile(mario, 4, QStringLiteral("Preview again")) > newest);

    // A game goes with its three files in one transaction: when the game row cannot go, its files
    // stay too.
    refuseWrites(home.db(), QStringLiteral("refuse"), QStringLiteral("game"), QStringLiteral("DELETE"), {},
                 QStringLiteral("refused"));
    int deleted = -1;
    QVERIFY(!GameTable::Delete(home.db(), mario, &deleted, &err) &&
            err.Description.contains(QStringLiteral("refused")));
    int count = 0;
    QVERIFY(FileTable::Count(home.db(), mario, &count, &err) && count == 3);

    allowWrites(home.db(), QStringLiteral("refuse"), QStringLiteral("game"));
    QVERIFY(GameTable::Delete(home.db(), mario, &deleted, &err) && FileTable::Count(home.db(), mario, &count, &err));
    QCOMPARE(std::pair(deleted, count), std::pair(3, 0));
}

QTEST_GUILESS_MAIN(tst_store)
#include "tst_store.moc"

void tst_store::keptConnection()
{
    TestHome home;
    const qint32 game = home.addGame(5, 2, QStringLiteral("Zelda"));
    home.addFile(game, 1, QStringLiteral("Guide"));
    // What each run saw: the connection's name and the number of files.
    const auto run = [](const QString &path, bool succeed = true) {
        std::pair<QString, qint64> seen{QString(), -1};
        KeptConnection::Start(path, [&](const QSqlDatabase &db, const ErrObject &openError) {
            if (!db.isValid())
                return (seen.first = openError.Description, false);
            QSqlQuery count(QStringLiteral("SELECT count(*) FROM file"), db);
            seen = {db.connectionName(), count.next() ? count.value(0).toLongLong() : -1};
            return succeed;
        }).wait();
        return seen;
    };
    // One connection from one run to the next, which sees what was written since.
    const auto first = run(home.storePath());
    home.addFile(game, 2, QStringLiteral("Codes"));
    QCOMPARE(run(home.storePath()), std::pair(first.first, qint64(2)));
    QCOMPARE(KeptConnection::KeptName(), first.first);
    // Work that failed leaves no connection behind, and neither does the store's closing.
    run(home.storePath(), false);
    QVERIFY(KeptConnection::KeptName().isEmpty());
    run(home.storePath());
    QVERIFY(!KeptConnection::KeptName().isEmpty());
    home.store().Close();
    QVERIFY(KeptConnection::KeptName().isEmpty());
    if (TestHome::Shared())
        return;
    // Another file put at the store's path (a restore) is read through a new connection.
    const auto before = run(home.storePath());
    ErrObject err;
    const QString other = home.file(QStringLiteral("other.lkb"));
    QVERIFY2(Schema::CreateStore(other, &err), qPrintable(err.Description));
    QVERIFY(QFile::remove(home.storePath()) && QFile::rename(other, home.storePath()));
    const auto after = run(home.storePath());
    QVERIFY(after.first != before.first);
    QCOMPARE(after.second, qint64(0));
    // A store that is gone says why.
    QVERIFY(run(home.file(QStringLiteral("gone.lkb"))).first.contains(QStringLiteral("gone.lkb")));
    KeptConnection::Close();
}
