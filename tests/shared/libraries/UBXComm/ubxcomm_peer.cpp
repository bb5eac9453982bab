// The other process of the channel tests. Usage: ubxcomm_peer ROLE NAME [N]
//   serve NAME            open NAME in automatic mode, expect to be the server,
//                         print "listening" and wait for the message "exit"
//   sendexit NAME [N]     connect in client-only mode, send N (default 0)
//                         messages "status" and then "exit", destroy the channel
//                         and end without running an event loop
// The verdict is the exit code (PeerProtocol::ExitCode).
#include "PeerProtocol.h"
#include "UBXLocalCommunication.h"

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>
#include <memory>

using namespace PeerProtocol;

namespace {

// Runs the event loop until aExpected arrives (ExitOk) or the time-out.
int gfRunUntil(UBXLocalCommunication& aChannel, const QString& aExpected)
{
    int lVerdict = ExitMissingMessage;
    QObject::connect(&aChannel, &UBXLocalCommunication::sgMessageReceivedFromOtherInstance,
                     [&lVerdict, aExpected](const QString& aMessage) {
                         if (aMessage != aExpected)
                             return;
                         lVerdict = ExitOk;
                         QCoreApplication::quit();
                     });
    QTimer::singleShot(cTimeoutMs, QCoreApplication::instance(), &QCoreApplication::quit);
    QCoreApplication::exec();
    return lVerdict;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication lApplication(argc, argv);
    const QStringList lArguments = QCoreApplication::arguments();
    if (lArguments.size() < 3)
        return ExitUsage;
    const QString lRole = lArguments.at(1);
    const QString lName = lArguments.at(2);

    if (lRole == QLatin1String("sendexit")) {
        auto lChannel = std::make_unique<UBXLocalCommunication>(lName);
        if (!lChannel->mpStartCommunication(UBXStartClientOnly))
            return ExitNoConnection;
        const int lPreceding = lArguments.size() > 3 ? lArguments.at(3).toInt() : 0;
        for (int lIndex = 0; lIndex < lPreceding; ++lIndex)
            lChannel->gpSendMessage(QStringLiteral("status"));
        lChannel->gpSendMessage(QStringLiteral("exit"));
        return ExitOk;
    }

    UBXLocalCommunication lChannel(lName);
    if (lRole == QLatin1String("serve")) {
        if (!lChannel.mpStartCommunication(UBXStartAutomatic) ||
            lChannel.gfGetRole() != UBXRoleServer)
            return ExitWrongRole;
        std::puts("listening");
        std::fflush(stdout);
        return gfRunUntil(lChannel, QStringLiteral("exit"));
    }
    return ExitUsage;
}
