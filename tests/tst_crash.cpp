// Nothing reported saved is lost to a crash: lkimport writes files into a store and prints a line
// for each committed row; it is killed with SIGKILL at a random moment, and the store must then be
// whole (SQLite's integrity check) and hold every row that was reported. LOREKEEP_CRASH_KILLS sets
// the number of kills (scripts/crash-test makes 200).

#include "TestHome.h"
#include "data/GameTable.h"
#include "data/Schema.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr int defaultKills = 20;
// Enough files that the writing lasts a good while after start-up.
constexpr int filesPerRound = 2000;

struct Reported
{
    QString path;
    qint64 id = 0;
};

// The rows lkimport reported before it died; a line cut off by the kill was not reported.
QVector<Reported> reportedRows(const QByteArray &output)
{
    QVector<Reported> rows;
    for (const QByteArray &line : output.split('\n')) {
        const QList<QByteArray> fields = line.split('\t');
        if (fields.size() == 3)
            rows.append({QString::fromUtf8(fields.at(0)), fields.at(1).toLongLong()});
    }
    return rows;
}

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
    // A writer that ends before its kill makes a round with no kill; the rounds go on until the
    // kills are all made, within a bound. The first round's time may have been a slow one (other
    // tests share the machine), so each round that ends unkilled shortens the time the kills fall in.
    const int maxRounds = 4 * kills + 1;
    QTemporaryDir dir;
    const QString storePath = dir.filePath(QStringLiteral("crash.lkb"));
    const QString source = dir.filePath(QStringLiteral("guides"));
    ErrObject err;
    QVERIFY2(Schema::CreateStore(storePath, &err), qPrintable(err.Description));
    QVERIFY(QDir().mkpath(source));
    for (int n = 0; n < filesPerRound; ++n) {
        QFile file(QStringLiteral("%1/guide %2.txt").arg(source).arg(n));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray("Level ") + QByteArray::number(n) + QByteArray(2000, '.') + "\r\nThe end.\r\n");
    }

    QRandomGenerator random(20261123);
    qint64 reportedTotal = 0, foundTotal = 0;
    int killed = 0, whole = 0;
    // The first round runs to the end and times the whole import; the kills of the others fall
    // anywhere in that time, from start-up to the last row.
    qint64 importMs = 0;
    int round = 0;
    for (; round < maxRounds && killed < kills; ++round) {
        // Each round writes into a game of its own, made while no writer runs.
        qint32 game = 0;
        {
            modADO store(QStringLiteral("crash-setup"));
            QVERIFY2(store.Open(storePath, &err), qPrintable(err.Description));
            QVERIFY(GameTable::Add(store.Connection(), 1, 1, QStringLiteral("Round %1").arg(round), &game, &err));
        }

        QProcess writer;
        writer.setProcessChannelMode(QProcess::SeparateChannels);
        writer.start(QStringLiteral(LKIMPORT_EXE),
                     {QStringLiteral("--store"), storePath, QStringLiteral("--game"), QString::number(game), source});
        QVERIFY(writer.waitForStarted());
        QElapsedTimer clock;
        clock.start();
        if (round == 0) {
            QVERIFY(writer.waitForFinished(60000));
            importMs = std::max<qint64>(clock.elapsed(), 20);
        } else {
            QTest::qWait(int(random.bounded(importMs * 9 / 10)));
        }
        if (writer.state() == QProcess::Running) {
            writer.kill(); // SIGKILL: no handler runs, nothing is flushed or closed
            ++killed;
        } else if (round > 0) {
            importMs = std::max<qint64>(importMs * 3 / 4, 20);
        }
        QVERIFY(writer.state() == QProcess::NotRunning || writer.waitForFinished(10000));
        const QVector<Reported> rows = reportedRows(writer.readAllStandardOutput());
        reportedTotal += rows.size();

        // Opening recovers the log of the killed writer; then every reported row must be there.
        modADO store(QStringLiteral("crash-check"));
        QVERIFY2(store.Open(storePath, &err), qPrintable(err.Description));
        QSqlQuery query(store.Connection());
        QVERIFY(query.exec(QStringLiteral("PRAGMA integrity_check")) && query.next());
        QCOMPARE(query.value(0).toString(), QStringLiteral("ok"));
        ++whole;
        query.prepare(QStringLiteral("SELECT src FROM file WHERE auto_id = ? AND game_id = ?"));
        for (const Reported &row : rows) {
            query.addBindValue(row.id);
            query.addBindValue(game);
            QVERIFY2(query.exec() && query.next(),
                     qPrintable(QStringLiteral("round %1: row %2 (%3) is lost").arg(round).arg(row.id).arg(row.path)));
            QCOMPARE(query.value(0).toString(), row.path);
            ++foundTotal;
        }
    }
    qInfo("%d kills in %d rounds after a run of %lld ms to the end, %lld rows reported, %lld found, integrity ok %d of "
          "%d",
          killed, round, importMs, reportedTotal, foundTotal, whole, round);
    // Kills that all fell before the first row or after the last would prove nothing.
    QVERIFY(reportedTotal > 0);
    QCOMPARE(killed, kills);
}

QTEST_GUILESS_MAIN(tst_crash)
#include "tst_crash.moc"
