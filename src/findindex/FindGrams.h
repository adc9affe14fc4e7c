#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringView>

// The words the search index is made of. Every three characters in a row of a file's fields that
// hold no blank are one word, written as FTS5's plain ascii tokenizer takes it whole: the
// characters' codes in lower-case hex ("the" is 746865). A file gives each word once, so the index
// gets a few hundred words per file instead of one per character, and no tokenizer of our own is
// needed: any SQLite reads the store.
// Words with a blank are left out: a blank may be where two fields are joined, so the words of a
// phrase are taken from its runs (the stretches between blanks), which lie inside one field.
namespace FindGrams {

// The words of a file's fields, each once, separated by blanks.
QByteArray Document(QStringView desc, QStringView src, QStringView body);

// A word of a phrase, and where it starts in the phrase (in characters), once for each time it
// is there: words less than three characters apart share characters.
struct Word
{
    QByteArray Text;
    QList<int> Starts;
    bool Overlaps(const Word &other) const;
};

// The words of the phrase's runs, each once, in the order found; empty when no run has three
// characters.
QList<Word> Phrase(const QString &phrase);

// Whether a file whose fields hold the phrase's words holds the phrase itself, in whichever of
// its fields: true for a phrase of one run of exactly three characters.
bool Decides(const QString &phrase);

} // namespace FindGrams
