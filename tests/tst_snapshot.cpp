#include "TestHome.h"
#include "data/FileTable.h"
#include "data/GameTable.h"
#include "data/PlatformTable.h"
#include "data/SnapshotTable.h"
#include "data/StoreBackup.h"
#include "data/StoreCopy.h"
#include "data/modADO.h"
#include "store/Schema.h"
#include "store/StoreAddress.h"

#include <QFile>
#include <QSqlQuery>
#include <QTest>

class tst_snapshot final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsPagesWholeAndRefusesDamage();
    void goesWithItsFileOnly();
    void olderStoresReadAndUpgrade();
    void copiesAndBackupsCarryThem();
};

namespace {

// About a megabyte of what QWebEnginePage::save writes: headers, quoted-printable HTML, base64.
QByteArray pageMhtml(const QByteArray &title)
{
    QByteArray page = "From: <Saved by Blink>\r\nSnapshot-Content-Location: https://example.org/walk\r\n"
                      "Subject: " + title + "\r\nMIME-Version: 1.0\r\nContent-Type: multipart/related;\r\n"
                      "\ttype=\"text/html\";\r\n\tboundary=\"----MultipartBoundary--x\"\r\n\r\n";
    for (int part = 0; page.size() < 1024 * 1024; ++part) {
        page += "------MultipartBoundary--x\r\nContent-Type: text/html\r\nContent-Transfer-Encoding: "
                "quoted-printable\r\n\r\n<h2 id=3D\"s" + QByteArray::number(part) + "\">Level " +
                QByteArray::number(part) + "</h2><ul><li>Take the key =E2=80=93 north door</li></ul>\r\n";
        page += QByteArray::number(part * 7919, 16).repeated(40).toBase64() + "\r\n";
    }
    return page;
}

QDateTime at(const char *iso)
{
    return QDateTime::fromString(QLatin1String(iso), Qt::ISODateWithMs);
}

qint32 addSnapshot(const QSqlDatabase &db, qint32 fileId, const char *when, const QByteArray &page)
{
    qint32 id = 0;
    ErrObject err;
    if (!SnapshotTable::Add(db, fileId, QStringLiteral("https://example.org/walk"), at(when), page, &id, &err))
        qWarning() << err.Description;
    return id;
}

int snapshotCount(const QSqlDatabase &db, qint32 fileId)
{
    int count = -1;
    ErrObject err;
    return SnapshotTable::Count(db, fileId, &count, &err) ? count : -1;
}

} // namespace

void tst_snapshot::keepsPagesWholeAndRefusesDamage()
{
    TestHome home;
    const QSqlDatabase db = home.db();
    const qint32 file = home.addFile(home.addGame(1, 1, QStringLiteral("Myst")), 1, QStringLiteral("Walk"));
    const QByteArray older = pageMhtml("older");
    const QByteArray newer = pageMhtml("newer");
    // Added out of order: the history is by capture time, not by id.
    const qint32 newerId = addSnapshot(db, file, "2026-03-02T10:00:00.250+02:00", newer);
    const qint32 olderId = addSnapshot(db, file, "2025-12-31T23:59:59.000Z", older);
    QVERIFY(newerId > 0 && olderId > newerId);
    QVERIFY2(home.count(QStringLiteral("SELECT max(length(data)) FROM snapshot")) < older.size() / 4,
             "the page is kept compressed");

    SnapshotRow row;
    bool found = false;
    ErrObject err;
    QVERIFY2(SnapshotTable::Latest(db, file, &row, &found, &err), qPrintable(err.Description));
    QVERIFY(found && row.mhtml == newer);
    QCOMPARE(std::tuple(row.auto_id, row.file_id, row.captured, row.captured.timeSpec(), row.size),
             std::tuple(newerId, file, at("2026-03-02T08:00:00.250Z"), Qt::UTC, qint64(newer.size())));
    QVERIFY(SnapshotTable::Read(db, olderId, &row, &found, &err) && found && row.mhtml == older);

    QVector<SnapshotRow> list;
    QVERIFY(SnapshotTable::List(db, file, &list, &err));
    QCOMPARE(list.size(), 2);
    QCOMPARE(std::tuple(list[0].auto_id, list[1].auto_id, list[1].captured, list[1].address),
             std::tuple(newerId, olderId, at("2025-12-31T23:59:59.000Z"), QStringLiteral("https://example.org/walk")));
    QVERIFY(list[0].mhtml.isEmpty() && list[0].size == newer.size());
    QCOMPARE(snapshotCount(db, file), 2);
    QVERIFY(SnapshotTable::Latest(db, file + 1, &row, &found, &err) && !found);

    // An empty page comes back empty; a damaged one is an error, whatever part of it broke.
    const qint32 emptyId = addSnapshot(db, file, "2020-01-01T00:00:00.000Z", QByteArray());
    QVERIFY(SnapshotTable::Read(db, emptyId, &row, &found, &err) && found && row.mhtml.isEmpty());
    QByteArray cut = qCompress(newer);
    cut.chop(cut.size() / 2);
    QByteArray scrambled = qCompress(newer);
    for (int i = 8; i < scrambled.size(); i += 97)
        scrambled[i] = char(scrambled[i] ^ 0x5a);
    QByteArray lying = qCompress(newer);
    lying[0] = char(0x7f); // claims nearly two gigabytes
    for (const QByteArray &bad : {cut, scrambled, lying, QByteArray("xy")}) {
        QSqlQuery damage(db);
        QVERIFY(damage.prepare(QStringLiteral("UPDATE snapshot SET data = ? WHERE auto_id = ?")));
        damage.addBindValue(bad);
        damage.addBindValue(newerId);
        QVERIFY(damage.exec());
        err = {};
        QVERIFY(!SnapshotTable::Read(db, newerId, &row, &found, &err));
        QVERIFY2(err.isError() && err.Description.contains(QLatin1String("damaged")), qPrintable(err.Description));
    }
}

void tst_snapshot::goesWithItsFileOnly()
{
    TestHome home;
    const QSqlDatabase db = home.db();
    const qint32 game = home.addGame(1, 1, QStringLiteral("Myst"));
    const qint32 other = home.addGame(2, 1, QStringLiteral("Riven"));
    const qint32 kept = home.addFile(game, 1, QStringLiteral("Kept"));
    const qint32 gone = home.addFile(game, 1, QStringLiteral("Gone"));
    const QByteArray page("MIME-Version: 1.0\r\n\r\n<p>page</p>");
    addSnapshot(db, kept, "2026-01-01T00:00:00.000Z", page);
    addSnapshot(db, gone, "2026-01-01T00:00:00.000Z", page);
    addSnapshot(db, gone, "2026-01-02T00:00:00.000Z", page);

    ErrObject err;
    QVERIFY2(FileTable::Delete(db, gone, &err), qPrintable(err.Description));
    QCOMPARE(std::pair(snapshotCount(db, gone), snapshotCount(db, kept)), std::pair(0, 1));

    // A copy starts without a page history; a moved file keeps its own.
    qint32 copy = 0;
    QVERIFY(FileTable::Copy(db, kept, other, &copy, &err) && FileTable::Move(db, kept, other, &err));
    QCOMPARE(std::pair(snapshotCount(db, copy), snapshotCount(db, kept)), std::pair(0, 1));

    // Deleting a game or a platform takes its files' snapshots too, and only theirs.
    const qint32 third = home.addFile(game, 1, QStringLiteral("Third"));
    addSnapshot(db, third, "2026-01-03T00:00:00.000Z", page);
    QVERIFY(GameTable::Delete(db, game, nullptr, &err));
    QCOMPARE(std::pair(snapshotCount(db, third), snapshotCount(db, kept)), std::pair(0, 1));
    QVERIFY2(PlatformTable::Remove(db, 2, &err), qPrintable(err.Description));
    QCOMPARE(home.count(QStringLiteral("SELECT count(*) FROM snapshot")), 0);
}

void tst_snapshot::olderStoresReadAndUpgrade()
{
    TestHome home;
    const qint32 file = home.addFile(home.addGame(1, 1, QStringLiteral("Myst")), 1, QStringLiteral("Walk"));
    // The store as the previous layout made it: the same tables but this one, and version 2.
    const QString path = TestHome::Shared() ? TestHome::NewDatabase() : home.file(QStringLiteral("old.lkb"));
    if (TestHome::Shared()) {
        modADO made(QStringLiteral("made"));
        ErrObject err;
        QVERIFY2(made.Open(path, &err), qPrintable(err.Description));
        QSqlQuery(made.Connection()).exec(QStringLiteral("INSERT INTO file (game_id, \"desc\") VALUES (1, 'Walk')"));
    } else {
        home.store().Close(); // its log folded in, the file holds everything
        QVERIFY(QFile::copy(home.storePath(), path));
    }
    runElsewhere(path, {QStringLiteral("DROP TABLE snapshot"),
                        TestHome::Shared() ? QStringLiteral("COMMENT ON TABLE file IS 'Lorekeep store version 2'")
                                           : QStringLiteral("PRAGMA user_version = 2")});

    modADO old(QStringLiteral("old"));
    ErrObject err;
    int version = 0;
    SnapshotRow row;
    bool found = true;
    QVector<SnapshotRow> list{SnapshotRow()};
    {
        // Read as it is, it has no snapshots, and reading changes nothing.
        ErrObject err;
        QVERIFY(StoreAddress::AddConnection(QStringLiteral("reader"), path, StoreAddress::Access::Read, 1000, &err));
        QSqlDatabase reader = QSqlDatabase::database(QStringLiteral("reader"));
        QVERIFY(reader.isOpen() && !SnapshotTable::Available(reader));
        QVERIFY(SnapshotTable::Latest(reader, file, &row, &found, &err) && !found);
        QVERIFY(SnapshotTable::List(reader, file, &list, &err) && list.isEmpty());
        QCOMPARE(snapshotCount(reader, file), 0);
        QVERIFY(Schema::ReadVersion(reader, &version, &err) && version == 2);
        reader.close();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("reader"));
    // Opened to be written, it gets the table and the version, and keeps what it held.
    QVERIFY2(old.Open(path, &err), qPrintable(err.Description));
    QVERIFY(!old.IsReadOnly() && Schema::ReadVersion(old.Connection(), &version, &err));
    QCOMPARE(version, Schema::Version);
    QVERIFY(addSnapshot(old.Connection(), file, "2026-01-01T00:00:00.000Z", "page") > 0);
    QCOMPARE(snapshotCount(old.Connection(), file), 1);
    QSqlQuery files(QStringLiteral("SELECT count(*) FROM file"), old.Connection());
    QVERIFY(files.next() && files.value(0).toInt() == 1);

    // A newer layout is still refused, and upgrading twice does nothing.
    QVERIFY2(Schema::Upgrade(old.Connection(), &err), qPrintable(err.Description));
    old.Close();
    runElsewhere(path, {TestHome::Shared() ? QStringLiteral("COMMENT ON TABLE file IS 'Lorekeep store version 4'")
                                           : QStringLiteral("PRAGMA user_version = 4")});
    QVERIFY(!old.Open(path, &err) && err.Number == ErrNumber::StoreTooNew);
}

void tst_snapshot::copiesAndBackupsCarryThem()
{
    TestHome home;
    const qint32 file = home.addFile(home.addGame(1, 1, QStringLiteral("Myst")), 1, QStringLiteral("Walk"));
    const QByteArray page = pageMhtml("copied");
    addSnapshot(home.db(), file, "2026-01-01T00:00:00.000Z", page);
    const qint32 kept = addSnapshot(home.db(), file, "2026-02-03T04:05:06.789Z", page + "second");
    ErrObject err;
    QSqlQuery(home.db()).exec(QStringLiteral("DELETE FROM snapshot WHERE auto_id = %1").arg(kept + 0));
    const qint32 last = addSnapshot(home.db(), file, "2026-02-03T04:05:06.789Z", page + "second");

    // Into a file, and from it into a server when there is one: ids, times and pages arrive whole,
    // and the copy goes on numbering past the deleted one.
    QStringList hops{home.file(QStringLiteral("copy.lkb"))};
    if (TestHome::Shared())
        hops << TestHome::NewDatabase();
    modADO from(QStringLiteral("from"));
    QSqlDatabase source = home.db();
    for (const QString &dest : std::as_const(hops)) {
        CopyCounts counts;
        QVERIFY2(StoreCopy::Copy(source, dest, {}, &counts, &err), qPrintable(err.Description));
        QCOMPARE(counts.Snapshots, 2);
        QVERIFY2(from.Open(dest, &err), qPrintable(err.Description));
        source = from.Connection();
        SnapshotRow row;
        bool found = false;
        QVERIFY(SnapshotTable::Latest(source, file, &row, &found, &err) && found);
        QCOMPARE(std::tuple(row.auto_id, row.captured, row.mhtml == page + "second"),
                 std::tuple(last, at("2026-02-03T04:05:06.789Z"), true));
        QVERIFY(addSnapshot(source, file, "2027-01-01T00:00:00.000Z", "x") > last);
        QSqlQuery(source).exec(QStringLiteral("DELETE FROM snapshot WHERE auto_id > %1").arg(last));
    }

    // A backup is the store file itself, snapshots and all.
    if (TestHome::Shared())
        return;
    QString made;
    QVERIFY2(StoreBackup::Make(home.storePath(), home.file(QStringLiteral("Backups")), QStringLiteral("manual"),
                               &made, &err),
             qPrintable(err.Description));
    QSqlQuery(home.db()).exec(QStringLiteral("DELETE FROM snapshot"));
    home.store().Close();
    QVERIFY2(StoreBackup::Restore(made, home.storePath(), &err), qPrintable(err.Description));
    QVERIFY(home.store().Open(home.storePath(), &err));
    QCOMPARE(snapshotCount(home.db(), file), 2);
}

QTEST_GUILESS_MAIN(tst_snapshot)
#include "tst_snapshot.moc"
