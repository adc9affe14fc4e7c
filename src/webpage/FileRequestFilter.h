#pragma once

#include <QWebEngineUrlRequestInterceptor>

// What a page may take from files: a page opened from a file shows the pictures of its own folder
// (and those below it), and nothing else of the disk reaches any page: no script, frame, style
// sheet or request of a script (XMLHttpRequest, fetch) gets a file. Opening a file as a page is
// the user's own doing and stays allowed.
class FileRequestFilter final : public QWebEngineUrlRequestInterceptor
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FileRequestFilter)

public:
    explicit FileRequestFilter(QObject *parent = nullptr);

    // Whether a page at `page` may load `target` as a resource of `type`.
    static bool Allowed(const QUrl &target, QWebEngineUrlRequestInfo::ResourceType type, const QUrl &page);

    void interceptRequest(QWebEngineUrlRequestInfo &info) override;
};
