#include "RtfParser.h"

#include "RtfToken.h"

#include <QRegularExpression>

#include <algorithm>
#include <iterator>

// The parser's control words: which start a destination, which stand for a character, and what the
// others change in the state of the text.

namespace {

using RtfToken::clampInt;
using RtfToken::is;

// Destinations whose content a reader never sees, beyond any starred one we do not know.
constexpr QByteArrayView skipped[] = {
    "stylesheet",
    "info",
    "footnote",
    "annotation",
    "listtable",
    "listoverridetable",
    "rsidtbl",
    "generator",
    "pn",
    "nonshppict",
    // The text of tables in tables once more, as paragraphs for readers without them.
    "nonesttables",
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
    QByteArrayView name;
    char16_t ch;
};
constexpr SymbolWord symbolWords[] = {
    {"tab", u'\t'},     {"line", 0x2028},    {"bullet", 0x2022},    {"emdash", 0x2014},
    {"endash", 0x2013}, {"emspace", 0x2003}, {"enspace", 0x2002},   {"qmspace", 0x2005},
    {"lquote", 0x2018}, {"rquote", 0x2019},  {"ldblquote", 0x201C}, {"rdblquote", 0x201D},
};

bool isSkipped(QByteArrayView word)
{
    return std::any_of(std::begin(skipped), std::end(skipped), [&](QByteArrayView name) { return is(word, name); });
}

} // namespace

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
        // A header's page numbers say nothing once the pages are gone.
        static const QRegularExpression pageField(QStringLiteral("^(PAGE|NUMPAGES|SECTIONPAGES|SECTION)\\b"),
                                                  QRegularExpression::CaseInsensitiveOption);
        if (m_story && pageField.match(inst).hasMatch()) {
            m_state.dest = Dest::Skip;
            return true;
        }
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
                sink()->beginLink(href);
                m_state.linkEnds = true;
            }
        }
    } else if (is(word, "upr") || is(word, "object")) {
        // Their readable form is a child group (\ud, \result); the rest is for older readers.
        m_state.dest = Dest::Ignore;
    } else if (is(word, "ud") || is(word, "result")) {
        if (m_state.dest == Dest::Ignore)
            m_state.dest = Dest::Text;
    } else if (is(word, "header") || is(word, "headerl") || is(word, "headerr") || is(word, "headerf")) {
        beginStory(false);
    } else if (is(word, "footer") || is(word, "footerl") || is(word, "footerr") || is(word, "footerf")) {
        beginStory(true);
    } else if (is(word, "pict")) {
        if (m_state.dest == Dest::Text && !m_state.chars.hidden)
            readPicture();
        else
            m_state.dest = Dest::Skip;
    } else if (is(word, "shppict")) {
        // The picture as Word 97 and later show it; {\nonshppict} holds the same for older readers.
    } else if (is(word, "nesttableprops")) {
        // A table-in-a-table's row properties, ending with the row's \nestrow.
        m_state.dest = Dest::Ignore;
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
    // A picture's data is never text, even where \pict is not the first word of its group.
    if ((firstInGroup || is(word, "pict")) && destination(word, starred)) {
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
            sink()->cell(para);
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
        } else if ((is(word, "fmodern") || (is(word, "fprq") && param == 1)) && m_state.dest == Dest::FontTable &&
                   m_fontEntry >= 0) {
            // A fixed-pitch font: columns of text line up only in one, whichever family stands in.
            m_fonts[m_fontEntry].fixedPitch = true;
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
        else if (is(word, "itap") && param > 0) {
            // Qt lays a table in a cell out twice for each table around it, so every level doubles
            // the time: deeper tables go on as cells of the fourth, their text kept and apart.
            para.inTable = true;
            para.tableDepth = clampInt(param, 1, 4);
        }
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
        else if (is(word, "nestcell")) {
            flushText();
            sink()->nestedCell(para);
        } else if (is(word, "nestrow")) {
            flushText();
            sink()->nestedRow(para);
        }
        return;
    case 'p':
        if (is(word, "par")) {
            flushText();
            sink()->paragraph(para);
            if (!m_story)
                m_finalPara = para;
        } else if (is(word, "pard")) {
            para = RtfParaState();
        } else if (is(word, "plain")) {
            ch = RtfCharState();
            ch.font = m_defaultFont;
        } else if (is(word, "page")) {
            flushText();
            sink()->pageBreak();
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
            sink()->row();
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
            sink()->paragraph(para);
        }
        return;
    case 't':
        // A row definition opens the table: some writers never mark its paragraphs with \intbl.
        if (is(word, "trowd")) {
            flushText();
            para.inTable = true;
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
        sink()->paragraph(m_state.para);
        break;
    case '-': appendChar(0x00AD); break;
    default:
        // \: (an index subentry) and unknown symbols show nothing.
        break;
    }
}
