#include "UBXUDPNetworkConnection.h"

#include <QSignalSpy>
#include <QTest>
#include <QUdpSocket>

class tst_UBXUDPNetworkConnection : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // Too small a buffer leaves the datagram pending and tells its size.
    void datagramWaitsForABufferLargeEnough()
    {
        UBXUDPNetworkConnection lChannel(QStringLiteral("127.0.0.1"), 9, 0);
        QSignalSpy lAvailable(&lChannel, &UBXAbstractUDPConnection::sgDatagramAvailable);
        const QByteArray lDatagram(1500, 'u');
        QUdpSocket().writeDatagram(lDatagram, QHostAddress::LocalHost, lChannel.mfGetLocalPort());
        QVERIFY(lAvailable.wait(10000));

        char lBuffer[2000];
        qint64 lSize = -1;
        QVERIFY(!lChannel.gfReadDatagram(lBuffer, 1000, lSize));
        QCOMPARE(lSize, 1500);
        QVERIFY(lChannel.gfReadDatagram(lBuffer, 2000, lSize));
        QCOMPARE(QByteArray(lBuffer, int(lSize)), lDatagram);
        QVERIFY(!lChannel.gfReadDatagram(lBuffer, 2000, lSize));
        QCOMPARE(lSize, 0);
    }
};

QTEST_GUILESS_MAIN(tst_UBXUDPNetworkConnection)
#include "tst_UBXUDPNetworkConnection.moc"
