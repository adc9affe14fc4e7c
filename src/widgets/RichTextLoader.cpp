#include "RichTextLoader.h"

#include "RichText.h"

#include <QAbstractTextDocumentLayout>
#include <QFutureWatcher>
#include <QKeyEvent>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextEdit>
#include <QtConcurrent>

#include <algorithm>
#include <utility>

RichTextLoader::RichTextLoader(QTextEdit *edit) : QObject(edit), m_edit(edit)
{
    edit->installEventFilter(this);
}

RichTextLoader::~RichTextLoader()
{
    // Reads still under way are stopped and waited for, so that no document is left behind. The
    // editor, going away itself, is not touched.
    if (m_stop)
        *m_stop = true;
    for (auto *watcher : findChildren<QFutureWatcher<QTextDocument *> *>(Qt::FindDirectChildrenOnly)) {
        watcher->waitForFinished();
        delete watcher->result();
    }
}

void RichTextLoader::Show(const QString &storedRtf)
{
    Cancel();
    const QTextDocument *current = m_edit->document();
    const QFont font = current->defaultFont();
    const qreal margin = current->documentMargin();
    if (storedRtf.size() <= threadedLength) {
        ShowRichTextDocument(m_edit, BuildRichText(storedRtf, font, margin));
        Q_EMIT Shown();
        Q_EMIT Completed();
        return;
    }
    // Loading from here on, so that what the editor reports of the change is no edit of the user's.
    auto stop = std::make_shared<std::atomic<bool>>(false);
    m_stop = stop;
    ShowRichTextDocument(m_edit, BuildRichTextStart(storedRtf, font, margin));

    QThread *target = thread();
    const QFuture<QTextDocument *> reading = QtConcurrent::run([storedRtf, font, margin, stop, target] {
        QTextDocument *document = BuildRichText(storedRtf, font, margin, stop.get());
        document->moveToThread(target);
        return document;
    });
    m_reading = new QFutureWatcher<QTextDocument *>(this);
    QFutureWatcher<QTextDocument *> *watcher = m_reading;
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher, stop] {
        QTextDocument *document = watcher->result();
        // Out of the loader's children: its result is taken.
        watcher->setParent(nullptr);
        watcher->deleteLater();
        // A read that was stopped, or replaced by a newer one, is dropped.
        if (*stop || stop != m_stop) {
            delete document;
            return;
        }
        m_reading = nullptr;
        takeWhole(document);
    });
    watcher->setFuture(reading);
    Q_EMIT Shown();
}

void RichTextLoader::Complete()
{
    if (!m_reading)
        return;
    // The watcher goes with its result, and the news of it that is still to come with it.
    const std::unique_ptr<QFutureWatcher<QTextDocument *>> watcher(std::exchange(m_reading, nullptr));
    watcher->waitForFinished();
    takeWhole(watcher->result());
}

void RichTextLoader::Cancel()
{
    if (!m_stop)
        return;
    *m_stop = true;
    m_stop.reset();
    m_reading = nullptr;
    // What shows of the text, or what takes its place, waits for nothing more.
    ForgetWholeRichText(m_edit->document());
}

void RichTextLoader::takeWhole(QTextDocument *whole)
{
    // The whole begins as the beginning shown did, so every position and every line stays where it
    // was: the reader's place, selection and marks are taken over as they stand.
    QScrollBar *vertical = m_edit->verticalScrollBar();
    QScrollBar *horizontal = m_edit->horizontalScrollBar();
    const int top = vertical->value();
    const int left = horizontal->value();
    const QRect view = m_edit->viewport()->rect();
    const int lastShown = m_edit->cursorForPosition(view.bottomRight()).position();
    // Positions, not cursors: the cursors go with the document they are in.
    const auto span = [](const QTextCursor &cursor) {
        return std::pair(cursor.anchor(), cursor.position());
    };
    const std::pair<int, int> selected = span(m_edit->textCursor());
    QList<QTextEdit::ExtraSelection> marks = m_edit->extraSelections();
    QList<std::pair<int, int>> marked;
    for (const QTextEdit::ExtraSelection &mark : std::as_const(marks))
        marked.append(span(mark.cursor));

    m_completing = true;
    ShowRichTextDocument(m_edit, whole);
    m_completing = false;

    const int end = whole->characterCount() - 1;
    const auto cursor = [whole, end](std::pair<int, int> span) {
        QTextCursor to(whole);
        to.setPosition(std::clamp(span.first, 0, end));
        to.setPosition(std::clamp(span.second, 0, end), QTextCursor::KeepAnchor);
        return to;
    };
    m_edit->setTextCursor(cursor(selected));
    for (qsizetype mark = 0; mark < marks.size(); ++mark)
        marks[mark].cursor = cursor(marked.at(mark));
    m_edit->setExtraSelections(marks);
    // The editor lays a document out as far as it is asked for: as far as the view reaches, so that
    // the scroll bars take their places again.
    whole->documentLayout()->blockBoundingRect(whole->findBlock(std::min(lastShown, end)));
    vertical->setValue(top);
    horizontal->setValue(left);
    m_stop.reset();
    Q_EMIT Completed();
}

bool RichTextLoader::eventFilter(QObject *watched, QEvent *event)
{
    // Select All and the end of the text mean the whole text's, which they wait for.
    if (m_reading && event->type() == QEvent::KeyPress) {
        const auto *key = static_cast<QKeyEvent *>(event);
        if (key->matches(QKeySequence::SelectAll) || key->matches(QKeySequence::MoveToEndOfDocument) ||
            key->matches(QKeySequence::SelectEndOfDocument))
            Complete();
    }
    return QObject::eventFilter(watched, event);
}
