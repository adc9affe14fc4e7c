#include "NaturalOrder.h"

namespace {

// A letter as the sort order sees it: without accent or case.
QChar folded(QChar ch)
{
    if (ch.unicode() < 0x80)
        return ch.unicode() >= 'A' && ch.unicode() <= 'Z' ? QChar(ch.unicode() + 32) : ch;
    if (ch.decompositionTag() != QChar::NoDecomposition) {
        const QString parts = ch.decomposition();
        if (!parts.isEmpty())
            ch = parts.at(0);
    }
    return ch.toCaseFolded();
}

// Compares the digit runs starting at `i` and `j` by value; moves both past them.
int compareNumbers(const QString &a, qsizetype &i, const QString &b, qsizetype &j)
{
    while (i < a.size() && a.at(i) == QLatin1Char('0'))
        ++i;
    while (j < b.size() && b.at(j) == QLatin1Char('0'))
        ++j;
    const qsizetype startA = i;
    const qsizetype startB = j;
    while (i < a.size() && a.at(i).isDigit())
        ++i;
    while (j < b.size() && b.at(j).isDigit())
        ++j;
    if (i - startA != j - startB)
        return i - startA < j - startB ? -1 : 1;
    for (qsizetype k = 0; k < i - startA; ++k) {
        if (a.at(startA + k) != b.at(startB + k))
            return a.at(startA + k) < b.at(startB + k) ? -1 : 1;
    }
    return 0;
}

int naturalCompare(const QString &a, const QString &b)
{
    qsizetype i = 0;
    qsizetype j = 0;
    while (i < a.size() && j < b.size()) {
        if (a.at(i).isDigit() && b.at(j).isDigit()) {
            if (const int order = compareNumbers(a, i, b, j))
                return order;
            continue;
        }
        const QChar x = folded(a.at(i++));
        const QChar y = folded(b.at(j++));
        if (x != y)
            return x < y ? -1 : 1;
    }
    if (i < a.size() || j < b.size())
        return i < a.size() ? 1 : -1;
    return 0;
}

} // namespace

bool NaturalLess(const QString &a, const QString &b)
{
    const int order = naturalCompare(a, b);
    return order != 0 ? order < 0 : a < b;
}
