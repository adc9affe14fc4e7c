#include "QuickFindLog.h"

#include "system/ErrObject.h"

#include <QFile>
#include <QSaveFile>
#include <QString>

namespace QuickFindLog {

QStringList Phrases(QByteArrayView bytes)
{
    // Lines end in LF or CR LF; a CR is never part of a phrase one could type into the box, wherever it
    // stands, so every one goes before the bytes are decoded.
    QByteArray lines = bytes.toByteArray();
    lines.removeIf([](char c) { return c == '\r'; });
    return QString::fromUtf8(lines).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

QByteArray Bytes(const QStringList &phrases)
{
    QByteArray bytes;
    for (const QString &phrase : phrases)
        bytes += phrase.toUtf8() + "\r\n";
    return bytes;
}

QStringList Remember(QStringList phrases, const QString &phrase)
{
    // A phrase that spans lines could not be read back as one.
    QString line = phrase;
    line.replace(QLatin1Char('\r'), QLatin1Char(' ')).replace(QLatin1Char('\n'), QLatin1Char(' '));
    if (line.trimmed().isEmpty())
        return phrases;
    phrases.removeAll(line);
    phrases.prepend(line);
    if (phrases.size() > MaxPhrases)
        phrases.resize(MaxPhrases);
    return phrases;
}

bool Add(const QString &path, const QString &phrase, ErrObject *err)
{
    QStringList phrases;
    QFile old(path);
    if (old.exists()) {
        if (!old.open(QIODevice::ReadOnly)) {
            *err = {ErrNumber::PathFileAccess, QStringLiteral("Cannot read \"%1\": %2").arg(path, old.errorString())};
            return false;
        }
        phrases = Phrases(old.readAll());
        old.close();
    }
    const QStringList kept = Remember(phrases, phrase);
    if (kept == phrases)
        return true;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(Bytes(kept)) < 0 || !file.commit()) {
        *err = {ErrNumber::PathFileAccess, QStringLiteral("Cannot write \"%1\": %2").arg(path, file.errorString())};
        return false;
    }
    return true;
}

} // namespace QuickFindLog
