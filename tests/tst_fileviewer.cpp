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
    void editedElsewhere();
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

    // Saved once, the window edits that row instead of adding another (so it went to edit mode).
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

    w.child("cmdEdit")->trigger(); // the save below shows the window edits now

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
    QVERIFY(QSqlQuery(w.home.db()).exec(QStringLiteral("DROP TABLE file")));
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

void tst_fileviewer::editedElsewhere()
{
    // The other desktop is a connection of its own to the same store file or shared library.
    Window w;
    const auto elsewhere = [&](const QString &sql, qint32 id) {
        runElsewhere(w.home.storePath(), {sql.arg(id)});
    };
    const auto type = [&](const char *text) {
        w.text()->moveCursor(QTextCursor::End);
        QTest::keyClicks(w.text(), QLatin1String(text));
    };
    const qint32 theirs = w.home.addFile(w.game, 1, QStringLiteral("Guide"), QStringLiteral("{\\rtf1 Ours}"));
    w.open(FileViewer::EditMode, theirs);
    QSignalSpy added(w.viewer, &FileViewer::AddFile);
    QSignalSpy edited(w.viewer, &FileViewer::SaveEdit);
    elsewhere(
        QStringLiteral("UPDATE file SET \"desc\" = 'Their guide', txt_rtf = '{\\rtf1 Theirs}' WHERE auto_id = %1"),
        theirs);
    type(" mine");

    // Cancel (and Esc) writes nothing and keeps the edit.
    w.prompts.answerChoice(QStringLiteral("Cancel"));
    QVERIFY(!w.viewer->Save());
    QCOMPARE(std::tuple(w.prompts.last().text.section(QLatin1Char('\n'), 0, 0), w.prompts.last().choices.size(),
                        w.stored(theirs).desc, w.viewer->IsDirty()),
             std::tuple(QStringLiteral("The file \"Guide\" of Star Quest was changed elsewhere since you opened it."),
                        qsizetype(4), QStringLiteral("Their guide"), true));

    // Save As New File keeps both; the window holds the new one, and the list hears of both.
    w.prompts.answerChoice(QStringLiteral("Save As New File"));
    QVERIFY(w.viewer->Save());
    const qint32 mine = w.viewer->FileId();
    QCOMPARE(std::tuple(plain(w.stored(theirs).txt_rtf), plain(w.stored(mine).txt_rtf), w.stored(mine).game_id,
                        added.size(), added.last().at(3).toInt(), edited.last().at(3).toString(), w.viewer->IsDirty()),
             std::tuple(QStringLiteral("Theirs"), QStringLiteral("Ours mine"), w.game, qsizetype(1), mine,
                        QStringLiteral("Their guide"), false));

    // Overwrite puts this window's text over the other one.
    elsewhere(QStringLiteral("UPDATE file SET sub_cat = 2 WHERE auto_id = %1"), mine);
    type(" again");
    w.prompts.answerChoice(QStringLiteral("Overwrite"));
    QVERIFY(w.viewer->Save());
    QCOMPARE(std::pair(w.stored(mine).sub_cat, plain(w.stored(mine).txt_rtf)),
             std::pair(quint8(1), QStringLiteral("Ours mine again")));

    // Discard shows the other version, which a later save no longer calls a conflict.
    elsewhere(QStringLiteral("UPDATE file SET src = 'elsewhere' WHERE auto_id = %1"), mine);
    type(" lost");
    w.prompts.answerChoice(QStringLiteral("Discard"));
    QVERIFY(!w.viewer->Save());
    QTRY_COMPARE(w.text()->toPlainText(), QStringLiteral("Ours mine again"));
    QCOMPARE(std::pair(w.field("txtSource")->text(), w.viewer->IsDirty()),
             std::pair(QStringLiteral("elsewhere"), false));
    type(" kept");
    QVERIFY(w.viewer->Save());
    QCOMPARE(std::pair(w.prompts.shown().size(), w.stored(mine).src),
             std::pair(qsizetype(4), QStringLiteral("elsewhere")));

    // Deleted elsewhere: No keeps editing; Yes stores the text as a new file, unless the game went too.
    elsewhere(QStringLiteral("DELETE FROM file WHERE auto_id = %1"), mine);
    type(" orphan");
    w.prompts.answerMsgBox(MsgResult::No);
    QVERIFY(!w.viewer->Save() && w.viewer->IsDirty());
    QCOMPARE(w.prompts.last().text, QStringLiteral("The file \"Guide\" of Star Quest was deleted elsewhere.  Save your "
                                                   "text as a new file?"));
    w.prompts.answerMsgBox(MsgResult::Yes);
    QVERIFY(w.viewer->Save());
    const qint32 saved = w.viewer->FileId();
    QCOMPARE(std::pair(plain(w.stored(saved).txt_rtf), added.size()),
             std::pair(QStringLiteral("Ours mine again kept orphan"), qsizetype(2)));
    elsewhere(QStringLiteral("DELETE FROM game WHERE auto_id = %1"), w.game);
    elsewhere(QStringLiteral("DELETE FROM file WHERE auto_id = %1"), saved);
    type("!");
    w.prompts.answerMsgBox(MsgResult::Yes);
    w.prompts.answerMsgBox(MsgResult::OK);
    QVERIFY(!w.viewer->Save() && w.viewer->IsDirty());
    QCOMPARE(w.home.count(QStringLiteral("SELECT COUNT(*) FROM file")), 1);

    // Closing: Discard closes the window as the user asked, and writes nothing.
    w.open(FileViewer::EditMode, theirs);
    elsewhere(QStringLiteral("UPDATE file SET \"desc\" = 'Third' WHERE auto_id = %1"), theirs);
    type(" closing");
    w.prompts.answerMsgBox(MsgResult::Yes);
    w.prompts.answerChoice(QStringLiteral("Discard"));
    QVERIFY(w.viewer->close());
    QCOMPARE(plain(w.stored(theirs).txt_rtf), QStringLiteral("Theirs"));
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

    // A stored long text shows its beginning at once. Printing meanwhile prints all of it; Edit waits
    // for the whole, and what is saved then keeps every line.
    QString rtf = QStringLiteral("{\\rtf1 ");
    for (int line = 1; line < 25000; ++line)
        rtf += QStringLiteral("line %1\\par\n").arg(line);
    rtf += QStringLiteral("line 25000}");
    const qint32 id = w.home.addFile(w.game, 1, QStringLiteral("Lines"), rtf);
    w.open(FileViewer::ViewMode, id);
    QVERIFY(w.text()->toPlainText().startsWith(QStringLiteral("line 1\n")) &&
            !w.text()->toPlainText().contains(QStringLiteral("line 25000")));
    QSignalSpy printed(w.viewer.data(), &FileViewer::PrintInfo);
    w.child("cmdPrint")->trigger();
    QCOMPARE(printed.last().at(3).toString(), rtf);
    w.child("cmdEdit")->trigger();
    QVERIFY(!w.text()->isReadOnly() && w.text()->toPlainText().endsWith(QStringLiteral("line 25000")));
    QTest::keyClick(w.text(), Qt::Key_End, Qt::ControlModifier);
    QTest::keyClicks(w.text(), QStringLiteral(" and one more"));
    QVERIFY(w.viewer->Save());
    const QString saved = RtfReader::PlainText(RtfReader::FromStoredText(w.stored(id).txt_rtf)).trimmed();
    QVERIFY(saved.startsWith(QStringLiteral("line 1\nline 2\n")) &&
            saved.endsWith(QStringLiteral("line 24999\nline 25000 and one more")));

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
