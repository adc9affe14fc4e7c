#include "FindIndexUpdate.h"

#include "FindGrams.h"
#include "FindIndex.h"
#include "FindPack.h"
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

#ifdef Q_OS_LINUX
#include <sys/resource.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <cerrno>
#include <limits>
#include <memory>
#include <optional>
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
// Files indexed per transaction while a whole index is built. FTS5 writes its words out as a new
// segment at each commit, and a search reads every segment: a million files leave ten, which
// search as fast as one, where a commit a batch would leave 125 to be merged at the end, a
// quarter of the whole build. The words pending meanwhile stay within the FTS table's hashsize.
constexpr qint64 bulkCommitFiles = 100000;

// The threads that make the files' words while a whole index is built. One thread writes every
// file's words into the index and sets the pace of the build; with a worker on every core it would
// wait its turn for a core behind workers that are only making batches further ahead. So these
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
            file->oldGrams = FindGrams::Document(text(unpacker.Desc()), text(unpacker.Src()), text(unpacker.Body()));
            // The seams it was given then: the common ones only grow, so those left out now were
            // left out then, or given then and left in the index, where they narrow no search.
            if (seams)
                FindGrams::AppendSeams(unpacker.Joined(), dictionary ? dictionary->CommonSeams() : nullptr,
                                       &file->oldGrams);
        } else {
            file->oldUnreadable = true;
        }
        file->oldPacked.clear();
    }
    if (file->exists) {
        file->fields = FindPack::Fields(file->desc, file->src, file->body);
        file->grams = FindGrams::Document(file->desc, file->src, file->body);
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
            FindGrams::AppendSeams(joined, dictionary ? dictionary->CommonSeams() : nullptr, &file->grams);
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

// A batch into the index, inside the caller's transaction.
bool writeBatch(const QSqlDatabase &db, const QVector<FindQueue::File> &files, bool hitColumns, bool seams,
                ErrObject *err)
{
    sqlite3 *handle = SqliteHandle(db);
    if (!handle) {
        *err = StoreError::noConnection();
        return false;
    }
    FindQueue::Statement remove(handle, "INSERT INTO find_text (find_text, rowid, grams) VALUES ('delete', ?, ?)");
    FindQueue::Statement insert(handle, "INSERT INTO find_text (rowid, grams) VALUES (?, ?)");
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
    for (const FindQueue::File &file : files) {
        // Words that cannot be taken out again would stay in the index for good: the index is
        // damaged, and Find makes it anew.
        if (file.oldUnreadable) {
            *err = FindIndex::UnreadableText(db, file.id);
            return false;
        }
        if (!file.oldGrams.isNull() && !remove.run(file.id, &file.oldGrams))
            return failed(remove);
        if (file.exists) {
            if (file.packed.isEmpty()) {
                *err = {ErrNumber::OutOfMemory, QStringLiteral("Not enough memory to index file %1.").arg(file.id)};
                return false;
            }
            if (!insert.run(file.id, &file.grams))
                return failed(insert);
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

// While a whole index is built, the FTS table does not merge its segments as they come (which
// rewrites most of it again and again), and keeps a whole transaction's words in memory (64 MB
// rather than 1 MB) so that it writes one segment a transaction, not dozens of small ones to merge
// later; and commits do not wait for the disk: the index is made from the files, so a transaction
// lost to a power cut is only queued again.
class BulkBuild final
{
public:
    BulkBuild(const QSqlDatabase &db, bool on) : m_query(db), m_on(on)
    {
        if (!m_on)
            return;
        m_synchronous.emplace(db, QStringLiteral("synchronous"), QStringLiteral("NORMAL"));
        run(QStringLiteral("INSERT INTO find_text (find_text, rank) VALUES ('automerge', 0)"));
        run(QStringLiteral("INSERT INTO find_text (find_text, rank) VALUES ('crisismerge', 2000)"));
        run(QStringLiteral("INSERT INTO find_text (find_text, rank) VALUES ('hashsize', 67108864)"));
    }
    ~BulkBuild()
    {
        if (!m_on)
            return;
        // FTS5's own defaults: a few changed files are merged in as they come.
        run(QStringLiteral("INSERT INTO find_text (find_text, rank) VALUES ('automerge', 4)"));
        run(QStringLiteral("INSERT INTO find_text (find_text, rank) VALUES ('crisismerge', 16)"));
        run(QStringLiteral("INSERT INTO find_text (find_text, rank) VALUES ('hashsize', 1048576)"));
    }
    // FTS5 merges a level of 16 segments or more at the next write, however small: a store of
    // millions of files has its levels merged now, while the build shows its progress, rather than
    // at the user's next save. A smaller one has nothing to merge, and this costs nothing.
    void finish()
    {
        if (!m_on)
            return;
        run(QStringLiteral("INSERT INTO find_text (find_text, rank) VALUES ('usermerge', 16)"));
        // A merge that did any work changed more rows than the one its own statement inserts.
        for (qint64 before = totalChanges();;) {
            if (!run(QStringLiteral("INSERT INTO find_text (find_text, rank) VALUES ('merge', 100000)")))
                break;
            const qint64 after = totalChanges();
            if (after - before < 2)
                break;
            before = after;
        }
        run(QStringLiteral("INSERT INTO find_text (find_text, rank) VALUES ('usermerge', 4)"));
    }
    bool on() const { return m_on; }

private:
    bool run(const QString &statement)
    {
        // Each only makes the build faster: one that fails leaves it as right, only slower.
        if (m_query.exec(statement))
            return true;
        qCInfo(lcStore) << "search index build:" << statement << m_query.lastError().text();
        return false;
    }
    qint64 totalChanges()
    {
        return m_query.exec(QStringLiteral("SELECT total_changes()")) && m_query.next() ? m_query.value(0).toLongLong()
                                                                                        : -1;
    }

    QSqlQuery m_query;
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
    // Declared after the batches, so that a failed transaction is rolled back first.
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
        if (!writeBatch(db, current->files, hitColumns, seams, err))
            return false;
        uncommitted += current->files.size();
        if (stopped || !bulk.on() || uncommitted >= bulkCommitFiles || next->files.isEmpty()) {
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
    bulk.finish();
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
