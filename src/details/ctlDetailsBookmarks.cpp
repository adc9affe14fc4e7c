// The Bookmarks tab: a bookmark marks one file of one game. The list shows the bookmarks of the
// platforms the tree holds and is kept in step with the store one change at a time.

#include "ctlDetails.h"

#include "base/ErrorLog.h"
#include "data/BookmarkTable.h"
#include "data/GameNames.h"
#include "data/NodeKey.h"
#include "store/StoreTransaction.h"
#include "data/modADO.h"
#include "data/modNames.h"
#include "system/Prompts.h"
#include "widgets/ListView.h"

#include <QSet>

namespace {

const QString module = QStringLiteral("ctlDetails");

// The names a bookmark copies from the tree when it is written.
struct GameNamesOf
{
    QString game;
    QString genre;
    QString platform;
    quint8 genreCode = 0;

    GameNamesOf(const GameNames &tree, const QString &gameKey)
        : game(tree.GameName(gameKey)),
          genre(tree.GameGenre(gameKey)),
          platform(tree.GamePlatform(gameKey)),
          genreCode(modNames::GetGenreCode(genre))
    {}
};

qint32 rowId(const ListItem *entry)
{
    return entry->Tag().toInt();
}

} // namespace

void ctlDetails::setBookmarkNames(ListItem *entry, quint8 SubCat, const QString &game, const QString &genre,
                                  const QString &platform)
{
    entry->setSubItem(1, modNames::GetSubCatName(SubCat));
    entry->setSubItem(2, game);
    entry->setSubItem(3, genre);
    entry->setSubItem(4, platform);
}

void ctlDetails::LoadBookmarks(const QString &PlatformKeys)
{
    ErrObject err;
    QVector<BookmarkRow> rows;
    lvBookmarks->Clear();
    if (!BookmarkTable::Load(m_store->Connection(), &rows, &err)) {
        LogError(err, module, QStringLiteral("LoadBookmarks"), true);
        return;
    }
    // The text before the first "|" is no platform.
    QStringList platforms = PlatformKeys.split(QLatin1Char('|'));
    platforms.removeFirst();
    const QSet<QString> wanted(platforms.cbegin(), platforms.cend());

    lvBookmarks->BeginUpdate(int(rows.size()));
    for (const BookmarkRow &row : std::as_const(rows)) {
        if (!wanted.contains(NodeKey::Field(row.tree_key, 3)))
            continue;
        // A second row for a file already listed adds nothing: the list shows each file once.
        ListItem *entry = lvBookmarks->Add(row.tree_key, row.file, 0, &err);
        if (!entry)
            continue;
        setBookmarkNames(entry, row.sub_cat, row.game, modNames::GetGenreName(row.genre), row.platform);
        entry->setTag(row.auto_id);
    }
    lvBookmarks->EndUpdate();
    Q_EMIT BookmarksLoaded();
}

void ctlDetails::BookmarkFile(quint8 SubCat, const QString &TreeKey, const QString &FileDesc, const GameNames &Tree)
{
    if (lvBookmarks->Item(TreeKey)) {
        MsgBox(QStringLiteral("This item is already bookmarked!"), MsgButtons::OK, MsgIcon::Exclamation);
        return;
    }
    const GameNamesOf names(Tree, NodeKey::ParentKey(TreeKey));
    BookmarkRow row{0, TreeKey, names.game, FileDesc, names.platform, SubCat, names.genreCode};
    ErrObject err;
    qint32 id = 0;
    if (!BookmarkTable::Add(m_store->Connection(), row, &id, &err)) {
        LogError(err, module, QStringLiteral("BookmarkFile"), true);
        return;
    }
    if (ListItem *entry = lvBookmarks->Add(TreeKey, FileDesc, 0, &err)) {
        setBookmarkNames(entry, SubCat, names.game, names.genre, names.platform);
        entry->setTag(id);
        lvBookmarks->EnsureVisible(entry);
    }
    MsgBox(QStringLiteral("Bookmark added."), MsgButtons::OK, MsgIcon::Information);
}

void ctlDetails::UpdateBookmark(quint8 SubCat, const QString &TreeKey, const QString &FileDesc, const GameNames &Tree)
{
    ListItem *entry = lvBookmarks->Item(TreeKey);
    if (!entry)
        return;
    const GameNamesOf names(Tree, NodeKey::ParentKey(TreeKey));
    QList<ListItem *> entries{entry};
    const bool written = writeBookmarks(&entries, QStringLiteral("UpdateBookmark"), [&](qint32 id, ErrObject *err) {
        return BookmarkTable::Update(m_store->Connection(),
                                     {id, TreeKey, names.game, FileDesc, names.platform, SubCat, names.genreCode}, err);
    });
    if (!written || entries.isEmpty())
        return;
    entry->setText(FileDesc);
    setBookmarkNames(entry, SubCat, names.game, names.genre, names.platform);
}

void ctlDetails::MoveBookmark(const QString &OldKey, const QString &NewKey, const GameNames &Tree)
{
    const QString procedure = QStringLiteral("MoveBookmark");
    const QSqlDatabase db = m_store->Connection();
    ErrObject err;
    if (NodeKey::Kind(OldKey) == NodeKind::Game) {
        // A game moved to another genre or platform: every bookmark of it follows; its name stays.
        const GameNamesOf names(Tree, NewKey);
        QList<ListItem *> entries = bookmarksWithin(OldKey);
        QHash<qint32, QString> newKeys;
        for (const ListItem *entry : std::as_const(entries))
            newKeys.insert(rowId(entry), NodeKey::Field(entry->Key(), 0) + QLatin1Char('|') + NewKey);
        if (!writeBookmarks(&entries, procedure, [&](qint32 id, ErrObject *error) {
                return BookmarkTable::MoveGame(db, id, newKeys.value(id), names.platform, names.genreCode, error);
            }))
            return;
        for (ListItem *entry : std::as_const(entries)) {
            lvBookmarks->setKey(entry, newKeys.value(rowId(entry)), &err);
            entry->setSubItem(3, names.genre);
            entry->setSubItem(4, names.platform);
        }
        return;
    }
    // A file moved to another game.
    ListItem *entry = lvBookmarks->Item(OldKey);
    if (!entry)
        return;
    const GameNamesOf names(Tree, NodeKey::ParentKey(NewKey));
    QList<ListItem *> entries{entry};
    if (!writeBookmarks(&entries, procedure,
                        [&](qint32 id, ErrObject *error) {
                            return BookmarkTable::MoveFile(db, id, NewKey, names.game, names.platform, names.genreCode,
                                                           error);
                        }) ||
        entries.isEmpty())
        return;
    if (!lvBookmarks->setKey(entry, NewKey, &err)) {
        // The store has the bookmark at the new key; an entry there already shows it.
        lvBookmarks->Remove(entry);
        return;
    }
    entry->setSubItem(2, names.game);
    entry->setSubItem(3, names.genre);
    entry->setSubItem(4, names.platform);
}

void ctlDetails::RenameGame(const QString &GameKey, const QString &NewName)
{
    const QSqlDatabase db = m_store->Connection();
    QList<ListItem *> entries = bookmarksWithin(GameKey);
    if (!writeBookmarks(&entries, QStringLiteral("RenameGame"),
                        [&](qint32 id, ErrObject *err) { return BookmarkTable::RenameGame(db, id, NewName, err); }))
        return;
    for (ListItem *entry : std::as_const(entries))
        entry->setSubItem(2, NewName);
}

void ctlDetails::DeleteBookmark(const QString &Key)
{
    QList<ListItem *> entries;
    if (NodeKey::Kind(Key) == NodeKind::File) {
        if (ListItem *entry = lvBookmarks->Item(Key))
            entries << entry;
    } else {
        entries = bookmarksWithin(Key);
    }
    const QSqlDatabase db = m_store->Connection();
    if (!writeBookmarks(&entries, QStringLiteral("DeleteBookmark"),
                        [&](qint32 id, ErrObject *err) { return BookmarkTable::Delete(db, id, nullptr, err); }))
        return;
    for (ListItem *entry : std::as_const(entries))
        lvBookmarks->Remove(entry);
}

void ctlDetails::KillBM()
{
    deleteSelectedBookmark(QStringLiteral("KillBM"));
}

void ctlDetails::mnuBMDelete_Click()
{
    if (!lvBookmarks->SelectedItem())
        return;
    if (MsgBox(QStringLiteral("Are you sure you wish to delete this bookmark?"), MsgButtons::YesNo,
               MsgIcon::Exclamation) != MsgResult::Yes)
        return;
    deleteSelectedBookmark(QStringLiteral("mnuBMDelete_Click"));
}

void ctlDetails::deleteSelectedBookmark(const QString &procedure)
{
    ListItem *entry = lvBookmarks->SelectedItem();
    if (!entry)
        return;
    ErrObject err;
    // The row goes first: a store that refuses leaves the bookmark listed, as it still is.
    if (!BookmarkTable::Delete(m_store->Connection(), rowId(entry), nullptr, &err)) {
        LogError(err, module, procedure, true);
        return;
    }
    lvBookmarks->Remove(entry);
}

void ctlDetails::lvBookmarks_DblClick()
{
    if (const ListItem *entry = lvBookmarks->SelectedItem())
        Q_EMIT BookmarkSelect(entry->Key());
}

QList<ListItem *> ctlDetails::bookmarksWithin(const QString &nodeKey) const
{
    QList<ListItem *> entries;
    for (int index = 1; index <= lvBookmarks->Count(); ++index) {
        ListItem *entry = lvBookmarks->ItemAt(index);
        if (NodeKey::Within(entry->Key(), nodeKey))
            entries << entry;
    }
    return entries;
}

bool ctlDetails::writeBookmarks(QList<ListItem *> *entries, const QString &procedure,
                                const std::function<bool(qint32, ErrObject *)> &write)
{
    if (entries->isEmpty())
        return true;
    const QSqlDatabase db = m_store->Connection();
    ErrObject err;
    StoreTransaction transaction(db);
    QList<ListItem *> gone;
    bool ok = transaction.begin(&err);
    for (ListItem *entry : std::as_const(*entries)) {
        if (!ok)
            break;
        ErrObject rowErr;
        if (write(rowId(entry), &rowErr))
            continue;
        if (rowErr.Number == ErrNumber::NoCurrentRecord)
            gone << entry;
        else
            ok = false, err = rowErr;
    }
    if (!ok || !transaction.commit(&err)) {
        LogError(err, module, procedure, true);
        return false;
    }
    for (ListItem *entry : std::as_const(gone)) {
        entries->removeOne(entry);
        lvBookmarks->Remove(entry);
    }
    return true;
}
