#pragma once

#include <QString>
#include <QVector>

#include <atomic>

// What changed between two plain texts: paragraph by paragraph (a paragraph is a line), and word by
// word inside a changed paragraph that pairs up with one on the other side. Blanks do not count: a
// paragraph reads the same whatever runs of blanks, tabs or line ends it has, and a paragraph of
// blanks only is no paragraph. Work is bounded: where two long stretches share too little for an
// exact answer in good time, the stretch is shown as removed on one side and added on the other.
namespace TextDiff {

enum class Kind : quint8 { Same, Changed, Removed, Added };

// Characters of a row's paragraph, from `start`, `length` long.
struct Span
{
    int start = 0;
    int length = 0;
    friend bool operator==(const Span &a, const Span &b) { return a.start == b.start && a.length == b.length; }
};

// One line of the side-by-side view. A Removed row has no right paragraph and an Added row no left;
// a Changed row marks the words changed on each side in its spans (whole runs of words, with the
// blanks between them); Removed and Added rows mark nothing, the whole paragraph being the change.
struct Row
{
    QString left;
    QString right;
    Kind kind = Kind::Same;
    QVector<Span> leftSpans;
    QVector<Span> rightSpans;
};

struct Counts
{
    int paragraphsChanged = 0;
    int paragraphsAdded = 0;
    int paragraphsRemoved = 0;
    qint64 wordsAdded = 0;
    qint64 wordsRemoved = 0;
};

struct Result
{
    QVector<Row> rows;
    Counts counts;
    // False when `stop` ended the comparison: the rows are then not all there.
    bool complete = true;
    bool HasChanges() const;
};

// The rows that turn `left` into `right`, in order. `stop` turning true ends the work early.
Result Compare(const QString &left, const QString &right, const std::atomic<bool> *stop = nullptr);

// Whether the texts differ by more than blanks; much cheaper than Compare.
bool Differs(const QString &left, const QString &right);

// "12 paragraphs changed, 3 added, 1 removed", or "No changes".
QString Summary(const Counts &counts);

} // namespace TextDiff
