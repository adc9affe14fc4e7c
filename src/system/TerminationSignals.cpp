#include "TerminationSignals.h"

#include <QLoggingCategory>
#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcSignals, "lorekeep.signals")

namespace {

// A signal handler may only write to a descriptor; the event loop reads the other end.
int signalPipe[2] = {-1, -1};
constexpr int handled[] = {SIGTERM, SIGINT, SIGHUP};

extern "C" void onSignal(int signalNumber)
{
    const unsigned char byte = static_cast<unsigned char>(signalNumber);
    [[maybe_unused]] const ssize_t written = ::write(signalPipe[0], &byte, 1);
}

} // namespace

TerminationSignals::TerminationSignals(QObject *parent) : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalPipe) != 0) {
        qCWarning(lcSignals) << "cannot watch for termination signals; they will end the program at once";
        return;
    }
    m_notifier = new QSocketNotifier(signalPipe[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &TerminationSignals::readSignal);

    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const int signalNumber : handled)
        ::sigaction(signalNumber, &action, nullptr);
}

TerminationSignals::~TerminationSignals()
{
    if (!m_notifier)
        return;
    for (const int signalNumber : handled)
        ::signal(signalNumber, SIG_DFL);
    delete m_notifier;
    ::close(signalPipe[0]);
    ::close(signalPipe[1]);
    signalPipe[0] = signalPipe[1] = -1;
}

void TerminationSignals::readSignal()
{
    unsigned char byte = 0;
    if (::read(signalPipe[1], &byte, 1) == 1)
        Q_EMIT Received(byte);
}
