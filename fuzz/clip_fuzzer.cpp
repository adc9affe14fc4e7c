// libFuzzer target for the Quick Clip files: the bytes of a clip file as read, and the same text saved
// and read again. Build and run it with scripts/fuzz clip.
#include "clip/ClipFile.h"

#include <QStringDecoder>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

void check(bool holds, const char *promise)
{
    if (!holds) {
        std::fprintf(stderr, "clip_fuzzer: broken: %s\n", promise);
        std::abort();
    }
}

// A zero-width no-break space that opens a file is read as a byte-order mark, whoever put it there.
QStringView withoutMark(const QString &text)
{
    QStringView view(text);
    while (view.startsWith(QChar(0xFEFF)))
        view = view.sliced(1);
    return view;
}

qsizetype count(QStringView text, bool lineEnds)
{
    return std::count_if(text.begin(), text.end(), [&](QChar c) { return (c == u'\n') == lineEnds; });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArrayView bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const QString text = ClipFile::Decode(bytes);
    check(!text.contains(u'\r'), "every line end reads as LF");
    check(withoutMark(ClipFile::Decode(ClipFile::Encode(text))) == withoutMark(text),
          "saved and opened again, a clip file shows the same text");

    // An older tool's Windows-1252 file: every byte is one character, none lost.
    QStringDecoder utf8(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
    (void)utf8.decode(bytes);
    const bool marked = bytes.startsWith("\xEF\xBB\xBF") || bytes.startsWith("\xFF\xFE") ||
                        bytes.startsWith("\xFE\xFF") || bytes.startsWith(QByteArrayView("\0\0\xFE\xFF", 4));
    if (utf8.hasError() && !marked) {
        const qsizetype lineBytes =
            std::count_if(bytes.begin(), bytes.end(), [](char c) { return c == '\r' || c == '\n'; });
        check(count(text, false) == bytes.size() - lineBytes, "a Windows-1252 file keeps every byte");
        check(count(text, true) <= lineBytes, "no line end out of nothing");
    }
    return 0;
}
