#include "SharedStore.h"

#include "Schema.h"
#include "StoreError.h"
#include "StoreQuery.h"
#include "StoreTransaction.h"

#include <QLoggingCategory>
#include <QRegularExpression>
#include <QSet>
#include <QSqlError>
#include <QSqlQuery>

Q_DECLARE_LOGGING_CATEGORY(lcStore)

namespace {

// Every table a shared library holds; the first four are the ones a user's SQL knows.
const QStringList ourTables = {QStringLiteral("game"),      QStringLiteral("file"),      QStringLiteral("bookmarks"),
                               QStringLiteral("favorites"), QStringLiteral("find_text"), QStringLiteral("find_pending"),
                               QStringLiteral("snapshot")};

const QString versionComment = QStringLiteral("Lorekeep store version %1");

bool readTables(const QSqlDatabase &db, QStringList *tables, ErrObject *err)
{
    StoreQuery query(db);
    // The schema the library's tables go to is the first of the search path that exists.
    return query.run(QStringLiteral("SELECT c.relname FROM pg_class c JOIN pg_namespace n ON n.oid = c.relnamespace "
                                    "WHERE n.nspname = current_schema() AND c.relkind IN ('r', 'p', 'v', 'm', 'f') "
                                    "ORDER BY c.relname"),
                     err) &&
           query.forEachRow([&] { tables->append(query.text(0)); }, err);
}

bool create(const QSqlDatabase &db, const QString &shown, ErrObject *err)
{
    const QStringList statements = Schema::Statements(QStringLiteral(":/bundle/schema-pg.sql"));
    if (statements.isEmpty()) {
        *err = {ErrNumber::FileNotFound, QStringLiteral("The bundled store schema is missing from the program.")};
        return false;
    }
    StoreTransaction transaction(db);
    if (!transaction.begin(err))
        return false;
    QSqlQuery query(db);
    for (const QString &statement : statements) {
        if (!query.exec(statement)) {
            *err = StoreError::fromSql(query.lastError(), db);
            if (err->Number != ErrNumber::StoreReadOnly)
                err->Description = QStringLiteral("Cannot make the Lorekeep tables in %1: %2")
                                       .arg(shown, query.lastError().databaseText());
            return false;
        }
    }
    return transaction.commit(err);
}

bool checkVersion(const QSqlDatabase &db, const QString &shown, ErrObject *err)
{
    StoreQuery query(db);
    bool found = false;
    if (!query.run(QStringLiteral("SELECT obj_description('file'::regclass, 'pg_class')"), err) ||
        !query.firstRow(&found, err))
        return false;
    static const QRegularExpression number(QStringLiteral("^Lorekeep store version (\\d+)$"));
    const QRegularExpressionMatch match = number.match(found ? query.text(0) : QString());
    if (!match.hasMatch()) {
        *err = {ErrNumber::StoreNotLorekeep,
                QStringLiteral("The database \"%1\" holds tables named as Lorekeep's, but they were not made by "
                               "Lorekeep. It is left as it is.")
                    .arg(shown)};
        return false;
    }
    return Schema::CheckVersion(match.captured(1).toInt(), shown, err);
}

// Why the role the library was opened as cannot change it; empty when it can.
bool readRights(const QSqlDatabase &db, QString *readOnlyReason, ErrObject *err)
{
    StoreQuery query(db);
    bool found = false;
    if (!query.run(QStringLiteral("SELECT current_user, bool_and(has_table_privilege(t, 'INSERT') AND "
                                  "has_table_privilege(t, 'UPDATE') AND has_table_privilege(t, 'DELETE')) "
                                  "FROM unnest(ARRAY['game', 'file', 'bookmarks', 'favorites', 'find_text', "
                                  "'find_pending', 'snapshot']) AS t WHERE to_regclass(t) IS NOT NULL"),
                   err) ||
        !query.firstRow(&found, err))
        return false;
    readOnlyReason->clear();
    if (found && !query.value(1).toBool())
        *readOnlyReason = QStringLiteral("the role \"%1\" may only read it").arg(query.text(0));
    return true;
}

} // namespace

namespace SharedStore {

bool Prepare(const QSqlDatabase &db, const QString &shown, QString *readOnlyReason, ErrObject *err)
{
    const QString named = QLatin1Char('"') + shown + QLatin1Char('"');
    QStringList tables;
    if (!readTables(db, &tables, err))
        return false;
    if (tables.isEmpty()) {
        if (!create(db, named, err))
            return false;
        ErrObject trigramErr;
        if (!EnsureTrigrams(db, &trigramErr))
            qCWarning(lcStore) << trigramErr.Description;
        return readRights(db, readOnlyReason, err);
    }
    QStringList others;
    for (const QString &table : std::as_const(tables)) {
        if (!ourTables.contains(table))
            others << QLatin1Char('"') + table + QLatin1Char('"');
    }
    if (!others.isEmpty() || !tables.contains(QStringLiteral("file"))) {
        *err = {
            ErrNumber::StoreNotLorekeep,
            QStringLiteral("The database %1 is not a Lorekeep library: it holds other tables (%2). Lorekeep "
                           "makes its tables only in an empty database, and leaves this one as it is.")
                .arg(named, others.isEmpty() ? tables.join(QStringLiteral(", ")) : others.join(QStringLiteral(", ")))};
        return false;
    }
    if (!checkVersion(db, shown, err) || !Schema::Verify(db, shown, err) || !readRights(db, readOnlyReason, err))
        return false;
    if (!readOnlyReason->isEmpty())
        return true;
    // An older library is brought up to date by the first desktop that may write to it. A role
    // that may change rows but not add tables reads it as it is, without what the newer layout added.
    ErrObject upgradeErr;
    if (Schema::Upgrade(db, &upgradeErr))
        return true;
    if (upgradeErr.Number != ErrNumber::StoreReadOnly) {
        *err = upgradeErr;
        return false;
    }
    *readOnlyReason = QStringLiteral("it was made by an older Lorekeep, and the role may not add the tables this "
                                     "version needs; an owner of the database can open it once to bring it up to date");
    return true;
}

bool HasTrigrams(const QSqlDatabase &db)
{
    StoreQuery query(db);
    bool found = false;
    return query.run(QStringLiteral("SELECT to_regclass('find_text_trigrams') IS NOT NULL"), nullptr) &&
           query.firstRow(&found, nullptr) && found && query.value(0).toBool();
}

bool EnsureTrigrams(const QSqlDatabase &db, ErrObject *err)
{
    if (HasTrigrams(db))
        return true;
    StoreTransaction transaction(db);
    if (!transaction.begin(err))
        return false;
    QSqlQuery query(db);
    for (const QString &statement : Schema::Statements(QStringLiteral(":/bundle/findindex-pg.sql"))) {
        if (query.exec(statement))
            continue;
        *err = {ErrNumber::StoreReadOnly,
                QStringLiteral("Find Files reads every file of this library, which is slow on a big one: the "
                               "database lacks the trigram index, and your role may not add it (%1). A database "
                               "owner can add it with this line, run in the library's database:\n\n"
                               "CREATE EXTENSION pg_trgm;")
                    .arg(query.lastError().databaseText())};
        return false;
    }
    return transaction.commit(err);
}

} // namespace SharedStore
