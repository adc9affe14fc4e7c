// Suite "files": listing the busiest game's files, and showing a 1 MB and a 10 MB document (its
// beginning, and for the 10 MB one also the whole), against the bare SQL read of the same rows.

#include "BenchContext.h"
#include "data/NodeKey.h"
#include "data/modADO.h"
#include "view/ctlView.h"
#include "widgets/ListView.h"
#include "widgets/RichTextLoader.h"

#include <QEventLoop>
#include <QSqlQuery>
#include <QTextEdit>

namespace {

const QString selectFiles = QStringLiteral("SELECT auto_id, game_id, sub_cat, src, \"desc\", txt_rtf FROM file WHERE ");

// Reads every column of every row the statement gives, as the store's own reader does.
bool readRows(const QSqlDatabase &db, const QString &statement, int *rows)
{
    QSqlQuery query(db);
    query.setForwardOnly(true);
    if (!query.exec(statement))
        return false;
    qint64 size = 0;
    *rows = 0;
    while (query.next()) {
        size += query.value(0).toInt() + query.value(1).toInt() + query.value(2).toInt() +
                query.value(3).toString().size() + query.value(4).toString().size() + query.value(5).toString().size();
        ++*rows;
    }
    return size > 0;
}

bool measureList(const BenchContext &context, modADO *store, ctlView *view)
{
    const QSqlDatabase db = store->Connection();
    QSqlQuery pick(db);
    if (!pick.exec(QStringLiteral("SELECT game_id, count(*) FROM file GROUP BY game_id ORDER BY 2 DESC LIMIT 1")) ||
        !pick.next()) {
        context.note(QStringLiteral("list: the store has no files; not measured."));
        return false;
    }
    const qint32 gameId = pick.value(0).toInt();
    const int files = pick.value(1).toInt();
    pick.finish();
    context.note(QStringLiteral("list: game %1 with %2 files").arg(gameId).arg(files));
    view->SetGame({0, 0, gameId, QStringLiteral("Bench")});
    const auto ours = [&] {
        view->Reset();
        view->ListFiles(gameId, 0);
        return view->FileList()->Count() == files && !view->CurrentFileKey().isEmpty();
    };
    int rows = 0;
    const auto baseline = [&] {
        return readRows(db, selectFiles + QStringLiteral("game_id = ") + QString::number(gameId), &rows) &&
               rows == files;
    };
    return context.compare(QStringLiteral("list"), ours, baseline);
}

// SelectFile of the file whose text is nearest `bytes` long, until its beginning is painted and the view
// answers, or with `whole` until the whole text is in. A file key that is shown already is not read
// again, so each run first shows the smallest file of the same game.
bool measureShow(const BenchContext &context, modADO *store, ctlView *view, const QString &name, qint64 bytes,
                 bool whole = false)
{
    const QSqlDatabase db = store->Connection();
    QSqlQuery pick(db);
    pick.prepare(QStringLiteral("SELECT f.auto_id, f.game_id, length(f.txt_rtf), "
                                "(SELECT s.auto_id FROM file s WHERE s.game_id = f.game_id AND s.auto_id <> f.auto_id "
                                " ORDER BY length(s.txt_rtf) LIMIT 1) "
                                "FROM file f ORDER BY abs(length(f.txt_rtf) - ?) LIMIT 1"));
    pick.addBindValue(bytes);
    if (!pick.exec() || !pick.next() || pick.value(3).isNull()) {
        context.note(name + QStringLiteral(": no such document with a smaller one beside it; not measured."));
        return false;
    }
    const qint32 fileId = pick.value(0).toInt();
    const qint32 gameId = pick.value(1).toInt();
    const qint32 smallId = pick.value(3).toInt();
    context.note(QStringLiteral("%1: file %2, %3 bytes of RTF").arg(name).arg(fileId).arg(pick.value(2).toLongLong()));
    pick.finish();

    view->SetGame({0, 0, gameId, {}});
    view->Reset();
    view->ListFiles(gameId, 1);
    const QString key = NodeKey::File(fileId);
    const QString smallKey = NodeKey::File(smallId);
    const auto *loader = view->Viewer()->findChild<RichTextLoader *>();
    const auto ours = [&] {
        view->SelectFile(smallKey);
        // The whole of a long text is read on a worker thread while its beginning shows.
        QEventLoop completed;
        QObject::connect(loader, &RichTextLoader::Completed, &completed, &QEventLoop::quit);
        view->SelectFile(key);
        if (whole && loader->IsLoading())
            completed.exec();
        view->Viewer()->viewport()->repaint();
        return view->CurrentFileKey() == key && !view->Viewer()->document()->isEmpty() &&
               (!whole || !loader->IsLoading());
    };
    int rows = 0;
    const auto baseline = [&] {
        return readRows(db, selectFiles + QStringLiteral("auto_id = ") + QString::number(smallId), &rows) &&
               readRows(db, selectFiles + QStringLiteral("auto_id = ") + QString::number(fileId), &rows);
    };
    return context.compare(name, ours, baseline);
}

} // namespace

int runFilesSuite(const BenchContext &context)
{
    modADO store(QStringLiteral("bench-files"));
    if (!context.openStore(&store))
        return 1;
    ctlView view;
    view.setStore(&store);
    view.resize(900, 700);
    view.show();
    bool measured = measureList(context, &store, &view);
    measured = measureShow(context, &store, &view, QStringLiteral("show-1mb"), 1 << 20) && measured;
    measured = measureShow(context, &store, &view, QStringLiteral("show-10mb"), 10 << 20) && measured;
    measured = measureShow(context, &store, &view, QStringLiteral("show-10mb-whole"), 10 << 20, true) && measured;
    return measured ? 0 : 1;
}
