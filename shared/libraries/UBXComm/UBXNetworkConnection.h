#ifndef UBXNETWORKCONNECTION_H
#define UBXNETWORKCONNECTION_H

#include "UBXAbstractConnection.h"
#include "UBXCommExport.h"

#include <QAbstractSocket>

class QTimer;
class UBXMessageStream;
class UBXTcpSocket;

// A TCP connection that begins with a descriptor handshake: the connecting
// side first writes one framed text message (UBXMessageStream framing) naming
// what the connection is for; everything after it belongs to whoever takes
// the connection over (usually a UBXConnection).
//
// Server side, the descriptor must arrive within 2,000 ms, otherwise the
// descriptor becomes "not_received" and sgError("No descriptor received") is
// emitted. Socket errors become sgError with the error's name
// ("ConnectionRefusedError" ...); the connection stays and its owner decides.
class UBXCOMM_EXPORT UBXNetworkConnection : public UBXAbstractConnection
{
    Q_OBJECT
public:
    // Server side, over an accepted socket, which becomes a child of the
    // connection. The descriptor timer starts at once; call
    // mpStartDescriptorRead() to read the handshake.
    explicit UBXNetworkConnection(UBXTcpSocket* apSocket);
    // Client side, not yet connected. An empty descriptor sends nothing.
    UBXNetworkConnection(const QString& aHost, quint16 aPort, const QString& aDescriptor);
    ~UBXNetworkConnection() override;

    // Server side: reads exactly one message, the descriptor; the bytes behind
    // it stay in the socket. Results arrive through the event loop
    // (sgDescriptorReceived or sgError), never inside this call.
    void mpStartDescriptorRead();
    QString mfGetDescriptor() const { return mvDescriptor; }

    qint64 mfWrite(const QByteArray& aData) override;
    qint64 mfWrite(const char* apData, qint64 aLength) override;
    qint64 mfBytesAvailable() override;
    bool mfIsReserved() override;
    qint64 mfRead(char* apData, qint64 aMaxSize) override;
    QByteArray mfRead(qint64 aMaxSize) override;
    QByteArray mfReadAll() override;
    bool mfFlush() override;

    bool mfIsConnected() override;
    void gpConnect() override;
    void gpDisconnect() override;
    QString mfGetPeerAddress() override;

    // The name of a socket error number; unknown numbers give
    // "UnknownSocketError".
    static QString gfSocketErrorName(int aSocketError);

Q_SIGNALS:
    void sgDescriptorReceived(QString aDescriptor);

public Q_SLOTS:
    void mpOnSocketConnectionEstablished();
    void mpOnSocketConnectionLost();
    void mpOnSocketConnectionDataAvailable();
    void mpOnSocketConnectionError(QAbstractSocket::SocketError aSocketError);
    void mpOnMessageReceived(QString aMessage);
    void mpOnDescriptorTimeout();
    void mpOnMessageStreamError(QString aError);

private:
    void mpConnectSocket();
    void mpDestroyStream();

    UBXTcpSocket* mvpSocket;
    QString mvDescriptor;
    QTimer* mvpDescriptorTimer = nullptr;
    bool mvIsClientSide;
    QString mvHost;
    quint16 mvPort = 0;
    UBXMessageStream* mvpMessageStream = nullptr;
};

#endif
