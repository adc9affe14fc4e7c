#include "TestHome.h"
#include "store/Schema.h"
#include "system/SingleInstance.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

// Starts the real program with no screen, settings of the test's own and no home from outside.
bool start(QProcess &lorekeep, const QTemporaryDir &scratch, const QStringList &args, const QString &dir = {})
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), scratch.filePath(QStringLiteral("config")));
    env.remove(QStringLiteral("LOREKEEP_HOME"));
    lorekeep.setProcessEnvironment(env);
    lorekeep.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    lorekeep.setWorkingDirectory(dir);
    lorekeep.start(QStringLiteral(LOREKEEP_EXE), args);
    return lorekeep.waitForStarted();
}

// A later start on the same home is answered only once the event loop runs again, here a message's.
bool answersWhileInAMessage(const QString &home)
{
    return SingleInstance(home).Acquire(30000) == SingleInstance::Outcome::Activated;
}

} // namespace

// The real program, started as a user would on a new home, offscreen.
class tst_program final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startsAndClosesCleanlyAndAnswersWithoutAScreen();
    void opensTheFileItIsGiven_data();
    void opensTheFileItIsGiven();
};

void tst_program::startsAndClosesCleanlyAndAnswersWithoutAScreen()
{
    QTemporaryDir scratch;
    const QString home = scratch.filePath(QStringLiteral("home"));
    QProcess lorekeep;
    QVERIFY2(start(lorekeep, scratch, {QStringLiteral("--home"), home}), qPrintable(lorekeep.errorString()));

    // The log's banner is written when the window is first activated (what a new home holds is tst_home's).
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(home + QStringLiteral("/error.log")), 30000);
    QCOMPARE(lorekeep.state(), QProcess::Running);

    lorekeep.terminate();
    QVERIFY(lorekeep.waitForFinished(30000));
    QCOMPARE(std::pair(lorekeep.exitStatus(), lorekeep.exitCode()), std::pair(QProcess::NormalExit, 0));
    QFile settings(scratch.filePath(QStringLiteral("config/Lorekeep/Lorekeep.ini")));
    QVERIFY(settings.open(QIODevice::ReadOnly));
    const QByteArray text = settings.readAll();
    for (const char *section : {"[Layout]", "[Tree]", "[Detail]", "[View]", "[MainWindow]"})
        QVERIFY2(text.contains(section), section);

    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
        env.remove(QLatin1String(name));
    QProcess bare;
    bare.setProcessEnvironment(env);
    const auto run = [&bare](const char *option) {
        bare.start(QStringLiteral(LOREKEEP_EXE), {QLatin1String(option)});
        return bare.waitForFinished(30000) && bare.exitCode() == 0 ? bare.readAllStandardOutput()
                                                                   : QByteArray("failed");
    };
    const QByteArray help = run("--help");
    QCOMPARE(std::pair(run("--version").trimmed(), help.contains("--home <DIR>") && help.contains("[FILE]")),
             std::pair(QByteArray("Lorekeep 1.1.0"), true));
}

void tst_program::opensTheFileItIsGiven_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("logged");
    QTest::newRow("a store") << QStringLiteral("Retro Guides.lkb") << QByteArray();
    QTest::newRow("a missing file") << QStringLiteral("gone.lkb") << QByteArray("Could not find the store");
    QTest::newRow("a foreign file") << QStringLiteral("notes.txt") << QByteArray("is not a Lorekeep store");
}

void tst_program::opensTheFileItIsGiven()
{
    // The store given is opened instead of the home's; one that cannot be is reported as File > Open
    // reports it, and the home's store is opened as usual. Each store opened gets the day's backup,
    // named after it, which tells from outside which one the program opened.
    QFETCH(QString, file);
    QFETCH(QByteArray, logged);
    QTemporaryDir scratch;
    const QString home = scratch.filePath(QStringLiteral("home"));
    QVERIFY(QDir().mkpath(scratch.filePath(QStringLiteral("docs"))));
    const QString path = scratch.filePath(QStringLiteral("docs/") + file);
    ErrObject err;
    if (logged.isEmpty())
        QVERIFY(Schema::CreateStore(path, &err));
    else if (file.endsWith(QLatin1String(".txt")))
        writeFile(path, "Up, up, down, down, left, right, left, right, B, A.\n");

    QProcess lorekeep;
    // A relative name is taken from where the program was started.
    QVERIFY(start(lorekeep, scratch, {QStringLiteral("--home"), home, file}, scratch.filePath(QStringLiteral("docs"))));
    const QString backups = home + QStringLiteral("/Backups");
    const auto backupOf = [&](const QString &name) {
        return !QDir(backups)
                    .entryList({name + QStringLiteral(" *.lkb"), name + QStringLiteral(" *.lkb.zst")})
                    .isEmpty();
    };
    if (logged.isEmpty()) {
        QTRY_VERIFY_WITH_TIMEOUT(backupOf(QStringLiteral("Retro Guides")), 30000);
        QVERIFY(!backupOf(QStringLiteral("lorekeep")));
    } else {
        QTRY_VERIFY_WITH_TIMEOUT(readFile(home + QStringLiteral("/error.log")).contains(logged), 30000);
        QVERIFY(answersWhileInAMessage(home)); // SIGTERM must end the program from within a message too
    }
    lorekeep.terminate();
    QVERIFY(lorekeep.waitForFinished(30000));
    QCOMPARE(lorekeep.exitCode(), 0);
    if (!logged.isEmpty())
        QVERIFY(backupOf(QStringLiteral("lorekeep")));
}

QTEST_GUILESS_MAIN(tst_program)
#include "tst_program.moc"
