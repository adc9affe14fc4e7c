#pragma once

#include <QByteArray>
#include <QString>

// File names as Linux keeps them: bytes, usually but not always UTF-8. Qt reads a byte that is not
// UTF-8 as U+FFFD and can then no longer find the file, so names pass through here instead: each
// such byte becomes a lone surrogate (U+DC80 to U+DCFF) that turns back into the same byte, and the
// name stays a QString that the rest of the program can sort, join and show.
class NativePath final
{
public:
    // The bytes of a name or path as a QString that ToNative gives back exactly.
    static QString FromNative(const QByteArray &bytes);
    static QByteArray ToNative(const QString &path);
    // For a user to read and for the store: every byte that is not UTF-8 shown as U+FFFD.
    static QString Shown(const QString &path);
    // One field of a tab-separated line that can be read back: "\\", "\t", "\n" and "\r" for
    // backslash, tab, newline and carriage return, "\xHH" for a byte that is not UTF-8, UTF-8 else.
    static QByteArray Escaped(const QString &path);
};
