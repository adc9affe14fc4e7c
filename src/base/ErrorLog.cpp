#include "ErrorLog.h"

#include "AppPath.h"
#include "base/Version.h"
#include "system/Prompts.h"

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcErrorLog, "lorekeep.errorlog")

namespace {

const QByteArray crlf = QByteArrayLiteral("\r\n");

QByteArray line(const QString &text)
{
    return text.toUtf8() + crlf;
}

// The locale's long time format keeps the seconds; the time zone it may add is noise in a log.
QString timeFormatWithoutZone(const QLocale &locale)
{
    const QString format = locale.timeFormat(QLocale::LongFormat);
    QString out;
    bool quoted = false;
    for (QChar c : format) {
        if (c == QLatin1Char('\''))
            quoted = !quoted;
        if (!quoted && c == QLatin1Char('t'))
            continue;
        out += c;
    }
    return out.trimmed();
}

} // namespace

ErrorLog::ErrorLog(QString fileName)
    : m_fileName(std::move(fileName)), m_clock([] { return QDateTime::currentDateTime(); }), m_locale(QLocale::system())
{}

void ErrorLog::setClock(std::function<QDateTime()> clock)
{
    m_clock = std::move(clock);
}

void ErrorLog::setLocale(const QLocale &locale)
{
    m_locale = locale;
}

QByteArray ErrorLog::Banner()
{
    QByteArray bytes;
    bytes += line(QStringLiteral("B R I G H T M O O R S O F T WARE  -  E R R O R  *  L O G"));
    bytes += line(QString(39, QLatin1Char('=')));
    bytes += line(QStringLiteral("Application Title: " LOREKEEP_TITLE));
    bytes += line(QStringLiteral("Application Version: %1.%2.%3")
                      .arg(LOREKEEP_VERSION_MAJOR)
                      .arg(LOREKEEP_VERSION_MINOR)
                      .arg(LOREKEEP_VERSION_REVISION));
    bytes += line(QStringLiteral(" "));
    bytes += line(QStringLiteral("Begin Log..."));
    bytes += line(QStringLiteral(" "));
    return bytes;
}

QByteArray ErrorLog::Record(const ErrObject &err, const QString &module, const QString &source) const
{
    const QDateTime now = m_clock();
    QByteArray bytes;
    bytes += line(QStringLiteral("  Module = ") + module);
    bytes += line(QStringLiteral("  Source = ") + source);
    bytes += line(QStringLiteral("  Number = ") + QString::number(err.Number));
    bytes += line(QStringLiteral("    Desc = ") + err.Description);
    bytes += line(QStringLiteral("    Date = ") + m_locale.toString(now.date(), QLocale::ShortFormat));
    bytes += line(QStringLiteral("    Time = ") + m_locale.toString(now.time(), timeFormatWithoutZone(m_locale)));
    bytes += line(QString(28, QLatin1Char('.')));
    bytes += line(QStringLiteral(" "));
    return bytes;
}

bool ErrorLog::StartLog() const
{
    if (QFileInfo::exists(m_fileName))
        return true;
    return append(Banner(), "banner");
}

bool ErrorLog::Write(const ErrObject &err, const QString &module, const QString &source) const
{
    if (err.Number == 0)
        return true;
    return append(Record(err, module, source), "record");
}

bool ErrorLog::append(const QByteArray &bytes, const char *what) const
{
    QFile file(m_fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append)) {
        qCWarning(lcErrorLog).noquote() << "cannot write the error log" << m_fileName << "(" << file.errorString()
                                        << "); the" << what << "was dropped";
        return false;
    }
    const bool written = file.write(bytes) == bytes.size() && file.flush();
    if (!written)
        qCWarning(lcErrorLog).noquote() << "writing the error log" << m_fileName << "failed (" << file.errorString()
                                        << "); the" << what << "may be incomplete";
    file.close();
    return written;
}

void StartLog()
{
    ErrorLog(AppPath() + QStringLiteral("error.log")).StartLog();
}

void LogError(const ErrObject &err, const QString &module, const QString &source, bool show)
{
    if (err.Number == 0)
        return;
    // A busy pointer set by the failing code would otherwise outlive it.
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance())) {
        while (QGuiApplication::overrideCursor())
            QGuiApplication::restoreOverrideCursor();
    }
    ErrorLog(AppPath() + QStringLiteral("error.log")).Write(err, module, source);
    if (show) {
        Prompts::current().MsgBox(source + QStringLiteral(" Error: ") + QString::number(err.Number) +
                                      QStringLiteral("\r\n\r\n") + err.Description,
                                  MsgButtons::OK, MsgIcon::Critical, module + QStringLiteral(" Error"));
    }
}

void ReportStoreFailure(const ErrObject &err, const QString &logFile, const QString &module, const QString &source,
                        const QString &what, const QString &unexplained)
{
    ErrObject logged = err;
    if (!logged.isError()) {
        logged.Number = ErrNumber::StoreFailed;
        logged.Description = unexplained;
    }
    if (logFile.isEmpty())
        LogError(logged, module, source, false);
    else
        ErrorLog(logFile).Write(logged, module, source);
    MsgBox(what + QStringLiteral(":\r\n\r\n") + logged.Description, MsgButtons::OK, MsgIcon::Critical);
}
