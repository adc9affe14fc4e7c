#include "modADO.h"

#include "FindIndex.h"
#include "Schema.h"
#include "StoreError.h"
#include "base/ErrorLog.h"

#include <QFileInfo>
#include <QLoggingCategory>
#include <QSqlError>
#include <QSqlQuery>
#include <QUrl>

#include <utility>

Q_DECLARE_LOGGING_CATEGORY(lcStore)

namespace {

// How long a statement waits for another program's lock before it reports the store as locked.
constexpr int busyTimeoutMs = 1500;

QString openOnlyUri(const QString &path)
{
    // mode=rw opens an existing file only: a store is never created by opening it.
    return QStringLiteral("file:") + QString::fromUtf8(QUrl::toPercentEncoding(path, "/")) + QStringLiteral("?mode=rw");
}

} // namespace

modADO::modADO(QString connectionName)
    : m_connectionName(std::move(connectionName)), m_spareName(m_connectionName + QStringLiteral("~next"))
{}

modADO::~modADO()
{
    Close();
}

modADO &modADO::instance()
{
    static modADO program(QStringLiteral("lorekeep"));
    return program;
}

QString modADO::NameFromPath(const QString &path)
{
    const QString fileName = path.split(QLatin1Char('/')).constLast();
    const QString tail = fileName.right(4);
    if (tail.isEmpty())
        return fileName;
    return QString(fileName).remove(tail);
}

bool modADO::Connect(const QString &path)
{
    ErrObject err;
    if (Open(path, &err))
        return true;
    LogError(err, QStringLiteral("modADO"), QStringLiteral("Connect"), true);
    return false;
}

bool modADO::Open(const QString &path, ErrObject *err)
{
    const QFileInfo info(path);
    if (!info.exists()) {
        *err = {ErrNumber::StoreNotFound, QStringLiteral("Could not find the store \"%1\".").arg(path)};
        return false;
    }
    if (info.isDir()) {
        *err = {ErrNumber::StoreNotADatabase, QStringLiteral("\"%1\" is a folder, not a Lorekeep store.").arg(path)};
        return false;
    }
    if (!info.isReadable()) {
        *err = {ErrNumber::PermissionDenied,
                QStringLiteral("The store \"%1\" cannot be read: permission denied.").arg(path)};
        return false;
    }

    bool ok = false;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_spareName);
        db.setDatabaseName(openOnlyUri(path));
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_URI;QSQLITE_BUSY_TIMEOUT=%1").arg(busyTimeoutMs));
        if (!db.open())
            *err = StoreError::fromSql(db.lastError(), path);
        else
            ok = Schema::Verify(db, path, err);
        // An older store gets its search index here, queued to be filled; a store that cannot
        // take it (read-only) is still opened, and Find reads every row instead.
        ErrObject indexErr;
        if (ok && !FindIndex::Ensure(db, &indexErr))
            qCWarning(lcStore) << "no search index:" << indexErr.Description;
        if (!ok)
            db.close();
    }
    if (!ok) {
        QSqlDatabase::removeDatabase(m_spareName);
        return false;
    }
    Close();
    std::swap(m_connectionName, m_spareName);
    m_registered = true;
    m_path = path;
    m_name = NameFromPath(path);
    return true;
}

void modADO::Close()
{
    // The program's connection outlives main(); by then Qt's own registry may be gone.
    if (!m_registered || !QSqlDatabase::contains(m_connectionName))
        return;
    m_registered = false;
    {
        QSqlDatabase db = QSqlDatabase::database(m_connectionName, false);
        db.close();
    }
    QSqlDatabase::removeDatabase(m_connectionName);
}

bool modADO::CanWrite(ErrObject *err) const
{
    QSqlDatabase db = Connection();
    if (!db.isOpen()) {
        *err = StoreError::noConnection();
        return false;
    }
    // Taking the write lock says whether another program holds it; a read-only file only refuses
    // the write itself, so one is made (the version number, to the same value) and rolled back.
    QSqlQuery query(db);
    if (!query.exec(QStringLiteral("PRAGMA user_version")) || !query.next()) {
        *err = StoreError::fromSql(query.lastError(), db);
        return false;
    }
    const int version = query.value(0).toInt();
    bool ok = query.exec(QStringLiteral("BEGIN IMMEDIATE")) &&
              query.exec(QStringLiteral("PRAGMA user_version = %1").arg(version));
    if (!ok)
        *err = StoreError::fromSql(query.lastError(), db);
    query.exec(QStringLiteral("ROLLBACK"));
    return ok;
}

bool modADO::IsOpen() const
{
    return QSqlDatabase::contains(m_connectionName) && QSqlDatabase::database(m_connectionName, false).isOpen();
}

QSqlDatabase modADO::Connection() const
{
    return QSqlDatabase::contains(m_connectionName) ? QSqlDatabase::database(m_connectionName, false) : QSqlDatabase();
}
