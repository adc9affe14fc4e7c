#pragma once

#include "system/ErrObject.h"

#include <QByteArrayView>
#include <QSqlDatabase>
#include <QString>
#include <QVariantList>

struct sqlite3;
struct sqlite3_stmt;

// SQLite's own connection under `db`, for what QtSql does not offer or does slowly; null when `db` is
// a shared library's or not open.
sqlite3 *SqliteHandle(const QSqlDatabase &db);

// A read run straight on SQLite's own handle, for a list read whole: QtSql makes a variant of every
// column of every row, which costs more than the statement itself. Not ready when the store is not
// an open SQLite file or the statement cannot be prepared; a read that stops short of the end is not
// done. Either way the caller reads the ordinary way, which reports the failure as every read does.
//
// A caller that reads only this way asks error() what went wrong. A statement that is run again
// with other values (run()) stays prepared between runs.
class DirectRows final
{
public:
    DirectRows(const QSqlDatabase &db, const QString &sql, const QVariantList &values = {});
    ~DirectRows();
    Q_DISABLE_COPY_MOVE(DirectRows)

    bool isReady() const { return m_statement != nullptr; }
    // Starts the statement again from its first row with `values` bound; false when it cannot be.
    bool run(const QVariantList &values);
    // Steps to the next row: false at the end, and when a step fails.
    bool next();
    // Every row was read.
    bool done() const { return m_done; }
    // Why the statement could not be prepared, bound or stepped, as a store error.
    ErrObject error() const;

    qint32 id(int column) const;
    qint64 id64(int column) const;
    // A code column; a value outside a byte reads as 0, "none", as StoreQuery reads it.
    quint8 code(int column) const;
    QString text(int column) const;
    QByteArray bytes(int column) const;
    // The same without a copy, valid until the next step.
    QByteArrayView bytesView(int column) const;

private:
    void fail(sqlite3 *handle, int code);

    sqlite3_stmt *m_statement = nullptr;
    bool m_done = false;
    QString m_storePath;
    int m_failure = 0;
    QString m_message;
};
