#include "TestHome.h"
#include "base/AppPath.h"
#include "data/HomeFolder.h"
#include "data/modADO.h"
#include "system/SingleInstance.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

class tst_home final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void homeResolvedAndInstalledOnce();
};

void tst_home::homeResolvedAndInstalledOnce()
{
    struct Case
    {
        QStringList arguments;
        QString environment;
        QString expected;
    };
    const QString dataHome = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    const QList<Case> cases{
        {{"lorekeep", "--home", "/tmp/a"}, "/tmp/b", "/tmp/a/"}, // the argument beats the environment
        {{"lorekeep", "--home=/tmp/a//"}, "", "/tmp/a/"},
        {{"lorekeep", "--home", "/tmp/a", "--home", "/tmp/c"}, "", "/tmp/c/"},
        {{"lorekeep", "-home", "/tmp/d"}, "", "/tmp/d/"}, // one dash, as Qt programs take long options
        {{"lorekeep", "--home"}, "/tmp/b///", "/tmp/b/"}, // --home without a value is ignored
        {{"lorekeep", "--home", "lib/../books"}, "", QDir::current().absoluteFilePath(QStringLiteral("books/"))},
        {{"lorekeep"}, "", dataHome + QStringLiteral("/Lorekeep/")},
        {{"lorekeep", "--home", "/"}, "", "/"},
    };
    for (const Case &c : cases) {
        QProcessEnvironment env;
        if (!c.environment.isEmpty())
            env.insert(QStringLiteral("LOREKEEP_HOME"), c.environment);
        QCOMPARE(ResolveHome(c.arguments, env), c.expected);
    }

    QTemporaryDir parent;
    const QString home = NormalizeFolder(parent.filePath(QStringLiteral("new/home")));
    bool installed = false;
    ErrObject err;
    QVERIFY(HomeFolder::IsNew(home));
    QVERIFY2(HomeFolder::Prepare(home, &installed, &err) && installed, qPrintable(err.Description));
    for (const QString &name : HomeFolder::BundledFiles())
        QVERIFY2(QFileInfo::exists(home + name), qPrintable(name));
    const QString tips = home + QStringLiteral("tips.txt");
    QVERIFY(QFileInfo(tips).isWritable() && !QFileInfo::exists(home + QStringLiteral("lorekeep.lkb.part")));

    modADO store(QStringLiteral("tst_home"));
    QVERIFY2(store.Open(home + HomeFolder::StoreFileName, &err), qPrintable(err.Description));
    store.Close();

    // A home that holds anything is not new: a deleted store stays deleted, while the other
    // bundled files it lacks come back and the ones it has are kept as the user left them.
    QVERIFY(QFile::remove(home + HomeFolder::StoreFileName) && QFile::remove(home + QStringLiteral("logo.gif")) &&
            QDir(home + QStringLiteral("QuickClip")).removeRecursively());
    writeFile(tips, "My own tip\r\n");
    QVERIFY(HomeFolder::Prepare(home, &installed, &err));
    QCOMPARE(std::tuple(installed, QFileInfo::exists(home + HomeFolder::StoreFileName),
                        QFileInfo(home + QStringLiteral("logo.gif")).size() > 0,
                        QFileInfo(home + QStringLiteral("QuickClip")).isDir(), readFile(tips)),
             std::tuple(false, false, true, true, QByteArray("My own tip\r\n")));

    // An existing but empty folder is a new home, and so is one that holds only the lock a start
    // takes before it installs the home.
    QTemporaryDir empty;
    QVERIFY(HomeFolder::Prepare(NormalizeFolder(empty.path()), &installed, &err) && installed);
    QTemporaryDir locked;
    SingleInstance guard(locked.path());
    QCOMPARE(guard.Acquire(), SingleInstance::Outcome::Owner);
    QVERIFY(HomeFolder::Prepare(NormalizeFolder(locked.path()), &installed, &err) && installed);

    // A home under a file cannot be made: a clear error, nothing installed.
    const QString underFile = NormalizeFolder(home + QStringLiteral("tips.txt/home"));
    QVERIFY(!HomeFolder::Prepare(underFile, &installed, &err) && !installed);
    QVERIFY(err.Number == ErrNumber::PathFileAccess && err.Description.contains(underFile));
}

QTEST_GUILESS_MAIN(tst_home)
#include "tst_home.moc"
