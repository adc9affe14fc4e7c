#include "PackageInstall.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

namespace {

QString g_listFile;

} // namespace

namespace PackageInstall {

QString DefaultListFile()
{
    return QStringLiteral("/var/lib/dpkg/info/lorekeep.list");
}

bool Lists(const QString &listFile, const QString &executable)
{
    if (executable.isEmpty())
        return false;
    QFile list(listFile);
    if (!list.open(QIODevice::ReadOnly | QIODevice::Text))
        return false;
    // On a merged /usr the program runs as /usr/bin/lorekeep while a list may say /bin/lorekeep.
    const QString real = QFileInfo(executable).canonicalFilePath();
    while (!list.atEnd()) {
        const QString line = QString::fromUtf8(list.readLine()).trimmed();
        if (line.isEmpty())
            continue;
        if (line == executable || (!real.isEmpty() && QFileInfo(line).canonicalFilePath() == real))
            return true;
    }
    return false;
}

bool IsPackaged()
{
    return Lists(g_listFile.isEmpty() ? DefaultListFile() : g_listFile, QCoreApplication::applicationFilePath());
}

void SetListFile(const QString &path)
{
    g_listFile = path;
}

} // namespace PackageInstall
