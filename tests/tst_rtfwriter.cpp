#include "rtf/RtfReader.h"
#include "rtf/RtfWriter.h"

#include <QImage>
#include <QRegularExpression>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextDocumentFragment>
#include <QTextTable>
#include <QtTest>

#include <algorithm>

namespace {

bool isAscii(const QByteArray &rtf)
{
    return std::all_of(rtf.begin(), rtf.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

qsizetype count(const QByteArray &rtf, const char *pattern)
{
    return QString::fromLatin1(rtf).count(QRegularExpression(QLatin1String(pattern)));
}

QTextCharFormat bold()
{
    QTextCharFormat format;
    format.setFontWeight(QFont::Bold);
    return format;
}

} // namespace

class tst_rtfwriter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void escapesTextAndReadsBackTheSameDocument()
    {
        const QByteArray rtf =
            RtfWriter::FromPlainText(QStringLiteral("a\\b{c}d \u00e9\u20ac\u4e2d\uff01 \U0001F600\t\u00a0x"));
        QVERIFY(isAscii(rtf) && rtf.startsWith("{\\rtf1\\ansi\\ansicpg1252\\deff0{\\fonttbl{\\f0\\fnil\\fcharset0 "));
        // U+FF01 is above 32767 and must go out negative; the emoji as its two surrogates.
        QVERIFY2(rtf.endsWith(" a\\\\b\\{c\\}d \\u233?\\u8364?\\u20013?\\u-255? \\u-10179?\\u-8704?\\tab\\~x}"),
                 rtf.constData());

        QTextDocument document;
        document.setPlainText(QStringLiteral("one\u2028two"));
        QVERIFY(RtfWriter::FromDocument(document).contains(" one\\line two}"));

        // Plain text ends its lines at any line end.
        const QByteArray lines = RtfWriter::FromPlainText(QStringLiteral("one\r\ntwo\nthree\rfour"));
        QVERIFY2(lines.endsWith("\\pard\\f0\\fs20 one\\par\ntwo\\par\nthree\\par\nfour}"), lines.constData());
        // A trailing line end is an empty last paragraph, as in QTextDocument::setPlainText.
        QVERIFY(RtfWriter::FromPlainText(QStringLiteral("x\n")).endsWith(" x\\par\n}") &&
                count(RtfWriter::FromPlainText(QString()), "\\\\par\\b") == 0);

        // Saving what was loaded must give back the same paragraphs, or every save would change them.
        QTextDocument written;
        QTextCursor cursor(&written);
        cursor.insertText(QStringLiteral("title \U0001F600 \u4e2d"), bold());
        cursor.insertBlock();
        cursor.insertBlock(QTextBlockFormat(), QTextCharFormat());
        cursor.insertText(QStringLiteral("tab\there\u2028next"));
        cursor.insertTable(1, 2)->cellAt(0, 1).firstCursorPosition().insertText(QStringLiteral("cell"));
        cursor.movePosition(QTextCursor::End);
        cursor.insertText(QStringLiteral("end"));

        const QByteArray first = RtfWriter::FromDocument(written);
        QTextDocument read;
        RtfReader::Read(first, &read);
        const QByteArray second = RtfWriter::FromDocument(read);
        QCOMPARE(std::tuple(second, read.blockCount(), read.toPlainText(),
                            read.begin().begin().fragment().charFormat().fontWeight()),
                 std::tuple(first, written.blockCount(), written.toPlainText(), int(QFont::Bold)));

        const QByteArray fragment =
            RtfWriter::FromFragment(QTextDocumentFragment::fromHtml(QStringLiteral("<b>x</b>")));
        QVERIFY(isAscii(first) && isAscii(fragment) && fragment.contains("\\b x}"));
    }

    void writesCharacterFormatsAsChangesBetweenRuns()
    {
        QTextDocument document;
        QTextCursor cursor(&document);
        QTextCharFormat italic = bold();
        italic.setFontItalic(true);
        QTextCharFormat underline;
        underline.setFontUnderline(true);
        QTextCharFormat mono;
        mono.setFontFamilies({QStringLiteral("Mono Test")});
        mono.setFontPointSize(14);
        mono.setFontFixedPitch(true);
        for (const auto &[text, format] : {std::pair("p ", QTextCharFormat()), std::pair("B", bold()),
                                           std::pair("BI", italic), std::pair("U", underline), std::pair("M", mono)})
            cursor.insertText(QLatin1String(text), format);
        cursor.insertBlock();
        cursor.insertText(QStringLiteral("again"), mono);
        const QByteArray rtf = RtfWriter::FromDocument(document);
        QVERIFY2(rtf.contains(" p \\b B\\i BI\\b0\\i0\\ul U\\f1\\fs28\\ulnone M\\par\n\\pard again}"), rtf.constData());
        // The document's font comes first, so that \deff0 names it.
        // A fixed-pitch font says so, and the reader keeps it fixed-pitch whatever family stands in.
        const QString table =
            QStringLiteral("{\\fonttbl{\\f0\\fnil\\fcharset0 %1;}{\\f1\\fmodern\\fprq1\\fcharset0 Mono Test;}}")
                .arg(document.defaultFont().family());
        QVERIFY2(rtf.contains(table.toLatin1()), rtf.constData());
        QTextDocument read;
        RtfReader::Read(rtf, &read);
        QCOMPARE(std::pair(read.firstBlock().begin().fragment().charFormat().fontFixedPitch(),
                           read.lastBlock().begin().fragment().charFormat().fontFixedPitch()),
                 std::pair(false, true));

        // Colours are indexed in order of first use; links are fields.
        QTextDocument colours;
        cursor = QTextCursor(&colours);
        QTextCharFormat red, blue, marked;
        red.setForeground(QColor(255, 0, 0));
        blue.setForeground(QColor(0, 0, 255));
        marked.setBackground(QColor(255, 255, 0));
        for (const auto &[text, format] :
             {std::pair("r", red), std::pair("b", blue), std::pair("m", marked), std::pair("r", red)})
            cursor.insertText(QLatin1String(text), format);
        const QByteArray coloured = RtfWriter::FromDocument(colours);
        QVERIFY(coloured.contains(
            "{\\colortbl;\\red255\\green0\\blue0;\\red0\\green0\\blue255;\\red255\\green255\\blue0;}"));
        QVERIFY2(coloured.contains("\\cf1 r\\cf2 b\\cf0\\highlight3 m\\cf1\\highlight0 r}"), coloured.constData());

        QTextDocument linked;
        cursor = QTextCursor(&linked);
        QTextCharFormat link = bold();
        link.setAnchor(true);
        link.setAnchorHref(QStringLiteral("https://example.org/?q=\"x\""));
        for (const auto &[text, format] :
             {std::pair("see ", QTextCharFormat()), std::pair("here", link), std::pair(" now", bold())})
            cursor.insertText(QLatin1String(text), format);
        const QByteArray field = RtfWriter::FromDocument(linked);
        QVERIFY2(field.contains(
                     "{\\field{\\*\\fldinst{HYPERLINK \"https://example.org/?q=%22x%22\"}}{\\fldrslt{\\b here}}}"),
                 field.constData());
        // The field's group undid its bold, so the bold text after it must turn bold on again.
        QVERIFY(field.contains("}}}\\b  now}"));
    }

    void writesParagraphsListsAndTables()
    {
        QTextDocument document;
        QTextCursor cursor(&document);
        QTextBlockFormat format;
        format.setAlignment(Qt::AlignHCenter);
        format.setLeftMargin(36);
        format.setTextIndent(-18);
        format.setTopMargin(6);
        cursor.setBlockFormat(format);
        cursor.insertText(QStringLiteral("centred"));
        format = QTextBlockFormat();
        format.setAlignment(Qt::AlignRight);
        format.setPageBreakPolicy(QTextFormat::PageBreak_AlwaysBefore);
        cursor.insertBlock(format);
        cursor.insertText(QStringLiteral("right"));
        format = QTextBlockFormat();
        format.setAlignment(Qt::AlignJustify);
        cursor.insertBlock(format);
        const QByteArray rtf = RtfWriter::FromDocument(document);
        QVERIFY2(rtf.contains("\\pard\\qc\\li720\\fi-360\\sb120") &&
                     rtf.contains("\\par\n\\page\\pard\\qr right\\par\n\\pard\\qj") && !rtf.endsWith("\\par\n}"),
                 rtf.constData());

        // Lists are written as their bullets and numbers.
        QTextDocument list;
        cursor = QTextCursor(&list);
        cursor.insertText(QStringLiteral("dot"));
        cursor.createList(QTextListFormat::ListDisc);
        cursor.insertBlock(QTextBlockFormat());
        cursor.insertText(QStringLiteral("one"));
        cursor.createList(QTextListFormat::ListDecimal);
        cursor.insertBlock();
        cursor.insertText(QStringLiteral("two"));
        const QByteArray listed = RtfWriter::FromDocument(list);
        QVERIFY2(listed.contains("\\fi-360\\f0\\fs"), listed.constData());
        QVERIFY(listed.contains("\\u8226?\\tab dot\\par") &&
                listed.contains("\\fi-360 1.\\tab one\\par\n\\pard\\li800\\fi-360 2.\\tab two}"));

        // Tables row by row.
        QTextDocument table;
        cursor = QTextCursor(&table);
        cursor.insertText(QStringLiteral("before"));
        QTextTable *cells = cursor.insertTable(2, 2);
        cells->cellAt(0, 0).firstCursorPosition().insertText(QStringLiteral("a"));
        cells->cellAt(1, 1).firstCursorPosition().insertText(QStringLiteral("d"));
        cursor.movePosition(QTextCursor::End);
        cursor.insertText(QStringLiteral("after"));
        const QByteArray rows = RtfWriter::FromDocument(table);
        QCOMPARE(std::pair(count(rows, "\\\\trowd.*\\\\cellx4680.*\\\\cellx9360\\n"),
                           count(rows, "\\\\pard\\\\intbl[^\\n]*?\\\\cell\\b")),
                 std::pair(qsizetype(2), qsizetype(4)));
        QVERIFY2(rows.contains(" before\\par\n\\trowd") && rows.contains("d\\cell\\row\n\\pard after}"),
                 rows.constData());
    }

    // Saved and opened again, a document keeps its pictures (as PNG, at their size) and its tables in
    // tables, two deep and three.
    void picturesAndTablesInTablesComeBack()
    {
        QTextDocument document;
        QImage image(30, 10, QImage::Format_RGB32);
        image.fill(QColor(0, 0, 255));
        image.setPixelColor(0, 0, Qt::yellow);
        document.addResource(QTextDocument::ImageResource, QUrl(QStringLiteral("shot.jpg")), image);
        QTextCursor cursor(&document);
        cursor.insertText(QStringLiteral("Map: "));
        QTextImageFormat picture;
        picture.setName(QStringLiteral("shot.jpg"));
        picture.setWidth(60);
        cursor.insertImage(picture);
        // One the document cannot give back is left out.
        picture.setName(QStringLiteral("missing.png"));
        cursor.insertImage(picture);
        QTextTable *outer = cursor.insertTable(1, 2);
        outer->cellAt(0, 0).firstCursorPosition().insertText(QStringLiteral("Boss"));
        QTextCursor inCell = outer->cellAt(0, 1).firstCursorPosition();
        QTextTable *inner = inCell.insertTable(2, 2);
        inner->cellAt(1, 1).firstCursorPosition().insertText(QStringLiteral("Jump"));
        QTextCursor deeper = inner->cellAt(0, 0).firstCursorPosition();
        deeper.insertTable(1, 2)->cellAt(0, 1).firstCursorPosition().insertText(QStringLiteral("Deep"));
        QTextCursor after = inner->lastCursorPosition();
        after.movePosition(QTextCursor::NextBlock);
        after.insertText(QStringLiteral("after"));

        QTextDocument again;
        RtfReader::Read(RtfWriter::FromDocument(document), &again);
        QString text = again.toPlainText();
        QCOMPARE(text.count(QChar::ObjectReplacementCharacter), 1);
        QTextImageFormat shown;
        for (QTextBlock::iterator it = again.begin().begin(); !it.atEnd(); ++it) {
            if (it.fragment().charFormat().isImageFormat())
                shown = it.fragment().charFormat().toImageFormat();
        }
        const QImage back = again.resource(QTextDocument::ImageResource, QUrl(shown.name())).value<QImage>();
        QCOMPARE(std::tuple(shown.width(), shown.height(), back.size(), back.pixelColor(0, 0), back.pixelColor(29, 9)),
                 std::tuple(60.0, 20.0, QSize(30, 10), QColor(Qt::yellow), QColor(0, 0, 255)));

        auto *outerBack = qobject_cast<QTextTable *>(again.rootFrame()->childFrames().value(0));
        QVERIFY(outerBack && outerBack->columns() == 2);
        auto *innerBack = qobject_cast<QTextTable *>(outerBack->childFrames().value(0));
        QVERIFY(innerBack && innerBack->rows() == 2 && innerBack->columns() == 2);
        auto *deepBack = qobject_cast<QTextTable *>(innerBack->childFrames().value(0));
        QVERIFY(deepBack && deepBack->columns() == 2);
        QCOMPARE(std::tuple(innerBack->cellAt(1, 1).firstCursorPosition().block().text(),
                            deepBack->cellAt(0, 1).firstCursorPosition().block().text()),
                 std::tuple(QStringLiteral("Jump"), QStringLiteral("Deep")));
        QCOMPARE(text.remove(QChar::ObjectReplacementCharacter),
                 document.toPlainText().remove(QChar::ObjectReplacementCharacter));

        // Pictures shown as placeholders are pictures again, never their placeholders' text.
        QTextDocument placeholders, placeholdersBack;
        RtfReader::Read("{\\rtf1 a{\\pict\\wmetafile8\\picwgoal2381\\pichgoal1701 01}{\\pict\\emfblip 01}"
                        "{\\pict\\emfblip 01}b}",
                        &placeholders);
        // What is typed just after one takes its format, and stays text.
        QTextCursor typing(&placeholders);
        typing.setPosition(placeholders.toPlainText().indexOf(QLatin1Char(']')) + 1);
        typing.insertText(QStringLiteral("x"));
        const QByteArray written = RtfWriter::FromDocument(placeholders);
        RtfReader::Read(written, &placeholdersBack);
        QCOMPARE(std::pair(RtfReader::PlainText(written), placeholdersBack.toPlainText()),
                 std::pair(QStringLiteral("axb"), QStringLiteral("a[picture 4.2 \u00D7 3.0 cm]x[picture][picture]b")));
    }
};

QTEST_MAIN(tst_rtfwriter)
#include "tst_rtfwriter.moc"
