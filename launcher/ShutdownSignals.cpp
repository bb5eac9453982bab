#include "ShutdownSignals.h"

#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
// The handler may only do async-signal-safe work: it writes the signal number
// into a socket that the event loop watches.
int sSignalSockets[2] = {-1, -1};
const int sHandledSignals[] = {SIGTERM, SIGINT, SIGHUP};

void gpOnSignal(int aSignal)
{
    const int lSavedErrno = errno;
    const unsigned char lNumber = static_cast<unsigned char>(aSignal);
    [[maybe_unused]] const ssize_t lWritten = ::write(sSignalSockets[0], &lNumber, 1);
    errno = lSavedErrno;
}
} // namespace

ShutdownSignals::ShutdownSignals(QObject* apParent) : QObject(apParent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sSignalSockets) != 0)
        return;
    ::fcntl(sSignalSockets[0], F_SETFL, O_NONBLOCK);
    mvNotifier = new QSocketNotifier(sSignalSockets[1], QSocketNotifier::Read, this);
    connect(mvNotifier, &QSocketNotifier::activated, this, &ShutdownSignals::mpOnSignalPending);

    struct sigaction lAction = {};
    lAction.sa_handler = gpOnSignal;
    sigemptyset(&lAction.sa_mask);
    lAction.sa_flags = SA_RESTART;
    for (int lSignal : sHandledSignals)
        ::sigaction(lSignal, &lAction, nullptr);
}

ShutdownSignals::~ShutdownSignals()
{
    for (int lSignal : sHandledSignals)
        std::signal(lSignal, SIG_DFL);
    for (int& lSocket : sSignalSockets) {
        if (lSocket >= 0)
            ::close(lSocket);
        lSocket = -1;
    }
}

void ShutdownSignals::mpOnSignalPending()
{
    unsigned char lNumber = 0;
    if (::read(sSignalSockets[1], &lNumber, 1) == 1)
        Q_EMIT sgShutdownRequested(lNumber);
}
