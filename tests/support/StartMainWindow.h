#pragma once

// For tests that link the widgets: the main window started the way the program's Main starts it.
#include "shell/frmMain.h"
#include "shell/modMain.h"
#include "webpage/StartPageScheme.h"

#include <memory>

// The window holds the browser, whose engine learns the start page's address only before the
// application exists, as the program's main does it.
inline const bool startPageSchemeKnown = [] {
    StartPageScheme::Register();
    return true;
}();

// `startFile` is a file given on the command line.
inline std::unique_ptr<frmMain> startMainWindow(const QString &startFile = QString())
{
    auto form = std::make_unique<frmMain>();
    modMain::SetMainForm(form.get());
    form->setStartFile(startFile);
    form->Form_Load();
    form->show();
    form->Form_Activate();
    return form;
}
