#include "DirectRows.h"

#include "StoreError.h"

#include <QSqlDriver>
#include <QSqlError>
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

DirectRows::DirectRows(const QSqlDatabase &db, const QString &sql, const QVariantList &values)
    : m_storePath(StoreError::storePath(db))
{
    sqlite3 *handle = SqliteHandle(db);
    const QByteArray utf8 = sql.toUtf8();
    if (!handle) {
        m_message = QStringLiteral("the store is not an open SQLite file");
        return;
    }
    const int prepared = sqlite3_prepare_v2(handle, utf8.constData(), int(utf8.size()), &m_statement, nullptr);
    if (prepared != SQLITE_OK)
        fail(handle, prepared);
    else if (!values.isEmpty())
        run(values);
}

DirectRows::~DirectRows()
{
    sqlite3_finalize(m_statement);
}

void DirectRows::fail(sqlite3 *handle, int code)
{
    // Nothing more is read from a statement that failed; what failed is kept for error().
    m_failure = code;
    m_message = QString::fromUtf8(sqlite3_errmsg(handle));
    sqlite3_finalize(m_statement);
    m_statement = nullptr;
}

bool DirectRows::run(const QVariantList &values)
{
    if (!m_statement)
        return false;
    sqlite3_reset(m_statement);
    sqlite3_clear_bindings(m_statement);
    m_done = false;
    for (int i = 0; i < values.size(); ++i) {
        const QVariant &value = values.at(i);
        int bound = SQLITE_OK;
        switch (value.isNull() ? QMetaType::UnknownType : value.metaType().id()) {
        case QMetaType::UnknownType: bound = sqlite3_bind_null(m_statement, i + 1); break;
        case QMetaType::Bool:
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
        case QMetaType::UChar:
        case QMetaType::Char:
        case QMetaType::SChar:
        case QMetaType::Short:
        case QMetaType::UShort: bound = sqlite3_bind_int64(m_statement, i + 1, value.toLongLong()); break;
        case QMetaType::Double: bound = sqlite3_bind_double(m_statement, i + 1, value.toDouble()); break;
        case QMetaType::QByteArray: {
            const QByteArray bytes = value.toByteArray();
            bound = sqlite3_bind_blob64(m_statement, i + 1, bytes.constData(), sqlite3_uint64(bytes.size()),
                                        SQLITE_TRANSIENT);
            break;
        }
        default: {
            const QByteArray text = value.toString().toUtf8();
            bound = sqlite3_bind_text64(m_statement, i + 1, text.constData(), sqlite3_uint64(text.size()),
                                        SQLITE_TRANSIENT, SQLITE_UTF8);
        }
        }
        if (bound != SQLITE_OK) {
            fail(sqlite3_db_handle(m_statement), bound);
            return false;
        }
    }
    return true;
}

bool DirectRows::next()
{
    if (!m_statement || m_done)
        return false;
    const int step = sqlite3_step(m_statement);
    m_done = step == SQLITE_DONE;
    if (step == SQLITE_ROW)
        return true;
    if (!m_done)
        fail(sqlite3_db_handle(m_statement), step);
    return false;
}

ErrObject DirectRows::error() const
{
    const QString text = m_message.isEmpty() ? QStringLiteral("the read stopped short") : m_message;
    return StoreError::fromSql(
        QSqlError(QString(), text, QSqlError::StatementError, m_failure ? QString::number(m_failure) : QString()),
        m_storePath);
}

qint32 DirectRows::id(int column) const
{
    return sqlite3_column_int(m_statement, column);
}

qint64 DirectRows::id64(int column) const
{
    return sqlite3_column_int64(m_statement, column);
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

QByteArray DirectRows::bytes(int column) const
{
    return bytesView(column).toByteArray();
}

QByteArrayView DirectRows::bytesView(int column) const
{
    const auto *data = static_cast<const char *>(sqlite3_column_blob(m_statement, column));
    return data ? QByteArrayView(data, sqlite3_column_bytes(m_statement, column)) : QByteArrayView();
}
