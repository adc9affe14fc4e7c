#include "modADO.h"

#include "findindex/FindIndex.h"
#include "store/KeptConnection.h"
#include "store/Schema.h"
#include "store/SharedStore.h"
#include "store/StoreAddress.h"
#include "store/StoreError.h"

#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QTimer>
#include <QUrl>

#include <sqlite3.h>

#include <utility>

Q_DECLARE_LOGGING_CATEGORY(lcStore)

namespace {

// How long a statement waits for another program's lock before it reports the store as locked.
constexpr int busyTimeoutMs = 1500;
// How long the first of a burst of a shared library's announcements waits for the rest.
constexpr int announceDelayMs = 150;

} // namespace

modADO::modADO(QString connectionName, QObject *parent)
    : QObject(parent),
      m_connectionName(std::move(connectionName)),
      m_spareName(m_connectionName + QStringLiteral("~next"))
{}

modADO::~modADO()
{
    Close();
}

QString modADO::NameFromPath(const QString &path)
{
    if (StoreAddress::IsShared(path))
        return StoreAddress::ShortName(path);
    const QString fileName = path.split(QLatin1Char('/')).constLast();
    const QString tail = fileName.right(4);
    if (tail.isEmpty())
        return fileName;
    return QString(fileName).remove(tail);
}

bool modADO::Open(const QString &path, ErrObject *err)
{
    if (StoreAddress::IsShared(path))
        return openShared(path, err);
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
    // A store whose file or folder cannot be written is opened for reading only, so that it is
    // said at once and no write (not even the journal's) is ever tried on it.
    const QString readOnly = ReadOnlyReason(path);

    // A read-only store with no log waiting is read as it stands, which leaves no log or
    // shared-memory file beside it; one with a log is read through it, so nothing committed is missed.
    OpenMode mode = OpenMode::Write;
    if (!readOnly.isEmpty())
        mode = QFileInfo::exists(path + QStringLiteral("-wal")) ? OpenMode::Read : OpenMode::Immutable;
    if (!openAs(path, mode, err)) {
        QSqlDatabase::removeDatabase(m_spareName);
        return false;
    }
    takeSpare(path, readOnly);
    return true;
}

bool modADO::openShared(const QString &uri, ErrObject *err)
{
    QString readOnly;
    bool ok = StoreAddress::AddConnection(m_spareName, uri, StoreAddress::Access::Write, busyTimeoutMs, err);
    if (ok) {
        QSqlDatabase db = QSqlDatabase::database(m_spareName, false);
        ok = db.open();
        if (!ok)
            *err = StoreError::fromSql(db.lastError(), uri);
        ok = ok && SharedStore::Prepare(db, StoreAddress::WithoutPassword(uri), &readOnly, err);
        if (!ok)
            db.close();
    }
    if (!ok) {
        QSqlDatabase::removeDatabase(m_spareName);
        return false;
    }
    takeSpare(uri, readOnly);
    // Other desktops' changes are announced by the server, not found by asking.
    QSqlDriver *driver = Connection().driver();
    if (driver->subscribeToNotification(QLatin1String(SharedStore::ChangedChannel))) {
        connect(driver, &QSqlDriver::notification, this,
                [this](const QString &, QSqlDriver::NotificationSource source, const QVariant &) {
                    if (source == QSqlDriver::OtherSource)
                        noticeChange();
                });
    } else {
        qCWarning(lcStore) << "changes made elsewhere will not be seen:" << driver->lastError().text();
    }
    return true;
}

void modADO::takeSpare(const QString &path, const QString &readOnlyReason)
{
    Close();
    std::swap(m_connectionName, m_spareName);
    m_registered = true;
    m_path = path;
    m_name = NameFromPath(path);
    m_readOnlyReason = readOnlyReason;
    m_dataVersion = -1;
    m_announced = false;
    ChangedElsewhere();
    Q_EMIT storeChanged();
}

void modADO::noticeChange()
{
    m_announced = true;
    // Announcements come one per table and transaction: a burst of them is one refresh.
    if (!m_announceDelay) {
        m_announceDelay = new QTimer(this);
        m_announceDelay->setSingleShot(true);
        m_announceDelay->setInterval(announceDelayMs);
        connect(m_announceDelay, &QTimer::timeout, this, [this] {
            if (ChangedElsewhere())
                Q_EMIT writtenElsewhere();
        });
    }
    if (!m_announceDelay->isActive())
        m_announceDelay->start();
}

QString modADO::ReadOnlyReason(const QString &path)
{
    const QFileInfo info(path);
    if (!info.isWritable())
        return QStringLiteral("the file is read-only");
    if (!QFileInfo(info.absolutePath()).isWritable())
        return QStringLiteral("its folder \"%1\" cannot be written").arg(QDir::toNativeSeparators(info.absolutePath()));
    return {};
}

bool modADO::openAs(const QString &path, OpenMode mode, ErrObject *err)
{
    // mode=rw and mode=ro open an existing file only: a store is never created by opening it.
    // Immutable reads the file as it stands, with no locks and no log, for a read-only folder.
    if (!StoreAddress::AddConnection(m_spareName, path, mode, busyTimeoutMs, err))
        return false;
    QSqlDatabase db = QSqlDatabase::database(m_spareName, false);
    bool ok = db.open();
    if (!ok)
        *err = StoreError::fromSql(db.lastError(), path);
    // The version comes first: a newer program's store may have other tables, and nothing may be
    // written to it, not even the journal mode.
    ok = ok && CheckVersion(db, path, err) && Schema::Verify(db, path, err);
    if (ok && mode == OpenMode::Write) {
        // Write-ahead logging with a full sync: a change is on the disk before it is reported
        // done, and a killed program or a power cut leaves the store whole. A file system that
        // cannot share memory keeps the rollback journal, which is as safe, only slower.
        QSqlQuery query(db);
        if (!query.exec(QStringLiteral("PRAGMA journal_mode = WAL")) || !query.next() ||
            query.value(0).toString().compare(QLatin1String("wal"), Qt::CaseInsensitive) != 0)
            qCWarning(lcStore) << "write-ahead log not available for" << path << query.lastError().text();
        query.exec(QStringLiteral("PRAGMA synchronous = FULL"));
        // An older store gets its search index here, queued to be filled.
        ErrObject indexErr;
        if (!FindIndex::Ensure(db, &indexErr))
            qCWarning(lcStore) << "no search index:" << indexErr.Description;
        // Then the tables a newer layout added; a store that cannot take them is not written to
        // by a program that expects them.
        ok = Schema::Upgrade(db, err);
    }
    if (!ok)
        db.close();
    return ok;
}

bool modADO::CheckVersion(const QSqlDatabase &db, const QString &path, ErrObject *err)
{
    QSqlQuery query(db);
    if (!query.exec(QStringLiteral("PRAGMA user_version")) || !query.next()) {
        *err = StoreError::fromSql(query.lastError(), path);
        return false;
    }
    return Schema::CheckVersion(query.value(0).toInt(), path, err);
}

void modADO::Close()
{
    if (!m_registered || !QSqlDatabase::contains(m_connectionName))
        return;
    m_registered = false;
    // No connection outlives the store's own: a restore puts another file in its place.
    KeptConnection::Close();
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
    if (IsReadOnly()) {
        *err = ReadOnlyError();
        return false;
    }
    // Taking the write lock says whether another program holds it; a read-only file only refuses
    // the write itself, so one is made (the version number, to the same value) and rolled back.
    // A server's locks are taken row by row, as a change needs them.
    if (StoreAddress::IsShared(db))
        return true;
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

ErrObject modADO::ReadOnlyError() const
{
    if (StoreAddress::IsShared(m_path))
        return {ErrNumber::StoreReadOnly,
                QStringLiteral("The shared library \"%1\" is open read-only: %2. You can read everything in it; to "
                               "change it, ask its owner to give your role the right to write, or open it as a "
                               "role that has it.")
                    .arg(m_name, m_readOnlyReason)};
    return {ErrNumber::StoreReadOnly,
            QStringLiteral("The store \"%1\" is read-only (%2), so changes cannot be saved. You can read everything "
                           "in it; to change it, make it writable or open a copy of it.")
                .arg(StoreAddress::WithoutPassword(m_path), m_readOnlyReason)};
}

bool modADO::IsOpen() const
{
    return QSqlDatabase::contains(m_connectionName) && QSqlDatabase::database(m_connectionName, false).isOpen();
}

bool modADO::ChangedElsewhere()
{
    if (!IsOpen())
        return false;
    if (StoreAddress::IsShared(Connection()))
        return std::exchange(m_announced, false);
    QSqlQuery query(Connection());
    if (!query.exec(QStringLiteral("PRAGMA data_version")) || !query.next())
        return false;
    const qint64 version = query.value(0).toLongLong();
    const bool changed = m_dataVersion >= 0 && version != m_dataVersion;
    m_dataVersion = version;
    return changed;
}

void modADO::WatchOtherWriters(int intervalMs)
{
    if (!m_watch) {
        m_watch = new QTimer(this);
        connect(m_watch, &QTimer::timeout, this, [this] {
            if (ChangedElsewhere())
                Q_EMIT writtenElsewhere();
        });
    }
    // A shared library announces its changes; the server is not asked.
    if (!StoreAddress::IsShared(Connection()))
        m_watch->start(intervalMs);
}

QSqlDatabase modADO::Connection() const
{
    return QSqlDatabase::contains(m_connectionName) ? QSqlDatabase::database(m_connectionName, false) : QSqlDatabase();
}

QString modADO::SqliteVersion()
{
    return QString::fromLatin1(sqlite3_libversion());
}
