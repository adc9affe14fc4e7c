#include "ScriptedPrompts.h"
#include "StartMainWindow.h"
#include "TestHome.h"
#include "TreeClicks.h"
#include "components/FileViewer.h"
#include "data/NodeKey.h"
#include "print/PdfExport.h"
#include "print/RtfPrintout.h"
#include "rtf/RtfReader.h"
#include "rtf/RtfWriter.h"
#include "shell/frmMain.h"
#include "shell/modMain.h"
#include "tree/ctlTree.h"
#include "view/ctlView.h"
#include "widgets/RichTextLoader.h"

#include <QAction>
#include <QApplication>
#include <QBuffer>
#include <QDesktopServices>
#include <QImage>
#include <QLineEdit>
#include <QMimeData>
#include <QPdfBookmarkModel>
#include <QPdfDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QTextCursor>
#include <QTextDocument>
#include <QUrl>

namespace {

// The margins of every printout in points: 800, 900, 900 and 1000 twips.
const QRectF a4Body(40, 45, 595 - 40 - 45, 842 - 45 - 50);

struct Pdf
{
    QPdfDocument document;
    explicit Pdf(const QString &path)
    {
        if (document.load(path) != QPdfDocument::Error::None)
            QTest::qFail("the PDF cannot be read", __FILE__, __LINE__);
    }
    int pages() const { return document.pageCount(); }
    QString text(int page) { return document.getAllText(page).text(); }
};

// A document of numbered paragraphs of a few lines each.
void fillNumbered(QTextDocument *document, int paragraphs)
{
    QTextCursor cursor(document);
    for (int i = 1; i <= paragraphs; ++i) {
        if (i > 1)
            cursor.insertBlock();
        QString words;
        for (int w = 0; w < 40; ++w)
            words += QStringLiteral("p%1w%2 ").arg(i).arg(w);
        cursor.insertText(words.trimmed());
    }
}

QString lettersOnly(QString text)
{
    return text.remove(QRegularExpression(QStringLiteral("[^A-Za-z0-9]")));
}

// The letters and digits of page `number` of `total`, less the page number that must end it.
QString letters(const QString &text, int number, int total)
{
    const QString page = lettersOnly(text);
    const QString footer = QStringLiteral("Page%1of%2").arg(number).arg(total);
    if (!page.endsWith(footer))
        QTest::qFail(qPrintable(QStringLiteral("no page number at the foot of: ") + page.right(40)), __FILE__,
                     __LINE__);
    return page.left(page.size() - footer.size());
}

// The letters of every page of the PDF at `path`, each page checked for its number.
QStringList pageLetters(const QString &path)
{
    Pdf out(path);
    QStringList pages;
    for (int page = 0; page < out.pages(); ++page)
        pages << letters(out.text(page), page + 1, out.pages());
    return pages;
}

// Prints `document` into a PDF at `path`; the error, empty when the file was saved.
QString printTo(const QString &path, QTextDocument *document)
{
    PdfExport pdf(path);
    QString error;
    if (!pdf.Printer().Print(document))
        return QStringLiteral("not printed");
    return pdf.Save(&error) ? QString() : error;
}

} // namespace

class tst_print : public QObject
{
    Q_OBJECT
    QList<QUrl> m_opened;

public Q_SLOTS:
    // Stands in for the desktop's PDF viewer.
    void openedUrl(const QUrl &url) { m_opened << url; }

private Q_SLOTS:
    void initTestCase() { QDesktopServices::setUrlHandler(QStringLiteral("file"), this, "openedUrl"); }
    void init() { clearSettings(); }
    void cleanup() { modMain::SetMainForm(nullptr); }

    void pagesKeepToTheMarginsAndBreakBetweenRows()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("long.pdf"));
        QTextDocument document;
        fillNumbered(&document, 300);
        QCOMPARE(printTo(path, &document), QString());

        Pdf out(path);
        QVERIFY(out.pages() > 3);
        QString all;
        for (int page = 0; page < out.pages(); ++page) {
            const QRectF bounds = out.document.getAllText(page).boundingRectangle();
            QVERIFY2(a4Body.adjusted(-0.5, -0.5, 0.5, 0.5).contains(bounds),
                     qPrintable(QStringLiteral("page %1: ").arg(page + 1) + QDebug::toString(bounds)));
            all += letters(out.text(page), page + 1, out.pages());
        }
        // Every word once, in order: no line lost at a page break, none printed twice.
        QCOMPARE(all, lettersOnly(document.toPlainText()));

        // An empty document still makes one (empty) page.
        const QString emptyPath = dir.filePath(QStringLiteral("empty.pdf"));
        QTextDocument empty;
        QCOMPARE(printTo(emptyPath, &empty), QString());
        QCOMPARE(pageLetters(emptyPath), QStringList(QString()));

        // Laid out whole for every page, or as one table, this printout would take minutes.
        constexpr int rows = 6000;
        QByteArray rtf = "{\\rtf1\\ansi\\fs20 ";
        QString expected;
        for (int row = 1; row <= rows; ++row) {
            rtf += "\\trowd\\intbl r" + QByteArray::number(row) + "\\cell x\\cell\\row\n";
            expected += QStringLiteral("r%1x").arg(row);
        }
        rtf += "\\pard end}";
        const QString tablePath = dir.filePath(QStringLiteral("table.pdf"));
        QTextDocument table;
        RtfReader::Read(rtf, &table);
        PdfExport pdf(tablePath);
        const int counted = pdf.Printer().CountPages(&table);
        QString error;
        QVERIFY2(pdf.Printer().Print(&table) && pdf.Save(&error), qPrintable(error));

        // Pages break between rows: each row once, whole, in order, and the first page is used.
        const QStringList texts = pageLetters(tablePath);
        QCOMPARE(std::tuple(texts.size(), texts.first().startsWith(QLatin1String("r1x")), texts.join(QString())),
                 std::tuple(qsizetype(counted), true, QString(expected + QStringLiteral("end"))));
    }

    void longTextPrintsInParts()
    {
        // Parts of 1,000 paragraphs after a header: each starts a page, footers count all parts' pages.
        QByteArray rtf = "{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}}\\f0\\fs20 ";
        QString expected = QStringLiteral("Header");
        for (int i = 1; i <= 3000; ++i) {
            rtf += "para" + QByteArray::number(i) + " of the long text\\par\n";
            expected += QStringLiteral("para%1ofthelongtext").arg(i);
        }
        rtf += "}";
        const auto header = [](QTextDocument *document) {
            QTextCursor(document).insertText(QStringLiteral("Header\n"));
        };
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("parts.pdf"));
        QList<PrintProgress> steps;
        RtfPrintout printout(rtf, header, 1000);
        {
            PdfExport pdf(path);
            QVERIFY(printout.Print(&pdf.Printer(), [&](const PrintProgress &step) {
                steps << step;
                return true;
            }));
            QString error;
            QVERIFY2(pdf.Save(&error), qPrintable(error));
        }
        QVERIFY(printout.IsInParts());
        const QStringList pages = pageLetters(path);
        const qsizetype partStarts = pages.filter(QRegularExpression(QStringLiteral("^para(1|2)001of"))).size();
        QCOMPARE(std::pair(pages.join(QString()), partStarts), std::pair(expected, qsizetype(2)));
        // The counting pass (layout) comes first, then the pages of all parts, never going back.
        QVERIFY(!steps.isEmpty() && steps.first().phase == PrintProgress::Layout);
        const auto firstPage = std::find_if(
            steps.cbegin(), steps.cend(), [](const PrintProgress &step) { return step.phase == PrintProgress::Pages; });
        QVERIFY(firstPage != steps.cend());
        QVERIFY(std::all_of(firstPage, steps.cend(), [&](const PrintProgress &step) {
            return step.phase == PrintProgress::Pages && step.total == pages.size();
        }));
        QCOMPARE(steps.last().done, qint64(pages.size()));

        // Cancel stops the counting, and the drawing after it.
        for (const PrintProgress::Phase phase : {PrintProgress::Layout, PrintProgress::Pages}) {
            PdfExport pdf(dir.filePath(QStringLiteral("cancelled.pdf")));
            int drawnAfterCancel = 0;
            bool cancelled = false;
            QVERIFY(!RtfPrintout(rtf, header, 1000).Print(&pdf.Printer(), [&](const PrintProgress &step) {
                drawnAfterCancel += cancelled;
                cancelled = cancelled || step.phase == phase;
                return !cancelled;
            }));
            QVERIFY(drawnAfterCancel == 0 && pdf.Printer().PageCount() <= (phase == PrintProgress::Layout ? 0 : 1));
        }
    }

    void printAndExportFromTheMainWindow()
    {
        // Longer than the viewer reads at once: printed from the store's text.
        TestHome home;
        const qint32 game = home.addGame(1, 1, QStringLiteral("Deep Field"));
        QTextDocument text;
        fillNumbered(&text, 1200);
        const QString rtf = QString::fromLatin1(RtfWriter::FromDocument(text));
        QVERIFY(rtf.size() > RichTextLoader::threadedLength);
        home.addFile(game, 1, QStringLiteral("Atlas"), rtf);
        const qint32 sol = home.addGame(1, 1, QStringLiteral("Sol Aurum"));
        QTextDocument longText;
        fillNumbered(&longText, 80);
        home.addFile(sol, 1, QStringLiteral("Guide"), QString::fromLatin1(RtfWriter::FromDocument(longText)));
        QTextDocument linked;
        linked.setHtml(QStringLiteral("<p>See <a href=\"http://127.0.0.1/cheats\">the cheats page</a>.</p>"));
        home.addFile(sol, 2, QStringLiteral("Codes"), QString::fromLatin1(RtfWriter::FromDocument(linked)));
        home.addFile(sol, 3, QStringLiteral("Review"),
                     QString::fromLatin1(RtfWriter::FromPlainText(QStringLiteral("Fine."))));
        ScriptedPrompts prompts;
        auto form = startMainWindow(home.storePath());
        const QString pdfPath = home.file(QStringLiteral("print.pdf"));
        const auto check = [&](const QString &header) {
            Pdf out(pdfPath);
            QVERIFY(out.pages() > 10 && letters(out.text(0), 1, out.pages()).startsWith(header));
            QVERIFY(letters(out.text(out.pages() - 1), out.pages(), out.pages()).endsWith(QLatin1String("p1200w39")));
        };

        // Print and Export act on the file shown: nothing listed, nothing to print.
        const auto printable = [&form] {
            return form->Menu().mnuFilePrint->isEnabled() && form->Menu().mnuFileExportPdf->isEnabled();
        };
        QVERIFY(!printable());

        // A click on the game lists its files, the first one selected.
        auto *view = form->findChild<ctlView *>();
        TreeView *tree = form->findChild<TreeView *>();
        QVERIFY(clickNode(tree, NodeKey::Game(game, 1, 1)));
        QTRY_VERIFY(printable());
        // A cancelled printer dialog is reported as the error it raises.
        prompts.answerPrint(std::nullopt);
        prompts.answerMsgBox(MsgResult::OK);
        form->Menu().mnuFilePrint->trigger();
        QVERIFY(prompts.last().text.contains(QStringLiteral("Cancel was selected.")) && !QFile::exists(pdfPath));

        prompts.answerPrint(pdfPath);
        form->Menu().mnuFilePrint->trigger();
        check(QStringLiteral("DeepFieldWalkthroughGuideFileAtlasSourcehttpsexampleorgAtlasp1w0"));
        // A file window of text dropped on the game prints its own header and text, nothing of the one before.
        QMimeData data;
        data.setText(QStringLiteral("second text"));
        const QPoint at = tree->visualItemRect(tree->Node(NodeKey::Game(game, 1, 1))).center();
        QDragEnterEvent enter(at, Qt::CopyAction, &data, Qt::LeftButton, {});
        QApplication::sendEvent(tree->viewport(), &enter);
        QDropEvent drop(at, Qt::CopyAction, &data, Qt::LeftButton, {});
        QApplication::sendEvent(tree->viewport(), &drop);
        QCoreApplication::sendPostedEvents();
        FileViewer *dropped = form->findChild<ctlTree *>()->findChildren<FileViewer *>().constLast();
        dropped->findChild<QLineEdit *>(QStringLiteral("txtDesc"))->setText(QStringLiteral("B file"));
        QFile::remove(pdfPath);
        prompts.answerPrint(pdfPath);
        dropped->findChild<QAction *>(QStringLiteral("cmdPrint"))->trigger();
        QCOMPARE(letters(Pdf(pdfPath).text(0), 1, 1), QStringLiteral("DeepFieldFileBfileSourcesecondtext"));

        // A cancelled printout forgets its text too: the view's file window then prints its own alone.
        prompts.answerPrint(std::nullopt);
        prompts.answerMsgBox(MsgResult::OK);
        dropped->findChild<QAction *>(QStringLiteral("cmdPrint"))->trigger();
        QCOMPARE(prompts.last().title, QStringLiteral("frmMain Error"));
        view->findChild<QAction *>(QStringLiteral("mnuFileView"))->trigger();
        QVERIFY(view->Editor());
        prompts.answerPrint(pdfPath);
        view->Editor()->findChild<QAction *>(QStringLiteral("cmdPrint"))->trigger();
        check(QStringLiteral("DeepFieldWalkthroughGuideFileAtlasSourcehttpsexampleorgAtlasp1w0"));

        // Away from the game, no file is shown to print.
        QVERIFY(clickNode(tree, NodeKey::Genre(1, 1)) && !printable());

        // A game exported to PDF: a contents page, an outline and the files' links.
        const QString gamePdf = home.file(QStringLiteral("game.pdf"));
        const qsizetype asked = prompts.shown().size();
        prompts.answerSaveFile(gamePdf);
        prompts.answerChoice(QStringLiteral("Open PDF"));
        QVERIFY(clickNode(form->findChild<TreeView *>(), NodeKey::Game(sol, 1, 1)));
        QAction *exportGame = form->findChild<ctlTree *>()->findChild<QAction *>(QStringLiteral("mnuHiddenExport"));
        exportGame->trigger();
        QCOMPARE(prompts.shown().at(asked).options.FileName, QStringLiteral("Sol Aurum.pdf"));
        // The export says where it went, and offers to open the PDF.
        QCOMPARE(std::tuple(prompts.last().kind, prompts.last().text, m_opened),
                 std::tuple(PromptRecord::Choice, QString(QStringLiteral("Exported to ") + gamePdf),
                            QList<QUrl>{QUrl::fromLocalFile(gamePdf)}));

        Pdf out(gamePdf);
        // Each file listed with the page it starts on under its header; every page numbered in the final order.
        QCOMPARE(pageLetters(gamePdf).size(), out.pages());
        const QString contents = out.text(0).remove(QRegularExpression(QStringLiteral("\\s")));
        const auto listed =
            QRegularExpression(QStringLiteral("^SolAurumContentsGuide(\\d+)Codes(\\d+)Review(\\d+)Page1of"))
                .match(contents);
        QVERIFY2(listed.hasMatch(), qPrintable(contents));
        const QStringList names{QStringLiteral("Guide"), QStringLiteral("Codes"), QStringLiteral("Review")};
        for (int i = 0; i < names.size(); ++i) {
            const QString page = out.text(listed.captured(i + 1).toInt() - 1);
            QVERIFY2(page.contains(QStringLiteral("File: ") + names[i]), qPrintable(names[i]));
        }
        QVERIFY(listed.captured(1) == QStringLiteral("2") && listed.captured(2).toInt() > 2);

        // The outline: the contents, then the files in list order.
        QPdfBookmarkModel outline;
        outline.setDocument(&out.document);
        QStringList entries;
        for (int row = 0; row < outline.rowCount(); ++row)
            entries << outline.index(row, 0).data(int(QPdfBookmarkModel::Role::Title)).toString();
        QCOMPARE(entries, QStringList({QStringLiteral("Contents"), QStringLiteral("Guide"), QStringLiteral("Codes"),
                                       QStringLiteral("Review")}));
        // Links in the files stay links.
        QVERIFY(readFile(gamePdf).contains("/URI (http://127.0.0.1/cheats)"));

        // A folder that cannot be written to is said before any work is done.
        prompts.answerSaveFile(home.file(QStringLiteral("no/such/folder/game.pdf")));
        prompts.answerMsgBox(MsgResult::OK);
        exportGame->trigger();
        QVERIFY(prompts.last().text.startsWith(QStringLiteral("The PDF could not be written:\n\"game.pdf\"")));
    }

    void fixedPitchTextFitsItsColumns()
    {
        // 12-point Courier holds about 70 columns between the margins: the font shrinks for 120,
        // and the header before the text keeps its size.
        QTextDocument document;
        QTextCursor cursor(&document);
        cursor.insertText(QStringLiteral("Header"));
        QTextCharFormat courier;
        courier.setFontFamilies({QStringLiteral("Courier New")});
        courier.setFontFixedPitch(true);
        courier.setFontPointSize(12);
        QStringList lines;
        for (int row = 0; row < 20; ++row) {
            lines << QStringLiteral("%1").arg(row, 2, 10, QLatin1Char('0')) + QString(118, QLatin1Char('A' + row));
            cursor.insertBlock();
            cursor.insertText(lines.last(), courier);
        }
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("dos.pdf"));
        QCOMPARE(printTo(path, &document), QString());
        Pdf pdf(path);
        const QStringList printed = pdf.text(0).split(QRegularExpression(QStringLiteral("[\\r\\n]+")));
        for (const QString &line : std::as_const(lines))
            QVERIFY2(printed.contains(line), qPrintable(line.left(3) + QStringLiteral(" was broken")));
        QCOMPARE(document.begin().charFormat().fontPointSize(), 0.0);
        QVERIFY(document.lastBlock().charFormat().fontPointSize() < 8);
    }

    void lkrtfWritesPdf()
    {
        QTemporaryDir dir;
        const QString rtf = dir.filePath(QStringLiteral("doc.rtf"));
        // A picture of the document prints: an inch of red.
        QImage red(8, 8, QImage::Format_RGB32);
        red.fill(Qt::red);
        QByteArray png;
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        red.save(&buffer, "PNG");
        writeFile(rtf, R"({\rtf1\ansi{\fonttbl{\f0 Arial;}}\f0\fs20 Hello {\b printed} world\par)"
                       R"({\pict\pngblip\picwgoal1440\pichgoal1440 )" +
                           png.toHex() + "}}");
        const auto run = [](const QStringList &arguments) {
            QProcess tool;
            tool.start(QStringLiteral(LKRTF_EXE), arguments);
            tool.waitForFinished(60000);
            return std::make_pair(tool.exitCode(), QString::fromUtf8(tool.readAllStandardError()));
        };
        const QString out = dir.filePath(QStringLiteral("doc.pdf"));
        QCOMPARE(
            run({rtf, QStringLiteral("--pdf"), out, QStringLiteral("--page-size"), QStringLiteral("Letter")}).first, 0);
        Pdf pdf(out);
        QCOMPARE(std::pair(letters(pdf.text(0), 1, 1), pdf.document.pagePointSize(0).toSize()),
                 std::pair(QStringLiteral("Helloprintedworld"), QSize(612, 792)));
        // The red pixels of the first page of `file` and the rightmost of them.
        const auto redOf = [](const QString &file) {
            const QImage page = Pdf(file).document.render(0, QSize(612, 792));
            qsizetype count = 0;
            int right = 0;
            for (int y = 0; y < page.height(); ++y) {
                for (int x = 0; x < page.width(); ++x) {
                    const QColor pixel = page.pixelColor(x, y);
                    if (pixel.red() > 200 && pixel.green() < 60 && pixel.blue() < 60) {
                        ++count;
                        right = std::max(right, x);
                    }
                }
            }
            return std::pair(count, right);
        };
        const qsizetype redPixels = redOf(out).first;
        QVERIFY2(redPixels > 60 * 60 && redPixels < 80 * 80, qPrintable(QString::number(redPixels)));
        // A picture twenty inches wide is printed as wide as the text, in proportion.
        writeFile(rtf, R"({\rtf1\ansi{\pict\pngblip\picwgoal28800\pichgoal1440 )" + png.toHex() + "}}");
        QCOMPARE(run({rtf, QStringLiteral("--pdf"), out, QStringLiteral("--page-size"), QStringLiteral("Letter")}).first,
                 0);
        const auto [wide, right] = redOf(out);
        QVERIFY2(wide > 500 * 22 && wide < 560 * 32 && right < 612 - 40, qPrintable(QStringLiteral("%1 %2").arg(wide).arg(right)));
        QCOMPARE(run({rtf, QStringLiteral("--pdf"), out, QStringLiteral("--page-size"), QStringLiteral("A3")}).first,
                 2);
        const auto unwritable = run({rtf, QStringLiteral("--pdf"), dir.filePath(QStringLiteral("no/such/x.pdf"))});
        // An unwritable place is an error that names the file.
        QVERIFY(unwritable.first == 1 && unwritable.second.contains(QStringLiteral("lkrtf: ")) &&
                unwritable.second.contains(QStringLiteral("x.pdf")));
    }
};

QTEST_MAIN(tst_print)
#include "tst_print.moc"
