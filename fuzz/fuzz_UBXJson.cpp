#include "JsonFuzzInput.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* apData, size_t aSize)
{
    if (!gfCheckJsonInput(apData, aSize))
        std::abort();
    return 0;
}
