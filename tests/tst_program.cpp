#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

// The real program, started as a user would on a new home, offscreen.
class tst_program final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startsAndClosesCleanly_data();
    void startsAndClosesCleanly();
};

void tst_program::startsAndClosesCleanly_data()
{
    QTest::addColumn<bool>("storeMissing");
    QTest::newRow("new home") << false;
    // The connection error is on screen when the program is asked to close.
    QTest::newRow("store removed, message up") << true;
}

void tst_program::startsAndClosesCleanly()
{
    QFETCH(bool, storeMissing);
    QTemporaryDir scratch;
    QVERIFY(scratch.isValid());
    const QString home = scratch.filePath(QStringLiteral("home"));
    if (storeMissing) {
        QVERIFY(QDir().mkpath(home));
        QFile tips(home + QStringLiteral("/tips.txt"));
        QVERIFY(tips.open(QIODevice::WriteOnly));
    }
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), scratch.filePath(QStringLiteral("config")));
    env.remove(QStringLiteral("LOREKEEP_HOME"));

    QProcess lorekeep;
    lorekeep.setProcessEnvironment(env);
    lorekeep.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    lorekeep.start(QStringLiteral(LOREKEEP_EXE), {QStringLiteral("--home"), home});
    QVERIFY2(lorekeep.waitForStarted(), qPrintable(lorekeep.errorString()));

    // The error log's banner is written at the start of the window's first activation, the failed
    // connection's record just before its message goes up.
    const QString log = home + QStringLiteral("/error.log");
    auto logText = [&] {
        QFile file(log);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(log), 30000);
    if (storeMissing) {
        QTRY_VERIFY_WITH_TIMEOUT(logText().contains("Connect"), 30000);
        QTest::qWait(200);
    } else {
        for (const char *name : {"lorekeep.lkb", "logo.gif", "vbar.gif", "tips.txt", "QuickClip"})
            QVERIFY2(QFile::exists(home + QLatin1Char('/') + QLatin1String(name)), name);
    }
    QCOMPARE(lorekeep.state(), QProcess::Running);

    lorekeep.terminate();
    QVERIFY(lorekeep.waitForFinished(30000));
    QCOMPARE(lorekeep.exitStatus(), QProcess::NormalExit);
    QCOMPARE(lorekeep.exitCode(), 0);
    QFile settings(scratch.filePath(QStringLiteral("config/Lorekeep/Lorekeep.ini")));
    QVERIFY(settings.open(QIODevice::ReadOnly));
    const QByteArray text = settings.readAll();
    for (const char *section : {"[Layout]", "[Tree]", "[Detail]", "[View]", "[MainWindow]"})
        QVERIFY2(text.contains(section), section);
}

QTEST_GUILESS_MAIN(tst_program)
#include "tst_program.moc"
