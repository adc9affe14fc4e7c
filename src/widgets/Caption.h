#pragma once

#include <QString>

class QLabel;

// The look of the title strips over the panes and the main window's caption, shared by the main
// window and every pane so that they agree on which pane has the focus.

// Caption states for SetCaptionColors.
constexpr short CaptionActive = -1;
constexpr short CaptionInactive = 0;

// Active (-1): black background, white text. Inactive (0): the workspace background with button-face
// text, each moved as far as it takes for the text to read on the desktop's palette, light or dark.
// Any other state changes nothing.
void SetCaptionColors(QLabel *label, short state);
// The main window's caption while the Files tab is shown: the program and the open store's name.
QString FilesCaption(const QString &databaseName);
