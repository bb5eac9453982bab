#include "UBXNetworkConnectionClient.h"

#include "UBXNetworkConnection.h"
#include "UBXUDPNetworkConnection.h"

#include <QStringList>

namespace {
constexpr quint16 cDefaultPort = 9876;
} // namespace

UBXNetworkConnectionClient::UBXNetworkConnectionClient(QObject* apParent)
    : UBXConnectionClient(apParent)
{}

UBXNetworkConnectionClient::~UBXNetworkConnectionClient() = default;

void UBXNetworkConnectionClient::gpSetHost(const QString& aHost)
{
    mvHost = aHost;
}

UBXNetworkConnection* UBXNetworkConnectionClient::gfCreateConnection(const QString& aDescriptor,
                                                                     const QString& aAddress)
{
    const QStringList lParts = aAddress.split(QLatin1Char(':'), Qt::SkipEmptyParts);
    if (lParts.isEmpty())
        return nullptr;
    const quint16 lPort = lParts.size() > 1 ? lParts.at(1).toUShort() : cDefaultPort;
    return new UBXNetworkConnection(lParts.at(0), lPort, aDescriptor);
}

UBXUDPNetworkConnection* UBXNetworkConnectionClient::gfCreateUDPConnection(const QString& aAddress,
                                                                           quint16 aRemotePort,
                                                                           quint16 aLocalPort)
{
    return new UBXUDPNetworkConnection(aAddress, aRemotePort, aLocalPort);
}
