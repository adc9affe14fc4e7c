#pragma once

class QAction;
class QMenu;
class QMenuBar;

// The main window's menu bar. The items are named as the window's commands refer to them; items
// whose window is not part of this build stay disabled rather than open something half made.
class MainMenu final
{
public:
    explicit MainMenu(QMenuBar *bar);

    QMenu *mnuFile;
    QAction *mnuFileConnect;
    QAction *mnuFileImport;
    QAction *mnuFileImportFolder;
    QAction *mnuFilePrint;
    QAction *mnuFileExportPdf;
    QAction *mnuFileRestore;
    QAction *mnuFileExit;

    QMenu *mnuEdit;
    QAction *mnuMaintPlatforms;
    QAction *mnuSearchLorekeep;

    QMenu *mnuView;
    QAction *mnuViewTop;
    QAction *mnuViewLeft;
    QAction *mnuViewBottom;

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
