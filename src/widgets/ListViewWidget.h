#pragma once

#include "ListView.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMouseEvent>

#include <utility>

// Both views report presses, double clicks and keys to the list in the order the list's users
// expect: a press after it moved the selection, a key before the view acts on it.
template <class Base> class ListViewWidget final : public Base
{
public:
    explicit ListViewWidget(ListView *list) : m_list(list) {}

protected:
    void mousePressEvent(QMouseEvent *event) override
    {
        const bool wasQuiet = std::exchange(m_list->m_quiet, true);
        Base::mousePressEvent(event);
        m_list->m_quiet = wasQuiet;
        m_list->pressed(this, event->button(), event->position().toPoint(), event->globalPosition().toPoint());
    }

    void mouseDoubleClickEvent(QMouseEvent *event) override
    {
        const bool wasQuiet = std::exchange(m_list->m_quiet, true);
        Base::mouseDoubleClickEvent(event);
        m_list->m_quiet = wasQuiet;
        if (event->button() == Qt::LeftButton)
            Q_EMIT m_list->DblClick();
    }

    void keyPressEvent(QKeyEvent *event) override
    {
        Q_EMIT m_list->KeyDown(event->key(), event->modifiers());
        Base::keyPressEvent(event);
    }

    void contextMenuEvent(QContextMenuEvent *event) override
    {
        // A right click has had its say as MouseDown already; the keyboard's request is the
        // list's to report.
        if (event->reason() == QContextMenuEvent::Mouse) {
            Base::contextMenuEvent(event);
            return;
        }
        event->accept();
        m_list->menuKey(this);
    }

    void focusInEvent(QFocusEvent *event) override
    {
        // Qt makes the first row current when a list without one gets the focus; the user chose
        // nothing, so that is no click.
        const bool wasQuiet = std::exchange(m_list->m_quiet, true);
        Base::focusInEvent(event);
        m_list->m_quiet = wasQuiet;
    }

private:
    ListView *m_list;
};
