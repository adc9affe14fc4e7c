#include "QuickFindLog.h"

#include <QByteArray>
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

} // namespace QuickFindLog
