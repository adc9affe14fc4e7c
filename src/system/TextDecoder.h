#pragma once

#include <QByteArrayView>
#include <QString>

// Text files as old collections hold them: any encoding, rarely marked. Decoding tries a byte-order
// mark first, then UTF-8 (which every valid UTF-8 file is meant as), then a detector's guess; a
// guess made on too little evidence gives way to Windows-1252, the most common encoding of old
// guides, rather than to the garbled text of a wrong multibyte encoding.
namespace TextDecoder {

struct Decoded
{
    QString Text;
    // The encoding's usual name in lower case: "utf-8", "windows-1252", "shift_jis", "utf-16le".
    QString Encoding;
    // The bytes are not text (an image, an executable, an archive); Text is empty then.
    bool Binary = false;
};

// Decodes a whole file's bytes.
Decoded Decode(QByteArrayView bytes);

// Decodes with the named encoding, taking what the bytes hold; false (and nothing decoded) when the
// name is unknown. Names are those of the IANA registry ("Shift_JIS", "iso-8859-2").
bool DecodeAs(QByteArrayView bytes, const QString &name, QString *text);

// Decodes with an encoding the user chose (one TextEncodings lists) instead of a guess; Encoding is
// `name` in lower case. A byte-order mark of that encoding is no part of the text, nor are the DOS
// end-of-file mark and the padding old files end in. "utf-16" takes its byte order from the mark,
// else from where the zeros are, else little-endian. Binary as Decode tells it; nothing decoded
// either when the name is unknown (Binary unset then).
Decoded DecodeChosen(QByteArrayView bytes, const QString &name);

// The encoding a byte-order mark at the start names ("utf-8", "utf-16le", ...), empty without one;
// `length` receives the mark's length.
QString ByteOrderMark(QByteArrayView bytes, qsizetype *length = nullptr);

// Whether the bytes are those of a binary file rather than text in some encoding.
bool LooksBinary(QByteArrayView bytes);

// The charset a web page declares in its <meta> tags within its first few kilobytes, as written
// there; empty when it declares none.
QString HtmlCharset(QByteArrayView bytes);

} // namespace TextDecoder
