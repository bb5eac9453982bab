#include "UBXTimestampProxy.h"

UBXTimestampProxy::UBXTimestampProxy(UBXTimestampProvider* apProvider) : mvProvider(apProvider) {}

qint64 UBXTimestampProxy::mfGetTimestamp()
{
    return mvProvider ? mvProvider->mfGetTimestamp() : 0;
}
