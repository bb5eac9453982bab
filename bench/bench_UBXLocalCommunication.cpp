// The local channel between two processes against a plain Unix-domain socket
// doing the same work: 2-byte length framing, whole messages read on the far
// side. The binary starts itself as the peer ("--peer channel NAME" or
// "--peer raw PATH"), which echoes every message beginning with 'e' or 's' and
// only reads the others.
//   round trip:  one 16-byte message there and back;
//   throughput:  a batch of messages one way, then one 's' message there and
//                back, so the batch is known to have been read.
#include "UBXLocalCommunication.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QProcess>

#include "PlainSocket.h"

#include <benchmark/benchmark.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <vector>

namespace {

constexpr int cBatchBytes = 1 << 20;

bool gfIsEchoed(char aFirst)
{
    return aFirst == 'e' || aFirst == 's';
}

// ---- the plain socket -------------------------------------------------------

// Reads whole frames out of a buffered socket.
class RawFrameReader
{
public:
    explicit RawFrameReader(int aFd) : mvFd(aFd), mvBuffer(1 << 18) {}

    // The next frame's payload; false at the end of the stream.
    bool mfNext(std::vector<char>& aPayload)
    {
        if (!mfFill(2))
            return false;
        const size_t lLength = (static_cast<unsigned char>(mvBuffer[mvStart]) << 8) |
                               static_cast<unsigned char>(mvBuffer[mvStart + 1]);
        if (!mfFill(2 + lLength))
            return false;
        aPayload.assign(mvBuffer.begin() + mvStart + 2, mvBuffer.begin() + mvStart + 2 + lLength);
        mvStart += 2 + lLength;
        return true;
    }

private:
    bool mfFill(size_t aWanted)
    {
        while (mvEnd - mvStart < aWanted) {
            if (mvStart > 0) {
                std::memmove(mvBuffer.data(), mvBuffer.data() + mvStart, mvEnd - mvStart);
                mvEnd -= mvStart;
                mvStart = 0;
            }
            const ssize_t lRead = ::read(mvFd, mvBuffer.data() + mvEnd, mvBuffer.size() - mvEnd);
            if (lRead <= 0)
                return false;
            mvEnd += static_cast<size_t>(lRead);
        }
        return true;
    }

    int mvFd;
    std::vector<char> mvBuffer;
    size_t mvStart = 0;
    size_t mvEnd = 0;
};

std::vector<char> gfFrame(char aFirst, size_t aLength)
{
    std::vector<char> lFrame(2 + aLength, 'x');
    lFrame[0] = static_cast<char>(aLength >> 8);
    lFrame[1] = static_cast<char>(aLength & 0xFF);
    lFrame[2] = aFirst;
    return lFrame;
}

sockaddr_un gfAddress(const QByteArray& aPath)
{
    sockaddr_un lAddress{};
    lAddress.sun_family = AF_UNIX;
    std::strncpy(lAddress.sun_path, aPath.constData(), sizeof(lAddress.sun_path) - 1);
    return lAddress;
}

int gfRunRawPeer(const QByteArray& aPath)
{
    const int lFd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const sockaddr_un lAddress = gfAddress(aPath);
    if (::connect(lFd, reinterpret_cast<const sockaddr*>(&lAddress), sizeof(lAddress)) != 0)
        return 1;
    RawFrameReader lReader(lFd);
    std::vector<char> lPayload;
    while (lReader.mfNext(lPayload)) {
        if (lPayload.empty() || !gfIsEchoed(lPayload[0]))
            continue;
        const char lHeader[2] = {static_cast<char>(lPayload.size() >> 8),
                                 static_cast<char>(lPayload.size() & 0xFF)};
        if (!gfWriteAll(lFd, lHeader, 2) || !gfWriteAll(lFd, lPayload.data(), lPayload.size()))
            return 1;
    }
    ::close(lFd);
    return 0;
}

// The benchmark's end of the plain socket, with its peer process.
struct RawPair
{
    bool mfStart()
    {
        const QByteArray lPath = QFile::encodeName(QDir::tempPath() + QStringLiteral("/bench.raw"));
        ::unlink(lPath.constData());
        const int lListener = ::socket(AF_UNIX, SOCK_STREAM, 0);
        const sockaddr_un lAddress = gfAddress(lPath);
        if (::bind(lListener, reinterpret_cast<const sockaddr*>(&lAddress), sizeof(lAddress)) !=
                0 ||
            ::listen(lListener, 1) != 0)
            return false;
        mvPeer.start(QCoreApplication::applicationFilePath(),
                     {QStringLiteral("--peer"), QStringLiteral("raw"), QFile::decodeName(lPath)});
        mvFd = ::accept(lListener, nullptr, nullptr);
        ::close(lListener);
        ::unlink(lPath.constData());
        mvReader = std::make_unique<RawFrameReader>(mvFd);
        return mvFd >= 0;
    }

    ~RawPair()
    {
        ::close(mvFd);
        mvPeer.waitForFinished();
    }

    int mvFd = -1;
    QProcess mvPeer;
    std::unique_ptr<RawFrameReader> mvReader;
};

// ---- the channel ------------------------------------------------------------

int gfRunChannelPeer(const QString& aName)
{
    UBXLocalCommunication lChannel(aName);
    if (!lChannel.mpStartCommunication(UBXStartClientOnly))
        return 1;
    QObject::connect(&lChannel, &UBXLocalCommunication::sgMessageReceivedFromOtherInstance,
                     [&lChannel](const QString& aMessage) {
                         if (!aMessage.isEmpty() && gfIsEchoed(aMessage.at(0).toLatin1()))
                             lChannel.gpSendMessage(aMessage);
                     });
    QObject::connect(&lChannel, &UBXLocalCommunication::sgNumberOfConnectionsChanged,
                     [](uint, uint aNew) {
                         if (aNew == 0)
                             QCoreApplication::quit();
                     });
    return QCoreApplication::exec();
}

// The benchmark's end of the channel, as the server, with its peer process.
struct ChannelPair
{
    bool mfStart()
    {
        mvChannel = std::make_unique<UBXLocalCommunication>(QStringLiteral("bench.channel"));
        if (!mvChannel->mpStartCommunication(UBXStartServerOnly))
            return false;
        QObject::connect(mvChannel.get(),
                         &UBXLocalCommunication::sgMessageReceivedFromOtherInstance,
                         [this] { ++mvReplies; });
        mvPeer.start(
            QCoreApplication::applicationFilePath(),
            {QStringLiteral("--peer"), QStringLiteral("channel"), QStringLiteral("bench.channel")});
        while (mvChannel->gfGetNumberOfConnections() == 0 && mvPeer.state() != QProcess::NotRunning)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        return mvChannel->gfGetNumberOfConnections() == 1;
    }

    void mpAwaitReply()
    {
        const int lWanted = mvReplies + 1;
        while (mvReplies < lWanted)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }

    ~ChannelPair()
    {
        mvChannel.reset();
        mvPeer.waitForFinished();
    }

    std::unique_ptr<UBXLocalCommunication> mvChannel;
    QProcess mvPeer;
    int mvReplies = 0;
};

QString gfMessage(char aFirst, int aLength)
{
    return QString(aLength, QLatin1Char('x')).replace(0, 1, QLatin1Char(aFirst));
}

void BM_ChannelRoundTrip16(benchmark::State& aState)
{
    ChannelPair lPair;
    if (!lPair.mfStart()) {
        aState.SkipWithError("no channel peer");
        return;
    }
    const QString lMessage = gfMessage('e', 16);
    for (auto lDummy : aState) {
        lPair.mvChannel->gpSendMessage(lMessage);
        lPair.mpAwaitReply();
    }
}
BENCHMARK(BM_ChannelRoundTrip16)->UseRealTime()->Unit(benchmark::kMicrosecond);

void BM_RawRoundTrip16(benchmark::State& aState)
{
    RawPair lPair;
    if (!lPair.mfStart()) {
        aState.SkipWithError("no raw peer");
        return;
    }
    const std::vector<char> lFrame = gfFrame('e', 16);
    std::vector<char> lReply;
    for (auto lDummy : aState) {
        gfWriteAll(lPair.mvFd, lFrame.data(), lFrame.size());
        lPair.mvReader->mfNext(lReply);
    }
}
BENCHMARK(BM_RawRoundTrip16)->UseRealTime()->Unit(benchmark::kMicrosecond);

void BM_ChannelThroughput(benchmark::State& aState)
{
    ChannelPair lPair;
    if (!lPair.mfStart()) {
        aState.SkipWithError("no channel peer");
        return;
    }
    const int lSize = static_cast<int>(aState.range(0));
    const int lBatch = cBatchBytes / lSize;
    const QString lMessage = gfMessage('t', lSize);
    const QString lSync = gfMessage('s', 1);
    for (auto lDummy : aState) {
        for (int lIndex = 0; lIndex < lBatch; ++lIndex)
            lPair.mvChannel->gpSendMessage(lMessage);
        lPair.mvChannel->gpSendMessage(lSync);
        lPair.mpAwaitReply();
    }
    aState.SetBytesProcessed(aState.iterations() * lBatch * lSize);
}
BENCHMARK(BM_ChannelThroughput)
    ->Arg(1024)
    ->Arg(61440)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void BM_RawThroughput(benchmark::State& aState)
{
    RawPair lPair;
    if (!lPair.mfStart()) {
        aState.SkipWithError("no raw peer");
        return;
    }
    const size_t lSize = static_cast<size_t>(aState.range(0));
    const int lBatch = cBatchBytes / static_cast<int>(lSize);
    const std::vector<char> lFrame = gfFrame('t', lSize);
    const std::vector<char> lSync = gfFrame('s', 1);
    std::vector<char> lReply;
    for (auto lDummy : aState) {
        for (int lIndex = 0; lIndex < lBatch; ++lIndex)
            gfWriteAll(lPair.mvFd, lFrame.data(), lFrame.size());
        gfWriteAll(lPair.mvFd, lSync.data(), lSync.size());
        lPair.mvReader->mfNext(lReply);
    }
    aState.SetBytesProcessed(aState.iterations() * lBatch * static_cast<int64_t>(lSize));
}
BENCHMARK(BM_RawThroughput)->Arg(1024)->Arg(61440)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication lApplication(argc, argv);
    if (argc == 4 && std::strcmp(argv[1], "--peer") == 0) {
        if (std::strcmp(argv[2], "raw") == 0)
            return gfRunRawPeer(QByteArray(argv[3]));
        return gfRunChannelPeer(QString::fromLocal8Bit(argv[3]));
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
