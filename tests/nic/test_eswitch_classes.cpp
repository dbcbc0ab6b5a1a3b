// "VeltraNIC_NPARESwitchConfiguration", "VeltraNIC_NPARESwitchPortStatistics"
// and the saved eSwitch settings ("eswitch.config") as a client and a host
// restart see them: the shipped provider in the in-process object manager
// (strict mode) over the simulated adapter library.
#include "frame_test.h"

#include <atomic>
#include <map>
#include <thread>

namespace {

// The default host's partitioned adapter: NIC functions 0 (port 1) and 3
// (port 2); FCoE, iSCSI and disabled functions besides.
const char* const kCna = "VT26N51203";
const char* const kConfig = "VeltraNIC_NPARESwitchConfiguration";
const char* const kStats = "VeltraNIC_NPARESwitchPortStatistics";
const char* const kFile = "/var/tmp/eswitch.config";
const char* const kKey0 = "VT26N51203_VT-VC16002-2P_0_0";
const char* const kKey3 = "VT26N51203_VT-VC16002-2P_1_3";
const std::string kDefaultValue = "ivlan_id#0;ovlan_id#0;anti_spoof_chk#0;prop_data1#0;mac_addr_change#1;"
                                  "host_vlan_tag#0;promisc_mode#0;vlan_filter#0;vlan_strip#0;offload_flags#0;"
                                  "policy_data1#0;pad0#0;";
const char* const kJobLines = "4711#ID=4711\n4711#DESC=NIC flash\n4711#TOLSC=1\n4711#STATUS=2\n4711#RESULT=0\n"
                              "4711#END=1\n";

class ESwitchTest : public FrameTest {
protected:
    void restart()
    {
        broker().unload(true);
        broker_.reset();
        start();
    }

    vcim::Status invoke(const std::string& key, const char* method, const std::vector<vcim::Property>& in = {})
    {
        return FrameTest::invoke(keyPath(kConfig, key), method, in);
    }
    uint64_t returned() const { return result_.returnValue.null ? ~0ull : result_.returnValue.n.u; }

    // Every input of UpdateConfiguration set to `v`, the inner VLAN to `vlan`.
    static std::vector<vcim::Property> allInputs(uint64_t v, uint64_t vlan)
    {
        return {u32("MACAddressChange", v), u32("HostVLANTag", v),       u32("PromiscuousMode", v),
                u32("VLANFiltering", v),    u32("VLANIDStripping", v),   u32("DiscardTaggedPacket", v),
                u32("MACLearning", v),      u32("StatelessOffloadSettings", v), u32("InnerVLANID", vlan)};
    }

    // The saved entries: key -> value (job lines included).
    std::map<std::string, std::string> saved() const
    {
        std::map<std::string, std::string> entries;
        for (const std::string& line : split(read(at(kFile))))
            entries[line.substr(0, line.find('='))] = line.substr(line.find('=') + 1);
        return entries;
    }
    std::string setting(const std::string& key, const char* property) { return get(kConfig, key)[property]; }
};

TEST_F(ESwitchTest, UpdateConfigurationChangesSavesAndKeepsJobEntries)
{
    write(at(kFile), kJobLines);
    start();
    EXPECT_EQ(names(kConfig), (std::vector<std::string>{"VT26N51203_0_0", "VT26N51203_0_1", "VT26N51203_0_2",
                                                         "VT26N51203_1_3", "VT26N51203_1_4", "VT26N51203_1_5",
                                                         "VT26N51203_0_6", "VT26N51203_1_7"}));
    auto before = get(kConfig, "vt26n51203_1_3");
    EXPECT_EQ(before["PortNumber"], "2");
    EXPECT_EQ(before["MACAddressChange"], "1");
    EXPECT_EQ(before["MaximumUnicastFilters"], "32");

    ASSERT_TRUE(invoke("vt26n51203_1_3", "updateconfiguration", allInputs(1, 100)).ok());
    EXPECT_EQ(returned(), 0u);
    auto after = get(kConfig, "VT26N51203_1_3");
    for (const char* p : {"MACAddressChange", "HostVLANTag", "PromiscuousMode", "VLANFiltering", "VLANIDStripping",
                          "DiscardTaggedPacket", "MACLearning", "StatelessOffloadSettings"})
        EXPECT_EQ(after[p], "1") << p;
    EXPECT_EQ(after["InnerVLANID"], "100");
    EXPECT_EQ(logCount("****** Successfully updated configuration data for instance [vt26n51203_1_3]"), 1u);

    // Both Ethernet functions are saved; the job entries stay.
    auto entries = saved();
    EXPECT_EQ(entries.size(), 8u);
    EXPECT_EQ(entries[kKey0], kDefaultValue);
    EXPECT_EQ(entries[kKey3], "ivlan_id#100;ovlan_id#0;anti_spoof_chk#0;prop_data1#0;mac_addr_change#1;"
                              "host_vlan_tag#1;promisc_mode#1;vlan_filter#1;vlan_strip#1;offload_flags#1;"
                              "policy_data1#3;pad0#0;");
    EXPECT_EQ(entries["4711#STATUS"], "2");

    // Inputs left out count as 0 (and are logged); another type is refused.
    ASSERT_TRUE(invoke("VT26N51203_1_3", "UpdateConfiguration", {u32("InnerVLANID", 7)}).ok());
    EXPECT_EQ(setting("VT26N51203_1_3", "PromiscuousMode"), "0");
    EXPECT_EQ(setting("VT26N51203_1_3", "InnerVLANID"), "7");
    EXPECT_GE(logCount("invokeMethod_NPAReSwitchConfiguration: macAddressChangeArg is NULL"), 1u);

    // A library failure changes neither the adapter nor the file.
    const std::string file = read(at(kFile));
    ASSERT_EQ(vtsim_fault("VTAPI_NparSetESwitchConfig_V2", 5, 1), 0);
    vcim::Status st = invoke("VT26N51203_1_3", "UpdateConfiguration", allInputs(1, 9));
    EXPECT_EQ(st.rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(st.msg, "Failed to update configuration, ErrorCode=5!");
    EXPECT_EQ(setting("VT26N51203_1_3", "InnerVLANID"), "7");
    EXPECT_EQ(read(at(kFile)), file);
    st = invoke("VT26N51203_9_3", "UpdateConfiguration", allInputs(1, 9));
    EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(st.msg, "No matching instance found, KeyValue=VT26N51203_9_3!");
}

TEST_F(ESwitchTest, SavedSettingsComeBackAfterAnAdapterResetAndAProviderReloadAndCountersMove)
{
    start();
    ASSERT_TRUE(invoke("VT26N51203_0_0", "UpdateConfiguration", allInputs(1, 42)).ok());
    broker().unload(true);
    broker_.reset();
    ASSERT_EQ(vtsim_reset_adapter(kCna), 0);
    vtsim_log_clear();
    start(); // the start-up replays the file before it serves requests
    EXPECT_EQ(setting("VT26N51203_0_0", "InnerVLANID"), "42");
    EXPECT_EQ(vtsim_log_count("VTAPI_NparSetESwitchConfig_V2"), 1u);
    EXPECT_EQ(setting("VT26N51203_0_0", "DiscardTaggedPacket"), "1");

    // The method replays the file too; the adapter's refusal is 1013.
    ASSERT_EQ(vtsim_reset_adapter(kCna), 0);
    ASSERT_TRUE(invoke("VT26N51203_1_3", "RestoreConfiguration").ok());
    EXPECT_EQ(returned(), 0u);
    EXPECT_EQ(setting("VT26N51203_0_0", "InnerVLANID"), "42");
    ASSERT_EQ(vtsim_fault("VTAPI_NparSetESwitchConfig_V2", 5, 1), 0);
    ASSERT_TRUE(invoke("VT26N51203_1_3", "RestoreConfiguration").ok());
    EXPECT_EQ(returned(), 1013u);
    EXPECT_EQ(logCount("RestoreESwitchCfg: QU_set_eswitch_config failed failed with return code  [5]"), 1u);

    // Port counters move and fall back to the last read when a refresh fails.
    EXPECT_EQ(names(kStats).size(), 8u);
    const uint64_t first = std::stoull(get(kStats, "VT26N51203_1_3")["RXUnicastFrames"]);
    const uint64_t second = std::stoull(get(kStats, "VT26N51203_1_3")["RXUnicastFrames"]);
    EXPECT_GT(second, first);
    ASSERT_EQ(vtsim_fault("VTAPI_RefreshNPARStats", 5, 1), 0);
    auto cached = get(kStats, "VT26N51203_1_3");
    EXPECT_EQ(std::stoull(cached["RXUnicastFrames"]), second);
    EXPECT_EQ(cached["PortNumber"], "2");
    EXPECT_EQ(logCount("makeInstance_NPARESwitchPortStatistics() : VTAPI_RefreshNPARStats() returned failure"), 1u);
}

// What the replay makes of damaged, incomplete or mismatched files.
TEST_F(ESwitchTest, RestoreToleratesDamageAndRefusesMismatches)
{
    start();
    ASSERT_EQ(vtsim_reset_adapter(kCna), 0);
    const std::string entry0 = std::string(kKey0) + "=" + kDefaultValue + "\n";
    struct Case {
        const char* what;
        std::string file;
        uint64_t result;
        unsigned writes;
    } cases[] = {
        {"empty", "", 1014, 0},
        {"fields by name, damaged tokens skipped",
         entry0 + "garbage line\n" + kKey3 + "=vlan_filter#1;ivlan_id#99999;promisc_mode;#3;ovlan_id#12x;"
                                             "unknown#4;host_vlan_tag#1\n",
         0, 1},
        {"torn last entry", entry0 + kKey3 + "=ivlan_id#5;promisc_mo", 1014, 0},
        {"entry for a non-NIC function", entry0 + kKey3 + "=ivlan_id#1;\nVT26N51203_VT-VC16002-2P_0_1=ivlan_id#1;\n",
         1014, 0},
    };
    for (const Case& c : cases) {
        write(at(kFile), c.file);
        vtsim_log_clear();
        ASSERT_TRUE(invoke("VT26N51203_0_0", "RestoreConfiguration").ok()) << c.what;
        EXPECT_EQ(returned(), c.result) << c.what;
        EXPECT_EQ(vtsim_log_count("VTAPI_NparSetESwitchConfig_V2"), c.writes) << c.what;
    }
    // The second case restored what parsed.
    write(at(kFile), cases[1].file);
    ASSERT_TRUE(invoke("VT26N51203_0_0", "RestoreConfiguration").ok());
    auto f3 = get(kConfig, "VT26N51203_1_3");
    EXPECT_EQ(f3["VLANFiltering"], "1");
    EXPECT_EQ(f3["HostVLANTag"], "1");
    EXPECT_EQ(f3["InnerVLANID"], "0");
    EXPECT_EQ(f3["OuterVLANID"], "0");
    EXPECT_GE(logCount("DeserializeValueForNPARESwitchCfg: either tokenKey or tokenVal is NULL, so exiting"), 2u);
    EXPECT_GE(logCount("RestoreNPARESwitchCfg: Although NPAR ESwitch info found in the file for mgmt_func=vmnic4, "
                       "function_id=1, the function is not a NIC function"),
              1u);

    // An unreadable file touches nothing; a missing one needs nothing.
    fs::remove(at(kFile));
    fs::create_directory(at(kFile));
    vtsim_log_clear();
    ASSERT_TRUE(invoke("VT26N51203_0_0", "RestoreConfiguration").ok());
    EXPECT_EQ(returned(), 1014u);
    EXPECT_EQ(vtsim_log_count("VTAPI_NparSetESwitchConfig_V2"), 0u);
    fs::remove(at(kFile));
    ASSERT_TRUE(invoke("VT26N51203_0_0", "RestoreConfiguration").ok());
    EXPECT_EQ(returned(), 0u);
}

// An adapter with more than eight functions (and an "=" in its board
// identity), one without valid eSwitch data and one that does not run
// partitioning.
const char* const kWideHost = R"({"adapters": [
  {"name": "VTWIDE0001", "kind": "cna", "partitioned": true, "board_id": "WIDE=BOARD 2",
   "ports": [{"functions": [{"type": "nic", "name": "vmnic20"}]}, {}, {}],
   "npar": {"functions": [{}, {}, {}, {}, {}, {}, {}, {}, {}, {"capability_mask": 2147483650}]}},
  {"name": "VTNOESW002", "kind": "cna", "partitioned": true, "npar": {"valid": 36},
   "ports": [{"functions": [{"type": "nic", "name": "vmnic30"}]}]},
  {"name": "VTNONPAR03", "kind": "cna", "partitioned": false,
   "ports": [{"functions": [{"type": "nic", "name": "vmnic40"}]}]}]})";

TEST_F(ESwitchTest, WideAndInvalidAdapters)
{
    start(kWideHost);
    const std::vector<std::string> configs = names(kConfig);
    EXPECT_EQ(configs.size(), 10u);
    EXPECT_EQ(configs.back(), "VTWIDE0001_0_9");
    EXPECT_GE(logCount("getInstance_NPAReSwitchConfiguration: Data is invalid"), 1u);
    EXPECT_EQ(names(kStats).size(), 14u) << "the counters need no valid eSwitch data";

    ASSERT_TRUE(invoke("VTWIDE0001_0_9", "UpdateConfiguration", allInputs(0, 3)).ok());
    auto entries = saved();
    // The Ethernet functions (0, 1, 4, 9) of the wide adapter, and that of
    // the NPAR-capable adapter that does not run partitioning.
    EXPECT_EQ(entries.size(), 5u) << read(at(kFile));
    EXPECT_EQ(entries.count("VTWIDE0001_WIDE_BOARD 2_0_9"), 1u);
    EXPECT_EQ(entries.count("VTNONPAR03_VT-VC16002-1P_0_0"), 1u);
    // Function 9 has no port mask to name it in a write: not restorable.
    vtsim_log_clear();
    ASSERT_TRUE(invoke("VTWIDE0001_0_9", "RestoreConfiguration").ok());
    EXPECT_EQ(returned(), 1014u);
    EXPECT_EQ(vtsim_log_count("VTAPI_NparSetESwitchConfig_V2"), 1u) << "only the other adapter is written";
    EXPECT_GE(logCount("RestoreNPARESwitchCfg: Although the function is a NIC function, no NPAR ESwitch info found "
                       "in the file for mgmt_func=vmnic20, function_id=9"),
              1u);
}

// A firmware job finishing (its save runs on the worker thread) while the
// eSwitch settings are saved again and again: neither loses the other.
TEST_F(ESwitchTest, JobSavesAndESwitchSavesShareTheFile)
{
    write(at(kFile), "");
    ASSERT_EQ(vtsim_delay("VTAPI_UpdateFlash", 150), 0);
    start();
    std::vector<vcim::Value> image;
    for (int i = 0; i < 64; ++i)
        image.push_back(vcim::Value::uint(CMPI_uint8, static_cast<uint64_t>(i)));
    const std::vector<vcim::Property> piece = {
        {"ImageBuffer", vcim::Value::array(CMPI_uint8, std::move(image))},
        {"TotalImageBufferSize", vcim::Value::uint(CMPI_uint64, 64)},
        {"FlashUpdateFlags", vcim::Value::uint(CMPI_uint32, 1u << 17)}};
    vcim::MethodResult flash;
    ASSERT_TRUE(broker().invokeMethod(keyPath("Veltra_Adapter", kCna), "UpdateFlashFromImageBuffer", piece, flash).ok());
    ASSERT_EQ(flash.returnValue.n.u, 4096u);
    std::string job;
    for (const vcim::Property& p : flash.out)
        if (p.name == "ReturnCode")
            job = std::to_string(p.value.n.u);
    for (int i = 0; i < 30; ++i)
        ASSERT_TRUE(invoke("VT26N51203_1_3", "UpdateConfiguration", allInputs(i % 2, i)).ok());
    ASSERT_TRUE(waitUntil([&] { return saved()[job + "#STATUS"] == "2"; }, 10000));
    ASSERT_TRUE(invoke("VT26N51203_1_3", "UpdateConfiguration", allInputs(1, 77)).ok());
    auto entries = saved();
    EXPECT_EQ(entries.size(), 8u);
    EXPECT_EQ(entries[job + "#END"], "1");
    EXPECT_EQ(entries[kKey3].rfind("ivlan_id#77;", 0), 0u) << entries[kKey3];
    for (const auto& entry : fs::directory_iterator(at("/var/tmp")))
        EXPECT_NE(entry.path().filename().string().rfind("eswitch.config.", 0), 0u) << "temporary file left";
}

} // namespace
