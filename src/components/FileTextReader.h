#pragma once

#include "data/FileTable.h"
#include "system/ErrObject.h"


class modADO;

// Reads one file of the library by id and hands out its parts: what the file view shows when a
// row is clicked and what the viewer/editor opens with. Failures go back to the caller, who knows
// under which name to log them.
class FileTextReader final
{
public:
    void setStore(modADO *store) { m_store = store; }

    // False with `err` filled when the store fails or has no file `lngFileId` (then error 3021).
    bool Load(qint32 lngFileId, ErrObject *err);

    quint8 SubCat() const { return m_row.sub_cat; }
    const QString &Source() const { return m_row.src; }
    const QString &Desc() const { return m_row.desc; }
    const QString &TextRTF() const { return m_row.txt_rtf; }
    qint32 GameId() const { return m_row.game_id; }

private:
    modADO *m_store = nullptr;
    FileRow m_row;
};
