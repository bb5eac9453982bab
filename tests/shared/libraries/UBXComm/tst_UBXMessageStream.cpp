#include "LogCapture.h"
#include "MemoryIODevice.h"
#include "UBXMessageStream.h"

#include <QSignalSpy>
#include <QTest>

namespace {
// 2-byte big-endian length, then the bytes.
QByteArray gfFrame(const QByteArray& aPayload)
{
    return QByteArray(1, char(aPayload.size() >> 8)) + char(aPayload.size() & 0xFF) + aPayload;
}
} // namespace

class tst_UBXMessageStream : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { mvLog.mpClear(); }

    void receive_data()
    {
        QTest::addColumn<QByteArrayList>("pieces"); // each announced on its own
        QTest::addColumn<QStringList>("messages");
        QTest::addColumn<QStringList>("errors"); // logged and signalled
        const QByteArray lEuros = QByteArray("\xE2\x82\xAC").repeated(333).append('!');
        QByteArrayList lSplit{"\x03", "\xE8"}; // a lone header byte waits for its partner
        for (int lAt = 0; lAt < 1000; lAt += 100)
            lSplit << lEuros.mid(lAt, 100); // 3-byte characters straddle the pieces
        QTest::newRow("split everywhere")
            << lSplit << QStringList(QString::fromUtf8(lEuros)) << QStringList();
        QByteArray lEveryByte;
        for (int lValue = 0; lValue < 256; ++lValue)
            lEveryByte.append(char(lValue));
        const QByteArray lFollower("the frame behind the discarded bytes: 42 b");
        QTest::newRow("zero length: 256 bytes dropped, the rest read on the next notification")
            << QByteArrayList{QByteArray(2, '\0') + lEveryByte + gfFrame(lFollower),
                              gfFrame("after")}
            << QStringList{lFollower, "after"}
            << QStringList{"[UBXMessageStream::mpOnDataAvailable] Bytes in data block is zero. "
                           "Bytes available: 300. Remaining bytes in Base64: <<" +
                           QString::fromLatin1(lEveryByte.toBase64()) + ">>"};
        // What a 70,000-byte message is sent as: length 4,464, then frames of
        // 0x4141 = 16,705 bytes, three whole ones and 15,413 bytes of a fourth.
        QTest::newRow("length truncated to 16 bits")
            << QByteArrayList{"\x11\x70" + QByteArray(70000, 'A')}
            << QStringList{QString(4464, 'A'), QString(16705, 'A'), QString(16705, 'A'),
                           QString(16705, 'A')}
            << QStringList();
        // With its header, the frame uses up exactly the 65,535 bytes one call
        // reads, or outlasts them by two: no notification comes for the rest.
        for (int lSize : {65533, 65535})
            QTest::addRow("%d-byte frame and another", lSize)
                << QByteArrayList{gfFrame(QByteArray(lSize, 'b')) + gfFrame("next")}
                << QStringList{QString(lSize, 'b'), "next"} << QStringList();
    }

    void receive()
    {
        QFETCH(QByteArrayList, pieces);
        QFETCH(QStringList, messages);
        QFETCH(QStringList, errors);
        MemoryIODevice lDevice;
        auto* lStream = new UBXMessageStream(&lDevice);
        QStringList lReceived;
        connect(lStream, &UBXMessageStream::sgMessageReceived,
                [&](const QString& aMessage) { lReceived << aMessage; });
        QSignalSpy lErrors(lStream, &UBXMessageStream::sgErrorEncountered);
        lStream->mpStartListening(false);
        for (const QByteArray& lPiece : pieces) {
            lDevice.mpAppend(lPiece);
            QTest::qWait(0);
        }
        QTRY_COMPARE(lReceived, messages);
        QCOMPARE(mvLog.mfTexts(Error), errors);
        QCOMPARE(lErrors.count(), errors.size());
        if (!errors.isEmpty())
            QCOMPARE(lErrors[0][0].toString(), QStringLiteral("Zero block encountered."));
        QCOMPARE(lDevice.mfBytesAvailable(), 0);
        QVERIFY(!lDevice.mfHasOverRead());
    }

    void oneMessagePerCallStopAfterMessageAndStop()
    {
        MemoryIODevice lDevice;
        auto* lStream = new UBXMessageStream(&lDevice);
        QSignalSpy lMessages(lStream, &UBXMessageStream::sgMessageReceived);
        lStream->mpStartListening(false);
        lDevice.mpAppend(gfFrame("first") + gfFrame("second"));
        QCOMPARE(lMessages.count(), 1); // the next one comes on the next pass
        QTRY_COMPARE(lMessages.count(), 2);
        lStream->mpStartListening(true);
        lDevice.mpAppend(gfFrame("one") + gfFrame("two"));
        QTest::qWait(10);
        QCOMPARE(lMessages.count(), 3);
        QCOMPARE(lDevice.mfBytesAvailable(), 5);
        // Listening again takes the waiting frame at once.
        lStream->mpStartListening(false);
        QCOMPARE(lMessages.count(), 4);
        QCOMPARE(lMessages[3][0].toString(), QStringLiteral("two"));
        // Stopped in the middle of a frame, the stream keeps what it has read.
        const QByteArray lFrame = gfFrame("partial message");
        lDevice.mpAppend(lFrame.left(6));
        lStream->mpStopListening();
        lDevice.mpAppend(lFrame.mid(6));
        QCOMPARE(lMessages.count(), 4);
        lStream->mpStartListening(false);
        QCOMPARE(lMessages.count(), 5);
        QCOMPARE(lMessages[4][0].toString(), QStringLiteral("partial message"));
    }

    void sendWritesBigEndianUtf8Length()
    {
        const auto lSent = [](const QString& aMessage) {
            MemoryIODevice lDevice;
            (new UBXMessageStream(&lDevice))->gpSendMessage(aMessage);
            return lDevice.mfWritten();
        };
        const QString lText = QString::fromUtf8("Grüße €"); // 11 bytes
        QCOMPARE(lSent(lText), QByteArray("\x00\x0b", 2) + lText.toUtf8());
        QCOMPARE(lSent(QString(400, 'x')), QByteArray("\x01\x90") + QByteArray(400, 'x'));
        // Only the low 16 bits of the length are written.
        QCOMPARE(lSent(QString(70000, 'A')), QByteArray("\x11\x70") + QByteArray(70000, 'A'));
    }

    void nullDeviceIsReportedAndHarmless()
    {
        UBXMessageStream lStream(nullptr);
        lStream.mpStartListening(false);
        lStream.gpSendMessage(QStringLiteral("nowhere"));
        QCOMPARE(mvLog.mfTexts(Error),
                 QStringList("[UBXMessageStream::UBXMessageStream] IODevice is NULL!"));
    }

private:
    LogCapture mvLog;
};

QTEST_GUILESS_MAIN(tst_UBXMessageStream)
#include "tst_UBXMessageStream.moc"
