#include "BlockCatProcess.h"

#include <QCryptographicHash>
#include <QRandomGenerator>
#include <QTcpSocket>
#include <QtEndian>

#include <cstring>
#include <memory>
#include <vector>

namespace {

constexpr int cClients = 50;
constexpr int cBlocksPerClient = BEAMORA_LOAD_BLOCKS;
constexpr int cMaximumBlock = 65536;
// Written ahead of the reader per client, so the test's memory stays small.
constexpr qint64 cWriteAhead = 256 * 1024;

// Blocks of 1 byte to 64 KiB that start with their sequence number, and their hashes.
struct Client
{
    QTcpSocket mvSocket;
    QRandomGenerator mvRandom;
    int mvSent = 0;
    QStringList mvHashes;
};

void gpWriteAhead(Client& aClient, const QByteArray& aPool)
{
    while (aClient.mvSent < cBlocksPerClient && aClient.mvSocket.bytesToWrite() < cWriteAhead) {
        const int lSize = 1 + int(aClient.mvRandom.bounded(cMaximumBlock));
        QByteArray lBlock = aPool.mid(aClient.mvRandom.bounded(cMaximumBlock), lSize);
        const quint32 lSequence = aClient.mvSent++;
        std::memcpy(lBlock.data(), &lSequence, size_t(qMin(lSize, 4)));
        aClient.mvHashes << QString::fromLatin1(
            QCryptographicHash::hash(lBlock, QCryptographicHash::Sha256).toHex());
        QByteArray lFrame(4, Qt::Uninitialized);
        qToBigEndian(quint32(lSize), lFrame.data());
        aClient.mvSocket.write(lFrame + lBlock);
    }
}

} // namespace

// Fifty peers stream blocks to beamora-blockcat in another process.
class tst_UBXConnectionLoad : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // Every block arrives exactly once, in order per connection, intact.
    void fiftyClientsStreamingBlocks()
    {
        BlockCatProcess lTool({QStringLiteral("listen"), QStringLiteral("--port"), "0"});
        const quint16 lPort = lTool.mfPort();
        QByteArray lPool(2 * cMaximumBlock, Qt::Uninitialized);
        QRandomGenerator(7).fillRange(reinterpret_cast<quint32*>(lPool.data()), lPool.size() / 4);

        std::vector<std::unique_ptr<Client>> lClients;
        for (int lIndex = 0; lIndex < cClients; ++lIndex) {
            lClients.push_back(std::make_unique<Client>());
            Client& lClient = *lClients.back();
            lClient.mvRandom.seed(quint32(lIndex));
            connect(&lClient.mvSocket, &QTcpSocket::connected, this, [&lClient, &lPool, lIndex] {
                const QByteArray lDescriptor = QByteArray::number(lIndex);
                lClient.mvSocket.write(QByteArray(1, '\0') + char(lDescriptor.size()) +
                                       lDescriptor);
                gpWriteAhead(lClient, lPool);
            });
            connect(&lClient.mvSocket, &QTcpSocket::bytesWritten, this,
                    [&lClient, &lPool] { gpWriteAhead(lClient, lPool); });
            lClient.mvSocket.connectToHost(QHostAddress::LocalHost, lPort);
        }
        QVERIFY(lTool.mfWaitFor(QStringLiteral("block"), cClients * cBlocksPerClient, 600000));

        QHash<int, QStringList> lReceived;
        for (const QJsonObject& lBlock : lTool.mfEvents(QStringLiteral("block")))
            lReceived[lBlock.value("id").toInt()] << lBlock.value("sha256").toString();
        const QList<QJsonObject> lAccepted = lTool.mfEvents(QStringLiteral("accepted"));
        QCOMPARE(lAccepted.size(), cClients);
        for (const QJsonObject& lConnection : lAccepted) {
            const int lIndex = lConnection.value("descriptor").toString().toInt();
            QCOMPARE(lReceived.value(lConnection.value("id").toInt()), lClients[lIndex]->mvHashes);
        }
    }
};

QTEST_GUILESS_MAIN(tst_UBXConnectionLoad)
#include "tst_UBXConnectionLoad.moc"
