#include "UBXPrefixedConnectionClient.h"

UBXPrefixedConnectionClient::UBXPrefixedConnectionClient(UBXConnectionClient* apClient,
                                                         const QString& aPrefix)
    : UBXConnectionClient(nullptr), mvpClient(apClient), mvPrefix(aPrefix)
{}

UBXPrefixedConnectionClient::~UBXPrefixedConnectionClient() = default;

void UBXPrefixedConnectionClient::gpSetHost(const QString& aHost)
{
    mvpClient->gpSetHost(aHost);
}

UBXNetworkConnection* UBXPrefixedConnectionClient::gfCreateConnection(const QString& aDescriptor,
                                                                      const QString& aAddress)
{
    if (mvPrefix.isEmpty())
        return mvpClient->gfCreateConnection(aDescriptor, aAddress);
    return mvpClient->gfCreateConnection(QStringLiteral("%1/%2").arg(mvPrefix, aDescriptor),
                                         aAddress);
}

UBXUDPNetworkConnection* UBXPrefixedConnectionClient::gfCreateUDPConnection(const QString& aAddress,
                                                                            quint16 aRemotePort,
                                                                            quint16 aLocalPort)
{
    return mvpClient->gfCreateUDPConnection(aAddress, aRemotePort, aLocalPort);
}

bool UBXPrefixedConnectionClient::gfSplitDescriptor(const QString& aDescriptor, QString& aPrefix,
                                                    QString& aRest)
{
    const qsizetype lSlash = aDescriptor.indexOf(QLatin1Char('/'));
    if (lSlash < 0)
        return false;
    aPrefix = aDescriptor.left(lSlash);
    aRest = aDescriptor.mid(lSlash + 1);
    return true;
}
