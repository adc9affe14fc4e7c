#include "TestHome.h"

#include "base/AppPath.h"
#include "data/FileTable.h"
#include "data/GameTable.h"
#include "data/HomeFolder.h"
#include "data/StoreCopy.h"
#include "store/Schema.h"
#include "store/StoreAddress.h"

#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QSqlError>
#include <QSqlQuery>
#include <QTest>
#include <QUuid>

namespace {

int g_homes = 0;

} // namespace

bool TestHome::Shared()
{
    return qEnvironmentVariable("LOREKEEP_TEST_STORE") == QLatin1String("postgresql");
}

QString TestHome::NewDatabase()
{
    const QString name = QStringLiteral("lk_") + QUuid::createUuid().toString(QUuid::Id128).left(16);
    // The server, the user and the password come from libpq's environment.
    runElsewhere(QStringLiteral("postgresql:///postgres"), {QStringLiteral("CREATE DATABASE ") + name});
    return QStringLiteral("postgresql:///") + name;
}

QString TestHome::CopyToServer(const QString &file)
{
    const QString database = NewDatabase();
    modADO source(QStringLiteral("test-copy-source"));
    ErrObject err;
    CopyCounts copied;
    if (!source.Open(file, &err) || !StoreCopy::Copy(source.Connection(), database, {}, &copied, &err))
        QTest::qFail(qPrintable(QStringLiteral("cannot copy %1: %2").arg(file, err.Description)), __FILE__, __LINE__);
    return database;
}

TestHome::TestHome()
    : m_store(std::make_unique<modADO>(QStringLiteral("test-home-%1").arg(++g_homes))), m_previousHome(AppPath())
{
    if (Shared())
        m_shared = NewDatabase();
    ErrObject err;
    // A shared library's tables are made by its first open.
    if (!m_dir.isValid() || (!Shared() && !Schema::CreateStore(storePath(), &err)) || !m_store->Open(storePath(), &err))
        QTest::qFail(qPrintable(QStringLiteral("cannot make a test home: ") + err.Description), __FILE__, __LINE__);
    SetAppPath(m_dir.path());
}

TestHome::~TestHome()
{
    m_store.reset();
    SetAppPath(m_previousHome);
}

QString TestHome::path() const
{
    return NormalizeFolder(m_dir.path());
}

QString TestHome::storePath() const
{
    if (!m_shared.isEmpty())
        return m_shared;
    return path() + HomeFolder::StoreFileName;
}

qint32 TestHome::addGame(quint8 platform, quint8 genre, const QString &name)
{
    qint32 id = 0;
    ErrObject err;
    if (!GameTable::Add(db(), platform, genre, name, &id, &err))
        QTest::qFail(qPrintable(err.Description), __FILE__, __LINE__);
    return id;
}

qint32 TestHome::addFile(qint32 gameId, quint8 subCat, const QString &desc, const QString &rtf)
{
    FileRow row;
    row.game_id = gameId;
    row.sub_cat = subCat;
    row.desc = desc;
    row.src = QStringLiteral("https://example.org/") + desc;
    row.txt_rtf = rtf.isEmpty() ? QStringLiteral("{\\rtf1\\ansi ") + desc + QLatin1Char('}') : rtf;
    qint32 id = 0;
    ErrObject err;
    if (!FileTable::Add(db(), row, &id, &err))
        QTest::qFail(qPrintable(err.Description), __FILE__, __LINE__);
    return id;
}

int TestHome::count(const QString &sql) const
{
    QSqlQuery query(db());
    return query.exec(sql) && query.next() ? query.value(0).toInt() : -1;
}

bool TestHome::changedElsewhere()
{
    if (!Shared())
        return m_store->ChangedElsewhere();
    // The announcements of one burst of commits come as one signal, which takes them.
    QSignalSpy announced(m_store.get(), &modADO::writtenElsewhere);
    return announced.wait(5000);
}

QList<qint32> TestHome::addDamagedFiles(qint32 gameId, int files)
{
    const int first = count(QStringLiteral("SELECT coalesce(max(auto_id), 0) + 1 FROM file"));
    QSqlQuery query(db());
    query.prepare(QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < ?) "
                                 "INSERT INTO file (game_id, sub_cat, src, desc, txt_rtf) "
                                 "SELECT ?, 1, 'https://example.org/' || i, 'File ' || i, "
                                 "'{\\rtf1\\ansi ' || hex(randomblob(1000)) || '}' FROM n"));
    query.addBindValue(files);
    query.addBindValue(gameId);
    if (!query.exec())
        QTest::qFail(qPrintable(query.lastError().text()), __FILE__, __LINE__);
    const int pageSize = count(QStringLiteral("PRAGMA page_size"));
    // The middle one of the table's leaves; without the page statistics, the middle of the file,
    // which the table fills.
    int page = -1;
    if (query.exec(
            QStringLiteral("SELECT pageno FROM dbstat WHERE name = 'file' AND pagetype = 'leaf' ORDER BY pageno"))) {
        QList<int> leaves;
        while (query.next())
            leaves << query.value(0).toInt();
        page = leaves.isEmpty() ? -1 : leaves.at(leaves.size() / 2);
    }
    if (page < 0)
        page = count(QStringLiteral("PRAGMA page_count")) / 2;
    query.exec(QStringLiteral("PRAGMA wal_checkpoint(TRUNCATE)"));
    query = QSqlQuery();
    m_store->Close();
    QFile store(storePath());
    if (!store.open(QIODevice::ReadWrite) || !store.seek(qint64(page - 1) * pageSize) ||
        store.write(QByteArray(pageSize, '\xa5')) != pageSize)
        QTest::qFail("cannot damage the store", __FILE__, __LINE__);
    store.close();
    ErrObject err;
    if (!m_store->Open(storePath(), &err))
        QTest::qFail(qPrintable(err.Description), __FILE__, __LINE__);
    QList<qint32> damaged;
    QSqlQuery read(db());
    for (qint32 id = first; id < first + files; ++id) {
        if (!read.exec(QStringLiteral("SELECT txt_rtf FROM file WHERE auto_id = %1").arg(id)) || !read.next())
            damaged << id;
    }
    return damaged;
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void clearSettings()
{
    QSettings settings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Lorekeep"),
                       QStringLiteral("Lorekeep"));
    settings.clear();
    // A user past the first run who turned the tips off: no window of its own comes up at start.
    settings.setValue(QStringLiteral("Settings/FirstRun"), QStringLiteral("1"));
    settings.setValue(QStringLiteral("Settings/TOD"), QStringLiteral("0"));
    settings.sync();
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(path));
    QCOMPARE(file.write(bytes), bytes.size());
}

namespace {

bool onServer(const QSqlDatabase &db)
{
    return db.driverName() == QLatin1String("QPSQL");
}

void execAll(const QSqlDatabase &db, const QStringList &statements)
{
    for (const QString &statement : statements) {
        QSqlQuery query(db);
        QVERIFY2(query.exec(statement), qPrintable(statement + QStringLiteral(": ") + query.lastError().text()));
    }
}

} // namespace

void runElsewhere(const QString &path, const QStringList &statements)
{
    {
        QSqlDatabase db;
        if (StoreAddress::IsShared(path)) {
            ErrObject err;
            QVERIFY2(
                StoreAddress::AddConnection(QStringLiteral("elsewhere"), path, StoreAddress::Access::Write, 5000, &err),
                qPrintable(err.Description));
            db = QSqlDatabase::database(QStringLiteral("elsewhere"), false);
        } else {
            db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("elsewhere"));
            db.setDatabaseName(path);
        }
        QVERIFY2(db.open(), qPrintable(db.lastError().text()));
        execAll(db, statements);
    }
    QSqlDatabase::removeDatabase(QStringLiteral("elsewhere"));
}

QStringList earlierFindIndex()
{
    return {QStringLiteral("DROP TRIGGER find_file_insert"), QStringLiteral("DROP TRIGGER find_file_update"),
         QStringLiteral("DROP TRIGGER find_file_delete"), QStringLiteral("DROP TABLE find_pending"),
         QStringLiteral("DROP TABLE find_plain"), QStringLiteral("DROP TABLE find_dictionary"),
         QStringLiteral("DROP TABLE find_word"),
         QStringLiteral("CREATE VIRTUAL TABLE find_text USING fts5(desc, src, body, tokenize = 'trigram "
                        "case_sensitive 1', detail = none)"),
         QStringLiteral("CREATE TABLE find_pending (file_id INTEGER PRIMARY KEY)"),
         QStringLiteral("CREATE TRIGGER find_file_insert AFTER INSERT ON file BEGIN INSERT OR IGNORE INTO "
                        "find_pending (file_id) VALUES (new.auto_id); END"),
         QStringLiteral("CREATE TRIGGER find_file_update AFTER UPDATE OF src, desc, txt_rtf ON file BEGIN INSERT OR "
                        "IGNORE INTO find_pending (file_id) VALUES (new.auto_id); END"),
         QStringLiteral("CREATE TRIGGER find_file_delete AFTER DELETE ON file BEGIN DELETE FROM find_text WHERE rowid "
                        "= old.auto_id; DELETE FROM find_pending WHERE file_id = old.auto_id; END"),
         QStringLiteral("INSERT INTO find_text (rowid, desc, src, body) SELECT auto_id, desc, src, txt_rtf FROM file"),
         QStringLiteral("PRAGMA user_version = 3")};
}

void refuseWrites(const QSqlDatabase &db, const QString &name, const QString &table, const QString &event,
                  const QString &when, const QString &message)
{
    QString quoted = message;
    quoted.replace(QLatin1Char('\''), QLatin1String("''"));
    QStringList sql;
    if (onServer(db)) {
        sql << QStringLiteral("CREATE FUNCTION %1() RETURNS trigger LANGUAGE plpgsql AS "
                              "$$ BEGIN RAISE EXCEPTION '%2'; END $$")
                   .arg(name, quoted)
            << QStringLiteral("CREATE TRIGGER %1 BEFORE %2 ON %3 FOR EACH ROW %4 EXECUTE FUNCTION %1()")
                   .arg(name, event, table, when.isEmpty() ? QString() : QStringLiteral("WHEN (%1)").arg(when));
    } else {
        sql << QStringLiteral("CREATE TRIGGER %1 BEFORE %2 ON %3 %4 BEGIN SELECT RAISE(ABORT, '%5'); END")
                   .arg(name, event, table, when.isEmpty() ? QString() : QStringLiteral("WHEN ") + when, quoted);
    }
    execAll(db, sql);
}

void allowWrites(const QSqlDatabase &db, const QString &name, const QString &table)
{
    execAll(db, onServer(db) ? QStringList{QStringLiteral("DROP TRIGGER %1 ON %2").arg(name, table),
                                           QStringLiteral("DROP FUNCTION %1()").arg(name)}
                             : QStringList{QStringLiteral("DROP TRIGGER %1").arg(name)});
}

QString joinedSql(const QString &value, const QString &order)
{
    // SQLite's group_concat (before 3.44) takes no order: it joins the rows as it reads them, which
    // for a whole table is in the order of its key.
    if (TestHome::Shared())
        return QStringLiteral("string_agg((%1)::text, ', ' ORDER BY %2)").arg(value, order);
    return QStringLiteral("group_concat(%1, ', ')").arg(value);
}
