#include "WorkerConnection.h"

#include "StoreError.h"

#include <QAtomicInt>
#include <QSqlError>
#include <QUrl>

namespace {

QAtomicInt counter;

// Longer than the window's wait: the window's own reads are short, and work that waits a little
// is better than work that stops half-way.
constexpr int busyTimeoutMs = 5000;

} // namespace

WorkerConnection::WorkerConnection(const QString &path, Access access)
    : m_name(QStringLiteral("worker-%1").arg(counter.fetchAndAddRelaxed(1))), m_path(path)
{
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
    // mode=rw and mode=ro open an existing file only: a store is never created here.
    db.setDatabaseName(QStringLiteral("file:") + QString::fromUtf8(QUrl::toPercentEncoding(path, "/")) +
                       (access == Access::Write ? QStringLiteral("?mode=rw") : QStringLiteral("?mode=ro")));
    db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_URI;QSQLITE_BUSY_TIMEOUT=%1").arg(busyTimeoutMs));
    db.open();
}

WorkerConnection::~WorkerConnection()
{
    QSqlDatabase::database(m_name, false).close();
    QSqlDatabase::removeDatabase(m_name);
}

bool WorkerConnection::Open(ErrObject *err) const
{
    const QSqlDatabase db = Connection();
    if (db.isOpen())
        return true;
    *err = StoreError::fromSql(db.lastError(), m_path);
    return false;
}

QSqlDatabase WorkerConnection::Connection() const
{
    return QSqlDatabase::database(m_name, false);
}
