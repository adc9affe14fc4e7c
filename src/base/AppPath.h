#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

// Lorekeep's home: the folder of the store, the error log, the tips and the Quick Clip files.
// Always an absolute path ending in exactly one "/".
QString AppPath();
void SetAppPath(const QString &folder);

// Where the home is: "--home DIR" (or "--home=DIR") among the arguments, else LOREKEEP_HOME, else the
// per-user data folder.
QString ResolveHome(const QStringList &arguments, const QProcessEnvironment &environment);
// `folder` made absolute and clean, with one trailing "/".
QString NormalizeFolder(const QString &folder);
