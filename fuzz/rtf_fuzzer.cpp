// libFuzzer target for the RTF reader: the plain-text pass and the document pass over the same bytes,
// and the document written and read again.
// Build it with scripts/fuzz-rtf, which configures a clang build with the sanitizers.
#include "rtf/RtfReader.h"
#include "rtf/RtfWriter.h"

#include <QGuiApplication>
#include <QTextDocument>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QGuiApplication app(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArrayView input(reinterpret_cast<const char *>(data), qsizetype(size));
    RtfReader::PlainText(input);
    QTextDocument document;
    RtfReader::Read(input, &document);
    // Written and read again, as saving and opening it would.
    QTextDocument again;
    RtfReader::Read(RtfWriter::FromDocument(document), &again);
    return 0;
}
