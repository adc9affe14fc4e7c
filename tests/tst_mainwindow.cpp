#include "LibraryGenerator.h"
#include "ScriptedPrompts.h"
#include "StartMainWindow.h"
#include "TestHome.h"
#include "components/TipOfTheDay.h"
#include "data/FindIndex.h"
#include "data/modADO.h"
#include "details/ctlDetails.h"
#include "shell/frmMain.h"
#include "shell/frmSplash.h"
#include "shell/modMain.h"
#include "store/Schema.h"
#include "system/SettingsStore.h"
#include "system/Twips.h"
#include "tree/ctlTree.h"
#include "view/ctlView.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPointer>
#include <QSqlQuery>
#include <QTest>

namespace {

void press(QWidget *bar, QEvent::Type type, QPoint pos)
{
    QMouseEvent event(type, pos, bar->mapToGlobal(pos), Qt::LeftButton,
                      type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(bar, &event);
}

} // namespace

class tst_mainwindow final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void openAnotherStoreOrNone();
    void exitQuestion_data();
    void exitQuestion();
    void splittersViewMenuAndSavedLayout();
    void splashAndMain();
    void firstStartOfAnOlderStore();
};

void tst_mainwindow::openAnotherStoreOrNone()
{
    TestHome home;
    ScriptedPrompts prompts;
    const QString other = home.file(QStringLiteral("Other Games.lkb"));
    ErrObject err;
    QVERIFY(Schema::CreateStore(other, &err));
    const QString broken = home.file(QStringLiteral("notes.lkb"));
    writeFile(broken, "not a store");

    auto form = startMainWindow();
    auto *search = form->findChild<QLineEdit *>(QStringLiteral("txtSearch"));
    auto *view = form->findChild<ctlView *>();
    auto reloaded = [&] {
        return search->text() != QLatin1String("marker");
    };
    auto openFile = [&](std::optional<QString> path, bool fails = false) {
        search->setText(QStringLiteral("marker"));
        view->Cover(false);
        prompts.answerOpenFile(path);
        if (fails)
            prompts.answerMsgBox(MsgResult::OK);
        form->Menu().mnuFileConnect->trigger();
    };

    // Cancelled, the open store again, or a file that is no store: nothing is reloaded.
    openFile(std::nullopt);
    QVERIFY(!reloaded());
    openFile(home.storePath());
    QVERIFY(!reloaded());
    openFile(broken, true);
    QCOMPARE(std::tuple(reloaded(), form->windowTitle(), form->Store().DatabasePath(), form->Store().IsOpen()),
             std::tuple(false, QStringLiteral("Lorekeep - [lorekeep] - Files"), home.storePath(), true));

    openFile(other);
    QCOMPARE(
        std::tuple(reloaded(), view->IsCovered(), form->windowTitle(), form->lblCaption()->text(),
                   form->Store().DatabasePath()),
        std::tuple(true, true, QStringLiteral("Lorekeep - [Other Games] - Files"), QStringLiteral("Lorekeep"), other));

    // Another start on the home hands its file over: a store is opened as File > Open does.
    search->setText(QStringLiteral("marker"));
    modMain::BringToFront(home.storePath());
    QTRY_COMPARE(form->windowTitle(), QStringLiteral("Lorekeep - [lorekeep] - Files"));
    QVERIFY(reloaded());

    // Coming back to the window does not reconnect.
    form->Store().Close();
    form->Form_Activate();
    QVERIFY(!form->Store().IsOpen());

    // Without a store: the log's message, then the connection error, once; the tree stays empty.
    form->close();
    QVERIFY(QFile::remove(home.storePath()));
    prompts.answerMsgBox(MsgResult::OK);
    prompts.answerMsgBox(MsgResult::OK);
    const qsizetype before = prompts.shown().size();
    form = startMainWindow();
    form->Form_Activate();
    QCOMPARE(std::tuple(prompts.shown().size() - before, prompts.shown()[before].title, form->windowTitle()),
             std::tuple(2, QStringLiteral("modADO Error"), QStringLiteral("Lorekeep")));
    // What needs a store is off; opening another is not.
    const MainMenu &bare = form->Menu();
    QCOMPARE(std::tuple(bare.mnuSearchLorekeep->isEnabled(), bare.mnuFileImport->isEnabled(),
                        bare.mnuMaintPlatforms->isEnabled(), bare.mnuToolsCheck->isEnabled(),
                        bare.mnuFileConnect->isEnabled()),
             std::tuple(false, false, false, false, true));
}

void tst_mainwindow::exitQuestion_data()
{
    QTest::addColumn<int>("clipBytes"); // -1: no file
    QTest::addColumn<int>("answer");    // -1: not asked
    QTest::addColumn<bool>("closes");
    QTest::newRow("no clip file") << -1 << -1 << true;
    QTest::newRow("one byte") << 1 << -1 << true;
    QTest::newRow("two bytes, Yes") << 2 << int(MsgResult::Yes) << true;
    QTest::newRow("two bytes, No") << 2 << int(MsgResult::No) << true;
    QTest::newRow("two bytes, Cancel") << 2 << int(MsgResult::Cancel) << false;
}

void tst_mainwindow::exitQuestion()
{
    QFETCH(int, clipBytes);
    QFETCH(int, answer);
    QFETCH(bool, closes);
    TestHome home;
    ScriptedPrompts prompts;
    const QString clips = home.file(QStringLiteral("~clp.tmp"));
    if (clipBytes >= 0)
        writeFile(clips, QByteArray(clipBytes, 'x'));
    if (answer >= 0)
        prompts.answerMsgBox(MsgResult(answer));
    auto form = startMainWindow();
    int clipWindowShown = 0;
    form->setClipWindow([&] {
        QVERIFY(QFile::exists(clips));
        ++clipWindowShown;
    });
    form->findChild<ctlTree *>()->setSearch_Text(QStringLiteral("  zelda "));

    form->Menu().mnuFileExit->trigger();
    QCOMPARE(std::tuple(prompts.shown().size(), clipWindowShown, form->isVisible(), QFile::exists(clips),
                        GetSetting(SettingKeys::TreeSearchText)),
             std::tuple(answer >= 0 ? 1 : 0, answer == int(MsgResult::Yes) ? 1 : 0, !closes, !closes && clipBytes >= 0,
                        closes ? QStringLiteral("zelda") : QStringLiteral("Search...")));
    if (closes)
        QCOMPARE(std::tuple(GetSetting(SettingKeys::ViewSelTab), GetSetting(SettingKeys::LayoutTree),
                            GetSetting(SettingKeys::WindowGeometry).isEmpty()),
                 std::tuple(QStringLiteral("1"), QStringLiteral("True"), false));
}

void tst_mainwindow::splittersViewMenuAndSavedLayout()
{
    TestHome home;
    auto form = startMainWindow();
    form->resize(1000, 700);
    QCoreApplication::processEvents();
    auto *tree = form->findChild<ctlTree *>();
    auto *view = form->findChild<ctlView *>();
    auto *details = form->findChild<ctlDetails *>();
    auto *imgS1 = form->findChild<QWidget *>(QStringLiteral("imgS1"));
    auto *indicator = form->findChild<QWidget *>(QStringLiteral("picSplitter"));
    const int client = form->centralWidget()->height();

    // Dragging the vertical bar far left: only the indicator follows; on release the bar is held at 1000.
    // (Where each bar stops, and how the panes meet them, is tst_layout's.)
    press(imgS1, QEvent::MouseButtonPress, {3, 10});
    QVERIFY(indicator->isVisible());
    press(imgS1, QEvent::MouseMove, {-200, 10});
    QCOMPARE(std::tuple(indicator->x(), tree->width()),
             std::tuple(Twips::toPixelsX(3720) - 200 - 2, Twips::toPixelsX(3720)));
    press(imgS1, QEvent::MouseButtonRelease, {-200, 10});
    QVERIFY(!indicator->isVisible());
    QCOMPARE(std::tuple(form->Layout().imgS1Left, view->x()), std::tuple(1000, Twips::toPixelsX(1030)));

    // The View menu and the panes' own buttons hide and show panes, with the check marks following.
    tree->findChild<QAction *>(QStringLiteral("x"))->trigger(); // the tree's own close button
    QVERIFY(!form->Menu().mnuViewLeft->isChecked() && !tree->isVisible() && !imgS1->isVisible() && view->x() == 0);
    const int detailHeight = form->Layout().detailHeight;
    form->Menu().mnuViewBottom->trigger();
    // The details' height is kept for when they come back.
    QCOMPARE(std::tuple(details->isVisible(), view->geometry().bottom() + 1, form->Layout().detailHeight),
             std::tuple(false, client, detailHeight));
    view->findChild<QAction *>(QStringLiteral("Tree"))->trigger();
    QVERIFY(form->Menu().mnuViewLeft->isChecked() && tree->isVisible());
    form->Menu().mnuViewTop->trigger();
    QVERIFY(!form->findChild<QWidget *>(QStringLiteral("picToolBar"))->isVisible() && tree->y() == 0 &&
            imgS1->y() == 0);

    // Too small a window is held at the minimum.
    form->resize(300, 200);
    QCOMPARE(std::tuple(Twips::fromPixelsX(form->width()), Twips::fromPixelsY(form->height())),
             std::tuple(MainLayout::MinWindowWidth, MainLayout::MinWindowHeight));
    form->close();

    // The layout saved at exit is only brought back when the user asked for it.
    for (const bool asked : {false, true}) {
        SaveSetting(SettingKeys::LayoutTree, QStringLiteral("False"));
        SaveSetting(SettingKeys::LayoutDetailHeight, QStringLiteral("3000"));
        SaveSetting(SettingKeys::AppLayout, asked ? QStringLiteral("1") : QStringLiteral("0"));
        form = startMainWindow();
        const int height = Twips::fromPixelsY(form->findChild<ctlDetails *>()->height());
        QCOMPARE(std::tuple(form->Menu().mnuViewLeft->isChecked(), form->findChild<ctlTree *>()->isVisible(),
                            height == 3000),
                 std::tuple(!asked, !asked, asked));
        form->close();
    }
}

void tst_mainwindow::splashAndMain()
{
    TestHome home;
    QVERIFY(QFile::copy(QStringLiteral(":/bundle/logo.gif"), home.file(QStringLiteral("logo.gif"))));
    {
        frmSplash splash; // a key closes it
        QVERIFY(!splash.findChild<QLabel *>(QStringLiteral("imgLogo"))->pixmap().isNull());
        splash.ShowCentred();
        QTest::keyClick(&splash, Qt::Key_Space);
        QVERIFY(!splash.isVisible());
    }

    // The splash goes once the window is drawn, before the store opens; Main leaves the window up.
    struct SplashWatch final : QObject
    {
        std::optional<QString> storeWhenHidden;
        bool eventFilter(QObject *watched, QEvent *event) override
        {
            if (event->type() == QEvent::Hide && qobject_cast<frmSplash *>(watched) && !storeWhenHidden)
                storeWhenHidden = modMain::MainForm() && modMain::MainForm()->Store().IsOpen()
                                      ? modMain::MainForm()->Store().DatabasePath()
                                      : QString();
            return false;
        }
    } watch;
    qApp->installEventFilter(&watch);
    bool started = false;
    modMain::Main(QString(), [&started] { started = true; });
    QTRY_VERIFY(started);
    qApp->removeEventFilter(&watch);
    QVERIFY(watch.storeWhenHidden && *watch.storeWhenHidden != home.storePath());
    QPointer<frmMain> form = modMain::MainForm();
    QVERIFY(form && form->isVisible() && form->windowTitle() == QStringLiteral("Lorekeep - [lorekeep] - Files"));
    for (QWidget *window : QApplication::topLevelWidgets())
        QVERIFY(!qobject_cast<frmSplash *>(window) || !window->isVisible());
    form->close();
    QTRY_VERIFY(form.isNull());
}

void tst_mainwindow::firstStartOfAnOlderStore()
{
    // A store with an earlier Lorekeep's search index, which kept a second copy of every text: the
    // day's backup, then the index made anew, the store made smaller, and the tip only after all.
    TestHome home;
    ScriptedPrompts prompts;
    const QString older = home.file(QStringLiteral("older.lkb"));
    GenSummary summary;
    ErrObject err;
    QVERIFY2(LibraryGenerator(GenSettings{30, 1200, 40}).Generate(older, &summary, &err), qPrintable(err.Description));
    runElsewhere(older, earlierFindIndex());
    const qint64 olderSize = QFileInfo(older).size();
    SaveSetting(SettingKeys::TOD, QStringLiteral("1"));

    auto form = startMainWindow(older);
    QTRY_VERIFY_WITH_TIMEOUT(form->findChild<TipOfTheDay *>(), 60000);
    QSqlQuery pending(QStringLiteral("SELECT count(*) FROM find_pending"), form->Store().Connection());
    QVERIFY(pending.next());
    QCOMPARE(std::tuple(pending.value(0).toInt(), QDir(home.file(QStringLiteral("Backups"))).entryList(QDir::Files).size(),
                        FindIndex::Available(form->Store().Connection())),
             std::tuple(0, 1, true));
    QVERIFY2(QFileInfo(older).size() < olderSize * 2 / 3,
             qPrintable(QStringLiteral("%1 of %2").arg(QFileInfo(older).size()).arg(olderSize)));
}

QTEST_MAIN(tst_mainwindow)
#include "tst_mainwindow.moc"
