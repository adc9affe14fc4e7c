#include "FindGrams.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <vector>

namespace {

constexpr char32_t blank = U' ';
// Code points take 21 bits: three of them make one 63-bit key.
constexpr int codeBits = 21;

// The characters of `text` as code points. A lone surrogate counts as "?", as it does in the
// UTF-8 the index's texts are kept and checked in.
void appendCodes(QStringView text, std::vector<char32_t> *codes)
{
    const qsizetype size = text.size();
    for (qsizetype i = 0; i < size; ++i) {
        const char16_t unit = text[i].unicode();
        if (QChar::isHighSurrogate(unit) && i + 1 < size && QChar::isLowSurrogate(text[i + 1].unicode())) {
            codes->push_back(QChar::surrogateToUcs4(unit, text[i + 1].unicode()));
            ++i;
        } else if (QChar::isSurrogate(unit)) {
            codes->push_back(U'?');
        } else {
            codes->push_back(unit);
        }
    }
}

// The three codes from `at` as a key, unless one of them is a blank.
std::optional<quint64> keyAt(const std::vector<char32_t> &codes, size_t at)
{
    const char32_t a = codes[at], b = codes[at + 1], c = codes[at + 2];
    if (a == blank || b == blank || c == blank)
        return std::nullopt;
    return (quint64(a) << (2 * codeBits)) | (quint64(b) << codeBits) | quint64(c);
}

// Every three codes in a row without a blank, as keys; `codes` is one field or one run.
void appendKeys(const std::vector<char32_t> &codes, std::vector<quint64> *keys)
{
    for (size_t at = 0; at + 3 <= codes.size(); ++at) {
        if (const std::optional<quint64> key = keyAt(codes, at))
            keys->push_back(*key);
    }
}

// The longest word: three codes of "u" and six hex digits.
constexpr int longestWord = 3 * 7;

// A code below 256 as two hex digits, any other as "u" and six: no word reads as two others.
// Written at `out`, which has room for the longest word; returns the end.
char *writeWord(quint64 key, char *out)
{
    static const char digits[] = "0123456789abcdef";
    for (int shift = 2 * codeBits; shift >= 0; shift -= codeBits) {
        const quint32 code = quint32(key >> shift) & ((1u << codeBits) - 1);
        if (code < 0x100) {
            *out++ = digits[code >> 4];
            *out++ = digits[code & 0xF];
        } else {
            *out++ = 'u';
            for (int nibble = 5; nibble >= 0; --nibble)
                *out++ = digits[(code >> (4 * nibble)) & 0xF];
        }
    }
    return out;
}

} // namespace

QByteArray FindGrams::Document(QStringView desc, QStringView src, QStringView body)
{
    thread_local std::vector<quint64> keys;
    thread_local std::vector<char32_t> codes;
    keys.clear();
    for (const QStringView field : {desc, src, body}) {
        codes.clear();
        appendCodes(field, &codes);
        appendKeys(codes, &keys);
    }
    // Each key once, through a table twice the keys' number: a text of a few kilobytes has a few
    // hundred different ones among thousands, and sorting them all would cost more than the rest.
    int bits = 6;
    while ((size_t(1) << bits) < 2 * keys.size())
        ++bits;
    const size_t capacity = size_t(1) << bits;
    thread_local std::vector<quint64> table;
    // No key is all ones: a code takes 21 bits, and 0x1FFFFF is none.
    constexpr quint64 empty = ~quint64(0);
    table.assign(capacity, empty);
    thread_local std::vector<char> words;
    words.resize(keys.size() * (longestWord + 1));
    char *end = words.data();
    for (const quint64 key : keys) {
        // The product's top bits, which every bit of the key reaches: keys differing only in
        // their first character would share the lower ones, and one slot, and long runs.
        size_t slot = size_t((key * 0x9E3779B97F4A7C15ull) >> (64 - bits));
        while (table[slot] != empty && table[slot] != key)
            slot = (slot + 1) & (capacity - 1);
        if (table[slot] == key)
            continue;
        table[slot] = key;
        if (end != words.data())
            *end++ = ' ';
        end = writeWord(key, end);
    }
    return QByteArray(words.data(), qsizetype(end - words.data()));
}

bool FindGrams::Word::Overlaps(const Word &other) const
{
    for (const int start : Starts) {
        for (const int otherStart : other.Starts) {
            if (std::abs(start - otherStart) < 3)
                return true;
        }
    }
    return false;
}

QList<FindGrams::Word> FindGrams::Phrase(const QString &phrase)
{
    std::vector<char32_t> codes;
    appendCodes(phrase, &codes);
    QList<Word> words;
    std::vector<quint64> seen;
    for (size_t at = 0; at + 3 <= codes.size(); ++at) {
        const std::optional<quint64> key = keyAt(codes, at);
        if (!key)
            continue;
        const auto known = std::find(seen.begin(), seen.end(), *key);
        if (known != seen.end()) {
            words[known - seen.begin()].Starts.append(int(at));
            continue;
        }
        seen.push_back(*key);
        char word[longestWord];
        words.append({QByteArray(word, qsizetype(writeWord(*key, word) - word)), {int(at)}});
    }
    return words;
}

bool FindGrams::Decides(const QString &phrase)
{
    std::vector<char32_t> codes;
    appendCodes(phrase, &codes);
    return codes.size() == 3 && std::find(codes.begin(), codes.end(), blank) == codes.end();
}
