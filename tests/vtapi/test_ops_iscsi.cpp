// iSCSI function operations of the simulated library: parameter records are
// applied by change mask or refused whole, fixed-size fields and caller
// buffers are never overrun, and dumps have the described size.
#include "test_ops_util.h"

#include <sys/stat.h>

#include <vector>

namespace {

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

class IscsiOps : public OpsTest {};

TEST_F(IscsiOps, HbaParametersApplyByMaskAreRefusedWholeAndKept) {
    start();
    iSCSIHBAParams p{};
    ASSERT_EQ(VTAPI_GetiSCSIHBAParams(hba("vmhba8"), &p), VTAPI_STATUS_OK);
    iSCSIHBAParams w = p;
    w.ipv4_addr = ip("10.1.2.3", 4);
    w.vlan_id = 5000;   // not in the mask: ignored
    w.change_mask = VTAPI_ISCSI_HBA_IPV4_ADDR;
    ASSERT_EQ(VTAPI_SetiSCSIHBAParams(hba("vmhba8"), &w), VTAPI_STATUS_OK);
    EXPECT_EQ(text(fn("vmhba8")->iscsi.portal.ip_addr), "10.1.2.3") << "the portal shows it";

    w = p;
    w.gateway = ip("fe80::1", 6);
    w.change_mask = VTAPI_ISCSI_HBA_GATEWAY;
    EXPECT_EQ(VTAPI_SetiSCSIHBAParams(hba("vmhba8"), &w), VTAPI_STATUS_INVALID_PARAM);
    w = p;
    w.vlan_id = 4095;
    w.subnet = ip("255.255.0.0", 4);
    w.change_mask = VTAPI_ISCSI_HBA_VLAN_ID | VTAPI_ISCSI_HBA_SUBNET;
    EXPECT_EQ(VTAPI_SetiSCSIHBAParams(hba("vmhba8"), &w), VTAPI_STATUS_INVALID_PARAM);

    reload();
    ASSERT_EQ(VTAPI_GetiSCSIHBAParams(hba("vmhba8"), &p), VTAPI_STATUS_OK);
    EXPECT_EQ(text(p.ipv4_addr), "10.1.2.3");
    EXPECT_EQ(text(p.subnet), "255.255.255.0") << "a refused record changes nothing";
    EXPECT_EQ(p.vlan_id, 0);
    ASSERT_EQ(VTAPI_GetiSCSIHBAParams(hba("vmhba10"), &p), VTAPI_STATUS_OK);
    EXPECT_EQ(text(p.ipv4_addr), "192.168.11.21") << "per function";

    // Port configuration: the function's valid bits and the burst limits.
    iSCSIPortConfig c{};
    ASSERT_EQ(VTAPI_GetiSCSIPortConfig(hba("vmhba8"), &c), VTAPI_STATUS_OK);
    c.first_burst_len = c.max_burst_len + 1;
    c.mask = 0x200;
    EXPECT_EQ(VTAPI_SetiSCSIPortConfig(hba("vmhba8"), &c), VTAPI_STATUS_INVALID_PARAM);
    c.mask = 0x80000000u;
    EXPECT_EQ(VTAPI_SetiSCSIPortConfig(hba("vmhba8"), &c), VTAPI_STATUS_NOT_SUPPORTED);
    json h = json::parse(vtsim_default_host_json());
    h["adapters"][3]["ports"][0]["functions"][2]["iscsi"]["port_config_valid"] = 0xff;
    reload(h.dump().c_str());
    c.mask = 0x200000;
    EXPECT_EQ(VTAPI_SetiSCSIPortConfig(hba("vmhba8"), &c), VTAPI_STATUS_NOT_SUPPORTED);
}

TEST_F(IscsiOps, FixedSizeFieldsAndCallerBuffersAreNeverOverrun) {
    std::string host = defaultWith({{"VTAPI_SDGetCoreDump", {{"dump_size", 1000}}}});
    start(host.c_str());
    uint32_t h8 = hba("vmhba8");
    // Twelve-byte boot texts are kept whole without a terminator.
    iSCSIBootParams b{};
    ASSERT_EQ(VTAPI_GetiSCSIBiosBootParams(h8, &b), VTAPI_STATUS_OK);
    std::memcpy(b.vendor_id, "ABCDEFGHIJKL", 12);
    b.change_mask = VTAPI_ISCSI_BOOT_VENDOR_ID;
    ASSERT_EQ(VTAPI_SetiSCSIBiosBootParams(h8, &b), VTAPI_STATUS_OK);
    iSCSIBootParams back{};
    ASSERT_EQ(VTAPI_GetiSCSIBiosBootParams(h8, &back), VTAPI_STATUS_OK);
    EXPECT_EQ(std::string(back.vendor_id, 12), "ABCDEFGHIJKL");

    // The raw DCBX block never goes beyond its 1024 bytes.
    std::vector<uint8_t> data(VTAPI_ISCSI_DCBX_DATA_SIZE + 16, 0xEE);
    ASSERT_EQ(VTAPI_SDGetiDCBXData(h8, data.data(), static_cast<uint32_t>(data.size())), VTAPI_STATUS_OK);
    EXPECT_EQ(data[VTAPI_ISCSI_DCBX_DATA_SIZE], 0xEE);

    // Address texts: refused when they do not fit, rejected for the wrong family.
    char small[4] = "xyz";
    VTAPI_ISCSIIPADDR v4 = ip("192.168.1.1", 4);
    EXPECT_EQ(VTAPI_ConvertIPAddressToString(&v4, small, sizeof small), VTAPI_STATUS_INVALID_PARAM);
    EXPECT_STREQ(small, "");
    EXPECT_EQ(VTAPI_ConvertIPAddressFromString("::1", &v4, 4), VTAPI_STATUS_INVALID_PARAM);
    EXPECT_EQ(VTAPI_ConvertIPAddressFromString("1.2.3", &v4, 4), VTAPI_STATUS_INVALID_PARAM);
    EXPECT_EQ(text(ip("2001:db8:0:0:0:0:0:1", 6)), "2001:db8::1");

    std::string path = root_ + "/var/tmp/iscsi_minidump0";
    ASSERT_EQ(VTAPI_SDGetCoreDump(h8, path.c_str()), VTAPI_STATUS_OK);
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_size, 1000);
    char* vpd = nullptr;
    uint32_t size = 0;
    ASSERT_EQ(VTAPI_iSCSIGetVpd(h8, &vpd, &size), VTAPI_STATUS_OK);
    ASSERT_NE(vpd, nullptr);
    EXPECT_EQ(std::strlen(vpd), size);
    VTAPI_FreeMem(vpd);
}

}  // namespace
