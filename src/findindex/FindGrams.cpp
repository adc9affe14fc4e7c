#include "FindGrams.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

constexpr char32_t blank = U' ';
// Code points take 21 bits: three of them make one 63-bit key.
constexpr int codeBits = 21;

// The character of `text` at `*i` as a code point, `*i` moved to its last unit. A lone surrogate
// counts as "?", as it does in the UTF-8 the index's texts are kept and checked in. Inlined: every
// character of every file passes through here.
Q_ALWAYS_INLINE char32_t codeAt(QStringView text, qsizetype *i)
{
    const char16_t unit = text[*i].unicode();
    if (Q_LIKELY(!QChar::isSurrogate(unit)))
        return unit;
    if (QChar::isHighSurrogate(unit) && *i + 1 < text.size() && QChar::isLowSurrogate(text[*i + 1].unicode()))
        return QChar::surrogateToUcs4(unit, text[++*i].unicode());
    return U'?';
}

// The characters of `text` as code points.
void appendCodes(QStringView text, std::vector<char32_t> *codes)
{
    for (qsizetype i = 0; i < text.size(); ++i)
        codes->push_back(codeAt(text, &i));
}

// Every three characters in a row of `text` without a blank, as keys, each with the character it
// starts at; the characters read as appendCodes reads them. A file's words and a phrase's come from
// here alike, and each file's every character passes through: the key is rolled along rather than
// made anew at each character.
template <typename Take> void forEachKey(QStringView text, Take &&take)
{
    constexpr quint64 keyMask = (quint64(1) << (3 * codeBits)) - 1;
    quint64 key = 0;
    // The characters read, and those since the last blank or the start.
    int character = 0;
    int run = 0;
    for (qsizetype i = 0; i < text.size(); ++i, ++character) {
        const char32_t code = codeAt(text, &i);
        key = ((key << codeBits) | code) & keyMask;
        run = code == blank ? 0 : run + 1;
        if (run >= 3)
            take(key, character - 2);
    }
}

// Tables of keys looked up by hash, each key once. A key goes to the slot named by the top bits of
// its product with a large odd number, which every bit of the key reaches (keys differing only in
// their first character would share the lower ones, and one slot, and long runs), or to the next
// free one after it. A free slot holds all ones, which no key is.
template <typename Key> constexpr Key freeSlot = ~Key(0);

// The bits of a table with room for `count` keys, half of it free.
int tableBits(size_t count)
{
    int bits = 6;
    while ((size_t(1) << bits) < 2 * count)
        ++bits;
    return bits;
}

// The slot of a table of 2 to the `bits` slots that holds `key`, or the free one where it would go.
template <typename Key> size_t slotOf(const std::vector<Key> &table, int bits, Key key)
{
    size_t slot = size_t((quint64(key) * 0x9E3779B97F4A7C15ull) >> (64 - bits));
    while (table[slot] != freeSlot<Key> && table[slot] != key)
        slot = (slot + 1) & (table.size() - 1);
    return slot;
}

// Adds `key` to the table unless it is there; whether it was not.
template <typename Key> bool addOnce(std::vector<Key> *table, int bits, Key key)
{
    Key &slot = (*table)[slotOf(*table, bits, key)];
    if (slot == key)
        return false;
    slot = key;
    return true;
}

// The keys of one text after another, each once, in the order met. The table stays from text to
// text and only the slots used are freed again: a file has a few hundred different keys, and
// clearing a whole table sized for its thousands of characters took longer than finding them. It
// grows with the keys, so a long text with few different ones needs little; one grown beyond the
// usual is let go after. No key may be all ones, which marks a free slot.
template <typename Key> class KeySet final
{
public:
    // Adds `key` unless it is there; whether it was not.
    bool add(Key key)
    {
        const size_t slot = slotOf(m_table, m_bits, key);
        if (m_table[slot] == key)
            return false;
        m_table[slot] = key;
        m_used.push_back(slot);
        if (2 * m_used.size() >= m_table.size())
            grow();
        return true;
    }
    void clear()
    {
        if (m_bits > usualBits) {
            m_bits = usualBits;
            m_table.assign(size_t(1) << m_bits, freeSlot<Key>);
            m_table.shrink_to_fit();
            m_used = {};
            return;
        }
        for (const size_t slot : m_used)
            m_table[slot] = freeSlot<Key>;
        m_used.clear();
    }
    // Each key added since the last clear, in the order met.
    template <typename Visit> void forEach(Visit &&visit) const
    {
        for (const size_t slot : m_used)
            visit(m_table[slot]);
    }

private:
    static constexpr int usualBits = 12;

    void grow()
    {
        std::vector<Key> keys;
        keys.reserve(m_used.size());
        forEach([&keys](Key key) { keys.push_back(key); });
        ++m_bits;
        m_table.assign(size_t(1) << m_bits, freeSlot<Key>);
        m_used.clear();
        for (const Key key : keys) {
            const size_t slot = slotOf(m_table, m_bits, key);
            m_table[slot] = key;
            m_used.push_back(slot);
        }
    }

    int m_bits = usualBits;
    std::vector<Key> m_table = std::vector<Key>(size_t(1) << usualBits, freeSlot<Key>);
    // The slots that hold a key, in the order their keys were added.
    std::vector<size_t> m_used;
};

} // namespace

std::vector<quint64> FindGrams::Keys(QStringView desc, QStringView src, QStringView body)
{
    // No key is all ones: a code takes 21 bits, and 0x1FFFFF is none.
    thread_local KeySet<quint64> seen;
    seen.clear();
    std::vector<quint64> keys;
    for (const QStringView field : {desc, src, body})
        forEachKey(field, [&](quint64 key, int) {
            if (seen.add(key))
                keys.push_back(key);
        });
    return keys;
}

bool FindGrams::Word::Overlaps(const Word &other) const
{
    for (const int start : Starts) {
        for (const int otherStart : other.Starts) {
            if (start < otherStart + other.Width && otherStart < start + Width)
                return true;
        }
    }
    return false;
}

QList<FindGrams::Word> FindGrams::Phrase(const QString &phrase)
{
    QList<Word> words;
    std::vector<quint64> seen;
    forEachKey(phrase, [&words, &seen](quint64 key, int at) {
        const auto known = std::find(seen.begin(), seen.end(), key);
        if (known != seen.end()) {
            words[known - seen.begin()].Starts.append(at);
            return;
        }
        seen.push_back(key);
        words.append(Word{key, {at}});
    });
    return words;
}

bool FindGrams::Decides(const QString &phrase)
{
    std::vector<char32_t> codes;
    appendCodes(phrase, &codes);
    return codes.size() == 3 && std::find(codes.begin(), codes.end(), blank) == codes.end();
}

namespace {

// A file in this many of the samples, or more, holds a common seam.
constexpr int commonShare = 20;
// Fewer samples than this tell common seams from chance.
constexpr qsizetype fewestSamples = 100;

// The seam of the blank at `at` in `text`, which has two bytes before it and one after.
quint32 seamAt(std::string_view text, size_t at)
{
    return quint32(quint8(text[at - 2])) << 16 | quint32(quint8(text[at - 1])) << 8 | quint32(quint8(text[at + 1]));
}

// Adds the seams of `text` to `seams`: every blank with two bytes before it and one after. No seam
// is all ones: a seam takes 24 bits.
void addSeams(std::string_view text, KeySet<quint32> *seams)
{
    if (text.size() < 4)
        return;
    const char *const begin = text.data(), *const end = begin + text.size() - 1;
    for (const char *at = begin + 2; at < end; ++at) {
        at = static_cast<const char *>(memchr(at, ' ', size_t(end - at)));
        if (!at)
            break;
        seams->add(seamAt(text, size_t(at - begin)));
    }
}

// The seams of a file's fields, each once. Where the description meets the text in a search
// without the source, up to three bytes of each side are around the blank.
const KeySet<quint32> &seamKeys(const FindGrams::Joined &fields)
{
    thread_local KeySet<quint32> seams;
    thread_local std::string meeting;
    seams.clear();
    addSeams(fields.all, &seams);
    const std::string_view desc = fields.all.substr(0, fields.descSize);
    const size_t bodyAt = std::min(fields.all.size(), fields.descSize + fields.srcSize + 2);
    meeting.assign(desc.substr(desc.size() - std::min<size_t>(desc.size(), 3)));
    meeting.push_back(' ');
    meeting.append(fields.all.substr(bodyAt, 3));
    addSeams(meeting, &seams);
    return seams;
}

} // namespace

std::shared_ptr<const FindGrams::Seams> FindGrams::Seams::Common(const QList<Joined> &samples)
{
    if (samples.size() < fewestSamples)
        return nullptr;
    // Each file's seams once, all together, sorted: a seam's run is the number of files that hold it.
    std::vector<quint32> all;
    for (const Joined &sample : samples) {
        seamKeys(sample).forEach([&all](quint32 key) { all.push_back(key); });
    }
    std::sort(all.begin(), all.end());
    std::vector<quint32> common;
    for (auto run = all.cbegin(); run != all.cend();) {
        const auto end = std::upper_bound(run, all.cend(), *run);
        if ((end - run) * commonShare >= samples.size())
            common.push_back(*run);
        run = end;
    }
    return FromKeys(common);
}

std::shared_ptr<const FindGrams::Seams> FindGrams::Seams::FromKeys(const std::vector<quint32> &keys)
{
    if (std::any_of(keys.cbegin(), keys.cend(), [](quint32 key) { return key >> 24 != 0; }))
        return nullptr;
    auto seams = std::make_shared<Seams>();
    seams->m_keys = keys;
    std::sort(seams->m_keys.begin(), seams->m_keys.end());
    seams->m_bits = tableBits(2 * keys.size());
    seams->m_slots.assign(size_t(1) << seams->m_bits, freeSlot<quint32>);
    for (const quint32 key : keys)
        addOnce(&seams->m_slots, seams->m_bits, key);
    return seams;
}

bool FindGrams::Seams::Contains(quint32 key) const
{
    return m_slots[slotOf(m_slots, m_bits, key)] == key;
}

void FindGrams::AppendSeams(const Joined &fields, const Seams *common, std::vector<quint64> *keys)
{
    seamKeys(fields).forEach([common, keys](quint32 key) {
        if (!common || !common->Contains(key))
            keys->push_back(SeamKey(key));
    });
}

QList<FindGrams::Word> FindGrams::PhraseSeams(const QString &phrase, const Seams *common)
{
    // The phrase in UTF-8 as it is checked, and the character each byte belongs to, counted as
    // Phrase counts them: a byte that does not go on a character starts one.
    const QByteArray utf8 = phrase.toUtf8();
    const std::string_view bytes(utf8.constData(), size_t(utf8.size()));
    std::vector<int> characterOf;
    int character = -1;
    for (const char byte : bytes)
        characterOf.push_back((quint8(byte) & 0xC0) == 0x80 ? character : ++character);
    QList<Word> words;
    for (size_t at = 2; at + 1 < bytes.size(); ++at) {
        if (bytes[at] != ' ')
            continue;
        const quint32 seam = seamAt(bytes, at);
        if (common && common->Contains(seam))
            continue;
        const quint64 key = SeamKey(seam);
        const int start = characterOf[at - 2], width = characterOf[at + 1] - start + 1;
        const auto known =
            std::find_if(words.begin(), words.end(), [key](const Word &word) { return word.Key == key; });
        if (known == words.end()) {
            words.append(Word{key, {start}, width});
        } else {
            known->Starts.append(start);
            known->Width = std::max(known->Width, width);
        }
    }
    return words;
}
