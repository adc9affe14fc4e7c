#include "BrowserProfile.h"

#include "FileRequestFilter.h"
#include "StartPageScheme.h"

#include <QCoreApplication>
#include <QWebEngineSettings>

BrowserProfile *BrowserProfile::Instance()
{
    static BrowserProfile *profile = new BrowserProfile(QCoreApplication::instance());
    return profile;
}

BrowserProfile::BrowserProfile(QObject *parent) : QWebEngineProfile(parent)
{
    setObjectName(QStringLiteral("BrowserProfile"));
    setHttpCacheType(QWebEngineProfile::MemoryHttpCache);
    setPersistentCookiesPolicy(QWebEngineProfile::NoPersistentCookies);
    setSpellCheckEnabled(false);
    setUrlRequestInterceptor(new FileRequestFilter(this));
    installUrlSchemeHandler(QByteArray(StartPageScheme::Scheme), new StartPageScheme(this));

    using S = QWebEngineSettings;
    QWebEngineSettings *s = settings();
    // A page opened from a file is one the user may have been sent. The engine's switch for files
    // would also hide the page's own pictures, so it stays on and the filter decides instead; the
    // page's scripts read nothing from the web either.
    s->setAttribute(S::LocalContentCanAccessFileUrls, true);
    s->setAttribute(S::LocalContentCanAccessRemoteUrls, false);
    s->setAttribute(S::AllowRunningInsecureContent, false);
    s->setAttribute(S::AllowGeolocationOnInsecureOrigins, false);
    s->setAttribute(S::PluginsEnabled, false);
    s->setAttribute(S::PdfViewerEnabled, false);
    s->setAttribute(S::JavascriptCanAccessClipboard, false);
    s->setAttribute(S::JavascriptCanPaste, false);
    s->setAttribute(S::AllowWindowActivationFromJavaScript, false);
    s->setAttribute(S::FullScreenSupportEnabled, false);
    s->setAttribute(S::ScreenCaptureEnabled, false);
    s->setAttribute(S::WebRTCPublicInterfacesOnly, true);
    s->setAttribute(S::DnsPrefetchEnabled, false);
    s->setAttribute(S::JavascriptEnabled, true);
    s->setAttribute(S::AutoLoadImages, true);
    // Every new window comes to the page, which opens it or refuses it as "Disable Pop-Ups" says
    // at that moment and tells the user; the engine's own blocker would refuse without a word.
    s->setAttribute(S::JavascriptCanOpenWindows, true);
    // The program shows its own page when one cannot be opened.
    s->setAttribute(S::ErrorPageEnabled, false);
}
