#include "UBXConnectionServer.h"

#include "ICLoggerModel.h"
#include "UBXIncomingConnectionHandler.h"
#include "UBXNetworkConnection.h"
#include "UBXTcpSocket.h"

#include <algorithm>

#include <malloc.h>

UBXConnectionServer::UBXConnectionServer(int aNumber) : QTcpServer(nullptr), mvNumber(aNumber)
{
    connect(this, &QTcpServer::newConnection, this, &UBXConnectionServer::mpOnNewConnection);
}

UBXConnectionServer::~UBXConnectionServer()
{
    for (UBXNetworkConnection* lConnection : mvPendingConnections)
        delete lConnection;
}

void UBXConnectionServer::mpAddHandler(UBXIncomingConnectionHandler* apHandler)
{
    if (std::find(mvHandlers.begin(), mvHandlers.end(), apHandler) == mvHandlers.end())
        mvHandlers.push_back(apHandler);
}

void UBXConnectionServer::mpRemoveHandler(UBXIncomingConnectionHandler* apHandler)
{
    mvHandlers.erase(std::remove(mvHandlers.begin(), mvHandlers.end(), apHandler),
                     mvHandlers.end());
}

void UBXConnectionServer::incomingConnection(qintptr aSocketDescriptor)
{
    ICLoggerModel::instance()->mpLog(
        Debug,
        QStringLiteral("[UBXConnectionServer::incomingConnection] aSocketDescriptor: %1.")
            .arg(aSocketDescriptor),
        0);
    auto* lSocket = new UBXTcpSocket(this);
    lSocket->setSocketDescriptor(aSocketDescriptor, QAbstractSocket::ConnectedState,
                                 QIODevice::ReadWrite);
    addPendingConnection(lSocket);
}

void UBXConnectionServer::mpOnNewConnection()
{
    while (hasPendingConnections()) {
        // Every pending socket was made by incomingConnection().
        auto* lSocket = static_cast<UBXTcpSocket*>(nextPendingConnection());
        auto* lConnection = new UBXNetworkConnection(lSocket);
        mvPendingConnections.push_back(lConnection);
        connect(lConnection, &UBXNetworkConnection::sgDescriptorReceived, this,
                &UBXConnectionServer::mpOnDescriptorReceived);
        connect(lConnection, &UBXNetworkConnection::sgError, this,
                &UBXConnectionServer::mpOnConnectionError);
        connect(lConnection, &UBXNetworkConnection::sgDisconnected, this,
                &UBXConnectionServer::mpOnConnectionDisconnected);
        lConnection->mpStartDescriptorRead();
    }
}

UBXNetworkConnection* UBXConnectionServer::mfTakePendingSender()
{
    auto* lSender = qobject_cast<UBXNetworkConnection*>(sender());
    const auto lFound =
        std::find(mvPendingConnections.begin(), mvPendingConnections.end(), lSender);
    if (lFound == mvPendingConnections.end())
        return nullptr;
    mvPendingConnections.erase(lFound);
    // A crowd of connections that came and went leaves the heap in pieces
    // that the allocator keeps; once the last pending one is gone (deleted
    // before this queued call runs), its free pages go back to the system.
    if (mvPendingConnections.empty())
        QMetaObject::invokeMethod(
            this, [] { malloc_trim(0); }, Qt::QueuedConnection);
    return lSender;
}

void UBXConnectionServer::mpOnDescriptorReceived(QString aDescriptor)
{
    UBXNetworkConnection* lConnection = mfTakePendingSender();
    if (!lConnection)
        return;
    // The server lets go of the connection before any handler sees it, so a
    // handler that takes it answers to nobody but itself.
    disconnect(lConnection, nullptr, this, nullptr);
    for (UBXIncomingConnectionHandler* lHandler : mvHandlers) {
        if (lHandler->gfHandleIncomingConnection(lConnection, aDescriptor))
            return;
    }
    ICLoggerModel::instance()->mpLog(
        Debug,
        QStringLiteral("Deleting unhandled connection with descriptor <<%1>>").arg(aDescriptor), 0);
    // Later: we are inside the connection's own emission.
    lConnection->deleteLater();
}

void UBXConnectionServer::mpOnConnectionError(QString aErrorMessage)
{
    UBXNetworkConnection* lConnection = mfTakePendingSender();
    if (!lConnection)
        return;
    ICLoggerModel::instance()->mpLog(
        Debug,
        QStringLiteral("[UBXConnectionServer::mpOnConnectionError] Pending incoming connection "
                       "closed before descriptor was received due to error <<%1>>.")
            .arg(aErrorMessage),
        0);
    disconnect(lConnection, nullptr, this, nullptr);
    lConnection->deleteLater();
}

void UBXConnectionServer::mpOnConnectionDisconnected()
{
    mpOnConnectionError(QStringLiteral("disconnected"));
}
