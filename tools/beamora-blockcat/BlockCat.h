#ifndef BLOCKCAT_H
#define BLOCKCAT_H

#include "UBXConnectionDelegate.h"
#include "UBXIncomingConnectionHandler.h"

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QStringList>

class UBXAbstractConnection;

// The engine of beamora-blockcat: wraps every connection it is given in a
// UBXConnection and reports what happens as one JSON object per line on its
// output descriptor ("established", "block", "error", "lost", "bandwidth",
// "closed", and "accepted" for connections a server hands over).
class BlockCat : public QObject, public UBXIncomingConnectionHandler, public UBXConnectionDelegate
{
    Q_OBJECT
public:
    struct Options
    {
        bool mvWithBlockType = false;
        // Descriptors a server's connection must carry; empty takes any.
        QStringList mvAccepted;
        // Sent as one data block to each connection once it is established.
        bool mvSendFile = false;
        QByteArray mvFileData;
        quint8 mvFileType = 0;
        // 0 leaves bandwidth measurement off.
        quint32 mvBandwidthIntervalMs = 0;
        bool mvCloseOnError = false;
    };

    BlockCat(const Options& aOptions, int aOutputFd);
    ~BlockCat() override;

    void mpWriteEvent(const QString& aJsonObject);
    // Takes the transport over; server-side transports are connected already.
    void mpAddConnection(UBXAbstractConnection* apTransport, bool abConnected);
    // Every line, without its line feed, as a text message of type 0 to every
    // established connection.
    void mpSendLine(const QString& aLine);

    bool gfHandleIncomingConnection(UBXNetworkConnection* apConnection,
                                    const QString& aDescriptor) override;

    void mpConnectionEstablished(UBXConnection* apConnection) override;
    void mpConnectionLost(UBXConnection* apConnection) override;
    void mpConnectionError(UBXConnection* apConnection, const QString& aError) override;
    void mpDataBlockReceived(UBXConnection* apConnection, const QByteArray& aData,
                             quint8 aType) override;

private:
    struct Entry
    {
        int mvId;
        bool mvEstablished;
    };

    Options mvOptions;
    int mvOutputFd;
    int mvNextId = 1;
    QHash<UBXConnection*, Entry> mvConnections;
};

#endif
