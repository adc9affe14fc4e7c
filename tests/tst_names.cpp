#include "data/modNames.h"

#include <QSet>
#include <QTest>

class tst_names final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void edgesOfEachTable();
    void everyNameRoundTrips();
};

void tst_names::edgesOfEachTable()
{
    using namespace modNames;
    QCOMPARE(GetSubCatName(1), QStringLiteral("Walkthrough\\Guide"));
    QCOMPARE(GetSubCatName(6), QStringLiteral("Web Link"));
    QCOMPARE(GetGenreName(5), QStringLiteral("Role-Playing"));
    QCOMPARE(GetGenreName(8), QStringLiteral("Strategy"));
    QCOMPARE(GetPlatformName(1), QStringLiteral("Nintendo Entertainment System"));
    QCOMPARE(GetPlatformName(8), QStringLiteral("Game Boy Advanced"));
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
    QCOMPARE(GetSubCatCode(QStringLiteral("Cheat\\Hint\\Code")), quint8(2));
    QCOMPARE(GetSubCatCode(QStringLiteral("Walkthrough/Guide")), quint8(0));
    QCOMPARE(GetSubCatCode(QStringLiteral("Review ")), quint8(0));
    QCOMPARE(GetGenreCode(QStringLiteral("Action")), quint8(1));
    QCOMPARE(GetGenreCode(QStringLiteral("action")), quint8(0));
    QCOMPARE(GetGenreCode(QStringLiteral(" Sports")), quint8(0));
    QCOMPARE(GetGenreCode(QString()), quint8(0));
}

void tst_names::everyNameRoundTrips()
{
    for (quint8 code = 1; code <= modNames::SubCatCount; ++code)
        QCOMPARE(modNames::GetSubCatCode(modNames::GetSubCatName(code)), code);
    for (quint8 code = 1; code <= modNames::GenreCount; ++code)
        QCOMPARE(modNames::GetGenreCode(modNames::GetGenreName(code)), code);
    QSet<QString> platforms;
    for (quint8 code = 1; code <= modNames::PlatformCount; ++code)
        platforms.insert(modNames::GetPlatformName(code));
    QCOMPARE(platforms.size(), int(modNames::PlatformCount));
    QVERIFY(!platforms.contains(QString()));
}

QTEST_GUILESS_MAIN(tst_names)
#include "tst_names.moc"
