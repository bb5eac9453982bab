#ifndef UBXRECURSIVEMUTEX_H
#define UBXRECURSIVEMUTEX_H

#include "UBXCommonExport.h"

class QRecursiveMutex;

// A recursive mutex on the heap, so that a singleton's public operations may
// call each other while holding it. Taken only through UBXMutexLocker.
class UBXCOMMON_EXPORT UBXRecursiveMutex
{
public:
    UBXRecursiveMutex();
    ~UBXRecursiveMutex();
    UBXRecursiveMutex(const UBXRecursiveMutex&) = delete;
    UBXRecursiveMutex& operator=(const UBXRecursiveMutex&) = delete;

    void lock();
    void unlock();

private:
    QRecursiveMutex* mvMutex;
};

#endif
