#pragma once

#include "widgets/TreeView.h"

#include <QTest>

// A user's click on a node of the tree, scrolled into view and its parents opened first.
inline bool clickNode(TreeView *tree, const QString &key)
{
    TreeNode *node = tree->Node(key);
    if (!node)
        return false;
    tree->EnsureVisible(node);
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, tree->visualItemRect(node).center());
    return tree->currentItem() == node;
}
