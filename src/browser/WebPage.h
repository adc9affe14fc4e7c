#pragma once

#include <QMetaType>
#include <QString>

// The page the browser shows, as Import This Page hands it on: read once, when asked for.
struct WebPage
{
    // "Start Page" on the start page, else the page's address and title.
    QString URL;
    QString Title;
    // The rendered text with its paragraphs and line breaks; empty when the page has none.
    QString Text;
};
Q_DECLARE_METATYPE(WebPage)
