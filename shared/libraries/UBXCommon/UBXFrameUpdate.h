#ifndef UBXFRAMEUPDATE_H
#define UBXFRAMEUPDATE_H

#include "UBXCommonExport.h"

#include <QMutex>

class UBXFrameUpdateImage;

// A decoded or captured frame, shared by reference count between threads
// (usually through UBXFrameUpdatePtr). The release that brings the count to
// 0 deletes the frame. Frames are not copyable: copying asserts.
class UBXCOMMON_EXPORT UBXFrameUpdate
{
public:
    UBXFrameUpdate();
    virtual ~UBXFrameUpdate();
    UBXFrameUpdate(const UBXFrameUpdate& aOther);
    UBXFrameUpdate& operator=(const UBXFrameUpdate& aOther);

    virtual void mpRef();
    virtual void mpUnRef();
    quint32 mfGetRefCount() const;

    UBXFrameUpdateImage* mfGetImage() const { return mvImage; }
    // Ids come from one process-wide counter that is not locked: frames are
    // expected to be made on one thread.
    quint32 mfGetFrameId() const { return mvFrameId; }

    // Per-frame attributes that the code producing the frame fills in.
    qint32 mvIndex = -1;
    qint32 mvValue = 0;
    bool mvFlags[5] = {false, false, false, false, false};
    qint32 mvValues[3] = {0, 0, 0};

private:
    UBXFrameUpdateImage* mvImage;
    quint32 mvRefCount = 0;
    mutable QMutex mvMutex;
    quint32 mvFrameId;
};

#endif
