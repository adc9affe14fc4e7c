#include "ConvertAhead.h"

#include <QtConcurrent/QtConcurrentRun>

ConvertAhead::ConvertAhead(quint8 subCat, const QString &encoding) : m_subCat(subCat), m_encoding(encoding)
{
    m_pool.setMaxThreadCount(1);
}

ConvertAhead::~ConvertAhead()
{
    m_ahead.waitForFinished();
}

void ConvertAhead::Start(const QString &path)
{
    if (m_ahead.isValid() && m_started == path)
        return;
    m_ahead.waitForFinished();
    m_started = path;
    m_ahead = QtConcurrent::run(&m_pool, [path, subCat = m_subCat, encoding = m_encoding] {
        return FileImport::Convert(path, subCat, encoding);
    });
}

ImportedFile ConvertAhead::Convert(const QString &path)
{
    if (m_ahead.isValid() && m_started == path) {
        ImportedFile file = m_ahead.result();
        m_ahead = {};
        m_started.clear();
        return file;
    }
    return FileImport::Convert(path, m_subCat, m_encoding);
}
