#pragma once

#include "Rng.h"

#include <QString>
#include <QStringList>

// Makes game titles the way a collection of the 1990s reads: franchise words, sequel numbers,
// subtitles and platform tags, with now and then the same title again for a port to another system.
class TitleMaker final
{
public:
    explicit TitleMaker(Rng *rng);

    QString next(quint8 platform, quint8 genre);

private:
    QString fresh(quint8 platform, quint8 genre);
    QString subtitle();

    Rng *m_rng;
    QStringList m_made;
};
