#include "UBXMutexLocker.h"

#include "UBXRecursiveMutex.h"

UBXMutexLocker::UBXMutexLocker(UBXRecursiveMutex& aMutex) : mvMutex(&aMutex)
{
    mvMutex->lock();
}

UBXMutexLocker::~UBXMutexLocker()
{
    mvMutex->unlock();
}
