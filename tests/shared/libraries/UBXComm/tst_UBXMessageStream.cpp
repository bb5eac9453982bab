#include "LogCapture.h"
#include "MemoryIODevice.h"
#include "PeerProtocol.h"
#include "UBXLocalSocketConnectionIODevice.h"
#include "UBXMessageStream.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace PeerProtocol;

namespace {

// A stream over the accepted socket of a peer process that writes the bytes of
// one scenario, piece by piece, each after our ack.
class FramesSession
{
public:
    bool mfStart(const QString& aScenario, bool aStopAfterMessage)
    {
        const QString lName = QStringLiteral("fr.") + aScenario;
        // A run that was killed may have left the socket file behind.
        QLocalServer::removeServer(lName);
        if (!mvServer.listen(lName))
            return false;
        mvPeer.start(QStringLiteral(UBXCOMM_PEER_PATH),
                     {QStringLiteral("frames"), lName, aScenario});
        if (!mvServer.waitForNewConnection(cTimeoutMs))
            return false;
        mvSocket.reset(mvServer.nextPendingConnection());
        mvDevice = std::make_unique<UBXLocalSocketConnectionIODevice>(mvSocket.get());
        mvStream = new UBXMessageStream(mvDevice.get());
        QObject::connect(mvStream, &UBXMessageStream::sgMessageReceived,
                         [this](const QString& aMessage) { mvMessages.append(aMessage); });
        QObject::connect(mvStream, &UBXMessageStream::sgErrorEncountered,
                         [this](const QString& aError) { mvErrors.append(aError); });
        mvStream->mpStartListening(aStopAfterMessage);
        return true;
    }

    void mpAck()
    {
        mvSocket->write(&cAck, 1);
        mvSocket->flush();
    }

    int mfPeerExitCode()
    {
        if (!mvPeer.waitForFinished(cTimeoutMs) || mvPeer.exitStatus() != QProcess::NormalExit)
            return -1;
        return mvPeer.exitCode();
    }

    QLocalServer mvServer;
    QProcess mvPeer;
    std::unique_ptr<QLocalSocket> mvSocket;
    std::unique_ptr<UBXLocalSocketConnectionIODevice> mvDevice;
    UBXMessageStream* mvStream = nullptr;
    QStringList mvMessages;
    QStringList mvErrors;
};

// Returns once everything posted to the event loop before the call has run.
void gpRunPostedEvents()
{
    bool lReached = false;
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [&lReached] { lReached = true; }, Qt::QueuedConnection);
    QTRY_VERIFY(lReached);
}

} // namespace

class tst_UBXMessageStream : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { mvLog.mpClear(); }

    void deliversTwoFramesOfOneReadOnePerCall()
    {
        FramesSession lSession;
        QVERIFY(lSession.mfStart(QStringLiteral("together"), false));
        QList<qsizetype> lDeliveredWithinRead;
        QObject::connect(lSession.mvDevice.get(), &UBXIODevice::sgReadyRead,
                         [&] { lDeliveredWithinRead.append(lSession.mvMessages.size()); });
        QTRY_COMPARE_WITH_TIMEOUT(lSession.mvMessages,
                                  QStringList({QStringLiteral("first"), QStringLiteral("second")}),
                                  cTimeoutMs);
        // Both frames came in one read, and that read delivered only the first.
        QCOMPARE(lDeliveredWithinRead, QList<qsizetype>({1}));
        lSession.mpAck();
        QCOMPARE(lSession.mfPeerExitCode(), int(ExitOk));
    }

    void reassemblesFramesFromPieces()
    {
        FramesSession lSession;
        QVERIFY(lSession.mfStart(QStringLiteral("pieces"), false));
        QSignalSpy lReads(lSession.mvDevice.get(), &UBXIODevice::sgReadyRead);
        // One header byte, the other, then ten pieces of 100 payload bytes.
        const int lPieces = 12;
        for (int lPiece = 0; lPiece < lPieces; ++lPiece) {
            QTRY_VERIFY_WITH_TIMEOUT(lReads.count() > lPiece, cTimeoutMs);
            // A lone header byte stays in the device until its partner arrives.
            QCOMPARE(lSession.mvDevice->mfBytesAvailable(), lPiece == 0 ? 1 : 0);
            QCOMPARE(lSession.mvMessages.size(), lPiece == lPieces - 1 ? 1 : 0);
            lSession.mpAck();
        }
        QCOMPARE(lSession.mvMessages.first(), QString::fromUtf8(gfSplitPayload()));
        QCOMPARE(lSession.mfPeerExitCode(), int(ExitOk));
    }

    void discardsBytesBehindZeroLength()
    {
        FramesSession lSession;
        QVERIFY(lSession.mfStart(QStringLiteral("zero"), false));
        QTRY_COMPARE_WITH_TIMEOUT(
            lSession.mvErrors, QStringList(QStringLiteral("Zero block encountered.")), cTimeoutMs);
        QCOMPARE(mvLog.mfTexts(Error),
                 QStringList(
                     QStringLiteral("[UBXMessageStream::mpOnDataAvailable] Bytes in data block "
                                    "is zero. Bytes available: 300. Remaining bytes in "
                                    "Base64: <<") +
                     QString::fromLatin1(gfZeroBlockTrailer().toBase64()) + QStringLiteral(">>")));
        // The last 44 bytes wait for the next notification, to be read as a frame.
        QCOMPARE(lSession.mvDevice->mfBytesAvailable(), 44);
        QVERIFY(lSession.mvMessages.isEmpty());
        lSession.mpAck();
        QTRY_COMPARE_WITH_TIMEOUT(
            lSession.mvMessages,
            QStringList({QString::fromUtf8(gfZeroBlockFollower()), QStringLiteral("after")}),
            cTimeoutMs);
        lSession.mpAck();
        QCOMPARE(lSession.mfPeerExitCode(), int(ExitOk));
    }

    void oversizeMessageIsSentWithTruncatedLength()
    {
        FramesSession lSession;
        QVERIFY(lSession.mfStart(QStringLiteral("oversize"), false));
        // 70,000 'A's behind the length 4,464: the rest reads as frames of
        // 0x4141 = 16,705 bytes, three whole ones and 15,413 bytes of a fourth.
        const auto lReceivedAll = [&] {
            lSession.mvStream->gpPrintStatus();
            return mvLog.mfTexts(Debug).contains(QStringLiteral(" --> Bytes received: 15413"));
        };
        QTRY_VERIFY_WITH_TIMEOUT(lReceivedAll(), cTimeoutMs);
        QStringList lExpected(QString(4464, QLatin1Char('A')));
        for (int lFrame = 0; lFrame < 3; ++lFrame)
            lExpected.append(QString(16705, QLatin1Char('A')));
        QCOMPARE(lSession.mvMessages, lExpected);
        QVERIFY(mvLog.mfTexts(Debug).contains(QStringLiteral(" --> Size of data block: 16705")));
        QCOMPARE(lSession.mvDevice->mfBytesAvailable(), 0);
        lSession.mpAck();
        QCOMPARE(lSession.mfPeerExitCode(), int(ExitOk));
    }

    void stopAfterMessageLeavesRestUnread()
    {
        FramesSession lSession;
        QVERIFY(lSession.mfStart(QStringLiteral("stopafter"), true));
        QTRY_COMPARE_WITH_TIMEOUT(lSession.mvMessages, QStringList(QStringLiteral("one")),
                                  cTimeoutMs);
        gpRunPostedEvents();
        QTRY_COMPARE(lSession.mvDevice->mfBytesAvailable(), 5);
        QCOMPARE(lSession.mvMessages.size(), 1);
        // Listening again takes the waiting frame at once.
        lSession.mvStream->mpStartListening(false);
        QCOMPARE(lSession.mvMessages, QStringList({QStringLiteral("one"), QStringLiteral("two")}));
        lSession.mpAck();
        QCOMPARE(lSession.mfPeerExitCode(), int(ExitOk));
    }

    void sendWritesBigEndianUtf8Length_data()
    {
        QTest::addColumn<QString>("message");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("ascii") << QStringLiteral("exit")
                               << QByteArray("\x00\x04"
                                             "exit",
                                             6);
        const QString lText = QStringLiteral("Gr\u00fc\u00dfe \u20ac");
        QTest::newRow("UTF-8 bytes are counted")
            << lText << QByteArray("\x00\x0b", 2) + lText.toUtf8();
        QTest::newRow("high byte first")
            << QString(300, QLatin1Char('x')) << QByteArray("\x01\x2c") + QByteArray(300, 'x');
        QTest::newRow("low 16 bits only")
            << QString(70000, QLatin1Char('A')) << QByteArray("\x11\x70") + QByteArray(70000, 'A');
    }

    void sendWritesBigEndianUtf8Length()
    {
        QFETCH(QString, message);
        QFETCH(QByteArray, expected);
        MemoryIODevice lDevice;
        (new UBXMessageStream(&lDevice))->gpSendMessage(message);
        QCOMPARE(lDevice.mfWritten(), expected);
    }

    void stopListeningKeepsPartialMessage()
    {
        MemoryIODevice lDevice;
        auto* lStream = new UBXMessageStream(&lDevice);
        QSignalSpy lMessages(lStream, &UBXMessageStream::sgMessageReceived);
        lStream->mpStartListening(false);
        const QByteArray lFrame = gfFrame("partial message");
        lDevice.mpAppend(lFrame.left(6));
        mvLog.mpClear();
        lStream->gpPrintStatus();
        const QStringList lStatus = mvLog.mfTexts(Debug);
        QCOMPARE(lStatus.size(), 5);
        QCOMPARE(lStatus.at(0), QStringLiteral("STATUS OF UBXMESSAGESTREAM"));
        QVERIFY(QRegularExpression(QStringLiteral("^ --> Last bytes were received at "
                                                  "\\d\\d:\\d\\d:\\d\\d\\.\\d\\d\\d$"))
                    .match(lStatus.at(1))
                    .hasMatch());
        QCOMPARE(lStatus.mid(2), QStringList({QStringLiteral(" --> Reading data block: 1"),
                                              QStringLiteral(" --> Size of data block: 15"),
                                              QStringLiteral(" --> Bytes received: 4")}));

        lStream->mpStopListening();
        lDevice.mpAppend(lFrame.mid(6));
        QCOMPARE(lMessages.count(), 0);
        QCOMPARE(lDevice.mfBytesAvailable(), lFrame.size() - 6);
        lStream->mpStartListening(false);
        QCOMPARE(lMessages.count(), 1);
        QCOMPARE(lMessages.first().first().toString(), QStringLiteral("partial message"));

        mvLog.mpClear();
        lStream->gpPrintStatus();
        QCOMPARE(mvLog.mfTexts(Debug).size(), 3);
        QCOMPARE(mvLog.mfTexts(Debug).last(), QStringLiteral(" --> Reading data block: 0"));
    }

    void framesBeyondOneReadBudgetAreNotLeftBehind_data()
    {
        QTest::addColumn<int>("size");
        // With its header, the frame uses up exactly the 65,535 bytes one call
        // reads; or the budget runs out two bytes before the frame's end.
        QTest::newRow("frame ends with the budget") << 65533;
        QTest::newRow("frame outlasts the budget") << 65535;
    }

    void framesBeyondOneReadBudgetAreNotLeftBehind()
    {
        QFETCH(int, size);
        MemoryIODevice lDevice;
        auto* lStream = new UBXMessageStream(&lDevice);
        QSignalSpy lMessages(lStream, &UBXMessageStream::sgMessageReceived);
        lStream->mpStartListening(false);
        // One notification for all of it; none comes for the rest.
        lDevice.mpAppend(gfFrame(QByteArray(size, 'b')) + gfFrame("next"));
        QTRY_COMPARE(lMessages.count(), 2);
        QCOMPARE(lMessages.at(0).first().toString(), QString(size, QLatin1Char('b')));
        QCOMPARE(lMessages.at(1).first().toString(), QStringLiteral("next"));
    }

    void nullDeviceIsReportedAndHarmless()
    {
        {
            UBXMessageStream lStream(nullptr);
            lStream.mpStartListening(false);
            lStream.gpSendMessage(QStringLiteral("nowhere"));
        }
        QCOMPARE(
            mvLog.mfTexts(Error),
            QStringList(QStringLiteral("[UBXMessageStream::UBXMessageStream] IODevice is NULL!")));
        QCOMPARE(mvLog.mfTexts(Debug).last(),
                 QStringLiteral("[UBXMessageStream::~UBXMessageStream]"));
    }

private:
    LogCapture mvLog;
};

QTEST_GUILESS_MAIN(tst_UBXMessageStream)
#include "tst_UBXMessageStream.moc"
