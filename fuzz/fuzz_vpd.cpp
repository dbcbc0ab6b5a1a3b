// The PCI VPD walk of the FC discovery (fc/FCPort_Discovery) on a fuzzed
// buffer: every text it fills stays terminated within its buffer.
#include "FCPort_Discovery.h"

#include <cstdlib>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    ClearFCDiscoveryTexts();
    // An exact-size copy, so that ASan sees any read past the end.
    std::vector<uint8_t> buffer(data, data + size);
    PrintVPD(buffer.data(), buffer.size());
    const char* texts = reinterpret_cast<const char*>(&g_VPDTexts);
    for (size_t off = 0; off + kVPDTextSize <= sizeof g_VPDTexts; off += kVPDTextSize)
        if (strnlen(texts + off, kVPDTextSize) == kVPDTextSize)
            abort();
    return 0;
}
