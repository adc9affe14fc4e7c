#include "LocalWebServer.h"

#include <QPointer>
#include <QTcpSocket>
#include <QTimer>

LocalWebServer::LocalWebServer()
{
    if (!listen(QHostAddress::LocalHost, 0))
        qFatal("LocalWebServer: cannot listen on 127.0.0.1: %s", qPrintable(errorString()));
    connect(this, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = nextPendingConnection()) {
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { answer(socket); });
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        }
    });
}

void LocalWebServer::addPage(const QString &path, const QByteArray &body, const QByteArray &type)
{
    m_pages.insert(path, body);
    m_types.insert(path, type);
}

QUrl LocalWebServer::url(const QString &path) const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(serverPort()).arg(path));
}

void LocalWebServer::answer(QTcpSocket *socket)
{
    // Requests are a few lines; answer once the header is complete, and close after each answer.
    QByteArray request = socket->property("request").toByteArray() + socket->readAll();
    socket->setProperty("request", request);
    if (!request.contains("\r\n\r\n"))
        return;
    const QList<QByteArray> line = request.left(request.indexOf("\r\n")).split(' ');
    const QString path = line.size() > 1 ? QString::fromLatin1(line.at(1)) : QString();
    if (!path.isEmpty())
        m_requests << path;
    if (m_delays.contains(path)) {
        QTimer::singleShot(m_delays.value(path), this, [this, path, socket = QPointer<QTcpSocket>(socket)] {
            const bool open = socket && socket->state() == QAbstractSocket::ConnectedState;
            if (open)
                send(socket, path);
            Q_EMIT delayedAnswer(path, open);
        });
        return;
    }
    send(socket, path);
}

void LocalWebServer::send(QTcpSocket *socket, const QString &path)
{
    const bool found = m_pages.contains(path);
    const QByteArray body = found ? m_pages.value(path) : QByteArrayLiteral("<html><body>Not found</body></html>");
    socket->write(QByteArrayLiteral("HTTP/1.1 ") + (found ? "200 OK" : "404 Not Found") +
                  "\r\nContent-Type: " + m_types.value(path, "text/html; charset=utf-8") +
                  "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
    socket->disconnectFromHost();
}
