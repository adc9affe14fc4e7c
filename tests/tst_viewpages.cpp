#include "ListClicks.h"
#include "LocalWebServer.h"
#include "ScriptedPrompts.h"
#include "TestHome.h"
#include "WhenModal.h"
#include "browser/ctlBrowser.h"
#include "components/FileViewer.h"
#include "data/FileTable.h"
#include "data/NodeKey.h"
#include "data/SnapshotTable.h"
#include "rtf/RtfReader.h"
#include "rtf/RtfWriter.h"
#include "view/ctlView.h"
#include "view/frmSourceChanges.h"
#include "webpage/StartPageScheme.h"

#include <QAction>
#include <QLabel>
#include <QLocale>
#include <QMenu>
#include <QProgressDialog>
#include <QPushButton>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QTest>
#include <QTextEdit>
#include <QWebEngineView>

namespace {

// The engine wants these said before the application exists.
const bool sharedContexts = [] {
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    StartPageScheme::Register();
    return true;
}();

// A page saved whole, as the engine writes one.
QByteArray mhtml(const QUrl &address, const QByteArray &body)
{
    return "From: <Saved by Blink>\r\nSnapshot-Content-Location: " + address.toEncoded() +
           "\r\nMIME-Version: 1.0\r\nContent-Type: multipart/related; type=\"text/html\"; boundary=\"b\"\r\n\r\n"
           "--b\r\nContent-Type: text/html\r\nContent-Transfer-Encoding: 8bit\r\nContent-Location: " +
           address.toEncoded() + "\r\n\r\n<html><body><p>" + body + "</p></body></html>\r\n--b--\r\n";
}

QByteArray article(const QByteArray &tip)
{
    return "<html><head><title>Drift Guide</title></head><body><nav>Home Forums</nav><article><h1>Drift Guide</h1>"
           "<p>Brake before the hairpin on the second stage; the gravel there is loose and the barrier is closer "
           "than it looks, so a late brake costs the whole run.</p><p>" +
           tip + "</p></article></body></html>";
}

} // namespace

class tst_viewpages final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(sharedContexts); }
    void init() { clearSettings(); }
    void snapshotsAndCheckSource();

private:
    LocalWebServer server;
};

// The file list's pop-up offers a file's snapshots and its page's changes as the user would see them.
void tst_viewpages::snapshotsAndCheckSource()
{
    TestHome home;
    ctlView view;
    view.setStore(&home.store());
    view.resize(900, 700);
    view.show();
    const QSqlDatabase db = home.db();
    const qint32 game = home.addGame(18, 1, QStringLiteral("Rally"));
    const auto add = [&](const QString &desc, const QString &source) {
        const qint32 id = home.addFile(game, 1, desc, QString::fromLatin1(RtfWriter::FromPlainText(desc)));
        QSqlQuery(db).exec(QStringLiteral("UPDATE file SET src = '%1' WHERE auto_id = %2").arg(source).arg(id));
        return id;
    };
    // Add New File starts a file's source as the time it was made.
    const qint32 notes = add(QStringLiteral("Notes"), QStringLiteral("11/26/2026 8:01:33 AM")),
                 guide = add(QStringLiteral("Guide"), server.url("/guide").toString()),
                 gone = add(QStringLiteral("Gone"), server.url("/gone").toString()),
                 slow = add(QStringLiteral("Slow"), server.url("/slow").toString());
    server.addPage(QStringLiteral("/guide"), article("Loose gravel tip"));
    const QDateTime older(QDate(2026, 1, 5), QTime(9, 30), Qt::UTC), newer = older.addDays(30);
    qint32 id = 0;
    ErrObject err;
    const QByteArray page = mhtml(server.url("/guide"), "Old page");
    for (const QDateTime &at : {older, newer})
        QVERIFY(SnapshotTable::Add(db, guide, server.url("/guide").toString(), at, page, &id, &err));
    view.SetGame({18, 1, game, QStringLiteral("Rally")});
    view.ListFiles(game, 0);

    ListView *list = view.FileList();
    auto *menu = view.findChild<QMenu *>(QStringLiteral("mnuFile"));
    auto *snapshot = view.findChild<QAction *>(QStringLiteral("mnuFileSnapshot"));
    QMenu *earlier = view.findChild<QMenu *>(QStringLiteral("mnuFileSnapshots"));
    auto *check = view.findChild<QAction *>(QStringLiteral("mnuFileCheckSource"));
    const auto rightClick = [&](qint32 file) {
        ListItem *item = list->Item(NodeKey::File(file));
        list->Select(item);
        QTest::mouseClick(list->ActiveView()->viewport(), Qt::RightButton, {}, rowCenter(list, item));
        QVERIFY(menu->isVisible());
        menu->hide();
    };
    const auto stored = [&](qint32 file) {
        FileRow row;
        bool found = false;
        return FileTable::Read(db, file, &row, &found, &err) && found
                   ? RtfReader::PlainText(RtfReader::FromStoredText(row.txt_rtf))
                   : QString();
    };
    const QString snapshots = QStringLiteral("SELECT count(*) FROM snapshot WHERE file_id = %1").arg(guide);

    // A file of no page offers neither, and says why on the greyed-out item.
    rightClick(notes);
    QVERIFY(!snapshot->isEnabled() && snapshot->toolTip().startsWith(QStringLiteral("Only a page imported")) &&
            !earlier->menuAction()->isVisible() && !check->isEnabled());
    // The newest snapshot, and the one before it on its own, each with the time it was taken.
    rightClick(guide);
    const auto when = [](const QDateTime &at) {
        return QLocale().toString(at.toLocalTime(), QLocale::ShortFormat);
    };
    QVERIFY(snapshot->isEnabled() && snapshot->toolTip().contains(when(newer)) && check->isEnabled());
    QVERIFY(earlier->menuAction()->isVisible() && earlier->actions().size() == 1 &&
            earlier->actions().first()->text() == when(older));
    view.SelectTab(ctlView::Tab::Browser);
    QWebEngineView *web = view.WebBrowser()->View();
    QVERIFY(web);
    view.SelectTab(ctlView::Tab::Files);
    QSignalSpy loaded(web, &QWebEngineView::loadFinished);
    snapshot->trigger();
    QVERIFY(loaded.wait(20000) && view.SelectedTab() == ctlView::Tab::Browser);
    const QLabel *status = view.WebBrowser()->findChild<QLabel *>(QStringLiteral("lblStatus"));
    QTRY_COMPARE(
        status->text().section(QStringLiteral(" (offline"), 0, 0),
        QStringLiteral("Snapshot of %1 as it was on %2")
            .arg(server.url("/guide").toString(), QLocale().toString(newer.toLocalTime(), QLocale::LongFormat)));
    view.SelectTab(ctlView::Tab::Files);

    // A changed page: Update makes its text the file's, in the list's text and the open window too, and
    // keeps its snapshot; checked again, nothing has changed.
    ScriptedPrompts prompts;
    view.SelectFile(NodeKey::File(guide));
    view.findChild<QAction *>(QStringLiteral("mnuFileView"))->trigger();
    auto *window = view.Editor()->findChild<QTextEdit *>(QStringLiteral("rtbText"));
    rightClick(guide);
    whenModalShown<frmSourceChanges>("frmSourceChanges", [](frmSourceChanges *dialog) {
        auto *update = dialog->findChild<QPushButton *>(QStringLiteral("cmdUpdate"));
        QTRY_VERIFY(update->isEnabled());
        update->click();
    });
    check->trigger();
    QVERIFY2(stored(guide).contains(QStringLiteral("Loose gravel tip")), qPrintable(stored(guide)));
    QTRY_VERIFY(view.Viewer()->toPlainText().contains(QStringLiteral("Loose gravel tip")) &&
                window->toPlainText().contains(QStringLiteral("Loose gravel tip")));
    QCOMPARE(home.count(snapshots), 3);
    prompts.answerMsgBox(MsgResult::OK);
    check->trigger();
    QVERIFY(prompts.last().text.startsWith(QStringLiteral("Nothing has changed")));
    QCOMPARE(home.count(snapshots), 3);

    // A page that is not there: the message says so, and the file stays as it was.
    rightClick(gone);
    prompts.answerMsgBox(MsgResult::OK);
    check->trigger();
    QVERIFY2(prompts.last().text.contains(QStringLiteral("was not found (HTTP 404)")), qPrintable(prompts.last().text));
    QCOMPARE(stored(gone), QStringLiteral("Gone"));

    // Cancel while the page loads: the program lets go of the page, and nothing comes of it later.
    server.addPage(QStringLiteral("/slow"), article("Too late"));
    server.delayPage(QStringLiteral("/slow"), 3000);
    QSignalSpy answered(&server, &LocalWebServer::delayedAnswer);
    rightClick(slow);
    whenModalShown<QProgressDialog>("dlgLoadingPage", [&](QProgressDialog *progress) {
        QTRY_VERIFY(server.requests().contains(QStringLiteral("/slow")));
        QTest::mouseClick(progress->findChild<QPushButton *>(), Qt::LeftButton);
    });
    const int shown = int(prompts.shown().size());
    check->trigger();
    QVERIFY(answered.wait(10000));
    QCOMPARE(answered.first(), (QVariantList{QStringLiteral("/slow"), false}));
    QVERIFY(!QApplication::activeModalWidget() && prompts.shown().size() == shown);
}

QTEST_MAIN(tst_viewpages)
#include "tst_viewpages.moc"
