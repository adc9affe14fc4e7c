#pragma once

#include <QWebEngineProfile>

// The one profile of the built-in browser and of its pop-ups. Nothing of it is kept on disk, and
// every setting that decides what a page may reach is set here rather than left to the engine's
// defaults: no page, local or from the web, reads files or sends the user's files anywhere.
class BrowserProfile final : public QWebEngineProfile
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(BrowserProfile)

public:
    // Made at first use, it lasts as long as the application.
    static BrowserProfile *Instance();

private:
    explicit BrowserProfile(QObject *parent);
};
