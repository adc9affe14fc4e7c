#include "RichTextLoader.h"

#include "RichText.h"

#include <QFutureWatcher>
#include <QTextDocument>
#include <QTextEdit>
#include <QtConcurrent>

RichTextLoader::RichTextLoader(QTextEdit *edit) : QObject(edit), m_edit(edit) {}

RichTextLoader::~RichTextLoader()
{
    // Reads still under way are stopped and waited for, so that no document is left behind.
    Cancel();
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
        return;
    }
    auto *placeholder = new QTextDocument;
    placeholder->setDefaultFont(font);
    placeholder->setDocumentMargin(margin);
    ShowRichTextDocument(m_edit, placeholder);

    auto stop = std::make_shared<std::atomic<bool>>(false);
    m_stop = stop;
    QThread *target = thread();
    const QFuture<QTextDocument *> reading = QtConcurrent::run([storedRtf, font, margin, stop, target] {
        QTextDocument *document = BuildRichText(storedRtf, font, margin, stop.get());
        document->moveToThread(target);
        return document;
    });
    auto *watcher = new QFutureWatcher<QTextDocument *>(this);
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
        // Still loading while the editor takes the document over: what it reports of the change
        // is no edit of the user's.
        ShowRichTextDocument(m_edit, document);
        m_stop.reset();
        Q_EMIT Shown();
    });
    watcher->setFuture(reading);
}

void RichTextLoader::Cancel()
{
    if (!m_stop)
        return;
    *m_stop = true;
    m_stop.reset();
}
