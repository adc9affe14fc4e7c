#include "KeptConnection.h"

#include "DirectRows.h"
#include "StoreAddress.h"
#include "WorkerConnection.h"

#include <QCoreApplication>
#include <QFile>
#include <QMutex>
#include <QThread>
#include <QTimer>

#include <sqlite3.h>
#include <sys/stat.h>

#include <memory>
#include <optional>
#include <utility>

namespace {

// Long enough for the searches of one sitting at the Find window; a store left alone is not held
// open much longer.
constexpr int idleMs = 3 * 60 * 1000;
// The pages a kept connection holds at most, in KiB: those a search of a million files reads, and
// the games and words around them. It takes memory only as pages are read.
constexpr qint64 cacheKb = 64 * 1024;

// Which file a path names: a restore or a copy puts another file at the store's path.
struct FileIdentity
{
    dev_t Device = 0;
    ino_t Inode = 0;
    bool operator==(const FileIdentity &other) const { return Device == other.Device && Inode == other.Inode; }
    bool operator!=(const FileIdentity &other) const { return !(*this == other); }
};

std::optional<FileIdentity> identity(const QString &path)
{
    struct stat info = {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return std::nullopt;
    return FileIdentity{info.st_dev, info.st_ino};
}

class Keeper final : public QObject
{
public:
    explicit Keeper(QString *keptName, QMutex *mutex) : m_idle(new QTimer(this)), m_keptName(keptName), m_mutex(mutex)
    {
        m_idle->setSingleShot(true);
        m_idle->setInterval(idleMs);
        connect(m_idle, &QTimer::timeout, this, [this] { drop(); });
    }

    void run(const QString &path, const KeptConnection::Work &work)
    {
        m_idle->stop();
        if (m_connection && (path != m_path || (m_file && identity(path) != m_file)))
            drop();
        if (!m_connection)
            open(path);
        ErrObject openError;
        const bool opened = m_connection->Open(&openError);
        const bool ok = work(opened ? m_connection->Connection() : QSqlDatabase(), openError);
        if (opened && ok)
            m_idle->start();
        else
            drop();
    }

    void drop()
    {
        m_idle->stop();
        m_connection.reset();
        m_path.clear();
        m_file.reset();
        const QMutexLocker lock(m_mutex);
        m_keptName->clear();
    }

private:
    void open(const QString &path)
    {
        m_path = path;
        m_file = StoreAddress::IsShared(path) ? std::nullopt : identity(path);
        m_connection = std::make_unique<WorkerConnection>(path, WorkerConnection::Access::Write);
        ErrObject failed;
        if (!m_connection->Open(&failed))
            return;
        const QSqlDatabase db = m_connection->Connection();
        if (sqlite3 *handle = SqliteHandle(db)) {
            // A kept connection may close after the store's file was replaced, and the write-ahead
            // log beside the path then belongs to the new file: closing must leave it as it is.
            // The store's own connection, which closes last, writes the log into the file.
            sqlite3_db_config(handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
            // The pages stay from one run to the next, which is what keeping the connection is
            // for. Mapping the file instead would cost a fault on each page's first read in every
            // run, dearer than the read itself.
            DirectRows(db, QStringLiteral("PRAGMA cache_size = %1").arg(-cacheKb)).next();
        }
        const QMutexLocker lock(m_mutex);
        *m_keptName = db.connectionName();
    }

    QTimer *m_idle;
    QString *m_keptName;
    QMutex *m_mutex;
    std::unique_ptr<WorkerConnection> m_connection;
    QString m_path;
    std::optional<FileIdentity> m_file;
};

struct Shared
{
    QMutex Mutex;
    QThread *Thread = nullptr;
    Keeper *Kept = nullptr;
    QString KeptName;
};

Shared &shared()
{
    static Shared state;
    return state;
}

// When the application goes: the connection is closed on its own thread, and the thread ends.
void shutDown()
{
    Shared &state = shared();
    QThread *thread = nullptr;
    Keeper *keeper = nullptr;
    {
        const QMutexLocker lock(&state.Mutex);
        thread = std::exchange(state.Thread, nullptr);
        keeper = std::exchange(state.Kept, nullptr);
    }
    if (!thread)
        return;
    QMetaObject::invokeMethod(
        keeper, [keeper] { keeper->drop(); }, Qt::BlockingQueuedConnection);
    thread->quit();
    thread->wait();
    delete keeper;
    delete thread;
}

Keeper *keeper(bool start)
{
    Shared &state = shared();
    const QMutexLocker lock(&state.Mutex);
    if (!state.Thread && start) {
        state.Thread = new QThread;
        state.Thread->setObjectName(QStringLiteral("kept-connection"));
        state.Kept = new Keeper(&state.KeptName, &state.Mutex);
        state.Kept->moveToThread(state.Thread);
        state.Thread->start();
        qAddPostRoutine(shutDown);
    }
    return state.Kept;
}

} // namespace

std::shared_future<void> KeptConnection::Start(const QString &path, Work work)
{
    auto done = std::make_shared<std::promise<void>>();
    std::shared_future<void> future = done->get_future().share();
    Keeper *const kept = keeper(true);
    QMetaObject::invokeMethod(
        kept,
        [kept, path, work = std::move(work), done] {
            kept->run(path, work);
            done->set_value();
        },
        Qt::QueuedConnection);
    return future;
}

void KeptConnection::Close()
{
    Keeper *const kept = keeper(false);
    if (!kept)
        return;
    if (QThread::currentThread() == kept->thread())
        kept->drop();
    else
        QMetaObject::invokeMethod(
            kept, [kept] { kept->drop(); }, Qt::BlockingQueuedConnection);
}

QString KeptConnection::KeptName()
{
    Shared &state = shared();
    const QMutexLocker lock(&state.Mutex);
    return state.KeptName;
}
