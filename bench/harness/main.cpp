#include "BenchContext.h"
#include "BenchReport.h"
#include "BenchTimer.h"
#include "Suite.h"
#include "data/modADO.h"

#include <QApplication>
#include <QCommandLineParser>

#include <cstdio>

namespace {

enum ExitCode { Done = 0, NotMeasured = 1, BadUsage = 2 };

int usageError(const QCommandLineParser &parser, const QString &message)
{
    BenchReport::note(QStringLiteral("lorekeep-bench: ") + message);
    BenchReport::note(parser.helpText());
    return BadUsage;
}

QString suiteList()
{
    QString list;
    for (const Suite &suite : Suite::all())
        list += QString::fromLatin1(suite.name).leftJustified(10) + QLatin1String(suite.summary) + QLatin1Char('\n');
    return list;
}

} // namespace

int main(int argc, char *argv[])
{
    // Documents need fonts, and fonts a GUI application; no window is ever shown.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("lorekeep-bench"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Runs one benchmark suite on a Lorekeep store. Each measurement prints one line:\n"
                       "SUITE/NAME ours_ms=A baseline_ms=B ratio=R  (medians of several runs, R = A / B).\n\n"
                       "Suites:\n") +
        suiteList());
    const QCommandLineOption helpOption = parser.addHelpOption();
    const QCommandLineOption listOption(QStringLiteral("list"), QStringLiteral("List the suites."));
    const QCommandLineOption storeOption(
        QStringLiteral("store"), QStringLiteral("The store to measure on: a .lkb file or a postgresql:// address."),
        QStringLiteral("STORE"));
    const QCommandLineOption runsOption(
        QStringLiteral("runs"),
        QStringLiteral("Timed runs of each operation (default %1).").arg(BenchTimer::DefaultRuns), QStringLiteral("N"));
    parser.addOption(listOption);
    parser.addOption(storeOption);
    parser.addOption(runsOption);
    parser.addPositionalArgument(QStringLiteral("SUITE"), QStringLiteral("The suite to run."));

    if (!parser.parse(QCoreApplication::arguments()))
        return usageError(parser, parser.errorText());
    if (parser.isSet(helpOption)) {
        std::fputs(parser.helpText().toLocal8Bit().constData(), stdout);
        return Done;
    }
    if (parser.isSet(listOption)) {
        std::fputs(suiteList().toLocal8Bit().constData(), stdout);
        return Done;
    }

    const QStringList names = parser.positionalArguments();
    if (names.size() != 1)
        return usageError(parser, QStringLiteral("give exactly one suite."));
    const Suite *suite = Suite::find(names.constFirst());
    if (!suite)
        return usageError(parser, QStringLiteral("there is no suite \"%1\".").arg(names.constFirst()));
    if (!parser.isSet(storeOption) || parser.value(storeOption).isEmpty())
        return usageError(parser, QStringLiteral("--store FILE (or a postgresql:// address) is required."));
    int runs = BenchTimer::DefaultRuns;
    if (parser.isSet(runsOption)) {
        bool ok = false;
        runs = parser.value(runsOption).toInt(&ok);
        if (!ok || runs < 1)
            return usageError(parser, QStringLiteral("--runs takes a whole number of at least 1."));
    }

    const BenchContext context(QLatin1String(suite->name), parser.value(storeOption), runs);
    // Every suite measures on a store, so one that cannot be opened stops here with its reason.
    {
        modADO check(QStringLiteral("lorekeep-bench-check"));
        if (!context.openStore(&check))
            return NotMeasured;
    }
    return suite->run(context);
}
