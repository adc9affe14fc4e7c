#pragma once

#include <QWebEnginePage>

#include <functional>

// A page of the built-in browser. A page that asks for a new window (window.open, a link with a
// target) gets one only when the pop-up blocker lets it: the blocker is asked at every request, so
// a change of the setting applies at once. An allowed pop-up is a plain browser window of its own,
// whose pages follow the same rule.
class BrowserPage final : public QWebEnginePage
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(BrowserPage)

public:
    // True when the new window is to be refused; the blocker shows its own notice.
    using Blocker = std::function<bool()>;

    BrowserPage(QWebEngineProfile *profile, Blocker blocker, QObject *parent);

    // Shows a page saved whole (MHTML) as it was: with its scripts off and nothing fetched from
    // anywhere. Going to any other page turns both back on.
    void LoadOffline(const QUrl &archive);
    // The archive shown offline now; empty while browsing.
    QUrl OfflineArchive() const { return m_offline; }

protected:
    QWebEnginePage *createWindow(WebWindowType type) override;
    bool acceptNavigationRequest(const QUrl &url, NavigationType type, bool isMainFrame) override;

private:
    void endOffline();

    Blocker m_blocker;
    QUrl m_offline;
};
