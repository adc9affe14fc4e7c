#pragma once

#include "RtfCodePage.h"

#include <QByteArrayView>
#include <QColor>
#include <QHash>
#include <QString>
#include <QStringList>
#include <QVector>

#include <atomic>
#include <memory>
#include <utility>
#include <vector>

// Character properties in effect for a run of text; lengths as RTF writes them.
struct RtfCharState
{
    int font = -1;       // index into the font table, -1 for none
    int halfPoints = 24; // \fs
    bool bold = false;
    bool italic = false;
    bool underline = false;
    bool strike = false;
    bool hidden = false;
    int foreground = 0; // index into the colour table, 0 for automatic
    int background = 0;
    int vertical = 0; // 1 superscript, -1 subscript

    bool operator==(const RtfCharState &other) const;
    bool operator!=(const RtfCharState &other) const { return !(*this == other); }
};

// Paragraph properties, lengths in twips.
struct RtfParaState
{
    enum Align { Left, Right, Center, Justify };
    Align align = Left;
    int leftIndent = 0;
    int rightIndent = 0;
    int firstIndent = 0;
    int spaceBefore = 0;
    int spaceAfter = 0;
    bool inTable = false;
    int tableDepth = 1; // \itap: 2 and more for tables inside a table's cells
};

struct RtfPicture;

struct RtfFont
{
    QString name;
    int codePage = 0; // 0: the document's
    bool fixedPitch = false;
};

// What the parser found: receives text in runs of one format and the structure around them.
class RtfSink
{
public:
    virtual ~RtfSink() = default;
    // Text never holds paragraph marks; a line break inside a paragraph is U+2028, a tab "\t". The
    // paragraph's properties are those in effect so far.
    virtual void text(QStringView text, const RtfCharState &chars, const RtfParaState &para) = 0;
    virtual void paragraph(const RtfParaState &para) = 0;
    virtual void pageBreak() {}
    virtual void cell(const RtfParaState &para) = 0;
    virtual void row() = 0;
    // A cell and a row of a table inside a cell (para.tableDepth is 2 or more).
    virtual void nestedCell(const RtfParaState &para) = 0;
    virtual void nestedRow(const RtfParaState &para) = 0;
    virtual void beginLink(const QString &href) { Q_UNUSED(href) }
    virtual void endLink() {}
    // A page header's or footer's text, paragraphs separated by "\n", once for each distinct text.
    virtual void story(bool footer, const QString &text) = 0;
    virtual void picture(const RtfPicture &picture, const RtfParaState &para)
    {
        Q_UNUSED(picture)
        Q_UNUSED(para)
    }
    // The end of the input: the last paragraph, which has no mark of its own.
    virtual void finish(const RtfParaState &para) = 0;
};

// Reads RTF once from start to end and tells the sink what it holds. Work is linear in the input;
// memory is bounded by the input's length and a fixed nesting limit.
class RtfParser final
{
public:
    explicit RtfParser(RtfSink *sink);
    ~RtfParser();
    void setSink(RtfSink *sink) { m_sink = sink; }
    // Stops reading, as if the input ended there, once `stop` turns true; checked every few
    // thousand tokens.
    void setStop(const std::atomic<bool> *stop) { m_stop = stop; }

    void parse(QByteArrayView input);

    const QHash<int, RtfFont> &fonts() const { return m_fonts; }
    const QVector<QColor> &colors() const { return m_colors; }
    int defaultFont() const { return m_defaultFont; }

private:
    enum class Dest : unsigned char {
        Text,   // text of the document
        Ignore, // a destination whose text is not shown, but whose groups may be
        Skip,   // nothing inside is shown
        FontTable,
        ColorTable,
        FieldInst,
    };
    struct Group
    {
        RtfCharState chars;
        RtfParaState para;
        Dest dest = Dest::Text;
        unsigned char uc = 1;
        bool linkEnds = false; // the group is a hyperlink's visible result
        bool fieldGroup = false;
        bool storyEnds = false; // the group is a page header or footer
    };

    void groupStart();
    void groupEnd();
    void controlWord(QByteArrayView word, bool hasParam, int param);
    void controlSymbol(char symbol);
    bool destination(QByteArrayView word, bool starred);
    void textBytes(QByteArrayView bytes);
    void hexByte(unsigned char byte);
    // Counts a one-character token (a symbol or an escaped byte) in its group; false when it shows
    // nothing: inside a skipped destination, or standing in for the \uN just before it.
    bool takesOneToken();
    void appendChar(char16_t ch);
    // Prepares the text buffer for text in the current state; false when that text is not shown.
    bool beginRun();
    void flushBytes();
    void flushText();
    // Steps over the rest of the group; false when the input ends inside it.
    bool skipGroup();
    const RtfCodePage::Decoder &decoder();
    // Where the text goes: the document, or a header or footer being gathered.
    RtfSink *sink();
    void beginStory(bool footer);
    void endStory();
    void readPicture();

    class StorySink;
    RtfSink *m_sink;
    std::unique_ptr<StorySink> m_storySink;
    int m_story = 0; // 1 in a header, 2 in a footer
    QStringList m_stories;
    const std::atomic<bool> *m_stop = nullptr;
    QByteArrayView m_input;
    qsizetype m_pos = 0;

    std::vector<Group> m_groups;
    int m_overflow = 0; // groups deeper than the nesting limit share their parent's state
    Group m_state;
    bool m_pendingStar = false;
    bool m_groupHasWord = false; // only the first control word of a group names a destination
    int m_skipFallback = 0;      // \uN fallback characters still to drop
    int m_footnotes = 0;

    QString m_text;
    RtfCharState m_textState;
    RtfParaState m_textPara;
    RtfParaState m_finalPara;
    QByteArray m_bytes; // \'hh and 8-bit bytes waiting to be decoded together
    int m_bytesCodePage = 0;

    int m_documentCodePage = 1252;
    int m_defaultFont = -1;
    QHash<int, RtfFont> m_fonts;
    int m_fontEntry = -1;
    QString m_fontName;
    QVector<QColor> m_colors;
    int m_red = -1, m_green = -1, m_blue = -1;
    std::vector<QString> m_fieldInst;
    std::vector<std::pair<int, RtfCodePage::Decoder>> m_decoders;
};
