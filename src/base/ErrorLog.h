#pragma once

#include "system/ErrObject.h"

#include <QByteArray>
#include <QDateTime>
#include <QLocale>
#include <QString>

#include <functional>

// The error log: a text file of fixed-format records, CR LF line ends, opened for appending and
// closed again around every write. Nothing ever truncates it. The external-facing pair of helpers
// below writes to "error.log" in the home; this class can write any file, which tests use.
class ErrorLog final
{
public:
    explicit ErrorLog(QString fileName);

    // The clock and locale that stamp the records; the system's by default.
    void setClock(std::function<QDateTime()> clock);
    void setLocale(const QLocale &locale);

    // Writes the banner unless something of the log's name exists already (even a folder).
    // False when the banner could not be written.
    bool StartLog() const;
    // Appends one record for `err`; number 0 writes nothing and counts as success.
    // False when the record could not be written: it is dropped with one notice on standard error.
    bool Write(const ErrObject &err, const QString &module, const QString &source) const;

    static QByteArray Banner();
    QByteArray Record(const ErrObject &err, const QString &module, const QString &source) const;

    QString fileName() const { return m_fileName; }

private:
    bool append(const QByteArray &bytes, const char *what) const;

    QString m_fileName;
    std::function<QDateTime()> m_clock;
    QLocale m_locale;
};

// Creates "error.log" in the home with its banner if it does not exist yet.
void StartLog();
// Writes `err` to "error.log" in the home and, when `show` is set, shows it in a message box titled
// after the module. Number 0 does nothing at all.
void LogError(const ErrObject &err, const QString &module, const QString &source, bool show);
// For a window its host hands a log file (`logFile`; the home's "error.log" when empty): logs a
// store change that failed and tells the user "<what>:" and the reason. A failure the store gave no
// error for is logged as one with `unexplained` as its description.
void ReportStoreFailure(const ErrObject &err, const QString &logFile, const QString &module, const QString &source,
                        const QString &what, const QString &unexplained);
