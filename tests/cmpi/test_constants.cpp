// Values of the CMPI 2.0 constants this product exchanges with an object
// manager, as object managers hard-code them. Our own broker shares the
// headers, so only this test sees a wrong value.
#include <gtest/gtest.h>

#include "cmpidt.h"
#include "cmpift.h"

namespace {

struct Named {
    const char* name;
    long long value;
    long long expected;
};

#define C(name, expected) {#name, (long long)(name), (long long)(expected)}

}  // namespace

TEST(CmpiConstants, ValuesTheProductExchanges) {
    static const Named table[] = {
        // Type codes.
        C(CMPI_null, 0), C(CMPI_boolean, 0x2), C(CMPI_char16, 0x3), C(CMPI_real32, 0x8),
        C(CMPI_real64, 0xC), C(CMPI_UINT, 0x80), C(CMPI_uint8, 0x80), C(CMPI_uint16, 0x90),
        C(CMPI_uint32, 0xA0), C(CMPI_uint64, 0xB0), C(CMPI_SINT, 0xC0), C(CMPI_sint8, 0xC0),
        C(CMPI_sint16, 0xD0), C(CMPI_sint32, 0xE0), C(CMPI_sint64, 0xF0),
        C(CMPI_instance, 0x1000), C(CMPI_ref, 0x1100), C(CMPI_args, 0x1200),
        C(CMPI_enumeration, 0x1500), C(CMPI_string, 0x1600), C(CMPI_chars, 0x1700),
        C(CMPI_dateTime, 0x1800), C(CMPI_ptr, 0x1900), C(CMPI_charsptr, 0x1A00),
        C(CMPI_ARRAY, 0x2000), C(CMPI_uint8A, 0x2080), C(CMPI_uint32A, 0x20A0),
        C(CMPI_sint8A, 0x20C0),
        // Value states.
        C(CMPI_goodValue, 0), C(CMPI_nullValue, 0x100), C(CMPI_keyValue, 0x200),
        C(CMPI_notFound, 0x400),
        // Status codes.
        C(CMPI_RC_OK, 0), C(CMPI_RC_ERR_FAILED, 1), C(CMPI_RC_ERR_ACCESS_DENIED, 2),
        C(CMPI_RC_ERR_INVALID_NAMESPACE, 3), C(CMPI_RC_ERR_INVALID_PARAMETER, 4),
        C(CMPI_RC_ERR_INVALID_CLASS, 5), C(CMPI_RC_ERR_NOT_FOUND, 6),
        C(CMPI_RC_ERR_NOT_SUPPORTED, 7), C(CMPI_RC_ERR_CLASS_HAS_CHILDREN, 8),
        C(CMPI_RC_ERR_CLASS_HAS_INSTANCES, 9), C(CMPI_RC_ERR_INVALID_SUPERCLASS, 10),
        C(CMPI_RC_ERR_ALREADY_EXISTS, 11), C(CMPI_RC_ERR_NO_SUCH_PROPERTY, 12),
        C(CMPI_RC_ERR_TYPE_MISMATCH, 13), C(CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED, 14),
        C(CMPI_RC_ERR_INVALID_QUERY, 15), C(CMPI_RC_ERR_METHOD_NOT_AVAILABLE, 16),
        C(CMPI_RC_ERR_METHOD_NOT_FOUND, 17), C(CMPI_RC_DO_NOT_UNLOAD, 50),
        C(CMPI_RC_NEVER_UNLOAD, 51), C(CMPI_RC_ERR_INVALID_HANDLE, 60),
        C(CMPI_RC_ERR_INVALID_DATA_TYPE, 61), C(CMPI_RC_ERROR_SYSTEM, 100),
        C(CMPI_RC_ERROR, 200),
        // Version and the capability bits our broker reports.
        C(CMPICurrentVersion, 200), C(CMPI_MB_Class_2, 0x7),
        C(CMPI_MB_Supports_MemEnhancements, 0x4000), C(CMPI_MB_AssociationTraversal, 0x9),
        C(CMPI_MB_QueryExecution, 0x11), C(CMPI_MB_QueryNormalization, 0x31),
        C(CMPI_MB_Indications, 0x81), C(CMPI_MB_OSEncapsulationSupport, 0x100),
    };
    for (const Named& c : table) EXPECT_EQ(c.value, c.expected) << c.name;

    // Context entry names are the strings of their own macro names.
    EXPECT_STREQ(CMPIPrincipal, "CMPIPrincipal");
    EXPECT_STREQ(CMPIInvocationFlags, "CMPIInvocationFlags");
    EXPECT_STREQ(CMPIInitNameSpace, "CMPIInitNameSpace");
}
