#ifndef UBXTIMERTIMESTAMPPROVIDER_H
#define UBXTIMERTIMESTAMPPROVIDER_H

#include "UBXTimestampProvider.h"

#include <QElapsedTimer>

// Milliseconds since construction.
class UBXCOMMON_EXPORT UBXTimerTimestampProvider : public UBXTimestampProvider
{
public:
    UBXTimerTimestampProvider();
    qint64 mfGetTimestamp() override;

private:
    QElapsedTimer mvTimer;
};

#endif
