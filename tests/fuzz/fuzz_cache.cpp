// libFuzzer entry point: see FuzzTargets.h.
#include "FuzzTargets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::cacheInput(data, size);
    return 0;
}
