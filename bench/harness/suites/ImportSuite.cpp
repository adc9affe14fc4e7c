// Suite "import": lkimport's routine (read, detect the encoding, convert, store each file in a
// transaction of its own) against inserting the already converted texts with bare SQL, one
// transaction per file. Both write into a copy of the store beside it, on the same disk, so that
// commits cost what they cost the user and the store itself is left as it was.

#include "BenchContext.h"
#include "data/modADO.h"
#include "import/ConvertAhead.h"
#include "import/FileImport.h"
#include "rtf/RtfWriter.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QSqlQuery>
#include <QStringEncoder>
#include <QTemporaryDir>

namespace {

constexpr int fileCount = 1000;
constexpr int fileBytes = 4096;

const char *const words[] = {"boss",   "level",  "sword", "castle", "potion",  "secret", "dungeon", "key",
                             "dragon", "shield", "map",   "chest",  "village", "save",   "warp",    "item"};
const char *const accented[] = {"café", "Pokémon", "déjà vu", "naïve", "Über", "señor"};

// A guide's text of about `fileBytes`: lines of words, a table now and then; every fifth file has
// accented words and is written in Windows-1252, which only the detector recognises.
QByteArray guideText(int index, QRandomGenerator &random)
{
    const bool western = index % 5 == 0;
    QString text = QStringLiteral("Guide %1\n==========\n").arg(index);
    while (text.size() < fileBytes) {
        if (random.bounded(8) == 0) {
            text += QStringLiteral("+-------+-------+\n| %1 | %2 |\n+-------+-------+\n")
                        .arg(random.bounded(100), 5)
                        .arg(random.bounded(100), 5);
            continue;
        }
        const int length = 6 + int(random.bounded(8));
        for (int w = 0; w < length; ++w) {
            text += QLatin1String(words[random.bounded(int(std::size(words)))]);
            if (western && random.bounded(6) == 0)
                text += QLatin1Char(' ') + QString::fromUtf8(accented[random.bounded(int(std::size(accented)))]);
            text += QLatin1Char(w + 1 < length ? ' ' : '.');
        }
        text += QLatin1Char('\n');
    }
    if (!western)
        return text.toUtf8();
    QStringEncoder encoder("windows-1252");
    return encoder.encode(text);
}

qint32 firstGame(const QSqlDatabase &db)
{
    QSqlQuery query(db);
    return query.exec(QStringLiteral("SELECT min(auto_id) FROM game")) && query.next() ? query.value(0).toInt() : 0;
}

} // namespace

int runImportSuite(const BenchContext &context)
{
    QTemporaryDir work(context.scratchTemplate(QStringLiteral("import")));
    modADO store(QStringLiteral("bench-import"));
    if (!context.openCopy(&work, &store))
        return 1;
    const QString folder = work.filePath(QStringLiteral("guides"));
    QDir().mkpath(folder);
    QRandomGenerator random(19);
    QStringList paths;
    QList<FileRow> converted;
    for (int i = 0; i < fileCount; ++i) {
        const QString path = folder + QStringLiteral("/guide %1.txt").arg(i, 4, 10, QLatin1Char('0'));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(guideText(i, random)) < 0) {
            context.note(QStringLiteral("cannot write %1; not measured.").arg(path));
            return 1;
        }
        file.close();
        paths << path;
        // The baseline's rows are the routine's own, made before the clock starts.
        const ImportedFile imported = FileImport::Convert(path);
        converted << imported.Row;
    }

    ErrObject err;
    QSqlDatabase db = store.Connection();
    const qint32 game = firstGame(db);
    if (game == 0) {
        context.note(QStringLiteral("the store has no games; not measured."));
        return 1;
    }
    context.note(
        QStringLiteral("text-files: %1 files of %2 bytes into game %3").arg(fileCount).arg(fileBytes).arg(game));

    const auto ours = [&] {
        FileImport import(db, game);
        if (!import.Begin(&err))
            return false;
        ConvertAhead ahead;
        for (qsizetype i = 0; i < paths.size(); ++i) {
            if (import.IsKnown(paths[i]))
                return false;
            ImportedFile file = ahead.Convert(paths[i]);
            if (i + 1 < paths.size() && !import.IsKnown(paths[i + 1]))
                ahead.Start(paths[i + 1]);
            if (!file.Skipped.isEmpty() || !import.Store(&file, &err))
                return false;
        }
        return true;
    };
    const auto baseline = [&] {
        QSqlQuery insert(db);
        insert.prepare(
            QStringLiteral("INSERT INTO file (game_id, sub_cat, src, \"desc\", txt_rtf) VALUES (?, ?, ?, ?, ?)"));
        for (const FileRow &row : std::as_const(converted)) {
            if (!db.transaction())
                return false;
            insert.addBindValue(game);
            insert.addBindValue(row.sub_cat);
            insert.addBindValue(row.src);
            insert.addBindValue(row.desc);
            insert.addBindValue(row.txt_rtf);
            if (!insert.exec() || !db.commit())
                return false;
        }
        return true;
    };
    // Every row from the guides goes after each run, so that the next finds none of them and both
    // sides write into the same free pages.
    const auto tidy = [&] {
        QSqlQuery remove(db);
        remove.prepare(QStringLiteral("DELETE FROM file WHERE game_id = ? AND src LIKE ?"));
        remove.addBindValue(game);
        remove.addBindValue(QString(folder + QStringLiteral("/%")));
        remove.exec();
    };
    const bool measured = context.compare(QStringLiteral("text-files"), ours, baseline, tidy, tidy);
    if (!measured)
        context.note(err.Description);
    return measured ? 0 : 1;
}
