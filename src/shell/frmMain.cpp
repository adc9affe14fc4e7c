#include "frmMain.h"

#include "AppPath.h"
#include "ErrorLog.h"
#include "HomeFolder.h"
#include "data/modADO.h"
#include "platform/Prompts.h"

#include <QTimer>

frmMain::frmMain(QWidget *parent) : QMainWindow(parent)
{
    setObjectName(QStringLiteral("frmMain"));
    setWindowTitle(QStringLiteral("Lorekeep"));
    resize(900, 640);
}

void frmMain::showEvent(QShowEvent *event)
{
    QMainWindow::showEvent(event);
    if (!m_activated) {
        m_activated = true;
        // Let the window paint before the store is opened, so a slow disk shows a window, not nothing.
        QTimer::singleShot(0, this, &frmMain::Form_Activate);
    }
}

void frmMain::Form_Activate()
{
    StartLog();
    modADO &store = modADO::instance();
    if (store.Connect(AppPath() + HomeFolder::StoreFileName))
        setWindowTitle(QStringLiteral("Lorekeep - [") + store.DatabaseName() + QStringLiteral("] - Files"));
    else
        MsgBox(QStringLiteral("There is a database connection error."), MsgButtons::OK, MsgIcon::Critical);
}
