#include "frmMain.h"

#include "AppPath.h"
#include "ErrorLog.h"
#include "HomeFolder.h"
#include "data/modADO.h"
#include "platform/Prompts.h"

#include <QLabel>
#include <QPixmap>
#include <QStatusBar>
#include <QTimer>

frmMain::frmMain(QWidget *parent) : QMainWindow(parent)
{
    setObjectName(QStringLiteral("frmMain"));
    setWindowTitle(QStringLiteral("Lorekeep"));
    resize(900, 640);
    // The home's logo as a cover until the panes fill the window; a missing picture leaves it empty.
    auto *cover = new QLabel(this);
    cover->setObjectName(QStringLiteral("imgCover"));
    cover->setAlignment(Qt::AlignCenter);
    cover->setPixmap(QPixmap(AppPath() + QStringLiteral("logo.gif")));
    cover->setStyleSheet(QStringLiteral("background: white"));
    setCentralWidget(cover);
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
    if (store.Connect(AppPath() + HomeFolder::StoreFileName)) {
        setWindowTitle(QStringLiteral("Lorekeep - [") + store.DatabaseName() + QStringLiteral("] - Files"));
        statusBar()->showMessage(store.DatabasePath());
    } else {
        MsgBox(QStringLiteral("There is a database connection error."), MsgButtons::OK, MsgIcon::Critical);
    }
}
