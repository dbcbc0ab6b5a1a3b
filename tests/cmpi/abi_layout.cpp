// C++ half of the ABI test: the same layout pins compiled as C++, the
// aggregate properties that keep C and C++ passing values the same way, and
// calls across the language boundary through the function tables.
#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>

#include "abi_calls.h"
#include "cmpi_layout_check.h"
#include "cmpimacs.h"

// A user-declared copy constructor or destructor would make g++ pass these
// by invisible reference and break every broker call.
static_assert(std::is_trivially_copyable<CMPIData>::value, "CMPIData");
static_assert(std::is_trivially_copyable<CMPIStatus>::value, "CMPIStatus");
static_assert(std::is_trivially_copyable<CMPIValue>::value, "CMPIValue");
static_assert(std::is_trivially_copyable<CMPIValuePtr>::value, "CMPIValuePtr");
static_assert(std::is_standard_layout<CMPIBroker>::value, "CMPIBroker");
static_assert(std::is_same<CMPIBoolean, unsigned char>::value, "CMPIBoolean");
static_assert(std::is_same<CMPIUint64, unsigned long long>::value, "CMPIUint64");
static_assert(std::is_same<CMPISint64, long long>::value, "CMPISint64");
static_assert(!std::is_same<CMPIBoolean, bool>::value, "CMPIBoolean");

namespace {

CMPIData cxxGetEntry(const CMPIContext* ctx, const char* name, CMPIStatus* rc) {
    CMPIData d;
    std::memset(&d, 0, sizeof d);
    if (std::strcmp(name, CMPIInvocationFlags) == 0) {
        d.type = CMPI_uint32;
        d.value.uint32 = CMPI_FLAG_DeepInheritance;
    }
    if (rc) {
        rc->rc = CMPI_RC_ERR_NO_SUCH_PROPERTY;
        rc->msg = (CMPIString*)(void*)ctx;
    }
    return d;
}

CMPIStatus cxxAddEntry(const CMPIContext*, const char* name, const CMPIValue* value,
                       const CMPIType type) {
    bool ok = std::strcmp(name, CMPIRole) == 0 && type == CMPI_sint64 && value->sint64 == -5;
    CMPIStatus st = {ok ? CMPI_RC_ERR_INVALID_DATA_TYPE : CMPI_RC_ERR_FAILED, NULL};
    return st;
}

CMPICount cxxGetEntryCount(const CMPIContext*, CMPIStatus*) { return 7; }

}  // namespace

TEST(CmpiAbi, CxxCallsCSlotsWithCMPIDataAndStatus) {
    CMPIArray ar = {nullptr, &cmpi_c_array_ft};
    CMPIStatus rc = {CMPI_RC_OK, nullptr};

    // CMPIData returned through the hidden result pointer.
    CMPIData d = CMGetArrayElementAt(&ar, 5, &rc);
    EXPECT_EQ(d.type, CMPI_uint64);
    EXPECT_EQ(d.state, CMPI_keyValue);
    EXPECT_EQ(d.value.uint64, 0x1122334455667705ULL);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(rc.msg, (CMPIString*)&ar);
    EXPECT_EQ(CMGetArrayCount(&ar, nullptr), 0xDEADBEEFu);

    // CMPIData passed by value on the stack after five pointer arguments,
    // CMPIStatus returned in two registers.
    CMPIData in;
    std::memset(&in, 0, sizeof in);
    in.type = CMPI_real64;
    in.state = CMPI_nullValue | CMPI_keyValue;
    in.value.real64 = 2.5;
    CMPIPropertyMI mi = {nullptr, &cmpi_c_property_mi_ft};
    CMPIStatus st = mi.ft->setProperty(&mi, nullptr, nullptr, nullptr, "Speed", in);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_TYPE_MISMATCH);
    EXPECT_EQ(st.msg, (CMPIString*)(void*)0x5150);
    EXPECT_EQ(cmpi_c_last_data.type, CMPI_real64);
    EXPECT_EQ(cmpi_c_last_data.state, CMPI_nullValue | CMPI_keyValue);
    EXPECT_DOUBLE_EQ(cmpi_c_last_data.value.real64, 2.5);
}

TEST(CmpiAbi, VariadicMessageInsertsArriveAsTheBrokerReadsThem) {
    CMPIBroker mb = {nullptr, nullptr, &cmpi_c_enc_ft, nullptr, nullptr};
    CMPIStatus rc = {CMPI_RC_ERR_FAILED, nullptr};
    CMGetMessage(&mb, "VLT001", "adapter $0 port $1", &rc,
                 CMFmtArgs5(CMFmtSint(-3), CMFmtUint64(1ULL << 40), CMFmtReal(1.25),
                            CMFmtBoolean(true), CMFmtChars("fc0")));
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_STREQ(cmpi_c_last_message,
                 "VLT001|adapter $0 port $1|-3|1099511627776|1.25|1|fc0");

    CMGetMessage(&mb, "VLT002", "none", nullptr, CMFmtArgs0());
    EXPECT_STREQ(cmpi_c_last_message, "VLT002|none");
}

TEST(CmpiAbi, CCallsCxxSlots) {
    CMPIContextFT ft = {1, nullptr, nullptr, cxxGetEntry, nullptr, cxxGetEntryCount, cxxAddEntry};
    CMPIContext ctx = {nullptr, &ft};
    EXPECT_EQ(cmpi_c_call_context_ft(&ctx), 0) << "first failed check at abi_layout.c line";
}

TEST(CmpiAbi, LevelOneBuildDropsTheTwoZeroMembers) {
    EXPECT_EQ(cmpi_v100_current_version(), 100);
    EXPECT_EQ(CMPICurrentVersion, 200);
    EXPECT_EQ(cmpi_v100_has_level_86(), 1);  // indication MIs keep enable/disable
    EXPECT_EQ(cmpi_v100_size("CMPIBroker"), 32u);
    EXPECT_EQ(cmpi_v100_size("CMPIBrokerEncFT"), 136u);
    EXPECT_EQ(cmpi_v100_size("CMPIResultFT"), 56u);
    EXPECT_EQ(cmpi_v100_size("CMPIInstanceFT"), 80u);
    EXPECT_EQ(cmpi_v100_size("CMPIPropertyMIFT"), 40u);
    EXPECT_EQ(cmpi_v100_size("CMPIIndicationMIFT"), 72u);
}

TEST(CmpiAbi, StubFactoriesFillTheirTablesInCAndCxx) {
    for (auto probe : {cmpi_stub_probe_c, cmpi_stub_probe_cxx}) {
        char err[256] = "";
        int line = probe(err, sizeof err);
        EXPECT_EQ(line, 0) << "macro_probe.inc:" << line << ": " << err;
    }
}
