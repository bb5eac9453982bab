#ifndef UBXUDPNETWORKCONNECTION_H
#define UBXUDPNETWORKCONNECTION_H

#include "UBXAbstractUDPConnection.h"
#include "UBXCommExport.h"

#include <QHostAddress>

class QUdpSocket;

// Datagrams over a UDP socket bound to 127.0.0.1 at the local port, whatever
// the remote address: the channel serves processes of this machine, and the
// loopback binding keeps it unreachable from outside. A failed bind leaves an
// object that can send but never announces datagrams; nothing is reported.
class UBXCOMM_EXPORT UBXUDPNetworkConnection : public UBXAbstractUDPConnection
{
    Q_OBJECT
public:
    UBXUDPNetworkConnection(const QString& aAddress, quint16 aRemotePort, quint16 aLocalPort);
    ~UBXUDPNetworkConnection() override;

    bool gfSendDatagram(const char* apData, qint64 aLength) override;
    bool gfReadDatagram(char* apBuffer, qint64 aBufferSize, qint64& aSize) override;

    // The port actually bound: differs from the one asked for when that was 0,
    // and is 0 when binding failed.
    quint16 mfGetLocalPort() const;

private:
    QUdpSocket* mvpUdpSocket;
    QHostAddress mvRemoteAddress;
    quint16 mvRemotePort;
    quint16 mvLocalPort;
};

#endif
