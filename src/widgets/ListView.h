#pragma once

#include "system/ErrObject.h"

#include <QHash>
#include <QIcon>
#include <QStringList>
#include <QVarLengthArray>
#include <QVariant>
#include <QVector>
#include <QWidget>

#include <memory>
#include <vector>

class ListModel;
class ListView;
class QAbstractItemView;
class QItemSelectionModel;
class QListView;
class QStackedWidget;
class QTimer;
class QTreeView;

// One row of a ListView: a key unique in the list, the text of the first column, the texts of the
// other columns (SubItem 1 is the second column), an image index and a Tag for the caller's own
// value. Changing a shown value updates the views and, in a sorted list, the row's place.
class ListItem final
{
public:
    const QString &Key() const { return m_key; }
    const QString &Text() const { return m_text; }
    void setText(const QString &text);
    QString SubItem(int index) const { return m_subItems.value(index - 1); }
    void setSubItem(int index, const QString &text);
    int Icon() const { return m_icon; }
    void setIcon(int icon);
    const QVariant &Tag() const { return m_tag; }
    void setTag(const QVariant &tag) { m_tag = tag; }

    // The text of a column counted from 0.
    QString ColumnText(int column) const { return column == 0 ? m_text : SubItem(column); }

private:
    friend class ListView;
    ListItem(ListView *view, QString key, const QString &text, int icon);
    // Rows are made and freed by their list only, in its own blocks of memory.
    ~ListItem() = default;
    Q_DISABLE_COPY_MOVE(ListItem)

    ListView *m_view;
    QString m_key;
    QString m_text;
    // Inline for the few columns a list has: a million search results would otherwise each take
    // an allocation of their own for them.
    QVarLengthArray<QString, 4> m_subItems;
    int m_icon;
    QVariant m_tag;
    int m_row = -1;
};

// A list of keyed rows as the panes use it, shown in one of four views: large icons, small icons,
// a list, or a report with column headers. Rows are found by key, counted and visited in display
// order (1-based), and may be kept sorted by one column. Images are registered by index; the large
// view draws them at 32 pixels, the others at 16. A missing key is error 35601, a taken one 35602.
class ListView final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ListView)

public:
    enum View { Icon = 0, SmallIcon = 1, List = 2, Report = 3 };

    explicit ListView(QWidget *parent = nullptr);
    ~ListView() override;

    // False (and no change) for a value that is not one of the four views.
    bool setView(int view);
    int View() const { return m_view; }

    // Columns of the report view; widths in pixels.
    int AddColumn(const QString &caption, int width);
    int ColumnCount() const { return int(m_captions.size()); }
    QString ColumnCaption(int column) const { return m_captions.value(column); }
    void setColumnCaption(int column, const QString &caption);
    int ColumnWidth(int column) const;
    void setColumnWidth(int column, int width);
    // Sizes every column to its caption and the texts of the first `sampleRows` rows, none wider
    // than `maxWidth`: cheap however many rows the list holds.
    void FitColumns(int sampleRows, int maxWidth);

    void SetImage(int index, const QIcon &icon);
    QIcon Image(int index) const { return m_images.value(index); }

    // Adds a row at the end, or at its place in a sorted list. An empty key adds a row that cannot be
    // found by key.
    ListItem *Add(const QString &key, const QString &text, int icon, ErrObject *err);
    // Adds a row as Add does, for a caller that knows no row has `key` yet: a list filled once and
    // read in order, such as a million search results, never pays for finding rows by key, as the
    // keys are looked at only when a row is first looked up by key.
    ListItem *AddNew(QString key, const QString &text, int icon);
    // The row with `key`, or null (and error 35601 in `err` when given).
    ListItem *Item(const QString &key, ErrObject *err = nullptr) const;
    bool Remove(const QString &key, ErrObject *err);
    void Remove(ListItem *item);
    // Gives `item` another key; false (and error 35602) when another row has it already.
    bool setKey(ListItem *item, const QString &key, ErrObject *err);
    void Clear();
    // Between these, rows are added without being placed or shown one by one: a sorted list is
    // sorted once at the end and the views take all rows in one go.
    void BeginUpdate(int expectedRows = 0);
    void EndUpdate();

    // Rows added at the end of an unsorted list, one by one as a search finds them, are shown
    // together once control is back in the event loop rather than each on its own: the view lays
    // out its rows again for every insertion it hears of, which for a hundred thousand rows costs
    // more than making them. Count, ItemAt and Item know such rows at once.
    void SetBatchedAppend(bool batched) { m_batchAppend = batched; }
    // Shows the batched rows not shown yet now.
    void ShowAppended();
    // The rows the views know of: all of them, but for batched rows not yet shown.
    int ShownCount() const { return m_pendingFrom >= 0 ? m_pendingFrom : Count(); }

    int Count() const { return int(m_rows.size()); }
    // The row at `index` (1 to Count()) in display order.
    ListItem *ItemAt(int index) const { return m_rows.value(index - 1); }
    int IndexOf(const ListItem *item) const { return item ? item->m_row + 1 : 0; }

    // Sorting is ascending by the text of one column (0 the first), in natural order: case and
    // accents ignored, numbers by value.
    void setSortKey(int column);
    int SortKey() const { return m_sortKey; }
    void setSorted(bool sorted);
    bool Sorted() const { return m_sorted; }

    // The selected row, or null when none is.
    ListItem *SelectedItem() const;
    // Selects `item` (null clears the selection) and scrolls it into view without raising ItemClick.
    void Select(ListItem *item);
    // Scrolls `item` into view once control is back in the event loop; of several calls before
    // then, the last one counts.
    void EnsureVisible(ListItem *item);

    // The view in use, for focus and look.
    QAbstractItemView *ActiveView() const;
    // The name screen readers give the list, in every view.
    void SetAccessibleName(const QString &name);
    // Lets things be dropped on the list, in every view; `filter` sees the drag and drop events.
    void AcceptDrops(QObject *filter);

Q_SIGNALS:
    // A mouse button was pressed on a row (after the list selected it), or the keyboard moved the
    // selection to a row.
    void ItemClick(ListItem *item);
    void DblClick();
    void ColumnClick(int column);
    // Before the list acts on the key.
    void KeyDown(int key, Qt::KeyboardModifiers modifiers);
    // After the list acted on the press; a press on no row clears the selection.
    void MouseDown(Qt::MouseButton button, const QPoint &globalPos);
    // The keyboard asked for a pop-up menu (the Menu key or Shift+F10); `globalPos` is by the
    // current row, or the middle of the list when there is none.
    void MenuKey(const QPoint &globalPos);
    // The user scrolled the list up or down.
    void UserScrolled();

private:
    friend class ListItem;
    friend class ListModel;
    template <class Base> friend class ListViewWidget;

    void changed(ListItem *item, bool placing);
    // The order of a sorted list: natural order of the sort column's texts.
    struct RowOrder
    {
        const ListView *list;
        bool operator()(const ListItem *a, const ListItem *b) const;
    };

    ListItem *append(ListItem *item);
    // Rows are made in blocks of a thousand, not one allocation each. A search lists up to a
    // million rows, and a new search's rows are made in the memory its predecessor's left. Made
    // one at a time, the allocator gave much of that memory back to the system, whose fresh pages
    // were each faulted in and cleared again: listing took a fifth longer.
    ListItem *makeItem(QString key, const QString &text, int icon);
    void dropItem(ListItem *item);
    void releaseBlocks();
    // Takes the keys of the rows added by AddNew into the look-up by key.
    void indexKeys() const
    {
        if (!m_unindexed.isEmpty())
            indexUnindexed();
    }
    void indexUnindexed() const;
    int placeFor(const ListItem *item) const;
    void renumber(int from);
    void sortRows();
    void applyView();
    void pressed(QAbstractItemView *view, Qt::MouseButton button, const QPoint &pos, const QPoint &globalPos);
    void menuKey(QAbstractItemView *view);
    void currentMoved(const QModelIndex &current);
    void scrollToTarget();
    void freeCleared();

    ListModel *m_model;
    QItemSelectionModel *m_selection;
    QStackedWidget *m_stack;
    QTreeView *m_report;
    QListView *m_icons;

    QVector<ListItem *> m_rows;
    mutable QHash<QString, ListItem *> m_byKey;
    // Rows added by AddNew whose keys m_byKey does not hold yet.
    mutable QVector<ListItem *> m_unindexed;
    QStringList m_captions;
    QHash<int, QIcon> m_images;
    int m_view = Report;
    int m_sortKey = 0;
    bool m_sorted = false;
    bool m_updating = false;
    bool m_quiet = false;
    bool m_batchAppend = false;
    // The first batched row not yet shown, or -1.
    int m_pendingFrom = -1;
    QTimer *m_showTimer;
    // The rows of a long list cleared, not freed yet.
    QVector<ListItem *> m_cleared;
    qsizetype m_freedUpTo = 0;
    QTimer *m_freeTimer;
    std::vector<std::unique_ptr<char[]>> m_blocks;
    // Slots in the last block not used yet.
    size_t m_blockLeft = 0;
    // Freed slots, each holding the next one's address.
    void *m_freeSlots = nullptr;
    qsizetype m_liveItems = 0;
    // A list left empty gives its blocks back after a while: another search soon after reuses them.
    QTimer *m_releaseTimer;
    ListItem *m_scrollTarget = nullptr;
    bool m_scrollPosted = false;
};
