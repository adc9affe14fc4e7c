#pragma once

#include "system/ErrObject.h"

#include <QSqlDatabase>
#include <QString>
#include <QStringList>

// The store's shape: the bundled schema that new stores are built from, and the check that an
// opened database really is a Lorekeep store.
class Schema final
{
public:
    // The version of the layout this Lorekeep writes: a store file's user_version, a shared
    // library's comment on its table file. 2 since the search index, 3 since page snapshots, 4
    // since the search index keeps no second copy of the texts (which an older Lorekeep would take
    // for its own index, and find nothing in).
    static constexpr int Version = 4;

    // Whether this Lorekeep reads a store of layout `version`: false, with the reason, for one
    // written by a newer Lorekeep. `shown` names the store in the message.
    static bool CheckVersion(int version, const QString &shown, ErrObject *err);

    // The statements of a bundled SQL file (the schema unless told), in order.
    static QStringList Statements(const QString &resource = QStringLiteral(":/bundle/schema.sql"));

    // Builds an empty store at `path`. The file appears whole or not at all; an existing file is
    // never touched.
    static bool CreateStore(const QString &path, ErrObject *err);

    // The layout version of the store `db` is open on (user_version, or the shared library's
    // comment on its table file).
    static bool ReadVersion(const QSqlDatabase &db, int *version, ErrObject *err);

    // Brings a store of an older layout (2 or earlier, its search index already there) up to
    // Version: adds the tables it lacks and raises the version, in one transaction. A store that is
    // up to date is left alone; two programs upgrading at once do it once.
    static bool Upgrade(const QSqlDatabase &db, ErrObject *err);

    // Runs every table's column list against `db`; the first table that is missing or lacks a
    // column the program reads makes it fail with a description naming the table.
    static bool Verify(const QSqlDatabase &db, const QString &storePath, ErrObject *err);
};
