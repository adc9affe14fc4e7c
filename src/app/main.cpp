#include "base/AppPath.h"
#include "base/Version.h"
#include "data/HomeFolder.h"
#include "data/modADO.h"
#include "platform/HelpPages.h"
#include "platform/QtPrompts.h"
#include "platform/SingleInstance.h"
#include "platform/TerminationSignals.h"
#include "shell/frmMain.h"
#include "shell/modMain.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>

namespace {

// Start-up lets pending events run while it loads; a close handled then would end the window while
// start-up still works on it, and the quit that follows would come before the main loop and be lost.
bool mainLoopRunning = false;
bool closePending = false;

// Closes the main window; a dialog that is up is dismissed first, since the code that opened it is
// still waiting for its answer and must finish before the window goes away. During start-up the
// close waits for the main loop.
void CloseWhenIdle()
{
    if (QWidget *modal = QApplication::activeModalWidget()) {
        modal->close();
        QTimer::singleShot(50, &CloseWhenIdle);
    } else if (!mainLoopRunning) {
        closePending = true;
    } else if (frmMain *form = modMain::MainForm()) {
        form->close();
    } else {
        QApplication::quit();
    }
}

} // namespace

int main(int argc, char *argv[])
{
    // The web engine shares its drawing contexts with the windows; this must be said before the
    // application exists.
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Lorekeep"));
    QApplication::setOrganizationName(QStringLiteral("Lorekeep"));
    QApplication::setApplicationVersion(QStringLiteral(LOREKEEP_VERSION_STRING));
    QApplication::setDesktopFileName(QStringLiteral("lorekeep"));
    QApplication::setWindowIcon(frmMain::ProgramIcon());

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
    // Settled before the home is installed, the store opened or any window shown: a second start on
    // the same home brings the first one forward and ends.
    SingleInstance instance(AppPath());
    const SingleInstance::Outcome outcome = instance.Acquire();
    if (outcome != SingleInstance::Outcome::Owner) {
        if (outcome == SingleInstance::Outcome::Unreachable)
            MsgBox(instance.Description(), MsgButtons::OK, MsgIcon::Exclamation);
        Prompts::install(nullptr);
        return outcome == SingleInstance::Outcome::Activated ? 0 : 1;
    }
    QObject::connect(&instance, &SingleInstance::ActivationRequested, &app, [] { modMain::BringToFront(); });

    ErrObject err;
    if (!HomeFolder::Prepare(AppPath(), nullptr, &err))
        MsgBox(err.Description, MsgButtons::OK, MsgIcon::Critical);
    // The help pages follow the program: a home gets this version's pages; one that cannot be
    // written keeps the ones it has, and Help says so when it has none.
    else if (ErrObject helpErr; !HelpPages::Install(AppPath(), &helpErr))
        qWarning("%s", qPrintable(helpErr.Description));

    // A logout or kill asks the window to close the usual way, so the layout and settings are kept.
    TerminationSignals termination;
    QObject::connect(&termination, &TerminationSignals::Received, &app, [] { CloseWhenIdle(); });

    modMain::Main();
    // Posted only now, so it runs in the main loop and not in one that start-up ran.
    QTimer::singleShot(0, &app, [] {
        mainLoopRunning = true;
        if (closePending)
            CloseWhenIdle();
    });
    const int result = QApplication::exec();
    modADO::instance().Close();
    Prompts::install(nullptr);
    return result;
}
