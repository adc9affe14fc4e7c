#include "TextDiff.h"

#include <QHash>
#include <QStringList>

#include <algorithm>
#include <utility>

namespace TextDiff {

namespace {

// Myers' search costs about D * (n + m) steps for D differences; past this many steps a stretch is
// split at the lines it holds once on each side, or given up as all removed and all added. The
// stretches that splitting makes share a budget of their own, spent as they are searched.
constexpr qint64 searchBudget = 20'000'000;
constexpr qint64 splitBudget = 100'000'000;
constexpr int mostDifferences = 2000;
// How many paragraphs ahead a removed one looks for the added one it became, and how many words a
// whole stretch may compare so: two unrelated texts must not cost minutes.
constexpr int pairingWindow = 4;
constexpr qint64 pairingBudget = 4'000'000;
// Two paragraphs are one paragraph changed when at least this share of their words is common.
constexpr double pairingLikeness = 0.5;

using Ids = QVector<int>;
using Match = std::pair<int, int>;

bool stopped(const std::atomic<bool> *stop)
{
    return stop && stop->load(std::memory_order_relaxed);
}

// The shortest edit script of a[aLo, aHi) and b[bLo, bHi) by Myers' greedy search; false, with
// nothing added, when it takes more than `maxD` differences.
bool myers(const Ids &a, int aLo, int aHi, const Ids &b, int bLo, int bHi, int maxD, QVector<Match> *matches,
           int *rounds, const std::atomic<bool> *stop)
{
    const int n = aHi - aLo;
    const int m = bHi - bLo;
    const int offset = maxD + 1;
    QVector<int> v(2 * offset + 1, 0);
    // V as it stood before each round d, from diagonal -(d+1) to d+1: what the way back reads.
    QVector<int> trace;
    QVector<qsizetype> roundStart;
    for (int d = 0; d <= maxD; ++d) {
        *rounds = d + 1;
        if ((d & 63) == 0 && stopped(stop))
            return false;
        roundStart.append(trace.size());
        for (int k = -d - 1; k <= d + 1; ++k)
            trace.append(v[offset + k]);
        for (int k = -d; k <= d; k += 2) {
            int x = (k == -d || (k != d && v[offset + k - 1] < v[offset + k + 1])) ? v[offset + k + 1]
                                                                                   : v[offset + k - 1] + 1;
            int y = x - k;
            while (x < n && y < m && a[aLo + x] == b[bLo + y]) {
                ++x;
                ++y;
            }
            v[offset + k] = x;
            if (x < n || y < m)
                continue;
            QVector<Match> found;
            for (int back = d; back >= 0; --back) {
                const int *before =
                    trace.constData() + roundStart[back] + back + 1; // before[k], k in [-back-1, back+1]
                const int kk = x - y;
                const int prevK = (kk == -back || (kk != back && before[kk - 1] < before[kk + 1])) ? kk + 1 : kk - 1;
                const int prevX = before[prevK];
                const int prevY = prevX - prevK;
                while (x > prevX && y > prevY) {
                    --x;
                    --y;
                    found.append({aLo + x, bLo + y});
                }
                x = prevX;
                y = prevY;
            }
            std::reverse(found.begin(), found.end());
            *matches += found;
            return true;
        }
    }
    return false;
}

// The pairs of a[aLo, aHi) and b[bLo, bHi) that occur once on each side, the longest run of them
// in the same order on both: places the two stretches surely share.
QVector<Match> uniqueAnchors(const Ids &a, int aLo, int aHi, const Ids &b, int bLo, int bHi)
{
    struct Seen
    {
        int inA = 0;
        int inB = 0;
        int posA = 0;
        int posB = 0;
    };
    QHash<int, Seen> seen;
    seen.reserve(aHi - aLo);
    for (int i = aLo; i < aHi; ++i) {
        Seen &s = seen[a[i]];
        ++s.inA;
        s.posA = i;
    }
    for (int j = bLo; j < bHi; ++j) {
        auto it = seen.find(b[j]);
        if (it != seen.end()) {
            ++it->inB;
            it->posB = j;
        }
    }
    QVector<Match> pairs;
    for (auto it = seen.cbegin(); it != seen.cend(); ++it)
        if (it->inA == 1 && it->inB == 1)
            pairs.append({it->posA, it->posB});
    std::sort(pairs.begin(), pairs.end());

    // Longest increasing run of the b positions (patience sorting), with the way back.
    QVector<int> tails; // index into pairs of the smallest tail of each length
    QVector<int> previous(pairs.size(), -1);
    for (int i = 0; i < pairs.size(); ++i) {
        auto at = std::lower_bound(tails.begin(), tails.end(), pairs[i].second,
                                   [&](int index, int posB) { return pairs[index].second < posB; });
        if (at != tails.begin())
            previous[i] = *(at - 1);
        if (at == tails.end())
            tails.append(i);
        else
            *at = i;
    }
    QVector<Match> run;
    for (int i = tails.isEmpty() ? -1 : tails.constLast(); i >= 0; i = previous[i])
        run.append(pairs[i]);
    std::reverse(run.begin(), run.end());
    return run;
}

// The matching pairs of a[aLo, aHi) and b[bLo, bHi), in order; what is not matched is removed or added.
void matchRange(const Ids &a, int aLo, int aHi, const Ids &b, int bLo, int bHi, QVector<Match> *matches, qint64 *budget,
                const std::atomic<bool> *stop)
{
    while (aLo < aHi && bLo < bHi && a[aLo] == b[bLo])
        matches->append({aLo++, bLo++});
    int shared = 0;
    while (aLo < aHi - shared && bLo < bHi - shared && a[aHi - shared - 1] == b[bHi - shared - 1])
        ++shared;
    aHi -= shared;
    bHi -= shared;
    if (aLo < aHi && bLo < bHi && !stopped(stop)) {
        const qint64 length = qint64(aHi - aLo) + (bHi - bLo);
        const qint64 affordable = std::min(searchBudget, *budget) / length;
        const int maxD = int(std::min<qint64>({length, mostDifferences, std::max<qint64>(16, affordable)}));
        int rounds = 0;
        const bool found = myers(a, aLo, aHi, b, bLo, bHi, maxD, matches, &rounds, stop);
        *budget -= rounds * length;
        if (!found) {
            const QVector<Match> anchors = uniqueAnchors(a, aLo, aHi, b, bLo, bHi);
            int i = aLo;
            int j = bLo;
            for (const Match &anchor : anchors) {
                matchRange(a, i, anchor.first, b, j, anchor.second, matches, budget, stop);
                matches->append(anchor);
                i = anchor.first + 1;
                j = anchor.second + 1;
            }
            if (!anchors.isEmpty())
                matchRange(a, i, aHi, b, j, bHi, matches, budget, stop);
        }
    }
    for (int k = 0; k < shared; ++k)
        matches->append({aHi + k, bHi + k});
}

struct Word
{
    int start;
    int end;
};

QVector<Word> wordsOf(const QString &text)
{
    QVector<Word> words;
    const int length = int(text.size());
    for (int i = 0; i < length;) {
        while (i < length && text[i].isSpace())
            ++i;
        const int start = i;
        while (i < length && !text[i].isSpace())
            ++i;
        if (i > start)
            words.append({start, i});
    }
    return words;
}

qint64 wordCount(const QString &text)
{
    return wordsOf(text).size();
}

// Numbers standing for equal strings, shared by both sides of one comparison.
class Numbering
{
public:
    int operator()(const QString &key)
    {
        const auto it = m_ids.constFind(key);
        if (it != m_ids.constEnd())
            return *it;
        const int id = int(m_ids.size());
        m_ids.insert(key, id);
        return id;
    }

private:
    QHash<QString, int> m_ids;
};

struct Paragraph
{
    QString text; // as shown: the line without its trailing blanks
    QString key;  // what is compared: its words, one blank between each two
};

QVector<Paragraph> paragraphsOf(const QString &text)
{
    QVector<Paragraph> paragraphs;
    qsizetype from = 0;
    const qsizetype length = text.size();
    while (from <= length) {
        qsizetype end = from;
        while (end < length && text[end] != QLatin1Char('\n') && text[end] != QLatin1Char('\r'))
            ++end;
        qsizetype shown = end;
        while (shown > from && text[shown - 1].isSpace())
            --shown;
        if (shown > from) {
            QString line = text.mid(from, shown - from);
            QString key = line.simplified();
            if (!key.isEmpty())
                paragraphs.append({std::move(line), std::move(key)});
        }
        if (end < length && text[end] == QLatin1Char('\r') && end + 1 < length && text[end + 1] == QLatin1Char('\n'))
            ++end;
        from = end + 1;
    }
    return paragraphs;
}

// A paragraph's words as sorted hashes, for telling quickly how alike two paragraphs are.
using Signature = QVector<size_t>;

const Signature &signatureOf(const QString &key, Signature *cached)
{
    if (cached->isEmpty()) {
        for (const QStringView word : QStringView(key).tokenize(QLatin1Char(' ')))
            cached->append(qHash(word));
        std::sort(cached->begin(), cached->end());
    }
    return *cached;
}

// The share of words two paragraphs have in common (0 to 1), counting each word as often as both have it.
double likeness(const Signature &a, const Signature &b)
{
    // Even all of the shorter one in common would not reach the mark.
    if (a.size() > 3 * b.size() || b.size() > 3 * a.size())
        return 0;
    qsizetype common = 0;
    for (auto i = a.cbegin(), j = b.cbegin(); i != a.cend() && j != b.cend();) {
        if (*i < *j) {
            ++i;
        } else if (*j < *i) {
            ++j;
        } else {
            ++common;
            ++i;
            ++j;
        }
    }
    return 2.0 * double(common) / double(a.size() + b.size());
}

// The spans of the words of `words` that `matched` leaves out, runs of neighbours joined.
QVector<Span> changedSpans(const QVector<Word> &words, const QVector<bool> &matched)
{
    QVector<Span> spans;
    for (int i = 0; i < words.size();) {
        if (matched[i]) {
            ++i;
            continue;
        }
        int last = i;
        while (last + 1 < words.size() && !matched[last + 1])
            ++last;
        spans.append({words[i].start, words[last].end - words[i].start});
        i = last + 1;
    }
    return spans;
}

Row changedRow(const Paragraph &left, const Paragraph &right, Counts *counts, const std::atomic<bool> *stop)
{
    Row row{left.text, right.text, Kind::Changed, {}, {}};
    const QVector<Word> leftWords = wordsOf(left.text);
    const QVector<Word> rightWords = wordsOf(right.text);
    Numbering number;
    Ids a;
    Ids b;
    for (const Word &w : leftWords)
        a.append(number(left.text.mid(w.start, w.end - w.start)));
    for (const Word &w : rightWords)
        b.append(number(right.text.mid(w.start, w.end - w.start)));
    QVector<Match> matches;
    qint64 budget = splitBudget;
    matchRange(a, 0, int(a.size()), b, 0, int(b.size()), &matches, &budget, stop);
    QVector<bool> leftMatched(a.size(), false);
    QVector<bool> rightMatched(b.size(), false);
    for (const Match &match : std::as_const(matches)) {
        leftMatched[match.first] = true;
        rightMatched[match.second] = true;
    }
    row.leftSpans = changedSpans(leftWords, leftMatched);
    row.rightSpans = changedSpans(rightWords, rightMatched);
    counts->wordsRemoved += a.size() - matches.size();
    counts->wordsAdded += b.size() - matches.size();
    ++counts->paragraphsChanged;
    return row;
}

// The rows of a stretch where `removed` paragraphs gave way to `added` ones: each removed paragraph
// that reads much like one of the next few added ones is that one changed.
void gapRows(const QVector<Paragraph> &left, int aFrom, int aTo, const QVector<Paragraph> &right, int bFrom, int bTo,
             Result *result, qint64 *budget, const std::atomic<bool> *stop)
{
    auto removed = [&](int i) {
        result->rows.append({left[i].text, QString(), Kind::Removed, {}, {}});
        ++result->counts.paragraphsRemoved;
        result->counts.wordsRemoved += wordCount(left[i].key);
    };
    auto added = [&](int j) {
        result->rows.append({QString(), right[j].text, Kind::Added, {}, {}});
        ++result->counts.paragraphsAdded;
        result->counts.wordsAdded += wordCount(right[j].key);
    };
    // Signatures of the paragraphs of the stretch, made as they are first needed.
    QVector<Signature> leftSigns(aTo - aFrom);
    QVector<Signature> rightSigns(bTo - bFrom);
    int j = bFrom;
    for (int i = aFrom; i < aTo; ++i) {
        int partner = -1;
        for (int k = j; k < std::min(bTo, j + pairingWindow) && *budget > 0; ++k) {
            const Signature &a = signatureOf(left[i].key, &leftSigns[i - aFrom]);
            const Signature &b = signatureOf(right[k].key, &rightSigns[k - bFrom]);
            *budget -= a.size() + b.size();
            if (likeness(a, b) >= pairingLikeness) {
                partner = k;
                break;
            }
        }
        if (partner < 0) {
            removed(i);
            continue;
        }
        for (; j < partner; ++j)
            added(j);
        // Alike paragraphs the search gave up on may even be the same.
        if (left[i].key == right[partner].key)
            result->rows.append({left[i].text, right[partner].text, Kind::Same, {}, {}});
        else
            result->rows.append(changedRow(left[i], right[partner], &result->counts, stop));
        j = partner + 1;
    }
    for (; j < bTo; ++j)
        added(j);
}

} // namespace

bool Result::HasChanges() const
{
    return counts.paragraphsChanged > 0 || counts.paragraphsAdded > 0 || counts.paragraphsRemoved > 0;
}

Result Compare(const QString &left, const QString &right, const std::atomic<bool> *stop)
{
    const QVector<Paragraph> a = paragraphsOf(left);
    const QVector<Paragraph> b = paragraphsOf(right);
    Numbering number;
    Ids aIds;
    Ids bIds;
    aIds.reserve(a.size());
    bIds.reserve(b.size());
    for (const Paragraph &p : a)
        aIds.append(number(p.key));
    for (const Paragraph &p : b)
        bIds.append(number(p.key));
    QVector<Match> matches;
    qint64 searched = splitBudget;
    matchRange(aIds, 0, int(aIds.size()), bIds, 0, int(bIds.size()), &matches, &searched, stop);
    matches.append({int(a.size()), int(b.size())}); // the end, matched with itself

    Result result;
    result.rows.reserve(std::max(a.size(), b.size()));
    qint64 budget = pairingBudget;
    int i = 0;
    int j = 0;
    for (const Match &match : std::as_const(matches)) {
        if (stopped(stop)) {
            result.complete = false;
            return result;
        }
        gapRows(a, i, match.first, b, j, match.second, &result, &budget, stop);
        if (match.first < a.size())
            result.rows.append({a[match.first].text, b[match.second].text, Kind::Same, {}, {}});
        i = match.first + 1;
        j = match.second + 1;
    }
    result.complete = !stopped(stop);
    return result;
}

bool Differs(const QString &left, const QString &right)
{
    const QVector<Paragraph> a = paragraphsOf(left);
    const QVector<Paragraph> b = paragraphsOf(right);
    return !std::equal(a.cbegin(), a.cend(), b.cbegin(), b.cend(),
                       [](const Paragraph &x, const Paragraph &y) { return x.key == y.key; });
}

QString Summary(const Counts &counts)
{
    QStringList parts;
    auto part = [&](int n, const char *what) {
        if (n == 0)
            return;
        const QString noun = parts.isEmpty() ? (n == 1 ? QStringLiteral(" paragraph ") : QStringLiteral(" paragraphs "))
                                             : QStringLiteral(" ");
        parts.append(QString::number(n) + noun + QLatin1String(what));
    };
    part(counts.paragraphsChanged, "changed");
    part(counts.paragraphsAdded, "added");
    part(counts.paragraphsRemoved, "removed");
    if (parts.isEmpty())
        return QStringLiteral("No changes");
    const QString words = counts.wordsAdded == 1 ? QStringLiteral(" word added, ") : QStringLiteral(" words added, ");
    return parts.join(QStringLiteral(", ")) + QStringLiteral(" (") + QString::number(counts.wordsAdded) + words +
           QString::number(counts.wordsRemoved) + QStringLiteral(" removed)");
}

} // namespace TextDiff
