#pragma once

#include "widgets/ListView.h"

#include <QAbstractItemView>
#include <QTest>

// Where a user points at a list's row in the view on show, and a double click there after the row
// was selected, as a real double click's first press selects it.
inline QPoint rowCenter(const ListView *list, const ListItem *entry)
{
    const QAbstractItemView *view = list->ActiveView();
    return view->visualRect(view->model()->index(list->IndexOf(entry) - 1, 0)).center();
}

inline void doubleClick(ListView *list, ListItem *entry)
{
    list->Select(entry);
    QTest::mouseDClick(list->ActiveView()->viewport(), Qt::LeftButton, {}, rowCenter(list, entry));
}
