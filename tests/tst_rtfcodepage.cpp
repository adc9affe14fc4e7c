#include "rtf/RtfCodePage.h"

#include <QStringDecoder>
#include <QTest>

using RtfCodePage::Decoder;

class tst_rtfcodepage final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void singleBytePages();
    void doubleBytePages();
};

// Cyrillic (1251) and the symbol font's page (42) are read through whole documents in tst_rtfreader.
void tst_rtfcodepage::singleBytePages()
{
    QCOMPARE(Decoder(1252).decode("a\x80\x93q\x94\x9F\x81"), QStringLiteral("a€“q”Ÿ\u0081"));
    QCOMPARE(Decoder(1250).decode("\x8A\xB9\xF8"), QStringLiteral("Šąř"));
    QCOMPARE(Decoder(1253).decode("\xE1\xA2\xD3"), QStringLiteral("αΆΣ"));
    QCOMPARE(Decoder(1255).decode("\xE0\xFA\xCA\xD9"), QStringLiteral("את\u05BA\uFFFD"));
    QCOMPARE(Decoder(10000).decode("\x8E\xA5"), QStringLiteral("é•"));

    // A page we do not know reads as 1252 but keeps its own number, which callers key decoders by.
    const Decoder unknown(12345);
    QCOMPARE(
        std::tuple(unknown.codePage(), unknown.decode("\x80\xE9"), unknown.isDoubleByte(), unknown.isLeadByte(0x81)),
        std::tuple(12345, QStringLiteral("€é"), false, false));

    // Font charsets: the symbol and Mac sets, a double-byte one, one that names no page, the OEM ones, and unknowns.
    const QList<std::pair<int, int>> rows = {{2, 42},    {77, 10000}, {128, 932}, {130, 0},
                                             {254, 437}, {255, 850},  {3, 0},     {-1, 0}};
    for (const auto &[charset, codePage] : rows)
        QCOMPARE(RtfCodePage::FromCharset(charset), codePage);
}

void tst_rtfcodepage::doubleBytePages()
{
    // How bytes group into characters does not depend on the system knowing the page.
    const Decoder sjis(932);
    QVERIFY(sjis.isDoubleByte());
    for (const int lead : {0x81, 0x9F, 0xE0, 0xFC})
        QVERIFY(sjis.isLeadByte(uchar(lead)));
    for (const int single : {0x41, 0x80, 0xA0, 0xB1, 0xDF, 0xFD})
        QVERIFY(!sjis.isLeadByte(uchar(single)));
    QVERIFY(Decoder(950).isLeadByte(0xFE) && !Decoder(936).isLeadByte(0x80));

    // Half-width katakana stand alone; a lead byte with a bad or missing trail byte is one U+FFFD.
    QCOMPARE(std::pair(sjis.decode("a\xB1\x82\x20"), sjis.decode("\x82")),
             std::pair(QStringLiteral("aｱ\uFFFD "), QStringLiteral("\uFFFD")));

    if (!QStringDecoder("windows-31j").isValid())
        QSKIP("this Qt cannot decode double-byte code pages");
    QCOMPARE(sjis.decode("\x82\xA0\x81\x5F"), QStringLiteral("あ＼"));
    // A run ending in a lead byte must not leave it pending for the next run.
    QCOMPARE(sjis.decode("\x82\xA0\x82"), QStringLiteral("あ\uFFFD"));
    QCOMPARE(sjis.decode("\xA0x"), QStringLiteral("\uFFFDx"));
    QCOMPARE(sjis.decode("\x85\x40"), QStringLiteral("\uFFFD")); // unassigned pair
    QCOMPARE(Decoder(936).decode("\xC4\xE3\xBA\xC3"), QStringLiteral("你好"));
    QCOMPARE(Decoder(949).decode("\xC7\xD1\x81\x61"), QStringLiteral("한갵"));
    QCOMPARE(Decoder(950).decode("\xA4\xA4"), QStringLiteral("中"));
}

QTEST_GUILESS_MAIN(tst_rtfcodepage)
#include "tst_rtfcodepage.moc"
