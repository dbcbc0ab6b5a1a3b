// Preference files (common/preference_file): lookups in a fuzzed file and
// a rewrite of one entry.
#include "fuzz_support.h"
#include "preference_file.h"

#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string file = fuzz::Root() + "/var/tmp/" + kDefaultPrefFile;
    fuzz::WriteFile(file, data, size);
    for (const char* key : {"a", "Port0", "=", "eswitch", "NPAR_FUNC_0_MAX_BW", ""}) {
        const char* value = PrefGetProperty(nullptr, key);
        if (value && strlen(value) >= kPrefLineSize)
            abort();
    }
    // A key taken from the input itself (up to the first line end).
    std::string key(reinterpret_cast<const char*>(data), strnlen(reinterpret_cast<const char*>(data), size));
    key = key.substr(0, key.find_first_of("\r\n=")).substr(0, 64);
    (void)PrefGetProperty(nullptr, key.c_str());
    if (PrefSetProperty(nullptr, "fuzzkey", "fuzzvalue") == 0) {
        const char* value = PrefGetProperty(nullptr, "fuzzkey");
        (void)value;
    }
    return 0;
}
