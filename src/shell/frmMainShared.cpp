// The main window's stores beyond the home's own: a library shared on a PostgreSQL server opened by
// its parts, the stores opened last, and a whole library copied into a new store of either kind.
#include "frmMain.h"

#include "base/ErrorLog.h"
#include "components/BackupJob.h"
#include "data/modADO.h"
#include "frmSharedLibrary.h"
#include "store/StoreAddress.h"
#include "system/Prompts.h"
#include "system/SettingKeys.h"
#include "system/SettingsStore.h"
#include "tree/ctlTree.h"
#include "view/ctlView.h"

#include <QAction>
#include <QDir>
#include <QFileInfo>
#include <QMenu>

namespace {

const QString moduleName = QStringLiteral("frmMain");
constexpr int recentCount = 8;

QStringList recentStores()
{
    return GetSetting(SettingKeys::RecentStores).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

// How a store is named in the list: a file by its absolute path, a shared library by its address
// without the password, which is never written to the settings.
QString recentName(const QString &path)
{
    return StoreAddress::IsShared(path) ? StoreAddress::WithoutPassword(path) : QFileInfo(path).absoluteFilePath();
}

// A name as a menu shows it: "&" would be taken for an accelerator.
QString menuText(const QString &name)
{
    QString shown = StoreAddress::IsShared(name) ? name : QDir::toNativeSeparators(name);
    return shown.replace(QLatin1Char('&'), QLatin1String("&&"));
}

QString shownName(const QString &path)
{
    return StoreAddress::IsShared(path) ? StoreAddress::WithoutPassword(path) : QDir::toNativeSeparators(path);
}

} // namespace

void frmMain::mnuFileOpenShared_Click()
{
    const std::optional<QString> address =
        frmSharedLibrary::Ask(this, QStringLiteral("Open Shared Library"), m_store->DatabasePath());
    if (address)
        OpenStoreFile(*address);
}

void frmMain::OpenStoreFile(const QString &path)
{
    // The store that is open already is not reopened; a store that fails to open has been reported.
    // A file window still open would save into the store that is going away: the user is asked
    // about each first, and may keep the store by cancelling.
    const QString open = m_store->DatabasePath();
    if ((open.isEmpty() || recentName(path) != recentName(open)) && m_ctlView->CloseEditors() &&
        m_ctlTree->CloseEditors() && OpenStore(path))
        RememberChosen(m_store->DatabasePath());
}

void frmMain::RememberChosen(const QString &path)
{
    SaveSetting(SettingKeys::LastShared,
                StoreAddress::IsShared(path) ? StoreAddress::WithoutPassword(path) : QString());
}

QString frmMain::WithSessionPassword(const QString &address) const
{
    if (!StoreAddress::IsShared(address) || !StoreAddress::Password(address).isEmpty())
        return address;
    const auto typed = m_passwords.constFind(StoreAddress::WithoutPassword(address));
    return typed == m_passwords.constEnd() ? address : StoreAddress::WithPassword(address, *typed);
}

bool frmMain::AskAgain(QString *address, const ErrObject &err)
{
    // At start the window has no store yet: giving up opens the home's own.
    const QString giveUp = m_activated ? QStringLiteral("&Cancel") : QStringLiteral("Open &Home Library");
    const QString question = m_activated
                                 ? QStringLiteral("Try again, or enter the password?")
                                 : QStringLiteral("Try again, enter the password, or open the home library instead?");
    // The store's messages name the library already, most of them.
    const QString shown = StoreAddress::WithoutPassword(*address);
    const QString why =
        err.Description.contains(shown)
            ? err.Description
            : QStringLiteral("Lorekeep could not open the shared library \"%1\".\n\n%2").arg(shown, err.Description);
    for (;;) {
        const int answer =
            Prompts::current().Choose(why + QStringLiteral("\n\n") + question,
                                      {QStringLiteral("&Retry"), QStringLiteral("&Enter Password..."), giveUp},
                                      MsgIcon::Exclamation, QStringLiteral("Open Shared Library"));
        if (answer == 0)
            return true;
        if (answer != 1)
            return false;
        QString host;
        QString database;
        QString user;
        int port = 0;
        StoreAddress::Parts(*address, &host, &port, &database, &user);
        const std::optional<QString> password = Prompts::current().PasswordBox(
            user.isEmpty()
                ? QStringLiteral("Your password for the shared library \"%1\":").arg(modADO::NameFromPath(*address))
                : QStringLiteral("The password of \"%1\" for the shared library \"%2\":")
                      .arg(user, modADO::NameFromPath(*address)),
            QStringLiteral("Enter Password"));
        if (!password)
            continue;
        *address = StoreAddress::WithPassword(*address, *password);
        return true;
    }
}

void frmMain::FillRecent()
{
    QMenu *menu = m_menu->mnuFileRecent;
    menu->clear();
    const QStringList stores = recentStores();
    m_recentListed = stores;
    for (int n = 0; n < stores.size(); ++n) {
        const QString store = stores.at(n);
        QAction *item = menu->addAction(QStringLiteral("&%1 %2").arg(n + 1).arg(menuText(store)));
        item->setObjectName(QStringLiteral("mnuFileRecent%1").arg(n + 1));
        connect(item, &QAction::triggered, this, [this, store] { OpenStoreFile(store); });
    }
    menu->addSeparator();
    QAction *clear = menu->addAction(QStringLiteral("&Clear List"));
    clear->setObjectName(QStringLiteral("mnuFileRecentClear"));
    connect(clear, &QAction::triggered, this, [this] {
        SaveSetting(SettingKeys::RecentStores, QString());
        FillRecent();
    });
    menu->menuAction()->setEnabled(!stores.isEmpty());
}

void frmMain::AddRecent(const QString &path)
{
    const QString name = recentName(path);
    const QStringList listed = recentStores();
    QStringList stores = listed;
    stores.removeAll(name);
    stores.prepend(name);
    stores = stores.mid(0, recentCount);
    // The store opened at every start is most often the first already; the menu stays as it is.
    if (stores == listed && listed == m_recentListed)
        return;
    SaveSetting(SettingKeys::RecentStores, stores.join(QLatin1Char('\n')));
    FillRecent();
}

void frmMain::RemoveRecent(const QString &path)
{
    QStringList stores = recentStores();
    if (stores.removeAll(recentName(path)) == 0)
        return;
    SaveSetting(SettingKeys::RecentStores, stores.join(QLatin1Char('\n')));
    FillRecent();
}

void frmMain::mnuFileCopy_Click()
{
    const QString source = m_store->DatabasePath();
    const QString title = QStringLiteral("Copy Library To");
    const int kind = Prompts::current().Choose(
        QStringLiteral("Copy the library \"%1\" into a new Lorekeep file, or into an empty database on a "
                       "PostgreSQL server to share it?")
            .arg(m_store->DatabaseName()),
        {QStringLiteral("New &File..."), QStringLiteral("&Shared Library..."), QStringLiteral("Cancel")},
        MsgIcon::Question, title);
    std::optional<QString> dest;
    if (kind == 0) {
        FileDialogOptions options;
        options.Title = title;
        options.Filter = QStringLiteral("Lorekeep Files *.lkb|*.lkb");
        options.DefaultExt = QStringLiteral("lkb");
        options.InitDir = StoreAddress::IsShared(source) ? QDir::homePath() : QFileInfo(source).absolutePath();
        options.FileName = m_store->DatabaseName() + QStringLiteral(" copy.lkb");
        dest = Prompts::current().GetSaveFileName(options);
    } else if (kind == 1) {
        dest = frmSharedLibrary::Ask(this, QStringLiteral("Copy Library To Shared Library"), QString());
    }
    if (!dest)
        return;
    ErrObject err;
    if (!StoreCopy::CheckDestination(*dest, &err)) {
        MsgBox(err.Description, MsgButtons::OK, MsgIcon::Exclamation, title);
        return;
    }
    CopyCounts counts;
    QString error;
    switch (BackupJob::Copy(this, title, source, *dest, &counts, &error)) {
    case BackgroundWork::Outcome::Done:
        MsgBox(QStringLiteral("Copied %L1 games, %L2 files, %L3 bookmarks, %L4 favorites, %L5 page snapshots to "
                              "\"%6\".")
                   .arg(counts.Games)
                   .arg(counts.Files)
                   .arg(counts.Bookmarks)
                   .arg(counts.Favorites)
                   .arg(counts.Snapshots)
                   .arg(shownName(*dest)),
               MsgButtons::OK, MsgIcon::Information, title);
        return;
    case BackgroundWork::Outcome::Cancelled:
        MsgBox(QStringLiteral("The copy was cancelled; nothing was written."), MsgButtons::OK, MsgIcon::Information,
               title);
        return;
    case BackgroundWork::Outcome::Failed: break;
    }
    LogError({ErrNumber::StoreFailed, QStringLiteral("The library was not copied. %1").arg(error)}, moduleName,
             QStringLiteral("mnuFileCopy_Click"), true);
}
