#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QUrl>

// What of a web page is taken: the article a reader view finds, the whole page as shown, or the
// user's selection.
enum class PagePart : quint8 { Article, WholePage, Selection };

// A web page as it was taken: the HTML of the part taken and the snapshot of the whole page.
struct CapturedPage
{
    QUrl address;  // the page's address as loaded (after redirects)
    QString title; // the page's title (Readability's title for an article), never empty: else the address
    QString html;  // what was taken: Article = <h1>title</h1> + byline + Readability's content;
                   // WholePage = the body as shown (hidden elements left out); Selection = the selection
    PagePart part = PagePart::Article; // what `html` is; an Article request on a page Readability finds no
                                       // article in falls back to WholePage, and says so here
    QByteArray mhtml;                  // the snapshot; empty when the engine could not save one
    QDateTime captured;                // UTC
};
