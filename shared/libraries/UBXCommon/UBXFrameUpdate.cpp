#include "UBXFrameUpdate.h"

#include "UBXAssert.h"

#include "UBXFrameUpdateImage.h"

namespace {
quint32 sFrameCounter = 0;
} // namespace

UBXFrameUpdate::UBXFrameUpdate() : mvImage(new UBXFrameUpdateImage), mvFrameId(sFrameCounter++) {}

UBXFrameUpdate::~UBXFrameUpdate()
{
    mvImage->mpClear();
    delete mvImage;
}

UBXFrameUpdate::UBXFrameUpdate(const UBXFrameUpdate&)
    : mvImage(new UBXFrameUpdateImage), mvFrameId(sFrameCounter++)
{
    UBX_ASSERT(0, "shared/libraries/UBXCommon/UBXFrameUpdate");
}

UBXFrameUpdate& UBXFrameUpdate::operator=(const UBXFrameUpdate&)
{
    UBX_ASSERT(0, "shared/libraries/UBXCommon/UBXFrameUpdate");
    return *this;
}

void UBXFrameUpdate::mpRef()
{
    QMutexLocker lLocker(&mvMutex);
    ++mvRefCount;
}

void UBXFrameUpdate::mpUnRef()
{
    mvMutex.lock();
    const quint32 lCount = --mvRefCount;
    mvMutex.unlock();
    if (lCount == 0)
        delete this;
}

quint32 UBXFrameUpdate::mfGetRefCount() const
{
    QMutexLocker lLocker(&mvMutex);
    return mvRefCount;
}
