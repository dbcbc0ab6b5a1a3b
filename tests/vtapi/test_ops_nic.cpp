// Ethernet function operations of the simulated library: writes are
// validated, show in the tree and survive a reload; dumps are written as
// described; SR-IOV changes keep the virtual ports consistent.
#include "test_ops_util.h"

#include <fstream>
#include <iterator>
#include <vector>

namespace {

std::vector<uint8_t> slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

class NicOps : public OpsTest {};

TEST_F(NicOps, SettingsAreValidatedShowInTheTreeAndPersist) {
    start();
    ASSERT_EQ(VTAPI_SetPXEEnabled("VMNIC4", 0), VTAPI_STATUS_OK) << "names compare without case";
    EXPECT_EQ(fn("vmnic4")->nic.pxe_enabled, 0) << "the cached value in the tree follows";
    EXPECT_EQ(VTAPI_SetPXEEnabled("vmnic4", 2), VTAPI_STATUS_INVALID_PARAM);
    EXPECT_EQ(VTAPI_SetPXEEnabled("vmhba2", 1), VTAPI_STATUS_NOT_FOUND) << "not a NIC function";
    uint8_t on = 9;
    EXPECT_EQ(VTAPI_GetPXEEnabled(nullptr, &on, 1), VTAPI_STATUS_NOT_FOUND);
    EXPECT_EQ(VTAPI_SetWOLConfig("vmnic5", 1, 0x100), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_SetWOLConfig("vmnic5", 1, 0x21), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_SetPortVLANID_V2("vmnic4", 4095, 0), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_SetPortVLANID_V2("vmnic4", 100, 1), VTAPI_STATUS_OK);

    // Driver parameters: only the groups in the mask are applied.
    NicParams w{};
    ASSERT_EQ(VTAPI_GetNicParams("vmnic4", &w), VTAPI_STATUS_OK);
    w.valid_mask = VTAPI_NICPARAM_COALESCE;
    w.rx_coalesce_usecs = 10;
    w.tx_buffers = 5;
    ASSERT_EQ(VTAPI_SetNicParams("vmnic4", &w), VTAPI_STATUS_OK);
    w.valid_mask = 0x02;
    w.rx_buffers = 10;
    EXPECT_EQ(VTAPI_SetNicParams("vmnic4", &w), VTAPI_STATUS_INVALID_PARAM);
    w.valid_mask = 0x01;
    w.max_jumbo_buffers = -1;   // signed word
    EXPECT_EQ(VTAPI_SetNicParams("vmnic4", &w), VTAPI_STATUS_OK);

    reload();
    uint32_t v = 9;
    ASSERT_EQ(VTAPI_GetPortVLANIDV2("vmnic4", &v, 1), VTAPI_STATUS_OK);
    EXPECT_EQ(v, 100u);
    ASSERT_EQ(VTAPI_GetPortVLANIDV2("vmnic5", &v, 1), VTAPI_STATUS_OK);
    EXPECT_EQ(v, 0u);
    EXPECT_EQ(fn("vmnic4")->nic.pxe_enabled, 0);
    EXPECT_EQ(fn("vmnic5")->nic.wol_wakeup_events, 0x21u);
    NicParams back{};
    ASSERT_EQ(VTAPI_GetNicParams("vmnic4", &back), VTAPI_STATUS_OK);
    EXPECT_EQ(back.rx_coalesce_usecs, 10u);
    EXPECT_EQ(back.tx_buffers, 1024u);
    EXPECT_EQ(back.rx_buffers, 1024u);
    EXPECT_EQ(back.max_jumbo_buffers, -1);
    ASSERT_EQ(VTAPI_GetNicParams("vmnic5", &back), VTAPI_STATUS_OK);
    EXPECT_EQ(back.rx_coalesce_usecs, 3u) << "per function";
}

TEST_F(NicOps, DumpsWriteTheDescribedBytes) {
    std::string host = defaultWith({{"VTAPI_NicGetFirmwareDump", {{"dump_size", 524289}}},
                                    {"VTAPI_NicGetPhantomCoreDump", {{"dump_hex", "01 02 ff"}}}});
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

TEST_F(NicOps, SriovChangesKeepVirtualPortsConsistent) {
    start();
    vtapi_adapter_t* a = adapterOf("vmnic4");
    uint32_t st = 0;
    EXPECT_EQ(VTAPI_GetSRIOVStatus(adapterOf("vmhba2"), "vmnic4", &st), VTAPI_STATUS_NOT_FOUND);
    VTAPI_SRIOV_VF_INFO vf{};
    EXPECT_EQ(VTAPI_SRIOVGetVfInfo(a, "vmnic4", 4, &vf), VTAPI_STATUS_NOT_FOUND) << "four VFs";
    EXPECT_EQ(VTAPI_SRIOVSetVfPortVlanId(a, "vmnic4", 3, 4095), VTAPI_STATUS_INVALID_PARAM);
    EXPECT_EQ(VTAPI_SRIOVSetVfBandwidth(a, "vmnic4", 3, 60, 40), VTAPI_STATUS_INVALID_PARAM);
    vtapi_macaddr mcast = {{0x01, 0, 0x5e, 0, 0, 1}};
    EXPECT_EQ(VTAPI_SRIOVSetVfMacAddress(a, "vmnic4", 3, &mcast, nullptr), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_SRIOVSetVfPortVlanId(a, "vmnic4", 3, 100), VTAPI_STATUS_OK);

    // The PF has vport 0, VFs 0-2 two each: VF 3 has 7 and 8.
    VTAPI_SRIOV_VPORT_INFO* vp = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(VTAPI_SRIOVGetVports(a, "vmnic4", 3, &vp, &n), VTAPI_STATUS_OK);
    ASSERT_EQ(n, 2u);
    EXPECT_EQ(vp[0].vport_id, 7u);
    EXPECT_EQ(vp[1].pvid, 100u);
    VTAPI_FreeMem(vp);
    uint32_t ids[1] = {}, room = 1;
    ASSERT_EQ(VTAPI_GetVportList(a, "vmnic4", 3, ids, &room), VTAPI_STATUS_OK);
    EXPECT_EQ(room, 2u) << "the count needed, only one written";
    EXPECT_EQ(ids[0], 7u);
    VTAPI_SRIOV_VPORT_INFO info{};
    EXPECT_EQ(VTAPI_GetVportInfo(a, "vmnic4", 9, &info), VTAPI_STATUS_NOT_FOUND);

    // Switching SR-IOV off leaves no virtual functions on that port only.
    const uint32_t counts[2] = {17, 0};
    EXPECT_EQ(VTAPI_SetSRIOVStatus(a, "vmnic4", 1, counts, 2), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_SetSRIOVStatus(a, "vmnic4", 0, nullptr, 0), VTAPI_STATUS_OK);
    VTAPI_SRIOV_PF_INFO pf{};
    ASSERT_EQ(VTAPI_SRIOVGetPfInfo(a, "vmnic4", &pf), VTAPI_STATUS_OK);
    EXPECT_EQ(pf.num_active_vfs, 0u);
    EXPECT_EQ(VTAPI_SRIOVGetVfInfo(a, "vmnic4", 0, &vf), VTAPI_STATUS_NOT_FOUND);
    ASSERT_EQ(VTAPI_GetSRIOVStatus(a, "vmnic5", &st), VTAPI_STATUS_OK);
    EXPECT_EQ(st, 1u);
}

}  // namespace
