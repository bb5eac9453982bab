#ifndef UBXFRAMEUPDATEPTR_H
#define UBXFRAMEUPDATEPTR_H

#include "UBXCommonExport.h"

class UBXFrameUpdate;

// Intrusive handle: holds one reference of its frame for as long as it
// points at it. A null handle does nothing.
class UBXCOMMON_EXPORT UBXFrameUpdatePtr
{
public:
    explicit UBXFrameUpdatePtr(UBXFrameUpdate* apFrame = nullptr);
    UBXFrameUpdatePtr(const UBXFrameUpdatePtr& aOther);
    ~UBXFrameUpdatePtr();
    UBXFrameUpdatePtr& operator=(const UBXFrameUpdatePtr& aOther);

    UBXFrameUpdate* mfGet() const { return mvFrame; }
    UBXFrameUpdate* operator->() const { return mvFrame; }

private:
    UBXFrameUpdate* mvFrame;
};

#endif
