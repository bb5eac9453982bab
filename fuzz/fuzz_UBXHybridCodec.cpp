#include "HybridCodecFuzzInput.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* apData, size_t aSize)
{
    if (!gfDecodeHybridStream(apData, aSize))
        std::abort();
    return 0;
}
