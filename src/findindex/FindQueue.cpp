#include "FindQueue.h"

#include "store/DirectRows.h"
#include "store/StoreAddress.h"
#include "store/StoreError.h"
#include "store/StoreQuery.h"
#include "store/WorkerConnection.h"

#include <QLoggingCategory>
#include <QSqlQuery>
#include <QVariant>

#include <sqlite3.h>

#include <limits>
#include <utility>

Q_DECLARE_LOGGING_CATEGORY(lcStore)

namespace {

// Files read and made into words at a time: enough that a batch costs little to hand over, few
// enough that a progress dialog moves every second or so.
constexpr qint64 batchFiles = 8000;
// And the stored text a batch holds at once, in bytes: a few files of tens of megabytes each would
// otherwise all be in memory together, stored and plain, twice over while the next batch is made.
constexpr qint64 batchBytes = 16 * 1024 * 1024;

// A column's bytes as they are kept (a store file keeps text in UTF-8).
QByteArray columnBytes(sqlite3_stmt *statement, int column)
{
    const auto *bytes = static_cast<const char *>(sqlite3_column_blob(statement, column));
    return QByteArray(bytes, sqlite3_column_bytes(statement, column));
}

// Whether the store is a file that another connection reads while this one writes.
bool readableWhileWritten(const QSqlDatabase &db)
{
    if (StoreAddress::IsShared(db) || StoreAddress::Name(db).isEmpty())
        return false;
    QSqlQuery mode(db);
    return mode.exec(QStringLiteral("PRAGMA journal_mode")) && mode.next() &&
           mode.value(0).toString().compare(QLatin1String("wal"), Qt::CaseInsensitive) == 0;
}

} // namespace

namespace FindQueue {

Statement::Statement(sqlite3 *db, const char *sql) : m_db(db)
{
    m_ok = sqlite3_prepare_v2(db, sql, -1, &m_statement, nullptr) == SQLITE_OK;
}

Statement::~Statement()
{
    sqlite3_finalize(m_statement);
}

bool Statement::run(qint64 id, const QByteArray *bytes, bool blob, std::initializer_list<qint64> more)
{
    if (!m_ok)
        return false;
    int at = bytes ? 3 : 2;
    sqlite3_bind_int64(m_statement, 1, id);
    if (bytes && !blob && bytes->isNull()) {
        sqlite3_bind_null(m_statement, 2);
        bytes = nullptr;
    }
    if (bytes) {
        if (blob)
            sqlite3_bind_blob(m_statement, 2, bytes->constData(), int(bytes->size()), SQLITE_STATIC);
        else
            sqlite3_bind_text(m_statement, 2, bytes->constData(), int(bytes->size()), SQLITE_STATIC);
    }
    for (const qint64 value : more)
        sqlite3_bind_int64(m_statement, at++, value);
    const int code = sqlite3_step(m_statement);
    sqlite3_reset(m_statement);
    sqlite3_clear_bindings(m_statement);
    return code == SQLITE_DONE;
}

bool Statement::forEachRow(qint64 first, qint64 second, const std::function<bool(sqlite3_stmt *)> &row)
{
    if (!m_ok)
        return false;
    sqlite3_bind_int64(m_statement, 1, first);
    sqlite3_bind_int64(m_statement, 2, second);
    int code = SQLITE_ROW;
    while ((code = sqlite3_step(m_statement)) == SQLITE_ROW && row(m_statement)) {
    }
    sqlite3_reset(m_statement);
    return code == SQLITE_ROW || code == SQLITE_DONE;
}

QSqlError Statement::error() const
{
    return QSqlError(QString(), QString::fromUtf8(sqlite3_errmsg(m_db)), QSqlError::StatementError,
                     QString::number(sqlite3_extended_errcode(m_db)));
}

bool Read(const QSqlDatabase &db, qint64 afterId, qint64 limit, QVector<File> *files, ErrObject *err)
{
    qint64 bytes = 0;
    const auto add = [&](File &&file) {
        bytes += file.rtfBytes.size() + file.oldPacked.size();
        files->append(std::move(file));
        return bytes < batchBytes;
    };
    if (StoreAddress::IsShared(db)) {
        // A shared library's index has no packed fields: it is rewritten row by row.
        StoreQuery read(db);
        return read.run(QStringLiteral("SELECT p.file_id, f.auto_id, f.\"desc\", f.src, f.txt_rtf FROM find_pending p "
                                       "LEFT JOIN file f ON f.auto_id = p.file_id WHERE p.file_id > ? ORDER BY "
                                       "p.file_id LIMIT ?"),
                        {afterId, limit}, err) &&
               read.forEachRowWhile(
                   [&] {
                       File file;
                       file.id = read.value(0).toLongLong();
                       file.exists = !read.value(1).isNull();
                       file.descBytes = read.text(2).toUtf8();
                       file.srcBytes = read.text(3).toUtf8();
                       file.rtfBytes = read.text(4).toUtf8();
                       return add(std::move(file));
                   },
                   err);
    }
    sqlite3 *handle = SqliteHandle(db);
    if (!handle) {
        *err = StoreError::noConnection();
        return false;
    }
    Statement read(handle, "SELECT p.file_id, f.auto_id, f.\"desc\", f.src, f.txt_rtf, i.fields, f.game_id, f.sub_cat, "
                           "p.stamp FROM find_pending p "
                           "LEFT JOIN file f ON f.auto_id = p.file_id LEFT JOIN find_plain i ON i.file_id = "
                           "p.file_id WHERE p.file_id > ? ORDER BY p.file_id LIMIT ?");
    const bool ok = read.forEachRow(afterId, limit, [&](sqlite3_stmt *row) {
        File file;
        file.id = sqlite3_column_int64(row, 0);
        file.exists = sqlite3_column_type(row, 1) != SQLITE_NULL;
        file.descBytes = columnBytes(row, 2);
        file.srcBytes = columnBytes(row, 3);
        file.rtfBytes = columnBytes(row, 4);
        file.oldPacked = columnBytes(row, 5);
        file.gameId = sqlite3_column_int64(row, 6);
        file.subCat = sqlite3_column_int64(row, 7);
        file.stamp = sqlite3_column_int64(row, 8);
        return add(std::move(file));
    });
    if (!ok)
        *err = StoreError::fromSql(read.error(), db);
    return ok;
}

Reader::Reader(const QSqlDatabase &db, qint64 maxFiles, bool ahead, std::shared_ptr<const FindDictionary> dictionary,
               Make make)
    : m_db(db),
      m_lastId(std::numeric_limits<qint64>::min()),
      m_left(maxFiles),
      m_make(std::move(make)),
      m_dictionary(std::move(dictionary))
{
    if (ahead && readableWhileWritten(db)) {
        m_onCaller = false;
        m_thread = std::thread(&Reader::readAhead, this, StoreAddress::Name(db));
    }
}

Reader::~Reader()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_changed.notify_all();
    if (m_thread.joinable())
        m_thread.join();
}

bool Reader::Next(std::unique_ptr<Batch> *batch, ErrObject *err)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_ready || m_ended || m_onCaller; });
    if (m_ready) {
        *batch = std::move(m_ready);
        lock.unlock();
        m_changed.notify_all();
        return true;
    }
    if (m_ended) {
        if (m_failure.isError()) {
            *err = m_failure;
            return false;
        }
        *batch = std::make_unique<Batch>();
        return true;
    }
    lock.unlock();
    return readOne(m_db, batch, err);
}

void Reader::SetDictionary(std::shared_ptr<const FindDictionary> dictionary)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_dictionary = std::move(dictionary);
}

bool Reader::readOne(const QSqlDatabase &db, std::unique_ptr<Batch> *batch, ErrObject *err)
{
    auto read = std::make_unique<Batch>();
    if (m_left != 0) {
        if (!Read(db, m_lastId, m_left < 0 ? batchFiles : std::min(m_left, batchFiles), &read->files, err))
            return false;
        if (!read->files.isEmpty()) {
            m_lastId = read->files.constLast().id;
            if (m_left > 0)
                m_left -= read->files.size();
            std::shared_ptr<const FindDictionary> dictionary;
            {
                const std::lock_guard<std::mutex> lock(m_mutex);
                dictionary = m_dictionary;
            }
            read->packed = dictionary != nullptr;
            read->made = m_make(&read->files, dictionary);
        }
    }
    *batch = std::move(read);
    return true;
}

void Reader::readAhead(const QString &store)
{
    const WorkerConnection connection(store, WorkerConnection::Access::Read);
    ErrObject err;
    if (!connection.Open(&err)) {
        qCInfo(lcStore) << "search index: files read on the writing thread, since" << err.Description;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_onCaller = true;
        }
        m_changed.notify_all();
        return;
    }
    for (;;) {
        // Declared before the lock, so that a batch no one takes waits for its workers unlocked.
        std::unique_ptr<Batch> batch;
        const bool read = readOne(connection.Connection(), &batch, &err);
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return !m_ready || m_stop; });
        if (m_stop)
            return;
        const bool end = !read || batch->files.isEmpty();
        if (read)
            m_ready = std::move(batch);
        else
            m_failure = err;
        m_ended = end;
        lock.unlock();
        m_changed.notify_all();
        if (end)
            return;
    }
}

} // namespace FindQueue
