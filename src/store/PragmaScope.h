#pragma once

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>

// A store file's setting changed for a while and put back as it was: for work that a setting makes
// faster but that the store's own writes must not keep. A setting that cannot be read is left
// alone, as is any on a shared library, where SQLite's settings mean nothing.
class PragmaScope final
{
public:
    PragmaScope(const QSqlDatabase &db, const QString &name, const QString &value);
    ~PragmaScope();
    Q_DISABLE_COPY_MOVE(PragmaScope)

private:
    QSqlQuery m_query;
    QString m_name;
    QString m_previous;
};
