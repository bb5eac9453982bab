#include "UBXLocalCommunicationConnection.h"

#include "UBXLocalSocketConnectionIODevice.h"
#include "UBXMessageStream.h"

#include <QDeadlineTimer>
#include <QLocalSocket>
#include <QPointer>

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
            &UBXLocalCommunicationConnection::mpOnSocketGone);
    connect(mvSocket, &QLocalSocket::errorOccurred, this,
            &UBXLocalCommunicationConnection::mpOnSocketGone);
    mvDevice = new UBXLocalSocketConnectionIODevice(mvSocket);
    mvStream = new UBXMessageStream(mvDevice);
    connect(mvStream, &UBXMessageStream::sgMessageReceived, this,
            &UBXLocalCommunicationConnection::sgMessageReceived);
    mvStream->mpStartListening(false);
}

void UBXLocalCommunicationConnection::mpOnSocketGone()
{
    // The stream takes one message per event-loop pass, but whoever owns us
    // deletes us on the coming pass: hand out what arrived before the end of
    // the stream now, or a peer's last messages before closing are lost.
    const QPointer<UBXLocalCommunicationConnection> lAlive(this);
    qint64 lLeft = mvDevice->mfBytesAvailable();
    while (lLeft > 0) {
        mvStream->mpOnDataAvailable();
        if (!lAlive)
            return;
        const qint64 lBefore = lLeft;
        lLeft = mvDevice->mfBytesAvailable();
        if (lLeft == lBefore)
            break;
    }
    Q_EMIT sgDisconnected();
}

void UBXLocalCommunicationConnection::gpSendMessage(const QString& aMessage)
{
    mvStream->gpSendMessage(aMessage);
    if (mvWriteScheduled)
        return;
    // The socket alone would write one buffered piece per event-loop pass, and
    // the stream writes each message in two. So the first message of a pass
    // leaves at once, and what follows it in the same pass is written in one
    // go when the pass ends.
    mvSocket->flush();
    mvWriteScheduled = true;
    QMetaObject::invokeMethod(this, &UBXLocalCommunicationConnection::mpWritePending,
                              Qt::QueuedConnection);
}

void UBXLocalCommunicationConnection::mpWritePending()
{
    mvWriteScheduled = false;
    mvSocket->flush();
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
