#include "FindIndexUpdate.h"

#include "FindGrams.h"
#include "FindIndex.h"
#include "FindPack.h"
#include "FindPostings.h"
#include "FindQueue.h"
#include "rtf/RtfReader.h"
#include "store/DirectRows.h"
#include "store/PragmaScope.h"
#include "store/StoreError.h"
#include "store/StoreQuery.h"
#include "store/StoreTransaction.h"

#include <QLoggingCategory>
#include <QSqlError>
#include <QSqlQuery>
#include <QThread>
#include <QThreadPool>
#include <QVariant>
#include <QVector>
#include <QtConcurrent/QtConcurrentMap>
#include <QtConcurrent/QtConcurrentRun>

#ifdef Q_OS_LINUX
#include <sys/resource.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <cerrno>
#include <deque>
#include <limits>
#include <memory>
#include <optional>
#include <tuple>
#include <utility>

Q_DECLARE_LOGGING_CATEGORY(lcStore)

namespace {

bool fail(const QSqlQuery &query, const QSqlDatabase &db, ErrObject *err)
{
    *err = StoreError::fromSql(query.lastError(), db);
    return false;
}

// A queue this long is a whole index being built (a new or converted store, or a big import).
constexpr qint64 bulkFiles = 1000;
// How much lower the workers' priority is than the writer's: enough that a worker sharing a core
// with the writer gets a tenth of it.
constexpr int workerNice = 10;
// Files indexed per transaction while a whole index is built. A commit writes out the part being
// filled, whose rest is added to its rows after: few commits keep those rows written once.
constexpr qint64 bulkCommitFiles = 100000;

// The threads that make the files' words and lay out their parts while a whole index is built. One
// thread writes all of it into the store; with a worker on every core it would wait its turn for a
// core behind workers that are only making batches further ahead. So these
// workers run at a lower priority and take what the writer leaves, which also leaves the desktop's
// other programs their share of a build that takes a while. A few changed files are made into
// words by the program's common workers, at its own priority: a search waits for them.
Q_GLOBAL_STATIC(QThreadPool, indexWorkers)

// At a thread's first file: only the index's own workers are lowered. A thread that waits for its
// workers takes some of their files itself, and keeps its priority, as do the program's common
// workers when they make a few files' words.
void lowerPriority()
{
#ifdef Q_OS_LINUX
    thread_local bool asked = false;
    if (asked)
        return;
    asked = true;
    if (!indexWorkers->contains(QThread::currentThread()))
        return;
    // Linux gives each thread a nice value of its own.
    if (setpriority(PRIO_PROCESS, id_t(gettid()), workerNice) != 0)
        qCDebug(lcStore) << "search index: workers keep their priority:" << qt_error_string(errno);
#endif
}

// A queued file's fields as text, the RTF made plain; on a worker thread.
void makePlain(FindQueue::File *file)
{
    if (!file->exists)
        return;
    file->desc = QString::fromUtf8(file->descBytes);
    file->src = QString::fromUtf8(file->srcBytes);
    // RTF is ASCII but for characters typed into the store by another program, which are taken as
    // themselves.
    const bool ascii = std::all_of(file->rtfBytes.cbegin(), file->rtfBytes.cend(), [](char c) { return c >= 0; });
    file->body =
        RtfReader::PlainText(ascii ? file->rtfBytes : RtfReader::FromStoredText(QString::fromUtf8(file->rtfBytes)));
    file->descBytes.clear();
    file->srcBytes.clear();
    file->rtfBytes.clear();
}

// The plain text and words of a queued file, and the words it had; on a worker thread.

void makeWords(FindQueue::File *file, const std::shared_ptr<const FindDictionary> &dictionary, bool seams)
{
    makePlain(file);
    if (!file->oldPacked.isEmpty()) {
        FindUnpacker unpacker(dictionary);
        if (unpacker.Unpack(file->oldPacked)) {
            const auto text = [](std::string_view part) {
                return QString::fromUtf8(part.data(), qsizetype(part.size()));
            };
            file->oldKeys = FindGrams::Keys(text(unpacker.Desc()), text(unpacker.Src()), text(unpacker.Body()));
            // The seams it was given then: the common ones only grow, so those left out now were
            // left out then, or given then and left in the index, where they narrow no search.
            if (seams)
                FindGrams::AppendSeams(unpacker.Joined(), dictionary ? dictionary->CommonSeams() : nullptr,
                                       &file->oldKeys);
        } else {
            file->oldUnreadable = true;
        }
        file->oldPacked.clear();
    }
    if (file->exists) {
        file->fields = FindPack::Fields(file->desc, file->src, file->body);
        file->keys = FindGrams::Keys(file->desc, file->src, file->body);
        file->body.clear();
    }
}

// Packs the fields, and adds the seams to the words when the index keeps them: the common seams
// come with the dictionary, which the first big batch may learn only once its words are made.
void pack(FindQueue::File *file, const FindDictionary *dictionary, bool seams)
{
    if (file->exists && file->packed.isEmpty()) {
        file->packed = FindPack::Pack(file->fields, dictionary);
        FindGrams::Joined joined;
        if (seams && FindPack::Split(file->fields, &joined))
            FindGrams::AppendSeams(joined, dictionary ? dictionary->CommonSeams() : nullptr, &file->keys);
    }
    file->fields.clear();
}

// The first big batch of a store without a dictionary teaches it one, kept with the index.
bool learnDictionary(const QSqlDatabase &db, const QVector<FindQueue::File> &files,
                     std::shared_ptr<const FindDictionary> *dictionary, ErrObject *err)
{
    QList<QByteArray> samples;
    for (const FindQueue::File &file : files) {
        if (file.exists)
            samples.append(file.fields);
    }
    const std::shared_ptr<const FindDictionary> learnt = FindDictionary::Learn(samples);
    if (!learnt)
        return true;
    StoreQuery write(db);
    // Kept first: a dictionary whose seams were not kept would index every seam, which is as right.
    if (const FindGrams::Seams *common = learnt->CommonSeams()) {
        for (const quint32 key : common->Keys()) {
            if (!write.run(QStringLiteral("INSERT OR IGNORE INTO find_seam_common (seam) VALUES (?)"), {qint64(key)},
                           err))
                return false;
        }
    }
    if (!write.run(QStringLiteral("INSERT OR IGNORE INTO find_dictionary (dict_id, bytes) VALUES (?, ?)"),
                   {qint64(learnt->Id()), learnt->Bytes()}, err))
        return false;
    *dictionary = learnt;
    return true;
}

// A batch into the index, inside the caller's transaction: the files' old words are taken out
// of the index now, and their packed fields kept; their new words go into the parts being made
// (below), which are written before the transaction ends.
bool writeBatch(const QSqlDatabase &db, const QVector<FindQueue::File> &files, bool hitColumns, bool seams,
                FindPostings::Rows *rows, ErrObject *err)
{
    sqlite3 *handle = SqliteHandle(db);
    if (!handle) {
        *err = StoreError::noConnection();
        return false;
    }
    FindQueue::Statement keep(handle, seams ? "INSERT OR REPLACE INTO find_plain (file_id, fields, game_id, "
                                              "sub_cat, seams) VALUES (?, ?, ?, ?, 1)"
                                      : hitColumns
                                          ? "INSERT OR REPLACE INTO find_plain (file_id, fields, game_id, "
                                            "sub_cat) VALUES (?, ?, ?, ?)"
                                          : "INSERT OR REPLACE INTO find_plain (file_id, fields) VALUES (?, ?)");
    FindQueue::Statement drop(handle, "DELETE FROM find_plain WHERE file_id = ?");
    FindQueue::Statement dequeue(handle, "DELETE FROM find_pending WHERE file_id = ? AND stamp = ?");
    const auto failed = [&](const FindQueue::Statement &statement) {
        *err = StoreError::fromSql(statement.error(), db);
        return false;
    };
    // The old words, a row at a time: each of a file's words is in a row of its own, which the
    // batch's other files of that part may share.
    struct Old
    {
        qint64 part;
        quint64 key;
        quint16 low;
        bool operator<(const Old &other) const
        {
            return std::tie(part, key, low) < std::tie(other.part, other.key, other.low);
        }
    };
    std::vector<Old> old;
    for (const FindQueue::File &file : files) {
        // Words that cannot be taken out again would stay in the index for good: the index is
        // damaged, and Find makes it anew.
        if (file.oldUnreadable) {
            *err = FindIndex::UnreadableText(db, file.id);
            return false;
        }
        for (const quint64 key : file.oldKeys)
            old.push_back({FindPostings::PartOf(file.id), key, FindPostings::LowOf(file.id)});
    }
    std::sort(old.begin(), old.end());
    std::vector<quint16> lows;
    for (auto row = old.cbegin(); row != old.cend();) {
        lows.clear();
        auto end = row;
        for (; end != old.cend() && end->part == row->part && end->key == row->key; ++end)
            lows.push_back(end->low);
        if (!rows->Remove(row->part, row->key, lows)) {
            *err = StoreError::fromSql(rows->Error(), db);
            return false;
        }
        row = end;
    }
    for (const FindQueue::File &file : files) {
        if (file.exists) {
            if (file.packed.isEmpty()) {
                *err = {ErrNumber::OutOfMemory, QStringLiteral("Not enough memory to index file %1.").arg(file.id)};
                return false;
            }
            if (!keep.run(file.id, &file.packed, true, {file.gameId, file.subCat}))
                return failed(keep);
        } else if (!drop.run(file.id)) {
            return failed(drop);
        }
        if (!dequeue.run(file.id, nullptr, false, {file.stamp}))
            return failed(dequeue);
    }
    return true;
}

// The rows of the files written: a part's files' words are gathered while its files come, and laid
// out on a worker once the next part begins, while the writer goes on. Every part is written
// before the transaction that took its files off the queue ends.
class PartsMade final
{
public:
    PartsMade(const QSqlDatabase &db, QThreadPool *workers) : m_db(db), m_workers(workers), m_rows(SqliteHandle(db))
    {}
    ~PartsMade()
    {
        for (auto &[number, rows] : m_made)
            rows.waitForFinished();
    }
    Q_DISABLE_COPY_MOVE(PartsMade)

    FindPostings::Rows *rows() { return &m_rows; }
    void add(QVector<FindQueue::File> *files)
    {
        for (FindQueue::File &file : *files) {
            if (!file.exists || file.keys.empty())
                continue;
            // A part of long texts is laid out in pieces, which its rows take in one after another.
            if (m_part && (m_part->Number() != FindPostings::PartOf(file.id) || m_keys >= keysAtMost))
                layOut();
            if (!m_part)
                m_part.emplace(FindPostings::PartOf(file.id));
            m_keys += file.keys.size();
            m_part->Add(file.id, std::move(file.keys));
        }
    }
    // Writes the parts laid out so far; with `all`, every part, the one being filled too.
    bool write(bool all, ErrObject *err)
    {
        if (all)
            layOut();
        while (!m_made.empty() && (all || m_made.front().second.isFinished())) {
            const qint64 number = m_made.front().first;
            for (const FindPostings::Row &row : m_made.front().second.result()) {
                if (!m_rows.Add(number, row)) {
                    *err = StoreError::fromSql(m_rows.Error(), m_db);
                    return false;
                }
            }
            m_made.pop_front();
        }
        return true;
    }

private:
    void layOut()
    {
        if (m_part && !m_part->IsEmpty())
            m_made.emplace_back(m_part->Number(),
                                QtConcurrent::run(m_workers, [part = std::move(*m_part)]() mutable {
                                    lowerPriority();
                                    return part.Finish();
                                }));
        m_part.reset();
        m_keys = 0;
    }

    // The words a part gathers before it is laid out, 64 MB of them: a part of 4096 short texts has
    // a few million.
    static constexpr size_t keysAtMost = size_t(8) << 20;

    const QSqlDatabase m_db;
    QThreadPool *const m_workers;
    FindPostings::Rows m_rows;
    std::optional<FindPostings::Part> m_part;
    size_t m_keys = 0;
    std::deque<std::pair<qint64, QFuture<std::vector<FindPostings::Row>>>> m_made;
};

// While a whole index is built, commits do not wait for the disk: the index is made from the
// files, so a transaction lost to a power cut is only queued again.
class BulkBuild final
{
public:
    BulkBuild(const QSqlDatabase &db, bool on) : m_on(on)
    {
        if (m_on)
            m_synchronous.emplace(db, QStringLiteral("synchronous"), QStringLiteral("NORMAL"));
    }
    bool on() const { return m_on; }

private:
    bool m_on;
    std::optional<PragmaScope> m_synchronous;
};

} // namespace

bool FindIndexUpdate::Lean(const QSqlDatabase &db, qint64 maxFiles, qint64 *done, ErrObject *err,
                           const FindIndex::Progress &progress)
{
    // Every search comes here first: with nothing queued, the dictionary is not even read.
    qint64 pending = 0;
    if (!FindIndex::Pending(db, &pending, err))
        return false;
    if (pending == 0) {
        if (progress)
            progress(0);
        return true;
    }
    std::shared_ptr<const FindDictionary> dictionary;
    if (!FindIndex::Dictionary(db, &dictionary, err))
        return false;
    if (maxFiles >= 0)
        pending = std::min(pending, maxFiles);
    BulkBuild bulk(db, pending >= bulkFiles);
    QThreadPool *const workers = bulk.on() ? indexWorkers() : QThreadPool::globalInstance();
    const bool hitColumns = FindIndex::HasHitColumns(db);
    const bool seams = FindIndex::HasSeams(db);
    qint64 indexed = 0;
    // The next batch is read and its text made while the one before is written; a whole index
    // reads ahead on a thread of its own.
    FindQueue::Reader reader(
        db, maxFiles, bulk.on(), dictionary,
        [seams, workers](QVector<FindQueue::File> *files, const std::shared_ptr<const FindDictionary> &known) {
            return QtConcurrent::map(workers, *files, [known, seams](FindQueue::File &file) {
                lowerPriority();
                makeWords(&file, known, seams);
                if (known)
                    pack(&file, known.get(), seams);
            });
        });
    // A batch waits for its workers when it goes, whatever ends the work.
    std::unique_ptr<FindQueue::Batch> current, next;
    PartsMade parts(db, workers);
    // Declared after the batches and parts, so that a failed transaction is rolled back first.
    std::optional<StoreTransaction> transaction;
    qint64 uncommitted = 0;
    if (!reader.Next(&current, err))
        return false;
    while (!current->files.isEmpty()) {
        current->made.waitForFinished();
        // A batch read before the store had a dictionary is packed now, with the one it may teach.
        if (!current->packed) {
            if (!dictionary) {
                if (!learnDictionary(db, current->files, &dictionary, err))
                    return false;
                reader.SetDictionary(dictionary);
            }
            const FindDictionary *packing = dictionary.get();
            QtConcurrent::blockingMap(workers, current->files, [packing, seams](FindQueue::File &file) {
                lowerPriority();
                pack(&file, packing, seams);
            });
        }
        const bool stopped = progress && !progress(indexed + uncommitted);
        if (!stopped && !reader.Next(&next, err))
            return false;
        if (!transaction) {
            transaction.emplace(db);
            if (!transaction->begin(err))
                return false;
        }
        if (!writeBatch(db, current->files, hitColumns, seams, parts.rows(), err))
            return false;
        parts.add(&current->files);
        uncommitted += current->files.size();
        const bool commit = stopped || !bulk.on() || uncommitted >= bulkCommitFiles || next->files.isEmpty();
        if (!parts.write(commit, err))
            return false;
        if (commit) {
            const bool committed = transaction->commit(err);
            transaction.reset();
            if (!committed)
                return false;
            indexed += uncommitted;
            uncommitted = 0;
            if (done)
                *done = indexed;
        }
        if (stopped)
            return true;
        // A written batch's thousands of texts are freed on a worker, mostly in the memory they
        // were made in: freeing them here took a tenth of the writer's time.
        workers->start([spent = std::shared_ptr<FindQueue::Batch>(std::move(current))] {});
        current = std::move(next);
    }
    if (progress)
        progress(indexed);
    return true;
}

// A shared library's index holds the plain texts themselves, which PostgreSQL compresses; its
// trigram index is PostgreSQL's.
bool FindIndexUpdate::Shared(const QSqlDatabase &db, qint64 maxFiles, qint64 *done, ErrObject *err,
                             const FindIndex::Progress &progress)
{
    qint64 indexed = 0;
    while (maxFiles != 0) {
        if (progress && !progress(indexed))
            break;
        QVector<FindQueue::File> queued;
        // The server's ids are 32-bit: the smallest of those comes before every one.
        if (!FindQueue::Read(db, std::numeric_limits<qint32>::min(),
                             maxFiles < 0 ? 200 : std::min<qint64>(maxFiles, 200), &queued, err))
            return false;
        if (queued.isEmpty())
            break;
        QtConcurrent::blockingMap(queued, [](FindQueue::File &file) { makePlain(&file); });
        StoreTransaction transaction(db);
        if (!transaction.begin(err))
            return false;
        QSqlQuery remove(db), insert(db), dequeue(db);
        remove.prepare(QStringLiteral("DELETE FROM find_text WHERE file_id = ?"));
        insert.prepare(QStringLiteral("INSERT INTO find_text (file_id, \"desc\", src, body) VALUES (?, ?, ?, ?)"));
        dequeue.prepare(QStringLiteral("DELETE FROM find_pending WHERE file_id = ?"));
        for (const FindQueue::File &file : std::as_const(queued)) {
            remove.addBindValue(file.id);
            if (!remove.exec())
                return fail(remove, db, err);
            // A queued file that is gone (deleted in the meantime) only leaves the queue.
            if (file.exists) {
                insert.addBindValue(file.id);
                insert.addBindValue(file.desc);
                insert.addBindValue(file.src);
                insert.addBindValue(file.body);
                if (!insert.exec())
                    return fail(insert, db, err);
            }
            dequeue.addBindValue(file.id);
            if (!dequeue.exec())
                return fail(dequeue, db, err);
        }
        if (!transaction.commit(err))
            return false;
        indexed += queued.size();
        if (done)
            *done = indexed;
        if (maxFiles > 0)
            maxFiles -= queued.size();
    }
    return true;
}
