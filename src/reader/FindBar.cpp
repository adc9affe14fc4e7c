#include "FindBar.h"

#include "ShownPart.h"
#include "widgets/DeferredIcon.h"
#include "widgets/RichText.h"

#include <QApplication>
#include <QCheckBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QScrollBar>
#include <QStringMatcher>
#include <QStyle>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextEdit>
#include <QToolButton>

#include <algorithm>
#include <utility>

namespace {

// Marks the bar's own extra selections among those others made (a search's phrase, say).
constexpr int findMark = QTextFormat::UserProperty + 36;
// The pause in typing after which the text is searched.
constexpr int typingPause = 150;
// The most marks made at once: enough for a screenful of one-letter matches.
constexpr qsizetype mostMarks = 4000;

QColor mixed(const QColor &base, const QColor &tint, qreal share)
{
    return QColor::fromRgbF(float(base.redF() + (tint.redF() - base.redF()) * share),
                            float(base.greenF() + (tint.greenF() - base.greenF()) * share),
                            float(base.blueF() + (tint.blueF() - base.blueF()) * share));
}

QToolButton *button(QWidget *parent, const char *name, const QIcon &icon, const QString &tip)
{
    auto *button = new QToolButton(parent);
    button->setObjectName(QLatin1String(name));
    button->setIcon(icon);
    button->setToolTip(tip);
    button->setAccessibleName(tip);
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::TabFocus);
    return button;
}

enum class FindKey { None, Open, Next, Previous, Close };

FindKey findKey(const QKeyEvent *key)
{
    if (key->matches(QKeySequence::Find))
        return FindKey::Open;
    if (key->matches(QKeySequence::FindNext))
        return FindKey::Next;
    if (key->matches(QKeySequence::FindPrevious))
        return FindKey::Previous;
    if (key->key() == Qt::Key_Escape && key->modifiers() == Qt::NoModifier)
        return FindKey::Close;
    return FindKey::None;
}

} // namespace

FindBar::FindBar(QTextEdit *edit, QWidget *parent)
    : QWidget(parent),
      m_edit(edit),
      txtFind(new QLineEdit(this)),
      lblMatches(new QLabel(this)),
      chkMatchCase(new QCheckBox(QStringLiteral("Match &Case"), this)),
      cmdPrevious(button(this, "cmdPrevious",
                         QIcon::fromTheme(QStringLiteral("go-up"), DeferredStandardIcon(QStyle::SP_ArrowUp, this)),
                         QStringLiteral("Previous Match (Shift+F3)"))),
      cmdNext(button(this, "cmdNext",
                     QIcon::fromTheme(QStringLiteral("go-down"), DeferredStandardIcon(QStyle::SP_ArrowDown, this)),
                     QStringLiteral("Next Match (F3)"))),
      cmdClose(button(
          this, "cmdClose",
          QIcon::fromTheme(QStringLiteral("window-close"), DeferredStandardIcon(QStyle::SP_TitleBarCloseButton, this)),
          QStringLiteral("Close the Find Bar (Esc)")))
{
    setObjectName(QStringLiteral("FindBar"));
    txtFind->setObjectName(QStringLiteral("txtFind"));
    lblMatches->setObjectName(QStringLiteral("lblMatches"));
    chkMatchCase->setObjectName(QStringLiteral("chkMatchCase"));
    txtFind->setPlaceholderText(QStringLiteral("Find in text"));
    txtFind->setAccessibleName(QStringLiteral("Find in text"));
    txtFind->setClearButtonEnabled(true);
    txtFind->setMaximumWidth(320);
    m_findPalette = txtFind->palette();
    lblMatches->setMinimumWidth(fontMetrics().horizontalAdvance(QStringLiteral("999,999 of 999,999")));

    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(4, 2, 4, 2);
    layout->addWidget(txtFind, 1);
    layout->addWidget(cmdPrevious);
    layout->addWidget(cmdNext);
    layout->addWidget(chkMatchCase);
    layout->addWidget(lblMatches);
    layout->addStretch(1);
    layout->addWidget(cmdClose);

    m_typing.setSingleShot(true);
    m_typing.setInterval(typingPause);
    m_marking.setSingleShot(true);
    m_marking.setInterval(0);
    connect(&m_typing, &QTimer::timeout, this, &FindBar::search);
    connect(&m_marking, &QTimer::timeout, this, &FindBar::markVisible);
    connect(txtFind, &QLineEdit::textChanged, this, [this] {
        m_textEdited = false;
        m_typing.start();
    });
    connect(chkMatchCase, &QCheckBox::toggled, this, &FindBar::search);
    connect(cmdPrevious, &QToolButton::clicked, this, &FindBar::FindPrevious);
    connect(cmdNext, &QToolButton::clicked, this, &FindBar::FindNext);
    connect(cmdClose, &QToolButton::clicked, this, &FindBar::Close);
    for (QScrollBar *bar : {m_edit->verticalScrollBar(), m_edit->horizontalScrollBar()})
        connect(bar, &QScrollBar::valueChanged, &m_marking, qOverload<>(&QTimer::start));
    m_edit->viewport()->installEventFilter(this);
    HandleKeysOf(m_edit);
    for (QWidget *own : std::initializer_list<QWidget *>{txtFind, chkMatchCase, cmdPrevious, cmdNext, cmdClose})
        own->installEventFilter(this);
    hide();
}

void FindBar::HandleKeysOf(QWidget *widget)
{
    widget->installEventFilter(this);
}

void FindBar::Open()
{
    const QTextCursor cursor = m_edit->textCursor();
    m_anchor = cursor.selectionStart();
    const QString selected = cursor.selectedText();
    if (!selected.isEmpty() && selected.size() <= 200 && !selected.contains(QChar::ParagraphSeparator) &&
        !selected.contains(QChar::LineSeparator))
        txtFind->setText(selected);
    show();
    txtFind->selectAll();
    txtFind->setFocus(Qt::ShortcutFocusReason);
    search();
}

void FindBar::Close()
{
    m_typing.stop();
    m_waiting = false;
    hide();
    removeMarks();
    m_edit->setFocus(Qt::OtherFocusReason);
}

void FindBar::FindNext()
{
    step(1);
}

void FindBar::FindPrevious()
{
    step(-1);
}

void FindBar::Forget()
{
    m_typing.stop();
    m_waiting = false;
    m_matches.clear();
    m_current = -1;
    m_anchor = 0;
    m_plain.clear();
    m_plainOf = nullptr;
    if (isVisible()) {
        const bool hadFocus = isAncestorOf(QApplication::focusWidget());
        hide();
        removeMarks();
        if (hadFocus)
            m_edit->setFocus(Qt::OtherFocusReason);
    }
    showCount();
}

void FindBar::TextCompleted()
{
    m_plainStale = true;
    if (m_waiting)
        m_typing.start();
}

void FindBar::TextEdited()
{
    m_plainStale = true;
    if (isVisible()) {
        m_textEdited = true;
        m_typing.start();
    }
}

void FindBar::step(qsizetype direction)
{
    if (isHidden() || m_typing.isActive() || m_plainOf != m_edit->document()) {
        // A search still to run goes to the first match from the reader's place: that is the step.
        if (isHidden())
            Open();
        else
            search();
        return;
    }
    if (m_matches.isEmpty())
        return;
    m_current = m_current < 0 ? 0 : (m_current + direction + m_matches.size()) % m_matches.size();
    showCurrent();
}

const QString &FindBar::plainText()
{
    const QTextDocument *document = m_edit->document();
    if (m_plainStale || m_plainOf != document) {
        // Plain text keeps every position of the document (a table's borders and a picture are
        // one character each), so a match found in it is selected where it is.
        m_plain = document->toPlainText();
        m_plainOf = document;
        m_plainStale = false;
    }
    return m_plain;
}

void FindBar::search()
{
    m_typing.stop();
    if (IsStartOfRichText(m_edit->document())) {
        // Matches counted in the beginning alone would be wrong; the whole, when it is in, runs the
        // search.
        m_waiting = !txtFind->text().isEmpty();
        m_matches.clear();
        m_current = -1;
        removeMarks();
        showCount();
        return;
    }
    m_waiting = false;
    // Matches looked for again after an edit of the text leave the cursor where the user types.
    const bool jump = !std::exchange(m_textEdited, false);
    const QString needle = txtFind->text();
    const QString &text = plainText();
    m_matches.clear();
    m_current = -1;
    m_length = int(needle.size());
    if (!needle.isEmpty()) {
        const QStringMatcher matcher(needle, chkMatchCase->isChecked() ? Qt::CaseSensitive : Qt::CaseInsensitive);
        for (qsizetype at = matcher.indexIn(text, 0); at >= 0; at = matcher.indexIn(text, at + needle.size()))
            m_matches.append(int(at));
        if (!m_matches.isEmpty()) {
            const auto from = std::lower_bound(m_matches.cbegin(), m_matches.cend(), m_anchor);
            m_current = from == m_matches.cend() ? 0 : from - m_matches.cbegin();
        }
    }
    showCurrent(jump);
}

void FindBar::showCurrent(bool select)
{
    showCount();
    if (m_current >= 0 && select) {
        const int at = m_matches.at(m_current);
        QTextCursor cursor(m_edit->document());
        cursor.setPosition(at);
        cursor.setPosition(at + m_length, QTextCursor::KeepAnchor);
        m_edit->setTextCursor(cursor);
        m_edit->ensureCursorVisible();
        // A match brought into view from elsewhere stands a third of the way down, with the lines
        // that lead to it above, rather than on the last line of the view.
        const QRect shown = m_edit->cursorRect();
        const int height = m_edit->viewport()->height();
        if (shown.top() < height / 6 || shown.bottom() > height * 5 / 6) {
            QScrollBar *bar = m_edit->verticalScrollBar();
            bar->setValue(bar->value() + shown.top() - height / 3);
        }
        m_anchor = at;
    }
    markVisible();
}

void FindBar::showCount()
{
    QPalette look = m_findPalette;
    if (m_waiting) {
        lblMatches->setText(QStringLiteral("Searching..."));
    } else if (m_current >= 0) {
        lblMatches->setText(QStringLiteral("%L1 of %L2").arg(m_current + 1).arg(m_matches.size()));
    } else if (!txtFind->text().isEmpty() && !m_typing.isActive() && isVisible()) {
        lblMatches->setText(QStringLiteral("No matches"));
        look.setColor(QPalette::Base, mixed(look.color(QPalette::Base), QColor(0xE0, 0x30, 0x30), 0.3));
    } else {
        lblMatches->clear();
    }
    txtFind->setPalette(look);
}

void FindBar::removeMarks()
{
    QList<QTextEdit::ExtraSelection> kept = m_edit->extraSelections();
    kept.removeIf([](const QTextEdit::ExtraSelection &mark) { return mark.format.hasProperty(findMark); });
    m_edit->setExtraSelections(kept);
}

void FindBar::markVisible()
{
    m_marking.stop();
    if (isHidden())
        return;
    QList<QTextEdit::ExtraSelection> marks = m_edit->extraSelections();
    marks.removeIf([](const QTextEdit::ExtraSelection &mark) { return mark.format.hasProperty(findMark); });
    const QTextDocument *document = m_edit->document();
    if (!m_matches.isEmpty() && m_plainOf == document) {
        // A screenful on either side, so that a little scrolling shows its marks at once.
        const int top = document->findBlock(FirstShownPosition(m_edit)).position();
        const QTextBlock bottom = document->findBlock(LastShownPosition(m_edit));
        const int span = bottom.position() + bottom.length() - top;
        const int end = std::min(top + 2 * span, document->characterCount() - 1);
        auto from = std::lower_bound(m_matches.cbegin(), m_matches.cend(), top - span - m_length);
        const auto to = std::lower_bound(from, m_matches.cend(), end - m_length + 1);
        if (to - from > mostMarks)
            from = to - mostMarks;

        const QPalette colors = m_edit->palette();
        QTextCharFormat look;
        look.setBackground(mixed(colors.color(QPalette::Base), colors.color(QPalette::Highlight), 0.35));
        look.setProperty(findMark, true);
        QTextCharFormat current = look;
        current.setBackground(colors.color(QPalette::Highlight));
        current.setForeground(colors.color(QPalette::HighlightedText));
        const int currentAt = m_current >= 0 ? m_matches.at(m_current) : -1;
        for (auto it = from; it != to; ++it) {
            QTextCursor match(m_edit->document());
            match.setPosition(*it);
            match.setPosition(*it + m_length, QTextCursor::KeepAnchor);
            marks.append({match, *it == currentAt ? current : look});
        }
    }
    m_edit->setExtraSelections(marks);
}

bool FindBar::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_edit->viewport()) {
        if (event->type() == QEvent::Resize && isVisible())
            m_marking.start();
        return QWidget::eventFilter(watched, event);
    }
    if (event->type() != QEvent::ShortcutOverride && event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    auto *key = static_cast<QKeyEvent *>(event);
    const bool inBar = watched != m_edit && isAncestorOf(qobject_cast<QWidget *>(watched));
    FindKey what = findKey(key);
    if (watched == txtFind && (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter))
        what = key->modifiers() & Qt::ShiftModifier ? FindKey::Previous : FindKey::Next;
    // Esc belongs to the text (or its window) while the bar is closed.
    if (what == FindKey::None || (what == FindKey::Close && isHidden()))
        return QWidget::eventFilter(watched, event);
    // Claimed before the window's shortcuts see the key: the main window's Find Files keeps Ctrl+F
    // everywhere but in the text, and a file window's Esc closes the bar before the window.
    event->accept();
    if (event->type() == QEvent::ShortcutOverride)
        return true;
    switch (what) {
    case FindKey::Open:
        if (inBar)
            txtFind->selectAll();
        else
            Open();
        break;
    case FindKey::Next: FindNext(); break;
    case FindKey::Previous: FindPrevious(); break;
    case FindKey::Close: Close(); break;
    case FindKey::None: break;
    }
    return true;
}
