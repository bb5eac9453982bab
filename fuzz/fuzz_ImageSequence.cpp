#include "ImageSequenceFuzzInput.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* apData, size_t aSize)
{
    if (!gfFeedImageSequence(apData, aSize))
        std::abort();
    return 0;
}
