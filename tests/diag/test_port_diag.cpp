// The Ethernet and iSCSI port diagnostics as a client drives them: settings
// by modify, pings in the request thread, port tests that live across calls
// and hold the host's diagnostic mode until destroyed or their time limit.
#include "class_test.h"

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

    static const char* portArg(const char* cls)
    {
        return cls == kEthPing || cls == kEthTest ? "EthernetPort_InstanceID" : "iSCSIPort_InstanceID";
    }
    // Invokes `method` on the class's instance for `port`; the return value as text.
    std::string invoke(const char* cls, const char* method, const std::string& port,
                       std::map<std::string, std::string>* out = nullptr)
    {
        vcim::MethodResult result;
        const vcim::Status status =
            broker().invokeMethod(keyPath(cls, cls), method, {str(portArg(cls), port)}, result);
        EXPECT_TRUE(status.ok()) << method << ": " << status.msg;
        if (out)
            for (const vcim::Property& p : result.out)
                (*out)[p.name] = p.value.toCimString();
        return result.returnValue.toCimString();
    }
    // Whether the host is in diagnostic mode, seen as a client sees it: a ping is refused.
    bool inDiagMode() { return invoke(kEthPing, "RunDiagTest", kNic) == "2"; }
    void setPing(const char* address = "192.168.1.1")
    {
        ASSERT_TRUE(modify(keyPath(kEthPing, kEthPing), {sint32("opt_addrfamily", 4), sint32("opt_count", 3),
                                                         sint32("interval", 10), str("IpAddressToPing", address),
                                                         sint32("send_ttl", 32)})
                        .ok());
    }
};

TEST_F(PortDiagTest, EthernetPingSettingsRepliesAndFailures)
{
    startWith(R"("VTAPI_NicPingTest": {"lost": [2], "unreachable": ["10.9.9.9"]})");
    EXPECT_EQ(keys(kEthPing), std::vector<std::string>{kEthPing});
    setPing();
    EXPECT_EQ(invoke(kEthPing, "RunDiagTest", kNic), "0");
    auto t = get(kEthPing, kEthPing);
    EXPECT_EQ(t["IpAddressToPing"], "192.168.1.1");
    EXPECT_EQ(t["opt_count"], "3");
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
    EXPECT_GE(logCount("setInstance_Ethernet_Port_Ping_DiagTest: sIpAddressToPing = 192.168.1.1"), 1u);

    // No reply: empty per-reply arrays; the ping never holds the mode.
    setPing("10.9.9.9");
    EXPECT_EQ(invoke(kEthPing, "RunDiagTest", kNic), "0");
    t = get(kEthPing, kEthPing);
    EXPECT_EQ(t["packets_received"], "0");
    EXPECT_EQ(t["sequence"], "");
    EXPECT_EQ(invoke(kISCSIPing, "ResetToDefaultSettings", kISCSI), "0"); // mode free

    // Refusals answer 2, an unknown method 1; reset clears everything.
    EXPECT_EQ(invoke(kEthPing, "RunDiagTest", "vmnic99"), "2");
    EXPECT_EQ(invoke(kEthPing, "RunDiagTest", kISCSI), "2"); // not an Ethernet port
    EXPECT_EQ(rawInvoke(keyPath(kEthPing, kEthPing), "RunDiagTest").second, "2");
    EXPECT_GE(logCount("invokeMethod_Ethernet_Port_Ping_DiagTest: Error: Missing required argument "
                       "[EthernetPort_InstanceID]!"),
              1u);
    EXPECT_EQ(rawInvoke(keyPath(kEthPing, kEthPing), "NoSuchMethod").second, "1");
    EXPECT_EQ(invoke(kEthPing, "ResetToDefaultSettings", kNic), "0");
    t = get(kEthPing, kEthPing);
    EXPECT_EQ(t["opt_count"], "0");
    EXPECT_EQ(t["IpAddressToPing"], "");
}

TEST_F(PortDiagTest, EthernetPortTestStartedPolledStoppedDestroyed)
{
    startWith();
    std::map<std::string, std::string> out;
    // Without a test: stop and status need the mode, destroy a test.
    EXPECT_EQ(invoke(kEthTest, "StopPortTest", kNic), "2");
    EXPECT_EQ(invoke(kEthTest, "GetPortTestStatus", kNic), "2");
    EXPECT_GE(logCount("invokeMethod_Ethernet_Port_DiagTest: Error: Operation failed because, the system is NOT in "
                       "diag mode"),
              2u);
    EXPECT_EQ(invoke(kEthTest, "DestroyPortTest", kNic), "2");
    EXPECT_GE(logCount("Invalid test handle, exiting DestroyPortTest with return code VTAPI_STATUS_BAD"), 1u);

    // Capabilities by reset; settings by modify ("TTL" is taken, not shown).
    EXPECT_EQ(invoke(kEthTest, "ResetToDefaultSettings", kNic), "0");
    ASSERT_TRUE(modify(keyPath(kEthTest, kEthTest), {uint32("TestID", 0), uint32("LoopCount", 2), uint32("TTL", 9),
                                                     str("TargetAddress", "10.0.0.1")})
                    .ok());
    auto t = get(kEthTest, kEthTest);
    EXPECT_EQ(t["SupportedTestIDMap"], "7");
    EXPECT_EQ(t["FramesPerLoop"], "100");
    EXPECT_EQ(t["LoopCount"], "2");
    EXPECT_EQ(t["TargetAddress"], "10.0.0.1");
    EXPECT_EQ(t.count("TTL"), 0u);

    // A refused start (unsupported test) leaves the mode free.
    ASSERT_TRUE(modify(keyPath(kEthTest, kEthTest), {uint32("TestID", 5)}, vcim::PropertyList{"TestID"}).ok());
    EXPECT_EQ(invoke(kEthTest, "StartPortTest", kNic), "2");
    EXPECT_FALSE(inDiagMode());

    ASSERT_TRUE(modify(keyPath(kEthTest, kEthTest), {uint32("TestID", 0)}, vcim::PropertyList{"TestID"}).ok());
    vtsim_log_clear();
    EXPECT_EQ(invoke(kEthTest, "StartPortTest", kNic), "0");
    ASSERT_EQ(calls("VTAPI_StartPortTest").size(), 1u);
    EXPECT_NE(calls("VTAPI_StartPortTest")[0].find("ifname=vmnic4 test=0"), std::string::npos);
    // While it lives every other test is refused.
    EXPECT_EQ(invoke(kEthTest, "StartPortTest", kNic), "2");
    EXPECT_EQ(invoke(kLoopback, "StartPortTest", kISCSI), "2");
    EXPECT_TRUE(inDiagMode());
    EXPECT_EQ(invoke(kEthTest, "GetPortTestStatus", kNic, &out), "0");
    EXPECT_EQ(out["Status"], "1");
    EXPECT_EQ(out["Passed"], "100");
    EXPECT_EQ(invoke(kEthTest, "GetPortTestStatus", kNic, &out), "0");
    EXPECT_EQ(out["Status"], "2");
    EXPECT_EQ(out["Passed"], "200");
    // Stopped, the test still holds the mode until destroyed.
    EXPECT_EQ(invoke(kEthTest, "StopPortTest", kNic), "0");
    EXPECT_TRUE(inDiagMode());
    EXPECT_EQ(invoke(kEthTest, "DestroyPortTest", kNic), "0");
    EXPECT_FALSE(inDiagMode());
    EXPECT_EQ(invoke(kEthTest, "DestroyPortTest", kNic), "2");

    // A library failure of destroy keeps the test and the mode.
    EXPECT_EQ(invoke(kEthTest, "StartPortTest", kNic), "0");
    ASSERT_EQ(vtsim_fault("VTAPI_DestroyPortTest", 1, 1), 0);
    EXPECT_EQ(invoke(kEthTest, "DestroyPortTest", kNic), "2");
    EXPECT_TRUE(inDiagMode());
    EXPECT_EQ(invoke(kEthTest, "DestroyPortTest", kNic), "0");
    EXPECT_FALSE(inDiagMode());
}

TEST_F(PortDiagTest, TestsNeverDestroyedEndAtTheTimeLimitOrUnload)
{
    properties("ErrorLog=1\nDebugLog=1\nDiagTestTimeLimitSeconds=1\n");
    startWith();
    setPing();
    ASSERT_TRUE(modify(keyPath(kEthTest, kEthTest), {uint32("TestID", 0), uint32("LoopCount", 1)}).ok());
    vtsim_log_clear();
    ASSERT_EQ(invoke(kEthTest, "StartPortTest", kNic), "0");
    EXPECT_TRUE(inDiagMode());
    ASSERT_TRUE(waitUntil([&] { return !inDiagMode(); }, 5000));
    EXPECT_EQ(calls("VTAPI_DestroyPortTest").size(), 1u);
    EXPECT_GE(logCount("Ethernet_Port_DiagTest: the test was not destroyed within its time limit; ending the test "
                       "and leaving diag mode"),
              1u);
    EXPECT_EQ(invoke(kEthTest, "DestroyPortTest", kNic), "2"); // nothing left to destroy

    // The iSCSI loopback likewise, its worker long finished.
    ASSERT_EQ(invoke(kLoopback, "StartPortTest", kISCSI), "0");
    EXPECT_TRUE(inDiagMode());
    ASSERT_TRUE(waitUntil([&] { return !inDiagMode(); }, 5000));
    EXPECT_GE(logCount("iSCSI_Loopback_DiagTest: the test was not destroyed within its time limit; ending the test "
                       "and leaving diag mode"),
              1u);

    // Unloading while a port test holds the mode ends it at once.
    ASSERT_EQ(invoke(kEthTest, "StartPortTest", kNic), "0");
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(broker().unload(true).ok());
    broker_.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(3));
    EXPECT_EQ(calls("VTAPI_DestroyPortTest").size(), 2u);
}

TEST_F(PortDiagTest, ISCSIPingSettingsRunAndFailures)
{
    startWith(R"("VTAPI_SDDiagPing": {"unreachable": ["192.168.10.9"]})");
    ASSERT_TRUE(modify(keyPath(kISCSIPing, kISCSIPing), {str("IpV4AddressToPing", "192.168.10.1"),
                                                         uint32("PacketSize", 56), uint32("SourceAddressFlag", 0)})
                    .ok());
    auto t = get(kISCSIPing, kISCSIPing);
    EXPECT_EQ(t["IpV4AddressToPing"], "192.168.10.1");
    EXPECT_EQ(t["PacketSize"], "56");
    EXPECT_EQ(t.count("acStatus"), 0u);
    EXPECT_EQ(t.count("SourceAddressFlag"), 0u);
    EXPECT_EQ(invoke(kISCSIPing, "RunDiagTest", kISCSI), "0");
    EXPECT_EQ(get(kISCSIPing, kISCSIPing)["acStatus"], "Ping successful");
    EXPECT_GE(logCount("RunDiagTest(): IPAddressToPing = 192.168.10.1"), 1u);

    // An address the library cannot read refuses the modify and keeps the old one.
    const vcim::Status refused = modify(keyPath(kISCSIPing, kISCSIPing), {str("IpV4AddressToPing", "999.1.1.1")});
    EXPECT_FALSE(refused.ok());
    EXPECT_NE(refused.msg.find("Failed to update configuration, ErrorCode="), std::string::npos) << refused.msg;
    EXPECT_EQ(get(kISCSIPing, kISCSIPing)["IpV4AddressToPing"], "192.168.10.1");

    // No reply, an IPv6 target, a port that is not an iSCSI port; the mode is free after each.
    ASSERT_TRUE(modify(keyPath(kISCSIPing, kISCSIPing), {str("IpV4AddressToPing", "192.168.10.9")}).ok());
    EXPECT_EQ(invoke(kISCSIPing, "RunDiagTest", kISCSI), "0");
    EXPECT_EQ(get(kISCSIPing, kISCSIPing)["acStatus"], "Ping failed");
    ASSERT_TRUE(modify(keyPath(kISCSIPing, kISCSIPing), {str("IpV6AddressToPing", "fe80::1")}).ok());
    vtsim_log_clear();
    EXPECT_EQ(invoke(kISCSIPing, "RunDiagTest", kISCSI), "0");
    EXPECT_GE(logCount("RunDiagTest(): IPAddressToPing = fe80::1"), 1u);
    EXPECT_EQ(invoke(kISCSIPing, "RunDiagTest", kNic), "2");
    EXPECT_FALSE(inDiagMode());
    EXPECT_EQ(invoke(kISCSIPing, "ResetToDefaultSettings", kISCSI), "0");
    EXPECT_EQ(get(kISCSIPing, kISCSIPing).count("IpV4AddressToPing"), 0u);
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
    std::map<std::string, std::string> out;
    auto settle = [] { std::this_thread::sleep_for(std::chrono::milliseconds(400)); };
    vtsim_log_clear();
    vcim::Broker::setThreadFaults({0, 300}); // the worker is scheduled late
    ASSERT_EQ(invoke(kLoopback, "StartPortTest", kISCSI), "0");
    vcim::Broker::setThreadFaults({});
    EXPECT_EQ(invoke(kLoopback, "DestroyPortTest", kISCSI), "0");
    EXPECT_FALSE(inDiagMode());
    // The next test starts at once; only its worker runs the library's test.
    ASSERT_EQ(invoke(kLoopback, "StartPortTest", kISCSI), "0");
    EXPECT_TRUE(waitUntil([&] {
        return invoke(kLoopback, "GetPortTestStatus", kISCSI, &out) == "0" && out["Status"] == "2";
    }, 5000));
    settle(); // past the first worker's late start
    EXPECT_EQ(calls("VTAPI_PerformLoopBackTest").size(), 1u);
    EXPECT_EQ(invoke(kLoopback, "DestroyPortTest", kISCSI), "0");

    // Destroyed inside a library call: that call is the last.
    ASSERT_TRUE(modify(keyPath(kLoopback, kLoopback), {uint32("TestCount", 1000)}).ok());
    vtsim_delay("VTAPI_PerformLoopBackTest", 300);
    vtsim_log_clear();
    ASSERT_EQ(invoke(kLoopback, "StartPortTest", kISCSI), "0");
    ASSERT_TRUE(waitUntil([] { return vtsim_log_count("VTAPI_PerformLoopBackTest") >= 1; }, 5000));
    EXPECT_EQ(invoke(kLoopback, "DestroyPortTest", kISCSI), "0");
    EXPECT_FALSE(inDiagMode());
    settle();
    EXPECT_EQ(calls("VTAPI_PerformLoopBackTest").size(), 1u);

    ASSERT_TRUE(broker().unload(true).ok());
    broker_.reset();
    EXPECT_TRUE(waitUntil([&] { return threadCount() <= baselineThreads_; }, 2000));
}

TEST_F(PortDiagTest, ISCSILoopbackRunsStopsAndIsDestroyed)
{
    startWith(R"("VTAPI_PerformLoopBackTest": {"results": [0, 0, 0, 7]})");
    std::map<std::string, std::string> out;
    auto runToEnd = [&] {
        EXPECT_EQ(invoke(kLoopback, "StartPortTest", kISCSI), "0");
        EXPECT_TRUE(waitUntil([&] {
            return invoke(kLoopback, "GetPortTestStatus", kISCSI, &out) == "0" && out["Status"] != "1" &&
                   out["Status"] != "0";
        }, 5000));
        EXPECT_EQ(invoke(kLoopback, "DestroyPortTest", kISCSI), "0");
        EXPECT_FALSE(inDiagMode());
    };
    ASSERT_TRUE(modify(keyPath(kLoopback, kLoopback), {uint32("Mode", 1), uint32("TestCount", 3)}).ok());
    auto t = get(kLoopback, kLoopback);
    EXPECT_EQ(t["Mode"], "1");
    EXPECT_EQ(t["StopOnError"], "1");
    EXPECT_GE(logCount("setInstance_iSCSI_Loopback_DiagTest: AFter Setting TestCount 3"), 1u);
    runToEnd();
    EXPECT_EQ(out["Status"], "2");
    EXPECT_EQ(out["Passed"], "3");
    EXPECT_EQ(out["Failed"], "0");
    EXPECT_EQ(get(kLoopback, kLoopback)["iSCSIPort_InstanceID"], kISCSI);
    // The fourth call fails: stop on error ends with status 3 and the library's code.
    ASSERT_TRUE(modify(keyPath(kLoopback, kLoopback), {uint32("TestCount", 5)}, vcim::PropertyList{"TestCount"}).ok());
    runToEnd();
    EXPECT_EQ(out["Status"], "3");
    EXPECT_EQ(out["Passed"], "0");
    EXPECT_EQ(out["Failed"], "1");
    EXPECT_EQ(out["ErrorCode"], "7");

    // Stopped while running, then destroyed.
    vtsim_delay("VTAPI_PerformLoopBackTest", 100);
    ASSERT_TRUE(modify(keyPath(kLoopback, kLoopback), {uint32("TestCount", 1000)}, vcim::PropertyList{"TestCount"}).ok());
    ASSERT_EQ(invoke(kLoopback, "StartPortTest", kISCSI), "0");
    EXPECT_EQ(invoke(kEthTest, "StartPortTest", kNic), "2");
    EXPECT_EQ(invoke(kLoopback, "StopPortTest", kISCSI), "0");
    EXPECT_TRUE(waitUntil([&] {
        return invoke(kLoopback, "GetPortTestStatus", kISCSI, &out) == "0" && out["Status"] == "5";
    }, 5000));
    EXPECT_TRUE(inDiagMode());
    EXPECT_EQ(invoke(kLoopback, "DestroyPortTest", kISCSI), "0");
    EXPECT_FALSE(inDiagMode());
    EXPECT_EQ(invoke(kLoopback, "DestroyPortTest", kISCSI), "2");
    EXPECT_EQ(invoke(kLoopback, "StartPortTest", "vmhba99"), "2");
    EXPECT_EQ(invoke(kLoopback, "ResetToDefaultSettings", kISCSI), "0");
    EXPECT_EQ(get(kLoopback, kLoopback)["Mode"], "7");
}

} // namespace
