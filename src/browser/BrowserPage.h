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

protected:
    QWebEnginePage *createWindow(WebWindowType type) override;

private:
    Blocker m_blocker;
};
