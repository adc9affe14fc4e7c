#include "base/AppPath.h"
#include "base/Version.h"
#include "data/HomeFolder.h"
#include "shell/frmMain.h"
#include "shell/modMain.h"
#include "store/StoreAddress.h"
#include "system/SingleInstance.h"
#include "system/TerminationSignals.h"
#include "webpage/StartPageScheme.h"
#include "widgets/HelpPages.h"
#include "widgets/QtPrompts.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QTimer>

#include <algorithm>
#include <cstdio>

namespace {

// Start-up runs from the event loop and waits on long work; a close handled then would end the
// window while start-up still works on it.
bool startupOver = false;
bool closePending = false;

// Closes the main window; a dialog that is up is dismissed first, since the code that opened it is
// still waiting for its answer and must finish before the window goes away. During start-up the
// close waits for the main loop.
void CloseWhenIdle()
{
    if (QWidget *modal = QApplication::activeModalWidget()) {
        modal->close();
        QTimer::singleShot(50, &CloseWhenIdle);
    } else if (!startupOver) {
        closePending = true;
    } else if (frmMain *form = modMain::MainForm()) {
        form->close();
    } else {
        QApplication::quit();
    }
}

void describeProgram(QCommandLineParser *parser)
{
    QCoreApplication::setApplicationName(QStringLiteral("Lorekeep"));
    QCoreApplication::setOrganizationName(QStringLiteral("Lorekeep"));
    QCoreApplication::setApplicationVersion(QStringLiteral(LOREKEEP_VERSION_STRING));
    parser->setApplicationDescription(
        QStringLiteral("Lorekeep keeps your walkthroughs, cheats, reviews and news about video games."));
    parser->addHelpOption();
    parser->addVersionOption();
    parser->addOption({QStringLiteral("home"),
                       QStringLiteral("Use DIR as Lorekeep's home (store, error log, Quick Clips)."),
                       QStringLiteral("DIR")});
    parser->addPositionalArgument(
        QStringLiteral("file"), QStringLiteral("A Lorekeep store (.lkb) to open, or a Quick Clip file (.qcf) to show."),
        QStringLiteral("[FILE]"));
}

} // namespace

int main(int argc, char *argv[])
{
    // Help and the version are answered without a window, so they work where there is no screen.
    // Qt's own options (-style, -platform, ...) are only known once the application takes them, so
    // other mistakes on the command line are told after that.
    {
        QStringList arguments;
        for (int i = 0; i < argc; ++i)
            arguments << QString::fromLocal8Bit(argv[i]);
        QCommandLineParser parser;
        describeProgram(&parser);
        parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
        parser.parse(arguments);
        const QStringList asked = parser.optionNames();
        const auto any = [&asked](std::initializer_list<const char *> names) {
            return std::any_of(names.begin(), names.end(),
                               [&asked](const char *name) { return asked.contains(QLatin1String(name)); });
        };
        if (any({"v", "version"})) {
            QCoreApplication core(argc, argv);
            parser.showVersion();
        }
        if (any({"h", "?", "help", "help-all"})) {
            QCoreApplication core(argc, argv);
            parser.showHelp(0);
        }
    }

    // The web engine shares its drawing contexts with the windows, and learns the start page's
    // address; both must be said before the application exists.
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    StartPageScheme::Register();
    QApplication app(argc, argv);
    QCommandLineParser parser;
    describeProgram(&parser);
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.process(app);
    if (parser.positionalArguments().size() > 1) {
        std::fprintf(stderr, "%s\n", "Lorekeep opens one file at a time.");
        return 1;
    }
    QApplication::setDesktopFileName(QStringLiteral("org.lorekeep.Lorekeep"));
    QApplication::setWindowIcon(frmMain::ProgramIcon());
    // Named as the user gave it, relative to where Lorekeep was started; a shared library's address
    // is no path and is kept as it is.
    const QString argument = parser.positionalArguments().value(0);
    const QString startFile =
        argument.isEmpty() || StoreAddress::IsShared(argument) ? argument : QFileInfo(argument).absoluteFilePath();

    QtPrompts prompts;
    Prompts::install(&prompts);

    SetAppPath(ResolveHome(QCoreApplication::arguments(), QProcessEnvironment::systemEnvironment()));
    // Settled before the home is installed, the store opened or any window shown: a second start on
    // the same home brings the first one forward and ends.
    SingleInstance instance(AppPath());
    instance.setFileToOpen(startFile);
    const SingleInstance::Outcome outcome = instance.Acquire();
    if (outcome != SingleInstance::Outcome::Owner) {
        if (outcome == SingleInstance::Outcome::Unreachable)
            MsgBox(instance.Description(), MsgButtons::OK, MsgIcon::Exclamation);
        Prompts::install(nullptr);
        return outcome == SingleInstance::Outcome::Activated ? 0 : 1;
    }
    QObject::connect(&instance, &SingleInstance::ActivationRequested, &app,
                     [](const QString &file) { modMain::BringToFront(file); });

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

    // Posted, so that it runs once start-up's last waits are over.
    modMain::Main(startFile, [] {
        QTimer::singleShot(0, qApp, [] {
            startupOver = true;
            if (closePending)
                CloseWhenIdle();
        });
    });
    const int result = QApplication::exec();
    // A window closed last is deleted later, and the loop has ended: its store is closed here.
    delete modMain::MainForm();
    Prompts::install(nullptr);
    return result;
}
