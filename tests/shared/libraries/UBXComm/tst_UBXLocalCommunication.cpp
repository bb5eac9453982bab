#include "LogCapture.h"
#include "PeerProtocol.h"
#include "UBXLocalCommunication.h"

#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QPointer>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace PeerProtocol;

namespace {
QString gfLogText(const char* aFunction, const char* aText)
{
    return QStringLiteral("[UBXLocalCommunication::%1] %2 in LocalCommunication.")
        .arg(QLatin1String(aFunction), QLatin1String(aText));
}
const QString cCouldNotConnect = gfLogText("mpStartCommunication", "Could not connect with server");
const QString cListening = gfLogText("mpTryToCreateServer", "Listening as server");
const QString cServerCreated = gfLogText("mpStartCommunication", "Server created");

bool gfSocketFileExists(const QString& aName)
{
    return QFile::exists(QDir::tempPath() + QLatin1Char('/') + aName);
}

// Starts ubxcomm_peer in a role; a "serve" peer is waited for until it listens.
bool gfStartPeer(QProcess& aPeer, const char* aRole, const QString& aName,
                 const QStringList& aMore = {})
{
    aPeer.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    aPeer.start(UBXCOMM_PEER_PATH, QStringList({aRole, aName}) + aMore);
    if (qstrcmp(aRole, "serve") != 0)
        return true;
    while (!aPeer.canReadLine()) {
        if (!aPeer.waitForReadyRead(cTimeoutMs))
            return false;
    }
    return aPeer.readLine() == "listening\n";
}

// Keeps the event loop running meanwhile: our side of a channel writes from it.
int gfPeerExitCode(QProcess& aPeer)
{
    if (aPeer.state() != QProcess::NotRunning &&
        !QSignalSpy(&aPeer, &QProcess::finished).wait(cTimeoutMs))
        return -1;
    return aPeer.exitStatus() == QProcess::NormalExit ? aPeer.exitCode() : -1;
}
} // namespace

class tst_UBXLocalCommunication : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { mvLog.mpClear(); }

    // Across processes the launcher's single-instance guard shows the same.
    void secondChannelBecomesClient()
    {
        UBXLocalCommunication lChannel(QStringLiteral("lc.auto"));
        QSignalSpy lCounts(&lChannel, &UBXLocalCommunication::sgNumberOfConnectionsChanged);
        QSignalSpy lMessages(&lChannel, &UBXLocalCommunication::sgMessageReceivedFromOtherInstance);
        QVERIFY(lChannel.mpStartCommunication(UBXStartAutomatic));
        QCOMPARE(lChannel.gfGetRole(), UBXRoleServer);
        QCOMPARE(mvLog.mfTexts(Debug), QStringList({cCouldNotConnect, cListening, cServerCreated}));
        {
            UBXLocalCommunication lSecond(QStringLiteral("lc.auto"));
            QSignalSpy lReplies(&lSecond,
                                &UBXLocalCommunication::sgMessageReceivedFromOtherInstance);
            QVERIFY(lSecond.mpStartCommunication(UBXStartAutomatic));
            QCOMPARE(lSecond.gfGetRole(), UBXRoleClient);
            lSecond.gpSendMessage(QStringLiteral("hello"));
            QTRY_COMPARE_WITH_TIMEOUT(lMessages.count(), 1, cTimeoutMs);
            QCOMPARE(lMessages[0][0].toString(), QStringLiteral("hello"));
            QCOMPARE(lCounts.count(), 1);
            QCOMPARE(lCounts[0], QVariantList({0u, 1u}));
            QVERIFY(mvLog.mfTexts(Debug).contains("New connection in LocalCommunication."));
            lChannel.gpSendMessage(QStringLiteral("bye"));
            QVERIFY(mvLog.mfTexts(Debug).contains(
                "Sending message <<bye>> to other side in LocalCommunication."));
            QTRY_COMPARE_WITH_TIMEOUT(lReplies.count(), 1, cTimeoutMs);
            QCOMPARE(lReplies[0][0].toString(), QStringLiteral("bye"));
        }
        QTRY_COMPARE_WITH_TIMEOUT(lCounts.count(), 2, cTimeoutMs);
        QCOMPARE(lCounts.last(), QVariantList({1u, 0u}));
    }

    // A closing socket reports an error and then its disconnection: the
    // connection is counted down once.
    void departingClientIsCountedOnce()
    {
        UBXLocalCommunication lChannel(QStringLiteral("lc.leave"));
        QLocalServer lServer;
        QLocalServer::removeServer(QStringLiteral("lc.leave"));
        QVERIFY(lServer.listen(QStringLiteral("lc.leave")));
        auto lClient = std::make_unique<QLocalSocket>();
        lClient->connectToServer(QStringLiteral("lc.leave"));
        QVERIFY(lServer.waitForNewConnection(cTimeoutMs));
        QPointer<QLocalSocket> lSocket = lServer.nextPendingConnection();
        QStringList lEvents;
        connect(lSocket, &QLocalSocket::errorOccurred, [&] { lEvents << "error"; });
        connect(lSocket, &QLocalSocket::disconnected, [&] { lEvents << "disconnected"; });
        connect(
            &lChannel, &UBXLocalCommunication::sgNumberOfConnectionsChanged,
            [&](uint aOld, uint aNew) { lEvents << QStringLiteral("%1->%2").arg(aOld).arg(aNew); });
        lChannel.mpAddConnection(lSocket);
        lClient.reset();
        QTRY_VERIFY_WITH_TIMEOUT(lEvents.contains("disconnected"), cTimeoutMs);
        QCOMPARE(lEvents, QStringList({"0->1", "error", "1->0", "disconnected"}));
        QCOMPARE(lChannel.gfGetNumberOfConnections(), 0u);
        // The connection, and the socket with it, goes through the event loop.
        QTRY_VERIFY(lSocket.isNull());
    }

    // A start that cannot succeed fails quietly, leaves a file under the name
    // alone and takes the server of an earlier start with it.
    void failedStartLeavesNoServer_data()
    {
        QTest::addColumn<uint>("mode");
        QTest::addColumn<bool>("fileInTheWay");
        QTest::newRow("client only") << uint(UBXStartClientOnly) << false;
        QTest::newRow("client only, regular file under the name")
            << uint(UBXStartClientOnly) << true;
        QTest::newRow("unknown mode after a server start") << 3u << false;
    }

    void failedStartLeavesNoServer()
    {
        QFETCH(uint, mode);
        QFETCH(bool, fileInTheWay);
        const QString lName = QStringLiteral("lc.fail%1").arg(QTest::currentDataTag()).remove(' ');
        QFile lFile(QDir::tempPath() + QLatin1Char('/') + lName);
        lFile.remove();
        QVERIFY(!fileInTheWay || (lFile.open(QIODevice::WriteOnly) && lFile.write("keep") == 4));
        lFile.close();
        UBXLocalCommunication lChannel(lName);
        QVERIFY(mode != 3 || lChannel.mpStartCommunication(UBXStartServerOnly));
        mvLog.mpClear();
        QVERIFY(!lChannel.mpStartCommunication(static_cast<UBXStartMode>(mode)));
        QCOMPARE(lChannel.gfGetRole(), UBXRoleNone);
        QCOMPARE(mvLog.mfTexts(Debug), QStringList());
        QCOMPARE(lFile.exists(), fileInTheWay);
    }

    void nameOfDeadOrLiveServerIsTaken_data()
    {
        QTest::addColumn<bool>("killServer");
        QTest::addColumn<uint>("mode");
        QTest::addColumn<QStringList>("expectedLog");
        const QString lStart = QStringLiteral("[UBXLocalCommunication::mpStartCommunication] ");
        const QStringList lRemoval = {
            "[UBXLocalCommunication::mpTryToCreateServer] Attempt to listen as server in "
            "LocalCommunication failed.",
            gfLogText("mpStartCommunication", "Could not create server"),
            lStart + "Attempting to remove server file.",
            lStart + "Server file removed successfully."};
        QTest::newRow("killed server, automatic")
            << true << uint(UBXStartAutomatic)
            << QStringList({cCouldNotConnect}) + lRemoval +
                   QStringList({cCouldNotConnect, cListening, cServerCreated});
        QTest::newRow("live server, server only")
            << false << uint(UBXStartServerOnly)
            << lRemoval + QStringList({cListening, cServerCreated});
    }

    void nameOfDeadOrLiveServerIsTaken()
    {
        QFETCH(bool, killServer);
        QFETCH(uint, mode);
        QFETCH(QStringList, expectedLog);
        const QString lName = killServer ? QStringLiteral("lc.dead") : QStringLiteral("lc.live");
        QProcess lServer;
        QVERIFY(gfStartPeer(lServer, "serve", lName));
        if (killServer) {
            lServer.kill();
            QVERIFY(lServer.waitForFinished(cTimeoutMs));
        }
        QVERIFY(gfSocketFileExists(lName));
        mvLog.mpClear();
        UBXLocalCommunication lChannel(lName);
        QVERIFY(lChannel.mpStartCommunication(static_cast<UBXStartMode>(mode)));
        QCOMPARE(lChannel.gfGetRole(), UBXRoleServer);
        QCOMPARE(mvLog.mfTexts(Debug), expectedLog);
        QSignalSpy lCounts(&lChannel, &UBXLocalCommunication::sgNumberOfConnectionsChanged);
        QLocalSocket lClient;
        lClient.connectToServer(lName);
        QTRY_COMPARE_WITH_TIMEOUT(lCounts.count(), 1, cTimeoutMs);
        lServer.kill();
        lServer.waitForFinished(cTimeoutMs);
    }

    void exitSentJustBeforeDestructionArrives_data()
    {
        QTest::addColumn<QString>("preceding");
        QTest::newRow("exit alone") << QStringLiteral("0");
        // Only the first message of an event-loop pass is written at once, so
        // the rest goes out during destruction; and the server has to take all
        // of them before it drops the closed connection.
        QTest::newRow("exit behind other messages") << QStringLiteral("20");
    }

    void exitSentJustBeforeDestructionArrives()
    {
        QFETCH(QString, preceding);
        QProcess lServer;
        QVERIFY(gfStartPeer(lServer, "serve", QStringLiteral("lc.exit")));
        QProcess lSender;
        gfStartPeer(lSender, "sendexit", QStringLiteral("lc.exit"), {preceding});
        QCOMPARE(gfPeerExitCode(lSender), int(ExitOk));
        QCOMPARE(gfPeerExitCode(lServer), int(ExitOk)); // "exit" reached the server
    }

    void stoppedServerKeepsItsConnectionsUntilDestroyed()
    {
        const QString lName = QStringLiteral("lc.stop");
        auto lChannel = std::make_unique<UBXLocalCommunication>(lName);
        QSignalSpy lMessages(lChannel.get(),
                             &UBXLocalCommunication::sgMessageReceivedFromOtherInstance);
        QSignalSpy lCounts(lChannel.get(), &UBXLocalCommunication::sgNumberOfConnectionsChanged);
        QVERIFY(lChannel->mpStartCommunication(UBXStartServerOnly));
        QLocalSocket lClient;
        lClient.connectToServer(lName);
        QTRY_COMPARE_WITH_TIMEOUT(lCounts.count(), 1, cTimeoutMs);

        lChannel->mpStopCommunication();
        // The server goes away later (and frees the name); its accepted
        // connection stays and still carries messages.
        QTRY_VERIFY(!gfSocketFileExists(lName));
        lClient.write(gfFrame("still here"));
        QTRY_COMPARE_WITH_TIMEOUT(lMessages.count(), 1, cTimeoutMs);
        QCOMPARE(lMessages[0][0].toString(), QStringLiteral("still here"));
        QCOMPARE(lChannel->gfGetNumberOfConnections(), 1u);
        QCOMPARE(lChannel->gfGetRole(), UBXRoleServer);

        mvLog.mpClear();
        lChannel.reset();
        QCOMPARE(mvLog.mfTexts(Debug).first(),
                 QStringLiteral("[UBXLocalCommunication::UBXLocalCommunication] Begin"));
        QCOMPARE(mvLog.mfTexts(Debug).last(),
                 QStringLiteral("[UBXLocalCommunication::UBXLocalCommunication] End"));
        QTRY_COMPARE_WITH_TIMEOUT(lClient.state(), QLocalSocket::UnconnectedState, cTimeoutMs);
    }

    void stoppedClientClosesWithoutAnnouncing()
    {
        QLocalServer lServer;
        QLocalServer::removeServer(QStringLiteral("lc.client"));
        QVERIFY(lServer.listen(QStringLiteral("lc.client")));
        UBXLocalCommunication lChannel(QStringLiteral("lc.client"));
        QSignalSpy lCounts(&lChannel, &UBXLocalCommunication::sgNumberOfConnectionsChanged);
        QVERIFY(lChannel.mpStartCommunication(UBXStartClientOnly));
        QCOMPARE(lChannel.gfGetRole(), UBXRoleClient);
        QVERIFY(lServer.waitForNewConnection(cTimeoutMs));
        QLocalSocket* lAccepted = lServer.nextPendingConnection();
        lChannel.mpStopCommunication();
        QCOMPARE(lChannel.gfGetNumberOfConnections(), 0u);
        QCOMPARE(lCounts.count(), 1);
        QCOMPARE(lChannel.gfGetRole(), UBXRoleClient);
        QTRY_COMPARE_WITH_TIMEOUT(lAccepted->state(), QLocalSocket::UnconnectedState, cTimeoutMs);
    }

private:
    LogCapture mvLog;
};

QTEST_GUILESS_MAIN(tst_UBXLocalCommunication)
#include "tst_UBXLocalCommunication.moc"
