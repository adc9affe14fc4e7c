// Find's search through the index against a plain scan by the same rule, on a generated library,
// after every kind of write; the index's life (an older store, a damaged index); and lkfind.

#include "LibraryGenerator.h"
#include "TestHome.h"
#include "data/FileTable.h"
#include "data/GameTable.h"
#include "data/StoreCopy.h"
#include "data/modADO.h"
#include "findindex/FindGrams.h"
#include "findindex/FindIndex.h"
#include "findindex/FindPostings.h"
#include "import/FileImport.h"
#include "rtf/RtfReader.h"
#include "search/FileSearch.h"

#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QSet>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <sqlite3.h>

#include <set>

namespace {

QList<qint32> ids(const QVector<FindHit> &hits)
{
    QList<qint32> out;
    for (const FindHit &hit : hits)
        out << hit.FileId;
    return out;
}

// Each hit as the results list shows it.
QStringList shown(const QVector<FindHit> &hits)
{
    QStringList out;
    for (const FindHit &hit : hits)
        out << QStringLiteral("%1 %2 %3 %4 %5 %6 %7")
                   .arg(hit.FileId)
                   .arg(hit.GameId)
                   .arg(hit.GameName)
                   .arg(hit.PlatformId)
                   .arg(hit.GenreId)
                   .arg(hit.SubCat)
                   .arg(hit.Desc);
    return out;
}

// The ids as lkfind prints them.
QString lines(const QVector<FindHit> &hits)
{
    QString out;
    for (const qint32 id : ids(hits))
        out += QString::number(id) + QLatin1Char('\n');
    return out;
}

// A library of 60 games and 600 files unless told, and the connection to it. On a shared run the
// generated file is copied into a new database, whose search index is then made there anew.
struct Library
{
    QTemporaryDir dir;
    QString path = dir.filePath(QStringLiteral("library.lkb"));
    modADO store{QStringLiteral("tst_search")};

    explicit Library(int files = 600, double rtfKb = 2, int games = 60)
    {
        GenSettings settings;
        settings.games = games;
        settings.files = files;
        settings.rtfKb = rtfKb;
        settings.seed = 11;
        GenSummary summary;
        ErrObject err;
        if (!LibraryGenerator(settings).Generate(path, &summary, &err) || !store.Open(path, &err))
            qWarning() << err.Description;
        if (!TestHome::Shared())
            return;
        const QString shared = TestHome::NewDatabase();
        CopyCounts copied;
        if (!StoreCopy::Copy(store.Connection(), shared, {}, &copied, &err) || !store.Open(shared, &err) ||
            !FindIndex::Rebuild(store.Connection(), &err))
            qWarning() << err.Description;
        path = shared;
    }
    QSqlDatabase db() const { return store.Connection(); }

    // Phrases taken from the stored texts, with the ones that break naive searches added.
    QStringList phrases(quint32 seed) const
    {
        QRandomGenerator random(seed);
        QStringList out = QStringLiteral("the|e|é|\\par|{\\b|*|%|_|[a]|\"|'s|😀|—|The|café|Walkthrough |http://|Zoë")
                              .split(QLatin1Char('|'));
        out << QStringLiteral("a\0b") << QString(10000, u'x');
        QSqlQuery query(QStringLiteral("SELECT \"desc\", src, txt_rtf FROM file ORDER BY auto_id"), db());
        while (query.next()) {
            if (random.bounded(6) != 0)
                continue;
            const QString desc = query.value(0).toString();
            const QString src = query.value(1).toString();
            const QString text = RtfReader::PlainText(RtfReader::FromStoredText(query.value(2).toString()));
            for (const int length : {1, 2, 3, 4, 7, 15, 40}) {
                if (text.size() > length) {
                    const auto at = qsizetype(random.bounded(int(text.size() - length)));
                    out << text.mid(at, length);
                }
            }
            // Across the blank that joins description and source.
            if (!desc.isEmpty() && !src.isEmpty())
                out << desc.section(QLatin1Char(' '), -1) + QLatin1Char(' ') + src.left(5);
        }
        return out;
    }
};

} // namespace

class tst_search final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void indexMatchesScan();
    void wordsOfLongTexts();
    void postingsOfAPart();
    void olderStoreGetsAnIndex();
    void leanIndex();
    void wholeIndexReadAhead();
    void changedWhileIndexed();

private:
    // Every phrase through the index and the scan, over field and criteria combinations.
    static void compare(const QSqlDatabase &db, const QStringList &phrases, const char *stage);
};

void tst_search::compare(const QSqlDatabase &db, const QStringList &phrases, const char *stage)
{
    // Description, source, text.
    const std::tuple<bool, bool, bool> fieldSets[] = {
        {true, true, true}, {false, false, true}, {true, true, false}, {true, false, true}};
    QSqlQuery game(QStringLiteral("SELECT game_id FROM file GROUP BY game_id ORDER BY count(*) DESC LIMIT 1"), db);
    const qint32 busiest = game.next() ? game.value(0).toInt() : 0;
    int checked = 0;
    for (qsizetype i = 0; i < phrases.size(); ++i) {
        FindRequest request;
        request.Phrase = phrases[i];
        std::tie(request.Desc, request.Src, request.Text) = fieldSets[i % std::size(fieldSets)];
        if (i % 5 == 1)
            request.Criteria.SubCats = {1, 2};
        if (i % 7 == 3)
            request.Criteria.GameId = busiest;
        QVector<FindHit> indexed, scanned;
        ErrObject err;
        QVERIFY2(FileSearch::Find(db, request, &indexed, &err), qPrintable(err.Description));
        QVERIFY2(FileSearch::Scan(db, request, &scanned, &err), qPrintable(err.Description));
        const QByteArray what = QByteArray(stage) + ": \"" + request.Phrase.left(40).toUtf8() + '"';
        QVERIFY2(shown(indexed) == shown(scanned), what.constData());
        checked += !scanned.isEmpty();
    }
    // The phrases taken from the texts find something; a comparison of empty answers proves little.
    QVERIFY2(checked > phrases.size() / 3, stage);
}

void tst_search::wordsOfLongTexts()
{
    // Thousands of different words, twice over, each given once; then a short text made into words after it on
    // the same thread gets every one of its own, those it shares with the long one too.
    QString many;
    QSet<QString> triples;
    for (int i = 0; i < 12000; ++i) {
        many += QChar(0x4E00 + (i % 6000) * 7919 % 20000);
        if (i >= 2)
            triples.insert(many.right(3));
    }
    for (int round = 0; round < 2; ++round) {
        const std::vector<quint64> words = FindGrams::Keys(QStringLiteral("a long text"), {}, many);
        QCOMPARE(std::set<quint64>(words.cbegin(), words.cend()).size(), words.size());
        QCOMPARE(qsizetype(words.size()), triples.size() + 4); // and "lon", "ong", "tex", "ext"
        QCOMPARE(FindGrams::Keys(QStringLiteral("long"), {}, many.left(4)).size(), size_t(4));
    }
}

void tst_search::postingsOfAPart()
{
    // A part's files with words from common (a bitmap each) to rare (a list of lows), against the
    // files each word was given with.
    using namespace FindPostings;
    QRandomGenerator random(38);
    const qint64 first = 7 * partFiles;
    Part part(PartOf(first));
    QMap<quint64, QList<quint16>> holders;
    for (qint64 id = first; id < first + partFiles; id += 1 + random.bounded(2)) {
        std::vector<quint64> keys;
        for (quint64 word = 0; word < 400; ++word) {
            // Word n is in about one file in n + 1; the keys are spread, and not given in order.
            const quint64 key = (word * 0x9E3779B97F4A7C15ull) >> 2;
            if (random.bounded(quint32(word + 1)) == 0) {
                keys.push_back(key);
                holders[key].append(LowOf(id));
            }
        }
        part.Add(id, std::move(keys));
    }
    const std::vector<Row> rows = part.Finish();
    QCOMPARE(rows.size(), size_t(holders.size()));
    auto expected = holders.cbegin();
    int bitmaps = 0, lists = 0;
    for (const Row &row : rows) {
        QCOMPARE(row.key, expected.key());
        std::vector<quint16> lows;
        QVERIFY(Decode(row.ids.constData(), size_t(row.ids.size()), &lows));
        QCOMPARE(QList<quint16>(lows.cbegin(), lows.cend()), expected.value());
        (row.ids.size() == bitmapBytes ? bitmaps : lists) += 1;
        QVERIFY(row.ids.size() <= bitmapBytes);
        ++expected;
    }
    QVERIFY(bitmaps >= 4 && lists > 300);

    // Bytes that are no list are told, and add nothing: a file twice, a number cut off, a file
    // beyond the part, too many bytes.
    std::vector<quint16> lows = {1};
    for (const QByteArray &bad : {QByteArray("\x05\x00", 2), QByteArray("\x05\x80"), QByteArray("\xff\x7f"),
                                  QByteArray(bitmapBytes + 1, '\x01')})
        QVERIFY2(!Decode(bad.constData(), size_t(bad.size()), &lows), bad.toHex().constData());
    QCOMPARE(lows.size(), size_t(1));

    // A file's words are those a phrase of its fields has, each once, characters beyond 16 bits too.
    const QString body = QStringLiteral("the theme of the \U0001F600x game, the end");
    const std::vector<quint64> keys = FindGrams::Keys(QStringLiteral("A the"), {}, body);
    std::set<quint64> phraseKeys;
    for (const QString &phrase : {QStringLiteral("A the"), body}) {
        for (const FindGrams::Word &word : FindGrams::Phrase(phrase))
            phraseKeys.insert(word.Key);
    }
    QCOMPARE(std::set<quint64>(keys.cbegin(), keys.cend()), phraseKeys);
    QCOMPARE(keys.size(), phraseKeys.size());
}

void tst_search::indexMatchesScan()
{
    Library library;
    const QSqlDatabase db = library.db();
    const QStringList phrases = library.phrases(1);
    compare(db, phrases, "fresh store");

    // Every write path, then the same phrases again: the index follows each one.
    ErrObject err;
    QSqlQuery first(QStringLiteral("SELECT min(auto_id), max(auto_id) FROM file"), db);
    QVERIFY(first.next());
    const qint32 low = first.value(0).toInt(), high = first.value(1).toInt();
    FileRow row;
    bool found = false;
    QVERIFY(FileTable::Read(db, low, &row, &found, &err) && found);
    row.desc = QStringLiteral("Café Zoë walkthrough");
    row.txt_rtf = QStringLiteral("{\\rtf1\\ansi A {\\b brand} new text, na\\'efve.\\par}");
    QVERIFY(FileTable::Update(db, row, &err));
    qint32 copy = 0;
    QVERIFY(FileTable::Copy(db, low + 1, low + 2, &copy, &err));
    QVERIFY(FileTable::Move(db, low + 3, low + 4, &err));
    QVERIFY(FileTable::Delete(db, high, &err));
    int deleted = 0;
    QSqlQuery aGame(QStringLiteral("SELECT game_id FROM file WHERE auto_id = %1").arg(low + 10), db);
    QVERIFY(aGame.next() && GameTable::Delete(db, aGame.value(0).toInt(), &deleted, &err));
    QTemporaryDir dir;
    writeFile(dir.filePath(QStringLiteral("guide.txt")), "An imported guide: the sword of \xe9t\xe9.\n");
    FileImport import(db, aGame.value(0).toInt() + 1);
    ImportedFile imported = FileImport::Convert(dir.filePath(QStringLiteral("guide.txt")));
    QVERIFY(import.Begin(&err) && import.Store(&imported, &err));
    // A change made outside Lorekeep, as the sqlite3 shell would make it.
    QVERIFY(QSqlQuery(db).exec(
        QStringLiteral("UPDATE file SET src = 'edited elsewhere', txt_rtf = 'plain words' WHERE auto_id = %1")
            .arg(low + 5)));
    // A file whose text is empty is still found by its description.
    QSqlQuery emptied(QStringLiteral("SELECT \"desc\" FROM file WHERE auto_id = %1").arg(low + 6), db);
    QVERIFY(emptied.next());
    QVERIFY(QSqlQuery(db).exec(QStringLiteral("UPDATE file SET txt_rtf = '' WHERE auto_id = %1").arg(low + 6)));
    // A file of a game that is gone is listed without one.
    QVERIFY(QSqlQuery(db).exec(QStringLiteral("UPDATE file SET game_id = 999999 WHERE auto_id = %1").arg(low + 7)));
    QSqlQuery orphan(QStringLiteral("SELECT \"desc\" FROM file WHERE auto_id = %1").arg(low + 7), db);
    QVERIFY(orphan.next());
    QStringList after = phrases;
    after << emptied.value(0).toString() << orphan.value(0).toString();
    after << QStringLiteral("Zoë walk") << QStringLiteral("brand new") << QStringLiteral("sword of été")
          << QStringLiteral("elsewhere") << QStringLiteral("plain words") << QStringLiteral("naïve");
    compare(db, after, "after writes");
    // Where fields meet, short ones among them: each chosen set of fields finds what the scan does.
    QVERIFY(QSqlQuery(db).exec(
        QStringLiteral("UPDATE file SET \"desc\" = 'ab', src = 'c', txt_rtf = 'd e' WHERE auto_id = %1").arg(low + 8)));
    QVERIFY(QSqlQuery(db).exec(
        QStringLiteral("UPDATE file SET \"desc\" = 'xé', src = '', txt_rtf = 'ü z' WHERE auto_id = %1").arg(low + 9)));
    // Characters beyond the first 65,536 are one character each, in every word they are part of.
    QVERIFY(QSqlQuery(db).exec(
        QStringLiteral("UPDATE file SET \"desc\" = 'go😀al', txt_rtf = '😀😀x y😀' WHERE auto_id = %1").arg(low + 11)));
    for (const QString &phrase : QStringList{"ab c d", "b c", "c d", "ab d", "b d e", "xé  ü", "é ü", "xé ü z", "é  ü z",
                                             "o😀a", "go😀al", "😀😀x", "x y😀", "al 😀😀"}) {
        for (int fields = 1; fields < 8; ++fields) {
            const FindRequest request{phrase, bool(fields & 1), bool(fields & 2), bool(fields & 4), {}};
            QVector<FindHit> indexed, scanned;
            QVERIFY(FileSearch::Find(db, request, &indexed, &err) && FileSearch::Scan(db, request, &scanned, &err));
            QVERIFY2(ids(indexed) == ids(scanned), qPrintable(phrase + QString::number(fields)));
        }
    }
    // Markup is not searched.
    QVector<FindHit> markup, words;
    QVERIFY(FileSearch::Find(db, {QStringLiteral("brand} new"), true, true, true, {}}, &markup, &err) &&
            FileSearch::Find(db, {QStringLiteral("brand new"), true, true, true, {}}, &words, &err));
    QCOMPARE(std::pair(ids(markup), ids(words)), std::pair(QList<qint32>(), QList<qint32>{low}));

    if (TestHome::Shared())
        return; // lkfind is tried on a store file

    // lkfind prints the ids the search finds; and what once fooled it: a phrase ending in a tab, an index
    // that cannot be rebuilt, an id past 32 bits.
    QString said; // what the last run wrote to its error output
    const auto run = [&](const QStringList &args, const QString &store = QString()) {
        QProcess tool;
        tool.start(QStringLiteral(LKFIND_EXE),
                   QStringList{QStringLiteral("--store"), store.isEmpty() ? library.path : store} + args);
        tool.waitForFinished(120000);
        said = QString::fromUtf8(tool.readAllStandardError());
        return std::tuple(tool.exitStatus() == QProcess::NormalExit ? tool.exitCode() : -1,
                          QString::fromUtf8(tool.readAllStandardOutput()));
    };
    QSqlQuery eighth(QStringLiteral("SELECT auto_id, game_id, desc FROM file ORDER BY auto_id LIMIT 1 OFFSET 7"), db);
    QVERIFY(eighth.next());
    const QString id = eighth.value(0).toString(), game = eighth.value(1).toString(),
                  phrase = eighth.value(2).toString();
    for (QSqlQuery *open : {&first, &aGame, &emptied, &orphan, &eighth})
        open->finish(); // an open statement would keep the index from being dropped below
    QVector<FindHit> hits;
    QVERIFY(FileSearch::Find(db, {phrase, true, true, true, {}}, &hits, &err) && ids(hits).contains(id.toInt()));
    QCOMPARE(run({phrase}), std::tuple(0, lines(hits)));
    const auto [code, inGame] = run({QStringLiteral("--fields"), QStringLiteral("desc"), QStringLiteral("--game"), game,
                                     QStringLiteral("--cats"), QStringLiteral("1,2,3,4,5,6"), phrase});
    QVERIFY(code == 0 && inGame.split(QLatin1Char('\n')).contains(id));
    // Nothing found is no failure; a phrase with wildcards and quotes means itself; bad arguments fail.
    QCOMPARE(run({QStringLiteral("*\"%_[]'")}), std::tuple(0, QString()));
    QCOMPARE(std::get<0>(run({QStringLiteral("--fields"), QStringLiteral("body"), phrase})), 2);
    QCOMPARE(std::get<0>(run({phrase}, library.dir.filePath("none.lkb"))), 2);

    // Blanks at the ends go, as in the dialog; a tab or a line break is part of the phrase.
    const QString add = QStringLiteral("INSERT INTO file (auto_id, game_id, sub_cat, src, desc, txt_rtf) "
                                       "SELECT %1, auto_id, 1, '', '%2', '' FROM game LIMIT 1");
    QSqlQuery query(db);
    QVERIFY(query.exec(add.arg(QStringLiteral("NULL"), QStringLiteral("Pla ce\tmark"))));
    const QString tabbed = query.lastInsertId().toString() + QLatin1Char('\n');
    QCOMPARE(run({QStringLiteral("  ce\t  ")}), std::tuple(0, tabbed));
    QCOMPARE(run({QStringLiteral("ce\t\n")}), std::tuple(0, QString()));

    // A broken index that another program's lock keeps from being rebuilt: the ids come from a scan,
    // and lkfind claims no rebuild; once the lock goes, the index is made anew.
    QVector<FindHit> scanned;
    QVERIFY(FileSearch::Scan(db, {QStringLiteral("the"), true, true, true, {}}, &scanned, &err));
    const QString expected = lines(scanned);
    QVERIFY2(query.exec(QStringLiteral("UPDATE find_word SET ids = x'80'")), qPrintable(query.lastError().text()));
    {
        QSqlDatabase other = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("locker"));
        other.setDatabaseName(library.path);
        QSqlQuery lock((other.open(), other));
        QVERIFY(lock.exec(QStringLiteral("BEGIN IMMEDIATE")));
        QCOMPARE(run({QStringLiteral("the")}), std::tuple(0, expected));
        QVERIFY2(said.contains(QStringLiteral("could not be rebuilt")) &&
                     !said.contains(QStringLiteral("has been rebuilt")),
                 qPrintable(said));
        QVERIFY(lock.exec(QStringLiteral("ROLLBACK")));
    }
    QSqlDatabase::removeDatabase(QStringLiteral("locker"));
    QCOMPARE(run({QStringLiteral("the")}), std::tuple(0, expected));
    QVERIFY2(said.contains(QStringLiteral("has been rebuilt")), qPrintable(said));

    // An id set by hand beyond 32 bits is named, never printed as some other number.
    QVERIFY(query.exec(add.arg(QStringLiteral("9223372036854775807"), QStringLiteral("Zyzzyva"))));
    QCOMPARE(run({QStringLiteral("Zyzzyva")}), std::tuple(2, QString()));
    QVERIFY2(said.contains(QStringLiteral("9223372036854775807")), qPrintable(said));
}

void tst_search::olderStoreGetsAnIndex()
{
    if (TestHome::Shared())
        QSKIP("a store file's own index");
    Library library;
    QSqlDatabase db = library.db();
    ErrObject err;
    // An older store has no index: opening adds it with every file queued, the first search fills it.
    QVERIFY(FindIndex::Rebuild(db, &err));
    for (const char *statement : {"DROP TABLE find_word", "DROP TABLE find_pending", "DROP TRIGGER find_file_insert",
                                  "PRAGMA user_version = 1"})
        QVERIFY2(QSqlQuery(db).exec(QLatin1String(statement)), statement);
    db = QSqlDatabase();
    library.store.Close();
    QVERIFY(library.store.Open(library.path, &err));
    db = library.db();
    qint64 pending = 0;
    QVERIFY(FindIndex::Available(db) && FindIndex::Pending(db, &pending, &err) && pending == 600);
    qint64 done = 0;
    QVERIFY(FindIndex::Update(db, 250, &done, &err) && done == 250);
    compare(db, library.phrases(2).mid(0, 60), "rebuilt store");
    QVERIFY(FindIndex::Pending(db, &pending, &err) && pending == 0);
    // An index made before the one on what a hit lists: the next search adds it, and answers as
    // the scan does.
    const auto hitIndexes = [&db] {
        QSqlQuery count(QStringLiteral("SELECT count(*) FROM sqlite_master WHERE name = 'file_find_hit'"), db);
        return count.next() ? count.value(0).toInt() : -1;
    };
    QVERIFY(hitIndexes() == 1 && QSqlQuery(db).exec(QStringLiteral("DROP INDEX file_find_hit")));
    compare(db, library.phrases(3).mid(0, 20), "hit index added");
    QCOMPARE(hitIndexes(), 1);
    // An index made before each file's game and category were kept beside its packed fields: the
    // next search adds them. Then files are moved and recategorised behind Lorekeep's back, and
    // rows come back without them, as an earlier Lorekeep writes them.
    for (const char *statement : {"DROP TRIGGER find_file_move",
                                  "CREATE TABLE plain_before (file_id INTEGER PRIMARY KEY, fields BLOB NOT NULL)",
                                  "INSERT INTO plain_before SELECT file_id, fields FROM find_plain",
                                  "DROP TABLE find_plain", "ALTER TABLE plain_before RENAME TO find_plain"})
        QVERIFY2(QSqlQuery(db).exec(QLatin1String(statement)), statement);
    QVERIFY(!FindIndex::HasHitColumns(db));
    compare(db, library.phrases(4).mid(0, 40), "game and category added");
    QVERIFY(FindIndex::HasHitColumns(db));
    for (const char *statement : {"UPDATE file SET sub_cat = 1 + sub_cat % 6, game_id = (SELECT min(auto_id) FROM "
                                  "game) WHERE auto_id % 3 = 0",
                                  "UPDATE find_plain SET game_id = NULL, sub_cat = NULL WHERE file_id % 4 = 0"})
        QVERIFY2(QSqlQuery(db).exec(QLatin1String(statement)), statement);
    compare(db, library.phrases(5).mid(0, 40), "files moved");
    // That index lacks the seams: opening the store makes it anew, with them. An earlier Lorekeep,
    // which would add a file without its seams, cannot write to it.
    QVERIFY(!FindIndex::HasSeams(db));
    db = QSqlDatabase();
    library.store.Close();
    QVERIFY(library.store.Open(library.path, &err));
    db = library.db();
    QVERIFY(FindIndex::HasSeams(db) && FindIndex::Pending(db, &pending, &err) && pending == 600);
    compare(db, library.phrases(6).mid(0, 40), "seams added");
    QVERIFY(!QSqlQuery(db).exec(QStringLiteral("INSERT OR REPLACE INTO find_plain (file_id, fields, game_id, sub_cat) "
                                               "SELECT file_id, fields, game_id, sub_cat FROM find_plain LIMIT 1")));
    // The Lorekeep before this one kept the words in an FTS5 table, and makes its own index anew
    // in a store it finds this one in, which leaves these rows behind, stale: opening makes the
    // index anew again.
    QVERIFY(QSqlQuery(db).exec(QStringLiteral("CREATE VIRTUAL TABLE find_text USING fts5(grams, content = '', "
                                              "tokenize = 'ascii', detail = none, columnsize = 0)")));
    QVERIFY(!FindIndex::Available(db));
    db = QSqlDatabase();
    library.store.Close();
    QVERIFY(library.store.Open(library.path, &err));
    db = library.db();
    QSqlQuery oldWords(QStringLiteral("SELECT count(*) FROM sqlite_master WHERE name = 'find_text'"), db);
    QVERIFY(oldWords.next() && oldWords.value(0).toInt() == 0);
    QVERIFY(FindIndex::Available(db) && FindIndex::Pending(db, &pending, &err) && pending == 600);
    compare(db, library.phrases(7).mid(0, 20), "made anew after an earlier index");

    // Files of ten megabytes each are indexed two at a time, not thousands at once: each batch is
    // one commit, so the commits are counted.
    QSqlQuery add(db);
    QVERIFY(add.prepare(QStringLiteral("INSERT INTO file (game_id, sub_cat, src, desc, txt_rtf) "
                                       "SELECT auto_id, 1, '', 'big', ? FROM game LIMIT 1")));
    add.addBindValue(QString(QStringLiteral("{\\rtf1 ") + QString(10'000'000, u'q') + QStringLiteral("}")));
    for (int i = 0; i < 4; ++i)
        QVERIFY(add.exec());
    int commits = 0;
    auto *handle = *static_cast<sqlite3 **>(db.driver()->handle().data());
    sqlite3_commit_hook(
        handle, [](void *count) { return ++*static_cast<int *>(count), 0; }, &commits);
    done = 0;
    const bool updated = FindIndex::Update(db, -1, &done, &err);
    sqlite3_commit_hook(handle, nullptr, nullptr);
    QVERIFY2(updated, qPrintable(err.Description));
    QVector<FindHit> hits;
    QVERIFY(FileSearch::Find(db, {QString(50, u'q'), true, true, true, {}}, &hits, &err));
    QCOMPARE(std::tuple(done, commits, hits.size()), std::tuple(qint64(4), 2, qsizetype(4)));
}

void tst_search::leanIndex()
{
    if (TestHome::Shared())
        QSKIP("a store file's own index");
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("lean.lkb"));
    GenSummary summary;
    ErrObject err;
    QVERIFY(LibraryGenerator(GenSettings{40, 1200, 6, 5}).Generate(path, &summary, &err));
    // A store with the index of an earlier Lorekeep: a trigram table with its own copy of every text.
    runElsewhere(path, earlierFindIndex());
    const qint64 oldSize = QFileInfo(path).size();
    modADO store(QStringLiteral("lean"));
    QVERIFY2(store.Open(path, &err), qPrintable(err.Description));
    QSqlDatabase db = store.Connection();
    qint64 pending = 0;
    QVERIFY(FindIndex::Available(db) && FindIndex::Pending(db, &pending, &err) && pending == 1200);

    // Streamed: ascending ids, the first hundred in the first batch; stopping there ends the search.
    QList<qsizetype> batches;
    QList<qint32> streamed;
    const FindRequest the{QStringLiteral("the"), true, true, true, {}};
    QVERIFY(FileSearch::FindEach(
        db, the,
        [&](const QVector<FindHit> &hits) {
            batches << hits.size();
            streamed << ids(hits);
            return true;
        },
        &err));
    QVector<FindHit> scanned;
    QVERIFY(FileSearch::Scan(db, the, &scanned, &err) && scanned.size() > 300);
    QCOMPARE(std::tuple(streamed, batches.size() > 1, batches.value(0) <= 100), std::tuple(ids(scanned), true, true));
    // The whole build wrote without waiting for the disk; the store's own writes wait again.
    QSqlQuery synchronous(QStringLiteral("PRAGMA synchronous"), db);
    QVERIFY(synchronous.next());
    QCOMPARE(synchronous.value(0).toInt(), 2);
    synchronous.finish();
    int calls = 0;
    QVERIFY(FileSearch::FindEach(
        db, the, [&](const QVector<FindHit> &) { return ++calls, false; }, &err));
    QCOMPARE(calls, 1);

    // The index with its packed texts takes well under half the texts' room, and the store shrinks
    // once the old index's room is given back.
    QSqlQuery size(
        QStringLiteral("SELECT (SELECT sum(length(ids)) FROM find_word) + (SELECT sum(length(fields)) "
                       "FROM find_plain), (SELECT sum(length(txt_rtf)) FROM file), (SELECT count(*) FROM "
                       "find_dictionary)"),
        db);
    QVERIFY(size.next());
    QVERIFY2(size.value(0).toDouble() < 0.4 * size.value(1).toDouble() && size.value(2).toInt() == 1,
             qPrintable(size.value(0).toString() + QLatin1Char('/') + size.value(1).toString()));
    size.finish();
    QVERIFY2(FindIndex::Compact(db, &err), qPrintable(err.Description));
    QVERIFY2(QFileInfo(path).size() < oldSize * 3 / 4, qPrintable(QString::number(QFileInfo(path).size())));

    // A file changed or deleted outside Lorekeep loses its old words: a phrase the words alone decide
    // finds it only while it holds the phrase.
    QSqlQuery query(db);
    const qint32 id = scanned.constFirst().FileId;
    const auto found = [&](const QString &phrase) {
        QVector<FindHit> hits;
        return FileSearch::Find(db, {phrase, true, true, true, {}}, &hits, &err) ? ids(hits) : QList<qint32>{-1};
    };
    QVERIFY(query.exec(QStringLiteral("UPDATE file SET txt_rtf = 'a Qxz b' WHERE auto_id = %1").arg(id)));
    QCOMPARE(found(QStringLiteral("Qxz")), QList<qint32>{id});
    QVERIFY(query.exec(QStringLiteral("UPDATE file SET txt_rtf = 'a Qx z' WHERE auto_id = %1").arg(id)));
    QCOMPARE(found(QStringLiteral("Qxz")), QList<qint32>{});
    QVERIFY(query.exec(QStringLiteral("UPDATE file SET txt_rtf = 'Qxz' WHERE auto_id = %1").arg(id)));
    QCOMPARE(found(QStringLiteral("Qxz")), QList<qint32>{id});
    QVERIFY(query.exec(QStringLiteral("DELETE FROM file WHERE auto_id = %1").arg(id)));
    QCOMPARE(found(QStringLiteral("Qxz")), QList<qint32>{});
    QVERIFY(query.exec(QStringLiteral("SELECT count(*) FROM find_plain WHERE file_id = %1").arg(id)) && query.next());
    QCOMPARE(query.value(0).toInt(), 0);

    // A packed text that cannot be unpacked is a damaged index: made anew, and the answer is whole.
    QVERIFY(query.exec(
        QStringLiteral("UPDATE find_plain SET fields = zeroblob(40) WHERE file_id = %1").arg(scanned.at(1).FileId)));
    IndexRepair repair;
    QVector<FindHit> hits;
    const FindRequest words{QStringLiteral("the "), true, true, true, {}};
    QVERIFY(FileSearch::Find(db, words, &hits, &err, &repair) && repair.Done);
    QVERIFY(FileSearch::Scan(db, words, &scanned, &err));
    QCOMPARE(ids(hits), ids(scanned));
}

void tst_search::wholeIndexReadAhead()
{
    if (TestHome::Shared())
        QSKIP("a store file's own index");
    // Texts big enough for several batches: the first teaches the store its dictionary while the
    // next ones are read ahead, on a connection of their own, without it.
    // Common words meet more games than are looked up one by one.
    const Library library(17000, 0.5, 2500);
    const QSqlDatabase db = library.db();
    QStringList phrases;
    const QStringList drawn = library.phrases(5);
    for (qsizetype i = 0; i < drawn.size(); i += drawn.size() / 12)
        phrases << drawn[i];
    phrases << QStringLiteral("the");
    ErrObject err;
    qint64 done = 0, pending = 0;
    int calls = 0;
    // Stopped part-way: what was written is kept, the rest stays queued.
    QVERIFY2(FindIndex::Update(db, -1, &done, &err, [&](qint64) { return ++calls < 2; }), qPrintable(err.Description));
    QVERIFY(FindIndex::Pending(db, &pending, &err));
    QVERIFY2(done > 0 && pending > 0 && done + pending == 17000,
             qPrintable(QStringLiteral("%1+%2").arg(done).arg(pending)));
    const qint64 first = done;
    QVERIFY2(FindIndex::Update(db, -1, &done, &err), qPrintable(err.Description));
    QCOMPARE(done, 17000 - first);
    compare(db, phrases, "read ahead");
    // A phrase the index decides, whose files' rows are read beside the index's list of them: with
    // one category chosen, most files it lists are left out between the hits.
    FindRequest chosen;
    chosen.Phrase = QStringLiteral("the");
    chosen.Text = true;
    chosen.Criteria.SubCats = {2};
    QVector<FindHit> indexed, scanned;
    QVERIFY(FileSearch::Find(db, chosen, &indexed, &err) && FileSearch::Scan(db, chosen, &scanned, &err));
    QVERIFY(!scanned.isEmpty());
    QCOMPARE(shown(indexed), shown(scanned));
    // The first batch taught the index which seams are too common to keep.
    QSqlQuery common(QStringLiteral("SELECT count(*) FROM find_seam_common"), db);
    QVERIFY(common.next() && common.value(0).toInt() > 20);
    common.finish();

    // A store in the rollback journal cannot be read while it is written: the writer reads it.
    QSqlQuery mode(db);
    QVERIFY(mode.exec(QStringLiteral("PRAGMA journal_mode = DELETE")) && mode.next());
    QCOMPARE(mode.value(0).toString(), QStringLiteral("delete"));
    mode.finish();
    // The old index is dropped without clearing its pages, and the store's setting comes back.
    const auto secureDelete = [&] {
        QSqlQuery setting(QStringLiteral("PRAGMA secure_delete"), db);
        return setting.next() ? setting.value(0).toInt() : -1;
    };
    const int secure = secureDelete();
    QVERIFY2(FindIndex::Rebuild(db, &err) && FindIndex::Update(db, -1, &done, &err), qPrintable(err.Description));
    QCOMPARE(std::tuple(done, secureDelete()), std::tuple(qint64(17000), secure));
    compare(db, phrases.mid(0, 6), "rollback journal");
}

void tst_search::changedWhileIndexed()
{
    if (TestHome::Shared())
        QSKIP("a store file's own queue");
    Library library(60, 2, 6);
    const QSqlDatabase db = library.db();
    QSqlQuery first(QStringLiteral("SELECT min(auto_id), max(auto_id) FROM file"), db);
    QVERIFY(first.next());
    const qint32 low = first.value(0).toInt(), high = first.value(1).toInt();
    first.finish();
    // Another program runs `statements` once, after the index has read the first batch and before
    // it writes it.
    bool changed = false;
    const auto changeOnce = [&](const QStringList &statements) {
        changed = false;
        return [&, statements](qint64) {
            if (!std::exchange(changed, true))
                runElsewhere(library.path, statements);
            return true;
        };
    };
    // It changes two queued files: the index takes them off the queue with what it read, and the
    // changes are indexed next.
    ErrObject err;
    qint64 pending = 0;
    QVERIFY2(FindIndex::Update(
                 db, -1, nullptr, &err,
                 changeOnce({QStringLiteral("UPDATE file SET \"desc\" = 'Quixotic zebra' WHERE auto_id = %1").arg(low),
                             QStringLiteral("DELETE FROM file WHERE auto_id = %1").arg(high)})),
             qPrintable(err.Description));
    QVERIFY(changed && FindIndex::Pending(db, &pending, &err));
    QCOMPARE(pending, 2);
    compare(db, library.phrases(6) << QStringLiteral("Quixotic zebra"), "changed while indexed");
    QVERIFY(FindIndex::Pending(db, &pending, &err) && pending == 0);

    // An older store's queue, without stamps, gets them with its next update.
    runElsewhere(library.path,
                 {QStringLiteral("DROP TRIGGER find_file_update"), QStringLiteral("DROP TABLE find_pending"),
                  QStringLiteral("CREATE TABLE find_pending (file_id INTEGER PRIMARY KEY)"),
                  QStringLiteral("CREATE TRIGGER find_file_update AFTER UPDATE OF src, desc, txt_rtf ON file BEGIN "
                                 "INSERT OR IGNORE INTO find_pending (file_id) VALUES (new.auto_id); END"),
                  QStringLiteral("UPDATE file SET src = 'Zanzibar' WHERE auto_id = %1").arg(low + 1)});
    QVERIFY2(
        FindIndex::Update(
            db, -1, nullptr, &err,
            changeOnce({QStringLiteral("UPDATE file SET src = 'Zanzibar twice' WHERE auto_id = %1").arg(low + 1)})),
        qPrintable(err.Description));
    QVERIFY(FindIndex::Pending(db, &pending, &err));
    QCOMPARE(pending, 1);
    compare(db, {QStringLiteral("Zanzibar"), QStringLiteral("Zanzibar twice"), QStringLiteral("Quixotic")},
            "older queue");
}

QTEST_MAIN(tst_search)
#include "tst_search.moc"
