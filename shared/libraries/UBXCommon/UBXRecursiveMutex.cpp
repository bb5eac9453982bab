#include "UBXRecursiveMutex.h"

#include <QRecursiveMutex>

UBXRecursiveMutex::UBXRecursiveMutex() : mvMutex(new QRecursiveMutex) {}

UBXRecursiveMutex::~UBXRecursiveMutex()
{
    delete mvMutex;
}

void UBXRecursiveMutex::lock()
{
    mvMutex->lock();
}

void UBXRecursiveMutex::unlock()
{
    mvMutex->unlock();
}
