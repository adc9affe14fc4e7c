#include "RtfParser.h"

#include "RtfPicture.h"
#include "RtfToken.h"

#include <algorithm>
#include <limits>

// The parser's byte loop: groups, control words and text taken apart as they come, and the text
// decoded and handed to the sink in runs of one format. What each control word means is in
// RtfParserWords.cpp.

namespace {

using RtfToken::clampInt;
using RtfToken::is;

// Deeper nesting than this is junk or an attack; such groups share their parent's state.
constexpr std::size_t maxDepth = 512;
// RTF names are at most 32 letters; parameters at most 10 digits. Longer ones are cut off.
constexpr int maxWord = 32;
constexpr int maxDigits = 10;

bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Whether a line is what "Page 3 of 12" leaves without its numbers.
bool onlyPageWords(const QString &line)
{
    static const QStringList pageWords = {QStringLiteral("page"), QStringLiteral("pages"), QStringLiteral("of"),
                                          QStringLiteral("p."),   QStringLiteral("pg."),   QStringLiteral("-"),
                                          QStringLiteral("/"),    QStringLiteral("|"),     QStringLiteral("\u2013")};
    const QStringList words = line.split(QLatin1Char(' '));
    return std::all_of(words.begin(), words.end(),
                       [](const QString &word) { return pageWords.contains(word, Qt::CaseInsensitive); });
}

} // namespace

bool RtfCharState::operator==(const RtfCharState &o) const
{
    return font == o.font && halfPoints == o.halfPoints && bold == o.bold && italic == o.italic &&
           underline == o.underline && strike == o.strike && hidden == o.hidden && foreground == o.foreground &&
           background == o.background && vertical == o.vertical;
}

// Gathers a page header's or footer's text, which the document shows apart from its body.
class RtfParser::StorySink final : public RtfSink
{
public:
    QString gathered;

    void text(QStringView text, const RtfCharState &, const RtfParaState &) override { gathered.append(text); }
    void paragraph(const RtfParaState &) override { gathered.append(QLatin1Char('\n')); }
    void pageBreak() override { gathered.append(QLatin1Char('\n')); }
    void cell(const RtfParaState &) override { gathered.append(QLatin1Char(' ')); }
    void row() override { gathered.append(QLatin1Char('\n')); }
    void nestedCell(const RtfParaState &) override { gathered.append(QLatin1Char(' ')); }
    void nestedRow(const RtfParaState &) override { gathered.append(QLatin1Char('\n')); }
    void story(bool, const QString &) override {}
    void finish(const RtfParaState &) override {}
};

RtfParser::RtfParser(RtfSink *sink) : m_sink(sink), m_storySink(std::make_unique<StorySink>()) {}

RtfParser::~RtfParser() = default;

RtfSink *RtfParser::sink()
{
    return m_story ? m_storySink.get() : m_sink;
}

void RtfParser::beginStory(bool footer)
{
    // Headers inside headers, or in destinations that are not text, are not shown.
    if (m_story || m_state.dest != Dest::Text) {
        m_state.dest = Dest::Skip;
        return;
    }
    flushBytes();
    flushText();
    m_story = footer ? 2 : 1;
    m_storySink->gathered.clear();
    m_state.storyEnds = true;
    m_state.para = RtfParaState();
}

void RtfParser::endStory()
{
    flushText();
    const bool footer = m_story == 2;
    m_story = 0;
    // Page numbers left out leave lines of blanks or "Page of" behind; those go.
    QStringList lines;
    for (const QStringView line : QStringView(m_storySink->gathered).split(QLatin1Char('\n'))) {
        QString tidy = line.toString().replace(QChar(0x2028), QLatin1Char(' ')).simplified();
        if (!tidy.isEmpty() && !onlyPageWords(tidy))
            lines.append(tidy);
    }
    m_storySink->gathered.clear();
    if (lines.isEmpty())
        return;
    // Left, right and first-page variants often say the same: it is shown once.
    const QString text = lines.join(QLatin1Char('\n'));
    const QString key = (footer ? QLatin1Char('F') : QLatin1Char('H')) + text;
    if (m_stories.contains(key))
        return;
    m_stories.append(key);
    m_sink->story(footer, text);
}

void RtfParser::readPicture()
{
    flushBytes();
    flushText();
    const qsizetype start = m_pos;
    const bool closed = skipGroup();
    const qsizetype end = closed ? m_pos - 1 : m_pos;
    sink()->picture(RtfPicture::Parse(m_input.sliced(start, std::max<qsizetype>(end - start, 0))), m_state.para);
}

void RtfParser::parse(QByteArrayView input)
{
    m_input = input;
    m_pos = 0;
    const qsizetype end = input.size();
    const char *data = input.data();
    unsigned tokens = 0;
    while (m_pos < end) {
        if (m_stop && (++tokens & 0xfff) == 0 && m_stop->load(std::memory_order_relaxed))
            break;
        const char c = data[m_pos];
        if (c == '{') {
            ++m_pos;
            groupStart();
        } else if (c == '}') {
            ++m_pos;
            groupEnd();
        } else if (c == '\\') {
            ++m_pos;
            if (m_pos >= end)
                break;
            const char next = data[m_pos];
            if (isLetter(next)) {
                const qsizetype start = m_pos;
                while (m_pos < end && isLetter(data[m_pos]))
                    ++m_pos;
                const QByteArrayView word(data + start, std::min<qsizetype>(m_pos - start, maxWord));
                bool negative = false;
                if (m_pos < end && data[m_pos] == '-' && m_pos + 1 < end && isDigit(data[m_pos + 1])) {
                    negative = true;
                    ++m_pos;
                }
                bool hasParam = false;
                long long value = 0;
                int digits = 0;
                while (m_pos < end && isDigit(data[m_pos])) {
                    if (digits++ < maxDigits)
                        value = value * 10 + (data[m_pos] - '0');
                    hasParam = true;
                    ++m_pos;
                }
                if (m_pos < end && data[m_pos] == ' ')
                    ++m_pos;
                const int param = clampInt(negative ? -value : value, std::numeric_limits<int>::min(),
                                           std::numeric_limits<int>::max());
                if (is(word, "bin")) {
                    // Raw bytes that may hold anything, braces included: step over them unseen.
                    flushBytes();
                    m_pos += std::min<qsizetype>(std::max(param, 0), end - m_pos);
                    continue;
                }
                controlWord(word, hasParam, param);
            } else if (next == '\'') {
                ++m_pos;
                const int high = m_pos < end ? RtfToken::hexValue(data[m_pos]) : -1;
                const int low = m_pos + 1 < end ? RtfToken::hexValue(data[m_pos + 1]) : -1;
                if (high >= 0 && low >= 0) {
                    m_pos += 2;
                    hexByte(static_cast<unsigned char>(high * 16 + low));
                } else if (high >= 0) {
                    ++m_pos;
                }
            } else {
                ++m_pos;
                controlSymbol(next);
            }
        } else if (static_cast<unsigned char>(c) < 0x20 && c != '\t') {
            // Line ends are not text in RTF; other control characters are damage.
            ++m_pos;
        } else {
            const qsizetype start = m_pos;
            while (m_pos < end) {
                const char t = data[m_pos];
                if (t == '{' || t == '}' || t == '\\' || (static_cast<unsigned char>(t) < 0x20 && t != '\t'))
                    break;
                ++m_pos;
            }
            textBytes(QByteArrayView(data + start, m_pos - start));
        }
    }
    flushBytes();
    flushText();
    // A truncated document ends inside its groups; what was read stays, links are closed.
    while (!m_groups.empty())
        groupEnd();
    flushText();
    m_sink->finish(m_finalPara);
}

void RtfParser::groupStart()
{
    flushBytes();
    m_skipFallback = 0;
    m_groupHasWord = false;
    m_pendingStar = false;
    if (m_groups.size() >= maxDepth) {
        ++m_overflow;
        return;
    }
    m_groups.push_back(m_state);
    m_state.linkEnds = false;
    m_state.fieldGroup = false;
    m_state.storyEnds = false;
}

void RtfParser::groupEnd()
{
    flushBytes();
    m_skipFallback = 0;
    m_pendingStar = false;
    m_groupHasWord = true;
    if (m_overflow > 0) {
        --m_overflow;
        return;
    }
    if (m_groups.empty())
        return; // a stray closing brace
    if (m_state.dest == Dest::FontTable && m_fontEntry >= 0 && !m_fontName.trimmed().isEmpty()) {
        // An entry whose name lacks its ";" still names its font.
        m_fonts[m_fontEntry].name = m_fontName.trimmed();
        m_fontName.clear();
    }
    if (m_state.linkEnds) {
        flushText();
        sink()->endLink();
    }
    if (m_state.storyEnds)
        endStory();
    if (m_state.fieldGroup && !m_fieldInst.empty())
        m_fieldInst.pop_back();
    const Dest leaving = m_state.dest;
    m_state = m_groups.back();
    m_groups.pop_back();
    if (leaving == Dest::FontTable && m_state.dest != Dest::FontTable)
        m_fontEntry = -1;
}

void RtfParser::textBytes(QByteArrayView bytes)
{
    m_groupHasWord = true;
    if (m_state.dest == Dest::Skip)
        return;
    if (m_skipFallback > 0) {
        const qsizetype dropped = std::min<qsizetype>(m_skipFallback, bytes.size());
        m_skipFallback -= int(dropped);
        bytes = bytes.sliced(dropped);
    }
    // A double-byte character may end in a plain byte right after its escaped lead byte.
    if (!m_bytes.isEmpty() && !bytes.isEmpty() && decoder().isDoubleByte() &&
        decoder().isLeadByte(static_cast<unsigned char>(m_bytes.back()))) {
        m_bytes.append(bytes.front());
        bytes = bytes.sliced(1);
    }
    if (bytes.isEmpty())
        return;

    if (m_state.dest == Dest::FontTable || m_state.dest == Dest::ColorTable) {
        flushBytes();
        for (const char c : bytes) {
            if (c != ';') {
                if (m_state.dest == Dest::FontTable)
                    m_fontName.append(QLatin1Char(c));
                continue;
            }
            if (m_state.dest == Dest::FontTable) {
                if (m_fontEntry >= 0)
                    m_fonts[m_fontEntry].name = m_fontName.trimmed();
                m_fontName.clear();
            } else {
                const bool automatic = m_red < 0 && m_green < 0 && m_blue < 0;
                m_colors.append(automatic ? QColor()
                                          : QColor(std::max(m_red, 0), std::max(m_green, 0), std::max(m_blue, 0)));
                m_red = m_green = m_blue = -1;
            }
        }
        return;
    }

    bool ascii = true;
    for (const char c : bytes)
        ascii = ascii && static_cast<unsigned char>(c) < 0x80;
    // Unescaped 8-bit text is in the code page, as escaped bytes are; so is all text in a symbol font,
    // whatever its neighbours, though not the field instructions that name a link.
    if (!ascii || (m_state.dest != Dest::FieldInst && !decoder().keepsAscii())) {
        for (const char c : bytes)
            hexByte(static_cast<unsigned char>(c));
        return;
    }
    flushBytes();
    if (m_state.dest == Dest::FieldInst) {
        if (!m_fieldInst.empty())
            m_fieldInst.back().append(QLatin1String(bytes.data(), bytes.size()));
        return;
    }
    if (beginRun())
        m_text.append(QLatin1String(bytes.data(), bytes.size()));
}

bool RtfParser::takesOneToken()
{
    m_groupHasWord = true;
    if (m_state.dest == Dest::Skip)
        return false;
    if (m_skipFallback > 0) {
        --m_skipFallback;
        return false;
    }
    return true;
}

void RtfParser::hexByte(unsigned char byte)
{
    if (!takesOneToken())
        return;
    const int codePage = decoder().codePage();
    if (!m_bytes.isEmpty() && m_bytesCodePage != codePage)
        flushBytes();
    m_bytesCodePage = codePage;
    m_bytes.append(char(byte));
}

const RtfCodePage::Decoder &RtfParser::decoder()
{
    int codePage = m_documentCodePage;
    if (m_state.dest == Dest::FontTable) {
        const auto entry = m_fonts.constFind(m_fontEntry);
        if (entry != m_fonts.constEnd() && entry->codePage != 0)
            codePage = entry->codePage;
    } else {
        const auto font = m_fonts.constFind(m_state.chars.font);
        if (font != m_fonts.constEnd() && font->codePage != 0)
            codePage = font->codePage;
    }
    for (const auto &known : m_decoders) {
        if (known.first == codePage)
            return known.second;
    }
    m_decoders.emplace_back(codePage, RtfCodePage::Decoder(codePage));
    return m_decoders.back().second;
}

void RtfParser::flushBytes()
{
    if (m_bytes.isEmpty())
        return;
    const QByteArray bytes = std::exchange(m_bytes, QByteArray());
    QString decoded;
    for (const auto &known : m_decoders) {
        if (known.first == m_bytesCodePage) {
            decoded = known.second.decode(bytes);
            break;
        }
    }
    if (m_state.dest == Dest::FontTable) {
        m_fontName.append(decoded);
    } else if (m_state.dest == Dest::FieldInst) {
        if (!m_fieldInst.empty())
            m_fieldInst.back().append(decoded);
    } else if (beginRun()) {
        m_text.append(decoded);
    }
}

void RtfParser::appendChar(char16_t ch)
{
    flushBytes();
    if (m_state.dest == Dest::FieldInst) {
        if (!m_fieldInst.empty())
            m_fieldInst.back().append(QChar(ch));
        return;
    }
    if (m_state.dest == Dest::FontTable) {
        m_fontName.append(QChar(ch));
        return;
    }
    if (beginRun())
        m_text.append(QChar(ch));
}

bool RtfParser::beginRun()
{
    if (m_state.dest != Dest::Text || m_state.chars.hidden)
        return false;
    // Text of one format goes to the sink as one run; a change of format or paragraph ends it.
    if (!m_text.isEmpty() && m_textState != m_state.chars)
        flushText();
    if (m_text.isEmpty()) {
        m_textState = m_state.chars;
        m_textPara = m_state.para;
    }
    return true;
}

void RtfParser::flushText()
{
    if (m_text.isEmpty())
        return;
    sink()->text(m_text, m_textState, m_textPara);
    // The closing braces reset the state before the end; the last paragraph keeps what its text had.
    if (!m_story)
        m_finalPara = m_textPara;
    m_text.clear();
}

bool RtfParser::skipGroup()
{
    // The current group was opened just before its destination word; step over it without
    // tokenising, honouring escapes and \bin so that braces in binary data do not count.
    const char *data = m_input.data();
    const qsizetype end = m_input.size();
    int depth = 1;
    while (m_pos < end) {
        const char c = data[m_pos];
        if (c == '\\') {
            if (m_pos + 4 < end && data[m_pos + 1] == 'b' && data[m_pos + 2] == 'i' && data[m_pos + 3] == 'n' &&
                (isDigit(data[m_pos + 4]) || data[m_pos + 4] == '-')) {
                m_pos += 4;
                long long value = 0;
                int digits = 0;
                if (data[m_pos] == '-')
                    ++m_pos;
                while (m_pos < end && isDigit(data[m_pos])) {
                    if (digits++ < maxDigits)
                        value = value * 10 + (data[m_pos] - '0');
                    ++m_pos;
                }
                if (m_pos < end && data[m_pos] == ' ')
                    ++m_pos;
                m_pos += std::min<qsizetype>(qsizetype(value), end - m_pos);
                continue;
            }
            m_pos += 2;
            continue;
        }
        ++m_pos;
        if (c == '{') {
            ++depth;
        } else if (c == '}' && --depth == 0) {
            groupEnd();
            return true;
        }
    }
    m_pos = end;
    return false;
}
