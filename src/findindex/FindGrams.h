#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringView>

#include <memory>
#include <string_view>
#include <vector>

// The words the search index is made of. Every three characters in a row of a file's fields that
// hold no blank are one word, kept as a key: the three characters' codes, 21 bits each, first to
// last. A file gives each word once, so the index gets a few hundred words per file instead of one
// per character.
// Words with a blank are left out: a blank may be where two fields are joined, so the words of a
// phrase are taken from its runs (the stretches between blanks), which lie inside one field.
namespace FindGrams {

// The words of a file's fields, each once, in the order met.
std::vector<quint64> Keys(QStringView desc, QStringView src, QStringView body);

// A word of a phrase, where it starts in the phrase (in characters), once for each time it is
// there, and how many characters it spans: three, or a seam's four or fewer.
struct Word
{
    quint64 Key = 0;
    QList<int> Starts;
    int Width = 3;
    // Whether the two share characters of the phrase.
    bool Overlaps(const Word &other) const;
};

// The words of the phrase's runs, each once, in the order found; empty when no run has three
// characters.
QList<Word> Phrase(const QString &phrase);

// Whether a file whose fields hold the phrase's words holds the phrase itself, in whichever of
// its fields: true for a phrase of one run of exactly three characters.
bool Decides(const QString &phrase);

// Words across a blank. Words of three characters tell "floor, build" no better than "floor" and
// "build" anywhere in a file, which in texts made of common words is five times as many files. A
// seam is a blank with the two bytes before it and the one after, in UTF-8 as the fields are
// checked: "r, b". A file's fields give their seams as words too (SeamKey), each once, and a
// phrase's seams narrow its candidates to files that hold them.
// Most seams of a text are in most files ("e, t", "s a"): they would double the index and narrow
// nothing, so an index leaves out the seams it found common in its first files (Seams::Common). That
// list only ever grows: a file indexed before holds every seam that is not common now.

// A file's three fields joined by a blank, as FindPack keeps them, and the lengths of the first two.
struct Joined
{
    std::string_view all;
    size_t descSize = 0;
    size_t srcSize = 0;
};

class Seams final
{
public:
    // The seams in at least one file in twenty of `samples`; null when they are too few to tell.
    static std::shared_ptr<const Seams> Common(const QList<Joined> &samples);
    // The list kept in a store, as `keys`.
    static std::shared_ptr<const Seams> FromKeys(const std::vector<quint32> &keys);
    // Each seam as a number: the three bytes, first to last.
    const std::vector<quint32> &Keys() const { return m_keys; }
    bool Contains(quint32 key) const;

private:
    // Sorted.
    std::vector<quint32> m_keys;
    // The same as a table a few times their number, where a key is found at the slot its hash
    // names or soon after: a file's hundreds of seams are each looked up while it is indexed.
    std::vector<quint32> m_slots;
    int m_bits = 0;
};

// A seam as a word's key: one no three characters make, as the first code is beyond Unicode's.
constexpr quint64 SeamKey(quint32 seam) { return quint64(0x1FFFFF) << 42 | seam; }

// Appends the seams of a file's fields to `keys` as words, each once, but those `common` (none
// when null). Seams across where the description and the text meet are added as well, for a
// search of those two fields without the source.
void AppendSeams(const Joined &fields, const Seams *common, std::vector<quint64> *keys);

// The seams of `phrase` that an index with `common` holds, as words, each once in the order found.
QList<Word> PhraseSeams(const QString &phrase, const Seams *common);

} // namespace FindGrams
