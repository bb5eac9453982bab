#ifndef UBXNETWORKCONNECTIONCLIENT_H
#define UBXNETWORKCONNECTIONCLIENT_H

#include "UBXCommExport.h"
#include "UBXConnectionClient.h"

// Creates TCP connections from addresses "host" or "host:port" (port 9876
// when none is given) and UDP channels.
class UBXCOMM_EXPORT UBXNetworkConnectionClient : public UBXConnectionClient
{
    Q_OBJECT
public:
    explicit UBXNetworkConnectionClient(QObject* apParent = nullptr);
    ~UBXNetworkConnectionClient() override;

    // Kept for the owner (mfGetHost); connections take their host from the
    // address they are created with.
    void gpSetHost(const QString& aHost) override;
    QString mfGetHost() const { return mvHost; }
    // Empty parts of the address are skipped, so "" and ":" give null. A port
    // that is not a decimal 16-bit number reads as 0.
    UBXNetworkConnection* gfCreateConnection(const QString& aDescriptor,
                                             const QString& aAddress) override;
    UBXUDPNetworkConnection* gfCreateUDPConnection(const QString& aAddress, quint16 aRemotePort,
                                                   quint16 aLocalPort) override;

private:
    QString mvHost;
};

#endif
