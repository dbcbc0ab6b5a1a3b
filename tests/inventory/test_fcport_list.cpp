// The FC port list and the key lookups over the simulated adapter tree.
#include "adapter_tree.h"
#include "fcport_list.h"
#include "vtsim.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

// An FC adapter with a port without protocol list between two FC ports, and
// a converged adapter whose FCoE function sits between NIC and iSCSI ones.
const char* kHost = R"({"adapters": [
  {"name": "VTFC000001", "kind": "fc", "ports": [
    {"number": 0, "functions": [{"type": "fc", "fc": {"node_wwn": "20:00:00:1F:EE:00:00:0A",
                                                      "port_wwn": "21:00:00:1F:EE:00:00:0A"}}]},
    {"number": 1, "functions": null},
    {"number": 2, "functions": [{"type": "fc", "fc": {"node_wwn": "20:00:00:1f:ee:00:00:0b",
                                                      "port_wwn": "21:00:00:1f:ee:00:00:0b"}}]}]},
  {"name": "VTCNA00002", "kind": "cna", "ports": [
    {"number": 0, "functions": [{"type": "nic", "name": "vmnic7"},
                                {"type": "fcoe", "fc": {"node_wwn": "20:00:00:1f:ee:00:00:0c",
                                                        "port_wwn": "21:00:00:1f:ee:00:00:0c"}},
                                {"type": "iscsi", "name": "vmhba40"}]}]},
  {"name": "VTNIC00003", "kind": "nic", "ports": null}]})";

class InventoryTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        // A private, empty root: no properties file, so the log stays off.
        std::string pattern = (std::filesystem::temp_directory_path() / "veltra-inventory-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        root_ = pattern;
        setenv("VELTRA_ROOT", root_.c_str(), 1);
        vtsim_reset();
        ASSERT_EQ(vtsim_load_host_json(kHost), 0) << vtsim_last_error();
        ASSERT_EQ(VTAPI_Initialize(0, 0), 0u);
    }
    void TearDown() override
    {
        removeFCPortList();
        VTAPI_Uninitialize();
        vtsim_reset();
        std::filesystem::remove_all(root_);
        unsetenv("VELTRA_ROOT");
    }

    std::string root_;

    static std::vector<std::string> ids()
    {
        std::vector<std::string> out;
        for (uint32_t i = 0; i < g_FCPortList.count; ++i)
            out.push_back(std::string(g_FCPortList.entries[i].instanceID) + " " +
                          std::to_string(g_FCPortList.entries[i].physicalPortNumber));
        return out;
    }
};

} // namespace

TEST_F(InventoryTest, ListHoldsTheFCFunctionsInTreeOrder)
{
    buildFCPortList();
    EXPECT_EQ(ids(), (std::vector<std::string>{
                         "VTFC000001_20:00:00:1f:ee:00:00:0a_21:00:00:1f:ee:00:00:0a 0",
                         "VTFC000001_20:00:00:1f:ee:00:00:0b_21:00:00:1f:ee:00:00:0b 2",
                         "VTCNA00002_20:00:00:1f:ee:00:00:0c_21:00:00:1f:ee:00:00:0c 0"}));
    for (uint32_t i = 0; i < g_FCPortList.count; ++i) {
        EXPECT_EQ(g_FCPortList.entries[i].valid, 1);
        EXPECT_NE(g_FCPortList.entries[i].device, nullptr);
    }
    EXPECT_STREQ(g_FCPortList.entries[2].serialNumber, "VTCNA00002");
    EXPECT_STREQ(g_FCPortList.entries[2].portName, "21:00:00:1f:ee:00:00:0c");

    // No adapter list: the previous list stays.
    ASSERT_EQ(vtsim_fault("VTAPI_GetAdapterList", 0, 1), 0);
    buildFCPortList();
    EXPECT_EQ(g_FCPortList.count, 3u);

    // A host without FC functions: an empty list without an array.
    ASSERT_EQ(vtsim_load_host_json(R"({"adapters": [{"name": "VTNIC00009", "kind": "nic",
        "ports": [{"functions": [{"type": "nic"}]}]}]})"), 0);
    buildFCPortList();
    EXPECT_EQ(g_FCPortList.count, 0u);
    EXPECT_EQ(g_FCPortList.entries, nullptr);
    removeFCPortList();
    EXPECT_EQ(g_FCPortList.count, 0u);
}

TEST_F(InventoryTest, LookupsCompareKeysWithoutRegardToCase)
{
    buildFCPortList();
    vtapi_adapter_t* adapter = FindAdapter("vtcna00002");
    ASSERT_NE(adapter, nullptr);
    EXPECT_STREQ(adapter->name, "VTCNA00002");
    EXPECT_EQ(FindAdapter("VTCNA0000"), nullptr);
    EXPECT_EQ(FindAdapter(nullptr), nullptr);

    vtapi_adapter_t* owner = nullptr;
    vtapi_protocol_t* fn = FindFunctionByName("VMHBA40", &owner);
    ASSERT_NE(fn, nullptr);
    EXPECT_EQ(fn->protocol_type, static_cast<uint32_t>(VTAPI_PROTOCOL_ISCSI));
    EXPECT_EQ(owner, adapter);
    EXPECT_EQ(FindFunctionByName("vmnic99", nullptr), nullptr);

    const std::string second = "VTFC000001_20:00:00:1F:EE:00:00:0B_21:00:00:1F:EE:00:00:0B";
    EXPECT_EQ(FindFCPortIndex(second.c_str()), 1);
    // An entry that is not valid is passed over.
    g_FCPortList.entries[1].valid = 0;
    EXPECT_EQ(FindFCPortIndex(second.c_str()), -1);
    EXPECT_EQ(FindFCPortIndex("nothing"), -1);
}
