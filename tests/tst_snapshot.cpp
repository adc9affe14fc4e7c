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

// About a megabyte of what a saved page holds: quoted-printable HTML and base64 pictures.
QByteArray page(const QByteArray &title)
{
    QByteArray mhtml = "Subject: " + title + "\r\nContent-Type: multipart/related\r\n\r\n";
    for (int part = 0; mhtml.size() < 1024 * 1024; ++part)
        mhtml += "<h2 id=3D\"s" + QByteArray::number(part) + "\">Level</h2>\r\n" +
                 QByteArray::number(part * 7919, 16).repeated(40).toBase64() + "\r\n";
    return mhtml;
}

QDateTime at(const char *iso)
{
    return QDateTime::fromString(QLatin1String(iso), Qt::ISODateWithMs);
}

qint32 add(const QSqlDatabase &db, qint32 fileId, const char *when, const QByteArray &mhtml)
{
    qint32 id = 0;
    ErrObject err;
    SnapshotTable::Add(db, fileId, QStringLiteral("https://example.org/walk"), at(when), mhtml, &id, &err);
    return id;
}

int count(const QSqlDatabase &db, qint32 fileId)
{
    int n = -1;
    ErrObject err;
    return SnapshotTable::Count(db, fileId, &n, &err) ? n : -1;
}

} // namespace

void tst_snapshot::keepsPagesWholeAndRefusesDamage()
{
    TestHome home;
    const QSqlDatabase db = home.db();
    const qint32 file = home.addFile(home.addGame(1, 1, QStringLiteral("Myst")), 1, QStringLiteral("Walk"));
    // Added out of order: the history goes by capture time, newest first.
    const qint32 newer = add(db, file, "2026-03-02T10:00:00.250+02:00", page("newer"));
    const qint32 older = add(db, file, "2025-12-31T23:59:59.000Z", page("older"));
    QVERIFY(newer > 0 && older > newer);
    QVERIFY(home.count(QStringLiteral("SELECT max(length(data)) FROM snapshot")) < page("older").size() / 4);

    SnapshotRow row;
    bool found = false;
    ErrObject err;
    QVERIFY2(SnapshotTable::Latest(db, file, &row, &found, &err), qPrintable(err.Description));
    QCOMPARE(std::tuple(found, row.auto_id, row.captured, row.size, row.mhtml == page("newer")),
             std::tuple(true, newer, at("2026-03-02T08:00:00.250Z"), qint64(page("newer").size()), true));
    QVERIFY(SnapshotTable::Read(db, older, &row, &found, &err) && found && row.mhtml == page("older"));
    QVector<SnapshotRow> list;
    QVERIFY(SnapshotTable::List(db, file, &list, &err) && list.size() == 2 && count(db, file) == 2);
    QCOMPARE(std::tuple(list[0].auto_id, list[1].auto_id, list[1].address, list[0].mhtml.isEmpty()),
             std::tuple(newer, older, QStringLiteral("https://example.org/walk"), true));

    // A damaged blob is an error: cut short, or with a length that would ask for gigabytes.
    QByteArray cut = qCompress(page("newer"));
    cut.chop(cut.size() / 2);
    QByteArray lying = qCompress(page("newer"));
    lying[0] = char(0x7f);
    for (const QByteArray &bad : {cut, lying}) {
        QSqlQuery damage(db);
        damage.prepare(QStringLiteral("UPDATE snapshot SET data = ? WHERE auto_id = ?"));
        damage.addBindValue(bad);
        damage.addBindValue(newer);
        QVERIFY(damage.exec());
        QVERIFY(!SnapshotTable::Read(db, newer, &row, &found, &err) &&
                err.Description.contains(QLatin1String("damaged")));
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
    add(db, kept, "2026-01-01T00:00:00.000Z", "page");
    add(db, gone, "2026-01-02T00:00:00.000Z", "page");
    ErrObject err;
    QVERIFY2(FileTable::Delete(db, gone, &err), qPrintable(err.Description));
    QCOMPARE(std::pair(count(db, gone), count(db, kept)), std::pair(0, 1));

    // A copy starts with no page history; a moved file keeps its own.
    qint32 copy = 0;
    QVERIFY(FileTable::Copy(db, kept, other, &copy, &err) && FileTable::Move(db, kept, other, &err));
    QCOMPARE(std::pair(count(db, copy), count(db, kept)), std::pair(0, 1));

    // Deleting a game, then a platform, takes their files' snapshots and only theirs.
    const qint32 third = home.addFile(game, 1, QStringLiteral("Third"));
    add(db, third, "2026-01-03T00:00:00.000Z", "page");
    QVERIFY(GameTable::Delete(db, game, nullptr, &err));
    QCOMPARE(std::pair(count(db, third), count(db, kept)), std::pair(0, 1));
    QVERIFY2(PlatformTable::Remove(db, 2, &err), qPrintable(err.Description));
    QCOMPARE(home.count(QStringLiteral("SELECT count(*) FROM snapshot")), 0);
}

void tst_snapshot::olderStoresReadAndUpgrade()
{
    TestHome home;
    const bool shared = TestHome::Shared();
    // A store as the previous layout made it: the same tables but this one, and version 2.
    const QString path = shared ? TestHome::NewDatabase() : home.file(QStringLiteral("old.lkb"));
    if (shared) {
        modADO made(QStringLiteral("made"));
        ErrObject err;
        QVERIFY2(made.Open(path, &err), qPrintable(err.Description));
    } else {
        home.store().Close(); // its log folded in, the file holds everything
        QVERIFY(QFile::copy(home.storePath(), path));
    }
    runElsewhere(path, {QStringLiteral("DROP TABLE snapshot"),
                        shared ? QStringLiteral("COMMENT ON TABLE file IS 'Lorekeep store version 2'")
                               : QStringLiteral("PRAGMA user_version = 2")});
    int version = 0;
    SnapshotRow row;
    bool found = true;
    ErrObject err;
    {
        // Read as it is, it has no snapshots.
        QVERIFY(StoreAddress::AddConnection(QStringLiteral("reader"), path, StoreAddress::Access::Read, 1000, &err));
        QSqlDatabase reader = QSqlDatabase::database(QStringLiteral("reader"));
        QVERIFY(SnapshotTable::Latest(reader, 1, &row, &found, &err) && !found && count(reader, 1) == 0);
        QVERIFY(Schema::ReadVersion(reader, &version, &err) && version == 2);
    }
    QSqlDatabase::removeDatabase(QStringLiteral("reader"));

    // Opened to be written, it gets the table and the version; a newer one is still refused.
    modADO old(QStringLiteral("old"));
    QVERIFY2(old.Open(path, &err), qPrintable(err.Description));
    QVERIFY(Schema::ReadVersion(old.Connection(), &version, &err) && version == Schema::Version);
    QVERIFY(add(old.Connection(), 1, "2026-01-01T00:00:00.000Z", "page") > 0 && count(old.Connection(), 1) == 1);
    old.Close();
    runElsewhere(path, {shared ? QStringLiteral("COMMENT ON TABLE file IS 'Lorekeep store version %1'")
                                     .arg(Schema::Version + 1)
                               : QStringLiteral("PRAGMA user_version = %1").arg(Schema::Version + 1)});
    QVERIFY(!old.Open(path, &err) && err.Number == ErrNumber::StoreTooNew);
}

void tst_snapshot::copiesAndBackupsCarryThem()
{
    TestHome home;
    const qint32 file = home.addFile(home.addGame(1, 1, QStringLiteral("Myst")), 1, QStringLiteral("Walk"));
    add(home.db(), file, "2026-01-01T00:00:00.000Z", "first");
    const qint32 deleted = add(home.db(), file, "2026-01-02T00:00:00.000Z", "deleted");
    QSqlQuery(home.db()).exec(QStringLiteral("DELETE FROM snapshot WHERE auto_id = %1").arg(deleted));
    const qint32 last = add(home.db(), file, "2026-02-03T04:05:06.789Z", page("copied"));

    // Into a file, then from it into a server when there is one: ids, times and pages arrive whole,
    // and the copy numbers on past the deleted one.
    QStringList hops{home.file(QStringLiteral("copy.lkb"))};
    if (TestHome::Shared())
        hops << TestHome::NewDatabase();
    modADO copy(QStringLiteral("copy"));
    QSqlDatabase source = home.db();
    ErrObject err;
    for (const QString &dest : std::as_const(hops)) {
        CopyCounts counts;
        QVERIFY2(StoreCopy::Copy(source, dest, {}, &counts, &err), qPrintable(err.Description));
        QVERIFY2(copy.Open(dest, &err), qPrintable(err.Description));
        source = copy.Connection();
        SnapshotRow row;
        bool found = false;
        QVERIFY(SnapshotTable::Latest(source, file, &row, &found, &err) && found);
        QCOMPARE(std::tuple(counts.Snapshots, row.auto_id, row.captured, row.mhtml == page("copied")),
                 std::tuple(2LL, last, at("2026-02-03T04:05:06.789Z"), true));
        QVERIFY(add(source, file, "2027-01-01T00:00:00.000Z", "x") > last);
        QSqlQuery(source).exec(QStringLiteral("DELETE FROM snapshot WHERE auto_id > %1").arg(last));
    }
    if (TestHome::Shared())
        return;
    // A backup is a copy of the store file, snapshots and all.
    QString made;
    QVERIFY2(StoreBackup::Make(home.storePath(), home.file(QStringLiteral("Backups")), QStringLiteral("manual"), &made,
                               &err),
             qPrintable(err.Description));
    QSqlQuery(home.db()).exec(QStringLiteral("DELETE FROM snapshot"));
    home.store().Close();
    QVERIFY2(StoreBackup::Restore(made, home.storePath(), &err), qPrintable(err.Description));
    QVERIFY(home.store().Open(home.storePath(), &err) && count(home.db(), file) == 2);
}

QTEST_GUILESS_MAIN(tst_snapshot)
#include "tst_snapshot.moc"
