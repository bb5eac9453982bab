#ifndef UBXSCREENGRABBERDATAWRAPPER_H
#define UBXSCREENGRABBERDATAWRAPPER_H

#include "UBXCommonExport.h"

#include <QString>

class UBXScreenGrabberDataBase;

// Value handle on screen-grab data. Every wrapper holds one reference under
// its owner tag, the name followed by "_" and the two-digit copy number: a
// wrapper made from a pointer is copy 0 and every copy or assignment counts
// one more. Assigning a wrapper to itself drops and retakes its reference.
class UBXCOMMON_EXPORT UBXScreenGrabberDataWrapper
{
public:
    UBXScreenGrabberDataWrapper();
    UBXScreenGrabberDataWrapper(const QString& aName, UBXScreenGrabberDataBase* apData);
    UBXScreenGrabberDataWrapper(const UBXScreenGrabberDataWrapper& aOther);
    UBXScreenGrabberDataWrapper& operator=(const UBXScreenGrabberDataWrapper& aOther);
    ~UBXScreenGrabberDataWrapper();

    UBXScreenGrabberDataBase* mfGetData() const { return mvData; }
    QString mfGetTag() const;

private:
    UBXScreenGrabberDataBase* mvData;
    QString mvName;
    quint32 mvCopyNumber;
};

#endif
