#pragma once

#include <QByteArray>
#include <QString>

class QTextDocument;
class QTextDocumentFragment;

// Rich text out: RTF that our reader and common word processors read back with the same text and
// formatting. Output is 7-bit ASCII: every non-ASCII character is written as \uN with a "?" fallback.
namespace RtfWriter {

QByteArray FromDocument(const QTextDocument &document);
QByteArray FromFragment(const QTextDocumentFragment &fragment);
enum class PlainTextFont { Default, FixedPitch };
// Plain text as an RTF document, one paragraph per line (CR LF, LF or CR), in the application's
// font or in a fixed-pitch one.
QByteArray FromPlainText(const QString &text, PlainTextFont font = PlainTextFont::Default);

} // namespace RtfWriter
