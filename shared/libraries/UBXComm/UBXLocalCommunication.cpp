#include "UBXLocalCommunication.h"

#include "ICLoggerModel.h"
#include "UBXLocalCommunicationConnection.h"

#include <QLocalServer>
#include <QLocalSocket>

#include <algorithm>

namespace {
constexpr int cConnectTimeoutMs = 500;
constexpr int cAttempts = 2;
} // namespace

UBXLocalCommunication::UBXLocalCommunication(const QString& aServerName)
    : QObject(nullptr), mvServerName(aServerName)
{}

UBXLocalCommunication::~UBXLocalCommunication()
{
    mpLog(QStringLiteral("[UBXLocalCommunication::UBXLocalCommunication] Begin"));
    mpStopCommunication();
    // A server keeps its connections through mpStopCommunication; they are
    // still ours to close.
    mpCloseConnections();
    mpLog(QStringLiteral("[UBXLocalCommunication::UBXLocalCommunication] End"));
}

bool UBXLocalCommunication::mpStartCommunication(UBXStartMode aMode)
{
    int lAttemptsLeft = cAttempts;
    for (;;) {
        delete mvServer;
        mvServer = nullptr;
        mvRole = UBXRoleNone;

        if (aMode != UBXStartAutomatic && aMode != UBXStartClientOnly &&
            aMode != UBXStartServerOnly)
            return false;

        if (aMode != UBXStartServerOnly) {
            if (mpTryToConnect()) {
                mpLog(QStringLiteral("[UBXLocalCommunication::mpStartCommunication] Connected with "
                                     "server in LocalCommunication."));
                mvRole = UBXRoleClient;
                return true;
            }
            if (aMode == UBXStartClientOnly)
                return false;
            mpLog(QStringLiteral("[UBXLocalCommunication::mpStartCommunication] Could not connect "
                                 "with server in LocalCommunication."));
        }
        if (mpTryToCreateServer()) {
            mpLog(QStringLiteral("[UBXLocalCommunication::mpStartCommunication] Server created in "
                                 "LocalCommunication."));
            mvRole = UBXRoleServer;
            return true;
        }

        mpLog(
            QStringLiteral("[UBXLocalCommunication::mpStartCommunication] Could not create server "
                           "in LocalCommunication."));
        mpLog(QStringLiteral(
            "[UBXLocalCommunication::mpStartCommunication] Attempting to remove server file."));
        if (!QLocalServer::removeServer(mvServerName))
            return false;
        mpLog(QStringLiteral(
            "[UBXLocalCommunication::mpStartCommunication] Server file removed successfully."));
        if (--lAttemptsLeft == 0)
            return false;
    }
}

void UBXLocalCommunication::gpSendMessage(const QString& aMessage)
{
    ICLoggerModel* lLog = ICLoggerModel::instance();
    // The text is built only when someone reads it: messages can be 64 KiB.
    if (lLog->mfIsDebugEnabled())
        lLog->mpLog(Debug,
                    QStringLiteral("Sending message <<%1>> to other side in LocalCommunication.")
                        .arg(aMessage),
                    0);
    for (UBXLocalCommunicationConnection* lConnection : mvConnections)
        lConnection->gpSendMessage(aMessage);
}

void UBXLocalCommunication::mpStopCommunication()
{
    mpLog(QStringLiteral("[UBXLocalCommunication::mpStopCommunication]"));
    if (mvServer) {
        mpLog(QStringLiteral("[UBXLocalCommunication::mpStopCommunication] Deleting server."));
        disconnect(mvServer, &QLocalServer::newConnection, this, nullptr);
        mvServer->deleteLater();
        mvServer = nullptr;
        return;
    }
    mpCloseConnections();
}

void UBXLocalCommunication::mpCloseConnections()
{
    // Emptied first: a closing socket must not find itself in the list.
    std::vector<UBXLocalCommunicationConnection*> lConnections;
    lConnections.swap(mvConnections);
    for (UBXLocalCommunicationConnection* lConnection : lConnections)
        delete lConnection;
}

void UBXLocalCommunication::mpOnNewLocalSocketConnection()
{
    while (mvServer && mvServer->hasPendingConnections()) {
        mpLog(QStringLiteral("New connection in LocalCommunication."));
        mpAddConnection(mvServer->nextPendingConnection());
    }
}

void UBXLocalCommunication::mpOnConnectionDisconnected()
{
    mpRemoveConnection(qobject_cast<UBXLocalCommunicationConnection*>(sender()));
}

void UBXLocalCommunication::mpAddConnection(QLocalSocket* apConnection)
{
    auto* lConnection = new UBXLocalCommunicationConnection(apConnection);
    connect(lConnection, &UBXLocalCommunicationConnection::sgDisconnected, this,
            &UBXLocalCommunication::mpOnConnectionDisconnected);
    connect(lConnection, &UBXLocalCommunicationConnection::sgMessageReceived, this,
            &UBXLocalCommunication::sgMessageReceivedFromOtherInstance);
    mvConnections.push_back(lConnection);
    const uint lCount = gfGetNumberOfConnections();
    Q_EMIT sgNumberOfConnectionsChanged(lCount - 1, lCount);
}

void UBXLocalCommunication::mpRemoveConnection(UBXLocalCommunicationConnection* apConnection)
{
    const auto lFound = std::find(mvConnections.begin(), mvConnections.end(), apConnection);
    if (lFound == mvConnections.end())
        return;
    apConnection->deleteLater();
    mvConnections.erase(lFound);
    const uint lCount = gfGetNumberOfConnections();
    Q_EMIT sgNumberOfConnectionsChanged(lCount + 1, lCount);
}

bool UBXLocalCommunication::mpTryToConnect()
{
    auto* lSocket = new QLocalSocket;
    lSocket->connectToServer(mvServerName, QIODevice::ReadWrite);
    if (lSocket->waitForConnected(cConnectTimeoutMs)) {
        mpAddConnection(lSocket);
        return true;
    }
    delete lSocket;
    return false;
}

bool UBXLocalCommunication::mpTryToCreateServer()
{
    mvServer = new QLocalServer(this);
    connect(mvServer, &QLocalServer::newConnection, this,
            &UBXLocalCommunication::mpOnNewLocalSocketConnection);
    if (mvServer->listen(mvServerName)) {
        mpLog(QStringLiteral("[UBXLocalCommunication::mpTryToCreateServer] Listening as server in "
                             "LocalCommunication."));
        return true;
    }
    mpLog(QStringLiteral("[UBXLocalCommunication::mpTryToCreateServer] Attempt to listen as server "
                         "in LocalCommunication failed."));
    return false;
}

void UBXLocalCommunication::mpLog(const QString& aText)
{
    ICLoggerModel::instance()->mpLog(Debug, aText, 0);
}
