#pragma once

#include <QUrl>
#include <QWebEngineUrlSchemeHandler>

// Lorekeep's own start page and its two pictures, served from the home under an address of the
// program's own ("lorekeep://home/Start.html"). Pages from that address are not local files, so
// they get no more reach than a web page; and no other file of the home can be asked for there.
class StartPageScheme final : public QWebEngineUrlSchemeHandler
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(StartPageScheme)

public:
    explicit StartPageScheme(QObject *parent = nullptr);

    // Plain characters, so that it is there for registering before any other static is made.
    static constexpr char Scheme[] = "lorekeep";
    // Makes the scheme known to the engine; only possible before the application object exists.
    static void Register();

    // The served address of the home's start page when `url` is that file, else `url`.
    static QUrl Served(const QUrl &url);
    // The file of the home that a served address stands for, else `url`.
    static QUrl Unserved(const QUrl &url);

    void requestStarted(QWebEngineUrlRequestJob *job) override;
};
