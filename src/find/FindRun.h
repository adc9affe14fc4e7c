#pragma once

#include "search/FileSearch.h"
#include "system/ErrObject.h"

#include <QObject>
#include <QString>
#include <QVector>

#include <atomic>
#include <future>
#include <memory>

// One Find, run on a thread of its own with its own connection to the store, so that the first
// hits are listed while the rest are still being looked for and the window stays alive. The
// connection is kept for the next Find (KeptConnection), which finds the pages this one read.
// Hits come in ascending order of file id, in batches; Stop ends the search at the next file.
class FindRun final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FindRun)

public:
    // How a search ended.
    struct Outcome
    {
        bool Ok = false;
        // Stop was called before the search was through.
        bool Stopped = false;
        ErrObject Error;
        IndexRepair Repair;
    };

    // `storePath` as StoreAddress::Name gives it, so a shared library keeps its password.
    FindRun(const QString &storePath, const FindRequest &request, QObject *parent = nullptr);
    // Stops the search and waits for it.
    ~FindRun() override;

    void Start();
    void Stop();
    const FindRequest &Request() const { return *m_request; }

Q_SIGNALS:
    void Found(const QVector<FindHit> &hits);
    // After the last Found.
    void Ended(const FindRun::Outcome &outcome);

private:
    QString m_storePath;
    std::unique_ptr<FindRequest> m_request;
    std::atomic<bool> m_stop{false};
    std::shared_future<void> m_done;
};
