#include "ScriptedPrompts.h"
#include "TestHome.h"
#include "base/ErrorLog.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

class tst_errorlog final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bannerRecordsAndMessages();
};

void tst_errorlog::bannerRecordsAndMessages()
{
    TestHome home;
    const QString own = home.file(QStringLiteral("own.log"));
    ErrorLog log(own);
    log.setLocale(QLocale(QLocale::English, QLocale::UnitedStates));
    log.setClock([] { return QDateTime(QDate(2026, 11, 3), QTime(21, 5, 7)); });

    QVERIFY(log.Write({0, QStringLiteral("not an error")}, QStringLiteral("ctlTree"), QStringLiteral("Load Tree")) &&
            !QFile::exists(own) && log.StartLog());
    QVERIFY(log.Write({-2147467259, QStringLiteral("first line\r\nsecond line")}, QStringLiteral("modADO"),
                      QStringLiteral("Connect")));
    QVERIFY(log.StartLog()); // the banner comes once only
    QVERIFY(log.Write({35601, QStringLiteral("Élément – 見つかりません")}, QStringLiteral("ctlView"),
                      QStringLiteral("lvFiles DblClick")));

    const QByteArray time = QLocale(QLocale::English, QLocale::UnitedStates)
                                .toString(QTime(21, 5, 7), QStringLiteral("h:mm:ss AP"))
                                .toUtf8();
    const QByteArray record2 = "  Module = ctlView\r\n  Source = lvFiles DblClick\r\n  Number = 35601\r\n    Desc = " +
                               QStringLiteral("Élément – 見つかりません").toUtf8() + "\r\n";
    const QByteArray stamp = "    Date = 11/3/26\r\n    Time = " + time + "\r\n............................\r\n \r\n";
    QCOMPARE(readFile(own),
             "B R I G H T M O O R S O F T WARE  -  E R R O R  *  L O G\r\n=======================================\r\n"
             "Application Title: Lorekeep\r\nApplication Version: 1.1.0\r\n \r\nBegin Log...\r\n \r\n"
             "  Module = modADO\r\n  Source = Connect\r\n  Number = -2147467259\r\n"
             "    Desc = first line\r\nsecond line\r\n" +
                 stamp + record2 + stamp);

    // LogError writes to the home's log, and shows the record only when asked to.
    const QString path = home.file(QStringLiteral("error.log"));
    ScriptedPrompts prompts;

    LogError({0, QString()}, QStringLiteral("modADO"), QStringLiteral("Connect"), true);
    LogError({3024, QStringLiteral("Not shown.")}, QStringLiteral("ctlDetails"), QStringLiteral("LoadFavorites"),
             false);
    QCOMPARE(std::pair(prompts.shown().size(), readFile(path).count("  Number = ")),
             std::pair(qsizetype(0), qsizetype(1)));

    // The store's own failure goes through the same path, with the message shown.
    prompts.answerMsgBox(MsgResult::OK);
    ErrObject err;
    QVERIFY(!modADO(QStringLiteral("missing")).Open(home.file(QStringLiteral("missing.lkb")), &err));
    LogError(err, QStringLiteral("modADO"), QStringLiteral("Connect"), true);
    QVERIFY(prompts.last().text.startsWith(QStringLiteral("Connect Error: 3024\r\n\r\nCould not find the store")));
    QCOMPARE(std::tuple(prompts.shown().size(), prompts.last().title, prompts.last().icon, prompts.last().buttons,
                        readFile(path).count("  Number = 3024\r\n")),
             std::tuple(qsizetype(1), QStringLiteral("modADO Error"), MsgIcon::Critical, MsgButtons::OK, qsizetype(2)));

    // A log that cannot be written drops the record with one notice; the user still sees the error.
    QVERIFY(QFile::remove(path) && QDir(home.path()).mkdir(QStringLiteral("error.log")));
    prompts.answerMsgBox(MsgResult::OK);
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("cannot write the error log .* record was dropped")));
    LogError({75, QStringLiteral("Path/File access error")}, QStringLiteral("frmClip"), QStringLiteral("Save Clip"),
             true); // the answer queued for it is taken, or ScriptedPrompts fails the test
}

QTEST_GUILESS_MAIN(tst_errorlog)
#include "tst_errorlog.moc"
