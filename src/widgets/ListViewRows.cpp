#include "ListView.h"

#include <QTimer>

#include <algorithm>
#include <cstddef>
#include <new>

// A row's values, and the blocks of memory a list makes its rows in.

namespace {

// Rows a block of memory holds, and a row's room in it.
constexpr size_t blockItems = 1024;
constexpr size_t slotSize = (sizeof(ListItem) + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) *
                            alignof(std::max_align_t);
// How long an emptied list keeps its blocks for the next rows.
constexpr int releaseMs = 30000;

} // namespace

void ListItem::setText(const QString &text)
{
    m_text = text;
    m_view->changed(this, m_view->m_sortKey == 0);
}

void ListItem::setSubItem(int index, const QString &text)
{
    if (index < 1)
        return;
    if (m_subItems.size() < index) {
        // A row's texts come one column after another: room for them all is made with the first.
        m_subItems.reserve(std::max<qsizetype>(index, m_view->ColumnCount() - 1));
        m_subItems.resize(index);
    }
    m_subItems[index - 1] = text;
    m_view->changed(this, m_view->m_sortKey == index);
}

void ListItem::setIcon(int icon)
{
    m_icon = icon;
    m_view->changed(this, false);
}

ListItem::ListItem(ListView *view, QString key, const QString &text, int icon)
    : m_view(view), m_key(std::move(key)), m_text(text), m_icon(icon)
{}

ListItem *ListView::makeItem(QString key, const QString &text, int icon)
{
    void *slot = m_freeSlots;
    if (slot) {
        m_freeSlots = *static_cast<void **>(slot);
    } else {
        if (m_blockLeft == 0) {
            m_blocks.emplace_back(new char[blockItems * slotSize]);
            m_blockLeft = blockItems;
        }
        slot = m_blocks.back().get() + (blockItems - m_blockLeft--) * slotSize;
    }
    ++m_liveItems;
    if (m_releaseTimer->isActive())
        m_releaseTimer->stop();
    return new (slot) ListItem(this, std::move(key), text, icon);
}

void ListView::dropItem(ListItem *item)
{
    item->~ListItem();
    *reinterpret_cast<void **>(item) = m_freeSlots;
    m_freeSlots = item;
    if (--m_liveItems == 0 && !m_blocks.empty())
        m_releaseTimer->start(releaseMs);
}

void ListView::releaseBlocks()
{
    if (m_liveItems != 0)
        return;
    m_blocks.clear();
    m_blockLeft = 0;
    m_freeSlots = nullptr;
}
