#pragma once

#include <QByteArray>
#include <QRgb>
#include <QSet>
#include <QStringList>
#include <QStringView>
#include <QVector>

#include <charconv>

// RTF going out as 7-bit ASCII, one token at a time. A control word is followed by a blank only
// where text would otherwise run into it.
class RtfOut final
{
public:
    explicit RtfOut(qsizetype sizeHint) { m_bytes.reserve(sizeHint); }

    QByteArray &bytes() { return m_bytes; }

    void word(const char *name)
    {
        m_bytes.append('\\');
        m_bytes.append(name);
        m_delimit = true;
    }

    void word(const char *name, int value)
    {
        m_bytes.append('\\');
        m_bytes.append(name);
        number(value);
        m_delimit = true;
    }

    // Braces and other syntax that ends a control word by itself.
    void raw(const char *syntax)
    {
        m_bytes.append(syntax);
        m_delimit = false;
    }

    // A line end between paragraphs keeps the file readable; RTF readers ignore it.
    void lineEnd()
    {
        m_bytes.append('\n');
        m_delimit = false;
    }

    // Text as RTF text: ASCII as it is (braces and backslashes escaped), tabs and line breaks as their
    // words, everything else as \uN with a "?" fallback.
    void text(QStringView text);

    // The document's opening group up to its first text: the font table (the fonts whose index is in
    // `fixedPitch` marked as such), the colour table (entry 0 is "automatic", so `colors` are entries 1
    // and up) and the view words.
    static void appendHeader(QByteArray &out, const QStringList &fonts, const QVector<QRgb> &colors,
                             const QSet<int> &fixedPitch = {});

private:
    void symbol(char c)
    {
        m_bytes.append('\\');
        m_bytes.append(c);
        m_delimit = false;
    }

    void number(int value)
    {
        char digits[16];
        const auto result = std::to_chars(digits, digits + sizeof digits, value);
        m_bytes.append(digits, result.ptr - digits);
    }

    QByteArray m_bytes;
    bool m_delimit = false; // a control word was written and text would run into it
};
