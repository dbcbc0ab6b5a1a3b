// State written through the library persists in memory and, with
// VTAPI_SIM_STATE, across processes; this executable runs itself as the
// second process.
#include "sim_internal.h"
#include "vtapi.h"
#include "vtsim.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

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
    EXPECT_EQ(vtsim::stateGet("global/boot/count"), 3);
    EXPECT_EQ(vtsim::stateGet("global/boot"), (json{{"count", 3}}));
    EXPECT_TRUE(vtsim::stateGet("global/none").is_null());
    char buf[512];
    ASSERT_GT(vtsim_state_json(buf, sizeof buf), 0u);
    EXPECT_EQ(json::parse(buf)["fn"]["vmnic1"]["nic"]["link_state"], 0);

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
