#pragma once

#include "system/ErrObject.h"

#include <QByteArray>
#include <QDateTime>
#include <QSqlDatabase>
#include <QString>
#include <QVector>

// A web page as it was when a file was taken from it: the whole page in one MHTML file.
struct SnapshotRow
{
    qint32 auto_id = 0;
    qint32 file_id = 0;
    QDateTime captured; // UTC
    QString address;    // the page's URL
    qint64 size = 0;    // bytes of the MHTML, uncompressed
    QByteArray mhtml;   // empty when only the heads were read
};

// The statements on table `snapshot`, which holds each file's page snapshots (several per file, a
// history, newest first). The MHTML is kept compressed and checked when read back: a damaged one is
// an error. A store of an older layout, read as it is, has no such table; it reads as holding no
// snapshots. Each returns false with `err` filled when the store fails.
class SnapshotTable final
{
public:
    // Whether the store has the table: false only for an older store opened read-only.
    static bool Available(const QSqlDatabase &db);

    // Keeps `mhtml`, captured from `address` at `captured`, as a snapshot of file `fileId`.
    static bool Add(const QSqlDatabase &db, qint32 fileId, const QString &address, const QDateTime &captured,
                    const QByteArray &mhtml, qint32 *newId, ErrObject *err);
    // The newest snapshot of a file, with its MHTML; `found` is false when it has none.
    static bool Latest(const QSqlDatabase &db, qint32 fileId, SnapshotRow *row, bool *found, ErrObject *err);
    // A file's snapshots, newest first, without their MHTML.
    static bool List(const QSqlDatabase &db, qint32 fileId, QVector<SnapshotRow> *rows, ErrObject *err);
    // One snapshot with its MHTML; `found` is false when it is not there.
    static bool Read(const QSqlDatabase &db, qint32 id, SnapshotRow *row, bool *found, ErrObject *err);
    // How many snapshots a file has.
    static bool Count(const QSqlDatabase &db, qint32 fileId, int *count, ErrObject *err);
    // Deletes a file's snapshots, in the caller's transaction that deletes the file.
    static bool DeleteOfFile(const QSqlDatabase &db, qint32 fileId, ErrObject *err);
};
