#include "TreeView.h"

#include "system/NaturalOrder.h"

#include <QMouseEvent>

#include <algorithm>

namespace {

ErrObject elementNotFound()
{
    return {ErrNumber::ElementNotFound, QStringLiteral("Element not found")};
}

ErrObject keyNotUnique()
{
    return {ErrNumber::KeyNotUnique, QStringLiteral("Key is not unique in collection")};
}

} // namespace

TreeNode::TreeNode(QString key, const QString &text) : QTreeWidgetItem(UserType), m_key(std::move(key)), m_text(text) {}

TreeNode::TreeNode(QString key, const QString &text, const QString &tag, const QIcon &icon)
    : QTreeWidgetItem(UserType), m_key(std::move(key)), m_tag(tag), m_text(text), m_icon(icon)
{}

void TreeNode::setText(const QString &text)
{
    m_text = text;
    emitDataChanged();
}

QVariant TreeNode::data(int column, int role) const
{
    if (column == 0) {
        switch (role) {
        case Qt::DisplayRole:
        case Qt::ToolTipRole: return m_text;
        case Qt::DecorationRole: return m_icon;
        default: break;
        }
    }
    return QTreeWidgetItem::data(column, role);
}

TreeView::TreeView(QWidget *parent) : QTreeWidget(parent)
{
    setHeaderHidden(true);
    setUniformRowHeights(true);
    setSelectionMode(SingleSelection);
    setEditTriggers(NoEditTriggers);
    setIconSize({16, 16});
}

void TreeView::AddImage(const QString &name, const QIcon &icon)
{
    m_images.insert(name, icon);
    m_pairs.clear();
    m_lastPair = QIcon();
}

QIcon TreeView::icon(const QString &image, const QString &selectedImage)
{
    // A load gives thousands of nodes in a row the same pair.
    if (!m_lastPair.isNull() && image == m_lastImage && selectedImage == m_lastSelected)
        return m_lastPair;
    const QString pairKey = image + QLatin1Char('|') + selectedImage;
    QIcon pair = m_pairs.value(pairKey);
    if (pair.isNull()) {
        // A node shows its second image while selected: that is the icon's Selected mode.
        pair = makePair(image, selectedImage);
        m_pairs.insert(pairKey, pair);
    }
    m_lastImage = image;
    m_lastSelected = selectedImage;
    m_lastPair = pair;
    return pair;
}

QIcon TreeView::makePair(const QString &image, const QString &selectedImage) const
{
    QIcon pair;
    const QIcon normal = m_images.value(image);
    const QIcon selected = selectedImage.isEmpty() ? normal : m_images.value(selectedImage);
    for (const QSize &size : normal.availableSizes())
        pair.addPixmap(normal.pixmap(size), QIcon::Normal);
    for (const QSize &size : selected.availableSizes())
        pair.addPixmap(selected.pixmap(size), QIcon::Selected);
    return pair;
}

TreeNode *TreeView::make(const QString &key, const QString &text, const QString &image, const QString &selectedImage,
                         const QString &tag, ErrObject *err)
{
    // One look-up both checks the key and makes its place.
    TreeNode *&slot = m_byKey[key];
    if (slot) {
        *err = keyNotUnique();
        return nullptr;
    }
    auto *node = new TreeNode(key, text);
    slot = node;
    node->m_tag = tag;
    if (!image.isEmpty())
        node->m_icon = icon(image, selectedImage);
    m_nodes.append(node);
    return node;
}

TreeNode *TreeView::Add(const QString &relative, Relationship relationship, const QString &key, const QString &text,
                        const QString &image, const QString &selectedImage, const QString &tag, ErrObject *err)
{
    TreeNode *anchor = nullptr;
    if (!relative.isEmpty() && !(anchor = Node(relative, err)))
        return nullptr;
    if (relationship == Child && anchor)
        return Add(anchor, key, text, image, selectedImage, tag, err);
    TreeNode *node = make(key, text, image, selectedImage, tag, err);
    if (!node)
        return nullptr;
    if (anchor) {
        QTreeWidgetItem *parent = anchor->parent();
        if (parent)
            parent->insertChild(parent->indexOfChild(anchor), node);
        else
            insertTopLevelItem(indexOfTopLevelItem(anchor), node);
    } else if (m_updating) {
        m_pendingTop.append(node);
    } else {
        addTopLevelItem(node);
    }
    return node;
}

TreeNode *TreeView::Add(TreeNode *parent, const QString &key, const QString &text, const QString &image,
                        const QString &selectedImage, const QString &tag, ErrObject *err)
{
    TreeNode *node = make(key, text, image, selectedImage, tag, err);
    if (!node)
        return nullptr;
    if (parent->m_sorted)
        insertPlaced(parent, node);
    else
        parent->addChild(node);
    return node;
}

bool TreeView::AddChildren(TreeNode *parent, const QList<TreeNode *> &nodes, ErrObject *err)
{
    for (qsizetype i = 0; i < nodes.size(); ++i) {
        TreeNode *&slot = m_byKey[nodes[i]->m_key];
        if (slot) {
            *err = keyNotUnique();
            for (qsizetype added = 0; added < i; ++added)
                m_byKey.remove(nodes[added]->m_key);
            qDeleteAll(nodes);
            return false;
        }
        slot = nodes[i];
    }
    m_nodes.append(nodes);
    if (parent->m_sorted) {
        for (TreeNode *node : nodes)
            insertPlaced(parent, node);
    } else {
        parent->addChildren({nodes.cbegin(), nodes.cend()});
    }
    return true;
}

TreeNode *TreeView::Node(const QString &key, ErrObject *err) const
{
    TreeNode *node = m_byKey.value(key);
    if (!node && err)
        *err = elementNotFound();
    return node;
}

void TreeView::forget(TreeNode *node)
{
    if (node == m_dropHighlight)
        m_dropHighlight = nullptr;
    m_byKey.remove(node->m_key);
    for (int i = 0; i < node->childCount(); ++i)
        forget(node->Child(i));
}

bool TreeView::Remove(const QString &key, ErrObject *err)
{
    TreeNode *node = Node(key, err);
    if (!node)
        return false;
    forget(node);
    m_nodes.erase(std::remove_if(m_nodes.begin(), m_nodes.end(),
                                 [this](TreeNode *each) { return !m_byKey.contains(each->m_key); }),
                  m_nodes.end());
    m_pendingTop.removeOne(node);
    const bool wasQuiet = std::exchange(m_quiet, true);
    delete node;
    m_quiet = wasQuiet;
    return true;
}

void TreeView::Clear()
{
    // Taken out of the view first, the nodes are freed without the view hearing of each one.
    const bool wasQuiet = std::exchange(m_quiet, true);
    QList<QTreeWidgetItem *> nodes = invisibleRootItem()->takeChildren();
    m_quiet = wasQuiet;
    qDeleteAll(nodes);
    qDeleteAll(std::exchange(m_pendingTop, {}));
    m_byKey.clear();
    m_nodes.clear();
    m_dropHighlight = nullptr;
}

void TreeView::BeginUpdate(int expectedNodes)
{
    m_updating = true;
    m_byKey.reserve(m_byKey.size() + expectedNodes);
    m_nodes.reserve(m_nodes.size() + expectedNodes);
}

void TreeView::EndUpdate()
{
    m_updating = false;
    addTopLevelItems(std::exchange(m_pendingTop, {}));
}

int TreeView::IndexOf(const TreeNode *node) const
{
    const auto at = std::find(m_nodes.cbegin(), m_nodes.cend(), node);
    return at == m_nodes.cend() ? 0 : int(at - m_nodes.cbegin()) + 1;
}

void TreeView::insertPlaced(TreeNode *parent, TreeNode *node)
{
    int low = 0;
    int high = parent->childCount();
    while (low < high) {
        const int middle = (low + high) / 2;
        if (NaturalLess(node->m_tag, parent->Child(middle)->m_tag))
            high = middle;
        else
            low = middle + 1;
    }
    parent->insertChild(low, node);
}

void TreeView::SetTag(TreeNode *node, const QString &tag)
{
    node->m_tag = tag;
    TreeNode *parent = node->Parent();
    if (!parent || !parent->m_sorted)
        return;
    const bool wasCurrent = currentItem() == node;
    const bool wasQuiet = std::exchange(m_quiet, true);
    parent->takeChild(parent->indexOfChild(node));
    insertPlaced(parent, node);
    if (wasCurrent)
        setCurrentItem(node);
    m_quiet = wasQuiet;
}

void TreeView::SortChildren(TreeNode *node)
{
    const bool wasQuiet = std::exchange(m_quiet, true);
    QTreeWidgetItem *current = currentItem();
    QList<QTreeWidgetItem *> children = node->takeChildren();
    std::stable_sort(children.begin(), children.end(), [](QTreeWidgetItem *a, QTreeWidgetItem *b) {
        return NaturalLess(static_cast<TreeNode *>(a)->m_tag, static_cast<TreeNode *>(b)->m_tag);
    });
    node->addChildren(children);
    node->m_sorted = true;
    if (current && current != currentItem())
        setCurrentItem(current);
    m_quiet = wasQuiet;
}

void TreeView::Select(TreeNode *node)
{
    const bool wasQuiet = std::exchange(m_quiet, true);
    setCurrentItem(node);
    m_quiet = wasQuiet;
}

void TreeView::EnsureVisible(TreeNode *node)
{
    for (QTreeWidgetItem *up = node->parent(); up; up = up->parent())
        up->setExpanded(true);
    scrollToItem(node);
}

void TreeView::SetDropHighlight(TreeNode *node)
{
    if (node == m_dropHighlight)
        return;
    // The whole row: a highlighted row is painted across its indentation as well.
    const auto updateRow = [this](TreeNode *row) {
        const QRect rect = visualItemRect(row);
        viewport()->update(0, rect.top(), viewport()->width(), rect.height());
    };
    if (m_dropHighlight)
        updateRow(m_dropHighlight);
    m_dropHighlight = node;
    if (node)
        updateRow(node);
}

void TreeView::drawRow(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    if (!m_dropHighlight || itemFromIndex(index) != m_dropHighlight)
        return QTreeWidget::drawRow(painter, option, index);
    QStyleOptionViewItem highlighted(option);
    highlighted.state |= QStyle::State_Selected;
    QTreeWidget::drawRow(painter, highlighted, index);
}

void TreeView::mousePressEvent(QMouseEvent *event)
{
    // The click is reported once the press has moved the selection, so that a handler reads the
    // node the user pressed on; a press on a node's expand arrow selects nothing and is no click.
    const bool wasQuiet = std::exchange(m_quiet, true);
    QTreeWidget::mousePressEvent(event);
    m_quiet = wasQuiet;
    const QPoint at = event->position().toPoint();
    auto *node = static_cast<TreeNode *>(itemAt(at));
    // The item's rectangle leaves out the indentation where the arrow is drawn.
    if (node && node == currentItem() && visualItemRect(node).contains(at))
        Q_EMIT NodeClick(node);
}

void TreeView::focusInEvent(QFocusEvent *event)
{
    // Qt makes the first node current when a tree without one gets the focus; the user chose
    // nothing, so that is no click.
    const bool wasQuiet = std::exchange(m_quiet, true);
    QTreeWidget::focusInEvent(event);
    m_quiet = wasQuiet;
}

void TreeView::currentChanged(const QModelIndex &current, const QModelIndex &previous)
{
    QTreeWidget::currentChanged(current, previous);
    if (!m_quiet && current.isValid())
        Q_EMIT NodeClick(static_cast<TreeNode *>(itemFromIndex(current)));
}
