#pragma once

#include "Rng.h"

#include <QString>

// The short texts around a file and a favorite: where a text came from, how the collector
// described it, and the web sites worth keeping.
class LabelMaker final
{
public:
    explicit LabelMaker(Rng *rng);

    QString description(quint8 subCat, const QString &title);
    // A web address, or a magazine or book reference for texts that came from print.
    QString source(quint8 subCat);
    QString author();

    QString favoriteUrl(int index);
    QString favoriteTitle();
    QString favoriteDescription();

private:
    QString url();
    QString printReference();
    QString version();

    Rng *m_rng;
};
