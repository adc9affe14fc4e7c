#include "FileTextReader.h"

#include "store/StoreError.h"
#include "data/modADO.h"

bool FileTextReader::Load(qint32 lngFileId, ErrObject *err)
{
    bool found = false;
    FileRow row;
    if (!FileTable::Read(m_store->Connection(), lngFileId, &row, &found, err))
        return false;
    if (!found) {
        *err = StoreError::noRow("file", lngFileId);
        return false;
    }
    m_row = std::move(row);
    return true;
}
