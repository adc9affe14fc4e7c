#include "DirectRows.h"

#include <QSqlDriver>
#include <QVariant>

#include <sqlite3.h>

sqlite3 *SqliteHandle(const QSqlDatabase &db)
{
    if (!db.isOpen() || !db.driver())
        return nullptr;
    const QVariant handle = db.driver()->handle();
    return handle.isValid() && qstrcmp(handle.typeName(), "sqlite3*") == 0
               ? *static_cast<sqlite3 *const *>(handle.constData())
               : nullptr;
}

DirectRows::DirectRows(const QSqlDatabase &db, const QString &sql)
{
    sqlite3 *handle = SqliteHandle(db);
    const QByteArray utf8 = sql.toUtf8();
    if (!handle || sqlite3_prepare_v2(handle, utf8.constData(), int(utf8.size()), &m_statement, nullptr) != SQLITE_OK) {
        sqlite3_finalize(m_statement);
        m_statement = nullptr;
    }
}

DirectRows::~DirectRows()
{
    sqlite3_finalize(m_statement);
}

bool DirectRows::next()
{
    if (!m_statement || m_done)
        return false;
    const int step = sqlite3_step(m_statement);
    m_done = step == SQLITE_DONE;
    if (step != SQLITE_ROW) {
        // Nothing more is read from a statement that failed.
        sqlite3_finalize(m_statement);
        m_statement = nullptr;
        return false;
    }
    return true;
}

qint32 DirectRows::id(int column) const
{
    return sqlite3_column_int(m_statement, column);
}

quint8 DirectRows::code(int column) const
{
    const sqlite3_int64 value = sqlite3_column_int64(m_statement, column);
    return value >= 0 && value <= 255 ? quint8(value) : quint8(0);
}

QString DirectRows::text(int column) const
{
    // The store keeps its text as UTF-8, which Qt turns into a string faster than SQLite does.
    const auto *characters = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, column));
    return characters ? QString::fromUtf8(characters, sqlite3_column_bytes(m_statement, column)) : QString();
}
