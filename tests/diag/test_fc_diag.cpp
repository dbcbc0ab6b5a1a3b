// The FC diagnostic classes as a client drives them: settings by modify,
// runs on a named FC port, the host-wide diagnostic mode, worker threads
// polled to completion or aborted, and the adapter library's faults and
// hostile results.
#include "class_test.h"

namespace {

const char* const kLoopback = "VeltraFC_Port_Loopback_DiagTest";
const char* const kPing = "VeltraFC_Port_FCPing_DiagTest";
const char* const kCT = "VeltraFC_Port_CTCommand_Diag";
const char* const kEcho = "VeltraFC_Port_FCEcho_DiagTest";
const char* const kRDP = "VeltraFC_Port_FCRDP_DiagTest";
const char* const kLinkStatus = "VeltraFC_Port_LinkStatus_DiagTest";
const char* const kSCM = "VeltraFC_Port_SCMStats";
const char* const kRWBuffer = "VeltraFC_Port_ReadWriteBuffer_DiagTest";
const char* const kDPort = "VeltraFC_DPort_DiagTest";
const char* const kISCSILoopback = "VeltraiSCSI_Loopback_DiagTest";
const char* const kTarget = "50:06:0e:80:10:27:01:01";
const char* const kNoTarget = "50:06:0e:80:99:99:99:99";

// Elements of an array property.
size_t elements(const vcim::Instance& instance, const char* name)
{
    const vcim::Value* v = instance.get(name);
    return v ? v->count() : SIZE_MAX;
}

class FCDiagTest : public ProviderClassTest {
protected:
    // The default host with per-operation behaviour (a JSON object body).
    void startWith(const std::string& behaviour = "", const std::string& vmhba2Record = "")
    {
        std::string host = vtsim_default_host_json();
        if (!vmhba2Record.empty()) {
            const std::string anchor = R"("port_id": "0a0100", "speed": 32)";
            host.insert(host.find(anchor) + anchor.size(), ", " + vmhba2Record);
        }
        if (!behaviour.empty())
            host.insert(host.find('{') + 1, R"("behaviour": {)" + behaviour + "},");
        start(host);
    }

    // The InstanceID of the FC port with this port name (default: vmhba2,
    // online, with targets).
    std::string firstPort(const char* wwpn = "21:00:00:1f:ee:27:c4:00")
    {
        for (const vcim::Instance& port : instances("VeltraFC_Port")) {
            const std::string id = PropertyTexts(port)["InstanceID"];
            if (id.find(wwpn) != std::string::npos)
                return id;
        }
        ADD_FAILURE() << "no port " << wwpn;
        return "";
    }

    // Waits until the library has seen `calls` calls of `op`, and a little
    // longer, so that the call is running.
    void inLibrary(const char* op, unsigned long calls)
    {
        ASSERT_TRUE(waitUntil([&] { return vtsim_log_count(op) >= calls; }, 5000)) << op;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }

    // Invokes `method` on the class's instance; the return value as text,
    // the output arguments in result_.
    std::string call(const char* cls, const char* method, const std::vector<vcim::Property>& in)
    {
        const vcim::Status status = invoke(keyPath(cls, cls), method, in);
        EXPECT_TRUE(status.ok()) << method << ": " << status.msg;
        return result_.returnValue.toCimString();
    }
    std::string outText(const char* name) const
    {
        const vcim::Value* v = out(name);
        return v ? v->toCimString() : "<none>";
    }
    std::string reset(const char* cls, const std::string& port)
    {
        return call(cls, "ResetToDefaultSettings", {str("FCPort_InstanceID", port)});
    }
    std::string run(const char* cls, const std::string& port, std::vector<vcim::Property> more = {})
    {
        more.insert(more.begin(), str("FCPort_InstanceID", port));
        return call(cls, "RunDiagTest", more);
    }
    vcim::Instance fetch(const char* cls)
    {
        vcim::Instance instance;
        EXPECT_TRUE(broker().getInstance(keyPath(cls, cls), nullptr, instance).ok()) << cls;
        return instance;
    }
    // Whether the diagnostic mode comes free within `ms`: a loopback reset,
    // which needs it, succeeds.
    bool freeWithin(const std::string& port, int ms = 5000)
    {
        return waitUntil([&] { return reset(kLoopback, port) == "0"; }, ms);
    }
    static std::vector<vcim::Property> pingArgs(int iterations = 1)
    {
        return {str("TargetWWPN", kTarget), sint32("iIteration", iterations), sint32("iStopOnError", 0)};
    }
    static std::vector<vcim::Property> ctArgs(const char* target = kTarget, int type = 0, int iterations = 1)
    {
        return {str("TargetWWPN", target), sint32("iStopOnError", 0), sint32("CTDiagType", type),
                sint32("iIteration", iterations)};
    }
    static std::vector<vcim::Property> echoArgs(const char* target = kTarget, int addressType = 0, int iterations = 1)
    {
        return {str("TargetWWPN", target), sint32("iStopOnError", 0),
                {"iAddressType", vcim::Value::sint(CMPI_sint16, addressType)}, sint32("iIteration", iterations)};
    }
};

// Texts the library leaves unterminated are cut at their buffers' ends.
TEST_F(FCDiagTest, LoopbackSettingsRunsAndFailures)
{
    startWith(R"("VTAPI_DiagnosticsLoopBackTest": {"fill_text": true})");
    const std::string port = firstPort();
    const vcim::ObjectPath test = keyPath(kLoopback, kLoopback);

    // Settings by modify: the pattern takes its first 8 elements, iReserved2 is cleared.
    std::vector<vcim::Value> pattern;
    for (int i = 1; i <= 12; ++i)
        pattern.push_back(vcim::Value::uint(CMPI_uint8, i));
    ASSERT_TRUE(modify(test, {sint32("iNumberOfTest", 5), sint32("iPatternType", 3), uint32("iLoopBackType", 2),
                              {"acTestPattern", vcim::Value::array(CMPI_uint8, pattern)}})
                    .ok());
    ASSERT_TRUE(modify(test, {sint32("iNumberOfTest", 7), sint32("iPatternType", 9)},
                       vcim::PropertyList{"iNumberOfTest"})
                    .ok());
    auto t = get(kLoopback, kLoopback);
    EXPECT_EQ(t["iNumberOfTest"], "7");
    EXPECT_EQ(t["iPatternType"], "3");
    EXPECT_EQ(t["iReserved2"], "0");
    EXPECT_EQ(t["acTestPattern"], "1,2,3,4,5,6,7,8");

    // A run on the named port with the stored settings and the port's attribute.
    vtsim_log_clear();
    EXPECT_EQ(run(kLoopback, port), "0");
    ASSERT_EQ(calls("VTAPI_DiagnosticsLoopBackTest").size(), 1u);
    EXPECT_NE(calls("VTAPI_DiagnosticsLoopBackTest")[0].find("type=2 n=7"), std::string::npos);
    t = get(kLoopback, kLoopback);
    EXPECT_EQ(t["acLoopbackTestMessage"], std::string(64, 'X'));
    EXPECT_EQ(t["acStatus"], std::string(255, 'X'));

    // Refusals answer 2; an unknown method 1.
    EXPECT_EQ(run(kLoopback, "no_such_port"), "2");
    EXPECT_EQ(call(kLoopback, "RunDiagTest", {}), "2");
    EXPECT_EQ(rawInvoke(test, "NoSuchMethod").second, "1");
    ASSERT_TRUE(modify(test, {uint32("iLoopBackType", 5)}).ok());
    EXPECT_EQ(run(kLoopback, port), "2");
    EXPECT_GE(logCount("invokeMethod_FC_Port_Loopback_DiagTest: Error: Unsupported loopback type=5"), 1u);

    // A library failure shows in the results only: the method answers 0 and
    // releases the mode; a reset takes the library's defaults.
    ASSERT_TRUE(modify(test, {uint32("iLoopBackType", 2)}).ok());
    ASSERT_EQ(vtsim_fault("VTAPI_DiagnosticsLoopBackTest", 1, 1), 0);
    EXPECT_EQ(run(kLoopback, port), "0");
    EXPECT_EQ(reset(kLoopback, port), "0");
    t = get(kLoopback, kLoopback);
    EXPECT_EQ(t["iNumberOfTest"], "10");
    EXPECT_EQ(t["acLoopbackTestMessage"], "");
}

TEST_F(FCDiagTest, WorkerTestsRunOneAtATimeArePolledAbortedAndEndedByUnload)
{
    startWith(R"("VTAPI_DiagnosticsFCPingTest": {"duration_ms": 600},
                 "VTAPI_DiagnosticsCTCommand": {"duration_ms": 20000, "fill_text": true})");
    const std::string port = firstPort();
    EXPECT_EQ(call(kPing, "AbortTest", {str("FCPort_InstanceID", port)}), "2");
    EXPECT_GE(logCount("invokeMethod_FC_Port_FCPing_DiagTest: Error: Operation failed because, the system is NOT in diag mode"),
              1u);
    ASSERT_EQ(run(kPing, port, pingArgs(3)), "0");
    auto t = get(kPing, kPing);
    EXPECT_EQ(t["Status"], "1");
    EXPECT_EQ(t["FCPortInstanceID"], port);

    // While it runs: every other test is refused, and so is a refresh.
    EXPECT_EQ(run(kPing, port, pingArgs()), "2");
    EXPECT_EQ(run(kCT, port, ctArgs()), "2");
    EXPECT_EQ(reset(kLoopback, port), "2");
    EXPECT_GE(logCount("invokeMethod_FC_Port_CTCommand_Diag: Error: Operation failed because, the system is in diag mode"),
              1u);
    const long built = vtsim_trees_built();
    const vcim::ObjectPath server = classPath("Veltra_Server");
    ASSERT_TRUE(invoke(server, "RefreshConfiguration").ok());
    EXPECT_EQ(result_.returnValue.toCimString(), "2");
    EXPECT_EQ(vtsim_trees_built(), built);

    ASSERT_TRUE(waitUntil([&] { return get(kPing, kPing)["Status"] == "2"; }, 5000));
    t = get(kPing, kPing);
    EXPECT_EQ(t["iResult"], "0");
    EXPECT_EQ(t["acTestMessage"], std::string("FC ping to ") + kTarget + ": 3 of 3 responses received");
    // The mode was released: refreshes run again.
    ASSERT_TRUE(freeWithin(port, 2000));
    ASSERT_TRUE(invoke(server, "RefreshConfiguration").ok());
    EXPECT_EQ(result_.returnValue.toCimString(), "0");

    // Aborted inside the library; a text that fills the library's whole
    // buffer is cut to 1023 characters.
    ASSERT_EQ(run(kCT, port, ctArgs()), "0");
    inLibrary("VTAPI_DiagnosticsCTCommand", 1);
    EXPECT_EQ(call(kCT, "AbortTest", {str("FCPort_InstanceID", port)}), "0");
    ASSERT_TRUE(waitUntil([&] { return get(kCT, kCT)["acTestMessage"].size() == 1023; }, 5000));
    EXPECT_EQ(get(kCT, kCT)["Status"], "5");
    ASSERT_TRUE(freeWithin(port));

    // Unloading while a worker runs aborts it and waits for it.
    ASSERT_EQ(run(kCT, port, ctArgs()), "0");
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(broker().unload(true).ok());
    broker_.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_TRUE(waitUntil([&] { return threadCount() <= baselineThreads_; }, 2000));
}

// Every worker a method starts through the broker's thread service, refused
// as an object manager out of threads refuses it: the method fails, the run
// state says so, the diagnostic mode is free again and the next start runs.
TEST_F(FCDiagTest, WorkersTheBrokerCannotCreate)
{
    struct Clear {
        ~Clear() { vcim::Broker::setThreadFaults({}); }
    } clear;
    startWith();
    const std::string port = firstPort();
    auto refuseNextThread = [] { vcim::Broker::setThreadFaults({1, 0}); };
    auto threadAsked = [] { return vcim::Broker::threadFaults().refuse == 0; };
    const std::pair<const char*, std::vector<vcim::Property>> threaded[] = {
        {kPing, pingArgs()}, {kEcho, echoArgs()}, {kCT, ctArgs()}, {kRWBuffer, {}}};
    for (const auto& [cls, args] : threaded) {
        refuseNextThread();
        EXPECT_EQ(run(cls, port, args), "2") << cls;
        EXPECT_TRUE(threadAsked()) << cls;
        EXPECT_EQ(get(cls, cls)["Status"], "4") << cls;
        EXPECT_EQ(run(cls, port, args), "0") << cls;
        EXPECT_TRUE(waitUntil([&] { return get(cls, cls)["Status"] != "1"; }, 5000)) << cls;
        ASSERT_TRUE(freeWithin(port, 2000)) << cls;
    }
    EXPECT_EQ(logCount("pthread_create FAILED."), 4u);

    // The iSCSI loopback leaves no test behind to destroy.
    const std::vector<vcim::Property> iscsi = {str("iSCSIPort_InstanceID", "vmhba8")};
    refuseNextThread();
    EXPECT_EQ(call(kISCSILoopback, "StartPortTest", iscsi), "2");
    EXPECT_TRUE(threadAsked());
    EXPECT_EQ(logCount("Exiting StartPortTest with failure"), 1u);
    EXPECT_EQ(call(kISCSILoopback, "DestroyPortTest", iscsi), "2");
    EXPECT_EQ(call(kISCSILoopback, "StartPortTest", iscsi), "0");
    EXPECT_EQ(call(kISCSILoopback, "DestroyPortTest", iscsi), "0");

    // The NIC phantom core dump is not left collecting: the next one starts and ends.
    const vcim::ObjectPath nic = keyPath("VeltraNIC_EthernetPort", "vmnic4");
    refuseNextThread();
    EXPECT_FALSE(invoke(nic, "GetPhantomCoreDump", {uint32("DumpMode", 1)}).ok());
    EXPECT_TRUE(threadAsked());
    auto bufferStatus = [&] {
        invoke(nic, "GetPhantomCoreDumpBuffer", {uint32("DumpFlags", 0)});
        return outText("MethodExecutionStatus");
    };
    EXPECT_NE(bufferStatus(), "4294967294");
    ASSERT_TRUE(invoke(nic, "GetPhantomCoreDump", {uint32("DumpMode", 1)}).ok());
    EXPECT_TRUE(waitUntil([&] { return bufferStatus() == "0"; }, 5000));
}

TEST_F(FCDiagTest, EchoAndRDPBoundWhatTheLibraryReturns)
{
    startWith(R"("VTAPI_DiagnosticsEchoElsTest": {"fill_text": true},
                 "VTAPI_DiagnosticsRDPTest": {"data_length": 4000})");
    const std::string port = firstPort();
    ASSERT_EQ(run(kEcho, port, echoArgs(kTarget, 1, 4)), "0");
    EXPECT_EQ(outText("ReturnCode"), "0"); // nothing completed before
    ASSERT_TRUE(waitUntil([&] { return get(kEcho, kEcho)["FrameReceived"] == "4"; }, 5000));
    auto t = get(kEcho, kEcho);
    EXPECT_EQ(t["Status"], "0"); // the library's echo status word of a passed test
    EXPECT_EQ(t["ResponseLength"], "256");
    EXPECT_EQ(t["ElsEchoTestMessage"], std::string(255, 'X'));
    // A failed echo keeps the last passed results.
    ASSERT_TRUE(waitUntil([&] { return run(kEcho, port, echoArgs(kNoTarget)) == "0"; }, 5000));
    ASSERT_TRUE(waitUntil([&] { return get(kEcho, kEcho)["Status"] == "3"; }, 5000));
    EXPECT_EQ(get(kEcho, kEcho)["FrameReceived"], "4");

    // RDP data is bounded by the block the library fills, whatever length it claims.
    ASSERT_TRUE(freeWithin(port));
    ASSERT_EQ(run(kRDP, port), "0");
    EXPECT_EQ(outText("ReturnCode"), "0");
    ASSERT_NE(out("RdpData"), nullptr);
    ASSERT_EQ(out("RdpData")->count(), 508u);
    EXPECT_EQ(out("RdpData")->at(0).toCimString(), "2"); // LS_ACC
    ASSERT_EQ(vtsim_fault("VTAPI_DiagnosticsRDPTest", 5, 1), 0);
    ASSERT_EQ(run(kRDP, port), "2");
    EXPECT_EQ(outText("ReturnCode"), "5");
    EXPECT_EQ(reset(kLoopback, port), "0"); // the mode was released
}

TEST_F(FCDiagTest, ListResultsPublishOneElementPerEntry)
{
    startWith();
    const std::string port = firstPort();
    // Link status: none before a run, then the port and its three targets.
    EXPECT_EQ(reset(kLinkStatus, port), "0");
    EXPECT_EQ(elements(fetch(kLinkStatus), "lInvalidTranmissionWordCount"), 0u);
    EXPECT_EQ(run(kLinkStatus, port), "0");
    vcim::Instance links = fetch(kLinkStatus);
    EXPECT_EQ(elements(links, "acPortWWN"), 4u);
    EXPECT_EQ(links.get("acPortWWN")->elems[0].toCimString(), "2100001fee27c400");
    EXPECT_EQ(links.get("acDevType")->elems[1].toCimString(), "Target");

    // SCM statistics: all remote ports, or the one named in any case.
    auto list = [&](const char* wwpn) {
        return call(kSCM, "GetSCMRStatisticsList", {str("FCPort_InstanceID", port), str("PortWWPN", wwpn)});
    };
    EXPECT_EQ(list(""), "0");
    EXPECT_EQ(elements(fetch(kSCM), "PortWWN"), 3u);
    EXPECT_EQ(list("50:06:0E:80:10:27:02:01"), "0");
    vcim::Instance scm = fetch(kSCM);
    ASSERT_EQ(elements(scm, "PortWWN"), 1u);
    EXPECT_EQ(scm.get("PortWWN")->elems[0].toCimString(), "50060e8010270201");
    EXPECT_EQ(scm.get("CongestionWarning")->elems[0].toCimString(), "4");
    EXPECT_EQ(call(kSCM, "SANCongMgmtResetStatistics", {str("FCPort_InstanceID", port)}), "0");
    EXPECT_EQ(list(""), "0");
    EXPECT_EQ(fetch(kSCM).get("CongestionWarning")->elems[2].toCimString(), "0");
    ASSERT_EQ(vtsim_fault("VTAPI_GetSCMRStatisticsList", 1, 1), 0);
    EXPECT_EQ(list(""), "2");
    EXPECT_EQ(elements(fetch(kSCM), "PortWWN"), 3u); // the previous results stay
    EXPECT_EQ(vtsim_live_allocations(), 0);
}

TEST_F(FCDiagTest, ReadWriteBufferRunsTheStoredSettingsOnAWorker)
{
    startWith(R"("VTAPI_DiagnosticsReadWriteBufferTest": {"miscompare": 2, "duration_ms": 300})");
    const std::string port = firstPort();
    ASSERT_EQ(reset(kRWBuffer, port), "0");
    std::vector<vcim::Value> reserved(70, vcim::Value::uint(CMPI_uint8, 7));
    ASSERT_TRUE(modify(keyPath(kRWBuffer, kRWBuffer),
                       {sint32("iNumberOfTest", 3), {"acReserved", vcim::Value::array(CMPI_uint8, reserved)}})
                    .ok());
    vtsim_log_clear();
    ASSERT_EQ(run(kRWBuffer, port), "0");
    EXPECT_EQ(get(kRWBuffer, kRWBuffer)["Status"], "1");
    ASSERT_TRUE(waitUntil([&] { return get(kRWBuffer, kRWBuffer)["Status"] == "2"; }, 5000));
    EXPECT_NE(calls("VTAPI_DiagnosticsReadWriteBufferTest").at(0).find("n=3"), std::string::npos);
    vcim::Instance instance = fetch(kRWBuffer);
    EXPECT_EQ(elements(instance, "acReserved"), 64u);
    ASSERT_GE(elements(instance, "lDataMiscompare"), 2u);
    EXPECT_EQ(instance.get("lDataMiscompare")->elems[0].toCimString(), "2");
    EXPECT_EQ(instance.get("acPortWWN")->elems[0].toCimString(), "50060e8010270101");
    EXPECT_EQ(instance.get("acStatus")->elems[0].toCimString(), "3 buffers written and read back");

    // A port without targets (and link): no entries replace the last ones.
    const std::string empty = firstPort("21:00:00:1f:ee:25:30:01");
    ASSERT_TRUE(waitUntil([&] { return run(kRWBuffer, empty) == "0"; }, 2000));
    ASSERT_TRUE(waitUntil([&] { return elements(fetch(kRWBuffer), "lDataMiscompare") == 0; }, 5000));
    instance = fetch(kRWBuffer);
    for (const char* name : {"iReadWriteBufferTestStatus", "acReadWriteBufferTestMessage", "acNodeWWN", "iReservedResult"})
        EXPECT_EQ(elements(instance, name), 0u) << name;
    EXPECT_EQ(vtsim_live_allocations(), 0);
}

TEST_F(FCDiagTest, DPortEveryPathReleasesTheDiagnosticMode)
{
    // vmhba2 runs the second-generation test, vmhba4 the first.
    startWith("", R"("capability": 32)");
    const std::string v2 = firstPort();
    const std::string v1 = firstPort("21:00:00:1f:ee:25:30:00");
    auto dport = [&](const char* method, const std::string& port) {
        return call(kDPort, method, {str("FCPort_InstanceID", port)});
    };
    const std::string distance = get(kDPort, kDPort)["SwLinkDistance"];

    // D-Port off: refused, results and mode untouched.
    EXPECT_EQ(dport("RunDiagTest", v2), "2");
    EXPECT_GE(logCount("invokeMethod_FC_DPort_DiagTest: Error: DPort not enabled on selected adapter"), 1u);
    EXPECT_EQ(get(kDPort, kDPort)["SwLinkDistance"], distance);
    EXPECT_EQ(reset(kLoopback, v2), "0");

    ASSERT_EQ(dport("EnableDPort", v2), "0");
    ASSERT_EQ(dport("getAdapterNVRAMVarEnableDPortValue", v2), "0");
    EXPECT_EQ(outText("NVRAMVarEnableDPort"), "1");
    ASSERT_EQ(dport("RunDiagTestV2", v2), "0");
    EXPECT_EQ(outText("HBATxPower"), "-2.120000");
    EXPECT_EQ(outText("EgressPowerLoss"), "Tx: -2.120000 dBm, Rx: -2.980000 dBm, Diff: 0.860000 dBm");
    EXPECT_EQ(outText("Mbx1"), "0x4000");
    EXPECT_EQ(outText("SwRoundTripLinkLatency"), "180 ns");
    EXPECT_EQ(get(kDPort, kDPort)["SwLinkDistance"], "12 meters");
    ASSERT_EQ(vtsim_fault("VTAPI_DiagnosticDPortTestV2", 1, 1), 0);
    EXPECT_EQ(dport("RunDiagTest", v2), "2");
    EXPECT_EQ(reset(kLoopback, v2), "0");

    // First generation: its status is not reported; powers are not available.
    ASSERT_EQ(dport("EnableDPort", v1), "0");
    ASSERT_EQ(vtsim_fault("VTAPI_DiagnosticDPortTest", 1, 1), 0);
    EXPECT_EQ(dport("RunDiagTest", v1), "0");
    EXPECT_EQ(reset(kLoopback, v1), "0");
    ASSERT_EQ(dport("RunDiagTestV2", v1), "0");
    EXPECT_EQ(outText("HBATxPower"), "N/A");
    EXPECT_EQ(outText("IngressPowerLoss"), "N/A");
    EXPECT_EQ(reset(kLoopback, v1), "0");
    ASSERT_EQ(dport("DisableDPort", v1), "0");
    EXPECT_EQ(dport("RunDiagTest", v1), "2");
}

} // namespace
