#pragma once

#include <QString>

class QLabel;
class QWidget;
class frmMain;

// Program-wide window helpers and the start of the program.
namespace modMain {

// Caption states for SetCaptionColors.
constexpr short CaptionActive = -1;
constexpr short CaptionInactive = 0;

// Shows the splash, creates and shows the main window, runs its first activation and takes the
// splash down again. The main window deletes itself when it closes.
void Main();

// The one main window while it exists.
frmMain *MainForm();
void SetMainForm(frmMain *form);

// Closes `window` (a window that wants to be destroyed sets Qt::WA_DeleteOnClose, and callers hold
// it in a QPointer, which clears itself), then draws the main title strip active again.
void UnloadForm(QWidget *window);
// Closes every top-level window, then deletes the pending Quick Clips file "~clp.tmp".
void UnloadAll();
// Active (-1): black background, white text. Inactive (0): the workspace background with button-face
// text. Any other state changes nothing.
void SetCaptionColors(QLabel *label, short state);
// The main window's caption while the Files tab is shown: the program and the open store's name.
QString FilesCaption(const QString &databaseName);

} // namespace modMain
