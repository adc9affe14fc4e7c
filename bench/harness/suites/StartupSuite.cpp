// Suite "startup": from creating the main window on a store to the end of its loading chain (tree,
// favorites, bookmarks, FinishLoad), against loading the tree alone; and the check at each start
// that the home's help pages are this version's, against reading the file that says which they are.

#include "BenchContext.h"
#include "base/AppPath.h"
#include "data/StoreBackup.h"
#include "data/modADO.h"
#include "details/ctlDetails.h"
#include "shell/frmMain.h"
#include "shell/modMain.h"
#include "store/StoreAddress.h"
#include "system/SettingsStore.h"
#include "tree/ctlTree.h"
#include "widgets/HelpPages.h"
#include "widgets/ListView.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <memory>

int runStartupSuite(const BenchContext &context)
{
    // A home of its own, holding the store under the program's file name, and settings of its own,
    // so the runs neither read nor change the user's.
    // A shared library is given to the window as the program's FILE argument gives it.
    QTemporaryDir home;
    QTemporaryDir config;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));
    const bool shared = StoreAddress::IsShared(context.storePath());
    if (!home.isValid() || !config.isValid() ||
        (!shared && !QFile::link(QFileInfo(context.storePath()).absoluteFilePath(),
                                 home.filePath(QStringLiteral("lorekeep.lkb"))))) {
        context.note(QStringLiteral("load-chain: cannot make a home for the store; not measured."));
        return 1;
    }
    SetAppPath(home.path());
    // The first run's help and the tip of the day are windows of their own, not part of a start.
    SaveSetting(SettingKeys::FirstRun, QStringLiteral("1"));
    SaveSetting(SettingKeys::TOD, QStringLiteral("0"));
    // The day's backup is made on the first start of a day only; the runs measure the other starts.
    QDir(home.path()).mkpath(StoreBackup::FolderName);
    QFile today(StoreBackup::Folder(home.path()) + QLatin1Char('/') +
                StoreBackup::FileName(QStringLiteral("lorekeep"), QDateTime::currentDateTime(), QString()));
    today.open(QIODevice::WriteOnly);
    today.close();

    // Each window is torn down after its run, outside the timing: closing is not part of starting, and
    // the next run should start as the program does, without other windows about.
    std::unique_ptr<frmMain> window;
    const auto ours = [&] {
        window = std::make_unique<frmMain>();
        modMain::SetMainForm(window.get());
        if (shared)
            window->setStartFile(context.storePath());
        QSignalSpy loaded(window->findChild<ctlDetails *>(), &ctlDetails::BookmarksLoaded);
        window->Form_Load();
        window->show();
        window->Form_Activate();
        // BookmarksLoaded ends the chain: FinishLoad has run by the time the spy hears it.
        return loaded.size() == 1 && window->findChild<ctlDetails *>()->Bookmarks()->Count() > 0;
    };
    const auto closeWindow = [&] {
        modMain::SetMainForm(nullptr);
        window.reset();
    };

    modADO store(QStringLiteral("bench-startup"));
    if (!context.openStore(&store))
        return 1;
    ctlTree tree;
    tree.setStore(&store);
    tree.show();
    QSignalSpy treeLoaded(&tree, &ctlTree::LoadFavorites);
    const auto baseline = [&] {
        treeLoaded.clear();
        tree.LoadTree();
        return treeLoaded.size() == 1;
    };
    bool measured = context.compare(QStringLiteral("load-chain"), ours, baseline, closeWindow);

    ErrObject err;
    if (!HelpPages::Install(home.path(), &err)) {
        context.note(QStringLiteral("help-check: ") + err.Description + QStringLiteral("; not measured."));
        return 1;
    }
    const auto helpCheck = [&] {
        return HelpPages::Install(home.path(), &err);
    };
    const auto readStamp = [&] {
        QFile stamp(HelpPages::Folder(home.path()) + HelpPages::StampFile);
        return stamp.open(QIODevice::ReadOnly) && !stamp.readAll().isEmpty() &&
               QFile::exists(HelpPages::Folder(home.path()) + HelpPages::ContentsPage);
    };
    measured = context.compare(QStringLiteral("help-check"), helpCheck, readStamp) && measured;
    return measured ? 0 : 1;
}
