#ifndef UBXCONNECTIONDELEGATE_H
#define UBXCONNECTIONDELEGATE_H

#include "UBXCommExport.h"

#include <QByteArray>
#include <QString>

class UBXConnection;

// Receives everything a UBXConnection reports, on the connection's thread.
// A delegate must not destroy the connection inside one of these calls
// (deleteLater() is fine): the connection is still reading.
class UBXCOMM_EXPORT UBXConnectionDelegate
{
public:
    virtual ~UBXConnectionDelegate();

    virtual void mpConnectionEstablished(UBXConnection* apConnection) = 0;
    // The transport disconnected, or nothing arrived for more than 2,000 ms.
    virtual void mpConnectionLost(UBXConnection* apConnection) = 0;
    // A transport error, or a refused block header. The connection never
    // closes its transport itself; that is the delegate's decision.
    virtual void mpConnectionError(UBXConnection* apConnection, const QString& aError) = 0;
    // A complete block of at least one byte; aType is 0 without block types.
    virtual void mpDataBlockReceived(UBXConnection* apConnection, const QByteArray& aData,
                                     quint8 aType) = 0;
};

#endif
