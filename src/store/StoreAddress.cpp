#include "StoreAddress.h"

#include <QFileInfo>
#include <QHash>
#include <QMutex>
#include <QRegularExpression>
#include <QStringList>
#include <QUrl>

namespace {

const QString sqliteDriver = QStringLiteral("QSQLITE");
const QString postgresDriver = QStringLiteral("QPSQL");

// The store each connection was added for, by connection name; connections are made on several
// threads.
QMutex namesLock;
QHash<QString, QString> &names()
{
    static QHash<QString, QString> byConnection;
    return byConnection;
}

void remember(const QString &connectionName, const QString &name)
{
    const QMutexLocker locked(&namesLock);
    names().insert(connectionName, name);
}

// A connection URI taken apart as libpq reads one:
// postgresql://[user[:password]@][host[:port][,...]][/database][?param=value&...]
struct Uri
{
    QString user;
    QString password;
    bool hasPassword = false;
    QStringList hosts;
    QStringList ports;
    QString database;
    QList<QPair<QString, QString>> params;
};

QString decoded(const QString &part)
{
    return QUrl::fromPercentEncoding(part.toUtf8());
}

QString encoded(const QString &part)
{
    return QString::fromUtf8(QUrl::toPercentEncoding(part));
}

qsizetype schemeLength(const QString &name)
{
    for (const QLatin1String scheme : {QLatin1String("postgresql://"), QLatin1String("postgres://")}) {
        if (name.startsWith(scheme, Qt::CaseInsensitive))
            return scheme.size();
    }
    return -1;
}

bool parse(const QString &uri, Uri *out, QString *problem)
{
    const qsizetype scheme = schemeLength(uri);
    if (scheme < 0) {
        *problem = QStringLiteral("it does not begin with \"postgresql://\"");
        return false;
    }
    QString rest = uri.mid(scheme);
    if (const qsizetype query = rest.indexOf(QLatin1Char('?')); query >= 0) {
        for (const QString &pair : rest.mid(query + 1).split(QLatin1Char('&'), Qt::SkipEmptyParts)) {
            const qsizetype equals = pair.indexOf(QLatin1Char('='));
            if (equals <= 0) {
                *problem = QStringLiteral("its parameter \"%1\" has no value").arg(decoded(pair));
                return false;
            }
            out->params.append({decoded(pair.left(equals)), decoded(pair.mid(equals + 1))});
        }
        rest.truncate(query);
    }
    if (const qsizetype slash = rest.indexOf(QLatin1Char('/')); slash >= 0) {
        out->database = decoded(rest.mid(slash + 1));
        rest.truncate(slash);
    }
    if (const qsizetype at = rest.lastIndexOf(QLatin1Char('@')); at >= 0) {
        const QString userInfo = rest.left(at);
        const qsizetype colon = userInfo.indexOf(QLatin1Char(':'));
        out->user = decoded(userInfo.left(colon));
        if (colon >= 0) {
            out->password = decoded(userInfo.mid(colon + 1));
            out->hasPassword = true;
        }
        rest = rest.mid(at + 1);
    }
    for (const QString &hostPort : rest.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        QString host = hostPort;
        QString port;
        if (host.startsWith(QLatin1Char('['))) {
            const qsizetype close = host.indexOf(QLatin1Char(']'));
            if (close < 0) {
                *problem = QStringLiteral("its address \"%1\" lacks the closing \"]\"").arg(hostPort);
                return false;
            }
            port = host.mid(close + 1);
            host = host.mid(1, close - 1);
            if (!port.isEmpty() && !port.startsWith(QLatin1Char(':'))) {
                *problem = QStringLiteral("its address \"%1\" cannot be read").arg(hostPort);
                return false;
            }
            port = port.mid(1);
        } else if (const qsizetype colon = host.lastIndexOf(QLatin1Char(':')); colon >= 0) {
            port = host.mid(colon + 1);
            host.truncate(colon);
        }
        bool numeric = port.isEmpty();
        if (!numeric)
            port.toUShort(&numeric);
        if (!numeric) {
            *problem = QStringLiteral("its port \"%1\" is not a number").arg(port);
            return false;
        }
        out->hosts << decoded(host);
        out->ports << port;
    }
    return true;
}

QString joined(const Uri &uri)
{
    QString text = QStringLiteral("postgresql://");
    if (!uri.user.isEmpty() || uri.hasPassword) {
        text += encoded(uri.user);
        if (uri.hasPassword)
            text += QLatin1Char(':') + encoded(uri.password);
        text += QLatin1Char('@');
    }
    QStringList hosts;
    for (qsizetype i = 0; i < uri.hosts.size(); ++i) {
        const QString &host = uri.hosts[i];
        QString shown = host.contains(QLatin1Char(':')) ? QLatin1Char('[') + host + QLatin1Char(']') : encoded(host);
        if (!uri.ports[i].isEmpty())
            shown += QLatin1Char(':') + uri.ports[i];
        hosts << shown;
    }
    text += hosts.join(QLatin1Char(','));
    if (!uri.database.isEmpty())
        text += QLatin1Char('/') + encoded(uri.database);
    QStringList params;
    for (const auto &[key, value] : uri.params)
        params << encoded(key) + QLatin1Char('=') + encoded(value);
    if (!params.isEmpty())
        text += QLatin1Char('?') + params.join(QLatin1Char('&'));
    return text;
}

// A value as libpq's key=value strings take it.
QString quotedOption(const QString &value)
{
    QString escaped = value;
    escaped.replace(QLatin1Char('\\'), QStringLiteral("\\\\")).replace(QLatin1Char('\''), QStringLiteral("\\'"));
    return QLatin1Char('\'') + escaped + QLatin1Char('\'');
}

QString sqliteUri(const QString &path, StoreAddress::Access access)
{
    const char *query = access == StoreAddress::Access::Write  ? "?mode=rw"
                        : access == StoreAddress::Access::Read ? "?mode=ro"
                                                               : "?mode=ro&immutable=1";
    return QStringLiteral("file:") + QString::fromUtf8(QUrl::toPercentEncoding(path, "/")) + QLatin1String(query);
}

} // namespace

namespace StoreAddress {

bool IsShared(const QString &name)
{
    return schemeLength(name) >= 0;
}

bool IsShared(const QSqlDatabase &db)
{
    return db.driverName() == postgresDriver;
}

QString WithoutPassword(const QString &name)
{
    if (!IsShared(name))
        return name;
    Uri uri;
    QString problem;
    if (!parse(name, &uri, &problem)) {
        // Even an address that cannot be read shows no password.
        static const QRegularExpression userInfo(QStringLiteral("^([a-zA-Z]+://[^:/@]*):[^/@]*@"));
        return QString(name).replace(userInfo, QStringLiteral("\\1@"));
    }
    if (!uri.hasPassword)
        return name;
    uri.hasPassword = false;
    uri.password.clear();
    return joined(uri);
}

QString Password(const QString &name)
{
    Uri uri;
    QString problem;
    return parse(name, &uri, &problem) ? uri.password : QString();
}

QString WithPassword(const QString &name, const QString &password)
{
    Uri uri;
    QString problem;
    if (!parse(name, &uri, &problem))
        return name;
    uri.password = password;
    uri.hasPassword = !password.isEmpty();
    return joined(uri);
}

QString Build(const QString &host, int port, const QString &database, const QString &user, const QString &password)
{
    Uri uri;
    uri.user = user.trimmed();
    uri.password = password;
    uri.hasPassword = !password.isEmpty();
    if (!host.trimmed().isEmpty() || port > 0) {
        uri.hosts << host.trimmed();
        uri.ports << (port > 0 ? QString::number(port) : QString());
    }
    uri.database = database.trimmed();
    return joined(uri);
}

bool Parts(const QString &name, QString *host, int *port, QString *database, QString *user)
{
    Uri uri;
    QString problem;
    if (!parse(name, &uri, &problem))
        return false;
    *host = uri.hosts.value(0);
    *port = uri.ports.value(0).toInt();
    *database = uri.database;
    *user = uri.user;
    return true;
}

QString ShortName(const QString &name)
{
    if (IsShared(name)) {
        Uri uri;
        QString problem;
        if (parse(name, &uri, &problem) && !uri.database.isEmpty())
            return uri.database;
        // libpq's own default: the database named after the user.
        const QString user = uri.user.isEmpty() ? qEnvironmentVariable("PGUSER") : uri.user;
        return qEnvironmentVariable("PGDATABASE", user.isEmpty() ? QStringLiteral("library") : user);
    }
    QString fileName = QFileInfo(name).fileName();
    if (fileName.endsWith(QLatin1String(".lkb"), Qt::CaseInsensitive))
        fileName.chop(4);
    return fileName;
}

bool AddConnection(const QString &connectionName, const QString &name, Access access, int busyTimeoutMs, ErrObject *err)
{
    if (!IsShared(name)) {
        remember(connectionName, name);
        QSqlDatabase db = QSqlDatabase::addDatabase(sqliteDriver, connectionName);
        db.setDatabaseName(sqliteUri(name, access));
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_URI;QSQLITE_BUSY_TIMEOUT=%1").arg(busyTimeoutMs));
        return true;
    }
    Uri uri;
    QString problem;
    if (!parse(name, &uri, &problem)) {
        *err = {ErrNumber::StoreNotADatabase,
                QStringLiteral("\"%1\" is not a connection address Lorekeep can read: %2.")
                    .arg(WithoutPassword(name), problem)};
        return false;
    }
    if (!QSqlDatabase::isDriverAvailable(postgresDriver)) {
        *err = {ErrNumber::StoreFailed,
                QStringLiteral("Lorekeep cannot reach a shared library: the PostgreSQL driver for Qt is not "
                               "installed (the package libqt6sql6-psql on Debian).")};
        return false;
    }
    // The driver passes its options to libpq as they are, blank-separated, and takes ";" as the
    // separator of its own: so each value is quoted, and ";" cannot be in one.
    QStringList options;
    QString serverOptions = QStringLiteral("-c lock_timeout=%1").arg(busyTimeoutMs);
    bool named = false;
    for (const auto &[key, value] : uri.params) {
        if (value.contains(QLatin1Char(';'))) {
            *err = {ErrNumber::StoreNotADatabase,
                    QStringLiteral("\"%1\" is not a connection address Lorekeep can use: the value of \"%2\" holds "
                                   "a \";\".")
                        .arg(WithoutPassword(name), key)};
            return false;
        }
        named = named || key == QLatin1String("application_name");
        if (key == QLatin1String("options"))
            serverOptions = value + QLatin1Char(' ') + serverOptions;
        else
            options << key + QLatin1Char('=') + quotedOption(value);
    }
    // The server's list of sessions says which are Lorekeep's.
    if (!named)
        options << QStringLiteral("application_name=lorekeep");
    // A lock held by another desktop is waited for as long as a store file's, then reported; and
    // a read-only connection is one in fact, whatever the role may do.
    if (access != Access::Write)
        serverOptions += QStringLiteral(" -c default_transaction_read_only=on");
    options << QStringLiteral("options=") + quotedOption(serverOptions);
    remember(connectionName, name);
    QSqlDatabase db = QSqlDatabase::addDatabase(postgresDriver, connectionName);
    if (uri.hosts.size() > 1) {
        options << QStringLiteral("host=") + quotedOption(uri.hosts.join(QLatin1Char(',')));
        options << QStringLiteral("port=") + quotedOption(uri.ports.join(QLatin1Char(',')));
    } else if (!uri.hosts.isEmpty()) {
        db.setHostName(uri.hosts.constFirst());
        db.setPort(uri.ports.constFirst().isEmpty() ? -1 : uri.ports.constFirst().toInt());
    }
    db.setDatabaseName(uri.database);
    db.setUserName(uri.user);
    db.setPassword(uri.password);
    db.setConnectOptions(options.join(QLatin1Char(';')));
    return true;
}

QString Name(const QSqlDatabase &db)
{
    const QMutexLocker locked(&namesLock);
    return names().value(db.connectionName());
}

} // namespace StoreAddress
