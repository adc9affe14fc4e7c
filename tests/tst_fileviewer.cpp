#include "ScriptedPrompts.h"
#include "TestHome.h"
#include "components/FileViewer.h"
#include "data/FileTable.h"
#include "rtf/RtfReader.h"
#include "widgets/RichText.h"

#include <QAction>
#include <QClipboard>
#include <QComboBox>
#include <QGuiApplication>
#include <QLineEdit>
#include <QMimeData>
#include <QPointer>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QTest>
#include <QTextBlock>
#include <QTextEdit>
#include <QToolBar>

namespace {

// The text of a stored RTF's runs whose format passes `test`, in order.
template <typename Test> QString runs(const QString &rtf, Test test)
{
    QTextDocument doc;
    RtfReader::Read(RtfReader::FromStoredText(rtf), &doc);
    QString text;
    for (QTextBlock block = doc.begin(); block.isValid(); block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it)
            text += test(it.fragment().charFormat()) ? it.fragment().text() : QString();
    }
    return text;
}

QString plain(const QString &rtf)
{
    return runs(rtf, [](const QTextCharFormat &) { return true; }).trimmed();
}

// The format of the first character of `word` in the editor.
QTextCharFormat formatOf(const QTextEdit *edit, const char *word)
{
    QTextCursor cursor = edit->document()->find(QLatin1String(word));
    cursor.setPosition(cursor.selectionStart() + 1);
    return cursor.charFormat();
}

const auto bold = [](const QTextCharFormat &format) {
    return format.font().bold();
};

// A viewer owned by a host, as the program opens it, on a store holding one game.
struct Window
{
    TestHome home;
    ScriptedPrompts prompts;
    QWidget host;
    QPointer<FileViewer> viewer = new FileViewer(&host);
    qint32 game = home.addGame(18, 1, QStringLiteral("Star Quest"));

    Window()
    {
        viewer->setStore(&home.store());
        viewer->setErrorLog(home.file(QStringLiteral("viewer.log")));
    }
    template <typename T = QAction> T *child(const char *name) const
    {
        return viewer->findChild<T *>(QLatin1String(name));
    }
    QTextEdit *text() const { return child<QTextEdit>("rtbText"); }
    QLineEdit *field(const char *name) const { return child<QLineEdit>(name); }
    FileRow stored(qint32 id) const
    {
        FileRow row;
        bool found = false;
        ErrObject err;
        FileTable::Read(home.db(), id, &row, &found, &err);
        return row;
    }
    void open(quint8 mode, qint32 id)
    {
        const FileRow row = stored(id);
        viewer->Open(mode, 18, 1, game, QStringLiteral("Star Quest"), id, row.sub_cat, row.src, row.desc, row.txt_rtf);
    }
};

} // namespace

class tst_fileviewer final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newFileRoundTrip();
    void viewThenEditWithFormats();
    void closeWithChanges_data();
    void closeWithChanges();
    void storeFailure();
    void hugeText();
};

void tst_fileviewer::newFileRoundTrip()
{
    Window w;
    QSignalSpy added(w.viewer, &FileViewer::AddFile);
    QSignalSpy edited(w.viewer, &FileViewer::SaveEdit);
    QSignalSpy print(w.viewer, &FileViewer::PrintInfo);
    w.viewer->Open(FileViewer::NewMode, 18, 1, w.game, QStringLiteral("Star Quest"), 55, 0,
                   QStringLiteral(" 2024-05-01 "), QStringLiteral("New File"), QStringLiteral(" from a page"));

    // Each missing entry is refused before anything reaches the store.
    w.prompts.answerMsgBox(MsgResult::OK);
    QVERIFY(!w.viewer->Save() && w.prompts.last().text.contains(QStringLiteral("category")));
    w.child<QComboBox>("cboSubCat")->setCurrentIndex(4);
    w.field("txtDesc")->setText(QStringLiteral("   "));
    w.prompts.answerMsgBox(MsgResult::OK);
    QVERIFY(!w.viewer->Save() && w.prompts.last().text.contains(QStringLiteral("description")));

    // Bold switched on and off while typing covers only what was typed in between; the printout is
    // what the window shows, stored or not.
    w.field("txtDesc")->setText(QStringLiteral("  Boss guide "));
    QTest::keyClicks(w.text(), QStringLiteral("Plain "));
    w.child("cmdBold")->trigger();
    QTest::keyClicks(w.text(), QStringLiteral("Bold"));
    w.child("cmdBold")->trigger();
    QTest::keyClicks(w.text(), QStringLiteral(" end"));
    w.child("cmdPrint")->trigger();
    QCOMPARE(std::pair(print.at(0).mid(0, 3), plain(print.at(0).at(3).toString())),
             std::pair(QVariantList({QString("Star Quest - News"), QString("Boss guide"), QString("2024-05-01")}),
                       QStringLiteral("Plain Bold end from a page")));

    QVERIFY(w.viewer->Save());
    const qint32 id = w.viewer->FileId();
    const FileRow row = w.stored(id);
    QCOMPARE(std::tuple(row.game_id, row.sub_cat, row.src, row.desc, plain(row.txt_rtf), runs(row.txt_rtf, bold)),
             std::tuple(w.game, quint8(5), QString("2024-05-01"), QString("Boss guide"),
                        QString("Plain Bold end from a page"), QString("Bold")));
    QCOMPARE(std::pair(added.size(), w.viewer->CurrentMode()), std::pair(qsizetype(1), quint8(FileViewer::EditMode)));

    // Saved once, the window edits that row instead of adding another.
    QTest::keyClicks(w.text(), QStringLiteral("!"));
    QVERIFY(w.viewer->Save());
    QCOMPARE(std::tuple(added.size(), edited.size(), edited.at(0).at(0).toInt(), plain(w.stored(id).txt_rtf)),
             std::tuple(1, 1, id, QStringLiteral("Plain Bold end! from a page")));
}

void tst_fileviewer::viewThenEditWithFormats()
{
    Window w;
    const QString desc = QStringLiteral("A review that is long enough to be cut short in titles");
    const qint32 id = w.home.addFile(w.game, 3, desc, QStringLiteral("{\\rtf1\\ansi Old {\\b bold} text}"));
    w.open(FileViewer::ViewMode, id);
    QCOMPARE(w.viewer->windowTitle(), QStringLiteral("View File - Star Quest - ") + desc.left(47) + "...[*]");

    // Viewing changes nothing, whatever the user tries.
    QTest::keyClicks(w.text(), QStringLiteral("xyz"));
    QTest::keyClicks(w.field("txtDesc"), QStringLiteral("xyz"));
    w.text()->selectAll();
    w.child("cmdBold")->trigger();
    w.viewer->ApplyColor(Qt::red);
    QCOMPARE(std::tuple(w.text()->toPlainText(), w.field("txtDesc")->text(), w.viewer->IsDirty(), w.viewer->Save()),
             std::tuple(QString("Old bold text"), desc, false, false));
    QVERIFY(!w.child("cmdSave")->isEnabled() && !w.child<QToolBar>("tbrFormat")->isEnabled() &&
            (w.text()->textInteractionFlags() & Qt::TextSelectableByKeyboard));

    w.child("cmdEdit")->trigger();
    QCOMPARE(std::pair(w.viewer->CurrentMode(), w.child("cmdSave")->isEnabled()),
             std::pair(quint8(FileViewer::EditMode), true));

    // The buttons follow the format under the cursor.
    QTextCursor cursor = w.text()->textCursor();
    for (const int at : {6, 1}) {
        cursor.setPosition(at);
        w.text()->setTextCursor(cursor);
        QCOMPARE(w.child("cmdBold")->isChecked(), at == 6);
    }

    // Without a selection the word around the cursor takes the format.
    w.child("cmdItalic")->trigger();
    cursor.setPosition(9);
    cursor.setPosition(13, QTextCursor::KeepAnchor);
    w.text()->setTextCursor(cursor);
    w.viewer->ApplyColor(QColor(200, 0, 0));
    auto *size = w.child<QComboBox>("cboFontSize")->lineEdit();
    size->setText(QStringLiteral("20"));
    QTest::keyClick(size, Qt::Key_Return);
    QVERIFY(w.viewer->IsDirty() && w.viewer->isWindowModified() && w.viewer->Save());

    const QString rtf = w.stored(id).txt_rtf;
    QCOMPARE(std::tuple(plain(rtf), runs(rtf, bold),
                        runs(rtf, [](const QTextCharFormat &f) { return f.font().italic(); }),
                        runs(rtf,
                             [](const QTextCharFormat &f) {
                                 return f.foreground().color() == QColor(200, 0, 0) && f.fontPointSize() == 20;
                             })),
             std::tuple(QString("Old bold text"), QString("bold"), QString("Old"), QString("text")));

    // Pasted HTML comes in as an import: a javascript: link is text, a web link stays, and 100,000
    // nested lists (minutes in Qt's own paste) go in at once.
    auto *clip = new QMimeData;
    QString html = QStringLiteral("<a href='javascript:alert(1)'>evil</a> <a href='https://example.org/'>good</a>");
    for (int depth = 0; depth < 100000; ++depth)
        html += QStringLiteral("<ul><li>");
    clip->setHtml(html + QStringLiteral("deep"));
    QGuiApplication::clipboard()->setMimeData(clip);
    w.text()->moveCursor(QTextCursor::End);
    w.text()->paste();
    QCOMPARE(std::tuple(formatOf(w.text(), "evil").isAnchor(), formatOf(w.text(), "good").anchorHref(),
                        w.text()->toPlainText().endsWith(QLatin1String("deep"))),
             std::tuple(false, QStringLiteral("https://example.org/"), true));
}

void tst_fileviewer::closeWithChanges_data()
{
    QTest::addColumn<QString>("desc"); // what the user leaves in the description
    QTest::addColumn<QList<MsgResult>>("answers");
    QTest::addColumn<bool>("closed");
    QTest::addColumn<QString>("stored");
    QTest::addColumn<bool>("handedText"); // a new file opened on text the user did not type

    using Answers = QList<MsgResult>;
    QTest::newRow("unchangedClosesWithoutAsking") << "Guide" << Answers() << true << "Guide" << false;
    QTest::newRow("yesSaves") << "Changed" << Answers{MsgResult::Yes} << true << "Changed" << false;
    QTest::newRow("cancelKeepsOpen") << "Changed" << Answers{MsgResult::Cancel} << false << "Guide" << false;
    QTest::newRow("yesRefusedKeepsOpen") << "" << Answers{MsgResult::Yes, MsgResult::OK} << false << "Guide" << false;
    QTest::newRow("droppedTextSavedOnYes") << "Guide" << Answers{MsgResult::Yes} << true << "Guide" << true;
}

void tst_fileviewer::closeWithChanges()
{
    QFETCH(QString, desc);
    QFETCH(QList<MsgResult>, answers);
    QFETCH(bool, closed);
    QFETCH(QString, stored);
    QFETCH(bool, handedText);

    Window w;
    const qint32 id = w.home.addFile(w.game, 1, QStringLiteral("Guide"));
    w.open(FileViewer::EditMode, id);
    if (handedText)
        w.viewer->Open(FileViewer::NewMode, 18, 1, w.game, QString(), 0, 4, QStringLiteral("https://example.org/"),
                       QStringLiteral("Dropped"), QStringLiteral("Text from a page"));
    if (desc != QLatin1String("Guide"))
        w.field("txtDesc")->setText(desc);
    for (MsgResult answer : answers)
        w.prompts.answerMsgBox(answer);
    // Esc is the Close command's key.
    QVERIFY(QTest::qWaitForWindowActive(w.viewer));
    QTest::keyClick(w.text(), Qt::Key_Escape);
    QCOMPARE(std::pair(w.prompts.shown().size(), w.stored(id).desc), std::pair(answers.size(), stored));
    QVERIFY(answers.isEmpty() || w.prompts.shown().at(0).buttons == MsgButtons::YesNoCancel);
    if (handedText)
        QCOMPARE(w.home.count(QStringLiteral("SELECT COUNT(*) FROM file")), closed ? 2 : 1);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(w.viewer.isNull() == closed && (closed || (w.viewer->isVisible() && w.viewer->IsDirty())));
}

void tst_fileviewer::storeFailure()
{
    Window w;
    const qint32 id = w.home.addFile(w.game, 1, QStringLiteral("Guide"));
    w.open(FileViewer::EditMode, id);
    QSqlQuery(w.home.db()).exec(QStringLiteral("DELETE FROM file"));
    QTest::keyClicks(w.text(), QStringLiteral("More "));
    w.prompts.answerMsgBox(MsgResult::OK);
    QVERIFY(!w.viewer->Save());
    QCOMPARE(std::tuple(w.prompts.last().icon, w.viewer->IsDirty(),
                        w.prompts.last().text.startsWith(QStringLiteral("The file could not be saved:\r\n\r\n"))),
             std::tuple(MsgIcon::Critical, true, true));

    // A new file on no store at all fails the same way and stays new.
    w.viewer->Open(FileViewer::NewMode, 18, 1, w.game, QString(), 0, 4, QString(), QStringLiteral("Preview"),
                   QStringLiteral("Text"));
    modADO none(QStringLiteral("tst-none"));
    w.viewer->setStore(&none);
    w.prompts.answerMsgBox(MsgResult::OK);
    QVERIFY(!w.viewer->Save());
    QCOMPARE(std::tuple(w.prompts.last().icon, w.viewer->CurrentMode(), w.viewer->FileId(), w.viewer->IsDirty()),
             std::tuple(MsgIcon::Critical, quint8(FileViewer::NewMode), 0, true));

    QCOMPARE(QString::fromUtf8(readFile(w.home.file(QStringLiteral("viewer.log")))).count(QStringLiteral("FileViewer")),
             2);
}

void tst_fileviewer::hugeText()
{
    // The window opens at once and reads a long text meanwhile: it cannot be typed into until it shows,
    // and saving meanwhile keeps the text as it came.
    Window w;
    QString page;
    while (page.size() < 2 * 1024 * 1024)
        page += QStringLiteral("Plain page text with words, line after line\r\n");
    w.viewer->Open(FileViewer::NewMode, 18, 1, w.game, QString(), 0, 6, QString(), QStringLiteral("Page"), page);
    QVERIFY(w.text()->isReadOnly() && w.viewer->IsDirty() && w.viewer->Save());
    QVERIFY(plain(w.stored(w.viewer->FileId()).txt_rtf).endsWith(QStringLiteral("line after line")));
    QTRY_VERIFY(!w.text()->isReadOnly());

    // A text longer than a window shows is cut with a note and read-only; saving keeps every line.
    QString lines;
    for (int line = 0; line <= maxShownParagraphs; ++line)
        lines += QStringLiteral("l%1\n").arg(line);
    w.viewer->Open(FileViewer::NewMode, 18, 1, w.game, QString(), 0, 6, QString(), QStringLiteral("Long"), lines);
    for (int round = 0; round < 2; ++round) {
        QTRY_VERIFY(IsCutRichText(w.text()->document()));
        QCOMPARE(std::tuple(IsCutRichText(w.text()->document()), w.text()->isReadOnly(),
                            w.text()->document()->blockCount(), w.text()->document()->lastBlock().text().left(32)),
                 std::tuple(true, true, maxShownParagraphs + 1, QStringLiteral("This text goes on past the first")));
        w.field("txtDesc")->setText(QStringLiteral("Long %1").arg(round));
        QVERIFY(w.viewer->Save());
        const QString all = RtfReader::PlainText(RtfReader::FromStoredText(w.stored(w.viewer->FileId()).txt_rtf));
        QVERIFY(all.contains(QStringLiteral("\nl%1\n").arg(maxShownParagraphs)));
        w.open(FileViewer::EditMode, w.viewer->FileId());
    }
}

QTEST_MAIN(tst_fileviewer)
#include "tst_fileviewer.moc"
