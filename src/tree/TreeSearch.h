#pragma once

#include <QString>

class TreeView;

// The tree's search: the first search finds the first node whose name contains the text; each
// following one moves on to the next node, in the order the nodes were added, whose name begins
// with it, until none is left. Case does not matter.
class TreeSearch final
{
public:
    enum Outcome {
        Ignored,  // nothing to search for: an empty box or the placeholder
        Found,    // `index` is the node found
        Finished, // a following search found no further node
        Failed,   // a first search found nothing
        TooLong,  // the text is longer than a search allows
    };
    struct Result
    {
        Outcome outcome = Ignored;
        int index = 0;
    };

    static constexpr int MaxLength = 255;

    // `position` is the index of the last node found, 0 for a first search.
    static Result Next(const TreeView &tree, const QString &boxText, int position);
};
