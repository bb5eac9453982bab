#ifndef PEERPROTOCOL_H
#define PEERPROTOCOL_H

#include <QByteArray>

// What the channel tests and their peer process (ubxcomm_peer) agree on.
namespace PeerProtocol {

constexpr int cTimeoutMs = 30000;

enum ExitCode
{
    ExitOk = 0,
    ExitUsage = 1,
    ExitNoConnection = 2,
    ExitWrongRole = 4,
    ExitMissingMessage = 5
};

// A message as it travels: 2-byte big-endian length, then the bytes.
inline QByteArray gfFrame(const QByteArray& aPayload)
{
    const char lHeader[] = {char(aPayload.size() >> 8), char(aPayload.size() & 0xFF)};
    return QByteArray(lHeader, 2).append(aPayload);
}

} // namespace PeerProtocol

#endif
