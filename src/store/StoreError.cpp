#include "StoreError.h"

#include "StoreAddress.h"

#include <QFile>
#include <QUrl>

#include <utility>

namespace {

// SQLite's primary result codes that deserve their own message.
enum : int {
    SqliteBusy = 5,
    SqliteLocked = 6,
    SqliteReadOnly = 8,
    SqliteCantOpen = 14,
    SqliteNotADb = 26,
    SqliteFull = 13,
    SqliteCorrupt = 11
};

// Whether the file begins as every SQLite database does: a "not a database" answer for such a
// file means its first page is broken, not that it is some other kind of file.
bool hasDatabaseHeader(const QString &path)
{
    QFile file(path);
    return !path.isEmpty() && file.open(QIODevice::ReadOnly) && file.read(16) == QByteArray("SQLite format 3", 16);
}

std::function<void(const QString &)> &damageHandler()
{
    static std::function<void(const QString &)> handler;
    return handler;
}

ErrObject damaged(const QString &name, const QString &path)
{
    if (damageHandler())
        damageHandler()(path);
    return {ErrNumber::StoreDamaged,
            QStringLiteral("The store %1 is damaged, so Lorekeep cannot read it. The file is left as it is; "
                           "restore a backup with File > Restore From Backup....")
                .arg(name)};
}

QString databaseText(const QSqlError &error)
{
    const QString text = error.databaseText().isEmpty() ? error.text() : error.databaseText();
    return text.isEmpty() ? QStringLiteral("unknown error") : text;
}

// What a PostgreSQL server reports, by its SQLSTATE or, for a connection that failed before any
// state, by libpq's words.
ErrObject sharedError(const QSqlError &error, const QString &name)
{
    const QString state = error.nativeErrorCode();
    // libpq breaks its lines and indents its hints: one paragraph reads better in a message box.
    const QString text = databaseText(error).simplified();
    const QString library = QStringLiteral("The shared library %1").arg(name);
    if (state == QLatin1String("28P01") || state == QLatin1String("28000") ||
        text.contains(QLatin1String("password authentication failed")) ||
        text.contains(QLatin1String("no password supplied")) || text.contains(QLatin1String("authentication failed")))
        return {ErrNumber::StoreLoginRefused,
                QStringLiteral("%1 refused the user name or the password: %2").arg(library, text)};
    if (state == QLatin1String("3D000") ||
        (text.contains(QLatin1String("database \"")) && text.contains(QLatin1String("does not exist"))))
        return {ErrNumber::StoreNotFound, QStringLiteral("%1 does not exist on its server: %2").arg(library, text)};
    if (state == QLatin1String("42501") || state == QLatin1String("25006"))
        return {ErrNumber::StoreReadOnly,
                QStringLiteral("%1 may only be read with your rights, so the change was not saved (%2).")
                    .arg(library, text)};
    if (state == QLatin1String("55P03") || state == QLatin1String("40P01") || state == QLatin1String("40001"))
        return {
            ErrNumber::StoreLocked,
            QStringLiteral("%1 is busy with another desktop's change. Try again in a moment (%2).").arg(library, text)};
    if (state == QLatin1String("53100"))
        return {ErrNumber::StoreFailed,
                QStringLiteral("The disk of the server holding %1 is full, so the change was not saved.").arg(name)};
    if (state.startsWith(QLatin1String("08")) || state.startsWith(QLatin1String("57P")) ||
        (state.isEmpty() && error.type() == QSqlError::ConnectionError))
        return {ErrNumber::StoreUnreachable, QStringLiteral("%1 cannot be reached: %2").arg(library, text)};
    return {ErrNumber::StoreFailed, QStringLiteral("%1 reported an error: %2").arg(library, text)};
}

} // namespace

ErrObject StoreError::fromSql(const QSqlError &error, const QString &storePath)
{
    if (StoreAddress::IsShared(storePath))
        return sharedError(error, QLatin1Char('"') + StoreAddress::WithoutPassword(storePath) + QLatin1Char('"'));
    bool numeric = false;
    const int code = error.nativeErrorCode().toInt(&numeric) & 0xff;
    const QString name =
        storePath.isEmpty() ? QStringLiteral("the store") : QLatin1Char('"') + storePath + QLatin1Char('"');
    switch (numeric ? code : -1) {
    case SqliteBusy:
    case SqliteLocked:
        return {ErrNumber::StoreLocked, QStringLiteral("The store %1 is locked by another program. Close the other "
                                                       "program or wait until it is done, then try again.")
                                            .arg(name)};
    case SqliteReadOnly:
        return {ErrNumber::StoreReadOnly, QStringLiteral("The store %1 is read-only, so the change was not saved. "
                                                         "Make the file writable or open a copy of it.")
                                              .arg(name)};
    case SqliteCantOpen:
        return {ErrNumber::StoreReadOnly,
                QStringLiteral("The store %1 or its folder cannot be written, so the change was not saved (%2).")
                    .arg(name, databaseText(error))};
    case SqliteCorrupt: return damaged(name, storePath);
    case SqliteNotADb:
        if (hasDatabaseHeader(storePath))
            return damaged(name, storePath);
        return {ErrNumber::StoreNotADatabase,
                QStringLiteral("%1 is not a Lorekeep store: the file is not a database.").arg(name)};
    case SqliteFull:
        return {ErrNumber::StoreFailed,
                QStringLiteral("The disk holding the store %1 is full, so the change was not saved.").arg(name)};
    default:
        return {ErrNumber::StoreFailed,
                QStringLiteral("The store %1 reported an error: %2").arg(name, databaseText(error))};
    }
}

void StoreError::setDamageHandler(std::function<void(const QString &)> handler)
{
    damageHandler() = std::move(handler);
}

ErrObject StoreError::fromSql(const QSqlError &error, const QSqlDatabase &db)
{
    return fromSql(error, storePath(db));
}

ErrObject StoreError::fileFailed(const QString &what, const QString &path, const QString &reason)
{
    return {ErrNumber::PathFileAccess, QStringLiteral("Could not %1 \"%2\": %3.").arg(what, path, reason)};
}

bool StoreError::openForCopy(QFile *in, QFile *out, ErrObject *err)
{
    if (!in->open(QIODevice::ReadOnly)) {
        *err = fileFailed(QStringLiteral("read"), in->fileName(), in->errorString());
        return false;
    }
    if (!out->open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        *err = fileFailed(QStringLiteral("write"), out->fileName(), out->errorString());
        return false;
    }
    return true;
}

ErrObject StoreError::damagedStore(const QString &storePath)
{
    return damaged(storePath.isEmpty() ? QStringLiteral("the store") : QLatin1Char('"') + storePath + QLatin1Char('"'),
                   storePath);
}

ErrObject StoreError::noConnection()
{
    return {ErrNumber::NoConnection, QStringLiteral("No Lorekeep store is open.")};
}

ErrObject StoreError::noRow(const char *table, qint64 id)
{
    return {ErrNumber::NoCurrentRecord,
            QStringLiteral("The %1 with id %2 is no longer in the store.").arg(QLatin1String(table)).arg(id)};
}

QString StoreError::storePath(const QSqlDatabase &db)
{
    if (StoreAddress::IsShared(db)) {
        const QString name = StoreAddress::Name(db);
        return name.isEmpty() ? StoreAddress::Build(db.hostName(), db.port(), db.databaseName(), db.userName(), {})
                              : StoreAddress::WithoutPassword(name);
    }
    QString name = db.databaseName();
    if (!name.startsWith(QLatin1String("file:")))
        return name;
    name = name.mid(5);
    const int query = name.indexOf(QLatin1Char('?'));
    if (query >= 0)
        name.truncate(query);
    return QUrl::fromPercentEncoding(name.toUtf8());
}
