#include "ScriptedPrompts.h"
#include "TestHome.h"
#include "components/PlatformMaintenance.h"

#include <QComboBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QTest>
#include <QTreeWidget>

namespace {

const QString nes = QStringLiteral("Nintendo Entertainment System");

// NES (1): Mario with two files, Zelda with one; Master System (12), whose code starts like NES's:
// Alex Kidd with one; the unknown code 40: one game without files. Two bookmarks on NES, one on 12.
struct Library
{
    TestHome home;
    ScriptedPrompts prompts;
    PlatformMaintenance window;
    qint32 mario = home.addGame(1, 1, QStringLiteral("Mario"));
    qint32 zelda = home.addGame(1, 2, QStringLiteral("Zelda"));
    qint32 alex = home.addGame(12, 1, QStringLiteral("Alex Kidd"));
    qint32 lost = home.addGame(40, 3, QStringLiteral("Lost"));
    qint32 guide = home.addFile(mario, 1, QStringLiteral("Guide"));
    qint32 codes = home.addFile(mario, 2, QStringLiteral("Codes"));
    qint32 map = home.addFile(zelda, 1, QStringLiteral("Map"));
    qint32 review = home.addFile(alex, 3, QStringLiteral("Review"));

    Library()
    {
        const char *insert = "INSERT INTO bookmarks (tree_key, platform, genre) VALUES ('K_%d|N_%d|G_1|P_1', "
                             "'Nintendo Entertainment System', 1), ('K_%d|N_%d|G_2|P_1', 'Nintendo Entertainment "
                             "System', 2), ('K_%d|N_%d|G_1|P_12', 'Master System', 1)";
        exec(QString::asprintf(insert, guide, mario, map, zelda, review, alex));
        window.setStore(&home.store());
        window.setErrorLog(home.file(QStringLiteral("error.log")));
        window.Show();
    }
    void exec(const QString &sql) { QVERIFY(QSqlQuery(home.db()).exec(sql)); }
    template <typename T = QPushButton> T *child(const char *name)
    {
        return window.findChild<T *>(QString::fromLatin1(name));
    }
    QStringList rows()
    {
        QStringList rows;
        auto *list = child<QTreeWidget>("lvwPlatforms");
        for (int row = 0; row < list->topLevelItemCount(); ++row) {
            const QTreeWidgetItem *item = list->topLevelItem(row);
            rows << QStringList{item->text(0), item->text(1), item->text(2), item->text(3)}.join(QLatin1Char('|'));
        }
        return rows;
    }
    void select(const QString &platform, quint8 moveTo = 1)
    {
        auto *list = child<QTreeWidget>("lvwPlatforms");
        list->setCurrentItem(list->findItems(platform, Qt::MatchExactly).value(0));
        child<QComboBox>("cboMoveTo")->setCurrentIndex(child<QComboBox>("cboMoveTo")->findData(moveTo));
    }
    // Every row of the three tables: "id platform genre" of games; "id game" of files; bookmarks.
    QString dump()
    {
        QSqlQuery query(home.db());
        query.exec(QStringLiteral("SELECT (SELECT %1 FROM game) || ' / ' || (SELECT %2 FROM file) || ' / ' || "
                                  "(SELECT %3 FROM bookmarks)")
                       .arg(joinedSql(QStringLiteral("auto_id || ' ' || platform_id || ' ' || genre_id"),
                                      QStringLiteral("auto_id")),
                            joinedSql(QStringLiteral("auto_id || ' ' || game_id"), QStringLiteral("auto_id")),
                            joinedSql(QStringLiteral("tree_key || ' ' || platform || ' ' || genre"),
                                      QStringLiteral("auto_id"))));
        return query.next() ? query.value(0).toString() : QString();
    }
};

} // namespace

class tst_platforms final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void listAndClose();
    void moveGames();
    void storeFailureRollsBackThenRemove();
};

void tst_platforms::listAndClose()
{
    for (const char *how : {"closeButton", "escape", "closeBox"}) {
        Library library;
        QVERIFY(library.window.isVisible() && library.window.isWindow());
        QCOMPARE(library.rows(), QStringList({nes + "|2|3|2", "Master System|1|1|1", "Unknown Platform 40|1|0|0"}));
        QVERIFY(!library.child("cmdMove")->isEnabled() && !library.child("cmdRemove")->isEnabled());
        library.select(QStringLiteral("Master System"));
        QVERIFY(library.child("cmdMove")->isEnabled() && library.child("cmdRemove")->isEnabled());

        QSignalSpy unloaded(&library.window, &PlatformMaintenance::UnloadPlatforms);
        if (qstrcmp(how, "closeButton") == 0)
            library.child("cmdClose")->click();
        else if (qstrcmp(how, "escape") == 0)
            QTest::keyClick(library.child<QTreeWidget>("lvwPlatforms"), Qt::Key_Escape);
        library.window.close(); // the close box, or a second close of a hidden window: no second unload
        QVERIFY2(!library.window.isVisible() && unloaded.count() == 1, how);
    }
}

void tst_platforms::moveGames()
{
    Library library;
    QSignalSpy reset(&library.window, &PlatformMaintenance::ResetLorekeep);
    QString store = library.dump();
    library.select(nes, 1);
    library.prompts.answerMsgBox(MsgResult::OK);
    library.child("cmdMove")->click();
    QVERIFY(library.prompts.last().text.contains(QStringLiteral("already")) && library.dump() == store);

    library.select(nes, 18);
    library.prompts.answerMsgBox(MsgResult::Yes);
    library.child("cmdMove")->click();
    QCOMPARE(std::pair(library.prompts.last().text, reset.count()),
             std::pair(QString("Move the 2 games of " + nes + " to PC?"), qsizetype(1)));
    store.replace(QString::asprintf("%d 1 1", library.mario), QString::asprintf("%d 18 1", library.mario))
        .replace(QString::asprintf("%d 1 2", library.zelda), QString::asprintf("%d 18 2", library.zelda))
        .replace("P_1 " + nes, QStringLiteral("P_18 PC"));
    QCOMPARE(
        std::tuple(library.dump(), library.rows(), library.child<QTreeWidget>("lvwPlatforms")->currentItem()->text(0)),
        std::tuple(store, QStringList({"Master System|1|1|1", "PC|2|3|2", "Unknown Platform 40|1|0|0"}),
                   QStringLiteral("PC")));
}

void tst_platforms::storeFailureRollsBackThenRemove()
{
    Library library;
    QSignalSpy reset(&library.window, &PlatformMaintenance::ResetLorekeep);
    const QString before = library.dump();
    const QStringList shown = library.rows();
    // The last NES bookmark refuses, after the games moved or the files and games went.
    for (const QString &when : {QStringLiteral("UPDATE"), QStringLiteral("DELETE")})
        refuseWrites(library.home.db(), QStringLiteral("refuse") + when, QStringLiteral("bookmarks"), when,
                     QStringLiteral("old.tree_key LIKE 'K_%1|%'").arg(library.map),
                     QStringLiteral("bookmark refused ") + when);
    for (const char *button : {"cmdMove", "cmdRemove"}) {
        library.select(nes, 17);
        library.prompts.answerMsgBox(MsgResult::Yes);
        library.prompts.answerMsgBox(MsgResult::OK);
        library.child(button)->click();
        QVERIFY2(library.prompts.last().icon == MsgIcon::Critical &&
                     library.prompts.last().text.contains(QStringLiteral("bookmark refused")),
                 button);
        QCOMPARE(std::tuple(library.dump(), library.rows(), reset.count()), std::tuple(before, shown, 0));
    }
    QVERIFY(readFile(library.home.file(QStringLiteral("error.log"))).contains("refused DELETE"));

    // Allowed again, a removal is asked for first and takes the platform's games, files and bookmarks.
    for (const QString &when : {QStringLiteral("UPDATE"), QStringLiteral("DELETE")})
        allowWrites(library.home.db(), QStringLiteral("refuse") + when, QStringLiteral("bookmarks"));
    library.select(nes);
    library.prompts.answerMsgBox(MsgResult::No);
    library.child("cmdRemove")->click();
    QCOMPARE(library.prompts.last().text,
             "Remove " + nes + " with its 2 games and 3 files from the library? This cannot be undone.");
    QCOMPARE(std::tuple(library.dump(), reset.count()), std::tuple(before, 0));

    library.prompts.answerMsgBox(MsgResult::Yes);
    library.child("cmdRemove")->click();
    QCOMPARE(std::tuple(library.dump(), reset.count(), library.rows(), library.child("cmdRemove")->isEnabled()),
             std::tuple(QString::asprintf("%d 12 1, %d 40 3 / %d %d / K_%d|N_%d|G_1|P_12 Master System 1", library.alex,
                                          library.lost, library.review, library.alex, library.review, library.alex),
                        1, QStringList({"Master System|1|1|1", "Unknown Platform 40|1|0|0"}), false));
}

QTEST_MAIN(tst_platforms)
#include "tst_platforms.moc"
