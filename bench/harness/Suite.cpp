#include "Suite.h"

#include <iterator>

int runStoreSuite(const BenchContext &context);
int runRtfSuite(const BenchContext &context);
int runTreeSuite(const BenchContext &context);
int runFilesSuite(const BenchContext &context);
int runDetailsSuite(const BenchContext &context);
int runStartupSuite(const BenchContext &context);
int runImportSuite(const BenchContext &context);
int runFindSuite(const BenchContext &context);
int runPrintSuite(const BenchContext &context);
int runBackupSuite(const BenchContext &context);

namespace {

const Suite suites[] = {
    {"store", "our data layer against bare QtSql: open the store, list a game's files, read a file", runStoreSuite},
    {"rtf",
     "our RTF reader (plain text, document) against Qt's HTML import of the same content; a long text written as "
     "HTML in parts against the same read whole",
     runRtfSuite},
    {"tree",
     "the game tree: its load and a game rename, against the bare SQL of the same rows; catching up with "
     "another program's change, against loading the tree again",
     runTreeSuite},
    {"files", "the file view: listing a game's files and showing a document, against the bare SQL of the same rows",
     runFilesSuite},
    {"details",
     "the details pane: loading favorites and bookmarks against the bare SQL of the same rows, and filling "
     "the search results against Qt's stock item list",
     runDetailsSuite},
    {"startup",
     "the main window from its creation on the store to the end of loading tree, favorites and bookmarks, "
     "against the tree's load alone",
     runStartupSuite},
    {"import",
     "importing a thousand 4 KB text files with lkimport's routine, against inserting the same texts, already "
     "converted, with bare SQL; both one transaction per file, in a copy of the store",
     runImportSuite},
    {"find",
     "Find Files through the search index against the plain scan by the same rule, each listed in Search "
     "Results: a rare phrase, a common one, and building the whole index (against one scan)",
     runFindSuite},
    {"print",
     "laying the 1 MB document out into A4 pages of a PDF with our page routine, against Qt's own paginator "
     "(QTextDocument::print) of the same document into the same page size",
     runPrintSuite},
    {"backup",
     "a backup of the store (SQLite's online copy, then compressed with zstd), against a plain byte copy of the "
     "store's file",
     runBackupSuite},
};

} // namespace

QList<Suite> Suite::all()
{
    return QList<Suite>(std::begin(suites), std::end(suites));
}

const Suite *Suite::find(const QString &name)
{
    for (const Suite &suite : suites) {
        if (name == QLatin1String(suite.name))
            return &suite;
    }
    return nullptr;
}
