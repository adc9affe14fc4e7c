#include "Sections.h"

#include <QFont>
#include <QHash>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextFrame>
#include <QTextTable>

#include <algorithm>
#include <utility>

namespace {

// Past this many characters (blanks run together) a line is a sentence, not a heading.
constexpr int longestHeading = 70;
// A block longer than this is a whole paragraph of a formatted document: a plain-text guide's lines
// are shorter. A heading after such a paragraph stands apart from it.
constexpr int paragraphLength = 100;
// How long a list entry may be to be a section's title before it is cut.
constexpr int longestTitle = 80;

bool isBlankChar(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QChar::Nbsp;
}

// Rulers are typed with a few ASCII marks or drawn with box-drawing and block characters.
bool isRulerChar(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= 0x2500 && u <= 0x259F) || QStringView(u"=-*#~_+").contains(c);
}

// The upright strokes a box is closed with on either side of a line.
bool isFrameChar(QChar c)
{
    return QStringView(u"|\u2502\u2503\u2551").contains(c);
}

QStringView trimmed(QStringView text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && (isBlankChar(text[begin]) || text[begin].isSpace()))
        ++begin;
    while (end > begin && (isBlankChar(text[end - 1]) || text[end - 1].isSpace()))
        --end;
    return text.sliced(begin, end - begin);
}

// A line of five marks or more and nothing else, the marks at most one blank apart.
bool isRuler(QStringView line)
{
    int marks = 0;
    bool afterBlank = false;
    for (QChar c : line) {
        if (isBlankChar(c)) {
            if (afterBlank)
                return false;
            afterBlank = true;
            continue;
        }
        afterBlank = false;
        if (!isRulerChar(c))
            return false;
        ++marks;
    }
    return marks >= 5;
}

// A code such as SEC01, WLK3 or 0400: two to eight letters and digits, with a digit or in capitals.
// Eight hexadecimal digits are an address in a cheat list instead.
bool isSectionCode(QStringView code)
{
    if (code.size() < 2 || code.size() > 8)
        return false;
    bool digit = false;
    bool lower = false;
    bool hex = true;
    for (QChar c : code) {
        if (c.unicode() > 0x7F || !c.isLetterOrNumber())
            return false;
        digit = digit || c.isDigit();
        lower = lower || c.isLower();
        hex = hex && QStringView(u"0123456789abcdefABCDEF").contains(c);
    }
    return (digit || !lower) && !(code.size() == 8 && hex);
}

// The bracketed code at the start or end of `line`, and where it lies; empty when there is none.
QStringView edgeCode(QStringView line, qsizetype *from = nullptr, qsizetype *to = nullptr)
{
    constexpr qsizetype reach = 10;
    const auto closing = [](QChar open) {
        return open == QLatin1Char('[') ? QLatin1Char(']') : QLatin1Char('}');
    };
    if (line.startsWith(QLatin1Char('[')) || line.startsWith(QLatin1Char('{'))) {
        const qsizetype end = line.left(reach).indexOf(closing(line.front()));
        if (end > 0 && isSectionCode(line.sliced(1, end - 1))) {
            if (from) {
                *from = 0;
                *to = end + 1;
            }
            return line.sliced(1, end - 1);
        }
    }
    if (line.endsWith(QLatin1Char(']')) || line.endsWith(QLatin1Char('}'))) {
        const QChar open = line.back() == QLatin1Char(']') ? QLatin1Char('[') : QLatin1Char('{');
        const qsizetype start = line.size() - std::min(reach, line.size());
        const qsizetype begin = line.lastIndexOf(open);
        if (begin >= start && isSectionCode(line.sliced(begin + 1, line.size() - begin - 2))) {
            if (from) {
                *from = begin;
                *to = line.size();
            }
            return line.sliced(begin + 1, line.size() - begin - 2);
        }
    }
    return {};
}

// How many wide gaps (three blanks or a tab) part the words of `line`: a table's row has columns,
// a heading does not. The gap before or after a section code does not count.
int columnGaps(QStringView line)
{
    qsizetype from = 0;
    qsizetype to = 0;
    if (!edgeCode(line, &from, &to).isEmpty())
        line = trimmed(from == 0 ? line.sliced(to) : line.left(from));
    int gaps = 0;
    int blanks = 0;
    for (QChar c : line) {
        if (isBlankChar(c)) {
            blanks += c == QLatin1Char('\t') ? 3 : 1;
            continue;
        }
        if (blanks >= 3)
            ++gaps;
        blanks = 0;
    }
    return gaps;
}

// The numbering a heading starts with: "2.3 ", "1. ", "IV. ", "Chapter 3". Its depth is the
// number of its parts ("2.3" is 2); 0 when the line is not numbered. Lines whose numbering has the
// same depth and kind, one after the other, are a list rather than headings.
struct Numbering
{
    int depth = 0;
    int kind = 0;
};

Numbering numbering(QStringView line)
{
    enum Kind { Arabic = 1, Roman, Word };
    const auto titleFollows = [line](qsizetype at) {
        return at + 1 < line.size() && line[at] == QLatin1Char(' ') && line[at + 1].isLetter();
    };
    qsizetype at = 0;
    int parts = 0;
    while (at < line.size() && line[at].isDigit()) {
        qsizetype digits = 0;
        while (at < line.size() && line[at].isDigit())
            ++at, ++digits;
        if (digits > 3)
            return {};
        ++parts;
        if (at + 1 < line.size() && line[at] == QLatin1Char('.') && line[at + 1].isDigit())
            ++at;
        else
            break;
    }
    if (parts > 0) {
        // "3 Potions" counts something; "3. Potions" and "2.3 Items" number it.
        const bool mark = at < line.size() && (line[at] == QLatin1Char('.') || line[at] == QLatin1Char(')'));
        if (mark)
            ++at;
        return (mark || parts > 1) && titleFollows(at) ? Numbering{parts, Arabic} : Numbering{};
    }
    while (at < line.size() && at < 6 && QStringView(u"IVXLC").contains(line[at]))
        ++at;
    if (at > 0 && at < line.size() && (line[at] == QLatin1Char('.') || line[at] == QLatin1Char(')')) &&
        titleFollows(at + 1))
        return {1, Roman};
    static const QStringList words = QStringLiteral("chapter part section act book episode stage mission world "
                                                    "disc volume")
                                         .split(QLatin1Char(' '));
    const qsizetype space = line.indexOf(QLatin1Char(' '));
    if (space < 0 || !words.contains(line.left(space).toString(), Qt::CaseInsensitive))
        return {};
    static const QStringList counted = QStringLiteral("one two three four five six seven eight nine ten eleven "
                                                      "twelve")
                                           .split(QLatin1Char(' '));
    qsizetype end = space + 1;
    while (end < line.size() && line[end].isLetterOrNumber())
        ++end;
    const QStringView number = line.sliced(space + 1, end - space - 1);
    const bool isNumber =
        (!number.isEmpty() && number.size() <= 3 &&
         std::all_of(number.begin(), number.end(), [](QChar c) { return c.isDigit(); })) ||
        (!number.isEmpty() &&
         std::all_of(number.begin(), number.end(), [](QChar c) { return QStringView(u"IVXLC").contains(c); })) ||
        counted.contains(number.toString(), Qt::CaseInsensitive);
    if (!isNumber)
        return {};
    // Nothing after the number, or a title after a blank or a colon, dash or full stop.
    if (end < line.size() && !QStringView(u" :.-\u2013\u2014").contains(line[end]))
        return {};
    return {1, Word};
}

bool hasLetter(QStringView text)
{
    return std::any_of(text.begin(), text.end(), [](QChar c) { return c.isLetter(); });
}

bool endsSentence(QStringView text)
{
    return !text.isEmpty() && QStringView(u".,;").contains(text.back()) && !text.endsWith(QLatin1String("..."));
}

// What the finder makes of one line before looking at its neighbours.
struct Line
{
    // The words, blanks run together, without a frame or a ruler drawn around them.
    QString content;
    bool ruler = false;
    // Closed by upright strokes on both sides ("║ TITLE ║").
    bool framed = false;
    // A row of a drawn table, or columns set apart by blanks.
    bool tabular = false;
    // Its words between two rulers on the same line ("==== Items ====").
    bool inlineRuler = false;
    bool paragraph = false;

    bool blank() const { return content.isEmpty() && !ruler; }
    // Short enough, with a letter, and no table.
    bool headingLike() const
    {
        return content.size() >= 2 && content.size() <= longestHeading && !tabular && hasLetter(content);
    }
};

// A run of ruler marks at the start of `text`: how many characters it takes, blanks after it too.
qsizetype rulerRun(QStringView text)
{
    qsizetype at = 0;
    while (at < text.size() && isRulerChar(text[at]))
        ++at;
    return at;
}

Line readLine(const QString &raw)
{
    Line line;
    QStringView text = trimmed(raw);
    line.paragraph = text.size() > paragraphLength;
    if (text.isEmpty())
        return line;
    if (text.size() <= 2 * paragraphLength && isRuler(text)) {
        line.ruler = true;
        return line;
    }
    // A box of stars or hashes needs blanks inside its sides: "*Spoilers*" is no box.
    const bool markedBox = text.size() >= 4 && (text.front() == QLatin1Char('*') || text.front() == QLatin1Char('#')) &&
                           text.back() == text.front() && isBlankChar(text[1]) && isBlankChar(text[text.size() - 2]);
    if (markedBox || (text.size() >= 2 && isFrameChar(text.front()) && text.back() == text.front())) {
        line.framed = true;
        text = trimmed(text.sliced(1, text.size() - 2));
    } else {
        // "==== Items ====": marks of the same kind on both sides.
        const qsizetype lead = rulerRun(text);
        qsizetype trail = 0;
        while (trail < text.size() && isRulerChar(text[text.size() - 1 - trail]))
            ++trail;
        if (lead >= 3 && trail >= 3 && lead + trail < text.size() && text.front() == text.back()) {
            line.inlineRuler = true;
            text = trimmed(text.sliced(lead, text.size() - lead - trail));
        }
    }
    line.tabular = std::any_of(text.begin(), text.end(), isFrameChar) || columnGaps(text) >= 2;
    line.content = text.toString().simplified();
    return line;
}

// A title as the list shows it: without the dotted leaders of a contents line, and not too long.
QString titleOf(const QString &content)
{
    QString title = content;
    qsizetype dots = title.indexOf(QLatin1String("..."));
    if (dots > 0) {
        qsizetype end = dots;
        while (end < title.size() && (title[end] == QLatin1Char('.') || title[end] == QLatin1Char(' ')))
            ++end;
        title = QString(title.left(dots).trimmed() + QLatin1Char(' ') + title.sliced(end)).trimmed();
    }
    if (title.size() > longestTitle)
        title = title.left(longestTitle - 1).trimmed() + QChar(0x2026);
    return title;
}

// The look of a formatted document's headings: which blocks are set larger than its body text, or
// bold in a text that is mostly not.
std::pair<bool, qreal> bodyLook(const QList<TextBlock> &blocks)
{
    QHash<qreal, qsizetype> sizes;
    qsizetype bold = 0;
    qsizetype all = 0;
    for (const TextBlock &block : blocks) {
        if (block.inTable)
            continue;
        sizes[block.pointSize] += block.text.size();
        all += block.text.size();
        if (block.bold)
            bold += block.text.size();
    }
    qreal body = 0;
    qsizetype most = -1;
    for (auto it = sizes.cbegin(); it != sizes.cend(); ++it) {
        if (it.value() > most) {
            most = it.value();
            body = it.key();
        }
    }
    return {bold * 2 < all, body};
}

} // namespace

QList<Section> FindSections(const QList<TextBlock> &blocks)
{
    const qsizetype count = blocks.size();
    QList<Line> lines;
    lines.reserve(count);
    for (const TextBlock &block : blocks)
        lines.append(readLine(block.text));
    const auto ruler = [&lines, count](qsizetype i) {
        return i >= 0 && i < count && lines[i].ruler;
    };
    // Whether the lines around `i` leave it standing on its own.
    const auto apart = [&lines, count](qsizetype i) {
        return i < 0 || i >= count || lines[i].blank() || lines[i].ruler || lines[i].paragraph;
    };

    // A code shown again later (a contents line, then the section itself) counts where it shows
    // last; so does a numbered title. The earlier lines are no headings at all.
    QHash<QString, qsizetype> lastOfCode;
    QHash<QString, int> codeCount;
    QHash<QString, qsizetype> lastOfTitle;
    QList<Numbering> numbers(count);
    for (qsizetype i = 0; i < count; ++i) {
        const Line &line = lines[i];
        if (line.content.isEmpty() || line.content.size() > longestHeading + 10)
            continue;
        const QString code = edgeCode(line.content).toString().toUpper();
        if (!code.isEmpty()) {
            lastOfCode[code] = i;
            ++codeCount[code];
        }
        numbers[i] = numbering(line.content);
        if (numbers[i].depth > 0)
            lastOfTitle[titleOf(line.content).toCaseFolded()] = i;
    }

    const std::pair<bool, qreal> look = bodyLook(blocks);
    const bool boldCounts = look.first;
    const qreal bodySize = look.second;
    // Bold or larger one-line paragraphs; runs of three or more are a title page or a list.
    QList<bool> looksHeading(count, false);
    for (qsizetype i = 0; i < count;) {
        const auto candidate = [&](qsizetype j) {
            const TextBlock &block = blocks[j];
            const bool larger = bodySize > 0 && block.pointSize >= bodySize * 1.15 && block.pointSize >= bodySize + 1;
            // A bold line of columns set by tabs heads a table, not a section.
            return !block.inTable && !block.text.contains(QLatin1Char('\t')) &&
                   (larger || (boldCounts && block.bold)) && lines[j].headingLike() && !endsSentence(lines[j].content);
        };
        if (!candidate(i)) {
            ++i;
            continue;
        }
        qsizetype end = i;
        while (end < count && candidate(end))
            ++end;
        if (end - i <= 2)
            looksHeading[i] = true;
        i = end;
    }

    QList<Section> sections;
    QList<bool> taken(count, false);
    const auto take = [&](qsizetype i, qsizetype top) {
        taken[i] = true;
        const int depth = numbers[i].depth > 0 ? numbers[i].depth : std::max(1, blocks[i].headingLevel);
        sections.append({titleOf(lines[i].content), blocks[top].position, depth});
    };
    for (qsizetype i = 0; i < count; ++i) {
        const Line &line = lines[i];
        // A box drawn around a line or two: the section starts at its first.
        if (line.framed) {
            if (i > 0 && lines[i - 1].framed)
                continue;
            qsizetype first = -1;
            int words = 0;
            bool table = false;
            for (qsizetype end = i; end < count && lines[end].framed; ++end) {
                table = table || lines[end].tabular;
                if (!lines[end].content.isEmpty()) {
                    first = first < 0 ? end : first;
                    ++words;
                }
            }
            if (!table && words >= 1 && words <= 3 && lines[first].headingLike())
                take(first, ruler(i - 1) ? i - 1 : first);
            continue;
        }
        if (line.content.isEmpty())
            continue;
        const QString code = edgeCode(line.content).toString().toUpper();
        if (!code.isEmpty() && lastOfCode.value(code) != i)
            continue;
        if (numbers[i].depth > 0 && lastOfTitle.value(titleOf(line.content).toCaseFolded()) != i)
            continue;
        const qsizetype above = ruler(i - 1) ? i - 1 : i;
        const bool apartAbove = apart(i - 1) || (i > 0 && taken[i - 1]);
        if (blocks[i].headingLevel > 0 && !line.content.isEmpty() && !blocks[i].inTable) {
            take(i, i);
            continue;
        }
        if (!line.headingLike())
            continue;
        if (line.inlineRuler && !endsSentence(line.content)) {
            take(i, i);
            continue;
        }
        if (!endsSentence(line.content)) {
            const bool below = ruler(i + 1);
            if ((ruler(i - 1) && below) || (below && apartAbove) ||
                (ruler(i - 1) && (i + 1 == count || lines[i + 1].blank()))) {
                take(i, above);
                continue;
            }
        }
        if (!code.isEmpty() && (codeCount.value(code) > 1 || (apartAbove && apart(i + 1)))) {
            take(i, above);
            continue;
        }
        const Numbering number = numbers[i];
        if (number.depth > 0 && apartAbove && !endsSentence(line.content)) {
            const auto sameKind = [&](qsizetype j) {
                return j >= 0 && j < count && numbers[j].depth == number.depth && numbers[j].kind == number.kind;
            };
            if (!sameKind(i - 1) && !sameKind(i + 1)) {
                take(i, above);
                continue;
            }
        }
        if (looksHeading[i])
            take(i, i);
    }
    if (sections.size() < 2)
        return {};
    return sections;
}

QList<TextBlock> DocumentBlocks(const QTextDocument *document)
{
    // Where the tables lie, in the document's order, so that one sweep tells cells from body text.
    QList<std::pair<int, int>> tables;
    QList<const QTextFrame *> frames{document->rootFrame()};
    while (!frames.isEmpty()) {
        const QTextFrame *frame = frames.takeLast();
        for (const QTextFrame *child : frame->childFrames()) {
            if (qobject_cast<const QTextTable *>(child))
                tables.append({child->firstPosition(), child->lastPosition()});
            else
                frames.append(child);
        }
    }
    std::sort(tables.begin(), tables.end());

    const qreal defaultSize = document->defaultFont().pointSizeF();
    QList<TextBlock> blocks;
    blocks.reserve(document->blockCount());
    qsizetype table = 0;
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next()) {
        TextBlock out;
        out.text = block.text();
        out.position = block.position();
        out.headingLevel = block.blockFormat().headingLevel();
        while (table < tables.size() && tables[table].second < out.position)
            ++table;
        out.inTable = table < tables.size() && tables[table].first <= out.position;
        bool bold = true;
        bool seen = false;
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            if (trimmed(fragment.text()).isEmpty())
                continue;
            const QTextCharFormat format = fragment.charFormat();
            bold = bold && format.fontWeight() >= QFont::DemiBold;
            const qreal size = format.hasProperty(QTextFormat::FontPointSize) ? format.fontPointSize() : defaultSize;
            out.pointSize = seen ? std::min(out.pointSize, size) : size;
            seen = true;
        }
        out.bold = seen && bold;
        blocks.append(out);
    }
    return blocks;
}
