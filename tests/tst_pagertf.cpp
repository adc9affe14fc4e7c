#include "html/MhtmlArchive.h"
#include "html/PageRtf.h"
#include "rtf/FixedPitch.h"
#include "rtf/RtfReader.h"

#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QRandomGenerator>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextTable>
#include <QtTest>

namespace {

const QUrl pageAddress(QStringLiteral("https://games.example.com/keep/notes.html"));

QByteArray fixture(const char *name)
{
    QFile file(QStringLiteral(LOREKEEP_FIXTURES "/pages/") + QLatin1String(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

struct ReadBack
{
    QTextDocument document;
    QStringList links;
    QList<QSize> pictures; // the sizes of the pictures' own data
    explicit ReadBack(const QString &rtf)
    {
        RtfReader::Read(rtf.toLatin1(), &document);
        for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
            for (auto it = block.begin(); !it.atEnd(); ++it) {
                const QTextCharFormat format = it.fragment().charFormat();
                if (format.isImageFormat()) {
                    const QVariant image =
                        document.resource(QTextDocument::ImageResource, QUrl(format.toImageFormat().name()));
                    pictures.append(image.value<QImage>().size());
                }
                if (!format.anchorHref().isEmpty() && !links.contains(format.anchorHref()))
                    links.append(format.anchorHref());
            }
        }
    }
    QTextBlock block(const QString &start) const
    {
        for (QTextBlock b = document.begin(); b.isValid(); b = b.next())
            if (b.text().contains(start))
                return b;
        return {};
    }
    QTextCharFormat formatOf(const QString &words, const QString &inBlock = {}) const
    {
        const QTextBlock b = block(inBlock.isEmpty() ? words : inBlock);
        for (auto it = b.begin(); !it.atEnd(); ++it)
            if (it.fragment().text().contains(words))
                return it.fragment().charFormat();
        return {};
    }
};

QString pngDataUrl(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::darkGreen);
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return QStringLiteral("data:image/png;base64,") + QString::fromLatin1(png.toBase64());
}

} // namespace

class tst_pagertf : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void archiveParts()
    {
        const QByteArray mhtml = fixture("article.mhtml");
        const QString html = QString::fromUtf8(fixture("article.html"));
        for (const QByteArray &variant : {mhtml, QByteArray(mhtml).replace("\r\n", "\n")}) {
            const MhtmlArchive archive = MhtmlArchive::Read(variant);
            QCOMPARE(archive.PartCount(), 3);
            QCOMPARE(archive.MainAddress(), pageAddress);
            // Quoted-printable with soft line breaks, in UTF-8 as the page's <meta> says.
            QCOMPARE(archive.MainHtml().remove(QLatin1Char('\r')), html);
            const QUrl png(QStringLiteral("https://games.example.com/keep/images/diagram.png"));
            QCOMPARE(archive.PartType(png), QStringLiteral("image/png"));
            QCOMPARE(QImage::fromData(archive.Part(png)).size(), QSize(48, 32));
            QCOMPARE(
                QImage::fromData(archive.Part(QUrl(QStringLiteral("https://cdn.example.org/keep/photo.jpg")))).size(),
                QSize(1248, 832));
            QVERIFY(archive.Part(QUrl(QStringLiteral("cid:frame-4F2A@mhtml.blink"))).startsWith("<!DOCTYPE html>"));
            QVERIFY(archive.Part(QUrl(QStringLiteral("https://games.example.com/other.png"))).isEmpty());
        }
        QCOMPARE(MhtmlArchive::DecodeQuotedPrintable("a=3Db=\r\nc=\nd = =zz=4"), QByteArray("a=bcd = =zz=4"));
    }

    void archiveGarbage()
    {
        for (const QByteArray &bad : {QByteArray(), QByteArray("<html>not mhtml</html>"),
                                      QByteArray("Content-Type: multipart/related\r\n\r\n--\r\n"),
                                      QByteArray("Content-Type: text/html\r\n\r\n<p>one part</p>")})
            QVERIFY(MhtmlArchive::Read(bad).isEmpty());
        // A part cut off in the middle is still read, up to where the file ends.
        const QByteArray mhtml = fixture("article.mhtml");
        const MhtmlArchive cut = MhtmlArchive::Read(mhtml.left(mhtml.indexOf("image/jpeg") + 200));
        QCOMPARE(cut.PartCount(), 3);
        QVERIFY(cut.MainHtml().contains(QLatin1String("Sunken Keep")));

        // Thousands of parts without a blank line: each part's headers end at the next delimiter.
        const MhtmlArchive many = MhtmlArchive::Read("Content-Type: multipart/related; boundary=b\r\n\r\n" +
                                                     QByteArray("--b\r\nX: y\r\n").repeated(300000));
        QCOMPARE(many.PartCount(), 300000);

        QRandomGenerator random(37);
        const QByteArrayList pieces = {"\r\n",     "--",    "----MultipartBoundary--Qx7Lr2mN8pVwKe3sTf9Yh----",
                                       "=",        "=\r\n", "Content-Transfer-Encoding: base64\r\n",
                                       "\r\n\r\n", "\t",    ";"};
        for (int round = 0; round < 3000; ++round) {
            QByteArray mutated = mhtml;
            for (int edit = random.bounded(1, 8); edit > 0; --edit) {
                const qsizetype at = random.bounded(mutated.size() + 1);
                switch (random.bounded(4)) {
                case 0: mutated.insert(at, pieces[random.bounded(pieces.size())]); break;
                case 1: mutated.remove(at, random.bounded(1, 400)); break;
                case 2: mutated.truncate(at); break;
                default:
                    if (at < mutated.size())
                        mutated[at] = char(random.bounded(256));
                }
            }
            const MhtmlArchive archive = MhtmlArchive::Read(mutated);
            archive.MainHtml();
            archive.Part(QUrl(QStringLiteral("https://cdn.example.org/keep/photo.jpg")));
        }
    }

    void articleStructure()
    {
        const MhtmlArchive archive = MhtmlArchive::Read(fixture("article.mhtml"));
        const ReadBack back(PageRtf(archive.MainHtml(), archive.MainAddress(), archive).rtf);
        const QTextCharFormat heading = back.formatOf(QStringLiteral("Mapping the Sunken Keep"));
        const QTextCharFormat body = back.formatOf(QStringLiteral("punishes a careless map"));
        QVERIFY(heading.fontWeight() >= QFont::Bold);
        QVERIFY(heading.fontPointSize() > body.fontPointSize() * 1.5);
        QVERIFY(back.formatOf(QStringLiteral("Sunken Keep"), QStringLiteral("third dungeon")).fontWeight() >=
                QFont::Bold);
        QVERIFY(back.formatOf(QStringLiteral("four")).fontItalic());
        QVERIFY(back.formatOf(QStringLiteral("oil for ten minutes")).fontWeight() >= QFont::Bold);
        QVERIFY(back.block(QStringLiteral("runs.")).text().contains(QStringLiteral("runs.\u2028Updated")));

        // Numbers and nesting levels come back as the page showed them.
        QVERIFY(back.block(QStringLiteral("east stairs")).text().startsWith(QLatin1String("1.")));
        QVERIFY(back.block(QStringLiteral("Swim to")).text().startsWith(QLatin1String("3.")));
        const QTextBlock rope = back.block(QStringLiteral("Rope"));
        QVERIFY(rope.text().startsWith(QChar(0x2022)));
        QVERIFY(back.block(QStringLiteral("rusty key")).blockFormat().leftMargin() > rope.blockFormat().leftMargin());

        QTextTable *table = nullptr;
        for (QTextFrame *frame : back.document.rootFrame()->childFrames())
            table = table ? table : qobject_cast<QTextTable *>(frame);
        QVERIFY(table);
        QCOMPARE(table->rows(), 3);
        QCOMPARE(table->cellAt(2, 1).firstCursorPosition().block().text(), QStringLiteral("Tome of Tides"));

        QVERIFY(back.links.contains(QStringLiteral("https://games.example.com/guides/keep-basics.html")));
        QVERIFY(back.links.contains(QStringLiteral("mailto:ada@example.org")));
        // Addresses as the browser wrote them, not as QUrl would escape them; those that are not
        // whole yet are completed and escaped.
        const ReadBack linked(
            PageRtf(QStringLiteral("<a href=\"https://wiki.example/w/index.php?title=A|B^&amp;q={x}\">"
                                   "raw</a> <a href=\"../maps/sky temple.html\">map</a>"),
                    pageAddress, {})
                .rtf);
        QCOMPARE(linked.links, QStringList({QStringLiteral("https://wiki.example/w/index.php?title=A|B^&q={x}"),
                                            QStringLiteral("https://games.example.com/maps/sky%20temple.html")}));
        QVERIFY(IsFixedPitchFormat(back.formatOf(QStringLiteral("LEVER"))));
        QVERIFY(!IsFixedPitchFormat(body));
        // A <figure> is a block of its own, not a tail of the code before it.
        QVERIFY(!back.block(QStringLiteral("STATE")).text().contains(QLatin1String("drowned")));

        // Neither the page's look nor its scripts come along; blank paragraphs shrink to one.
        const QString text = back.document.toPlainText();
        QVERIFY(!text.contains(QLatin1String("analytics")));
        QVERIFY(!text.contains(QLatin1String("\n\n\n")));
        QVERIFY(!text.startsWith(QLatin1Char('\n')));
        QCOMPARE(text.count(QLatin1String("Field Notes")), 0);
        const QString styled =
            PageRtf(QStringLiteral("<p style=\"color:#ff0000;background:#00ff00;font-family:Georgia;"
                                   "font-size:40px\">Loud</p><p>Quiet <font size=\"7\">big</font></p>"),
                    pageAddress, {})
                .rtf;
        QVERIFY(!styled.contains(QLatin1String("Georgia")));
        QVERIFY(!styled.contains(QLatin1String("\\red255")));
        QVERIFY(!styled.contains(QLatin1String("\\green255")));
        const ReadBack plain(styled);
        QCOMPARE(plain.formatOf(QStringLiteral("Loud")).fontPointSize(),
                 plain.formatOf(QStringLiteral("Quiet")).fontPointSize());
        QCOMPARE(plain.formatOf(QStringLiteral("big")).fontPointSize(),
                 plain.formatOf(QStringLiteral("Quiet")).fontPointSize());
        const ReadBack titled(PageRtf(QStringLiteral("<title>Only a title</title><p>Text</p>"), pageAddress, {}).rtf);
        QCOMPARE(titled.document.toPlainText(), QStringLiteral("Text"));
    }

    void pictures()
    {
        const MhtmlArchive archive = MhtmlArchive::Read(fixture("article.mhtml"));
        const QString html = archive.MainHtml();
        const PageRtfResult kept = PageRtf(html, pageAddress, archive);
        QCOMPARE(kept.pictures, 2); // the tracking pixel is left out
        QCOMPARE(kept.picturesLinked, 0);
        const ReadBack back(kept.rtf);
        QCOMPARE(back.pictures, (QList<QSize>{{48, 32}, {624, 416}}));
        QVERIFY(!kept.rtf.contains(QLatin1String("track.example.net")));

        // Tall pictures are scaled to three text widths high; data: pictures are read too.
        PageRtfOptions narrow;
        narrow.textWidth = 200;
        const QString tall =
            QStringLiteral("<p><img src=\"%1\"><img src=\"%2\"></p>").arg(pngDataUrl({100, 2000}), pngDataUrl({2, 2}));
        QCOMPARE(ReadBack(PageRtf(tall, pageAddress, archive, narrow).rtf).pictures, (QList<QSize>{{30, 600}}));
        QCOMPARE(ReadBack(PageRtf(html, pageAddress, archive, narrow).rtf).pictures.value(1), QSize(200, 133));

        // Past the budget (counted as written), a picture is a link to its address with its alt text.
        PageRtfOptions small;
        small.pictureBudget = 5000;
        const PageRtfResult budget = PageRtf(html, pageAddress, archive, small);
        QCOMPARE(budget.pictures, 1);
        QCOMPARE(budget.picturesLinked, 1);
        QVERIFY(budget.rtf.size() < kept.rtf.size());
        const ReadBack linked(budget.rtf);
        QCOMPARE(linked.pictures.size(), 1);
        QVERIFY(linked.links.contains(QStringLiteral("https://cdn.example.org/keep/photo.jpg")));
        QVERIFY(linked.block(QStringLiteral("The drowned library at dusk")).isValid());

        // Off, or missing from the archive: links, not counted as left out for the budget.
        PageRtfOptions off;
        off.keepPictures = false;
        for (const PageRtfResult &none : {PageRtf(html, pageAddress, archive, off), PageRtf(html, pageAddress, {})}) {
            QCOMPARE(none.pictures, 0);
            QCOMPARE(none.picturesLinked, 0);
            QVERIFY(!RtfReader::ShowsPicture(none.rtf.toLatin1()));
            const ReadBack back(none.rtf);
            QVERIFY(back.links.contains(QStringLiteral("https://games.example.com/keep/images/diagram.png")));
            QVERIFY(back.block(QStringLiteral("Diagram of the cistern levers")).isValid());
        }
        // The picture a browser chose from a srcset or a <picture>'s sources is the one the archive holds.
        const QString chosen =
            QStringLiteral("<picture><source srcset=\"https://cdn.example.org/keep/photo.jpg 2x, small.webp 1x\"><img "
                           "src=\"small.png\" "
                           "alt=\"Small\"></picture><img src=\"missing.png\" srcset=\"images/diagram.png 480w\">");
        const ReadBack sources(PageRtf(chosen, pageAddress, archive).rtf);
        QCOMPARE(sources.pictures, (QList<QSize>{{624, 416}, {48, 32}}));
        // A picture shown three times is written, and counted, three times.
        const QString icon = QStringLiteral("<p><img src=\"images/diagram.png\"> x</p>").repeated(3);
        QCOMPARE(PageRtf(icon, pageAddress, archive).pictures, 3);
        small.pictureBudget = 1000;
        QCOMPARE(PageRtf(icon, pageAddress, archive, small).picturesLinked, 1);

        // A tracking pixel named by its address alone is dropped, pictures on or off.
        const QString pixel = pngDataUrl({1, 1});
        const MhtmlArchive tracker = MhtmlArchive::Read(
            "Content-Type: multipart/related; boundary=b\r\n\r\n--b\r\nContent-Transfer-Encoding: base64\r\n"
            "Content-Location: https://t.example/p.png\r\n\r\n" +
            pixel.mid(pixel.indexOf(QLatin1Char(',')) + 1).toLatin1() + "\r\n--b--\r\n");
        for (const PageRtfOptions &options : {PageRtfOptions(), off}) {
            const QString rtf =
                PageRtf(QStringLiteral("<p>A<img src=\"https://t.example/p.png\"></p>"), pageAddress, tracker, options)
                    .rtf;
            QCOMPARE(ReadBack(rtf).document.toPlainText(), QStringLiteral("A"));
        }
        const ReadBack unnamed(PageRtf(QStringLiteral("<img src=\"/a.png\"><img src=\"x.png\" alt=\"Map\">"),
                                       QUrl(QStringLiteral("file:///tmp/page.html")), {})
                                   .rtf);
        QCOMPARE(unnamed.document.toPlainText(), QStringLiteral("Map"));
        QCOMPARE(ReadBack(PageRtf(QStringLiteral("<img src=\"/a.png\">"), pageAddress, {}).rtf).document.toPlainText(),
                 QStringLiteral("[picture]"));
    }

    void hostilePage()
    {
        const QString html =
            QStringLiteral(
                "<p>Safe <a href=\"javascript:alert(1)\">click</a> <a href=\"data:text/html,<b>x</b>\">data</a>"
                " <a href=\"file:///etc/passwd\">local</a> <a href=\"https://ok.example/\">fine</a></p>"
                "<script>alert(2)</script><img src=\"nope.png\" onerror=\"alert(3)\" alt=\"broken\">"
                "<img src=\"javascript:alert(4)\"><img src=\"file:///etc/hosts\" alt=\"hosts\">"
                "<iframe src=\"https://evil.example/\"></iframe><object data=\"evil.swf\"></object>"
                "<a href=\"vbscript:msgbox\"><img src=\"data:text/html;base64,PHNjcmlwdD4=\"></a>") +
            QStringLiteral("<img alt=\"%1\">").arg(QStringLiteral("&amp").repeated(100000)) +
            QStringLiteral("<div>").repeated(20000) + QStringLiteral("deep") + QStringLiteral("</div>").repeated(20000);
        const PageRtfResult result = PageRtf(html, pageAddress, {});
        for (const char *unsafe : {"javascript", "alert", "data:", "file:", "vbscript", "evil", "onerror"})
            QVERIFY2(!result.rtf.contains(QLatin1String(unsafe), Qt::CaseInsensitive), unsafe);
        QCOMPARE(result.pictures, 0);
        const ReadBack back(result.rtf);
        QCOMPARE(back.links, (QStringList{QStringLiteral("https://ok.example/"),
                                          QStringLiteral("https://games.example.com/keep/nope.png")}));
        QVERIFY(back.document.toPlainText().contains(QLatin1String("click")));
        QVERIFY(back.document.toPlainText().contains(QLatin1String("deep")));

        // Broken markup anywhere in a real page still gives whole RTF.
        const MhtmlArchive archive = MhtmlArchive::Read(fixture("article.mhtml"));
        const QString page = archive.MainHtml();
        const QStringList pieces = {QStringLiteral("<img src=\""),
                                    QStringLiteral("<table><tr><td>"),
                                    QStringLiteral("</li>"),
                                    QStringLiteral("<"),
                                    QStringLiteral("\""),
                                    QStringLiteral("&#x"),
                                    QStringLiteral("<source srcset=\"data:image/png;base64,"),
                                    QStringLiteral("<pre>"),
                                    QStringLiteral("</table>")};
        QRandomGenerator random(37);
        for (int round = 0; round < 200; ++round) {
            QString mutated = page;
            for (int edit = random.bounded(1, 6); edit > 0; --edit)
                mutated.insert(random.bounded(mutated.size()), pieces[random.bounded(pieces.size())]);
            const QByteArray rtf = PageRtf(mutated, pageAddress, archive).rtf.toLatin1();
            QVERIFY2(RtfReader::IsWhole(rtf), qPrintable(mutated));
        }
    }
};

QTEST_MAIN(tst_pagertf)
#include "tst_pagertf.moc"
