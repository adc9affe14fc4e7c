#include "TestHome.h"
#include "shell/MainLayout.h"
#include "system/SettingsStore.h"

#include <QSettings>
#include <QTest>

// Client area of a window at its minimum: 9000 x 6300 twips less the frame, as a window would have it.
constexpr int SW = 9000;
constexpr int SH = 5600;
constexpr int Screen = 19200;

class tst_layout final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void splitterLimits_data();
    void splitterLimits();
    void detailsHeightAndRestore();
};

void tst_layout::splitterLimits_data()
{
    QTest::addColumn<int>("s1Left");
    QTest::addColumn<int>("s2Top");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("expectedS1");
    QTest::addColumn<int>("expectedS2");
    QTest::newRow("vertical dragged to the right edge") << SW - 10 << 3000 << SW << SW - 1000 << 3000;
    QTest::newRow("vertical at the limits stays") << 1000 << 3000 << SW << 1000 << 3000;
    QTest::newRow("horizontal just above the top limit") << 3720 << 999 << SW << 3720 << 970;
    QTest::newRow("horizontal at the top limit stays") << 3720 << 1000 << SW << 3720 << 1000;
    QTest::newRow("horizontal dragged to the bottom edge") << 3720 << SH - 10 << SW << 3720 << SH - 970;
    QTest::newRow("too narrow for both limits: the right wins") << 1500 << 3000 << 1800 << 800 << 3000;
}

void tst_layout::splitterLimits()
{
    QFETCH(int, s1Left);
    QFETCH(int, s2Top);
    QFETCH(int, width);
    MainLayout layout;
    layout.imgS1Left = s1Left;
    layout.imgS2Top = s2Top;
    const MainLayout::Placement p = layout.SizeControls(width, SH, Screen, false);
    QTEST(layout.imgS1Left, "expectedS1");
    QTEST(layout.imgS2Top, "expectedS2");

    // The panes meet the bars with the 30-twip gap and fill the client area between them.
    const int top = MainLayout::TitleStripHeight;
    if (layout.imgS1Left >= 1000) {
        QCOMPARE(*p.tree, QRect(0, top, layout.imgS1Left, layout.imgS2Top - top));
        QCOMPARE(*p.view, QRect(layout.imgS1Left + 30, top, width - layout.imgS1Left - 30, layout.imgS2Top - top));
    }
    QCOMPARE(*p.details, QRect(0, layout.imgS2Top + 30, width, SH - layout.imgS2Top - 30));
    QCOMPARE(std::tuple(*p.imgS1, p.imgS2, layout.detailHeight),
             std::tuple(QRect(layout.imgS1Left, top, 30, layout.imgS2Top - top), QRect(0, layout.imgS2Top, Screen, 30),
                        SH - layout.imgS2Top - 30));
}

void tst_layout::detailsHeightAndRestore()
{
    MainLayout layout;
    layout.detailHeight = 2295;
    for (const int height : {9000, 7000, 12000, 5600}) {
        layout.SizeControls(SW, height, Screen, true);
        QCOMPARE(std::pair(layout.imgS2Top, layout.detailHeight), std::pair(height - 2295 - 30, 2295));
    }
    // A window too short for it: the bar is held at 970 from the top and the details shrink.
    layout.detailHeight = 4000;
    layout.SizeControls(SW, 4500, Screen, true);
    QCOMPARE(std::pair(layout.imgS2Top, layout.detailHeight), std::pair(970, 4500 - 1000));

    // Restored: unreadable values keep the design position; readable ones come back.
    SaveSetting(SettingKeys::LayoutTree, QStringLiteral("False"));
    SaveSetting(SettingKeys::LayoutDetail, QStringLiteral("perhaps"));
    SaveSetting(SettingKeys::LayoutImgs1Left, QStringLiteral("99999999999"));
    SaveSetting(SettingKeys::LayoutDetailHeight, QStringLiteral("3000"));
    layout = MainLayout();
    layout.Restore(SH);
    QCOMPARE(
        std::tuple(layout.treeVisible, layout.detailVisible, layout.imgS1Left, layout.imgS2Top, layout.detailHeight),
        std::tuple(false, true, int(MainLayout::DesignS1Left), SH - 2295 - 30, 3000));
}

QTEST_GUILESS_MAIN(tst_layout)
#include "tst_layout.moc"
