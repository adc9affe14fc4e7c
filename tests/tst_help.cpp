#include "ScriptedPrompts.h"
#include "StartMainWindow.h"
#include "TestHome.h"
#include "WhenModal.h"
#include "components/TipOfTheDay.h"
#include "data/modADO.h"
#include "shell/frmAbout.h"
#include "system/PackageInstall.h"
#include "system/SettingsStore.h"
#include "widgets/HelpViewer.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRegularExpression>
#include <QTest>
#include <QTextBrowser>
#include <QTextEdit>
#include <QTimer>
#include <QTreeWidget>

namespace {

TipOfTheDay *tipWindow(QWidget *form)
{
    return form->findChild<TipOfTheDay *>();
}

} // namespace

class tst_help final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void cleanup()
    {
        if (HelpViewer *help = HelpViewer::Current())
            delete help;
    }
    void pagesAndHelpMenu();
    void tipOfTheDay();
};

void tst_help::pagesAndHelpMenu()
{
    TestHome home;
    ErrObject err;
    QVERIFY2(HelpPages::Install(home.path(), &err), qPrintable(err.Description));
    const HelpPages pages(HelpPages::Folder(home.path()));
    QVERIFY(pages.IsAvailable() && pages.Contents().size() >= 10 &&
            pages.Contents().constFirst().File == HelpPages::ContentsPage);

    // Every page is listed once, has the title it is listed with, and every link and picture in it leads somewhere.
    QSet<QString> listed;
    static const QRegularExpression reference(QStringLiteral("(?:href|src)=\"([^\"#]*)[^\"]*\""));
    static const QRegularExpression title(QStringLiteral("<title>([^<]*)</title>"));
    for (const HelpPages::Entry &entry : pages.Contents()) {
        QVERIFY2(!listed.contains(entry.File), qPrintable(entry.File));
        listed.insert(entry.File);
        const QString html = QString::fromUtf8(readFile(pages.folder() + entry.File));
        QCOMPARE(title.match(html).captured(1), entry.Title);
        for (auto it = reference.globalMatch(html); it.hasNext();) {
            const QString target = it.next().captured(1);
            if (target.isEmpty() || target.contains(QLatin1Char(':')))
                continue;
            QVERIFY2(QFile::exists(pages.folder() + target), qPrintable(entry.File + QStringLiteral(" -> ") + target));
        }
    }
    const QStringList files = QDir(pages.folder()).entryList({QStringLiteral("*.html")});
    for (const QString &file : files)
        QVERIFY2(listed.contains(file), qPrintable(file + QStringLiteral(" is not in the contents")));
    QVERIFY(listed.contains(HelpPages::SupportPage));

    // A second start leaves the pages alone; pages from another version are replaced.
    const QString index = pages.folder() + HelpPages::ContentsPage;
    writeFile(index, "edited");
    QVERIFY(HelpPages::Install(home.path(), &err) && readFile(index) == "edited");
    writeFile(pages.folder() + HelpPages::StampFile, "older");
    QVERIFY(HelpPages::Install(home.path(), &err) && readFile(index).startsWith("<!DOCTYPE html>"));

    // The help stays open beside the main window, on its contents.
    ScriptedPrompts prompts;
    QVERIFY(QFile::copy(QStringLiteral(":/bundle/logo.gif"), home.file(QStringLiteral("logo.gif"))));
    auto form = startMainWindow();
    const MainMenu &menu = form->Menu();
    menu.mnuHelpContents->trigger();
    HelpViewer *help = HelpViewer::Current();
    QVERIFY(help && help->isVisible() && help->ContentsList()->topLevelItemCount() > 0 &&
            help->CurrentPage() == HelpPages::ContentsPage);

    // A word from one page finds that page; opening the hit marks the word in it.
    menu.mnuHelpSearch->trigger();
    QVERIFY(QTest::qWaitForWindowActive(help));
    QTRY_COMPARE(QApplication::focusWidget(), help->SearchBox());
    QTest::keyClicks(help->SearchBox(), QStringLiteral("patchrunner"));
    QVERIFY(help->Results()->count() >= 1 &&
            help->Results()->item(0)->data(Qt::UserRole).toString() == QStringLiteral("help-and-tips.html"));
    QTest::keyClick(help->SearchBox(), Qt::Key_Return);
    QCOMPARE(help->CurrentPage(), QStringLiteral("help-and-tips.html"));
    QCOMPARE(help->Page()->extraSelections().value(0).cursor.selectedText().toCaseFolded(),
             QStringLiteral("patchrunner"));
    // Words found on no page together give one entry that cannot be opened.
    help->SearchBox()->setText(QStringLiteral("patchrunner zxqvw"));
    QCOMPARE(std::pair(help->Results()->count(), help->Results()->item(0)->flags()), std::pair(1, Qt::ItemFlags()));

    // Online Support is the help's own page.
    menu.mnuLKSupport->trigger();
    QCOMPARE(help->CurrentPage(), HelpPages::SupportPage);

    // About names the version, the libraries actually loaded, and shows the logo.
    QString version, libraries;
    bool logo = false;
    whenModal<frmAbout>("frmAbout", [&](frmAbout *about) {
        std::tie(version, libraries, logo) =
            std::tuple(about->lblVersion->text(), about->lblLibraries->text(), !about->picIcon->pixmap().isNull());
        about->cmdOK->click();
    });
    menu.mnuHelpAbout->trigger();
    QCOMPARE(std::tuple(version, libraries.contains(QString::fromLatin1(qVersion())),
                        libraries.contains(modADO::SqliteVersion()), logo),
             std::tuple(QStringLiteral("Version 1.1.0"), true, true, true));

    // Without the updater the user is told and nothing is handed over.
    const QString handOver = home.file(QStringLiteral("~udtmp.tmp"));
    prompts.answerMsgBox(MsgResult::OK);
    menu.mnuHelpUpdate->trigger();
    QVERIFY(prompts.last().text.contains(QStringLiteral("missing")) && !QFile::exists(handOver));

    // The updater starts in the home, after the hand-over file is rewritten.
    const QString updater = home.file(QStringLiteral("PatchRunner"));
    writeFile(updater, "#!/bin/sh\ncat ~udtmp.tmp > started.txt\n");
    QFile::setPermissions(updater, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const QByteArray expected("APP:Lorekeep\r\nMAJ:1\r\nMIN:1\r\nREV:0\r\n");
    writeFile(handOver, "stale");
    menu.mnuHelpUpdate->trigger();
    QCOMPARE(readFile(handOver), expected);
    QTRY_COMPARE(readFile(home.file(QStringLiteral("started.txt"))), expected);

    // Installed from the package (dpkg's list names the program, through a link too): the updater is left alone.
    const QString list = home.file(QStringLiteral("lorekeep.list"));
    const QString link = home.file(QStringLiteral("linked-program"));
    QVERIFY(QFile::link(QCoreApplication::applicationFilePath(), link));
    writeFile(list, "/usr/bin\n" + link.toUtf8() + "\n");
    PackageInstall::SetListFile(list);
    QFile::remove(handOver);
    prompts.answerMsgBox(MsgResult::OK);
    menu.mnuHelpUpdate->trigger();
    PackageInstall::SetListFile(QString());
    QVERIFY(prompts.last().text.contains(QStringLiteral("Debian package")) && !QFile::exists(handOver));

    // Without its pages the help says so, titled with the window's caption.
    QVERIFY(QDir(HelpPages::Folder(home.path())).removeRecursively());
    prompts.answerMsgBox(MsgResult::OK);
    menu.mnuHelpContents->trigger();
    QCOMPARE(std::pair(prompts.last().text.contains(QStringLiteral("missing")), prompts.last().title),
             std::pair(true, form->windowTitle()));
}

void tst_help::tipOfTheDay()
{
    TestHome home;
    ScriptedPrompts prompts;
    writeFile(home.file(QStringLiteral("tips.txt")),
              "First tip.\r\n\r\n# a note, not a tip\r\nSecond tip.\r\nThird tip.\r\n");
    SaveSetting(SettingKeys::TOD, QStringLiteral("1"));
    {
        // Shown at start; Previous goes round; unticked and OK, it stays away next time.
        auto form = startMainWindow();
        QTRY_VERIFY(tipWindow(form.get()) && tipWindow(form.get())->isVisible());
        TipOfTheDay *tip = tipWindow(form.get());
        QCOMPARE(std::tuple(tip->Tips().size(), tip->lblTip->text(), tip->chkLoadWithStart->isChecked()),
                 std::tuple(qsizetype(3), QStringLiteral("First tip."), true));
        tip->cmdPrevious->click();
        QCOMPARE(std::pair(tip->lblTip->text(), tip->lblNumber->text()),
                 std::pair(QStringLiteral("Third tip."), QStringLiteral("Tip 3 of 3")));
        tip->chkLoadWithStart->setChecked(false);
        tip->cmdOK->click();
        QCOMPARE(GetSetting(SettingKeys::TOD), QStringLiteral("0"));
        QTRY_VERIFY(!tipWindow(form.get()));
        form->close();
    }
    {
        // A Quick Clip file the program starts on is shown once start-up is over, after the tip's turn.
        const QString clip = home.file(QStringLiteral("start.qcf"));
        writeFile(clip, "A clip.\r\n");
        std::unique_ptr<frmMain> form;
        QString shown;
        bool tipAtClip = true;
        QTimer poll;
        connect(&poll, &QTimer::timeout, this, [&] {
            if (QWidget *dialog = QApplication::activeModalWidget(); dialog && form) {
                shown = dialog->objectName() + QLatin1Char(':') + dialog->findChild<QTextEdit *>()->toPlainText();
                tipAtClip = tipWindow(form.get()) != nullptr;
                dialog->close();
            }
        });
        poll.start(20);
        form = startMainWindow(clip);
        QTRY_COMPARE(shown, QStringLiteral("frmClip:A clip.\n"));
        poll.stop();
        QVERIFY(!tipAtClip);
        // The menu still shows one, the next in turn, with the box unticked; closing without OK stores nothing.
        form->Menu().mnuTips->trigger();
        TipOfTheDay *tip = tipWindow(form.get());
        QVERIFY(tip && tip->isVisible());
        QCOMPARE(std::pair(tip->lblTip->text(), tip->chkLoadWithStart->isChecked()),
                 std::pair(QStringLiteral("Second tip."), false));
        tip->chkLoadWithStart->setChecked(true);
        tip->reject();
        QCOMPARE(GetSetting(SettingKeys::TOD), QStringLiteral("0"));

        // A tips file without tips, or none at all, says so instead of showing an empty window.
        writeFile(home.file(QStringLiteral("tips.txt")), "\n# nothing here\n   \n");
        for (const char *says : {"holds none", "cannot be read"}) {
            QTRY_VERIFY(!tipWindow(form.get()));
            form->Menu().mnuTips->trigger();
            QVERIFY(tipWindow(form.get())->lblTip->text().contains(QLatin1String(says)) &&
                    !tipWindow(form.get())->cmdNext->isEnabled());
            tipWindow(form.get())->reject();
            QFile::remove(home.file(QStringLiteral("tips.txt")));
        }
    }
}

QTEST_MAIN(tst_help)
#include "tst_help.moc"
