#include "FileRequestFilter.h"

#include <QDir>
#include <QFileInfo>

FileRequestFilter::FileRequestFilter(QObject *parent) : QWebEngineUrlRequestInterceptor(parent) {}

bool FileRequestFilter::Allowed(const QUrl &target, QWebEngineUrlRequestInfo::ResourceType type, const QUrl &page)
{
    if (!target.isLocalFile() || type == QWebEngineUrlRequestInfo::ResourceTypeMainFrame)
        return true;
    if (type != QWebEngineUrlRequestInfo::ResourceTypeImage || !page.isLocalFile())
        return false;
    // Compared as written and as they are on disk, so that ".." or a link leads nowhere else.
    const auto inside = [](const QString &path, const QString &folder) {
        return !folder.isEmpty() && path.startsWith(folder + QLatin1Char('/'));
    };
    const QString folder = QFileInfo(page.toLocalFile()).absolutePath();
    const QString picture = QDir::cleanPath(target.toLocalFile());
    const QString realFolder = QFileInfo(folder).canonicalFilePath();
    const QString realPicture = QFileInfo(picture).canonicalFilePath();
    return inside(picture, QDir::cleanPath(folder)) && (realPicture.isEmpty() || inside(realPicture, realFolder));
}

void FileRequestFilter::interceptRequest(QWebEngineUrlRequestInfo &info)
{
    if (!Allowed(info.requestUrl(), info.resourceType(), info.firstPartyUrl()))
        info.block(true);
}
