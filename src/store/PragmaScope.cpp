#include "PragmaScope.h"

#include "StoreAddress.h"

#include <QVariant>

PragmaScope::PragmaScope(const QSqlDatabase &db, const QString &name, const QString &value) : m_query(db), m_name(name)
{
    if (StoreAddress::IsShared(db) || !m_query.exec(QStringLiteral("PRAGMA ") + name) || !m_query.next())
        return;
    m_previous = m_query.value(0).toString();
    m_query.finish();
    m_query.exec(QStringLiteral("PRAGMA %1 = %2").arg(name, value));
}

PragmaScope::~PragmaScope()
{
    if (!m_previous.isEmpty())
        m_query.exec(QStringLiteral("PRAGMA %1 = %2").arg(m_name, m_previous));
}
