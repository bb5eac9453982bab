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

    UBXMessageStream* mfGetMessageStream() const { return mvStream; }

Q_SIGNALS:
    void sgMessageReceived(QString aMessage);
    // Also emitted for every socket error, so one peer can report it twice.
    void sgDisconnected();

private:
    QLocalSocket* mvSocket;
    UBXLocalSocketConnectionIODevice* mvDevice;
    UBXMessageStream* mvStream;
};

#endif
