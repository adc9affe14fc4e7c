#include "frmSourceChanges.h"

#include "base/ErrorLog.h"
#include "components/BackupJob.h"
#include "data/SnapshotTable.h"
#include "data/modADO.h"
#include "rtf/RtfReader.h"
#include "store/StoreTransaction.h"
#include "system/Contrast.h"
#include "system/Prompts.h"

#include <QDialogButtonBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextCursor>
#include <QVBoxLayout>
#include <QtConcurrent>

namespace {

const QString moduleName = QStringLiteral("frmSourceChanges");

// The text a reader sees of a stored RTF, one paragraph a line, ready for the comparison.
QString plainText(const QString &rtf)
{
    QString text = RtfReader::PlainText(RtfReader::FromStoredText(rtf));
    // A pane makes a paragraph of each of these; the rows must stay one paragraph each.
    text.replace(QChar::ParagraphSeparator, QLatin1Char('\n'));
    return text;
}

// The colours of the marks, tints of the pane's own background so that they suit a dark palette as
// well as a light one, each with text that reads on it.
struct Marks
{
    QTextCharFormat removedWords;
    QTextCharFormat addedWords;
    QTextCharFormat removedParagraph;
    QBrush changed;
    QBrush removed;
    QBrush added;
    QBrush missing;

    explicit Marks(const QPalette &palette)
    {
        // The panes are greyed out while the comparison runs; the marks are for when they are not.
        const QColor base = palette.color(QPalette::Active, QPalette::Base);
        const QColor text = palette.color(QPalette::Active, QPalette::Text);
        const QColor red(220, 50, 50);
        const QColor green(40, 170, 70);
        const QColor removedWordsBack = Blend(base, red, 0.45);
        const QColor addedWordsBack = Blend(base, green, 0.45);
        removedWords.setBackground(removedWordsBack);
        removedWords.setForeground(ReadableOn(text, removedWordsBack));
        removedWords.setFontStrikeOut(true);
        addedWords.setBackground(addedWordsBack);
        addedWords.setForeground(ReadableOn(text, addedWordsBack));
        changed = Blend(base, QColor(230, 180, 40), 0.15);
        removed = Blend(base, red, 0.12);
        added = Blend(base, green, 0.12);
        missing = Blend(base, text, 0.06);
        removedParagraph.setFontStrikeOut(true);
        removedParagraph.setForeground(ReadableOn(text, removed.color()));
    }
};

void markBlock(QTextDocument *document, int number, const QBrush &background)
{
    QTextCursor cursor(document->findBlockByNumber(number));
    QTextBlockFormat format;
    format.setBackground(background);
    cursor.mergeBlockFormat(format);
}

void markSpans(QTextDocument *document, int number, const QVector<TextDiff::Span> &spans, const QTextCharFormat &format)
{
    const int start = document->findBlockByNumber(number).position();
    QTextCursor cursor(document);
    for (const TextDiff::Span &span : spans) {
        cursor.setPosition(start + span.start);
        cursor.setPosition(start + span.start + span.length, QTextCursor::KeepAnchor);
        cursor.mergeCharFormat(format);
    }
}

QPlainTextEdit *pane(QWidget *parent, const QString &name, const QString &accessibleName)
{
    auto *edit = new QPlainTextEdit(parent);
    edit->setObjectName(name);
    edit->setAccessibleName(accessibleName);
    edit->setReadOnly(true);
    edit->setUndoRedoEnabled(false);
    edit->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    edit->setEnabled(false);
    return edit;
}

} // namespace

frmSourceChanges::frmSourceChanges(QWidget *parent, modADO *store, const FileRow &stored, const QString &pageRtf,
                                   const QUrl &address, const QDateTime &captured, const QByteArray &mhtml)
    : QDialog(parent),
      lblSummary(new QLabel(QStringLiteral("Comparing..."), this)),
      lblStored(new QLabel(QStringLiteral("&Stored text"), this)),
      lblPage(new QLabel(
          QStringLiteral("&Page now (captured %1)").arg(captured.toLocalTime().toString(QStringLiteral("HH:mm"))),
          this)),
      txtStored(pane(this, QStringLiteral("txtStored"), QStringLiteral("Stored text"))),
      txtPage(pane(this, QStringLiteral("txtPage"), QStringLiteral("Page now"))),
      cmdPrevious(new QPushButton(QStringLiteral("P&revious Change"), this)),
      cmdNext(new QPushButton(QStringLiteral("&Next Change"), this)),
      cmdUpdate(new QPushButton(QStringLiteral("&Update"), this)),
      cmdKeep(new QPushButton(QStringLiteral("&Keep"), this)),
      m_store(store),
      m_stored(stored),
      m_pageRtf(pageRtf),
      m_address(address),
      m_captured(captured),
      m_mhtml(mhtml),
      m_stop(std::make_shared<std::atomic<bool>>(false))
{
    setObjectName(QStringLiteral("frmSourceChanges"));
    setWindowTitle(QStringLiteral("Check Source For Changes"));
    lblSummary->setObjectName(QStringLiteral("lblSummary"));
    lblStored->setBuddy(txtStored);
    lblPage->setBuddy(txtPage);
    auto *lblAddress = new QLabel(address.toDisplayString(), this);
    lblAddress->setObjectName(QStringLiteral("lblAddress"));
    lblAddress->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // A long address is cut at the window's edge rather than widening the window past the screen.
    lblAddress->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    lblAddress->setToolTip(address.toDisplayString());
    QPalette subdued = lblAddress->palette();
    subdued.setColor(QPalette::WindowText, SubduedText(subdued, QPalette::Window));
    lblAddress->setPalette(subdued);
    cmdPrevious->setObjectName(QStringLiteral("cmdPrevious"));
    cmdNext->setObjectName(QStringLiteral("cmdNext"));
    cmdUpdate->setObjectName(QStringLiteral("cmdUpdate"));
    cmdKeep->setObjectName(QStringLiteral("cmdKeep"));
    for (QPushButton *button : {cmdPrevious, cmdNext, cmdUpdate}) {
        button->setAutoDefault(false);
        button->setEnabled(false);
    }
    cmdKeep->setDefault(true);
    cmdUpdate->setToolTip(QStringLiteral("Make the page's text the file's; the page is kept in its snapshots"));
    cmdKeep->setToolTip(QStringLiteral("Leave the file as it is"));

    auto *buttons = new QDialogButtonBox(this);
    buttons->addButton(cmdUpdate, QDialogButtonBox::AcceptRole);
    // The reject role makes Esc and the close box Keep as well.
    buttons->addButton(cmdKeep, QDialogButtonBox::RejectRole);
    auto *moves = new QHBoxLayout;
    moves->addWidget(cmdPrevious);
    moves->addWidget(cmdNext);
    moves->addStretch(1);
    moves->addWidget(buttons);
    auto *panes = new QGridLayout;
    panes->addWidget(lblStored, 0, 0);
    panes->addWidget(lblPage, 0, 1);
    panes->addWidget(txtStored, 1, 0);
    panes->addWidget(txtPage, 1, 1);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(lblAddress);
    layout->addWidget(lblSummary);
    layout->addLayout(panes, 1);
    layout->addLayout(moves);
    resize(1100, 700);

    connect(cmdKeep, &QPushButton::clicked, this, &QDialog::reject);
    connect(cmdUpdate, &QPushButton::clicked, this, &frmSourceChanges::update);
    connect(cmdNext, &QPushButton::clicked, this, [this] { goToChange(1); });
    connect(cmdPrevious, &QPushButton::clicked, this, [this] { goToChange(-1); });
    connect(txtStored->verticalScrollBar(), &QScrollBar::valueChanged, this,
            [this] { followScroll(txtStored, txtPage); });
    connect(txtPage->verticalScrollBar(), &QScrollBar::valueChanged, this,
            [this] { followScroll(txtPage, txtStored); });
    connect(&m_comparison, &QFutureWatcherBase::finished, this, &frmSourceChanges::showComparison);

    m_comparison.setFuture(QtConcurrent::run([stored = m_stored.txt_rtf, page = m_pageRtf, stop = m_stop] {
        return TextDiff::Compare(plainText(stored), plainText(page), stop.get());
    }));
}

frmSourceChanges::~frmSourceChanges()
{
    m_stop->store(true);
    m_comparison.waitForFinished();
}

bool frmSourceChanges::HasChanges(const QString &storedRtf, const QString &pageRtf)
{
    return TextDiff::Differs(plainText(storedRtf), plainText(pageRtf));
}

void frmSourceChanges::showComparison()
{
    const TextDiff::Result result = m_comparison.result();
    if (!result.complete)
        return;
    QString left;
    QString right;
    for (const TextDiff::Row &row : result.rows) {
        left += row.left + QLatin1Char('\n');
        right += row.right + QLatin1Char('\n');
    }
    left.chop(1);
    right.chop(1);
    txtStored->setPlainText(left);
    txtPage->setPlainText(right);
    markRows(result.rows);

    m_changes.clear();
    for (int i = 0; i < result.rows.size(); ++i)
        if (result.rows[i].kind != TextDiff::Kind::Same && (i == 0 || result.rows[i - 1].kind == TextDiff::Kind::Same))
            m_changes.append(i);
    lblSummary->setText(TextDiff::Summary(result.counts));
    txtStored->setEnabled(true);
    txtPage->setEnabled(true);
    cmdNext->setEnabled(!m_changes.isEmpty());
    cmdUpdate->setEnabled(!m_store->IsReadOnly());
    if (m_store->IsReadOnly())
        cmdUpdate->setToolTip(m_store->ReadOnlyError().Description);
    Q_EMIT Compared();
}

void frmSourceChanges::markRows(const QVector<TextDiff::Row> &rows)
{
    const Marks marks(txtStored->palette());
    QTextDocument *const left = txtStored->document();
    QTextDocument *const right = txtPage->document();
    QTextCursor leftEdit(left);
    QTextCursor rightEdit(right);
    leftEdit.beginEditBlock();
    rightEdit.beginEditBlock();
    for (int i = 0; i < rows.size(); ++i) {
        const TextDiff::Row &row = rows[i];
        switch (row.kind) {
        case TextDiff::Kind::Same: break;
        case TextDiff::Kind::Changed:
            markBlock(left, i, marks.changed);
            markBlock(right, i, marks.changed);
            markSpans(left, i, row.leftSpans, marks.removedWords);
            markSpans(right, i, row.rightSpans, marks.addedWords);
            break;
        case TextDiff::Kind::Removed:
            markBlock(left, i, marks.removed);
            markBlock(right, i, marks.missing);
            markSpans(left, i, {{0, int(row.left.size())}}, marks.removedParagraph);
            break;
        case TextDiff::Kind::Added:
            markBlock(left, i, marks.missing);
            markBlock(right, i, marks.added);
            break;
        }
    }
    leftEdit.endEditBlock();
    rightEdit.endEditBlock();
}

void frmSourceChanges::goToChange(int step)
{
    if (m_changes.isEmpty())
        return;
    m_current = qBound(0, m_current + step, int(m_changes.size()) - 1);
    const QTextBlock block = txtStored->document()->findBlockByNumber(m_changes[m_current]);
    txtStored->setTextCursor(QTextCursor(block));
    txtPage->setTextCursor(QTextCursor(txtPage->document()->findBlockByNumber(m_changes[m_current])));
    // A few lines of what comes before, for the change to be read in its place.
    txtStored->verticalScrollBar()->setValue(std::max(0, block.firstLineNumber() - 2));
    followScroll(txtStored, txtPage);
    cmdPrevious->setEnabled(m_current > 0);
    cmdNext->setEnabled(m_current < m_changes.size() - 1);
}

// The panes hold one row per paragraph, so the same paragraph is at the top of both; a paragraph
// wrapped into more lines on one side than on the other only shifts the rows below it for a while.
void frmSourceChanges::followScroll(QPlainTextEdit *from, QPlainTextEdit *to)
{
    if (m_following)
        return;
    m_following = true;
    const int line = from->verticalScrollBar()->value();
    const QTextBlock top = from->document()->findBlockByLineNumber(line);
    const QTextBlock other = to->document()->findBlockByNumber(top.blockNumber());
    if (other.isValid())
        to->verticalScrollBar()->setValue(other.firstLineNumber() +
                                          qBound(0, line - top.firstLineNumber(), std::max(0, other.lineCount() - 1)));
    m_following = false;
}

void frmSourceChanges::update()
{
    const QSqlDatabase db = m_store->Connection();
    // The text kept now goes into the day's backup first; a shared library keeps the old page in
    // the file's snapshots only.
    if (!BackupJob::KeepText(this, db, m_stored.auto_id, m_stored.txt_rtf))
        return;
    bool replaced = false;
    ErrObject err;
    if (!store(&replaced, &err)) {
        LogError(err, moduleName, QStringLiteral("Update"), true);
        return;
    }
    if (!replaced) {
        MsgBox(QStringLiteral("\u201C%1\u201D was changed or deleted elsewhere meanwhile; its text was left as it is.")
                   .arg(m_stored.desc),
               MsgButtons::OK, MsgIcon::Exclamation);
        reject();
        return;
    }
    m_updated = m_stored;
    m_updated.txt_rtf = m_pageRtf;
    accept();
}

// The new text and its snapshot, together or neither, and only over the text the comparison was made with.
bool frmSourceChanges::store(bool *replaced, ErrObject *err)
{
    const QSqlDatabase db = m_store->Connection();
    FileRow row = m_stored;
    row.txt_rtf = m_pageRtf;
    StoreTransaction transaction(db, StoreTransaction::Lock::Immediate);
    if (!transaction.begin(err) || !FileTable::UpdateIfUnchanged(db, row, m_stored, replaced, err))
        return false;
    if (!*replaced)
        return true;
    qint32 snapshot = 0;
    if (!m_mhtml.isEmpty() &&
        !SnapshotTable::Add(db, row.auto_id, m_address.toString(), m_captured, m_mhtml, &snapshot, err))
        return false;
    return transaction.commit(err);
}
