#include "UBXTimerTimestampProvider.h"

UBXTimerTimestampProvider::UBXTimerTimestampProvider()
{
    mvTimer.start();
}

qint64 UBXTimerTimestampProvider::mfGetTimestamp()
{
    return mvTimer.elapsed();
}
