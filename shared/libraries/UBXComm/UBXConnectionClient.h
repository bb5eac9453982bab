#ifndef UBXCONNECTIONCLIENT_H
#define UBXCONNECTIONCLIENT_H

#include "UBXCommExport.h"

#include <QObject>
#include <QString>

class UBXNetworkConnection;
class UBXUDPNetworkConnection;

// A factory of outgoing connections. The caller owns what it creates.
class UBXCOMM_EXPORT UBXConnectionClient : public QObject
{
    Q_OBJECT
public:
    explicit UBXConnectionClient(QObject* apParent = nullptr);
    ~UBXConnectionClient() override;

    virtual void gpSetHost(const QString& aHost) = 0;
    // A client-side connection, not yet connected, that will send aDescriptor;
    // null when aAddress names no host.
    virtual UBXNetworkConnection* gfCreateConnection(const QString& aDescriptor,
                                                     const QString& aAddress) = 0;
    virtual UBXUDPNetworkConnection*
    gfCreateUDPConnection(const QString& aAddress, quint16 aRemotePort, quint16 aLocalPort) = 0;
};

#endif
