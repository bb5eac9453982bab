#ifndef UBXLOCALCOMMUNICATIONCONNECTION_H
#define UBXLOCALCOMMUNICATIONCONNECTION_H

#include "UBXCommExport.h"

#include <QObject>
#include <QString>

class QLocalSocket;
class UBXLocalSocketConnectionIODevice;
class UBXMessageStream;

// One peer of a local channel: the socket, the device over it and the message
// stream over that device, all owned. The stream listens from construction on.
class UBXCOMM_EXPORT UBXLocalCommunicationConnection : public QObject
{
    Q_OBJECT
public:
    // Takes the socket over, also from a QLocalServer that created it as its
    // child, so that the server can go away before its connections.
    explicit UBXLocalCommunicationConnection(QLocalSocket* apSocket);
    // Writes out what is still queued on a connected socket (bounded by a
    // short wait) before closing it: a message sent just before the channel is
    // destroyed still reaches a reading peer.
    ~UBXLocalCommunicationConnection() override;

    // Frames the message and writes it to the socket without waiting for the
    // event loop; never blocks (what the socket does not take now is written
    // from the event loop).
    void gpSendMessage(const QString& aMessage);

Q_SIGNALS:
    void sgMessageReceived(QString aMessage);
    // Also emitted for every socket error, so one peer can report it twice.
    // Complete messages still buffered are delivered before it.
    void sgDisconnected();

private:
    void mpOnSocketGone();
    void mpWritePending();

    QLocalSocket* mvSocket;
    UBXLocalSocketConnectionIODevice* mvDevice;
    UBXMessageStream* mvStream;
    bool mvWriteScheduled = false;
};

#endif
