#ifndef UBXCONNECTIONSERVER_H
#define UBXCONNECTIONSERVER_H

#include "UBXCommExport.h"

#include <QString>
#include <QTcpServer>

#include <vector>

class UBXIncomingConnectionHandler;
class UBXNetworkConnection;

// Accepts TCP connections, waits for each one's descriptor (at most 2,000 ms)
// and offers the connection to the registered handlers in registration order.
// A connection no handler takes, or that fails or closes before its descriptor
// arrived, is destroyed; so a peer that connects and says nothing costs the
// server one socket for 2 seconds, and once no connection is pending the
// memory they used goes back to the system. Listening, address and port are
// those of QTcpServer.
class UBXCOMM_EXPORT UBXConnectionServer : public QTcpServer
{
    Q_OBJECT
public:
    // aNumber is kept for the owner (mfGetNumber) and not used by the server.
    explicit UBXConnectionServer(int aNumber);
    // Destroys the connections still waiting for their descriptor.
    ~UBXConnectionServer() override;

    int mfGetNumber() const { return mvNumber; }
    // Not owned; adding a handler twice keeps one entry.
    void mpAddHandler(UBXIncomingConnectionHandler* apHandler);
    void mpRemoveHandler(UBXIncomingConnectionHandler* apHandler);

public Q_SLOTS:
    void mpOnNewConnection();
    void mpOnDescriptorReceived(QString aDescriptor);
    void mpOnConnectionError(QString aErrorMessage);
    void mpOnConnectionDisconnected();

protected:
    void incomingConnection(qintptr aSocketDescriptor) override;

private:
    // Removes the sender from the pending list; null when it was not there.
    UBXNetworkConnection* mfTakePendingSender();

    int mvNumber;
    std::vector<UBXNetworkConnection*> mvPendingConnections;
    std::vector<UBXIncomingConnectionHandler*> mvHandlers;
};

#endif
