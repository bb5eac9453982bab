#ifndef UBXTIMESTAMPPROVIDER_H
#define UBXTIMESTAMPPROVIDER_H

#include "UBXCommonExport.h"

#include <QtGlobal>

// A source of time stamps in milliseconds.
class UBXCOMMON_EXPORT UBXTimestampProvider
{
public:
    virtual ~UBXTimestampProvider();
    virtual qint64 mfGetTimestamp() = 0;
};

#endif
