#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGTERM, SIGINT and SIGHUP into a Qt signal on the event loop, so that a logout, a kill or
// Ctrl+C in a terminal closes the program the same way as File > Exit. Only one may exist at a time.
class TerminationSignals final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TerminationSignals)

public:
    explicit TerminationSignals(QObject *parent = nullptr);
    ~TerminationSignals() override;

Q_SIGNALS:
    void Received(int signalNumber);

private:
    void readSignal();

    QSocketNotifier *m_notifier = nullptr;
};
