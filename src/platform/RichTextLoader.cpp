#include "RichTextLoader.h"

#include "RichText.h"

#include <QMutex>
#include <QTextDocument>
#include <QTextEdit>
#include <QThread>

#include <atomic>

// A document read, until the editor takes it.
struct RichTextLoader::Result
{
    QTextDocument *document = nullptr;
    ~Result() { delete document; }
};

struct RichTextLoader::Job
{
    std::atomic<bool> stop{false};
    std::atomic<bool> finished{false};
    QMutex mutex;
    RichTextLoader *owner = nullptr; // under mutex; null once the loader is gone
};

RichTextLoader::RichTextLoader(QTextEdit *edit) : QObject(edit), m_edit(edit) {}

RichTextLoader::~RichTextLoader()
{
    for (auto &worker : m_workers) {
        const QMutexLocker lock(&worker.first->mutex);
        worker.first->owner = nullptr;
        worker.first->stop = true;
    }
    joinFinished(true);
}

void RichTextLoader::Show(const QString &storedRtf)
{
    Cancel();
    joinFinished(false);
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

    auto job = std::make_shared<Job>();
    job->owner = this;
    m_job = job;
    QThread *target = thread();
    m_workers.emplace_back(job, std::thread([job, storedRtf, font, margin, target] {
                               QTextDocument *document = BuildRichText(storedRtf, font, margin, &job->stop);
                               {
                                   const QMutexLocker lock(&job->mutex);
                                   if (job->owner && !job->stop) {
                                       document->moveToThread(target);
                                       // Deleted unshown if the loader goes before the event arrives.
                                       auto result = std::make_shared<Result>();
                                       result->document = std::exchange(document, nullptr);
                                       QMetaObject::invokeMethod(
                                           job->owner,
                                           [owner = job->owner, job, result] { owner->handOver(job, *result); },
                                           Qt::QueuedConnection);
                                   }
                               }
                               delete document;
                               job->finished = true;
                           }));
}

void RichTextLoader::handOver(const std::shared_ptr<Job> &job, Result &result)
{
    if (job != m_job)
        return;
    m_job.reset();
    ShowRichTextDocument(m_edit, std::exchange(result.document, nullptr));
    Q_EMIT Shown();
}

void RichTextLoader::Cancel()
{
    if (!m_job)
        return;
    m_job->stop = true;
    m_job.reset();
}

void RichTextLoader::joinFinished(bool all)
{
    for (auto it = m_workers.begin(); it != m_workers.end();) {
        if (all || it->first->finished) {
            it->second.join();
            it = m_workers.erase(it);
        } else {
            ++it;
        }
    }
}
