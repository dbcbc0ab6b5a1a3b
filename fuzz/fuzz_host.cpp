// Host descriptions of the simulated adapter library (vtapi/sim host model).
#include "vtsim.h"

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (vtsim_load_host_json(text.c_str()) != 0)
        (void)vtsim_last_error();
    return 0;
}
