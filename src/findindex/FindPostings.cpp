#include "FindPostings.h"

#include "FindQueue.h"

#include <QtEndian>

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <numeric>

namespace {

// A part's words, each numbered in the order met. Keys are looked up by hash in a table twice as
// big as their number, which for a part of short texts stays within the processor's cache. No key
// is all ones, which marks a free slot.
class Numbering final
{
public:
    Numbering() : m_slots(size_t(1) << m_bits, Slot{freeKey, 0}) {}

    quint32 numberOf(quint64 key)
    {
        size_t slot = slotOf(key);
        if (m_slots[slot].key == key)
            return m_slots[slot].number;
        const auto number = quint32(m_keys.size());
        m_slots[slot] = {key, number};
        m_keys.push_back(key);
        if (2 * m_keys.size() >= m_slots.size())
            grow();
        return number;
    }
    const std::vector<quint64> &keys() const { return m_keys; }

private:
    static constexpr quint64 freeKey = ~quint64(0);
    struct Slot
    {
        quint64 key;
        quint32 number;
    };

    size_t slotOf(quint64 key) const
    {
        size_t slot = size_t((key * 0x9E3779B97F4A7C15ull) >> (64 - m_bits));
        while (m_slots[slot].key != freeKey && m_slots[slot].key != key)
            slot = (slot + 1) & (m_slots.size() - 1);
        return slot;
    }
    void grow()
    {
        ++m_bits;
        m_slots.assign(size_t(1) << m_bits, Slot{freeKey, 0});
        for (quint32 number = 0; number < m_keys.size(); ++number)
            m_slots[slotOf(m_keys[number])] = {m_keys[number], number};
    }

    int m_bits = 14;
    std::vector<Slot> m_slots;
    std::vector<quint64> m_keys;
};

// A key as the store keeps it: three characters of one byte each (most words of most texts) in
// three bytes, where the whole key would take eight; any other key after all of those.
qint64 storedKey(quint64 key)
{
    constexpr quint64 byteCodes = (quint64(0x1FFF00) << 42) | (quint64(0x1FFF00) << 21) | 0x1FFF00;
    if ((key & byteCodes) == 0)
        return qint64((key >> 42) << 16 | ((key >> 21) & 0xFF) << 8 | (key & 0xFF));
    return qint64(key + (quint64(1) << 24));
}

} // namespace

QByteArray FindPostings::Encode(const quint16 *lows, size_t count)
{
    // Each low as its distance from the one before (from -1 for the first), seven bits a byte, the
    // high bit set on all bytes but a number's last: a word in a file in a hundred or more of the
    // part takes a byte a file, and no list takes two bytes a file.
    QByteArray list;
    list.reserve(qsizetype(std::min<size_t>(2 * count, bitmapBytes)));
    int before = -1;
    for (size_t i = 0; i < count && list.size() < bitmapBytes; ++i) {
        unsigned distance = unsigned(lows[i] - before);
        before = lows[i];
        for (; distance >= 0x80; distance >>= 7)
            list.append(char(0x80 | (distance & 0x7F)));
        list.append(char(distance));
    }
    if (list.size() < bitmapBytes)
        return list;
    QByteArray bitmap(bitmapBytes, '\0');
    for (size_t i = 0; i < count; ++i)
        bitmap[lows[i] >> 3] = char(quint8(bitmap[lows[i] >> 3]) | (1u << (lows[i] & 7)));
    return bitmap;
}

bool FindPostings::Decode(const char *data, size_t size, std::vector<quint16> *lows)
{
    if (size == size_t(bitmapBytes)) {
        for (int byte = 0; byte < bitmapBytes; ++byte) {
            for (unsigned bits = quint8(data[byte]); bits != 0; bits &= bits - 1)
                lows->push_back(quint16(8 * byte + __builtin_ctz(bits)));
        }
        return true;
    }
    if (size > size_t(bitmapBytes))
        return false;
    const size_t first = lows->size();
    int low = -1;
    for (size_t i = 0; i < size;) {
        unsigned distance = 0;
        int shift = 0;
        bool more = true;
        while (more && i < size && shift < 14) {
            const auto byte = quint8(data[i++]);
            distance |= unsigned(byte & 0x7F) << shift;
            shift += 7;
            more = (byte & 0x80) != 0;
        }
        low += int(distance);
        if (more || distance == 0 || low >= partFiles) {
            lows->resize(first);
            return false;
        }
        lows->push_back(quint16(low));
    }
    return true;
}

void FindPostings::Part::Add(qint64 fileId, std::vector<quint64> keys)
{
    m_files.push_back({LowOf(fileId), std::move(keys)});
}

std::vector<FindPostings::Row> FindPostings::Part::Finish()
{
    // Each word of each file numbered, and counted: the first pass over the keys.
    size_t total = 0;
    for (const File &file : m_files)
        total += file.keys.size();
    Numbering numbering;
    std::vector<quint32> numbers(total);
    std::vector<quint32> counts;
    size_t at = 0;
    for (const File &file : m_files) {
        for (const quint64 key : file.keys) {
            const quint32 number = numbering.numberOf(key);
            if (number == counts.size())
                counts.push_back(0);
            ++counts[number];
            numbers[at++] = number;
        }
    }
    // Each word's place among the lows, the words in order of key; the second pass puts every
    // file's low in its words' places, in the files' order, so each word's lows come out sorted.
    const std::vector<quint64> &keys = numbering.keys();
    std::vector<quint32> order(keys.size());
    std::iota(order.begin(), order.end(), 0);
    // In the order the store keeps them, so that a part's rows go into its table in order.
    std::sort(order.begin(), order.end(),
              [&keys](quint32 a, quint32 b) { return storedKey(keys[a]) < storedKey(keys[b]); });
    std::vector<quint32> starts(keys.size());
    quint32 start = 0;
    for (const quint32 number : order) {
        starts[number] = start;
        start += counts[number];
    }
    std::vector<quint16> lows(total);
    std::vector<quint32> next = starts;
    at = 0;
    for (const File &file : m_files) {
        for (size_t i = 0; i < file.keys.size(); ++i)
            lows[next[numbers[at++]]++] = file.low;
    }
    m_files = {};
    std::vector<Row> rows;
    rows.reserve(keys.size());
    for (const quint32 number : order)
        rows.push_back({keys[number], Encode(lows.data() + starts[number], counts[number])});
    return rows;
}

FindPostings::Rows::Rows(sqlite3 *db)
    : m_db(db),
      m_read(std::make_unique<FindQueue::Statement>(db, "SELECT ids FROM find_word WHERE part = ? AND key = ?")),
      m_insert(std::make_unique<FindQueue::Statement>(
          db, "INSERT INTO find_word (part, ids, key) VALUES (?1, ?2, ?3) ON CONFLICT (part, key) DO NOTHING")),
      m_update(std::make_unique<FindQueue::Statement>(db,
                                                      "UPDATE find_word SET ids = ?2 WHERE part = ?1 AND key = ?3")),
      m_delete(std::make_unique<FindQueue::Statement>(db, "DELETE FROM find_word WHERE part = ?1 AND key = ?2")),
      m_nextPart(std::make_unique<FindQueue::Statement>(
          db, "SELECT part FROM find_word WHERE part > ? AND part <= ? ORDER BY part LIMIT 1"))
{}

FindPostings::Rows::~Rows() = default;

QSqlError FindPostings::Rows::Error() const
{
    if (m_damaged)
        return QSqlError(QString(), QStringLiteral("a list of files in the search index cannot be read"),
                         QSqlError::StatementError, QString::number(SQLITE_CORRUPT));
    return m_read->error();
}

bool FindPostings::Rows::Read(qint64 part, quint64 key, std::vector<quint16> *lows, bool *found)
{
    *found = false;
    bool decoded = true;
    if (!m_read->forEachRow(part, storedKey(key), [&](sqlite3_stmt *row) {
            *found = true;
            decoded = Decode(static_cast<const char *>(sqlite3_column_blob(row, 0)),
                             size_t(sqlite3_column_bytes(row, 0)), lows);
            return false;
        }))
        return false;
    m_damaged = !decoded;
    return decoded;
}

bool FindPostings::Rows::Add(qint64 part, const Row &row)
{
    if (!m_insert->run(part, &row.ids, true, {storedKey(row.key)}))
        return false;
    if (sqlite3_changes(m_db) != 0)
        return true;
    // The word has a row in this part already: the files come together, each once, in order.
    m_lows.clear();
    bool found = false;
    if (!Read(part, row.key, &m_lows, &found))
        return false;
    const size_t kept = m_lows.size();
    if (!Decode(row.ids.constData(), size_t(row.ids.size()), &m_lows)) {
        m_damaged = true;
        return false;
    }
    m_merged.clear();
    std::set_union(m_lows.begin(), m_lows.begin() + qptrdiff(kept), m_lows.begin() + qptrdiff(kept), m_lows.end(),
                   std::back_inserter(m_merged));
    const QByteArray ids = Encode(m_merged.data(), m_merged.size());
    return m_update->run(part, &ids, true, {storedKey(row.key)});
}

bool FindPostings::Rows::Remove(qint64 part, quint64 key, const std::vector<quint16> &lows)
{
    m_lows.clear();
    bool found = false;
    if (!Read(part, key, &m_lows, &found))
        return false;
    if (!found)
        return true;
    m_merged.clear();
    std::set_difference(m_lows.begin(), m_lows.end(), lows.begin(), lows.end(), std::back_inserter(m_merged));
    if (m_merged.size() == m_lows.size())
        return true;
    if (m_merged.empty())
        return m_delete->run(part, nullptr, false, {storedKey(key)});
    const QByteArray ids = Encode(m_merged.data(), m_merged.size());
    return m_update->run(part, &ids, true, {storedKey(key)});
}

bool FindPostings::Rows::Parts(std::vector<qint64> *parts)
{
    parts->clear();
    // Below every part, which is an id without its low bits.
    qint64 after = std::numeric_limits<qint64>::min();
    for (bool found = true; found;) {
        found = false;
        if (!m_nextPart->forEachRow(after, std::numeric_limits<qint64>::max(), [&](sqlite3_stmt *row) {
                after = sqlite3_column_int64(row, 0);
                found = true;
                return false;
            }))
            return false;
        if (found)
            parts->push_back(after);
    }
    return true;
}

bool FindPostings::ForEachFile(Rows *rows, const std::vector<quint64> &keys, const std::vector<qint64> &parts,
                               const std::function<bool(qint64 id)> &take)
{
    std::vector<quint16> files, next, both;
    for (const qint64 part : parts) {
        files.clear();
        bool found = true;
        for (size_t i = 0; i < keys.size() && found; ++i) {
            std::vector<quint16> *into = i == 0 ? &files : &next;
            into->clear();
            if (!rows->Read(part, keys[i], into, &found))
                return false;
            if (i > 0 && found) {
                both.clear();
                std::set_intersection(files.begin(), files.end(), next.begin(), next.end(),
                                      std::back_inserter(both));
                files.swap(both);
                found = !files.empty();
            }
        }
        if (!found)
            continue;
        for (const quint16 low : files) {
            if (!take(part * partFiles + low))
                return true;
        }
    }
    return true;
}

bool FindPostings::Estimate(Rows *rows, quint64 key, const std::vector<qint64> &parts, double *files)
{
    constexpr size_t sampled = 16;
    const size_t reading = std::min(parts.size(), sampled);
    qint64 counted = 0;
    std::vector<quint16> lows;
    for (size_t i = 0; i < reading; ++i) {
        lows.clear();
        bool found = false;
        if (!rows->Read(parts[i * parts.size() / reading], key, &lows, &found))
            return false;
        counted += qint64(lows.size());
    }
    *files = reading == 0 ? 0 : double(counted) * double(parts.size()) / double(reading);
    return true;
}
