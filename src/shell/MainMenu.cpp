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

QAction *addItem(QMenu *menu, const char *name, const char *caption, const QKeySequence &shortcut = {})
{
    QAction *item = menu->addAction(QString::fromLatin1(caption));
    item->setObjectName(QString::fromLatin1(name));
    item->setShortcut(shortcut);
    return item;
}

QAction *addCheck(QMenu *menu, const char *name, const char *caption, const QKeySequence &shortcut)
{
    QAction *item = addItem(menu, name, caption, shortcut);
    item->setCheckable(true);
    item->setChecked(true);
    return item;
}

} // namespace

MainMenu::MainMenu(QMenuBar *bar)
{
    mnuFile = addMenu(bar, "mnuFile", "&File");
    mnuFileConnect = addItem(mnuFile, "mnuFileConnect", "&Open Lorekeep", QKeySequence::Open);
    mnuFileOpenShared = addItem(mnuFile, "mnuFileOpenShared", "Open S&hared Library...");
    mnuFileRecent = mnuFile->addMenu(QStringLiteral("Open Re&cent"));
    mnuFileRecent->setObjectName(QStringLiteral("mnuFileRecent"));
    mnuFileRecent->menuAction()->setObjectName(QStringLiteral("mnuFileRecent"));
    mnuFile->addSeparator();
    mnuFileImport = addItem(mnuFile, "mnuFileImport", "&Import Files...", QKeySequence(Qt::CTRL | Qt::Key_I));
    mnuFileImportFolder =
        addItem(mnuFile, "mnuFileImportFolder", "Import F&older...", QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_I));
    mnuFile->addSeparator();
    mnuFilePrint = addItem(mnuFile, "mnuFilePrint", "&Print", QKeySequence::Print);
    mnuFileExportPdf =
        addItem(mnuFile, "mnuFileExportPdf", "&Export to PDF...", QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_E));
    mnuFile->addSeparator();
    mnuFileCopy = addItem(mnuFile, "mnuFileCopy", "Cop&y Library To...");
    mnuFileRestore = addItem(mnuFile, "mnuFileRestore", "&Restore From Backup...");
    mnuFile->addSeparator();
    mnuFileExit = addItem(mnuFile, "mnuFileExit", "E&xit", QKeySequence::Quit);
    mnuFileExit->setMenuRole(QAction::QuitRole);

    mnuEdit = addMenu(bar, "mnuEdit", "&Edit");
    mnuEditAddGame = addItem(mnuEdit, "mnuEditAddGame", "&Add Game...");
    mnuEdit->addSeparator();
    mnuMaintPlatforms = addItem(mnuEdit, "mnuMaintPlatforms", "&Platforms");
    mnuEdit->addSeparator();
    mnuSearchLorekeep = addItem(mnuEdit, "mnuSearchLorekeep", "&Find...", QKeySequence::Find);

    mnuView = addMenu(bar, "mnuView", "&View");
    mnuView->addSeparator();
    mnuViewTop = addCheck(mnuView, "mnuViewTop", "&Title", QKeySequence(Qt::CTRL | Qt::Key_F9));
    mnuViewLeft = addCheck(mnuView, "mnuViewLeft", "Book T&ree", QKeySequence(Qt::Key_F9));
    mnuViewBottom = addCheck(mnuView, "mnuViewBottom", "&Details", QKeySequence(Qt::SHIFT | Qt::Key_F9));
    mnuViewSections = addCheck(mnuView, "mnuViewSections", "&Sections", {});
    mnuView->addSeparator();
    // For texts in a fixed-pitch font, whose lines otherwise run on past the edge; remembered.
    mnuViewWrap = addCheck(mnuView, "mnuViewWrap", "&Wrap Lines", QKeySequence());
    mnuViewWrap->setChecked(false);
    mnuView->addSeparator();
    // F6 is the key most desktop programs move between their panes with.
    mnuViewNextPane = addItem(mnuView, "mnuViewNextPane", "&Next Pane", QKeySequence(Qt::Key_F6));
    mnuViewPreviousPane =
        addItem(mnuView, "mnuViewPreviousPane", "Pre&vious Pane", QKeySequence(Qt::SHIFT | Qt::Key_F6));
    mnuView->addSeparator();
    mnuViewBrowser = addItem(mnuView, "mnuViewBrowser", "Web &Browser");

    mnuTools = addMenu(bar, "mnuTools", "&Tools");
    mnuViewQuickClip =
        addItem(mnuTools, "mnuViewQuickClip", "&Quick Clip Viewer", QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C));
    mnuToolsCheck = addItem(mnuTools, "mnuToolsCheck", "Check &Library...");
    mnuTools->addSeparator();
    // Desktops without a settings key of their own get the common Ctrl+,.
    const QList<QKeySequence> preferences = QKeySequence::keyBindings(QKeySequence::Preferences);
    mnuToolsOptions =
        addItem(mnuTools, "mnuToolsOptions", "&Options...",
                preferences.isEmpty() ? QKeySequence(Qt::CTRL | Qt::Key_Comma) : preferences.constFirst());
    mnuToolsOptions->setMenuRole(QAction::PreferencesRole);

    mnuHelp = addMenu(bar, "mnuHelp", "&Help");
    mnuHelpContents = addItem(mnuHelp, "mnuHelpContents", "&Contents", QKeySequence::HelpContents);
    mnuHelpSearch = addItem(mnuHelp, "mnuHelpSearch", "&Search For Help On...", QKeySequence(Qt::SHIFT | Qt::Key_F1));
    mnuHelp->addSeparator();
    mnuTips = addItem(mnuHelp, "mnuTips", "Tip Of The &Day");
    mnuHelp->addSeparator();
    mnuHelpUpdate = addItem(mnuHelp, "mnuHelpUpdate", "Check For &Updates...");
    mnuLKSupport = addItem(mnuHelp, "mnuLKSupport", "&Online Support");
    mnuHelp->addSeparator();
    mnuHelpAbout = addItem(mnuHelp, "mnuHelpAbout", "&About Lorekeep...");
    mnuHelpAbout->setMenuRole(QAction::AboutRole);
}
