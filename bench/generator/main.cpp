#include "LibraryGenerator.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace {

enum ExitCode { Done = 0, Failed = 1, BadUsage = 2 };

void print(FILE *stream, const QString &text)
{
    std::fputs(text.toLocal8Bit().constData(), stream);
    std::fputc('\n', stream);
}

int usageError(const QCommandLineParser &parser, const QString &message)
{
    print(stderr, QStringLiteral("lorekeep-gen: ") + message);
    print(stderr, parser.helpText());
    return BadUsage;
}

bool readCount(const QCommandLineParser &parser, const QString &option, int minimum, int *value, QString *error)
{
    if (!parser.isSet(option))
        return true;
    bool ok = false;
    const int number = parser.value(option).toInt(&ok);
    if (!ok || number < minimum) {
        *error = QStringLiteral("--%1 takes a whole number of at least %2, not \"%3\".")
                     .arg(option)
                     .arg(minimum)
                     .arg(parser.value(option));
        return false;
    }
    *value = number;
    return true;
}

QString megabytes(qint64 bytes)
{
    return QString::number(double(bytes) / (1024.0 * 1024.0), 'f', 2);
}

QString kilobytes(qint64 bytes)
{
    return QString::number(double(bytes) / 1024.0, 'f', 2);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("lorekeep-gen"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Writes a synthetic Lorekeep store of any size. The same seed gives the same content.\n"
                       "--games and --files are required."));
    const QCommandLineOption helpOption = parser.addHelpOption();
    parser.addOption(
        {QStringLiteral("games"), QStringLiteral("Number of games (at least 1). Required."), QStringLiteral("N")});
    parser.addOption(
        {QStringLiteral("files"), QStringLiteral("Number of files (0 or more). Required."), QStringLiteral("N")});
    parser.addOption({QStringLiteral("rtf-kb"), QStringLiteral("Mean size of a file's text in KB (default 4)."),
                      QStringLiteral("K")});
    parser.addOption({QStringLiteral("seed"), QStringLiteral("Seed of the content (default 1)."), QStringLiteral("S")});
    parser.addOption({QStringLiteral("force"), QStringLiteral("Replace OUT if it exists.")});
    parser.addPositionalArgument(QStringLiteral("OUT.lkb"), QStringLiteral("The store to write."));

    if (!parser.parse(QCoreApplication::arguments()))
        return usageError(parser, parser.errorText());
    if (parser.isSet(helpOption)) {
        print(stdout, parser.helpText());
        return Done;
    }

    GenSettings settings;
    QString error;
    if (!parser.isSet(QStringLiteral("games")) || !parser.isSet(QStringLiteral("files")))
        return usageError(parser, QStringLiteral("--games and --files are required."));
    if (!readCount(parser, QStringLiteral("games"), 1, &settings.games, &error) ||
        !readCount(parser, QStringLiteral("files"), 0, &settings.files, &error))
        return usageError(parser, error);
    if (parser.isSet(QStringLiteral("rtf-kb"))) {
        bool ok = false;
        settings.rtfKb = parser.value(QStringLiteral("rtf-kb")).toDouble(&ok);
        if (!ok || !(settings.rtfKb > 0 && settings.rtfKb <= 1024))
            return usageError(parser, QStringLiteral("--rtf-kb takes a size in KB above 0 and up to 1024, not \"%1\".")
                                          .arg(parser.value(QStringLiteral("rtf-kb"))));
    }
    if (parser.isSet(QStringLiteral("seed"))) {
        bool ok = false;
        settings.seed = parser.value(QStringLiteral("seed")).toULongLong(&ok);
        if (!ok)
            return usageError(parser, QStringLiteral("--seed takes a whole number from 0 to 18446744073709551615, "
                                                     "not \"%1\".")
                                          .arg(parser.value(QStringLiteral("seed"))));
    }
    const QStringList outputs = parser.positionalArguments();
    if (outputs.size() != 1)
        return usageError(parser, QStringLiteral("give exactly one store to write (OUT.lkb)."));
    const QString out = outputs.constFirst();

    const QFileInfo target(out);
    if (target.exists() || target.isSymLink()) {
        if (target.isDir()) {
            print(stderr, QStringLiteral("lorekeep-gen: \"%1\" is a folder; give the path of a store file.").arg(out));
            return BadUsage;
        }
        if (!parser.isSet(QStringLiteral("force"))) {
            print(stderr, QStringLiteral("lorekeep-gen: \"%1\" exists; pass --force to replace it.").arg(out));
            return BadUsage;
        }
        QFile old(out);
        if (!old.remove()) {
            print(stderr, QStringLiteral("lorekeep-gen: cannot replace \"%1\": %2").arg(out, old.errorString()));
            return Failed;
        }
        QFile::remove(out + QStringLiteral("-journal"));
    }

    // Said here in the user's terms; the store would only report that it cannot open a database file.
    const QFileInfo folder(target.absolutePath());
    if (!folder.isDir()) {
        print(stderr, QStringLiteral("lorekeep-gen: the folder \"%1\" does not exist.").arg(folder.filePath()));
        return Failed;
    }
    if (!folder.isWritable()) {
        print(stderr, QStringLiteral("lorekeep-gen: cannot write in the folder \"%1\": permission denied.")
                          .arg(folder.filePath()));
        return Failed;
    }

    QElapsedTimer clock;
    clock.start();
    LibraryGenerator generator(settings);
    GenSummary summary;
    ErrObject err;
    if (!generator.Generate(out, &summary, &err)) {
        print(stderr, QStringLiteral("lorekeep-gen: ") + err.Description);
        return Failed;
    }
    const double seconds = double(clock.nsecsElapsed()) / 1e9;

    print(stdout, QStringLiteral("store: %1").arg(out));
    print(stdout, QStringLiteral("time: %1 s").arg(QString::number(seconds, 'f', 2)));
    print(stdout, QStringLiteral("size: %1 MB").arg(megabytes(QFileInfo(out).size())));
    print(stdout, QStringLiteral("seed: %1").arg(settings.seed));
    print(stdout, QStringLiteral("games: %1 (%2 distinct titles)").arg(summary.games).arg(summary.distinctTitles));
    print(stdout, QStringLiteral("files: %1").arg(summary.files));
    print(stdout, QStringLiteral("bookmarks: %1").arg(summary.bookmarks));
    print(stdout, QStringLiteral("favorites: %1").arg(summary.favorites));
    if (summary.files > 0) {
        const int usual = summary.files - (summary.megabyteFileId != 0 ? 2 : 0);
        print(stdout, QStringLiteral("rtf: mean %1 KB (%2 KB without the outsized two), smallest %3 KB, largest %4 KB")
                          .arg(kilobytes(summary.rtfBytes / summary.files),
                               kilobytes(usual > 0 ? (summary.rtfBytes - summary.outsizedRtfBytes) / usual : 0),
                               kilobytes(summary.smallestRtf), kilobytes(summary.largestRtf)));
        print(
            stdout,
            QStringLiteral("busiest game: id %1 (%2 files)").arg(summary.busiestGameId).arg(summary.busiestGameFiles));
    }
    if (summary.busyGameId != 0)
        print(stdout, QStringLiteral("game with %1 files: id %2").arg(summary.busyGameFiles).arg(summary.busyGameId));
    if (summary.megabyteFileId != 0) {
        print(stdout, QStringLiteral("1 MB file: id %1").arg(summary.megabyteFileId));
        print(stdout, QStringLiteral("10 MB file: id %1").arg(summary.tenMegabyteFileId));
    }
    return Done;
}
