#include "LogCapture.h"
#include "UBXLocalCommunication.h"

#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QSignalSpy>
#include <QTest>

#include <memory>
#include <sys/stat.h>

namespace {
constexpr int cTimeoutMs = 30000;
QString gfSocketPath(const QString& aName)
{
    return QDir::tempPath() + QLatin1Char('/') + aName;
}

// What a server killed in its tracks leaves behind: a socket file nobody listens on.
bool gfLeaveDeadSocket(const QString& aName)
{
    return ::mknod(QFile::encodeName(gfSocketPath(aName)).constData(), S_IFSOCK | 0600, 0) == 0;
}
} // namespace

// Both ends in this process; the launcher's tests run the channel across processes.
class tst_UBXLocalCommunication : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { mvLog.mpClear(); }

    // A stopped client closes its connection at once and says nothing of it.
    // What it sent just before, with no event-loop pass in between, still
    // reaches the server before the departure is counted (once, though the
    // server's socket reports an error and then the disconnection).
    void secondChannelBecomesClient()
    {
        UBXLocalCommunication lChannel(QStringLiteral("lc.auto"));
        QSignalSpy lCounts(&lChannel, &UBXLocalCommunication::sgNumberOfConnectionsChanged);
        QStringList lReceived;
        connect(&lChannel, &UBXLocalCommunication::sgMessageReceivedFromOtherInstance,
                [&lReceived](const QString& aMessage) { lReceived << aMessage; });
        QVERIFY(lChannel.mpStartCommunication(UBXStartAutomatic));
        QCOMPARE(lChannel.gfGetRole(), UBXRoleServer);
        QCOMPARE(mvLog.mfTexts(Debug),
                 QStringList({"[UBXLocalCommunication::mpStartCommunication] Could not connect "
                              "with server in LocalCommunication.",
                              "[UBXLocalCommunication::mpTryToCreateServer] Listening as server in "
                              "LocalCommunication.",
                              "[UBXLocalCommunication::mpStartCommunication] Server created in "
                              "LocalCommunication."}));
        QStringList lSent;
        {
            UBXLocalCommunication lSecond(QStringLiteral("lc.auto"));
            QSignalSpy lReplies(&lSecond,
                                &UBXLocalCommunication::sgMessageReceivedFromOtherInstance);
            QVERIFY(lSecond.mpStartCommunication(UBXStartAutomatic));
            QCOMPARE(lSecond.gfGetRole(), UBXRoleClient);
            QSignalSpy lSecondCounts(&lSecond,
                                     &UBXLocalCommunication::sgNumberOfConnectionsChanged);
            QTRY_COMPARE_WITH_TIMEOUT(lCounts.count(), 1, cTimeoutMs);
            QCOMPARE(lCounts[0], QVariantList({0u, 1u}));
            lChannel.gpSendMessage(QStringLiteral("bye"));
            QTRY_COMPARE_WITH_TIMEOUT(lReplies.count(), 1, cTimeoutMs);
            QCOMPARE(lReplies[0][0].toString(), QStringLiteral("bye"));
            // Only the first message of a pass leaves at once: the rest goes
            // out as the connection closes.
            for (int i = 0; i < 21; ++i) {
                lSent << QString::number(i);
                lSecond.gpSendMessage(lSent.last());
            }
            lSecond.mpStopCommunication();
            QCOMPARE(lSecond.gfGetNumberOfConnections(), 0u);
            QCOMPARE(lSecond.gfGetRole(), UBXRoleClient);
            QVERIFY(lSecondCounts.isEmpty());
            QTRY_COMPARE_WITH_TIMEOUT(lCounts.count(), 2, cTimeoutMs);
        }
        QCOMPARE(lCounts.last(), QVariantList({1u, 0u}));
        QCOMPARE(lReceived, lSent);
    }

    // A start that cannot succeed fails quietly, leaves a file under the name
    // alone and takes the server of an earlier start with it.
    void failedStartLeavesNoServer_data()
    {
        QTest::addColumn<uint>("mode");
        QTest::addColumn<bool>("fileInTheWay");
        QTest::newRow("client only, regular file under the name")
            << uint(UBXStartClientOnly) << true;
        QTest::newRow("unknown mode after a server start") << 3u << false;
    }

    void failedStartLeavesNoServer()
    {
        QFETCH(uint, mode);
        QFETCH(bool, fileInTheWay);
        const QString lName = QStringLiteral("lc.fail%1").arg(QTest::currentDataTag()).remove(' ');
        QFile lFile(gfSocketPath(lName));
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

    // The name of a server that died without removing its socket file, or of
    // one still listening, is taken over.
    void nameOfDeadOrLiveServerIsTaken_data()
    {
        QTest::addColumn<bool>("dead");
        QTest::addColumn<uint>("mode");
        QTest::newRow("dead server, automatic") << true << uint(UBXStartAutomatic);
        QTest::newRow("live server, server only") << false << uint(UBXStartServerOnly);
    }

    void nameOfDeadOrLiveServerIsTaken()
    {
        QFETCH(bool, dead);
        QFETCH(uint, mode);
        const QString lName = dead ? QStringLiteral("lc.dead") : QStringLiteral("lc.live");
        QLocalServer::removeServer(lName);
        QLocalServer lServer;
        QVERIFY(dead ? gfLeaveDeadSocket(lName) : lServer.listen(lName));
        UBXLocalCommunication lChannel(lName);
        QVERIFY(lChannel.mpStartCommunication(static_cast<UBXStartMode>(mode)));
        QCOMPARE(lChannel.gfGetRole(), UBXRoleServer);
        QVERIFY(mvLog.mfTexts(Debug).contains(
            "[UBXLocalCommunication::mpStartCommunication] Server file removed successfully."));
    }

    void stoppedServerKeepsItsConnectionsUntilDestroyed()
    {
        const QString lName = QStringLiteral("lc.stop");
        auto lChannel = std::make_unique<UBXLocalCommunication>(lName);
        QSignalSpy lMessages(lChannel.get(),
                             &UBXLocalCommunication::sgMessageReceivedFromOtherInstance);
        QVERIFY(lChannel->mpStartCommunication(UBXStartServerOnly));
        QLocalSocket lClient;
        lClient.connectToServer(lName);
        QTRY_COMPARE_WITH_TIMEOUT(lChannel->gfGetNumberOfConnections(), 1u, cTimeoutMs);

        lChannel->mpStopCommunication();
        // The server goes away later (and frees the name); its accepted
        // connection stays and still carries messages.
        QTRY_VERIFY(!QFile::exists(gfSocketPath(lName)));
        lClient.write(QByteArray("\x00\x0astill here", 12));
        QTRY_COMPARE_WITH_TIMEOUT(lMessages.count(), 1, cTimeoutMs);
        QCOMPARE(lMessages[0][0].toString(), QStringLiteral("still here"));
        QCOMPARE(lChannel->gfGetNumberOfConnections(), 1u);
        QCOMPARE(lChannel->gfGetRole(), UBXRoleServer);
        lChannel.reset();
        QTRY_COMPARE_WITH_TIMEOUT(lClient.state(), QLocalSocket::UnconnectedState, cTimeoutMs);
    }

private:
    LogCapture mvLog;
};

QTEST_GUILESS_MAIN(tst_UBXLocalCommunication)
#include "tst_UBXLocalCommunication.moc"
