#include "StartPageScheme.h"

#include "base/AppPath.h"

#include <QFile>
#include <QFileInfo>
#include <QWebEngineUrlRequestJob>
#include <QWebEngineUrlScheme>

namespace {

const QString host = QStringLiteral("home");
const QString startFile = QStringLiteral("Start.html");

QByteArray contentType(const QString &name)
{
    if (name == startFile)
        return QByteArrayLiteral("text/html");
    if (name == QLatin1String("logo.gif") || name == QLatin1String("vbar.gif"))
        return QByteArrayLiteral("image/gif");
    return {};
}

// The file name a served address asks for, when it is one of those served.
QString servedName(const QUrl &url)
{
    if (url.scheme() != QLatin1String(StartPageScheme::Scheme) || url.host() != host)
        return {};
    const QString path = url.path();
    const QString name = path.mid(1);
    return path.startsWith(QLatin1Char('/')) && !contentType(name).isEmpty() ? name : QString();
}

} // namespace

StartPageScheme::StartPageScheme(QObject *parent) : QWebEngineUrlSchemeHandler(parent) {}

void StartPageScheme::Register()
{
    QWebEngineUrlScheme scheme{QByteArray(Scheme)};
    // With a host, the pictures' relative names resolve against the page's address.
    scheme.setSyntax(QWebEngineUrlScheme::Syntax::Host);
    scheme.setFlags(QWebEngineUrlScheme::SecureScheme);
    QWebEngineUrlScheme::registerScheme(scheme);
}

QUrl StartPageScheme::Served(const QUrl &url)
{
    if (!url.isLocalFile())
        return url;
    const QFileInfo file(url.toLocalFile());
    const QFileInfo start(AppPath() + startFile);
    if (file.absoluteFilePath() != start.absoluteFilePath() &&
        (!file.exists() || file.canonicalFilePath() != start.canonicalFilePath()))
        return url;
    QUrl served;
    served.setScheme(QLatin1String(Scheme));
    served.setHost(host);
    served.setPath(QLatin1Char('/') + startFile);
    return served;
}

QUrl StartPageScheme::Unserved(const QUrl &url)
{
    const QString name = servedName(url);
    return name.isEmpty() ? url : QUrl::fromLocalFile(AppPath() + name);
}

void StartPageScheme::requestStarted(QWebEngineUrlRequestJob *job)
{
    const QString name = servedName(job->requestUrl());
    // Only the start page itself, or the browser on the user's behalf, may ask; a web page may not
    // probe the home through this address.
    const QUrl initiator = job->initiator();
    const bool ownRequest = initiator.isEmpty() || initiator.scheme() == QLatin1String(Scheme);
    if (name.isEmpty() || !ownRequest || job->requestMethod() != QByteArrayLiteral("GET")) {
        job->fail(name.isEmpty() ? QWebEngineUrlRequestJob::UrlNotFound : QWebEngineUrlRequestJob::RequestDenied);
        return;
    }
    auto *file = new QFile(AppPath() + name, job);
    if (!file->open(QIODevice::ReadOnly)) {
        job->fail(QWebEngineUrlRequestJob::UrlNotFound);
        return;
    }
    job->reply(contentType(name), file);
}
