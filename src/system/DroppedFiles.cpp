#include "DroppedFiles.h"

#include <QMimeData>
#include <QUrl>

QStringList DroppedFiles(const QMimeData *data)
{
    QStringList paths;
    if (!data || !data->hasUrls())
        return paths;
    const QList<QUrl> urls = data->urls();
    for (const QUrl &url : urls) {
        if (url.isLocalFile() && !url.toLocalFile().isEmpty())
            paths << url.toLocalFile();
    }
    return paths;
}
