#include "ScriptedPrompts.h"
#include "StartMainWindow.h"
#include "TestHome.h"
#include "TreeClicks.h"
#include "WhenModal.h"
#include "base/AppPath.h"
#include "browser/ctlBrowser.h"
#include "components/FileViewer.h"
#include "data/NodeKey.h"
#include "find/frmFind.h"
#include "options/frmOptions.h"
#include "system/SettingsStore.h"
#include "view/ctlView.h"
#include "widgets/ListView.h"

#include <QCheckBox>
#include <QFile>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

class tst_options final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void windowAndEveryKey();
};

void tst_options::windowAndEveryKey()
{
    TestHome home;
    ScriptedPrompts prompts;
    const QString startPage = AppPath() + QStringLiteral("Start.html");
    SaveSetting(SettingKeys::AppLayout, QStringLiteral("1"));
    SaveSetting(SettingKeys::BrowsStart, QStringLiteral("https://example.org/   "));
    SaveSetting(SettingKeys::FileView, QStringLiteral("5"));
    {
        // A list style not offered selects no button, OK stores large icons; the start page is stored trimmed.
        frmOptions form;
        QVERIFY(form.chkAppLayout->isChecked() && !form.optView3->isChecked() && !form.optView0->isChecked());
        form.show();
        QVERIFY(QTest::qWaitForWindowActive(&form));
        form.txtURL->setFocus();
        QTRY_COMPARE(form.txtURL->selectedText(), QStringLiteral("https://example.org/"));
        QVERIFY(form.chkPictures->isChecked());
        form.chkPictures->setChecked(false);
        form.cmdOK->click();
        QCOMPARE(std::tuple(GetSetting(SettingKeys::FileView), GetSetting(SettingKeys::BrowsStart),
                            GetSetting(SettingKeys::ImportPictures)),
                 std::tuple(QStringLiteral("0"), QStringLiteral("https://example.org/"), QStringLiteral("0")));
    }
    {
        // A blank start page stores the home's own, as the next window shows; in the file chooser a
        // cancel leaves the address, a choice replaces it.
        frmOptions blank;
        blank.txtURL->setText(QStringLiteral("   "));
        blank.cmdOK->click();
        frmOptions form;
        prompts.answerOpenFile(std::nullopt);
        form.cmdSelect->click();
        QCOMPARE(form.txtURL->text(), startPage);
        prompts.answerOpenFile(home.file(QStringLiteral("guides.html")));
        form.cmdSelect->click();
        QCOMPARE(form.txtURL->text(), home.file(QStringLiteral("guides.html")));

        // Cancel after changing them all writes nothing at all.
        const QByteArray before = readFile(SettingsFileName());
        form.chkAppLayout->setChecked(false);
        form.chkPictures->setChecked(false);
        form.optView3->setChecked(true);
        form.cmdCancel->click();
        QCOMPARE(readFile(SettingsFileName()), before);
    }

    // Every key of the table is read somewhere, with the table's default where it has one.
    SaveSetting(SettingKeys::AppLayout, QStringLiteral("1"));
    QMultiHash<QString, QString> reads;
    ObserveSettingReads([&reads](const QString &section, const QString &key, const QString &defaultValue) {
        reads.insert(section + QLatin1Char('/') + key, defaultValue);
    });
    SaveSetting(SettingKeys::TOD, QStringLiteral("1"));
    SaveSetting(SettingKeys::FirstRun, QStringLiteral("0"));
    const qint32 game = home.addGame(1, 1, QStringLiteral("Okami"));
    home.addFile(game, 1, QStringLiteral("Walkthrough"), QStringLiteral("Head east."));
    QVERIFY(QFile::copy(QStringLiteral(":/bundle/tips.txt"), home.file(QStringLiteral("tips.txt"))));
    {
        auto form = startMainWindow();
        QTRY_VERIFY(form->findChild<QDialog *>(QStringLiteral("frmTip")));
        form->findChild<QDialog *>(QStringLiteral("frmTip"))->reject();
        auto *view = form->findChild<ctlView *>();
        QVERIFY(clickNode(form->findChild<TreeView *>(), NodeKey::Game(game, 1, 1)));
        view->findChild<QAction *>(QStringLiteral("mnuFileView"))->trigger();
        QTRY_VERIFY(view->Editor());
        view->Editor()->close();
        prompts.answerSaveFile(std::nullopt);
        form->Menu().mnuFileExportPdf->trigger();
        view->SelectTab(ctlView::Tab::Browser);
        QTRY_VERIFY(reads.contains(QStringLiteral("BrowseSettings/Popups")));
        form->findChild<ctlBrowser *>()->findChild<QAction *>(QStringLiteral("Search"))->trigger();
        form->Menu().mnuSearchLorekeep->trigger();
        QTRY_VERIFY(form->findChild<frmFind *>());
        form->findChild<frmFind *>()->close();
        whenModal("frmClip", [](QDialog *) {});
        form->Menu().mnuViewQuickClip->trigger();
        prompts.answerOpenFiles(std::nullopt);
        form->Menu().mnuFileImport->trigger();
        // OK in Tools > Options applies the list style at once.
        whenModal("frmOptions", [](QDialog *dialog) {
            static_cast<frmOptions *>(dialog)->optView0->setChecked(true);
            static_cast<frmOptions *>(dialog)->cmdOK->click();
        });
        form->Menu().mnuToolsOptions->trigger();
        QCOMPARE(std::pair(GetSetting(SettingKeys::FileView), view->FileList()->View()),
                 std::pair(QStringLiteral("0"), 0));
        form->close();
    }
    ObserveSettingReads({});

    QStringList unread;
    QStringList wrongDefault;
    for (const SettingKey &setting : SettingKeys::All()) {
        const QString name = setting.section() + QLatin1Char('/') + setting.key();
        if (SettingKeys::IsWriteOnly(setting))
            continue;
        if (!reads.contains(name))
            unread << name;
        else if (setting.hasDefault() && !reads.values(name).contains(setting.defaultValue()))
            wrongDefault << name;
    }
    QVERIFY2(unread.isEmpty(), qPrintable(QStringLiteral("never read: ") + unread.join(QStringLiteral(", "))));
    QVERIFY2(wrongDefault.isEmpty(), qPrintable(QStringLiteral("read without the table's default: ") +
                                                wrongDefault.join(QStringLiteral(", "))));
}

QTEST_MAIN(tst_options)
#include "tst_options.moc"
