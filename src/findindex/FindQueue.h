#pragma once

#include "system/ErrObject.h"

#include <QByteArray>
#include <QFuture>
#include <QSqlDatabase>
#include <QSqlError>
#include <QString>
#include <QVector>

#include <condition_variable>
#include <functional>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

class FindDictionary;
struct sqlite3;
struct sqlite3_stmt;

// The files queued for the search index, read from the store batch after batch for
// FindIndexUpdate, and what is made of each on the workers.
namespace FindQueue {

// A queued file: what the store holds of it, then what is made of that on a worker thread.
struct File
{
    qint64 id = 0;
    bool exists = false;
    // Kept beside the packed fields of a store file's index.
    qint64 gameId = 0;
    qint64 subCat = 0;
    // The stamp a store file's queue had for it when it was read: a file changed since has
    // another, and stays queued.
    qint64 stamp = 0;
    // As the store keeps them, in UTF-8: made text on a worker thread, not on the one that reads.
    QByteArray descBytes;
    QByteArray srcBytes;
    QByteArray rtfBytes;
    // The fields it was indexed with before, packed: their words are taken out of the index.
    QByteArray oldPacked;

    QString desc;
    QString src;
    // The plain text, kept only for a shared library's index.
    QString body;
    QByteArray fields;
    QByteArray packed;
    // Its words and those it had (FindGrams), each once.
    std::vector<quint64> keys;
    std::vector<quint64> oldKeys;
    bool oldUnreadable = false;
};

// Files read together, and the workers making their words; it outlives none of the workers.
struct Batch
{
    Batch() = default;
    ~Batch() { made.waitForFinished(); }
    Batch(const Batch &) = delete;
    Batch &operator=(const Batch &) = delete;

    QVector<File> files;
    QFuture<void> made;
    // Whether the workers packed the fields too: a store without a dictionary yet has none to
    // pack them with.
    bool packed = false;
};

// One statement on the raw SQLite connection: a batch writes three rows per file, and Qt's
// statement layer would cost more than SQLite itself.
class Statement final
{
public:
    Statement(sqlite3 *db, const char *sql);
    ~Statement();
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;

    // Runs the statement with `id` and, when given, `bytes` as its values (the bytes as text or
    // as a blob), then `more`; false with SQLite's code and message for the store's error.
    bool run(qint64 id, const QByteArray *bytes = nullptr, bool blob = false, std::initializer_list<qint64> more = {});
    // Runs a query with `first` and `second` as its values, calling `row` for each row until it
    // returns false.
    bool forEachRow(qint64 first, qint64 second, const std::function<bool(sqlite3_stmt *)> &row);
    QSqlError error() const;

private:
    sqlite3 *m_db;
    sqlite3_stmt *m_statement = nullptr;
    bool m_ok = false;
};

// The next queued files after `afterId`, at least one however big, up to `limit` and a bounded
// amount of text.
bool Read(const QSqlDatabase &db, qint64 afterId, qint64 limit, QVector<File> *files, ErrObject *err);

// The queued files in order of id, a batch at a time, each handed to the workers as soon as it is
// read. Reading ahead, the next batch is read on a thread and connection of the reader's own while
// the caller writes the last one: a whole index is written on one thread, which has no time to
// spare. That needs a store file in write-ahead logging, whose readers do not wait for its writer;
// any other store is read on the caller's thread when it asks.
class Reader final
{
public:
    // Starts the workers on a batch just read, packing with `dictionary` when there is one.
    using Make =
        std::function<QFuture<void>(QVector<File> *files, const std::shared_ptr<const FindDictionary> &dictionary)>;

    Reader(const QSqlDatabase &db, qint64 maxFiles, bool ahead, std::shared_ptr<const FindDictionary> dictionary,
           Make make);
    ~Reader();
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

    // The next batch, its workers started; one without files when every queued file was read.
    bool Next(std::unique_ptr<Batch> *batch, ErrObject *err);
    // The dictionary that the batches read from now on are packed with.
    void SetDictionary(std::shared_ptr<const FindDictionary> dictionary);

private:
    bool readOne(const QSqlDatabase &db, std::unique_ptr<Batch> *batch, ErrObject *err);
    void readAhead(const QString &store);

    QSqlDatabase m_db;
    qint64 m_lastId;
    qint64 m_left;
    Make m_make;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::shared_ptr<const FindDictionary> m_dictionary;
    std::unique_ptr<Batch> m_ready;
    bool m_stop = false;
    bool m_ended = false;
    // Batches are read on the caller's thread, when it asks: no reading ahead was wanted or
    // possible, or the reader's own connection could not be opened.
    bool m_onCaller = true;
    ErrObject m_failure;
    std::thread m_thread;
};

} // namespace FindQueue
