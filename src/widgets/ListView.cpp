#include "ListView.h"

#include "KeyboardAccess.h"
#include "ListModel.h"
#include "ListViewWidget.h"
#include "system/NaturalOrder.h"

#include <QHeaderView>
#include <QListView>
#include <QScrollBar>
#include <QStackedWidget>
#include <QStyle>
#include <QTimer>
#include <QTreeView>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr int LargeIconSize = 32;
constexpr int SmallIconSize = 16;

ErrObject elementNotFound()
{
    return {ErrNumber::ElementNotFound, QStringLiteral("Element not found")};
}

ErrObject keyNotUnique()
{
    return {ErrNumber::KeyNotUnique, QStringLiteral("Key is not unique in collection")};
}

} // namespace

ListView::ListView(QWidget *parent)
    : QWidget(parent),
      m_model(new ListModel(this)),
      m_selection(new QItemSelectionModel(m_model, this)),
      m_stack(new QStackedWidget(this)),
      m_report(new ListViewWidget<QTreeView>(this)),
      m_icons(new ListViewWidget<QListView>(this))
{
    m_showTimer = new QTimer(this);
    m_showTimer->setSingleShot(true);
    connect(m_showTimer, &QTimer::timeout, this, &ListView::ShowAppended);
    m_freeTimer = new QTimer(this);
    connect(m_freeTimer, &QTimer::timeout, this, &ListView::freeCleared);
    m_releaseTimer = new QTimer(this);
    m_releaseTimer->setSingleShot(true);
    connect(m_releaseTimer, &QTimer::timeout, this, &ListView::releaseBlocks);
    for (QAbstractItemView *view :
         {static_cast<QAbstractItemView *>(m_report), static_cast<QAbstractItemView *>(m_icons)}) {
        view->setModel(m_model);
        view->setSelectionModel(m_selection);
        view->setSelectionMode(QAbstractItemView::SingleSelection);
        view->setSelectionBehavior(QAbstractItemView::SelectRows);
        view->setEditTriggers(QAbstractItemView::NoEditTriggers);
        view->setTextElideMode(Qt::ElideRight);
        MenuOnShiftF10(view);
        m_stack->addWidget(view);
        // Only a user's own scrolling (wheel, bar, keys on the bar) triggers an action; ours does not.
        connect(view->verticalScrollBar(), &QAbstractSlider::actionTriggered, this, &ListView::UserScrolled);
    }
    m_report->setRootIsDecorated(false);
    m_report->setItemsExpandable(false);
    m_report->setUniformRowHeights(true);
    m_report->setAllColumnsShowFocus(true);
    m_report->setIconSize({SmallIconSize, SmallIconSize});
    m_report->header()->setSectionsClickable(true);
    m_report->header()->setSectionsMovable(false);
    m_report->header()->setStretchLastSection(false);
    m_report->header()->setSortIndicatorShown(false);
    connect(m_report->header(), &QHeaderView::sectionClicked, this, &ListView::ColumnClick);

    m_icons->setMovement(QListView::Static);
    m_icons->setResizeMode(QListView::Adjust);
    m_icons->setUniformItemSizes(true);
    m_icons->setWrapping(true);

    connect(m_selection, &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex &current) { currentMoved(current); });

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_stack);
    applyView();
}

ListView::~ListView()
{
    // The views go first: closing a window asks them for the headers, which this object's members,
    // gone before its children, would no longer give.
    delete m_stack;
    for (ListItem *item : std::as_const(m_rows))
        item->~ListItem();
    for (qsizetype i = m_freedUpTo; i < m_cleared.size(); ++i)
        m_cleared[i]->~ListItem();
}

bool ListView::setView(int view)
{
    if (view < Icon || view > Report)
        return false;
    m_view = view;
    applyView();
    return true;
}

void ListView::applyView()
{
    if (m_view == Report) {
        m_stack->setCurrentWidget(m_report);
    } else {
        m_icons->setViewMode(m_view == Icon ? QListView::IconMode : QListView::ListMode);
        const int size = m_view == Icon ? LargeIconSize : SmallIconSize;
        m_icons->setIconSize({size, size});
        // Small icons run along the rows, the list down the columns; both wrap at the edge.
        m_icons->setFlow(m_view == List ? QListView::TopToBottom : QListView::LeftToRight);
        m_icons->setWrapping(true);
        m_icons->setWordWrap(m_view == Icon);
        m_icons->setGridSize(m_view == Icon ? QSize(120, 72) : QSize());
        m_icons->setSpacing(m_view == Icon ? 0 : 2);
        m_stack->setCurrentWidget(m_icons);
    }
    setFocusProxy(m_stack->currentWidget());
    if (ListItem *item = SelectedItem())
        EnsureVisible(item);
}

void ListView::AcceptDrops(QObject *filter)
{
    for (QAbstractItemView *view :
         {static_cast<QAbstractItemView *>(m_report), static_cast<QAbstractItemView *>(m_icons)}) {
        view->viewport()->setAcceptDrops(true);
        view->viewport()->installEventFilter(filter);
    }
}

QAbstractItemView *ListView::ActiveView() const
{
    return static_cast<QAbstractItemView *>(m_stack->currentWidget());
}

void ListView::SetAccessibleName(const QString &name)
{
    setAccessibleName(name);
    m_report->setAccessibleName(name);
    m_icons->setAccessibleName(name);
}

void ListView::menuKey(QAbstractItemView *view)
{
    const QRect row = view->visualRect(view->currentIndex());
    const QPoint at = row.isValid() && view->viewport()->rect().intersects(row) ? row.bottomLeft()
                                                                                : view->viewport()->rect().center();
    Q_EMIT MenuKey(view->viewport()->mapToGlobal(at));
}

int ListView::AddColumn(const QString &caption, int width)
{
    const int column = int(m_captions.size());
    if (column == 0) {
        // The model always shows one column, so the first caption replaces that one.
        m_captions << caption;
        Q_EMIT m_model->headerDataChanged(Qt::Horizontal, 0, 0);
    } else {
        m_model->beginResetModel();
        m_captions << caption;
        m_model->endResetModel();
    }
    setColumnWidth(column, width);
    return column;
}

void ListView::setColumnCaption(int column, const QString &caption)
{
    if (column < 0 || column >= m_captions.size() || m_captions.at(column) == caption)
        return;
    m_captions[column] = caption;
    Q_EMIT m_model->headerDataChanged(Qt::Horizontal, column, column);
}

int ListView::ColumnWidth(int column) const
{
    return m_report->columnWidth(column);
}

void ListView::setColumnWidth(int column, int width)
{
    if (column >= 0 && column < ColumnCount() && width >= 0)
        m_report->setColumnWidth(column, width);
}

void ListView::FitColumns(int sampleRows, int maxWidth)
{
    const QFontMetrics metrics(m_report->font());
    // A cell's text sits between the style's margins, as the item delegate draws it.
    const int padding = 2 * (m_report->style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, m_report) + 1) + 6;
    const int rows = std::min(sampleRows, Count());
    QHeaderView *header = m_report->header();
    for (int column = 0; column < ColumnCount(); ++column) {
        int width = header->sectionSizeHint(column);
        for (int row = 0; row < rows; ++row) {
            const ListItem *item = m_rows.at(row);
            int cell = metrics.horizontalAdvance(item->ColumnText(column)) + padding;
            if (column == 0 && m_images.contains(item->Icon()))
                cell += m_report->iconSize().width() + 4;
            width = std::max(width, cell);
        }
        setColumnWidth(column, std::min(width, std::max(maxWidth, header->sectionSizeHint(column))));
    }
}

void ListView::SetImage(int index, const QIcon &icon)
{
    m_images.insert(index, icon);
    if (Count() > 0)
        Q_EMIT m_model->dataChanged(m_model->index(0, 0), m_model->index(Count() - 1, 0), {Qt::DecorationRole});
}

ListItem *ListView::Add(const QString &key, const QString &text, int icon, ErrObject *err)
{
    indexKeys();
    // One look-up both checks the key and makes its place.
    ListItem **slot = nullptr;
    if (!key.isEmpty()) {
        slot = &m_byKey[key];
        if (*slot) {
            *err = keyNotUnique();
            return nullptr;
        }
    }
    ListItem *item = makeItem(key, text, icon);
    if (slot)
        *slot = item;
    return append(item);
}

ListItem *ListView::AddNew(QString key, const QString &text, int icon)
{
    ListItem *item = makeItem(std::move(key), text, icon);
    if (!item->m_key.isEmpty())
        m_unindexed.append(item);
    return append(item);
}

ListItem *ListView::append(ListItem *item)
{
    if (m_updating || (m_batchAppend && !m_sorted)) {
        if (!m_updating && m_pendingFrom < 0) {
            m_pendingFrom = Count();
            // A long list takes long to lay out again, which the view does for every insertion it
            // hears of: the longer the list, the longer new rows wait to be shown together, about
            // a millisecond for every thousand rows shown.
            m_showTimer->start(std::min(ShownCount() / 1000, 1000));
        }
        item->m_row = int(m_rows.size());
        m_rows.append(item);
        return item;
    }
    const int row = m_sorted ? placeFor(item) : int(m_rows.size());
    m_model->beginInsertRows({}, row, row);
    m_rows.insert(row, item);
    renumber(row);
    m_model->endInsertRows();
    return item;
}

void ListView::indexUnindexed() const
{
    m_byKey.reserve(m_byKey.size() + m_unindexed.size());
    for (ListItem *item : std::as_const(m_unindexed))
        m_byKey.insert(item->m_key, item);
    m_unindexed = {};
}

ListItem *ListView::Item(const QString &key, ErrObject *err) const
{
    indexKeys();
    ListItem *item = key.isEmpty() ? nullptr : m_byKey.value(key);
    if (!item && err)
        *err = elementNotFound();
    return item;
}

bool ListView::Remove(const QString &key, ErrObject *err)
{
    ListItem *item = Item(key, err);
    if (!item)
        return false;
    Remove(item);
    return true;
}

void ListView::Remove(ListItem *item)
{
    ShowAppended();
    // Qt moves the current row on to a neighbour; the user chose nothing, so that is no click.
    const bool wasQuiet = std::exchange(m_quiet, true);
    const int row = item->m_row;
    if (m_updating) {
        m_rows.removeAt(row);
    } else {
        m_model->beginRemoveRows({}, row, row);
        m_rows.removeAt(row);
        m_model->endRemoveRows();
    }
    renumber(row);
    indexKeys();
    if (!item->m_key.isEmpty())
        m_byKey.remove(item->m_key);
    if (item == m_scrollTarget)
        m_scrollTarget = nullptr;
    dropItem(item);
    m_quiet = wasQuiet;
}

bool ListView::setKey(ListItem *item, const QString &key, ErrObject *err)
{
    if (key == item->m_key)
        return true;
    indexKeys();
    if (!key.isEmpty() && m_byKey.contains(key)) {
        *err = keyNotUnique();
        return false;
    }
    if (!item->m_key.isEmpty())
        m_byKey.remove(item->m_key);
    item->m_key = key;
    if (!key.isEmpty())
        m_byKey.insert(key, item);
    return true;
}

void ListView::Clear()
{
    m_model->beginResetModel();
    // Freeing a search's hundreds of thousands of rows takes longer than the next search takes to
    // list its first ones. A long list is freed a slice at a time while the window goes on, on this
    // thread: freeing on another would contend with the next list's rows for the allocator's lock,
    // where freed here they are the very memory the next rows are made in.
    constexpr int manyRows = 20000;
    if (m_rows.size() >= manyRows) {
        m_cleared += std::exchange(m_rows, {});
        m_freeTimer->start();
    } else {
        for (ListItem *item : std::as_const(m_rows))
            dropItem(item);
        m_rows.clear();
    }
    m_byKey.clear();
    m_unindexed.clear();
    m_pendingFrom = -1;
    m_scrollTarget = nullptr;
    m_model->endResetModel();
}

void ListView::freeCleared()
{
    // A few milliseconds a slice. Oldest first, as they were made: the allocator joins the freed
    // texts into large blocks the next rows' texts are made in.
    constexpr qsizetype slice = 10000;
    const qsizetype to = std::min(m_freedUpTo + slice, m_cleared.size());
    for (; m_freedUpTo < to; ++m_freedUpTo)
        dropItem(m_cleared.at(m_freedUpTo));
    if (m_freedUpTo == m_cleared.size()) {
        m_cleared = {};
        m_freedUpTo = 0;
        m_freeTimer->stop();
    }
}

void ListView::BeginUpdate(int expectedRows)
{
    if (m_updating)
        return;
    ShowAppended();
    m_updating = true;
    m_model->beginResetModel();
    if (expectedRows > 0) {
        m_rows.reserve(m_rows.size() + expectedRows);
        m_byKey.reserve(m_byKey.size() + expectedRows);
    }
}

void ListView::EndUpdate()
{
    if (!m_updating)
        return;
    m_updating = false;
    if (m_sorted)
        std::stable_sort(m_rows.begin(), m_rows.end(), RowOrder{this});
    renumber(0);
    m_model->endResetModel();
}

void ListView::setSortKey(int column)
{
    if (column < 0)
        return;
    m_sortKey = column;
    if (m_sorted)
        sortRows();
}

void ListView::setSorted(bool sorted)
{
    m_sorted = sorted;
    if (m_sorted)
        sortRows();
    // The header shows the order the rows are in; a click never turns it round.
    m_report->header()->setSortIndicatorShown(m_sorted);
    m_report->header()->setSortIndicator(m_sorted ? m_sortKey : -1, Qt::AscendingOrder);
}

void ListView::sortRows()
{
    if (m_updating)
        return;
    ShowAppended();
    const ListItem *selected = SelectedItem();
    Q_EMIT m_model->layoutAboutToBeChanged();
    const QModelIndexList before = m_model->persistentIndexList();
    QVector<const ListItem *> moved;
    moved.reserve(before.size());
    for (const QModelIndex &index : before)
        moved << m_rows.value(index.row());
    std::stable_sort(m_rows.begin(), m_rows.end(), RowOrder{this});
    renumber(0);
    QModelIndexList after;
    after.reserve(before.size());
    for (int i = 0; i < before.size(); ++i)
        after << (moved[i] ? m_model->index(moved[i]->m_row, before[i].column()) : QModelIndex());
    m_model->changePersistentIndexList(before, after);
    Q_EMIT m_model->layoutChanged();
    m_report->header()->setSortIndicator(m_sortKey, Qt::AscendingOrder);
    if (selected)
        EnsureVisible(const_cast<ListItem *>(selected));
}

bool ListView::RowOrder::operator()(const ListItem *a, const ListItem *b) const
{
    return NaturalLess(a->ColumnText(list->m_sortKey), b->ColumnText(list->m_sortKey));
}

int ListView::placeFor(const ListItem *item) const
{
    // After its equals, so rows of the same text keep the order they came in.
    const auto at = std::upper_bound(m_rows.cbegin(), m_rows.cend(), item, RowOrder{this});
    return int(at - m_rows.cbegin());
}

void ListView::renumber(int from)
{
    for (int row = std::max(0, from); row < m_rows.size(); ++row)
        m_rows[row]->m_row = row;
}

void ListView::changed(ListItem *item, bool placing)
{
    if (m_updating || (m_pendingFrom >= 0 && item->m_row >= m_pendingFrom))
        return;
    int row = item->m_row;
    if (placing && m_sorted) {
        m_rows.removeAt(row);
        const int place = placeFor(item);
        m_rows.insert(row, item);
        if (place != row) {
            // beginMoveRows counts the destination before the move takes the row out.
            m_model->beginMoveRows({}, row, row, {}, place > row ? place + 1 : place);
            m_rows.move(row, place);
            renumber(std::min(row, place));
            m_model->endMoveRows();
            row = place;
        }
    }
    m_model->rowChanged(row);
}

ListItem *ListView::SelectedItem() const
{
    const QModelIndexList rows = m_selection->selectedRows();
    return rows.isEmpty() ? nullptr : m_rows.value(rows.first().row());
}

void ListView::Select(ListItem *item)
{
    ShowAppended();
    const bool wasQuiet = std::exchange(m_quiet, true);
    if (item) {
        m_selection->setCurrentIndex(m_model->index(item->m_row, 0),
                                     QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        EnsureVisible(item);
    } else {
        m_selection->clearSelection();
    }
    m_quiet = wasQuiet;
}

void ListView::EnsureVisible(ListItem *item)
{
    // Scrolling lays out every row first; a caller that adds rows one by one and shows each would
    // pay that for every row. The view scrolls once, to the last row asked for, when control
    // returns to the event loop, which is before it paints.
    if (!item)
        return;
    m_scrollTarget = item;
    if (!std::exchange(m_scrollPosted, true))
        QTimer::singleShot(0, this, &ListView::scrollToTarget);
}

void ListView::ShowAppended()
{
    m_showTimer->stop();
    if (m_pendingFrom < 0 || m_pendingFrom >= Count()) {
        m_pendingFrom = -1;
        return;
    }
    // The views hear of the rows while the model still counts them out, as Qt expects.
    m_model->beginInsertRows({}, m_pendingFrom, Count() - 1);
    m_pendingFrom = -1;
    m_model->endInsertRows();
    if (m_scrollTarget)
        scrollToTarget();
}

void ListView::scrollToTarget()
{
    m_scrollPosted = false;
    // A row not shown yet is scrolled to once it is.
    if (m_scrollTarget && m_pendingFrom >= 0 && m_scrollTarget->m_row >= m_pendingFrom)
        return;
    if (ListItem *item = std::exchange(m_scrollTarget, nullptr))
        ActiveView()->scrollTo(m_model->index(item->m_row, 0));
}

void ListView::pressed(QAbstractItemView *view, Qt::MouseButton button, const QPoint &pos, const QPoint &globalPos)
{
    const QModelIndex index = view->indexAt(pos);
    if (!index.isValid()) {
        // As on every desktop, a press beside the rows leaves nothing selected.
        m_selection->clearSelection();
    } else if (ListItem *item = m_rows.value(index.row()); item && item == SelectedItem()) {
        Q_EMIT ItemClick(item);
    }
    Q_EMIT MouseDown(button, globalPos);
}

void ListView::currentMoved(const QModelIndex &current)
{
    if (m_quiet || !current.isValid())
        return;
    if (ListItem *item = m_rows.value(current.row()))
        Q_EMIT ItemClick(item);
}
