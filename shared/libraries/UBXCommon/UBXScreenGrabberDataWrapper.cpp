#include "UBXScreenGrabberDataWrapper.h"

#include "UBXScreenGrabberDataBase.h"

UBXScreenGrabberDataWrapper::UBXScreenGrabberDataWrapper()
    : mvData(nullptr), mvName(QStringLiteral("UBXScreenGrabberDataWrapper")), mvCopyNumber(0)
{}

UBXScreenGrabberDataWrapper::UBXScreenGrabberDataWrapper(const QString& aName,
                                                         UBXScreenGrabberDataBase* apData)
    : mvData(apData), mvName(aName), mvCopyNumber(0)
{
    if (mvData)
        mvData->mpRef(mfGetTag());
}

UBXScreenGrabberDataWrapper::UBXScreenGrabberDataWrapper(const UBXScreenGrabberDataWrapper& aOther)
    : mvData(aOther.mvData), mvName(aOther.mvName), mvCopyNumber(aOther.mvCopyNumber + 1)
{
    if (mvData)
        mvData->mpRef(mfGetTag());
}

UBXScreenGrabberDataWrapper&
UBXScreenGrabberDataWrapper::operator=(const UBXScreenGrabberDataWrapper& aOther)
{
    // Read the source first: releasing may end the data when the source is
    // this wrapper's twin.
    UBXScreenGrabberDataBase* lData = aOther.mvData;
    const QString lName = aOther.mvName;
    const quint32 lCopyNumber = aOther.mvCopyNumber + 1;
    if (mvData)
        mvData->mpUnRef(mfGetTag());
    mvData = lData;
    mvName = lName;
    mvCopyNumber = lCopyNumber;
    if (mvData)
        mvData->mpRef(mfGetTag());
    return *this;
}

UBXScreenGrabberDataWrapper::~UBXScreenGrabberDataWrapper()
{
    if (mvData)
        mvData->mpUnRef(mfGetTag());
}

QString UBXScreenGrabberDataWrapper::mfGetTag() const
{
    return mvName + QStringLiteral("_%1").arg(mvCopyNumber, 2, 10, QLatin1Char('0'));
}
