// How the panes meet. The tree, the file view and the details pane never call each other: each
// raises events, and these handlers call the public operations of the others.

#include "frmMain.h"

#include "base/AppPath.h"
#include "base/ErrorLog.h"
#include "browser/ctlBrowser.h"
#include "browser/frmFavorite.h"
#include "clip/ClipFile.h"
#include "components/BackgroundWork.h"
#include "components/FindIndexBuilder.h"
#include "components/PlatformMaintenance.h"
#include "data/NodeKey.h"
#include "data/modADO.h"
#include "details/ctlDetails.h"
#include "find/frmFind.h"
#include "system/Prompts.h"
#include "system/SettingsStore.h"
#include "tree/ctlTree.h"
#include "view/ctlView.h"
#include "widgets/Caption.h"
#include "widgets/ListView.h"

#include <QCoreApplication>
#include <QLabel>
#include <QTimer>

void frmMain::connectPanes()
{
    // The store: another one opened has every pane reload; another program's writes are caught up with.
    connect(m_store, &modADO::storeChanged, this, &frmMain::StoreOpened);
    connect(m_store, &modADO::writtenElsewhere, this, &frmMain::StoreWrittenElsewhere);
    // The tree: a choice lists files and names itself in the title strip; changes to games reach
    // the file view and the bookmarks; loading goes on to the details pane.
    connect(m_ctlTree, &ctlTree::TreeNodeClick, this, &frmMain::ctlTree_TreeNodeClick);
    connect(m_ctlTree, &ctlTree::RenameGame, this, &frmMain::ctlTree_RenameGame);
    connect(m_ctlTree, &ctlTree::MoveGame, this, [this](const QString &strOldKey, const QString &strNewKey) {
        m_ctlDetails->MoveBookmark(strOldKey, strNewKey, *m_ctlTree);
    });
    connect(m_ctlTree, &ctlTree::GameNodeDelete, this, &frmMain::ctlTree_GameNodeDelete);
    connect(m_ctlTree, &ctlTree::GameNodeDblClick, this, [this] { m_ctlView->SelectTab(ctlView::Tab::Files); });
    connect(m_ctlTree, &ctlTree::AddFile, m_ctlView, &ctlView::AddNewFile);
    connect(m_ctlTree, &ctlTree::RemovePlatform, this, [this] {
        const QString key = m_ctlTree->SelectedKey();
        openPlatforms(NodeKey::Kind(key) == NodeKind::Platform ? NodeKey::Code(key, 0) : std::nullopt);
    });
    connect(m_ctlTree, &ctlTree::ImportRequest, this, &frmMain::mnuFileImport_Click);
    connect(m_ctlTree, &ctlTree::PrintInfo, this, &frmMain::PrintFromViewer);
    connect(m_ctlTree, &ctlTree::ExportGame, this, &frmMain::ctlTree_ExportGame);
    connect(m_ctlTree, &ctlTree::LoadFavorites, m_ctlDetails, &ctlDetails::LoadFavorites);

    // The details pane: loading runs tree, favorites, bookmarks, and the tree's search box shows
    // each step; a bookmark or search hit opens its file.
    connect(m_ctlDetails, &ctlDetails::FavoritesLoaded, this,
            [this] { m_ctlTree->setSearch_Text(QStringLiteral("Loading Bookmarks...")); });
    connect(m_ctlDetails, &ctlDetails::BookmarksLoaded, m_ctlTree, &ctlTree::FinishLoad);
    // Once everything shows, files that wait for the search index (all of an older store's, or
    // those changed by another program) are indexed, so that the first search is quick.
    connect(m_ctlDetails, &ctlDetails::BookmarksLoaded, this, &frmMain::BuildFindIndex, Qt::QueuedConnection);
    connect(m_ctlDetails, &ctlDetails::BookmarkSelect, this,
            [this](const QString &strKey) { OpenListItem(strKey, Opening::Bookmark); });
    connect(m_ctlDetails, &ctlDetails::SearchSelect, this, [this](const QString &strKey) {
        OpenListItem(strKey, Opening::SearchHit);
        // The phrase is marked in the hit's text when the search looked there and the file is the
        // one shown now.
        if (m_searchInText && m_ctlView->CurrentFileKey() == NodeKey::Field(strKey, 0))
            m_ctlView->HighlightPhrase(m_searchPhrase);
    });
    connect(m_ctlDetails, &ctlDetails::NavigateFavorite, m_ctlView, &ctlView::BrowseNavigate);

    // The file view: new games go into the tree, counts follow the files, bookmarks follow edits.
    connect(m_ctlView, &ctlView::AddGameNode, m_ctlTree, &ctlTree::objSelector_AddGameNode);
    connect(m_ctlView, &ctlView::UpdateGameNode, m_ctlTree, &ctlTree::UpdateGameCaption);
    connect(m_ctlView, &ctlView::Bookmark, this,
            [this](quint8 bytSubCat, const QString &strKey, const QString &strDesc) {
                m_ctlDetails->BookmarkFile(bytSubCat, strKey, strDesc, *m_ctlTree);
            });
    connect(m_ctlView, &ctlView::UpdateBookmark, this,
            [this](quint8 bytSubCat, const QString &strKey, const QString &strDesc) {
                m_ctlDetails->UpdateBookmark(bytSubCat, strKey, strDesc, *m_ctlTree);
            });
    connect(m_ctlView, &ctlView::MoveBookmark, this, [this](const QString &strOldKey, const QString &strNewKey) {
        m_ctlDetails->MoveBookmark(strOldKey, strNewKey, *m_ctlTree);
    });
    connect(m_ctlView, &ctlView::DeleteBookmark, m_ctlDetails, &ctlDetails::DeleteBookmark);
    connect(m_ctlView, &ctlView::NoFileKeyFound, this, &frmMain::ctlView_NoFileKeyFound);
    // Text sent from the viewer goes straight into the pending clips; the Quick Clip window need not
    // be open.
    connect(m_ctlView, &ctlView::SendQuick, this, [](const QString &strLine1, const QString &strText) {
        ErrObject err;
        if (!ClipFile::Append(strLine1, strText, &err)) {
            LogError(err, QStringLiteral("frmMain"), QStringLiteral("SendQuick"), false);
            MsgBox(QStringLiteral("The text was not added to the Quick Clips:\r\n\r\n") + err.Description,
                   MsgButtons::OK, MsgIcon::Exclamation);
            return;
        }
        MsgBox(QStringLiteral("Clip added!"), MsgButtons::OK, MsgIcon::Information);
    });

    // The browser: its page, read once, goes into the library through the tree, or into the
    // favorites; the tree hands the new file back to the list.
    connect(m_ctlView, &ctlView::DirectImport, m_ctlTree, &ctlTree::DirectImport);
    connect(m_ctlView,
            qOverload<const QString &, const QString &, const QString &, const QString &>(&ctlView::PrintInfo), this,
            &frmMain::PrintFromViewer);
    connect(m_ctlTree, &ctlTree::AddToView, m_ctlView, &ctlView::AddListItem);
    // Files dropped on the list go to its game through the tree, which counts them in.
    connect(m_ctlView, &ctlView::DropFiles, m_ctlTree,
            [this](const QString &strGameKey, const QStringList &paths) { m_ctlTree->ImportFiles(strGameKey, paths); });
    m_ctlTree->setBrowsedPage({[this] { return m_ctlView->BrowseURL(); },
                               [this] { return m_ctlView->BrowsePageTitle(); },
                               [this](const QObject *source) {
                                   const auto *widget = qobject_cast<const QWidget *>(source);
                                   const QWidget *browser = m_ctlView->WebBrowser();
                                   return widget && (widget == browser || browser->isAncestorOf(widget));
                               }});
    connect(m_ctlView, &ctlView::AddFavorite, this, &frmMain::ctlView_AddFavorite);
    connect(m_ctlView, &ctlView::ShowFavorites, this, &frmMain::ctlView_ShowFavorites);
    connect(m_ctlView, &ctlView::BrowseTitleChange, this, [this](const QString &strPageTitle) {
        if (m_ctlView->SelectedTab() == ctlView::Tab::Browser)
            setWindowTitle(QStringLiteral("Lorekeep - ") + strPageTitle);
        else
            SetFilesCaption();
    });

    // The menu's commands that are a pane's, and the panes' own buttons, which run exactly the
    // menu's command so that the check marks follow.
    connect(m_menu->mnuEditAddGame, &QAction::triggered, m_ctlTree, &ctlTree::AddGame);
    connect(m_ctlView, &ctlView::TextShown, this, &frmMain::UpdateMenus);
    const bool wrap = SettingNumber(GetSetting(SettingKeys::ViewWrapLines)) == 1L;
    m_menu->mnuViewWrap->setChecked(wrap);
    m_ctlView->SetWrapLines(wrap);
    connect(m_menu->mnuViewWrap, &QAction::toggled, this, [this](bool checked) {
        m_ctlView->SetWrapLines(checked);
        SaveSetting(SettingKeys::ViewWrapLines, checked ? QStringLiteral("1") : QStringLiteral("0"));
    });
    connect(m_ctlTree, &ctlTree::HideControl, m_menu->mnuViewLeft, &QAction::trigger);
    connect(m_ctlDetails, &ctlDetails::HideControl, m_menu->mnuViewBottom, &QAction::trigger);
    connect(m_ctlView, &ctlView::ShowTree, m_menu->mnuViewLeft, &QAction::trigger);
    connect(m_ctlView, &ctlView::ShowDetails, m_menu->mnuViewBottom, &QAction::trigger);
}

void frmMain::ctlView_AddFavorite()
{
    const QString url = m_ctlView->BrowseURL();
    if (m_ctlDetails->FavoriteCheck(url))
        return;
    frmFavorite dialog(url, m_ctlView->BrowsePageTitle(), this);
    dialog.setStore(m_store);
    connect(&dialog, &frmFavorite::AddFavorite, m_ctlDetails, &ctlDetails::AddFavorite);
    dialog.exec();
}

void frmMain::ctlView_ShowFavorites()
{
    // The button shows the favorites, and hides them when they are what the pane already shows.
    if (m_layout.detailVisible && m_ctlDetails->SelectedTab() == ctlDetails::Tab::Favorites) {
        m_menu->mnuViewBottom->setChecked(false);
        mnuViewBottom_Click();
        return;
    }
    if (!m_layout.detailVisible) {
        m_menu->mnuViewBottom->setChecked(true);
        mnuViewBottom_Click();
    }
    m_ctlDetails->SelectTab(ctlDetails::Tab::Favorites);
}

void frmMain::ctlTree_TreeNodeClick(const ctlTree::NodeChoice &node)
{
    m_ctlView->SetGame({node.PlatformId, node.GenreId, node.GameId, node.Game});
    m_lblCaption->setText(node.Caption);
    if (node.Kind == NodeKind::Game)
        m_ctlView->ListFiles(node.GameId, m_selectingFromList);
    else
        m_ctlView->Reset();
}

void frmMain::ctlTree_RenameGame(const QString &strOldName, const QString &strNewName, const QString &strTreeKey)
{
    m_ctlView->SetCaption(strNewName);
    m_ctlView->RenameGame(strNewName);
    m_lblCaption->setText(m_lblCaption->text().replace(strOldName, strNewName));
    m_ctlDetails->RenameGame(strTreeKey, strNewName);
}

void frmMain::ctlTree_GameNodeDelete(const QString &strCaption, const QString &strKey)
{
    m_lblCaption->setText(strCaption);
    m_ctlView->Cover(true);
    m_ctlDetails->DeleteBookmark(strKey);
}

void frmMain::OpenListItem(const QString &strKey, Opening from)
{
    const NodeKind kind = NodeKey::Kind(strKey);
    if (kind == NodeKind::Game) {
        m_ctlTree->SelectNode(strKey);
        return;
    }
    if (kind != NodeKind::File)
        return;
    const QString gameKey = NodeKey::ParentKey(strKey);
    if (!NodeKey::ParseGame(gameKey)) {
        // A key the program did not write; there is nothing to open, and nothing the user can do.
        LogError(NodeKey::BadKey(strKey), QStringLiteral("frmMain"),
                 from == Opening::Bookmark ? QStringLiteral("ctlDetails_BookmarkSelect")
                                           : QStringLiteral("ctlDetails_SearchSelect"),
                 false);
        return;
    }
    m_opening = from;
    m_openingKey = strKey;
    m_ctlView->SelectTab(ctlView::Tab::Files);
    m_selectingFromList = 1;
    m_ctlTree->SelectNode(gameKey);
    m_selectingFromList = 0;
    m_ctlView->SelectFile(NodeKey::Field(strKey, 0));
    m_opening = Opening::None;
    m_openingKey.clear();
}

void frmMain::ctlView_NoFileKeyFound(const QString &strFileKey)
{
    Q_UNUSED(strFileKey)
    // The bookmark that was opened is the selected one; only then is it the one to delete.
    const ListItem *bookmark = m_ctlDetails->Bookmarks()->SelectedItem();
    if (m_opening == Opening::Bookmark && bookmark && bookmark->Key() == m_openingKey) {
        if (MsgBox(QStringLiteral("The item attached to this bookmark does not exist.  Would you like to delete "
                                  "this bookmark?"),
                   MsgButtons::YesNo, MsgIcon::Question) != MsgResult::No)
            m_ctlDetails->KillBM();
        return;
    }
    MsgBox(QStringLiteral("This file is no longer in the library."), MsgButtons::OK, MsgIcon::Information);
}

void frmMain::mnuMaintPlatforms_Click()
{
    openPlatforms(std::nullopt);
}

void frmMain::openPlatforms(std::optional<quint8> platformId)
{
    if (!objPlatformSelect) {
        objPlatformSelect = new PlatformMaintenance(this);
        objPlatformSelect->setStore(m_store);
        objPlatformSelect->setErrorLog(AppPath() + QStringLiteral("error.log"));
        // What the window changed reaches the panes through a reload.
        connect(objPlatformSelect, &PlatformMaintenance::ResetLorekeep, this, &frmMain::ReloadAll);
        connect(objPlatformSelect, &PlatformMaintenance::UnloadPlatforms, objPlatformSelect, &QObject::deleteLater);
    }
    objPlatformSelect->Show(platformId);
}

void frmMain::mnuSearchLorekeep_Click()
{
    if (!m_frmFind) {
        m_frmFind = new frmFind(this);
        m_frmFind->setStore(m_store);
        m_frmFind->StartAt(m_ctlView->CurrentGame().PlatformId, m_ctlView->CurrentGame().GameId);
        connectFind(m_frmFind);
        m_frmFind->Form_Load();
    }
    m_frmFind->show();
    m_frmFind->raise();
    m_frmFind->activateWindow();
}

void frmMain::connectFind(frmFind *form)
{
    connect(form, &frmFind::ClearSearch, m_ctlDetails, &ctlDetails::ClearSearch);
    connect(form, &frmFind::SelectTab, m_ctlDetails,
            [this](int tab) { m_ctlDetails->SelectTab(ctlDetails::Tab(tab)); });
    connect(form, &frmFind::AddSearch, m_ctlDetails, &ctlDetails::AddSearch);
    connect(form, &frmFind::SearchTitle, m_ctlDetails, &ctlDetails::SearchTitle);
    connect(form, &frmFind::CountHits, m_ctlDetails, &ctlDetails::CountSearchHits);
    connect(form, &frmFind::Searched, this, [this](const QString &Phrase, bool InText) {
        m_searchPhrase = Phrase;
        m_searchInText = InText;
    });
    // The window's clean-up: the main title strip is drawn active again.
    // The strip as context: when the main window itself goes, the strip may go before Find does.
    connect(form, &QObject::destroyed, m_lblCaption, [this] { SetCaptionColors(m_lblCaption, CaptionActive); });
}

void frmMain::BuildFindIndex()
{
    // Long work already under way (the day's backup at start) lets queued events run; the index
    // waits until it is over rather than start in the middle of it, so that the backup made before
    // indexing finds the day's backup done and current.
    m_indexWaiting = BackgroundWork::Busy();
    if (m_indexWaiting) {
        QTimer::singleShot(250, this, &frmMain::BuildFindIndex);
        return;
    }
    // The build's progress dialog lets events run; a second request meanwhile is the same work.
    if (m_indexing)
        return;
    m_indexing = true;
    FindIndexBuilder::Build(this, m_store->Connection());
    m_indexing = false;
}
