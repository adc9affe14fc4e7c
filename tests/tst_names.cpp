#include "data/modNames.h"

#include <QTest>

class tst_names final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void codeToName_data();
    void codeToName();
    void nameToCode_data();
    void nameToCode();
    void everyNameRoundTrips();
};

void tst_names::codeToName_data()
{
    QTest::addColumn<QString>("table");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("name");

    QTest::newRow("subCatFirst") << "subcat" << 1 << "Walkthrough\\Guide";
    QTest::newRow("subCatLast") << "subcat" << 6 << "Web Link";
    QTest::newRow("subCatNone") << "subcat" << 0 << "";
    QTest::newRow("subCatPastEnd") << "subcat" << 7 << "";
    QTest::newRow("subCatByteMax") << "subcat" << 255 << "";
    QTest::newRow("genreFirst") << "genre" << 1 << "Action";
    QTest::newRow("genreHyphen") << "genre" << 5 << "Role-Playing";
    QTest::newRow("genreLast") << "genre" << 8 << "Strategy";
    QTest::newRow("genreNone") << "genre" << 0 << "";
    QTest::newRow("genrePastEnd") << "genre" << 9 << "";
    QTest::newRow("platformFirst") << "platform" << 1 << "Nintendo Entertainment System";
    QTest::newRow("platformAdvancedAsWritten") << "platform" << 8 << "Game Boy Advanced";
    QTest::newRow("platformLowerCaseX") << "platform" << 11 << "32x";
    QTest::newRow("platformPlaystationTwo") << "platform" << 16 << "Playstation II";
    QTest::newRow("platformLast") << "platform" << 19 << "Arcade";
    QTest::newRow("platformNone") << "platform" << 0 << "";
    QTest::newRow("platformPastEnd") << "platform" << 20 << "";
}

void tst_names::codeToName()
{
    QFETCH(QString, table);
    QFETCH(int, code);
    QFETCH(QString, name);
    const quint8 byte = quint8(code);
    const QString actual = table == QLatin1String("subcat")  ? modNames::GetSubCatName(byte)
                           : table == QLatin1String("genre") ? modNames::GetGenreName(byte)
                                                             : modNames::GetPlatformName(byte);
    QCOMPARE(actual, name);
}

void tst_names::nameToCode_data()
{
    QTest::addColumn<QString>("table");
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("code");

    QTest::newRow("subCatBackslash") << "subcat"
                                     << "Walkthrough\\Guide" << 1;
    QTest::newRow("subCatForwardSlash") << "subcat"
                                        << "Walkthrough/Guide" << 0;
    QTest::newRow("subCatCheat") << "subcat"
                                 << "Cheat\\Hint\\Code" << 2;
    QTest::newRow("subCatWebLink") << "subcat"
                                   << "Web Link" << 6;
    QTest::newRow("subCatTrailingBlank") << "subcat"
                                         << "Review " << 0;
    QTest::newRow("subCatEmpty") << "subcat"
                                 << "" << 0;
    QTest::newRow("genreExact") << "genre"
                                << "Action" << 1;
    QTest::newRow("genreLowerCase") << "genre"
                                    << "action" << 0;
    QTest::newRow("genreLast") << "genre"
                               << "Strategy" << 8;
    QTest::newRow("genreLeadingBlank") << "genre"
                                       << " Sports" << 0;
    QTest::newRow("genreEmpty") << "genre"
                                << "" << 0;
}

void tst_names::nameToCode()
{
    QFETCH(QString, table);
    QFETCH(QString, name);
    QFETCH(int, code);
    const int actual = table == QLatin1String("subcat") ? modNames::GetSubCatCode(name) : modNames::GetGenreCode(name);
    QCOMPARE(actual, code);
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
