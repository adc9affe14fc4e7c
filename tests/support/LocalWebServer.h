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
    QUrl url(const QString &path) const;
    // The paths asked for so far, in order.
    QStringList requests() const { return m_requests; }

private:
    void answer(QTcpSocket *socket);

    QHash<QString, QByteArray> m_pages;
    QHash<QString, QByteArray> m_types;
    QStringList m_requests;
};
