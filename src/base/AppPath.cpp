#include "AppPath.h"

#include <QDir>
#include <QStandardPaths>

namespace {

QString g_appPath;

} // namespace

QString NormalizeFolder(const QString &folder)
{
    QString path = QDir::cleanPath(QDir(folder).absolutePath());
    if (!path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    return path;
}

QString ResolveHome(const QStringList &arguments, const QProcessEnvironment &environment)
{
    // The last --home wins, as with most programs' options; the first argument is the program.
    // Qt programs take long options with one dash too, so "-home" is the same option.
    QString fromArguments;
    for (int i = 1; i < arguments.size(); ++i) {
        QString argument = arguments.at(i);
        if (argument.startsWith(QLatin1String("-home")))
            argument.prepend(QLatin1Char('-'));
        if (argument == QLatin1String("--home") && i + 1 < arguments.size())
            fromArguments = arguments.at(++i);
        else if (argument.startsWith(QLatin1String("--home=")))
            fromArguments = argument.mid(7);
    }
    if (!fromArguments.isEmpty())
        return NormalizeFolder(fromArguments);
    const QString fromEnvironment = environment.value(QStringLiteral("LOREKEEP_HOME"));
    if (!fromEnvironment.isEmpty())
        return NormalizeFolder(fromEnvironment);
    return NormalizeFolder(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                           QStringLiteral("/Lorekeep"));
}

QString AppPath()
{
    if (g_appPath.isEmpty())
        g_appPath = ResolveHome({}, QProcessEnvironment::systemEnvironment());
    return g_appPath;
}

void SetAppPath(const QString &folder)
{
    g_appPath = NormalizeFolder(folder);
}
