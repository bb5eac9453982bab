// The block connection between two processes over loopback against the same
// framing (4-byte big-endian length, payload) written and read with plain
// POSIX sockets. The binary starts itself as the peer ("--peer"), which
// serves both kinds on two ports it prints: a block whose first byte is 'e'
// comes back unchanged, one beginning with 'a' is answered with the block "k".
// A connection with descriptor "setup" (plain: first byte 's') is answered
// with one raw byte and closed.
//   throughput:  8 blocks of 1 MiB one way, the last one answered;
//   round trip:  a 16-byte block there and back;
//   set-up:      connect, descriptor, handed to the handler, answered;
//   silent peers: resident memory of beamora-blockcat around 1,000 of them.
#include "UBXConnection.h"
#include "UBXConnectionDelegate.h"
#include "UBXConnectionServer.h"
#include "UBXIncomingConnectionHandler.h"
#include "UBXNetworkConnection.h"
#include "UBXNetworkConnectionClient.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTcpSocket>
#include <QTimer>

#include "PlainSocket.h"

#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <thread>
#include <vector>

namespace {

constexpr int cMiB = 1 << 20;
constexpr int cBlocksPerBatch = 8;

// ---- plain sockets ---------------------------------------------------------

std::vector<char> gfBlock(char aFirst, size_t aSize)
{
    std::vector<char> lBlock(4 + aSize, 'x');
    const uint32_t lLength = htonl(uint32_t(aSize));
    std::memcpy(lBlock.data(), &lLength, 4);
    lBlock[4] = aFirst;
    return lBlock;
}

bool gfReadBlock(int aFd, std::vector<char>& aPayload)
{
    uint32_t lLength = 0;
    if (!gfReadAll(aFd, reinterpret_cast<char*>(&lLength), 4))
        return false;
    aPayload.resize(ntohl(lLength));
    return gfReadAll(aFd, aPayload.data(), aPayload.size());
}

int gfConnectPlain(quint16 aPort)
{
    const int lFd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in lAddress = {};
    lAddress.sin_family = AF_INET;
    lAddress.sin_port = htons(aPort);
    lAddress.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(lFd, reinterpret_cast<sockaddr*>(&lAddress), sizeof lAddress) != 0) {
        ::close(lFd);
        return -1;
    }
    // Qt's sockets turn Nagle off as well.
    const int lOn = 1;
    ::setsockopt(lFd, IPPROTO_TCP, TCP_NODELAY, &lOn, sizeof lOn);
    return lFd;
}

void gpServePlain(int aFd)
{
    char lMode = 0;
    if (gfReadAll(aFd, &lMode, 1) && lMode == 's') {
        gfWriteAll(aFd, "k", 1);
    } else if (lMode == 'd') {
        std::vector<char> lPayload;
        const std::vector<char> lAck = gfBlock('k', 1);
        while (gfReadBlock(aFd, lPayload)) {
            if (!lPayload.empty() && lPayload[0] == 'e') {
                std::vector<char> lEcho = gfBlock('e', lPayload.size());
                std::memcpy(lEcho.data() + 4, lPayload.data(), lPayload.size());
                gfWriteAll(aFd, lEcho.data(), lEcho.size());
            } else if (!lPayload.empty() && lPayload[0] == 'a') {
                gfWriteAll(aFd, lAck.data(), lAck.size());
            }
        }
    }
    ::close(aFd);
}

// ---- the peer process ------------------------------------------------------

class PeerHandler : public UBXIncomingConnectionHandler, public UBXConnectionDelegate
{
public:
    bool gfHandleIncomingConnection(UBXNetworkConnection* apConnection,
                                    const QString& aDescriptor) override
    {
        if (aDescriptor == QLatin1String("setup")) {
            apConnection->mfWrite("k", 1);
            apConnection->mfFlush();
            apConnection->deleteLater();
            return true;
        }
        auto* lConnection = new UBXConnection(apConnection, this, aDescriptor, false);
        lConnection->mpSetOwnsConnection(true);
        return true;
    }
    void mpConnectionEstablished(UBXConnection*) override {}
    void mpConnectionLost(UBXConnection* apConnection) override
    {
        if (!apConnection->mfGetConnection()->mfIsConnected())
            apConnection->deleteLater();
    }
    void mpConnectionError(UBXConnection*, const QString&) override {}
    void mpDataBlockReceived(UBXConnection* apConnection, const QByteArray& aData, quint8) override
    {
        if (aData.startsWith('e'))
            apConnection->gfSendDataBlock(aData, 0);
        else if (aData.startsWith('a'))
            apConnection->gfSendDataBlock(QByteArrayLiteral("k"), 0);
    }
};

int gfRunPeer()
{
    PeerHandler lHandler;
    UBXConnectionServer lServer(0);
    lServer.mpAddHandler(&lHandler);
    if (!lServer.listen(QHostAddress::LocalHost, 0))
        return 1;
    const int lListener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in lAddress = {};
    lAddress.sin_family = AF_INET;
    lAddress.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t lLength = sizeof lAddress;
    if (::bind(lListener, reinterpret_cast<sockaddr*>(&lAddress), sizeof lAddress) != 0 ||
        ::listen(lListener, 64) != 0 ||
        ::getsockname(lListener, reinterpret_cast<sockaddr*>(&lAddress), &lLength) != 0)
        return 1;
    std::thread([lListener] {
        for (;;) {
            const int lFd = ::accept(lListener, nullptr, nullptr);
            if (lFd < 0)
                return;
            const int lOn = 1;
            ::setsockopt(lFd, IPPROTO_TCP, TCP_NODELAY, &lOn, sizeof lOn);
            std::thread(gpServePlain, lFd).detach();
        }
    }).detach();
    std::printf("%u %u\n", unsigned(lServer.serverPort()), unsigned(ntohs(lAddress.sin_port)));
    std::fflush(stdout);
    return QCoreApplication::exec();
}

// ---- the benchmark's side --------------------------------------------------

// The peer process, started once for all benchmarks.
struct Peer
{
    QProcess mvProcess;
    quint16 mvBlockPort = 0;
    quint16 mvPlainPort = 0;

    static Peer* instance()
    {
        static Peer* sPeer = [] {
            auto* lPeer = new Peer;
            lPeer->mvProcess.start(QCoreApplication::applicationFilePath(),
                                   {QStringLiteral("--peer")});
            if (lPeer->mvProcess.waitForReadyRead(30000)) {
                const QList<QByteArray> lPorts = lPeer->mvProcess.readLine().trimmed().split(' ');
                lPeer->mvBlockPort = quint16(lPorts.value(0).toUInt());
                lPeer->mvPlainPort = quint16(lPorts.value(1).toUInt());
            }
            return lPeer;
        }();
        return sPeer;
    }
};

class Waiter : public UBXConnectionDelegate
{
public:
    void mpConnectionEstablished(UBXConnection*) override { mvEstablished = true; }
    void mpConnectionLost(UBXConnection*) override {}
    void mpConnectionError(UBXConnection*, const QString&) override {}
    void mpDataBlockReceived(UBXConnection*, const QByteArray&, quint8) override { ++mvBlocks; }

    bool mvEstablished = false;
    int mvBlocks = 0;
};

template <typename Condition> void gpRunUntil(Condition aCondition)
{
    while (!aCondition())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

// A connected block connection to the peer.
struct BlockClient
{
    Waiter mvWaiter;
    std::unique_ptr<UBXNetworkConnection> mvTransport;
    std::unique_ptr<UBXConnection> mvConnection;

    void mpOpen()
    {
        UBXNetworkConnectionClient lClient;
        mvTransport.reset(lClient.gfCreateConnection(
            QStringLiteral("bench"),
            QStringLiteral("127.0.0.1:%1").arg(Peer::instance()->mvBlockPort)));
        mvConnection =
            std::make_unique<UBXConnection>(mvTransport.get(), &mvWaiter, "bench", false);
        mvTransport->gpConnect();
        gpRunUntil([this] { return mvWaiter.mvEstablished; });
    }
};

void BM_BlockThroughput(benchmark::State& aState)
{
    BlockClient lClient;
    lClient.mpOpen();
    const QByteArray lBlock(cMiB, 'x');
    const QByteArray lLast = QByteArray(1, 'a') + QByteArray(cMiB - 1, 'x');
    for (auto lDummy : aState) {
        const int lExpected = lClient.mvWaiter.mvBlocks + 1;
        for (int lIndex = 1; lIndex < cBlocksPerBatch; ++lIndex)
            lClient.mvConnection->gfSendDataBlock(lBlock, 0);
        lClient.mvConnection->gfSendDataBlock(lLast, 0);
        gpRunUntil([&] { return lClient.mvWaiter.mvBlocks == lExpected; });
    }
    aState.SetBytesProcessed(aState.iterations() * int64_t(cBlocksPerBatch) * cMiB);
}
BENCHMARK(BM_BlockThroughput)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_PlainThroughput(benchmark::State& aState)
{
    const int lFd = gfConnectPlain(Peer::instance()->mvPlainPort);
    gfWriteAll(lFd, "d", 1);
    const std::vector<char> lBlock = gfBlock('x', cMiB);
    const std::vector<char> lLast = gfBlock('a', cMiB);
    std::vector<char> lReply;
    for (auto lDummy : aState) {
        for (int lIndex = 1; lIndex < cBlocksPerBatch; ++lIndex)
            gfWriteAll(lFd, lBlock.data(), lBlock.size());
        gfWriteAll(lFd, lLast.data(), lLast.size());
        gfReadBlock(lFd, lReply);
    }
    ::close(lFd);
    aState.SetBytesProcessed(aState.iterations() * int64_t(cBlocksPerBatch) * cMiB);
}
BENCHMARK(BM_PlainThroughput)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_BlockRoundTrip(benchmark::State& aState)
{
    BlockClient lClient;
    lClient.mpOpen();
    const QByteArray lMessage = QByteArray(1, 'e') + QByteArray(15, 'x');
    for (auto lDummy : aState) {
        const int lExpected = lClient.mvWaiter.mvBlocks + 1;
        lClient.mvConnection->gfSendDataBlock(lMessage, 0);
        gpRunUntil([&] { return lClient.mvWaiter.mvBlocks == lExpected; });
    }
}
BENCHMARK(BM_BlockRoundTrip)->UseRealTime()->Unit(benchmark::kMicrosecond);

void BM_PlainRoundTrip(benchmark::State& aState)
{
    const int lFd = gfConnectPlain(Peer::instance()->mvPlainPort);
    gfWriteAll(lFd, "d", 1);
    const std::vector<char> lMessage = gfBlock('e', 16);
    std::vector<char> lReply;
    for (auto lDummy : aState) {
        gfWriteAll(lFd, lMessage.data(), lMessage.size());
        gfReadBlock(lFd, lReply);
    }
    ::close(lFd);
}
BENCHMARK(BM_PlainRoundTrip)->UseRealTime()->Unit(benchmark::kMicrosecond);

// 200 connections in a row per iteration; the figure is per connection.
void BM_BlockSetUp(benchmark::State& aState)
{
    UBXNetworkConnectionClient lClient;
    const QString lAddress = QStringLiteral("127.0.0.1:%1").arg(Peer::instance()->mvBlockPort);
    for (auto lDummy : aState) {
        for (int lIndex = 0; lIndex < 200; ++lIndex) {
            std::unique_ptr<UBXNetworkConnection> lConnection(
                lClient.gfCreateConnection(QStringLiteral("setup"), lAddress));
            bool lAnswered = false;
            QObject::connect(lConnection.get(), &UBXIODevice::sgReadyRead,
                             [&lAnswered] { lAnswered = true; });
            lConnection->gpConnect();
            gpRunUntil([&] { return lAnswered; });
        }
    }
    aState.SetItemsProcessed(aState.iterations() * 200);
}
BENCHMARK(BM_BlockSetUp)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_PlainSetUp(benchmark::State& aState)
{
    for (auto lDummy : aState) {
        for (int lIndex = 0; lIndex < 200; ++lIndex) {
            const int lFd = gfConnectPlain(Peer::instance()->mvPlainPort);
            char lAnswer = 0;
            gfWriteAll(lFd, "s", 1);
            gfReadAll(lFd, &lAnswer, 1);
            ::close(lFd);
        }
    }
    aState.SetItemsProcessed(aState.iterations() * 200);
}
BENCHMARK(BM_PlainSetUp)->UseRealTime()->Unit(benchmark::kMillisecond);

qint64 gfResidentKiB(qint64 aPid)
{
    QFile lStatus(QStringLiteral("/proc/%1/status").arg(aPid));
    if (!lStatus.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& lLine : lStatus.readAll().split('\n')) {
        if (lLine.startsWith("VmRSS:"))
            return lLine.mid(6).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

// Counters in KiB: before, with 1,000 silent peers connected, after all were
// dropped.
void BM_ToolResidentMemoryAroundSilentPeers(benchmark::State& aState)
{
    for (auto lDummy : aState) {
        QProcess lTool;
        lTool.setStandardErrorFile(QProcess::nullDevice());
        lTool.start(QStringLiteral(BLOCKCAT_PATH),
                    {QStringLiteral("listen"), QStringLiteral("--port"), QStringLiteral("0")});
        if (!lTool.waitForReadyRead(30000)) {
            aState.SkipWithError("beamora-blockcat did not start");
            return;
        }
        const QByteArray lLine = lTool.readLine();
        const quint16 lPort = quint16(lLine.mid(lLine.lastIndexOf(':') + 1).chopped(2).toUInt());
        aState.counters["before_KiB"] = double(gfResidentKiB(lTool.processId()));
        std::vector<std::unique_ptr<QTcpSocket>> lPeers;
        int lConnected = 0, lDropped = 0;
        for (int lIndex = 0; lIndex < 1000; ++lIndex) {
            lPeers.push_back(std::make_unique<QTcpSocket>());
            QObject::connect(lPeers.back().get(), &QTcpSocket::connected, [&] { ++lConnected; });
            QObject::connect(lPeers.back().get(), &QTcpSocket::disconnected, [&] { ++lDropped; });
            lPeers.back()->connectToHost(QHostAddress::LocalHost, lPort);
        }
        gpRunUntil([&] { return lConnected == 1000; });
        aState.counters["during_KiB"] = double(gfResidentKiB(lTool.processId()));
        gpRunUntil([&] { return lDropped == 1000; });
        // The tool gives freed memory back on its next event-loop pass.
        QEventLoop lPause;
        QTimer::singleShot(500, &lPause, &QEventLoop::quit);
        lPause.exec();
        aState.counters["after_KiB"] = double(gfResidentKiB(lTool.processId()));
        lTool.terminate();
        lTool.waitForFinished(10000);
    }
}
BENCHMARK(BM_ToolResidentMemoryAroundSilentPeers)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication lApplication(argc, argv);
    if (argc == 2 && std::strcmp(argv[1], "--peer") == 0)
        return gfRunPeer();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    Peer::instance()->mvProcess.kill();
    Peer::instance()->mvProcess.waitForFinished(10000);
    return 0;
}
