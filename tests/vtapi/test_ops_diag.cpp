// Diagnostics of the simulated library: long tests can be aborted from
// another thread, texts and data are bounded by the caller's buffer, result
// lists are the caller's to release and resets are kept.
#include "test_ops_util.h"

#include <chrono>
#include <thread>

namespace {

const char* kTarget0 = "50:06:0e:80:10:27:01:01";   // first target of vmhba2

class DiagOps : public OpsTest {};

TEST_F(DiagOps, FabricTestsBoundTheirTextsAndNeedAnOnlineTarget) {
    start();
    char text[1024];
    uint32_t ms = 0;
    ASSERT_EQ(VTAPI_DiagnosticsFCPingTest(dev("vmhba2"), kTarget0, 4, 1, &ms, text, sizeof text),
              VTAPI_STATUS_OK);
    EXPECT_STREQ(text, "FC ping to 50:06:0e:80:10:27:01:01: 4 of 4 responses received");
    EXPECT_EQ(VTAPI_DiagnosticsFCPingTest(dev("vmhba2"), "50:06:0E:80:10:27:01:01", 1, 1, &ms, text, 8),
              VTAPI_STATUS_OK) << "upper case and a short text buffer";
    EXPECT_EQ(std::strlen(text), 7u);
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
    EXPECT_EQ(rc, VTAPI_STATUS_BAD);
    EXPECT_STREQ(text, "FC ping aborted");
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::milliseconds(2000));
}

TEST_F(DiagOps, CongestionListIsOneBlockAndItsResetIsKept) {
    start();
    VTAPI_SANCONGTMGMTV2* list = nullptr;
    ASSERT_EQ(VTAPI_GetSCMRStatisticsList(dev("vmhba2"), &list), VTAPI_STATUS_OK);
    int n = 0;
    for (auto* e = list; e; e = e->next) EXPECT_EQ(e->congestion_alarm, static_cast<uint64_t>(++n));
    EXPECT_EQ(n, 3);
    EXPECT_EQ(vtsim_live_allocations(), 1) << "one block for the whole list";
    VTAPI_FreeMem(list);

    ASSERT_EQ(VTAPI_SANCongMgmtResetStatistics(dev("vmhba2")), VTAPI_STATUS_OK);
    reload();
    ASSERT_EQ(VTAPI_GetSCMRStatisticsList(dev("vmhba2"), &list), VTAPI_STATUS_OK);
    for (auto* e = list; e; e = e->next) EXPECT_EQ(e->congestion_alarm + e->congestion_warning, 0u);
    VTAPI_FreeMem(list);
}

}  // namespace
