#include "ConnectionFuzzInput.h"

#include <QCoreApplication>

#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int* apArgc, char*** apArgv)
{
    // Refused headers are followed up through the event loop.
    static QCoreApplication sApplication(*apArgc, *apArgv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* apData, size_t aSize)
{
    if (!gfFeedConnection(apData, aSize))
        std::abort();
    return 0;
}
