#ifndef UBXLOCALCOMMUNICATION_H
#define UBXLOCALCOMMUNICATION_H

#include "UBXCommExport.h"

#include <QObject>
#include <QString>

#include <vector>

class QLocalServer;
class QLocalSocket;
class UBXLocalCommunicationConnection;

enum UBXCommunicationRole : uint
{
    UBXRoleClient = 1,
    UBXRoleServer = 2,
    UBXRoleNone = 3
};

enum UBXStartMode : uint
{
    // Connect to the name's server, or become it.
    UBXStartAutomatic = 0,
    UBXStartClientOnly = 1,
    UBXStartServerOnly = 2
};

// A named message channel between the processes of one machine. The first
// process to open a name becomes its server; later ones connect as clients.
// Messages use the framing of UBXMessageStream. Used on the main thread only:
// connecting blocks the caller for up to 500 ms, everything else arrives through
// the event loop.
class UBXCOMM_EXPORT UBXLocalCommunication : public QObject
{
    Q_OBJECT
public:
    // Opens nothing yet; the role is UBXRoleNone.
    explicit UBXLocalCommunication(const QString& aServerName);
    // Stops the channel. Messages already sent are written out first, within a
    // short bound, so "send, then destroy" reaches a listening peer.
    ~UBXLocalCommunication() override;

    // At most two attempts: a socket file whose server is gone blocks
    // listening, so it is removed and the whole mode is tried once more.
    // Client-only mode never touches the file system. True with role client
    // or server, false with UBXRoleNone; an unknown mode fails at once.
    bool mpStartCommunication(UBXStartMode aMode);
    UBXCommunicationRole gfGetRole() const { return mvRole; }
    uint gfGetNumberOfConnections() const { return static_cast<uint>(mvConnections.size()); }

    // To the server as a client, to every client as the server; without a
    // connection the message is dropped silently.
    void gpSendMessage(const QString& aMessage);
    // As a server: drops the server only (later, through the event loop) and
    // keeps the connections. Otherwise: closes every connection at once,
    // without announcing the change of their number. The role is kept.
    void mpStopCommunication();

Q_SIGNALS:
    // Messages of every connection, whatever the role.
    void sgMessageReceivedFromOtherInstance(QString acMessage);
    void sgNumberOfConnectionsChanged(uint aOldNumberOfConnections, uint aNewNumberOfConnections);

public Q_SLOTS:
    void mpOnNewLocalSocketConnection();
    void mpOnConnectionDisconnected();
    void mpAddConnection(QLocalSocket* apConnection);
    // Idempotent: a peer that fails reports an error and then a disconnection.
    void mpRemoveConnection(UBXLocalCommunicationConnection* apConnection);

private:
    bool mpTryToConnect();
    bool mpTryToCreateServer();
    // At once and without announcing the change of their number.
    void mpCloseConnections();
    void mpLog(const QString& aText);

    QString mvServerName;
    QLocalServer* mvServer = nullptr;
    std::vector<UBXLocalCommunicationConnection*> mvConnections;
    UBXCommunicationRole mvRole = UBXRoleNone;
};

#endif
