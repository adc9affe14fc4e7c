// libFuzzer target for the import of files from disk: the text decoders, and what a plain-text file,
// a web page or an RTF file becomes in the store. The first byte picks the file's kind, the rest is
// its content. Besides crashes it stops on a result the import must never give, so that such an
// input is kept too. Build and run it with scripts/fuzz import.
#include "import/FileConversion.h"
#include "rtf/RtfReader.h"
#include "system/TextDecoder.h"

#include <QGuiApplication>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

void check(bool holds, const char *promise)
{
    if (!holds) {
        std::fprintf(stderr, "import_fuzzer: broken: %s\n", promise);
        std::abort();
    }
}

// Letters and digits only: how blanks, tabs and control codes come out is a matter of layout.
QString words(const QString &text)
{
    QString out;
    for (const QChar c : text) {
        if (c.isLetterOrNumber())
            out.append(c);
    }
    return out;
}

void decoders(const QByteArray &bytes)
{
    qsizetype markLength = -1;
    const QString mark = TextDecoder::ByteOrderMark(bytes, &markLength);
    check(mark.isEmpty() == (markLength == 0) && markLength <= bytes.size(), "a mark's length is its own");
    TextDecoder::LooksBinary(bytes);
    const TextDecoder::Decoded decoded = TextDecoder::Decode(bytes);
    check(decoded.Binary ? decoded.Text.isEmpty() && decoded.Encoding.isEmpty() : !decoded.Encoding.isEmpty(),
          "text has an encoding, binary has neither");

    QString text;
    const QString charset = TextDecoder::HtmlCharset(bytes);
    if (!charset.isEmpty())
        TextDecoder::DecodeAs(bytes, charset, &text);
    // A page's meta tag may name anything at all; here its first line is the name.
    const qsizetype lineEnd = bytes.indexOf('\n');
    if (lineEnd >= 0 && lineEnd <= 64)
        TextDecoder::DecodeAs(QByteArrayView(bytes).sliced(lineEnd + 1), QString::fromLatin1(bytes.first(lineEnd)),
                              &text);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QGuiApplication app(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    static const QString suffixes[] = {QStringLiteral("txt"), QStringLiteral("html"), QStringLiteral("htm"),
                                       QStringLiteral("rtf"), QString()};
    const QString &suffix = suffixes[data[0] % std::size(suffixes)];
    const QByteArray bytes(reinterpret_cast<const char *>(data) + 1, qsizetype(size - 1));
    decoders(bytes);

    const FileConversion::Converted converted = FileConversion::FromBytes(suffix, bytes);
    check(converted.Skipped.isEmpty() != converted.Rtf.isEmpty(), "a document or the reason there is none");
    if (!converted.Skipped.isEmpty())
        return 0;
    check(!converted.Encoding.isEmpty(), "a stored file names its encoding");
    check(std::all_of(converted.Rtf.cbegin(), converted.Rtf.cend(), [](QChar c) { return c.unicode() < 0x80; }),
          "the store's RTF is 7-bit");
    const QByteArray stored = RtfReader::FromStoredText(converted.Rtf);
    check(RtfReader::IsWhole(stored), "the store's RTF is whole");
    const QString plain = RtfReader::PlainText(stored);

    const bool rtf = suffix == QLatin1String("rtf") && RtfReader::LooksLikeRtf(bytes);
    const bool page = FileConversion::WebPageSuffixes().contains(suffix);
    if (rtf) {
        // Kept as it is, 8-bit bytes escaped, or as the reader understood it: the same words either way.
        check(words(plain) == words(RtfReader::PlainText(bytes)), "an RTF file keeps its words");
    } else if (!page) {
        check(words(plain) == words(TextDecoder::Decode(bytes).Text), "a text file keeps its words");
    }
    return 0;
}
