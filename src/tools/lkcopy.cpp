// lkcopy: copies a whole Lorekeep library between two stores, a store file or a shared library on
// PostgreSQL, either way. Prints "copied N games, N files, N bookmarks, N favorites" and exits 0;
// 1 when the copy failed part-way (DEST is left as it was found); 2 for wrong arguments, a SOURCE
// that is not a library, or a DEST that is not a new file or an empty database.
#include "base/Version.h"
#include "data/StoreCopy.h"
#include "data/modADO.h"
#include "store/StoreAddress.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>

#include <cstdio>

namespace {

// Below this many rows the copy is over before a progress line would help.
constexpr qint64 progressFromRows = 20000;
constexpr qint64 progressEveryMs = 1000;

void complain(const QString &text)
{
    std::fprintf(stderr, "lkcopy: %s\n", qPrintable(text));
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("lkcopy"));
    QCoreApplication::setApplicationVersion(QStringLiteral(LOREKEEP_VERSION_STRING));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Copies the whole Lorekeep library SOURCE into DEST: games, files, bookmarks, favorites and "
                       "the search index, with their ids. Each is a store file (.lkb) or a shared library's "
                       "address (postgresql://user@host/database). DEST must be a new file or an empty database."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("SOURCE"), QStringLiteral("The library to copy."));
    parser.addPositionalArgument(QStringLiteral("DEST"), QStringLiteral("A new .lkb file or an empty database."));
    parser.process(app);
    const QStringList args = parser.positionalArguments();
    if (args.size() != 2) {
        complain(QStringLiteral("give SOURCE and DEST; see --help"));
        return 2;
    }
    const QString &dest = args[1];

    ErrObject err;
    // Both are checked before anything is written.
    modADO source(QStringLiteral("lkcopy"));
    if (!source.Open(args[0], &err) || !StoreCopy::CheckDestination(dest, &err)) {
        complain(err.Description);
        return 2;
    }
    QElapsedTimer shown;
    shown.start();
    const auto progress = [&shown](qint64 done, qint64 total) {
        if (total >= progressFromRows && (shown.elapsed() >= progressEveryMs || done == total)) {
            std::fprintf(stderr, "lkcopy: %lld of %lld rows (%lld%%)\n", static_cast<long long>(done),
                         static_cast<long long>(total), static_cast<long long>(done * 100 / total));
            shown.restart();
        }
        return true;
    };
    CopyCounts counts;
    if (!StoreCopy::Copy(source.Connection(), dest, progress, &counts, &err)) {
        complain(
            QStringLiteral("%1 Nothing was written to %2.").arg(err.Description, StoreAddress::WithoutPassword(dest)));
        return 1;
    }
    std::printf("copied %lld games, %lld files, %lld bookmarks, %lld favorites, %lld page snapshots\n",
                static_cast<long long>(counts.Games), static_cast<long long>(counts.Files),
                static_cast<long long>(counts.Bookmarks), static_cast<long long>(counts.Favorites),
                static_cast<long long>(counts.Snapshots));
    return 0;
}
