#include "RtfParser.h"

#include <QLoggingCategory>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

namespace {

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

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

bool is(QByteArrayView word, const char *name)
{
    const auto length = qsizetype(std::strlen(name));
    return word.size() == length && std::memcmp(word.data(), name, std::size_t(length)) == 0;
}

// Destinations whose content a reader never sees, beyond any starred one we do not know.
constexpr std::array skipped = {
    "stylesheet",
    "info",
    "pict",
    "header",
    "headerl",
    "headerr",
    "headerf",
    "footer",
    "footerl",
    "footerr",
    "footerf",
    "footnote",
    "annotation",
    "listtable",
    "listoverridetable",
    "rsidtbl",
    "generator",
    "pn",
    "nonshppict",
    "shp",
    "themedata",
    "colorschememapping",
    "datastore",
    "latentstyles",
    "xmlnstbl",
    "mmathPr",
    "pgdsctbl",
    "filetbl",
    "revtbl",
    "userprops",
    "docvar",
    "template",
    "fchars",
    "lchars",
    "objdata",
    "objclass",
    "pntxta",
    "pntxtb",
    "xe",
    "tc",
    "txe",
    "private",
    "atnid",
    "atnauthor",
    "bkmkstart",
    "bkmkend",
    "fldtype",
    "do",
    "sp",
    "picprop",
    "blipuid",
    "wgrffmtfilter",
    "passwordhash",
    "protusertbl",
    "mhtmltag",
    "htmltag",
};

// Control words that stand for one character.
struct SymbolWord
{
    const char *name;
    char16_t ch;
};
constexpr SymbolWord symbolWords[] = {
    {"tab", u'\t'},     {"line", 0x2028},    {"bullet", 0x2022},    {"emdash", 0x2014},
    {"endash", 0x2013}, {"emspace", 0x2003}, {"enspace", 0x2002},   {"qmspace", 0x2005},
    {"lquote", 0x2018}, {"rquote", 0x2019},  {"ldblquote", 0x201C}, {"rdblquote", 0x201D},
};

bool isSkipped(QByteArrayView word)
{
    return std::any_of(skipped.begin(), skipped.end(), [&](const char *name) { return is(word, name); });
}

int clampInt(long long value, int low, int high)
{
    return int(std::clamp<long long>(value, low, high));
}

} // namespace

bool RtfCharState::operator==(const RtfCharState &o) const
{
    return font == o.font && halfPoints == o.halfPoints && bold == o.bold && italic == o.italic &&
           underline == o.underline && strike == o.strike && hidden == o.hidden && foreground == o.foreground &&
           background == o.background && vertical == o.vertical;
}

RtfParser::RtfParser(RtfSink *sink) : m_sink(sink) {}

void RtfParser::parse(QByteArrayView input)
{
    m_input = input;
    m_pos = 0;
    const qsizetype end = input.size();
    const char *data = input.data();
    while (m_pos < end) {
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
                const int high = m_pos < end ? hexValue(data[m_pos]) : -1;
                const int low = m_pos + 1 < end ? hexValue(data[m_pos + 1]) : -1;
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
        m_sink->endLink();
    }
    if (m_state.fieldGroup && !m_fieldInst.empty())
        m_fieldInst.pop_back();
    const Dest leaving = m_state.dest;
    m_state = m_groups.back();
    m_groups.pop_back();
    if (leaving == Dest::FontTable && m_state.dest != Dest::FontTable)
        m_fontEntry = -1;
}

bool RtfParser::destination(QByteArrayView word, bool starred)
{
    if (is(word, "fonttbl")) {
        m_state.dest = Dest::FontTable;
        m_fontEntry = -1;
        m_fontName.clear();
    } else if (is(word, "colortbl")) {
        m_state.dest = Dest::ColorTable;
        m_colors.clear();
        m_red = m_green = m_blue = -1;
    } else if (is(word, "field")) {
        m_state.fieldGroup = true;
        m_fieldInst.emplace_back();
    } else if (is(word, "fldinst")) {
        m_state.dest = Dest::FieldInst;
    } else if (is(word, "fldrslt")) {
        const QString inst = m_fieldInst.empty() ? QString() : m_fieldInst.back().trimmed();
        if (inst.startsWith(QLatin1String("HYPERLINK"), Qt::CaseInsensitive) && m_state.dest == Dest::Text) {
            QString href;
            const qsizetype open = inst.indexOf(QLatin1Char('"'));
            const qsizetype close = open >= 0 ? inst.indexOf(QLatin1Char('"'), open + 1) : -1;
            if (open >= 0 && close > open)
                href = inst.mid(open + 1, close - open - 1);
            else
                href = inst.mid(9).trimmed().section(QLatin1Char(' '), 0, 0);
            if (inst.contains(QLatin1String("\\l"))) // a bookmark inside the document
                href.prepend(QLatin1Char('#'));
            if (!href.isEmpty()) {
                flushText();
                m_sink->beginLink(href);
                m_state.linkEnds = true;
            }
        }
    } else if (is(word, "upr") || is(word, "object")) {
        // Their readable form is a child group (\ud, \result); the rest is for older readers.
        m_state.dest = Dest::Ignore;
    } else if (is(word, "ud") || is(word, "result")) {
        if (m_state.dest == Dest::Ignore)
            m_state.dest = Dest::Text;
    } else if (is(word, "pntext") || is(word, "listtext")) {
        // The number or bullet of a list item, written out for readers without list support.
    } else if (isSkipped(word) || starred) {
        m_state.dest = Dest::Skip;
    } else {
        return false;
    }
    return true;
}

void RtfParser::controlWord(QByteArrayView word, bool hasParam, int param)
{
    const bool firstInGroup = !m_groupHasWord;
    const bool starred = m_pendingStar;
    m_groupHasWord = true;
    m_pendingStar = false;

    if (m_state.dest == Dest::Skip)
        return;
    if (firstInGroup && destination(word, starred)) {
        if (m_state.dest == Dest::Skip) {
            flushBytes();
            skipGroup();
        }
        return;
    }

    if (m_skipFallback > 0 && !is(word, "u")) {
        // A control word in a \u fallback counts as one fallback character.
        --m_skipFallback;
        return;
    }
    if (!is(word, "u") && !(word.size() == 2 && word[0] == 'u' && word[1] == 'c'))
        flushBytes();

    RtfCharState &ch = m_state.chars;
    RtfParaState &para = m_state.para;
    const bool on = !hasParam || param != 0;
    const char first = word.isEmpty() ? 0 : word[0];

    for (const SymbolWord &symbol : symbolWords) {
        if (is(word, symbol.name)) {
            appendChar(symbol.ch);
            return;
        }
    }

    switch (first) {
    case 'a':
        if (is(word, "ansicpg") && hasParam)
            m_documentCodePage = param;
        else if (is(word, "ansi"))
            m_documentCodePage = 1252;
        return;
    case 'b':
        if (is(word, "b"))
            ch.bold = on;
        else if (is(word, "blue"))
            m_blue = clampInt(param, 0, 255);
        return;
    case 'c':
        if (is(word, "cf"))
            ch.foreground = std::max(param, 0);
        else if (is(word, "cb") || is(word, "chcbpat"))
            ch.background = std::max(param, 0);
        else if (is(word, "chftn")) {
            // The footnote's number where it is referenced; the note itself is not shown.
            const QString number = QString::number(++m_footnotes);
            for (const QChar digit : number)
                appendChar(digit.unicode());
        } else if (is(word, "cell")) {
            flushText();
            m_sink->cell(para);
        }
        return;
    case 'd':
        if (is(word, "deff") && hasParam)
            m_defaultFont = param;
        else if (is(word, "dn"))
            ch.vertical = on ? -1 : 0;
        return;
    case 'f':
        if (is(word, "f")) {
            if (m_state.dest == Dest::FontTable) {
                m_fontEntry = param;
                m_fontName.clear();
                m_fonts[m_fontEntry];
            } else {
                ch.font = param;
            }
        } else if (is(word, "fs")) {
            ch.halfPoints = hasParam ? clampInt(param, 2, 3276) : 24;
        } else if (is(word, "fcharset") && m_state.dest == Dest::FontTable && m_fontEntry >= 0) {
            m_fonts[m_fontEntry].codePage = RtfCodePage::FromCharset(param);
        } else if (is(word, "fi")) {
            para.firstIndent = clampInt(param, -31680, 31680);
        }
        return;
    case 'g':
        if (is(word, "green"))
            m_green = clampInt(param, 0, 255);
        return;
    case 'h':
        if (is(word, "highlight"))
            ch.background = std::max(param, 0);
        return;
    case 'i':
        if (is(word, "i"))
            ch.italic = on;
        else if (is(word, "intbl"))
            para.inTable = true;
        return;
    case 'l':
        if (is(word, "li"))
            para.leftIndent = clampInt(param, -31680, 31680);
        return;
    case 'm':
        if (is(word, "mac"))
            m_documentCodePage = 10000;
        return;
    case 'n':
        if (is(word, "nosupersub"))
            ch.vertical = 0;
        else if (is(word, "nestcell"))
            appendChar(u'\t');
        else if (is(word, "nestrow"))
            appendChar(0x2028);
        return;
    case 'p':
        if (is(word, "par")) {
            flushText();
            m_sink->paragraph(para);
            m_finalPara = para;
        } else if (is(word, "pard")) {
            para = RtfParaState();
        } else if (is(word, "plain")) {
            ch = RtfCharState();
            ch.font = m_defaultFont;
        } else if (is(word, "page")) {
            flushText();
            m_sink->pageBreak();
        } else if (is(word, "pc")) {
            m_documentCodePage = 437;
        } else if (is(word, "pca")) {
            m_documentCodePage = 850;
        }
        return;
    case 'q':
        if (is(word, "ql"))
            para.align = RtfParaState::Left;
        else if (is(word, "qr"))
            para.align = RtfParaState::Right;
        else if (is(word, "qc"))
            para.align = RtfParaState::Center;
        else if (is(word, "qj") || is(word, "qd"))
            para.align = RtfParaState::Justify;
        return;
    case 'r':
        if (is(word, "red"))
            m_red = clampInt(param, 0, 255);
        else if (is(word, "row")) {
            flushText();
            m_sink->row();
        } else if (is(word, "ri"))
            para.rightIndent = clampInt(param, -31680, 31680);
        return;
    case 's':
        if (is(word, "strike") || is(word, "striked"))
            ch.strike = on;
        else if (is(word, "super"))
            ch.vertical = on ? 1 : 0;
        else if (is(word, "sub"))
            ch.vertical = on ? -1 : 0;
        else if (is(word, "sb"))
            para.spaceBefore = clampInt(param, 0, 31680);
        else if (is(word, "sa"))
            para.spaceAfter = clampInt(param, 0, 31680);
        else if (is(word, "sect")) {
            flushText();
            m_sink->paragraph(para);
        }
        return;
    case 'u':
        if (is(word, "u") && hasParam) {
            // Negative values stand for characters above 32767.
            const int code = param < 0 ? param + 65536 : param;
            appendChar(code >= 0 && code <= 0xFFFF ? char16_t(code) : char16_t(0xFFFD));
            m_skipFallback = m_state.uc;
        } else if (is(word, "uc")) {
            m_state.uc = static_cast<unsigned char>(clampInt(param, 0, 16));
        } else if (word.startsWith("ul")) {
            ch.underline = !is(word, "ulnone") && on;
        } else if (is(word, "up")) {
            ch.vertical = on ? 1 : 0;
        }
        return;
    case 'v':
        if (is(word, "v"))
            ch.hidden = on;
        return;
    default: return;
    }
}

void RtfParser::controlSymbol(char symbol)
{
    if (symbol == '*') {
        m_pendingStar = true;
        return;
    }
    if (!takesOneToken())
        return;
    switch (symbol) {
    case '\\':
    case '{':
    case '}': textBytes(QByteArrayView(&symbol, 1)); break;
    case '~': appendChar(0x00A0); break;
    case '_': appendChar(0x2011); break;
    case '\t': appendChar(u'\t'); break;
    case '\r':
    case '\n':
        // A backslash before a line end is a paragraph mark.
        flushBytes();
        flushText();
        m_sink->paragraph(m_state.para);
        break;
    case '-': appendChar(0x00AD); break;
    default:
        // \: (an index subentry) and unknown symbols show nothing.
        break;
    }
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
    if (!ascii) {
        // Unescaped 8-bit text is in the code page, as escaped bytes are.
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
    m_sink->text(m_text, m_textState, m_textPara);
    // The closing braces reset the state before the end; the last paragraph keeps what its text had.
    m_finalPara = m_textPara;
    m_text.clear();
}

void RtfParser::skipGroup()
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
            return;
        }
    }
    m_pos = end;
}
