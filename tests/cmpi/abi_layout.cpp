// C++ half of the ABI test: the same layout pins compiled as C++, the
// aggregate properties and signatures that keep C and C++ passing values the
// way an object manager does, and variadic inserts read back by C.
#include <gtest/gtest.h>

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
static_assert(CMPICurrentVersion == 200, "a default build is level 2.0");
static_assert(std::is_same<CMPIBoolean, unsigned char>::value, "CMPIBoolean");
static_assert(std::is_same<CMPIUint64, unsigned long long>::value, "CMPIUint64");
static_assert(std::is_same<CMPISint64, long long>::value, "CMPISint64");
static_assert(!std::is_same<CMPIBoolean, bool>::value, "CMPIBoolean");

// Calling-convention facts both halves would agree on even when wrong: the
// property MI takes CMPIData by value (on the stack), the message calls are
// variadic (the caller sets AL), getters return CMPIData (a hidden pointer).
static_assert(std::is_same<decltype(CMPIPropertyMIFT::setProperty),
                           CMPIStatus (*)(CMPIPropertyMI*, const CMPIContext*, const CMPIResult*,
                                          const CMPIObjectPath*, const char*, const CMPIData)>::value,
              "setProperty takes CMPIData by value");
static_assert(std::is_same<decltype(CMPIBrokerEncFT::getMessage),
                           CMPIString* (*)(const CMPIBroker*, const char*, const char*, CMPIStatus*,
                                           CMPICount, ...)>::value,
              "getMessage is variadic");
static_assert(std::is_same<decltype(CMPIArrayFT::getElementAt),
                           CMPIData (*)(const CMPIArray*, CMPICount, CMPIStatus*)>::value,
              "getElementAt returns CMPIData");

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

TEST(CmpiAbi, StubFactoriesFillTheirTablesInCAndCxx) {
    for (auto probe : {cmpi_stub_probe_c, cmpi_stub_probe_cxx}) {
        char err[256] = "";
        int line = probe(err, sizeof err);
        EXPECT_EQ(line, 0) << "macro_probe.inc:" << line << ": " << err;
    }
}
