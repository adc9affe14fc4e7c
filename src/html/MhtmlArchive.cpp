#include "MhtmlArchive.h"

#include "rtf/RtfToken.h"
#include "system/TextDecoder.h"

#include <QByteArrayView>

#include <algorithm>

namespace {

// A part's headers are a few lines; a "header block" longer than this is garbage, and reading it as
// headers would only cost time.
constexpr qsizetype maxHeaderBlock = 64 * 1024;

struct Headers
{
    QByteArray contentType; // the whole value, parameters included
    QByteArray encoding;
    QByteArray location;
    QByteArray id;
    QByteArray snapshotLocation;
    qsizetype end = 0; // where the body starts
};

// One line from `at`: its end without the line break, and where the next line starts.
qsizetype lineEnd(QByteArrayView data, qsizetype at, qsizetype *next)
{
    const qsizetype found = data.indexOf('\n', at);
    const qsizetype end = found < 0 ? data.size() : found;
    *next = found < 0 ? data.size() : found + 1;
    return end > at && data[end - 1] == '\r' ? end - 1 : end;
}

void keep(Headers &headers, QByteArrayView name, const QByteArray &value)
{
    const auto is = [&](const char *known) {
        return name.compare(QByteArrayView(known), Qt::CaseInsensitive) == 0;
    };
    if (is("content-type"))
        headers.contentType = value;
    else if (is("content-transfer-encoding"))
        headers.encoding = value;
    else if (is("content-location"))
        headers.location = value;
    else if (is("content-id"))
        headers.id = value;
    else if (is("snapshot-content-location"))
        headers.snapshotLocation = value;
}

// The header lines from `at` up to the blank line that ends them; a line that starts with a blank
// continues the one before (a folded header).
Headers readHeaders(QByteArrayView data, qsizetype at)
{
    Headers headers;
    const qsizetype limit = std::min(data.size(), at + maxHeaderBlock);
    QByteArrayView name;
    QByteArray value;
    qsizetype next = at;
    while (at < limit) {
        const qsizetype end = lineEnd(data, at, &next);
        const QByteArrayView line = data.sliced(at, end - at);
        at = next;
        if (line.isEmpty())
            break;
        if ((line[0] == ' ' || line[0] == '\t') && !name.isEmpty()) {
            value += ' ';
            value += line.trimmed();
            continue;
        }
        if (!name.isEmpty())
            keep(headers, name, value);
        const qsizetype colon = line.indexOf(':');
        name = colon > 0 ? line.first(colon).trimmed() : QByteArrayView();
        value = colon > 0 ? line.sliced(colon + 1).trimmed().toByteArray() : QByteArray();
    }
    if (!name.isEmpty())
        keep(headers, name, value);
    headers.end = std::min(at, data.size());
    return headers;
}

// "text/html; charset=utf-8" -> "text/html", and the value of one parameter (quotes taken off).
QString mediaType(const QByteArray &contentType)
{
    const qsizetype semicolon = contentType.indexOf(';');
    return QString::fromLatin1(contentType.left(semicolon < 0 ? contentType.size() : semicolon).trimmed()).toLower();
}

QByteArray parameter(const QByteArray &contentType, QByteArrayView wanted)
{
    qsizetype at = contentType.indexOf(';');
    while (at >= 0 && at < contentType.size()) {
        ++at;
        const qsizetype equals = contentType.indexOf('=', at);
        if (equals < 0)
            break;
        const QByteArrayView name = QByteArrayView(contentType).sliced(at, equals - at).trimmed();
        qsizetype valueStart = equals + 1;
        while (valueStart < contentType.size() && (contentType[valueStart] == ' ' || contentType[valueStart] == '\t'))
            ++valueStart;
        QByteArray value;
        qsizetype after;
        if (valueStart < contentType.size() && contentType[valueStart] == '"') {
            const qsizetype close = contentType.indexOf('"', valueStart + 1);
            const qsizetype stop = close < 0 ? contentType.size() : close;
            value = contentType.mid(valueStart + 1, stop - valueStart - 1);
            after = contentType.indexOf(';', stop);
        } else {
            after = contentType.indexOf(';', valueStart);
            value = contentType.mid(valueStart, (after < 0 ? contentType.size() : after) - valueStart).trimmed();
        }
        if (name.compare(wanted, Qt::CaseInsensitive) == 0)
            return value;
        at = after;
    }
    return {};
}

QString addressKey(const QUrl &address)
{
    return address.adjusted(QUrl::RemoveFragment).toString(QUrl::FullyEncoded);
}

} // namespace

QByteArray MhtmlArchive::DecodeQuotedPrintable(QByteArrayView encoded)
{
    QByteArray out;
    out.reserve(encoded.size());
    const qsizetype n = encoded.size();
    for (qsizetype i = 0; i < n; ++i) {
        const char c = encoded[i];
        if (c != '=') {
            out.append(c);
            continue;
        }
        // "=" at a line's end is a soft line break: the line goes on in the next.
        if (i + 1 < n && encoded[i + 1] == '\n') {
            ++i;
            continue;
        }
        if (i + 2 < n && encoded[i + 1] == '\r' && encoded[i + 2] == '\n') {
            i += 2;
            continue;
        }
        const int high = i + 2 < n ? RtfToken::hexValue(encoded[i + 1]) : -1;
        const int low = high >= 0 ? RtfToken::hexValue(encoded[i + 2]) : -1;
        if (low < 0) {
            out.append(c); // a stray "=" is kept as it stands
            continue;
        }
        out.append(char(high * 16 + low));
        i += 2;
    }
    return out;
}

MhtmlArchive MhtmlArchive::Read(const QByteArray &mhtml)
{
    MhtmlArchive archive;
    const QByteArrayView data(mhtml);
    const Headers top = readHeaders(data, 0);
    if (!mediaType(top.contentType).startsWith(QLatin1String("multipart/")))
        return archive;
    const QByteArray boundary = parameter(top.contentType, "boundary");
    if (boundary.isEmpty() || boundary.size() > 200)
        return archive;
    const QByteArray delimiter = "--" + boundary;

    // Each delimiter starts a line; the line break before it belongs to it, not to the body before.
    const auto nextDelimiter = [&](qsizetype from) -> qsizetype {
        for (qsizetype at = data.indexOf(delimiter, from); at >= 0; at = data.indexOf(delimiter, at + 1)) {
            if (at == 0 || data[at - 1] == '\n')
                return at;
        }
        return -1;
    };

    archive.m_data = mhtml;
    archive.m_snapshotLocation = QString::fromUtf8(top.snapshotLocation);
    qsizetype at = nextDelimiter(top.end);
    while (at >= 0) {
        const qsizetype afterDelimiter = at + delimiter.size();
        if (data.sliced(afterDelimiter).startsWith("--"))
            break; // the closing delimiter
        qsizetype partStart;
        lineEnd(data, afterDelimiter, &partStart);
        // The headers end at the next delimiter at the latest: a file of delimiters without blank lines
        // between them must not have each part look far ahead for the end of its headers.
        const qsizetype next = nextDelimiter(partStart);
        const Headers headers = readHeaders(next < 0 ? data : data.first(next), partStart);
        qsizetype bodyEnd = next < 0 ? data.size() : next;
        if (next > headers.end && data[bodyEnd - 1] == '\n') {
            --bodyEnd;
            if (bodyEnd > headers.end && data[bodyEnd - 1] == '\r')
                --bodyEnd;
        }

        Entry entry;
        entry.bodyStart = headers.end;
        entry.bodyLength = std::max<qsizetype>(0, bodyEnd - headers.end);
        const QByteArray encoding = headers.encoding.trimmed().toLower();
        if (encoding == "base64")
            entry.encoding = Encoding::Base64;
        else if (encoding == "quoted-printable")
            entry.encoding = Encoding::QuotedPrintable;
        entry.type = mediaType(headers.contentType);
        entry.charset = QString::fromLatin1(parameter(headers.contentType, "charset")).trimmed();
        entry.location = QString::fromUtf8(headers.location).trimmed();

        // Parts saved twice under one address: the first is the one the page showed.
        const int index = int(archive.m_parts.size());
        const auto name = [&](const QUrl &address) {
            const QString key = addressKey(address);
            if (!archive.m_byAddress.contains(key))
                archive.m_byAddress.insert(key, index);
        };
        if (!entry.location.isEmpty())
            name(QUrl(entry.location));
        QByteArray id = headers.id.trimmed();
        if (id.startsWith('<') && id.endsWith('>'))
            id = id.mid(1, id.size() - 2);
        if (!id.isEmpty())
            name(QUrl(QStringLiteral("cid:") + QString::fromUtf8(id)));
        archive.m_parts.push_back(std::move(entry));
        at = next;
    }
    if (archive.m_parts.empty())
        archive.m_data.clear();
    return archive;
}

bool MhtmlArchive::isEmpty() const
{
    return m_parts.empty();
}

const MhtmlArchive::Entry *MhtmlArchive::find(const QUrl &address) const
{
    if (!address.isValid() || m_parts.empty())
        return nullptr;
    const auto found = m_byAddress.constFind(addressKey(address));
    return found == m_byAddress.cend() ? nullptr : &m_parts[size_t(found.value())];
}

QByteArray MhtmlArchive::decoded(const Entry &entry) const
{
    const QByteArrayView body = QByteArrayView(m_data).sliced(entry.bodyStart, entry.bodyLength);
    switch (entry.encoding) {
    case Encoding::Base64:
        // Line breaks and anything else outside the alphabet are skipped.
        return QByteArray::fromBase64(QByteArray::fromRawData(body.data(), body.size()));
    case Encoding::QuotedPrintable: return DecodeQuotedPrintable(body);
    case Encoding::Identity: break;
    }
    return body.toByteArray();
}

QByteArray MhtmlArchive::Part(const QUrl &address) const
{
    const Entry *entry = find(address);
    return entry ? decoded(*entry) : QByteArray();
}

QString MhtmlArchive::PartType(const QUrl &address) const
{
    const Entry *entry = find(address);
    return entry ? entry->type : QString();
}

QString MhtmlArchive::MainHtml() const
{
    const auto main = std::find_if(m_parts.cbegin(), m_parts.cend(),
                                   [](const Entry &entry) { return entry.type == QLatin1String("text/html"); });
    if (main == m_parts.cend())
        return {};
    const QByteArray bytes = decoded(*main);
    QString text;
    QString charset = main->charset;
    if (charset.isEmpty())
        charset = TextDecoder::HtmlCharset(bytes);
    if (!charset.isEmpty() && TextDecoder::DecodeAs(bytes, charset, &text))
        return text;
    return TextDecoder::Decode(bytes).Text;
}

QUrl MhtmlArchive::MainAddress() const
{
    const auto main = std::find_if(m_parts.cbegin(), m_parts.cend(),
                                   [](const Entry &entry) { return entry.type == QLatin1String("text/html"); });
    if (main != m_parts.cend() && !main->location.isEmpty())
        return QUrl(main->location);
    return m_snapshotLocation.isEmpty() ? QUrl() : QUrl(m_snapshotLocation);
}
