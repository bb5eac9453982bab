#include "UBXFrameUpdatePtr.h"

#include "UBXFrameUpdate.h"

UBXFrameUpdatePtr::UBXFrameUpdatePtr(UBXFrameUpdate* apFrame) : mvFrame(apFrame)
{
    if (mvFrame)
        mvFrame->mpRef();
}

UBXFrameUpdatePtr::UBXFrameUpdatePtr(const UBXFrameUpdatePtr& aOther)
    : UBXFrameUpdatePtr(aOther.mvFrame)
{}

UBXFrameUpdatePtr::~UBXFrameUpdatePtr()
{
    if (mvFrame)
        mvFrame->mpUnRef();
}

// The old frame is released before the new one is taken, as the handle has
// always done; assigning a handle its own sole frame therefore deletes it.
UBXFrameUpdatePtr& UBXFrameUpdatePtr::operator=(const UBXFrameUpdatePtr& aOther)
{
    UBXFrameUpdate* lNew = aOther.mvFrame;
    if (mvFrame)
        mvFrame->mpUnRef();
    mvFrame = lNew;
    if (mvFrame)
        mvFrame->mpRef();
    return *this;
}
