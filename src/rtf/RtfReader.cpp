#include "RtfReader.h"

#include "RtfInput.h"
#include "RtfParser.h"
#include "RtfPicture.h"
#include "RtfTableBuilder.h"

#include <QStringList>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextFormat>

#include <optional>
#include <utility>

namespace {

using RtfInput::decodePlain;
using RtfInput::rtfStart;

// Twips to the points that QTextFormat lengths are taken in (the writer uses the same rule).
qreal points(int twips)
{
    return twips / 20.0;
}

// Builds document content at a cursor.
class DocumentSink final : public RtfSink
{
public:
    DocumentSink(QTextCursor &cursor, const RtfParser &parser)
        : m_cursor(cursor), m_parser(parser), m_table(cursor, tableFormat())
    {}

    // Hands the document to `part` whenever a paragraph or a table's row ends the `blocks`th of the
    // part, and goes on in the emptied document; `part` answers false to end the reading, which
    // then turns `ended` true, as `stop` does when it turns true.
    // Breaks paragraphs outside tables that would pass `length` characters, after a blank near there.
    void setLongestParagraph(qsizetype length) { m_longest = length; }

    void setParts(int blocks, const RtfReader::PartFn &part, std::atomic<bool> *ended, const std::atomic<bool> *stop)
    {
        m_partBlocks = blocks;
        m_part = part;
        m_ended = ended;
        m_stop = stop;
    }

    // Whether the reading was ended: the parser, which looks at its stop flag only now and then,
    // may go on a little.
    bool ended()
    {
        if (m_stop && m_stop->load(std::memory_order_relaxed))
            m_ended->store(true, std::memory_order_relaxed);
        return m_ended && m_ended->load(std::memory_order_relaxed);
    }

    void text(QStringView text, const RtfCharState &chars, const RtfParaState &para) override
    {
        if (ended())
            return;
        m_bodyStarted = true;
        place(para);
        if (m_table.isOpen())
            m_table.insertText(text.toString(), charFormat(chars));
        else
            insertText(text, charFormat(chars));
    }

    void picture(const RtfPicture &picture, const RtfParaState &para) override
    {
        if (ended())
            return;
        m_bodyStarted = true;
        place(para);
        QTextImageFormat image;
        if (picture.AddTo(m_cursor.document(), &image)) {
            if (!m_href.isEmpty()) {
                image.setAnchor(true);
                image.setAnchorHref(m_href);
            }
            const QString object(QChar::ObjectReplacementCharacter);
            if (m_table.isOpen())
                m_table.insertText(object, image);
            else
                insertText(object, image);
            return;
        }
        const QTextCharFormat placeholder = picture.PlaceholderFormat();
        if (m_table.isOpen())
            m_table.insertText(picture.Placeholder(), placeholder);
        else
            insertText(picture.Placeholder(), placeholder);
    }

    void story(bool footer, const QString &text) override
    {
        if (ended())
            return;
        // Headers come before the body in RTF; those of later sections are shown with the footers.
        if (footer || m_bodyStarted) {
            m_laterStories.emplace_back(footer, text);
            return;
        }
        insertStory(false, text);
        m_cursor.insertBlock(QTextBlockFormat(), QTextCharFormat());
        m_lastBlockFormat = QTextBlockFormat();
    }

    void paragraph(const RtfParaState &para) override
    {
        if (ended())
            return;
        place(para);
        if (m_table.isOpen()) {
            m_table.setBlockFormat(blockFormat(para));
            m_table.insertBlock();
        } else {
            setBlockFormat(blockFormat(para));
            endParagraph();
        }
    }

    void pageBreak() override
    {
        if (ended())
            return;
        // The break belongs to the paragraph that follows it.
        if (m_table.isOpen() ? m_table.blockHasText() : m_cursor.block().length() > 1) {
            if (m_table.isOpen())
                m_table.insertBlock();
            else
                m_cursor.insertBlock();
            m_blockLength = 0;
        }
        m_breakBefore = true;
    }

    void cell(const RtfParaState &para) override
    {
        if (ended())
            return;
        m_bodyStarted = true;
        const QTextBlockFormat format = blockFormat(para);
        m_table.enterCell(m_column);
        m_table.leaveNested(1);
        m_table.setBlockFormat(format);
        ++m_column;
        m_nestColumns.clear();
    }

    void nestedCell(const RtfParaState &para) override
    {
        if (ended())
            return;
        m_bodyStarted = true;
        const int level = std::max(para.tableDepth, 2);
        const QTextBlockFormat format = blockFormat(para);
        enterDepth(level);
        m_table.setBlockFormat(format);
        ++nestColumn(level);
        m_nestColumns.resize(std::size_t(level - 1));
    }

    void nestedRow(const RtfParaState &para) override
    {
        if (ended())
            return;
        const int level = std::max(para.tableDepth, 2);
        m_table.endNestedRow(level);
        nestColumn(level) = 0;
        m_nestColumns.resize(std::size_t(level - 1));
    }

    void row() override
    {
        if (ended())
            return;
        m_column = 0;
        m_nestColumns.clear();
        if (!m_table.isOpen())
            return;
        m_table.endRow();
        // A table as long as a part is cut between rows; what follows goes on in a table of its own.
        if (m_part && ++m_lines >= m_partBlocks) {
            leaveTable();
            nextPart();
        }
    }

    void beginLink(const QString &href) override { m_href = href; }
    void endLink() override { m_href.clear(); }

    void finish(const RtfParaState &para) override
    {
        if (ended())
            return;
        if (!para.inTable && !m_table.isOpen())
            setBlockFormat(blockFormat(para));
        leaveTable();
        for (const auto &[footer, text] : m_laterStories) {
            if (m_cursor.block().length() > 1)
                m_cursor.insertBlock(QTextBlockFormat(), QTextCharFormat());
            insertStory(footer, text);
        }
    }

private:
    void nextPart()
    {
        m_lines = 0;
        m_cursor.endEditBlock();
        // The next paragraph starts as it would after a paragraph mark in one document.
        const QTextBlockFormat blockFormat = m_cursor.blockFormat();
        const QTextCharFormat charFormat = m_cursor.charFormat();
        if (!m_part(false)) {
            m_ended->store(true);
            m_cursor.beginEditBlock(); // for the reading's own end
            return;
        }
        QTextDocument *document = m_cursor.document();
        document->clear();
        m_cursor = QTextCursor(document);
        m_cursor.beginEditBlock();
        m_cursor.setBlockFormat(blockFormat);
        m_cursor.setBlockCharFormat(charFormat);
        m_lastBlockFormat = blockFormat;
    }

    // Ends the paragraph at the cursor, outside tables: the next takes over its format, in this
    // part or the next.
    void endParagraph()
    {
        if (m_part && ++m_lines >= m_partBlocks)
            nextPart();
        else
            m_cursor.insertBlock();
        m_blockLength = 0;
    }

    void insertText(QStringView text, const QTextCharFormat &format)
    {
        while (m_longest > 0 && m_blockLength + text.size() > m_longest) {
            const qsizetype room = m_longest - m_blockLength;
            qsizetype cut = room;
            for (qsizetype back = room; back > room / 2; --back) {
                if (text[back - 1] == QLatin1Char(' ') || text[back - 1] == QLatin1Char('\t')) {
                    cut = back;
                    break;
                }
            }
            if (cut > 0 && text[cut].isLowSurrogate())
                --cut;
            m_cursor.insertText(text.first(cut).toString(), format);
            endParagraph();
            if (ended())
                return;
            text = text.sliced(cut);
        }
        m_cursor.insertText(text.toString(), format);
        m_blockLength += text.size();
    }

    void place(const RtfParaState &para)
    {
        if (para.inTable)
            enterDepth(para.tableDepth);
        else
            leaveTable();
    }

    // Enters the cells that hold text at `depth`: the outer table's, and those of the tables in it.
    void enterDepth(int depth)
    {
        m_table.enterCell(m_column);
        for (int level = 2; level <= depth; ++level)
            m_table.enterNested(level, nestColumn(level));
        m_table.leaveNested(depth);
    }

    int &nestColumn(int level)
    {
        if (m_nestColumns.size() < std::size_t(level - 1))
            m_nestColumns.resize(std::size_t(level - 1), 0);
        return m_nestColumns[std::size_t(level - 2)];
    }

    // A header's or footer's lines at the cursor, small and grey: they are no part of the text.
    void insertStory(bool footer, const QString &text)
    {
        leaveTable();
        QTextBlockFormat block;
        if (footer)
            block.setTopMargin(6);
        else
            block.setBottomMargin(6);
        QTextCharFormat chars;
        chars.setFontPointSize(8);
        chars.setForeground(Qt::darkGray);
        const QStringList lines = text.split(QLatin1Char('\n'));
        for (qsizetype i = 0; i < lines.size(); ++i) {
            if (i > 0)
                m_cursor.insertBlock();
            m_cursor.setBlockFormat(block);
            m_cursor.setBlockCharFormat(chars);
            m_cursor.insertText(lines[i], chars);
        }
        m_lastBlockFormat = block;
        m_blockLength = 0;
    }

    void leaveTable()
    {
        if (!m_table.isOpen())
            return;
        m_table.close();
        m_lastBlockFormat.reset();
        m_blockLength = 0;
    }

    // A paragraph takes over the format of the one before it, and most documents keep one format
    // for most paragraphs: setting it again costs far more than comparing.
    void setBlockFormat(const QTextBlockFormat &format)
    {
        if (m_lastBlockFormat != format) {
            m_cursor.setBlockFormat(format);
            m_lastBlockFormat = format;
        }
    }

    static QTextTableFormat tableFormat()
    {
        // Each cell draws its own border: Qt lays a collapsed-border table out several times slower.
        QTextTableFormat format;
        format.setBorder(1);
        format.setBorderStyle(QTextFrameFormat::BorderStyle_Solid);
        format.setBorderBrush(Qt::darkGray);
        format.setCellPadding(3);
        format.setCellSpacing(0);
        return format;
    }

    QTextCharFormat charFormat(const RtfCharState &chars) const
    {
        QTextCharFormat format;
        const auto &fonts = m_parser.fonts();
        auto font = fonts.constFind(chars.font);
        if (font == fonts.constEnd())
            font = fonts.constFind(m_parser.defaultFont());
        if (font != fonts.constEnd() && !font->name.isEmpty())
            format.setFontFamilies({font->name});
        if (font != fonts.constEnd() && font->fixedPitch) {
            format.setFontFixedPitch(true);
            format.setFontStyleHint(QFont::TypeWriter);
        }
        format.setFontPointSize(chars.halfPoints / 2.0);
        if (chars.bold)
            format.setFontWeight(QFont::Bold);
        if (chars.italic)
            format.setFontItalic(true);
        if (chars.underline)
            format.setFontUnderline(true);
        if (chars.strike)
            format.setFontStrikeOut(true);
        const QVector<QColor> &colors = m_parser.colors();
        if (chars.foreground > 0 && chars.foreground < colors.size() && colors[chars.foreground].isValid())
            format.setForeground(colors[chars.foreground]);
        if (chars.background > 0 && chars.background < colors.size() && colors[chars.background].isValid())
            format.setBackground(colors[chars.background]);
        if (chars.vertical != 0)
            format.setVerticalAlignment(chars.vertical > 0 ? QTextCharFormat::AlignSuperScript
                                                           : QTextCharFormat::AlignSubScript);
        if (!m_href.isEmpty()) {
            format.setAnchor(true);
            format.setAnchorHref(m_href);
        }
        return format;
    }

    QTextBlockFormat blockFormat(const RtfParaState &para)
    {
        QTextBlockFormat format;
        if (std::exchange(m_breakBefore, false))
            format.setPageBreakPolicy(QTextFormat::PageBreak_AlwaysBefore);
        static constexpr Qt::Alignment alignments[] = {Qt::AlignLeft, Qt::AlignRight, Qt::AlignHCenter,
                                                       Qt::AlignJustify};
        format.setAlignment(alignments[para.align]);
        if (para.leftIndent)
            format.setLeftMargin(points(para.leftIndent));
        if (para.rightIndent)
            format.setRightMargin(points(para.rightIndent));
        if (para.firstIndent)
            format.setTextIndent(points(para.firstIndent));
        // A hanging first line (a list item's bullet or number) tabs to where the other lines
        // start, as word processors do without a tab stop of their own there.
        if (para.firstIndent < 0 && para.leftIndent > 0)
            format.setTabPositions({QTextOption::Tab(points(para.leftIndent), QTextOption::LeftTab)});
        if (para.spaceBefore)
            format.setTopMargin(points(para.spaceBefore));
        if (para.spaceAfter)
            format.setBottomMargin(points(para.spaceAfter));
        return format;
    }

    QTextCursor &m_cursor;
    const RtfParser &m_parser;
    RtfTableBuilder m_table;
    int m_column = 0;
    std::vector<int> m_nestColumns; // the column in each table inside the current cell, from level 2 on
    bool m_bodyStarted = false;
    std::vector<std::pair<bool, QString>> m_laterStories; // footer?, text
    bool m_breakBefore = false;
    QString m_href;
    // The format given to the paragraphs outside tables, which the next one takes over.
    std::optional<QTextBlockFormat> m_lastBlockFormat;
    qsizetype m_longest = 0;
    qsizetype m_blockLength = 0; // characters in the paragraph at the cursor, outside tables
    int m_partBlocks = 0;
    int m_lines = 0; // in this part: paragraphs outside tables, and tables' rows
    RtfReader::PartFn m_part;
    std::atomic<bool> *m_ended = nullptr;
    const std::atomic<bool> *m_stop = nullptr;
};

void insert(QByteArrayView rtf, QTextCursor &cursor, const std::atomic<bool> *stop)
{
    cursor.beginEditBlock();
    const qsizetype start = rtfStart(rtf);
    if (start < 0) {
        cursor.insertText(decodePlain(rtf));
    } else {
        RtfParser parser(nullptr);
        DocumentSink sink(cursor, parser);
        parser.setSink(&sink);
        parser.setStop(stop);
        parser.parse(rtf.sliced(start));
    }
    cursor.endEditBlock();
}

// Plain text in parts, each cut where its document reaches `blocks` lines.
void plainInParts(const QString &text, QTextDocument *document, int blocks, const RtfReader::PartFn &part,
                  const std::atomic<bool> *stop)
{
    QTextCursor cursor(document);
    cursor.movePosition(QTextCursor::End);
    qsizetype from = 0;
    for (;;) {
        // The part's `blocks`th line end ends it.
        qsizetype to = from - 1;
        for (int n = 0; n < blocks && (n == 0 || to >= 0); ++n)
            to = text.indexOf(QLatin1Char('\n'), to + 1);
        if (to < 0) {
            cursor.insertText(QStringView(text).sliced(from).toString());
            part(true);
            return;
        }
        cursor.insertText(QStringView(text).sliced(from, to - from).toString());
        if ((stop && stop->load()) || !part(false))
            return;
        document->clear();
        cursor = QTextCursor(document);
        from = to + 1;
    }
}

} // namespace

namespace RtfReader {

void Read(QByteArrayView rtf, QTextDocument *document, const std::atomic<bool> *stop)
{
    const bool undo = document->isUndoRedoEnabled();
    document->setUndoRedoEnabled(false);
    document->clear();
    QTextCursor cursor(document);
    insert(rtf, cursor, stop);
    document->setUndoRedoEnabled(undo);
}

void Insert(QByteArrayView rtf, QTextCursor &cursor)
{
    insert(rtf, cursor, nullptr);
}

void ReadInParts(QByteArrayView rtf, QTextDocument *document, int blocks, const PartFn &part,
                 const std::atomic<bool> *stop, qsizetype longestParagraph)
{
    const bool undo = document->isUndoRedoEnabled();
    document->setUndoRedoEnabled(false);
    const qsizetype start = rtfStart(rtf);
    if (start < 0) {
        plainInParts(decodePlain(rtf), document, blocks, part, stop);
    } else {
        // Each part is one edit block, ended before the part is handed over.
        QTextCursor cursor(document);
        cursor.movePosition(QTextCursor::End);
        cursor.beginEditBlock();
        RtfParser parser(nullptr);
        DocumentSink sink(cursor, parser);
        std::atomic<bool> ended = false;
        sink.setParts(std::max(blocks, 1), part, &ended, stop);
        sink.setLongestParagraph(longestParagraph);
        parser.setSink(&sink);
        parser.setStop(&ended);
        parser.parse(rtf.sliced(start));
        cursor.endEditBlock();
        if (!sink.ended())
            part(true);
    }
    document->setUndoRedoEnabled(undo);
}

} // namespace RtfReader
