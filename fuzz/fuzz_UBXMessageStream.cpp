#include "MessageStreamFuzzInput.h"

#include <QCoreApplication>

#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int* apArgc, char*** apArgv)
{
    // The stream drains frames through the event loop.
    static QCoreApplication sApplication(*apArgc, *apArgv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* apData, size_t aSize)
{
    if (!gfFeedMessageStream(apData, aSize))
        std::abort();
    return 0;
}
