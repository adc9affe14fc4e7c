// Nothing reported saved is lost to a crash: lkimport writes files into a store and prints a line
// for each committed row; it is killed with SIGKILL after a random number of those lines, and the
// store must then be whole (SQLite's integrity check; on a shared library, every file indexed or
// queued for the index) and hold every row that was reported.
// LOREKEEP_CRASH_KILLS sets the number of kills (scripts/crash-test makes 200).

#include "TestHome.h"
#include "data/GameTable.h"
#include "store/Schema.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QProcess>
#include <QRandomGenerator>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr int defaultKills = 20;
// Rows per round; each kill falls somewhere among them.
constexpr int filesPerRound = 600;

} // namespace

class tst_crash final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void killedWriterLosesNothing();
};

void tst_crash::killedWriterLosesNothing()
{
    const int kills = qEnvironmentVariableIsSet("LOREKEEP_CRASH_KILLS")
                          ? qEnvironmentVariableIntValue("LOREKEEP_CRASH_KILLS")
                          : defaultKills;
    QTemporaryDir dir;
    const bool shared = TestHome::Shared();
    const QString storePath = shared ? TestHome::NewDatabase() : dir.filePath(QStringLiteral("crash.lkb"));
    const QString source = dir.filePath(QStringLiteral("guides"));
    ErrObject err;
    QVERIFY2(shared || Schema::CreateStore(storePath, &err), qPrintable(err.Description));
    QVERIFY(QDir().mkpath(source));
    for (int n = 0; n < filesPerRound; ++n)
        writeFile(QStringLiteral("%1/guide %2.txt").arg(source).arg(n),
                  "Level " + QByteArray::number(n) + QByteArray(2000, '.') + "\r\nThe end.\r\n");

    // Each kill falls after a random number of reported rows, so where it lands in the import does
    // not depend on how fast the machine writes.
    QRandomGenerator random(20261123);
    qint64 reportedTotal = 0;
    for (int round = 0; round < kills; ++round) {
        qint32 game = 0; // a game of its own per round, made while no writer runs
        {
            modADO store(QStringLiteral("crash-setup"));
            QVERIFY2(store.Open(storePath, &err), qPrintable(err.Description));
            QVERIFY(GameTable::Add(store.Connection(), 1, 1, QStringLiteral("Round %1").arg(round), &game, &err));
        }

        const int killAt = int(random.bounded(1, filesPerRound));
        QProcess writer;
        writer.start(QStringLiteral(LKIMPORT_EXE),
                     {QStringLiteral("--store"), storePath, QStringLiteral("--game"), QString::number(game), source});
        QVERIFY(writer.waitForStarted());
        QByteArray output;
        const QDeadlineTimer deadline(60000);
        while (output.count('\n') < killAt && writer.state() == QProcess::Running && !deadline.hasExpired()) {
            writer.waitForReadyRead(1000);
            output += writer.readAllStandardOutput();
        }
        QVERIFY2(writer.state() == QProcess::Running,
                 qPrintable(QStringLiteral("round %1: the writer ended before row %2").arg(round).arg(killAt)));
        writer.kill(); // SIGKILL: no handler runs, nothing is flushed or closed
        QVERIFY(writer.waitForFinished(10000));
        output += writer.readAllStandardOutput();
        // A line cut off by the kill was not reported.
        QList<QByteArray> rows = output.split('\n');
        rows.removeIf([](const QByteArray &line) { return line.count('\t') != 2; });
        QVERIFY(rows.size() >= killAt);
        reportedTotal += rows.size();

        // Opening recovers the log of the killed writer; then every reported row must be there.
        modADO store(QStringLiteral("crash-check"));
        QVERIFY2(store.Open(storePath, &err), qPrintable(err.Description));
        QSqlQuery query(store.Connection());
        QVERIFY(query.exec(shared ? QStringLiteral("SELECT CASE count(*) WHEN 0 THEN 'ok' ELSE 'unindexed' END FROM "
                                                   "file f WHERE f.auto_id NOT IN (SELECT file_id FROM find_text "
                                                   "UNION SELECT file_id FROM find_pending)")
                                  : QStringLiteral("PRAGMA integrity_check")) &&
                query.next());
        QCOMPARE(query.value(0).toString(), QStringLiteral("ok"));
        query.prepare(QStringLiteral("SELECT src FROM file WHERE auto_id = ? AND game_id = ?"));
        for (const QByteArray &row : rows) {
            const QList<QByteArray> fields = row.split('\t');
            query.addBindValue(fields[1].toLongLong());
            query.addBindValue(game);
            QVERIFY2(query.exec() && query.next(),
                     qPrintable(QStringLiteral("round %1: %2 is lost").arg(round).arg(row)));
            QCOMPARE(query.value(0).toString(), QString::fromUtf8(fields[0]));
        }
    }
    qInfo("%d kills, %lld rows reported and found", kills, reportedTotal);
}

QTEST_GUILESS_MAIN(tst_crash)
#include "tst_crash.moc"
