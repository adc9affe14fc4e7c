#include "FindRun.h"

#include "store/KeptConnection.h"

FindRun::FindRun(const QString &storePath, const FindRequest &request, QObject *parent)
    : QObject(parent), m_storePath(storePath), m_request(std::make_unique<FindRequest>(request))
{}

FindRun::~FindRun()
{
    Stop();
    if (m_done.valid())
        m_done.wait();
}

void FindRun::Start()
{
    if (m_done.valid())
        return;
    // Files queued since the window brought the index up to date are indexed by this search,
    // which therefore writes.
    m_done = KeptConnection::Start(m_storePath, [this](const QSqlDatabase &db, const ErrObject &openError) {
        Outcome outcome;
        const auto found = [this](const QVector<FindHit> &hits) {
            if (m_stop)
                return false;
            // Handed to the window's thread; dropped there if the run is gone by then.
            QMetaObject::invokeMethod(
                this, [this, hits] { Q_EMIT Found(hits); }, Qt::QueuedConnection);
            return !m_stop;
        };
        outcome.Error = openError;
        outcome.Ok = db.isValid() && FileSearch::FindEach(db, *m_request, found, &outcome.Error, &outcome.Repair,
                                                          [this] { return !m_stop; });
        outcome.Stopped = m_stop;
        QMetaObject::invokeMethod(
            this, [this, outcome] { Q_EMIT Ended(outcome); }, Qt::QueuedConnection);
        return outcome.Ok;
    });
}

void FindRun::Stop()
{
    m_stop = true;
}
