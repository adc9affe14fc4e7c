// The file commands for what a file taken from a web page keeps of it: the page as it was, and
// whether the page has changed since.

#include "ctlView.h"

#include "base/ErrorLog.h"
#include "browser/ctlBrowser.h"
#include "components/FileTextReader.h"
#include "components/FileViewer.h"
#include "data/FileTable.h"
#include "data/NodeKey.h"
#include "data/ShortDesc.h"
#include "data/SnapshotTable.h"
#include "data/modADO.h"
#include "frmSourceChanges.h"
#include "html/MhtmlArchive.h"
#include "html/PageRtf.h"
#include "system/ErrObject.h"
#include "system/Prompts.h"
#include "system/SettingsStore.h"
#include "webpage/PageLoader.h"
#include "widgets/ListView.h"

#include <QAction>
#include <QEventLoop>
#include <QLocale>
#include <QMenu>
#include <QProgressDialog>
#include <QUrl>

#include <memory>

namespace {

const QString module = QStringLiteral("ctlView");

QString capturedText(const QDateTime &captured)
{
    return QLocale().toString(captured.toLocalTime(), QLocale::ShortFormat);
}

// The page a file's source names, or none. Only a source written as an address counts (http, https,
// "www." as users type it, or a file URL): QUrl::fromUserInput makes an address of nearly anything, and
// a source is often a site's name or, for a file made with Add New File, the time it was made, which
// would send the check to http://gamefaqs or http://0.0.0.11/26/2026.
QUrl pageAddress(const QString &source)
{
    const QString text = source.trimmed();
    const QString lower = text.toLower();
    if (!lower.startsWith(QLatin1String("http://")) && !lower.startsWith(QLatin1String("https://")) &&
        !lower.startsWith(QLatin1String("file://")) && !lower.startsWith(QLatin1String("www.")))
        return {};
    const QUrl address = QUrl::fromUserInput(text);
    return address.isValid() && (address.isLocalFile() || !address.host().isEmpty()) ? address : QUrl();
}

} // namespace

void ctlView::buildPageMenus()
{
    mnuFile->addSeparator();
    mnuFileSnapshot = mnuFile->addAction(QStringLiteral("View Snapshot"));
    mnuFileSnapshot->setObjectName(QStringLiteral("mnuFileSnapshot"));
    connect(mnuFileSnapshot, &QAction::triggered, this, [this] { viewSnapshot(m_snapshotId); });
    mnuFileSnapshots = new QMenu(QStringLiteral("Earlier Snapshots"), mnuFile);
    mnuFileSnapshots->setObjectName(QStringLiteral("mnuFileSnapshots"));
    mnuFile->addMenu(mnuFileSnapshots);
    mnuFileCheckSource = mnuFile->addAction(QStringLiteral("Check Source For Changes..."));
    mnuFileCheckSource->setObjectName(QStringLiteral("mnuFileCheckSource"));
    connect(mnuFileCheckSource, &QAction::triggered, this, &ctlView::mnuFileCheckSource_Click);
}

void ctlView::offerPages(qint32 fileId, const QString &source)
{
    m_snapshotId = 0;
    mnuFileSnapshots->clear();
    QVector<SnapshotRow> snapshots;
    ErrObject err;
    if (m_store && fileId > 0 && !SnapshotTable::List(m_store->Connection(), fileId, &snapshots, &err))
        LogError(err, module, QStringLiteral("offerPages"), false);
    if (!snapshots.isEmpty()) {
        m_snapshotId = snapshots.constFirst().auto_id;
        mnuFileSnapshot->setToolTip(
            QStringLiteral("The page as it was on %1, offline").arg(capturedText(snapshots.constFirst().captured)));
    } else {
        mnuFileSnapshot->setToolTip(err.isError() ? err.Description
                                                  : QStringLiteral("Only a page imported from the browser or with "
                                                                   "lkimport keeps a snapshot of itself."));
    }
    mnuFileSnapshot->setEnabled(m_snapshotId != 0);
    for (int i = 1; i < snapshots.size(); ++i) {
        const qint32 id = snapshots.at(i).auto_id;
        connect(mnuFileSnapshots->addAction(capturedText(snapshots.at(i).captured)), &QAction::triggered, this,
                [this, id] { viewSnapshot(id); });
    }
    mnuFileSnapshots->menuAction()->setVisible(snapshots.size() > 1);

    const bool page = !pageAddress(source).isEmpty();
    mnuFileCheckSource->setEnabled(page);
    mnuFileCheckSource->setToolTip(page ? QStringLiteral("Load the page again and show what changed on it")
                                        : QStringLiteral("Only a file taken from a web page can be checked against "
                                                         "it."));
}

void ctlView::mnuFileCheckSource_Click()
{
    const QString procedure = QStringLiteral("Check Source For Changes");
    const ListItem *item = lvFiles->SelectedItem();
    FileTextReader reader;
    if (!item || !ReadFile(item, &reader, procedure, true))
        return;
    const FileRow stored{NodeKey::Id(item->Key(), 0).value_or(0),
                         reader.GameId(),
                         reader.SubCat(),
                         reader.Source(),
                         reader.Desc(),
                         reader.TextRTF()};
    const QUrl address = pageAddress(stored.src);
    if (address.isEmpty()) {
        MsgBox(QStringLiteral("The source of \u201C%1\u201D was changed elsewhere meanwhile and is no longer a web "
                              "page's address.")
                   .arg(ShortDesc(stored.desc)),
               MsgButtons::OK, MsgIcon::Exclamation, procedure);
        return;
    }

    // The page loads in the background while a window says so and offers to stop.
    struct Outcome
    {
        bool done = false;
        CapturedPage page;
        ErrObject err;
    };
    auto outcome = std::make_shared<Outcome>();
    QProgressDialog progress(QStringLiteral("Loading %1...").arg(address.toDisplayString()), QStringLiteral("Cancel"),
                             0, 0, window());
    progress.setObjectName(QStringLiteral("dlgLoadingPage"));
    progress.setWindowTitle(procedure);
    progress.setWindowModality(Qt::WindowModal);
    progress.setMinimumDuration(0);
    progress.setAutoClose(false);
    progress.setAutoReset(false);
    QEventLoop loop;
    // Gone before the loop it reports to: an answer that comes after a Cancel reaches no one.
    const auto loader = std::make_unique<PageLoader>();
    loader->Load(address, PagePart::Article, [outcome, &loop](const CapturedPage &page, const ErrObject &err) {
        *outcome = {true, page, err};
        loop.quit();
    });
    connect(&progress, &QProgressDialog::canceled, &loop, &QEventLoop::quit);
    progress.show();
    if (!outcome->done)
        loop.exec();
    progress.hide();
    if (!outcome->done)
        return;
    if (outcome->err.isError()) {
        LogError(outcome->err, module, procedure, false);
        MsgBox(QStringLiteral("%1\n\n\u201C%2\u201D keeps its text and its snapshots.")
                   .arg(outcome->err.Description, ShortDesc(stored.desc)),
               MsgButtons::OK, MsgIcon::Exclamation, procedure);
        return;
    }
    PageRtfOptions options;
    options.keepPictures = SettingNumber(GetSetting(SettingKeys::ImportPictures)).value_or(1) != 0;
    const QString rtf =
        PageRtf(outcome->page.html, outcome->page.address, MhtmlArchive::Read(outcome->page.mhtml), options).rtf;
    if (!frmSourceChanges::HasChanges(stored.txt_rtf, rtf)) {
        MsgBox(QStringLiteral("Nothing has changed: the page %1 says what \u201C%2\u201D keeps.")
                   .arg(address.toDisplayString(), ShortDesc(stored.desc)),
               MsgButtons::OK, MsgIcon::Information, procedure);
        return;
    }
    frmSourceChanges dialog(window(), m_store, stored, rtf, outcome->page.address, outcome->page.captured,
                            outcome->page.mhtml);
    if (dialog.exec() != QDialog::Accepted)
        return;
    const FileRow row = dialog.Updated();
    if (NodeKey::File(row.auto_id) == m_currentFileKey)
        showText(row.txt_rtf);
    FileViewer::FollowReplaced(row);
}

void ctlView::viewSnapshot(qint32 snapshotId)
{
    SnapshotRow row;
    bool found = false;
    ErrObject err;
    if (!m_store || !SnapshotTable::Read(m_store->Connection(), snapshotId, &row, &found, &err))
        return LogError(err, module, QStringLiteral("viewSnapshot"), true);
    if (!found) {
        MsgBox(QStringLiteral("This snapshot was deleted elsewhere meanwhile."), MsgButtons::OK, MsgIcon::Exclamation);
        return;
    }
    SelectTab(Tab::Browser);
    Browser->ShowSnapshot(row);
}
