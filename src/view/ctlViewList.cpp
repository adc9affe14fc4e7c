// The file list of the view pane: listing a game's files, the caption with their count, selecting a
// file by key, and what clicks and keys on the list do.

#include "ctlView.h"

#include "base/AppPath.h"
#include "base/ErrorLog.h"
#include "browser/ctlBrowser.h"
#include "components/FileTextReader.h"
#include "data/FileTable.h"
#include "data/NodeKey.h"
#include "data/modADO.h"
#include "data/modNames.h"
#include "system/DroppedFiles.h"
#include "system/SettingsStore.h"
#include "system/Twips.h"
#include "widgets/DeferredIcon.h"
#include "widgets/ListView.h"

#include <QDropEvent>
#include <QLabel>
#include <QTextEdit>
#include <QTimer>

#include <algorithm>

namespace {

const QString module = QStringLiteral("ctlView");

QIcon subCatIcon(int code)
{
    QList<std::pair<QString, QSize>> files;
    for (int size : {16, 32, 64})
        files.append({QStringLiteral(":/bundle/files/subcat%1-%2.png").arg(code).arg(size), QSize(size, size)});
    return DeferredIcon(files);
}

} // namespace

void ctlView::setUpList()
{
    // The designed widths are the settings' defaults; a stored value that does not read keeps them.
    const QString captions[] = {QStringLiteral("File"), QStringLiteral("Source"), QStringLiteral("Category")};
    for (int index = 1; index <= 3; ++index)
        lvFiles->AddColumn(captions[index - 1],
                           Twips::toPixelsX(SettingKeys::ViewColumn(index).defaultValue().toInt()));
    for (int code = 1; code <= modNames::SubCatCount; ++code)
        lvFiles->SetImage(code, subCatIcon(code));

    connect(lvFiles, &ListView::ColumnClick, this, &ctlView::lvFiles_ColumnClick);
    connect(lvFiles, &ListView::ItemClick, this, &ctlView::lvFiles_ItemClick);
    connect(lvFiles, &ListView::DblClick, this, [this] { OpenViewer(m_viewerMode); });
    connect(lvFiles, &ListView::KeyDown, this, [this](int key) { lvFiles_KeyDown(key); });
    connect(lvFiles, &ListView::MouseDown, this, &ctlView::lvFiles_MouseDown);
    connect(lvFiles, &ListView::MenuKey, this,
            [this](const QPoint &globalPos) { lvFiles_MouseDown(Qt::RightButton, globalPos); });
}

void ctlView::applyColumnWidths(SettingKey (*column)(int))
{
    for (int index = 1; index <= 3; ++index) {
        if (const auto twips = SettingWidth(GetSetting(column(index))))
            lvFiles->setColumnWidth(index - 1, Twips::toPixelsX(*twips));
    }
}

void ctlView::InitView()
{
    Re_View();
    if (SettingNumber(GetSetting(SettingKeys::AppLayout)) == 1L)
        applyColumnWidths(SettingKeys::ViewControlColumn);
    // The home's logo; a missing picture leaves the cover plain.
    imgCover->setPixmap(QPixmap(AppPath() + QStringLiteral("logo.gif")));
    Browser->InitBrowse();
}

void ctlView::Re_View()
{
    if (const auto view = SettingNumber(GetSetting(SettingKeys::FileView)))
        lvFiles->setView(int(*view));
}

void ctlView::Clear()
{
    lvFiles->Clear();
    lblFiles->clear();
    clearText();
    // The text is gone, so no file is shown; asking for any file afterwards shows it again.
    m_currentFileKey.clear();
    Q_EMIT TextShown();
}

void ctlView::Reset()
{
    Clear();
    m_listedGameId = 0;
    Cover(true);
}

void ctlView::SetCaption(const QString &strCaption)
{
    const int count = lvFiles->Count();
    lblFiles->setText(QStringLiteral(" ") + strCaption + QStringLiteral(": ") + QString::number(count) +
                      (count == 1 ? QStringLiteral(" File.") : QStringLiteral(" Files.")));
}

ListItem *ctlView::addRow(const QString &key, const QString &desc, const QString &source, quint8 subCat)
{
    ErrObject err;
    ListItem *item = lvFiles->Add(key, desc, subCat, &err);
    if (item) {
        item->setSubItem(1, source);
        item->setSubItem(2, modNames::GetSubCatName(subCat));
    }
    return item;
}

void ctlView::updateRow(ListItem *item, const QString &desc, const QString &source, quint8 subCat)
{
    item->setText(desc);
    item->setSubItem(1, source);
    item->setSubItem(2, modNames::GetSubCatName(subCat));
    item->setIcon(subCat);
}

void ctlView::ListFiles(qint32 lngGameId, quint8 bytDontSelFirst)
{
    if (lngGameId == m_listedGameId) {
        Cover(false);
        return;
    }
    m_listedGameId = lngGameId;
    Cover(false);
    Clear();

    // The list needs no file's text: a game of thousands of files would otherwise have all of them
    // read to show one.
    QVector<FileRow> rows;
    ErrObject err;
    if (!FileTable::ListHeads(m_store->Connection(), lngGameId, &rows, &err)) {
        LogError(err, module, QStringLiteral("ListFiles"), true);
        return;
    }
    if (rows.isEmpty()) {
        SetCaption(M_GAME);
        return;
    }
    lvFiles->BeginUpdate(int(rows.size()));
    for (const FileRow &row : std::as_const(rows))
        addRow(NodeKey::File(row.auto_id), row.desc, row.src, row.sub_cat);
    lvFiles->EndUpdate();
    if (bytDontSelFirst != 0)
        return;

    // The first row in display order, which is not the first read when the list is sorted.
    ListItem *first = lvFiles->ItemAt(1);
    FileRow record;
    bool found = false;
    lvFiles->Select(first);
    m_currentFileKey = first->Key();
    if (!FileTable::Read(m_store->Connection(), NodeKey::Id(first->Key(), 0).value_or(0), &record, &found, &err))
        LogError(err, module, QStringLiteral("ListFiles"), false);
    else if (found)
        showText(record.txt_rtf);
    SetCaption(M_GAME);
}

void ctlView::RefreshFiles()
{
    if (m_listedGameId == 0 || IsCovered())
        return;
    QVector<FileRow> rows;
    ErrObject err;
    if (!FileTable::ListHeads(m_store->Connection(), m_listedGameId, &rows, &err))
        return LogError(err, module, QStringLiteral("RefreshFiles"), false);
    const bool same =
        rows.size() == lvFiles->Count() && std::all_of(rows.cbegin(), rows.cend(), [this](const FileRow &row) {
            const ListItem *item = lvFiles->Item(NodeKey::File(row.auto_id));
            return item && item->Text() == row.desc && item->SubItem(1) == row.src &&
                   item->SubItem(2) == modNames::GetSubCatName(row.sub_cat);
        });
    if (same)
        return;
    const QString shown = m_currentFileKey;
    lvFiles->Clear();
    lvFiles->BeginUpdate(int(rows.size()));
    for (const FileRow &row : std::as_const(rows))
        addRow(NodeKey::File(row.auto_id), row.desc, row.src, row.sub_cat);
    lvFiles->EndUpdate();
    SetCaption(M_GAME);
    if (ListItem *item = shown.isEmpty() ? nullptr : lvFiles->Item(shown))
        return lvFiles->Select(item);
    // The file shown went with the change.
    m_currentFileKey.clear();
    clearText();
    Q_EMIT TextShown();
    SelectFirst();
}

void ctlView::AddListItem(const QString &strFileKey, const QString &strDesc, const QString &strSource, quint8 bytSC,
                          const QString &strGameTitle)
{
    // The editor that made the file may have stayed open while the user went on to another game;
    // the row belongs only in its own game's list.
    const auto id = NodeKey::Id(strFileKey, 0);
    qint32 gameId = 0;
    bool found = false;
    ErrObject err;
    if (!id)
        return;
    if (!FileTable::GameOf(m_store->Connection(), *id, &gameId, &found, &err))
        return LogError(err, module, QStringLiteral("AddListItem"), false);
    if (!found || gameId != m_listedGameId)
        return;
    ListItem *item = addRow(strFileKey, strDesc, strSource, bytSC);
    SetCaption(strGameTitle);
    if (!item)
        return;
    lvFiles->Select(item);
    // An import of many files adds them one after another; only the last is worth reading and
    // showing, once they are all in.
    m_addedKey = strFileKey;
    if (!m_showAddedPending) {
        m_showAddedPending = true;
        QTimer::singleShot(0, this, [this] {
            m_showAddedPending = false;
            SelectFile(m_addedKey);
        });
    }
}

bool ctlView::lvFiles_DropEvent(QEvent *event)
{
    switch (event->type()) {
    case QEvent::DragEnter:
    case QEvent::DragMove: {
        // Files go to the game listed; with none listed there is nowhere for them to go.
        auto *drag = static_cast<QDragMoveEvent *>(event);
        if (m_listedGameId == 0 || m_listedGameId != M_GAME_ID || DroppedFiles(drag->mimeData()).isEmpty()) {
            drag->ignore();
        } else {
            drag->setDropAction(Qt::CopyAction);
            drag->accept();
        }
        return true;
    }
    case QEvent::Drop: {
        auto *drop = static_cast<QDropEvent *>(event);
        const QStringList files = DroppedFiles(drop->mimeData());
        if (m_listedGameId == 0 || m_listedGameId != M_GAME_ID || files.isEmpty()) {
            drop->ignore();
            return true;
        }
        // The file manager is let go before the import starts; it only lent the names.
        drop->setDropAction(Qt::IgnoreAction);
        drop->accept();
        QMetaObject::invokeMethod(
            this, [this, key = GameKey(), files] { Q_EMIT DropFiles(key, files); }, Qt::QueuedConnection);
        return true;
    }
    default: return false;
    }
}

void ctlView::SelectFile(const QString &strFileKey)
{
    if (strFileKey == m_currentFileKey || CurrentGame().GameId == 0)
        return;
    // A key that names no file is quiet: the caller asked for a file that may be gone, and only a
    // file the list does not hold is worth telling the host about. A store that fails to give the
    // text is told, and the view keeps what it shows.
    const auto id = NodeKey::Id(strFileKey, 0);
    if (!id || NodeKey::Kind(strFileKey) != NodeKind::File)
        return;
    FileRow row;
    bool found = false;
    ErrObject err;
    if (!FileTable::Read(m_store->Connection(), *id, &row, &found, &err))
        return LogError(err, module, QStringLiteral("SelectFile"), true);
    // Recorded even when the list lacks it, so that the host hears of a missing file once.
    m_currentFileKey = strFileKey;
    ListItem *item = lvFiles->Item(strFileKey, &err);
    if (!item) {
        Q_EMIT NoFileKeyFound(strFileKey);
        return;
    }
    lvFiles->Select(item);
    if (found)
        showText(row.txt_rtf);
    SetCaption(M_GAME);
}

void ctlView::SelectFirst()
{
    ListItem *first = lvFiles->ItemAt(1);
    if (!first)
        return;
    lvFiles->Select(first);
    m_currentFileKey = first->Key();
    FileTextReader reader;
    if (!ReadFile(first, &reader, QStringLiteral("SelectFirst"), false))
        return;
    showText(reader.TextRTF());
    SetCaption(M_GAME);
}

bool ctlView::ReadFile(const ListItem *item, FileTextReader *reader, const QString &procedure, bool show)
{
    reader->setStore(m_store);
    ErrObject err;
    const auto id = NodeKey::Id(item->Key(), 0);
    if (id && reader->Load(*id, &err))
        return true;
    LogError(id ? err : NodeKey::BadKey(item->Key()), module, procedure, show);
    return false;
}

void ctlView::lvFiles_ColumnClick(int column)
{
    lvFiles->setSortKey(column);
    lvFiles->setSorted(true);
}

void ctlView::lvFiles_ItemClick(ListItem *item)
{
    if (item->Key() == m_currentFileKey)
        return;
    FileTextReader reader;
    if (!ReadFile(item, &reader, QStringLiteral("lvFiles_ItemClick"), false))
        return;
    // Only once the text is shown: a file that could not be read can be clicked again.
    m_currentFileKey = item->Key();
    showText(reader.TextRTF());
}

void ctlView::lvFiles_KeyDown(int key)
{
    if (key == Qt::Key_Return || key == Qt::Key_Enter)
        OpenViewer(m_viewerMode);
    else if (key == Qt::Key_Delete)
        mnuFileDel_Click();
}
