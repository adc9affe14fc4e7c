#pragma once

#include <QString>
#include <QStringList>

#include <vector>

// A web page's markup made ready for Qt's HTML reader, in one pass over it.
namespace PageMarkup {

// What an <img> of the page said of its picture.
struct PictureTag
{
    QStringList sources; // src first, then the others a browser may have loaded instead
    QString alt;
    int width = -1; // as its attributes give it; -1 when they do not
    int height = -1;
};

// Every <img> becomes <img src="SCHEME:N">, N its index in `tags`: the reader keeps no alt text, and
// none of the page's attributes (onerror, srcset, sizes) need survive it. Sectioning elements
// (<article>, <figure>, ...) become the <div>s the reader knows.
QString Prepared(const QString &html, const QString &pictureScheme, std::vector<PictureTag> *tags);

} // namespace PageMarkup
