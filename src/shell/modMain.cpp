#include "modMain.h"

#include "base/AppPath.h"
#include "base/Caption.h"
#include "frmMain.h"
#include "frmSplash.h"

#include <QApplication>
#include <QFile>
#include <QPointer>

namespace modMain {

namespace {

QPointer<frmMain> &mainForm()
{
    static QPointer<frmMain> form;
    return form;
}

} // namespace

void Main()
{
    auto *splash = new frmSplash;
    splash->setAttribute(Qt::WA_DeleteOnClose);
    splash->ShowNow();
    QPointer<frmSplash> guard(splash);

    auto *form = new frmMain;
    form->setAttribute(Qt::WA_DeleteOnClose);
    SetMainForm(form);
    form->Form_Load();
    form->show();
    // Without a window manager to honour stays-on-top, the newer main window would hide the splash.
    if (guard) {
        guard->raise();
        guard->repaint();
    }
    form->Form_Activate();

    if (guard)
        guard->close();
}

frmMain *MainForm()
{
    return mainForm().data();
}

void SetMainForm(frmMain *form)
{
    mainForm() = form;
}

void BringToFront()
{
    frmMain *form = MainForm();
    // While start-up loads, the window is not shown yet; it comes up in front when start-up ends.
    if (!form || !form->isVisible())
        return;
    if (form->isMinimized())
        form->setWindowState((form->windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    form->raise();
    form->activateWindow();
    // The code that opened a dialog waits for its answer, so the dialog is what the user must see.
    if (QWidget *modal = QApplication::activeModalWidget(); modal && modal != form) {
        modal->raise();
        modal->activateWindow();
    }
}

void UnloadForm(QWidget *window)
{
    if (window)
        window->close();
    if (frmMain *form = MainForm())
        SetCaptionColors(form->lblCaption(), CaptionActive);
}

void UnloadAll()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget *window : windows) {
        // Menus, tool tips and the like are top-level too, but they are not windows of their own.
        const Qt::WindowType type = window->windowType();
        if (window->isVisible() && (type == Qt::Window || type == Qt::Dialog || type == Qt::SplashScreen))
            UnloadForm(window);
    }
    QFile::remove(AppPath() + QStringLiteral("~clp.tmp"));
}

} // namespace modMain
