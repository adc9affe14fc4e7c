#include "ScriptedPrompts.h"
#include "data/modADO.h"
#include "shell/AppPath.h"
#include "shell/ErrorLog.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

class tst_errorlog final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bannerIsWrittenOnce();
    void recordsAreAppendedByteForByte();
    void logErrorShowsTheRecordWhenAsked();
    void unwritableLogCostsNoCrash();

private:
    static QByteArray read(const QString &path);
    static ErrorLog fixedLog(const QString &path);
};

QByteArray tst_errorlog::read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

ErrorLog tst_errorlog::fixedLog(const QString &path)
{
    ErrorLog log(path);
    log.setLocale(QLocale(QLocale::English, QLocale::UnitedStates));
    log.setClock([] { return QDateTime(QDate(2026, 11, 3), QTime(21, 5, 7)); });
    return log;
}

void tst_errorlog::bannerIsWrittenOnce()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("error.log"));
    const QByteArray banner = "B R I G H T M O O R S O F T WARE  -  E R R O R  *  L O G\r\n"
                              "=======================================\r\n"
                              "Application Title: Lorekeep\r\n"
                              "Application Version: 1.1.0\r\n"
                              " \r\n"
                              "Begin Log...\r\n"
                              " \r\n";
    ErrorLog log = fixedLog(path);
    QVERIFY(log.StartLog());
    QCOMPARE(read(path), banner);
    QVERIFY(log.Write({3024, QStringLiteral("gone")}, QStringLiteral("modADO"), QStringLiteral("Connect")));
    const QByteArray withRecord = read(path);
    QVERIFY(log.StartLog());
    QCOMPARE(read(path), withRecord);
    QVERIFY(withRecord.startsWith(banner));
    QCOMPARE(withRecord.count("Begin Log..."), 1);

    // Something of the log's name that is not a file counts as an existing log.
    const QString folderPath = dir.filePath(QStringLiteral("folder/error.log"));
    QVERIFY(QDir().mkpath(folderPath));
    QVERIFY(fixedLog(folderPath).StartLog());
    QVERIFY(QFileInfo(folderPath).isDir());
}

void tst_errorlog::recordsAreAppendedByteForByte()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("error.log"));
    ErrorLog log = fixedLog(path);

    QVERIFY(log.Write({0, QStringLiteral("not an error")}, QStringLiteral("ctlTree"), QStringLiteral("Load Tree")));
    QVERIFY(!QFile::exists(path));

    QVERIFY(log.Write({-2147467259, QStringLiteral("first line\r\nsecond line")}, QStringLiteral("modADO"),
                      QStringLiteral("Connect")));
    QVERIFY(log.Write({35601, QStringLiteral("Élément introuvable – 見つかりません")}, QStringLiteral("ctlView"),
                      QStringLiteral("lvFiles DblClick")));
    const QByteArray time = QLocale(QLocale::English, QLocale::UnitedStates)
                                .toString(QTime(21, 5, 7), QStringLiteral("h:mm:ss AP"))
                                .toUtf8();
    const QByteArray expected = "  Module = modADO\r\n"
                                "  Source = Connect\r\n"
                                "  Number = -2147467259\r\n"
                                "    Desc = first line\r\nsecond line\r\n"
                                "    Date = 11/3/26\r\n"
                                "    Time = " +
                                time +
                                "\r\n"
                                "............................\r\n"
                                " \r\n"
                                "  Module = ctlView\r\n"
                                "  Source = lvFiles DblClick\r\n"
                                "  Number = 35601\r\n"
                                "    Desc = " +
                                QStringLiteral("Élément introuvable – 見つかりません").toUtf8() +
                                "\r\n"
                                "    Date = 11/3/26\r\n"
                                "    Time = " +
                                time +
                                "\r\n"
                                "............................\r\n"
                                " \r\n";
    QCOMPARE(read(path), expected);
}

void tst_errorlog::logErrorShowsTheRecordWhenAsked()
{
    QTemporaryDir dir;
    const QString previousHome = AppPath();
    SetAppPath(dir.path());
    const QString path = AppPath() + QStringLiteral("error.log");
    ScriptedPrompts prompts;

    LogError({0, QString()}, QStringLiteral("modADO"), QStringLiteral("Connect"), true);
    QVERIFY(prompts.shown().isEmpty());
    QVERIFY(!QFile::exists(path));

    LogError({3024, QStringLiteral("Could not find the store.")}, QStringLiteral("ctlDetails"),
             QStringLiteral("LoadFavorites"), false);
    QVERIFY(prompts.shown().isEmpty());

    // The store's own failure goes through the same path, with the message shown.
    prompts.answerMsgBox(MsgResult::OK);
    QVERIFY(!modADO(QStringLiteral("missing")).Connect(dir.filePath(QStringLiteral("missing.lkb"))));
    QCOMPARE(prompts.shown().size(), 1);
    QCOMPARE(prompts.last().title, QStringLiteral("modADO Error"));
    QVERIFY(prompts.last().text.startsWith(QStringLiteral("Connect Error: 3024\r\n\r\nCould not find the store")));
    QCOMPARE(prompts.last().icon, MsgIcon::Critical);
    QCOMPARE(prompts.last().buttons, MsgButtons::OK);
    QCOMPARE(read(path).count("  Number = 3024\r\n"), 2);
    SetAppPath(previousHome);
}

void tst_errorlog::unwritableLogCostsNoCrash()
{
    QTemporaryDir dir;
    const QString previousHome = AppPath();
    SetAppPath(dir.path());
    QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("error.log")));
    ScriptedPrompts prompts;
    prompts.answerMsgBox(MsgResult::OK);

    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("cannot write the error log .* record was dropped")));
    LogError({75, QStringLiteral("Path/File access error")}, QStringLiteral("frmClip"), QStringLiteral("Save Clip"),
             true);
    // The user still hears about the error even though the log could not keep it.
    QCOMPARE(prompts.shown().size(), 1);
    QVERIFY(QFileInfo(AppPath() + QStringLiteral("error.log")).isDir());
    SetAppPath(previousHome);
}

QTEST_GUILESS_MAIN(tst_errorlog)
#include "tst_errorlog.moc"
