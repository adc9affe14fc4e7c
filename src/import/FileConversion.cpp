#include "FileConversion.h"

#include "html/ImportedHtml.h"
#include "rtf/RtfReader.h"
#include "rtf/RtfWriter.h"
#include "system/TextDecoder.h"

#include <QRegularExpression>
#include <QTextDocument>

#include <algorithm>

namespace {

using FileConversion::Converted;

// The code page an RTF file's header names, by its usual name.
QString rtfCodePage(QByteArrayView rtf)
{
    static const QRegularExpression ansicpg(QStringLiteral(R"(\\ansicpg(\d+))"));
    const QRegularExpressionMatch match =
        ansicpg.match(QString::fromLatin1(rtf.first(std::min<qsizetype>(rtf.size(), 2048))));
    const int page = match.hasMatch() ? match.captured(1).toInt() : 1252;
    switch (page) {
    case 932: return QStringLiteral("shift_jis");
    case 936: return QStringLiteral("gbk");
    case 949: return QStringLiteral("euc-kr");
    case 950: return QStringLiteral("big5");
    case 437: return QStringLiteral("ibm437");
    case 850: return QStringLiteral("ibm850");
    case 10000: return QStringLiteral("macintosh");
    default: return QStringLiteral("windows-") + QString::number(page);
    }
}

// An RTF file as it is, when it is whole: only its raw 8-bit bytes are written as the \'hh escapes
// they stand for, since the store keeps text and reads any other character as itself. Where bytes
// cannot be kept so, the file is what the reader makes of it.
bool storedRtf(QByteArrayView bytes, QString *text)
{
    if (!RtfReader::IsWhole(bytes))
        return false;
    // A text editor's UTF-8 mark is no part of the document, whose header names its own code page;
    // escaped, it would stand before "{\rtf" and the store's text would no longer read as RTF.
    if (bytes.startsWith("\xEF\xBB\xBF"))
        bytes = bytes.sliced(3);
    // A NUL is damage the reader steps over, yet where it stands it ends a control word or a \'hh
    // escape and counts in \bin data: cut out, it would change what the bytes around it mean.
    if (bytes.contains('\0'))
        return false;
    const bool eightBit = std::any_of(bytes.cbegin(), bytes.cend(), [](char c) { return uchar(c) >= 0x80; });
    if (!eightBit) {
        *text = QString::fromLatin1(bytes);
        return true;
    }
    // Inside \bin data a byte is itself; escaping it would change the data's length.
    if (bytes.contains("\\bin"))
        return false;
    static const char hex[] = "0123456789abcdef";
    QByteArray out;
    out.reserve(bytes.size() + bytes.size() / 4);
    qsizetype backslashes = 0;
    for (const char c : bytes) {
        const uchar b = uchar(c);
        if (b >= 0x80) {
            // After an odd run of backslashes the byte is a control symbol, which no escape stands for.
            if (backslashes % 2 != 0)
                return false;
            out.append("\\'");
            out.append(hex[b >> 4]);
            out.append(hex[b & 15]);
        } else {
            out.append(c);
        }
        backslashes = c == '\\' ? backslashes + 1 : 0;
    }
    *text = QString::fromLatin1(out);
    return true;
}

void convertRtf(const QByteArray &bytes, Converted *file)
{
    file->Encoding = rtfCodePage(bytes);
    // A picture with no words under it is still worth keeping.
    if (RtfReader::PlainText(bytes).trimmed().isEmpty() && !RtfReader::ShowsPicture(bytes)) {
        file->Skipped = QStringLiteral("holds no text");
        return;
    }
    if (storedRtf(bytes, &file->Rtf))
        return;
    // A damaged document keeps what the reader could make of it.
    QTextDocument document;
    RtfReader::Read(bytes, &document);
    file->Rtf = QString::fromLatin1(RtfWriter::FromDocument(document));
}

void convertHtml(const QByteArray &bytes, Converted *file)
{
    QString html;
    qsizetype markLength = 0;
    QString charset = TextDecoder::ByteOrderMark(bytes, &markLength);
    if (charset.isEmpty()) {
        charset = TextDecoder::HtmlCharset(bytes).toLower();
        // A page cannot declare itself UTF-16 in bytes that are not; browsers read it as UTF-8.
        if (charset.startsWith(QLatin1String("utf-16")))
            charset = QStringLiteral("utf-8");
    }
    if (charset.isEmpty() || !TextDecoder::DecodeAs(QByteArrayView(bytes).sliced(markLength), charset, &html)) {
        const TextDecoder::Decoded decoded = TextDecoder::Decode(bytes);
        if (decoded.Binary) {
            file->Skipped = QStringLiteral("not a text file");
            return;
        }
        html = decoded.Text;
        charset = decoded.Encoding;
    } else if (charset == QLatin1String("iso-8859-1") || charset == QLatin1String("us-ascii")) {
        charset = QStringLiteral("windows-1252");
    }
    file->Encoding = charset;

    // A saved page's colours (white on black, say) would make the text unreadable in the viewer;
    // ImportedHtml leaves out its style sheets with its scripts.
    const ImportedHtml document(html);
    if (document.toPlainText().trimmed().isEmpty()) {
        file->Skipped = QStringLiteral("holds no text");
        return;
    }
    file->Rtf = QString::fromLatin1(RtfWriter::FromDocument(document));
}

// Kept in a fixed-pitch font, so that the tables and ASCII art of old guides keep their columns.
void convertText(const QByteArray &bytes, const QString &encoding, Converted *file)
{
    const TextDecoder::Decoded decoded =
        encoding.isEmpty() ? TextDecoder::Decode(bytes) : TextDecoder::DecodeChosen(bytes, encoding);
    if (decoded.Binary) {
        file->Skipped = QStringLiteral("not a text file");
        return;
    }
    file->Encoding = decoded.Encoding;
    if (decoded.Text.trimmed().isEmpty()) {
        file->Skipped = QStringLiteral("holds no text");
        return;
    }
    file->Rtf = QString::fromLatin1(RtfWriter::FromPlainText(decoded.Text, RtfWriter::PlainTextFont::FixedPitch));
}

} // namespace

namespace FileConversion {

const QStringList &WebPageSuffixes()
{
    static const QStringList suffixes = {QStringLiteral("htm"), QStringLiteral("html"), QStringLiteral("xhtml")};
    return suffixes;
}

Kind KindOf(const QString &suffix, QByteArrayView bytes)
{
    const QString kind = suffix.toLower();
    if (kind == QLatin1String("rtf") && RtfReader::LooksLikeRtf(bytes))
        return Kind::Rtf;
    return WebPageSuffixes().contains(kind) ? Kind::WebPage : Kind::PlainText;
}

Converted FromBytes(const QString &suffix, const QByteArray &bytes, const QString &encoding)
{
    Converted file;
    if (bytes.isEmpty()) {
        file.Skipped = QStringLiteral("empty file");
        return file;
    }
    switch (KindOf(suffix, bytes)) {
    case Kind::Rtf: convertRtf(bytes, &file); break;
    case Kind::WebPage: convertHtml(bytes, &file); break;
    case Kind::PlainText: convertText(bytes, encoding, &file); break;
    }
    return file;
}

} // namespace FileConversion
