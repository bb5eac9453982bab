#include "UBXNetworkConnection.h"

#include "ICLoggerModel.h"
#include "UBXMessageStream.h"
#include "UBXTcpSocket.h"

#include <QTimer>

namespace {
constexpr int cDescriptorTimeoutMs = 2000;
} // namespace

UBXNetworkConnection::UBXNetworkConnection(UBXTcpSocket* apSocket)
    : UBXAbstractConnection(nullptr), mvpSocket(apSocket), mvIsClientSide(false)
{
    mvpDescriptorTimer = new QTimer(this);
    mvpDescriptorTimer->setSingleShot(true);
    mvpDescriptorTimer->setInterval(cDescriptorTimeoutMs);
    connect(mvpDescriptorTimer, &QTimer::timeout, this,
            &UBXNetworkConnection::mpOnDescriptorTimeout, Qt::QueuedConnection);
    mvpDescriptorTimer->start();
    mvpSocket->setParent(this);
    mpConnectSocket();
}

UBXNetworkConnection::UBXNetworkConnection(const QString& aHost, quint16 aPort,
                                           const QString& aDescriptor)
    : UBXAbstractConnection(nullptr), mvpSocket(new UBXTcpSocket(this)), mvDescriptor(aDescriptor),
      mvIsClientSide(true), mvHost(aHost), mvPort(aPort)
{
    mpConnectSocket();
    if (!mvDescriptor.isEmpty()) {
        mvpMessageStream = new UBXMessageStream(this);
        connect(mvpMessageStream, &UBXMessageStream::sgErrorEncountered, this,
                &UBXNetworkConnection::mpOnMessageStreamError);
    }
}

UBXNetworkConnection::~UBXNetworkConnection()
{
    disconnect(mvpSocket, nullptr, this, nullptr);
    mvpSocket->close();
    delete mvpDescriptorTimer;
    mpDestroyStream();
    mvpSocket->abort();
}

void UBXNetworkConnection::mpConnectSocket()
{
    connect(mvpSocket, &QTcpSocket::connected, this,
            &UBXNetworkConnection::mpOnSocketConnectionEstablished);
    connect(mvpSocket, &QTcpSocket::disconnected, this,
            &UBXNetworkConnection::mpOnSocketConnectionLost);
    connect(mvpSocket, &QTcpSocket::errorOccurred, this,
            &UBXNetworkConnection::mpOnSocketConnectionError);
    connect(mvpSocket, &QTcpSocket::readyRead, this,
            &UBXNetworkConnection::mpOnSocketConnectionDataAvailable);
}

void UBXNetworkConnection::mpDestroyStream()
{
    if (!mvpMessageStream)
        return;
    disconnect(mvpMessageStream, nullptr, this, nullptr);
    mvpMessageStream->mpStopListening();
    delete mvpMessageStream;
    mvpMessageStream = nullptr;
}

void UBXNetworkConnection::mpStartDescriptorRead()
{
    if (mvpMessageStream)
        return;
    mvpMessageStream = new UBXMessageStream(this);
    // Queued: the connection may be destroyed in reaction, which must not
    // happen inside the stream's own emission.
    connect(mvpMessageStream, &UBXMessageStream::sgMessageReceived, this,
            &UBXNetworkConnection::mpOnMessageReceived, Qt::QueuedConnection);
    connect(mvpMessageStream, &UBXMessageStream::sgErrorEncountered, this,
            &UBXNetworkConnection::mpOnMessageStreamError, Qt::QueuedConnection);
    mvpMessageStream->mpStartListening(true);
}

qint64 UBXNetworkConnection::mfWrite(const QByteArray& aData)
{
    return mvpSocket->write(aData);
}

qint64 UBXNetworkConnection::mfWrite(const char* apData, qint64 aLength)
{
    return mvpSocket->write(apData, aLength);
}

qint64 UBXNetworkConnection::mfBytesAvailable()
{
    return mvpSocket->bytesAvailable();
}

bool UBXNetworkConnection::mfIsReserved()
{
    return false;
}

qint64 UBXNetworkConnection::mfRead(char* apData, qint64 aMaxSize)
{
    return mvpSocket->read(apData, aMaxSize);
}

QByteArray UBXNetworkConnection::mfRead(qint64 aMaxSize)
{
    return mvpSocket->read(aMaxSize);
}

QByteArray UBXNetworkConnection::mfReadAll()
{
    return mvpSocket->readAll();
}

bool UBXNetworkConnection::mfFlush()
{
    return mvpSocket->flush();
}

bool UBXNetworkConnection::mfIsConnected()
{
    return mvpSocket->state() == QAbstractSocket::ConnectedState;
}

void UBXNetworkConnection::gpConnect()
{
    mvpSocket->connectToHost(mvHost, mvPort, QIODevice::ReadWrite);
}

void UBXNetworkConnection::gpDisconnect()
{
    mvpSocket->close();
}

QString UBXNetworkConnection::mfGetPeerAddress()
{
    return mvpSocket->peerAddress().toString();
}

QString UBXNetworkConnection::gfSocketErrorName(int aSocketError)
{
    static const char* const sNames[] = {"ConnectionRefusedError",
                                         "RemoteHostClosedError",
                                         "HostNotFoundError",
                                         "SocketAccessError",
                                         "SocketResourceError",
                                         "SocketTimeoutError",
                                         "DatagramTooLargeError",
                                         "NetworkError",
                                         "AddressInUseError",
                                         "SocketAddressNotAvailableError",
                                         "UnsupportedSocketOperationError",
                                         "UnfinishedSocketOperationError",
                                         "ProxyAuthenticationRequiredError"};
    if (aSocketError < 0 || aSocketError >= int(std::size(sNames)))
        return QStringLiteral("UnknownSocketError");
    return QString::fromLatin1(sNames[aSocketError]);
}

void UBXNetworkConnection::mpOnSocketConnectionEstablished()
{
    if (mvpMessageStream) {
        mvpMessageStream->gpSendMessage(mvDescriptor);
        mpDestroyStream();
    }
    Q_EMIT sgConnected();
}

void UBXNetworkConnection::mpOnSocketConnectionLost()
{
    ICLoggerModel::instance()->mpLog(
        Debug, QStringLiteral("[UBXNetworkConnection::mpOnSocketConnectionLost]"), 0);
    Q_EMIT sgDisconnected();
}

void UBXNetworkConnection::mpOnSocketConnectionDataAvailable()
{
    Q_EMIT sgReadyRead();
}

void UBXNetworkConnection::mpOnSocketConnectionError(QAbstractSocket::SocketError aSocketError)
{
    Q_EMIT sgError(gfSocketErrorName(aSocketError));
}

void UBXNetworkConnection::mpOnMessageReceived(QString aMessage)
{
    ICLoggerModel::instance()->mpLog(
        Debug,
        QStringLiteral("[UBXNetworkConnection::mpOnMessageReceived] Connection: %1, aMessage: %2")
            .arg(mvDescriptor, aMessage),
        0);
    delete mvpDescriptorTimer;
    mvpDescriptorTimer = nullptr;
    mpDestroyStream();
    mvDescriptor = aMessage;
    Q_EMIT sgDescriptorReceived(mvDescriptor);
}

void UBXNetworkConnection::mpOnDescriptorTimeout()
{
    // The queued time-out can arrive after the descriptor did.
    if (!mvpDescriptorTimer)
        return;
    delete mvpDescriptorTimer;
    mvpDescriptorTimer = nullptr;
    mvDescriptor = QStringLiteral("not_received");
    Q_EMIT sgError(QStringLiteral("No descriptor received"));
}

void UBXNetworkConnection::mpOnMessageStreamError(QString aError)
{
    ICLoggerModel::instance()->mpLog(
        Error,
        QStringLiteral("[UBXNetworkConnection::mpOnMessageStreamError] Connection: %1, Error: "
                       "<<%2>>.")
            .arg(mvDescriptor, aError),
        0);
    Q_EMIT sgError(aError);
}
