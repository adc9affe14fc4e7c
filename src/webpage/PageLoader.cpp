#include "PageLoader.h"

#include "BrowserProfile.h"

#include <QPointer>
#include <QTimer>
#include <QWebEngineLoadingInfo>
#include <QWebEnginePage>
#include <QWebEngineSettings>

namespace {

// A page no one reads: what its scripts write to the console stays there.
class HiddenPage final : public QWebEnginePage
{
public:
    using QWebEnginePage::QWebEnginePage;

protected:
    void javaScriptConsoleMessage(JavaScriptConsoleMessageLevel, const QString &, int, const QString &) override {}
};

ErrObject notLoaded(const QString &why)
{
    return {ErrNumber::PageNotLoaded, why};
}

} // namespace

PageLoader::PageLoader(QObject *parent) : QObject(parent) {}

QString PageLoader::Failure(const QUrl &address, const QWebEngineLoadingInfo &info)
{
    const QString page = address.toDisplayString();
    const int code = info.errorCode();
    if (info.errorDomain() == QWebEngineLoadingInfo::HttpStatusCodeDomain && code >= 400) {
        if (code == 404 || code == 410)
            return QStringLiteral("The page %1 was not found (HTTP %2).").arg(page).arg(code);
        return QStringLiteral("The page %1 could not be loaded (HTTP %2).").arg(page).arg(code);
    }
    if (info.status() != QWebEngineLoadingInfo::LoadFailedStatus)
        return {};
    if (info.errorString().contains(QLatin1String("NAME_NOT_RESOLVED")))
        return QStringLiteral("The page %1 could not be loaded: its host was not found.").arg(page);
    if (info.errorString().contains(QLatin1String("FILE_NOT_FOUND")))
        return QStringLiteral("The page %1 was not found.").arg(page);
    if (info.errorString().contains(QLatin1String("CONNECTION_REFUSED")))
        return QStringLiteral("The page %1 could not be loaded: the server refused the connection.").arg(page);
    QString reason = info.errorString();
    reason.remove(QStringLiteral("net::"));
    return QStringLiteral("The page %1 could not be loaded (%2).")
        .arg(page, reason.isEmpty() ? QStringLiteral("error %1").arg(code) : reason);
}

void PageLoader::Load(const QUrl &address, PagePart part, PageCapture::Done done, int timeoutMs)
{
    QWebEnginePage *page = new HiddenPage(BrowserProfile::Instance(), this);
    page->setAudioMuted(true);
    // Pages build their text with scripts; those run in the page's world as in the browser.
    page->settings()->setAttribute(QWebEngineSettings::JavascriptEnabled, true);
    page->settings()->setAttribute(QWebEngineSettings::JavascriptCanOpenWindows, false);
    page->settings()->setAttribute(QWebEngineSettings::ErrorPageEnabled, false);

    // Shared by the handlers below; the first end (failure, time-out or capture) wins.
    struct State
    {
        bool ended = false;
    };
    auto state = std::make_shared<State>();
    auto *timer = new QTimer(page);
    timer->setSingleShot(true);

    const auto finish = [this, page, state, done](const CapturedPage &taken, const ErrObject &err) {
        state->ended = true;
        page->deleteLater();
        QMetaObject::invokeMethod(
            this, [done, taken, err] { done(taken, err); }, Qt::QueuedConnection);
    };

    // The load's end says why it failed, which loadFinished does not.
    connect(page, &QWebEnginePage::loadingChanged, this,
            [this, page, part, state, finish, address, timer](const QWebEngineLoadingInfo &info) {
                if (state->ended || info.status() == QWebEngineLoadingInfo::LoadStartedStatus)
                    return;
                timer->stop();
                const QString failure = info.status() == QWebEngineLoadingInfo::LoadStoppedStatus
                                            ? QStringLiteral("The page %1 could not be loaded: the load was stopped.")
                                                  .arg(address.toDisplayString())
                                            : Failure(address, info);
                if (!failure.isEmpty()) {
                    finish({}, notLoaded(failure));
                    return;
                }
                state->ended = true;
                PageCapture::Capture(page, part, this, finish);
            });
    connect(timer, &QTimer::timeout, this, [page, state, finish, address, timeoutMs] {
        if (state->ended)
            return;
        page->triggerAction(QWebEnginePage::Stop);
        finish({}, notLoaded(QStringLiteral("The page %1 did not load within %2 seconds.")
                                 .arg(address.toDisplayString())
                                 .arg((timeoutMs + 999) / 1000)));
    });
    timer->start(timeoutMs);
    page->load(address);
    // Shown as far as the page can tell (which takes a page being loaded): a hidden page's timers are
    // held back to once a second, and a page that builds its text from a timer would be taken before.
    page->setVisible(true);
}
