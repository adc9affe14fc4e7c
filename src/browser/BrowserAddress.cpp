#include "BrowserAddress.h"

#include <QRegularExpression>

QUrl BrowserAddress::Read(const QString &typed, QString *problem)
{
    const QString text = typed.trimmed();
    if (text.isEmpty()) {
        *problem = QStringLiteral("there is no address to go to.");
        return {};
    }
    // An address that names its scheme is taken as written. Guessing from it, as for a bare name,
    // would turn "http://[::zz" into a search for a host called "http".
    static const QRegularExpression scheme(QStringLiteral("^([A-Za-z][A-Za-z0-9+.-]*)://"));
    const QRegularExpressionMatch match = scheme.match(text);
    if (match.hasMatch()) {
        const QUrl url(text, QUrl::TolerantMode);
        if (!url.isValid()) {
            // Qt's own words, without the parts that repeat the address.
            *problem = QStringLiteral("it is not a valid address (%1).").arg(url.errorString().section(u';', 0, 0));
            return {};
        }
        const QString name = match.captured(1).toLower();
        const bool needsHost =
            name == QLatin1String("http") || name == QLatin1String("https") || name == QLatin1String("ftp");
        if (needsHost && url.host().isEmpty()) {
            *problem = QStringLiteral("it names no server after \"%1://\".").arg(match.captured(1));
            return {};
        }
        return url;
    }
    const QUrl url = QUrl::fromUserInput(text);
    if (!url.isValid() || (url.scheme().startsWith(QLatin1String("http")) && url.host().isEmpty())) {
        *problem = QStringLiteral("it is neither a web address nor the path of a file.");
        return {};
    }
    return url;
}

QString BrowserAddress::FailureReason(int code, const QString &engineText)
{
    struct Known
    {
        int code;
        const char *reason;
    };
    static const Known known[] = {
        {-6, "There is no such file."},
        {-7, "The server took too long to answer."},
        {-10, "Access to it was refused."},
        {-100, "The server closed the connection."},
        {-101, "The connection was reset."},
        {-102, "The server refused the connection: nothing answers at that address and port."},
        {-104, "The connection could not be made."},
        {-105, "There is no server of that name."},
        {-106, "This computer is not connected to a network."},
        {-109, "The address cannot be reached."},
        {-118, "The connection timed out."},
        {-137, "The server's name could not be looked up."},
        {-300, "The address is not valid."},
        {-301, "The browser does not open addresses of this kind."},
        {-302, "The browser does not open addresses of this kind."},
        {-312, "Browsers keep away from that port: it belongs to another kind of service."},
    };
    QString reason;
    for (const Known &entry : known) {
        if (entry.code == code)
            reason = QLatin1String(entry.reason);
    }
    if (reason.isEmpty() && code <= -200 && code > -300)
        reason = QStringLiteral("The server's certificate cannot be trusted.");
    if (reason.isEmpty())
        reason = QStringLiteral("The page could not be loaded.");
    const QString detail = engineText.trimmed().isEmpty() ? QString::number(code) : engineText.trimmed();
    return reason + QStringLiteral(" (") + detail + QLatin1Char(')');
}

QString BrowserAddress::FailureTitle()
{
    return QStringLiteral("Page not opened");
}

QString BrowserAddress::FailurePage(const QUrl &url, const QString &reason)
{
    return QStringLiteral("<html><head><meta charset=\"utf-8\"><title>%1</title></head>"
                          "<body style=\"font-family: sans-serif; margin: 2em\">"
                          "<h2>This page could not be opened.</h2>"
                          "<p>Address: <b>%2</b></p><p>%3</p></body></html>")
        .arg(FailureTitle(), url.toDisplayString().toHtmlEscaped(), reason.toHtmlEscaped());
}
