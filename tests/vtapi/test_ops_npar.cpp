// NIC partitioning and eSwitch operations of the simulated library: writes
// are validated as a whole, show in the adapter record after
// VTAPI_RefreshNPARInfo and survive a reload of the host.
#include "test_ops_util.h"

namespace {

class NparOps : public OpsTest {
protected:
    vtapi_adapter_t* cna() { return adapter("VT26N51203"); }   // the partitioned adapter
};

TEST_F(NparOps, RunningConfigurationShowsAfterRefreshAndIsKept) {
    start();
    vtapi_adapter_t* a = cna();
    ASSERT_NE(a->npar, nullptr);
    const uint32_t count = a->npar->func_count;
    VTAPI_NPAR_CFG_V2_T cfg = *a->npar->config;
    for (uint32_t i = 0; i < count; ++i) cfg.func[i].changed = 1;
    cfg.func[0].min_bw = 20;
    cfg.func[0].max_bw = 80;
    ASSERT_EQ(VTAPI_NparSetNparConfig_V2(a, count, 0x1, cfg.func), VTAPI_STATUS_OK);
    EXPECT_EQ(a->npar->config->func[0].min_bw, 0u) << "the record changes on refresh";
    ASSERT_EQ(VTAPI_RefreshNPARInfo(a), VTAPI_STATUS_OK);
    EXPECT_EQ(a->npar->config->func[0].max_bw, 80u);
    EXPECT_EQ(a->npar->settings->func[0].min_bw, 20u);

    // Refused: a bandwidth above 100, a personality through the running
    // config, a count beyond the adapter's; unmarked records are not applied.
    VTAPI_NPAR_CFG_V2_T bad = cfg;
    bad.func[1].max_bw = 101;
    EXPECT_EQ(VTAPI_NparSetNparConfig_V2(a, count, 0x10, bad.func), VTAPI_STATUS_INVALID_PARAM);
    bad = cfg;
    bad.func[1].capability_mask = VTAPI_NPAR_CAP_DISABLED;
    EXPECT_EQ(VTAPI_NparSetNparConfig_V2(a, count, 0x10, bad.func), VTAPI_STATUS_INVALID_PARAM);
    EXPECT_EQ(VTAPI_NparSetNparConfig_V2(a, count + 9, 0x10, cfg.func), VTAPI_STATUS_INVALID_PARAM);
    bad = cfg;
    bad.func[1].changed = 0;
    bad.func[1].min_bw = 55;
    ASSERT_EQ(VTAPI_NparSetNparConfig_V2(a, count, 0x10, bad.func), VTAPI_STATUS_OK);
    vtapi_adapter_t stranger{};
    EXPECT_EQ(VTAPI_RefreshNPARInfo(&stranger), VTAPI_STATUS_NOT_FOUND);

    reload();
    a = cna();
    EXPECT_EQ(a->npar->config->func[0].min_bw, 20u);
    EXPECT_EQ(a->npar->config->func[1].min_bw, 0u);
}

TEST_F(NparOps, ESwitchRecordsApplyTheirChangedPartsOrNothing) {
    start();
    vtapi_adapter_t* a = cna();
    VTAPI_NPAR_ESW_CFG_V2_T esw = *a->npar->esw;
    const uint32_t n = esw.func_count;
    esw.func[2].prop_changed = esw.func[2].policy_changed = 1;
    esw.func[2].prop.ivlan_id = 100;
    esw.func[2].policy.promisc_mode = 1;
    esw.func[3].prop.ivlan_id = 300;   // not marked: ignored
    esw.func[1].prop_changed = 1;      // only the property part
    esw.func[1].prop.anti_spoof_chk = 1;
    esw.func[1].policy.vlan_strip = 1;
    ASSERT_EQ(VTAPI_NparSetESwitchConfig_V2(a, n, 0x100, esw.func), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_RefreshNPARInfo(a), VTAPI_STATUS_OK);
    const auto& f = a->npar->esw->func;
    EXPECT_EQ(f[2].prop.ivlan_id, 100u);
    EXPECT_EQ(f[2].policy.promisc_mode, 1u);
    EXPECT_EQ(f[3].prop.ivlan_id, 0u);
    EXPECT_EQ(f[1].prop.anti_spoof_chk, 1u);
    EXPECT_EQ(f[1].policy.vlan_strip, 0u);

    esw = *a->npar->esw;
    esw.func[0].prop_changed = esw.func[0].policy_changed = 1;
    esw.func[0].prop.ivlan_id = 7;
    esw.func[0].policy.vlan_filter = 2;
    EXPECT_EQ(VTAPI_NparSetESwitchConfig_V2(a, n, 1, esw.func), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_RefreshNPARInfo(a), VTAPI_STATUS_OK);
    EXPECT_EQ(a->npar->esw->func[0].prop.ivlan_id, 0u) << "a refused record changes nothing";
}

TEST_F(NparOps, ActiveRegionIsWrittenWholeAndStatisticsMove) {
    std::string host = defaultWith({{"VTAPI_RefreshNPARStats", {{"step", 10}}}});
    start(host.c_str());
    vtapi_adapter_t* a = cna();
    VTAPI_NPAR_REGION_V2_T region{};
    ASSERT_EQ(VTAPI_NparP3PReadActiveNparRegion_V2(a, &region), VTAPI_STATUS_OK);
    ASSERT_EQ(region.func_count, a->npar->func_count);
    const uint32_t last = region.func_count - 1;
    ASSERT_EQ(region.func[last].capability_mask, VTAPI_NPAR_CAP_DISABLED);
    region.func[last].capability_mask = VTAPI_NPAR_CAP_NIC;
    VTAPI_NPAR_REGION_V2_T bad = region;
    bad.func[0].capability_mask = 0x80000010u;
    EXPECT_EQ(VTAPI_NparP3PWriteActiveNparRegion_V2(a, &bad), VTAPI_STATUS_INVALID_PARAM);
    bad = region;
    bad.func_count -= 1;
    EXPECT_EQ(VTAPI_NparP3PWriteActiveNparRegion_V2(a, &bad), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_NparP3PWriteActiveNparRegion_V2(a, &region), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_RefreshNPARInfo(a), VTAPI_STATUS_OK);
    EXPECT_EQ(a->npar->settings->func[last].capability_mask, VTAPI_NPAR_CAP_NIC);

    uint64_t before = a->npar->esw_stats[0].rx_unicast_frames;
    ASSERT_EQ(VTAPI_RefreshNPARStats(a), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_RefreshNPARStats(a), VTAPI_STATUS_OK);
    EXPECT_EQ(a->npar->esw_stats[0].rx_unicast_frames, before + 20);
    ASSERT_EQ(vtsim_fault("VTAPI_RefreshNPARStats", 9, 1), 0);
    EXPECT_EQ(VTAPI_RefreshNPARStats(a), 9u);
    EXPECT_EQ(a->npar->esw_stats[0].rx_unicast_frames, before + 20);
}

}  // namespace
