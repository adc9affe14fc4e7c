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

QTEST_GUILESS_MAIN(tst_names)
#include "tst_names.moc"
