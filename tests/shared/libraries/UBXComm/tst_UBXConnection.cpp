#include "LogCapture.h"
#include "MemoryConnection.h"
#include "UBXConnection.h"
#include "UBXConnectionBandwidthRegistry.h"
#include "UBXConnectionDataBlockEvent.h"
#include "UBXConnectionDelegate.h"
#include "UBXConnectionMessageEvent.h"

#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QtEndian>

namespace {

QByteArray gfHeader(quint32 aLength, int aType = -1)
{
    QByteArray lHeader(4, Qt::Uninitialized);
    qToBigEndian(aLength, lHeader.data());
    return aType < 0 ? lHeader : lHeader.append(char(aType));
}

class Recorder : public UBXConnectionDelegate
{
public:
    void mpConnectionEstablished(UBXConnection*) override {}
    void mpConnectionLost(UBXConnection*) override { ++mvLost; }
    void mpConnectionError(UBXConnection*, const QString& aError) override { mvReports << aError; }
    void mpDataBlockReceived(UBXConnection*, const QByteArray& aData, quint8 aType) override
    {
        mvReports << QStringLiteral("%1:%2:%3").arg(aType).arg(aData.size()).arg(aData.left(8));
    }
    QStringList mvReports;
    int mvLost = 0;
};

} // namespace

class tst_UBXConnection : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void framing_data()
    {
        QTest::addColumn<bool>("withType");
        QTest::addColumn<QList<QByteArray>>("reads");
        QTest::addColumn<QStringList>("reports");
        QTest::newRow("three blocks and alive blocks in one read")
            << false
            << QList<QByteArray>{gfHeader(1) + "a" + gfHeader(0) + gfHeader(2) + "bc" +
                                 gfHeader(0) + gfHeader(3) + "def"}
            << QStringList{"0:1:a", "0:2:bc", "0:3:def"};
        QTest::newRow("typed, header split across reads")
            << true
            << QList<QByteArray>{gfHeader(0, 0) + gfHeader(3, 7).left(2), gfHeader(3, 7).mid(2),
                                 "xy", "z" + gfHeader(1, 2) + "!"}
            << QStringList{"7:3:xyz", "2:1:!"};
        QTest::newRow("largest block accepted")
            << false << QList<QByteArray>{gfHeader(5242880) + QByteArray(5242880, 'L')}
            << QStringList{"0:5242880:LLLLLLLL"};
        QTest::newRow("one byte more refused, what follows still read")
            << true << QList<QByteArray>{gfHeader(5242881, 1) + gfHeader(2, 1) + "ok"}
            << QStringList{"Size of data block is bigger than allowed. Size: 5242881.", "1:2:ok"};
    }
    void framing()
    {
        QFETCH(bool, withType);
        QFETCH(QList<QByteArray>, reads);
        QFETCH(QStringList, reports);
        LogCapture lLog(Error);
        MemoryConnection lTransport(true);
        Recorder lDelegate;
        UBXConnection lConnection(&lTransport, &lDelegate, QStringLiteral("t"), withType);
        for (const QByteArray& lRead : reads)
            lTransport.mpAppend(lRead);
        QTRY_COMPARE(lDelegate.mvReports, reports);
        QVERIFY(!lTransport.mfHasOverRead());
        QCOMPARE(lLog.mfTexts(Error)
                     .filter("Header indicates block of 5242881 bytes. Connection name: "
                             "<<t>>. Disconnecting...")
                     .size(),
                 int(reports.first().startsWith('S')));
    }

    // A silent peer is reported at a check and again at the next one, while
    // alive blocks keep going out.
    void silentPeerIsLostAtEveryCheck()
    {
        LogCapture lLog(Warn);
        MemoryConnection lTransport(true);
        Recorder lDelegate;
        UBXConnection lConnection(&lTransport, &lDelegate, QStringLiteral("quiet"), true);
        QTRY_COMPARE_WITH_TIMEOUT(lDelegate.mvLost, 2, 10000);
        QCOMPARE(lLog.mfTexts(Warn).size(), 2);
        QVERIFY(lLog.mfTexts(Warn).first().startsWith(
            "[UBXConnection::mpOnCheckAliveMessageTimeout] No 'Alive' message received on "
            "connection quiet for "));
        QVERIFY(lTransport.mfWritten().startsWith(QByteArray(gfHeader(0, 0) + gfHeader(0, 0))));
    }

    void bandwidthOfAnIntervalAndRegistryTotal()
    {
        MemoryConnection lTransport(false);
        Recorder lDelegate;
        UBXConnection lConnection(&lTransport, &lDelegate, QStringLiteral("bw"), false);
        QSignalSpy lDone(&lConnection, &UBXConnection::sgBandwidthMeasurementDone);
        lConnection.mpSetBandwidthMeasurementInterval(2000);
        lConnection.mpSetBandwidthMeasurementEnabled(true);
        // A million bytes, header included, in 2 s: 4 Mbit/s.
        lTransport.mpAppend(gfHeader(999996) + QByteArray(999996, 'b'));
        lConnection.mpOnBandwidthMeasurementTimeout();
        float lUp, lDown;
        UBXConnectionBandwidthRegistry::instance()->gpGetTotal(lUp, lDown);
        QCOMPARE(QList<float>({lDone.value(0).value(1).toFloat(), lDown}), QList<float>({4, 4}));
    }

    // Another thread posts; the connection's thread writes, from the event's
    // own copy of the bytes.
    void eventsFromAnotherThread()
    {
        MemoryConnection lTransport(true);
        Recorder lDelegate;
        UBXConnection lConnection(&lTransport, &lDelegate, QStringLiteral("ev"), true);
        std::unique_ptr<QThread> lPoster(QThread::create([&lConnection] {
            char lBuffer[] = "data";
            QCoreApplication::postEvent(&lConnection,
                                        new UBXConnectionMessageEvent(QStringLiteral("text")));
            QCoreApplication::postEvent(&lConnection, new UBXConnectionDataBlockEvent(
                                                          QByteArray::fromRawData(lBuffer, 4), 9));
            lBuffer[0] = 'X';
        }));
        lPoster->start();
        QVERIFY(lPoster->wait(10000));
        QTRY_COMPARE(lTransport.mfWritten(),
                     gfHeader(4, 0) + "text" + gfHeader(4, 9) + QByteArray("data"));
        QCOMPARE(lTransport.mfLastWriteThread(), QThread::currentThread());
    }
};

QTEST_GUILESS_MAIN(tst_UBXConnection)
#include "tst_UBXConnection.moc"
