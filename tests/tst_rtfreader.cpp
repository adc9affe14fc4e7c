#include "TestHome.h"
#include "rtf/RtfReader.h"
#include "rtf/RtfTableBuilder.h"
#include "rtf/RtfWriter.h"

#include <QBuffer>
#include <QDir>
#include <QImage>
#include <QRegularExpression>
#include <QTest>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextDocumentFragment>
#include <QTextTable>

#include <algorithm>
#include <vector>

namespace {

QStringList words(const QString &text)
{
    return text.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
}

// The character format of the first fragment holding `text`.
QTextCharFormat formatOf(const QTextDocument &document, const QString &text)
{
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            if (it.fragment().text().contains(text))
                return it.fragment().charFormat();
        }
    }
    return {};
}

// The tables directly inside `frame` (the document's root frame or a table's cell).
QList<QTextTable *> tablesIn(const QTextFrame *frame)
{
    QList<QTextTable *> tables;
    for (QTextFrame *child : frame->childFrames()) {
        if (auto *table = qobject_cast<QTextTable *>(child))
            tables.append(table);
    }
    return tables;
}

QString cellText(QTextTable *table, int row, int column)
{
    const QTextTableCell cell = table->cellAt(row, column);
    QTextCursor cursor = cell.firstCursorPosition();
    cursor.setPosition(cell.lastCursorPosition().position(), QTextCursor::KeepAnchor);
    return cursor.selection().toPlainText().trimmed();
}

QByteArray hexImage(const QImage &image, const char *format)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return bytes.toHex();
}

} // namespace

class tst_rtfreader final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void plainTextFormatsParagraphsTablesAndLinks();
    void longTableIsReadWhole();
    void longTextIsReadInParts();
    void badAndRealWorldInput();
    void nestedTablesHeadersAndPictures();
};

void tst_rtfreader::plainTextFormatsParagraphsTablesAndLinks()
{
    const std::pair<const char *, QString> cases[] = {
        {"{\\rtf1\\ansi First\\par Second\\line third\\tab x}", QStringLiteral("First\nSecond\nthird\tx")},
        {"{\\rtf1 a\\emdash b\\endash c\\bullet\\~d\\-e \\lquote q\\rquote  \\ldblquote Q\\rdblquote}",
         QStringLiteral("a\u2014b\u2013c\u2022\u00A0de \u2018q\u2019 \u201CQ\u201D")},
        {"{\\rtf1 C:\\\\Games\\{1\\}}", QStringLiteral("C:\\Games{1}")},
        // Line ends in the source are not text; a control word eats one blank after it.
        {"{\\rtf1 Pokemon\r\n Red\\b  Blue}", QStringLiteral("Pokemon Red Blue")},
        // Lists are shown as their bullets and numbers, as older readers see them.
        {"{\\rtf1{\\pntext\\'b7\\tab}{\\*\\pn\\pnlvlblt{\\pntxtb\\'b7}}Item\\par{\\listtext 2.\\tab}Next}",
         QStringLiteral("\u00B7\tItem\n2.\tNext")},
        // Text that is not RTF stays itself: UTF-8, else Windows-1252.
        {"Pok\xC3\xA9mon {not rtf}", QStringLiteral("Pokémon {not rtf}")},
        {"Pok\xE9mon \x80", QStringLiteral("Pokémon €")},
        // What may stand before "{\rtf" is not text: not an editor's UTF-8 mark, not blanks.
        {"\xEF\xBB\xBF \r\n{\\rtf1 Hi}", QStringLiteral("Hi")},
        // Unicode, with the fallback count ending with its group and being the group's own.
        {"{\\rtf1 caf\\u233?s}", QStringLiteral("cafés")},
        {"{\\rtf1\\uc2 \\u8364\\'80\\'80 x\\u-10179?\\u-8704?}", QStringLiteral("€ x\U0001F600")},
        {"{\\rtf1\\uc0 \\u1046 ok}", QStringLiteral("\u0416ok")},
        {"{\\rtf1{\\uc3\\u1046}abc}", QStringLiteral("\u0416abc")},
        // Code pages: the document's, a font's, and unescaped 8-bit text in the document's.
        {"{\\rtf1 \\'93quoted\\'94 \\'80}", QStringLiteral("\u201Cquoted\u201D \u20AC")},
        {"{\\rtf1\\ansi\\ansicpg1251 \\'cf\\'f0\\'e8\\'e2\\'e5\\'f2}", QStringLiteral("Привет")},
        {"{\\rtf1{\\fonttbl{\\f0 Arial;}{\\f1\\fcharset204 Arial Cyr;}{\\f2\\fcharset161 Greek;}}"
         "\\f0\\'e9 \\f1\\'e9 \\f2\\'e1}",
         QStringLiteral("é й α")},
        {"{\\rtf1\\ansicpg1252 Se\xF1or}", QStringLiteral("Señor")},
        // A symbol font's letters are Greek whether or not 8-bit bytes share their run.
        {"{\\rtf1{\\fonttbl{\\f1\\fcharset2 Symbol;}}\\f1 a\\'b9b \xB9p}", QStringLiteral("α≠β ≠π")},
        // Destinations that are not text, pictures and binary data that hold braces and backslashes.
        {"{\\rtf1{\\fonttbl{\\f0\\fswiss{\\*\\panose 020b}Arial;}}{\\colortbl;\\red255\\green0\\blue0;}"
         "{\\stylesheet{\\s1 Heading 1;}}{\\info{\\title Secret}{\\author Me}}"
         "{\\*\\generator Tool;}{\\*\\unknown hidden {nested}}Shown}",
         QStringLiteral("Shown")},
        {"{\\rtf1 A{\\pict\\pngblip 89504e47{\\*\\blipuid 00}0d0a}B{\\*\\objdata \\bin5 {}\\{x}C}",
         QStringLiteral("ABC")},
        {"{\\rtf1 x\\bin3 }}}y}", QStringLiteral("xy")},
        {"{\\rtf1 seen{\\v hidden}\\v also\\v0  again}", QStringLiteral("seen again")},
        {"{\\rtf1{\\upr{old ansi}{\\*\\ud{new \\u8364?}}}|{\\object{\\*\\objdata 0102}{\\result shown}}}",
         QStringLiteral("new €|shown")},
        {"{\\rtf1{\\header Page}{\\footnote note}body}", QStringLiteral("body")},
        {"{\\rtf1\\trowd\\cellx1\\cellx2\\intbl a\\cell b\\cell\\row\\pard after}", QStringLiteral("a\tb\nafter")},
        // Unbalanced braces and numbers too large for any field.
        {"{\\rtf1 a}}}} b{{ c", QStringLiteral("a b c")},
        {"{\\rtf1\\fs99999999999999999 \\u99999999999 \\uc99999999 x\\bin99999999999 tail", QStringLiteral("\uFFFDx")},
    };
    for (const auto &[rtf, text] : cases)
        QCOMPARE(RtfReader::PlainText(QByteArrayView(rtf)), text);
    QCOMPARE(std::pair(RtfReader::LooksLikeRtf("\xEF\xBB\xBF \r\n{\\rtf1}"), RtfReader::LooksLikeRtf("{\\rt")),
             std::pair(true, false));
    // A link's address in a symbol font stays what it says.
    QTextDocument link;
    RtfReader::Read("{\\rtf1{\\fonttbl{\\f1\\fcharset2 Symbol;}}\\f1{\\field{\\*\\fldinst HYPERLINK \"http://a.b\"}"
                    "{\\fldrslt p}}}",
                    &link);
    QCOMPARE(formatOf(link, QStringLiteral("π")).anchorHref(), QStringLiteral("http://a.b"));

    QTextDocument document;
    RtfReader::Read("{\\rtf1\\deff0{\\fonttbl{\\f0 Times New Roman;}{\\f1 Courier New;}}"
                    "{\\colortbl;\\red255\\green0\\blue0;\\red0\\green0\\blue255;}"
                    "plain {\\b bold {\\i both}} \\ul under\\ulnone  \\strike gone\\strike0  \\f1\\fs30 mono\\plain  "
                    "{\\cf1 red} {\\highlight2 marked} x{\\super 2} H{\\sub 3}O}",
                    &document);
    QCOMPARE(document.toPlainText(), QStringLiteral("plain bold both under gone mono red marked x2 H3O"));
    const auto at = [&document](const char *text) {
        return formatOf(document, QString::fromUtf8(text));
    };
    const QTextCharFormat mono = at("mono");
    QCOMPARE(std::tuple(at("plain").fontFamilies().toStringList(), at("plain").fontPointSize(),
                        mono.fontFamilies().toStringList(), mono.fontPointSize()),
             std::tuple(QStringList{"Times New Roman"}, 12.0, QStringList{"Courier New"}, 15.0));
    QCOMPARE(std::tuple(at("bold").fontItalic(), at("both").fontItalic(), at("under").fontUnderline(),
                        at("gone").fontStrikeOut(), mono.fontUnderline() || mono.fontStrikeOut(),
                        at("bold").fontWeight() == QFont::Bold && at("both").fontWeight() == QFont::Bold),
             std::tuple(false, true, true, true, false, true));
    QCOMPARE(std::pair(at("red").foreground().color(), at("marked").background().color()),
             std::pair(QColor(255, 0, 0), QColor(0, 0, 255)));
    QCOMPARE(
        std::tuple(at("2").verticalAlignment(), at("3").verticalAlignment(), at("O").verticalAlignment()),
        std::tuple(QTextCharFormat::AlignSuperScript, QTextCharFormat::AlignSubScript, QTextCharFormat::AlignNormal));

    // Paragraph formats, a page break, a table (its second row not marked \intbl, as some writers
    // leave it) and a link.
    QTextDocument paragraphs;
    RtfReader::Read(
        "{\\rtf1\\pard\\qc\\li720\\fi-360\\sb120 Title\\par\\pard Body\\par\\page After"
        "\\par\\trowd\\cellx1000\\cellx2000\\pard\\intbl Code\\cell Effect\\cell\\row"
        "\\trowd\\cellx1000\\cellx2000 UP UP\\cell 99 lives\\cell\\row"
        "\\pard See {\\field{\\*\\fldinst{HYPERLINK \"https://example.org/faq\"}}{\\fldrslt{\\ul the FAQ}}}.}",
        &paragraphs);
    const QTextBlock title = paragraphs.begin();
    const QTextBlockFormat centred = title.blockFormat();
    // Its hanging first line tabs to where the other lines start.
    QCOMPARE(std::tuple(title.text(), centred.alignment(), centred.leftMargin(), centred.textIndent(),
                        centred.topMargin(), centred.tabPositions().value(0).position),
             std::tuple(QStringLiteral("Title"), Qt::Alignment(Qt::AlignHCenter), 36.0, -18.0, 6.0, 36.0));
    QCOMPARE(title.next().blockFormat().alignment(), Qt::AlignLeft);
    QCOMPARE(std::pair(title.next().next().text(), title.next().next().blockFormat().pageBreakPolicy()),
             std::pair(QStringLiteral("After"), QTextFormat::PageBreakFlags(QTextFormat::PageBreak_AlwaysBefore)));

    auto *table = qobject_cast<QTextTable *>(paragraphs.rootFrame()->childFrames().value(0));
    QVERIFY(table && paragraphs.rootFrame()->childFrames().size() == 1);
    QCOMPARE(std::tuple(table->rows(), table->columns(), table->cellAt(1, 1).firstCursorPosition().block().text()),
             std::tuple(2, 2, QStringLiteral("99 lives")));

    const QTextCharFormat anchor = formatOf(paragraphs, QStringLiteral("the FAQ"));
    QCOMPARE(std::tuple(anchor.isAnchor(), anchor.fontUnderline(), anchor.anchorHref(),
                        formatOf(paragraphs, QStringLiteral(".")).isAnchor()),
             std::tuple(true, true, QStringLiteral("https://example.org/faq"), false));
}

void tst_rtfreader::longTableIsReadWhole()
{
    // Rows of three cells, one of five halfway, cells of two paragraphs: a row at a time would take minutes.
    constexpr int rows = 20000, piece = RtfTableBuilder::rowsPerPiece;
    QByteArray rtf = "{\\rtf1\\ansi Before\\par\n";
    for (int row = 0; row < rows; ++row) {
        const QByteArray n = QByteArray::number(row);
        rtf += "\\trowd\\intbl r" + n + "\\cell {\\b b" + n + "}\\cell c" + n + "\\par second" + n + "\\cell";
        rtf += row == rows / 2 ? " d\\cell e\\cell\\row\n" : "\\row\n";
    }
    rtf += "\\pard After}";
    QTextDocument document;
    RtfReader::Read(rtf, &document);

    // It comes in pieces of equal columns, one after another, with nothing that takes room between.
    std::vector<QTextTable *> pieces;
    for (auto it = document.rootFrame()->begin(); !it.atEnd(); ++it) {
        if (auto *table = qobject_cast<QTextTable *>(it.currentFrame()))
            pieces.push_back(table);
        else if (!pieces.empty() && it.currentBlock() != document.lastBlock())
            QCOMPARE(std::pair(it.currentBlock().length(), it.currentBlock().blockFormat().lineHeight()),
                     std::pair(1, 0.0));
    }
    QCOMPARE(int(pieces.size()), rows / piece);
    for (const QTextTable *table : pieces) {
        const QVector<QTextLength> widths = table->format().columnWidthConstraints();
        QCOMPARE(
            std::tuple(table->rows(), int(widths.size()), widths.first()),
            std::tuple(piece, table->columns(), QTextLength(QTextLength::PercentageLength, 100.0 / table->columns())));
    }
    const auto cellText = [&pieces](int row, int column) {
        const QTextTableCell cell = pieces[row / piece]->cellAt(row % piece, column);
        QTextCursor cursor = cell.firstCursorPosition();
        cursor.setPosition(cell.lastCursorPosition().position(), QTextCursor::KeepAnchor);
        return cursor.selectedText().replace(QChar::ParagraphSeparator, QLatin1Char('|'));
    };
    QCOMPARE(std::tuple(cellText(0, 0), cellText(rows - 1, 2), cellText(rows / 2, 3), cellText(rows / 2, 4),
                        cellText(rows / 2 + 1, 4)),
             std::tuple(QStringLiteral("r0"), QStringLiteral("c19999|second19999"), QStringLiteral("d"),
                        QStringLiteral("e"), QString()));
    QCOMPARE(std::tuple(pieces[0]->columns(), pieces[rows / 2 / piece]->columns(),
                        pieces[7]->cellAt(77, 1).firstCursorPosition().charFormat().fontWeight()),
             std::tuple(3, 5, int(QFont::Bold)));
    // The paragraph before the table keeps its look: only those between pieces take no room.
    QCOMPARE(std::tuple(document.begin().text(), document.begin().blockFormat().lineHeightType(),
                        document.lastBlock().text(), RtfReader::PlainText(rtf).count(QLatin1Char('\n'))),
             std::tuple(QStringLiteral("Before"), int(QTextBlockFormat::SingleHeight), QStringLiteral("After"),
                        qsizetype(2 * rows + 1)));
    // Told to stop, the reader keeps what it read so far and goes no further.
    const std::atomic<bool> stop{true};
    QTextDocument stopped;
    RtfReader::Read(rtf, &stopped, &stop);
    QVERIFY(stopped.toPlainText().startsWith(QLatin1String("Before")) &&
            stopped.characterCount() < document.characterCount() / 10);
    // Written back, the pieces are one table again: rows back to back.
    QTextDocument again;
    RtfReader::Read(RtfWriter::FromDocument(document), &again);
    QCOMPARE(std::pair(again.toPlainText(), again.rootFrame()->childFrames().size()),
             std::pair(document.toPlainText(), qsizetype(pieces.size())));
}

void tst_rtfreader::longTextIsReadInParts()
{
    // Parts end at paragraph marks, formats carry on across a cut, and the parts make the whole text.
    QByteArray rtf = "{\\rtf1\\ansi {\\b Head}\\par\n";
    for (int line = 0; line < 25; ++line)
        rtf += (line == 10 ? "\\qc\\fs40 " : "") + QByteArray("line ") + QByteArray::number(line) + "\\par\n";
    for (int row = 0; row < 12; ++row)
        rtf += "\\trowd\\intbl a" + QByteArray::number(row) + "\\cell b\\cell\\row\n";
    rtf += "\\pard tail}";
    QTextDocument whole;
    RtfReader::Read(rtf, &whole);
    // The text's lines; a cut table leaves an empty one after each of its pieces.
    const auto lines = [](const QString &text) {
        return text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    };
    QTextDocument parted;
    QStringList parts;
    std::vector<std::pair<int, Qt::Alignment>> starts;
    RtfReader::ReadInParts(rtf, &parted, 8, [&](bool last) {
        parts << parted.toPlainText() + (last ? QStringLiteral("|") : QString());
        starts.emplace_back(int(parted.rootFrame()->childFrames().size()), parted.begin().blockFormat().alignment());
        return true;
    });
    QCOMPARE(lines(parts.join(QLatin1Char('\n'))), lines(whole.toPlainText() + QLatin1Char('|')));
    // 26 lines: three parts of 8; the last two with six rows; six rows in a table of their own and the tail.
    QCOMPARE(parts.size(), 5);
    QCOMPARE(
        std::tuple(starts[1].second, starts[2].second, starts[3].first, starts[4].first, parts[4].endsWith("tail|")),
        std::tuple(Qt::Alignment(Qt::AlignLeft), Qt::Alignment(Qt::AlignHCenter), 1, 1, true));
    // A table longer than a part is cut between rows however many rows Qt is given at a time.
    QByteArray rows = "{\\rtf1 ";
    for (int row = 0; row < 250; ++row)
        rows += "\\trowd\\intbl r" + QByteArray::number(row) + "\\cell x\\cell\\row\n";
    QTextDocument table;
    QStringList tableParts;
    int tables = 0;
    rows += "}";
    RtfReader::ReadInParts(rows, &table, 100, [&](bool) {
        tables += int(table.rootFrame()->childFrames().size());
        return (tableParts << table.toPlainText().trimmed(), true);
    });
    RtfReader::Read(rows, &whole);
    QVERIFY(tableParts.size() > 1 && tables >= tableParts.size());
    QCOMPARE(lines(tableParts.join(QLatin1Char('\n'))), lines(whole.toPlainText()));

    // A paragraph longer than asked for is broken after a blank, and no character is lost.
    const QByteArray words = QByteArray("word ").repeated(5000);
    QTextDocument broken;
    QList<int> lengths;
    RtfReader::ReadInParts(
        QByteArray("{\\rtf1 " + words + "}"), &broken, 3,
        [&](bool) {
            for (QTextBlock block = broken.begin(); block.isValid(); block = block.next())
                lengths << block.length() - 1;
            return true;
        },
        nullptr, 10000);
    QCOMPARE(lengths, QList<int>({10000, 10000, 5000}));

    // Asked to end, the reading hands over no more parts.
    QTextDocument document;
    int calls = 0;
    RtfReader::ReadInParts(rtf, &document, 3, [&](bool) { return ++calls < 2; });
    QCOMPARE(std::pair(calls, document.toPlainText().count(QLatin1Char('\n'))), std::pair(2, qsizetype(2)));
}

void tst_rtfreader::badAndRealWorldInput()
{
    // Truncated anywhere: what was read so far is kept.
    const QByteArray sample = "{\\rtf1{\\fonttbl{\\f0 Arial;}}{\\colortbl;\\red1\\green2\\blue3;}\\pard\\b Boss\\b0 "
                              "\\u233? {\\field{\\*\\fldinst HYPERLINK \"x\"}{\\fldrslt link}}\\trowd\\cellx9\\intbl "
                              "c\\cell\\row\\'e9{\\pict 0a0b}\\bin2 ab end}";
    for (qsizetype length = 0; length <= sample.size(); ++length) {
        QTextDocument document;
        RtfReader::Read(sample.left(length), &document);
        RtfReader::PlainText(sample.left(length));
        // Only the whole document is whole, however it was cut.
        QCOMPARE(RtfReader::IsWhole(sample.left(length)), length == sample.size());
    }
    QCOMPARE(std::tuple(RtfReader::IsWhole(QByteArray("{\\rtf1 \\{a\\}{\\pict\\bin3 }}}}}\r\n\0\x1a", 33)),
                        RtfReader::IsWhole("{\\rtf1 a}}"), RtfReader::IsWhole("{\\rtf1 a} more text"),
                        RtfReader::IsWhole("{\\rtf1 \\bin99 a}")),
             std::tuple(true, false, false, false));
    QVERIFY(RtfReader::PlainText(sample.left(sample.indexOf(" \\u233"))).endsWith(QLatin1String("Boss")));

    QCOMPARE(RtfReader::PlainText(QByteArray("{\\rtf1 a\0b\x01}", 12)), QStringLiteral("ab"));
    // Deep nesting costs no more than its length.
    QByteArray deep = "{\\rtf1 ";
    deep.append(QByteArray(200000, '{')).append("deep").append(QByteArray(200000, '}')).append(" out}");
    QTextDocument document;
    RtfReader::Read(deep, &document);
    QCOMPARE(std::pair(RtfReader::PlainText(deep), document.toPlainText()),
             std::pair(QStringLiteral("deep out"), QStringLiteral("deep out")));

    // Documents against the text a word processor shows for them, word by word; inputs that once broke the reader.
    const QDir samples(QStringLiteral(LOREKEEP_FIXTURES "/rtf"));
    const QStringList files = samples.entryList({QStringLiteral("*.rtf")}, QDir::Files, QDir::Name);
    QVERIFY(files.size() >= 10);
    for (const QString &name : files) {
        const QByteArray bytes = readFile(samples.filePath(name));
        const QStringList ours = words(RtfReader::PlainText(bytes));
        const QStringList theirs = words(QString::fromUtf8(
            readFile(samples.filePath(QString(name).replace(QLatin1String(".rtf"), QLatin1String(".expected.txt"))))));
        QVERIFY2(!bytes.isEmpty() && !theirs.isEmpty(), qPrintable(name));
        // Longest common subsequence of the two word lists.
        std::vector<int> previous(std::size_t(theirs.size()) + 1), current(previous.size());
        for (const QString &word : ours) {
            for (qsizetype j = 0; j < theirs.size(); ++j)
                current[std::size_t(j + 1)] = word == theirs[j]
                                                  ? previous[std::size_t(j)] + 1
                                                  : std::max(previous[std::size_t(j + 1)], current[std::size_t(j)]);
            std::swap(previous, current);
        }
        const double score = 2.0 * previous.back() / double(std::max<qsizetype>(1, ours.size() + theirs.size()));
        QVERIFY2(score >= 0.97,
                 qPrintable(QStringLiteral("%1: %2% of words match").arg(name).arg(score * 100, 0, 'f', 1)));
        // Read, written and read again: the same text.
        QTextDocument first, second;
        RtfReader::Read(bytes, &first);
        RtfReader::Read(RtfWriter::FromDocument(first), &second);
        QVERIFY2(!first.isEmpty() && second.toPlainText() == first.toPlainText(), qPrintable(name));
    }

    const QDir crashers(QStringLiteral(LOREKEEP_FIXTURES "/rtf-crashers"));
    for (const QString &name : crashers.entryList({QStringLiteral("*.rtf")}, QDir::Files)) {
        const QByteArray bytes = readFile(crashers.filePath(name));
        QVERIFY2(!bytes.isEmpty(), qPrintable(name));
        RtfReader::PlainText(bytes);
        QTextDocument document;
        RtfReader::Read(bytes, &document);
    }
}

void tst_rtfreader::nestedTablesHeadersAndPictures()
{
    const QDir samples(QStringLiteral(LOREKEEP_FIXTURES "/rtf"));
    // Tables in cells, two and three deep, as Word writes them: each cell's words apart in the plain text,
    // and a table inside the cell in the document, the outer cell's own text after it.
    const QByteArray twoDeep = readFile(samples.filePath(QStringLiteral("nested-table-2-levels-word.rtf")));
    QCOMPARE(RtfReader::PlainText(twoDeep).section(QLatin1Char('\n'), 1, 3),
             QStringLiteral("Hornet\tNeedle\tDash\nThread\tJump\nStay low."));
    QTextDocument two;
    RtfReader::Read(twoDeep, &two);
    QTextTable *outer = tablesIn(two.rootFrame()).value(0);
    QVERIFY(outer && tablesIn(two.rootFrame()).size() == 1 && outer->rows() == 2 && outer->columns() == 2);
    QTextTable *inner = tablesIn(outer).value(0);
    QVERIFY(inner && inner->rows() == 2 && inner->columns() == 2);
    QCOMPARE(std::tuple(cellText(inner, 0, 1), cellText(inner, 1, 0),
                        cellText(outer, 0, 1).endsWith(QLatin1String("Stay low.")), cellText(outer, 1, 0)),
             std::tuple(QStringLiteral("Dash"), QStringLiteral("Thread"), true, QStringLiteral("Mantis Lords")));
    QTextDocument three;
    RtfReader::Read(readFile(samples.filePath(QStringLiteral("nested-table-3-levels-word.rtf"))), &three);
    QTextTable *middle = tablesIn(tablesIn(three.rootFrame()).value(0)).value(0);
    QTextTable *deepest = middle ? tablesIn(middle).value(0) : nullptr;
    QVERIFY(deepest && middle->rows() == 2 && deepest->rows() == 1 && deepest->columns() == 2);
    QCOMPARE(std::tuple(cellText(middle, 0, 0), cellText(deepest, 0, 1), cellText(middle, 1, 1)),
             std::tuple(QStringLiteral("Crossroads"), QStringLiteral("Knight"), QStringLiteral("Hornet")));
    // Tables nested deeper than four go on as cells of the fourth, which is laid out in a blink.
    QTextDocument deep;
    RtfReader::Read("{\\rtf1\\trowd\\cellx9\\pard\\intbl\\itap40 a\\nestcell\\itap30 b\\nestcell\\cell\\row}", &deep);
    int depth = 0;
    for (const QTextFrame *frame = deep.rootFrame(); !tablesIn(frame).isEmpty(); frame = tablesIn(frame).value(0))
        ++depth;
    QCOMPARE(std::pair(depth, RtfReader::PlainText("{\\rtf1\\itap40 a\\nestcell\\itap30 b\\nestcell}")),
             std::pair(4, QStringLiteral("a\tb\t")));

    // Headers first and footers last, each text once, page numbers and what they leave gone; a later
    // section's header goes with the footers, a header inside a header is not shown.
    const QByteArray variants = readFile(samples.filePath(QStringLiteral("header-footer-variants-word.rtf")));
    const QStringList lines = RtfReader::PlainText(variants).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(std::tuple(lines.size(), lines.value(0), lines.value(1), lines.value(4)),
             std::tuple(5, QStringLiteral("Celeste Strawberry Guide"), QStringLiteral("Chapter 1: Forsaken City"),
                        QStringLiteral("Written by Mara for the speedrun club")));
    QCOMPARE(RtfReader::PlainText("{\\rtf1{\\footer Foot {\\field{\\*\\fldinst PAGE}{\\fldrslt 7}}}"
                                  "{\\header Top{\\header inner}}Body\\sect{\\header Later}More}"),
             QStringLiteral("Top\nBody\nMore\nFoot\nLater"));
    QTextDocument headed;
    RtfReader::Read(variants, &headed);
    const QTextCharFormat top = headed.begin().charFormat();
    QCOMPARE(
        std::tuple(headed.begin().text(), top.fontPointSize(), top.foreground().color(), headed.lastBlock().text()),
        std::tuple(QStringLiteral("Celeste Strawberry Guide"), 8.0, QColor(Qt::darkGray),
                   QStringLiteral("Written by Mara for the speedrun club")));
    QCOMPARE(formatOf(headed, QStringLiteral("The first strawberry")).fontPointSize(), 12.0);

    // Pictures: PNG and JPEG shown at their set size and scale or their own, in hex or binary; the rest
    // a placeholder with its size, never their data as text.
    const QByteArray png = hexImage(QImage(40, 20, QImage::Format_RGB32), "PNG");
    QImage red(40, 20, QImage::Format_RGB32);
    red.fill(Qt::red);
    const QByteArray redPng = hexImage(red, "PNG");
    const QByteArray rawPng = QByteArray::fromHex(redPng);
    const QByteArray huge = hexImage(QImage(10001, 1, QImage::Format_Mono), "PNG");
    const QString obj(QChar::ObjectReplacementCharacter);
    const std::tuple<QByteArray, QString, QSize> pictures[] = {
        {"{\\pict\\pngblip\\picw40\\pich20\\picwgoal900\\pichgoal450 " + redPng + "}", obj, QSize(60, 30)},
        {"{\\pict\\pngblip\\picscalex50\\picscaley200 " + png + "}", obj, QSize(20, 40)},
        {"{\\pict\\jpegblip\\picwgoal300\\pichgoal150{\\*\\blipuid 00ff}" + hexImage(red, "JPG") + "}", obj,
         QSize(20, 10)},
        {"{\\pict\\pngblip\\bin" + QByteArray::number(rawPng.size()) + " " + rawPng + "}", obj, QSize(40, 20)},
        {"{\\*\\shppict{\\pict\\pngblip " + png + "}}{\\nonshppict{\\pict\\wmetafile8 0102}}", obj, QSize(40, 20)},
        {"{\\pict\\wmetafile8\\picw7408\\pich5292\\picwgoal2381\\pichgoal1701 0100090000}",
         QStringLiteral("[picture 4.2 \u00D7 3.0 cm]"),
         {}},
        {"{\\plain\\pict\\emfblip\\picw2000\\pich1000 0100}", QStringLiteral("[picture 2.0 \u00D7 1.0 cm]"), {}},
        {"{\\pict\\dibitmap0\\picw96\\pich48 28000000}", QStringLiteral("[picture 2.5 \u00D7 1.3 cm]"), {}},
        {"{\\pict\\pngblip " + png.left(60) + "}", QStringLiteral("[picture]"), {}},
        {"{\\pict\\pngblip " + huge + "}", QStringLiteral("[picture]"), {}},
        {"{\\v{\\pict\\pngblip " + png + "}}", QString(), {}},
        // More data than any picture worth showing: it is not even kept.
        {"{\\pict\\pngblip\\bin20971521 " + QByteArray::fromHex(png) + QByteArray(20971521, '\0') + "}",
         QStringLiteral("[picture]"),
         {}},
    };
    for (const auto &[picture, text, size] : pictures) {
        QTextDocument document;
        RtfReader::Read(QByteArray("{\\rtf1 a" + picture + "b}"), &document);
        QCOMPARE(document.toPlainText(), QStringLiteral("a%1b").arg(text));
        const QTextImageFormat image = formatOf(document, obj).toImageFormat();
        QCOMPARE(image.isValid() ? QSizeF(image.width(), image.height()).toSize() : QSize(), size);
        if (image.isValid())
            QCOMPARE(document.resource(QTextDocument::ImageResource, QUrl(image.name())).value<QImage>().size(),
                     QSize(40, 20));
    }
    QTextDocument decoded;
    RtfReader::Read(QByteArray("{\\rtf1 {\\pict\\pngblip " + redPng + "}}"), &decoded);
    const QImage shown =
        decoded.resource(QTextDocument::ImageResource, QUrl(formatOf(decoded, obj).toImageFormat().name()))
            .value<QImage>();
    QCOMPARE(shown.pixelColor(39, 19), QColor(Qt::red));
    QCOMPARE(std::tuple(RtfReader::ShowsPicture("{\\rtf1 {\\pict\\wmetafile8 01}}"),
                        RtfReader::ShowsPicture("{\\rtf1 {\\*\\unknown{\\pict 01}} text}")),
             std::tuple(true, false));
}

QTEST_MAIN(tst_rtfreader)
#include "tst_rtfreader.moc"
