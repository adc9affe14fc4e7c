#pragma once

#include <QString>
#include <QVector>

// The encodings a user may name for a plain-text file when detection reads it wrong: the import's
// Encoding choice, lkimport's --encoding and Reopen With Encoding all offer this one list.
namespace TextEncodings {

struct Encoding
{
    // The usual name in lower case, as TextDecoder names what it detects: "shift_jis", "ibm437".
    QString Name;
    // What a list shows: "Japanese (Shift_JIS)".
    QString Label;
};

// The encodings offered, grouped by script in the order a list shows them; only those this
// system's converters decode.
const QVector<Encoding> &All();

// The entry for `name` in any letter case, by its usual name or a common other one ("sjis",
// "cp437", "latin1", "gbk"); null when none.
const Encoding *Find(const QString &name);

} // namespace TextEncodings
