#include "UBXLocalCommunicationConnection.h"

#include "UBXLocalSocketConnectionIODevice.h"
#include "UBXMessageStream.h"

#include <QDeadlineTimer>
#include <QLocalSocket>

namespace {
// Long enough for the kernel to take any short message; a peer that stops
// reading cannot hold the destroying thread for longer than this.
constexpr int cTeardownWriteWaitMs = 250;
} // namespace

UBXLocalCommunicationConnection::UBXLocalCommunicationConnection(QLocalSocket* apSocket)
    : QObject(nullptr), mvSocket(apSocket)
{
    mvSocket->setParent(this);
    connect(mvSocket, &QLocalSocket::disconnected, this,
            &UBXLocalCommunicationConnection::sgDisconnected);
    connect(mvSocket, &QLocalSocket::errorOccurred, this,
            &UBXLocalCommunicationConnection::sgDisconnected);
    mvDevice = new UBXLocalSocketConnectionIODevice(mvSocket);
    mvStream = new UBXMessageStream(mvDevice);
    connect(mvStream, &UBXMessageStream::sgMessageReceived, this,
            &UBXLocalCommunicationConnection::sgMessageReceived);
    mvStream->mpStartListening(false);
}

UBXLocalCommunicationConnection::~UBXLocalCommunicationConnection()
{
    // The socket's closing would otherwise report a disconnection of an
    // object that is already half destroyed.
    mvSocket->disconnect(this);
    delete mvStream;
    delete mvDevice;
    if (mvSocket->state() == QLocalSocket::ConnectedState) {
        const QDeadlineTimer lDeadline(cTeardownWriteWaitMs);
        mvSocket->flush();
        while (mvSocket->bytesToWrite() > 0 && !lDeadline.hasExpired()) {
            if (!mvSocket->waitForBytesWritten(static_cast<int>(lDeadline.remainingTime())))
                break;
        }
    }
    delete mvSocket;
}
