// Files from disk into the library: what each kind of file becomes, the rules for folders and
// duplicates, the window's import with its progress and summary, and the lkimport tool.

#include "LocalWebServer.h"
#include "TestHome.h"
#include "components/FileImporter.h"
#include "html/HtmlNesting.h"
#include "html/ImportedHtml.h"
#include "import/ConvertAhead.h"
#include "import/FileImport.h"
#include "rtf/RtfReader.h"
#include "system/TextDecoder.h"
#include "system/TextEncodings.h"

#include <QFile>
#include <QProcess>
#include <QProgressDialog>
#include <QPushButton>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QStringEncoder>
#include <QTest>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTimer>
#include <QUrl>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>
#include <array>
#include <cstdio>

#include <sys/stat.h>

namespace {

const QString faqHeader = QStringLiteral("Star Quest FAQ v1.2\n"
                                         "+--------+-------+\n"
                                         "| Level  | Boss  |\n"
                                         "+--------+-------+\n");

// Writes the file `name` in `dir` and gives its path.
QString write(const QTemporaryDir &dir, const QString &name, const QByteArray &bytes)
{
    writeFile(dir.filePath(name), bytes);
    return dir.filePath(name);
}

QByteArray encoded(const QString &text, const char *encoding)
{
    QStringEncoder encoder(encoding);
    return encoder.encode(text);
}

QString plainOf(const ImportedFile &file)
{
    return RtfReader::PlainText(RtfReader::FromStoredText(file.Row.txt_rtf));
}

} // namespace

class tst_fileimport final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void encodings_data();
    void encodings();
    void chosenEncodings();
    void otherKinds();
    void importedHtml();
    void importsAndTheirFolders();
    void lkimport();
    void lkimportWebPages();
    void concurrentImports();
    void fuzzedInputs();
};

void tst_fileimport::encodings_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("encoding");

    const QString western = faqHeader + QStringLiteral("Pokémon café — “quoted” naïve façade. Über straße, déjà vu.\n");
    const QString russian =
        faqHeader + QStringLiteral("Съешь же ещё этих мягких французских булок, да выпей чаю. Прохождение игры.\n");
    const QString mixed = faqHeader + QStringLiteral("Ünïcödé ✓ 攻略 \U0001F600\n");

    QTest::newRow("windows1252") << western << encoded(western, "windows-1252") << "windows-1252";
    QTest::newRow("koi8r") << russian << encoded(russian, "koi8-r") << "koi8-r";
    QTest::newRow("utf8") << mixed << mixed.toUtf8() << "utf-8";
    QTest::newRow("utf8Bom") << mixed << QByteArray("\xEF\xBB\xBF" + mixed.toUtf8()) << "utf-8";
    QTest::newRow("utf16leBom") << mixed << QByteArray("\xFF\xFE" + encoded(mixed, "UTF-16LE")) << "utf-16le";
    QTest::newRow("utf16beBom") << mixed << QByteArray("\xFE\xFF" + encoded(mixed, "UTF-16BE")) << "utf-16be";
    QTest::newRow("utf16leWithoutMark") << western << encoded(western, "UTF-16LE") << "utf-16le";
    // Half a surrogate pair is no character: it reads as the replacement character, as bad bytes do.
    QTest::newRow("utf16LoneSurrogate") << QString(faqHeader + QStringLiteral("a\uFFFDb\n"))
                                        << QByteArray(
                                               "\xFF\xFE" + encoded(faqHeader + QStringLiteral("a"), "UTF-16LE") +
                                               QByteArray("\x00\xDC", 2) + encoded(QStringLiteral("b\n"), "UTF-16LE"))
                                        << "utf-16le";
    // What the detector alone gets wrong. Korean in its Windows page (letters EUC-KR lacks) and in
    // EUC-KR; 7-bit ISO-2022-JP, valid ASCII; a Windows text whose only 8-bit bytes are quotes.
    const QString korean = faqHeader + QStringLiteral("젤다의 전설 공략\n제1장: 숲의 신전에서 열쇠를 얻으세요. 보스는 "
                                                      "거대한 식물입니다.\n화살로 눈을 맞추면 쉽게 이깁니다.\n")
                                           .repeated(3);
    QTest::newRow("euckr") << korean << encoded(korean, "euc-kr") << "euc-kr";
    const QString cp949 = korean + QStringLiteral("똠방각하 뷁 햏\n");
    QTest::newRow("cp949") << cp949 << encoded(cp949, "windows-949") << "cp949";
    const QString japanese = faqHeader + QStringLiteral("森の神殿に入ったら、まず左の部屋で鍵を手に入れよう。\n"
                                                        "ボスは巨大な植物だ。矢で目を狙え。\n")
                                             .repeated(3);
    QTest::newRow("iso2022jp") << japanese << encoded(japanese, "iso-2022-jp") << "iso-2022-jp";
    const QString quotes =
        faqHeader + QStringLiteral("The guard says “No entry” – ignore him, it’s a trick.\n").repeated(4);
    QTest::newRow("windowsQuotesOnly") << quotes << encoded(quotes, "windows-1252") << "windows-1252";
    // Code page 437, which the detector does not know: a DOS FAQ's frames and rules, or only its
    // accented letters.
    const QString banner = QStringLiteral("╔") + QString(40, u'═') + QStringLiteral("╗\n║ FINAL FANTASY VII FAQ") +
                           QString(18, u' ') + QStringLiteral("║\n╚") + QString(40, u'═') + QStringLiteral("╝\n") +
                           faqHeader + QStringLiteral("░▒▓ Materia ▓▒░\n");
    QTest::newRow("dosFrames") << banner << encoded(banner, "ibm437") << "ibm437";
    const QString french = faqHeader + QStringLiteral("Au début, allez à gauche. Le maître de l'épée donne une clé; "
                                                      "la forêt est au nord.\n")
                                           .repeated(2);
    QTest::newRow("dosAccents") << french << encoded(french, "ibm437") << "ibm437";
    // Pages whose letters the detector reads as capitals, signs or control codes inside words: DOS
    // German (ß among them) and Portuguese (850), Mac Roman, and a Windows page's quotes that are
    // control codes in the ISO page the detector names.
    const QString german = faqHeader + QStringLiteral("Im Dorf geht ihr zuerst zur Bar. Danach öffnet ihr die Tür mit "
                                                      "dem Schlüssel. Größere Rätsel löst ihr später.\n")
                                           .repeated(3);
    QTest::newRow("dosGerman") << german << encoded(german, "ibm437") << "ibm437";
    const QString portuguese =
        faqHeader + QStringLiteral("No começo, Crono acorda em casa. A máquina não funciona, então "
                                   "você precisará da chave. Atenção às missões.\n")
                        .repeated(3);
    QTest::newRow("dosPortuguese") << portuguese << encoded(portuguese, "ibm850") << "ibm850";
    QTest::newRow("macFrench") << french << encoded(french, "macintosh") << "macintosh";
    const QString macQuotes =
        faqHeader + QStringLiteral("Snake’s codec isn’t “broken”; you’ll find Otacon’s note.\n").repeated(4);
    QTest::newRow("macEnglish") << macQuotes << encoded(macQuotes, "macintosh") << "macintosh";
    const QString baltic = faqHeader + QStringLiteral("Žaidimo „Heroes III“ vadovas. Pradžioje pastatykite tavernas ir "
                                                      "rinkite auksą; herojai stiprėja kovodami.\n")
                                           .repeated(3);
    QTest::newRow("windowsBaltic") << baltic << encoded(baltic, "windows-1257") << "windows-1257";
    // A DOS end-of-file mark is not text.
    QTest::newRow("dosEndMark") << western << QByteArray(encoded(western, "windows-1252") + '\x1A') << "windows-1252";
    // Four bytes the detector takes for a Mac page: too little to trust over Windows-1252.
    QTest::newRow("tinyMultibyteGuess") << QStringLiteral("\u008dU\u2014\u00aa\n")
                                        << encoded(QStringLiteral("攻略\n"), "Shift_JIS") << "windows-1252";
}

void tst_fileimport::encodings()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, bytes);
    QFETCH(QString, encoding);
    QTemporaryDir dir;
    // No extension at all: a file that holds text is read as text.
    const ImportedFile file = FileImport::Convert(write(dir, QStringLiteral("guide"), bytes));
    QVERIFY2(file.Skipped.isEmpty(), qPrintable(file.Skipped));
    QCOMPARE(std::pair(file.Encoding, plainOf(file)), std::pair(encoding, text));

    // Kept in a fixed-pitch font, so that the table's columns line up on any machine.
    QTextDocument document;
    RtfReader::Read(RtfReader::FromStoredText(file.Row.txt_rtf), &document);
    QVERIFY(QTextCursor(&document).charFormat().fontFixedPitch());
}

// Every encoding offered by name decodes a guide that Python's codecs wrote (fixtures/encodings),
// whatever detection would have made of it; and naming one changes nothing for RTF or binary files.
void tst_fileimport::chosenEncodings()
{
    const QDir fixtures(QStringLiteral(LOREKEEP_FIXTURES "/encodings"));
    const QStringList guides = fixtures.entryList({QStringLiteral("*.expected.txt")});
    QStringList offered;
    for (const TextEncodings::Encoding &encoding : TextEncodings::All()) {
        offered << encoding.Name + QStringLiteral(".expected.txt");
        QVERIFY2(!encoding.Label.isEmpty() && TextEncodings::Find(encoding.Name) == &encoding,
                 qPrintable(encoding.Name));
    }
    // Each one listed is tested, and none the system cannot decode went missing from the list.
    offered.sort();
    QCOMPARE(offered, guides);
    for (const QString &guide : guides) {
        const QString name = guide.chopped(int(qstrlen(".expected.txt")));
        QFile expected(fixtures.filePath(guide));
        QVERIFY(expected.open(QIODevice::ReadOnly));
        const ImportedFile file = FileImport::Convert(fixtures.filePath(name + QStringLiteral(".txt")), 0, name);
        QVERIFY2(file.Skipped.isEmpty(), qPrintable(name + QStringLiteral(": ") + file.Skipped));
        // Vietnamese keeps its combining tone marks as written; either form shows the same.
        QCOMPARE(std::pair(file.Encoding, plainOf(file).normalized(QString::NormalizationForm_C)),
                 std::pair(name, QString::fromUtf8(expected.readAll()).normalized(QString::NormalizationForm_C)));
    }

    QCOMPARE((QStringList{TextEncodings::Find(QStringLiteral("SJIS"))->Name,
                          TextEncodings::Find(QStringLiteral(" cp437 "))->Name,
                          TextEncodings::Find(QStringLiteral("Latin1"))->Name,
                          TextEncodings::Find(QStringLiteral("UHC"))->Name}),
             (QStringList{"shift_jis", "ibm437", "iso-8859-1", "cp949"}));
    QVERIFY(!TextEncodings::Find(QStringLiteral("klingon")) && !TextEncodings::Find(QString()));

    QTemporaryDir dir;
    const QString russian = faqHeader + QStringLiteral("Съешь же ещё этих мягких французских булок.\n");
    const QString mixed = faqHeader + QStringLiteral("Ünïcödé ✓ 攻略\n");
    struct Case
    {
        const char *name;
        QByteArray bytes;
        const char *encoding;
        QString text;
        QString skipped;
    };
    const Case cases[] = {
        // Named, the bytes mean what the name says even where detection would read them otherwise.
        {"ru.txt",
         encoded(russian, "koi8-r"),
         "windows-1251",
         QStringDecoder("windows-1251").decode(encoded(russian, "koi8-r")),
         {}},
        // The mark of the named encoding is no text; a mark of another is.
        {"bom.txt", "\xEF\xBB\xBF" + mixed.toUtf8(), "utf-8", mixed, {}},
        {"bomAsWestern.txt",
         "\xEF\xBB\xBF"
         "caf\xC3\xA9\n",
         "windows-1252",
         QStringLiteral("ï»¿cafÃ©\n"),
         {}},
        {"be.txt", encoded(mixed, "UTF-16BE"), "utf-16", mixed, {}},
        {"beMarked.txt", "\xFE\xFF" + encoded(mixed, "UTF-16BE"), "utf-16", mixed, {}},
        {"dosEnd.txt", encoded(russian, "ibm866") + "\x1A", "ibm866", russian, {}},
        // RTF says its own code page, and a picture is no text in any encoding.
        {"doc.rtf", "{\\rtf1\\ansi\\ansicpg1251 \\'c8\\'e3\\'f0\\'e0\\par}", "shift_jis", QStringLiteral("Игра\n"), {}},
        {"map.png", "\x89PNG\r\n\x1A\n\0\0\0\rIHDR", "utf-16", {}, QStringLiteral("not a text file")},
        {"zeros.txt", QByteArray(64, '\0') + "ab", "utf-16le", {}, QStringLiteral("not a text file")},
    };
    for (const Case &c : cases) {
        const ImportedFile file =
            FileImport::Convert(write(dir, QLatin1String(c.name), c.bytes), 0, QLatin1String(c.encoding));
        QCOMPARE(std::pair(file.Skipped, file.Skipped.isEmpty() ? plainOf(file) : QString()),
                 std::pair(c.skipped, c.text));
    }
}

void tst_fileimport::otherKinds()
{
    QTemporaryDir dir;
    // A whole RTF file is kept byte for byte; raw 8-bit bytes become the escapes they stand for.
    const QByteArray rtf = "{\\rtf1\\ansi\\ansicpg1251{\\fonttbl{\\f0 Arial;}}\\f0 \\b \\'cf\\'f0\\'e8\\b0  "
                           "\xe2\xe5\xf2\\par}\r\n";
    ImportedFile file = FileImport::Convert(write(dir, QStringLiteral("Boss Review.RTF"), rtf));
    QCOMPARE(std::tuple(file.Encoding, file.Row.txt_rtf, plainOf(file), file.Row.desc, file.Row.sub_cat),
             std::tuple(QStringLiteral("windows-1251"),
                        QString::fromLatin1(QByteArray(rtf).replace("\xe2\xe5\xf2", "\\'e2\\'e5\\'f2")),
                        QStringLiteral("При вет\n"), QStringLiteral("Boss Review"), quint8(3)));

    // A truncated one keeps what the reader makes of it, as a document of its own.
    file = FileImport::Convert(write(dir, QStringLiteral("cut.rtf"), "{\\rtf1 Hello {\\b bold"));
    QCOMPARE(std::pair(RtfReader::IsWhole(file.Row.txt_rtf.toLatin1()), plainOf(file).trimmed()),
             std::pair(true, QStringLiteral("Hello bold")));
    // A ".rtf" that is not RTF is plain text.
    file = FileImport::Convert(write(dir, QStringLiteral("plain.rtf"), "just text\n"));
    QCOMPARE(plainOf(file), QStringLiteral("just text\n"));

    // A web page: its meta charset, its formatting, and nothing of its scripts or style sheets.
    const QString html = QStringLiteral("<html><head><meta http-equiv='Content-Type' content='text/html; "
                                        "charset=windows-1251'><style>body { color: white }</style>"
                                        "<script>var secret = 1;</script></head><body><h1>Прохождение</h1>"
                                        "<p>Первый <b>босс</b></p><noscript>Enable scripts</noscript></body></html>");
    file = FileImport::Convert(write(dir, QStringLiteral("Latest News.html"), encoded(html, "windows-1251")));
    QCOMPARE(std::tuple(file.Encoding, plainOf(file), file.Row.txt_rtf.contains(QLatin1String("\\b"))),
             std::tuple(QStringLiteral("windows-1251"), QStringLiteral("Прохождение\nПервый босс"), true));
    // The heading keeps its size: twice the text's, as a browser shows an <h1>.
    QTextDocument page;
    RtfReader::Read(RtfReader::FromStoredText(file.Row.txt_rtf), &page);
    QCOMPARE(page.firstBlock().begin().fragment().charFormat().fontPointSize(),
             2 * page.lastBlock().begin().fragment().charFormat().fontPointSize());
    QCOMPARE(std::pair(file.Row.txt_rtf.contains(QLatin1String("colortbl")), file.Row.sub_cat),
             std::pair(false, quint8(5)));

    // Nothing a page names is read from the disk: here a style sheet imported where the filter misses
    // the <style>, a pipe that would hold the import until someone wrote to it.
    const QString pipe = dir.filePath(QStringLiteral("sheet.css"));
    QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    const QString styled = write(dir, QStringLiteral("styled.html"),
                                 "<head><style>@import \"" + pipe.toUtf8() + "\";</head><p>Styled</p>");
    const QFuture<ImportedFile> converting = QtConcurrent::run([styled] { return FileImport::Convert(styled); });
    const bool finished = QTest::qWaitFor([&] { return converting.isFinished(); }, 5000);
    if (!finished) {
        // Lets the import go, or the test would never end.
        QFile writer(pipe);
        writer.open(QIODevice::WriteOnly);
    }
    QVERIFY(finished);
    QCOMPARE(plainOf(converting.result()), QStringLiteral("Styled"));

    // The name decides the sub-category; "preview" is no review.
    QCOMPARE(std::pair(FileImport::SubCategoryFor(QStringLiteral("GameShark CODES")),
                       FileImport::SubCategoryFor(QStringLiteral("E3 Preview"))),
             std::pair(quint8(2), quint8(4)));

    // What holds no text is left out, with the reason.
    const std::tuple<const char *, QByteArray, const char *> bad[] = {
        {"cover.png", QByteArray("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16) + QByteArray(64, 'x'), "not a text file"},
        {"setup.txt", QByteArray("MZ\x90\0\3\0\0\0", 8).repeated(50), "not a text file"},
        {"manual.pdf", "%PDF-1.4\n%\xe2\xe3\xcf\xd3\n1 0 obj", "not a text file"},
        {"empty.txt", {}, "empty file"},
        {"blank.txt", " \r\n\t\r\n", "holds no text"},
        {"blank.rtf", "{\\rtf1{\\*\\shppict}{\\nonshppict{\\pict\\pngblip 89}}}", "holds no text"},
        {"empty.html", "<html><script>x()</script></html>", "holds no text"}};
    for (const auto &[name, bytes, reason] : bad)
        QCOMPARE(FileImport::Convert(write(dir, QLatin1String(name), bytes)).Skipped, QLatin1String(reason));
    // A document that is only a picture, or only a placeholder for one, is kept.
    for (const char *picture : {"{\\rtf1{\\pict\\pngblip 89504e470d0a1a0a}}", "{\\rtf1{\\pict\\wmetafile8 0100}}"}) {
        const auto file = FileImport::Convert(write(dir, QStringLiteral("map.rtf"), picture));
        QVERIFY2(file.Skipped.isEmpty() && file.Row.txt_rtf.contains(QLatin1String("\\pict")),
                 qPrintable(file.Skipped));
    }

    // Over the limit is refused before it is read (the file is sparse, so this is quick).
    QFile huge(dir.filePath(QStringLiteral("huge.txt")));
    QVERIFY(huge.open(QIODevice::WriteOnly) && huge.resize(FileImport::MaxFileSize + 1));
    huge.close();
    QCOMPARE(FileImport::Convert(huge.fileName()).Skipped, QStringLiteral("larger than 64 MB"));

    // A pipe would never end; a missing file is said to be missing.
    const QString fifo = dir.filePath(QStringLiteral("pipe"));
    QCOMPARE(mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    QCOMPARE(std::pair(FileImport::Convert(fifo).Skipped, FileImport::Convert(dir.filePath("gone.txt")).Skipped),
             std::pair(QStringLiteral("not a regular file"), QStringLiteral("not found")));
}

// Web pages: markup nested past the cap keeps its text without its tags, what is no nesting is left
// alone; and the links that stay.
void tst_fileimport::importedHtml()
{
    const auto times = [](const char *text, int n) {
        return QString::fromLatin1(text).repeated(n);
    };
    const QString untouched[] = {
        QStringLiteral("<!-- <div><div><div> --><script>if (a<b) s = \"<div><div><div>\";</script>"
                       "<![CDATA[<div><div>]]><div>x"),
        QStringLiteral("<a title=\"1 > 0\"><b>x"), QStringLiteral("1 < 2 <3 <")};
    const std::pair<QString, QString> cases[] = {
        {times("<div>", 5) + "x" + times("</div>", 5), times("<div>", 3) + "x<br>" + times("</div>", 3)},
        {times("<ul><li>a", 3), QStringLiteral("<ul><li>a<ul><br>a<br>a")},
        {times("<p>a", 6), times("<p>a</p>", 5) + "<p>a"},
        {QStringLiteral("<ul><li>a<li>b</ul>"), QStringLiteral("<ul><li>a</li><li>b</li></ul>")},
        {QStringLiteral("<div><b><i>x</div><div><div>y"), QStringLiteral("<div><b><i>x</i></b></div><div><div>y")},
        {QStringLiteral("</ul></li>x</div>"), QStringLiteral("x")},
        {QStringLiteral("<div><br><img src=a><hr/><span/>x"),
         QStringLiteral("<div><br><img src=a><hr/><span/></span>x")},
        {QStringLiteral("<div><div><div><div><script>x<div"), QStringLiteral("<div><div><div><script>x")}};
    for (const auto &[html, capped] : cases)
        QCOMPARE(HtmlNesting::Capped(html, 3), capped);
    for (const QString &html : untouched)
        QCOMPARE(HtmlNesting::Capped(html, 3), html);

    // Without scripts: their contents, <noscript> and style sheets go, the page's text stays.
    QCOMPARE(HtmlNesting::Capped(QStringLiteral("<head><link rel=stylesheet href=/dev/zero><style>b{}</style></head>"
                                                "<SCRIPT>x()</script ><noscript>On</noscript>Text<script>y<b>z</b>"),
                                 HtmlNesting::MaxDepth, HtmlNesting::Scripts::Drop),
             QStringLiteral("<head></head>Text<b>z</b>"));

    // Each of these took Qt minutes to read; now each is a moment, and every word stays. Qt's reader
    // does not end a <p> at the next block, so the last nests for Qt as well.
    QTemporaryDir dir;
    for (const QByteArray &bytes :
         {QByteArray("<ul><li>level").repeated(20000),
          QByteArray(QByteArray("<div>level").repeated(20000) + QByteArray("</div>").repeated(20000)),
          QByteArray("<div><p>level<b>").repeated(20000)}) {
        const ImportedFile file = FileImport::Convert(write(dir, QStringLiteral("deep.html"), bytes));
        QCOMPARE(std::tuple(file.Skipped, plainOf(file).count(QLatin1String("level"))), std::tuple(QString(), 20000));
    }

    // Only web, mail and FTP links stay links, relative ones only on a web page. In the document a
    // link that is kept leads to its full address, one that is not is text.
    const QString site = QStringLiteral("https://games.example/guides/index.html");
    const QString links[][3] = {{"http://games.example/a?b=1", {}, "http://games.example/a?b=1"},
                                {"mailto:author@games.example", {}, "mailto:author@games.example"},
                                {"ftp://ftp.games.example/faq.txt", {}, "ftp://ftp.games.example/faq.txt"},
                                {"part2.html#boss", site, "https://games.example/guides/part2.html#boss"},
                                {"//cdn.example/x", site, "https://cdn.example/x"},
                                {" JavaScript:alert(1)", site, {}},
                                {"file:///home/user/.ssh/id_rsa", site, {}},
                                {"part2.html", {}, {}},
                                {"part2.html", "file:///home/user/page.html", {}},
                                {"http:part2.html", {}, {}}};
    for (const auto &[href, page, kept] : links) {
        const ImportedHtml document(QStringLiteral("<p><a href=\"%1\">Link</a> after</p>").arg(href.toHtmlEscaped()),
                                    QUrl(page));
        const QTextCharFormat format = document.firstBlock().begin().fragment().charFormat();
        QCOMPARE(std::tuple(href, ImportedHtml::KeptLink(href, QUrl(page)).toString(), format.anchorHref(),
                            format.fontUnderline(), document.toPlainText()),
                 std::tuple(href, kept, kept, !kept.isEmpty(), QStringLiteral("Link after")));
    }
}

void tst_fileimport::importsAndTheirFolders()
{
    TestHome home;
    const qint32 game = home.addGame(18, 1, QStringLiteral("Star Quest"));
    QTemporaryDir dir;
    // A page of a hundred thousand paragraphs takes long enough for the dialog to show while it is at hand.
    const QByteArray page = QByteArray("<p>The boss of level 7 is weak to <b>fire</b>.</p>\n").repeated(100000);
    write(dir, QStringLiteral("a big guide.html"), page);
    for (int i = 0; i < 5; ++i)
        write(dir, QStringLiteral("small %1.txt").arg(i), "small\n");

    QWidget window;
    window.show();
    FileImporter importer(&window, &home.store(), game);
    QString label;
    int ticks = 0;
    QTimer poll;
    // The window goes on handling events; the dialog names the file and cancels at once.
    connect(&poll, &QTimer::timeout, [&] {
        ++ticks;
        if (auto *progress = window.findChild<QProgressDialog *>(); progress && progress->isVisible()) {
            label = progress->labelText();
            progress->findChild<QPushButton *>()->click();
        }
    });
    poll.start(20);
    ErrObject err;
    QVERIFY(importer.Run({dir.path()}, &err));
    poll.stop();
    QVERIFY(ticks > 10 && importer.Cancelled() && importer.Imported().isEmpty());
    QCOMPARE(std::tuple(label, home.count(QStringLiteral("SELECT count(*) FROM file")), importer.Summary()),
             std::tuple(QStringLiteral("Importing 1 of 6:\na big guide.html"), 0,
                        QStringLiteral("The import was cancelled.\n\n0 files imported.")));

    // What a folder gives, and the files a game holds already.
    QDir root(dir.path());
    QVERIFY(root.mkpath(QStringLiteral("faqs/part 2")) && root.mkpath(QStringLiteral("faqs/.hidden")) &&
            root.mkpath(QStringLiteral("faqs/page_files")));
    for (const char *name : {"faqs/Guide 10.txt", "faqs/Guide 9.txt", "faqs/part 2/Maps.txt", "faqs/.notes.txt",
                             "faqs/.hidden/x.txt", "faqs/page.html", "faqs/page_files/style.txt"})
        write(dir, QLatin1String(name), "text\n");

    // Files before sub-folders, numbers by value; hidden entries and a saved page's resources stay out.
    const QString faqs = dir.filePath(QStringLiteral("faqs"));
    const QStringList files =
        FileImport::Collect({faqs + QStringLiteral("/"), dir.filePath(QStringLiteral("nothing"))});
    QCOMPARE(files, (QStringList{faqs + QStringLiteral("/Guide 9.txt"), faqs + QStringLiteral("/Guide 10.txt"),
                                 faqs + QStringLiteral("/page.html"), faqs + QStringLiteral("/part 2/Maps.txt"),
                                 dir.filePath(QStringLiteral("nothing"))}));

    // A file whose path is already a source of the game is known; one of another game is not.
    const qint32 other = home.addGame(18, 1, QStringLiteral("Other"));
    QSqlQuery(QStringLiteral("UPDATE file SET src = '%1' WHERE auto_id = %2")
                  .arg(files[0])
                  .arg(home.addFile(other, 1, QStringLiteral("Elsewhere"))),
              home.db());
    FileImport import(home.db(), game);
    QVERIFY(import.Begin(&err) && !import.IsKnown(files[0]));
    ImportedFile file = FileImport::Convert(files[0]);
    QVERIFY(import.Store(&file, &err) && import.IsKnown(files[0]));
    QCOMPARE(home.count(QStringLiteral("SELECT game_id FROM file WHERE auto_id = %1").arg(file.Row.auto_id)), game);

    // A file converts the same whether it was started ahead or not, and one started ahead but
    // passed over gives way to the file asked for.
    {
        const ImportedFile alone = FileImport::Convert(files[3]);
        ConvertAhead ahead;
        ahead.Start(files[1]);
        const ImportedFile instead = ahead.Convert(files[3]);
        ahead.Start(files[3]);
        const ImportedFile started = ahead.Convert(files[3]);
        QCOMPARE(std::tuple(instead.Path, instead.Row.txt_rtf, started.Path, started.Row.txt_rtf),
                 std::tuple(alone.Path, alone.Row.txt_rtf, alone.Path, alone.Row.txt_rtf));
    }

    // Two imports into the same game take turns: each finds what the other stored since it began,
    // and what the game held before either began.
    FileImport second(home.db(), game);
    QVERIFY(second.Begin(&err));
    std::array<ImportedFile, 5> turns = {FileImport::Convert(files[1]), FileImport::Convert(files[1]),
                                         FileImport::Convert(files[3]), FileImport::Convert(files[3]),
                                         FileImport::Convert(files[0])};
    QVERIFY(second.Store(&turns[0], &err) && import.Store(&turns[1], &err) && import.Store(&turns[2], &err) &&
            second.Store(&turns[3], &err) && second.Store(&turns[4], &err));
    QCOMPARE(std::tuple(turns[0].Duplicate, turns[1].Duplicate, turns[2].Duplicate, turns[3].Duplicate,
                        turns[4].Duplicate,
                        home.count(QStringLiteral("SELECT count(*) FROM file WHERE game_id = %1").arg(game))),
             std::tuple(false, true, false, true, true, 3));
}

namespace {

// lkimport on `args`, through the shell, where printf can make words that are not UTF-8.
int runLkimport(const QString &shellArgs, QByteArray *out, QByteArray *err)
{
    QProcess tool;
    tool.start(QStringLiteral("/bin/sh"),
               {QStringLiteral("-c"), QStringLiteral("exec \"$0\" ") + shellArgs, QStringLiteral(LKIMPORT_EXE)});
    tool.waitForFinished(60000);
    *out = tool.readAllStandardOutput();
    *err = tool.readAllStandardError();
    return tool.exitStatus() == QProcess::NormalExit ? tool.exitCode() : -1;
}

} // namespace

void tst_fileimport::lkimport()
{
    TestHome home;
    const qint32 game = home.addGame(18, 1, QStringLiteral("Star Quest"));
    QTemporaryDir dir;
    const QString sjis =
        write(dir, QStringLiteral("jp.txt"),
              encoded(faqHeader + QStringLiteral("攻略ガイド。すべてのボスとマテリアを解説します。\n"), "Shift_JIS"));
    const QString empty = write(dir, QStringLiteral("empty.txt"), {});
    const auto on = [](const QString &store, const QString &gameId) {
        return QStringLiteral("--store '%1' --game %2 ").arg(store, gameId);
    };
    const QString base = on(home.storePath(), QString::number(game));
    QByteArray out, err;

    // One line per committed file; the empty one is left out with its reason, and that fails the run.
    QCOMPARE(runLkimport(base + sjis + QLatin1Char(' ') + empty, &out, &err), 1);
    const int id = home.count(QStringLiteral("SELECT max(auto_id) FROM file"));
    QCOMPARE(std::tuple(out, err), std::tuple(QStringLiteral("%1\t%2\tshift_jis\n").arg(sjis).arg(id).toUtf8(),
                                              QStringLiteral("lkimport: %1: empty file\n").arg(empty).toUtf8()));
    // Already there is no failure; --subcat overrides what the name says.
    const QString news = write(dir, QStringLiteral("news.txt"), "Sequel announced\n");
    // A file named twice is stored once.
    QCOMPARE(
        runLkimport(base + QStringLiteral("--subcat 6 ") + sjis + QLatin1Char(' ') + news + QLatin1Char(' ') + news,
                    &out, &err),
        0);
    QCOMPARE(std::tuple(out, err),
             std::tuple(QStringLiteral("%1\t%2\tutf-8\n").arg(news).arg(id + 1).toUtf8(),
                        QStringLiteral("lkimport: %1: already in this game\nlkimport: %2: already in this game\n")
                            .arg(sjis, news)
                            .toUtf8()));

    // Stores and games it cannot use: exit 2, the program's own words, nothing written.
    const int files = home.count(QStringLiteral("SELECT count(*) FROM file"));
    QCOMPARE(runLkimport(on(home.storePath(), QStringLiteral("777")) + sjis, &out, &err), 2);
    QCOMPARE(err,
             QStringLiteral("lkimport: the store \"%1\" has no game with id 777\n").arg(home.storePath()).toUtf8());
    QCOMPARE(runLkimport(on(sjis, QString::number(game)) + sjis, &out, &err), 2);
    QVERIFY2(err.contains("not a Lorekeep store"), err.constData());
    QCOMPARE(runLkimport(QStringLiteral("--store '%1' %2").arg(home.storePath(), sjis), &out, &err), 2);
    QCOMPARE(std::tuple(home.count(QStringLiteral("SELECT count(*) FROM file")),
                        home.count(QStringLiteral("SELECT sub_cat FROM file WHERE auto_id = %1").arg(id)),
                        home.count(QStringLiteral("SELECT sub_cat FROM file WHERE auto_id = %1").arg(id + 1))),
             std::tuple(files, 1, 6));

    // A named encoding reads every text file so and is printed by its usual name; an unknown one
    // is refused before anything is written.
    const QString russian = write(dir, QStringLiteral("ru.txt"),
                                  encoded(faqHeader + QStringLiteral("Прохождение игры, все боссы.\n"), "koi8-r"));
    QCOMPARE(runLkimport(base + QStringLiteral("--encoding KOI8R ") + russian, &out, &err), 0);
    QCOMPARE(std::tuple(out, err),
             std::tuple(QStringLiteral("%1\t%2\tkoi8-r\n").arg(russian).arg(id + 2).toUtf8(), QByteArray()));
    {
        QSqlQuery stored(home.db());
        QVERIFY(stored.exec(QStringLiteral("SELECT txt_rtf FROM file WHERE auto_id = %1").arg(id + 2)) &&
                stored.next());
        QVERIFY(
            RtfReader::PlainText(RtfReader::FromStoredText(stored.value(0).toString())).contains(u"Прохождение игры"));
    }
    const QString other = write(dir, QStringLiteral("other.txt"), "Plain\n");
    QCOMPARE(runLkimport(base + QStringLiteral("--encoding klingon ") + other, &out, &err), 2);
    QVERIFY2(out.isEmpty() && err.startsWith("lkimport: unknown encoding \"klingon\"; known are utf-8, "),
             err.constData());
    QCOMPARE(home.count(QStringLiteral("SELECT count(*) FROM file")), files + 1);

    // Names that once forged lines or vanished: every line has three fields and an escaped path, and
    // a name that is not UTF-8 is imported, shown with U+FFFD, and found when named directly; then a
    // store whose ids are used up.
    QTemporaryDir odd;
    const QByteArray folder = QFile::encodeName(odd.path()) + '/';
    const std::pair<QByteArray, QByteArray> names[] = {{"back\\slash.txt", "back\\\\slash.txt"},
                                                       {"bad\xff\xfe.txt", "bad\\xFF\\xFE.txt"},
                                                       {"caf\xc3\xa9.txt", "caf\xc3\xa9.txt"},
                                                       {"cr\r.txt", "cr\\r.txt"},
                                                       {"x.txt\t999999\tutf-8\nFAKE", "x.txt\\t999999\\tutf-8\\nFAKE"}};
    QList<QByteArray> expected, seen;
    for (const auto &[name, escaped] : names) {
        FILE *file = std::fopen(QByteArray(folder + name).constData(), "wb");
        QVERIFY(file && std::fputs("Boss strategy\n", file) >= 0 && std::fclose(file) == 0);
        expected << folder + escaped;
    }
    QCOMPARE(runLkimport(base + QLatin1Char('\'') + odd.path() + QLatin1Char('\''), &out, &err), 0);
    QCOMPARE(err, QByteArray());
    for (const QByteArray &line : out.split('\n').mid(0, std::size(names))) {
        const QList<QByteArray> fields = line.split('\t');
        QVERIFY2(fields.size() == 3 && fields[1].toInt() > 0, line.constData());
        seen << fields[0];
    }
    std::sort(seen.begin(), seen.end());
    QCOMPARE(std::tuple(seen, out.count('\n')), std::tuple(expected, qsizetype(std::size(names))));
    QCOMPARE(home.count(QStringLiteral("SELECT count(*) FROM file WHERE \"desc\" = 'bad\uFFFD\uFFFD'")), 1);

    // Named directly: found, and the error line is escaped the same way.
    QCOMPARE(runLkimport(base + QStringLiteral("\"$(printf '%1/bad\\377\\376.txt')\"").arg(odd.path()), &out, &err), 0);
    QCOMPARE(std::tuple(out, err),
             std::tuple(QByteArray(), "lkimport: " + folder + "bad\\xFF\\xFE.txt: already in this game\n"));

    const QString guide =
        base + QLatin1Char('\'') + write(odd, QStringLiteral("guide.txt"), "Guide\n") + QLatin1Char('\'');
    runElsewhere(home.storePath(),
                 {QStringLiteral("INSERT INTO file (auto_id, game_id, sub_cat, src, \"desc\", txt_rtf) "
                                 "VALUES (2147483647, %1, 1, '', 'last', '')")
                      .arg(game)});
    const int usedUp = runLkimport(guide, &out, &err);
    QVERIFY2(err.contains("used up the file ids") && !err.contains("full"), err.constData());
    QCOMPARE(std::tuple(usedUp, out, home.count(QStringLiteral("SELECT count(*) FROM file"))),
             std::tuple(1, QByteArray(), files + int(std::size(names)) + 2));
}

// Pages by address among paths: each stored with its snapshot in argument order, and an address
// already imported or one that does not load is passed over.
void tst_fileimport::lkimportWebPages()
{
    TestHome home;
    const qint32 game = home.addGame(18, 1, QStringLiteral("Crystal Quest"));
    const auto fixture = [](const char *name) {
        QFile file(QStringLiteral(LOREKEEP_FIXTURES "/pages/") + QLatin1String(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    LocalWebServer server;
    server.addPage(QStringLiteral("/caverns.html"), fixture("walkthrough.html"));
    server.addPage(QStringLiteral("/map.png"), fixture("map.png"), "image/png");
    server.addPage(QStringLiteral("/cafe.html"), fixture("cp1252.html"), "text/html");
    const QString caverns = server.url(QStringLiteral("/caverns.html")).toString();
    const QString cafe = server.url(QStringLiteral("/cafe.html")).toString();
    const QString gone = server.url(QStringLiteral("/gone.html")).toString();
    QTemporaryDir dir;
    const QString notes = write(dir, QStringLiteral("notes.txt"), "Bring the lantern.\n");

    // The server answers from this event loop, so the tool is waited for without blocking it.
    const auto run = [&](const QStringList &arguments, QByteArray *out, QByteArray *err) {
        QProcess tool;
        QSignalSpy finished(&tool, &QProcess::finished);
        tool.start(QStringLiteral(LKIMPORT_EXE), QStringList{QStringLiteral("--store"), home.storePath(),
                                                             QStringLiteral("--game"), QString::number(game)} +
                                                     arguments);
        const bool ended = finished.wait(90000);
        *out = tool.readAllStandardOutput();
        *err = tool.readAllStandardError();
        return ended && tool.exitStatus() == QProcess::NormalExit ? tool.exitCode() : -1;
    };
    QByteArray out, err;
    QCOMPARE(run({caverns, notes, cafe}, &out, &err), 0);
    const int first = home.count(QStringLiteral("SELECT min(auto_id) FROM file"));
    QCOMPARE(std::tuple(out, err), std::tuple(QStringLiteral("%1\t%2\tweb\n%3\t%4\tutf-8\n%5\t%6\tweb\n")
                                                  .arg(caverns)
                                                  .arg(first)
                                                  .arg(notes)
                                                  .arg(first + 1)
                                                  .arg(cafe)
                                                  .arg(first + 2)
                                                  .toUtf8(),
                                              QByteArray()));
    QSqlQuery row(home.db());
    QVERIFY(row.exec(QStringLiteral("SELECT \"desc\", src, txt_rtf, (SELECT count(*) FROM snapshot s WHERE s.file_id = "
                                    "f.auto_id) FROM file f WHERE auto_id = %1")
                         .arg(first)) &&
            row.next());
    QCOMPARE(std::tuple(row.value(0).toString(), row.value(1).toString(), row.value(3).toInt()),
             std::tuple(QStringLiteral("Crystal Caverns Walkthrough, Floor by Floor"), caverns, 1));
    const QString text = RtfReader::PlainText(RtfReader::FromStoredText(row.value(2).toString()));
    QVERIFY(text.contains(QLatin1String("Prism Guardian")) && !text.contains(QLatin1String("FooterCopyright")));
    QCOMPARE(home.count(QStringLiteral("SELECT count(*) FROM snapshot WHERE file_id = %1").arg(first + 1)), 0);
    QCOMPARE(home.count(QStringLiteral("SELECT count(*) FROM snapshot WHERE file_id = %1").arg(first + 2)), 1);

    QCOMPARE(run({caverns, gone}, &out, &err), 1);
    QCOMPARE(std::tuple(out, err),
             std::tuple(QByteArray(), QStringLiteral("lkimport: %1: already in this game\n"
                                                     "lkimport: %2: The page %2 was not found (HTTP 404).\n")
                                          .arg(caverns, gone)
                                          .toUtf8()));
    QCOMPARE(home.count(QStringLiteral("SELECT count(*) FROM file WHERE game_id = %1").arg(game)), 3);
}

// Two lkimports of one folder started together store each file once, round after round.
void tst_fileimport::concurrentImports()
{
    TestHome home;
    QTemporaryDir dir;
    constexpr int files = 40;
    for (int i = 0; i < files; ++i)
        write(dir, QStringLiteral("guide %1.txt").arg(i), "Boss strategy " + QByteArray::number(i) + '\n');
    QByteArray out, err;
    for (int round = 0; round < 4; ++round) {
        const qint32 game = home.addGame(18, 1, QStringLiteral("Game %1").arg(round));
        const QString args =
            QStringLiteral("--store '%1' --game %2 '%3'").arg(home.storePath()).arg(game).arg(dir.path());
        QCOMPARE(runLkimport(args + " & \"$0\" " + args + " && wait $!", &out, &err), 0); // 0: both succeeded
        QCOMPARE(
            std::tuple(out.count('\n'),
                       home.count(QStringLiteral("SELECT count(*) FROM file WHERE game_id = %1").arg(game)),
                       home.count(QStringLiteral("SELECT count(DISTINCT src) FROM file WHERE game_id = %1").arg(game))),
            std::tuple(qsizetype(files), files, files));
    }
}

// Inputs that once broke the import: each is stored whole and 7-bit, or left out with a reason, and an
// RTF file or a text file keeps its words.
void tst_fileimport::fuzzedInputs()
{
    const auto words = [](QString text) {
        return text.removeIf([](QChar c) { return !c.isLetterOrNumber(); });
    };
    const QDir crashers(QStringLiteral(LOREKEEP_FIXTURES "/import-crashers"));
    QStringList names = crashers.entryList(QDir::Files);
    names.removeAll(QStringLiteral("README.md"));
    QVERIFY(!names.isEmpty());
    for (const QString &name : names) {
        const QByteArray bytes = readFile(crashers.filePath(name));
        const ImportedFile file = FileImport::Convert(crashers.filePath(name));
        if (!file.Skipped.isEmpty())
            continue;
        const QString rtf = file.Row.txt_rtf;
        QVERIFY2(std::all_of(rtf.cbegin(), rtf.cend(), [](QChar c) { return c.unicode() < 0x80; }), qPrintable(name));
        QVERIFY2(RtfReader::IsWhole(rtf.toLatin1()), qPrintable(name));
        if (name.endsWith(QLatin1String(".rtf")))
            QCOMPARE(words(plainOf(file)), words(RtfReader::PlainText(bytes)));
        else if (!name.endsWith(QLatin1String(".html")) && !name.endsWith(QLatin1String(".htm")))
            QCOMPARE(words(plainOf(file)), words(TextDecoder::Decode(bytes).Text));
    }
}

QTEST_MAIN(tst_fileimport)
#include "tst_fileimport.moc"
