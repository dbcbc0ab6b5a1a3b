// "VeltraNIC_NPARConfiguration" and "VeltraNIC_NPARManagementFunction" as a
// client sees them: the shipped provider library in the in-process object
// manager (strict mode, the shipped class declarations), over the simulated
// adapter library with injected faults.
#include "frame_test.h"

#include <map>

namespace {

// The partitioned converged adapter of the default host: functions 0 to 5
// are NIC, FCoE, iSCSI on port 1 and again on port 2; 6 and 7 are disabled.
const char* const kCna = "VT26N51203";
const char* const kConfig = "VeltraNIC_NPARConfiguration";
const char* const kManagement = "VeltraNIC_NPARManagementFunction";

constexpr uint64_t kDisabled = 0x80000000u;

class NparClassTest : public FrameTest {
protected:
    vcim::Status invoke(const std::string& key, const char* method, const std::vector<vcim::Property>& in)
    {
        return FrameTest::invoke(keyPath(kConfig, key), method, in);
    }

    uint64_t number(const std::string& key, const char* property)
    {
        return std::stoull(get(kConfig, key)[property]);
    }
};

// A partitioned adapter with an extended configuration for function 0, no
// board mask for function 1 and an unknown personality on function 2; an
// NPAR-capable adapter that does not run partitioning; an FC adapter.
const char* const kMixedHost = R"({"adapters": [
  {"name": "VTNPAR0001", "kind": "cna", "partitioned": true, "management_function": "vmnic20",
   "pci": {"bus": 7},
   "ports": [{"functions": [{"type": "nic", "name": "vmnic20"}, {"type": "fcoe"}]},
             {"functions": [{"type": "nic", "name": "vmnic21"}]}],
   "npar": {"eswitch_count": 2, "functions": [
     {"min_bw": 10, "max_bw": 90, "mac": "02:00:00:00:00:0a",
      "ext": {"state": 1, "operation_mode": 2, "max_tx_queues": 8, "max_rx_queues": 4, "function_type": 3}},
     {"board_cap_mask": 0, "link_status": 0},
     {"capability_mask": 2147483664},
     {"capability_mask": 2147483648}]}},
  {"name": "VTNPAR0002", "kind": "cna", "partitioned": false,
   "ports": [{"functions": [{"type": "nic", "name": "vmnic30"}]}]},
  {"name": "VTFC000003", "kind": "fc"}]})";

TEST_F(NparClassTest, PublishesTheFunctionsOfPartitionedAdapters)
{
    start(kMixedHost);
    EXPECT_EQ(names(kConfig),
              (std::vector<std::string>{"VTNPAR0001_0", "VTNPAR0001_1", "VTNPAR0001_2", "VTNPAR0001_3"}));

    // Function 0 comes from the extended configuration (its type included).
    auto f0 = get(kConfig, "vtnpar0001_0");
    const std::map<std::string, std::string> expected0 = {
        {"InstanceID", "VTNPAR0001_0"}, {"AdapterSerialNumber", "VTNPAR0001"},
        {"PortNumber", "1"}, {"FunctionID", "0"}, {"OperationMode", "2"},
        {"MinimumBandwidth", "10"}, {"MaximumBandwidth", "90"}, {"MaximumTxQueues", "8"},
        {"MaximumRxQueues", "4"}, {"FunctionType", "3"}, {"CapabilityMask", "2147483649"},
        {"BoardCapabilityMask", "2147483649"}, {"ManagementFunctionName", "vmnic20"},
        {"DefaultMACAddress", "02:00:00:00:00:0A"}, {"LinkStatus", "1"}};
    for (const auto& [name, value] : expected0)
        EXPECT_EQ(f0[name], value) << name;

    // Function 1: the basic configuration; "not available" values, the type
    // from the mask, no board mask reported.
    auto f1 = get(kConfig, "VTNPAR0001_1");
    EXPECT_EQ(f1["OperationMode"], "4294967295");
    EXPECT_EQ(f1["MaximumTxQueues"], "4294967295");
    EXPECT_EQ(f1["MaximumRxQueues"], "4294967295");
    EXPECT_EQ(f1["MaximumBandwidth"], "100");
    EXPECT_EQ(f1["FunctionType"], "2");
    EXPECT_EQ(f1["BoardCapabilityMask"], std::to_string(kDisabled));
    EXPECT_EQ(f1["LinkStatus"], "0");

    // An unknown personality shows as disabled but keeps its mask; a
    // disabled function has no management function.
    auto f2 = get(kConfig, "VTNPAR0001_2");
    EXPECT_EQ(f2["FunctionType"], "0");
    EXPECT_EQ(f2["CapabilityMask"], "2147483664");
    EXPECT_EQ(f2["ManagementFunctionName"], "vmnic20");
    EXPECT_GE(logCount("makeInstance_NPARConfiguration: Unknown function type detected [0x80000010]. Set to Disabled."),
              1u);
    EXPECT_EQ(get(kConfig, "VTNPAR0001_3")["ManagementFunctionName"], "N/A");

    // Functions of an adapter that does not run partitioning, of an FC
    // adapter, or past the function count are not found.
    for (const char* missing : {"VTNPAR0002_0", "VTFC000003_0", "VTNPAR0001_4", "VTNPAR0001"})
        EXPECT_EQ(tryGet(kConfig, missing).rc, CMPI_RC_ERR_NOT_FOUND) << missing;
    EXPECT_GE(logCount("getInstance_NPARConfiguration: NPAR is currently DISABLED"), 1u);

    // The management view has both NPAR-capable adapters, partitioned or not.
    EXPECT_EQ(names(kManagement), (std::vector<std::string>{"VTNPAR0001", "VTNPAR0002"}));
    const std::map<std::string, std::string> management = {
        {"InstanceID", "VTNPAR0001"}, {"SerialNumber", "VTNPAR0001"}, {"PCIBusID", "7"},
        {"PhysicalPortCount", "2"}, {"ESwitchCount", "2"}, {"NICFunctionCount", "4"},
        {"EnabledPCIFunctionCount", "3"}, {"ManagementFunctionNames", "vmnic20"}};
    EXPECT_EQ(get(kManagement, "vtnpar0001"), management);
    EXPECT_EQ(get(kManagement, "VTNPAR0002")["ManagementFunctionNames"], "N/A");
    EXPECT_EQ(tryGet(kManagement, "VTFC000003").rc, CMPI_RC_ERR_NOT_FOUND);
}

TEST_F(NparClassTest, BandwidthChangesAreValidatedAndReachTheRunningConfiguration)
{
    start();
    const std::string fn2 = std::string(kCna) + "_2";

    // The limits are inclusive, the minimum is not compared with the maximum,
    // and the key compares without regard to case.
    for (const auto& [minimum, maximum] : {std::pair{100, 100}, std::pair{80, 20}, std::pair{0, 0}}) {
        const vcim::Status status =
            invoke("vt26n51203_2", "UpdateBandwidthConfiguration",
                   {u32("MinimumBandwidth", minimum), u32("MaximumBandwidth", maximum)});
        ASSERT_TRUE(status.ok()) << status.msg;
        EXPECT_EQ(result_.returnValue.n.u, 0u);
        EXPECT_EQ(number(fn2, "MinimumBandwidth"), static_cast<uint64_t>(minimum));
        EXPECT_EQ(number(fn2, "MaximumBandwidth"), static_cast<uint64_t>(maximum));
    }
    // Every record is marked changed; the port mask names function 2.
    const auto writes = calls("VTAPI_NparSetNparConfig_V2");
    ASSERT_EQ(writes.size(), 3u);
    EXPECT_NE(writes[0].find("count=8 port_mask=0x100"), std::string::npos) << writes[0];

    struct Refusal {
        std::vector<vcim::Property> args;
        CMPIrc rc;
        const char* message;
        const char* logged;
    };
    const Refusal refusals[] = {
        {{u32("MinimumBandwidth", 101), u32("MaximumBandwidth", 50)}, CMPI_RC_ERR_FAILED,
         "Failed to update configuration, ErrorCode=1001!", "UpdateNPARConfig: Invalid MinBandwidth value [101]"},
        {{u32("MinimumBandwidth", 50), u32("MaximumBandwidth", 101)}, CMPI_RC_ERR_FAILED,
         "Failed to update configuration, ErrorCode=1002!", "UpdateNPARConfig: Invalid MaxBandwidth value [101]"},
        {{u32("MinimumBandwidth", 50)}, CMPI_RC_ERR_INVALID_PARAMETER, "Missing required arguments!", nullptr},
        {{u32("MaximumBandwidth", 50)}, CMPI_RC_ERR_INVALID_PARAMETER, "Missing required arguments!", nullptr},
        {{{"MinimumBandwidth", vcim::Value::nullOf(CMPI_uint32)}, u32("MaximumBandwidth", 5)},
         CMPI_RC_ERR_INVALID_PARAMETER, "Missing required arguments!", nullptr},
    };
    for (const Refusal& r : refusals) {
        SCOPED_TRACE(r.message);
        const std::string logged = std::string("invokeMethod_NPARConfiguration: Error: ") + r.message;
        const size_t before = logCount(logged);
        const vcim::Status status = invoke(fn2, "UpdateBandwidthConfiguration", r.args);
        EXPECT_EQ(status.rc, r.rc);
        EXPECT_EQ(status.msg, r.message);
        EXPECT_EQ(logCount(logged), before + 1);
        if (r.logged) {
            EXPECT_EQ(logCount(r.logged), 1u);
        }
    }
    EXPECT_EQ(calls("VTAPI_NparSetNparConfig_V2").size(), 3u) << "nothing refused reached the adapter";
    EXPECT_EQ(number(fn2, "MaximumBandwidth"), 0u);

    const vcim::Status unknown =
        invoke("VT26N51203_99", "UpdateBandwidthConfiguration", {u32("MinimumBandwidth", 1), u32("MaximumBandwidth", 2)});
    EXPECT_EQ(unknown.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(unknown.msg, "No matching instance found, KeyValue=VT26N51203_99!");

    // A failed write is only logged: the refresh decides, deliberately.
    ASSERT_EQ(vtsim_fault("VTAPI_NparSetNparConfig_V2", 7, 1), 0);
    EXPECT_TRUE(invoke(fn2, "UpdateBandwidthConfiguration", {u32("MinimumBandwidth", 5), u32("MaximumBandwidth", 6)})
                    .ok());
    EXPECT_EQ(logCount("UpdateNPARConfig: VTAPI_NparSetNparConfig failed with return code  [7]"), 1u);
    EXPECT_EQ(number(fn2, "MaximumBandwidth"), 0u);
    ASSERT_EQ(vtsim_fault("VTAPI_RefreshNPARInfo", 8, 1), 0);
    const vcim::Status refresh =
        invoke(fn2, "UpdateBandwidthConfiguration", {u32("MinimumBandwidth", 5), u32("MaximumBandwidth", 6)});
    EXPECT_EQ(refresh.rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(refresh.msg, "Failed to update configuration, ErrorCode=8!");
    EXPECT_EQ(logCount("UpdateNPARConfig: VTAPI_RefreshNPARInfo failed with return code  [8]"), 1u);
}

TEST_F(NparClassTest, FlashChangesReportEachLibraryFailure)
{
    start();
    const std::string fn3 = std::string(kCna) + "_3";

    // Missing bandwidths count as 0.
    ASSERT_TRUE(invoke(fn3, "SaveBandwidthConfigurationToFlash", {u32("MaximumBandwidth", 40)}).ok());
    EXPECT_EQ(number(fn3, "MinimumBandwidth"), 0u);
    EXPECT_EQ(number(fn3, "MaximumBandwidth"), 40u);
    ASSERT_TRUE(invoke(fn3, "SaveBandwidthConfigurationToFlash", {}).ok());
    EXPECT_EQ(number(fn3, "MaximumBandwidth"), 0u);
    EXPECT_GE(logCount("UpdateROMSettings: Successfully refreshed ROM Settings."), 2u);
    const vcim::Status tooHigh = invoke(fn3, "SaveBandwidthConfigurationToFlash", {u32("MinimumBandwidth", 101)});
    EXPECT_EQ(tooHigh.rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(tooHigh.msg, "Failed to update configuration, ErrorCode=1001!");

    // Each library step of both flash methods: status 1 with the library's
    // code, and the step's own log line.
    struct Step {
        const char* op;
        const char* text;
        const char* suffix;
    };
    const Step steps[] = {
        {"VTAPI_NparP3PReadActiveNparRegion_V2", "VTAPI_NparP3PReadActiveNparRegion failed with return code ", ""},
        {"VTAPI_NparP3PWriteActiveNparRegion_V2", "VTAPI_NparP3PWriteActiveNparRegion failed with return code ", ""},
        {"VTAPI_RefreshNPARInfo", "VTAPI_RefreshNPARInfo failed with return code  ", ""},
    };
    struct Method {
        const char* name;
        const char* who;
        std::vector<vcim::Property> args;
    };
    const Method methods[] = {
        {"SaveBandwidthConfigurationToFlash", "UpdateROMSettings",
         {u32("MinimumBandwidth", 10), u32("MaximumBandwidth", 20)}},
        {"ChangePCIFunctionPersonality", "ChangePersonality", {u32("FunctionType", 3)}},
    };
    int code = 20;
    for (const Method& m : methods)
        for (const Step& s : steps) {
            SCOPED_TRACE(std::string(m.name) + " " + s.op);
            ++code;
            ASSERT_EQ(vtsim_fault(s.op, code, 1), 0);
            const vcim::Status status = invoke(fn3, m.name, m.args);
            EXPECT_EQ(status.rc, CMPI_RC_ERR_FAILED);
            EXPECT_EQ(status.msg, "Failed to update configuration, ErrorCode=" + std::to_string(code) + "!");
            EXPECT_EQ(logCount(std::string(m.who) + ": " + s.text + "[" + std::to_string(code) + "]"), 1u);
        }
    EXPECT_EQ(calls("VTAPI_NparP3PWriteActiveNparRegion_V2").size(), 2u + 2 * 2)
        << "two writes per method (the faulted one included), none after a failed read";
}

TEST_F(NparClassTest, InvalidNPARDataIsRefusedBeforeTheAdapterIsWritten)
{
    // Only the eSwitch data of the adapter is valid.
    std::string host = vtsim_default_host_json();
    host.replace(host.find("\"partitioned\": true,"), 20, "\"partitioned\": true, \"npar\": {\"valid\": 16},");
    start(host);
    const std::string fn3 = std::string(kCna) + "_3";
    const vcim::Status flash = invoke(fn3, "SaveBandwidthConfigurationToFlash", {u32("MinimumBandwidth", 1)});
    EXPECT_EQ(flash.rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(flash.msg, "Failed to update configuration, ErrorCode=1015!");
    EXPECT_EQ(logCount("UpdatePortMirroring: Detected invalid ROM Settings data"), 1u);
    const vcim::Status running =
        invoke(fn3, "UpdateBandwidthConfiguration", {u32("MinimumBandwidth", 1), u32("MaximumBandwidth", 2)});
    EXPECT_EQ(running.msg, "Failed to update configuration, ErrorCode=1015!");
    EXPECT_EQ(logCount("UpdateNPARConfig: Detected invalid NPAR data"), 1u);
    EXPECT_TRUE(calls("VTAPI_NparP3PReadActiveNparRegion_V2").empty());
    EXPECT_TRUE(calls("VTAPI_NparSetNparConfig_V2").empty());
}

// The function's personality in flash after "ChangePCIFunctionPersonality".
TEST_F(NparClassTest, PersonalityMaskFollowsFunctionIdAndChipGeneration)
{
    start();
    struct Case {
        uint32_t function;
        uint32_t type;
        uint64_t mask;
    };
    const Case cases[] = {
        {1, 1, 0x80000001}, {2, 1, 0x80000002}, {6, 1, 0x80000002}, {0, 1, 0x80000001},
        {3, 2, 0x80000004}, {4, 3, 0x80000008}, {5, 0, 0x80000000},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.function);
        const std::string key = std::string(kCna) + "_" + std::to_string(c.function);
        const vcim::Status status = invoke(key, "ChangePCIFunctionPersonality", {u32("FunctionType", c.type)});
        ASSERT_TRUE(status.ok()) << status.msg;
        EXPECT_EQ(result_.returnValue.n.u, 0u);
        EXPECT_EQ(number(key, "CapabilityMask"), c.mask);
        EXPECT_EQ(number(key, "FunctionType"), c.type);
    }
    EXPECT_EQ(logCount("ChangePersonality: Successfully refreshed NPAR configuration."), std::size(cases));

    // Refused before the adapter is touched.
    vtsim_log_clear();
    const vcim::Status four = invoke(std::string(kCna) + "_1", "ChangePCIFunctionPersonality", {u32("FunctionType", 4)});
    EXPECT_EQ(four.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(four.msg, "Invalid PCI Function Type value, FunctionType=4!");
    const vcim::Status none = invoke(std::string(kCna) + "_1", "ChangePCIFunctionPersonality", {});
    EXPECT_EQ(none.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(none.msg, "Missing required arguments!");
    EXPECT_TRUE(calls("VTAPI_NparP3PReadActiveNparRegion_V2").empty());
}

TEST_F(NparClassTest, FCoEMaskOfTheNewerChipGeneration)
{
    // A Saffron adapter gets the newer FCoE mask; one without physical ports
    // cannot be told apart and gets the older one.
    start(R"({"adapters": [
      {"name": "VTSAF00001", "kind": "cna", "chip": "Saffron", "partitioned": true,
       "ports": [{"functions": [{"type": "iscsi"}, {"type": "nic"}]}]},
      {"name": "VTSAF00002", "kind": "cna", "chip": "Saffron", "partitioned": true, "ports": null,
       "npar": {"functions": [{}, {}]}}]})");
    ASSERT_TRUE(invoke("VTSAF00001_1", "ChangePCIFunctionPersonality", {u32("FunctionType", 2)}).ok());
    EXPECT_EQ(number("VTSAF00001_1", "CapabilityMask"), 0x80000020u);
    EXPECT_EQ(number("VTSAF00001_1", "FunctionType"), 2u);
    EXPECT_EQ(logCount("ConvertPCIFunctionTypeToCapabilityMask() : Detected Saffron or newer adapter, use "
                       "NPAR_CAPABILITY_MASK_FCORE_FCOE mask"),
              1u);
    ASSERT_TRUE(invoke("VTSAF00002_1", "ChangePCIFunctionPersonality", {u32("FunctionType", 2)}).ok());
    EXPECT_EQ(number("VTSAF00002_1", "CapabilityMask"), 0x80000004u);
    EXPECT_EQ(get(kManagement, "VTSAF00002")["PhysicalPortCount"], "0");
}

} // namespace
