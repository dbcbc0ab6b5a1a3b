// iSCSI function operations of the simulated library: parameter records
// applied by change mask and validated, DCBX, address conversion and the
// per-function tests and dumps.
#include "test_ops_util.h"

#include <sys/stat.h>

namespace {

using json = nlohmann::json;

VTAPI_ISCSIIPADDR ip(const char* text, uint32_t family) {
    VTAPI_ISCSIIPADDR a{};
    EXPECT_EQ(VTAPI_ConvertIPAddressFromString(text, &a, family), VTAPI_STATUS_OK) << text;
    return a;
}

std::string text(const VTAPI_ISCSIIPADDR& a) {
    char buf[64];
    EXPECT_EQ(VTAPI_ConvertIPAddressToString(&a, buf, sizeof buf), VTAPI_STATUS_OK);
    return buf;
}

class IscsiOps : public OpsTest {
protected:
    uint32_t hba(const char* name) { return fn(name)->hba_number; }
};

TEST_F(IscsiOps, HbaParametersApplyByMaskAndMoveThePortal) {
    start();
    iSCSIHBAParams p{};
    ASSERT_EQ(VTAPI_GetiSCSIHBAParams(hba("vmhba8"), &p), VTAPI_STATUS_OK);
    EXPECT_EQ(p.ipv4_enabled, 1);
    EXPECT_EQ(text(p.ipv4_addr), "192.168.10.21") << "the portal's address until set";
    EXPECT_EQ(text(p.subnet), "255.255.255.0");

    iSCSIHBAParams w = p;
    w.ipv4_addr = ip("10.1.2.3", 4);
    w.vlan_id = 5000;   // not in the mask: ignored
    w.change_mask = VTAPI_ISCSI_HBA_IPV4_ADDR;
    ASSERT_EQ(VTAPI_SetiSCSIHBAParams(hba("vmhba8"), &w), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_GetiSCSIHBAParams(hba("vmhba8"), &p), VTAPI_STATUS_OK);
    EXPECT_EQ(text(p.ipv4_addr), "10.1.2.3");
    EXPECT_EQ(p.vlan_id, 0);
    EXPECT_EQ(text(fn("vmhba8")->iscsi.portal.ip_addr), "10.1.2.3") << "the portal shows it";

    // Refused records change nothing.
    w = p;
    w.gateway = ip("fe80::1", 6);
    w.change_mask = VTAPI_ISCSI_HBA_GATEWAY;
    EXPECT_EQ(VTAPI_SetiSCSIHBAParams(hba("vmhba8"), &w), VTAPI_STATUS_INVALID_PARAM);
    w = p;
    w.vlan_id = 4095;
    w.subnet = ip("255.255.0.0", 4);
    w.change_mask = VTAPI_ISCSI_HBA_VLAN_ID | VTAPI_ISCSI_HBA_SUBNET;
    EXPECT_EQ(VTAPI_SetiSCSIHBAParams(hba("vmhba8"), &w), VTAPI_STATUS_INVALID_PARAM);
    w.change_mask = 0;
    EXPECT_EQ(VTAPI_SetiSCSIHBAParams(hba("vmhba8"), &w), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_GetiSCSIHBAParams(hba("vmhba8"), &p), VTAPI_STATUS_OK);
    EXPECT_EQ(text(p.subnet), "255.255.255.0");

    w = p;
    w.link_local_addr = ip("fe80::21f:eeff:fe26:5104", 6);
    w.ipv6_enabled = 1;
    w.change_mask = VTAPI_ISCSI_HBA_LINK_LOCAL_ADDR | VTAPI_ISCSI_HBA_IPV6_ENABLE;
    ASSERT_EQ(VTAPI_SetiSCSIHBAParams(hba("vmhba8"), &w), VTAPI_STATUS_OK);
    reload(vtsim_default_host_json());
    ASSERT_EQ(VTAPI_GetiSCSIHBAParams(hba("vmhba8"), &p), VTAPI_STATUS_OK);
    EXPECT_EQ(text(p.link_local_addr), "fe80::21f:eeff:fe26:5104");
    EXPECT_EQ(p.ipv6_enabled, 1);
    EXPECT_EQ(text(p.ipv4_addr), "10.1.2.3");
    ASSERT_EQ(VTAPI_GetiSCSIHBAParams(hba("vmhba10"), &p), VTAPI_STATUS_OK);
    EXPECT_EQ(text(p.ipv4_addr), "192.168.11.21");
    EXPECT_EQ(VTAPI_GetiSCSIHBAParams(fn("vmnic4")->hba_number, &p), VTAPI_STATUS_NOT_FOUND);
}

TEST_F(IscsiOps, BootParametersKeepTwelveByteFields) {
    start();
    iSCSIBootParams b{};
    ASSERT_EQ(VTAPI_GetiSCSIBiosBootParams(hba("vmhba8"), &b), VTAPI_STATUS_OK);
    EXPECT_EQ(std::string(b.vendor_id, strnlen(b.vendor_id, 12)), "VELTRA");
    std::memcpy(b.vendor_id, "ABCDEFGHIJKL", 12);   // no terminator
    b.pri_lun = 0x0001000000000000ull;
    b.change_mask = VTAPI_ISCSI_BOOT_VENDOR_ID | VTAPI_ISCSI_BOOT_PRI_LUN;
    ASSERT_EQ(VTAPI_SetiSCSIBiosBootParams(hba("vmhba8"), &b), VTAPI_STATUS_OK);
    iSCSIBootParams back{};
    ASSERT_EQ(VTAPI_GetiSCSIBiosBootParams(hba("vmhba8"), &back), VTAPI_STATUS_OK);
    EXPECT_EQ(std::string(back.vendor_id, 12), "ABCDEFGHIJKL");
    EXPECT_EQ(back.pri_lun, 0x0001000000000000ull);

    std::memcpy(back.vendor_id, "XY", 2);   // only the first bytes change
    back.change_mask = VTAPI_ISCSI_BOOT_VENDOR_ID;
    ASSERT_EQ(VTAPI_SetiSCSIBiosBootParams(hba("vmhba8"), &back), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_GetiSCSIBiosBootParams(hba("vmhba8"), &b), VTAPI_STATUS_OK);
    EXPECT_EQ(std::string(b.vendor_id, 12), "XYCDEFGHIJKL");

    b.boot_mode = 4;
    b.change_mask = VTAPI_ISCSI_BOOT_MODE;
    EXPECT_EQ(VTAPI_SetiSCSIBiosBootParams(hba("vmhba8"), &b), VTAPI_STATUS_INVALID_PARAM);
}

TEST_F(IscsiOps, PortConfigurationHonoursValidBitsAndBursts) {
    start();
    iSCSIPortConfig c{};
    ASSERT_EQ(VTAPI_GetiSCSIPortConfig(hba("vmhba8"), &c), VTAPI_STATUS_OK);
    EXPECT_EQ(c.mask, 0x7fffffffu);
    EXPECT_EQ(c.tcp_nagle, 1);

    c.tcp_nagle = 0;
    c.ipv4_ttl = 0;   // invalid, but not in the mask
    c.mask = 0x200000;
    ASSERT_EQ(VTAPI_SetiSCSIPortConfig(hba("vmhba8"), &c), VTAPI_STATUS_OK);
    iSCSIPortConfig back{};
    ASSERT_EQ(VTAPI_GetiSCSIPortConfig(hba("vmhba8"), &back), VTAPI_STATUS_OK);
    EXPECT_EQ(back.tcp_nagle, 0);
    EXPECT_EQ(back.ipv4_ttl, 64);

    c.mask = 0x40000000;
    EXPECT_EQ(VTAPI_SetiSCSIPortConfig(hba("vmhba8"), &c), VTAPI_STATUS_INVALID_PARAM);
    c.first_burst_len = back.max_burst_len + 1;
    c.mask = 0x200;
    EXPECT_EQ(VTAPI_SetiSCSIPortConfig(hba("vmhba8"), &c), VTAPI_STATUS_INVALID_PARAM);
    c.mask = 0x80000000u;
    EXPECT_EQ(VTAPI_SetiSCSIPortConfig(hba("vmhba8"), &c), VTAPI_STATUS_NOT_SUPPORTED);

    // A function that offers fewer parameters refuses the others.
    json h = json::parse(vtsim_default_host_json());
    h["adapters"][3]["ports"][0]["functions"][2]["iscsi"]["port_config_valid"] = 0xff;
    reload(h.dump().c_str());
    ASSERT_EQ(VTAPI_GetiSCSIPortConfig(hba("vmhba8"), &c), VTAPI_STATUS_OK);
    EXPECT_EQ(c.mask, 0xffu);
    c.mask = 0x200000;
    EXPECT_EQ(VTAPI_SetiSCSIPortConfig(hba("vmhba8"), &c), VTAPI_STATUS_NOT_SUPPORTED);
}

TEST_F(IscsiOps, DcbxConfigurationAndRawData) {
    start();
    VTAPI_ISCSI_DCBX_PORT_CONFIG c{};
    ASSERT_EQ(VTAPI_SDGetiDCBXConfig(hba("vmhba8"), &c), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_SDSetiDCBXConfig(hba("vmhba8"), &c), VTAPI_STATUS_OK) << "written whole, unchanged";
    VTAPI_ISCSI_DCBX_PORT_CONFIG w = c;
    w.ieee_tsa_for_tc[7] = 3;
    EXPECT_EQ(VTAPI_SDSetiDCBXConfig(hba("vmhba8"), &w), VTAPI_STATUS_INVALID_PARAM);
    w = c;
    w.ieee_bw_for_tc[0] = 40;   // 90 in all
    EXPECT_EQ(VTAPI_SDSetiDCBXConfig(hba("vmhba8"), &w), VTAPI_STATUS_INVALID_PARAM);
    w = c;
    w.iscsi_priority_cos = 5;
    w.ieee_tc_for_priority[5] = 2;
    ASSERT_EQ(VTAPI_SDSetiDCBXConfig(hba("vmhba8"), &w), VTAPI_STATUS_OK);
    VTAPI_ISCSI_DCBX_PORT_CONFIG back{};
    ASSERT_EQ(VTAPI_SDGetiDCBXConfig(hba("vmhba8"), &back), VTAPI_STATUS_OK);
    EXPECT_EQ(std::memcmp(&back, &w, sizeof w), 0);

    std::vector<uint8_t> data(VTAPI_ISCSI_DCBX_DATA_SIZE + 16, 0xEE);
    ASSERT_EQ(VTAPI_SDGetiDCBXData(hba("vmhba8"), data.data(), static_cast<uint32_t>(data.size())),
              VTAPI_STATUS_OK);
    EXPECT_EQ(std::memcmp(data.data(), &w, sizeof w), 0);
    EXPECT_EQ(data[VTAPI_ISCSI_DCBX_DATA_SIZE], 0xEE) << "never beyond 1024 bytes";
}

TEST_F(IscsiOps, AddressConversion) {
    start();
    VTAPI_ISCSIIPADDR a{};
    ASSERT_EQ(VTAPI_ConvertIPAddressFromString("", &a, 4), VTAPI_STATUS_OK);
    EXPECT_EQ(a.type, 1);
    EXPECT_EQ(VTAPI_ConvertIPAddressFromString("1.2.3", &a, 4), VTAPI_STATUS_INVALID_PARAM);
    EXPECT_EQ(VTAPI_ConvertIPAddressFromString("::1", &a, 4), VTAPI_STATUS_INVALID_PARAM);
    EXPECT_EQ(VTAPI_ConvertIPAddressFromString("10.0.0.1", &a, 6), VTAPI_STATUS_INVALID_PARAM);
    EXPECT_EQ(VTAPI_ConvertIPAddressFromString("10.0.0.1", &a, 5), VTAPI_STATUS_INVALID_PARAM);
    EXPECT_EQ(text(ip("2001:db8:0:0:0:0:0:1", 6)), "2001:db8::1");
    char small[4] = "xyz";
    VTAPI_ISCSIIPADDR v4 = ip("192.168.1.1", 4);
    EXPECT_EQ(VTAPI_ConvertIPAddressToString(&v4, small, sizeof small), VTAPI_STATUS_INVALID_PARAM);
    EXPECT_STREQ(small, "");
    v4.type = 3;
    char buf[64];
    EXPECT_EQ(VTAPI_ConvertIPAddressToString(&v4, buf, sizeof buf), VTAPI_STATUS_INVALID_PARAM);
}

TEST_F(IscsiOps, TestsDumpsAndSmallSettings) {
    json h = json::parse(vtsim_default_host_json());
    h["behaviour"] = {{"VTAPI_PerformLoopBackTest", {{"results", {0, 5}}}},
                      {"VTAPI_SDDiagPing", {{"unreachable", {"192.168.10.99"}}}},
                      {"VTAPI_SDGetCoreDump", {{"dump_size", 1000}}}};
    std::string host = h.dump();
    start(host.c_str());
    uint32_t h8 = hba("vmhba8");

    EXPECT_EQ(VTAPI_PerformLoopBackTest(h8, 0), VTAPI_STATUS_INVALID_PARAM);
    EXPECT_EQ(VTAPI_PerformLoopBackTest(h8, 7), 0u);
    EXPECT_EQ(VTAPI_PerformLoopBackTest(h8, 7), 5u);
    EXPECT_EQ(VTAPI_PerformLoopBackTest(h8, 7), 0u);

    VTAPI_ISCSIIPADDR a = ip("192.168.10.1", 4);
    EXPECT_EQ(VTAPI_SDDiagPing(h8, &a, 56, 0), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_SDDiagPing(h8, &a, 0, 0), VTAPI_STATUS_INVALID_PARAM);
    a = ip("192.168.10.99", 4);
    EXPECT_EQ(VTAPI_SDDiagPing(h8, &a, 56, 0), VTAPI_STATUS_TIMEOUT);
    a = ip("", 4);
    EXPECT_EQ(VTAPI_SDDiagPing(h8, &a, 56, 0), VTAPI_STATUS_TIMEOUT);

    std::string path = root_ + "/var/tmp/iscsi_minidump0";
    ASSERT_EQ(VTAPI_SDGetCoreDump(h8, path.c_str()), VTAPI_STATUS_OK);
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_size, 1000);

    VTAPI_STAT_ENTRY* list = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(VTAPI_GetiSCSIStatistics(h8, &list, &n), VTAPI_STATUS_OK);
    ASSERT_GT(n, 0u);
    EXPECT_STREQ(list[0].name, "txPdus");
    VTAPI_FreeMem(list);

    EXPECT_EQ(VTAPI_SetBeaconing(h8, 2), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_SetBeaconing(h8, 1), VTAPI_STATUS_OK);
    EXPECT_EQ(state()["fn"]["vmhba8"]["iscsi"]["beacon"], 1);

    VTAPI_MINIDUMP_CONFIG m{};
    ASSERT_EQ(VTAPI_SDIGetMiniDumpConfig(h8, &m), VTAPI_STATUS_OK);
    EXPECT_EQ(m.state, 1);
    m.state = 0;
    ASSERT_EQ(VTAPI_SDISetMiniDumpConfig(h8, &m), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_SDIGetMiniDumpConfig(h8, &m), VTAPI_STATUS_OK);
    EXPECT_EQ(m.state, 0);

    EXPECT_EQ(VTAPI_GetHbaDevicePortalPropertyiSCSI(h8, 0), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_GetHbaDevicePortalPropertyiSCSI(h8, 1), VTAPI_STATUS_INVALID_PARAM);
    char* vpd = nullptr;
    uint32_t size = 0;
    ASSERT_EQ(VTAPI_iSCSIGetVpd(h8, &vpd, &size), VTAPI_STATUS_OK);
    ASSERT_NE(vpd, nullptr);
    EXPECT_EQ(std::strlen(vpd), size);
    EXPECT_EQ(std::string(vpd).rfind("Product Identifier:", 0), 0u);
    VTAPI_FreeMem(vpd);
}

}  // namespace
