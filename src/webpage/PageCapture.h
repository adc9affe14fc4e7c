#pragma once

#include "CapturedPage.h"
#include "system/ErrObject.h"

#include <functional>

class QObject;
class QWebEnginePage;

// Takes the article, the whole page or the selection of a loaded page as HTML, with an MHTML
// snapshot of the page, once the page has settled: its text built and its lazy pictures loaded. Our
// scripts run in a world of their own, which the page's scripts cannot see or change, and alter the
// page only to ask for the pictures it would load when scrolled to.
class PageCapture final
{
public:
    using Done = std::function<void(const CapturedPage &page, const ErrObject &err)>;

    // How long the page's script world and the snapshot may take, each.
    static constexpr int AnswerTimeoutMs = 10000;
    // How long a page that is still building its text or loading its pictures is waited for before an
    // article or the whole page is taken (the page's script sets its own, shorter, bound).
    static constexpr int SettleTimeoutMs = 8000;

    // Takes `part` of `page` (loaded already) and its MHTML snapshot. `done` runs exactly once, from the event
    // loop, unless `context` is gone: with err.Number == 0 on success, or with a message that tells the user
    // what failed (no selection, the page did not answer in 10 s, ...). A snapshot that cannot be saved
    // leaves `mhtml` empty and is no failure.
    static void Capture(QWebEnginePage *page, PagePart part, QObject *context, Done done);
};
