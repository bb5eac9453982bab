#include "UBXScreenGrabberDataBase.h"

#include "UBXAssert.h"

UBXScreenGrabberDataBase::UBXScreenGrabberDataBase(quint32 aType) : mvType(aType) {}

UBXScreenGrabberDataBase::~UBXScreenGrabberDataBase() = default;

void UBXScreenGrabberDataBase::mpRef(QString aOwner)
{
    QMutexLocker lLocker(&mvMutex);
    ++mvRefCounter;
    if (!aOwner.isEmpty())
        mvOwners.append(aOwner);
}

void UBXScreenGrabberDataBase::mpUnRef(QString aOwner)
{
    mvMutex.lock();
    UBX_ASSERT(mvRefCounter > 0, "shared/libraries/UBXCommon/UBXDataStructures");
    const quint32 lCount = --mvRefCounter;
    if (!aOwner.isEmpty())
        mvOwners.removeOne(aOwner);
    mvMutex.unlock();
    if (lCount == 0)
        delete this;
}

QVector<QString> UBXScreenGrabberDataBase::mfGetOwners() const
{
    QMutexLocker lLocker(&mvMutex);
    return mvOwners;
}

bool UBXScreenGrabberDataBase::mfIsShared() const
{
    QMutexLocker lLocker(&mvMutex);
    return mvRefCounter >= 2;
}
