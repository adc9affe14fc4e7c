#pragma once

#include "system/ErrObject.h"

#include <QHash>
#include <QIcon>
#include <QTreeWidget>
#include <QVector>

// One node of a TreeView: a key unique in the tree, a Tag for the caller's own value, and the
// Text shown. A node of a Sorted parent is placed among its siblings by Tag.
class TreeNode final : public QTreeWidgetItem
{
public:
    TreeNode(QString key, const QString &text);
    // A node made apart from any tree, on any thread, for TreeView::AddChildren; `icon` comes from
    // TreeView::Icon.
    TreeNode(QString key, const QString &text, const QString &tag, const QIcon &icon);

    const QString &Key() const { return m_key; }
    const QString &Tag() const { return m_tag; }
    const QString &Text() const { return m_text; }
    void setText(const QString &text);
    TreeNode *Parent() const { return static_cast<TreeNode *>(parent()); }
    TreeNode *Child(int index) const { return static_cast<TreeNode *>(child(index)); }
    int Children() const { return childCount(); }
    bool Sorted() const { return m_sorted; }
    void setSorted(bool sorted) { m_sorted = sorted; }

    // The text and image are kept here rather than in the item's own data, which would cost a
    // variant each: a tree of ten thousand games is built noticeably faster.
    QVariant data(int column, int role) const override;

private:
    friend class TreeView;
    QString m_key;
    QString m_tag;
    QString m_text;
    QIcon m_icon;
    bool m_sorted = false;
};

// A tree of keyed nodes as the panes use it: nodes are added under a parent named by its key, found
// by key, counted and visited in the order they were added (the Nodes collection, 1-based), and
// removed with their children. Images are registered by name once and given to nodes by name,
// each with the image shown while the node is selected. A missing key is error 35601 and a taken
// one 35602.
class TreeView final : public QTreeWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TreeView)

public:
    // Where a new node goes relative to the node named by the relative key.
    enum Relationship { Child, Previous };

    explicit TreeView(QWidget *parent = nullptr);

    void AddImage(const QString &name, const QIcon &icon);

    // Adds a node; an empty relative key makes it a top-level node. Under a Sorted parent a child
    // goes to its place by Tag (`tag` is set before placing it).
    TreeNode *Add(const QString &relative, Relationship relationship, const QString &key, const QString &text,
                  const QString &image, const QString &selectedImage, const QString &tag, ErrObject *err);
    // The same under a parent already at hand, without looking it up by key: what a load that
    // adds thousands of nodes under the same few parents uses.
    TreeNode *Add(TreeNode *parent, const QString &key, const QString &text, const QString &image,
                  const QString &selectedImage, const QString &tag, ErrObject *err);
    // Adds nodes made apart from the tree under `parent`, in their order, in one go. On a taken key
    // nothing is added and the nodes are deleted.
    bool AddChildren(TreeNode *parent, const QList<TreeNode *> &nodes, ErrObject *err);
    // The icon of a node showing `image`, and `selectedImage` while selected.
    QIcon Icon(const QString &image, const QString &selectedImage) { return icon(image, selectedImage); }
    // The node with `key`, or null (and error 35601 in `err` when given).
    TreeNode *Node(const QString &key, ErrObject *err = nullptr) const;
    // Removes the node and everything under it.
    bool Remove(const QString &key, ErrObject *err);
    void Clear();
    // Between these, top-level nodes and all under them are built apart from the view and shown
    // at the end in one go, which is many times faster for a large tree. A node's expanded state
    // can be set only once it is shown.
    void BeginUpdate(int expectedNodes = 0);
    void EndUpdate();

    int Count() const { return int(m_nodes.size()); }
    // The node at `index` (1 to Count()) in the order of adding.
    TreeNode *NodeAt(int index) const { return m_nodes.value(index - 1); }
    int IndexOf(const TreeNode *node) const;

    // Changes a node's Tag, moving it to its place when its parent is Sorted.
    void SetTag(TreeNode *node, const QString &tag);
    // Sorts the children of `node` by Tag now and keeps new ones in order.
    void SortChildren(TreeNode *node);

    TreeNode *SelectedItem() const { return static_cast<TreeNode *>(currentItem()); }
    // Selects `node` without raising NodeClick.
    void Select(TreeNode *node);
    // Expands the node's ancestors and scrolls it into view.
    void EnsureVisible(TreeNode *node);

    // The node that something dragged over the tree would be dropped on: drawn as if selected,
    // without being the selection. Null for none; a removed node stops being it.
    TreeNode *DropHighlight() const { return m_dropHighlight; }
    void SetDropHighlight(TreeNode *node);

Q_SIGNALS:
    // The user pressed a mouse button on a node (after the tree selected it), or moved the
    // selection with the keyboard.
    void NodeClick(TreeNode *node);

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void currentChanged(const QModelIndex &current, const QModelIndex &previous) override;
    void drawRow(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;

private:
    QIcon icon(const QString &image, const QString &selectedImage);
    QIcon makePair(const QString &image, const QString &selectedImage) const;
    void insertPlaced(TreeNode *parent, TreeNode *node);
    TreeNode *make(const QString &key, const QString &text, const QString &image, const QString &selectedImage,
                   const QString &tag, ErrObject *err);
    void forget(TreeNode *node);

    QHash<QString, TreeNode *> m_byKey;
    QVector<TreeNode *> m_nodes;
    QHash<QString, QIcon> m_images;
    QHash<QString, QIcon> m_pairs;
    QString m_lastImage;
    QString m_lastSelected;
    QIcon m_lastPair;
    TreeNode *m_dropHighlight = nullptr;
    bool m_quiet = false;
    bool m_updating = false;
    QList<QTreeWidgetItem *> m_pendingTop;
};
