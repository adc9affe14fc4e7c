#include "BrowserPage.h"

#include <QApplication>
#include <QWebEngineSettings>
#include <QWebEngineUrlRequestInterceptor>
#include <QWebEngineView>

namespace {

// While a saved page is shown, nothing but the archive itself is loaded: what it holds comes from
// the archive, and whatever it names outside stays unasked.
class OfflineFilter final : public QWebEngineUrlRequestInterceptor
{
public:
    explicit OfflineFilter(const BrowserPage *page) : QWebEngineUrlRequestInterceptor(nullptr), m_page(page) {}

    void interceptRequest(QWebEngineUrlRequestInfo &info) override
    {
        const QUrl archive = m_page->OfflineArchive();
        if (!archive.isEmpty() && info.requestUrl() != archive)
            info.block(true);
    }

private:
    const BrowserPage *m_page;
};

} // namespace

BrowserPage::BrowserPage(QWebEngineProfile *profile, Blocker blocker, QObject *parent)
    : QWebEnginePage(profile, parent), m_blocker(std::move(blocker))
{
    // Camera, microphone, location, notifications, the screen, the mouse: a page that reads guides
    // needs none of them, and the user is not asked.
    connect(this, &QWebEnginePage::featurePermissionRequested, this, [this](const QUrl &origin, Feature feature) {
        setFeaturePermission(origin, feature, PermissionDeniedByUser);
    });
    auto *filter = new OfflineFilter(this);
    filter->setParent(this);
    setUrlRequestInterceptor(filter);
}

void BrowserPage::LoadOffline(const QUrl &archive)
{
    // Off before the load starts, so that no script of the page ever runs.
    settings()->setAttribute(QWebEngineSettings::JavascriptEnabled, false);
    m_offline = archive;
    load(archive);
}

void BrowserPage::endOffline()
{
    if (m_offline.isEmpty())
        return;
    m_offline.clear();
    settings()->resetAttribute(QWebEngineSettings::JavascriptEnabled);
}

bool BrowserPage::acceptNavigationRequest(const QUrl &url, NavigationType type, bool isMainFrame)
{
    // A link followed from a saved page leaves it: the next page is an ordinary one again.
    if (isMainFrame && url != m_offline)
        endOffline();
    return QWebEnginePage::acceptNavigationRequest(url, type, isMainFrame);
}

QWebEnginePage *BrowserPage::createWindow(WebWindowType type)
{
    Q_UNUSED(type)
    if (m_blocker && m_blocker())
        return nullptr;

    // The pop-up belongs to the main window, so it goes when the program closes.
    QWidget *owner = QApplication::activeWindow();
    if (auto *view = qobject_cast<QWebEngineView *>(parent()))
        owner = view->window();
    auto *popup = new QWebEngineView(owner);
    popup->setWindowFlag(Qt::Window);
    popup->setAttribute(Qt::WA_DeleteOnClose);
    popup->setObjectName(QStringLiteral("brwPopup"));
    auto *page = new BrowserPage(profile(), m_blocker, popup);
    popup->setPage(page);
    connect(page, &QWebEnginePage::titleChanged, popup, &QWidget::setWindowTitle);
    connect(page, &QWebEnginePage::windowCloseRequested, popup, &QWidget::close);
    popup->resize(800, 600);
    popup->show();
    return page;
}
