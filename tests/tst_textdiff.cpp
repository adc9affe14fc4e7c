#include "reader/TextDiff.h"

#include <QRandomGenerator>
#include <QTest>

using TextDiff::Kind;
using TextDiff::Span;

class tst_textdiff final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void blanksAreNoChange_data();
    void blanksAreNoChange();
    void paragraphsAddedRemovedMoved_data();
    void paragraphsAddedRemovedMoved();
    void wordsChangedInsideAParagraph();
    void bigTextsFinish();
};

namespace {

// The kinds of the rows, one letter each: = same, ~ changed, - removed, + added.
QString shape(const TextDiff::Result &result)
{
    QString s;
    for (const TextDiff::Row &row : result.rows)
        s += QLatin1Char("=~-+"[int(row.kind)]);
    return s;
}

QString words(int from, int count, const char *stem)
{
    QStringList list;
    for (int i = from; i < from + count; ++i)
        list.append(QLatin1String(stem) + QString::number(i));
    return list.join(QLatin1Char(' '));
}

} // namespace

void tst_textdiff::blanksAreNoChange_data()
{
    QTest::addColumn<QString>("left");
    QTest::addColumn<QString>("right");
    const QString text = QStringLiteral("Go north.\nTake the lamp.\nOpen the door.\n");
    QTest::newRow("identical") << text << text;
    QTest::newRow("runsOfBlanksAndTrailing")
        << text << QStringLiteral("Go  north. \t\nTake\tthe lamp.   \nOpen the door.");
    QTest::newRow("crlf") << text << QStringLiteral("Go north.\r\nTake the lamp.\r\nOpen the door.\r\n");
    QTest::newRow("blankLines") << text << QStringLiteral("\n\nGo north.\n  \nTake the lamp.\n\n\nOpen the door.\n\n");
    QTest::newRow("bothEmpty") << QString() << QStringLiteral(" \n\t\r\n");
}

void tst_textdiff::blanksAreNoChange()
{
    QFETCH(QString, left);
    QFETCH(QString, right);
    const TextDiff::Result result = TextDiff::Compare(left, right);
    QVERIFY(!result.HasChanges());
    QVERIFY(!TextDiff::Differs(left, right));
    QCOMPARE(shape(result), QString(result.rows.size(), QLatin1Char('=')));
    QCOMPARE(TextDiff::Summary(result.counts), QStringLiteral("No changes"));
}

void tst_textdiff::paragraphsAddedRemovedMoved_data()
{
    QTest::addColumn<QString>("left");
    QTest::addColumn<QString>("right");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QString>("summary");
    QTest::newRow("addedInMiddle") << "A one.\nB two.\nC three."
                                   << "A one.\nNew words here.\nB two.\nC three."
                                   << "=+=="
                                   << "1 paragraph added (3 words added, 0 removed)";
    QTest::newRow("removedAtStart") << "Intro text.\nA one.\nB two."
                                    << "A one.\nB two."
                                    << "-=="
                                    << "1 paragraph removed (0 words added, 2 removed)";
    QTest::newRow("movedToEnd") << "Moved paragraph here.\nA one.\nB two.\nC three."
                                << "A one.\nB two.\nC three.\nMoved paragraph here."
                                << "-===+"
                                << "1 paragraph added, 1 removed (3 words added, 3 removed)";
    QTest::newRow("replacedByUnlike") << "A one.\nOld text about wolves.\nC three."
                                      << "A one.\nSomething else entirely.\nC three."
                                      << "=-+="
                                      << "1 paragraph added, 1 removed (3 words added, 4 removed)";
    QTest::newRow("changedAmongAdded") << "A one.\nThe key opens the red door.\nC three."
                                       << "A one.\nA new tip.\nThe key opens the blue door.\nC three."
                                       << "=+~="
                                       << "1 paragraph changed, 1 added (4 words added, 1 removed)";
    QTest::newRow("fromNothing") << QString() << "First.\nSecond."
                                 << "++"
                                 << "2 paragraphs added (2 words added, 0 removed)";
}

void tst_textdiff::paragraphsAddedRemovedMoved()
{
    QFETCH(QString, left);
    QFETCH(QString, right);
    QFETCH(QString, expected);
    QFETCH(QString, summary);
    const TextDiff::Result result = TextDiff::Compare(left, right);
    QCOMPARE(shape(result), expected);
    QCOMPARE(TextDiff::Summary(result.counts), summary);
    QVERIFY(result.HasChanges() && TextDiff::Differs(left, right));
    // Every paragraph of each side is shown once, in its order.
    QStringList shownLeft;
    QStringList shownRight;
    for (const TextDiff::Row &row : result.rows) {
        if (row.kind != Kind::Added)
            shownLeft.append(row.left);
        if (row.kind != Kind::Removed)
            shownRight.append(row.right);
    }
    QCOMPARE(shownLeft, left.split(QLatin1Char('\n'), Qt::SkipEmptyParts));
    QCOMPARE(shownRight, right.split(QLatin1Char('\n'), Qt::SkipEmptyParts));
}

void tst_textdiff::wordsChangedInsideAParagraph()
{
    // Blanks differ as well: they change nothing, and the spans fall on the words as shown.
    const QString left = QStringLiteral("Push  the red lever twice, then pull the chain.");
    const QString right = QStringLiteral("Push the green lever twice, then pull the old  rusty chain.\r\n");
    const TextDiff::Result result = TextDiff::Compare(left, right);
    QCOMPARE(shape(result), QStringLiteral("~"));
    const TextDiff::Row &row = result.rows.constFirst();
    QCOMPARE(row.right, QStringLiteral("Push the green lever twice, then pull the old  rusty chain."));
    QCOMPARE(row.leftSpans, QVector<Span>({{10, 3}}));
    QCOMPARE(row.rightSpans, QVector<Span>({{9, 5}, {42, 10}}));
    QCOMPARE(TextDiff::Summary(result.counts), QStringLiteral("1 paragraph changed (3 words added, 1 removed)"));
}

void tst_textdiff::bigTextsFinish()
{
    // Two texts of over 5 MB that share nothing: given up as all removed and all added.
    QString left;
    QString right;
    for (int p = 0; left.size() < 5'500'000; ++p) {
        left += words(p * 20, 20, "alpha") + QLatin1Char('\n');
        right += words(p * 20, 20, "omega") + QLatin1Char('\n');
    }
    TextDiff::Result result = TextDiff::Compare(left, right);
    const int paragraphs = int(left.count(QLatin1Char('\n')));
    QCOMPARE(result.counts.paragraphsRemoved, paragraphs);
    QCOMPARE(result.counts.paragraphsAdded, paragraphs);
    QCOMPARE(result.rows.size(), 2 * paragraphs);

    // The same text with scattered edits, more than an exact search affords: still found one by one.
    right = left;
    QStringList lines = right.split(QLatin1Char('\n'));
    QRandomGenerator random(37);
    int edited = 0;
    for (int i = 5; i < lines.size() - 1; i += 60 + int(random.bounded(40))) {
        lines[i].prepend(QStringLiteral("Note: "));
        lines.insert(i + 30, words(i, 5, "new"));
        ++edited;
    }
    result = TextDiff::Compare(left, lines.join(QLatin1Char('\n')));
    QCOMPARE(result.counts.paragraphsChanged, edited);
    QCOMPARE(result.counts.paragraphsAdded, edited);
    QCOMPARE(result.counts.paragraphsRemoved, 0);
    QCOMPARE(result.counts.wordsAdded, qint64(edited) * 6);

    // Asked to stop, it stops and says so.
    const std::atomic<bool> stop{true};
    QVERIFY(!TextDiff::Compare(left, right, &stop).complete);
}

QTEST_GUILESS_MAIN(tst_textdiff)
#include "tst_textdiff.moc"
