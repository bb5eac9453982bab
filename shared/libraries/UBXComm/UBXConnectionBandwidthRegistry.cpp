#include "UBXConnectionBandwidthRegistry.h"

#include <QMutexLocker>

#include <algorithm>

UBXConnectionBandwidthRegistry* UBXConnectionBandwidthRegistry::instance()
{
    // Never destroyed: connections of other threads may still report while
    // the process exits.
    static auto* sRegistry = new UBXConnectionBandwidthRegistry;
    return sRegistry;
}

void UBXConnectionBandwidthRegistry::gpUpdate(const UBXConnection* apConnection, float aUpMbps,
                                              float aDownMbps)
{
    QMutexLocker lLocker(&mvMutex);
    auto lFound = std::find_if(mvRecords.begin(), mvRecords.end(), [&](const Record& aRecord) {
        return aRecord.mvpConnection == apConnection;
    });
    if (lFound == mvRecords.end())
        lFound = mvRecords.insert(mvRecords.end(), Record{apConnection, 0.0f, 0.0f});
    lFound->mvUpMbps = aUpMbps;
    lFound->mvDownMbps = aDownMbps;
}

void UBXConnectionBandwidthRegistry::gpRemove(const UBXConnection* apConnection)
{
    QMutexLocker lLocker(&mvMutex);
    mvRecords.erase(std::remove_if(mvRecords.begin(), mvRecords.end(),
                                   [&](const Record& aRecord) {
                                       return aRecord.mvpConnection == apConnection;
                                   }),
                    mvRecords.end());
}

void UBXConnectionBandwidthRegistry::gpGetTotal(float& aUpMbps, float& aDownMbps)
{
    QMutexLocker lLocker(&mvMutex);
    aUpMbps = 0.0f;
    aDownMbps = 0.0f;
    for (const Record& lRecord : mvRecords) {
        aUpMbps += lRecord.mvUpMbps;
        aDownMbps += lRecord.mvDownMbps;
    }
}
