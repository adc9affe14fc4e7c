#pragma once

class QTextEdit;
class QToolBar;
class QWidget;

// What the keyboard and assistive technology need beyond Qt's defaults.

// A tool bar leaves its buttons to the mouse; this opens them to the keyboard: every button of
// `bar` (those of the actions it holds now, and the one for the actions that do not fit) takes the
// focus by Tab, and each is named for screen readers by its action's text, or by its tool tip
// where the action has no text.
void OpenToKeyboard(QToolBar *bar);

// Shift+F10 on `widget` asks for its pop-up menu as the Menu key does, for keyboards without one:
// the widget gets the keyboard's context menu event.
void MenuOnShiftF10(QWidget *widget);

// An editor that keeps Tab for the text lets Ctrl+Tab and Ctrl+Shift+Tab move the focus on, so
// the keyboard can leave it for the window's other controls.
void LeaveWithCtrlTab(QTextEdit *editor);
