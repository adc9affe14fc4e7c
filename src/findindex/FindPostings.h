#pragma once

#include <QByteArray>
#include <QSqlError>
#include <QtGlobal>

#include <functional>
#include <memory>
#include <vector>

struct sqlite3;
namespace FindQueue {
class Statement;
}

// The index's own lists of the files that hold each word, made without FTS5. Files are taken by
// part: those whose ids share all but their lowest 12 bits. A word's files in one part are one row,
// small enough to be read and written again whole when a file changes, and a whole index's rows are
// made part by part on the workers, each part's words counted and laid out in two passes over its
// keys, rather than one at a time on the thread that writes (FTS5 spent half a build's time finding
// each word's list in memory for every file).
namespace FindPostings {

constexpr int partBits = 12;
constexpr qint64 partFiles = qint64(1) << partBits;
// A part's files as a bitmap, a bit a file.
constexpr int bitmapBytes = int(partFiles / 8);

inline qint64 PartOf(qint64 fileId) { return fileId >> partBits; }
inline quint16 LowOf(qint64 fileId) { return quint16(fileId & (partFiles - 1)); }

// A word's files in one part, as kept: given by their lows in increasing order, each once. A few
// are kept as the distances between their lows, a byte or two each; more, as the part's bitmap.
// The size tells which: the distances are kept only while they take fewer bytes than a bitmap.
QByteArray Encode(const quint16 *lows, size_t count);
// The lows of a kept list, in increasing order, appended to `lows`; false when the bytes are none.
bool Decode(const char *data, size_t size, std::vector<quint16> *lows);

struct Row
{
    quint64 key = 0;
    QByteArray ids;
};

// One part's rows, made from its files' words. Files are added in increasing order of id (the
// writer's thread only keeps their words); Finish lays them out, on a worker.
class Part final
{
public:
    explicit Part(qint64 part) : m_part(part) {}
    qint64 Number() const { return m_part; }
    bool IsEmpty() const { return m_files.empty(); }

    // A file of this part and its words, each once.
    void Add(qint64 fileId, std::vector<quint64> keys);
    // The part's rows, in the order the store keeps them; the words are let go.
    std::vector<Row> Finish();

private:
    struct File
    {
        quint16 low;
        std::vector<quint64> keys;
    };
    qint64 m_part;
    std::vector<File> m_files;
};

// A store's rows (the table find_word), read and written on its raw connection; writes go into
// the caller's transaction.
class Rows final
{
public:
    explicit Rows(sqlite3 *db);
    ~Rows();
    Rows(const Rows &) = delete;
    Rows &operator=(const Rows &) = delete;

    // Appends the lows of `key` in `part` to `lows`; `found` tells whether the part has the word.
    bool Read(qint64 part, quint64 key, std::vector<quint16> *lows, bool *found);
    // Adds a row's files to the row of its word in `part`, which is made when there is none.
    bool Add(qint64 part, const Row &row);
    // Takes files (`lows`, in increasing order) out of the row of `key` in `part`; a row left
    // without files goes.
    bool Remove(qint64 part, quint64 key, const std::vector<quint16> &lows);
    // The parts that have rows, in increasing order: ids set by hand may leave gaps of any size.
    bool Parts(std::vector<qint64> *parts);
    // Why the last call failed: a row whose bytes are no list (the index is damaged), or the store.
    QSqlError Error() const;

private:
    sqlite3 *m_db;
    std::unique_ptr<FindQueue::Statement> m_read, m_insert, m_update, m_delete, m_nextPart;
    std::vector<quint16> m_lows, m_merged;
    bool m_damaged = false;
};

// The files of `parts` that hold every one of `keys` (one at least), in increasing order of id,
// given to `take` until it returns false. Each part's rows are read in the order of the keys, so
// the rarest first: a part without it is left after one look.
bool ForEachFile(Rows *rows, const std::vector<quint64> &keys, const std::vector<qint64> &parts,
                 const std::function<bool(qint64 id)> &take);

// About how many files hold `key`: counted in up to sixteen of `parts` spread over the store, and
// taken for the whole.
bool Estimate(Rows *rows, quint64 key, const std::vector<qint64> &parts, double *files);

} // namespace FindPostings
