#include "Version.h"
#include "data/modADO.h"
#include "platform/QtPrompts.h"
#include "shell/AppPath.h"
#include "shell/HomeFolder.h"
#include "shell/frmMain.h"

#include <QApplication>
#include <QCommandLineParser>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Lorekeep"));
    QApplication::setOrganizationName(QStringLiteral("Lorekeep"));
    QApplication::setApplicationVersion(QStringLiteral(LOREKEEP_VERSION_STRING));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Lorekeep keeps your walkthroughs, cheats, reviews and news about video games."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOption({QStringLiteral("home"),
                      QStringLiteral("Use DIR as Lorekeep's home (store, error log, Quick Clips)."),
                      QStringLiteral("DIR")});
    parser.process(app);

    QtPrompts prompts;
    Prompts::install(&prompts);

    SetAppPath(ResolveHome(QCoreApplication::arguments(), QProcessEnvironment::systemEnvironment()));
    ErrObject err;
    if (!HomeFolder::Prepare(AppPath(), nullptr, &err))
        MsgBox(err.Description, MsgButtons::OK, MsgIcon::Critical);

    int result = 0;
    {
        frmMain window;
        window.show();
        result = QApplication::exec();
    }
    modADO::instance().Close();
    Prompts::install(nullptr);
    return result;
}
