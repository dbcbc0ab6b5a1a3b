// FC function operations of the simulated library: writes are validated as a
// whole, kept over a reload, and never reach records that are not the
// caller's; copies are bounded by the caller's length.
#include "test_ops_util.h"

namespace {

class FcOps : public OpsTest {};

TEST_F(FcOps, NvramParametersAreValidatedAppliedByMaskAndKept) {
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
    // Above 8 Gb/s only point-to-point; beyond the chip's top rate never.
    ASSERT_EQ(VTAPI_GetHBAParamsInfo(dev("vmhba4"), &w), VTAPI_STATUS_OK);
    w.change_mask = 3;
    w.data_rate = 7, w.connection_options = 1;
    EXPECT_EQ(VTAPI_UpdateHBAParameters(dev("vmhba4"), &w), VTAPI_STATUS_INVALID_PARAM);
    w.data_rate = 4, w.connection_options = 0;
    EXPECT_EQ(VTAPI_UpdateHBAParameters(dev("vmhba4"), &w), VTAPI_STATUS_OK);

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

TEST_F(FcOps, StatisticsRefreshInPlaceAndResetIsKept) {
    std::string host = defaultWith({{"VTAPI_RefreshDeviceStats", {{"io_step", 100}}}});
    start(host.c_str());
    VTAPISDMDevice* d = dev("vmhba2");
    uint32_t io = d->stats.io_count;
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

TEST_F(FcOps, VpdCopyIsBoundedByTheCallersLength) {
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

}  // namespace
