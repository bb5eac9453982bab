#ifndef UBXPREFIXEDCONNECTIONCLIENT_H
#define UBXPREFIXEDCONNECTIONCLIENT_H

#include "UBXCommExport.h"
#include "UBXConnectionClient.h"

// Puts "prefix/" in front of every descriptor and otherwise forwards to the
// wrapped client, so that one server can tell apart several users of the same
// descriptors. gfSplitDescriptor() undoes it on the accepting side.
class UBXCOMM_EXPORT UBXPrefixedConnectionClient : public UBXConnectionClient
{
    Q_OBJECT
public:
    // The wrapped client is not owned and must outlive this one. An empty
    // prefix passes descriptors unchanged.
    UBXPrefixedConnectionClient(UBXConnectionClient* apClient, const QString& aPrefix);
    ~UBXPrefixedConnectionClient() override;

    void gpSetHost(const QString& aHost) override;
    UBXNetworkConnection* gfCreateConnection(const QString& aDescriptor,
                                             const QString& aAddress) override;
    UBXUDPNetworkConnection* gfCreateUDPConnection(const QString& aAddress, quint16 aRemotePort,
                                                   quint16 aLocalPort) override;

    // Splits at the first "/"; false, and the outputs untouched, without one.
    static bool gfSplitDescriptor(const QString& aDescriptor, QString& aPrefix, QString& aRest);

private:
    UBXConnectionClient* mvpClient;
    QString mvPrefix;
};

#endif
