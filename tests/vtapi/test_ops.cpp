// Operations of the simulated library as the provider calls them: writes are
// validated as a whole, apply only what the caller marked, show in the tree
// and survive a reload; copies are bounded by the caller's buffer; long
// operations can be aborted or keep their adapter busy. Each test starts from
// a fresh simulated host and ends with a leak check of caller buffers.
#include "vtapi.h"
#include "vtsim.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using json = nlohmann::json;

// The default host with a behaviour section added.
std::string defaultWith(const json& behaviour) {
    json h = json::parse(vtsim_default_host_json());
    h["behaviour"] = behaviour;
    return h.dump();
}

class Ops : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/vtops.XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        root_ = tmpl;
        setenv("VELTRA_ROOT", root_.c_str(), 1);
        vtsim_reset();
    }
    void TearDown() override {
        VTAPI_Uninitialize();
        EXPECT_EQ(vtsim_live_allocations(), 0) << "caller buffers left unreleased";
        EXPECT_EQ(vtsim_bad_frees(), 0);
        std::string cmd = "rm -rf '" + root_ + "'";
        EXPECT_EQ(std::system(cmd.c_str()), 0);
        unsetenv("VELTRA_ROOT");
    }

    // Loads a host (null: the embedded default) and initialises the library.
    void start(const char* host = nullptr) {
        if (host) {
            ASSERT_EQ(vtsim_load_host_json(host), 0) << vtsim_last_error();
        }
        ASSERT_EQ(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK);
        ASSERT_NE(VTAPI_GetAdapterList(), nullptr);
    }

    // Reloads a description (null: the default): written state must survive it.
    void reload(const char* host = nullptr) {
        ASSERT_EQ(vtsim_load_host_json(host ? host : vtsim_default_host_json()), 0) << vtsim_last_error();
    }

    // The function of that name, and its adapter through `owner`.
    vtapi_protocol_t* fn(const char* name, vtapi_adapter_t** owner = nullptr) {
        for (auto* a = VTAPI_GetAdapterList()->first; a; a = a->next)
            for (auto* p = a->phy_ports ? a->phy_ports->first : nullptr; p; p = p->next)
                for (auto* f = p->protocols ? p->protocols->first : nullptr; f; f = f->next)
                    if (!std::strcmp(f->name, name)) {
                        if (owner) *owner = a;
                        return f;
                    }
        ADD_FAILURE() << "no function " << name;
        return nullptr;
    }
    vtapi_adapter_t* adapterOf(const char* fnName) {
        vtapi_adapter_t* a = nullptr;
        fn(fnName, &a);
        return a;
    }
    VTAPISDMDevice* dev(const char* name) { return &fn(name)->device; }
    uint32_t hba(const char* name) { return fn(name)->hba_number; }
    vtapi_adapter_t* cna() { return adapterOf("vmnic4"); }   // the partitioned adapter
    std::string image(const std::string& name, const std::string& bytes) {
        std::string path = root_ + "/" + name;
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }

    json state() {
        size_t n = vtsim_state_json(nullptr, 0);
        std::string s(n + 1, '\0');
        vtsim_state_json(&s[0], s.size());
        s.resize(n);
        return json::parse(s);
    }

    std::string root_;
};

// FC function operations of the simulated library: writes are validated as a
// whole, kept over a reload, and never reach records that are not the
// caller's; copies are bounded by the caller's length.

TEST_F(Ops, FcNvramParametersAreValidatedAppliedByMaskAndKept) {
    start();
    VTAPI_HBAParams p{};
    ASSERT_EQ(VTAPI_GetHBAParamsInfo(dev("vmhba2"), &p), VTAPI_STATUS_OK);
    EXPECT_EQ(p.frame_size, 2048);

    // Only the masked field is taken; the invalid unmasked one is ignored.
    VTAPI_HBAParams w = p;
    w.login_retry_count = 20;
    w.frame_size = 999;
    w.change_mask = 1ull << 12;
    ASSERT_EQ(VTAPI_UpdateHBAParameters(dev("vmhba2"), &w), VTAPI_STATUS_OK);
    uint8_t reboot = 0;
    ASSERT_EQ(VTAPI_IsRebootRequired(dev("vmhba2"), &reboot), VTAPI_STATUS_OK);
    EXPECT_EQ(reboot, 1);

    // A refused record changes nothing, even its valid fields.
    w.login_retry_count = 30;
    w.frame_size = 1000;
    w.change_mask = (1ull << 12) | (1ull << 6);
    EXPECT_EQ(VTAPI_UpdateHBAParameters(dev("vmhba2"), &w), VTAPI_STATUS_INVALID_PARAM);

    // An injected failure writes nothing; the write is kept over a reload of
    // the host, the reboot mark is not.
    ASSERT_EQ(vtsim_fault("VTAPI_UpdateHBAParameters", 6, 1), 0);
    w = p;
    w.login_retry_count = 40;
    w.change_mask = 1ull << 12;
    EXPECT_EQ(VTAPI_UpdateHBAParameters(dev("vmhba2"), &w), 6u);
    reload();
    ASSERT_EQ(VTAPI_GetHBAParamsInfo(dev("vmhba2"), &p), VTAPI_STATUS_OK);
    EXPECT_EQ(p.login_retry_count, 20);
    EXPECT_EQ(p.frame_size, 2048);
    ASSERT_EQ(VTAPI_IsRebootRequired(dev("vmhba2"), &reboot), VTAPI_STATUS_OK);
    EXPECT_EQ(reboot, 0);
    EXPECT_EQ(state()["fn"]["vmhba2"]["fc"]["params"]["login_retry_count"], 20);

    // Records that are not the library's are refused.
    VTAPISDMDevice stranger{};
    EXPECT_EQ(VTAPI_GetHBAParamsInfo(&stranger, &p), VTAPI_STATUS_NOT_FOUND);
    EXPECT_EQ(VTAPI_GetHBAParamsInfo(nullptr, &p), VTAPI_STATUS_NOT_FOUND);
    EXPECT_EQ(VTAPI_GetHBAParamsInfo(dev("vmhba2"), nullptr), VTAPI_STATUS_INVALID_PARAM);
    VTAPI_SDMTarget* t = dev("vmhba2")->targets->first;
    uint16_t speed = 0;
    EXPECT_EQ(VTAPI_GetTargetLinkSpeed(dev("vmhba4"), t, &speed), VTAPI_STATUS_NOT_FOUND);
    EXPECT_EQ(VTAPI_UpdateDiscTargetProperty(dev("vmhba4"), t), VTAPI_STATUS_NOT_FOUND);
}

TEST_F(Ops, FcVpdCopyIsBoundedByTheCallersLength) {
    start();
    uint32_t inst = dev("vmhba2")->instance;
    uint8_t full[512] = {};
    uint32_t len = sizeof full;
    ASSERT_EQ(VTAPI_GetVpd(inst, 0, full, &len), VTAPI_STATUS_OK);
    ASSERT_GT(len, 16u);

    uint8_t small[12];
    std::memset(small, 0xEE, sizeof small);
    len = 10;
    ASSERT_EQ(VTAPI_GetVpd(inst, 0, small, &len), VTAPI_STATUS_OK);
    EXPECT_EQ(len, 10u);
    EXPECT_EQ(std::memcmp(small, full, 10), 0);
    EXPECT_EQ(small[10], 0xEE);
    EXPECT_EQ(VTAPI_GetVpd(9999, 0, full, &len), VTAPI_STATUS_NOT_FOUND);
    EXPECT_EQ(VTAPI_GetVpd(inst, 0, nullptr, &len), VTAPI_STATUS_INVALID_PARAM);
    EXPECT_EQ(VTAPI_GetVpd(fn("vmnic4")->hba_number, 0, full, &len), VTAPI_STATUS_NOT_FOUND);
}

// Diagnostics of the simulated library: long tests can be aborted from
// another thread, texts and data are bounded by the caller's buffer.

const char* kTarget0 = "50:06:0e:80:10:27:01:01";   // first target of vmhba2

TEST_F(Ops, DiagFabricTestsBoundTheirTextsAndNeedAnOnlineTarget) {
    start();
    char text[1024];
    uint32_t ms = 0;
    ASSERT_EQ(VTAPI_DiagnosticsFCPingTest(dev("vmhba2"), kTarget0, 4, 1, &ms, text, sizeof text),
              VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_DiagnosticsFCPingTest(dev("vmhba2"), "50:06:0E:80:10:27:01:01", 1, 1, &ms, text, 8),
              VTAPI_STATUS_OK) << "upper case and a short text buffer";
    EXPECT_EQ(std::string(text), "FC ping");
    EXPECT_EQ(VTAPI_DiagnosticsFCPingTest(dev("vmhba2"), "zz", 1, 1, &ms, text, sizeof text),
              VTAPI_STATUS_NOT_FOUND);
    EXPECT_EQ(VTAPI_DiagnosticsFCPingTest(dev("vmhba5"), kTarget0, 1, 1, &ms, text, sizeof text),
              VTAPI_STATUS_BAD);
    EXPECT_STREQ(text, "Link is down");

    VTAPI_RDPResult r{};
    VTAPI_RDPLength len{8, 99};
    ASSERT_EQ(VTAPI_DiagnosticsRDPTest(dev("vmhba2"), &r, &len), VTAPI_STATUS_OK);
    EXPECT_EQ(r.data_length, 8u) << "cut to the caller's capacity";
    EXPECT_EQ(r.data[0], 0x02);
}

TEST_F(Ops, DiagAbortEndsARunningTestEarly) {
    std::string host = defaultWith({{"VTAPI_DiagnosticsFCPingTest", {{"duration_ms", 3000}}}});
    start(host.c_str());
    EXPECT_EQ(VTAPI_AbortDiagTest(dev("vmhba2"), 1), VTAPI_STATUS_OK) << "nothing running";
    VTAPISDMDevice* d = dev("vmhba2");
    VTAPI_STATUS rc = 99;
    char text[256] = "";
    auto t0 = std::chrono::steady_clock::now();
    std::thread worker([&] {
        uint32_t ms;
        rc = VTAPI_DiagnosticsFCPingTest(d, kTarget0, 1, 1, &ms, text, sizeof text);
    });
    while (vtsim_log_count("VTAPI_DiagnosticsFCPingTest") == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(VTAPI_AbortDiagTest(d, 1), VTAPI_STATUS_OK);
    worker.join();
    EXPECT_EQ(rc, VTAPI_STATUS_BAD);
    EXPECT_STREQ(text, "FC ping aborted");
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::milliseconds(2000));
}

// A firmware update takes its configured time during which its adapter (and
// only its adapter) is busy.

TEST_F(Ops, FlashAnUpdateTakesItsTimeKeepsTheAdapterBusyAndCanFail) {
    std::string host = defaultWith({{"VTAPI_UpdateFlash", {{"duration_ms", 400}}},
                                    {"VTAPI_UpdateiSCSIFW", {{"fail_rc", 6}}}});
    start(host.c_str());
    std::string img = image("vtflash7.bin", std::string(4096, '\x5a'));
    uint32_t nic = fn("vmnic4")->hba_number;
    VTAPI_STATUS first = 99;
    auto t0 = std::chrono::steady_clock::now();
    std::thread worker([&] { first = VTAPI_UpdateFlash(nic, img.c_str(), 0); });
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_EQ(VTAPI_UpdateiSCSIFW(hba("vmhba8"), img.c_str(), 0, 0), VTAPI_STATUS_BUSY) << "same adapter";
    EXPECT_EQ(VTAPI_doOptionROMUpdate(dev("vmhba4"), img.c_str(), 0), VTAPI_STATUS_OK)
        << "another adapter is free";
    worker.join();
    EXPECT_GE(std::chrono::steady_clock::now() - t0, std::chrono::milliseconds(400));
    EXPECT_EQ(first, VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_UpdateiSCSIFW(hba("vmhba8"), img.c_str(), 0, 0), 6u) << "configured failure";
    EXPECT_EQ(state()["adapter"]["VT26N51203"]["flash"]["updates"], 1);
}

// Ethernet function operations of the simulated library: writes are
// validated, show in the tree and survive a reload; lists are bounded.

TEST_F(Ops, NicSettingsAreValidatedShowInTheTreeAndPersist) {
    start();
    ASSERT_EQ(VTAPI_SetPXEEnabled("VMNIC4", 0), VTAPI_STATUS_OK) << "names compare without case";
    EXPECT_EQ(fn("vmnic4")->nic.pxe_enabled, 0) << "the cached value in the tree follows";
    EXPECT_EQ(VTAPI_SetPXEEnabled("vmhba2", 1), VTAPI_STATUS_NOT_FOUND) << "not a NIC function";

    // Driver parameters: only the groups in the mask are applied; a bad value refuses the record.
    NicParams w{};
    ASSERT_EQ(VTAPI_GetNicParams("vmnic4", &w), VTAPI_STATUS_OK);
    w.valid_mask = VTAPI_NICPARAM_COALESCE;
    w.rx_coalesce_usecs = 10;
    w.tx_buffers = 5;
    ASSERT_EQ(VTAPI_SetNicParams("vmnic4", &w), VTAPI_STATUS_OK);
    w.valid_mask = 0x02;
    w.rx_buffers = 10;
    EXPECT_EQ(VTAPI_SetNicParams("vmnic4", &w), VTAPI_STATUS_INVALID_PARAM);
    // A vport list gives the count needed and writes only what fits.
    uint32_t ids[1] = {}, room = 1;
    ASSERT_EQ(VTAPI_GetVportList(adapterOf("vmnic4"), "vmnic4", 3, ids, &room), VTAPI_STATUS_OK);
    EXPECT_EQ(room, 2u);

    reload();
    EXPECT_EQ(fn("vmnic4")->nic.pxe_enabled, 0);
    NicParams back{};
    ASSERT_EQ(VTAPI_GetNicParams("vmnic4", &back), VTAPI_STATUS_OK);
    EXPECT_EQ(back.rx_coalesce_usecs, 10u);
    EXPECT_EQ(back.tx_buffers, 1024u);
    EXPECT_EQ(back.rx_buffers, 1024u);
}

// iSCSI function operations of the simulated library: parameter records are
// applied by change mask or refused whole, and fixed-size fields and caller
// buffers are never overrun.

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

TEST_F(Ops, IscsiHbaParametersApplyByMaskAreRefusedWholeAndKept) {
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
    w.vlan_id = 4095;
    w.subnet = ip("255.255.0.0", 4);
    w.change_mask = VTAPI_ISCSI_HBA_VLAN_ID | VTAPI_ISCSI_HBA_SUBNET;
    EXPECT_EQ(VTAPI_SetiSCSIHBAParams(hba("vmhba8"), &w), VTAPI_STATUS_INVALID_PARAM);

    reload();
    ASSERT_EQ(VTAPI_GetiSCSIHBAParams(hba("vmhba8"), &p), VTAPI_STATUS_OK);
    EXPECT_EQ(text(p.ipv4_addr), "10.1.2.3");
    EXPECT_EQ(text(p.subnet), "255.255.255.0") << "a refused record changes nothing";
    EXPECT_EQ(p.vlan_id, 0);
}

TEST_F(Ops, IscsiFixedSizeFieldsAndCallerBuffersAreNeverOverrun) {
    start();
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
}

// NIC partitioning and eSwitch operations of the simulated library: writes
// are validated as a whole, apply only the parts marked changed and show in
// the adapter record after VTAPI_RefreshNPARInfo.

TEST_F(Ops, NparAndESwitchWritesApplyTheirChangedPartsOrNothing) {
    start();
    vtapi_adapter_t* a = cna();
    const uint32_t count = a->npar->func_count;
    VTAPI_NPAR_CFG_V2_T cfg = *a->npar->config;
    for (uint32_t i = 0; i < count; ++i) cfg.func[i].changed = 1;
    cfg.func[1].changed = 0;   // not applied
    cfg.func[1].min_bw = 55;
    cfg.func[0].min_bw = 20;
    ASSERT_EQ(VTAPI_NparSetNparConfig_V2(a, count, 0x1, cfg.func), VTAPI_STATUS_OK);
    EXPECT_EQ(a->npar->config->func[0].min_bw, 0u) << "the record changes on refresh";
    // Refused whole: a bandwidth above 100, a personality through the running
    // config, a count beyond the adapter's.
    VTAPI_NPAR_CFG_V2_T bad = cfg;
    bad.func[0].min_bw = 30;
    bad.func[2].max_bw = 101;
    EXPECT_EQ(VTAPI_NparSetNparConfig_V2(a, count, 0x10, bad.func), VTAPI_STATUS_INVALID_PARAM);
    bad.func[2].max_bw = 100;
    bad.func[2].capability_mask = VTAPI_NPAR_CAP_DISABLED;
    EXPECT_EQ(VTAPI_NparSetNparConfig_V2(a, count, 0x10, bad.func), VTAPI_STATUS_INVALID_PARAM);
    EXPECT_EQ(VTAPI_NparSetNparConfig_V2(a, count + 9, 0x10, cfg.func), VTAPI_STATUS_INVALID_PARAM);
    vtapi_adapter_t stranger{};
    EXPECT_EQ(VTAPI_RefreshNPARInfo(&stranger), VTAPI_STATUS_NOT_FOUND);
    ASSERT_EQ(VTAPI_RefreshNPARInfo(a), VTAPI_STATUS_OK);
    EXPECT_EQ(a->npar->settings->func[0].min_bw, 20u);
    EXPECT_EQ(a->npar->settings->func[1].min_bw, 0u);

    // eSwitch records: unmarked functions and parts are ignored.
    VTAPI_NPAR_ESW_CFG_V2_T esw = *a->npar->esw;
    const uint32_t n = esw.func_count;
    esw.func[3].prop.ivlan_id = 300;
    esw.func[1].prop_changed = 1;      // only the property part
    esw.func[1].prop.anti_spoof_chk = 1;
    esw.func[1].policy.vlan_strip = 1;
    ASSERT_EQ(VTAPI_NparSetESwitchConfig_V2(a, n, 0x100, esw.func), VTAPI_STATUS_OK);
    esw.func[0].prop_changed = esw.func[0].policy_changed = 1;
    esw.func[0].prop.ivlan_id = 7;
    esw.func[0].policy.vlan_filter = 2;
    EXPECT_EQ(VTAPI_NparSetESwitchConfig_V2(a, n, 1, esw.func), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_RefreshNPARInfo(a), VTAPI_STATUS_OK);
    const auto& f = a->npar->esw->func;
    EXPECT_EQ(f[3].prop.ivlan_id, 0u);
    EXPECT_EQ(f[1].prop.anti_spoof_chk, 1u);
    EXPECT_EQ(f[1].policy.vlan_strip, 0u);
    EXPECT_EQ(f[0].prop.ivlan_id, 0u) << "a refused record changes nothing";

    // The active region is written whole or not at all.
    VTAPI_NPAR_REGION_V2_T region{};
    ASSERT_EQ(VTAPI_NparP3PReadActiveNparRegion_V2(a, &region), VTAPI_STATUS_OK);
    const uint32_t last = region.func_count - 1;
    ASSERT_EQ(region.func[last].capability_mask, VTAPI_NPAR_CAP_DISABLED);
    region.func[last].capability_mask = VTAPI_NPAR_CAP_NIC;
    region.func[0].capability_mask = 0x80000010u;
    EXPECT_EQ(VTAPI_NparP3PWriteActiveNparRegion_V2(a, &region), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_RefreshNPARInfo(a), VTAPI_STATUS_OK);
    EXPECT_EQ(a->npar->settings->func[last].capability_mask, VTAPI_NPAR_CAP_DISABLED);
}

}  // namespace
