// Suite "details": loading the favorites and the bookmarks of every platform into the details pane,
// against the bare SQL read of the same rows; and filling the search results with ten thousand hits,
// against the same rows put into Qt's stock item list and scrolled to the last one.

#include "BenchContext.h"
#include "data/NodeKey.h"
#include "data/modADO.h"
#include "details/ctlDetails.h"
#include "widgets/ListView.h"

#include <QCoreApplication>
#include <QSqlQuery>
#include <QTreeWidget>

namespace {

// Reads every column of every row the statement gives.
bool readRows(const QSqlDatabase &db, const QString &statement, int columns, int *rows)
{
    QSqlQuery query(db);
    query.setForwardOnly(true);
    if (!query.exec(statement))
        return false;
    qint64 size = 0;
    while (query.next()) {
        for (int column = 0; column < columns; ++column)
            size += query.value(column).toString().size();
        ++*rows;
    }
    return size > 0;
}

bool measureLoad(const BenchContext &context, modADO *store, ctlDetails *details)
{
    const QSqlDatabase db = store->Connection();
    int bookmarks = 0;
    int favorites = 0;
    if (!readRows(db, QStringLiteral("SELECT auto_id, tree_key FROM bookmarks"), 2, &bookmarks) ||
        !readRows(db, QStringLiteral("SELECT auto_id, url FROM favorites"), 2, &favorites)) {
        context.note(QStringLiteral("load: the store has no bookmarks or no favorites; not measured."));
        return false;
    }
    context.note(QStringLiteral("load: %1 bookmarks, %2 favorites").arg(bookmarks).arg(favorites));
    QString platforms;
    for (quint8 code = 1; code <= 19; ++code)
        platforms += QLatin1Char('|') + NodeKey::Platform(code);
    const auto ours = [&] {
        details->Reset();
        details->LoadFavorites(platforms);
        return details->Bookmarks()->Count() == bookmarks && details->Favorites()->Count() == favorites;
    };
    const auto baseline = [&] {
        int rows = 0;
        return readRows(db,
                        QStringLiteral("SELECT auto_id, tree_key, game, file, platform, sub_cat, genre FROM bookmarks"),
                        7, &rows) &&
               readRows(db, QStringLiteral("SELECT auto_id, url, title, \"desc\" FROM favorites"), 4, &rows) &&
               rows == bookmarks + favorites;
    };
    return context.compare(QStringLiteral("load"), ours, baseline);
}

bool measureSearch(const BenchContext &context, ctlDetails *details)
{
    constexpr int hits = 10000;
    const QString game = NodeKey::Game(1, 1, 18);
    const auto found = [](int hit) {
        return QStringLiteral("Walkthrough part %1").arg(hit);
    };
    const auto ours = [&] {
        details->ClearSearch();
        for (int hit = 1; hit <= hits; ++hit)
            details->AddSearch(hit, QStringLiteral("PC"), QStringLiteral("Quest"), 1, found(hit), game,
                               QStringLiteral("File"));
        details->SearchTitle(QStringLiteral("%1 items found.").arg(hits));
        // The list scrolls to the last hit when control is back in the event loop.
        QCoreApplication::processEvents();
        return details->SearchResults()->Count() == hits;
    };
    QTreeWidget stock;
    stock.setColumnCount(4);
    stock.setUniformRowHeights(true);
    stock.resize(details->size());
    stock.show();
    const auto baseline = [&] {
        stock.clear();
        QTreeWidgetItem *item = nullptr;
        for (int hit = 1; hit <= hits; ++hit) {
            item = new QTreeWidgetItem(
                {QStringLiteral("PC"), QStringLiteral("Quest"), QStringLiteral("Walkthrough\\Guide"), found(hit)});
            stock.addTopLevelItem(item);
        }
        stock.scrollToItem(item);
        return stock.topLevelItemCount() == hits;
    };
    return context.compare(QStringLiteral("search-fill"), ours, baseline);
}

} // namespace

int runDetailsSuite(const BenchContext &context)
{
    modADO store(QStringLiteral("bench-details"));
    if (!context.openStore(&store))
        return 1;
    ctlDetails details;
    details.setStore(&store);
    details.resize(1000, 300);
    details.show();
    bool measured = measureLoad(context, &store, &details);
    details.SelectTab(ctlDetails::Tab::SearchResults);
    measured = measureSearch(context, &details) && measured;
    return measured ? 0 : 1;
}
