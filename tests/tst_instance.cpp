// One Lorekeep per home: the guard in this process, then the real program started twice on one home.

#include "TestHome.h"
#include "system/SingleInstance.h"

#include <QDir>
#include <QFile>
#include <QLocalServer>
#include <QLockFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using Outcome = SingleInstance::Outcome;

class tst_instance final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void oneOwnerPerHome();
    void secondProgramRaisesFirst();
};

void tst_instance::oneOwnerPerHome()
{
    QTemporaryDir scratch;
    const QString home = scratch.filePath(QStringLiteral("home"));
    SingleInstance first(home);
    QVERIFY(first.Acquire() == Outcome::Owner && QFile::exists(home + QLatin1Char('/') + SingleInstance::LockFileName));
    QSignalSpy activations(&first, &SingleInstance::ActivationRequested);

    // The same folder reached through a link is the same home.
    QVERIFY(QFile::link(home, scratch.filePath(QStringLiteral("link"))));
    SingleInstance second(scratch.filePath(QStringLiteral("link")));
    QCOMPARE(second.Acquire(), Outcome::Activated);
    // A file to open travels with the request, whatever characters its name holds.
    const QString odd = QStringLiteral("/tmp/Guides\t%20and\nnotes \u00e9t\u00e9.lkb");
    SingleInstance third(home);
    third.setFileToOpen(odd);
    QCOMPARE(third.Acquire(), Outcome::Activated);
    SingleInstance other(scratch.filePath(QStringLiteral("other")));
    QCOMPARE(other.Acquire(), Outcome::Owner);
    QCOMPARE(activations, (QList<QVariantList>{{QString()}, {odd}}));
    QVERIFY(QFile::encodeName(SingleInstance::ServerName(scratch.filePath(QString(300, QLatin1Char('h'))))).size() <=
            100);

    // A live owner that does not answer, or has no socket, is reported, never taken over.
    const QString hung = scratch.filePath(QStringLiteral("hung"));
    QVERIFY(QDir().mkpath(hung));
    QLockFile held(hung + QLatin1Char('/') + SingleInstance::LockFileName);
    QVERIFY(held.tryLock());
    QLocalServer silent;
    QVERIFY(silent.listen(SingleInstance::ServerName(hung)));
    SingleInstance refused(hung);
    QCOMPARE(refused.Acquire(300), Outcome::Unreachable);
    QVERIFY(refused.Description().contains(hung) &&
            refused.Description().contains(QString::number(QCoreApplication::applicationPid())));
    silent.close();
    QCOMPARE(refused.Acquire(300), Outcome::Unreachable);

    // Where no lock can be made, the socket alone still keeps a second start out.
    QFile file(scratch.filePath(QStringLiteral("file")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    const QString unlockable = file.fileName() + QStringLiteral("/home");
    SingleInstance lockless(unlockable);
    QCOMPARE(lockless.Acquire(), Outcome::Owner);
    QSignalSpy locklessActivations(&lockless, &SingleInstance::ActivationRequested);
    QVERIFY(SingleInstance(unlockable).Acquire() == Outcome::Activated && locklessActivations.size() == 1);
}

void tst_instance::secondProgramRaisesFirst()
{
    QTemporaryDir scratch;
    const QString home = scratch.filePath(QStringLiteral("home"));
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), scratch.filePath(QStringLiteral("config")));
    env.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("lorekeep.instance.info=true"));
    env.remove(QStringLiteral("LOREKEEP_HOME"));
    const QStringList arguments = {QStringLiteral("--home"), home};

    QProcess first;
    first.setProcessEnvironment(env);
    first.start(QStringLiteral(LOREKEEP_EXE), arguments);
    QVERIFY2(first.waitForStarted(), qPrintable(first.errorString()));
    QByteArray firstLog;
    // The error log's banner is written when the window is up, the day's backup once the store is
    // open: from then on the store stands still.
    QTRY_VERIFY_WITH_TIMEOUT(
        QFile::exists(home + QStringLiteral("/error.log")) &&
            !QDir(home + QStringLiteral("/Backups")).entryList({QStringLiteral("*.lkb.zst")}).isEmpty(),
        30000);
    const QByteArray store = readFile(home + QStringLiteral("/lorekeep.lkb"));
    const QByteArray log = readFile(home + QStringLiteral("/error.log"));

    QProcess second;
    second.setProcessEnvironment(env);
    second.start(QStringLiteral(LOREKEEP_EXE), arguments);
    QVERIFY(second.waitForFinished(15000));
    QCOMPARE(std::pair(second.exitStatus(), second.exitCode()), std::pair(QProcess::NormalExit, 0));
    QTRY_VERIFY_WITH_TIMEOUT((firstLog += first.readAllStandardError()).contains("asks for the window"), 5000);
    QCOMPARE(std::tuple(first.state(), readFile(home + QStringLiteral("/lorekeep.lkb")),
                        readFile(home + QStringLiteral("/error.log"))),
             std::tuple(QProcess::Running, store, log));

    // A killed program leaves its lock and socket behind; the next start takes both over (that an
    // owner then answers later starts is oneOwnerPerHome's).
    first.kill();
    const QString socket = SingleInstance::ServerName(home);
    QVERIFY(first.waitForFinished(10000) && QFile::exists(home + QLatin1Char('/') + SingleInstance::LockFileName) &&
            QFile::exists(socket.startsWith(QLatin1Char('/')) ? socket : QDir::tempPath() + QLatin1Char('/') + socket));
    QCOMPARE(SingleInstance(home).Acquire(2000), Outcome::Owner);
}

QTEST_GUILESS_MAIN(tst_instance)
#include "tst_instance.moc"
