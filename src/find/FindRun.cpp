#include "FindRun.h"

#include "store/WorkerConnection.h"

#include <QThread>

FindRun::FindRun(const QString &storePath, const FindRequest &request, QObject *parent)
    : QObject(parent), m_storePath(storePath), m_request(std::make_unique<FindRequest>(request))
{}

FindRun::~FindRun()
{
    Stop();
    if (m_thread) {
        m_thread->wait();
        delete m_thread;
    }
}

void FindRun::Start()
{
    if (m_thread)
        return;
    m_thread = QThread::create([this] {
        Outcome outcome;
        // Files queued since the window brought the index up to date are indexed by this search,
        // which therefore writes.
        const WorkerConnection store(m_storePath, WorkerConnection::Access::Write);
        const auto found = [this](const QVector<FindHit> &hits) {
            if (m_stop)
                return false;
            // Handed to the window's thread; dropped there if the run is gone by then.
            QMetaObject::invokeMethod(
                this, [this, hits] { Q_EMIT Found(hits); }, Qt::QueuedConnection);
            return !m_stop;
        };
        outcome.Ok =
            store.Open(&outcome.Error) && FileSearch::FindEach(store.Connection(), *m_request, found, &outcome.Error,
                                                               &outcome.Repair, [this] { return !m_stop; });
        outcome.Stopped = m_stop;
        QMetaObject::invokeMethod(
            this, [this, outcome] { Q_EMIT Ended(outcome); }, Qt::QueuedConnection);
    });
    m_thread->start();
}

void FindRun::Stop()
{
    m_stop = true;
}
