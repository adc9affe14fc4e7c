#include "data/modNames.h"

#include <QSet>
#include <QTest>

class tst_names final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void edgesOfEachTable();
};

void tst_names::edgesOfEachTable()
{
    using namespace modNames;
    QCOMPARE(GetPlatformName(11), QStringLiteral("32x"));
    QCOMPARE(GetPlatformName(19), QStringLiteral("Arcade"));
    for (quint8 none : {quint8(0), quint8(255)}) {
        QCOMPARE(GetSubCatName(none), QString());
        QCOMPARE(GetGenreName(none), QString());
        QCOMPARE(GetPlatformName(none), QString());
    }
    QCOMPARE(GetSubCatName(7), QString());
    QCOMPARE(GetGenreName(9), QString());
    QCOMPARE(GetPlatformName(20), QString());

    // Names are matched exactly: no case folding, no trimming, the backslash is the separator.
    QCOMPARE(GetSubCatCode(QStringLiteral("Walkthrough\\Guide")), quint8(1));
    QCOMPARE(GetSubCatCode(QStringLiteral("Walkthrough/Guide")), quint8(0));
    QCOMPARE(GetSubCatCode(QStringLiteral("Review ")), quint8(0));
    QCOMPARE(GetGenreCode(QStringLiteral("action")), quint8(0));
    QCOMPARE(GetGenreCode(QString()), quint8(0));

    for (quint8 code = 1; code <= SubCatCount; ++code)
        QCOMPARE(GetSubCatCode(GetSubCatName(code)), code);
    for (quint8 code = 1; code <= GenreCount; ++code)
        QCOMPARE(GetGenreCode(GetGenreName(code)), code);
    QSet<QString> platforms;
    for (quint8 code = 1; code <= PlatformCount; ++code)
        platforms.insert(GetPlatformName(code));
    QCOMPARE(platforms.size(), int(PlatformCount));
    QVERIFY(!platforms.contains(QString()));
}

QTEST_GUILESS_MAIN(tst_names)
#include "tst_names.moc"
