#include "SnapshotTable.h"

#include "store/StoreAddress.h"
#include "store/StoreError.h"
#include "store/StoreQuery.h"

#include <QtEndian>

namespace {

const QString selectHeads = QStringLiteral("SELECT auto_id, file_id, captured, address, size FROM snapshot");
const QString selectWhole = QStringLiteral("SELECT auto_id, file_id, captured, address, size, data FROM snapshot");
const QString newestFirst = QStringLiteral(" ORDER BY captured DESC, auto_id DESC");

// A store file keeps the time as ISO text in UTC, which sorts as the times do; a server keeps a
// timestamp with its zone.
QVariant storedTime(const QSqlDatabase &db, const QDateTime &time)
{
    const QDateTime utc = time.toUTC();
    if (StoreAddress::IsShared(db))
        return utc;
    return utc.toString(Qt::ISODateWithMs);
}

QDateTime readTime(const QVariant &value)
{
    QDateTime time = value.typeId() == QMetaType::QDateTime
                         ? value.toDateTime()
                         : QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
    return time.toUTC();
}

SnapshotRow headRow(const StoreQuery &query)
{
    return {query.id(0), query.id(1), readTime(query.value(2)), query.text(3), query.value(4).toLongLong(), {}};
}

ErrObject damaged(const SnapshotRow &row)
{
    return {ErrNumber::StoreFailed, QStringLiteral("The snapshot %1 of the page \"%2\" is damaged and cannot be read.")
                                        .arg(row.auto_id)
                                        .arg(row.address)};
}

// Unpacks the stored data into `row`. The length in front of the compressed bytes is checked
// against the row's size before anything is allocated, so a damaged blob fails instead of asking
// for gigabytes.
bool unpack(const QByteArray &data, SnapshotRow *row, ErrObject *err)
{
    if (data.size() < 4 || row->size < 0 || qFromBigEndian<quint32>(data.constData()) != quint64(row->size)) {
        *err = damaged(*row);
        return false;
    }
    row->mhtml = row->size == 0 ? QByteArray() : qUncompress(data);
    if (row->mhtml.size() != row->size) {
        row->mhtml.clear();
        *err = damaged(*row);
        return false;
    }
    return true;
}

bool readOne(const QSqlDatabase &db, const QString &sql, const QVariantList &values, SnapshotRow *row, bool *found,
             ErrObject *err)
{
    *found = false;
    if (!SnapshotTable::Available(db))
        return true;
    StoreQuery query(db);
    if (!query.run(sql, values, err) || !query.firstRow(found, err))
        return false;
    if (!*found)
        return true;
    *row = headRow(query);
    return unpack(query.value(5).toByteArray(), row, err);
}

} // namespace

bool SnapshotTable::Available(const QSqlDatabase &db)
{
    StoreQuery query(db);
    bool found = false;
    const QString sql = StoreAddress::IsShared(db)
                            ? QStringLiteral("SELECT to_regclass('snapshot') IS NOT NULL")
                            : QStringLiteral("SELECT count(*) > 0 FROM sqlite_master WHERE type = 'table' AND name = "
                                             "'snapshot'");
    return query.run(sql, nullptr) && query.firstRow(&found, nullptr) && found && query.value(0).toBool();
}

bool SnapshotTable::Add(const QSqlDatabase &db, qint32 fileId, const QString &address, const QDateTime &captured,
                        const QByteArray &mhtml, qint32 *newId, ErrObject *err)
{
    StoreQuery query(db);
    if (!query.insert(QStringLiteral("INSERT INTO snapshot (file_id, captured, address, size, data) "
                                     "VALUES (?, ?, ?, ?, ?)"),
                      {fileId, storedTime(db, captured), address, qint64(mhtml.size()), qCompress(mhtml)}, err))
        return false;
    *newId = query.insertedId();
    return true;
}

bool SnapshotTable::Latest(const QSqlDatabase &db, qint32 fileId, SnapshotRow *row, bool *found, ErrObject *err)
{
    return readOne(db, selectWhole + QStringLiteral(" WHERE file_id = ?") + newestFirst + QStringLiteral(" LIMIT 1"),
                   {fileId}, row, found, err);
}

bool SnapshotTable::Read(const QSqlDatabase &db, qint32 id, SnapshotRow *row, bool *found, ErrObject *err)
{
    return readOne(db, selectWhole + QStringLiteral(" WHERE auto_id = ?"), {id}, row, found, err);
}

bool SnapshotTable::List(const QSqlDatabase &db, qint32 fileId, QVector<SnapshotRow> *rows, ErrObject *err)
{
    rows->clear();
    if (!Available(db))
        return true;
    StoreQuery query(db);
    return query.run(selectHeads + QStringLiteral(" WHERE file_id = ?") + newestFirst, {fileId}, err) &&
           query.forEachRow([&] { rows->append(headRow(query)); }, err);
}

bool SnapshotTable::Count(const QSqlDatabase &db, qint32 fileId, int *count, ErrObject *err)
{
    *count = 0;
    if (!Available(db))
        return true;
    StoreQuery query(db);
    bool found = false;
    if (!query.run(QStringLiteral("SELECT count(*) FROM snapshot WHERE file_id = ?"), {fileId}, err) ||
        !query.firstRow(&found, err))
        return false;
    *count = found ? query.value(0).toInt() : 0;
    return true;
}

bool SnapshotTable::DeleteOfFile(const QSqlDatabase &db, qint32 fileId, ErrObject *err)
{
    StoreQuery query(db);
    return query.run(QStringLiteral("DELETE FROM snapshot WHERE file_id = ?"), {fileId}, err);
}
