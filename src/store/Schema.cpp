#include "Schema.h"

#include "StoreAddress.h"
#include "StoreError.h"
#include "StoreQuery.h"
#include "StoreTransaction.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSqlError>
#include <QSqlQuery>
#include <QUuid>

namespace {

struct TableCheck
{
    const char *table;
    const char *columns;
};

// Every column the program reads or writes, by table.
constexpr TableCheck tableChecks[] = {
    {"game", "auto_id, platform_id, genre_id, name, notes"},
    {"file", "auto_id, game_id, sub_cat, src, \"desc\", txt_rtf"},
    {"bookmarks", "auto_id, tree_key, game, file, platform, sub_cat, genre"},
    {"favorites", "auto_id, url, title, \"desc\""},
};

bool runAll(QSqlDatabase &db, const QStringList &statements, QSqlError *error)
{
    QSqlQuery query(db);
    for (const QString &statement : statements) {
        if (!query.exec(statement)) {
            *error = query.lastError();
            return false;
        }
    }
    return true;
}

} // namespace

QStringList Schema::Statements(const QString &resource)
{
    QFile file(resource);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList statements;
    QString current;
    for (const QString &line : QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'))) {
        const QString trimmed = line.trimmed();
        if (trimmed.isEmpty() || trimmed.startsWith(QLatin1String("--")))
            continue;
        current += line + QLatin1Char('\n');
        if (trimmed.endsWith(QLatin1Char(';'))) {
            statements << current.trimmed();
            current.clear();
        }
    }
    return statements;
}

bool Schema::CreateStore(const QString &path, ErrObject *err)
{
    if (QFileInfo::exists(path)) {
        *err = {ErrNumber::PathFileAccess,
                QStringLiteral("Cannot create the store \"%1\": a file of that name exists.").arg(path)};
        return false;
    }
    const QFileInfo folder(QFileInfo(path).absolutePath());
    if (!folder.isDir() || !folder.isWritable()) {
        *err = {
            ErrNumber::PathFileAccess,
            QStringLiteral("Cannot create the store \"%1\": its folder is missing or cannot be written.").arg(path)};
        return false;
    }
    // A new store has its search index from the start.
    // The index's script stamps its own layout version; the store's is stamped last.
    const QStringList statements = Statements() + Statements(QStringLiteral(":/bundle/findindex.sql")) +
                                   QStringList{QStringLiteral("PRAGMA user_version = %1").arg(Version)};
    if (statements.isEmpty()) {
        *err = {ErrNumber::FileNotFound, QStringLiteral("The bundled store schema is missing from the program.")};
        return false;
    }
    const QString partial = path + QStringLiteral(".part");
    QFile::remove(partial);
    const QString connection = QStringLiteral("lorekeep-create-") + QUuid::createUuid().toString(QUuid::WithoutBraces);
    QSqlError error;
    bool ok = false;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        db.setDatabaseName(partial);
        if (!db.open()) {
            error = db.lastError();
        } else {
            ok = db.transaction() && runAll(db, statements, &error) && db.commit();
            if (!ok && !error.isValid())
                error = db.lastError();
            db.close();
        }
    }
    QSqlDatabase::removeDatabase(connection);
    if (!ok) {
        QFile::remove(partial);
        *err = StoreError::fromSql(error, path);
        err->Description = QStringLiteral("Cannot create the store \"%1\": %2")
                               .arg(path, error.databaseText().isEmpty() ? error.text() : error.databaseText());
        return false;
    }
    QFile file(partial);
    if (!file.rename(path)) {
        *err = {ErrNumber::PathFileAccess,
                QStringLiteral("Cannot create the store \"%1\": %2").arg(path, file.errorString())};
        QFile::remove(partial);
        return false;
    }
    return true;
}

bool Schema::CheckVersion(int version, const QString &shown, ErrObject *err)
{
    if (version <= Version)
        return true;
    const bool shared = StoreAddress::IsShared(shown);
    *err = {ErrNumber::StoreTooNew,
            QStringLiteral("The %1 \"%2\" was written by a newer version of Lorekeep (store version %3; this "
                           "version reads up to %4). Open it with that version; the %5 is left as it is.")
                .arg(shared ? QStringLiteral("library") : QStringLiteral("store"), shown)
                .arg(version)
                .arg(Version)
                .arg(shared ? QStringLiteral("library") : QStringLiteral("file"))};
    return false;
}

bool Schema::ReadVersion(const QSqlDatabase &db, int *version, ErrObject *err)
{
    StoreQuery query(db);
    bool found = false;
    const bool shared = StoreAddress::IsShared(db);
    if (!query.run(shared ? QStringLiteral("SELECT obj_description('file'::regclass, 'pg_class')")
                          : QStringLiteral("PRAGMA user_version"),
                   err) ||
        !query.firstRow(&found, err))
        return false;
    if (!shared) {
        *version = found ? query.value(0).toInt() : 0;
        return true;
    }
    static const QRegularExpression number(QStringLiteral("^Lorekeep store version (\\d+)$"));
    const QRegularExpressionMatch match = number.match(found ? query.text(0) : QString());
    *version = match.hasMatch() ? match.captured(1).toInt() : 0;
    return true;
}

bool Schema::Upgrade(const QSqlDatabase &db, ErrObject *err)
{
    int version = 0;
    if (!ReadVersion(db, &version, err))
        return false;
    if (version >= Version)
        return true;
    const bool shared = StoreAddress::IsShared(db);
    // The lock makes a second program wait, then find the work done.
    StoreTransaction transaction(db, StoreTransaction::Lock::Immediate);
    if (!transaction.begin(err) || !ReadVersion(db, &version, err))
        return false;
    if (version >= Version)
        return true;
    // What version 3 added is whatever the bundled schema says of snapshots: one description of
    // the table for new stores and old ones.
    const QStringList all =
        Statements(shared ? QStringLiteral(":/bundle/schema-pg.sql") : QStringLiteral(":/bundle/schema.sql"));
    QStringList added;
    for (const QString &statement : all) {
        if (!statement.contains(QLatin1String(" snapshot ")) && !statement.contains(QLatin1String(" snapshot_")))
            continue;
        // A store whose version was lowered (its search index rebuilt by an older script) may
        // hold the table already: what is there is kept.
        QString again = statement;
        again.replace(QLatin1String("CREATE TABLE "), QLatin1String("CREATE TABLE IF NOT EXISTS "))
            .replace(QLatin1String("CREATE INDEX "), QLatin1String("CREATE INDEX IF NOT EXISTS "))
            .replace(QLatin1String("CREATE TRIGGER "), QLatin1String("CREATE OR REPLACE TRIGGER "));
        added << again;
    }
    if (added.isEmpty()) {
        *err = {ErrNumber::FileNotFound, QStringLiteral("The bundled store schema is missing from the program.")};
        return false;
    }
    // What is there already is kept without a word: the server would otherwise say so on the
    // terminal of every command-line tool that opens the library first.
    if (shared)
        added.prepend(QStringLiteral("SET LOCAL client_min_messages = warning"));
    added << (shared ? QStringLiteral("COMMENT ON TABLE file IS 'Lorekeep store version %1'").arg(Version)
                     : QStringLiteral("PRAGMA user_version = %1").arg(Version));
    QSqlQuery query(db);
    for (const QString &statement : std::as_const(added)) {
        if (!query.exec(statement)) {
            *err = StoreError::fromSql(query.lastError(), db);
            if (err->Number != ErrNumber::StoreReadOnly && err->Number != ErrNumber::StoreLocked)
                err->Description = QStringLiteral("Cannot bring the store \"%1\" up to this version of Lorekeep: %2")
                                       .arg(StoreError::storePath(db), query.lastError().databaseText());
            return false;
        }
    }
    return transaction.commit(err);
}

bool Schema::Verify(const QSqlDatabase &db, const QString &storePath, ErrObject *err)
{
    QSqlQuery query(db);
    for (const TableCheck &check : tableChecks) {
        const QString sql =
            QStringLiteral("SELECT %1 FROM %2 LIMIT 0").arg(QLatin1String(check.columns), QLatin1String(check.table));
        if (query.exec(sql))
            continue;
        const QSqlError error = query.lastError();
        *err = StoreError::fromSql(error, storePath);
        // Only a plain "no such table/column" means a database that is not ours; a locked or
        // broken file keeps its own description.
        if (err->Number == ErrNumber::StoreFailed) {
            *err = {
                ErrNumber::StoreNotLorekeep,
                QStringLiteral("\"%1\" is a database but not a Lorekeep store: its table \"%2\" is missing or "
                               "lacks the columns %3 (%4).")
                    .arg(storePath, QLatin1String(check.table), QLatin1String(check.columns), error.databaseText())};
        }
        return false;
    }
    return true;
}
