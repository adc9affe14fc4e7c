#include "ScriptedPrompts.h"
#include "StartMainWindow.h"
#include "TestHome.h"
#include "TreeClicks.h"
#include "components/TipOfTheDay.h"
#include "data/NodeKey.h"
#include "details/ctlDetails.h"
#include "shell/frmAbout.h"
#include "system/Contrast.h"
#include "view/ctlView.h"
#include "widgets/Caption.h"
#include "widgets/HelpPages.h"
#include "widgets/HelpViewer.h"
#include "widgets/ListView.h"

#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QStyle>
#include <QTest>
#include <QTextBlock>
#include <QTextBrowser>
#include <QTextEdit>

namespace {

// What a dark desktop hands its programs: dark window and base, light text, and a blue for links.
QPalette darkPalette()
{
    QPalette dark(QColor(53, 53, 53), QColor(53, 53, 53));
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        dark.setColor(role, QColor(230, 230, 230));
    dark.setColor(QPalette::Base, QColor(42, 42, 42));
    dark.setColor(QPalette::AlternateBase, QColor(60, 60, 60));
    dark.setColor(QPalette::Highlight, QColor(42, 130, 218));
    dark.setColor(QPalette::HighlightedText, Qt::black);
    dark.setColor(QPalette::Link, QColor(42, 130, 218));
    return dark;
}

// The colours a widget paints its text and its background with.
double widgetContrast(const QWidget *widget, const QWidget *ground = nullptr)
{
    ground = ground ? ground : widget;
    return ContrastRatio(widget->palette().color(widget->foregroundRole()),
                         ground->palette().color(ground->backgroundRole()));
}

double viewContrast(const QWidget *view)
{
    return ContrastRatio(view->palette().color(QPalette::Text), view->palette().color(QPalette::Base));
}

// The colour of the text at `position` as the editor draws it: its own, or the palette's.
double textContrast(const QTextEdit *edit, int position)
{
    QTextCursor cursor(edit->document());
    cursor.setPosition(position);
    const QTextCharFormat format = cursor.charFormat();
    const QColor text = format.foreground().style() == Qt::NoBrush ? edit->palette().color(QPalette::Text)
                                                                   : format.foreground().color();
    const QColor ground = format.background().style() == Qt::NoBrush ? edit->palette().color(QPalette::Base)
                                                                     : format.background().color();
    return ContrastRatio(text, ground);
}

} // namespace

class tst_palette final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QApplication::setStyle(QStringLiteral("Fusion")); }
    void init() { clearSettings(); }
    void cleanup()
    {
        if (HelpViewer *help = HelpViewer::Current())
            delete help;
    }
    void mainWindowReads_data();
    void mainWindowReads();
};

void tst_palette::mainWindowReads_data()
{
    QTest::addColumn<QPalette>("palette");
    QTest::newRow("light") << QApplication::style()->standardPalette();
    QTest::newRow("dark") << darkPalette();
}

void tst_palette::mainWindowReads()
{
    QFETCH(QPalette, palette);
    // The measure itself, which the checks below trust; a colour that does not read moves only as far as it must.
    QCOMPARE(qRound(ContrastRatio(Qt::black, Qt::white)), 21);
    QVERIFY(qAbs(ContrastRatio(Qt::white, QColor(0x76, 0x76, 0x76)) - 4.54) < 0.01);
    const QColor grey = ReadableOn(QColor(0xaa, 0xaa, 0xaa), Qt::white);
    QVERIFY(ContrastRatio(grey, Qt::white) >= ReadableContrast &&
            ContrastRatio(grey, Qt::white) < ReadableContrast + 0.1);
    // Light text on mid grey cannot get far enough by going lighter: the other way round it is.
    QVERIFY(ContrastRatio(ReadableOn(QColor(0xef, 0xef, 0xef), QColor(0x9f, 0x9f, 0x9f)), QColor(0x9f, 0x9f, 0x9f)) >=
            ReadableContrast);

    QApplication::setPalette(palette);
    TestHome home;
    ScriptedPrompts prompts;
    ErrObject err;
    QVERIFY(HelpPages::Install(home.path(), &err));
    writeFile(home.file(QStringLiteral("tips.txt")), "Press F6 to move between the panes.\n");
    const qint32 game = home.addGame(1, 1, QStringLiteral("Royal Kart"));
    home.addFile(game, 1, QStringLiteral("Walkthrough"),
                 QStringLiteral("{\\rtf1\\ansi\\deff0{\\fonttbl{\\f0 Arial;}}{\\colortbl;\\red0\\green0\\blue0;"
                                "\\red255\\green0\\blue0;}\\f0\\fs24 Plain words \\cf0 auto words\\par}"));
    auto form = startMainWindow();
    QVERIFY(clickNode(form->findChild<TreeView *>(), NodeKey::Game(game, 1, 1)));
    auto *view = form->findChild<ctlView *>();
    auto *details = form->findChild<ctlDetails *>();
    QVERIFY(!view->IsCovered() && view->Viewer()->toPlainText().startsWith(QLatin1String("Plain words")));

    QMap<QString, double> measured;
    // The strip, active and inactive; the inactive look stays apart from the active one.
    QLabel *strip = form->lblCaption();
    const QColor active = strip->palette().color(QPalette::Window);
    measured[QStringLiteral("caption active")] = widgetContrast(strip);
    SetCaptionColors(strip, CaptionInactive);
    QVERIFY(strip->palette().color(QPalette::Window) != active);
    measured[QStringLiteral("caption inactive")] = widgetContrast(strip);
    SetCaptionColors(strip, CaptionActive);
    auto *header = details->findChild<QLabel *>(QStringLiteral("lblBookmarks"));
    measured[QStringLiteral("details header inactive")] = widgetContrast(header);

    measured[QStringLiteral("tree")] = viewContrast(form->findChild<QWidget *>(QStringLiteral("tvwFiles")));
    measured[QStringLiteral("file list")] = viewContrast(view->FileList()->ActiveView());
    measured[QStringLiteral("details list")] = viewContrast(details->Bookmarks()->ActiveView());
    // Text without a colour of its own, before and after an explicit \cf0, follows the palette.
    QTextEdit *text = view->Viewer();
    measured[QStringLiteral("viewer text")] = textContrast(text, 1);
    measured[QStringLiteral("viewer text after cf0")] =
        textContrast(text, int(text->toPlainText().indexOf("auto")) + 1);

    form->Menu().mnuTips->trigger();
    auto *tip = form->findChild<TipOfTheDay *>();
    QVERIFY(tip && tip->lblTip->text() == QStringLiteral("Press F6 to move between the panes."));
    measured[QStringLiteral("tip")] = widgetContrast(tip->lblTip, tip->lblTip->parentWidget());
    measured[QStringLiteral("tip number")] = widgetContrast(tip->lblNumber, tip->lblNumber->parentWidget());
    tip->close();

    frmAbout about(form.get());
    measured[QStringLiteral("about libraries")] =
        widgetContrast(about.findChild<QLabel *>(QStringLiteral("lblLibraries")), &about);

    // The help's links keep the desktop's link colour where it reads, and are changed where it does not.
    form->Menu().mnuHelpContents->trigger();
    QTextBrowser *page = HelpViewer::Current()->Page();
    int link = -1;
    for (QTextBlock block = page->document()->begin(); block.isValid() && link < 0; block = block.next()) {
        for (auto it = block.begin(); !it.atEnd() && link < 0; ++it) {
            if (it.fragment().charFormat().isAnchor())
                link = it.fragment().position();
        }
    }
    QVERIFY(link >= 0);
    measured[QStringLiteral("help link")] = textContrast(page, link + 1);

    for (auto it = measured.cbegin(); it != measured.cend(); ++it) {
        qInfo("%s: %.2f", qPrintable(it.key()), it.value());
        QVERIFY2(it.value() >= ReadableContrast, qPrintable(it.key()));
    }
}

QTEST_MAIN(tst_palette)
#include "tst_palette.moc"
