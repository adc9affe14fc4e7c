// The main window's care of the store: opening it with what the user must know (read-only,
// damaged), the day's backup, File > Restore From Backup and Tools > Check Library.
#include "frmMain.h"

#include "backup/frmBackups.h"
#include "base/AppPath.h"
#include "base/ErrorLog.h"
#include "components/BackupJob.h"
#include "data/HomeFolder.h"
#include "data/modADO.h"
#include "store/StoreAddress.h"
#include "store/StoreError.h"
#include "system/Prompts.h"
#include "tree/ctlTree.h"
#include "view/ctlView.h"

#include <QDir>
#include <QFileInfo>

namespace {

const QString moduleName = QStringLiteral("frmMain");

} // namespace

QString frmMain::StorePath() const
{
    const modADO &store = *m_store;
    return store.DatabasePath().isEmpty() ? AppPath() + HomeFolder::StoreFileName : store.DatabasePath();
}

bool frmMain::OpenStore(const QString &path)
{
    modADO &store = *m_store;
    const bool shared = StoreAddress::IsShared(path);
    QString address = WithSessionPassword(path);
    // Another store is about to take its place: this is the store's clean close.
    if (store.IsOpen() && store.DatabasePath() != address && !m_damageOffered)
        BackupJob::RememberClosed(store.Connection());
    for (;;) {
        ErrObject err;
        if (store.Open(address, &err)) {
            if (shared && !StoreAddress::Password(address).isEmpty())
                m_passwords.insert(StoreAddress::WithoutPassword(address), StoreAddress::Password(address));
            AddRecent(address);
            if (store.IsReadOnly())
                MsgBox(store.ReadOnlyError().Description, MsgButtons::OK, MsgIcon::Information);
            return true;
        }
        UpdateMenus();
        // A server that is down or a password that is wrong are the user's to settle: the choice
        // below says what went wrong.
        LogError(err, QStringLiteral("modADO"), QStringLiteral("Connect"), !shared);
        if (!shared) {
            if (err.Number == ErrNumber::StoreNotFound)
                RemoveRecent(path);
            return err.Number == ErrNumber::StoreDamaged && OfferRestore(path);
        }
        if (!AskAgain(&address, err))
            return false;
    }
}

void frmMain::StoreOpened()
{
    m_storeOpened = std::chrono::steady_clock::now();
    UpdateMenus();
    // At start-up the first activation loads the panes itself.
    if (!m_activated)
        return;
    if (m_ctlView->SelectedTab() == ctlView::Tab::Files)
        SetFilesCaption();
    ReloadAll();
}

void frmMain::StoreDamaged(const QString &path, std::chrono::steady_clock::time_point when)
{
    // Every read of a damaged store fails alike; the offer is made once, and not while a restore
    // (which reads damaged files on purpose) is under way.
    const modADO &store = *m_store;
    if (m_restoring || m_damageOffered || when < m_storeOpened || !store.IsOpen() || path != store.DatabasePath())
        return;
    OfferRestore(path);
}

bool frmMain::OfferRestore(const QString &storePath)
{
    // Once per damage: the reads that fail while the offer is up do not ask again.
    m_damageOffered = true;
    // The backups are checked first, so that the offer names one that will restore.
    const std::optional<BackupChoice> good = BackupJob::NewestGood(this, storePath);
    if (!good) {
        if (!StoreBackup::List(BackupJob::Folder(), modADO::NameFromPath(storePath)).isEmpty())
            MsgBox(QStringLiteral("None of the backups in \"%1\" passes the check, so none can be restored.")
                       .arg(QDir::toNativeSeparators(BackupJob::Folder())),
                   MsgButtons::OK, MsgIcon::Exclamation);
        return false;
    }
    QString about = QStringLiteral("The newest good backup is %1, from %2")
                        .arg(frmBackups::KindDescription(good->Backup), frmBackups::MadeText(good->Backup));
    if (good->Contents)
        about += QStringLiteral(". It holds %1.").arg(frmBackups::CountsText(*good->Contents));
    else
        about += QStringLiteral("; what it holds could not be counted.");
    if (good->Fallback)
        about += QStringLiteral("\n\nNo day's or manual backup passes the check, so this is the best one left.");
    const std::optional<BackupContents> closed = BackupJob::LastClosed(storePath);
    const QString fewer = good->Contents && closed ? frmBackups::FewerText(*good->Contents, *closed) : QString();
    if (!fewer.isEmpty())
        about += QStringLiteral("\n\n") + fewer;
    const int answer = Prompts::current().Choose(
        QStringLiteral("The store \"%1\" is damaged.\n\n%2\n\nRestore it? A copy of the damaged store is kept in "
                       "the backups.")
            .arg(QDir::toNativeSeparators(storePath), about),
        {QStringLiteral("&Restore"), QStringLiteral("&Choose Another Backup..."), QStringLiteral("&Don't Restore")},
        MsgIcon::Exclamation, QStringLiteral("Restore From Backup"));
    if (answer == 1) {
        frmBackups dialog(storePath, this);
        if (dialog.exec() != QDialog::Accepted || !dialog.Chosen())
            return false;
        return RestoreFrom(*dialog.Chosen(), storePath, true);
    }
    if (answer != 0 || (!fewer.isEmpty() && !frmBackups::ConfirmFewer(*good->Contents, *closed)))
        return false;
    return RestoreFrom(good->Backup, storePath, true);
}

bool frmMain::RestoreFrom(const BackupInfo &backup, const QString &storePath, bool damaged)
{
    // A file window still open would hold text of the library that is going away.
    if (!m_ctlView->CloseEditors() || !m_ctlTree->CloseEditors())
        return false;
    modADO &store = *m_store;
    const bool wasOpen = store.IsOpen() && store.DatabasePath() == storePath;
    m_restoring = true;
    QString error;
    QString kept;
    BackgroundWork::Outcome outcome = BackgroundWork::Outcome::Done;
    if (damaged) {
        if (wasOpen)
            store.Close();
        ErrObject err;
        if (!StoreBackup::KeepDamaged(storePath, BackupJob::Folder(), &kept, &err)) {
            outcome = BackgroundWork::Outcome::Failed;
            error = err.Description;
        }
    } else {
        // Not rotated yet: the backup being restored may be the oldest one kept.
        outcome = BackupJob::Make(this, storePath, QString(BackupInfo::BeforeRestoreNote), &kept, &error, false);
        if (outcome == BackgroundWork::Outcome::Done && wasOpen)
            store.Close();
    }
    if (outcome == BackgroundWork::Outcome::Done)
        outcome = BackupJob::Restore(this, backup.Path, storePath, &error);
    m_restoring = false;

    if (outcome == BackgroundWork::Outcome::Done) {
        StoreBackup::Rotate(BackupJob::Folder(), modADO::NameFromPath(storePath), BackupJob::Keep());
        m_damageOffered = false;
    }
    // The store is opened again whatever happened: restored, or as it was. Opened, it has the
    // panes reload; otherwise they are cleared of what they showed of it.
    bool reopened = false;
    if (!store.IsOpen() && (wasOpen || outcome == BackgroundWork::Outcome::Done)) {
        ErrObject err;
        reopened = store.Open(storePath, &err);
        if (!reopened)
            LogError(err, QStringLiteral("modADO"), QStringLiteral("Connect"), true);
    }
    if (m_activated && !reopened)
        ReloadAll();
    switch (outcome) {
    case BackgroundWork::Outcome::Done:
        MsgBox(QStringLiteral("Your library was restored from the backup made %1.\n\nThe library as it was is kept "
                              "as \"%2\".")
                   .arg(frmBackups::MadeText(backup), QFileInfo(kept).fileName()),
               MsgButtons::OK, MsgIcon::Information, QStringLiteral("Restore From Backup"));
        return true;
    case BackgroundWork::Outcome::Cancelled:
        MsgBox(QStringLiteral("The restore was cancelled; your library is as it was."), MsgButtons::OK,
               MsgIcon::Information, QStringLiteral("Restore From Backup"));
        return false;
    case BackgroundWork::Outcome::Failed: break;
    }
    LogError(
        {ErrNumber::PathFileAccess, QStringLiteral("The library was not restored; it is as it was. %1").arg(error)},
        moduleName, QStringLiteral("RestoreFrom"), true);
    return false;
}

void frmMain::mnuFileRestore_Click()
{
    const QString storePath = StorePath();
    frmBackups dialog(storePath, this);
    if (dialog.exec() != QDialog::Accepted || !dialog.Chosen())
        return;
    // A store that could not be opened is most likely damaged: it is kept as it is, not backed up.
    const bool damaged = !m_store->IsOpen();
    RestoreFrom(*dialog.Chosen(), storePath, damaged);
}

void frmMain::mnuToolsCheck_Click()
{
    const QString storePath = StorePath();
    QStringList problems;
    QString error;
    switch (BackupJob::Check(this, storePath, &problems, &error)) {
    case BackgroundWork::Outcome::Cancelled: return;
    case BackgroundWork::Outcome::Failed:
        LogError({ErrNumber::StoreFailed, QStringLiteral("The library could not be checked. %1").arg(error)},
                 moduleName, QStringLiteral("mnuToolsCheck_Click"), true);
        return;
    case BackgroundWork::Outcome::Done: break;
    }
    if (problems.isEmpty()) {
        MsgBox(QStringLiteral("The library \"%1\" is sound: the check found no problems.")
                   .arg(QDir::toNativeSeparators(storePath)),
               MsgButtons::OK, MsgIcon::Information, QStringLiteral("Check Library"));
        return;
    }
    LogError({ErrNumber::StoreDamaged, QStringLiteral("The check of \"%1\" found: %2")
                                           .arg(storePath, problems.mid(0, 10).join(QStringLiteral("; ")))},
             moduleName, QStringLiteral("mnuToolsCheck_Click"), false);
    const int more = int(problems.size()) - 5;
    QString listed = problems.mid(0, 5).join(QLatin1Char('\n'));
    if (more > 0)
        listed += QStringLiteral("\n... and %1 more").arg(more);
    MsgBox(QStringLiteral("The check found the library \"%1\" damaged:\n\n%2")
               .arg(QDir::toNativeSeparators(storePath), listed),
           MsgButtons::OK, MsgIcon::Critical, QStringLiteral("Check Library"));
    OfferRestore(storePath);
}
