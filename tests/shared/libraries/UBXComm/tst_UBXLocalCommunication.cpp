#include "LogCapture.h"
#include "PeerProtocol.h"
#include "UBXLocalCommunication.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QPointer>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace PeerProtocol;

namespace {

QString gfStartText(const char* aText)
{
    return QStringLiteral("[UBXLocalCommunication::mpStartCommunication] ") + QLatin1String(aText);
}

const QString cCouldNotConnect =
    gfStartText("Could not connect with server in LocalCommunication.");
const QString cListening = QStringLiteral(
    "[UBXLocalCommunication::mpTryToCreateServer] Listening as server in LocalCommunication.");
const QString cServerCreated = gfStartText("Server created in LocalCommunication.");

QString gfSocketPath(const QString& aName)
{
    return QDir::tempPath() + QLatin1Char('/') + aName;
}

void gpStartPeer(QProcess& aPeer, const char* aRole, const QString& aName,
                 const QStringList& aMore = {})
{
    aPeer.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    aPeer.start(QStringLiteral(UBXCOMM_PEER_PATH),
                QStringList({QLatin1String(aRole), aName}) + aMore);
}

// A "serve" peer prints one line once it holds the name.
bool gfAwaitListening(QProcess& aPeer)
{
    while (!aPeer.canReadLine()) {
        if (!aPeer.waitForReadyRead(cTimeoutMs))
            return false;
    }
    return aPeer.readLine().trimmed() == "listening";
}

// Keeps the event loop running meanwhile: our side of a channel writes from it.
int gfPeerExitCode(QProcess& aPeer)
{
    if (aPeer.state() != QProcess::NotRunning) {
        QSignalSpy lFinished(&aPeer, &QProcess::finished);
        if (!lFinished.wait(cTimeoutMs))
            return -1;
    }
    return aPeer.exitStatus() == QProcess::NormalExit ? aPeer.exitCode() : -1;
}

QVariantList gfCountChange(uint aOld, uint aNew)
{
    return {QVariant(aOld), QVariant(aNew)};
}

} // namespace

class tst_UBXLocalCommunication : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { mvLog.mpClear(); }

    void secondProcessBecomesClient()
    {
        UBXLocalCommunication lChannel(QStringLiteral("lc.auto"));
        QSignalSpy lCounts(&lChannel, &UBXLocalCommunication::sgNumberOfConnectionsChanged);
        QSignalSpy lMessages(&lChannel, &UBXLocalCommunication::sgMessageReceivedFromOtherInstance);
        QVERIFY(lChannel.mpStartCommunication(UBXStartAutomatic));
        QCOMPARE(lChannel.gfGetRole(), UBXRoleServer);
        QCOMPARE(mvLog.mfTexts(Debug), QStringList({cCouldNotConnect, cListening, cServerCreated}));

        // The peer exits with ExitOk only if it came up as a client and got "bye".
        QProcess lPeer;
        gpStartPeer(lPeer, "auto", QStringLiteral("lc.auto"));
        QTRY_COMPARE_WITH_TIMEOUT(lMessages.count(), 1, cTimeoutMs);
        QCOMPARE(lMessages.first().first().toString(), QStringLiteral("hello"));
        QCOMPARE(lCounts.count(), 1);
        QCOMPARE(lCounts.first(), gfCountChange(0, 1));
        QVERIFY(
            mvLog.mfTexts(Debug).contains(QStringLiteral("New connection in LocalCommunication.")));
        lChannel.gpSendMessage(QStringLiteral("bye"));
        QVERIFY(mvLog.mfTexts(Debug).contains(
            QStringLiteral("Sending message <<bye>> to other side in LocalCommunication.")));
        QCOMPARE(gfPeerExitCode(lPeer), int(ExitOk));
        QTRY_COMPARE_WITH_TIMEOUT(lCounts.count(), 2, cTimeoutMs);
        QCOMPARE(lCounts.last(), gfCountChange(1, 0));
    }

    void departingClientIsCountedOnce()
    {
        QStringList lEvents;
        // The channel is handed the accepted socket so that we can watch it.
        UBXLocalCommunication lChannel(QStringLiteral("lc.leave"));
        QLocalServer lServer;
        QLocalServer::removeServer(QStringLiteral("lc.leave"));
        QVERIFY(lServer.listen(QStringLiteral("lc.leave")));
        QProcess lPeer;
        gpStartPeer(lPeer, "auto", QStringLiteral("lc.leave"));
        QVERIFY(lServer.waitForNewConnection(cTimeoutMs));
        QPointer<QLocalSocket> lSocket = lServer.nextPendingConnection();
        connect(lSocket, &QLocalSocket::errorOccurred,
                [&] { lEvents.append(QStringLiteral("error")); });
        connect(lSocket, &QLocalSocket::disconnected,
                [&] { lEvents.append(QStringLiteral("disconnected")); });
        connect(&lChannel, &UBXLocalCommunication::sgNumberOfConnectionsChanged,
                [&](uint aOld, uint aNew) {
                    lEvents.append(QStringLiteral("%1->%2").arg(aOld).arg(aNew));
                });
        QSignalSpy lMessages(&lChannel, &UBXLocalCommunication::sgMessageReceivedFromOtherInstance);
        lChannel.mpAddConnection(lSocket);

        QTRY_COMPARE_WITH_TIMEOUT(lMessages.count(), 1, cTimeoutMs);
        lChannel.gpSendMessage(QStringLiteral("bye"));
        QCOMPARE(gfPeerExitCode(lPeer), int(ExitOk));
        QTRY_VERIFY_WITH_TIMEOUT(lEvents.contains(QStringLiteral("disconnected")), cTimeoutMs);
        QCOMPARE(lEvents, QStringList({QStringLiteral("0->1"), QStringLiteral("error"),
                                       QStringLiteral("1->0"), QStringLiteral("disconnected")}));
        QCOMPARE(lChannel.gfGetNumberOfConnections(), 0u);
        // The connection, and the socket with it, goes through the event loop.
        QTRY_VERIFY(lSocket.isNull());
    }

    void clientOnlyLeavesFileSystemAlone_data()
    {
        QTest::addColumn<bool>("fileInTheWay");
        QTest::newRow("no file") << false;
        QTest::newRow("regular file under the name") << true;
    }

    void clientOnlyLeavesFileSystemAlone()
    {
        QFETCH(bool, fileInTheWay);
        const QString lName = QStringLiteral("lc.only%1").arg(int(fileInTheWay));
        QFile lFile(gfSocketPath(lName));
        lFile.remove();
        if (fileInTheWay) {
            QVERIFY(lFile.open(QIODevice::WriteOnly));
            lFile.write("keep");
            lFile.close();
        }
        UBXLocalCommunication lChannel(lName);
        QVERIFY(!lChannel.mpStartCommunication(UBXStartClientOnly));
        QCOMPARE(lChannel.gfGetRole(), UBXRoleNone);
        QCOMPARE(mvLog.mfTexts(Debug), QStringList());
        QCOMPARE(lFile.exists(), fileInTheWay);
    }

    void nameOfDeadOrLiveServerIsTaken_data()
    {
        QTest::addColumn<bool>("killServer");
        QTest::addColumn<uint>("mode");
        QTest::addColumn<QStringList>("expectedLog");
        const QStringList lRemoval = {
            QStringLiteral("[UBXLocalCommunication::mpTryToCreateServer] Attempt to listen as "
                           "server in LocalCommunication failed."),
            gfStartText("Could not create server in LocalCommunication."),
            gfStartText("Attempting to remove server file."),
            gfStartText("Server file removed successfully.")};
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
        gpStartPeer(lServer, "serve", lName);
        QVERIFY(gfAwaitListening(lServer));
        if (killServer) {
            lServer.kill();
            QVERIFY(lServer.waitForFinished(cTimeoutMs));
        }
        QVERIFY(QFileInfo::exists(gfSocketPath(lName)));

        mvLog.mpClear();
        UBXLocalCommunication lChannel(lName);
        QVERIFY(lChannel.mpStartCommunication(static_cast<UBXStartMode>(mode)));
        QCOMPARE(lChannel.gfGetRole(), UBXRoleServer);
        QCOMPARE(mvLog.mfTexts(Debug), expectedLog);

        QSignalSpy lCounts(&lChannel, &UBXLocalCommunication::sgNumberOfConnectionsChanged);
        QLocalSocket lClient;
        lClient.connectToServer(lName);
        QVERIFY(lClient.waitForConnected(cTimeoutMs));
        QTRY_COMPARE_WITH_TIMEOUT(lCounts.count(), 1, cTimeoutMs);
        lServer.kill();
        lServer.waitForFinished(cTimeoutMs);
    }

    void unknownModeFailsAtOnce()
    {
        UBXLocalCommunication lChannel(QStringLiteral("lc.mode"));
        QVERIFY(lChannel.mpStartCommunication(UBXStartServerOnly));
        mvLog.mpClear();
        QVERIFY(!lChannel.mpStartCommunication(static_cast<UBXStartMode>(3)));
        QCOMPARE(lChannel.gfGetRole(), UBXRoleNone);
        QCOMPARE(mvLog.mfTexts(Debug), QStringList());
        // The server of the earlier start went with the new attempt.
        QVERIFY(!QFileInfo::exists(gfSocketPath(QStringLiteral("lc.mode"))));
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
        gpStartPeer(lServer, "serve", QStringLiteral("lc.exit"));
        QVERIFY(gfAwaitListening(lServer));
        QProcess lSender;
        gpStartPeer(lSender, "sendexit", QStringLiteral("lc.exit"), {preceding});
        QCOMPARE(gfPeerExitCode(lSender), int(ExitOk));
        // ExitOk: "exit" reached the server.
        QCOMPARE(gfPeerExitCode(lServer), int(ExitOk));
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
        QVERIFY(lClient.waitForConnected(cTimeoutMs));
        QTRY_COMPARE_WITH_TIMEOUT(lCounts.count(), 1, cTimeoutMs);

        lChannel->mpStopCommunication();
        // The server goes away later (and frees the name); its accepted
        // connection stays and still carries messages.
        QTRY_VERIFY(!QFileInfo::exists(gfSocketPath(lName)));
        lClient.write(gfFrame("still here"));
        QTRY_COMPARE_WITH_TIMEOUT(lMessages.count(), 1, cTimeoutMs);
        QCOMPARE(lMessages.first().first().toString(), QStringLiteral("still here"));
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

    void destroyedServerClosesItsConnections()
    {
        auto lChannel = std::make_unique<UBXLocalCommunication>(QStringLiteral("lc.gone"));
        QSignalSpy lCounts(lChannel.get(), &UBXLocalCommunication::sgNumberOfConnectionsChanged);
        QVERIFY(lChannel->mpStartCommunication(UBXStartAutomatic));
        QLocalSocket lClient;
        lClient.connectToServer(QStringLiteral("lc.gone"));
        QVERIFY(lClient.waitForConnected(cTimeoutMs));
        QTRY_COMPARE_WITH_TIMEOUT(lCounts.count(), 1, cTimeoutMs);
        lChannel.reset();
        QTRY_COMPARE_WITH_TIMEOUT(lClient.state(), QLocalSocket::UnconnectedState, cTimeoutMs);
        QVERIFY(!QFileInfo::exists(gfSocketPath(QStringLiteral("lc.gone"))));
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
