#pragma once

#include <QDeadlineTimer>
#include <QLockFile>
#include <QObject>
#include <QString>

class QLocalServer;
class QLocalSocket;

// Keeps one Lorekeep per home. The first start on a home holds a lock file in it and listens on a
// local socket named after the folder; a later start finds the lock held, asks the running one over
// the socket to come to the front and ends. A lock or socket left behind by a process that died is
// taken over.
class SingleInstance final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SingleInstance)

public:
    enum class Outcome {
        Owner,      // this process has the home; ActivationRequested reports later starts
        Activated,  // another process has the home and has come to the front
        Unreachable // another process has the home but did not answer; see Description()
    };

    static const QString LockFileName; // ".lorekeep.lock", in the home

    explicit SingleInstance(const QString &home, QObject *parent = nullptr);
    ~SingleInstance() override;

    // Settles who has the home, creating the folder when it is missing so that the lock can live in
    // it. Waits at most `timeoutMs` for a running owner to answer.
    Outcome Acquire(int timeoutMs = 5000);
    // A file this start was asked to open (an absolute path): handed to the running owner, if there
    // is one, along with the request to come to the front.
    void setFileToOpen(const QString &path) { m_file = path; }
    // Why Acquire answered Unreachable, as a sentence for the user.
    QString Description() const { return m_description; }

    // The local socket for `home`: every path that leads to the same folder gets the same one.
    static QString ServerName(const QString &home);

Q_SIGNALS:
    // A later start asks for the window; `file` is the file it was asked to open, if any.
    void ActivationRequested(const QString &file);

private:
    enum class Lock { Taken, HeldByOther, Unusable };
    enum class Reply { Answered, NoListener, NoAnswer };

    Lock lockHome();
    Reply askOwner(const QDeadlineTimer &deadline);
    void listen();
    void serve(QLocalSocket *socket);
    QString describeOwner();

    QString m_home;
    QLockFile m_lock;
    QString m_serverName;
    QLocalServer *m_server = nullptr;
    QString m_description;
    QString m_file;
};
