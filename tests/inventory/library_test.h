// Fixture of the in-process inventory tests: CommonTest's private root with
// both logs on, and a fresh simulated adapter library that each test
// initializes over the host it needs.
#pragma once

#include "common_test.h"
#include "fcport_list.h"
#include "vtsim.h"

class LibraryTest : public CommonTest {
protected:
    void SetUp() override
    {
        CommonTest::SetUp();
        configure("ErrorLog=1 DebugLog=1\n");
        vtsim_reset();
    }
    void TearDown() override
    {
        removeFCPortList();
        VTAPI_Uninitialize();
        vtsim_reset();
        CommonTest::TearDown();
    }
    // Loads `host` (the default host when empty) and initializes the library.
    static void initialize(const std::string& host = "")
    {
        if (!host.empty()) {
            ASSERT_EQ(vtsim_load_host_json(host.c_str()), 0) << vtsim_last_error();
        }
        ASSERT_EQ(VTAPI_Initialize(0, 0), 0u);
    }
};
