#pragma once

#include <QSqlDatabase>

class QWidget;

// Brings the search index up to date with the window alive: the queued files are indexed a batch
// at a time on a worker thread, and once that has taken half a second a progress dialog counts
// them, with Cancel (what is left is indexed at the next search, or the next start).
class FindIndexBuilder final
{
public:
    // False when the user stopped it or the store failed (logged); true when the index is whole.
    static bool Build(QWidget *window, const QSqlDatabase &db);
};
