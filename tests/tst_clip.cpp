#include "ScriptedPrompts.h"
#include "StartMainWindow.h"
#include "TestHome.h"
#include "TreeClicks.h"
#include "clip/ClipFile.h"
#include "clip/frmClip.h"
#include "data/NodeKey.h"
#include "rtf/RtfWriter.h"
#include "shell/frmMain.h"
#include "shell/modMain.h"
#include "system/SettingsStore.h"
#include "view/ctlView.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QTest>
#include <QTextEdit>

namespace {

QAction *item(const QObject &form, const char *name)
{
    return form.findChild<QAction *>(QLatin1String(name));
}

const QString heading = QStringLiteral("Platform: PC\r\nGame: Doom\r\nGenre: Shooter");

} // namespace

class tst_clip final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void appendAndPending();
    void addToOpenAndSave();
    void badFilesAndPrinting();
    void mainWindow();
};

void tst_clip::appendAndPending()
{
    TestHome home;
    const QString pending = ClipFile::PendingPath();
    ErrObject err;
    QVERIFY(!ClipFile::HasPending() && ClipFile::Append(heading, QStringLiteral("line one\nline two"), &err) &&
            ClipFile::Append(QStringLiteral("Second"), QStringLiteral("Caf\u00e9"), &err));
    const QByteArray equals(30, '='), dots(30, '.');
    QCOMPARE(readFile(pending), "Platform: PC\r\nGame: Doom\r\nGenre: Shooter\r\n" + equals +
                                    "\r\nline one\r\nline two\r\n" + dots + "\r\n\r\nSecond\r\n" + equals +
                                    "\r\nCaf\xC3\xA9\r\n" + dots + "\r\n\r\n");
    QVERIFY(ClipFile::HasPending() && ClipFile::Clear() && !QFile::exists(pending) && !ClipFile::HasPending());

    // Clips an older tool wrote in Windows-1252 still read right once new ones follow.
    writeFile(pending, "Caf\xE9\r\n");
    QVERIFY(ClipFile::Append(QStringLiteral("H"), QStringLiteral("\u00e9t\u00e9"), &err));
    QString text;
    QVERIFY(ClipFile::ReadPending(&text, &err) && text.startsWith(QStringLiteral("Caf\u00e9\nH\n")) &&
            text.contains(QStringLiteral("\n\u00e9t\u00e9\n")));
    // A folder where the file should be is mainWindow's.

    // Inputs that once broke the reader read as whole characters with LF ends, and the same after a save.
    const QDir crashers(QStringLiteral(LOREKEEP_FIXTURES "/clip-crashers"));
    const QStringList names = crashers.entryList({QStringLiteral("*.qcf")}, QDir::Files);
    QVERIFY(!names.isEmpty());
    for (const QString &name : names) {
        text.clear();
        QVERIFY(ClipFile::Read(crashers.filePath(name), &text, &err));
        QVERIFY2(text.isValidUtf16() && !text.contains(QLatin1Char('\r')), qPrintable(name));
        const QString copy = home.file(name);
        QString again;
        QVERIFY(ClipFile::Save(copy, text, &err) && ClipFile::Read(copy, &again, &err));
        QCOMPARE(again, text);
    }
}

void tst_clip::addToOpenAndSave()
{
    TestHome home;
    ScriptedPrompts prompts;
    ErrObject err;
    QVERIFY(ClipFile::Append(QStringLiteral("  H"), QStringLiteral("first"), &err));
    const QString fresh = home.file(QStringLiteral("fresh.qcf"));
    {
        frmClip form;
        form.Form_Load();
        const QByteArray record = ClipFile::Record(QStringLiteral("  H"), QStringLiteral("first"));
        QCOMPARE(form.Text(), QString::fromUtf8(record).replace(QStringLiteral("\r\n"), QStringLiteral("\n")));
        prompts.answerSaveFile(fresh);
        prompts.answerMsgBox(MsgResult::OK);
        item(form, "mnuAddTo")->trigger();
        // Trimmed of blanks but keeping the line ends that part records; the pending file goes.
        QCOMPARE(std::tuple(readFile(fresh), QFile::exists(ClipFile::PendingPath()), form.Text(),
                            item(form, "mnuAddTo")->isEnabled()),
                 std::tuple(record.mid(2), false, QString(), false));
    }

    writeFile(fresh, "old\r\ncontent");
    QVERIFY(ClipFile::Append(QStringLiteral("H2"), QStringLiteral("second"), &err));
    frmClip form;
    form.Form_Load();
    prompts.answerSaveFile(fresh);
    prompts.answerMsgBox(MsgResult::Yes);
    prompts.answerMsgBox(MsgResult::OK);
    item(form, "mnuAddTo")->trigger();
    QCOMPARE(prompts.shown().at(prompts.shown().size() - 2).text,
             QStringLiteral("Are you sure you wish to add the Quick Clip contents to ") + fresh + QLatin1Char('?'));
    QCOMPARE(readFile(fresh), "old\r\ncontent\r\n" + ClipFile::Record(QStringLiteral("H2"), QStringLiteral("second")));

    // A clip file opened, and saved over itself.
    QVERIFY(ClipFile::Append(QStringLiteral("H"), QStringLiteral("pending"), &err));
    const QString old = home.file(QStringLiteral("old.qcf"));
    writeFile(old, "Caf\xE9\r\nmenu");
    frmClip viewer;
    viewer.Form_Load();
    QVERIFY(item(viewer, "mnuFileClear")->isEnabled());

    prompts.answerOpenFile(old);
    item(viewer, "mnuFileOpen")->trigger();
    QCOMPARE(std::tuple(prompts.last().options.InitDir, viewer.windowTitle(),
                        viewer.findChild<QTextEdit *>(QStringLiteral("txtRTF"))->toPlainText(),
                        item(viewer, "mnuFileClear")->isEnabled()),
             std::tuple(home.file(QStringLiteral("QuickClip")), QStringLiteral("Quick Clip Viewer - old.qcf"),
                        QStringLiteral("Caf\u00e9\nmenu"), false));

    // Saved over the old file as UTF-8; the pending clips stay unsaved.
    prompts.answerSaveFile(old);
    prompts.answerMsgBox(MsgResult::Yes);
    item(viewer, "mnuFileSaveAs")->trigger();
    QCOMPARE(std::tuple(prompts.last().text.startsWith(old), readFile(old), ClipFile::HasPending()),
             std::tuple(true, QByteArray("Caf\xC3\xA9\r\nmenu"), true));

    item(viewer, "mnuFontFixedsys")->trigger();
    QCOMPARE(std::pair(GetSetting(SettingKeys::QCFont), item(viewer, "mnuFontCourierNew")->isChecked()),
             std::pair(QStringLiteral("Fixedsys"), false));
}

void tst_clip::badFilesAndPrinting()
{
    TestHome home;
    ScriptedPrompts prompts;
    // A sparse file, so that this is quick.
    writeFile(home.file(QStringLiteral("large.qcf")), {});
    QVERIFY(QFile::resize(home.file(QStringLiteral("large.qcf")), 50 * 1024 * 1024));
    frmClip form;
    form.Form_Load();
    for (const auto &[path, says] :
         {std::pair(home.path(), "is a folder"),
          std::pair(home.file(QStringLiteral("large.qcf")), "too large for the Quick Clip window")}) {
        prompts.answerOpenFile(path);
        prompts.answerMsgBox(MsgResult::OK);
        item(form, "mnuFileOpen")->trigger();
        QCOMPARE(prompts.last().title, QStringLiteral("frmClip Error"));
        QVERIFY2(prompts.last().text.contains(QLatin1String(says)), qPrintable(prompts.last().text));
        QCOMPARE(form.windowTitle(), QStringLiteral("Quick Clip Viewer"));
    }
    QVERIFY(prompts.last().text.contains(QStringLiteral("50")) &&
            readFile(home.file(QStringLiteral("error.log"))).contains("Source = Open Clip"));
    // Still empty: nothing to print.
    prompts.answerMsgBox(MsgResult::OK);
    form.mnuFilePrint_Click();
    QCOMPARE(prompts.last().text, QStringLiteral("There is nothing to print."));

    // With a clip, it prints.
    ErrObject err;
    QVERIFY(ClipFile::Append(heading, QStringLiteral("A passage worth keeping."), &err));
    frmClip clip;
    clip.Form_Load();
    const QString pdf = home.file(QStringLiteral("out.pdf"));
    prompts.answerPrint(pdf);
    item(clip, "mnuFilePrint")->trigger();
    QVERIFY(readFile(pdf).startsWith("%PDF"));

    // A cancelled printer dialog is logged, not shown.
    prompts.answerPrint(std::nullopt);
    clip.mnuFilePrint_Click();
    QVERIFY(readFile(home.file(QStringLiteral("error.log"))).contains("Cancel was selected."));
}

void tst_clip::mainWindow()
{
    TestHome home;
    const qint32 game = home.addGame(18, 1, QStringLiteral("Doom"));
    home.addFile(game, 1, QStringLiteral("Notes"),
                 QString::fromLatin1(RtfWriter::FromPlainText("Sent from the viewer")));
    ScriptedPrompts prompts;
    auto main = startMainWindow();
    frmMain &form = *main;
    auto *view = form.findChild<ctlView *>();
    QVERIFY(clickNode(form.findChild<TreeView *>(), NodeKey::Game(game, 1, 18)));
    QTRY_COMPARE(view->Viewer()->toPlainText(), QStringLiteral("Sent from the viewer"));
    QAction *addQuick = view->findChild<QAction *>(QStringLiteral("mnuAddQuick"));
    prompts.answerMsgBox(MsgResult::OK);
    addQuick->trigger();
    QCOMPARE(std::pair(readFile(ClipFile::PendingPath()), prompts.shown().size()),
             std::pair(ClipFile::Record(QStringLiteral("Platform: PC\r\nGame: Doom\r\nGenre: Action"),
                                        QStringLiteral("Sent from the viewer")),
                       qsizetype(1)));

    // A folder where the clip file should be: the user hears why, nothing is written, the text is logged as not added.
    QVERIFY(QFile::remove(ClipFile::PendingPath()) && QDir().mkdir(ClipFile::PendingPath()));
    prompts.answerMsgBox(MsgResult::OK);
    addQuick->trigger();
    QVERIFY(prompts.last().text.startsWith(QStringLiteral("The text was not added to the Quick Clips")) &&
            prompts.last().text.contains(QStringLiteral("is a folder")) && QDir(ClipFile::PendingPath()).isEmpty() &&
            readFile(home.file(QStringLiteral("error.log"))).contains("Source = SendQuick"));
    modMain::SetMainForm(nullptr);
}

QTEST_MAIN(tst_clip)
#include "tst_clip.moc"
