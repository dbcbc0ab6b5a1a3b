// The SR-IOV classes ("VeltraNIC_EthernetPort_PhysicalFunction",
// "..._VirtualFunction" with its methods, "..._VirtualPort") as a client
// sees them: the shipped provider in the in-process object manager (strict
// mode) over the simulated adapter library. The default host has SR-IOV on
// vmnic4 and vmnic5, four VFs each, one vport of the PF and two per VF.
#include "frame_test.h"

#include <map>

namespace {

const char* const kPF = "VeltraNIC_EthernetPort_PhysicalFunction";
const char* const kVF = "VeltraNIC_EthernetPort_VirtualFunction";
const char* const kVport = "VeltraNIC_EthernetPort_VirtualPort";

class SriovTest : public FrameTest {
protected:
    void SetUp() override
    {
        FrameTest::SetUp();
        start();
    }

    vcim::Status invoke(const std::string& key, const char* method, const std::vector<vcim::Property>& in)
    {
        return FrameTest::invoke(keyPath(kVF, key), method, in);
    }
    static vcim::Property text(const char* name, const char* v) { return {name, vcim::Value::string(v)}; }
};

TEST_F(SriovTest, PublishesFunctionsVFsAndVportsByKey)
{
    EXPECT_EQ(names(kPF), (std::vector<std::string>{"vmnic4", "vmnic5"}));
    const std::vector<std::string> vfs = names(kVF);
    ASSERT_EQ(vfs.size(), 8u);
    EXPECT_EQ(vfs[3], "vmnic4##3##3");
    const std::vector<std::string> vports = names(kVport);
    ASSERT_EQ(vports.size(), 18u);
    EXPECT_EQ(vports[0], "vmnic4##-1##0##0");
    EXPECT_EQ(vports[8], "vmnic4##3##3##8");

    EXPECT_EQ(get(kPF, "VMNIC5")["num_active_vfs"], "4");
    auto vf = get(kVF, "VMNIC4##3##3"); // another case of the name
    EXPECT_EQ(vf["PFInstanceID"], "vmnic4");
    EXPECT_EQ(vf["vf_id"], "3");
    EXPECT_EQ(vf["num_vf_active_vports"], "2");
    EXPECT_EQ(vf["vf_drv_version"], "vtvf 1.4.2");
    auto vport = get(kVport, "vmnic4##3##3##8");
    EXPECT_EQ(vport["VFInstanceID"], "vmnic4##3##3");
    EXPECT_EQ(vport["PFInstanceID"], "vmnic4");
    EXPECT_EQ(vport["mac_addr"], vf["current_mac"]);
    auto own = get(kVport, "vmnic4##-1##0##0");
    EXPECT_EQ(own.count("VFInstanceID"), 0u);

    // Keys that do not parse, are out of range or name nothing.
    for (const char* key : {"vmnic4##3", "vmnic4##x##3", "vmnic4##3##99", "vmnic4##2##3", "vmnic4##3##4294967296",
                            "vmnic4##3##-3", "vmnic9##0##0", "##0##0", "vmnic4##3##3##"})
        EXPECT_EQ(tryGet(kVF, key).rc, CMPI_RC_ERR_NOT_FOUND) << key;
    for (const char* key : {"vmnic4##2##2##7", "vmnic4##-1##1##0", "vmnic4##-1##0##99", "vmnic4##3##3",
                            "vmnic4##99999999999##3##7", "vmnic4##3##3##8##1"})
        EXPECT_EQ(tryGet(kVport, key).rc, CMPI_RC_ERR_NOT_FOUND) << key;
    EXPECT_EQ(tryGet(kPF, "vmhba7").rc, CMPI_RC_ERR_NOT_FOUND) << "not a NIC function";
}

TEST_F(SriovTest, VFMethodsChangeRefuseAndReportFailures)
{
    const std::string key = "vmnic5##1##1";
    struct Case {
        const char* method;
        const char* op;
        std::vector<vcim::Property> good;
        const char* property;
        const char* shown;
    } cases[] = {
        {"SetVfAntiMacSpoofChk", "VTAPI_SRIOVSetVfAntiMacSpoofChk",
         {{"mac_spoof_status", vcim::Value::boolean(false)}}, "anti_mac_spoof", "0"},
        {"SetVfBandwidth", "VTAPI_SRIOVSetVfBandwidth", {u32("min_bw", 10), u32("max_bw", 60)}, "bandwidth_max", "60"},
        {"SetVfPortVlanId", "VTAPI_SRIOVSetVfPortVlanId", {u32("vlanId", 300)}, "vlan_id", "300"},
        {"SetVfMacAddress", "VTAPI_SRIOVSetVfMacAddress", {text("mac_address", "02:aa:bb:cc:dd:0e")}, "current_mac",
         "02:AA:BB:CC:DD:0E"},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(invoke(key, c.method, c.good).ok()) << c.method;
        EXPECT_EQ(result_.returnValue.n.u, 0u);
        EXPECT_EQ(get(kVF, key)[c.property], c.shown) << c.method;
        ASSERT_EQ(vtsim_fault(c.op, 7, 1), 0);
        vcim::Status st = invoke(key, c.method, c.good);
        EXPECT_EQ(st.rc, CMPI_RC_ERR_FAILED) << c.method;
        EXPECT_EQ(st.msg, "Failed to update configuration, ErrorCode=7!");
        st = invoke("vmnic5##2##1", c.method, c.good);
        EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_FOUND) << c.method;
        EXPECT_EQ(st.msg, "No matching instance found, KeyValue=vmnic5##2##1!");
    }
    // Bandwidth inputs left out count as 0; the others are required.
    ASSERT_TRUE(invoke(key, "setvfbandwidth", {}).ok());
    EXPECT_EQ(get(kVF, key)["bandwidth_min"], "0");
    for (const char* method : {"SetVfAntiMacSpoofChk", "SetVfPortVlanId"}) {
        const vcim::Status st = invoke(key, method, {});
        EXPECT_EQ(st.rc, CMPI_RC_ERR_INVALID_PARAMETER) << method;
        EXPECT_EQ(st.msg, "Missing required arguments!");
    }
    vcim::Status st = invoke(key, "SetVfMacAddress", {});
    EXPECT_EQ(st.msg, "Missing required argument [mac_address]!");
    for (const char* bad : {"02:aa:bb:cc:dd", "02:aa:bb:cc:dd:0g", "02-aa-bb-cc-dd-0e", "02:aa:bb:cc:dd:0e:ff"}) {
        st = invoke(key, "SetVfMacAddress", {text("mac_address", bad)});
        EXPECT_EQ(st.rc, CMPI_RC_ERR_INVALID_PARAMETER) << bad;
        EXPECT_EQ(st.msg, "Invalid argument [mac_address]!") << bad;
    }
    st = invoke(key, "SetVfMacAddress", {text("mac_address", "02:aa:bb:cc:dd:0e"), text("mac_address2", "x")});
    EXPECT_EQ(st.msg, "Invalid argument [mac_address2]!");
    // The library's own refusal of a value.
    st = invoke(key, "SetVfPortVlanId", {u32("vlanId", 5000)});
    EXPECT_EQ(st.rc, CMPI_RC_ERR_FAILED);
}

} // namespace
