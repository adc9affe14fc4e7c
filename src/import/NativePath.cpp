#include "NativePath.h"

namespace {

constexpr char16_t escapeBase = 0xDC00;

bool isEscapedByte(QChar c)
{
    return c.unicode() >= 0xDC80 && c.unicode() <= 0xDCFF;
}

// The length of the well-formed UTF-8 sequence at `at`, 0 when there is none.
qsizetype sequenceLength(const uchar *s, qsizetype at, qsizetype size)
{
    const uchar lead = s[at];
    if (lead < 0x80)
        return 1;
    qsizetype length = 0;
    uchar low = 0x80, high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0)
            low = 0xA0;
        else if (lead == 0xED)
            high = 0x9F; // no surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0)
            low = 0x90;
        else if (lead == 0xF4)
            high = 0x8F;
    } else {
        return 0;
    }
    if (at + length > size)
        return 0;
    for (qsizetype k = 1; k < length; ++k) {
        const uchar c = s[at + k];
        if (c < (k == 1 ? low : 0x80) || c > (k == 1 ? high : 0xBF))
            return 0;
    }
    return length;
}

} // namespace

QString NativePath::FromNative(const QByteArray &bytes)
{
    const auto *s = reinterpret_cast<const uchar *>(bytes.constData());
    const qsizetype size = bytes.size();
    QString path;
    path.reserve(size);
    qsizetype at = 0;
    while (at < size) {
        const qsizetype length = sequenceLength(s, at, size);
        if (length == 0) {
            path += QChar(char16_t(escapeBase + s[at]));
            ++at;
        } else {
            path += QString::fromUtf8(bytes.constData() + at, length);
            at += length;
        }
    }
    return path;
}

QByteArray NativePath::ToNative(const QString &path)
{
    QByteArray bytes;
    bytes.reserve(path.size());
    qsizetype start = 0;
    for (qsizetype i = 0; i <= path.size(); ++i) {
        if (i < path.size() && !isEscapedByte(path[i]))
            continue;
        bytes += QStringView(path).mid(start, i - start).toUtf8();
        if (i < path.size())
            bytes += char(path[i].unicode() - escapeBase);
        start = i + 1;
    }
    return bytes;
}

QString NativePath::Shown(const QString &path)
{
    QString shown = path;
    for (QChar &c : shown) {
        if (isEscapedByte(c))
            c = QChar::ReplacementCharacter;
    }
    return shown;
}

QByteArray NativePath::Escaped(const QString &path)
{
    static const char hex[] = "0123456789ABCDEF";
    QByteArray out;
    out.reserve(path.size() + 8);
    qsizetype start = 0;
    for (qsizetype i = 0; i <= path.size(); ++i) {
        const char16_t c = i < path.size() ? path[i].unicode() : 0;
        const bool special = c == '\\' || c == '\t' || c == '\n' || c == '\r' || isEscapedByte(QChar(c));
        if (i < path.size() && !special)
            continue;
        // Runs of ordinary characters are encoded whole, so that surrogate pairs stay together.
        out += QStringView(path).mid(start, i - start).toUtf8();
        start = i + 1;
        if (i == path.size())
            break;
        switch (c) {
        case '\\': out += "\\\\"; break;
        case '\t': out += "\\t"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        default:
            out += "\\x";
            out += hex[(c - escapeBase) >> 4];
            out += hex[(c - escapeBase) & 0xF];
        }
    }
    return out;
}
