#pragma once

#include "system/ErrObject.h"

#include <QSqlDatabase>
#include <QString>

// A connection of a worker thread's own to a store: a connection belongs to the thread that made
// it, so long work off the window's thread makes, uses and closes one of these there.
class WorkerConnection final
{
public:
    enum class Access { Read, Write };

    // Opens the existing store at `path` (a file or a shared library's address); Open tells whether that worked.
    WorkerConnection(const QString &path, Access access);
    ~WorkerConnection();
    WorkerConnection(const WorkerConnection &) = delete;
    WorkerConnection &operator=(const WorkerConnection &) = delete;

    // False, with what went wrong in words for the user, when the store could not be opened.
    bool Open(ErrObject *err) const;
    QSqlDatabase Connection() const;

private:
    QString m_name;
    ErrObject m_failure;
};
