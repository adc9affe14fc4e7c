// Reading a text: the sections found in real-looking guides, the find bar driven by its keys in the
// file view and in a file window, and the list of sections beside the text.

#include "TestHome.h"
#include "components/FileViewer.h"
#include "reader/FindBar.h"
#include "reader/SectionList.h"
#include "reader/Sections.h"
#include "reader/ShownPart.h"
#include "reader/TextReader.h"
#include "rtf/RtfWriter.h"
#include "system/SettingsStore.h"
#include "view/ctlView.h"
#include "widgets/ListView.h"
#include "widgets/RichText.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextEdit>
#include <QTextTable>

#include <memory>

namespace {

QString fixture(const QString &name)
{
    QFile file(QStringLiteral(LOREKEEP_FIXTURES "/sections/") + name);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QString rtf(const QString &text)
{
    return QString::fromLatin1(RtfWriter::FromPlainText(text));
}

// A file view on one game whose files are given, shown and ready for the keyboard.
struct View
{
    TestHome home;
    ctlView view;
    qint32 game = home.addGame(18, 1, QStringLiteral("Starfall"));
    QTextEdit *text = view.Viewer();
    FindBar *bar = view.Reader()->Finder();
    QLineEdit *find = bar->findChild<QLineEdit *>(QStringLiteral("txtFind"));
    SectionList *sections = view.Reader()->Sections();

    explicit View(const QList<std::pair<QString, QString>> &files)
    {
        for (const auto &[desc, body] : files)
            home.addFile(game, 1, desc, body);
        view.setStore(&home.store());
        view.resize(900, 640);
        view.show();
        view.activateWindow();
        view.SetGame({18, 1, game, QStringLiteral("Starfall")});
        view.ListFiles(game, 1);
    }
    bool showFile(const QString &desc)
    {
        QSignalSpy shown(&view, &ctlView::TextShown);
        ListView *list = view.FileList();
        for (int row = 1; row <= list->Count(); ++row) {
            if (list->ItemAt(row)->Text() == desc)
                view.SelectFile(list->ItemAt(row)->Key());
        }
        return !shown.isEmpty() || shown.wait();
    }
    QString count() const { return bar->findChild<QLabel *>(QStringLiteral("lblMatches"))->text(); }
    QString selected() const { return text->textCursor().selectedText(); }
    // The line at the top of the view.
    int top() const { return text->document()->findBlock(FirstShownPosition(text)).position(); }
};

} // namespace

class tst_reader final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void sectionsOfGuides_data();
    void sectionsOfGuides();
    void findBarInFileView();
    void findBarInFileWindow();
    void sectionsBesideText();
};

void tst_reader::sectionsOfGuides_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QStringList>("titles");
    // Sub-sections are indented as the list shows them.
    QTest::newRow("gameFaqsGuideWithCodes")
        << QStringLiteral("gamefaqs.txt")
        << QStringList{QStringLiteral("TABLE OF CONTENTS"),         QStringLiteral("1. VERSION HISTORY [VER01]"),
                       QStringLiteral("2. CONTROLS [CTL02]"),       QStringLiteral("3. WALKTHROUGH [WLK03]"),
                       QStringLiteral("  3.1 Harbor Town [WLK31]"), QStringLiteral("  3.2 The Sunken Road [WLK32]"),
                       QStringLiteral("4. ITEMS [ITM04]"),          QStringLiteral("5. CREDITS [CRD05]")};
    QTest::newRow("numberedWalkthrough") << QStringLiteral("walkthrough.txt")
                                         << QStringList{QStringLiteral("1. Introduction"),
                                                        QStringLiteral("2. Walkthrough"),
                                                        QStringLiteral("  2.1 The Village"),
                                                        QStringLiteral("  2.2 The Old Mine"),
                                                        QStringLiteral("IV. Bosses"),
                                                        QStringLiteral("Chapter 5: Secrets")};
    QTest::newRow("starBoxesAndUnderlines") << QStringLiteral("stars.txt")
                                            << QStringList{QStringLiteral("IRON HARBOR - BOSS GUIDE"),
                                                           QStringLiteral("Introduction"),
                                                           QStringLiteral("THE BOSSES"),
                                                           QStringLiteral("Captain Vorn"),
                                                           QStringLiteral("The Drowned King"),
                                                           QStringLiteral("LEGAL")};
    QTest::newRow("dosBoxesAndTable") << QStringLiteral("boxes.txt")
                                      << QStringList{QStringLiteral("DRAGON SAGA III"), QStringLiteral("PROLOGUE"),
                                                     QStringLiteral("Chapter One: The Ember Road")};
    QTest::newRow("rtfBoldHeadings") << QStringLiteral("bold.rtf")
                                     << QStringList{QStringLiteral("Getting Started"),
                                                    QStringLiteral("The Lighthouse Keys"), QStringLiteral("Endings")};
    QTest::newRow("prose") << QStringLiteral("prose.txt") << QStringList();
    QTest::newRow("cheatList") << QStringLiteral("cheats.txt") << QStringList();
}

void tst_reader::sectionsOfGuides()
{
    QFETCH(QString, file);
    QFETCH(QStringList, titles);
    const QString text = fixture(file);
    QVERIFY(!text.isEmpty());
    const std::unique_ptr<QTextDocument> document(BuildRichText(text, QFont(), 4));
    const QList<Section> sections = FindSections(DocumentBlocks(document.get()));

    QStringList found;
    for (const Section &section : sections)
        found << QString(2 * (section.level - 1), QLatin1Char(' ')) + section.title;
    QCOMPARE(found, titles);
    // Each points at its heading (or the ruler just above it), never at a line of the contents.
    for (const Section &section : sections) {
        const QTextBlock at = document->findBlock(section.position);
        QCOMPARE(at.position(), section.position);
        const QString lines = QString(at.text() + QLatin1Char(' ') + at.next().text()).simplified();
        QVERIFY2(lines.contains(section.title), qPrintable(section.title));
    }
}

void tst_reader::findBarInFileView()
{
    // A table before the last match: its cells and borders must not shift what is selected.
    QTextDocument tabled;
    QTextCursor cursor(&tabled);
    cursor.insertText(QStringLiteral("Dragon lore"));
    QTextTable *table = cursor.insertTable(2, 2);
    table->cellAt(1, 1).firstCursorPosition().insertText(QStringLiteral("a dragon egg"));
    cursor.movePosition(QTextCursor::End);
    cursor.insertText(QStringLiteral("The dragon wakes."));
    View shelf({{QStringLiteral("Lore"), QString::fromLatin1(RtfWriter::FromDocument(tabled))},
                {QStringLiteral("Many"), QStringLiteral("ab ").repeated(100000)},
                {QStringLiteral("Other"), rtf(QStringLiteral("Nothing to see."))}});
    QVERIFY(QTest::qWaitForWindowActive(&shelf.view));
    QVERIFY(shelf.showFile(QStringLiteral("Lore")));
    // Ctrl+F belongs to the bar while the text has the keyboard and to the window's own Find
    // everywhere else.
    QAction findFiles(QStringLiteral("Find Files"));
    findFiles.setShortcut(QKeySequence::Find);
    shelf.view.addAction(&findFiles);
    QSignalSpy findFilesOpened(&findFiles, &QAction::triggered);
    shelf.text->setFocus();
    QTest::keyClick(shelf.text, Qt::Key_F, Qt::ControlModifier);
    QVERIFY(shelf.bar->isVisible());
    QCOMPARE(QApplication::focusWidget(), shelf.find);
    QCOMPARE(findFilesOpened.count(), 0);

    QTest::keyClicks(shelf.find, QStringLiteral("dragon"));
    QTRY_COMPARE(shelf.count(), QStringLiteral("1 of 3"));
    QCOMPARE(shelf.selected(), QStringLiteral("Dragon"));
    QCOMPARE(shelf.text->extraSelections().size(), 3);
    QTest::keyClick(shelf.find, Qt::Key_Return);
    QCOMPARE(std::pair(shelf.count(), shelf.selected()), std::pair(QStringLiteral("2 of 3"), QStringLiteral("dragon")));
    QTest::keyClick(shelf.find, Qt::Key_F3);
    QCOMPARE(std::pair(shelf.count(), shelf.text->textCursor().block().text()),
             std::pair(QStringLiteral("3 of 3"), QStringLiteral("The dragon wakes.")));
    QCOMPARE(shelf.selected(), QStringLiteral("dragon"));
    QTest::keyClick(shelf.find, Qt::Key_Return);
    QCOMPARE(shelf.count(), QStringLiteral("1 of 3"));
    QTest::keyClick(shelf.find, Qt::Key_Return, Qt::ShiftModifier);
    QCOMPARE(shelf.count(), QStringLiteral("3 of 3"));
    QTest::keyClick(shelf.find, Qt::Key_F3, Qt::ShiftModifier);
    QCOMPARE(shelf.count(), QStringLiteral("2 of 3"));

    // Match Case keeps the place: the egg's dragon is the first of two.
    auto *matchCase = shelf.bar->findChild<QCheckBox *>(QStringLiteral("chkMatchCase"));
    QTest::mouseClick(matchCase, Qt::LeftButton, {}, QPoint(4, matchCase->height() / 2));
    QCOMPARE(shelf.count(), QStringLiteral("1 of 2"));
    const QColor plainBase = shelf.find->palette().color(QPalette::Base);
    QTest::keyClicks(shelf.find, QStringLiteral("fly"));
    QTRY_COMPARE(shelf.count(), QStringLiteral("No matches"));
    QVERIFY(shelf.find->palette().color(QPalette::Base) != plainBase);
    QCOMPARE(shelf.text->extraSelections().size(), 0);
    for (int i = 0; i < 3; ++i)
        QTest::keyClick(shelf.find, Qt::Key_Backspace);
    QTRY_COMPARE(shelf.count(), QStringLiteral("1 of 2"));
    QCOMPARE(shelf.find->palette().color(QPalette::Base), plainBase);

    // Esc gives the keyboard back to the text with the match still selected.
    QTest::keyClick(shelf.find, Qt::Key_Escape);
    QVERIFY(shelf.bar->isHidden());
    QCOMPARE(QApplication::focusWidget(), shelf.text);
    QCOMPARE(shelf.selected(), QStringLiteral("dragon"));
    QCOMPARE(shelf.text->extraSelections().size(), 0);
    shelf.view.FileList()->setFocus();
    QTest::keyClick(shelf.view.FileList(), Qt::Key_F, Qt::ControlModifier);
    QCOMPARE(findFilesOpened.count(), 1);

    // A hundred thousand matches are counted, and only those near the view are marked.
    QVERIFY(shelf.showFile(QStringLiteral("Many")));
    shelf.text->setFocus();
    QTest::keyClick(shelf.text, Qt::Key_F3);
    QCOMPARE(QApplication::focusWidget(), shelf.find);
    QTest::keyClicks(shelf.find, QStringLiteral("ab"));
    QTRY_COMPARE(shelf.count(), QStringLiteral("1 of %L1").arg(100000));
    QVERIFY(shelf.text->extraSelections().size() > 10);
    QVERIFY(shelf.text->extraSelections().size() < 5000);

    // Another text closes the bar and forgets what it found.
    QVERIFY(shelf.showFile(QStringLiteral("Other")));
    QVERIFY(shelf.bar->isHidden());
    QCOMPARE(shelf.bar->MatchCount(), 0);
    // The text's pop-up menu opens it too.
    shelf.view.findChild<QAction *>(QStringLiteral("mnuFindInText"))->trigger();
    QVERIFY(shelf.bar->isVisible());
}

void tst_reader::findBarInFileWindow()
{
    TestHome home;
    QWidget host;
    QPointer<FileViewer> viewer = new FileViewer(&host);
    viewer->setStore(&home.store());
    viewer->Open(FileViewer::ViewMode, 18, 1, home.addGame(18, 1, QStringLiteral("Ashen Vale")),
                 QStringLiteral("Ashen Vale"), 1, 1, QString(), QStringLiteral("Guide"),
                 rtf(fixture(QStringLiteral("walkthrough.txt"))));
    QVERIFY(QTest::qWaitForWindowActive(viewer));
    auto *text = viewer->findChild<QTextEdit *>(QStringLiteral("rtbText"));
    auto *bar = viewer->findChild<FindBar *>();
    QTest::keyClick(text, Qt::Key_F, Qt::ControlModifier);
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("lantern"));
    QTRY_COMPARE(bar->MatchCount(), 3);
    // The window's Esc closes it; with the bar open, Esc closes the bar first.
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    QVERIFY(bar->isHidden() && viewer->isVisible());
    QCOMPARE(text->textCursor().selectedText(), QStringLiteral("lantern"));
    QTest::keyClick(text, Qt::Key_Escape);
    QTRY_VERIFY(!viewer);

    // While the text is edited, the matches are counted again and the cursor stays where the user types.
    viewer = new FileViewer(&host);
    viewer->Open(FileViewer::EditMode, 18, 1, 1, QString(), 1, 1, QString(), QStringLiteral("Guide"),
                 rtf(fixture(QStringLiteral("walkthrough.txt"))));
    QVERIFY(QTest::qWaitForWindowActive(viewer));
    text = viewer->findChild<QTextEdit *>(QStringLiteral("rtbText"));
    bar = viewer->findChild<FindBar *>();
    QTest::keyClick(text, Qt::Key_F, Qt::ControlModifier);
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("lantern"));
    QTRY_COMPARE(bar->MatchCount(), 3);
    text->setFocus();
    QTest::keyClick(text, Qt::Key_End, Qt::ControlModifier);
    QTest::keyClicks(text, QStringLiteral(" Lantern"));
    QTRY_COMPARE(bar->MatchCount(), 4);
    QCOMPARE(text->textCursor().position(), text->document()->characterCount() - 1);
    QCOMPARE(text->textCursor().hasSelection(), false);

    // The window's toolbar shows and hides the sections.
    auto *sections = viewer->findChild<SectionList *>();
    auto *toggle = viewer->findChild<QAction *>(QStringLiteral("actSections"));
    QTRY_VERIFY(sections->isVisible());
    QVERIFY(toggle->isEnabled() && toggle->isChecked());
    toggle->trigger();
    QVERIFY(sections->isHidden());
    QCOMPARE(GetSetting(SettingKeys::ViewSections), QStringLiteral("0"));
}

void tst_reader::sectionsBesideText()
{
    View shelf({{QStringLiteral("FAQ"), rtf(fixture(QStringLiteral("gamefaqs.txt")))},
                {QStringLiteral("Review"), rtf(fixture(QStringLiteral("prose.txt")))}});
    QVERIFY(shelf.showFile(QStringLiteral("FAQ")));
    QTRY_VERIFY(shelf.sections->isVisible());
    QCOMPARE(shelf.sections->count(), 8);
    const QList<Section> sections = shelf.sections->Sections();
    QVERIFY(shelf.text->verticalScrollBar()->maximum() > 0);

    // A click puts the section's heading at the top; the list keeps it selected.
    QListWidgetItem *walkthrough = shelf.sections->item(3);
    QTest::mouseClick(shelf.sections->viewport(), Qt::LeftButton, {},
                      shelf.sections->visualItemRect(walkthrough).center());
    QCOMPARE(shelf.top(), sections.at(3).position);
    QCOMPARE(shelf.sections->currentRow(), 3);
    // The list follows the text: the last section at its end, none above the first.
    shelf.text->setFocus();
    QTest::keyClick(shelf.text, Qt::Key_End, Qt::ControlModifier);
    QTRY_COMPARE(shelf.sections->currentRow(), 7);
    QTest::keyClick(shelf.text, Qt::Key_Home, Qt::ControlModifier);
    QTRY_COMPARE(shelf.sections->currentRow(), -1);
    QCOMPARE(shelf.top(), 0);

    // Hidden and shown again, remembered; a text without headings has no list to show.
    QAction *toggle = shelf.view.Reader()->SectionsAction();
    toggle->trigger();
    QVERIFY(shelf.sections->isHidden());
    QCOMPARE(GetSetting(SettingKeys::ViewSections), QStringLiteral("0"));
    toggle->trigger();
    QVERIFY(shelf.sections->isVisible());
    QVERIFY(shelf.showFile(QStringLiteral("Review")));
    QTRY_VERIFY(!toggle->isEnabled());
    QVERIFY(shelf.sections->isHidden());
}

QTEST_MAIN(tst_reader)
#include "tst_reader.moc"
