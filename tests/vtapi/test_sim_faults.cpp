// Faults, delays and the operation log of the simulated library, armed by
// call, by environment and by the host description.
#include "sim_internal.h"
#include "vtapi.h"
#include "vtsim.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

long msSince(Clock::time_point t0) {
    return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t0).count());
}

class Faults : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* v : {"VTAPI_SIM_FAULTS", "VTAPI_SIM_DELAYS", "VTAPI_SIM_HOST", "VTAPI_SIM_STATE"}) unsetenv(v);
        vtsim_reset();
    }
    void TearDown() override {
        for (const char* v : {"VTAPI_SIM_FAULTS", "VTAPI_SIM_DELAYS"}) unsetenv(v);
        VTAPI_Uninitialize();
        vtsim_reset();
    }
};

TEST_F(Faults, OnceNTimesAlwaysAndClear) {
    ASSERT_EQ(vtsim_fault("VTAPI_SetToolID", 5, 3), 0);
    std::vector<VTAPI_STATUS> got;
    for (int i = 0; i < 5; ++i) got.push_back(VTAPI_SetToolID(10));
    EXPECT_EQ(got, (std::vector<VTAPI_STATUS>{5, 5, 5, 0, 0}));

    ASSERT_EQ(vtsim_fault("VTAPI_Initialize", 8, -1), 0);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(VTAPI_Initialize(0, 0), 8u);
    EXPECT_EQ(VTAPI_GetAdapterList(), nullptr) << "a failed initialise builds nothing";
    ASSERT_EQ(vtsim_fault("VTAPI_Initialize", 8, 0), 0) << "count 0 clears";
    EXPECT_EQ(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK);

    // Operations without a status show the fault in their own way.
    ASSERT_EQ(vtsim_fault("VTAPI_GetAdapterList", 1, 1), 0);
    EXPECT_EQ(VTAPI_GetAdapterList(), nullptr);
    EXPECT_NE(VTAPI_GetAdapterList(), nullptr);
    ASSERT_EQ(vtsim_fault("VTAPI_DidConfigChange", 1, 1), 0);
    EXPECT_NE(VTAPI_DidConfigChange(), 0u);
    EXPECT_EQ(VTAPI_DidConfigChange(), 0u);

    ASSERT_EQ(vtsim_fault("VTAPI_SetToolID", 5, -1), 0);
    vtsim_clear_faults();
    EXPECT_EQ(VTAPI_SetToolID(10), VTAPI_STATUS_OK);
    EXPECT_EQ(vtsim_fault("VTAPI_NoSuchThing", 1, 1), -1);
    EXPECT_NE(std::string(vtsim_last_error()).find("unknown operation 'VTAPI_NoSuchThing'"), std::string::npos);
    EXPECT_EQ(vtsim_delay("VTAPI_NoSuchThing", 5), -1);
    EXPECT_EQ(vtsim_fault(nullptr, 1, 1), -1);
}

TEST_F(Faults, EnvironmentAndHostDescriptionArmCodesAndDelays) {
    setenv("VTAPI_SIM_FAULTS", "VTAPI_SetToolID=6:2; VTAPI_Bogus=1, VTAPI_SetToolVersion=0x7:always,VTAPI_RefreshData=x", 1);
    setenv("VTAPI_SIM_DELAYS", "VTAPI_ResetConfigChange=60", 1);
    testing::internal::CaptureStderr();
    vtsim_reset();
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("unknown operation 'VTAPI_Bogus'"), std::string::npos) << err;
    EXPECT_NE(err.find("VTAPI_RefreshData: bad code 'x'"), std::string::npos) << err;
    EXPECT_EQ(VTAPI_SetToolID(10), 6u);
    EXPECT_EQ(VTAPI_SetToolID(10), 6u);
    EXPECT_EQ(VTAPI_SetToolID(10), VTAPI_STATUS_OK);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(VTAPI_SetToolVersion(1, 7, 40, 0), 7u);
    auto t0 = Clock::now();
    VTAPI_ResetConfigChange();
    EXPECT_GE(msSince(t0), 55);

    ASSERT_EQ(vtsim_load_host_json(R"({"adapters":[],"behaviour":{
        "VTAPI_RefreshData":{"rc":11}, "VTAPI_SetToolID":{"delay_ms":80}}})"), 0) << vtsim_last_error();
    ASSERT_EQ(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_RefreshData(), 11u);
    EXPECT_EQ(VTAPI_RefreshData(), 11u) << "every call";
    t0 = Clock::now();
    EXPECT_EQ(VTAPI_SetToolID(10), VTAPI_STATUS_OK);
    EXPECT_GE(msSince(t0), 75);
    ASSERT_EQ(vtsim_fault("VTAPI_RefreshData", 3, 1), 0);
    EXPECT_EQ(VTAPI_RefreshData(), 3u) << "an armed fault wins over the description";
}

TEST_F(Faults, DelaysDoNotBlockOtherThreads) {
    ASSERT_EQ(vtsim_delay("VTAPI_SetToolID", 300), 0);
    auto t0 = Clock::now();
    std::thread slow([] { VTAPI_SetToolID(10); });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    auto t1 = Clock::now();
    EXPECT_EQ(VTAPI_SetToolVersion(1, 7, 40, 0), VTAPI_STATUS_OK);
    {
        auto g = vtsim::lock();   // the model lock is free while a call sleeps
    }
    EXPECT_LT(msSince(t1), 150);
    slow.join();
    EXPECT_GE(msSince(t0), 290);
    ASSERT_EQ(vtsim_delay("VTAPI_SetToolID", 0), 0);
    t0 = Clock::now();
    VTAPI_SetToolID(10);
    EXPECT_LT(msSince(t0), 100);
}

TEST_F(Faults, TheLogRecordsCallsAndConcurrentCallersKeepExactCounts) {
    vtsim_log_clear();
    VTAPI_SetToolID(10);
    vtsim_fault("VTAPI_SetToolID", 4, 1);
    VTAPI_SetToolID(11);
    EXPECT_EQ(vtsim_test::callLog(), (std::vector<std::string>{"VTAPI_SetToolID(id=10)", "VTAPI_SetToolID(id=11)"}))
        << "faulted calls are logged too";
    char small[8];
    ASSERT_EQ(vtsim_log_get(1, small, sizeof small), 0);
    EXPECT_STREQ(small, "VTAPI_S") << "bounded copy";
    EXPECT_EQ(vtsim_log_get(2, small, sizeof small), -1);
    vtsim_log_clear();
    EXPECT_EQ(vtsim_log_size(), 0u);

    ASSERT_EQ(vtsim_fault("VTAPI_SetToolID", 2, 100), 0);
    std::vector<std::thread> threads;
    std::atomic<int> faulted{0};
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i)
                if (VTAPI_SetToolID(10) == 2) ++faulted;
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(faulted.load(), 100);
    EXPECT_EQ(vtsim_log_count("VTAPI_SetToolID"), 2000u);
    EXPECT_EQ(vtsim_log_count(nullptr), 2000u);
}

}  // namespace
