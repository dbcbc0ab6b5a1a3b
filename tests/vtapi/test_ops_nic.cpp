// Ethernet function operations of the simulated library: settings written
// through the library show in reads, in the tree and after a reload;
// parameters and DCBX are validated; dumps and lists come out as described.
#include "test_ops_util.h"

#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <vector>

namespace {

using json = nlohmann::json;

std::vector<uint8_t> slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

class NicOps : public OpsTest {};

TEST_F(NicOps, SettingsRoundTripShowInTheTreeAndPersist) {
    start();
    uint8_t on = 9;
    ASSERT_EQ(VTAPI_GetPXEEnabled("vmnic4", &on, 1), VTAPI_STATUS_OK);
    EXPECT_EQ(on, 1);
    ASSERT_EQ(VTAPI_SetPXEEnabled("VMNIC4", 0), VTAPI_STATUS_OK) << "names compare without case";
    ASSERT_EQ(VTAPI_GetPXEEnabled("vmnic4", &on, 1), VTAPI_STATUS_OK);
    EXPECT_EQ(on, 0);
    EXPECT_EQ(fn("vmnic4")->nic.pxe_enabled, 0) << "the cached value in the tree follows";
    EXPECT_EQ(VTAPI_SetPXEEnabled("vmnic4", 2), VTAPI_STATUS_INVALID_PARAM);
    EXPECT_EQ(VTAPI_SetPXEEnabled("vmhba2", 1), VTAPI_STATUS_NOT_FOUND) << "not a NIC function";
    EXPECT_EQ(VTAPI_GetPXEEnabled(nullptr, &on, 1), VTAPI_STATUS_NOT_FOUND);

    VTAPI_WOLConfigV2 wol{};
    EXPECT_EQ(VTAPI_SetWOLConfig("vmnic5", 1, 0x100), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_SetWOLConfig("vmnic5", 1, 0x21), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_GetWOLConfigV2("vmnic5", &wol, 1), VTAPI_STATUS_OK);
    EXPECT_EQ(wol.enabled, 1);
    EXPECT_EQ(wol.wakeup_events, 0x21u);
    EXPECT_EQ(fn("vmnic5")->nic.wol_wakeup_events, 0x21u);

    uint32_t v = 9;
    EXPECT_EQ(VTAPI_SetPortVLANID_V2("vmnic4", 4095, 0), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_SetPortVLANID_V2("vmnic4", 100, 1), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_cnaSetFwMiniDumpState("vmnic4", 2), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_cnaSetFwMiniDumpState("vmnic4", 0), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_cnaSetFwMiniDumpCaptureMask("vmnic4", 0x3), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_cnaSetFwMiniDumpCaptureMask("vmnic4", 0x100), VTAPI_STATUS_INVALID_PARAM);

    reload(vtsim_default_host_json());
    ASSERT_EQ(VTAPI_GetPortVLANIDV2("vmnic4", &v, 1), VTAPI_STATUS_OK);
    EXPECT_EQ(v, 100u);
    ASSERT_EQ(VTAPI_GetPortVLANIDV2("vmnic5", &v, 1), VTAPI_STATUS_OK);
    EXPECT_EQ(v, 0u);
    ASSERT_EQ(VTAPI_cnaGetFwMiniDumpState("vmnic4", &v), VTAPI_STATUS_OK);
    EXPECT_EQ(v, 0u);
    ASSERT_EQ(VTAPI_cnaGetFwMiniDumpCaptureMask("vmnic4", &v), VTAPI_STATUS_OK);
    EXPECT_EQ(v, 3u);
    EXPECT_EQ(fn("vmnic4")->nic.pxe_enabled, 0);
    EXPECT_EQ(fn("vmnic5")->nic.wol_enabled, 1);
}

TEST_F(NicOps, DriverParametersAreWrittenByGroup) {
    start();
    NicParams p{};
    ASSERT_EQ(VTAPI_GetNicParams("vmnic4", &p), VTAPI_STATUS_OK);
    EXPECT_EQ(p.valid_mask, 0x7fu);
    EXPECT_EQ(p.rx_buffers, 1024u);

    // Only the coalescing group is applied.
    NicParams w = p;
    w.valid_mask = VTAPI_NICPARAM_COALESCE;
    w.rx_coalesce_usecs = 10;
    w.tx_max_coalesced_frames_high = 200;
    w.tx_buffers = 5;
    ASSERT_EQ(VTAPI_SetNicParams("vmnic4", &w), VTAPI_STATUS_OK);
    NicParams back{};
    ASSERT_EQ(VTAPI_GetNicParams("vmnic4", &back), VTAPI_STATUS_OK);
    EXPECT_EQ(back.rx_coalesce_usecs, 10u);
    EXPECT_EQ(back.tx_max_coalesced_frames_high, 200u);
    EXPECT_EQ(back.tx_buffers, 1024u);

    w = back;
    w.valid_mask = 0x02;
    w.rx_buffers = 10;
    EXPECT_EQ(VTAPI_SetNicParams("vmnic4", &w), VTAPI_STATUS_INVALID_PARAM);
    w.valid_mask = 0x01;
    w.max_jumbo_buffers = -1;   // signed word
    EXPECT_EQ(VTAPI_SetNicParams("vmnic4", &w), VTAPI_STATUS_OK);
    w.valid_mask = 0x80;
    EXPECT_EQ(VTAPI_SetNicParams("vmnic4", &w), VTAPI_STATUS_NOT_SUPPORTED);
    w.valid_mask = 0;
    EXPECT_EQ(VTAPI_SetNicParams("vmnic4", &w), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_GetNicParams("vmnic4", &back), VTAPI_STATUS_OK);
    EXPECT_EQ(back.max_jumbo_buffers, -1);
    EXPECT_EQ(back.rx_buffers, 1024u);
    ASSERT_EQ(VTAPI_GetNicParams("vmnic5", &back), VTAPI_STATUS_OK);
    EXPECT_EQ(back.rx_coalesce_usecs, 3u) << "per function";
}

TEST_F(NicOps, DcbxConfigIsValidatedAndRawBlockFollowsIt) {
    start();
    VTAPI_DCBX_CONFIG c{};
    ASSERT_EQ(VTAPI_GetDCBXConfig("vmnic4", &c), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_SetDCBXConfig("vmnic4", &c), VTAPI_STATUS_OK) << "the record as read is valid";
    VTAPI_DCBX_CONFIG w = c;
    w.group_percentages[0] = 40;   // 90 in all
    EXPECT_EQ(VTAPI_SetDCBXConfig("vmnic4", &w), VTAPI_STATUS_INVALID_PARAM);
    w = c;
    w.lan_bandwidth_percentage = 70, w.san_bandwidth_percentage = 50;
    EXPECT_EQ(VTAPI_SetDCBXConfig("vmnic4", &w), VTAPI_STATUS_INVALID_PARAM);
    w = c;
    w.group_percentages[0] = 30, w.group_percentages[1] = 30, w.group_percentages[7] = 40;
    w.san_priority_cos = 5;
    w.is_willing = 0;
    ASSERT_EQ(VTAPI_SetDCBXConfig("vmnic4", &w), VTAPI_STATUS_OK);
    VTAPI_DCBX_CONFIG back{};
    ASSERT_EQ(VTAPI_GetDCBXConfig("vmnic4", &back), VTAPI_STATUS_OK);
    EXPECT_EQ(std::memcmp(&back, &w, sizeof w), 0);

    uint8_t* buf = nullptr;
    uint32_t size = 0;
    ASSERT_EQ(VTAPI_GetNICDCBXParams("vmnic4", &buf, &size), VTAPI_STATUS_OK);
    ASSERT_EQ(size, 128u);
    EXPECT_EQ(std::memcmp(buf, &w, sizeof w), 0);
    VTAPI_FreeMem(buf);
}

TEST_F(NicOps, StatisticsListMatchesTheTree) {
    start();
    VTAPI_STAT_ENTRY* list = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(VTAPI_GetNICStatistics("vmnic4", &list, &n), VTAPI_STATUS_OK);
    ASSERT_EQ(n * sizeof(uint64_t), sizeof(vtapi_eth_stats_t)) << "one entry per counter";
    EXPECT_STREQ(list[0].name, "txPkts");
    EXPECT_EQ(list[0].value, fn("vmnic4")->nic.stats.txPkts);
    const uint64_t* rec = reinterpret_cast<const uint64_t*>(&fn("vmnic4")->nic.stats);
    for (uint32_t i = 0; i < n; ++i) {
        EXPECT_EQ(list[i].value, rec[i]) << list[i].name;
        EXPECT_NE(list[i].name[0], '\0');
    }
    VTAPI_FreeMem(list);
    EXPECT_EQ(VTAPI_GetNICStatistics("nope", &list, &n), VTAPI_STATUS_NOT_FOUND);
    EXPECT_EQ(list, nullptr);
}

TEST_F(NicOps, DumpsWriteTheDescribedBytes) {
    json h = json::parse(vtsim_default_host_json());
    h["behaviour"] = {{"VTAPI_NicGetFirmwareDump", {{"dump_size", 524289}}},
                      {"VTAPI_NicGetPhantomCoreDump", {{"dump_hex", "01 02 ff"}}}};
    std::string host = h.dump();
    start(host.c_str());
    vtapi_adapter_t* a = adapterOf("vmnic4");
    std::string path = root_ + "/var/tmp/adapter_provider/nic_minidump0";
    ASSERT_EQ(VTAPI_NicGetFirmwareDump(a, "vmnic4", path.c_str(), 1), VTAPI_STATUS_OK);
    std::vector<uint8_t> d = slurp(path);
    ASSERT_EQ(d.size(), 524289u);
    std::string head = "VTSIM NIC DUMP vmnic4\n";
    EXPECT_EQ(std::string(d.begin(), d.begin() + head.size()), head);
    ASSERT_EQ(VTAPI_NicGetFirmwareDump(a, "vmnic4", (path + "b").c_str(), 1), VTAPI_STATUS_OK);
    EXPECT_EQ(slurp(path + "b"), d) << "deterministic";
    EXPECT_EQ(VTAPI_NicGetFirmwareDump(a, "vmnic4", "/proc/no/such/dir/x", 1), VTAPI_STATUS_WRITE_FAILED);
    EXPECT_EQ(VTAPI_NicGetFirmwareDump(adapterOf("vmhba2"), "vmnic4", path.c_str(), 1),
              VTAPI_STATUS_NOT_FOUND) << "function of another adapter";

    char out[VTAPI_PATH_LEN];
    EXPECT_EQ(VTAPI_NicGetPhantomCoreDump(a, "vmnic4", out, 4), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_NicGetPhantomCoreDump(a, "vmnic4", out, 1), VTAPI_STATUS_OK);
    EXPECT_EQ(std::string(out).rfind(root_ + "/var/tmp/", 0), 0u) << out;
    EXPECT_EQ(slurp(out), (std::vector<uint8_t>{1, 2, 0xff}));
}

TEST_F(NicOps, SriovReportsAndChangesVirtualFunctions) {
    start();
    vtapi_adapter_t* a = adapterOf("vmnic4");
    VTAPI_SRIOV_CAPABILITY caps[2] = {};
    ASSERT_EQ(VTAPI_GetSRIOVCapabilities(a, "vmnic4", caps), VTAPI_STATUS_OK);
    EXPECT_TRUE(caps[0].hw_supported && caps[0].sw_supported && caps[1].hw_supported &&
                caps[1].sw_supported);
    EXPECT_EQ(caps[0].max_vfs, 16u);
    uint32_t st = 0, vf0 = 0, vf1 = 0, rsv = 0;
    ASSERT_EQ(VTAPI_GetSRIOVStatus_v2(a, "vmnic4", &st, &vf0, &vf1, &rsv), VTAPI_STATUS_OK);
    EXPECT_EQ(st, 1u);
    EXPECT_EQ(vf0, 4u);
    EXPECT_EQ(VTAPI_GetSRIOVStatus(adapterOf("vmhba2"), "vmnic4", &st), VTAPI_STATUS_NOT_FOUND);

    VTAPI_SRIOV_PF_INFO pf{};
    ASSERT_EQ(VTAPI_SRIOVGetPfInfo(a, "vmnic4", &pf), VTAPI_STATUS_OK);
    EXPECT_EQ(pf.num_active_vfs, 4u);
    VTAPI_SRIOV_VF_INFO vf{};
    EXPECT_EQ(VTAPI_SRIOVGetVfInfo(a, "vmnic4", 4, &vf), VTAPI_STATUS_NOT_FOUND);
    ASSERT_EQ(VTAPI_SRIOVGetVfInfo(a, "vmnic4", 3, &vf), VTAPI_STATUS_OK);
    EXPECT_EQ(vf.vf_id, 3u);

    EXPECT_EQ(VTAPI_SRIOVSetVfPortVlanId(a, "vmnic4", 3, 4095), VTAPI_STATUS_INVALID_PARAM);
    EXPECT_EQ(VTAPI_SRIOVSetVfBandwidth(a, "vmnic4", 3, 60, 40), VTAPI_STATUS_INVALID_PARAM);
    vtapi_macaddr mcast = {{0x01, 0, 0x5e, 0, 0, 1}}, mac = {{0x02, 0xaa, 0, 0, 0, 7}};
    EXPECT_EQ(VTAPI_SRIOVSetVfMacAddress(a, "vmnic4", 3, &mcast, nullptr), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_SRIOVSetVfPortVlanId(a, "vmnic4", 3, 100), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_SRIOVSetVfBandwidth(a, "vmnic4", 3, 10, 50), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_SRIOVSetVfMacAddress(a, "vmnic4", 3, &mac, nullptr), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_SRIOVSetVfAntiMacSpoofChk(a, "vmnic4", 3, 0), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_SRIOVGetVfInfo(a, "vmnic4", 3, &vf), VTAPI_STATUS_OK);
    EXPECT_EQ(vf.vlan_id, 100u);
    EXPECT_EQ(vf.bandwidth_min, 10u);
    EXPECT_EQ(vf.bandwidth_max, 50u);
    EXPECT_EQ(std::memcmp(vf.current_mac.addr, mac.addr, 6), 0);
    EXPECT_EQ(vf.anti_mac_spoof, 0);

    VTAPI_SRIOV_VPORT_INFO* vp = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(VTAPI_SRIOVGetVports(a, "vmnic4", 3, &vp, &n), VTAPI_STATUS_OK);
    ASSERT_EQ(n, 2u);
    EXPECT_EQ(vp[0].vport_id, 7u);   // after the PF's one and VFs 0-2's two each
    EXPECT_EQ(vp[1].pvid, 100u);
    VTAPI_FreeMem(vp);
    ASSERT_EQ(VTAPI_SRIOVGetVports(a, "vmnic4", VTAPI_SRIOV_PF, &vp, &n), VTAPI_STATUS_OK);
    EXPECT_EQ(vp[0].vport_id, 0u);
    VTAPI_FreeMem(vp);
    uint32_t ids[1] = {}, room = 1;
    ASSERT_EQ(VTAPI_GetVportList(a, "vmnic4", 3, ids, &room), VTAPI_STATUS_OK);
    EXPECT_EQ(room, 2u);
    EXPECT_EQ(ids[0], 7u);
    VTAPI_SRIOV_VPORT_INFO info{};
    ASSERT_EQ(VTAPI_GetVportInfo(a, "vmnic4", 8, &info), VTAPI_STATUS_OK);
    EXPECT_EQ(info.pvid, 100u);
    EXPECT_EQ(VTAPI_GetVportInfo(a, "vmnic4", 9, &info), VTAPI_STATUS_NOT_FOUND);

    // Switching SR-IOV off leaves no virtual functions.
    const uint32_t counts[2] = {17, 0};
    EXPECT_EQ(VTAPI_SetSRIOVStatus(a, "vmnic4", 1, counts, 2), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_SetSRIOVStatus(a, "vmnic4", 0, nullptr, 0), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_SRIOVGetPfInfo(a, "vmnic4", &pf), VTAPI_STATUS_OK);
    EXPECT_EQ(pf.num_active_vfs, 0u);
    EXPECT_EQ(VTAPI_SRIOVGetVfInfo(a, "vmnic4", 0, &vf), VTAPI_STATUS_NOT_FOUND);
    ASSERT_EQ(VTAPI_GetSRIOVStatus(a, "vmnic5", &st), VTAPI_STATUS_OK);
    EXPECT_EQ(st, 1u) << "the other port keeps its state";
}

TEST_F(NicOps, FunctionsWithoutSriovSayNotSupported) {
    start(R"({"adapters": [{"name": "N1", "kind": "nic", "sriov": {"supported": false},
              "ports": [{"functions": [{"type": "nic", "name": "vmnic0"}]}]}]})");
    VTAPI_SRIOV_CAPABILITY caps[2];
    EXPECT_EQ(VTAPI_GetSRIOVCapabilities(adapter("N1"), "vmnic0", caps), VTAPI_STATUS_NOT_SUPPORTED);
    uint32_t one = 1;
    EXPECT_EQ(VTAPI_SetSRIOVStatus(adapter("N1"), "vmnic0", 1, &one, 1), VTAPI_STATUS_NOT_SUPPORTED);
}

}  // namespace
