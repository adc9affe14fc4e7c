#include "HomeFolder.h"

#include "Schema.h"
#include "platform/SingleInstance.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

const QString HomeFolder::StoreFileName = QStringLiteral("lorekeep.lkb");

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
    if (!IsNew(home))
        return true;
    QDir dir(home);
    if (!dir.mkpath(QStringLiteral("."))) {
        *err = {ErrNumber::PathFileAccess, QStringLiteral("Cannot create Lorekeep's home folder \"%1\".").arg(home)};
        return false;
    }
    if (!Schema::CreateStore(dir.filePath(StoreFileName), err))
        return false;
    for (const char *name : {"logo.gif", "vbar.gif", "tips.txt"}) {
        const QString target = dir.filePath(QLatin1String(name));
        QFile bundled(QStringLiteral(":/bundle/") + QLatin1String(name));
        if (!bundled.copy(target)) {
            *err = {ErrNumber::PathFileAccess, QStringLiteral("Cannot install \"%1\" into \"%2\": %3")
                                                   .arg(QLatin1String(name), home, bundled.errorString())};
            return false;
        }
        // Files copied out of the program's resources come out read-only.
        QFile::setPermissions(target, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
    }
    if (!dir.mkpath(QStringLiteral("QuickClip"))) {
        *err = {ErrNumber::PathFileAccess,
                QStringLiteral("Cannot create the folder \"QuickClip\" in \"%1\".").arg(home)};
        return false;
    }
    if (installed)
        *installed = true;
    return true;
}
