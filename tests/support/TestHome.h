#pragma once

#include "data/modADO.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

// Empties the program's settings file, so that a test starts from the defaults, except that the
// first run is over and the tip of the day is off.
void clearSettings();
// The bytes of a file; empty when it cannot be read.
QByteArray readFile(const QString &path);
// Writes `bytes` as the whole file; failing to fails the test.
void writeFile(const QString &path, const QByteArray &bytes);
// Runs `statements` on a connection of its own to the store at `path` (a file or a URI), as another
// program would; one that fails fails the test.
void runElsewhere(const QString &path, const QStringList &statements);
// What turns a store file's search index into that of an earlier Lorekeep (a trigram table with
// its own copy of every text, here the stored RTF), for runElsewhere.
QStringList earlierFindIndex();
// Makes `table` of the store on `db` refuse `event` (INSERT, UPDATE or DELETE) with `message`, for
// the rows that match `when` (a condition on OLD or NEW; empty for every row), the way a store
// refuses a write it cannot make. The refusal is named `name`; allowWrites drops it.
void refuseWrites(const QSqlDatabase &db, const QString &name, const QString &table, const QString &event,
                  const QString &when, const QString &message);
void allowWrites(const QSqlDatabase &db, const QString &name, const QString &table);
// An SQL expression of `value` (one a row) of every row of a FROM that follows, joined by ", " in
// the order of `order`; SQLite's and PostgreSQL's names for that differ.
QString joinedSql(const QString &value, const QString &order);

// A temporary home with a fresh empty store, opened on a connection of its own and made the
// program's home for the test's lifetime. Failing to make it fails the test. Run with
// LOREKEEP_TEST_STORE=postgresql (inside pg_virtualenv), the store is a shared library instead: a
// new database on the server that libpq's environment names, dropped afterwards.
class TestHome final
{
public:
    TestHome();
    ~TestHome();
    Q_DISABLE_COPY_MOVE(TestHome)

    // Whether this run's stores are shared libraries.
    static bool Shared();
    // A new empty database on the test server, as a connection URI; fails the test when it cannot
    // be made. It is dropped with the cluster.
    static QString NewDatabase();
    // A new database holding a copy of the store file `file`, as its URI; fails the test when the
    // copy does.
    static QString CopyToServer(const QString &file);

    QString path() const; // ends in "/"
    // The store file, or the shared library's URI.
    QString storePath() const;
    QString file(const QString &name) const { return path() + name; }
    modADO &store() { return *m_store; }
    QSqlDatabase db() const { return m_store->Connection(); }

    // Quick fixtures; they fail the test when the store refuses.
    qint32 addGame(quint8 platform, quint8 genre, const QString &name);
    qint32 addFile(qint32 gameId, quint8 subCat, const QString &desc, const QString &rtf = QString());
    // The first value of a query's first row as a number; -1 when there is none.
    int count(const QString &sql) const;
    // Whether the store has seen another program's commit, taking it as ChangedElsewhere does: a
    // store file is asked at once; a shared library's server announces it, which this waits for.
    bool changedElsewhere();
    // Gives game `gameId` `files` files of a few KB of text each, overwrites a leaf page of table
    // `file` in the middle of the store with garbage, as a bad sector would, and opens the store
    // again. Returns the ids of the files that page held, which can no longer be read. A store
    // file's only: a shared library's pages are its server's.
    QList<qint32> addDamagedFiles(qint32 gameId, int files);

private:
    QTemporaryDir m_dir;
    QString m_shared;
    std::unique_ptr<modADO> m_store;
    QString m_previousHome;
};
