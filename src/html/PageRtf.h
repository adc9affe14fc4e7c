#pragma once

#include <QString>
#include <QUrl>

class MhtmlArchive;

// HTML taken from a web page (its article, the whole page, or a selection) as a file's text
struct PageRtfOptions
{
    bool keepPictures = true;                // "Keep pictures of imported pages"
    qint64 pictureBudget = 20 * 1024 * 1024; // bytes of pictures one file may hold; the rest become links
    int textWidth = 624;                     // pixels (96 dpi) a picture may be wide: 6.5 in
};

struct PageRtfResult
{
    QString rtf;            // as FileRow::txt_rtf holds it
    int pictures = 0;       // pictures kept in the text
    int picturesLinked = 0; // pictures left out for the budget, kept as links to them
};

// `page` is the address the HTML came from (relative links and pictures are read against it); pictures come
// from `archive` only (nothing is fetched). Scripts, styles and unsafe links never reach the RTF.
PageRtfResult PageRtf(const QString &html, const QUrl &page, const MhtmlArchive &archive,
                      const PageRtfOptions &options = {});
