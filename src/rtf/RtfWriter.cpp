#include "RtfWriter.h"

#include "RtfOut.h"
#include "RtfPicture.h"

#include <QColor>
#include <QFont>
#include <QGuiApplication>
#include <QHash>
#include <QImage>
#include <QPixmap>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextDocumentFragment>
#include <QTextFrame>
#include <QTextList>
#include <QTextTable>
#include <QUrl>
#include <QVector>

#include <algorithm>
#include <vector>

namespace {

// Lengths in QTextFormat (margins, indents, column widths) are taken as points, 1/72 inch, so that
// twips = points * 20. The reader divides by the same 20, which keeps a document's geometry fixed
// however often it is saved and loaded, whatever the screen's DPI.
constexpr int twipsPerPoint = 20;

int twips(qreal points)
{
    return qRound(points * twipsPerPoint);
}

// Tables whose width is not fixed are laid out on a Letter page less one-inch margins, which is what
// word processors assume when they have nothing else to go on.
constexpr int textWidthTwips = 9360;
constexpr int minimumCellTwips = 144;
// How far a list item's first line (its marker) hangs left of its text.
constexpr int listHangTwips = 360;

// Character properties as RTF knows them, indexes into our font and colour tables.
struct CharState
{
    int font = -1;       // -1: not yet written, so the first run always states it
    int halfPoints = -1; // likewise
    bool bold = false;
    bool italic = false;
    bool underline = false;
    bool strike = false;
    int foreground = 0; // 0: automatic
    int background = 0;
    int vertical = 0; // 1 superscript, -1 subscript
};

QString applicationFontFamily()
{
    // QFont needs a GUI application; without one (a command-line tool) any family will do.
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        return QGuiApplication::font().family();
    return QStringLiteral("Helvetica");
}

class DocumentWriter
{
public:
    explicit DocumentWriter(const QTextDocument &document)
        : m_document(document), m_out(document.characterCount() + document.characterCount() / 8 + 1024)
    {
        const QFont font = document.defaultFont();
        fontIndex(font.family());
        m_defaultHalfPoints = halfPointsOf(font.pointSizeF(), font.pixelSize());
        m_defaultBold = font.weight() >= QFont::DemiBold;
        m_defaultItalic = font.italic();
    }

    QByteArray write()
    {
        writeFrame(m_document.rootFrame());
        m_out.bytes().append('}');

        QByteArray rtf;
        rtf.reserve(m_out.bytes().size() + 256 + 48 * (m_fonts.size() + m_colors.size()));
        RtfOut::appendHeader(rtf, m_fonts, m_colors, m_fixedPitch);
        rtf.append(m_out.bytes());
        return rtf;
    }

private:
    static int halfPointsOf(qreal points, int pixels)
    {
        if (points > 0)
            return std::max(1, qRound(points * 2));
        // Pixel-sized fonts: 96 pixels to the inch.
        return pixels > 0 ? std::max(1, qRound(pixels * 1.5)) : 24;
    }

    // Web pages size headings and <small>/<big> relative to the document's font, as HTML's seven
    // font sizes do; Qt scales them by these factors.
    int adjustedHalfPoints(int adjustment) const
    {
        static constexpr qreal factors[] = {0.7, 0.8, 1.0, 1.2, 1.5, 2.0, 2.4};
        return std::max(1, qRound(m_defaultHalfPoints * factors[std::clamp(adjustment + 2, 0, 6)]));
    }

    int fontIndex(const QString &family)
    {
        const auto found = m_fontIndex.constFind(family);
        if (found != m_fontIndex.constEnd())
            return *found;
        const int index = int(m_fonts.size());
        m_fonts.append(family);
        m_fontIndex.insert(family, index);
        return index;
    }

    int colorIndex(const QBrush &brush)
    {
        if (brush.style() == Qt::NoBrush)
            return 0;
        const QRgb rgb = brush.color().rgb() | 0xFF000000u;
        const auto found = m_colorIndex.constFind(rgb);
        if (found != m_colorIndex.constEnd())
            return *found;
        m_colors.append(rgb);
        const int index = int(m_colors.size()); // entry 0 is "automatic"
        m_colorIndex.insert(rgb, index);
        return index;
    }

    CharState stateOf(const QTextCharFormat &format)
    {
        CharState state;
        // Only the first family is kept: RTF has one name per font, and Qt's fallbacks are its own.
        const QStringList families = format.property(QTextFormat::FontFamilies).toStringList();
        const QString family = families.isEmpty() ? QString() : families.first();
        state.font = family.isEmpty() ? 0 : fontIndex(family);
        if (format.fontFixedPitch())
            m_fixedPitch.insert(state.font);

        if (format.hasProperty(QTextFormat::FontPointSize))
            state.halfPoints = halfPointsOf(format.fontPointSize(), 0);
        else if (format.hasProperty(QTextFormat::FontPixelSize))
            state.halfPoints = halfPointsOf(0, format.intProperty(QTextFormat::FontPixelSize));
        else if (format.hasProperty(QTextFormat::FontSizeAdjustment))
            state.halfPoints = adjustedHalfPoints(format.intProperty(QTextFormat::FontSizeAdjustment));
        else
            state.halfPoints = m_defaultHalfPoints;

        state.bold =
            format.hasProperty(QTextFormat::FontWeight) ? format.fontWeight() >= QFont::DemiBold : m_defaultBold;
        state.italic = format.hasProperty(QTextFormat::FontItalic) ? format.fontItalic() : m_defaultItalic;
        state.underline = format.fontUnderline();
        state.strike = format.fontStrikeOut();
        state.foreground = colorIndex(format.foreground());
        state.background = colorIndex(format.background());
        switch (format.verticalAlignment()) {
        case QTextCharFormat::AlignSuperScript: state.vertical = 1; break;
        case QTextCharFormat::AlignSubScript: state.vertical = -1; break;
        default: state.vertical = 0; break;
        }
        return state;
    }

    // Only what changed, so that a run never resets what the paragraph or the previous run set.
    void switchTo(const CharState &to)
    {
        CharState &from = m_chars;
        if (to.font != from.font)
            m_out.word("f", to.font);
        if (to.halfPoints != from.halfPoints)
            m_out.word("fs", to.halfPoints);
        if (to.bold != from.bold)
            to.bold ? m_out.word("b") : m_out.word("b", 0);
        if (to.italic != from.italic)
            to.italic ? m_out.word("i") : m_out.word("i", 0);
        if (to.underline != from.underline)
            m_out.word(to.underline ? "ul" : "ulnone");
        if (to.strike != from.strike)
            to.strike ? m_out.word("strike") : m_out.word("strike", 0);
        if (to.foreground != from.foreground)
            m_out.word("cf", to.foreground);
        if (to.background != from.background)
            m_out.word("highlight", to.background);
        if (to.vertical != from.vertical)
            m_out.word(to.vertical > 0 ? "super" : to.vertical < 0 ? "sub" : "nosupersub");
        from = to;
    }

    void writeFrame(QTextFrame *frame)
    {
        for (QTextFrame::iterator it = frame->begin(); !it.atEnd(); ++it) {
            if (QTextFrame *child = it.currentFrame()) {
                if (QTextTable *table = qobject_cast<QTextTable *>(child)) {
                    endParagraph();
                    writeTable(table);
                } else {
                    writeFrame(child);
                }
            } else if (!placeholderBeforeTable(it)) {
                writeBlock(it.currentBlock(), false);
            }
        }
    }

    // Qt keeps a paragraph before every table, and a reader building a QTextDocument gets one there
    // whether or not the RTF has it. Writing it when empty would add a paragraph on every save.
    static bool placeholderBeforeTable(QTextFrame::iterator it)
    {
        if (it.currentBlock().length() > 1)
            return false;
        ++it;
        return !it.atEnd() && qobject_cast<QTextTable *>(it.currentFrame());
    }

    // Paragraph marks go between paragraphs, not after the last: the reader makes a paragraph of
    // whatever follows the last mark, so a trailing one would add an empty paragraph on every save.
    void endParagraph()
    {
        if (!m_paragraphOpen)
            return;
        m_out.word("par");
        m_out.lineEnd();
        m_paragraphOpen = false;
    }

    void writeBlock(const QTextBlock &block, bool inTable)
    {
        const QTextBlockFormat format = block.blockFormat();
        if (inTable) {
            if (m_paragraphOpen) {
                m_out.word("par");
                m_paragraphOpen = false;
            }
        } else {
            endParagraph();
            // Word and our reader know a break only before a paragraph, so a break after one moves on.
            const QTextFormat::PageBreakFlags breaks = format.pageBreakPolicy();
            if (m_breakPending || (breaks & QTextFormat::PageBreak_AlwaysBefore))
                m_out.word("page");
            m_breakPending = breaks & QTextFormat::PageBreak_AlwaysAfter;
        }
        m_paragraphOpen = true;

        m_out.word("pard");
        if (inTable)
            m_out.word("intbl");
        if (inTable && m_depth > 1)
            m_out.word("itap", m_depth);
        const Qt::Alignment align = format.alignment();
        if (align & Qt::AlignHCenter)
            m_out.word("qc");
        else if (align & Qt::AlignJustify)
            m_out.word("qj");
        else if (align & Qt::AlignRight)
            m_out.word("qr");

        QTextList *list = block.textList();
        qreal left = format.leftMargin() + format.indent() * m_document.indentWidth();
        int first = twips(format.textIndent());
        if (list) {
            left += list->format().indent() * m_document.indentWidth();
            first = -std::min(listHangTwips, std::max(twips(left), 0));
        }
        if (const int li = twips(left))
            m_out.word("li", li);
        if (const int ri = twips(format.rightMargin()))
            m_out.word("ri", ri);
        if (first)
            m_out.word("fi", first);
        if (const int sb = twips(format.topMargin()))
            m_out.word("sb", sb);
        if (const int sa = twips(format.bottomMargin()))
            m_out.word("sa", sa);

        const QString text = block.text();
        bool markerWritten = !list;
        QString href;
        for (QTextBlock::iterator it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            if (!fragment.isValid())
                continue;
            const QTextCharFormat chars = fragment.charFormat();
            if (chars.isImageFormat()) {
                writeImage(chars.toImageFormat(), fragment.length());
                continue;
            }
            // A picture's placeholder is a picture again, which the reader shows as the same text; what
            // was typed beside it in its format is text.
            QString placeholder;
            QByteArray picture;
            if (chars.hasProperty(RtfPicture::placeholderProperty)) {
                const QSizeF twips = chars.property(RtfPicture::placeholderProperty).toSizeF();
                placeholder = RtfPicture::PlaceholderText(twips);
                picture = RtfPicture::WritePlaceholder(twips);
            }
            QStringView rest = QStringView(text).mid(fragment.position() - block.position(), fragment.length());
            while (!rest.isEmpty()) {
                const qsizetype at = placeholder.isEmpty() ? -1 : rest.indexOf(placeholder);
                if (at == 0) {
                    m_out.raw(picture.constData());
                    rest = rest.sliced(placeholder.size());
                    continue;
                }
                const QStringView run = at < 0 ? rest : rest.first(at);
                const QString fragmentHref = chars.isAnchor() ? chars.anchorHref() : QString();
                if (fragmentHref != href) {
                    closeLink(href);
                    href = fragmentHref;
                    openLink(href);
                }
                switchTo(stateOf(chars));
                if (!markerWritten) {
                    writeMarker(list, block);
                    markerWritten = true;
                }
                m_out.text(run);
                rest = rest.sliced(run.size());
            }
        }
        closeLink(href);
        if (!markerWritten) {
            switchTo(stateOf(block.charFormat()));
            writeMarker(list, block);
        } else if (text.isEmpty()) {
            // The size of an empty line is that of its paragraph mark.
            switchTo(stateOf(block.charFormat()));
        }
    }

    // Pictures go out as PNG, whatever they came in as; one the document cannot give back is left out.
    void writeImage(const QTextImageFormat &format, int count)
    {
        const QVariant resource = m_document.resource(QTextDocument::ImageResource, QUrl(format.name()));
        QImage image;
        if (resource.typeId() == QMetaType::QImage)
            image = resource.value<QImage>();
        else if (resource.typeId() == QMetaType::QPixmap)
            image = resource.value<QPixmap>().toImage();
        else if (resource.typeId() == QMetaType::QByteArray)
            image.loadFromData(resource.toByteArray());
        if (image.isNull() || image.width() > RtfPicture::maxSide || image.height() > RtfPicture::maxSide)
            return;
        // A picture given one side keeps its proportions.
        QSizeF shown(format.width(), format.height());
        if (shown.width() > 0 && shown.height() <= 0)
            shown.setHeight(shown.width() * image.height() / image.width());
        else if (shown.height() > 0 && shown.width() <= 0)
            shown.setWidth(shown.height() * image.width() / image.height());
        const QByteArray picture = RtfPicture::Write(image, shown);
        for (int i = 0; i < count && !picture.isEmpty(); ++i)
            m_out.raw(picture.constData());
    }

    // The reader shows lists as text, and so do readers that know RTF's lists but not ours.
    void writeMarker(QTextList *list, const QTextBlock &block)
    {
        switch (list->format().style()) {
        case QTextListFormat::ListDisc: m_out.text(u"\u2022"); break;
        case QTextListFormat::ListCircle: m_out.text(u"\u25E6"); break;
        case QTextListFormat::ListSquare: m_out.text(u"\u25AA"); break;
        default: m_out.text(list->itemText(block)); break;
        }
        m_out.word("tab");
    }

    void openLink(const QString &href)
    {
        if (href.isEmpty())
            return;
        m_linkChars = m_chars;
        m_out.raw("{\\field{\\*\\fldinst{HYPERLINK \"");
        // A quote would end the address early; everything else is only escaped as RTF text.
        QString address = href;
        address.replace(QLatin1Char('"'), QLatin1String("%22"));
        m_out.text(address);
        m_out.raw("\"}}{\\fldrslt{");
    }

    void closeLink(const QString &href)
    {
        if (href.isEmpty())
            return;
        m_out.raw("}}}");
        // The group's end undid whatever the link's runs set.
        m_chars = m_linkChars;
    }

    void writeTable(QTextTable *table)
    {
        const int rows = table->rows();
        const int columns = table->columns();
        if (rows <= 0 || columns <= 0)
            return;
        const QTextTableFormat format = table->format();
        const std::vector<int> edges = columnEdges(format, columns);
        const bool borders = format.border() > 0 && format.borderStyle() != QTextFrameFormat::BorderStyle_None;
        const int borderWidth = std::clamp(twips(format.border()), 1, 75);

        const int depth = m_depth;
        for (int row = 0; row < rows; ++row) {
            // A table in a cell has its row's properties at the row's end, in a group older readers skip.
            if (depth == 1)
                writeRowProperties(table, row, edges, borders, borderWidth);
            for (int column = 0; column < columns;) {
                const QTextTableCell cell = table->cellAt(row, column);
                const int span = std::max(1, cell.columnSpan());
                if (cell.row() == row)
                    writeCell(cell);
                if (!m_paragraphOpen) {
                    // A cell covered by the one above still needs its paragraph.
                    m_out.word("pard");
                    m_out.word("intbl");
                    if (depth > 1)
                        m_out.word("itap", depth);
                }
                m_out.word(depth > 1 ? "nestcell" : "cell");
                m_paragraphOpen = false;
                column += span;
            }
            if (depth > 1) {
                m_out.raw("{\\*\\nesttableprops");
                writeRowProperties(table, row, edges, borders, borderWidth);
                m_out.raw("\\nestrow}{\\nonesttables\\par}");
            } else {
                m_out.word("row");
            }
            m_out.lineEnd();
        }
    }

    void writeRowProperties(QTextTable *table, int row, const std::vector<int> &edges, bool borders, int borderWidth)
    {
        const int columns = table->columns();
        m_out.word("trowd");
        m_out.word("trgaph", 108);
        for (int column = 0; column < columns;) {
            const QTextTableCell cell = table->cellAt(row, column);
            const int span = std::max(1, cell.columnSpan());
            if (cell.rowSpan() > 1)
                m_out.word(cell.row() == row ? "clvmgf" : "clvmrg");
            if (borders) {
                for (const char *side : {"clbrdrt", "clbrdrl", "clbrdrb", "clbrdrr"}) {
                    m_out.word(side);
                    m_out.word("brdrs");
                    m_out.word("brdrw", borderWidth);
                }
            }
            column = std::min(columns, column + span);
            m_out.word("cellx", edges[column - 1]);
        }
        m_out.lineEnd();
    }

    void writeCell(const QTextTableCell &cell)
    {
        for (QTextFrame::iterator it = cell.begin(); !it.atEnd(); ++it) {
            if (QTextFrame *nested = it.currentFrame()) {
                if (QTextTable *table = qobject_cast<QTextTable *>(nested)) {
                    if (m_paragraphOpen) {
                        m_out.word("par");
                        m_paragraphOpen = false;
                    }
                    ++m_depth;
                    writeTable(table);
                    --m_depth;
                } else {
                    // Other frames go out as their paragraphs, one after another.
                    const int last = nested->lastPosition();
                    for (QTextBlock block = m_document.findBlock(nested->firstPosition());
                         block.isValid() && block.position() <= last; block = block.next())
                        writeBlock(block, true);
                }
            } else if (!placeholderBeforeTable(it)) {
                writeBlock(it.currentBlock(), true);
            }
        }
    }

    std::vector<int> columnEdges(const QTextTableFormat &format, int columns) const
    {
        int total = textWidthTwips;
        const QTextLength width = format.width();
        if (width.type() == QTextLength::FixedLength)
            total = twips(width.rawValue());
        else if (width.type() == QTextLength::PercentageLength)
            total = qRound(textWidthTwips * width.rawValue() / 100);

        const QVector<QTextLength> constraints = format.columnWidthConstraints();
        std::vector<int> widths(columns, 0);
        int fixed = 0;
        int variable = 0;
        for (int i = 0; i < columns; ++i) {
            const QTextLength length = i < constraints.size() ? constraints[i] : QTextLength();
            if (length.type() == QTextLength::FixedLength)
                widths[i] = twips(length.rawValue());
            else if (length.type() == QTextLength::PercentageLength)
                widths[i] = qRound(total * length.rawValue() / 100);
            if (widths[i] > 0)
                fixed += widths[i];
            else
                ++variable;
        }
        const int share = variable ? std::max(minimumCellTwips, (total - fixed) / variable) : 0;
        std::vector<int> edges(columns);
        int edge = 0;
        for (int i = 0; i < columns; ++i) {
            edge += std::max(minimumCellTwips, widths[i] > 0 ? widths[i] : share);
            edges[i] = edge;
        }
        return edges;
    }

    const QTextDocument &m_document;
    RtfOut m_out;
    QStringList m_fonts;
    QHash<QString, int> m_fontIndex;
    QSet<int> m_fixedPitch;
    QVector<QRgb> m_colors;
    QHash<QRgb, int> m_colorIndex;
    int m_defaultHalfPoints = 24;
    bool m_defaultBold = false;
    bool m_defaultItalic = false;
    CharState m_chars;
    CharState m_linkChars;
    bool m_paragraphOpen = false;
    bool m_breakPending = false;
    int m_depth = 1; // of the table being written: 2 and more inside a cell
};

} // namespace

namespace RtfWriter {

QByteArray FromDocument(const QTextDocument &document)
{
    return DocumentWriter(document).write();
}

QByteArray FromFragment(const QTextDocumentFragment &fragment)
{
    QTextDocument document;
    QTextCursor(&document).insertFragment(fragment);
    return FromDocument(document);
}

QByteArray FromPlainText(const QString &text, PlainTextFont font)
{
    RtfOut out(text.size() + text.size() / 8 + 128);
    QByteArray header;
    if (font == PlainTextFont::FixedPitch) {
        // The name every word processor knows; marked fixed-pitch, so that a reader without it still
        // keeps the columns of tables and ASCII art.
        RtfOut::appendHeader(header, {QStringLiteral("Courier New")}, {}, {0});
    } else {
        RtfOut::appendHeader(header, {applicationFontFamily()}, {});
    }
    out.raw(header.constData());
    out.word("pard");
    out.word("f", 0);
    out.word("fs", 20);

    const QStringView all(text);
    qsizetype start = 0;
    for (qsizetype i = 0; i < all.size(); ++i) {
        const QChar c = all[i];
        if (c != u'\n' && c != u'\r')
            continue;
        out.text(all.sliced(start, i - start));
        if (c == u'\r' && i + 1 < all.size() && all[i + 1] == u'\n')
            ++i;
        out.word("par");
        out.lineEnd();
        start = i + 1;
    }
    out.text(all.sliced(start));
    out.raw("}");
    return std::move(out.bytes());
}

} // namespace RtfWriter
