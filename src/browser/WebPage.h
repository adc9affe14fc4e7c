#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QMetaType>
#include <QString>

// The page the browser shows, as Import This Page hands it on: taken once, when asked for.
struct WebPage
{
    // "Start Page" on the start page, else the page's address and title.
    QString URL;
    QString Title;
    // What was taken of the page (its article, the whole page or the selection) as the file's RTF,
    // or plain text; empty when the page has none.
    QString Text;
    // The whole page as it was then, one MHTML file, kept with the file; empty when none was saved.
    QByteArray Snapshot;
    QDateTime Captured; // UTC
};
Q_DECLARE_METATYPE(WebPage)
