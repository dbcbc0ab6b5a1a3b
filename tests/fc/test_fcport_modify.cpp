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
    // Published values of `port`, blank-separated.
    std::string values(const std::string& port, std::initializer_list<const char*> names)
    {
        auto published = get(kFCPort, port);
        std::string text;
        for (const char* name : names)
            text += (text.empty() ? "" : " ") + published[name];
        return text;
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

    EXPECT_EQ(values(kCobalt, {"FrameSize", "LoginRetryCount", "IOThrottling", "DataRate", "BootLunNumber"}),
              "1024 3 2 2 0");

    // Without a list nothing is applied.
    vtsim_log_clear();
    vcim::Instance instance;
    instance.path = keyPath(kFCPort, kCobalt);
    instance.set("FrameSize", vcim::Value::sint(CMPI_sint32, 512));
    EXPECT_TRUE(broker().modifyInstance(instance.path, instance, nullptr).ok());
    EXPECT_TRUE(writes().empty());
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
    EXPECT_EQ(values(kTamarind, {"DisableBIOS", "EnableSelectableBoot", "BootPortName", "BootLunNumber",
                                 "Alt3BootPortName", "Alt3BootLunNumber", "Alt1BootPortName"}),
              "1 1 21:00:00:24:FF:0A:0B:0C 3 50:06:0E:80:10:27:01:01 65535 00:00:00:00:00:00:00:00");

    // The same DisableBIOS value again is no change.
    vtsim_log_clear();
    EXPECT_TRUE(set(kTamarind, {sint32("DisableBIOS", 1)}).ok());
    EXPECT_TRUE(writes().empty());
}

TEST_F(FCPortModifyTest, LibraryFailuresStopTheRequestAndKeepEarlierWrites)
{
    // The writes in request order; each failing operation lets the first
    // `before` of them happen.
    const std::vector<std::string> order{"VTAPI_UpdateHBAParameters", "VTAPI_SetBootDeviceInfo",
                                         "VTAPI_FCSetFECSupportInfo"};
    const struct {
        const char* op;
        size_t before;
    } rows[] = {{"VTAPI_GetHBAParamsInfo", 0},      {"VTAPI_GetBootDeviceInfo", 0},
                {"VTAPI_UpdateHBAParameters", 0},   {"VTAPI_PostVerifyHBAParameter", 1},
                {"VTAPI_SetBootDeviceInfo", 1},     {"VTAPI_FCGetFECSupportInfo", 2},
                {"VTAPI_FCSetFECSupportInfo", 2},   {"VTAPI_FCGetBBCSupportInfoEx", 3},
                {"VTAPI_FCSetBBCSupportInfo", 3}};
    startHost(true);
    int32_t frameSize = 512;
    for (const auto& r : rows) {
        const std::vector<std::string> written(order.begin(), order.begin() + r.before);
        const bool reading = std::string(r.op).find("VTAPI_Get") == 0;
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
        EXPECT_EQ(status.msg, reading ? "Failed to get HBA parameters" : "Failed to update HBA parameters") << r.op;
        std::vector<std::string> done = writes();
        // The faulted write itself did nothing.
        done.erase(std::remove(done.begin(), done.end(), r.op), done.end());
        EXPECT_EQ(done, written) << r.op;
        auto port = get(kFCPort, kCobalt);
        EXPECT_EQ(port["FrameSize"] == std::to_string(frameSize), r.before >= 1) << r.op;
        EXPECT_EQ(port["BootLunNumber"] == std::to_string(lun), r.before >= 2) << r.op;
        EXPECT_EQ(port["BBCRSupport"], "1") << r.op;
    }
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
    EXPECT_EQ(values(kCobalt, {"FECSupport", "BBCRSupport", "BBCRConfiguredSCN"}), "2 2 5");
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

    // The library cannot tell whether a reboot is needed: one is asked for.
    ASSERT_EQ(vtsim_fault("VTAPI_IsRebootRequired", 11, 1), 0);
    EXPECT_EQ(set(k8G, {sint32("LinkDownTimeout", 60)}).rc, 201);
    EXPECT_EQ(get(kFCPort, k8G)["LinkDownTimeout"], "60");
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
    // A data rate above 4 needs a connection option, given or current.
    const vcim::Status refused = set(kCobalt, {sint32("DataRate", 5), sint32("ConnectionOptions", 0),
                                               uint16("BootLunNumber", 9)});
    EXPECT_EQ(refused.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(refused.msg, "Invalid argument [ConnectionOptions]!");
    EXPECT_TRUE(writes().empty());
    EXPECT_TRUE(set(kCobalt, {sint32("DataRate", 4), sint32("ConnectionOptions", 0)}).ok());
    vtsim_log_clear();
    EXPECT_EQ(set(kCobalt, {sint32("DataRate", 6)}).rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_TRUE(writes().empty());
    EXPECT_TRUE(set(kCobalt, {sint32("DataRate", 6), sint32("ConnectionOptions", 1)}).ok());
    EXPECT_EQ(get(kFCPort, kCobalt)["DataRate"], "6");

    // EnableVirtualLane is taken only with a value.
    vtsim_log_clear();
    EXPECT_TRUE(set(kCobalt, {{"EnableVirtualLane", vcim::Value::nullOf(CMPI_sint32)}}).ok());
    EXPECT_TRUE(writes().empty());
    EXPECT_TRUE(set(kCobalt, {sint32("EnableVirtualLane", 1)}).ok());
    EXPECT_EQ(get(kFCPort, kCobalt)["EnableVirtualLane"], "1");
}

} // namespace
