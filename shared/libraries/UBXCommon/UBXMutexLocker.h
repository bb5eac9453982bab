#ifndef UBXMUTEXLOCKER_H
#define UBXMUTEXLOCKER_H

#include "UBXCommonExport.h"

class UBXRecursiveMutex;

// Holds a UBXRecursiveMutex for the lifetime of the locker.
class UBXCOMMON_EXPORT UBXMutexLocker
{
public:
    explicit UBXMutexLocker(UBXRecursiveMutex& aMutex);
    ~UBXMutexLocker();
    UBXMutexLocker(const UBXMutexLocker&) = delete;
    UBXMutexLocker& operator=(const UBXMutexLocker&) = delete;

private:
    UBXRecursiveMutex* mvMutex;
};

#endif
