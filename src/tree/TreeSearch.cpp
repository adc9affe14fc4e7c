#include "TreeSearch.h"

#include "widgets/TreeView.h"

TreeSearch::Result TreeSearch::Next(const TreeView &tree, const QString &boxText, int position)
{
    const QString text = boxText.trimmed();
    if (text.isEmpty() || text == QLatin1String("Search..."))
        return {Ignored};
    if (text.size() > MaxLength)
        return {TooLong};

    const int count = tree.Count();
    if (position != 0) {
        for (int index = position + 1; index <= count; ++index) {
            if (tree.NodeAt(index)->Tag().startsWith(text, Qt::CaseInsensitive))
                return {Found, index};
        }
        return {Finished};
    }
    for (int index = 1; index <= count; ++index) {
        if (tree.NodeAt(index)->Tag().contains(text, Qt::CaseInsensitive))
            return {Found, index};
    }
    return {Failed};
}
