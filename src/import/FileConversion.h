#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringList>

// What the bytes of a file on its way into the library become: the RTF the store keeps and the
// encoding it was read in, or why it stays out. Plain text in any encoding, RTF, and saved web pages.
// It sees neither the disk nor the store, so the import and the fuzzer run the same code on any thread.
namespace FileConversion {

struct Converted
{
    // The document as the store's text column holds it; empty when the file stays out.
    QString Rtf;
    // What the text was read as: "utf-8", "windows-1252", "shift_jis", "utf-16le"; for RTF its code page.
    QString Encoding;
    // Why the file stays out: "empty file", "not a text file", "holds no text"; empty when it goes in.
    QString Skipped;
};

// The suffixes of saved web pages, in lower case.
const QStringList &WebPageSuffixes();

// What a file is read as: its name's last extension in any case ("RTF", "html", empty for none)
// and its bytes tell.
enum class Kind { PlainText, Rtf, WebPage };
Kind KindOf(const QString &suffix, QByteArrayView bytes);

// Converts a file's whole content; `suffix` is its name's last extension, as KindOf takes it. Plain
// text is read in `encoding` (a name TextEncodings lists) when one is given, else in the one
// detected; RTF and web pages say their own.
Converted FromBytes(const QString &suffix, const QByteArray &bytes, const QString &encoding = {});

} // namespace FileConversion
