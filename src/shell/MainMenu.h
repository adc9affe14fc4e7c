#pragma once

class QAction;
class QMenu;
class QMenuBar;

// The main window's menu bar, its items named as the window's commands refer to them. The main
// window enables each item while it can act.
class MainMenu final
{
public:
    explicit MainMenu(QMenuBar *bar);

    QMenu *mnuFile;
    QAction *mnuFileConnect;
    QAction *mnuFileOpenShared;
    // The stores opened last; the main window fills it.
    QMenu *mnuFileRecent;
    QAction *mnuFileImport;
    QAction *mnuFileImportFolder;
    QAction *mnuFilePrint;
    QAction *mnuFileExportPdf;
    QAction *mnuFileCopy;
    QAction *mnuFileRestore;
    QAction *mnuFileExit;

    QMenu *mnuEdit;
    QAction *mnuEditAddGame;
    QAction *mnuMaintPlatforms;
    QAction *mnuSearchLorekeep;

    QMenu *mnuView;
    QAction *mnuViewTop;
    QAction *mnuViewLeft;
    QAction *mnuViewBottom;
    QAction *mnuViewWrap;
    // The list of the shown text's sections beside it, which the file view's reader drives.
    QAction *mnuViewSections;
    QAction *mnuViewNextPane;
    QAction *mnuViewPreviousPane;
    QAction *mnuViewBrowser;

    QMenu *mnuTools;
    QAction *mnuViewQuickClip;
    QAction *mnuToolsCheck;
    QAction *mnuToolsOptions;

    QMenu *mnuHelp;
    QAction *mnuHelpContents;
    QAction *mnuHelpSearch;
    QAction *mnuTips;
    QAction *mnuHelpUpdate;
    QAction *mnuLKSupport;
    QAction *mnuHelpAbout;
};
