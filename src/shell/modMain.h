#pragma once

#include <QString>

#include <functional>

class QWidget;
class frmMain;

// Program-wide window helpers and the start of the program.
namespace modMain {

// Shows the splash, creates and shows the main window, takes the splash down as the window
// shows, then runs the window's first activation, each step from the event loop once the window
// before it is on the screen. The main window deletes itself when it closes. `startFile`, when
// given, is a store or Quick Clip file to open (see frmMain::setStartFile). `started` runs once
// the first activation is over.
void Main(const QString &startFile, std::function<void()> started);

// The one main window while it exists.
frmMain *MainForm();
void SetMainForm(frmMain *form);

// Brings the program to the front when another start on the same home asks for it: the main
// window restored if minimised, raised and activated, and a dialog that is up above it. `file`, when
// given, is then opened (see OpenWhenFree).
void BringToFront(const QString &file = QString());
// Opens `file` as frmMain::OpenFile opens it, as soon as the main window is up and no dialog waits
// for an answer.
void OpenWhenFree(const QString &file);

// Closes `window` (a window that wants to be destroyed sets Qt::WA_DeleteOnClose, and callers hold
// it in a QPointer, which clears itself), then draws the main title strip active again.
void UnloadForm(QWidget *window);
// Closes every top-level window, then deletes the pending Quick Clips file "~clp.tmp".
void UnloadAll();

} // namespace modMain
