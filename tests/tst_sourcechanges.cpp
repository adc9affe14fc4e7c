#include "ScriptedPrompts.h"
#include "TestHome.h"
#include "components/BackupJob.h"
#include "data/FileTable.h"
#include "data/SnapshotTable.h"
#include "data/StoreBackup.h"
#include "rtf/RtfWriter.h"
#include "store/StoreAddress.h"
#include "view/frmSourceChanges.h"

#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>
#include <QTextBlock>

class tst_sourcechanges final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void updateKeepsTheOldPageAndShowsTheNew();
    void keepAndChangesElsewhereLeaveTheFile();
};

namespace {

QString rtf(const char *text)
{
    return QString::fromLatin1(RtfWriter::FromPlainText(QString::fromUtf8(text)));
}

const QDateTime captured = QDateTime(QDate(2026, 11, 26), QTime(9, 30), Qt::UTC);

struct Fixture
{
    TestHome home;
    FileRow row;

    Fixture()
    {
        row.game_id = home.addGame(1, 1, QStringLiteral("Myst"));
        row.sub_cat = 1;
        row.desc = QStringLiteral("Walkthrough");
        row.src = QStringLiteral("https://example.org/Walkthrough"); // as addFile keeps it
        row.txt_rtf = rtf("Age one.\nPull the red lever.\nAge two.\nOld note.");
        row.auto_id = home.addFile(row.game_id, 1, row.desc, row.txt_rtf);
        qint32 id = 0;
        ErrObject err;
        QVERIFY(SnapshotTable::Add(home.db(), row.auto_id, row.src, captured.addDays(-30), "old page", &id, &err));
    }

    std::unique_ptr<frmSourceChanges> open(const QString &pageRtf)
    {
        auto dialog = std::make_unique<frmSourceChanges>(nullptr, &home.store(), row, pageRtf, QUrl(row.src), captured,
                                                         "new page");
        QSignalSpy compared(dialog.get(), &frmSourceChanges::Compared);
        dialog->show();
        return compared.wait(10000) ? std::move(dialog) : nullptr;
    }

    // The file's text, and its newest snapshot's capture time and size.
    std::tuple<QString, QDateTime, qint64> stored()
    {
        FileRow now;
        SnapshotRow latest;
        bool found = false;
        ErrObject err;
        FileTable::Read(home.db(), row.auto_id, &now, &found, &err);
        SnapshotTable::Latest(home.db(), row.auto_id, &latest, &found, &err);
        return {now.txt_rtf, latest.captured, latest.size};
    }
};

QPushButton *button(QWidget *dialog, const char *name)
{
    return dialog->findChild<QPushButton *>(QLatin1String(name));
}

} // namespace

void tst_sourcechanges::updateKeepsTheOldPageAndShowsTheNew()
{
    Fixture f;
    const QString page = rtf("Age one.\nPull the green lever.\nAge two.\nA new tip.");
    const auto dialog = f.open(page);
    QVERIFY(dialog);
    QCOMPARE(dialog->findChild<QLabel *>(QStringLiteral("lblSummary"))->text(),
             QStringLiteral("1 paragraph changed, 1 added, 1 removed (4 words added, 3 removed)"));
    auto *left = dialog->findChild<QPlainTextEdit *>(QStringLiteral("txtStored"));
    auto *right = dialog->findChild<QPlainTextEdit *>(QStringLiteral("txtPage"));
    // One row a paragraph on both sides: what one side lacks is an empty row there.
    QCOMPARE(left->document()->blockCount(), right->document()->blockCount());
    QCOMPARE(right->document()->findBlockByNumber(1).text(), QStringLiteral("Pull the green lever."));

    // Next and Previous walk the changes: the changed paragraph, then the run removed and added.
    QPushButton *next = button(dialog.get(), "cmdNext");
    QPushButton *previous = button(dialog.get(), "cmdPrevious");
    QVERIFY(next->isEnabled() && !previous->isEnabled());
    QTest::mouseClick(next, Qt::LeftButton);
    QCOMPARE(left->textCursor().blockNumber(), 1);
    QTest::mouseClick(next, Qt::LeftButton);
    QCOMPARE(std::tuple(left->textCursor().blockNumber(), right->textCursor().blockNumber(), next->isEnabled()),
             std::tuple(3, 3, false));
    QTest::mouseClick(previous, Qt::LeftButton);
    QCOMPARE(left->textCursor().blockNumber(), 1);
    // The words changed are marked, struck out on the stored side.
    QTextCursor red(left->document()->findBlockByNumber(1));
    red.setPosition(red.position() + 10);
    QVERIFY(red.charFormat().fontStrikeOut());

    ScriptedPrompts prompts;
    QPushButton *update = button(dialog.get(), "cmdUpdate");
    QVERIFY(update->isEnabled() && button(dialog.get(), "cmdKeep")->isDefault());
    QTest::mouseClick(update, Qt::LeftButton);
    QCOMPARE(dialog->result(), int(QDialog::Accepted));
    QCOMPARE(f.stored(), std::tuple(page, captured, qint64(8)));
    QCOMPARE(std::pair(dialog->Updated().txt_rtf, dialog->Updated().desc), std::pair(page, f.row.desc));
    if (!TestHome::Shared()) {
        // The replaced text is in the day's backup.
        const QVector<BackupInfo> backups = StoreBackup::List(BackupJob::Folder());
        QVERIFY(!backups.isEmpty() && StoreBackup::HoldsText(backups[0].Path, f.row.auto_id, f.row.txt_rtf));
    }
}

void tst_sourcechanges::keepAndChangesElsewhereLeaveTheFile()
{
    Fixture f;
    // Only blanks differ: nothing to show.
    QVERIFY(
        !frmSourceChanges::HasChanges(f.row.txt_rtf, rtf("Age one.\n\nPull  the red lever. \nAge two.\nOld note.")));
    const QString page = rtf("Age one.\nPull the red lever.\nAge three.");
    QVERIFY(frmSourceChanges::HasChanges(f.row.txt_rtf, page));

    auto dialog = f.open(page);
    QVERIFY(dialog);
    QTest::keyClick(dialog.get(), Qt::Key_Escape);
    QVERIFY(dialog->isHidden() && dialog->result() == QDialog::Rejected);
    dialog = f.open(page);
    QVERIFY(dialog);
    QTest::mouseClick(button(dialog.get(), "cmdKeep"), Qt::LeftButton);
    QCOMPARE(f.stored(), std::tuple(f.row.txt_rtf, captured.addDays(-30), qint64(8)));

    // Another program wrote the file since it was read: its text stays, and the user hears so.
    dialog = f.open(page);
    QVERIFY(dialog);
    runElsewhere(f.home.storePath(),
                 {QStringLiteral("UPDATE file SET \"desc\" = 'Renamed' WHERE auto_id = %1").arg(f.row.auto_id)});
    ScriptedPrompts prompts;
    prompts.answerMsgBox(MsgResult::OK);
    QTest::mouseClick(button(dialog.get(), "cmdUpdate"), Qt::LeftButton);
    QVERIFY(prompts.last().text.contains(QStringLiteral("changed or deleted elsewhere")));
    QCOMPARE(dialog->result(), int(QDialog::Rejected));
    QCOMPARE(f.stored(), std::tuple(f.row.txt_rtf, captured.addDays(-30), qint64(8)));

    // A library this user may only read: Update is greyed out, and says why.
    if (!TestHome::Shared())
        return; // the superuser writes through a file's permissions
    runElsewhere(f.home.storePath(), {QStringLiteral("CREATE ROLE lk_reader LOGIN PASSWORD 'pw-reader'"),
                                      QStringLiteral("GRANT SELECT ON ALL TABLES IN SCHEMA public TO lk_reader")});
    modADO reader(QStringLiteral("reader"));
    ErrObject err;
    QVERIFY(reader.Open(StoreAddress::Build(qEnvironmentVariable("PGHOST"), qEnvironmentVariable("PGPORT").toInt(),
                                            modADO::NameFromPath(f.home.storePath()), QStringLiteral("lk_reader"),
                                            QStringLiteral("pw-reader")),
                        &err));
    dialog = std::make_unique<frmSourceChanges>(nullptr, &reader, f.row, page, QUrl(f.row.src), captured, "new page");
    QSignalSpy compared(dialog.get(), &frmSourceChanges::Compared);
    QVERIFY(compared.wait(10000));
    QPushButton *update = button(dialog.get(), "cmdUpdate");
    QCOMPARE(std::pair(update->isEnabled(), update->toolTip()), std::pair(false, reader.ReadOnlyError().Description));
    QVERIFY(update->toolTip().contains(QStringLiteral("read-only")));
}

QTEST_MAIN(tst_sourcechanges)
#include "tst_sourcechanges.moc"
