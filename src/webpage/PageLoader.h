#pragma once

#include "PageCapture.h"

#include <QObject>
#include <QUrl>

class QWebEngineLoadingInfo;
class QWebEnginePage;

// Loads web pages that no one sees, in the browser's profile (so with its protection of the user's
// files), and captures them. Loads may follow each other or overlap; each has a page of its own,
// deleted when its capture is done.
class PageLoader final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(PageLoader)

public:
    explicit PageLoader(QObject *parent = nullptr);

    // Loads `address` (http, https or file) in a hidden page of the program's browser profile, no window or
    // screen needed, then captures `part` as PageCapture does. A page that does not load (HTTP status >= 400,
    // host not found, refused, not loaded within `timeoutMs`) gives an error whose text says which, e.g.
    // "The page http://x/y was not found (HTTP 404)." or "... did not load within 30 seconds.".
    void Load(const QUrl &address, PagePart part, PageCapture::Done done, int timeoutMs = 30000);

    // Why a load that ended with `info` failed, empty when it did not.
    static QString Failure(const QUrl &address, const QWebEngineLoadingInfo &info);
};
