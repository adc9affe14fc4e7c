// Suite "find": Find Files through the search index against the plain scan by the same rule (every
// row read, its text made plain and searched), both listed in the details pane's Search Results as
// the dialog lists them: the search on its own thread, its hits listed as they come, as the dialog
// runs it. Runs on a copy of the store beside it, which gets the index built first.

#include "BenchContext.h"
#include "data/NodeKey.h"
#include "data/modADO.h"
#include "data/modNames.h"
#include "details/ctlDetails.h"
#include "find/FindRun.h"
#include "findindex/FindIndex.h"
#include "rtf/RtfReader.h"
#include "search/FileSearch.h"
#include "store/StoreAddress.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QSqlQuery>
#include <QTemporaryDir>

namespace {

// As the dialog lists them: a game's key is made once for all its hits.
void list(ctlDetails *details, const QVector<FindHit> &hits, NodeKey::GameKeys *gameKeys)
{
    const QString field = QStringLiteral("File");
    for (const FindHit &hit : hits)
        details->AddSearch(hit.FileId, modNames::GetPlatformName(hit.PlatformId), hit.GameName, hit.SubCat, hit.Desc,
                           gameKeys->Of(hit.GameId, hit.GenreId, hit.PlatformId), field);
}

// From the button to the results listed, as the dialog does it: the search runs on its own thread
// and its hits are listed as they come. With `firstOnly`, until a hundred of them are listed (or
// all, when there are fewer), and the search is stopped there.
bool findAndList(const QString &storePath, const FindRequest &request, ctlDetails *details, qint64 expected,
                 bool firstOnly)
{
    details->ClearSearch();
    details->SelectTab(ctlDetails::Tab::SearchResults);
    FindRun run(storePath, request);
    NodeKey::GameKeys gameKeys;
    QEventLoop loop;
    qint64 listed = 0;
    bool ok = false;
    QObject::connect(&run, &FindRun::Found, &loop, [&](const QVector<FindHit> &hits) {
        list(details, hits, &gameKeys);
        listed += hits.size();
        if (firstOnly && listed >= std::min<qint64>(100, expected)) {
            ok = true;
            run.Stop();
            loop.quit();
        }
    });
    QObject::connect(&run, &FindRun::Ended, &loop, [&](const FindRun::Outcome &outcome) {
        ok = ok || (outcome.Ok && listed == expected);
        loop.quit();
    });
    run.Start();
    loop.exec();
    if (!firstOnly)
        details->SearchTitle(QString::number(listed) + QStringLiteral(" items found."));
    return ok;
}

// The baseline: every row read and searched by the rule, then one row per hit in Search Results.
bool scanAndList(const QSqlDatabase &db, const FindRequest &request, ctlDetails *details, qint64 expected)
{
    QVector<FindHit> hits;
    ErrObject err;
    if (!FileSearch::Scan(db, request, &hits, &err))
        return false;
    details->ClearSearch();
    details->SelectTab(ctlDetails::Tab::SearchResults);
    NodeKey::GameKeys gameKeys;
    list(details, hits, &gameKeys);
    details->SearchTitle(QString::number(hits.size()) + QStringLiteral(" items found."));
    return hits.size() == expected;
}

qint64 hitCount(const QSqlDatabase &db, const FindRequest &request)
{
    QVector<FindHit> hits;
    ErrObject err;
    return FileSearch::Find(db, request, &hits, &err) ? hits.size() : -1;
}

// A phrase taken from a stored text that fewer than one file in a hundred holds.
QString rarePhrase(const QSqlDatabase &db, qint64 files, FindRequest request)
{
    QRandomGenerator random(20);
    for (int attempt = 0; attempt < 200; ++attempt) {
        QSqlQuery query(db);
        const qint64 id = 1 + qint64(random.bounded(quint32(files)));
        if (!query.exec(QStringLiteral("SELECT txt_rtf FROM file WHERE auto_id = %1").arg(id)) || !query.next())
            continue;
        const QString body = RtfReader::PlainText(RtfReader::FromStoredText(query.value(0).toString()));
        if (body.size() < 40)
            continue;
        request.Phrase = body.mid(int(random.bounded(int(body.size() - 20))), 12).trimmed();
        if (request.Phrase.size() < 8 || request.Phrase.contains(QLatin1Char('\n')) ||
            request.Phrase.contains(QLatin1Char('\t')))
            continue;
        const qint64 hits = hitCount(db, request);
        if (hits > 0 && hits * 100 < files)
            return request.Phrase;
    }
    return {};
}

} // namespace

int runFindSuite(const BenchContext &context)
{
    QTemporaryDir work(context.scratchTemplate(QStringLiteral("find")));
    modADO store(QStringLiteral("bench-find"));
    QString copy;
    if (!context.openCopy(&work, &store, &copy))
        return 1;
    ErrObject err;
    const QSqlDatabase db = store.Connection();
    qint64 files = 0;
    if (!FileSearch::CountRows(db, {}, &files, &err) || files == 0) {
        context.note(QStringLiteral("the store has no files; not measured."));
        return 1;
    }

    FindRequest everything;
    everything.Text = true;
    everything.Phrase = QStringLiteral("the");
    bool measured = true;

    // Building the whole index, once, against one plain scan of the store.
    {
        const qint64 before = QFileInfo(copy).size();
        const BenchContext once(context.suite(), context.storePath(), 1);
        const auto build = [&] {
            return FindIndex::Rebuild(db, &err) && FindIndex::Update(db, -1, nullptr, &err);
        };
        QVector<FindHit> scanned;
        const auto scan = [&] {
            return FileSearch::Scan(db, everything, &scanned, &err);
        };
        measured = once.compare(QStringLiteral("index-build"), build, scan) && measured;
        if (!StoreAddress::IsShared(copy))
            context.note(QStringLiteral("index-build: %1 files; the store went from %2 MB without the index to %3 MB")
                             .arg(files)
                             .arg(before / 1048576)
                             .arg(QFileInfo(copy).size() / 1048576));
    }

    ctlDetails details;
    details.resize(900, 300);
    const auto line = [&](const char *name, const FindRequest &request, bool firstOnly = false) {
        const qint64 expected = hitCount(db, request);
        if (!firstOnly)
            context.note(QStringLiteral("%1: \"%2\" in %3 of %4 files")
                             .arg(QLatin1String(name), request.Phrase)
                             .arg(expected)
                             .arg(files));
        return context.compare(
            QLatin1String(name), [&] { return findAndList(copy, request, &details, expected, firstOnly); },
            [&] { return scanAndList(db, request, &details, expected); });
    };
    FindRequest rare = everything;
    rare.Phrase = rarePhrase(db, files, everything);
    if (rare.Phrase.isEmpty()) {
        context.note(QStringLiteral("rare: no phrase found in under 1% of the files; not measured."));
        measured = false;
    } else {
        measured = line("rare", rare) && measured;
    }
    if (hitCount(db, everything) * 2 <= files) {
        context.note(QStringLiteral("common: \"the\" is in no more than half of the files; not measured."));
        measured = false;
    } else {
        measured = line("common", everything) && measured;
        measured = line("common-first", everything, true) && measured;
        // A common phrase of two words, which the index's words do not decide: every file that
        // holds them all is unpacked and checked.
        FindRequest words = everything;
        words.Phrase = QStringLiteral("of the");
        measured = line("common-words", words) && measured;
    }
    return measured ? 0 : 1;
}
