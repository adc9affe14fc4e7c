#include "SingleInstance.h"

#include <QCryptographicHash>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLoggingCategory>
#include <QStandardPaths>
#include <QTimer>
#include <QUrl>

#include <unistd.h>

// Quiet unless asked for (QT_LOGGING_RULES="lorekeep.instance.info=true"): every start passes here.
Q_LOGGING_CATEGORY(lcInstance, "lorekeep.instance", QtWarningMsg)

namespace {

// "activate", or "activate" and a tab and the percent-encoded path of a file to open, on one line.
const QByteArray activateRequest = "activate";
const QByteArray activateReply = "ok\n";
// How often a later start looks again while the owner holds the lock but is not listening yet.
constexpr int retryMs = 100;
// A peer that connects and says nothing must not hold a connection for the rest of the run.
constexpr int serveTimeoutMs = 3000;
// Room for the socket's path, which the system limits to about 108 bytes.
constexpr int maxSocketPath = 100;

void pause(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec(QEventLoop::ExcludeUserInputEvents);
}

} // namespace

const QString SingleInstance::LockFileName = QStringLiteral(".lorekeep.lock");

SingleInstance::SingleInstance(const QString &home, QObject *parent)
    : QObject(parent),
      m_home(QDir::cleanPath(QDir(home).absolutePath())),
      m_lock(m_home + QLatin1Char('/') + LockFileName)
{
    // The lock is held for the whole run; by age alone it would look stale after 30 seconds. A lock
    // of a process that no longer runs on this machine is still recognised and taken over.
    m_lock.setStaleLockTime(0);
}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::ServerName(const QString &home)
{
    QString folder = QFileInfo(home).canonicalFilePath();
    if (folder.isEmpty())
        folder = QDir::cleanPath(QDir(home).absolutePath());
    // A hash keeps the name short for any home; the user id keeps users apart where the socket falls
    // back to the shared temporary folder.
    const QByteArray key = QFile::encodeName(folder) + '\0' + QByteArray::number(::getuid());
    const QString name =
        QStringLiteral("lorekeep-") +
        QString::fromLatin1(QCryptographicHash::hash(key, QCryptographicHash::Sha256).toHex().left(16));
    // Without a session's runtime folder Qt would make one in /tmp and warn at every start; the
    // temporary folder itself serves as well, the socket being the user's alone.
    const QString runtime = qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")
                                ? QString()
                                : QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (!runtime.isEmpty() && QFile::encodeName(runtime).size() + name.size() + 1 <= maxSocketPath)
        return runtime + QLatin1Char('/') + name;
    return name;
}

SingleInstance::Outcome SingleInstance::Acquire(int timeoutMs)
{
    QDir().mkpath(m_home);
    m_serverName = ServerName(m_home);
    const QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        const Lock lock = lockHome();
        if (lock == Lock::Taken) {
            qCInfo(lcInstance) << "this process has the home" << m_home;
            listen();
            return Outcome::Owner;
        }
        const Reply reply = askOwner(deadline);
        if (reply == Reply::Answered) {
            qCInfo(lcInstance) << "the running Lorekeep on" << m_home << "came to the front";
            return Outcome::Activated;
        }
        // Without a lock (a read-only home, where nothing can be written anyway) the socket alone
        // keeps later starts to one window; refusing to start would lock the user out of the library.
        if (lock == Lock::Unusable && reply == Reply::NoListener) {
            qCWarning(lcInstance).nospace() << "cannot create the lock file in " << m_home << " (error "
                                            << int(m_lock.error()) << "); only the local socket keeps a second "
                                            << "start out";
            listen();
            return Outcome::Owner;
        }
        if (deadline.hasExpired()) {
            m_description = describeOwner();
            return Outcome::Unreachable;
        }
        pause(retryMs);
    }
}

SingleInstance::Lock SingleInstance::lockHome()
{
    if (m_lock.tryLock(0))
        return Lock::Taken;
    return m_lock.error() == QLockFile::LockFailedError ? Lock::HeldByOther : Lock::Unusable;
}

// Waits in a nested event loop rather than blocking, so that an owner served by this same thread
// (as in the tests) can answer.
SingleInstance::Reply SingleInstance::askOwner(const QDeadlineTimer &deadline)
{
    QLocalSocket socket;
    QEventLoop loop;
    QTimer timer;
    bool connected = false;
    bool finished = false;
    QByteArray answer;
    const auto finish = [&] {
        finished = true;
        loop.quit();
    };
    connect(&socket, &QLocalSocket::connected, &loop, [&] {
        connected = true;
        socket.write(activateRequest + (m_file.isEmpty() ? QByteArray() : '\t' + QUrl::toPercentEncoding(m_file)) +
                     '\n');
    });
    connect(&socket, &QLocalSocket::readyRead, &loop, [&] {
        answer += socket.readAll();
        if (answer.contains('\n'))
            finish();
    });
    connect(&socket, &QLocalSocket::errorOccurred, &loop, finish);
    connect(&timer, &QTimer::timeout, &loop, finish);
    timer.setSingleShot(true);
    // Connecting to a local socket usually settles at once, before the loop could run.
    socket.connectToServer(m_serverName);
    if (!finished) {
        timer.start(int(qMax<qint64>(deadline.remainingTime(), 0)));
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    }
    if (answer == activateReply)
        return Reply::Answered;
    return connected ? Reply::NoAnswer : Reply::NoListener;
}

void SingleInstance::listen()
{
    m_server = new QLocalServer(this);
    // The runtime folder is private already; this matters where the socket falls back to /tmp.
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    connect(m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket *socket = m_server->nextPendingConnection())
            serve(socket);
    });
    // Only called when no live owner listens, so a socket file still there was left by a crash.
    QLocalServer::removeServer(m_serverName);
    if (!m_server->listen(m_serverName))
        qCWarning(lcInstance) << "later starts on" << m_home << "cannot reach this one:" << m_server->errorString();
}

void SingleInstance::serve(QLocalSocket *socket)
{
    connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    QTimer::singleShot(serveTimeoutMs, socket, &QObject::deleteLater);
    connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
        if (!socket->canReadLine())
            return;
        const QByteArray line = socket->readLine().chopped(1);
        const qsizetype tab = line.indexOf('\t');
        if ((tab < 0 ? line : line.left(tab)) == activateRequest) {
            const QString file = tab < 0 ? QString() : QUrl::fromPercentEncoding(line.mid(tab + 1));
            // A shared library's address may hold its password, which no log keeps.
            const QString logged = file.contains(QLatin1String("://"))
                                       ? QUrl(file, QUrl::TolerantMode).toString(QUrl::RemovePassword)
                                       : file;
            qCInfo(lcInstance) << "a later start on" << m_home << "asks for the window" << logged;
            Q_EMIT ActivationRequested(file);
            // Answered only once the window is up front: the answer tells the other start that
            // this process still responds.
            socket->write(activateReply);
        }
        socket->disconnectFromServer();
    });
}

QString SingleInstance::describeOwner()
{
    QString text = QStringLiteral("Lorekeep is already open on the home folder \"%1\", but it does not answer.")
                       .arg(QDir::toNativeSeparators(m_home));
    qint64 pid = 0;
    QString host;
    if (m_lock.error() == QLockFile::LockFailedError && m_lock.getLockInfo(&pid, &host, nullptr))
        text += QStringLiteral(" It runs as process %1 on the computer \"%2\".").arg(pid).arg(host);
    text += QStringLiteral(" If it is still starting, wait for its window; if it has stopped responding, end it "
                           "and start Lorekeep again.");
    return text;
}
