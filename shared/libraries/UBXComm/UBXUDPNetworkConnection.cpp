#include "UBXUDPNetworkConnection.h"

#include <QUdpSocket>

UBXUDPNetworkConnection::UBXUDPNetworkConnection(const QString& aAddress, quint16 aRemotePort,
                                                 quint16 aLocalPort)
    : UBXAbstractUDPConnection(nullptr), mvpUdpSocket(new QUdpSocket), mvRemoteAddress(aAddress),
      mvRemotePort(aRemotePort), mvLocalPort(aLocalPort)
{
    if (mvpUdpSocket->bind(QHostAddress(QHostAddress::LocalHost), mvLocalPort))
        connect(mvpUdpSocket, &QUdpSocket::readyRead, this,
                &UBXAbstractUDPConnection::sgDatagramAvailable);
}

UBXUDPNetworkConnection::~UBXUDPNetworkConnection()
{
    delete mvpUdpSocket;
}

bool UBXUDPNetworkConnection::gfSendDatagram(const char* apData, qint64 aLength)
{
    return mvpUdpSocket->writeDatagram(apData, aLength, mvRemoteAddress, mvRemotePort) == aLength;
}

bool UBXUDPNetworkConnection::gfReadDatagram(char* apBuffer, qint64 aBufferSize, qint64& aSize)
{
    const qint64 lPending = mvpUdpSocket->pendingDatagramSize();
    if (lPending < 0) {
        aSize = 0;
        return false;
    }
    if (lPending > aBufferSize) {
        aSize = lPending;
        return false;
    }
    const qint64 lRead = mvpUdpSocket->readDatagram(apBuffer, aBufferSize);
    aSize = qMax<qint64>(0, lRead);
    return lRead >= 0;
}

quint16 UBXUDPNetworkConnection::mfGetLocalPort() const
{
    return mvpUdpSocket->localPort();
}
