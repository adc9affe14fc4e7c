#include "StoreError.h"

#include <QUrl>

namespace {

// SQLite's primary result codes that deserve their own message.
enum : int {
    SqliteBusy = 5,
    SqliteLocked = 6,
    SqliteReadOnly = 8,
    SqliteCantOpen = 14,
    SqliteNotADb = 26,
    SqliteFull = 13
};

QString databaseText(const QSqlError &error)
{
    const QString text = error.databaseText().isEmpty() ? error.text() : error.databaseText();
    return text.isEmpty() ? QStringLiteral("unknown error") : text;
}

} // namespace

ErrObject StoreError::fromSql(const QSqlError &error, const QString &storePath)
{
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
    case SqliteNotADb:
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

ErrObject StoreError::fromSql(const QSqlError &error, const QSqlDatabase &db)
{
    return fromSql(error, storePath(db));
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
    QString name = db.databaseName();
    if (!name.startsWith(QLatin1String("file:")))
        return name;
    name = name.mid(5);
    const int query = name.indexOf(QLatin1Char('?'));
    if (query >= 0)
        name.truncate(query);
    return QUrl::fromPercentEncoding(name.toUtf8());
}
