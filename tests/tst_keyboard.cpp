#include "ScriptedPrompts.h"
#include "StartMainWindow.h"
#include "TestHome.h"
#include "TreeClicks.h"
#include "backup/frmBackups.h"
#include "browser/frmFavorite.h"
#include "clip/frmClip.h"
#include "components/FileViewer.h"
#include "components/GameSelector.h"
#include "components/PlatformMaintenance.h"
#include "components/TipOfTheDay.h"
#include "data/NodeKey.h"
#include "details/ctlDetails.h"
#include "find/frmFind.h"
#include "options/frmOptions.h"
#include "shell/frmAbout.h"
#include "view/ctlView.h"
#include "widgets/HelpPages.h"
#include "widgets/HelpViewer.h"
#include "widgets/ListView.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QTest>
#include <QTextEdit>

namespace {

QWidget *focused()
{
    return QApplication::focusWidget();
}

void press(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    QTest::keyClick(focused(), Qt::Key(key), modifiers);
}

// Qt's own helpers inside its widgets: the button of a line edit and the overflow of a menu bar.
bool qtInternal(const QAbstractButton *button)
{
    return button->objectName().startsWith(QLatin1String("qt_menubar")) ||
           qobject_cast<QLineEdit *>(button->parentWidget());
}

// The focus on a control, never a label; every button shown reachable by Tab and named.
void checkWindow(QWidget *window)
{
    QVERIFY(QTest::qWaitForWindowActive(window));
    QTRY_VERIFY2(focused() && window->isAncestorOf(focused()), qPrintable(window->objectName()));
    QVERIFY2(!qobject_cast<QLabel *>(focused()), qPrintable(window->objectName()));
    for (const QAbstractButton *button : window->findChildren<QAbstractButton *>()) {
        if (qtInternal(button))
            continue;
        const QString what = window->objectName() + QLatin1Char('/') + button->toolTip();
        QVERIFY2(!button->text().remove(QLatin1Char('&')).isEmpty() || !button->accessibleName().isEmpty(),
                 qPrintable(what));
        if (button->isVisibleTo(window))
            QVERIFY2(button->focusPolicy() & Qt::TabFocus, qPrintable(what));
    }
}

} // namespace

class tst_keyboard final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void windowsByKeys();
};

void tst_keyboard::windowsByKeys()
{
    // The main window on a home with one game and its file, the game clicked.
    TestHome home;
    ScriptedPrompts prompts;
    const qint32 game = home.addGame(1, 1, QStringLiteral("Royal Kart"));
    home.addFile(game, 1, QStringLiteral("Walkthrough"));
    ErrObject err;
    QVERIFY(HelpPages::Install(home.path(), &err));
    const auto started = startMainWindow();
    frmMain *form = started.get();
    QVERIFY(QTest::qWaitForWindowActive(form) && clickNode(form->findChild<TreeView *>(), NodeKey::Game(game, 1, 1)));
    auto *view = form->findChild<ctlView *>();
    auto *details = form->findChild<ctlDetails *>();
    QWidget *tree = form->findChild<QWidget *>(QStringLiteral("tvwFiles"));
    QWidget *files = view->FileList()->ActiveView();
    QWidget *bookmarks = details->Bookmarks()->ActiveView();

    // The keyboard starts in the library; Tab goes round every pane and the text.
    QCOMPARE(focused(), tree);
    QSet<QWidget *> reached;
    for (int i = 0; i < 20; ++i) {
        press(Qt::Key_Tab);
        QVERIFY(!qobject_cast<QLabel *>(focused()));
        reached << focused();
    }
    for (QWidget *pane : {tree, files, static_cast<QWidget *>(view->Viewer()), bookmarks})
        QVERIFY2(reached.contains(pane), qPrintable(pane->objectName()));

    // F6 goes round tree, files and details, Shift+F6 the other way; a hidden pane is passed over.
    const auto stops = [](QWidget *from, Qt::KeyboardModifiers modifiers) {
        from->setFocus();
        QList<QWidget *> reached;
        for (int i = 0; i < 3; ++i) {
            press(Qt::Key_F6, modifiers);
            reached << focused();
        }
        return reached;
    };
    QCOMPARE(stops(tree, Qt::NoModifier), (QList<QWidget *>{files, bookmarks, tree}));
    QCOMPARE(stops(tree, Qt::ShiftModifier), (QList<QWidget *>{bookmarks, files, tree}));

    // Shift+F10 (or the Menu key) brings up the file's menu, as a right click does.
    for (const auto &[list, menu] :
         {std::pair<QWidget *, const char *>(view->FileList()->ActiveView(), "mnuFile"),
          std::pair(form->findChild<QWidget *>(QStringLiteral("tvwFiles")), "mnuHiddenGame")}) {
        QTest::keyClick(list, Qt::Key_F10, Qt::ShiftModifier);
        QTRY_VERIFY(QApplication::activePopupWidget());
        QCOMPARE(QApplication::activePopupWidget()->objectName(), QLatin1String(menu));
        QApplication::activePopupWidget()->close();
        QTRY_VERIFY(!QApplication::activePopupWidget());
    }

    form->Menu().mnuViewLeft->trigger(); // a hidden pane is passed over
    QCOMPARE(stops(files, Qt::NoModifier), (QList<QWidget *>{bookmarks, files, bookmarks}));
    // On the browser tab the view's stop is the address line.
    view->SelectTab(ctlView::Tab::Browser);
    bookmarks->setFocus();
    press(Qt::Key_F6);
    QVERIFY(form->findChild<QComboBox *>(QStringLiteral("cboURL"))->hasFocus());
    // The browser's controls, made when its tab first showed, keep their place in the Tab order:
    // from the address line to Go, and on to the file view's own buttons, not round to the tree.
    const auto owner = [] {
        return focused()->parentWidget();
    };
    press(Qt::Key_Tab);
    const QWidget *go = owner();
    press(Qt::Key_Tab);
    QCOMPARE(std::tuple(go->objectName(), owner()->objectName(), owner()->parentWidget()),
             std::tuple(QStringLiteral("tbrGo"), QStringLiteral("tbrTools"), static_cast<QWidget *>(view)));

    // In a file being written Tab is a character; Ctrl+Tab and Ctrl+Shift+Tab move on.
    auto *editor = new FileViewer(form);
    editor->Open(FileViewer::NewMode, 1, 1, game, QStringLiteral("Royal Kart"), 0, 1, QString(), QString(), QString());
    QVERIFY(QTest::qWaitForWindowActive(editor));
    auto *text = editor->findChild<QTextEdit *>(QStringLiteral("rtbText"));
    text->setFocus();
    QTRY_COMPARE(focused(), text);
    press(Qt::Key_Tab);
    QCOMPARE(std::pair(focused(), text->toPlainText()), std::pair(static_cast<QWidget *>(text), QStringLiteral("\t")));
    press(Qt::Key_Tab, Qt::ControlModifier);
    QVERIFY(focused() != text && editor->isAncestorOf(focused()));
    text->setFocus();
    press(Qt::Key_Backtab, Qt::ControlModifier | Qt::ShiftModifier);
    QCOMPARE(std::pair(focused(), text->toPlainText()),
             std::pair(editor->findChild<QWidget *>(QStringLiteral("txtSource")), QStringLiteral("\t")));
    prompts.answerMsgBox(MsgResult::No);
    editor->close();

    // Every window opens ready for the keyboard, the main window on either tab.
    form->Menu().mnuViewLeft->trigger();
    form->activateWindow();
    checkWindow(form);
    view->SelectTab(ctlView::Tab::Files);
    checkWindow(form);

    // Find opens from its key, ready for the keyboard.
    QTest::keyClick(form, Qt::Key_F, Qt::ControlModifier);
    auto *find = form->findChild<frmFind *>();
    QVERIFY(find);
    checkWindow(find);
    find->close();

    frmOptions options(form);
    frmFavorite favorite(QStringLiteral("https://example.org/"), QStringLiteral("Example"), form);
    frmClip clip(form);
    frmBackups backups(home.storePath(), form);
    GameSelector selector(form);
    selector.setStore(&home.store());
    selector.Prepare(1, 1, game, QStringLiteral("Move To..."));
    PlatformMaintenance platforms(form);
    platforms.setStore(&home.store());
    TipOfTheDay tip(form);
    frmAbout about(form);
    for (QWidget *window : std::initializer_list<QWidget *>{&options, &favorite, &clip, &backups, &selector, &about}) {
        window->show();
        checkWindow(window);
        window->close();
    }
    platforms.Show();
    checkWindow(&platforms);
    platforms.close();
    tip.Show(home.file(QStringLiteral("tips.txt")), 1);
    checkWindow(&tip);
    tip.close();

    editor = new FileViewer(form);
    editor->Open(FileViewer::EditMode, 1, 1, game, QStringLiteral("Royal Kart"), 1, 1, QString(),
                 QStringLiteral("Walkthrough"), QStringLiteral("{\\rtf1 Text}"));
    checkWindow(editor);
    editor->close();

    form->Menu().mnuHelpContents->trigger();
    checkWindow(HelpViewer::Current());
    delete HelpViewer::Current();
}

QTEST_MAIN(tst_keyboard)
#include "tst_keyboard.moc"
