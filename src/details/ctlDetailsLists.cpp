// The Internet Favorites and Search Results tabs.

#include "ctlDetails.h"

#include "base/ErrorLog.h"
#include "data/FavoriteTable.h"
#include "data/NodeKey.h"
#include "data/modADO.h"
#include "data/modNames.h"
#include "search/FileSearch.h"
#include "system/Prompts.h"
#include "widgets/ListView.h"

#include <QAbstractItemView>
#include <QLabel>
#include <QTimer>

namespace {

const QString module = QStringLiteral("ctlDetails");
constexpr int LinkImage = 0;
// The first hundred search results tell the columns' widths well enough, and cost the same for any
// number of results.
constexpr int searchSampleRows = 100;

} // namespace

void ctlDetails::LoadFavorites(const QString &PlatformKeys)
{
    ErrObject err;
    QVector<FavoriteRow> rows;
    lvFavorites->Clear();
    if (!FavoriteTable::Load(m_store->Connection(), &rows, &err)) {
        LogError(err, module, QStringLiteral("LoadFavorites"), true);
        return;
    }
    lvFavorites->BeginUpdate(int(rows.size()));
    for (const FavoriteRow &row : std::as_const(rows)) {
        if (ListItem *entry = lvFavorites->Add(NodeKey::File(row.auto_id), row.url, LinkImage, &err)) {
            entry->setSubItem(1, row.title);
            entry->setSubItem(2, row.desc);
            entry->setTag(row.url);
        }
    }
    lvFavorites->EndUpdate();
    Q_EMIT FavoritesLoaded();
    LoadBookmarks(PlatformKeys);
}

bool ctlDetails::FavoriteCheck(const QString &URL)
{
    for (int index = 1; index <= lvFavorites->Count(); ++index) {
        ListItem *entry = lvFavorites->ItemAt(index);
        if (entry->Text() != URL)
            continue;
        SelectTab(Tab::Favorites);
        lvFavorites->Select(entry);
        MsgBox(QStringLiteral("This favorite already exists!"), MsgButtons::OK, MsgIcon::Exclamation);
        return true;
    }
    return false;
}

void ctlDetails::AddFavorite(const QString &Key, const QString &URL, const QString &Title, const QString &Desc)
{
    ErrObject err;
    ListItem *entry = lvFavorites->Add(Key, URL, LinkImage, &err);
    if (!entry)
        return;
    entry->setSubItem(1, Title);
    entry->setSubItem(2, Desc);
    entry->setTag(URL);
    lvFavorites->Select(entry);
}

bool ctlDetails::DeleteFavorite(const QString &Key)
{
    const QString procedure = QStringLiteral("DeleteFavorite");
    const auto id = NodeKey::Id(Key, 0);
    if (!id) {
        LogError(NodeKey::BadKey(Key), module, procedure, true);
        return false;
    }
    ErrObject err;
    bool deleted = false;
    if (!FavoriteTable::Delete(m_store->Connection(), *id, &deleted, &err)) {
        LogError(err, module, procedure, true);
        return false;
    }
    return deleted;
}

void ctlDetails::mnuFavDel_Click()
{
    const ListItem *entry = lvFavorites->SelectedItem();
    if (!entry)
        return;
    if (MsgBox(QStringLiteral("Are you sure you wish to delete this favorite?"), MsgButtons::YesNo,
               MsgIcon::Exclamation) != MsgResult::Yes)
        return;
    if (DeleteFavorite(entry->Key()))
        lvFavorites->Remove(lvFavorites->SelectedItem());
}

void ctlDetails::lvFavorites_DblClick()
{
    if (const ListItem *entry = lvFavorites->SelectedItem())
        Q_EMIT NavigateFavorite(entry->Tag().toString());
}

void ctlDetails::ClearSearch()
{
    m_hitsRequest.reset();
    m_hitsTimer->stop();
    lvSearchResults->Clear();
    m_searchTopId = 0;
    m_followSearch = true;
    lblHeaders[2]->setText(QStringLiteral(" Search Results:"));
}

void ctlDetails::SearchTitle(const QString &Title)
{
    lblHeaders[2]->setText(QStringLiteral(" Search Results: ") + Title);
    // The title gives the count: every result it counts is shown with it.
    lvSearchResults->ShowAppended();
    if (m_fitSearchColumns && lvSearchResults->Count() > 0)
        fitSearchColumns();
}

void ctlDetails::fitSearchColumns()
{
    m_fitSearchColumns = false;
    constexpr int foundColumn = 3;
    const int room = lvSearchResults->ActiveView()->viewport()->width();
    lvSearchResults->FitColumns(searchSampleRows, std::max(room / 3, 80));
    // The found text gives way, so that the Hits after it stay in sight.
    int others = 0;
    for (int column = 0; column < lvSearchResults->ColumnCount(); ++column)
        others += column == foundColumn ? 0 : lvSearchResults->ColumnWidth(column);
    const int found = lvSearchResults->ColumnWidth(foundColumn);
    if (others + found > room)
        lvSearchResults->setColumnWidth(foundColumn, std::max(room - others, std::min(found, 120)));
}

void ctlDetails::AddSearch(qint32 FileId, const QString &PlatformName, const QString &GameName, quint8 SubCat,
                           const QString &FoundText, const QString &GameKey, const QString &FieldName)
{
    lvSearchResults->setColumnCaption(3, FieldName.isEmpty() ? QStringLiteral("Search Field") : FieldName);
    // A file found twice is listed once. A search lists its files in ascending order of id, so a
    // file with a higher id than all before it is new, and the list's look-up by key, which costs
    // more than making the row, is needed only for files that come out of order.
    QString key = NodeKey::FilePath(FileId, GameKey);
    if (FileId <= m_searchTopId && lvSearchResults->Item(key))
        return;
    m_searchTopId = std::max(m_searchTopId, FileId);
    ListItem *entry = lvSearchResults->AddNew(std::move(key), PlatformName, 0);
    entry->setSubItem(1, GameName);
    entry->setSubItem(2, modNames::GetSubCatName(SubCat));
    entry->setSubItem(3, FoundText);
    if (m_followSearch)
        lvSearchResults->EnsureVisible(entry);
    // Results come while the search goes on: the columns are fitted once the rows that tell their
    // widths are there, not only when the search is through.
    if (m_fitSearchColumns && lvSearchResults->Count() == searchSampleRows)
        fitSearchColumns();
}

void ctlDetails::CountSearchHits(const FindRequest &request)
{
    m_hitsRequest = std::make_unique<FindRequest>(request);
    m_hitsNext = 1;
    m_hitsTimer->start();
}

void ctlDetails::countHitsStep()
{
    // A batch takes a few milliseconds, so a hundred thousand results are counted without a pause.
    constexpr int batch = 200;
    if (!m_hitsRequest || m_hitsNext > lvSearchResults->Count()) {
        m_hitsTimer->stop();
        return;
    }
    QList<ListItem *> rows;
    QList<qint32> ids;
    for (; m_hitsNext <= lvSearchResults->Count() && rows.size() < batch; ++m_hitsNext) {
        ListItem *row = lvSearchResults->ItemAt(m_hitsNext);
        if (const auto id = NodeKey::Id(row->Key(), 0)) {
            rows << row;
            ids << *id;
        }
    }
    QHash<qint32, int> counts;
    ErrObject err;
    if (!FileSearch::Occurrences(m_store->Connection(), *m_hitsRequest, ids, &counts, &err)) {
        LogError(err, QStringLiteral("ctlDetails"), QStringLiteral("CountSearchHits"), false);
        m_hitsTimer->stop();
        return;
    }
    for (qsizetype i = 0; i < rows.size(); ++i) {
        const auto found = counts.constFind(ids[i]);
        rows[i]->setSubItem(4, found == counts.constEnd() ? QString() : QString::number(*found));
    }
}

void ctlDetails::lvSearchResults_DblClick()
{
    if (const ListItem *entry = lvSearchResults->SelectedItem())
        Q_EMIT SearchSelect(entry->Key());
}
