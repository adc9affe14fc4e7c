#include "BrowserPage.h"

#include <QApplication>
#include <QWebEngineView>

BrowserPage::BrowserPage(QWebEngineProfile *profile, Blocker blocker, QObject *parent)
    : QWebEnginePage(profile, parent), m_blocker(std::move(blocker))
{
    // Camera, microphone, location, notifications, the screen, the mouse: a page that reads guides
    // needs none of them, and the user is not asked.
    connect(this, &QWebEnginePage::featurePermissionRequested, this, [this](const QUrl &origin, Feature feature) {
        setFeaturePermission(origin, feature, PermissionDeniedByUser);
    });
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
