// The other process of the channel tests. Usage: ubxcomm_peer ROLE NAME [SCENARIO]
//   frames NAME SCENARIO  connect a plain socket and write the SCENARIO's bytes
//                         in pieces, waiting for the test's ack after each
//   auto NAME             open NAME in automatic mode, expect to be the client,
//                         send "hello" and wait for "bye"
//   serve NAME            open NAME in automatic mode, expect to be the server,
//                         print "listening" and wait for the message "exit"
//   sendexit NAME [N]     connect in client-only mode, send N (default 0)
//                         messages "status" and then "exit", destroy the channel
//                         and end without running an event loop
// The verdict is the exit code (PeerProtocol::ExitCode).
#include "PeerProtocol.h"
#include "UBXLocalCommunication.h"
#include "UBXLocalSocketConnectionIODevice.h"
#include "UBXMessageStream.h"

#include <QCoreApplication>
#include <QLocalSocket>
#include <QTimer>

#include <cstdio>
#include <memory>

using namespace PeerProtocol;

namespace {

class FramesPeer
{
public:
    bool mfConnect(const QString& aName)
    {
        mvSocket.connectToServer(aName);
        return mvSocket.waitForConnected(cTimeoutMs);
    }

    // Writes the bytes as one piece and waits for the test to acknowledge it.
    bool mfPiece(const QByteArray& aBytes)
    {
        mvSocket.write(aBytes);
        return mfAwaitAck();
    }

    bool mfAwaitAck()
    {
        while (mvSocket.bytesToWrite() > 0) {
            if (!mvSocket.waitForBytesWritten(cTimeoutMs))
                return false;
        }
        while (mvSocket.bytesAvailable() < 1) {
            if (!mvSocket.waitForReadyRead(cTimeoutMs))
                return false;
        }
        char lAck = 0;
        return mvSocket.getChar(&lAck) && lAck == cAck;
    }

    QLocalSocket& mfSocket() { return mvSocket; }

private:
    QLocalSocket mvSocket;
};

int gfRunFrames(const QString& aName, const QString& aScenario)
{
    FramesPeer lPeer;
    if (!lPeer.mfConnect(aName))
        return ExitNoConnection;
    bool lAcked = true;
    if (aScenario == QLatin1String("together")) {
        lAcked = lPeer.mfPiece(gfFrame("first") + gfFrame("second"));
    } else if (aScenario == QLatin1String("stopafter")) {
        lAcked = lPeer.mfPiece(gfFrame("one") + gfFrame("two"));
    } else if (aScenario == QLatin1String("pieces")) {
        const QByteArray lFrame = gfFrame(gfSplitPayload());
        for (qsizetype lAt = 0; lAcked && lAt < lFrame.size(); lAt += lAt < 2 ? 1 : 100)
            lAcked = lPeer.mfPiece(lFrame.mid(lAt, lAt < 2 ? 1 : 100));
    } else if (aScenario == QLatin1String("zero")) {
        lAcked = lPeer.mfPiece(QByteArray(2, '\0') + gfZeroBlockTrailer() +
                               gfFrame(gfZeroBlockFollower())) &&
                 lPeer.mfPiece(gfFrame("after"));
    } else if (aScenario == QLatin1String("oversize")) {
        UBXLocalSocketConnectionIODevice lDevice(&lPeer.mfSocket());
        auto* lStream = new UBXMessageStream(&lDevice);
        lStream->gpSendMessage(QString(70000, QLatin1Char('A')));
        lAcked = lPeer.mfAwaitAck();
    } else {
        return ExitUsage;
    }
    return lAcked ? ExitOk : ExitNoAck;
}

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

    if (lRole == QLatin1String("frames") && lArguments.size() == 4)
        return gfRunFrames(lName, lArguments.at(3));

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
    if (lRole == QLatin1String("auto")) {
        if (!lChannel.mpStartCommunication(UBXStartAutomatic) ||
            lChannel.gfGetRole() != UBXRoleClient)
            return ExitWrongRole;
        lChannel.gpSendMessage(QStringLiteral("hello"));
        return gfRunUntil(lChannel, QStringLiteral("bye"));
    }
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
