#include "TestHome.h"

#include "base/AppPath.h"
#include "data/FileTable.h"
#include "data/GameTable.h"
#include "data/HomeFolder.h"
#include "data/Schema.h"

#include <QFile>
#include <QSettings>
#include <QSqlQuery>
#include <QTest>

namespace {

int g_homes = 0;

} // namespace

TestHome::TestHome()
    : m_store(std::make_unique<modADO>(QStringLiteral("test-home-%1").arg(++g_homes))), m_previousHome(AppPath())
{
    ErrObject err;
    if (!m_dir.isValid() || !Schema::CreateStore(storePath(), &err) || !m_store->Open(storePath(), &err))
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

void runElsewhere(const QString &path, const QStringList &statements)
{
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("elsewhere"));
        db.setDatabaseName(path);
        QVERIFY(db.open());
        for (const QString &sql : statements)
            QVERIFY2(QSqlQuery(db).exec(sql), qPrintable(sql));
    }
    QSqlDatabase::removeDatabase(QStringLiteral("elsewhere"));
}
