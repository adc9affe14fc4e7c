// Saving a file window: a new file is added, an open one rewritten only while it is still as the
// window read it. When another desktop or program changed or deleted it meanwhile, the user chooses
// what becomes of the two versions; nobody's edit is lost without a question.

#include "FileViewer.h"

#include "TreeLoader.h"
#include "base/ErrorLog.h"
#include "data/FileTable.h"
#include "data/GameTable.h"
#include "data/ShortDesc.h"
#include "data/SnapshotTable.h"
#include "data/modADO.h"
#include "store/StoreTransaction.h"
#include "system/ErrObject.h"
#include "system/Prompts.h"

#include <QComboBox>
#include <QLineEdit>

namespace {

const QString moduleName = QStringLiteral("FileViewer");

} // namespace

QString FileViewer::AlreadyStoredPrompt(const SourceMatch &match)
{
    return QStringLiteral("This page is already in Lorekeep as \"") + match.Desc + QStringLiteral("\" in ") +
           match.GameName + QStringLiteral(" (") + TreeLoader::PlatformTag(match.PlatformId) +
           QStringLiteral(").  Import it again?");
}

void FileViewer::setSnapshot(const QString &address, const QDateTime &captured, const QByteArray &mhtml)
{
    m_snapshotAddress = address;
    m_snapshotCaptured = captured;
    m_snapshotMhtml = mhtml;
}

// The row and the page's snapshot go in together or not at all, in the caller's transaction.
bool FileViewer::AddWithSnapshot(const FileRow &row, qint32 *newId, ErrObject *err)
{
    const QSqlDatabase db = m_store->Connection();
    if (!FileTable::Add(db, row, newId, err))
        return false;
    qint32 snapshotId = 0;
    return m_snapshotMhtml.isEmpty() ||
           SnapshotTable::Add(db, *newId, m_snapshotAddress, m_snapshotCaptured, m_snapshotMhtml, &snapshotId, err);
}

// True with `newId` 0 when the user chose not to store a page found stored meanwhile.
bool FileViewer::AddRow(const FileRow &row, qint32 *newId, ErrObject *err)
{
    *newId = 0;
    const QSqlDatabase db = m_store->Connection();
    const auto add = [&](bool check, SourceMatch *match, bool *found) {
        // The write lock is taken before the check, so no other import can store the page between.
        StoreTransaction transaction(db, StoreTransaction::Lock::Immediate);
        if (!transaction.begin(err) || (check && !FileTable::FindBySource(db, row.src, match, found, err)))
            return false;
        if (*found)
            return true;
        if (AddWithSnapshot(row, newId, err) && transaction.commit(err))
            return true;
        *newId = 0;
        return false;
    };
    SourceMatch match;
    bool found = false;
    if (!add(m_askIfSourceStored && !row.src.isEmpty(), &match, &found))
        return false;
    if (!found)
        return true;
    if (MsgBox(AlreadyStoredPrompt(match), MsgButtons::YesNo, MsgIcon::Question) != MsgResult::Yes)
        return true;
    m_askIfSourceStored = false;
    found = false;
    return add(false, &match, &found);
}

bool FileViewer::Save()
{
    return Store(false) == SaveOutcome::Stored;
}

FileViewer::SaveOutcome FileViewer::Store(bool closing)
{
    if (m_mode == ViewMode)
        return SaveOutcome::NotStored;
    const quint8 subCat = SelectedSubCat();
    const QString source = txtSource->text().trimmed();
    const QString desc = txtDesc->text().trimmed();
    if (subCat == 0) {
        Refuse(QStringLiteral("Please choose a category for this file."), cboSubCat);
        return SaveOutcome::NotStored;
    }
    if (desc.isEmpty()) {
        Refuse(QStringLiteral("Please enter a description for this file."), txtDesc);
        return SaveOutcome::NotStored;
    }

    FileRow row;
    row.auto_id = m_fileId;
    row.game_id = m_gameId;
    row.sub_cat = subCat;
    row.src = source;
    row.desc = desc;
    row.txt_rtf = DocumentRtf();
    ErrObject err;
    if (m_mode == NewMode) {
        qint32 newId = 0;
        if (!AddRow(row, &newId, &err)) {
            ReportFailure(err);
            return SaveOutcome::NotStored;
        }
        if (newId == 0)
            return SaveOutcome::NotStored;
        row.auto_id = newId;
        m_snapshotMhtml.clear();
        Stored(row, true);
        return SaveOutcome::Stored;
    }
    FileRow current;
    switch (RewriteIfUnchanged(row, &current, &err)) {
    case Rewrite::Stored: Stored(row, false); return SaveOutcome::Stored;
    case Rewrite::Changed: return ChangedElsewhere(row, current, closing);
    case Rewrite::Deleted: return DeletedElsewhere(row);
    case Rewrite::Failed: break;
    }
    ReportFailure(err);
    return SaveOutcome::NotStored;
}

// Another desktop, or another program, may have written the file since this window read it; its
// write is not silently lost under this one.
FileViewer::Rewrite FileViewer::RewriteIfUnchanged(const FileRow &row, FileRow *current, ErrObject *err)
{
    const QSqlDatabase db = m_store->Connection();
    FileRow loaded;
    loaded.sub_cat = m_storedSubCat;
    loaded.src = m_storedSource;
    loaded.desc = m_desc;
    loaded.txt_rtf = m_storedRtf;
    // With the write lock held, what is read after a refused write is what refused it.
    StoreTransaction transaction(db, StoreTransaction::Lock::Immediate);
    bool updated = false;
    bool found = false;
    if (!transaction.begin(err) || !FileTable::UpdateIfUnchanged(db, row, loaded, &updated, err))
        return Rewrite::Failed;
    if (updated)
        return transaction.commit(err) ? Rewrite::Stored : Rewrite::Failed;
    if (!FileTable::Read(db, row.auto_id, current, &found, err))
        return Rewrite::Failed;
    return found ? Rewrite::Changed : Rewrite::Deleted;
}

QString FileViewer::NamedFile() const
{
    QString name = QStringLiteral("The file \"") + ShortDesc(m_desc) + QLatin1Char('"');
    if (!m_game.isEmpty())
        name += QStringLiteral(" of ") + m_game;
    return name;
}

FileViewer::SaveOutcome FileViewer::ChangedElsewhere(const FileRow &row, const FileRow &current, bool closing)
{
    // The write lock is not held while the user thinks: other desktops go on saving meanwhile.
    const QString discard = closing ? QStringLiteral("Discard drops your changes.")
                                    : QStringLiteral("Discard drops your changes and shows the file as it is now.");
    const int answer = Prompts::current().Choose(
        NamedFile() +
            QStringLiteral(" was changed elsewhere since you opened it.\n\n"
                           "Save As New File keeps both: the other version stays and yours becomes a new "
                           "file. Overwrite replaces the other version with yours. ") +
            discard,
        {QStringLiteral("Save As &New File"), QStringLiteral("&Overwrite"), QStringLiteral("&Discard"),
         QStringLiteral("Cancel")},
        MsgIcon::Exclamation, QStringLiteral("File Changed Elsewhere"));
    switch (answer) {
    case 0:
        // What the list shows of the file follows what is stored now, before the new file joins it.
        Q_EMIT SaveEdit(m_fileId, current.sub_cat, current.src, current.desc, current.txt_rtf);
        return SaveAsNew(row) ? SaveOutcome::Stored : SaveOutcome::NotStored;
    case 1: {
        ErrObject err;
        if (FileTable::Update(m_store->Connection(), row, &err)) {
            Stored(row, false);
            return SaveOutcome::Stored;
        }
        if (err.Number == ErrNumber::NoCurrentRecord)
            return DeletedElsewhere(row);
        ReportFailure(err);
        return SaveOutcome::NotStored;
    }
    case 2: ShowStored(current, closing); return SaveOutcome::Discarded;
    default: return SaveOutcome::NotStored;
    }
}

FileViewer::SaveOutcome FileViewer::DeletedElsewhere(const FileRow &row)
{
    if (MsgBox(NamedFile() + QStringLiteral(" was deleted elsewhere.  Save your text as a new file?"),
               MsgButtons::YesNo, MsgIcon::Question) != MsgResult::Yes)
        return SaveOutcome::NotStored;
    return SaveAsNew(row) ? SaveOutcome::Stored : SaveOutcome::NotStored;
}

// Adds the window's text as a new file of its game, which the window holds from then on.
bool FileViewer::SaveAsNew(FileRow row)
{
    const QSqlDatabase db = m_store->Connection();
    row.auto_id = 0;
    row.game_id = m_gameId;
    GameRow game;
    bool gameThere = false;
    qint32 newId = 0;
    ErrObject err;
    {
        // A file of a game deleted meanwhile would be stored where nothing lists it.
        StoreTransaction transaction(db, StoreTransaction::Lock::Immediate);
        if (!transaction.begin(&err) || !GameTable::Read(db, m_gameId, &game, &gameThere, &err) ||
            (gameThere && (!FileTable::Add(db, row, &newId, &err) || !transaction.commit(&err)))) {
            ReportFailure(err);
            return false;
        }
    }
    if (!gameThere) {
        MsgBox((m_game.isEmpty() ? QStringLiteral("The game") : m_game) +
                   QStringLiteral(" was deleted elsewhere too, so your text cannot be saved as one of its files.  "
                                  "Copy it into a file of another game before you close this window."),
               MsgButtons::OK, MsgIcon::Exclamation);
        return false;
    }
    row.auto_id = newId;
    Stored(row, true);
    return true;
}

void FileViewer::Stored(const FileRow &row, bool added)
{
    if (added) {
        // From now on the window holds a stored file: saving again rewrites that row.
        m_fileId = row.auto_id;
        m_mode = EditMode;
        ApplyMode();
    }
    m_desc = row.desc;
    m_storedSubCat = row.sub_cat;
    m_storedSource = row.src;
    m_storedRtf = row.txt_rtf;
    m_loading = true;
    if (txtDesc->text() != row.desc)
        txtDesc->setText(row.desc);
    if (txtSource->text() != row.src)
        txtSource->setText(row.src);
    m_loading = false;
    SetDirty(false);
    UpdateTitle();

    if (added)
        Q_EMIT AddFile(m_platformId, m_genreId, m_gameId, m_fileId, row.sub_cat, row.src, row.desc, row.txt_rtf);
    else
        Q_EMIT SaveEdit(m_fileId, row.sub_cat, row.src, row.desc, row.txt_rtf);
}

// The user's changes are dropped for the file as stored now, which the list follows as well. A
// window that is closing only forgets them.
void FileViewer::ShowStored(const FileRow &current, bool closing)
{
    m_desc = current.desc;
    m_storedSubCat = current.sub_cat;
    m_storedSource = current.src;
    m_storedRtf = current.txt_rtf;
    if (!closing) {
        m_loading = true;
        SelectSubCat(current.sub_cat);
        txtDesc->setText(current.desc);
        txtSource->setText(current.src);
        LoadText(current.txt_rtf);
        m_loading = false;
        ApplyMode();
    }
    SetDirty(false);
    UpdateTitle();
    Q_EMIT SaveEdit(m_fileId, current.sub_cat, current.src, current.desc, current.txt_rtf);
}

void FileViewer::ReportFailure(const ErrObject &err)
{
    ReportStoreFailure(err, m_errorLog, moduleName, QStringLiteral("Save"),
                       QStringLiteral("The file could not be saved"),
                       QStringLiteral("The store did not accept the file."));
}
