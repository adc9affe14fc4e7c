#include "HomeFolder.h"

#include "StoreBackup.h"
#include "store/Schema.h"
#include "system/SingleInstance.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>

#include <algorithm>

Q_LOGGING_CATEGORY(lcHome, "lorekeep.home")

const QString HomeFolder::StoreFileName = QStringLiteral("lorekeep.lkb");

namespace {

const char *const bundledPictures[] = {"logo.gif", "vbar.gif", "tips.txt"};

bool installBundled(const QDir &dir, const char *name, ErrObject *err)
{
    const QString target = dir.filePath(QLatin1String(name));
    QFile bundled(QStringLiteral(":/bundle/") + QLatin1String(name));
    if (!bundled.copy(target)) {
        *err = {ErrNumber::PathFileAccess, QStringLiteral("Cannot install \"%1\" into \"%2\": %3")
                                               .arg(QLatin1String(name), dir.path(), bundled.errorString())};
        return false;
    }
    // Files copied out of the program's resources come out read-only.
    QFile::setPermissions(target, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
    return true;
}

bool makeClipFolder(const QDir &dir, ErrObject *err)
{
    if (dir.mkpath(QStringLiteral("QuickClip")))
        return true;
    *err = {ErrNumber::PathFileAccess,
            QStringLiteral("Cannot create the folder \"QuickClip\" in \"%1\".").arg(dir.path())};
    return false;
}

} // namespace

QStringList HomeFolder::BundledFiles()
{
    return {StoreFileName, QStringLiteral("logo.gif"), QStringLiteral("vbar.gif"), QStringLiteral("tips.txt"),
            QStringLiteral("QuickClip")};
}

bool HomeFolder::IsNew(const QString &home)
{
    const QDir dir(home);
    if (!dir.exists())
        return true;
    // The guard against a second start locks the home before it is installed; its files (the lock
    // and QLockFile's short-lived ".rmlock") do not make a home.
    const QStringList entries = dir.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    return std::all_of(entries.begin(), entries.end(),
                       [](const QString &name) { return name.startsWith(SingleInstance::LockFileName); });
}

bool HomeFolder::Prepare(const QString &home, bool *installed, ErrObject *err)
{
    if (installed)
        *installed = false;
    QDir dir(home);
    if (!IsNew(home)) {
        CompleteHome(dir);
        // The home is ours alone from here on, so no backup is being written into it.
        for (const QString &name : StoreBackup::RemoveLeftovers(StoreBackup::Folder(home)))
            qCInfo(lcHome, "Removed \"%s\", left by a backup that was cut off.", qPrintable(name));
        return true;
    }
    if (!dir.mkpath(QStringLiteral("."))) {
        *err = {ErrNumber::PathFileAccess, QStringLiteral("Cannot create Lorekeep's home folder \"%1\".").arg(home)};
        return false;
    }
    if (!Schema::CreateStore(dir.filePath(StoreFileName), err))
        return false;
    for (const char *name : bundledPictures) {
        if (!installBundled(dir, name, err))
            return false;
    }
    if (!makeClipFolder(dir, err))
        return false;
    if (installed)
        *installed = true;
    return true;
}

QStringList HomeFolder::CompleteHome(const QDir &dir)
{
    // A home the user filled by hand (a store copied into an empty folder) gets what a new home
    // has, except the store: one the user removed is not brought back. A home that cannot be
    // written goes on without the missing pieces; each is told in the log.
    QStringList added;
    ErrObject err;
    for (const char *name : bundledPictures) {
        if (QFileInfo::exists(dir.filePath(QLatin1String(name))))
            continue;
        if (installBundled(dir, name, &err))
            added << QLatin1String(name);
        else
            qCWarning(lcHome, "%s", qPrintable(err.Description));
    }
    if (!QFileInfo(dir.filePath(QStringLiteral("QuickClip"))).isDir()) {
        if (makeClipFolder(dir, &err))
            added << QStringLiteral("QuickClip");
        else
            qCWarning(lcHome, "%s", qPrintable(err.Description));
    }
    return added;
}
