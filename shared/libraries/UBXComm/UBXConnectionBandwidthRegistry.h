#ifndef UBXCONNECTIONBANDWIDTHREGISTRY_H
#define UBXCONNECTIONBANDWIDTHREGISTRY_H

#include "UBXCommExport.h"

#include <QMutex>

#include <vector>

class UBXConnection;

// The latest bandwidth figures (megabits per second) of every connection of
// the process, in all threads. Created on first use and never destroyed.
class UBXCOMM_EXPORT UBXConnectionBandwidthRegistry
{
public:
    static UBXConnectionBandwidthRegistry* instance();

    void gpUpdate(const UBXConnection* apConnection, float aUpMbps, float aDownMbps);
    void gpRemove(const UBXConnection* apConnection);
    void gpGetTotal(float& aUpMbps, float& aDownMbps);

private:
    UBXConnectionBandwidthRegistry() = default;

    struct Record
    {
        const UBXConnection* mvpConnection;
        float mvUpMbps;
        float mvDownMbps;
    };

    QMutex mvMutex;
    std::vector<Record> mvRecords;
};

#endif
