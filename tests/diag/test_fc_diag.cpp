// The FC diagnostic classes as a client drives them: settings by modify,
// runs on a named FC port, the host-wide diagnostic mode, worker threads
// polled to completion or aborted, and the adapter library's faults and
// hostile results.
#include "class_test.h"

namespace {

const char* const kLoopback = "VeltraFC_Port_Loopback_DiagTest";

class FCDiagTest : public ProviderClassTest {
protected:
    // The default host with per-operation behaviour (a JSON object body).
    void startWith(const std::string& behaviour = "")
    {
        std::string host = vtsim_default_host_json();
        if (!behaviour.empty())
            host.insert(host.find('{') + 1, R"("behaviour": {)" + behaviour + "},");
        start(host);
        for (const vcim::Instance& port : instances("VeltraFC_Port"))
            ports_[PropertyTexts(port)["DeviceName"]] = PropertyTexts(port)["InstanceID"];
        if (ports_.count(""))
            for (const vcim::Instance& port : instances("VeltraFC_Port"))
                ports_[PropertyTexts(port)["InstanceID"]] = PropertyTexts(port)["InstanceID"];
        ASSERT_FALSE(ports_.empty());
    }

    // The InstanceID of the FC port of the first adapter's first function.
    std::string firstPort()
    {
        for (const vcim::Instance& port : instances("VeltraFC_Port")) {
            auto t = PropertyTexts(port);
            if (t["InstanceID"].find("vt27c40118") == 0 || t["InstanceID"].find("VT27C40118") == 0)
                return t["InstanceID"];
        }
        return PropertyTexts(instances("VeltraFC_Port").front())["InstanceID"];
    }

    // Invokes `method` on the class's instance; the return value as text.
    std::string invoke(const char* cls, const char* method, std::vector<vcim::Property> in,
                       vcim::MethodResult* result = nullptr)
    {
        vcim::MethodResult out;
        const vcim::Status status = broker().invokeMethod(keyPath(cls, cls), method, in, out);
        EXPECT_TRUE(status.ok()) << method << ": " << status.msg;
        if (result)
            *result = out;
        return out.returnValue.toCimString();
    }
    std::string run(const char* cls, const std::string& port, std::vector<vcim::Property> more = {},
                    vcim::MethodResult* result = nullptr)
    {
        more.insert(more.begin(), str("FCPort_InstanceID", port));
        return invoke(cls, "RunDiagTest", more, result);
    }

    std::map<std::string, std::string> ports_;
};

TEST_F(FCDiagTest, LoopbackSettingsRunsAndFailures)
{
    startWith(R"("VTAPI_DiagnosticsLoopBackTest": {"crc_errors": 0})");
    const std::string port = firstPort();
    EXPECT_EQ(keys(kLoopback), std::vector<std::string>{kLoopback});

    // Settings by modify: the pattern takes its first 8 elements, iReserved2 is cleared.
    std::vector<vcim::Value> pattern;
    for (int i = 1; i <= 12; ++i)
        pattern.push_back(vcim::Value::uint(CMPI_uint8, i));
    ASSERT_TRUE(modify(keyPath(kLoopback, kLoopback),
                       {sint32("iNumberOfTest", 5), sint32("iPatternType", 3), uint32("iLoopBackType", 2),
                        {"acTestPattern", vcim::Value::array(CMPI_uint8, pattern)}})
                    .ok());
    ASSERT_TRUE(modify(keyPath(kLoopback, kLoopback), {sint32("iNumberOfTest", 7), sint32("iPatternType", 9)},
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
    EXPECT_EQ(t["acLoopbackTestMessage"], "Loopback test passed");
    EXPECT_EQ(t["iStatus"], "0");

    // Refusals answer 2; an unknown method 1.
    EXPECT_EQ(run(kLoopback, "no_such_port"), "2");
    EXPECT_EQ(invoke(kLoopback, "RunDiagTest", {}), "2");
    EXPECT_EQ(rawInvoke(keyPath(kLoopback, kLoopback), "NoSuchMethod").second, "1");
    ASSERT_TRUE(modify(keyPath(kLoopback, kLoopback), {uint32("iLoopBackType", 5)}).ok());
    EXPECT_EQ(run(kLoopback, port), "2");
    EXPECT_GE(logCount("invokeMethod_FC_Port_Loopback_DiagTest: Error: Unsupported loopback type=5"), 1u);

    // A library failure shows in the results; the method still answers 0 and
    // the diagnostic mode is released after every run.
    ASSERT_TRUE(modify(keyPath(kLoopback, kLoopback), {uint32("iLoopBackType", 2)}).ok());
    ASSERT_EQ(vtsim_fault("VTAPI_DiagnosticsLoopBackTest", 1, 1), 0);
    EXPECT_EQ(run(kLoopback, port), "0");
    EXPECT_EQ(run(kLoopback, port), "0");
    EXPECT_EQ(invoke(kLoopback, "ResetToDefaultSettings", {str("FCPort_InstanceID", port)}), "0");
    t = get(kLoopback, kLoopback);
    EXPECT_EQ(t["iNumberOfTest"], "10"); // the library's defaults
    EXPECT_EQ(t["acLoopbackTestMessage"], "");
}

TEST_F(FCDiagTest, LoopbackTextsAreBoundedWhenTheLibraryLeavesThemUnterminated)
{
    startWith(R"("VTAPI_DiagnosticsLoopBackTest": {"fill_text": true})");
    EXPECT_EQ(run(kLoopback, firstPort()), "0");
    auto t = get(kLoopback, kLoopback);
    EXPECT_EQ(t["acLoopbackTestMessage"], std::string(64, 'X'));
    EXPECT_EQ(t["acStatus"], std::string(255, 'X'));
}

} // namespace
