#include "ScriptedPrompts.h"
#include "TestHome.h"
#include "components/GameSelector.h"

#include <QComboBox>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QTest>

namespace {

template <typename T = QPushButton> T *child(GameSelector &selector, const char *name)
{
    return selector.findChild<T *>(QString::fromLatin1(name));
}

QStringList names(GameSelector &selector)
{
    QStringList names;
    const auto *list = child<QListWidget>(selector, "lstGames");
    for (int row = 0; row < list->count(); ++row)
        names << list->item(row)->text();
    return names;
}

} // namespace

class tst_selector final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listsPresetsOrderAndStoreErrors();
    void newGame();
    void completeSelectOnce_data();
    void completeSelectOnce();
};

void tst_selector::listsPresetsOrderAndStoreErrors()
{
    TestHome home;
    for (const char *name : {"game 10", "Zelda", "Game 2", "alpha", "game 1"})
        home.addGame(17, 2, QString::fromLatin1(name));
    const qint32 halo = home.addGame(17, 1, QStringLiteral("Halo"));
    GameSelector selector;
    selector.setStore(&home.store());
    auto *platforms = child<QComboBox>(selector, "cboPlatform");
    auto *genres = child<QComboBox>(selector, "cboGenre");

    selector.Prepare(17, 1, halo, QStringLiteral("Pick a Game"));
    QCOMPARE(std::pair(child<QListWidget>(selector, "lstGames")->selectedItems().value(0)->data(Qt::UserRole).toInt(),
                       child(selector, "cmdOK")->isEnabled()),
             std::pair(halo, true));
    genres->setCurrentIndex(1);
    QCOMPARE(std::pair(names(selector), child(selector, "cmdOK")->isEnabled()),
             std::pair(QStringList({"alpha", "game 1", "Game 2", "game 10", "Zelda"}), false));
    platforms->setCurrentIndex(0);
    QCOMPARE(names(selector), QStringList());

    // Nothing preset and unknown codes both fall back to the first entries.
    for (const auto &[platform, genre] : {std::pair<quint8, quint8>(0, 0), std::pair<quint8, quint8>(200, 9)}) {
        selector.Prepare(17, 2, 0, QStringLiteral("Again"));
        selector.Prepare(platform, genre, halo, QStringLiteral("Again"));
        QCOMPARE(std::tuple(platforms->currentIndex(), genres->currentIndex()), std::tuple(0, 0));
    }

    // A store that is not open, or has lost its table, is reported and adds nothing.
    ScriptedPrompts prompts;
    modADO none(QStringLiteral("tst-none"));
    selector.setStore(&none);
    prompts.answerMsgBox(MsgResult::OK); // no store open at all
    selector.Prepare(1, 1, 0, QStringLiteral("Pick"));
    QCOMPARE(prompts.last().title, QStringLiteral("GameSelector Error"));

    selector.setStore(&home.store());
    QVERIFY(QSqlQuery(home.db()).exec(QStringLiteral("DROP TABLE game")));
    prompts.answerMsgBox(MsgResult::OK);
    child<QComboBox>(selector, "cboGenre")->setCurrentIndex(1);
    QVERIFY(prompts.last().text.startsWith(QStringLiteral("List Games Error: ")));
    QSignalSpy spy(&selector, &GameSelector::AddGameNode);
    prompts.answerInput(QStringLiteral("Halo"));
    prompts.answerMsgBox(MsgResult::OK);
    child(selector, "cmdNewGame")->click();
    QVERIFY(prompts.last().text.startsWith(QStringLiteral("New Game Error: ")));
    QCOMPARE(std::tuple(names(selector), spy.count()), std::tuple(QStringList(), 0));
}

void tst_selector::newGame()
{
    // The answer; the name added, empty when nothing may be; where it shows among "Game 2" and "Game 10".
    const QString odd = QStringLiteral("Ōkami: \"Director's\" Cut ") + QString(300, QLatin1Char('x'));
    const std::tuple<std::optional<QString>, QString, int> cases[] = {{QStringLiteral("  Game 3 "), "Game 3", 1},
                                                                      {odd + QLatin1Char(' '), odd, 2},
                                                                      {QStringLiteral("Game 10"), "Game 10", 2},
                                                                      {QStringLiteral(" \t "), {}, -1}};
    for (const auto &[answer, added, row] : cases) {
        TestHome home;
        ScriptedPrompts prompts;
        home.addGame(9, 8, QStringLiteral("Game 10"));
        home.addGame(9, 8, QStringLiteral("Game 2"));
        GameSelector selector;
        selector.setStore(&home.store());
        QSignalSpy spy(&selector, &GameSelector::AddGameNode);
        selector.Prepare(9, 8, 0, QStringLiteral("Pick"));
        prompts.answerInput(answer);
        child(selector, "cmdNewGame")->click();
        QCOMPARE(std::tuple(home.count(QStringLiteral("SELECT COUNT(*) FROM game")), spy.count(), prompts.beeps()),
                 added.isEmpty() ? std::tuple(2, 0, 1) : std::tuple(3, 1, 0));
        if (added.isEmpty())
            continue;
        const auto *list = child<QListWidget>(selector, "lstGames");
        const qint32 id = list->item(row)->data(Qt::UserRole).toInt();
        QCOMPARE(std::tuple(list->selectedItems(), list->item(row)->text(), spy[0]),
                 std::tuple(QList<QListWidgetItem *>({list->item(row)}), added,
                            QVariantList({added, QStringLiteral("G_8|P_9"), QStringLiteral("N_%1|G_8|P_9").arg(id)})));
    }
}

void tst_selector::completeSelectOnce_data()
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<bool>("cancel");
    for (const char *how : {"ok", "doubleClick", "placeOnly"})
        QTest::newRow(how) << QString::fromLatin1(how) << false;
    for (const char *how : {"cancelButton", "escape"})
        QTest::newRow(how) << QString::fromLatin1(how) << true;
}

void tst_selector::completeSelectOnce()
{
    QFETCH(QString, how);
    QFETCH(bool, cancel);
    TestHome home;
    const qint32 preset = home.addGame(5, 1, QStringLiteral("Banjo"));
    const qint32 other = home.addGame(6, 3, QStringLiteral("Tetris"));
    GameSelector selector;
    selector.setStore(&home.store());
    selector.setPlaceOnly(how == QLatin1String("placeOnly"));
    QSignalSpy spy(&selector, &GameSelector::CompleteSelect);
    selector.Prepare(5, 1, preset, QStringLiteral("Pick"));
    selector.show();
    QVERIFY(QTest::qWaitForWindowExposed(&selector));
    child<QComboBox>(selector, "cboPlatform")->setCurrentIndex(5);
    child<QComboBox>(selector, "cboGenre")->setCurrentIndex(2);
    auto *list = child<QListWidget>(selector, "lstGames");
    list->setCurrentRow(0);

    if (how == QLatin1String("doubleClick")) {
        // QTest sends the double click alone; a real one follows a press on the same item.
        const QPoint pos = list->visualItemRect(list->item(0)).center();
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, pos);
        QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, pos);
    } else if (how == QLatin1String("escape")) {
        QTest::keyClick(&selector, Qt::Key_Escape);
    } else {
        child(selector, cancel ? "cmdCancel" : "cmdOK")->click();
    }
    selector.close();
    selector.reject();

    const qint32 game = cancel || how == QLatin1String("placeOnly") ? preset : other;
    const QVariantList expected = cancel ? QVariantList({5, 1, game, true}) : QVariantList({6, 3, game, false});
    QCOMPARE(spy, QList<QVariantList>{expected});
    const char *name = game == other ? "Tetris" : how == QLatin1String("placeOnly") ? "Banjo" : "";
    QCOMPARE(std::tuple(selector.PlatformId(), selector.GenreId(), selector.GameId(), selector.Cancelled(),
                        selector.GameName()),
             std::tuple(quint8(expected[0].toInt()), quint8(expected[1].toInt()), game, cancel, QLatin1String(name)));
}

QTEST_MAIN(tst_selector)
#include "tst_selector.moc"
