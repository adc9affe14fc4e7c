#include "TestHome.h"
#include "system/SettingsStore.h"
#include "system/Twips.h"
#include "widgets/DeferredIcon.h"
#include "widgets/QtPrompts.h"

#include <QApplication>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFile>
#include <QFileDialog>
#include <QImage>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QStyle>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <memory>

class tst_platform final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QFile::remove(SettingsFileName()); }
    void settingsAndConversions();
    void iconsAndMessageBoxes();
    void fileDialogChoice();
};

void tst_platform::settingsAndConversions()
{
    // Values keep their exact text: blanks, commas, quotes, backslashes, non-ASCII.
    const QString tricky = QStringLiteral(" Walkthrough\\Guide, \"Zelda\" – ゼルダ; =[x] ");
    SaveSetting(SettingKeys::TreeSearchText, tricky);
    QCOMPARE(GetSetting(SettingKeys::TreeSearchText), tricky);

    // Hand edits: a value with an unquoted comma and lines that are not settings at all.
    QFile file(SettingsFileName());
    QVERIFY(file.open(QIODevice::Append));
    file.write("\n[Settings]\nQCFont=Courier New, bold\n\x01\x02 garbage line without equals\n[Broken\nTOD=\n");
    file.close();
    QCOMPARE(std::pair(GetSetting(SettingKeys::QCFont), SettingNumber(GetSetting(SettingKeys::AppLayout))),
             std::pair(QStringLiteral("Courier New, bold"), std::optional<long>(0)));

    // Saving what the file already holds leaves the file alone (a rewrite would drop the stray lines).
    SaveSetting(SettingKeys::TreeSearchText, tricky);
    SaveSettings({{SettingKeys::TreeSearchText, tricky}});
    const auto fileText = [] {
        return QString::fromUtf8(readFile(SettingsFileName()));
    };
    QVERIFY(fileText().contains(QStringLiteral("garbage line")));
    // The same text over a value that reads as a list is a change, and so is anything else new.
    SaveSettings(
        {{SettingKeys::QCFont, QStringLiteral("Courier New, bold")}, {SettingKeys::AppLayout, QStringLiteral("1")}});
    QCOMPARE(std::tuple(fileText().contains(QStringLiteral("garbage line")), GetSetting(SettingKeys::QCFont),
                        GetSetting(SettingKeys::AppLayout), GetSetting(SettingKeys::TreeSearchText)),
             std::tuple(false, QStringLiteral("Courier New, bold"), QStringLiteral("1"), tricky));

    // A number rounds half to even; a boolean is a word in any case or a number.
    const std::tuple<const char *, std::optional<long>, std::optional<bool>> cases[] = {
        {" 12 ", 12, true},   {"0", 0, false}, {"2.5", 2, true}, {"3.5", 4, true},   {"True", {}, true},
        {"fALSE", {}, false}, {"", {}, {}},    {"12px", {}, {}}, {"1e300", {}, true}};
    for (const auto &[text, number, boolean] : cases)
        QCOMPARE(std::pair(SettingNumber(QLatin1String(text)), SettingBool(QLatin1String(text))),
                 std::pair(number, boolean));

    // Twips round to the nearest, both signs; a screen without DPI gives 0, never a division by zero.
    QCOMPARE(
        std::tuple(Twips::toPixels(7, 96), Twips::toPixels(8, 96), Twips::toPixels(-375, 96), Twips::fromPixels(5, 0)),
        std::tuple(0, 1, -25, 0));
    for (int twips : {0, 375, 2295, 3720, 99990})
        QCOMPARE(Twips::fromPixels(Twips::toPixels(twips, 96), 96), twips);

    // Stored column widths: saved as floats, hand edits held to a sane range.
    QList<std::optional<int>> widths;
    for (const char *text : {"1440.4", "0", "2e9", "-1", "wide"})
        widths << SettingWidth(QLatin1String(text));
    QCOMPARE(widths, (QList<std::optional<int>>{1440, 0, 1000000, std::nullopt, std::nullopt}));

    // File dialog filters as the older program wrote them, in Qt's form.
    QCOMPARE(std::tuple(Prompts::qtFilter(QStringLiteral("HTML Files *.htm*|*.htm*|Text|*.txt;*.log")),
                        Prompts::qtFilter(QStringLiteral("(*.qcf)|*.qcf|")), Prompts::qtFilter(QString())),
             std::tuple(QStringLiteral("HTML Files *.htm* (*.htm*);;Text (*.txt *.log)"),
                        QStringLiteral("(*.qcf) (*.qcf)"), QString()));
}

void tst_platform::iconsAndMessageBoxes()
{
    QTemporaryDir dir;
    const auto png = [&](int size, QColor colour) {
        QImage image(size, size, QImage::Format_ARGB32);
        image.fill(colour);
        const QString name = dir.filePath(QStringLiteral("icon-%1.png").arg(size));
        return image.save(name) ? name : QString();
    };
    const QIcon icon = DeferredIcon({{png(16, Qt::red), QSize(16, 16)}, {png(32, Qt::blue), QSize(32, 32)}});
    // A copy made before first use draws the same.
    const QIcon copy = icon;
    QCOMPARE(std::tuple(copy.pixmap(QSize(32, 32), 1.0).toImage().pixelColor(4, 4),
                        icon.pixmap(QSize(16, 16), 1.0).toImage().pixelColor(4, 4), icon.availableSizes(),
                        icon.actualSize(QSize(64, 64))),
             std::tuple(QColor(Qt::blue), QColor(Qt::red), QList<QSize>{QSize(16, 16), QSize(32, 32)}, QSize(32, 32)));

    // A file that is not there is an icon that draws nothing, not a failure.
    const QIcon missing = DeferredIcon(dir.filePath(QStringLiteral("absent.png")));
    QVERIFY(missing.pixmap(QSize(16, 16), 1.0).isNull() && DeferredIcon(QList<std::pair<QString, QSize>>{}).isNull());

    // The style's icon asked for late draws as the one asked for at once, the widget gone or not.
    auto widget = std::make_unique<QWidget>();
    const QIcon early = widget->style()->standardIcon(QStyle::SP_ArrowUp);
    const QIcon late = DeferredStandardIcon(QStyle::SP_ArrowUp, widget.get());
    const QIcon orphan = DeferredStandardIcon(QStyle::SP_ArrowUp, widget.get());
    widget.reset();
    QVERIFY(!late.isNull() && !early.pixmap(QSize(16, 16), 1.0).isNull());
    QCOMPARE(std::tuple(late.pixmap(QSize(16, 16), 1.0).toImage(), orphan.pixmap(QSize(16, 16), 1.0).toImage()),
             std::tuple(early.pixmap(QSize(16, 16), 1.0).toImage(), early.pixmap(QSize(16, 16), 1.0).toImage()));

    // The buttons, the one clicked (NoButton presses Esc), the answer.
    const std::tuple<MsgButtons, QMessageBox::StandardButton, MsgResult> cases[] = {
        {MsgButtons::YesNo, QMessageBox::Yes, MsgResult::Yes},
        {MsgButtons::YesNo, QMessageBox::NoButton, MsgResult::No},
        {MsgButtons::YesNoCancel, QMessageBox::NoButton, MsgResult::Cancel},
        {MsgButtons::OK, QMessageBox::NoButton, MsgResult::OK}};
    for (const auto &[buttons, click, answer] : cases) {
        QString seenText;
        QTimer::singleShot(0, this, [&, click = click] {
            auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
            QVERIFY(box);
            seenText = box->windowTitle() + QLatin1Char('|') + box->text();
            if (click == QMessageBox::NoButton)
                QTest::keyClick(box, Qt::Key_Escape);
            else
                box->button(click)->click();
        });
        const MsgResult result = QtPrompts().MsgBox(QStringLiteral("Line one.\r\n\r\nLine two."), buttons,
                                                    MsgIcon::Exclamation, QStringLiteral("Lorekeep"));
        QCOMPARE(std::pair(result, seenText), std::pair(answer, QStringLiteral("Lorekeep|Line one.\n\nLine two.")));
    }
}

// The import's Encoding row in Qt's own file dialog: it starts at the caller's choice, and the
// choice comes back only when the dialog is accepted.
void tst_platform::fileDialogChoice()
{
    QTemporaryDir dir;
    writeFile(dir.filePath(QStringLiteral("guide.txt")), "Guide\n");
    int chosen = 1;
    FileDialogOptions options;
    options.Title = QStringLiteral("Import Files");
    options.InitDir = dir.path();
    options.ChoiceLabel = QStringLiteral("&Encoding:");
    options.Choices = QStringList{QStringLiteral("Automatic"), QStringLiteral("UTF-8"), QStringLiteral("DOS")};
    options.Chosen = &chosen;
    for (const bool accept : {false, true}) {
        QString seen;
        QTimer::singleShot(0, this, [&] {
            auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
            QVERIFY(dialog);
            auto *choice = dialog->findChild<QComboBox *>(QStringLiteral("cboChoice"));
            QVERIFY(choice);
            const auto labels = dialog->findChildren<QLabel *>();
            const auto label =
                std::find_if(labels.begin(), labels.end(), [choice](QLabel *l) { return l->buddy() == choice; });
            QVERIFY(label != labels.end() && choice->isVisible());
            seen = (*label)->text() + QLatin1Char('|') + choice->currentText();
            choice->setFocus();
            QTest::keyClick(choice, Qt::Key_Down);
            if (!accept)
                return dialog->reject();
            dialog->selectFile(QStringLiteral("guide.txt"));
            dialog->findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Open)->click();
        });
        const std::optional<QStringList> paths = QtPrompts().GetOpenFileNames(options);
        QCOMPARE(std::tuple(seen, paths.has_value(), chosen),
                 std::tuple(QStringLiteral("&Encoding:|UTF-8"), accept, accept ? 2 : 1));
    }
}

QTEST_MAIN(tst_platform)
#include "tst_platform.moc"
