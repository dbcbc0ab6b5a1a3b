// Object paths, keys and values as clients write them (broker/cim_value).
#include "cim_value.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::string err;

    // A path that parses renders to a text that parses to the same rendering.
    vcim::ObjectPath path;
    if (vcim::ObjectPath::parse(text, path, &err)) {
        const std::string once = path.toString();
        vcim::ObjectPath again;
        if (!vcim::ObjectPath::parse(once, again, &err) || again.toString() != once)
            abort();
    }

    // The same text as a value of each type.
    static const CMPIType kTypes[] = {CMPI_boolean, CMPI_char16, CMPI_uint8, CMPI_sint8, CMPI_uint16,
                                      CMPI_sint16, CMPI_uint32, CMPI_sint32, CMPI_uint64, CMPI_sint64,
                                      CMPI_real32, CMPI_real64, CMPI_string, CMPI_dateTime, CMPI_ref};
    for (CMPIType t : kTypes)
        for (CMPIType type : {t, static_cast<CMPIType>(t | CMPI_ARRAY)}) {
            vcim::Value v;
            if (vcim::Value::parse(type, text, v, &err))
                (void)v.toCimString();
        }
    vcim::DateTime dt;
    if (vcim::DateTime::parse(text, dt))
        (void)dt.toString();
    return 0;
}
