// One Lorekeep per home: the guard, with its owners and later starts in this process.

#include "platform/SingleInstance.h"

#include <QDir>
#include <QFile>
#include <QLocalServer>
#include <QLockFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using Outcome = SingleInstance::Outcome;

class tst_instance final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void oneOwnerPerHome();
};

void tst_instance::oneOwnerPerHome()
{
    QTemporaryDir scratch;
    QVERIFY(scratch.isValid());
    const QString home = scratch.filePath(QStringLiteral("home"));
    SingleInstance first(home);
    QCOMPARE(first.Acquire(), Outcome::Owner);
    QVERIFY(QFile::exists(home + QLatin1Char('/') + SingleInstance::LockFileName));
    QSignalSpy activations(&first, &SingleInstance::ActivationRequested);

    // The same folder reached through a link is the same home.
    QVERIFY(QFile::link(home, scratch.filePath(QStringLiteral("link"))));
    SingleInstance second(scratch.filePath(QStringLiteral("link")));
    QCOMPARE(second.Acquire(), Outcome::Activated);
    QCOMPARE(activations.size(), 1);

    SingleInstance other(scratch.filePath(QStringLiteral("other")));
    QCOMPARE(other.Acquire(), Outcome::Owner);
    QCOMPARE(activations.size(), 1);
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
    QVERIFY(refused.Description().contains(hung));
    QVERIFY(refused.Description().contains(QString::number(QCoreApplication::applicationPid())));
    silent.close();
    QCOMPARE(refused.Acquire(300), Outcome::Unreachable);

    // Where no lock can be made, the socket alone still keeps a second start out.
    QFile file(scratch.filePath(QStringLiteral("file")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    const QString unlockable = file.fileName() + QStringLiteral("/home");
    SingleInstance lockless(unlockable);
    QCOMPARE(lockless.Acquire(), Outcome::Owner);
    QSignalSpy locklessActivations(&lockless, &SingleInstance::ActivationRequested);
    QCOMPARE(SingleInstance(unlockable).Acquire(), Outcome::Activated);
    QCOMPARE(locklessActivations.size(), 1);
}

QTEST_GUILESS_MAIN(tst_instance)
#include "tst_instance.moc"
