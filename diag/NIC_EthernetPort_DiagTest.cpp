// "VeltraNIC_EthernetPort_DiagTest": an adapter-side test of an Ethernet
// port that the client starts, polls, stops and destroys. The test holds
// the host's diagnostic mode from its start until it is destroyed (or its
// time limit passes).
#include "diag_test.h"

#include "veltra_nic_utils.h"

#include <mutex>

namespace {

using Log = Veltra_NIC_Utils;

struct PortTestRecord {
    uint32_t handle = VTAPI_INVALID_HANDLE;
    VTAPI_PortTestCapabilities caps{};
    VTAPI_PortTestSettings settings{};
};

std::mutex gPortTestMutex;
PortTestRecord gEthernet_Port_DiagTest;
DiagModeLease gPortTestLease("Ethernet_Port_DiagTest");

PortTestRecord snapshot()
{
    std::lock_guard<std::mutex> lock(gPortTestMutex);
    return gEthernet_Port_DiagTest;
}

#define CAP(field, name)                                                                                 \
    Computed<PortTestRecord>(name, CMPI_uint32, [](const PortTestRecord& r, PropertyValue& v) {           \
        v = CmpiData(CMPIUint32(r.caps.field));                                                           \
        return true;                                                                                      \
    })
#define SETTING(field, name)                                                                             \
    Computed<PortTestRecord>(name, CMPI_uint32, [](const PortTestRecord& r, PropertyValue& v) {           \
        v = CmpiData(CMPIUint32(r.settings.field));                                                       \
        return true;                                                                                      \
    })

// "TTL" is settable but not published.
ClassProperties kPortTestProperties("VeltraNIC_EthernetPort_DiagTest");
const PropertyTable<PortTestRecord> kPortTestTable(kPortTestProperties, {
    Computed<PortTestRecord>("InstanceID", CMPI_string, [](const PortTestRecord&, PropertyValue&) { return false; }),
    CAP(supported_test_id_map, "SupportedTestIDMap"),
    CAP(frames_per_loop, "FramesPerLoop"),
    CAP(loop_count_supported, "LoopCountSupported"),
    CAP(test_data_supported, "TestDataSupported"),
    SETTING(pattern_id, "PatternID"),
    SETTING(custom_pattern, "CustomPattern"),
    SETTING(size, "Size"),
    SETTING(test_id, "TestID"),
    SETTING(loop_count, "LoopCount"),
    SETTING(stop_on_error, "StopOnError"),
    SETTING(loop_continuously, "LoopContinuously"),
    SETTING(ping_count, "PingCount"),
    SETTING(packet_size, "PacketSize"),
    SETTING(timeout, "Timeout"),
    Computed<PortTestRecord>("TTL", CMPI_uint32, [](const PortTestRecord&, PropertyValue&) { return false; }),
    Computed<PortTestRecord>("TargetAddress", CMPI_string,
                             [](const PortTestRecord& r, PropertyValue& v) {
                                 v.setText(LibraryText(r.settings.target_address));
                                 return true;
                             }),
});
#undef CAP
#undef SETTING

void build(CmpiInstance& instance)
{
    kPortTestTable.build(instance, snapshot());
}

void modify(const CmpiInstance& inst, const char** properties)
{
    std::lock_guard<std::mutex> lock(gPortTestMutex);
    VTAPI_PortTestSettings& s = gEthernet_Port_DiagTest.settings;
    static const struct {
        const char* name;
        uint32_t VTAPI_PortTestSettings::*field;
    } kSettings[] = {
        {"PatternID", &VTAPI_PortTestSettings::pattern_id},
        {"CustomPattern", &VTAPI_PortTestSettings::custom_pattern},
        {"Size", &VTAPI_PortTestSettings::size},
        {"TestID", &VTAPI_PortTestSettings::test_id},
        {"LoopCount", &VTAPI_PortTestSettings::loop_count},
        {"StopOnError", &VTAPI_PortTestSettings::stop_on_error},
        {"LoopContinuously", &VTAPI_PortTestSettings::loop_continuously},
        {"PingCount", &VTAPI_PortTestSettings::ping_count},
        {"PacketSize", &VTAPI_PortTestSettings::packet_size},
        {"Timeout", &VTAPI_PortTestSettings::timeout},
        {"TTL", &VTAPI_PortTestSettings::ttl},
    };
    for (const auto& setting : kSettings)
        TakeIntegerSetting(inst, properties, setting.name, s.*setting.field);
    std::string address;
    if (IsPropertyInFilter("TargetAddress", properties) &&
        ReadTextProperty(inst, "TargetAddress", address) == ValueRead::Ok)
        CopyLibraryText(s.target_address, address.c_str(), address.size());
}

[[noreturn]] void failed(const char* what, uint32_t rc)
{
    char text[128];
    snprintf(text, sizeof text, "%s failed, return code = %u", what, rc);
    ThrowDiagFailure(CMPI_RC_ERR_FAILED, text);
}

// Ends the library's test of the current handle and forgets it (caller
// holds gPortTestMutex).
uint32_t destroyLocked()
{
    PortTestRecord& r = gEthernet_Port_DiagTest;
    const uint32_t rc = VTAPI_DestroyPortTest(r.handle);
    if (rc == 0)
        r.handle = VTAPI_INVALID_HANDLE;
    return rc;
}

// The time limit passed or the provider is cleaned up.
void endTest()
{
    std::lock_guard<std::mutex> lock(gPortTestMutex);
    if (gEthernet_Port_DiagTest.handle == VTAPI_INVALID_HANDLE)
        return;
    VTAPI_StopPortTest(gEthernet_Port_DiagTest.handle);
    if (destroyLocked() != 0)
        gEthernet_Port_DiagTest.handle = VTAPI_INVALID_HANDLE; // the library keeps it; this test is over
}

void startPortTest(const DiagCall&, const DiagPort& port)
{
    Log::DebugPrint("Entered StartPortTest");
    DiagModeHold hold; // refused while any test holds the mode
    std::lock_guard<std::mutex> lock(gPortTestMutex);
    PortTestRecord& r = gEthernet_Port_DiagTest;
    VTAPI_PortTestSettings settings = r.settings;
    CopyLibraryText(settings.ifname, port.ifname.c_str(), port.ifname.size());
    uint32_t handle = VTAPI_INVALID_HANDLE;
    const uint32_t rc = VTAPI_StartPortTest(&settings, &handle);
    Log::DebugPrint("Exiting StartPortTest with return code = %u", rc);
    if (rc != 0 || handle == VTAPI_INVALID_HANDLE)
        failed("StartPortTest", rc);
    r.handle = handle;
    gPortTestLease.take(hold, endTest);
}

// Stop and status need the mode and a test.
uint32_t heldHandle(const char* who)
{
    if (!InDiagMode()) {
        Log::DebugPrint("Not in diag mode, exiting %s with return code VTAPI_STATUS_BAD", who);
        ThrowDiagFailure(CMPI_RC_ERR_FAILED, kNotDiagModeRefusal);
    }
    if (gEthernet_Port_DiagTest.handle == VTAPI_INVALID_HANDLE) {
        Log::DebugPrint("Invalid test handle, exiting %s with return code VTAPI_STATUS_BAD", who);
        failed(who, VTAPI_STATUS_BAD);
    }
    return gEthernet_Port_DiagTest.handle;
}

void stopPortTest(const DiagCall&, const DiagPort&)
{
    Log::DebugPrint("Entered StopPortTest");
    std::lock_guard<std::mutex> lock(gPortTestMutex);
    const uint32_t rc = VTAPI_StopPortTest(heldHandle("StopPortTest"));
    Log::DebugPrint("Exiting StopPortTest with return code = %u", rc);
    if (rc != 0)
        failed("StopPortTest", rc);
}

void destroyPortTest(const DiagCall&, const DiagPort&)
{
    Log::DebugPrint("Entered DestroyPortTest");
    std::lock_guard<std::mutex> lock(gPortTestMutex);
    if (gEthernet_Port_DiagTest.handle == VTAPI_INVALID_HANDLE) {
        Log::DebugPrint("Invalid test handle, exiting DestroyPortTest with return code VTAPI_STATUS_BAD");
        failed("DestroyPortTest", VTAPI_STATUS_BAD);
    }
    const uint32_t rc = destroyLocked();
    Log::DebugPrint("Exiting DestroyPortTest with return code = %u", rc);
    if (rc != 0)
        failed("DestroyPortTest", rc);
    gPortTestLease.release();
}

void getPortTestStatus(const DiagCall& call, const DiagPort&)
{
    Log::DebugPrint("Entered GetPortTestStatus");
    VTAPI_PortTestStatus status{};
    {
        std::lock_guard<std::mutex> lock(gPortTestMutex);
        const uint32_t rc = VTAPI_GetPortTestStatus(heldHandle("GetPortTestStatus"), &status);
        Log::DebugPrint("Exiting GetPortTestStatus with return code = %u", rc);
        if (rc != 0)
            failed("GetPortTestStatus", rc);
    }
    call.out.setArg("TestID", CmpiData(CMPIUint32(status.test_id)));
    call.out.setArg("Passed", CmpiData(CMPIUint32(status.passed)));
    call.out.setArg("Failed", CmpiData(CMPIUint32(status.failed)));
    call.out.setArg("Timeouts", CmpiData(CMPIUint32(status.timeouts)));
    call.out.setArg("Status", CmpiData(CMPIUint32(status.status)));
    call.out.setArg("ErrorCode", CmpiData(CMPIUint32(status.error_code)));
}

void resetToDefaultSettings(const DiagCall&, const DiagPort& port)
{
    Log::DebugPrint("Entered ResetToDefaultSettings");
    VTAPI_PortTestCapabilities caps{};
    const bool ok = VTAPI_GetPortTestCapabilities(port.ifname.c_str(), &caps) == 0;
    Log::DebugPrint("Exiting ResetToDefaultSettings with return code %s", ok ? "true" : "false");
    if (!ok)
        ThrowDiagFailure(CMPI_RC_ERR_FAILED, "Failed to restore default settings");
    std::lock_guard<std::mutex> lock(gPortTestMutex);
    gEthernet_Port_DiagTest.caps = caps;
    gEthernet_Port_DiagTest.settings = VTAPI_PortTestSettings{};
}

const DiagMethod kPortTestMethods[] = {
    {"StartPortTest", "START_PORT_DIAG_TEST", DiagGate::Idle, startPortTest, nullptr},
    {"StopPortTest", "STOP_PORT_DIAG_TEST", DiagGate::Running, stopPortTest, nullptr},
    {"DestroyPortTest", "DESTROY_PORT_DIAG_TEST", DiagGate::Any, destroyPortTest, nullptr},
    {"GetPortTestStatus", "GET_PORT_TEST_STATUS", DiagGate::Running, getPortTestStatus, nullptr},
    {"ResetToDefaultSettings", "RESET_TO_DEFAULT_SETTINGS", DiagGate::Idle, resetToDefaultSettings,
     "****** ResetToDefaultSettings completed successfully"},
};

const DiagClass kPortTestClass{"VeltraNIC_EthernetPort_DiagTest", "Ethernet_Port_DiagTest", build,
                               kPortTestMethods, std::size(kPortTestMethods), modify, DiagPortKind::Ethernet};

} // namespace

VELTRA_DIAG_CLASS(Ethernet_Port_DiagTest, kPortTestClass, &kPortTestProperties);
