#include "data/modADO.h"
#include "shell/AppPath.h"
#include "shell/HomeFolder.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

class tst_home final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void resolveHome_data();
    void resolveHome();
    void newHomeIsInstalledOnce();
    void homeThatCannotBeMade();
};

void tst_home::resolveHome_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("environment");
    QTest::addColumn<QString>("expected");

    const QString dataHome = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    QTest::newRow("argumentBeatsEnvironment") << QStringList{"lorekeep", "--home", "/tmp/a"} << "/tmp/b"
                                              << "/tmp/a/";
    QTest::newRow("argumentWithEquals") << QStringList{"lorekeep", "--home=/tmp/a//"} << ""
                                        << "/tmp/a/";
    QTest::newRow("lastArgumentWins") << QStringList{"lorekeep", "--home", "/tmp/a", "--home", "/tmp/c"} << ""
                                      << "/tmp/c/";
    QTest::newRow("environmentWhenNoArgument") << QStringList{"lorekeep"} << "/tmp/b///"
                                               << "/tmp/b/";
    QTest::newRow("homeWithoutValueIgnored") << QStringList{"lorekeep", "--home"} << "/tmp/b"
                                             << "/tmp/b/";
    QTest::newRow("relativeMadeAbsolute")
        << QStringList{"lorekeep", "--home", "lib/../books"} << ""
        << QDir::current().absoluteFilePath(QStringLiteral("books")) + QLatin1Char('/');
    QTest::newRow("userDataFolderLast") << QStringList{"lorekeep"} << "" << dataHome + QStringLiteral("/Lorekeep/");
    QTest::newRow("rootKeepsOneSlash") << QStringList{"lorekeep", "--home", "/"} << ""
                                       << "/";
}

void tst_home::resolveHome()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, environment);
    QFETCH(QString, expected);
    QProcessEnvironment env;
    if (!environment.isEmpty())
        env.insert(QStringLiteral("LOREKEEP_HOME"), environment);
    QCOMPARE(ResolveHome(arguments, env), expected);
}

void tst_home::newHomeIsInstalledOnce()
{
    QTemporaryDir parent;
    const QString home = NormalizeFolder(parent.filePath(QStringLiteral("new/home")));
    bool installed = false;
    ErrObject err;
    QVERIFY(HomeFolder::IsNew(home));
    QVERIFY2(HomeFolder::Prepare(home, &installed, &err), qPrintable(err.Description));
    QVERIFY(installed);
    for (const QString &name : HomeFolder::BundledFiles())
        QVERIFY2(QFileInfo::exists(home + name), qPrintable(name));
    QVERIFY(QFileInfo(home + QStringLiteral("QuickClip")).isDir());
    QVERIFY(QFileInfo(home + QStringLiteral("tips.txt")).isWritable());
    QVERIFY(!QFileInfo::exists(home + QStringLiteral("lorekeep.lkb.part")));

    QFile tips(home + QStringLiteral("tips.txt"));
    QVERIFY(tips.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = tips.readAll().split('\n');
    QVERIFY(lines.size() >= 20);
    QVERIFY(lines.constFirst().endsWith('\r'));

    modADO store(QStringLiteral("tst_home"));
    QVERIFY2(store.Open(home + HomeFolder::StoreFileName, &err), qPrintable(err.Description));
    store.Close();

    // A home that holds anything is not new: a deleted store stays deleted.
    QVERIFY(QFile::remove(home + HomeFolder::StoreFileName));
    QVERIFY(HomeFolder::Prepare(home, &installed, &err));
    QVERIFY(!installed);
    QVERIFY(!QFileInfo::exists(home + HomeFolder::StoreFileName));

    // An existing but empty folder is a new home.
    QTemporaryDir empty;
    QVERIFY(HomeFolder::Prepare(NormalizeFolder(empty.path()), &installed, &err));
    QVERIFY(installed);
}

void tst_home::homeThatCannotBeMade()
{
    QTemporaryDir parent;
    const QString blocker = parent.filePath(QStringLiteral("blocker"));
    QFile file(blocker);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    bool installed = true;
    ErrObject err;
    QVERIFY(!HomeFolder::Prepare(NormalizeFolder(blocker + QStringLiteral("/home")), &installed, &err));
    QVERIFY(!installed);
    QCOMPARE(err.Number, ErrNumber::PathFileAccess);
    QVERIFY(err.Description.contains(QStringLiteral("blocker/home")));
}

QTEST_GUILESS_MAIN(tst_home)
#include "tst_home.moc"
