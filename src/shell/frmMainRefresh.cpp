// Other programs may write to the open store (lkimport, a second Lorekeep on a shared folder). The
// store says when that happened; the panes then catch up without a reload, so that the user keeps
// the place they were at.

#include "frmMain.h"

#include "components/FileViewer.h"
#include "data/modADO.h"
#include "tree/ctlTree.h"
#include "view/ctlView.h"

#include <QApplication>
#include <QTimer>

#include <algorithm>

namespace {

// Often enough that a count seen after an import is already right, rarely enough to cost nothing.
constexpr int watchIntervalMs = 2000;

} // namespace

void frmMain::watchStore()
{
    // A change seen while the user is busy is caught up with later, on this timer.
    m_storeWatch = new QTimer(this);
    m_storeWatch->setObjectName(QStringLiteral("storeWatch"));
    m_storeWatch->setInterval(watchIntervalMs);
    m_storeWatch->setSingleShot(true);
    connect(m_storeWatch, &QTimer::timeout, this, &frmMain::CheckStoreChanges);
    m_store->WatchOtherWriters(watchIntervalMs);
}

void frmMain::StoreWrittenElsewhere()
{
    m_storeChanged = true;
    CheckStoreChanges();
}

void frmMain::CheckStoreChanges()
{
    if (!m_storeChanged)
        m_storeChanged = m_store->ChangedElsewhere();
    if (!m_storeChanged)
        return;
    if (!m_activated || m_restoring) {
        m_storeWatch->start();
        return;
    }
    const auto viewers = findChildren<FileViewer *>();
    const bool unsaved =
        std::any_of(viewers.cbegin(), viewers.cend(), [](const FileViewer *v) { return v->IsDirty(); });
    if (unsaved || QApplication::activeModalWidget() || QApplication::activePopupWidget() ||
        !m_ctlTree->RefreshFromStore()) {
        m_storeWatch->start();
        return;
    }
    m_ctlView->RefreshFiles();
    m_storeChanged = false;
}

void frmMain::mnuViewBrowser_Click()
{
    m_ctlView->SelectTab(ctlView::Tab::Browser);
    m_ctlView->FocusPane();
}
