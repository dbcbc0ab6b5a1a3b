// Constant values of the CMPI 2.0 headers as object managers hard-code them.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "cmpidt.h"
#include "cmpift.h"

namespace {

struct Named {
    const char* name;
    long long value;
    long long expected;
};

#define C(name, expected) {#name, (long long)(name), (long long)(expected)}

void expectAll(const Named* table, size_t n) {
    for (size_t i = 0; i < n; ++i)
        EXPECT_EQ(table[i].value, table[i].expected) << table[i].name;
}

}  // namespace

TEST(CmpiConstants, TypeCodes) {
    static const Named codes[] = {
        C(CMPI_null, 0),           C(CMPI_SIMPLE, 0x2),        C(CMPI_boolean, 0x2),
        C(CMPI_char16, 0x3),       C(CMPI_REAL, 0x8),          C(CMPI_real32, 0x8),
        C(CMPI_real64, 0xC),       C(CMPI_UINT, 0x80),         C(CMPI_uint8, 0x80),
        C(CMPI_uint16, 0x90),      C(CMPI_uint32, 0xA0),       C(CMPI_uint64, 0xB0),
        C(CMPI_SINT, 0xC0),        C(CMPI_sint8, 0xC0),        C(CMPI_sint16, 0xD0),
        C(CMPI_sint32, 0xE0),      C(CMPI_sint64, 0xF0),       C(CMPI_INTEGER, 0xC0),
        C(CMPI_ENC, 0x1000),       C(CMPI_instance, 0x1000),   C(CMPI_ref, 0x1100),
        C(CMPI_args, 0x1200),      C(CMPI_class, 0x1300),      C(CMPI_filter, 0x1400),
        C(CMPI_enumeration, 0x1500), C(CMPI_string, 0x1600),   C(CMPI_chars, 0x1700),
        C(CMPI_dateTime, 0x1800),  C(CMPI_ptr, 0x1900),        C(CMPI_charsptr, 0x1A00),
        C(CMPI_ARRAY, 0x2000),     C(CMPI_SIMPLEA, 0x2002),    C(CMPI_booleanA, 0x2002),
        C(CMPI_char16A, 0x2003),   C(CMPI_REALA, 0x2008),      C(CMPI_real32A, 0x2008),
        C(CMPI_real64A, 0x200C),   C(CMPI_UINTA, 0x2080),      C(CMPI_uint8A, 0x2080),
        C(CMPI_uint16A, 0x2090),   C(CMPI_uint32A, 0x20A0),    C(CMPI_uint64A, 0x20B0),
        C(CMPI_SINTA, 0x20C0),     C(CMPI_sint8A, 0x20C0),     C(CMPI_sint16A, 0x20D0),
        C(CMPI_sint32A, 0x20E0),   C(CMPI_sint64A, 0x20F0),    C(CMPI_INTEGERA, 0x20C0),
        C(CMPI_ENCA, 0x3000),      C(CMPI_stringA, 0x3600),    C(CMPI_charsA, 0x3700),
        C(CMPI_dateTimeA, 0x3800), C(CMPI_instanceA, 0x3000),  C(CMPI_refA, 0x3100),
        C(CMPI_charsptrA, 0x3A00),
        C(CMPI_keyInteger, 0xF0),  C(CMPI_keyString, 0x1600),  C(CMPI_keyBoolean, 0x2),
        C(CMPI_keyRef, 0x1100),
        C(CMPI_charString, 0x1600), C(CMPI_integerString, 0x16F0),
        C(CMPI_realString, 0x160C), C(CMPI_numericString, 0x16FC),
        C(CMPI_booleanString, 0x1602), C(CMPI_dateTimeString, 0x1E00),
        C(CMPI_classNameString, 0x1700), C(CMPI_nameString, 0x1E00),
        C(CMPI_Byte, 0xC0),   C(CMPI_Short, 0xD0),   C(CMPI_Int, 0xE0),
        C(CMPI_Long, 0xF0),   C(CMPI_Float, 0x8),    C(CMPI_Double, 0xC),
        C(CMPI_ByteA, 0x20C0), C(CMPI_ShortA, 0x20D0), C(CMPI_IntA, 0x20E0),
        C(CMPI_LongA, 0x20F0), C(CMPI_FloatA, 0x2008), C(CMPI_DoubleA, 0x200C),
    };
    expectAll(codes, sizeof codes / sizeof codes[0]);
    // Codes are used in switch statements on a CMPIType: they must fit.
    for (const Named& c : codes)
        EXPECT_EQ(c.value, (long long)(CMPIType)c.value) << c.name;
}

TEST(CmpiConstants, ValueStatesAndStatusCodes) {
    static const Named states[] = {
        C(CMPI_goodValue, 0), C(CMPI_nullValue, 0x100), C(CMPI_keyValue, 0x200),
        C(CMPI_notFound, 0x400), C(CMPI_badValue, 0x8000),
    };
    expectAll(states, sizeof states / sizeof states[0]);

    static const Named codes[] = {
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
    };
    expectAll(codes, sizeof codes / sizeof codes[0]);

    static const Named misc[] = {
        C(CMPIVersion100, 100), C(CMPIVersion200, 200), C(CMPICurrentVersion, 200),
        C(CMPI_PredOp_Equals, 1), C(CMPI_PredOp_NotLike, 10), C(CMPI_PredOp_Not_Null, 11),
        C(CMPI_PredOp_Or, 14), C(CMPI_SEV_ERROR, 1), C(CMPI_DEV_DEBUG, 4),
        C(CMPI_LEV_INFO, 1), C(CMPI_LEV_VERBOSE, 3), C(CMPI_COND_DOC, 0), C(CMPI_COND_COD, 1),
        C(Oversubscription_Error, 8), C(UnsupportedOperationError, 10),
        C(ErrorSevUnknown, 0), C(ErrorSevLow, 2), C(ErrorSevFatal, 5),
        C(Logging_Problems, 112), C(Leak_Detected_113, 113),
        C(Protection_Mechanism_Failure, 114), C(Unexpected_Information, 130),
        C(CMPIErrSrcUnknown, 0), C(CIMObjectHandle, 2),
    };
    expectAll(misc, sizeof misc / sizeof misc[0]);
}

TEST(CmpiConstants, FlagsContextNamesAndCapabilities) {
    static const Named flags[] = {
        C(CMPI_FLAG_LocalOnly, 1), C(CMPI_FLAG_DeepInheritance, 2),
        C(CMPI_FLAG_IncludeQualifiers, 4), C(CMPI_FLAG_IncludeClassOrigin, 8),
        C(CMPI_MB_Class_0, 0x1), C(CMPI_MB_Class_1, 0x3), C(CMPI_MB_Class_2, 0x7),
        C(CMPI_MB_Supports_PropertyMI, 0x100), C(CMPI_MB_Supports_IndicationMI, 0x200),
        C(CMPI_MB_Supports_IndicationPolling, 0x400),
        C(CMPI_MB_Supports_QueryNormalization, 0x800), C(CMPI_MB_Supports_Qualifier, 0x1000),
        C(CMPI_MB_Supports_Schema, 0x3000), C(CMPI_MB_Supports_MemEnhancements, 0x4000),
        C(CMPI_MB_Supports_Extended_Error, 0x8000), C(CMPI_MB_BasicRead, 0x1),
        C(CMPI_MB_BasicWrite, 0x3), C(CMPI_MB_InstanceManipulation, 0x7),
        C(CMPI_MB_AssociationTraversal, 0x9), C(CMPI_MB_QueryExecution, 0x11),
        C(CMPI_MB_QueryNormalization, 0x31), C(CMPI_MB_Indications, 0x81),
        C(CMPI_MB_BasicQualifierSupport, 0x47), C(CMPI_MB_OSEncapsulationSupport, 0x100),
    };
    expectAll(flags, sizeof flags / sizeof flags[0]);
    // What sfcb reports when built with indication support.
    EXPECT_EQ(CMPI_MB_Class_2 | CMPI_MB_AssociationTraversal | CMPI_MB_QueryExecution |
                  CMPI_MB_QueryNormalization | CMPI_MB_Indications |
                  CMPI_MB_OSEncapsulationSupport,
              0x1BF);

    // Each context entry name is the string of its own macro name.
    const char* const names[][2] = {
        {CMPIPrincipal, "CMPIPrincipal"},
        {CMPIInvocationFlags, "CMPIInvocationFlags"},
        {CMPIInitNameSpace, "CMPIInitNameSpace"},
        {CMPIRole, "CMPIRole"},
        {CMPIAcceptLanguage, "CMPIAcceptLanguage"},
        {CMPIContentLanguage, "CMPIContentLanguage"},
    };
    for (const auto& n : names)
        EXPECT_STREQ(n[0], n[1]);
}
