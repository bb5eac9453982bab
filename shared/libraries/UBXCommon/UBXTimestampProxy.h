#ifndef UBXTIMESTAMPPROXY_H
#define UBXTIMESTAMPPROXY_H

#include "UBXTimestampProvider.h"

// Forwards to another provider that can be exchanged later (not owned);
// 0 while there is none.
class UBXCOMMON_EXPORT UBXTimestampProxy : public UBXTimestampProvider
{
public:
    explicit UBXTimestampProxy(UBXTimestampProvider* apProvider = nullptr);
    void mpSetProvider(UBXTimestampProvider* apProvider) { mvProvider = apProvider; }
    qint64 mfGetTimestamp() override;

private:
    UBXTimestampProvider* mvProvider;
};

#endif
