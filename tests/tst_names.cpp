#include "data/NodeKey.h"
#include "data/modNames.h"

#include <QSet>
#include <QTest>

class tst_names final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void edgesOfEachTable();
    void keysKeepTheirStoredForm();
};

void tst_names::edgesOfEachTable()
{
    using namespace modNames;
    QCOMPARE(std::pair(GetPlatformName(11), GetPlatformName(19)),
             std::pair(QStringLiteral("32x"), QStringLiteral("Arcade")));
    QStringList outside;
    for (const auto &[subCat, genre, platform] : {std::tuple(0, 0, 0), std::tuple(255, 255, 255), std::tuple(7, 9, 20)})
        outside << GetSubCatName(quint8(subCat)) << GetGenreName(quint8(genre)) << GetPlatformName(quint8(platform));
    QCOMPARE(outside, QStringList(9, QString()));

    // Names are matched exactly: no case folding, no trimming, the backslash is the separator.
    QCOMPARE(
        QList<quint8>({GetSubCatCode(QStringLiteral("Walkthrough\\Guide")),
                       GetSubCatCode(QStringLiteral("Walkthrough/Guide")), GetSubCatCode(QStringLiteral("Review ")),
                       GetGenreCode(QStringLiteral("action")), GetGenreCode(QString())}),
        QList<quint8>({1, 0, 0, 0, 0}));

    for (quint8 code = 1; code <= SubCatCount; ++code)
        QCOMPARE(GetSubCatCode(GetSubCatName(code)), code);
    for (quint8 code = 1; code <= GenreCount; ++code)
        QCOMPARE(GetGenreCode(GetGenreName(code)), code);
    QSet<QString> platforms;
    for (quint8 code = 1; code <= PlatformCount; ++code)
        platforms.insert(GetPlatformName(code));
    QVERIFY(platforms.size() == int(PlatformCount) && !platforms.contains(QString()));
}

// Bookmarks store these keys, so their form may not change with the way they are made.
void tst_names::keysKeepTheirStoredForm()
{
    using namespace NodeKey;
    QCOMPARE(FilePath(2147483647, Game(66300, 8, 19)), QStringLiteral("K_2147483647|N_66300|G_8|P_19"));
    QCOMPARE(QStringList({Platform(0), Genre(255, 1), Game(-3, QString()), File(-2147483647 - 1)}),
             QStringList({QStringLiteral("P_0"), QStringLiteral("G_255|P_1"), QStringLiteral("N_-3|"),
                          QStringLiteral("K_-2147483648")}));
    const auto game = ParseGame(Game(0, Genre(1, 2)));
    QVERIFY(game && game->GameId == 0 && game->GenreId == 1 && game->PlatformId == 2);
}

QTEST_GUILESS_MAIN(tst_names)
#include "tst_names.moc"
