// FC function operations of the simulated library: what a caller that reads,
// changes and verifies NVRAM parameters, boot settings, chip options,
// statistics and remote ports sees.
#include "test_ops_util.h"

#include <vector>

namespace {

using json = nlohmann::json;

// The default host with a behaviour section added.
std::string defaultWith(const json& behaviour) {
    json h = json::parse(vtsim_default_host_json());
    h["behaviour"] = behaviour;
    return h.dump();
}

const char* kChipHost = R"({"adapters": [
  {"name": "P24", "kind": "fc", "chip": "VT16000", "ports": [{"functions": [{"name": "vmhba2"}]}]},
  {"name": "P12", "kind": "fc", "chip": "VT8000", "ports": [{"functions": [{"name": "vmhba3"}]}]},
  {"name": "P25", "kind": "fc", "chip": "Tamarind", "ports": [{"functions": [{"name": "vmhba4"}]}]},
  {"name": "P04", "kind": "fc", "chip": "VT2100", "ports": [{"functions": [{"name": "vmhba5"}]}]}
]})";

class FcOps : public OpsTest {};

TEST_F(FcOps, NvramParametersAreValidatedAppliedByMaskAndKept) {
    start();
    VTAPI_HBAParams p{};
    ASSERT_EQ(VTAPI_GetHBAParamsInfo(dev("vmhba2"), &p), VTAPI_STATUS_OK);
    EXPECT_EQ(p.frame_size, 2048);
    uint8_t reboot = 7;
    ASSERT_EQ(VTAPI_IsRebootRequired(dev("vmhba2"), &reboot), VTAPI_STATUS_OK);
    EXPECT_EQ(reboot, 0);

    // Only the masked field is taken; the invalid unmasked one is ignored.
    VTAPI_HBAParams w = p;
    w.login_retry_count = 20;
    w.frame_size = 999;
    w.change_mask = 1ull << 12;
    ASSERT_EQ(VTAPI_UpdateHBAParameters(dev("vmhba2"), &w), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_GetHBAParamsInfo(dev("vmhba2"), &p), VTAPI_STATUS_OK);
    EXPECT_EQ(p.login_retry_count, 20);
    EXPECT_EQ(p.frame_size, 2048);
    ASSERT_EQ(VTAPI_IsRebootRequired(dev("vmhba2"), &reboot), VTAPI_STATUS_OK);
    EXPECT_EQ(reboot, 1);

    // A refused record changes nothing, even its valid fields.
    w = p;
    w.login_retry_count = 30;
    w.frame_size = 1000;
    w.change_mask = (1ull << 12) | (1ull << 6);
    EXPECT_EQ(VTAPI_UpdateHBAParameters(dev("vmhba2"), &w), VTAPI_STATUS_INVALID_PARAM);
    w.frame_size = 2048;
    w.hard_loop_id = 126;   // out of range, whole-record write
    w.change_mask = 0;
    EXPECT_EQ(VTAPI_UpdateHBAParameters(dev("vmhba2"), &w), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_GetHBAParamsInfo(dev("vmhba2"), &p), VTAPI_STATUS_OK);
    EXPECT_EQ(p.login_retry_count, 20);

    // Data rates: the chip's top rate, and only point-to-point above 8 Gb/s.
    ASSERT_EQ(VTAPI_GetHBAParamsInfo(dev("vmhba4"), &w), VTAPI_STATUS_OK);   // type 25: up to 32G
    w.change_mask = 3;
    w.data_rate = 7, w.connection_options = 1;
    EXPECT_EQ(VTAPI_UpdateHBAParameters(dev("vmhba4"), &w), VTAPI_STATUS_INVALID_PARAM);
    w.data_rate = 6, w.connection_options = 0;
    EXPECT_EQ(VTAPI_UpdateHBAParameters(dev("vmhba4"), &w), VTAPI_STATUS_INVALID_PARAM);
    w.data_rate = 4, w.connection_options = 0;
    EXPECT_EQ(VTAPI_UpdateHBAParameters(dev("vmhba4"), &w), VTAPI_STATUS_OK);

    // An injected failure leaves the value alone; the write is kept over a
    // reload of the host, the reboot mark is not.
    ASSERT_EQ(vtsim_fault("VTAPI_UpdateHBAParameters", 6, 1), 0);
    w = p;
    w.login_retry_count = 40;
    w.change_mask = 1ull << 12;
    EXPECT_EQ(VTAPI_UpdateHBAParameters(dev("vmhba2"), &w), 6u);
    reload(vtsim_default_host_json());
    ASSERT_EQ(VTAPI_GetHBAParamsInfo(dev("vmhba2"), &p), VTAPI_STATUS_OK);
    EXPECT_EQ(p.login_retry_count, 20);
    ASSERT_EQ(VTAPI_IsRebootRequired(dev("vmhba2"), &reboot), VTAPI_STATUS_OK);
    EXPECT_EQ(reboot, 0);
    EXPECT_EQ(state()["fn"]["vmhba2"]["fc"]["params"]["login_retry_count"], 20);

    // Records that are not the library's are refused.
    VTAPISDMDevice stranger{};
    EXPECT_EQ(VTAPI_GetHBAParamsInfo(&stranger, &p), VTAPI_STATUS_NOT_FOUND);
    EXPECT_EQ(VTAPI_GetHBAParamsInfo(nullptr, &p), VTAPI_STATUS_NOT_FOUND);
    EXPECT_EQ(VTAPI_GetHBAParamsInfo(dev("vmhba2"), nullptr), VTAPI_STATUS_INVALID_PARAM);
}

TEST_F(FcOps, BootSettingsDecideBootFromSan) {
    start();
    VTAPI_BootDeviceInfo b{};
    ASSERT_EQ(VTAPI_GetBootDeviceInfo(dev("vmhba2"), &b), VTAPI_STATUS_OK);
    uint8_t san = 9;
    ASSERT_EQ(VTAPI_FCIsConfigureToBootFromSAN(dev("vmhba2"), &san), VTAPI_STATUS_OK);
    EXPECT_EQ(san, 0);

    VTAPI_SDMTarget* t = dev("vmhba2")->targets->first;
    b.enable_selectable_boot = 1;
    std::memcpy(b.boot[0].port_wwn, t->port_wwn, 8);
    b.boot[0].lun = 3;
    b.boot[2].lun = 5;
    b.force_world_login = 1;
    ASSERT_EQ(VTAPI_SetBootDeviceInfo(dev("vmhba2"), &b), VTAPI_STATUS_OK);
    VTAPI_BootDeviceInfo back{};
    ASSERT_EQ(VTAPI_GetBootDeviceInfo(dev("vmhba2"), &back), VTAPI_STATUS_OK);
    EXPECT_EQ(std::memcmp(&back, &b, sizeof b), 0);
    ASSERT_EQ(VTAPI_FCIsConfigureToBootFromSAN(dev("vmhba2"), &san), VTAPI_STATUS_OK);
    EXPECT_EQ(san, 1);

    b.disable_bios = 1;
    ASSERT_EQ(VTAPI_SetBootDeviceInfo(dev("vmhba2"), &b), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_FCIsConfigureToBootFromSAN(dev("vmhba2"), &san), VTAPI_STATUS_OK);
    EXPECT_EQ(san, 0);
    b.enable_boot_order_list = 2;
    EXPECT_EQ(VTAPI_SetBootDeviceInfo(dev("vmhba2"), &b), VTAPI_STATUS_INVALID_PARAM);
    // Another function's boot settings are its own.
    ASSERT_EQ(VTAPI_GetBootDeviceInfo(dev("vmhba3"), &back), VTAPI_STATUS_OK);
    EXPECT_EQ(back.boot[0].lun, 0);
}

TEST_F(FcOps, ChipOptionsExistOnlyOnTheirChips) {
    start(kChipHost);
    VTAPISDMDevice *c24 = dev("vmhba2"), *c12 = dev("vmhba3"), *c25 = dev("vmhba4");
    uint8_t v = 9, scn = 9;
    // Personality: types 21 and 24.
    ASSERT_EQ(VTAPI_GetPersonalityType(c24, &v), VTAPI_STATUS_OK);
    EXPECT_EQ(v, 0);
    EXPECT_EQ(VTAPI_ChangePersonalityType(c24, 1), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_ChangePersonalityType(c24, 3), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_GetPersonalityType(c24, &v), VTAPI_STATUS_OK);
    EXPECT_EQ(v, 1);
    EXPECT_EQ(VTAPI_GetPersonalityType(c25, &v), VTAPI_STATUS_NOT_SUPPORTED);
    EXPECT_EQ(VTAPI_ChangePersonalityType(c12, 1), VTAPI_STATUS_NOT_SUPPORTED);
    ASSERT_EQ(VTAPI_CheckSaffronPersonalityChangeOption(c24, &v), VTAPI_STATUS_OK);
    EXPECT_EQ(v, 1);
    ASSERT_EQ(VTAPI_CheckSaffronPersonalityChangeOption(c25, &v), VTAPI_STATUS_OK);
    EXPECT_EQ(v, 0);

    // FEC: 24, 25, 27; states 0 and 1.
    uint32_t fec = 9;
    ASSERT_EQ(VTAPI_FCGetFECSupportInfo(c24, &fec), VTAPI_STATUS_OK);
    EXPECT_EQ(fec, 0u);
    EXPECT_EQ(VTAPI_FCSetFECSupportInfo(c24, 2), VTAPI_STATUS_INVALID_PARAM);
    EXPECT_EQ(VTAPI_FCSetFECSupportInfo(c24, 1), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_FCGetFECSupportInfo(c24, &fec), VTAPI_STATUS_OK);
    EXPECT_EQ(fec, 1u);
    EXPECT_EQ(VTAPI_FCGetFECSupportInfo(c12, &fec), VTAPI_STATUS_NOT_SUPPORTED);

    // Credit recovery: 25 and 27.
    EXPECT_EQ(VTAPI_FCSetBBCSupportInfo(c25, 1, 16), VTAPI_STATUS_INVALID_PARAM);
    EXPECT_EQ(VTAPI_FCSetBBCSupportInfo(c25, 1, 8), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_FCGetBBCSupportInfoEx(c25, 0, &v, &scn), VTAPI_STATUS_OK);
    EXPECT_EQ(v, 1);
    EXPECT_EQ(scn, 8);
    EXPECT_EQ(VTAPI_FCGetBBCSupportInfoEx(c24, 0, &v, &scn), VTAPI_STATUS_NOT_SUPPORTED);

    // Preload tables version: a caller buffer on 24 and newer, nothing below.
    char* text = reinterpret_cast<char*>(1);
    ASSERT_EQ(VTAPI_GetFwPreloadTablesVersion(c24, &text), VTAPI_STATUS_OK);
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, "1.02.00");
    VTAPI_FreeMem(text);
    EXPECT_EQ(VTAPI_GetFwPreloadTablesVersion(c12, &text), VTAPI_STATUS_NOT_SUPPORTED);
    EXPECT_EQ(text, nullptr);

    // Every write of an option asks for a reboot.
    uint8_t reboot = 0;
    ASSERT_EQ(VTAPI_IsRebootRequired(c25, &reboot), VTAPI_STATUS_OK);
    EXPECT_EQ(reboot, 1);
    ASSERT_EQ(VTAPI_IsRebootRequired(c12, &reboot), VTAPI_STATUS_OK);
    EXPECT_EQ(reboot, 0);
}

TEST_F(FcOps, StatisticsRefreshInPlaceAndResetIsKept) {
    std::string host = defaultWith({{"VTAPI_RefreshDeviceStats", {{"io_step", 100}}}});
    start(host.c_str());
    VTAPISDMDevice* d = dev("vmhba2");
    uint32_t io = d->stats.io_count;
    ASSERT_NE(io, 0u);
    ASSERT_EQ(VTAPI_RefreshDeviceStats(d), VTAPI_STATUS_OK);
    EXPECT_EQ(dev("vmhba2"), d) << "a refresh keeps the tree";
    EXPECT_EQ(d->stats.io_count, io + 100);

    ASSERT_EQ(VTAPI_ResetDeviceStats(d), VTAPI_STATUS_OK);
    EXPECT_EQ(d->stats.io_count, 0u);
    EXPECT_NE(dev("vmhba3")->stats.io_count, 0u) << "only the named port is reset";
    reload(host.c_str());
    EXPECT_EQ(dev("vmhba2")->stats.io_count, 0u);

    ASSERT_EQ(vtsim_fault("VTAPI_ResetDeviceStats", 9, 1), 0);
    EXPECT_EQ(VTAPI_ResetDeviceStats(dev("vmhba3")), 9u);
    EXPECT_NE(dev("vmhba3")->stats.io_count, 0u);
}

TEST_F(FcOps, RemotePortLinkSpeed) {
    start();
    VTAPI_SDMTarget* t = dev("vmhba2")->targets->first;
    uint16_t speed = 0;
    ASSERT_EQ(VTAPI_GetTargetLinkSpeed(dev("vmhba2"), t, &speed), VTAPI_STATUS_OK);
    EXPECT_EQ(speed, 32);
    // The port supports 16, 32 and 64 Gb/s.
    EXPECT_EQ(VTAPI_SetTargetLinkSpeed(dev("vmhba2"), t, 8), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_SetTargetLinkSpeed(dev("vmhba2"), t, 16), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_GetTargetLinkSpeed(dev("vmhba2"), t, &speed), VTAPI_STATUS_OK);
    EXPECT_EQ(speed, 16);
    EXPECT_EQ(dev("vmhba2")->targets->first->link_speed, 16);
    ASSERT_EQ(VTAPI_GetTargetLinkSpeed(dev("vmhba2"), t->next, &speed), VTAPI_STATUS_OK);
    EXPECT_EQ(speed, 32) << "other targets keep theirs";

    // A target of another port is not this port's.
    EXPECT_EQ(VTAPI_GetTargetLinkSpeed(dev("vmhba4"), t, &speed), VTAPI_STATUS_NOT_FOUND);
    EXPECT_EQ(VTAPI_UpdateDiscTargetProperty(dev("vmhba4"), t), VTAPI_STATUS_NOT_FOUND);
    EXPECT_EQ(VTAPI_UpdateDiscTargetProperty(dev("vmhba2"), t), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_UpdatePortProperty(dev("vmhba5")), VTAPI_STATUS_OK);
}

TEST_F(FcOps, DcbAndFcoeDataOnlyForConvergedFunctions) {
    start();
    VTAPI_DataCenterBridgingParams p{};
    EXPECT_EQ(VTAPI_GetMpiConfigTableParams(dev("vmhba2"), &p), VTAPI_STATUS_NOT_SUPPORTED);
    ASSERT_EQ(VTAPI_GetMpiConfigTableParams(dev("vmhba7"), &p), VTAPI_STATUS_OK);

    uint8_t* buf = reinterpret_cast<uint8_t*>(1);
    uint32_t size = 1;
    EXPECT_EQ(VTAPI_GetDCBXParams(dev("vmhba2"), &buf, &size), VTAPI_STATUS_NOT_SUPPORTED);
    EXPECT_EQ(buf, nullptr);
    EXPECT_EQ(size, 0u);
    ASSERT_EQ(VTAPI_GetDCBXParams(dev("vmhba7"), &buf, &size), VTAPI_STATUS_OK);
    ASSERT_EQ(size, 64u);
    EXPECT_EQ(std::memcmp(buf, &p, sizeof p), 0) << "the buffer starts with the DCB record";
    EXPECT_EQ(vtsim_live_allocations(), 1);
    VTAPI_FreeMem(buf);

    VTAPI_FCoEGeneralInfo info{};
    ASSERT_EQ(VTAPI_GetFCoEGeneralInfo(dev("vmhba7"), &info), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_GetFCoEGeneralInfo(dev("vmhba4"), &info), VTAPI_STATUS_NOT_SUPPORTED);
}

TEST_F(FcOps, VpdCopyIsBoundedByTheCallersLength) {
    start();
    uint32_t inst = dev("vmhba2")->instance;
    uint8_t full[512] = {};
    uint32_t len = sizeof full;
    ASSERT_EQ(VTAPI_GetVpd(inst, 0, full, &len), VTAPI_STATUS_OK);
    ASSERT_GT(len, 16u);
    EXPECT_EQ(full[0], 0x82) << "identifier string first";

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

}  // namespace
