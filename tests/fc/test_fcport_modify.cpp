// Modify requests on "VeltraFC_Port": NVRAM parameters, boot settings,
// personality, FEC and credit recovery written through the simulated
// library, with refusals, injected library failures and reboot answers.
#include "class_test.h"

#include <algorithm>

namespace {

const char* const kFCPort = "VeltraFC_Port";

// One FC function per chip that matters: 27 (FEC, credit recovery), 25
// (FEC, credit recovery), 24 (FEC, personality), 21 (personality,
// converged) and 12 (none of them).
const char* const kHost = R"({"adapters": [
  {"name": "VTCOBALT01", "chip": "Cobalt",   "ports": [{"functions": [{"fc": {"node_wwn": "20:00:00:1f:ee:27:00:00", "port_wwn": "21:00:00:1f:ee:27:00:00"}}]}]},
  {"name": "VTTAMAR001", "chip": "Tamarind", "ports": [{"functions": [{"fc": {"node_wwn": "20:00:00:1f:ee:25:00:00", "port_wwn": "21:00:00:1f:ee:25:00:00"}}]}]},
  {"name": "VT16G00001", "chip": "VT16000",  "ports": [{"functions": [{"fc": {"node_wwn": "20:00:00:1f:ee:24:00:00", "port_wwn": "21:00:00:1f:ee:24:00:00"}}]}]},
  {"name": "VTCONV0001", "chip": "VC10000", "kind": "cna", "ports": [{"functions": [{"type": "fcoe", "fc": {"node_wwn": "20:00:00:1f:ee:21:00:00", "port_wwn": "21:00:00:1f:ee:21:00:00"}}]}]},
  {"name": "VT8G000001", "chip": "VT8000",   "ports": [{"functions": [{"fc": {"node_wwn": "20:00:00:1f:ee:12:00:00", "port_wwn": "21:00:00:1f:ee:12:00:00"}}]}]}]
  %BEHAVIOUR%})";

std::string key(const char* serial, const char* chip)
{
    return std::string(serial) + "_20:00:00:1f:ee:" + chip + ":00:00_21:00:00:1f:ee:" + chip + ":00:00";
}
const std::string kCobalt = key("VTCOBALT01", "27");
const std::string kTamarind = key("VTTAMAR001", "25");
const std::string k16G = key("VT16G00001", "24");
const std::string kConverged = key("VTCONV0001", "21");
const std::string k8G = key("VT8G000001", "12");

class FCPortModifyTest : public ProviderClassTest {
protected:
    // The host; with `quietReboot` the library never asks for a reboot.
    void startHost(bool quietReboot = false)
    {
        std::string host = kHost;
        host.replace(host.find("%BEHAVIOUR%"), 11,
                     quietReboot ? R"(, "behaviour": {"VTAPI_IsRebootRequired": {"answer": 0}})" : "");
        start(host);
        vtsim_log_clear();
    }
    vcim::Status set(const std::string& port, const std::vector<vcim::Property>& props,
                     std::optional<vcim::PropertyList> list = std::nullopt)
    {
        return modify(keyPath(kFCPort, port), props, list);
    }
    // The library's writes, in order.
    static std::vector<std::string> writes()
    {
        std::vector<std::string> out;
        for (const std::string& name : callNames())
            if (name.find("Update") != std::string::npos || name.find("Set") != std::string::npos ||
                name.find("Change") != std::string::npos)
                out.push_back(name);
        return out;
    }
};

TEST_F(FCPortModifyTest, OnlyListedPropertiesAreWrittenInOneRecord)
{
    startHost();
    // DataRate and the boot LUN travel with the request but are not listed.
    const vcim::Status status = set(kCobalt,
                                    {sint32("FrameSize", 1024), sint32("LoginRetryCount", 3),
                                     sint32("DataRate", 4), uint16("BootLunNumber", 7), uint8("IOThrottling", 2)},
                                    vcim::PropertyList{"FrameSize", "LoginRetryCount", "IOThrottling"});
    EXPECT_EQ(status.rc, 201) << status.msg;
    EXPECT_EQ(callNames(), (std::vector<std::string>{"VTAPI_GetHBAParamsInfo", "VTAPI_GetBootDeviceInfo",
                                                     "VTAPI_UpdateHBAParameters", "VTAPI_IsRebootRequired",
                                                     "VTAPI_PostVerifyHBAParameter"}));
    // One bit per field in property order: FrameSize 6, LoginRetryCount 12, IOThrottling 40.
    const auto update = calls("VTAPI_UpdateHBAParameters");
    ASSERT_EQ(update.size(), 1u);
    EXPECT_NE(update[0].find("mask=0x10000001040"), std::string::npos) << update[0];

    auto port = get(kFCPort, kCobalt);
    EXPECT_EQ(port["FrameSize"], "1024");
    EXPECT_EQ(port["LoginRetryCount"], "3");
    EXPECT_EQ(port["IOThrottling"], "2");
    EXPECT_EQ(port["DataRate"], "2");
    EXPECT_EQ(port["BootLunNumber"], "0");
    EXPECT_GE(logCount("invokeMethod_FCPort: bIsRebootRequired == TRUE"), 1u);

    // Without a list nothing is applied.
    vtsim_log_clear();
    vcim::Instance instance;
    instance.path = keyPath(kFCPort, kCobalt);
    instance.set("FrameSize", vcim::Value::sint(CMPI_sint32, 512));
    EXPECT_TRUE(broker().modifyInstance(instance.path, instance, nullptr).ok());
    EXPECT_TRUE(writes().empty());
}

TEST_F(FCPortModifyTest, HighDataRateNeedsAConnectionOptionBeforeAnyWrite)
{
    startHost(true);
    const vcim::Status refused = set(kCobalt, {sint32("DataRate", 5), sint32("ConnectionOptions", 0),
                                               uint16("BootLunNumber", 9)});
    EXPECT_EQ(refused.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(refused.msg, "Invalid argument [ConnectionOptions]!");
    EXPECT_TRUE(writes().empty());
    EXPECT_GE(logCount("invokeMethod_FCPort: Error: Invalid argument [ConnectionOptions]!"), 1u);

    // Rate 4 is fine without one; then the current option counts.
    EXPECT_TRUE(set(kCobalt, {sint32("DataRate", 4), sint32("ConnectionOptions", 0)}).ok());
    vtsim_log_clear();
    EXPECT_EQ(set(kCobalt, {sint32("DataRate", 6)}).rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_TRUE(writes().empty());
    EXPECT_TRUE(set(kCobalt, {sint32("DataRate", 6), sint32("ConnectionOptions", 1)}).ok());
    EXPECT_EQ(get(kFCPort, kCobalt)["DataRate"], "6");
}

TEST_F(FCPortModifyTest, BootSettings)
{
    startHost(true);
    // A port name that does not parse stops the request before any write.
    for (const char* name : {"BootPortName", "Alt2BootPortName"}) {
        vtsim_log_clear();
        const vcim::Status bad = set(kTamarind, {sint32("FrameSize", 1024), str(name, "21:00:zz:00:00:00:00:01")});
        EXPECT_EQ(bad.rc, CMPI_RC_ERR_NOT_FOUND) << name;
        EXPECT_EQ(bad.msg, "Failed to parse PortName string");
        EXPECT_TRUE(writes().empty()) << name;
        EXPECT_GE(logCount(std::string("setInstance_FCPort: ") + name +
                           " Parse Error: Failed to parse PortName string"),
                  1u);
    }
    EXPECT_EQ(set(kTamarind, {str("Alt1BootPortName", "21:00:00")}).rc, CMPI_RC_ERR_NOT_FOUND);

    // -1 leaves the BIOS setting alone and writes nothing.
    vtsim_log_clear();
    EXPECT_TRUE(set(kTamarind, {sint32("DisableBIOS", -1)}).ok());
    EXPECT_TRUE(writes().empty());

    const vcim::Status ok = set(kTamarind, {sint32("DisableBIOS", 1), str("BootPortName", "21:00:00:24:ff:0a:0b:0c"),
                                            uint16("BootLunNumber", 3), str("Alt3BootPortName", "50:06:0E:80:10:27:01:01"),
                                            uint16("Alt3BootLunNumber", 65535), sint32("EnableSelectableBoot", 1)});
    EXPECT_TRUE(ok.ok()) << ok.msg;
    EXPECT_EQ(writes(), (std::vector<std::string>{"VTAPI_SetBootDeviceInfo"}));
    auto port = get(kFCPort, kTamarind);
    EXPECT_EQ(port["DisableBIOS"], "1");
    EXPECT_EQ(port["EnableSelectableBoot"], "1");
    EXPECT_EQ(port["BootPortName"], "21:00:00:24:FF:0A:0B:0C");
    EXPECT_EQ(port["BootLunNumber"], "3");
    EXPECT_EQ(port["Alt3BootPortName"], "50:06:0E:80:10:27:01:01");
    EXPECT_EQ(port["Alt3BootLunNumber"], "65535");
    EXPECT_EQ(port["Alt1BootPortName"], "00:00:00:00:00:00:00:00");
    EXPECT_GE(logCount("setInstance_FCPort: bBootParametersUpdated == true Alt3BootLunNumber changed"), 1u);
    EXPECT_GE(logCount("setInstance_FCPort: bBootParametersUpdated = true DisableBIOS changed"), 1u);

    // The same DisableBIOS value again is no change.
    vtsim_log_clear();
    EXPECT_TRUE(set(kTamarind, {sint32("DisableBIOS", 1)}).ok());
    EXPECT_TRUE(writes().empty());
}

TEST_F(FCPortModifyTest, LibraryFailuresStopTheRequestAndKeepEarlierWrites)
{
    struct Row {
        const char* op;
        const char* message;
        std::vector<std::string> written; // writes that happened before the failure
    };
    const Row rows[] = {
        {"VTAPI_GetHBAParamsInfo", "Failed to get HBA parameters", {}},
        {"VTAPI_GetBootDeviceInfo", "Failed to get HBA parameters", {}},
        {"VTAPI_UpdateHBAParameters", "Failed to update HBA parameters", {}},
        {"VTAPI_PostVerifyHBAParameter", "Failed to update HBA parameters", {"VTAPI_UpdateHBAParameters"}},
        {"VTAPI_SetBootDeviceInfo", "Failed to update HBA parameters", {"VTAPI_UpdateHBAParameters"}},
        {"VTAPI_FCGetFECSupportInfo", "Failed to update HBA parameters",
         {"VTAPI_UpdateHBAParameters", "VTAPI_SetBootDeviceInfo"}},
        {"VTAPI_FCSetFECSupportInfo", "Failed to update HBA parameters",
         {"VTAPI_UpdateHBAParameters", "VTAPI_SetBootDeviceInfo"}},
        {"VTAPI_FCGetBBCSupportInfoEx", "Failed to update HBA parameters",
         {"VTAPI_UpdateHBAParameters", "VTAPI_SetBootDeviceInfo", "VTAPI_FCSetFECSupportInfo"}},
        {"VTAPI_FCSetBBCSupportInfo", "Failed to update HBA parameters",
         {"VTAPI_UpdateHBAParameters", "VTAPI_SetBootDeviceInfo", "VTAPI_FCSetFECSupportInfo"}},
    };
    startHost(true);
    int32_t frameSize = 512;
    for (const Row& r : rows) {
        frameSize = frameSize == 512 ? 1024 : 512; // a new value each time
        const uint16_t lun = static_cast<uint16_t>(frameSize);
        // Turn FEC and credit recovery off first, so that each request changes them.
        ASSERT_TRUE(set(kCobalt, {uint32("FECSupport", 1), uint32("BBCRSupport", 1)}).ok());
        ASSERT_EQ(vtsim_fault(r.op, 6, 1), 0);
        vtsim_log_clear();
        const vcim::Status status =
            set(kCobalt, {sint32("FrameSize", frameSize), uint16("BootLunNumber", lun), uint32("FECSupport", 2),
                          uint32("BBCRSupport", 2), uint32("BBCRConfiguredSCN", 4)});
        EXPECT_EQ(status.rc, CMPI_RC_ERR_NOT_FOUND) << r.op;
        EXPECT_EQ(status.msg, r.message) << r.op;
        std::vector<std::string> done = writes();
        // The faulted write itself did nothing.
        done.erase(std::remove(done.begin(), done.end(), r.op), done.end());
        EXPECT_EQ(done, r.written) << r.op;
        auto port = get(kFCPort, kCobalt);
        const bool paramsWritten = std::count(r.written.begin(), r.written.end(), "VTAPI_UpdateHBAParameters");
        const bool bootWritten = std::count(r.written.begin(), r.written.end(), "VTAPI_SetBootDeviceInfo");
        EXPECT_EQ(port["FrameSize"] == std::to_string(frameSize), paramsWritten) << r.op;
        EXPECT_EQ(port["BootLunNumber"] == std::to_string(lun), bootWritten) << r.op;
        EXPECT_EQ(port["BBCRSupport"], "1") << r.op;
    }
    EXPECT_GE(logCount("setInstance_FCPort: VTAPI_FCGetBBCSupportInfo Error: Failed to update HBA parameters"), 2u);
    EXPECT_GE(logCount("setInstance_FCPort: VTAPI_GetBootDeviceInfo Error: Failed to get HBA parameters"), 1u);
}

TEST_F(FCPortModifyTest, RebootAnswers)
{
    startHost(true);
    // The library says no reboot is needed: OK.
    EXPECT_TRUE(set(k8G, {sint32("LinkDownTimeout", 45)}).ok());
    EXPECT_EQ(calls("VTAPI_IsRebootRequired").size(), 1u);
    // It cannot tell: a reboot is asked for.
    ASSERT_EQ(vtsim_fault("VTAPI_IsRebootRequired", 11, 1), 0);
    EXPECT_EQ(set(k8G, {sint32("LinkDownTimeout", 60)}).rc, 201);
    EXPECT_EQ(get(kFCPort, k8G)["LinkDownTimeout"], "60");
}

TEST_F(FCPortModifyTest, ChipOptionsOnlyOnTheirChips)
{
    startHost(true);
    const std::vector<vcim::Property> all = {uint8("PersonalityType", 1), uint32("FECSupport", 2),
                                             uint32("BBCRSupport", 2), uint32("BBCRConfiguredSCN", 5)};
    struct Row {
        const std::string* port;
        std::vector<std::string> written;
    };
    const Row rows[] = {
        {&kCobalt, {"VTAPI_FCSetFECSupportInfo", "VTAPI_FCSetBBCSupportInfo"}},
        {&kTamarind, {"VTAPI_FCSetFECSupportInfo", "VTAPI_FCSetBBCSupportInfo"}},
        {&k16G, {"VTAPI_ChangePersonalityType", "VTAPI_FCSetFECSupportInfo"}},
        {&kConverged, {"VTAPI_ChangePersonalityType"}},
        {&k8G, {}},
    };
    for (const Row& r : rows) {
        vtsim_log_clear();
        const vcim::Status status = set(*r.port, all);
        EXPECT_TRUE(status.ok()) << *r.port << ": " << status.msg;
        EXPECT_EQ(writes(), r.written) << *r.port;
    }
    auto cobalt = get(kFCPort, kCobalt);
    EXPECT_EQ(cobalt["FECSupport"], "2");
    EXPECT_EQ(cobalt["BBCRSupport"], "2");
    EXPECT_EQ(cobalt["BBCRConfiguredSCN"], "5");
    EXPECT_EQ(get(kFCPort, k16G)["PersonalityType"], "1");
    EXPECT_EQ(get(kFCPort, kConverged)["PersonalityType"], "1");

    // Asked again, nothing changes; 0 leaves them alone.
    vtsim_log_clear();
    EXPECT_TRUE(set(kCobalt, {uint32("FECSupport", 2), uint32("BBCRSupport", 2), uint32("BBCRConfiguredSCN", 5)}).ok());
    EXPECT_TRUE(set(kCobalt, {uint32("FECSupport", 0), uint32("BBCRSupport", 0)}).ok());
    EXPECT_TRUE(writes().empty());
    // A new state change number alone is a change; without one the current one stays.
    EXPECT_TRUE(set(kCobalt, {uint32("BBCRSupport", 2), uint32("BBCRConfiguredSCN", 9)}).ok());
    EXPECT_TRUE(set(kCobalt, {uint32("BBCRSupport", 1)}).ok());
    const auto bbcr = calls("VTAPI_FCSetBBCSupportInfo");
    ASSERT_EQ(bbcr.size(), 2u);
    EXPECT_NE(bbcr[0].find("enabled=1 scn=9"), std::string::npos) << bbcr[0];
    EXPECT_NE(bbcr[1].find("enabled=0 scn=9"), std::string::npos) << bbcr[1];
}

TEST_F(FCPortModifyTest, KeysAndValuesThatDoNotFit)
{
    checkRequests_ = false;  // a mistyped key reaches the provider
    startHost(true);
    const vcim::Status unknown = set("VTNONE_x_y", {sint32("FrameSize", 1024)});
    EXPECT_EQ(unknown.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(unknown.msg, "No matching instance found, KeyValue=VTNONE_x_y!");
    EXPECT_TRUE(callNames().empty());

    // A key of another type is answered OK and changes nothing.
    vcim::ObjectPath numeric = classPath(kFCPort);
    numeric.setKey("InstanceID", vcim::Value::uint(CMPI_uint32, 7));
    EXPECT_TRUE(modify(numeric, {sint32("FrameSize", 1024)}).ok());
    EXPECT_TRUE(callNames().empty());
    EXPECT_GE(logCount("setInstance_FCPort: Error invalid key data type, keyData.type=" +
                       std::to_string(CMPI_uint32) + "!"),
              1u);

    // The key compares without regard to case.
    EXPECT_TRUE(set("vtcobalt01_20:00:00:1F:EE:27:00:00_21:00:00:1F:EE:27:00:00", {sint32("FrameSize", 1024)}).ok());
    EXPECT_EQ(get(kFCPort, kCobalt)["FrameSize"], "1024");

    // Listed values that are missing, of another type or out of range.
    vtsim_log_clear();
    const vcim::Status missing = set(kCobalt, {sint32("FrameSize", 512)}, vcim::PropertyList{"FrameSize", "HardLoopId"});
    EXPECT_EQ(missing.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(missing.msg, "Missing required argument [HardLoopId]!");
    EXPECT_EQ(set(kCobalt, {str("FrameSize", "512")}).msg, "Invalid argument [FrameSize]!");
    EXPECT_EQ(set(kCobalt, {uint32("BootLunNumber", 70000)}).msg, "Invalid argument [BootLunNumber]!");
    EXPECT_EQ(set(kCobalt, {{"DataRate", vcim::Value::nullOf(CMPI_sint32)}}).msg,
              "Missing required argument [DataRate]!");
    EXPECT_TRUE(writes().empty());
    // Except EnableVirtualLane, which is taken only with a value.
    EXPECT_TRUE(set(kCobalt, {{"EnableVirtualLane", vcim::Value::nullOf(CMPI_sint32)}}).ok());
    EXPECT_TRUE(writes().empty());
    EXPECT_TRUE(set(kCobalt, {sint32("EnableVirtualLane", 1)}).ok());
    EXPECT_EQ(get(kFCPort, kCobalt)["EnableVirtualLane"], "1");
    EXPECT_GE(logCount("setInstance_FCPort: EnableVirtualLane = 1"), 1u);
}

} // namespace
