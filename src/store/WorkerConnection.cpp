#include "WorkerConnection.h"

#include "StoreAddress.h"
#include "StoreError.h"

#include <QAtomicInt>
#include <QSqlError>

namespace {

QAtomicInt counter;

// Longer than the window's wait: the window's own reads are short, and work that waits a little
// is better than work that stops half-way.
constexpr int busyTimeoutMs = 5000;

} // namespace

WorkerConnection::WorkerConnection(const QString &path, Access access)
    : m_name(QStringLiteral("worker-%1").arg(counter.fetchAndAddRelaxed(1)))
{
    // A store file is opened as it exists, never created here.
    if (!StoreAddress::AddConnection(m_name, path,
                                     access == Access::Write ? StoreAddress::Access::Write : StoreAddress::Access::Read,
                                     busyTimeoutMs, &m_failure))
        return;
    QSqlDatabase db = QSqlDatabase::database(m_name, false);
    if (!db.open())
        m_failure = StoreError::fromSql(db.lastError(), path);
}

WorkerConnection::~WorkerConnection()
{
    if (!QSqlDatabase::contains(m_name))
        return;
    QSqlDatabase::database(m_name, false).close();
    QSqlDatabase::removeDatabase(m_name);
}

bool WorkerConnection::Open(ErrObject *err) const
{
    if (Connection().isOpen())
        return true;
    *err = m_failure.Number != 0 ? m_failure : StoreError::noConnection();
    return false;
}

QSqlDatabase WorkerConnection::Connection() const
{
    return QSqlDatabase::database(m_name, false);
}
