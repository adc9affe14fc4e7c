#include "RtfCodePage.h"
#include "RtfInput.h"
#include "RtfParser.h"
#include "RtfReader.h"

#include <QStringDecoder>
#include <QStringList>

// What the reader makes of RTF without building a document: its plain text, and checks on the bytes.

namespace RtfInput {

QString decodePlain(QByteArrayView bytes)
{
    // Text files are UTF-8 nowadays, and Windows-1252 when they are not.
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(bytes);
    if (!utf8.hasError())
        return text;
    return RtfCodePage::Decoder(1252).decode(bytes);
}

qsizetype rtfStart(QByteArrayView data)
{
    qsizetype at = 0;
    if (data.startsWith("\xEF\xBB\xBF"))
        at = 3;
    while (at < data.size() && (data[at] == ' ' || data[at] == '\t' || data[at] == '\r' || data[at] == '\n'))
        ++at;
    // What comes before it is no part of the document.
    return data.sliced(at).startsWith("{\\rtf") ? at : -1;
}

} // namespace RtfInput

namespace {

using RtfInput::decodePlain;
using RtfInput::rtfStart;

// Collects what a reader sees as plain text.
class PlainTextSink final : public RtfSink
{
public:
    explicit PlainTextSink(QString *out) : m_out(out) {}

    void text(QStringView text, const RtfCharState &, const RtfParaState &) override
    {
        m_bodyStarted = true;
        m_out->append(text);
    }
    void paragraph(const RtfParaState &) override { m_out->append(QLatin1Char('\n')); }
    void pageBreak() override
    {
        if (!m_out->isEmpty() && !m_out->endsWith(QLatin1Char('\n')))
            m_out->append(QLatin1Char('\n'));
    }
    void cell(const RtfParaState &) override
    {
        m_bodyStarted = true;
        m_out->append(QLatin1Char('\t'));
    }
    void row() override
    {
        if (m_out->endsWith(QLatin1Char('\t')))
            m_out->chop(1);
        m_out->append(QLatin1Char('\n'));
    }
    void nestedCell(const RtfParaState &) override { cell({}); }
    // Not shown, but the body has started, as it has in the document.
    void picture(const RtfPicture &, const RtfParaState &) override { m_bodyStarted = true; }
    void nestedRow(const RtfParaState &) override { row(); }
    void story(bool footer, const QString &text) override
    {
        // Headers at the start, as the document shows them: before the body's first text, cell or picture.
        if (footer || m_bodyStarted)
            m_later.append(text);
        else
            m_out->append(text + QLatin1Char('\n'));
    }
    void finish(const RtfParaState &) override
    {
        for (const QString &text : std::as_const(m_later)) {
            if (!m_out->isEmpty() && !m_out->endsWith(QLatin1Char('\n')))
                m_out->append(QLatin1Char('\n'));
            m_out->append(text);
        }
        m_out->replace(QChar(0x2028), QLatin1Char('\n'));
        // Optional hyphens are invisible, and a search for the word must find it.
        m_out->remove(QChar(0x00AD));
    }

private:
    QString *m_out;
    QStringList m_later;
    bool m_bodyStarted = false;
};

// Only notes whether the document shows a picture.
class PictureSink final : public RtfSink
{
public:
    bool found = false;
    void text(QStringView, const RtfCharState &, const RtfParaState &) override {}
    void paragraph(const RtfParaState &) override {}
    void cell(const RtfParaState &) override {}
    void row() override {}
    void nestedCell(const RtfParaState &) override {}
    void nestedRow(const RtfParaState &) override {}
    void story(bool, const QString &) override {}
    void picture(const RtfPicture &, const RtfParaState &) override { found = true; }
    void finish(const RtfParaState &) override {}
};

} // namespace

namespace RtfReader {

bool LooksLikeRtf(QByteArrayView data)
{
    return rtfStart(data) >= 0;
}

bool IsWhole(QByteArrayView rtf)
{
    if (!LooksLikeRtf(rtf))
        return false;
    const qsizetype end = rtf.size();
    qsizetype at = rtf.indexOf('{');
    qsizetype depth = 0;
    while (at < end) {
        const char c = rtf[at++];
        if (c == '{') {
            ++depth;
        } else if (c == '}') {
            if (--depth == 0)
                break;
        } else if (c == '\\' && at < end) {
            // An escaped brace or backslash is text; \binN is followed by N raw bytes that may hold
            // braces of their own.
            const bool bin =
                rtf.sliced(at).startsWith("bin") && (at + 3 >= end || !QChar::isLetter(char16_t(uchar(rtf[at + 3]))));
            if (bin) {
                qsizetype digits = at + 3;
                qint64 count = 0;
                while (digits < end && rtf[digits] >= '0' && rtf[digits] <= '9' && count <= end)
                    count = count * 10 + (rtf[digits++] - '0');
                if (digits < end && rtf[digits] == ' ')
                    ++digits;
                at = count > end - digits ? end + 1 : digits + count;
            } else {
                ++at;
            }
        }
    }
    if (depth != 0 || at > end)
        return false;
    // After the closing brace only what editors leave at a file's end: line ends, blanks, NULs.
    for (; at < end; ++at) {
        const char c = rtf[at];
        if (c != '\r' && c != '\n' && c != ' ' && c != '\t' && c != '\0' && c != '\x1a')
            return false;
    }
    return true;
}

QString PlainText(QByteArrayView rtf)
{
    const qsizetype start = rtfStart(rtf);
    if (start < 0)
        return decodePlain(rtf);
    QString text;
    text.reserve(rtf.size() / 2);
    PlainTextSink sink(&text);
    RtfParser parser(&sink);
    parser.parse(rtf.sliced(start));
    return text;
}

QByteArray FromStoredText(const QString &text)
{
    QByteArray bytes;
    bytes.reserve(text.size());
    for (const QChar ch : text) {
        if (ch.unicode() < 0x80) {
            bytes.append(char(ch.unicode()));
        } else {
            // Wrapped in a group of its own so that the document's \uc does not eat what follows.
            bytes.append("{\\uc1\\u");
            bytes.append(QByteArray::number(qint16(ch.unicode())));
            bytes.append("?}");
        }
    }
    return bytes;
}

bool ShowsPicture(QByteArrayView rtf)
{
    const qsizetype start = rtfStart(rtf);
    if (start < 0)
        return false;
    PictureSink sink;
    RtfParser parser(&sink);
    parser.parse(rtf.sliced(start));
    return sink.found;
}

} // namespace RtfReader
