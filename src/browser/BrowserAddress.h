#pragma once

#include <QString>
#include <QUrl>

// What the browser's address line makes of what was typed, and the page it shows when a page
// cannot be opened.
class BrowserAddress final
{
public:
    // The address `typed` names, read as a browser's address line reads it ("example.com" is a web
    // address, "/home/x.html" a file). An invalid URL, with `problem` saying what is wrong in words
    // for the user, when it names nothing that can be opened.
    static QUrl Read(const QString &typed, QString *problem);

    // Why a page could not be opened, in words for the user, from the engine's error code (Chromium's
    // network error numbers) and its own short text.
    static QString FailureReason(int code, const QString &engineText);
    // The page shown instead of one that could not be opened: its address and the reason.
    static QString FailurePage(const QUrl &url, const QString &reason);
    // That page's title.
    static QString FailureTitle();
};
