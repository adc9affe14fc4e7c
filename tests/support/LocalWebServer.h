#pragma once

#include <QByteArray>
#include <QHash>
#include <QStringList>
#include <QTcpServer>
#include <QUrl>

// A small HTTP server on 127.0.0.1 and a free port, serving fixed pages by path, so that the
// browser loads real pages over a real connection. Unknown paths get a 404 page.
class LocalWebServer final : public QTcpServer
{
    Q_OBJECT

public:
    LocalWebServer();

    void addPage(const QString &path, const QByteArray &body,
                 const QByteArray &type = QByteArrayLiteral("text/html; charset=utf-8"));
    // Answers `path` only `delayMs` after it was asked for, as a slow server would.
    void delayPage(const QString &path, int delayMs) { m_delays.insert(path, delayMs); }
    QUrl url(const QString &path) const;
    // The paths asked for so far, in order.
    QStringList requests() const { return m_requests; }

Q_SIGNALS:
    // A delayed answer's time came: `delivered` is false when the client had closed the connection.
    void delayedAnswer(const QString &path, bool delivered);

private:
    void answer(QTcpSocket *socket);
    void send(QTcpSocket *socket, const QString &path);

    QHash<QString, QByteArray> m_pages;
    QHash<QString, QByteArray> m_types;
    QHash<QString, int> m_delays;
    QStringList m_requests;
};
