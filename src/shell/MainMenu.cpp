#include "MainMenu.h"

#include <QAction>
#include <QKeySequence>
#include <QMenu>
#include <QMenuBar>

namespace {

QMenu *addMenu(QMenuBar *bar, const char *name, const char *caption)
{
    QMenu *menu = bar->addMenu(QString::fromLatin1(caption));
    menu->setObjectName(QString::fromLatin1(name));
    menu->menuAction()->setObjectName(QString::fromLatin1(name));
    return menu;
}

QAction *addItem(QMenu *menu, const char *name, const char *caption, bool enabled = true,
                 const QKeySequence &shortcut = {})
{
    QAction *item = menu->addAction(QString::fromLatin1(caption));
    item->setObjectName(QString::fromLatin1(name));
    item->setEnabled(enabled);
    item->setShortcut(shortcut);
    return item;
}

QAction *addCheck(QMenu *menu, const char *name, const char *caption)
{
    QAction *item = addItem(menu, name, caption);
    item->setCheckable(true);
    item->setChecked(true);
    return item;
}

} // namespace

MainMenu::MainMenu(QMenuBar *bar)
{
    mnuFile = addMenu(bar, "mnuFile", "&File");
    mnuFileConnect = addItem(mnuFile, "mnuFileConnect", "&Open Lorekeep", true, QKeySequence::Open);
    mnuFile->addSeparator();
    mnuFileImport = addItem(mnuFile, "mnuFileImport", "&Import Files...", true, QKeySequence(Qt::CTRL | Qt::Key_I));
    mnuFileImportFolder = addItem(mnuFile, "mnuFileImportFolder", "Import F&older...", true);
    mnuFile->addSeparator();
    mnuFilePrint = addItem(mnuFile, "mnuFilePrint", "&Print", true, QKeySequence::Print);
    mnuFileExportPdf = addItem(mnuFile, "mnuFileExportPdf", "&Export to PDF...", true);
    mnuFile->addSeparator();
    mnuFileRestore = addItem(mnuFile, "mnuFileRestore", "&Restore From Backup...", true);
    mnuFile->addSeparator();
    mnuFileExit = addItem(mnuFile, "mnuFileExit", "E&xit", true, QKeySequence::Quit);
    mnuFileExit->setMenuRole(QAction::QuitRole);

    mnuEdit = addMenu(bar, "mnuEdit", "&Edit");
    mnuMaintPlatforms = addItem(mnuEdit, "mnuMaintPlatforms", "&Platforms");
    mnuEdit->addSeparator();
    mnuSearchLorekeep = addItem(mnuEdit, "mnuSearchLorekeep", "&Find...", true, QKeySequence::Find);

    mnuView = addMenu(bar, "mnuView", "&View");
    mnuView->addSeparator();
    mnuViewTop = addCheck(mnuView, "mnuViewTop", "&Title");
    mnuViewLeft = addCheck(mnuView, "mnuViewLeft", "Book T&ree");
    mnuViewBottom = addCheck(mnuView, "mnuViewBottom", "&Details");

    mnuTools = addMenu(bar, "mnuTools", "&Tools");
    mnuViewQuickClip = addItem(mnuTools, "mnuViewQuickClip", "&Quick Clip Viewer");
    mnuToolsCheck = addItem(mnuTools, "mnuToolsCheck", "Check &Library...", true);
    mnuTools->addSeparator();
    mnuToolsOptions = addItem(mnuTools, "mnuToolsOptions", "&Options...", false);

    mnuHelp = addMenu(bar, "mnuHelp", "&Help");
    mnuHelpContents = addItem(mnuHelp, "mnuHelpContents", "&Contents", false, QKeySequence::HelpContents);
    mnuHelpSearch = addItem(mnuHelp, "mnuHelpSearch", "&Search For Help On...", false);
    mnuHelp->addSeparator();
    mnuTips = addItem(mnuHelp, "mnuTips", "Tip Of The &Day", false);
    mnuHelp->addSeparator();
    mnuHelpUpdate = addItem(mnuHelp, "mnuHelpUpdate", "Check For &Updates...", false);
    mnuLKSupport = addItem(mnuHelp, "mnuLKSupport", "&Online Support", false);
    mnuHelp->addSeparator();
    mnuHelpAbout = addItem(mnuHelp, "mnuHelpAbout", "&About Lorekeep...", false);
    mnuHelpAbout->setMenuRole(QAction::AboutRole);
}
