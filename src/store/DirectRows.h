#pragma once

#include <QSqlDatabase>
#include <QString>

struct sqlite3;
struct sqlite3_stmt;

// SQLite's own connection under `db`, for what QtSql does not offer or does slowly; null when `db` is
// a shared library's or not open.
sqlite3 *SqliteHandle(const QSqlDatabase &db);

// A read run straight on SQLite's own handle, for a list read whole: QtSql makes a variant of every
// column of every row, which costs more than the statement itself. Not ready when the store is not
// an open SQLite file or the statement cannot be prepared; a read that stops short of the end is not
// done. Either way the caller reads the ordinary way, which reports the failure as every read does.
class DirectRows final
{
public:
    DirectRows(const QSqlDatabase &db, const QString &sql);
    ~DirectRows();
    Q_DISABLE_COPY_MOVE(DirectRows)

    bool isReady() const { return m_statement != nullptr; }
    // Steps to the next row: false at the end, and when a step fails.
    bool next();
    // Every row was read.
    bool done() const { return m_done; }

    qint32 id(int column) const;
    // A code column; a value outside a byte reads as 0, "none", as StoreQuery reads it.
    quint8 code(int column) const;
    QString text(int column) const;

private:
    sqlite3_stmt *m_statement = nullptr;
    bool m_done = false;
};
