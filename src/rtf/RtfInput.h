#pragma once

#include <QByteArrayView>
#include <QString>

// What the reader's document and plain-text passes share about the bytes they are given.
namespace RtfInput {

// Text that is not RTF: UTF-8, else Windows-1252.
QString decodePlain(QByteArrayView bytes);
// Where "{\rtf" starts, after the blanks and the UTF-8 mark that editors may put before it; -1 when
// the bytes do not start so.
qsizetype rtfStart(QByteArrayView data);

} // namespace RtfInput
