// The Ethernet and iSCSI port diagnostics as a client drives them: settings
// by modify, pings in the request thread, port tests that live across calls
// and hold the host's diagnostic mode until destroyed or their time limit.
#include "class_test.h"

#include <set>

namespace {

const char* const kEthPing = "VeltraNIC_EthernetPort_Ping_DiagTest";
const char* const kEthTest = "VeltraNIC_EthernetPort_DiagTest";
const char* const kISCSIPing = "VeltraiSCSI_Port_Ping_DiagTest";
const char* const kLoopback = "VeltraiSCSI_Loopback_DiagTest";
const char* const kNic = "vmnic4";
const char* const kISCSI = "vmhba8";

class PortDiagTest : public ProviderClassTest {
protected:
    void startWith(const std::string& behaviour = "")
    {
        std::string host = vtsim_default_host_json();
        if (!behaviour.empty())
            host.insert(host.find('{') + 1, R"("behaviour": {)" + behaviour + "},");
        start(host);
    }

    // Invokes `method` on the class's instance for `port`; the return value
    // as text, the output arguments in result_.
    std::string call(const char* cls, const char* method, const std::string& port)
    {
        const char* arg = cls == kEthPing || cls == kEthTest ? "EthernetPort_InstanceID" : "iSCSIPort_InstanceID";
        const vcim::Status status = invoke(keyPath(cls, cls), method, {str(arg, port)});
        EXPECT_TRUE(status.ok()) << method << ": " << status.msg;
        return result_.returnValue.toCimString();
    }
    std::string outText(const char* name) const
    {
        const vcim::Value* v = out(name);
        return v ? v->toCimString() : "<none>";
    }
    // The port test's run state once GetPortTestStatus answers.
    std::string status(const char* cls, const char* port)
    {
        return call(cls, "GetPortTestStatus", port) == "0" ? outText("Status") : "refused";
    }
    // Whether the host is in diagnostic mode, seen as a client sees it: a ping is refused.
    bool inDiagMode() { return call(kEthPing, "RunDiagTest", kNic) == "2"; }
    void setPing(const char* address = "192.168.1.1")
    {
        ASSERT_TRUE(modify(keyPath(kEthPing, kEthPing), {sint32("opt_addrfamily", 4), sint32("opt_count", 3),
                                                         sint32("interval", 10), str("IpAddressToPing", address),
                                                         sint32("send_ttl", 32)})
                        .ok());
    }
};

TEST_F(PortDiagTest, PingsSettingsRepliesAndRefusals)
{
    startWith(R"("VTAPI_NicPingTest": {"lost": [2], "unreachable": ["10.9.9.9"]})");
    setPing();
    EXPECT_EQ(call(kEthPing, "RunDiagTest", kNic), "0");
    auto t = get(kEthPing, kEthPing);
    EXPECT_EQ(t["packets_transmitted"], "3");
    EXPECT_EQ(t["packets_received"], "2");
    EXPECT_EQ(t["sequence"], "1,3");
    EXPECT_EQ(t["latency"], "100,120");
    EXPECT_EQ(t["status"], "\"Reply\",\"Reply\"");
    EXPECT_EQ(t["overall_status"].rfind("\n--- 192.168.1.1 ping statistics ---\n3 packets transmitted, 2 received, "
                                        "33.33% packet loss, time 0.2ms\n\nrtt min/avg/max/sdev = 0.100/0.110/0.120/",
                                        0),
              0u)
        << t["overall_status"];

    // No reply: empty per-reply arrays; the ping never holds the mode.
    setPing("10.9.9.9");
    EXPECT_EQ(call(kEthPing, "RunDiagTest", kNic), "0");
    t = get(kEthPing, kEthPing);
    EXPECT_EQ(t["packets_received"], "0");
    EXPECT_EQ(t["sequence"], "");
    EXPECT_EQ(call(kISCSIPing, "ResetToDefaultSettings", kISCSI), "0"); // mode free

    // A port that is not an Ethernet port is refused; reset clears everything.
    EXPECT_EQ(call(kEthPing, "RunDiagTest", kISCSI), "2");
    EXPECT_EQ(call(kEthPing, "ResetToDefaultSettings", kNic), "0");
    t = get(kEthPing, kEthPing);
    EXPECT_EQ(t["opt_count"], "0");
    EXPECT_EQ(t["IpAddressToPing"], "");

    // iSCSI: results and the flag taken but never shown; an address the
    // library cannot read refuses the modify and keeps the old one.
    ASSERT_TRUE(modify(keyPath(kISCSIPing, kISCSIPing), {str("IpV4AddressToPing", "192.168.10.1"),
                                                         uint32("PacketSize", 56), uint32("SourceAddressFlag", 0)})
                    .ok());
    t = get(kISCSIPing, kISCSIPing);
    EXPECT_EQ(t.count("acStatus"), 0u);
    EXPECT_EQ(t.count("SourceAddressFlag"), 0u);
    EXPECT_EQ(call(kISCSIPing, "RunDiagTest", kISCSI), "0");
    EXPECT_EQ(get(kISCSIPing, kISCSIPing)["acStatus"], "Ping successful");
    const vcim::Status refused = modify(keyPath(kISCSIPing, kISCSIPing), {str("IpV4AddressToPing", "999.1.1.1")});
    EXPECT_FALSE(refused.ok());
    EXPECT_NE(refused.msg.find("Failed to update configuration, ErrorCode="), std::string::npos) << refused.msg;
    EXPECT_EQ(get(kISCSIPing, kISCSIPing)["IpV4AddressToPing"], "192.168.10.1");
    // An IPv6 target is the one pinged; a port that is not an iSCSI port is refused.
    ASSERT_TRUE(modify(keyPath(kISCSIPing, kISCSIPing), {str("IpV6AddressToPing", "fe80::1")}).ok());
    EXPECT_EQ(call(kISCSIPing, "RunDiagTest", kISCSI), "0");
    EXPECT_GE(logCount("RunDiagTest(): IPAddressToPing = fe80::1"), 1u);
    EXPECT_EQ(call(kISCSIPing, "RunDiagTest", kNic), "2");
    EXPECT_FALSE(inDiagMode());
    EXPECT_EQ(call(kISCSIPing, "ResetToDefaultSettings", kISCSI), "0");
    EXPECT_EQ(get(kISCSIPing, kISCSIPing).count("IpV4AddressToPing"), 0u);
}

// Both port tests: started, they hold the mode (every other test refused)
// through stop until destroyed, once; without one, stop and status need the
// mode and destroy a test.
TEST_F(PortDiagTest, PortTestsHoldTheModeUntilDestroyed)
{
    startWith(R"("VTAPI_PerformLoopBackTest": {"results": [0, 0, 0, 7]})");
    // iSCSI loopback run to its end, then with the library's fourth test
    // failing: stop on error ends with status 3 and the library's code.
    auto runToEnd = [&](unsigned count) {
        ASSERT_TRUE(modify(keyPath(kLoopback, kLoopback), {uint32("Mode", 1), uint32("TestCount", count)}).ok());
        EXPECT_EQ(call(kLoopback, "StartPortTest", kISCSI), "0");
        EXPECT_TRUE(waitUntil([&] { return std::set<std::string>{"2", "3"}.count(status(kLoopback, kISCSI)); }, 5000));
    };
    runToEnd(3);
    EXPECT_EQ(outText("Status"), "2");
    EXPECT_EQ(outText("Passed"), "3");
    EXPECT_EQ(call(kLoopback, "DestroyPortTest", kISCSI), "0");
    runToEnd(5);
    EXPECT_EQ(outText("Status"), "3");
    EXPECT_EQ(outText("Passed"), "0");
    EXPECT_EQ(outText("Failed"), "1");
    EXPECT_EQ(outText("ErrorCode"), "7");
    EXPECT_EQ(call(kLoopback, "DestroyPortTest", kISCSI), "0");
    auto t = get(kLoopback, kLoopback);
    EXPECT_EQ(t["StopOnError"], "1");
    EXPECT_EQ(t["iSCSIPort_InstanceID"], kISCSI);

    // Ethernet: capabilities by reset; settings by modify ("TTL" is taken,
    // not shown); an unsupported test is refused and leaves the mode free.
    EXPECT_EQ(call(kEthTest, "ResetToDefaultSettings", kNic), "0");
    ASSERT_TRUE(modify(keyPath(kEthTest, kEthTest), {uint32("TestID", 5), uint32("LoopCount", 2), uint32("TTL", 9)})
                    .ok());
    t = get(kEthTest, kEthTest);
    EXPECT_EQ(t["SupportedTestIDMap"], "7");
    EXPECT_EQ(t["FramesPerLoop"], "100");
    EXPECT_EQ(t.count("TTL"), 0u);
    EXPECT_EQ(call(kEthTest, "StartPortTest", kNic), "2");
    EXPECT_FALSE(inDiagMode());
    ASSERT_TRUE(modify(keyPath(kEthTest, kEthTest), {uint32("TestID", 0)}).ok());
    vtsim_log_clear();
    EXPECT_EQ(call(kEthTest, "StartPortTest", kNic), "0");
    ASSERT_EQ(calls("VTAPI_StartPortTest").size(), 1u);
    EXPECT_NE(calls("VTAPI_StartPortTest")[0].find("ifname=vmnic4 test=0"), std::string::npos);
    EXPECT_EQ(status(kEthTest, kNic), "1");
    EXPECT_EQ(outText("Passed"), "100");
    // A library failure of destroy keeps the test and the mode.
    ASSERT_EQ(vtsim_fault("VTAPI_DestroyPortTest", 1, 1), 0);
    EXPECT_EQ(call(kEthTest, "DestroyPortTest", kNic), "2");
    EXPECT_TRUE(inDiagMode());
    EXPECT_EQ(call(kEthTest, "DestroyPortTest", kNic), "0");

    const std::pair<const char*, const char*> tests[] = {{kEthTest, kNic}, {kLoopback, kISCSI}};
    for (const auto& [cls, port] : tests) {
        SCOPED_TRACE(cls);
        EXPECT_EQ(call(cls, "StopPortTest", port), "2");
        EXPECT_EQ(status(cls, port), "refused");
        EXPECT_EQ(call(cls, "DestroyPortTest", port), "2");
        EXPECT_EQ(call(cls, "StartPortTest", "vmhba99"), "2");
        EXPECT_FALSE(inDiagMode());
        ASSERT_EQ(call(cls, "StartPortTest", port), "0");
        EXPECT_EQ(call(kEthTest, "StartPortTest", kNic), "2");
        EXPECT_EQ(call(kLoopback, "StartPortTest", kISCSI), "2");
        EXPECT_TRUE(inDiagMode());
        EXPECT_EQ(call(cls, "StopPortTest", port), "0");
        EXPECT_TRUE(inDiagMode());
        EXPECT_EQ(call(cls, "DestroyPortTest", port), "0");
        EXPECT_FALSE(inDiagMode());
        EXPECT_EQ(call(cls, "DestroyPortTest", port), "2");
    }
    EXPECT_GE(logCount("invokeMethod_Ethernet_Port_DiagTest: Error: Operation failed because, the system is NOT in "
                       "diag mode"),
              2u);
    EXPECT_GE(logCount("Invalid test handle, exiting DestroyPortTest with return code VTAPI_STATUS_BAD"), 1u);

    // Stopped while running: status 5.
    vtsim_delay("VTAPI_PerformLoopBackTest", 100);
    ASSERT_TRUE(modify(keyPath(kLoopback, kLoopback), {uint32("TestCount", 1000)}).ok());
    ASSERT_EQ(call(kLoopback, "StartPortTest", kISCSI), "0");
    EXPECT_EQ(call(kLoopback, "StopPortTest", kISCSI), "0");
    EXPECT_TRUE(waitUntil([&] { return status(kLoopback, kISCSI) == "5"; }, 5000));
    EXPECT_EQ(call(kLoopback, "DestroyPortTest", kISCSI), "0");
    EXPECT_EQ(call(kLoopback, "ResetToDefaultSettings", kISCSI), "0");
    EXPECT_EQ(get(kLoopback, kLoopback)["Mode"], "7");
}

TEST_F(PortDiagTest, TestsNeverDestroyedEndAtTheTimeLimitOrUnload)
{
    properties("ErrorLog=1\nDebugLog=1\nDiagTestTimeLimitSeconds=1\n");
    startWith();
    setPing();
    ASSERT_TRUE(modify(keyPath(kEthTest, kEthTest), {uint32("TestID", 0), uint32("LoopCount", 1)}).ok());
    vtsim_log_clear();
    ASSERT_EQ(call(kEthTest, "StartPortTest", kNic), "0");
    EXPECT_TRUE(inDiagMode());
    ASSERT_TRUE(waitUntil([&] { return !inDiagMode(); }, 5000));
    EXPECT_EQ(calls("VTAPI_DestroyPortTest").size(), 1u);
    EXPECT_GE(logCount("Ethernet_Port_DiagTest: the test was not destroyed within its time limit; ending the test "
                       "and leaving diag mode"),
              1u);
    EXPECT_EQ(call(kEthTest, "DestroyPortTest", kNic), "2"); // nothing left to destroy

    // The iSCSI loopback likewise, its worker long finished.
    ASSERT_EQ(call(kLoopback, "StartPortTest", kISCSI), "0");
    EXPECT_TRUE(inDiagMode());
    ASSERT_TRUE(waitUntil([&] { return !inDiagMode(); }, 5000));
    EXPECT_GE(logCount("iSCSI_Loopback_DiagTest: the test was not destroyed within its time limit; ending the test "
                       "and leaving diag mode"),
              1u);

    // Unloading while a port test holds the mode ends it at once.
    ASSERT_EQ(call(kEthTest, "StartPortTest", kNic), "0");
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(broker().unload(true).ok());
    broker_.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(3));
    EXPECT_EQ(calls("VTAPI_DestroyPortTest").size(), 2u);
}

// Destroyed before its worker has begun (the broker schedules it late) or
// while the worker is inside a library call: that worker runs no further
// library test, not even once a new test has started; the mode is free at
// once, and unloading leaves no thread behind.
TEST_F(PortDiagTest, ISCSILoopbackDestroyedBeforeOrWhileItsWorkerRuns)
{
    struct Clear {
        ~Clear() { vcim::Broker::setThreadFaults({}); }
    } clear;
    startWith();
    auto settle = [] { std::this_thread::sleep_for(std::chrono::milliseconds(400)); };
    vtsim_log_clear();
    vcim::Broker::setThreadFaults({0, 300}); // the worker is scheduled late
    ASSERT_EQ(call(kLoopback, "StartPortTest", kISCSI), "0");
    vcim::Broker::setThreadFaults({});
    EXPECT_EQ(call(kLoopback, "DestroyPortTest", kISCSI), "0");
    EXPECT_FALSE(inDiagMode());
    // The next test starts at once; only its worker runs the library's test.
    ASSERT_EQ(call(kLoopback, "StartPortTest", kISCSI), "0");
    EXPECT_TRUE(waitUntil([&] { return status(kLoopback, kISCSI) == "2"; }, 5000));
    settle(); // past the first worker's late start
    EXPECT_EQ(calls("VTAPI_PerformLoopBackTest").size(), 1u);
    EXPECT_EQ(call(kLoopback, "DestroyPortTest", kISCSI), "0");

    // Destroyed inside a library call: that call is the last.
    ASSERT_TRUE(modify(keyPath(kLoopback, kLoopback), {uint32("TestCount", 1000)}).ok());
    vtsim_delay("VTAPI_PerformLoopBackTest", 300);
    vtsim_log_clear();
    ASSERT_EQ(call(kLoopback, "StartPortTest", kISCSI), "0");
    ASSERT_TRUE(waitUntil([] { return vtsim_log_count("VTAPI_PerformLoopBackTest") >= 1; }, 5000));
    EXPECT_EQ(call(kLoopback, "DestroyPortTest", kISCSI), "0");
    EXPECT_FALSE(inDiagMode());
    settle();
    EXPECT_EQ(calls("VTAPI_PerformLoopBackTest").size(), 1u);

    ASSERT_TRUE(broker().unload(true).ok());
    broker_.reset();
    EXPECT_TRUE(waitUntil([&] { return threadCount() <= baselineThreads_; }, 2000));
}

} // namespace
