#pragma once

#include <QString>

// Whether the running program came from its Debian package, whose updates are the system's package
// updates, rather than from a home that carries its own updater.
namespace PackageInstall {

// dpkg's list of the files package "lorekeep" installed.
QString DefaultListFile();
// True when the list at `listFile` names `executable`, as it is or with its links resolved.
bool Lists(const QString &listFile, const QString &executable);
// For the running executable, against the list in use (dpkg's unless a test chose another).
bool IsPackaged();
// Tests point the check at a list of their own; an empty path puts dpkg's back.
void SetListFile(const QString &path);

} // namespace PackageInstall
