// Diagnostics of the simulated library: outcomes follow the model (link,
// targets, chip), long tests can be aborted, result lists are the caller's
// to release.
#include "test_ops_util.h"

#include <chrono>
#include <thread>

namespace {

using json = nlohmann::json;

const char* kTarget0 = "50:06:0e:80:10:27:01:01";   // first target of vmhba2

std::string defaultWith(const json& behaviour) {
    json h = json::parse(vtsim_default_host_json());
    h["behaviour"] = behaviour;
    return h.dump();
}

class DiagOps : public OpsTest {};

TEST_F(DiagOps, LoopbackDefaultsAndOutcomes) {
    start();
    VTAPI_DiagTestSettings s{};
    EXPECT_EQ(VTAPI_ResetToDefaultSettings(&s, dev("vmhba2"), 2), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_ResetToDefaultSettings(&s, dev("vmhba2"), VTAPI_DIAG_LOOPBACK), VTAPI_STATUS_OK);
    EXPECT_EQ(s.number_of_test, 10);
    EXPECT_EQ(s.number_of_test2, 10);
    EXPECT_EQ(s.loopback_type, 2u);

    VTAPI_LoopbackResult r{};
    s.device_attr = dev("vmhba2")->topology;
    ASSERT_EQ(VTAPI_DiagnosticsLoopBackTest(&r, dev("vmhba2"), &s), VTAPI_STATUS_OK);
    EXPECT_EQ(r.loopback_status, 0);
    EXPECT_STREQ(r.message, "Loopback test passed");
    EXPECT_NE(std::string(r.status_text).find("attribute 2"), std::string::npos) << r.status_text;

    s.loopback_type = 1;   // external: needs the link, vmhba5 has none
    EXPECT_EQ(VTAPI_DiagnosticsLoopBackTest(&r, dev("vmhba5"), &s), VTAPI_STATUS_BAD);
    EXPECT_STREQ(r.message, "Link is down");
    s.loopback_type = 5;
    EXPECT_EQ(VTAPI_DiagnosticsLoopBackTest(&r, dev("vmhba2"), &s), VTAPI_STATUS_INVALID_PARAM);

    reload(defaultWith({{"VTAPI_DiagnosticsLoopBackTest", {{"crc_errors", 3}}}}).c_str());
    s.loopback_type = 2;
    EXPECT_EQ(VTAPI_DiagnosticsLoopBackTest(&r, dev("vmhba2"), &s), VTAPI_STATUS_BAD);
    EXPECT_EQ(r.crc_errors, 3);
    EXPECT_EQ(r.status, 1);
}

TEST_F(DiagOps, FabricTestsNeedTheLinkAndAnOnlineTarget) {
    start();
    char text[1024];
    uint32_t ms = 0;
    ASSERT_EQ(VTAPI_DiagnosticsFCPingTest(dev("vmhba2"), kTarget0, 4, 1, &ms, text, sizeof text),
              VTAPI_STATUS_OK);
    EXPECT_STREQ(text, "FC ping to 50:06:0e:80:10:27:01:01: 4 of 4 responses received");
    EXPECT_EQ(ms, 8u);
    EXPECT_EQ(VTAPI_DiagnosticsFCPingTest(dev("vmhba2"), "50:06:0E:80:10:27:01:01", 1, 1, &ms, text, 8),
              VTAPI_STATUS_OK) << "upper case and a short text buffer";
    EXPECT_EQ(std::strlen(text), 7u);
    EXPECT_EQ(VTAPI_DiagnosticsFCPingTest(dev("vmhba2"), "21:00:00:00:00:00:00:99", 1, 1, &ms, text,
                                          sizeof text), VTAPI_STATUS_NOT_FOUND);
    EXPECT_EQ(VTAPI_DiagnosticsFCPingTest(dev("vmhba2"), "zz", 1, 1, &ms, text, sizeof text),
              VTAPI_STATUS_NOT_FOUND);
    EXPECT_EQ(VTAPI_DiagnosticsFCPingTest(dev("vmhba5"), kTarget0, 1, 1, &ms, text, sizeof text),
              VTAPI_STATUS_BAD);
    EXPECT_STREQ(text, "Link is down");

    VTAPI_EchoElsResult e{};
    EXPECT_EQ(VTAPI_DiagnosticsEchoElsTest(dev("vmhba2"), kTarget0, 3, 0, 2, &e), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_DiagnosticsEchoElsTest(dev("vmhba2"), kTarget0, 3, 0, 0, &e), VTAPI_STATUS_OK);
    EXPECT_EQ(e.frames_sent, 3);
    EXPECT_EQ(e.frames_received, 3);
    EXPECT_EQ(e.echo_status, 0);
    EXPECT_EQ(e.elapsed_time, 9u);
    ASSERT_EQ(VTAPI_DiagnosticsEchoElsTest(dev("vmhba3"), kTarget0, 3, 0, 0, &e), VTAPI_STATUS_NOT_FOUND);
    EXPECT_EQ(e.frames_received, 0);
    EXPECT_EQ(e.return_code, VTAPI_STATUS_NOT_FOUND);

    EXPECT_EQ(VTAPI_DiagnosticsCTCommand(dev("vmhba2"), kTarget0, 4, 0, &ms, text, sizeof text, 1),
              VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(VTAPI_DiagnosticsCTCommand(dev("vmhba2"), kTarget0, 1, 0, &ms, text, sizeof text, 2),
              VTAPI_STATUS_OK);
    EXPECT_EQ(ms, 10u);
}

TEST_F(DiagOps, AbortEndsARunningTestEarly) {
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
    auto took = std::chrono::steady_clock::now() - t0;
    EXPECT_EQ(rc, VTAPI_STATUS_BAD);
    EXPECT_STREQ(text, "FC ping aborted");
    EXPECT_LT(took, std::chrono::milliseconds(2000));
}

TEST_F(DiagOps, RdpAndDPort) {
    start();
    VTAPI_RDPResult r{};
    VTAPI_RDPLength len{VTAPI_RDP_DATA_SIZE, 99};
    ASSERT_EQ(VTAPI_DiagnosticsRDPTest(dev("vmhba2"), &r, &len), VTAPI_STATUS_OK);
    EXPECT_EQ(len.return_code, 0u);
    ASSERT_GT(r.data_length, 8u);
    EXPECT_EQ(r.data[0], 0x02);   // accept
    len.capacity = 8;
    ASSERT_EQ(VTAPI_DiagnosticsRDPTest(dev("vmhba2"), &r, &len), VTAPI_STATUS_OK);
    EXPECT_EQ(r.data_length, 8u);
    EXPECT_EQ(VTAPI_DiagnosticsRDPTest(dev("vmhba5"), &r, &len), VTAPI_STATUS_BAD);

    VTAPI_DPortResult d{};
    EXPECT_EQ(VTAPI_CheckAdapterDPortOption(dev("vmhba2")), 0u);
    EXPECT_EQ(VTAPI_DiagnosticDPortTest(&d, dev("vmhba2"), nullptr, 0), VTAPI_STATUS_BAD) << "D-Port off";
    EXPECT_EQ(VTAPI_ConfigureAdapterDPortSettings(dev("vmhba6"), 1, 0), VTAPI_STATUS_NOT_SUPPORTED);
    ASSERT_EQ(VTAPI_ConfigureAdapterDPortSettings(dev("vmhba2"), 1, 0), VTAPI_STATUS_OK);
    EXPECT_NE(VTAPI_CheckAdapterDPortOption(dev("vmhba2")), 0u);
    VTAPI_HBAParams p{};
    ASSERT_EQ(VTAPI_GetHBAParamsInfo(dev("vmhba2"), &p), VTAPI_STATUS_OK);
    EXPECT_EQ(p.enable_dport, 1) << "the same NVRAM setting";
    ASSERT_EQ(VTAPI_DiagnosticDPortTest(&d, dev("vmhba2"), nullptr, 0), VTAPI_STATUS_OK);
    EXPECT_EQ(d.round_trip_latency_ns, 180u);
    EXPECT_EQ(d.valid_flags, 0u);
    ASSERT_EQ(VTAPI_DiagnosticDPortTestV2(dev("vmhba2"), &d), VTAPI_STATUS_OK);
    EXPECT_EQ(d.valid_flags, VTAPI_DPORT_VALID_POWER | VTAPI_DPORT_VALID_LOSS);
    ASSERT_EQ(VTAPI_ConfigureAdapterDPortSettings(dev("vmhba2"), 0, 0), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_CheckAdapterDPortOption(dev("vmhba2")), 0u);
}

TEST_F(DiagOps, LinkStatusAndBufferTestLists) {
    start();
    VTAPI_LinkStatus* ls = nullptr;
    ASSERT_EQ(VTAPI_GetLinkStatus(dev("vmhba2"), &ls), VTAPI_STATUS_OK);
    std::vector<VTAPI_LinkStatus*> entries;
    for (auto* e = ls; e; e = e->next) entries.push_back(e);
    ASSERT_EQ(entries.size(), 1 + dev("vmhba2")->targets->count);
    EXPECT_STREQ(entries[0]->dev_type, "HBA");
    EXPECT_EQ(entries[0]->loss_of_sync_count, dev("vmhba2")->stats.loss_of_sync_count);
    EXPECT_EQ(std::memcmp(entries[1]->port_wwn, dev("vmhba2")->targets->first->port_wwn, 8), 0);
    VTAPI_FreeLinkStatusResultList(ls);

    VTAPI_DiagTestSettings s{};
    ASSERT_EQ(VTAPI_ResetToDefaultSettings(&s, dev("vmhba2"), VTAPI_DIAG_RWBUFFER), VTAPI_STATUS_OK);
    VTAPI_ReadWriteBufferTestResult* rw = nullptr;
    ASSERT_EQ(VTAPI_DiagnosticsReadWriteBufferTest(dev("vmhba2"), &s, &rw), VTAPI_STATUS_OK);
    int n = 0;
    for (auto* e = rw; e; e = e->next, ++n) EXPECT_EQ(e->test_status, 0);
    EXPECT_EQ(n, 3) << "every online disk target";
    VTAPI_FreeRWBufferTestResultList(rw);
    ASSERT_EQ(VTAPI_DiagnosticsReadWriteBufferTest(dev("vmhba6"), &s, &rw), VTAPI_STATUS_OK);
    n = 0;
    for (auto* e = rw; e; e = e->next) ++n;
    EXPECT_EQ(n, 1) << "a tape drive is not tested, the NVMe subsystem beside it is";
    VTAPI_FreeRWBufferTestResultList(rw);
    s.number_of_test = 0;
    EXPECT_EQ(VTAPI_DiagnosticsReadWriteBufferTest(dev("vmhba2"), &s, &rw), VTAPI_STATUS_INVALID_PARAM);
}

TEST_F(DiagOps, CongestionStatisticsAndTheirReset) {
    start();
    VTAPI_SANCONGTMGMTV2* list = nullptr;
    ASSERT_EQ(VTAPI_GetSCMRStatisticsList(dev("vmhba2"), &list), VTAPI_STATUS_OK);
    int n = 0;
    for (auto* e = list; e; e = e->next) EXPECT_EQ(e->congestion_alarm, static_cast<uint64_t>(++n));
    EXPECT_EQ(n, 3);
    EXPECT_EQ(vtsim_live_allocations(), 1) << "one block for the whole list";
    VTAPI_FreeMem(list);
    EXPECT_EQ(VTAPI_GetSCMRStatisticsList(dev("vmhba6"), &list), VTAPI_STATUS_NOT_SUPPORTED);

    ASSERT_EQ(VTAPI_SANCongMgmtResetStatistics(dev("vmhba2")), VTAPI_STATUS_OK);
    reload(vtsim_default_host_json());
    ASSERT_EQ(VTAPI_GetSCMRStatisticsList(dev("vmhba2"), &list), VTAPI_STATUS_OK);
    for (auto* e = list; e; e = e->next) {
        EXPECT_EQ(e->congestion_alarm, 0u);
        EXPECT_EQ(e->congestion_warning, 0u);
    }
    VTAPI_FreeMem(list);
}

TEST_F(DiagOps, EthernetPingSummarisesTheReplies) {
    std::string host = defaultWith({{"VTAPI_NicPingTest", {{"lost", {2}}}}});
    start(host.c_str());
    VTAPI_NicPingSettings s{};
    s.opt_addrfamily = 4;
    s.opt_count = 4;
    std::strcpy(s.ip_address, "192.168.10.1");
    VTAPI_NicPingTestResultList* list = nullptr;
    ASSERT_EQ(VTAPI_NicPingTest("vmnic4", &s, &list), VTAPI_STATUS_OK);
    std::vector<uint32_t> seq;
    for (auto* e = list; e; e = e->next) seq.push_back(e->sequence);
    EXPECT_EQ(seq, (std::vector<uint32_t>{1, 3, 4}));
    VTAPI_FreeNicPingTestResultList(list);
    EXPECT_EQ(s.packets_transmitted, 4u);
    EXPECT_EQ(s.packets_received, 3u);
    EXPECT_FLOAT_EQ(s.percent_packet_loss, 25.0f);
    EXPECT_FLOAT_EQ(s.latency_min, 0.1f);
    EXPECT_FLOAT_EQ(s.latency_max, 0.13f);

    EXPECT_EQ(VTAPI_NicPingTest("vmnic5", &s, &list), VTAPI_STATUS_TIMEOUT) << "no link";
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(s.packets_received, 0u);
    s.opt_addrfamily = 6;
    EXPECT_EQ(VTAPI_NicPingTest("vmnic4", &s, &list), VTAPI_STATUS_INVALID_PARAM);
}

TEST_F(DiagOps, EthernetPortTestLifecycle) {
    start();
    VTAPI_PortTestCapabilities caps{};
    ASSERT_EQ(VTAPI_GetPortTestCapabilities("vmnic4", &caps), VTAPI_STATUS_OK);
    VTAPI_PortTestSettings s{};
    std::strcpy(s.ifname, "vmnic4");
    s.test_id = 5;
    s.loop_count = 2;
    uint32_t h = 0;
    EXPECT_EQ(VTAPI_StartPortTest(&s, &h), VTAPI_STATUS_NOT_SUPPORTED);
    EXPECT_EQ(h, VTAPI_INVALID_HANDLE);
    s.test_id = 0;
    ASSERT_EQ(VTAPI_StartPortTest(&s, &h), VTAPI_STATUS_OK);
    uint32_t h2 = 0;
    EXPECT_EQ(VTAPI_StartPortTest(&s, &h2), VTAPI_STATUS_BUSY);

    VTAPI_PortTestStatus st{};
    ASSERT_EQ(VTAPI_GetPortTestStatus(h, &st), VTAPI_STATUS_OK);
    EXPECT_EQ(st.status, 1u);
    EXPECT_EQ(st.passed, caps.frames_per_loop);
    ASSERT_EQ(VTAPI_GetPortTestStatus(h, &st), VTAPI_STATUS_OK);
    EXPECT_EQ(st.status, 2u) << "two loops done";
    EXPECT_EQ(VTAPI_StopPortTest(h), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_DestroyPortTest(h), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_DestroyPortTest(h), VTAPI_STATUS_INVALID_PARAM);
    EXPECT_EQ(VTAPI_GetPortTestStatus(h, &st), VTAPI_STATUS_INVALID_PARAM);

    std::strcpy(s.ifname, "vmnic5");   // no link: every frame times out
    s.loop_continuously = 1;
    ASSERT_EQ(VTAPI_StartPortTest(&s, &h), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_GetPortTestStatus(h, &st), VTAPI_STATUS_OK);
    EXPECT_EQ(st.status, 3u);
    EXPECT_GT(st.timeouts, 0u);
    EXPECT_EQ(VTAPI_DestroyPortTest(h), VTAPI_STATUS_OK);
}

}  // namespace
