#include "KeyboardAccess.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QTextEdit>
#include <QToolBar>
#include <QToolButton>

namespace {

class CtrlTabFilter final : public QObject
{
public:
    explicit CtrlTabFilter(QTextEdit *editor) : QObject(editor), m_editor(editor) {}

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (watched != m_editor || event->type() != QEvent::KeyPress)
            return false;
        const auto *key = static_cast<QKeyEvent *>(event);
        if (!(key->modifiers() & Qt::ControlModifier) || (key->key() != Qt::Key_Tab && key->key() != Qt::Key_Backtab))
            return false;
        const bool back = key->key() == Qt::Key_Backtab || (key->modifiers() & Qt::ShiftModifier);
        // The editor's own way out, which it takes only while Tab is not kept for the text.
        const bool kept = m_editor->tabChangesFocus();
        m_editor->setTabChangesFocus(true);
        QKeyEvent tab(QEvent::KeyPress, back ? Qt::Key_Backtab : Qt::Key_Tab,
                      back ? Qt::ShiftModifier : Qt::NoModifier);
        QCoreApplication::sendEvent(m_editor, &tab);
        m_editor->setTabChangesFocus(kept);
        return true;
    }

private:
    QTextEdit *m_editor;
};

class ShiftF10Filter final : public QObject
{
public:
    explicit ShiftF10Filter(QWidget *widget) : QObject(widget), m_widget(widget) {}

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (watched != m_widget || event->type() != QEvent::KeyPress)
            return false;
        const auto *key = static_cast<QKeyEvent *>(event);
        if (key->key() != Qt::Key_F10 || key->modifiers() != Qt::ShiftModifier)
            return false;
        const QPoint middle = m_widget->rect().center();
        QContextMenuEvent menu(QContextMenuEvent::Keyboard, middle, m_widget->mapToGlobal(middle));
        QCoreApplication::sendEvent(m_widget, &menu);
        return true;
    }

private:
    QWidget *m_widget;
};

} // namespace

void OpenToKeyboard(QToolBar *bar)
{
    QList<QWidget *> buttons;
    for (QAction *action : bar->actions()) {
        auto *button = qobject_cast<QToolButton *>(bar->widgetForAction(action));
        if (!button)
            continue;
        buttons.append(button);
        button->setFocusPolicy(Qt::TabFocus);
        QString name = action->text();
        name.remove(QLatin1Char('&'));
        button->setAccessibleName(name.isEmpty() ? action->toolTip() : name);
    }
    // The bar's own button for the actions it has no room for, shown only then, and then the one
    // way to them.
    for (QToolButton *button : bar->findChildren<QToolButton *>(QString(), Qt::FindDirectChildrenOnly)) {
        if (buttons.contains(button))
            continue;
        button->setFocusPolicy(Qt::TabFocus);
        button->setAccessibleName(QStringLiteral("More Tools"));
    }
}

void MenuOnShiftF10(QWidget *widget)
{
    widget->installEventFilter(new ShiftF10Filter(widget));
}

void LeaveWithCtrlTab(QTextEdit *editor)
{
    editor->installEventFilter(new CtrlTabFilter(editor));
}
