#ifndef PEERPROTOCOL_H
#define PEERPROTOCOL_H

#include <QByteArray>

// What the channel tests and their peer process (ubxcomm_peer) agree on.
namespace PeerProtocol {

// The peer waits for this byte between the pieces it writes, so the test
// decides when the next piece may arrive.
constexpr char cAck = 'k';
constexpr int cTimeoutMs = 30000;

enum ExitCode
{
    ExitOk = 0,
    ExitUsage = 1,
    ExitNoConnection = 2,
    ExitNoAck = 3,
    ExitWrongRole = 4,
    ExitMissingMessage = 5
};

inline QByteArray gfFrame(const QByteArray& aPayload)
{
    QByteArray lFrame;
    lFrame.append(static_cast<char>((aPayload.size() >> 8) & 0xFF));
    lFrame.append(static_cast<char>(aPayload.size() & 0xFF));
    return lFrame.append(aPayload);
}

// The 256 bytes behind a zero-length header: every byte value once.
inline QByteArray gfZeroBlockTrailer()
{
    QByteArray lBytes;
    for (int lValue = 0; lValue < 256; ++lValue)
        lBytes.append(static_cast<char>(lValue));
    return lBytes;
}

// 42 bytes of payload; framed, they complete the 300 bytes after the header.
inline QByteArray gfZeroBlockFollower()
{
    return QByteArrayLiteral("the frame behind the discarded bytes: 42 b");
}

// 1,000 bytes of UTF-8 whose 3-byte characters straddle 100-byte pieces.
inline QByteArray gfSplitPayload()
{
    return QByteArray("\xE2\x82\xAC").repeated(333).append('!');
}

} // namespace PeerProtocol

#endif
