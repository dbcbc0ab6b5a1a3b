// The simulated library's controls: faults, delays and the operation log,
// armed by call, by environment and by the host description; and state
// written through the library, kept in memory and, with VTAPI_SIM_STATE,
// across processes (this executable runs itself as the second process).
#include "sim_internal.h"
#include "vtapi.h"
#include "vtsim.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <unistd.h>
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

// ---- persistent state -------------------------------------------------------
using json = nlohmann::json;

// Helper mode: VTSIM_HELPER="write NAME PATH JSON" or "read NAME PATH".
// Prints {"data": <value at PATH>, "pxe": <record>, "port_state": <record>}.
int runHelper(const std::string& cmd) {
    char op[16], name[64], path[64];
    char value[256] = "";
    if (std::sscanf(cmd.c_str(), "%15s %63s %63s %255[^\n]", op, name, path, value) < 3) return 2;
    if (VTAPI_Initialize(0, 0) != VTAPI_STATUS_OK) return 3;
    auto g = vtsim::lock();
    vtsim::FnRef r = vtsim::findByName(name);
    if (!r.fn) return 4;
    if (std::string(op) == "write") {
        vtsim::persist(*r.fn, path, json::parse(value));
        return 0;
    }
    json out = {{"data", json()}};
    json::json_pointer ptr("/" + std::string(path));
    if (r.fn->data.contains(ptr)) out["data"] = r.fn->data[ptr];
    for (auto* a = VTAPI_GetAdapterList()->first; a; a = a->next)
        for (auto* p = a->phy_ports ? a->phy_ports->first : nullptr; p; p = p->next)
            for (auto* f = p->protocols ? p->protocols->first : nullptr; f; f = f->next)
                if (std::string(f->name) == name) {
                    out["pxe"] = f->nic.pxe_enabled;
                    out["port_state"] = f->device.port_state;
                }
    std::printf("%s\n", out.dump().c_str());
    return 0;
}

const int kHelperExit = [] {
    const char* cmd = std::getenv("VTSIM_HELPER");
    if (cmd) {
        int rc = runHelper(cmd);
        std::fflush(stdout);
        std::_Exit(rc);
    }
    return 0;
}();

json helper(const std::string& cmd) {
    setenv("VTSIM_HELPER", cmd.c_str(), 1);
    FILE* p = popen(VTSIM_TEST_EXE, "r");
    unsetenv("VTSIM_HELPER");
    if (!p) return json();
    std::string text;
    char buf[512];
    while (std::fgets(buf, sizeof buf, p)) text += buf;
    int rc = pclose(p);
    if (rc != 0) return {{"exit", rc}};
    return text.empty() ? json::object() : json::parse(text, nullptr, false);
}

class State : public ::testing::Test {
protected:
    std::string file;
    void SetUp() override {
        char tmpl[] = "/tmp/vtsim-state-XXXXXX";
        int fd = mkstemp(tmpl);
        ASSERT_GE(fd, 0);
        close(fd);
        unlink(tmpl);   // the library creates it on the first write
        file = tmpl;
        unsetenv("VTAPI_SIM_STATE");
        unsetenv("VTAPI_SIM_HOST");
        vtsim_reset();
    }
    void TearDown() override {
        unsetenv("VTAPI_SIM_STATE");
        vtsim_reset();
        unlink(file.c_str());
    }
};

TEST_F(State, WritesPersistAcrossProcessesOnlyWithAStateFile) {
    EXPECT_EQ(helper("write vmnic4 nic/pxe_enabled false"), json::object());
    json r = helper("read vmnic4 nic/pxe_enabled");
    EXPECT_EQ(r["pxe"], 1) << "without a state file each process starts clean";
    EXPECT_TRUE(helper("read nosuch x")["exit"].is_number());

    setenv("VTAPI_SIM_STATE", file.c_str(), 1);
    EXPECT_EQ(helper("write vmnic4 nic/pxe_enabled false"), json::object());
    EXPECT_EQ(helper("write vmhba2 fc/port_state 3"), json::object());
    EXPECT_EQ(helper("write vmnic4 nic/params {\"tso\":0,\"rx_buffers\":2048}"), json::object());
    r = helper("read vmnic4 nic/pxe_enabled");
    EXPECT_EQ(r["data"], false);
    EXPECT_EQ(r["pxe"], 0) << "the record of the next process shows the write";
    EXPECT_EQ(helper("read vmhba2 fc/port_state")["port_state"], 3);
    EXPECT_EQ(helper("read vmnic4 nic/params")["data"], (json{{"tso", 0}, {"rx_buffers", 2048}}));
    std::ifstream in(file);
    json doc = json::parse(in, nullptr, false);
    EXPECT_EQ(doc["fn"]["vmhba2"]["fc"]["port_state"], 3) << doc.dump();
}

TEST_F(State, InMemoryStateSurvivesReloadsUntilReset) {
    const char* host = R"({"adapters":[{"name":"S1","ports":[{"functions":[{"name":"vmnic1","type":"nic"}]}]}]})";
    ASSERT_EQ(vtsim_load_host_json(host), 0);
    ASSERT_EQ(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK);
    {
        auto g = vtsim::lock();
        vtsim::FnRef r = vtsim::findByName("vmnic1");
        vtsim::persist(*r.fn, "nic/link_state", 0);
        vtsim::persist(*r.a, "versions/firmware", "9.99.99");
        vtsim::stateSet("global/boot/count", 3);
        EXPECT_EQ(r.fn->data["nic"]["link_state"], 0) << "write-through to the model";
    }
    // A reload of the description keeps what was written.
    ASSERT_EQ(vtsim_load_host_json(host), 0);
    vtapi_adapter_t* a = VTAPI_GetAdapterList()->first;
    EXPECT_STREQ(a->flash_fw_version, "9.99.99");
    EXPECT_EQ(a->phy_ports->first->protocols->first->nic.link_state, 0u);
    EXPECT_EQ(vtsim::stateGet("global/boot"), (json{{"count", 3}}));

    vtsim_reset();
    EXPECT_TRUE(vtsim::stateGet("global/boot/count").is_null());
    ASSERT_EQ(vtsim_load_host_json(host), 0);
    ASSERT_EQ(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_GetAdapterList()->first->phy_ports->first->protocols->first->nic.link_state, 1u);
    VTAPI_Uninitialize();
}

TEST_F(State, BadStateIsIgnoredNotFatal) {
    setenv("VTAPI_SIM_STATE", file.c_str(), 1);
    std::ofstream(file) << "{ not json";
    EXPECT_EQ(helper("read vmnic4 nic/pxe_enabled")["pxe"], 1);
    // A value of the wrong kind for its field is dropped, the rest applies.
    std::ofstream(file) << R"({"fn":{"vmnic4":{"nic":{"pxe_enabled":"maybe","link_speed":1000}}}})";
    json r = helper("read vmnic4 nic/link_speed");
    EXPECT_EQ(r["pxe"], 1);
    EXPECT_EQ(r["data"], 1000);
}

}  // namespace
